#include "numora/version.h"

namespace qv {
namespace math {

const char* NumoraVersion()
{
    return NUMORA_VERSION_STRING;
}

}  // namespace math
}  // namespace qv
