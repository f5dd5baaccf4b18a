#include "numora/transforms/fft.h"

#include <array>
#include <cmath>
#include <limits>
#include <utility>
#include <vector>

#include "numora/transforms/fft_detail.h"
#include "tests/support/support.h"

namespace {

using namespace numora_test;

// ---------------------------------------------------------------------------
// Reference: a plain transcription of the transform, one step per line, with
// the rotation factors computed per group, every step in T. The library must
// match it bit for bit at every size.

int Reverse(int v, int bits)
{
    int r = 0;
    for (int i = 0; i < bits; ++i, v >>= 1)
        r = (r << 1) | (v & 1);
    return r;
}

int Log2(int n) { return std::ilogb(n); }

// c1, s1, c2, s2, c3, s3 of the group with angle index th in a pass of order nn.
template <typename T>
std::array<T, 6> RefRotation(int th, int nn, int sign)
{
    const T pi = static_cast<T>(4.0 * std::atan(1.0));
    const double arg = static_cast<double>(static_cast<T>(th) * (pi / static_cast<T>(nn)));
    const T c1 = static_cast<T>(std::cos(arg)), s1 = sign * static_cast<T>(std::sin(arg));
    const T c2 = c1 * c1 - s1 * s1, s2 = s1 * c1 + s1 * c1;
    return {c1, s1, c2, s2, c2 * c1 - s2 * s1, c2 * s1 + s2 * c1};
}

template <typename T>
void RefRadix4(T* d, int len, int nn, bool analysis)
{
    const T p7 = static_cast<T>(1.0 / std::sqrt(2.0)), r2 = static_cast<T>(std::sqrt(2.0));
    for (int k = 0; k < len; ++k) {
        T &q0 = d[k], &q1 = d[len + k], &q2 = d[2 * len + k], &q3 = d[3 * len + k];
        if (analysis) {
            const T t0 = q0 + q2, t1 = q1 + q3;
            q2 = q0 - q2; q3 = q1 - q3; q0 = t0 + t1; q1 = t0 - t1;
        } else {
            const T t0 = q0 + q1, t1 = q0 - q1, t2 = T(2) * q2, t3 = T(2) * q3;
            q0 = t0 + t2; q2 = t0 - t2; q1 = t1 + t3; q3 = t1 - t3;
        }
        if (nn == 4)
            continue;
        T &o0 = d[4 * len + k], &o1 = d[5 * len + k], &o2 = d[6 * len + k], &o3 = d[7 * len + k];
        if (analysis) {
            const T pr = p7 * (o1 - o3), pi = p7 * (o1 + o3);
            o3 = o2 + pi; o1 = pi - o2; o2 = o0 - pr; o0 = o0 + pr;
        } else {
            const T t2 = o0 - o2, t3 = o1 + o3;
            o0 = T(2) * (o0 + o2); o2 = T(2) * (o3 - o1); o1 = r2 * (t2 + t3); o3 = r2 * (t3 - t2);
        }
    }
    for (int g = 1, jr = 2, ji = 3, jl = 2; g < nn / 8; ++g) {
        const auto [c1, s1, c2, s2, c3, s3] = RefRotation<T>(2 * Reverse(g, Log2(nn / 8)), nn, analysis ? 1 : -1);
        for (int k = 0; k < len; ++k) {
            T *x = d + 4 * len * jr + k, *y = d + 4 * len * ji + k;
            T &X0 = x[0], &X1 = x[len], &X2 = x[2 * len], &X3 = x[3 * len];
            T &Y0 = y[0], &Y1 = y[len], &Y2 = y[2 * len], &Y3 = y[3 * len];
            if (analysis) {
                const T r1 = X1 * c1 - Y1 * s1, r5 = X1 * s1 + Y1 * c1;
                const T t2 = X2 * c2 - Y2 * s2, t6 = X2 * s2 + Y2 * c2;
                const T t3 = X3 * c3 - Y3 * s3, t7 = X3 * s3 + Y3 * c3;
                const T t0 = X0 + t2, t4 = Y0 + t6, u2 = X0 - t2, u6 = Y0 - t6;
                const T t1 = r1 + t3, t5 = r5 + t7, u3 = r1 - t3, u7 = r5 - t7;
                X0 = t0 + t1; Y3 = t4 + t5; Y2 = t0 - t1; X1 = t5 - t4;
                X2 = u2 - u7; Y1 = u6 + u3; Y0 = u2 + u7; X3 = u3 - u6;
            } else {
                const T t0 = X0 + Y2, t1 = Y3 - X1, t2 = X0 - Y2, t3 = Y3 + X1;
                const T t4 = X2 + Y0, t5 = Y1 - X3, t6 = Y1 + X3, t7 = Y0 - X2;
                X0 = t0 + t4; Y0 = t1 + t5;
                X1 = (t2 + t6) * c1 - (t3 + t7) * s1; Y1 = (t2 + t6) * s1 + (t3 + t7) * c1;
                X2 = (t0 - t4) * c2 - (t1 - t5) * s2; Y2 = (t0 - t4) * s2 + (t1 - t5) * c2;
                X3 = (t2 - t6) * c3 - (t3 - t7) * s3; Y3 = (t2 - t6) * s3 + (t3 - t7) * c3;
            }
        }
        jr += 2;
        if ((ji -= 2) <= jl) {
            ji = 2 * jr - 1;
            jl = jr;
        }
    }
}

// The forward divides by n, then runs five steps (radix-2 pass for odd
// order, radix-4 passes, two reorderings, conjugation); the inverse scales DC
// by sqrt 2 and runs the synthesis forms of the steps in reverse order.
template <typename T>
void RefTransform(T* d, int n, int direction)
{
    const int m = Log2(n);
    const bool forward = direction >= 0;
    for (int i = 0; forward && i < n; ++i)
        d[i] = d[i] / static_cast<T>(n);
    if (!forward)
        d[0] = d[0] * static_cast<T>(std::sqrt(2.0));
    for (int s = 0; s < 5; ++s) {
        const int step = forward ? s : 4 - s;
        for (int k = 0; step == 0 && m % 2 && k < n / 2; ++k) {
            const T a = d[k], b = d[k + n / 2];
            d[k] = a + b;
            d[k + n / 2] = a - b;
        }
        for (int p = 0; step == 1 && p < m / 2; ++p) {
            const int nn = forward ? (m % 2 ? 8 : 4) << (2 * p) : n >> (2 * p);
            RefRadix4(d, n / nn, nn, forward);
        }
        for (int j = 4, k = 4, kl = 2; step == 2 && j <= n; j += 2) {
            if (k > j)
                std::swap(d[j - 1], d[k - 1]);
            k -= 2;
            if (k <= kl) {
                k = 2 * j;
                kl = j;
            }
        }
        for (int p = 0; step == 3 && p < n / 2; ++p) {
            const int r = Reverse(p, m - 1);
            if (p < r) {
                std::swap(d[2 * p], d[2 * r]);
                std::swap(d[2 * p + 1], d[2 * r + 1]);
            }
        }
        for (int i = 3; step == 4 && i < n; i += 2)
            d[i] = -d[i];
    }
}

// ---------------------------------------------------------------------------

int Dft(float* d, int n, int dir) { return qv::math::DFT(d, n, dir); }
int Dft(double* d, int n, int dir) { return qv::math::DFT_D(d, n, dir); }

std::vector<float> Random(float, int n, uint32_t seed) { return RandomFloats(n, seed); }
std::vector<double> Random(double, int n, uint32_t seed) { return RandomDoubles(n, seed); }

// Both directions on every code path the processor has, against the
// reference, on random data, on data reaching into the subnormal range (where
// flushing to zero or moving the division by N shows), and on zeros of either
// sign (where the sign of each zero shows any rearranged subtraction).
template <typename T>
void ExpectBitExactUpTo(int maxSize)
{
    for (auto path : {qv::math::detail::FftPath::Sse2, qv::math::detail::FftPath::Avx2})
        for (int n = 2; qv::math::detail::FftPathAvailable(path) && n <= maxSize; n *= 2)
            for (int set = 0; set < 3; ++set) {
                std::vector<T> x = Random(T(), n, 7u + static_cast<uint32_t>(n));
                for (int i = 0; set > 0 && i < n; ++i)
                    x[i] = x[i] * (set == 2 ? T(0) : std::numeric_limits<T>::denorm_min() * T(1 << (i % 24)));
                for (int dir : {1, -1}) {
                    std::vector<T> expected = x, actual = x;
                    RefTransform(expected.data(), n, dir);
                    ASSERT_EQ(0, qv::math::detail::FftOnPath(path, actual.data(), n, dir));
                    ASSERT_TRUE(BitEqual(expected.data(), actual.data(), n))
                        << "path " << static_cast<int>(path) << " size " << n << " dir " << dir << " set " << set;
                }
            }
}

TEST(Dft, MatchesReferenceBitForBitAtEveryFloatSize) { ExpectBitExactUpTo<float>(32768); }
TEST(Dft, MatchesReferenceBitForBitAtEveryDoubleSize) { ExpectBitExactUpTo<double>(262144); }

// Forward against a long-double DFT in the packed layout (DC, Nyquist, then
// re and im of each line k, with e^(-j 2 pi k n / N)); neither direction
// allocates.
template <typename T>
void ExpectAgreesWithNaiveDft(int maxSize, int maxNaive, double tol)
{
    for (int n = 2; n <= maxSize; n *= 2) {
        const std::vector<T> x = Random(T(), n, 11u + static_cast<uint32_t>(n));
        std::vector<T> fwd = x, back = x;
        const std::size_t allocations = AllocationCount();
        ASSERT_EQ(0, Dft(fwd.data(), n, 1));
        ASSERT_EQ(0, Dft(back.data(), n, -1));
        ASSERT_EQ(allocations, AllocationCount());
        if (n > maxNaive)
            continue;
        const std::vector<double> xd(x.begin(), x.end()), spectrum = NaiveDftPacked(xd.data(), n);
        for (int i = 0; i < n; ++i)
            ASSERT_NEAR(spectrum[i], fwd[i], tol / std::sqrt(n)) << n << " " << i;
    }
}

TEST(Dft, AgreesWithNaivePackedDftAndAllocatesNothing)
{
    ExpectAgreesWithNaiveDft<float>(32768, 1024, 2e-6);
    ExpectAgreesWithNaiveDft<double>(262144, 1024, 4e-15);
}

// CorrIFT divides by twice the factor: a product with the reciprocal would
// round these to 0x1.0f876cp-1 and 0x1.3cc8a99af5452p+0.
TEST(Corrections, CorrIftDividesByTwiceTheFactor)
{
    float f[2] = {0.75f, 1.5f};
    double d = 1.75;
    qv::math::CorrIFT(f, 1, QV_FFT_SCALE_RMS);
    qv::math::CorrIFT_D(&d, 1, QV_FFT_SCALE_RMS);
    EXPECT_TRUE(f[0] == 0x1.0f876ep-1f && f[1] == 1.5f && d == 0x1.3cc8a99af5453p+0);
}

// IFT copies lines 0..lines, zeroes the rest and the Nyquist slot, transforms
// inversely and divides by twice the factor.
TEST(Ift, DropsNyquistAndKeepsThePaddedCopyAtAnInvalidSize)
{
    const float nyquistOnly[8] = {0.0f, 5.0f}, zeros[8] = {};
    float time[8];
    qv::math::IFT(nyquistOnly, 3, time, 8, 0.4f);
    EXPECT_TRUE(BitEqual(zeros, time, 8));

    // An invalid size leaves the padded copy, divided.
    std::vector<double> ds = RandomDoubles(6, 26u), dtime(12);
    qv::math::IFT_D(ds.data(), 2, dtime.data(), 12, QV_FFT_SCALE_PEAK);
    const double padded[12] = {ds[0] / 2, 0.0, ds[2] / 2, ds[3] / 2, ds[4] / 2, ds[5] / 2};
    EXPECT_TRUE(BitEqual(padded, dtime.data(), 12));
}

}  // namespace
