// Quickstart: measured channels through the transform and the averagers.
//
// One channel: a 1 kHz sine of 2.0 peak plus seeded Gaussian noise of 0.01 RMS,
// sampled at 51.2 kHz, is cut into frames of 4096 samples. Each frame goes
// through DFT and CorrDFT (lines in RMS amplitude) and is averaged into an auto
// power spectrum.
//
// Two channels: a known system (gain 0.5, delay 12 samples, plus measurement
// noise) is excited by white noise. The cross spectrum gives its frequency
// response and coherence, and the cross-correlation gives its delay back.
//
// The program prints what an engineer checks on such measurements, each
// reading beside the value the signals were built with.
#include <cmath>
#include <algorithm>
#include <cstdio>
#include <vector>

#include "numora/numora.h"

namespace {

const double kPi = 3.14159265358979323846;
const double kSampleRate = 51200.0;
const int kFrameSize = 4096;
const int kLines = kFrameSize / 2;
const int kFrames = 64;
const double kSineHz = 1000.0;
const double kSinePeak = 2.0;
const double kNoiseRms = 0.01;

// The two-channel system: response(t) = kGain * excitation(t - kDelay) + noise.
const double kGain = 0.5;
const int kDelay = 12;
const double kResponseNoiseRms = 0.02;

// Standard normal value from the library's seeded 15-bit source (Box-Muller).
double Gaussian()
{
    const double u1 = (qv::math::Rand() + 0.5) / 32768.0;
    const double u2 = (qv::math::Rand() + 0.5) / 32768.0;
    return std::sqrt(-2.0 * std::log(u1)) * std::cos(2.0 * kPi * u2);
}

double Db(double power)
{
    return 10.0 * std::log10(power);
}

// Wraps an angle in degrees into (-180, 180].
double WrapDegrees(double deg)
{
    deg = std::fmod(deg, 360.0);
    if (deg > 180.0)
        deg -= 360.0;
    if (deg <= -180.0)
        deg += 360.0;
    return deg;
}

void SingleChannel()
{
    const double df = kSampleRate / kFrameSize;

    std::vector<float> frame(kFrameSize);
    std::vector<float> aps(kLines);
    qv::math::SRand(2024);

    long long sample = 0;
    for (int f = 1; f <= kFrames; ++f) {
        for (float& x : frame) {
            const double t = static_cast<double>(sample++) / kSampleRate;
            x = static_cast<float>(kSinePeak * std::sin(2.0 * kPi * kSineHz * t) +
                                   kNoiseRms * Gaussian());
        }
        qv::math::DFT(frame.data(), kFrameSize, 1);
        complex* spectrum = reinterpret_cast<complex*>(frame.data());
        qv::math::CorrDFT(spectrum, kLines, QV_FFT_SCALE_RMS);
        qv::math::FFTtoAPS(spectrum, aps.data(), kLines, QV_AVG_LINEAR, f, 0, nullptr);
    }

    // The sine is the strongest line; the noise floor is the mean power of the
    // lines away from DC and the sine; the overall level sums lines 1 .. N/2-1.
    float peakPower = 0.0f;
    int sineLine = 0;
    qv::math::ArrayMaxIndex(aps.data(), kLines, peakPower, sineLine);
    const double overall = qv::math::RMS_APS(aps.data(), kLines - 1);
    double noiseSum = 0.0;
    int noiseLines = 0;
    for (int i = 0; i < kLines; ++i) {
        const double power = static_cast<double>(aps[static_cast<size_t>(i)]);
        if (i > 2 && std::abs(i - sineLine) > 2) {
            noiseSum += power;
            ++noiseLines;
        }
    }
    const double sineRms = kSinePeak / std::sqrt(2.0);
    const double sinePower = static_cast<double>(peakPower);
    // One-sided lines in RMS amplitude: the noise variance spreads over N/2 lines.
    const double floorKnown = 2.0 * kNoiseRms * kNoiseRms / kFrameSize;

    std::printf("Numora quickstart: %d frames of %d samples at %.0f Hz, line spacing %.3f Hz\n\n",
                kFrames, kFrameSize, kSampleRate, df);
    std::printf("%-28s %16s %16s\n", "reading", "measured", "known");
    std::printf("%-28s %16.3f %16.3f\n", "sine frequency (Hz)", sineLine * df, kSineHz);
    std::printf("%-28s %16.6f %16.6f\n", "sine line RMS level", std::sqrt(sinePower), sineRms);
    std::printf("%-28s %16.6f %16.6f\n", "sine line peak level",
                std::sqrt(2.0 * sinePower), kSinePeak);
    std::printf("%-28s %16.2f %16.2f\n", "noise floor (dB per line)", Db(noiseSum / noiseLines), Db(floorKnown));
    std::printf("%-28s %16.6f %16.6f\n", "overall RMS from the lines", overall,
                std::sqrt(sineRms * sineRms + kNoiseRms * kNoiseRms));
}

// Fills one frame of each channel from continuous streams; history keeps the
// last kDelay excitation samples between frames so the delay runs across them.
void NextFramePair(float* response, float* excitation, int count, std::vector<double>& history)
{
    for (int i = 0; i < count; ++i) {
        const double x = Gaussian();
        history.push_back(x);
        const double delayed = history[history.size() - 1 - kDelay];
        excitation[i] = static_cast<float>(x);
        response[i] = static_cast<float>(kGain * delayed + kResponseNoiseRms * Gaussian());
    }
    history.erase(history.begin(), history.end() - kDelay);
}

void TwoChannel()
{
    const float df = static_cast<float>(kSampleRate / kFrameSize);
    std::vector<float> response(kFrameSize), excitation(kFrameSize);
    std::vector<complex> cps(kLines);
    std::vector<float> apsResponse(kLines), apsExcitation(kLines), coh(kLines);
    std::vector<complex> frf(kLines);
    std::vector<double> history(kDelay, 0.0);
    QV_WIND_SETUP wind = {};
    qv::math::SRand(7);

    // Frequency response with a Hann window, 64 averages. TIMtoCPS leaves both
    // frames holding their spectra, which then feed the two auto spectra.
    for (int f = 1; f <= kFrames; ++f) {
        NextFramePair(response.data(), excitation.data(), kFrameSize, history);
        qv::math::TIMtoCPS(response.data(), excitation.data(), cps.data(), df, QV_AVG_LINEAR, QV_WIN_HANN,
                           QV_WINDOWSCALE_AMPLITUDE, 0.0f, 0, QV_WEIGHT_NONE, kFrameSize, kLines, f, 0,
                           0.70710678f, &wind);
        qv::math::FFTtoAPS(reinterpret_cast<complex*>(response.data()), apsResponse.data(), kLines,
                           QV_AVG_LINEAR, f, 0, nullptr);
        qv::math::FFTtoAPS(reinterpret_cast<complex*>(excitation.data()), apsExcitation.data(), kLines,
                           QV_AVG_LINEAR, f, 0, nullptr);
    }
    qv::math::CPStoFRF(cps.data(), apsExcitation.data(), frf.data(), kLines);
    qv::math::CPStoCOH(cps.data(), apsResponse.data(), apsExcitation.data(), coh.data(), kLines);

    std::printf("\nTwo channels: gain %.2f, delay %d samples, response noise %.2f RMS, %d averages\n\n",
                kGain, kDelay, kResponseNoiseRms, kFrames);
    std::printf("%-28s %16s %16s\n", "reading", "measured", "known");
    const double cohKnown = kGain * kGain / (kGain * kGain + kResponseNoiseRms * kResponseNoiseRms);
    const int probeLines[] = {40, 400, 1200};
    for (int line : probeLines) {
        complex& h = frf[static_cast<size_t>(line)];
        const double hz = line * static_cast<double>(df);
        char label[64];
        std::snprintf(label, sizeof label, "FRF gain at %.0f Hz", hz);
        std::printf("%-28s %16.4f %16.4f\n", label, static_cast<double>(qv::math::ComplexMag(h)), kGain);
        std::snprintf(label, sizeof label, "FRF phase at %.0f Hz (deg)", hz);
        std::printf("%-28s %16.2f %16.2f\n", label, static_cast<double>(qv::math::ComplexPhase(h)),
                    WrapDegrees(-360.0 * line * kDelay / kFrameSize));
        std::snprintf(label, sizeof label, "coherence at %.0f Hz", hz);
        std::printf("%-28s %16.4f %16.4f\n", label, static_cast<double>(coh[static_cast<size_t>(line)]), cohKnown);
    }

    // Delay from the cross-correlation: frames of half the transform length,
    // zero-padded and unwindowed, so the correlation is linear and unbiased.
    const int half = kFrameSize / 2;
    std::vector<float> work(kFrameSize), corr(2 * static_cast<size_t>(half) - 1);
    for (int f = 1; f <= kFrames; ++f) {
        NextFramePair(response.data(), excitation.data(), half, history);
        std::fill(response.begin() + half, response.end(), 0.0f);
        std::fill(excitation.begin() + half, excitation.end(), 0.0f);
        qv::math::TIMtoCPS(response.data(), excitation.data(), cps.data(), df, QV_AVG_LINEAR, QV_WIN_NONE,
                           QV_WINDOWSCALE_AMPLITUDE, 0.0f, 0, QV_WEIGHT_NONE, kFrameSize, half, f, 0, 1.0f,
                           nullptr);
    }
    qv::math::CPStoCORR(cps.data(), work.data(), corr.data(), kFrameSize, half);
    float peak = 0.0f;
    int peakIndex = 0;
    qv::math::ArrayMaxIndex(corr.data(), static_cast<int>(corr.size()), peak, peakIndex);
    std::printf("%-28s %16d %16d\n", "delay from correlation", peakIndex - (half - 1), kDelay);
    // Unit-variance excitation: the correlation at the delay is kGain, scaled
    // by half/kFrameSize because half of each transformed frame is padding.
    std::printf("%-28s %16.4f %16.4f\n", "correlation at the delay", static_cast<double>(peak),
                kGain * half / kFrameSize);
    // The window record owns its table until it is reset.
    qv::math::WindowReset(&wind);
}

}  // namespace

int main()
{
    SingleChannel();
    TwoChannel();
    return 0;
}
