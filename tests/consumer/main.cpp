// A minimal program built against the installed Numora package.
#include <cstdio>

#include "numora/numora.h"

int main()
{
    float frame[8];
    for (float& x : frame)
        x = 1.0f;
    if (qv::math::DFT(frame, 8, 1) != 0 || frame[0] != 1.0f)
        return 1;
    qv::math::SRand(1);
    if (qv::math::Rand() != 41)
        return 1;
    std::printf("DC line %g\n", static_cast<double>(frame[0]));
    return 0;
}
