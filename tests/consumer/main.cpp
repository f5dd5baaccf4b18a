// A minimal program built against the installed Numora package.
#include <cstdio>
#include <cstring>

#include "numora/numora.h"

int main()
{
    // The library in use must be the one the headers describe.
    if (std::strcmp(qv::math::NumoraVersion(), NUMORA_VERSION_STRING) != 0)
        return 1;
    float frame[8];
    for (float& x : frame)
        x = 1.0f;
    if (qv::math::DFT(frame, 8, 1) != 0 || frame[0] != 1.0f)
        return 1;
    qv::math::SRand(1);
    if (qv::math::Rand() != 41)
        return 1;
    std::printf("Numora %s, DC line %g\n", qv::math::NumoraVersion(), static_cast<double>(frame[0]));
    return 0;
}
