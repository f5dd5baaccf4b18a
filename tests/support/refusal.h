#pragma once

#include <string>

#include "recording/error.h"

// Shared helper of the whole-record layer's tests.
namespace numora_test {

// The message of the Error that `run` throws, or "accepted" when it throws none.
template <class Run>
std::string Refusal(Run&& run) {
    try {
        run();
    } catch (const numora::rec::Error& e) {
        return e.what();
    }
    return "accepted";
}

}  // namespace numora_test
