#pragma once

#include <stdexcept>
#include <string>

// Errors of the whole-record layer: one exception type whose message is one
// line that names the input and what is wrong with it, ready to be shown to
// the user as it stands.

namespace numora {
namespace rec {

// A refused input or a failed read or write.
class Error : public std::runtime_error {
public:
    explicit Error(const std::string& message);
};

// A number as the messages show it: up to nine significant digits.
std::string MessageNumber(double value);

}  // namespace rec
}  // namespace numora
