#include "numora/transforms/fft.h"

// Sum of the DC lines of a constant frame, through Numora.
float ParentDcLine()
{
    float frame[4] = {2.0f, 2.0f, 2.0f, 2.0f};
    qv::math::DFT(frame, 4, 1);
    return frame[0];
}
