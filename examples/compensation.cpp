// Compensation: flattening a shaker path.
//
// The path from drive to control accelerometer is a lightly damped resonance
// (a peaking section, +14 dB at 1500 Hz) followed by a pure delay of 4 samples.
// Its frequency response is measured with the two-channel chain (white noise,
// Hann window, 200 averages of 1024-sample frames). CompensationInvert turns
// the measured response into a compensation filter: inverted, centred, placed
// in a frame four times as long and brought back to lines. New white noise is
// run block by block through ApplyCompensation and then through the path, and
// the response from noise to accelerometer is measured again: it should be
// flat. GetCompPhaseSampleOffset reads the path's delay back from the phase of
// the compensation.
#include <cmath>
#include <cstdio>
#include <random>
#include <vector>

#include "numora/numora.h"

namespace {

const double kPi = 3.14159265358979323846;
const double kSampleRate = 12800.0;
const int kFrame = 1024;                // measurement frame, M2
const int kLines = kFrame / 2;          // M
const int kOutLines = 4 * kLines;       // N: the filter's frame N2 is 4 * M2
const int kBlock = kOutLines;           // new samples per overlap-add block
const int kAverages = 200;
const float kScale = 0.70710678f;       // lines in RMS amplitude
const double kResonanceHz = 1500.0;
const double kResonanceDb = 14.0;
const double kQ = 8.0;
const int kDelay = 4;

// Peaking resonance (a second-order section) followed by a delay line.
class ShakerPath {
public:
    ShakerPath()
    {
        const double w0 = 2.0 * kPi * kResonanceHz / kSampleRate;
        const double alpha = std::sin(w0) / (2.0 * kQ);
        const double a = std::pow(10.0, kResonanceDb / 40.0);
        const double a0 = 1.0 + alpha / a;
        b_[0] = (1.0 + alpha * a) / a0;
        b_[1] = -2.0 * std::cos(w0) / a0;
        b_[2] = (1.0 - alpha * a) / a0;
        a_[1] = -2.0 * std::cos(w0) / a0;
        a_[2] = (1.0 - alpha / a) / a0;
    }

    std::vector<float> Run(const std::vector<float>& drive)
    {
        std::vector<float> out(drive.size());
        for (size_t i = 0; i < drive.size(); ++i) {
            const double x = static_cast<double>(drive[i]);
            const double y = b_[0] * x + s1_;
            s1_ = b_[1] * x - a_[1] * y + s2_;
            s2_ = b_[2] * x - a_[2] * y;
            out[i] = i >= kDelay ? delayed_[i % kDelay] : 0.0f;
            delayed_[i % kDelay] = static_cast<float>(y);
        }
        return out;
    }

private:
    double b_[3] = {};
    double a_[3] = {};
    double s1_ = 0.0, s2_ = 0.0;
    float delayed_[kDelay] = {};
};

std::vector<float> WhiteNoise(size_t count, unsigned seed)
{
    std::mt19937 generator(seed);
    std::vector<float> v(count);
    for (float& x : v)
        x = static_cast<float>(static_cast<double>(generator()) / 4294967296.0 * 2.0 - 1.0);
    return v;
}

// Frequency response from excitation to response, frames starting at sample start.
std::vector<complex> MeasureResponse(const std::vector<float>& excitation, const std::vector<float>& response,
                                     size_t start)
{
    const float df = static_cast<float>(kSampleRate / kFrame);
    std::vector<float> a(kFrame), b(kFrame), apsB(kLines);
    std::vector<complex> cps(kLines), frf(kLines);
    QV_WIND_SETUP wind = {};
    for (int f = 1; f <= kAverages; ++f) {
        const size_t at = start + static_cast<size_t>(f - 1) * kFrame;
        a.assign(response.begin() + static_cast<long>(at), response.begin() + static_cast<long>(at + kFrame));
        b.assign(excitation.begin() + static_cast<long>(at), excitation.begin() + static_cast<long>(at + kFrame));
        qv::math::TIMtoCPS(a.data(), b.data(), cps.data(), df, QV_AVG_LINEAR, QV_WIN_HANN, QV_WINDOWSCALE_AMPLITUDE,
                           0.0f, 0, QV_WEIGHT_NONE, kFrame, kLines, f, 0, kScale, &wind);
        qv::math::FFTtoAPS(reinterpret_cast<complex*>(b.data()), apsB.data(), kLines, QV_AVG_LINEAR, f, 0, nullptr);
    }
    qv::math::CPStoFRF(cps.data(), apsB.data(), frf.data(), kLines);
    qv::math::WindowReset(&wind);
    return frf;
}

// Rounds readings that print as zero to zero, so no "-0.00" appears.
double Tidy(double v)
{
    return std::fabs(v) < 0.005 ? 0.0 : v;
}

double GainDb(complex z)
{
    return Tidy(20.0 * std::log10(static_cast<double>(qv::math::ComplexMag(z))));
}

}  // namespace

