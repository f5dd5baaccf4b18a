#include "recording/error.h"

namespace numora {
namespace rec {

Error::Error(const std::string& message) : std::runtime_error(message) {}

}  // namespace rec
}  // namespace numora
