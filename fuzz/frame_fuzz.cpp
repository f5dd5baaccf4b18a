// Fuzz target of the frame chains: TIMtoFFT (plain and pipeline, both
// precisions), FFTtoTIM, TIMtoFFTWithPad, TIMtoAPS (all three overloads) and
// TIMtoAPSWithDriveCorr.
//
// Input: a family byte, a size (32 bits; small sizes, huge sizes and
// non-powers of two included), the chain's arguments, then 16-bit samples
// (repeated when they run out).
//
// Checks: a frame size below 2 (a count below 1 or a padded size below 2 for
// the padded form) touches no buffer and no window record; every chain equals
// its steps done one by one with the library's own calls; in-place equals
// out-of-place where allowed; the QV_FFT_SCALING forms equal the factor forms;
// a spectrum taken back with the same factor returns the frame without its
// Nyquist part and with DC times sqrt(2) / (2 s).

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <vector>

#include "fuzz/fuzz_input.h"
#include "numora/numora.h"

using namespace qv::math;
using fuzz::Bytes;
using fuzz::Same;
using fuzz::SameRecord;

namespace {

// n samples: the remaining bytes as 16-bit values scaled by 2^-8, repeated;
// the bytes stay unread, for the arguments that follow.
template <typename T>
std::vector<T> Samples(Bytes in, int n)
{
    std::vector<int16_t> pool;
    while (in.Left() >= 2)
        pool.push_back(in.Take<int16_t>());
    std::vector<T> x(static_cast<size_t>(n));
    for (size_t i = 0; i < x.size(); ++i) {
        const int16_t v = pool.empty() ? static_cast<int16_t>(i * 2654435761u >> 16) : pool[i % pool.size()];
        x[i] = static_cast<T>(std::ldexp(static_cast<double>(v), -8));
    }
    return x;
}

complex* Lines(float* x)
{
    return reinterpret_cast<complex*>(x);
}
complex_d* Lines(double* x)
{
    return reinterpret_cast<complex_d*>(x);
}
void Forward(float* x, int n, float s)
{
    DFT(x, n, 1);
    CorrDFT(Lines(x), n / 2, s);
}
void Forward(double* x, int n, double s)
{
    DFT_D(x, n, 1);
    CorrDFT_D(Lines(x), n / 2, s);
}
void Backward(float* x, int n, float s)
{
    DFT(x, n, -1);
    CorrIFT(x, n, s);
}
void Backward(double* x, int n, double s)
{
    DFT_D(x, n, -1);
    CorrIFT_D(x, n, s);
}

// The frame pipeline step by step.
template <typename T>
void Pipeline(int channel, std::vector<T>& frame, T df, QV_ACQFRAME_WINTYPE type, QV_WINDOWSCALE winScale, int gate,
              QV_ACOUSTIC_WEIGHT weight, QV_WIND_SETUP* wind, T scale)
{
    const int n = static_cast<int>(frame.size());
    WindowSetupCoeff(type, winScale, 0.0f, n, 0, wind);
    if (channel != 0 && type == QV_WIN_EXPDECAY)
        std::fill(frame.begin() + std::min(std::max(gate, 0), n), frame.end(), T(0));
    WindowApply(frame.data(), n, wind, 0);
    Forward(frame.data(), n, scale);
    if (weight != QV_WEIGHT_NONE)
        Weight_FFT(weight, Lines(frame.data()), n / 2, df);
}

// Returns x with its Nyquist component removed and its DC times g.
template <typename T>
std::vector<double> RoundTripModel(const std::vector<T>& x, double g)
{
    double dc = 0.0;
    double nyquist = 0.0;
    for (size_t i = 0; i < x.size(); ++i) {
        dc += static_cast<double>(x[i]);
        nyquist += i % 2 == 0 ? static_cast<double>(x[i]) : -static_cast<double>(x[i]);
    }
    dc /= static_cast<double>(x.size());
    nyquist /= static_cast<double>(x.size());
    std::vector<double> r(x.size());
    for (size_t i = 0; i < x.size(); ++i)
        r[i] = static_cast<double>(x[i]) - (i % 2 == 0 ? nyquist : -nyquist) + dc * (g - 1.0);
    return r;
}

template <typename T>
void PlainChains(Bytes& in, int n, bool powerOfTwo)
{
    const uint8_t pick = in.Take<uint8_t>();
    const int32_t scaling = in.Take<int32_t>();
    static const double kFactors[] = {0.70710678118654752, 1.0, 0.25, 3.0};
    const T s = static_cast<T>(kFactors[pick % 4]);
    const std::vector<T> x = Samples<T>(in, n);
    std::vector<T> model = x;
    Forward(model.data(), n, s);

    std::vector<T> out(x.size(), T(9));
    std::vector<T> input = x;
    if constexpr (sizeof(T) == sizeof(float)) {
        TIMtoFFT(out.data(), input.data(), n, s);
        CHECK(Same(out, model) && Same(input, x));
        TIMtoFFT(input.data(), n, s);
        CHECK(Same(input, model));
    } else {
        TIMtoFFT(input.data(), out.data(), n, s);
        CHECK(Same(out, model) && Same(input, x));
        TIMtoFFT(input.data(), input.data(), n, s);
        CHECK(Same(input, model));
    }
    // The scaling forms are the factor forms with the scaling's factor.
    const T scalingFactor =
        scaling == QV_FFT_SCALE_RMS ? static_cast<T>(std::sqrt(2.0) * 0.5) : static_cast<T>(1);
    if constexpr (sizeof(T) == sizeof(double)) {
        std::vector<T> viaScaling(x.size());
        std::vector<T> viaFactor(x.size());
        input = x;
        TIMtoFFT(input.data(), viaScaling.data(), n, static_cast<QV_FFT_SCALING>(scaling));
        TIMtoFFT(input.data(), viaFactor.data(), n, scalingFactor);
        CHECK(Same(viaScaling, viaFactor));
    }

    // Back to time: the steps, in place and out of place, scaling and factor.
    std::vector<T> back = model;
    Backward(back.data(), n, s);
    input = model;
    FFTtoTIM(input.data(), out.data(), n, s);
    CHECK(Same(out, back) && Same(input, model));
    FFTtoTIM(input.data(), input.data(), n, s);
    CHECK(Same(input, back));
    std::vector<T> viaScaling = model;
    std::vector<T> viaFactor = model;
    FFTtoTIM(viaScaling.data(), viaScaling.data(), n, static_cast<QV_FFT_SCALING>(scaling));
    FFTtoTIM(viaFactor.data(), viaFactor.data(), n, scalingFactor);
    CHECK(Same(viaScaling, viaFactor));

    if (!powerOfTwo)
        return;
    const std::vector<double> expected = RoundTripModel(x, std::sqrt(2.0) / (2.0 * static_cast<double>(s)));
    double peak = 1.0;
    for (T v : x)
        peak = std::max(peak, std::fabs(static_cast<double>(v)));
    const double bound = 64.0 * std::log2(n) * static_cast<double>(std::numeric_limits<T>::epsilon()) * peak;
    for (size_t i = 0; i < x.size(); ++i)
        CHECK(std::fabs(static_cast<double>(back[i]) - expected[i]) <= bound);
}

void PaddedChain(Bytes& in, int count)
{
    const int32_t paddedRaw = in.Take<int32_t>();
    const uint8_t flags = in.Take<uint8_t>();
    const float s = flags & 2 ? 1.0f : 0.5f;
    const bool hann = flags & 1;
    if (count < 1 || paddedRaw < 2) {
        std::vector<float> out(4, 5.0f);
        std::vector<float> input(4, 6.0f);
        TIMtoFFTWithPad(out.data(), input.data(), count, paddedRaw, s, hann);
        CHECK(Same(out, std::vector<float>(4, 5.0f)) && Same(input, std::vector<float>(4, 6.0f)));
        return;
    }
    const int padded = flags & 4 ? 2 << (paddedRaw % 13) : 2 + paddedRaw % 8191;
    const std::vector<float> x = Samples<float>(in, count);
    std::vector<float> model(static_cast<size_t>(std::max(count, padded)), 3.0f);
    std::copy(x.begin(), x.end(), model.begin());
    if (hann)
        ApplyHann(model.data(), count);
    if (padded > count)
        std::fill(model.begin() + count, model.begin() + padded, 0.0f);
    Forward(model.data(), padded, s);
    std::vector<float> out(model.size(), 3.0f);
    std::vector<float> input = x;
    TIMtoFFTWithPad(out.data(), input.data(), count, padded, s, hann);
    CHECK(Same(out, model) && Same(input, x));
}

struct ChainArgs {
    int channel;
    QV_ACQFRAME_WINTYPE type;
    QV_WINDOWSCALE winScale;
    int gate;
    QV_ACOUSTIC_WEIGHT weight;
    QV_ACQFRAME_AVGMODE mode;
    int lines;
    int frameNumber;
    int expFrames;
    float df;
    float scale;
    float decay;
    bool nullWind;
};

ChainArgs TakeChainArgs(Bytes& in, int n)
{
    ChainArgs a;
    a.channel = in.Take<int8_t>();
    a.type = static_cast<QV_ACQFRAME_WINTYPE>(in.Take<uint8_t>() % 10);
    a.winScale = static_cast<QV_WINDOWSCALE>(in.Take<int8_t>());
    a.gate = in.Take<int32_t>();
    a.weight = static_cast<QV_ACOUSTIC_WEIGHT>(in.Take<int8_t>());
    a.mode = static_cast<QV_ACQFRAME_AVGMODE>(in.Take<int8_t>());
    a.lines = static_cast<int>(in.Take<uint16_t>() % static_cast<unsigned>(n / 2 + 3)) - 2;
    a.frameNumber = in.Take<int8_t>();
    a.expFrames = in.Take<int8_t>();
    a.df = in.Take<float>();
    a.scale = in.Take<float>();
    const uint8_t flags = in.Take<uint8_t>();
    a.decay = static_cast<float>(flags >> 2);
    a.nullWind = flags & 1;
    // Bit 1: a record the caller prepared before, possibly with a decay.
    if (!(flags & 2))
        a.decay = -1.0f;
    return a;
}

// A window record in the state the caller hands over.
struct Record {
    QV_WIND_SETUP setup{};
    Record(const ChainArgs& a, int n)
    {
        if (a.decay >= 0.0f)
            WindowSetupCoeff(a.type, a.winScale, a.decay, n, 0, &setup);
    }
    ~Record() { WindowReset(&setup); }
    QV_WIND_SETUP* Get(const ChainArgs& a) { return a.nullWind ? nullptr : &setup; }
};

// Every chain with a frame size below 2 leaves frame, spectrum, held measure,
// work and window record alone.
void SmallSizes(Bytes& in, int n)
{
    const ChainArgs a = TakeChainArgs(in, 2);
    const int32_t doubleFrom = in.Take<int32_t>();
    QV_WIND_SETUP wind{};
    std::vector<float> f(4, 2.0f);
    std::vector<double> d(4, 2.0);
    float heldF = 1.0f;
    double heldD = 1.0;
    complex corr[2] = {{1.0f, 0.0f}, {1.0f, 0.0f}};
    TIMtoFFT(a.channel, f.data(), n, a.df, a.type, a.winScale, 0.0f, a.gate, a.weight, &wind, a.scale);
    TIMtoFFT(a.channel, d.data(), n, 1.0, a.type, a.winScale, 0.0, a.gate, a.weight, &wind, 1.0);
    TIMtoFFT(f.data(), f.data() + 2, n, a.scale);
    TIMtoFFT(f.data(), n, a.scale);
    TIMtoFFT(d.data(), d.data() + 2, n, QV_FFT_SCALE_PEAK);
    TIMtoFFT(d.data(), d.data(), n, 2.0);
    TIMtoAPS(a.channel, f.data(), f.data() + 2, a.df, a.mode, a.type, a.winScale, 0.0f, a.gate, a.weight, n, 1,
             a.frameNumber, a.expFrames, a.scale, &wind, &heldF);
    TIMtoAPS(a.channel, d.data(), d.data() + 2, 1.0, a.mode, a.type, a.winScale, 0.0, a.gate, a.weight, n, 1,
             a.frameNumber, a.expFrames, 1.0, &wind, &heldD);
    TIMtoAPS(a.channel, f.data(), f.data() + 2, a.df, a.mode, a.type, a.winScale, 0.0f, a.gate, a.weight, n, 1,
             a.frameNumber, a.expFrames, a.scale, &wind, &heldF, d.data(), doubleFrom);
    TIMtoAPSWithDriveCorr(a.channel, f.data(), f.data() + 2, a.df, a.mode, a.type, a.winScale, 0.0f, a.gate,
                          a.weight, n, 1, a.frameNumber, a.expFrames, a.scale, &wind, &heldF, corr);
    CHECK(Same(f, std::vector<float>(4, 2.0f)) && Same(d, std::vector<double>(4, 2.0)));
    CHECK(heldF == 1.0f && heldD == 1.0 && wind.valid == 0 && wind.coeff == nullptr);
}

// The float-only overloads: the split-precision chain and the drive correction.
// model, modelAps and modelHeld hold the float chain's results.
void FloatOnlyChains(Bytes& in, const ChainArgs& a, const std::vector<float>& x, const std::vector<float>& apsBefore,
                     std::vector<float> model, std::vector<float> modelAps, float modelHeld)
{
    const int n = static_cast<int>(x.size());
    const float heldBefore = static_cast<float>(a.frameNumber);

    // The float chain with a transform in double from doubleFrom on.
    const int doubleFrom = in.Take<int16_t>();
    std::vector<double> work(x.size(), -1.0);
    std::vector<double> modelWork(x.size(), -1.0);
    if (n >= doubleFrom) {
        Record workWind(a, n);
        std::copy(x.begin(), x.end(), modelWork.begin());
        Pipeline(a.channel, modelWork, static_cast<double>(a.df), a.type, a.winScale, a.gate, a.weight,
                 workWind.Get(a), static_cast<double>(a.scale));
        for (size_t i = 0; i < x.size(); ++i)
            model[i] = static_cast<float>(modelWork[i]);
        modelAps = apsBefore;
        modelHeld = heldBefore;
        FFTtoAPS(Lines(model.data()), modelAps.data(), a.lines, a.mode, a.frameNumber, a.expFrames, &modelHeld);
    }
    Record splitWind(a, n);
    std::vector<float> frame = x;
    std::vector<float> aps = apsBefore;
    float held = heldBefore;
    TIMtoAPS(a.channel, frame.data(), aps.data(), a.df, a.mode, a.type, a.winScale, 0.0f, a.gate, a.weight, n,
             a.lines, a.frameNumber, a.expFrames, a.scale, splitWind.Get(a), &held, work.data(), doubleFrom);
    CHECK(Same(frame, model) && Same(aps, modelAps) && Same(work, modelWork));
    CHECK(Same(held, modelHeld));

    // With the drive correction between the pipeline and the averaging.
    std::vector<complex> corr(static_cast<size_t>(n / 2));
    for (size_t i = 0; i < corr.size(); ++i)
        corr[i] = {x[(2 * i) % x.size()], x[(2 * i + 1) % x.size()]};
    const std::vector<complex> corrBefore = corr;
    Record corrModelWind(a, n);
    model = x;
    Pipeline(a.channel, model, a.df, a.type, a.winScale, a.gate, a.weight, corrModelWind.Get(a), a.scale);
    FFTApplySineX_X(Lines(model.data()), corr.data(), n / 2);
    modelAps = apsBefore;
    modelHeld = heldBefore;
    FFTtoAPS(Lines(model.data()), modelAps.data(), a.lines, a.mode, a.frameNumber, a.expFrames, &modelHeld);
    Record corrWind(a, n);
    frame = x;
    aps = apsBefore;
    held = heldBefore;
    TIMtoAPSWithDriveCorr(a.channel, frame.data(), aps.data(), a.df, a.mode, a.type, a.winScale, 0.0f, a.gate,
                          a.weight, n, a.lines, a.frameNumber, a.expFrames, a.scale, corrWind.Get(a), &held,
                          corr.data());
    CHECK(Same(frame, model) && Same(aps, modelAps) && Same(held, modelHeld));
    CHECK(std::memcmp(corr.data(), corrBefore.data(), corr.size() * sizeof(complex)) == 0);
}

template <typename T>
void PipelineChains(Bytes& in, int n)
{
    const ChainArgs a = TakeChainArgs(in, n);
    const T df = static_cast<T>(a.df);
    const T scale = static_cast<T>(a.scale);
    const std::vector<T> x = Samples<T>(in, n);
    const size_t apsLength = static_cast<size_t>(std::max(a.lines, 0));
    std::vector<T> apsBefore(apsLength);
    for (size_t i = 0; i < apsLength; ++i)
        apsBefore[i] = x[i % x.size()] * x[i % x.size()];
    const T heldBefore = static_cast<T>(a.frameNumber);

    // The pipeline alone.
    Record modelWind(a, n);
    Record wind(a, n);
    std::vector<T> model = x;
    Pipeline(a.channel, model, df, a.type, a.winScale, a.gate, a.weight, modelWind.Get(a), scale);
    std::vector<T> frame = x;
    TIMtoFFT(a.channel, frame.data(), n, df, a.type, a.winScale, T(0), a.gate, a.weight, wind.Get(a), scale);
    CHECK(Same(frame, model) && SameRecord(wind.setup, modelWind.setup));

    // The chain to an auto power spectrum: the pipeline, then the averaging.
    std::vector<T> modelAps = apsBefore;
    T modelHeld = heldBefore;
    FFTtoAPS(Lines(model.data()), modelAps.data(), a.lines, a.mode, a.frameNumber, a.expFrames, &modelHeld);
    Record chainWind(a, n);
    frame = x;
    std::vector<T> aps = apsBefore;
    T held = heldBefore;
    TIMtoAPS(a.channel, frame.data(), aps.data(), df, a.mode, a.type, a.winScale, T(0), a.gate, a.weight, n, a.lines,
             a.frameNumber, a.expFrames, scale, chainWind.Get(a), &held);
    CHECK(Same(frame, model) && Same(aps, modelAps) && SameRecord(chainWind.setup, modelWind.setup));
    CHECK(Same(held, modelHeld));
    if constexpr (sizeof(T) == sizeof(float))
        FloatOnlyChains(in, a, x, apsBefore, model, modelAps, modelHeld);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    Bytes in(data, size);
    const uint8_t family = in.Take<uint8_t>();
    const int32_t claimed = in.Take<int32_t>();
    if (family % 4 == 3)
        PaddedChain(in, claimed < 1 ? claimed : 1 + claimed % 4096);
    else if (claimed < 2)
        SmallSizes(in, claimed);
    else {
        // Bit 2: a power of two; otherwise any size up to 4096, most refused.
        const bool powerOfTwo = family & 4;
        const int n = powerOfTwo ? 2 << (claimed % 12) : 2 + claimed % 4095;
        switch (family % 4) {
        case 0: PlainChains<float>(in, n, powerOfTwo); break;
        case 1: PlainChains<double>(in, n, powerOfTwo); break;
        default: family & 8 ? PipelineChains<double>(in, n) : PipelineChains<float>(in, n); break;
        }
    }
    return 0;
}
