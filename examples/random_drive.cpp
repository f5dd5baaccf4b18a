// Random drive: from a test profile to a drive signal and back.
//
// The test: 20 to 2000 Hz flat at 0.01 g^2/Hz, with skirts of -6 dB/octave
// down to the first line and up to 4 kHz, sampled at 51.2 kHz in frames of
// 4096 samples (12.5 Hz lines). The profile is built line by line, given
// random phases and inverted into one base period; the four-onion overlap
// then delivers 30 s of drive, block by block. The drive is measured back
// through the frame pipeline (Hann window, linear averaging) and compared
// with the profile; then it is clipped at three standard deviations, and one
// frame of the same profile is clipped iteratively with its amplitudes held.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <vector>

#include "numora/numora.h"

namespace {

const double kSampleRate = 51200.0;
const int kFrameSize = 4096;
const int kHalf = kFrameSize / 2;
const float kLineSpacing = 12.5f;  // 51200 / 4096
const double kPsd = 0.01;          // g^2/Hz in the flat band
const int kFirstFlat = 2;          // 25 Hz, the first line above 20 Hz
const int kLastFlat = 160;         // 2000 Hz
const int kMaxLine = 320;          // 4000 Hz, the end of the upper skirt
const int kBlocks = 375;           // 30 s of drive
const double kClipSigma = 3.0;

double Db(double ratio)
{
    return 10.0 * std::log10(ratio);
}

// Standard normal quantile, by bisection on the complementary error function.
double NormalQuantile(double p)
{
    double lo = -10.0, hi = 10.0;
    for (int i = 0; i < 200; ++i) {
        const double mid = 0.5 * (lo + hi);
        (0.5 * std::erfc(-mid / std::sqrt(2.0)) < p ? lo : hi) = mid;
    }
    return 0.5 * (lo + hi);
}

// Bounds in dB of an averaged PSD line (chi-square with 2 * averages degrees
// of freedom, Wilson-Hilferty) that hold for all `lines` lines together with
// probability `confidence`.
void PsdTolerance(int averages, int lines, double confidence, double& lowDb, double& highDb)
{
    const double dof = 2.0 * averages;
    const double z = NormalQuantile(1.0 - (1.0 - confidence) / (2.0 * lines));
    const double a = 2.0 / (9.0 * dof);
    lowDb = Db(std::pow(1.0 - a - z * std::sqrt(a), 3.0));
    highDb = Db(std::pow(1.0 - a + z * std::sqrt(a), 3.0));
}

// Averaged PSD (g^2/Hz per line) of a drive record, frame by frame.
std::vector<float> MeasurePsd(const std::vector<float>& drive)
{
    std::vector<float> aps(kHalf, 0.0f), frame(kFrameSize);
    QV_WIND_SETUP wind = {};
    const int frames = static_cast<int>(drive.size()) / kFrameSize;
    for (int f = 0; f < frames; ++f) {
        std::copy(drive.begin() + static_cast<long>(f) * kFrameSize,
                  drive.begin() + static_cast<long>(f + 1) * kFrameSize, frame.begin());
        qv::math::TIMtoAPS(0, frame.data(), aps.data(), kLineSpacing, QV_AVG_LINEAR, QV_WIN_HANN,
                           QV_WINDOWSCALE_POWER, 0.0f, 0, QV_WEIGHT_NONE, kFrameSize, kHalf, f + 1, 0,
                           0.70710678f, &wind, nullptr);
    }
    qv::math::WindowReset(&wind);
    qv::math::APStoPSD(aps.data(), aps.data(), kHalf, kLineSpacing);
    return aps;
}

// Largest deviation in dB, either way, of measured from target over lines first .. last.
double WorstDeviationDb(const std::vector<float>& measured, const std::vector<double>& target, int first,
                        int last)
{
    double worst = 0.0;
    for (int k = first; k <= last; ++k) {
        const double d =
            Db(static_cast<double>(measured[static_cast<size_t>(k)]) / target[static_cast<size_t>(k)]);
        if (std::fabs(d) > std::fabs(worst))
            worst = d;
    }
    return worst;
}

double Rms(const std::vector<float>& x)
{
    return qv::math::RMS_TIM(x.data(), static_cast<int>(x.size()));
}

double CrestFactor(const std::vector<float>& x)
{
    return static_cast<double>(qv::math::ArrayMaxAbs(x.data(), static_cast<int>(x.size()), nullptr)) / Rms(x);
}

}  // namespace

