#include "numora/transforms/fft_detail.h"

#include <cmath>

namespace qv {
namespace math {
namespace detail {

namespace {

// Angle of a group as the float twin computes it: pi rounded to float, the
// float division by NN and the float product, widened for cos and sin.
double GroupAngle(int th, int nn, float)
{
    const float pi = static_cast<float>(4.0 * std::atan(1.0));
    return static_cast<double>(static_cast<float>(th) * (pi / static_cast<float>(nn)));
}

double GroupAngle(int th, int nn, double)
{
    const double pi = 4.0 * std::atan(1.0);
    return static_cast<double>(th) * (pi / static_cast<double>(nn));
}

template <typename T, int Groups, int Bits>
struct RotationStore {
    T c1[Groups], s1[Groups], c2[Groups], s2[Groups], c3[Groups], s3[Groups];
    FftRotations<T> view;

    RotationStore() : view{Groups, c1, s1, c2, s2, c3, s3}
    {
        for (int g = 0; g < Groups; ++g) {
            int reversed = 0;
            for (int b = 0, v = g; b < Bits; ++b, v >>= 1)
                reversed = (reversed << 1) | (v & 1);
            const double arg = GroupAngle(2 * reversed, 8 * Groups, T(0));
            const T c = static_cast<T>(std::cos(arg));
            const T s = static_cast<T>(std::sin(arg));
            c1[g] = c;
            s1[g] = s;
            c2[g] = c * c - s * s;
            s2[g] = s * c + s * c;
            c3[g] = c2[g] * c - s2[g] * s;
            s3[g] = c2[g] * s + s2[g] * c;
        }
    }
};

}  // namespace

const FftRotations<float>& FftRotationTable()
{
    static const RotationStore<float, 4096, 12> store;
    return store.view;
}

const FftRotations<double>& FftRotationTable_D()
{
    static const RotationStore<double, 32768, 15> store;
    return store.view;
}

}  // namespace detail
}  // namespace math
}  // namespace qv
