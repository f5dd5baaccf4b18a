#pragma once

#include "numora/foundation/export.h"

// Version of the Numora library. The macros describe the headers a program
// was compiled against; NumoraVersion() tells which library it runs with.

#define NUMORA_VERSION_MAJOR 0
#define NUMORA_VERSION_MINOR 1
#define NUMORA_VERSION_PATCH 0
#define NUMORA_VERSION_STRING "0.1.0"

// One number that grows with every release, for compile-time comparisons:
// major * 10000 + minor * 100 + patch.
#define NUMORA_VERSION (NUMORA_VERSION_MAJOR * 10000 + NUMORA_VERSION_MINOR * 100 + NUMORA_VERSION_PATCH)

namespace qv {
namespace math {

// Version of the library in use, as "major.minor.patch".
NUMORA_API const char* NumoraVersion();

}  // namespace math
}  // namespace qv
