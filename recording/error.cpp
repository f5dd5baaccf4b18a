#include "recording/error.h"

#include <cstdio>

namespace numora {
namespace rec {

Error::Error(const std::string& message) : std::runtime_error(message) {}

std::string MessageNumber(double value)
{
    char text[32];
    std::snprintf(text, sizeof text, "%.9g", value);
    return text;
}

}  // namespace rec
}  // namespace numora
