#include "numora/transforms/fft.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>
#include <vector>

#include "numora/transforms/fft_detail.h"
#include "tests/support/support.h"

namespace {

using namespace numora_test;
using qv::math::DFT;
using qv::math::DFT_D;

// ---------------------------------------------------------------------------
// Reference: a plain transcription of the transform, one step per line, with
// the rotation factors computed per group. The library must match it bit for
// bit at every size.

template <typename T>
struct Ref;
template <>
struct Ref<float> {
    static double Angle(int th, int nn)
    {
        const float pi = static_cast<float>(4.0 * std::atan(1.0));
        return static_cast<double>(static_cast<float>(th) * (pi / static_cast<float>(nn)));
    }
    static float Round(double v) { return static_cast<float>(v); }
};
template <>
struct Ref<double> {
    static double Angle(int th, int nn) { return th * (4.0 * std::atan(1.0) / nn); }
    static double Round(double v) { return v; }
};

int Reverse(int v, int bits)
{
    int r = 0;
    for (int i = 0; i < bits; ++i, v >>= 1)
        r = (r << 1) | (v & 1);
    return r;
}

int Log2(int n)
{
    int m = 0;
    while ((1 << m) < n)
        ++m;
    return m;
}

// c1, s1, c2, s2, c3, s3 of the group with angle index th in a pass of order nn.
template <typename T>
std::vector<T> RefRotation(int th, int nn, int sign)
{
    const double arg = Ref<T>::Angle(th, nn);
    const T c1 = Ref<T>::Round(std::cos(arg)), s1 = sign * Ref<T>::Round(std::sin(arg));
    const T c2 = c1 * c1 - s1 * s1, s2 = s1 * c1 + s1 * c1;
    return {c1, s1, c2, s2, c2 * c1 - s2 * s1, c2 * s1 + s2 * c1};
}

template <typename T>
void RefRadix4(T* d, int len, int nn, bool analysis)
{
    const T p7 = Ref<T>::Round(1.0 / std::sqrt(2.0)), r2 = Ref<T>::Round(std::sqrt(2.0));
    for (int k = 0; k < len; ++k) {
        T& q0 = d[k]; T& q1 = d[len + k]; T& q2 = d[2 * len + k]; T& q3 = d[3 * len + k];
        if (analysis) {
            const T t0 = q0 + q2, t1 = q1 + q3;
            q2 = q0 - q2; q3 = q1 - q3; q0 = t0 + t1; q1 = t0 - t1;
        } else {
            const T t0 = q0 + q1, t1 = q0 - q1, t2 = T(2) * q2, t3 = T(2) * q3;
            q0 = t0 + t2; q2 = t0 - t2; q1 = t1 + t3; q3 = t1 - t3;
        }
    }
    for (int k = 0; nn > 4 && k < len; ++k) {
        T& q0 = d[4 * len + k]; T& q1 = d[5 * len + k]; T& q2 = d[6 * len + k]; T& q3 = d[7 * len + k];
        if (analysis) {
            const T pr = p7 * (q1 - q3), pi = p7 * (q1 + q3);
            q3 = q2 + pi; q1 = pi - q2; q2 = q0 - pr; q0 = q0 + pr;
        } else {
            const T t2 = q0 - q2, t3 = q1 + q3;
            q0 = T(2) * (q0 + q2); q2 = T(2) * (q3 - q1); q1 = r2 * (t2 + t3); q3 = r2 * (t3 - t2);
        }
    }
    const int groups = nn / 8;
    for (int g = 1, jr = 2, ji = 3, jl = 2; g < groups; ++g) {
        const std::vector<T> w = RefRotation<T>(2 * Reverse(g, Log2(groups)), nn, analysis ? 1 : -1);
        const T c1 = w[0], s1 = w[1], c2 = w[2], s2 = w[3], c3 = w[4], s3 = w[5];
        for (int k = 0; k < len; ++k) {
            T* x[4]; T* y[4];
            for (int q = 0; q < 4; ++q) {
                x[q] = &d[4 * len * jr + q * len + k];
                y[q] = &d[4 * len * ji + q * len + k];
            }
            T &X0 = *x[0], &X1 = *x[1], &X2 = *x[2], &X3 = *x[3];
            T &Y0 = *y[0], &Y1 = *y[1], &Y2 = *y[2], &Y3 = *y[3];
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
        ji -= 2;
        if (ji <= jl) {
            ji = 2 * jr - 1;
            jl = jr;
        }
    }
}

template <typename T>
void RefRadix2(T* d, int n)
{
    for (int k = 0; k < n / 2; ++k) {
        const T a = d[k], b = d[k + n / 2];
        d[k] = a + b;
        d[k + n / 2] = a - b;
    }
}

template <typename T>
void RefReorderPairs(T* d, int n)
{
    for (int j = 4, k = 4, kl = 2; j <= n; j += 2) {
        if (k > j)
            std::swap(d[j - 1], d[k - 1]);
        k -= 2;
        if (k <= kl) {
            k = 2 * j;
            kl = j;
        }
    }
}

template <typename T>
void RefReorderBlocks(T* d, int n)
{
    for (int p = 0; p < n / 2; ++p) {
        const int r = Reverse(p, Log2(n) - 1);
        if (p < r) {
            std::swap(d[2 * p], d[2 * r]);
            std::swap(d[2 * p + 1], d[2 * r + 1]);
        }
    }
}

template <typename T>
void RefTransform(T* d, int n, int direction)
{
    const int m = Log2(n);
    if (direction >= 0) {
        for (int i = 0; i < n; ++i)
            d[i] = d[i] / static_cast<T>(n);
        int nn = m % 2 ? 2 : 1;
        if (m % 2)
            RefRadix2(d, n);
        for (int p = 0; p < m / 2; ++p) {
            nn *= 4;
            RefRadix4(d, n / nn, nn, true);
        }
        RefReorderPairs(d, n);
        RefReorderBlocks(d, n);
        for (int i = 3; i < n; i += 2)
            d[i] = -d[i];
    } else {
        d[0] = d[0] * Ref<T>::Round(std::sqrt(2.0));
        for (int i = 3; i < n; i += 2)
            d[i] = -d[i];
        RefReorderBlocks(d, n);
        RefReorderPairs(d, n);
        for (int p = 0, nn = 4 * n; p < m / 2; ++p) {
            nn /= 4;
            RefRadix4(d, n / nn, nn, false);
        }
        if (m % 2)
            RefRadix2(d, n);
    }
}

// ---------------------------------------------------------------------------

int Dft(float* d, int n, int dir) { return DFT(d, n, dir); }
int Dft(double* d, int n, int dir) { return DFT_D(d, n, dir); }

template <typename T>
std::vector<T> Random(int n, uint32_t seed);
template <>
std::vector<float> Random<float>(int n, uint32_t seed) { return RandomFloats(n, seed); }
template <>
std::vector<double> Random<double>(int n, uint32_t seed) { return RandomDoubles(n, seed); }

// Forward and inverse of the library, on every code path the processor has,
// against the reference, on random data, on data reaching into the subnormal
// range (where the division by N must still round as a division), and on
// zeros of either sign (where the sign of each zero result shows any
// rearranged subtraction or negation).
template <typename T>
void ExpectBitExactUpTo(int maxSize)
{
    using qv::math::detail::FftPath;
    for (FftPath path : {FftPath::Sse2, FftPath::Avx2}) {
        if (!qv::math::detail::FftPathAvailable(path))
            continue;
        for (int n = 2; n <= maxSize; n *= 2) {
            for (int set = 0; set < 3; ++set) {
                std::vector<T> x = Random<T>(n, 7u + static_cast<uint32_t>(n));
                for (int i = 0; set == 1 && i < n; ++i)
                    x[i] = x[i] * (std::numeric_limits<T>::denorm_min() * T(1 << (i % 24)));
                for (int i = 0; set == 2 && i < n; ++i)
                    x[i] = x[i] * T(0);
                for (int dir : {1, -1}) {
                    std::vector<T> expected = x, actual = x;
                    RefTransform(expected.data(), n, dir);
                    ASSERT_EQ(0, qv::math::detail::FftOnPath(path, actual.data(), n, dir));
                    ASSERT_TRUE(BitEqual(expected.data(), actual.data(), n))
                        << "path " << static_cast<int>(path) << " size " << n << " direction " << dir
                        << " set " << set;
                }
            }
        }
    }
}

TEST(Dft, MatchesReferenceBitForBitAtEveryFloatSize) { ExpectBitExactUpTo<float>(32768); }
TEST(Dft, MatchesReferenceBitForBitAtEveryDoubleSize) { ExpectBitExactUpTo<double>(262144); }

// Entry g of a table serves group g of every pass: for each pass of G groups
// it must equal the per-group formula with TH = 2 * reverse(g) and NN = 8 G.
template <typename T>
void ExpectRotationTable(const qv::math::detail::FftRotations<T>& table, int groups)
{
    ASSERT_EQ(groups, table.groups);
    for (int passGroups = 1; passGroups <= groups; passGroups *= 2) {
        for (int g = 0; g < passGroups; ++g) {
            const std::vector<T> w = RefRotation<T>(2 * Reverse(g, Log2(passGroups)), 8 * passGroups, 1);
            const T entry[6] = {table.c1[g], table.s1[g], table.c2[g], table.s2[g], table.c3[g], table.s3[g]};
            ASSERT_TRUE(BitEqual(w.data(), entry, 6)) << "group " << g << " of " << passGroups;
        }
    }
}

TEST(Dft, RotationTablesHoldThePerGroupFactorsOfEveryPass)
{
    ExpectRotationTable(qv::math::detail::FftRotationTable(), 4096);
    ExpectRotationTable(qv::math::detail::FftRotationTable_D(), 32768);
}

TEST(Dft, ValidFrameSizeIsLargestPowerOfTwoUpTo32768)
{
    const int cases[][2] = {{0, 0}, {-5, 0}, {1, 1}, {2, 2}, {3, 2}, {1023, 512}, {1024, 1024},
                            {1500, 1024}, {32767, 16384}, {32768, 32768}, {100000, 32768}};
    for (const auto& c : cases)
        EXPECT_EQ(c[1], qv::math::GetFFTValidFrameSizeT(c[0])) << c[0];
}

TEST(Dft, RejectsInvalidSizesAndLeavesBufferAlone)
{
    std::vector<float> f = RandomFloats(65536, 3u);
    const std::vector<float> f0 = f;
    for (int n : {-4, 0, 1, 3, 6, 1000, 65536}) {
        EXPECT_EQ(11, DFT(f.data(), n, 1)) << n;
        EXPECT_EQ(12, DFT(f.data(), n, -1)) << n;
        EXPECT_EQ(12, DFT(f.data(), n, -7)) << n;
    }
    EXPECT_TRUE(BitEqual(f0.data(), f.data(), 65536));

    std::vector<double> d = RandomDoubles(524288, 4u);
    const std::vector<double> d0 = d;
    EXPECT_EQ(11, DFT_D(d.data(), 524288, 0));
    EXPECT_EQ(12, DFT_D(d.data(), 524288, -1));
    EXPECT_EQ(11, DFT_D(d.data(), 1, 1));
    EXPECT_TRUE(BitEqual(d0.data(), d.data(), 524288));
    EXPECT_EQ(0, DFT_D(d.data(), 65536, 1));
    EXPECT_EQ(0, DFT_D(d.data(), 262144, -1));
}

TEST(Dft, SizeTwoGivesHalfSumAndHalfDifference)
{
    float f[2] = {3.0f, -0.5f};
    ASSERT_EQ(0, DFT(f, 2, 1));
    EXPECT_EQ(1.25f, f[0]);
    EXPECT_EQ(1.75f, f[1]);
    double d[2] = {1.0, 0.25};
    ASSERT_EQ(0, DFT_D(d, 2, 1));
    EXPECT_EQ(0.625, d[0]);
    EXPECT_EQ(0.375, d[1]);
}

// Constant, cosine and sine on line k, and the alternating sequence, at sizes
// with odd and even order.
template <typename T>
void ExpectPackedLayout(double tol)
{
    const double pi = 3.14159265358979323846;
    for (int n : {4, 8, 16, 32, 64}) {
        for (int k = 0; k < n / 2; ++k) {
            std::vector<T> c(n), s(n), alt(n), one(n, T(1));
            for (int t = 0; t < n; ++t) {
                c[t] = static_cast<T>(std::cos(2 * pi * k * t / n));
                s[t] = static_cast<T>(std::sin(2 * pi * k * t / n));
                alt[t] = t % 2 ? T(-1) : T(1);
            }
            Dft(c.data(), n, 1);
            Dft(s.data(), n, 1);
            Dft(alt.data(), n, 1);
            Dft(one.data(), n, 1);
            for (int i = 0; i < n; ++i) {
                const bool re = k > 0 && i == 2 * k, im = k > 0 && i == 2 * k + 1;
                EXPECT_NEAR(k == 0 ? (i == 0) : (re ? 0.5 : 0.0), c[i], tol) << n << " " << k << " " << i;
                EXPECT_NEAR(im ? -0.5 : 0.0, s[i], tol) << n << " " << k << " " << i;
                EXPECT_NEAR(i == 1 ? 1.0 : 0.0, alt[i], tol) << n << " " << i;
                EXPECT_NEAR(i == 0 ? 1.0 : 0.0, one[i], tol) << n << " " << i;
            }
        }
    }
}

TEST(Dft, PackedLayoutAndSignsOfBothTwins)
{
    ExpectPackedLayout<float>(1e-6);
    ExpectPackedLayout<double>(1e-14);
}

// Forward against a long-double DFT; inverse against the raw synthesis sum
// (which carries line 0 with a factor sqrt(2)); and the round trip.
template <typename T>
void ExpectAgreesWithNaiveDft(int maxSize, int maxNaive, double tol)
{
    for (int n = 2; n <= maxSize; n *= 2) {
        const std::vector<T> x = Random<T>(n, 11u + static_cast<uint32_t>(n));
        std::vector<T> fwd = x;
        ASSERT_EQ(0, Dft(fwd.data(), n, 1));
        std::vector<T> back = fwd;
        ASSERT_EQ(0, Dft(back.data(), n, -1));
        const double dc = static_cast<double>(fwd[0]) * (std::sqrt(2.0) - 1.0);
        for (int i = 0; i < n; ++i)
            ASSERT_NEAR(static_cast<double>(x[i]) + dc, back[i], tol * Log2(n)) << n << " " << i;
        if (n > maxNaive)
            continue;
        const std::vector<double> xd(x.begin(), x.end()), fd(fwd.begin(), fwd.end());
        const std::vector<double> spectrum = NaiveDftPacked(xd.data(), n);
        std::vector<double> lines = fd;
        lines[0] = lines[0] * std::sqrt(2.0);
        const std::vector<double> time = NaiveIdftPacked(lines.data(), n);
        for (int i = 0; i < n; ++i) {
            ASSERT_NEAR(spectrum[i], fwd[i], tol / std::sqrt(n)) << n << " " << i;
            ASSERT_NEAR(time[i], back[i], tol * Log2(n)) << n << " " << i;
        }
    }
}

TEST(Dft, AgreesWithNaiveDftAndRoundTripsAtEveryValidSize)
{
    ExpectAgreesWithNaiveDft<float>(32768, 1024, 2e-6);
    ExpectAgreesWithNaiveDft<double>(262144, 1024, 4e-15);
}

TEST(Dft, AllocatesNothing)
{
    std::vector<float> f = RandomFloats(4096, 5u);
    std::vector<double> d = RandomDoubles(4096, 5u);
    const std::size_t before = AllocationCount();
    DFT(f.data(), 4096, 1);
    DFT_D(d.data(), 4096, 1);
    DFT(f.data(), 4096, -1);
    DFT_D(d.data(), 4096, -1);
    EXPECT_EQ(before, AllocationCount());
}

TEST(CorrDft, ClearsLineZeroImaginaryAndScalesLinesByTwiceTheFactor)
{
    const std::vector<float> f = RandomFloats(16, 21u);
    for (int lines : {-3, 0, 1}) {
        std::vector<float> g = f;
        qv::math::CorrDFT(reinterpret_cast<complex*>(g.data()), lines, 0.3f);
        EXPECT_EQ(0.0f, g[1]);
        g[1] = f[1];
        EXPECT_TRUE(BitEqual(f.data(), g.data(), 16)) << lines;
    }
    const float rms = static_cast<float>(std::sqrt(2.0) * 0.5);
    for (QV_FFT_SCALING scaling : {QV_FFT_SCALE_RMS, QV_FFT_SCALE_PEAK, static_cast<QV_FFT_SCALING>(7)}) {
        const float factor = scaling == QV_FFT_SCALE_RMS ? rms + rms : 2.0f;
        std::vector<float> g = f;
        qv::math::CorrDFT(reinterpret_cast<complex*>(g.data()), 5, scaling);
        EXPECT_EQ(0.0f, g[1]);
        g[1] = f[1];
        for (int i = 0; i < 16; ++i)
            EXPECT_TRUE(SameBits(i >= 2 && i < 10 ? f[i] * factor : f[i], g[i])) << i;
    }
    std::vector<double> d = RandomDoubles(8, 22u), e = d;
    qv::math::CorrDFT_D(reinterpret_cast<complex_d*>(e.data()), 4, QV_FFT_SCALE_RMS);
    qv::math::CorrDFT_D(reinterpret_cast<complex_d*>(e.data()), 4, 0.25);
    EXPECT_EQ(0.0, e[1]);
    for (int i = 2; i < 8; ++i)
        EXPECT_TRUE(SameBits(d[i] * std::sqrt(2.0) * 0.5, e[i])) << i;
}

TEST(CorrIft, DividesEveryValueByTwiceTheFactor)
{
    const std::vector<float> f = RandomFloats(9, 23u);
    const float rms = static_cast<float>(std::sqrt(2.0) * 0.5);
    std::vector<float> g = f, h = f;
    qv::math::CorrIFT(g.data(), 9, QV_FFT_SCALE_RMS);
    qv::math::CorrIFT(h.data(), 9, 0.1f);
    for (int i = 0; i < 9; ++i) {
        EXPECT_TRUE(SameBits(f[i] / (rms + rms), g[i])) << i;
        EXPECT_TRUE(SameBits(f[i] / (0.1f + 0.1f), h[i])) << i;
    }
    std::vector<double> d = RandomDoubles(5, 24u), e = d;
    qv::math::CorrIFT_D(e.data(), 5, static_cast<QV_FFT_SCALING>(-2));
    for (int i = 0; i < 5; ++i)
        EXPECT_TRUE(SameBits(d[i] / 2.0, e[i])) << i;
    FillSentinel(e.data(), 5);
    qv::math::CorrIFT_D(e.data(), 0, 1.0);
    EXPECT_TRUE(HoldsSentinel(e.data(), 5));
}

// IFT is: copy lines 0..lines, zero the rest and the Nyquist slot, inverse
// transform, divide by twice the factor; the spectrum is left alone.
TEST(Ift, ZeroPadsDropsNyquistAndLeavesSpectrumAlone)
{
    const std::vector<float> spectrum = RandomFloats(64, 25u);
    std::vector<float> time(128), expected(128, 0.0f);
    FillSentinel(time.data(), 128);
    qv::math::IFT(spectrum.data(), 20, time.data(), 128, 0.4f);
    std::copy(spectrum.begin(), spectrum.begin() + 42, expected.begin());
    expected[1] = 0.0f;
    RefTransform(expected.data(), 128, -1);
    for (float& v : expected)
        v = v / (0.4f + 0.4f);
    EXPECT_TRUE(BitEqual(expected.data(), time.data(), 128));
    EXPECT_TRUE(BitEqual(RandomFloats(64, 25u).data(), spectrum.data(), 64));

    // An invalid size leaves the padded copy, divided.
    std::vector<double> dSpectrum = RandomDoubles(6, 26u), dtime(12);
    qv::math::IFT_D(dSpectrum.data(), 2, dtime.data(), 12, QV_FFT_SCALE_PEAK);
    const double padded[12] = {dSpectrum[0] / 2, 0.0,           dSpectrum[2] / 2,
                               dSpectrum[3] / 2, dSpectrum[4] / 2, dSpectrum[5] / 2};
    EXPECT_TRUE(BitEqual(padded, dtime.data(), 12));

    FillSentinel(dtime.data(), 12);
    qv::math::IFT_D(dSpectrum.data(), -1, dtime.data(), 12, 1.0);
    qv::math::IFT_D(dSpectrum.data(), 0, dtime.data(), 1, 1.0);
    EXPECT_TRUE(HoldsSentinel(dtime.data(), 12));
}

// Forward, CorrDFT with N/2 lines, IFT with N/2 - 1 lines: the frame comes back
// without its Nyquist component; with peak scaling DC comes back at 1/sqrt(2).
void CorrectedRoundTrip(float* x, float* back, int n, QV_FFT_SCALING scaling)
{
    qv::math::CorrDFT(reinterpret_cast<complex*>(x), n / 2, scaling);
    qv::math::IFT(x, n / 2 - 1, back, n, scaling);
}
void CorrectedRoundTrip(double* x, double* back, int n, QV_FFT_SCALING scaling)
{
    qv::math::CorrDFT_D(reinterpret_cast<complex_d*>(x), n / 2, scaling);
    qv::math::IFT_D(x, n / 2 - 1, back, n, scaling);
}

template <typename T>
void ExpectCorrectedRoundTrip(double tol)
{
    for (int n : {8, 64, 512}) {
        for (QV_FFT_SCALING scaling : {QV_FFT_SCALE_RMS, QV_FFT_SCALE_PEAK}) {
            std::vector<T> x = Random<T>(n, 27u + static_cast<uint32_t>(n)), back(n);
            for (T& v : x)
                v = v + T(0.75);
            std::vector<T> spectrum = x;
            Dft(spectrum.data(), n, 1);
            const double nyquist = static_cast<double>(spectrum[1]);
            const double dcLoss =
                scaling == QV_FFT_SCALE_RMS ? 0.0 : static_cast<double>(spectrum[0]) * (1.0 - std::sqrt(0.5));
            CorrectedRoundTrip(spectrum.data(), back.data(), n, scaling);
            for (int i = 0; i < n; ++i)
                ASSERT_NEAR(static_cast<double>(x[i]) - (i % 2 ? -nyquist : nyquist) - dcLoss, back[i], tol)
                    << n << " " << i;
        }
    }
}

TEST(Ift, CorrectedRoundTripKeepsAllButNyquistAndPeakScalesDc)
{
    ExpectCorrectedRoundTrip<float>(1e-5);
    ExpectCorrectedRoundTrip<double>(1e-13);
}

}  // namespace
