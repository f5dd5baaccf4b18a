// Prints one hash per chain of the exact bits that fixed inputs give: the
// real FFT (both twins, every size up to 65536, both directions), the frame
// chain (TIMtoAPS over every window, averaging mode and precision), and the
// two-channel chain (TIMtoCPS, then FRF and coherence). Builds with different
// compilers, instruction sets or the plain vector path must print the same
// lines; .ci/run compares them.
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <vector>

#include "numora/numora.h"

namespace {

// FNV-1a over the bytes of the results.
class BitHash {
public:
    template <typename T>
    void Add(const T* values, int count)
    {
        const unsigned char* bytes = reinterpret_cast<const unsigned char*>(values);
        for (std::size_t i = 0; i < sizeof(T) * static_cast<std::size_t>(count); ++i) {
            hash_ ^= bytes[i];
            hash_ *= 1099511628211ull;
        }
    }
    template <typename T>
    void Add(T value)
    {
        Add(&value, 1);
    }
    unsigned long long Value() const { return hash_; }

private:
    unsigned long long hash_ = 14695981039346656037ull;
};

// A fixed signal: two tones and a pseudo-random part from a 32-bit LCG, so
// that every line of a spectrum carries something.
std::vector<double> Signal(int n, uint32_t seed)
{
    std::vector<double> x(static_cast<std::size_t>(n));
    uint32_t state = seed;
    for (int i = 0; i < n; ++i) {
        state = state * 1664525u + 1013904223u;
        const double noise = static_cast<double>(static_cast<int32_t>(state)) / 2147483648.0;
        x[static_cast<std::size_t>(i)] = 0.8 * std::sin(0.37 * i) + 0.3 * std::cos(1.9 * i + 0.2) + 0.25 * noise;
    }
    return x;
}

std::vector<float> Narrow(const std::vector<double>& x)
{
    std::vector<float> f(x.size());
    for (std::size_t i = 0; i < x.size(); ++i)
        f[i] = static_cast<float>(x[i]);
    return f;
}

unsigned long long FftBits()
{
    BitHash hash;
    for (int n = 2; n <= 65536; n *= 2)
        for (int direction : {1, -1}) {
            const std::vector<double> x = Signal(n, 1u + static_cast<uint32_t>(n));
            std::vector<float> f = Narrow(x);
            std::vector<double> d = x;
            hash.Add(qv::math::DFT(f.data(), n, direction));
            hash.Add(qv::math::DFT_D(d.data(), n, direction));
            hash.Add(f.data(), n);
            hash.Add(d.data(), n);
        }
    return hash.Value();
}

const QV_ACQFRAME_WINTYPE kWindows[] = {QV_WIN_NONE,    QV_WIN_HANN,   QV_WIN_HARRIS,   QV_WIN_FLATTOP,
                                        QV_WIN_EXPDECAY, QV_WIN_CORREL, QV_WIN_BLACKMAN, QV_WIN_HAMMING};

// Four frames of 1024 samples through each chain per window, scaling,
// weighting and averaging mode; the averages and held measures are hashed
// after every frame.
unsigned long long FrameChainBits()
{
    const int n = 1024, lines = 400, frames = 4;
    const float rms = static_cast<float>(std::sqrt(2.0) * 0.5);
    BitHash hash;
    for (QV_ACQFRAME_WINTYPE window : kWindows)
        for (QV_WINDOWSCALE winScale : {QV_WINDOWSCALE_POWER, QV_WINDOWSCALE_AMPLITUDE})
            for (int mode = 0; mode <= 7; ++mode) {
                const auto avg = static_cast<QV_ACQFRAME_AVGMODE>(mode);
                const QV_ACOUSTIC_WEIGHT weight = mode % 2 ? QV_WEIGHT_A : QV_WEIGHT_NONE;
                const float scale = mode < 4 ? rms : 1.0f;
                QV_WIND_SETUP wind{}, windD{}, windW{};
                if (window == QV_WIN_EXPDECAY)
                    for (QV_WIND_SETUP* w : {&wind, &windD, &windW})
                        qv::math::WindowSetupCoeff(window, winScale, 30.0f, n, 0, w);
                std::vector<float> aps(lines), apsW(lines);
                std::vector<double> apsD(lines), work(n);
                float held = 0.0f, heldW = 0.0f;
                double heldD = 0.0;
                for (int k = 1; k <= frames; ++k) {
                    const std::vector<double> x = Signal(n, 100u * static_cast<uint32_t>(k) + static_cast<uint32_t>(mode));
                    std::vector<float> f = Narrow(x), fw = f;
                    std::vector<double> d = x;
                    qv::math::TIMtoAPS(1, f.data(), aps.data(), 12.5f, avg, window, winScale, 0.0f, 700, weight, n,
                                       lines, k, 3, scale, &wind, &held);
                    qv::math::TIMtoAPS(1, d.data(), apsD.data(), 12.5, avg, window, winScale, 0.0, 700, weight, n,
                                       lines, k, 3, static_cast<double>(scale), &windD, &heldD);
                    qv::math::TIMtoAPS(1, fw.data(), apsW.data(), 12.5f, avg, window, winScale, 0.0f, 700, weight,
                                       n, lines, k, 3, scale, &windW, &heldW, work.data(), 512);
                    hash.Add(aps.data(), lines);
                    hash.Add(apsD.data(), lines);
                    hash.Add(apsW.data(), lines);
                    hash.Add(held);
                    hash.Add(heldD);
                    hash.Add(heldW);
                }
                qv::math::WindowReset(&wind);
                qv::math::WindowReset(&windD);
                qv::math::WindowReset(&windW);
            }
    return hash.Value();
}

// A response channel that is the excitation through a short filter plus
// its own noise; cross spectrum in the three averaging kinds, the auto
// spectra of both channels, then FRF and coherence after every frame.
unsigned long long TwoChannelBits()
{
    const int n = 2048, lines = 1024, frames = 6;
    const float rms = static_cast<float>(std::sqrt(2.0) * 0.5);
    BitHash hash;
    for (QV_ACQFRAME_WINTYPE window : {QV_WIN_NONE, QV_WIN_HANN, QV_WIN_FLATTOP})
        for (QV_ACQFRAME_AVGMODE mode : {QV_AVG_LINEAR, QV_AVG_EXPONENTIAL, QV_AVG_PEAK_HOLD}) {
            QV_WIND_SETUP wind{};
            std::vector<complex> cps(lines), frf(lines);
            std::vector<float> apsA(lines), apsB(lines), coh(lines);
            for (int k = 1; k <= frames; ++k) {
                const std::vector<double> x = Signal(n, 7u * static_cast<uint32_t>(k));
                const std::vector<double> e = Signal(n, 9000u + static_cast<uint32_t>(k));
                std::vector<float> excitation = Narrow(x), response(static_cast<std::size_t>(n));
                for (int i = 0; i < n; ++i)
                    response[i] = static_cast<float>(0.6 * x[i] + 0.3 * x[(i + n - 3) % n] + 0.05 * e[i]);
                qv::math::TIMtoCPS(response.data(), excitation.data(), cps.data(), 25.0f, mode, window,
                                   QV_WINDOWSCALE_POWER, 0.0f, 0, QV_WEIGHT_NONE, n, lines, k, 4, rms, &wind);
                qv::math::FFTtoAPS(reinterpret_cast<complex*>(response.data()), apsA.data(), lines, mode, k, 4,
                                   nullptr);
                qv::math::FFTtoAPS(reinterpret_cast<complex*>(excitation.data()), apsB.data(), lines, mode, k, 4,
                                   nullptr);
                qv::math::CPStoFRF(cps.data(), apsB.data(), frf.data(), lines);
                qv::math::CPStoCOH(cps.data(), apsA.data(), apsB.data(), coh.data(), lines);
                hash.Add(cps.data(), lines);
                hash.Add(frf.data(), lines);
                hash.Add(coh.data(), lines);
            }
            qv::math::WindowReset(&wind);
        }
    return hash.Value();
}

}  // namespace

int main()
{
    std::printf("fft %016llx\n", FftBits());
    std::printf("frame-chain %016llx\n", FrameChainBits());
    std::printf("two-channel %016llx\n", TwoChannelBits());
    return 0;
}
