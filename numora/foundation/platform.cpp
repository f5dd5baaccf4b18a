#include "numora/foundation/platform.h"

#include <chrono>

namespace qv {
namespace math {

namespace {
thread_local uint32_t randState = 1u;
}  // namespace

int Rand()
{
    randState = randState * 214013u + 2531011u;
    return static_cast<int>((randState >> 16) & 0x7FFFu);
}

void SRand(unsigned int seed)
{
    randState = static_cast<uint32_t>(seed);
}

uint64_t TickCount64()
{
    using namespace std::chrono;
    return static_cast<uint64_t>(
        duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count());
}

}  // namespace math
}  // namespace qv