int main()
{
    const float df = static_cast<float>(kSampleRate / kFrame);
    const size_t length = static_cast<size_t>(kAverages + 4) * kFrame;

    // 1. The path as it is.
    const std::vector<float> noise = WhiteNoise(length, 1u);
    const std::vector<complex> path = MeasureResponse(noise, ShakerPath().Run(noise), kFrame);

    // 2. Its compensation: inverted, centred (shapeMode 1), placed in the longer frame.
    std::vector<complex> filter(kOutLines);
    std::vector<float> impulse(2 * kOutLines);
    std::vector<complex> measured = path;
    const int shift = qv::math::CompensationInvert(filter.data(), kOutLines, kLines - 2, measured.data(), kLines, 0,
                                                   kScale, impulse.data(), 1, 0, 0.0f, df, 0.0f);
    // The response starts h = M2 / 2 samples into the frame, after the centring shift.
    const int latency = shift + kFrame / 2;

    // 3. New noise through the compensation, block by block, then through the path.
    const std::vector<float> noise2 = WhiteNoise(length, 2u);
    std::vector<float> drive(length), block(2 * kBlock, 0.0f), tail(kBlock);
    for (size_t at = 0; at + kBlock <= length; at += kBlock) {
        std::copy(noise2.begin() + static_cast<long>(at), noise2.begin() + static_cast<long>(at + kBlock),
                  block.begin());
        qv::math::ApplyCompensation(block.data(), reinterpret_cast<float*>(filter.data()), tail.data(), 1.0f,
                                    kBlock, kScale);
        std::copy(block.begin(), block.begin() + kBlock, drive.begin() + static_cast<long>(at));
    }
    const std::vector<float> accel = ShakerPath().Run(drive);
    // Compare the accelerometer with the noise as it was latency samples before.
    std::vector<float> reference(length, 0.0f);
    std::copy(noise2.begin(), noise2.end() - latency, reference.begin() + latency);
    const std::vector<complex> flat = MeasureResponse(reference, accel, 2 * kFrame);

    // 4. The delay that the compensation's phase stands for, from a filter kept
    // in the frequency domain (same frame, no centring).
    std::vector<complex> plain(kLines);
    measured = path;
    qv::math::CompensationInvert(plain.data(), kLines, kLines - 2, measured.data(), kLines, 0, kScale, nullptr, 0, 0,
                                 0.0f, df, 0.0f);
    std::vector<float> phase(kLines);
    const float delay = qv::math::GetCompPhaseSampleOffset(plain.data(), phase.data(), kLines,
                                                           static_cast<float>(kSampleRate), df);

    std::printf("Numora compensation: path = resonance at %.0f Hz (%+.0f dB, Q %.0f) and a %d-sample delay,\n",
                kResonanceHz, kResonanceDb, kQ, kDelay);
    std::printf("sampled at %.0f Hz, measured with %d averages of %d-sample frames (%.1f Hz lines)\n\n",
                kSampleRate, kAverages, kFrame, static_cast<double>(df));
    std::printf("%10s %18s %18s %18s\n", "frequency", "path gain (dB)", "compensated (dB)", "compensated phase");
    for (int line : {8, 40, 100, 112, 120, 128, 200, 320, 480}) {
        complex h = path[static_cast<size_t>(line)], g = flat[static_cast<size_t>(line)];
        std::printf("%7.1f Hz %18.2f %18.2f %14.2f deg\n", line * static_cast<double>(df), GainDb(h), GainDb(g),
                    Tidy(static_cast<double>(qv::math::ComplexPhase(g))));
    }
    std::printf("\nfilter: %d lines, centring shift %d samples, latency %d samples, blocks of %d samples\n",
                kOutLines, shift, latency, kBlock);
    std::printf("delay read from the compensation's phase: %.3f samples (path delay %d)\n",
                static_cast<double>(delay), kDelay);
    return 0;
}