int main()
{
    // 1. The profile, in power per line (g^2): flat, rising below 25 Hz and
    //    falling above 2000 Hz by a factor of 4 per octave. The skirt builders
    //    take the slope in the amplitude sense (gain 10^(slope / 20) per
    //    octave), so -6 dB/octave of PSD is a slope of -12.
    std::vector<float> profile(kFrameSize + 2, 0.0f);
    const float linePower = static_cast<float>(kPsd * static_cast<double>(kLineSpacing));
    qv::math::APSCreateRiseFall(profile.data(), kFrameSize, kMaxLine, linePower, kFirstFlat, -12.0f,
                                kLastFlat, -12.0f);
    std::vector<double> targetPsd(kHalf);
    for (int k = 0; k < kHalf; ++k)
        targetPsd[static_cast<size_t>(k)] =
            static_cast<double>(profile[static_cast<size_t>(k)]) / static_cast<double>(kLineSpacing);
    const double profileRms = qv::math::RMS_APS(profile.data(), kMaxLine);

    // 2. The base period. Four Hann onions overlap to a power of 1.5 (the sum
    //    of w^2 over four quarter-shifted Hann windows), and the overlap has no
    //    gain of its own, so the base is built from the profile divided by 1.5.
    //    The steps are those of InitRandomBandToTimeBuffer, with this profile
    //    in place of its flat band.
    std::vector<float> base(profile);
    qv::math::ArrayScale(base.data(), kFrameSize, static_cast<float>(1.0 / 1.5));
    qv::math::SRand(2024);
    qv::math::APSAddRandomPhase(base.data(), kFrameSize, kMaxLine);
    qv::math::DFT(base.data(), kFrameSize, -1);
    qv::math::CorrIFT(base.data(), kFrameSize, QV_FFT_SCALE_RMS);
    qv::math::CRandomOnions onions(kFrameSize);

    // 3. 30 s of drive, one block at a time, after one block of fade-in.
    std::vector<float> block(kFrameSize), scratch(kFrameSize);
    std::vector<float> drive(static_cast<size_t>(kBlocks) * kFrameSize);
    qv::math::AddRandomBandToTimeBuffer(onions.State(), block.data(), kFrameSize, base.data(),
                                        scratch.data());
    for (int b = 0; b < kBlocks; ++b) {
        std::fill(block.begin(), block.end(), 0.0f);
        qv::math::AddRandomBandToTimeBuffer(onions.State(), block.data(), kFrameSize, base.data(),
                                            scratch.data());
        std::copy(block.begin(), block.end(), drive.begin() + static_cast<long>(b) * kFrameSize);
    }

    // 4. Measured back. Both the onions and the analysis frames are Hann
    //    windowed, which spreads each line over its neighbours: next to the
    //    6 dB step at 25 Hz and the empty line 0 the measured PSD leans towards
    //    its neighbours, so the flat band is judged from 37.5 Hz up.
    const std::vector<float> psd = MeasurePsd(drive);
    double lowDb, highDb;
    PsdTolerance(kBlocks, kLastFlat - kFirstFlat, 0.99, lowDb, highDb);
    double m2, m4;
    const double kurtosis = qv::math::Arraykurtosis(drive.data(), static_cast<int>(drive.size()), &m2, &m4);
    const double baseKurtosis = qv::math::Arraykurtosis(base.data(), kFrameSize, &m2, &m4);
    double psdPower = 0.0;
    for (int k = 1; k < kHalf; ++k)
        psdPower += static_cast<double>(psd[static_cast<size_t>(k)]) * static_cast<double>(kLineSpacing);

    std::printf("Numora random drive: 20-2000 Hz at %.2f g^2/Hz, -6 dB/octave skirts to 4 kHz\n", kPsd);
    std::printf("%.0f Hz, frames of %d samples (%.1f Hz lines), %.0f s of drive in %d blocks\n\n",
                kSampleRate, kFrameSize, static_cast<double>(kLineSpacing),
                kBlocks * kFrameSize / kSampleRate, kBlocks);
    std::printf("%-48s %10s %10s\n", "reading", "measured", "profile");
    std::printf("%-48s %10.3f %10s\n", "PSD, largest deviation 37.5-2000 Hz (dB)",
                WorstDeviationDb(psd, targetPsd, kFirstFlat + 1, kLastFlat), "0");
    std::printf("%-48s %4.2f/%+4.2f\n", "  tolerance, 99 % for all 158 lines (dB)", lowDb, highDb);
    std::printf("%-48s %10.3f %10s\n", "PSD deviation at 12.5 Hz, band edge (dB)",
                WorstDeviationDb(psd, targetPsd, 1, 1), "0");
    std::printf("%-48s %10.3f %10s\n", "PSD deviation at 25 Hz, band edge (dB)",
                WorstDeviationDb(psd, targetPsd, kFirstFlat, kFirstFlat), "0");
    std::printf("%-48s %10.3f %10s\n", "PSD, largest deviation 2012.5-3975 Hz (dB)",
                WorstDeviationDb(psd, targetPsd, kLastFlat + 1, kMaxLine - 2), "0");
    std::printf("%-48s %10.4f %10.4f\n", "RMS of the drive (g)", Rms(drive), profileRms);
    std::printf("%-48s %10.4f %10.4f\n", "RMS from the measured PSD (g)", std::sqrt(psdPower), profileRms);
    std::printf("%-48s %10.3f %10.3f\n", "kurtosis of the drive", kurtosis, 3.0);
    std::printf("%-48s %10.3f\n", "  kurtosis of its one base period", baseKurtosis);
    std::printf("%-48s %10.3f\n", "crest factor", CrestFactor(drive));

    // 5. Every block clipped at three of its own standard deviations. The
    //    onions are copies of one period, so blocks differ in level by up to
    //    some 15 %, and the record's crest factor ends above 3.
    std::vector<float> clipped(drive);
    long long changed = 0;
    double worstBlock = 0.0;
    for (int b = 0; b < kBlocks; ++b) {
        float* x = clipped.data() + static_cast<long>(b) * kFrameSize;
        double deviation = 0.0;
        changed += qv::math::SigmaClip(x, kFrameSize, qv::DriveClipSigma, kClipSigma, deviation, false);
        worstBlock = std::max(worstBlock,
                              static_cast<double>(qv::math::ArrayMaxAbs(x, kFrameSize, nullptr)) / deviation);
    }
    const std::vector<float> clippedPsd = MeasurePsd(clipped);
    double above = 0.0;
    for (int k = kMaxLine + 8; k < kHalf; ++k)
        above += static_cast<double>(clippedPsd[static_cast<size_t>(k)]) * static_cast<double>(kLineSpacing);
    std::printf("\nSigmaClip at %.0f sigma, block by block\n", kClipSigma);
    std::printf("%-48s %10.3f %10.3f\n", "crest factor of a block (its own deviation)", worstBlock,
                kClipSigma);
    std::printf("%-48s %10.3f\n", "crest factor of the record", CrestFactor(clipped));
    std::printf("%-48s %10.3f\n", "samples clipped (%)", 100.0 * double(changed) / double(clipped.size()));
    std::printf(
        "%-48s %10.3f\n", "PSD change, largest 25-2000 Hz (dB)",
        WorstDeviationDb(clippedPsd, std::vector<double>(psd.begin(), psd.end()), kFirstFlat, kLastFlat));
    std::printf("%-48s %10.1f\n", "power above 4.1 kHz, against the drive's (dB)", Db(above / psdPower));

    // 6. One frame with the profile's amplitudes, clipped iteratively: each call
    //    keeps the amplitudes and moves the phases towards lower peaks. The
    //    first six calls start from new random phases, later ones continue from
    //    the last. Shown for each: the samples clipped in its last iteration,
    //    the crest factor of the unclipped frame its phases give, and how far
    //    the clipped frame's line powers moved from the held amplitudes.
    QV_BASE_FRAME_SETUP setup = {};
    qv::math::UpdateFrameInfo(setup, kFrameSize, QV_FFT_SCALE_RMS, kSampleRate, 2.56, 20000.0);
    std::vector<double> amplitude(kFrameSize, 0.0), time(kFrameSize), spectrum(kFrameSize), phase(kHalf);
    std::vector<double> open(kFrameSize), lines(kFrameSize);
    for (int k = 1; k <= kMaxLine; ++k)
        amplitude[static_cast<size_t>(k)] = std::sqrt(static_cast<double>(profile[static_cast<size_t>(k)]));
    std::printf("\nRandomUltraClip at %.0f sigma, one frame, amplitudes held\n", kClipSigma);
    std::printf("%6s %14s %20s %26s\n", "call", "clipped last", "crest from phases",
                "line power change (dB)");
    int pass = 0;
    double frameRms = 0.0;
    for (int call = 1; call <= 24; ++call) {
        const int last = qv::math::RandomUltraClip(amplitude.data(), time.data(), spectrum.data(),
                                                   phase.data(), setup, kClipSigma, 1.0, pass, frameRms, 0.0);
        if (call != 1 && call != 6 && call != 7 && call != 12 && call != 24)
            continue;
        double openRms = 0.0;
        std::vector<double> phaseCopy(phase);
        qv::math::FRQtoTIM_PhaseSigmaClip(amplitude.data(), open.data(), spectrum.data(), phaseCopy.data(),
                                          setup, 1e9, false, 1.0, openRms, 0.0);
        const double openCrest = qv::math::ArrayMaxAbs(open.data(), kFrameSize, nullptr) / openRms;
        // Line powers of the clipped frame, scaled to the held in-band power.
        qv::math::TIMtoFFT(time.data(), lines.data(), kFrameSize, QV_FFT_SCALE_RMS);
        double inBand = 0.0, held = 0.0, worstLine = 0.0;
        for (int k = 1; k <= kMaxLine; ++k) {
            inBand += lines[2 * k] * lines[2 * k] + lines[2 * k + 1] * lines[2 * k + 1];
            held += amplitude[static_cast<size_t>(k)] * amplitude[static_cast<size_t>(k)];
        }
        for (int k = kFirstFlat; k <= kLastFlat; ++k) {
            const double power = lines[2 * k] * lines[2 * k] + lines[2 * k + 1] * lines[2 * k + 1];
            const double d = Db(power * held / inBand /
                                (amplitude[static_cast<size_t>(k)] * amplitude[static_cast<size_t>(k)]));
            if (std::fabs(d) > std::fabs(worstLine))
                worstLine = d;
        }
        std::printf("%6d %14d %20.3f %26.3f\n", call, last, openCrest, worstLine);
    }
    return 0;
}
