#include "numora/compensation/compensation.h"

#include <cstddef>
#include <initializer_list>

#include "numora/compensation/taper.h"
#include "numora/foundation/array.h"
#include "numora/foundation/array_scan.h"
#include "numora/foundation/complex.h"
#include "numora/foundation/cut_detail.h"
#include "numora/transforms/fft.h"

namespace qv {
namespace math {

namespace {

float* Reals(complex* lines)
{
    return reinterpret_cast<float*>(lines);
}

// Truncation toward zero of a float value; INT_MIN where it has no int.
int Cut(float v)
{
    return detail::CutToInt(static_cast<double>(v));
}

void ClearLines(complex* lines, int from, int to)
{
    if (to >= from)
        ArraySet(lines + from, 0.0f, 0.0f, to - from + 1);
}

// The builders' common road; invert chooses 1 / in over in itself.
int BuildCompensation(complex* out, int outLines, int topLine, complex* in, int inLines, float scale,
                      float* impulse, int shapeMode, int topMode, float lowCutFreq, float lineSpacing,
                      float lowTaperFreq, bool invert, bool keepAtStart)
{
    if (inLines < 1 || outLines < 1)
        return 0;
    const int m2 = 2 * inLines;
    const int n2 = 2 * outLines;
    const float ratio = static_cast<float>(n2) / static_cast<float>(m2);
    const float df = n2 > m2 ? lineSpacing * 0.5f : lineSpacing;
    const bool centred = shapeMode == 1 || shapeMode >= 4;
    float* time = Reals(out);

    if (invert)
        ComplexInvertArray(out, in, inLines);
    else
        ArrayCopy(time, Reals(in), m2);

    // Low end by the sign of the line spacing.
    if (df > 0.0f) {
        const int k = Cut(lowTaperFreq / df);
        if (k > 1)
            TaperComplex(out, k, 0);
        ClearLines(out, 0, 0);
    } else if (df < 0.0f) {
        ClearLines(out, 0, 1);
    }

    // Band edges.
    if (shapeMode == 2 || shapeMode == 3)
        TaperComplex(out, topLine + 1, outLines - 1);
    if (shapeMode == 3)
        TaperComplex(out, 4, 0);

    // Same frame length and no centring: the filter stays in the frequency domain.
    if (m2 == n2 && !centred) {
        if (impulse != nullptr) {
            ArrayCopy(impulse, time, m2);
            DFT(impulse, m2, -1);
            CorrIFT(impulse, m2, scale);
        }
        return 0;
    }

    DFT(time, m2, -1);
    CorrIFT(time, m2, scale);
    int result = 0;
    if (impulse != nullptr) {
        if (centred) {
            result = CompShifttoCenter(time, impulse, static_cast<unsigned int>(m2));
            ArrayCopy(time, impulse, m2);
        } else {
            ArrayCopy(impulse, time, m2);
        }
    }

    // Placement in the longer frame; impulse holds the response here.
    if (n2 > m2 && impulse != nullptr) {
        const int h = m2 / 2;
        if (keepAtStart) {
            ArraySet(time + m2, 0.0f, n2 - m2);
        } else {
            ArrayCopy(time + h, impulse, m2);
            ArraySet(time, 0.0f, h);
            ArraySet(time + h + m2, 0.0f, n2 - h - m2);
        }
        if (shapeMode >= 4) {
            const int c = shapeMode - 3;
            RealExp_taper(time, 0.08f, n2 - h - c, n2 - h);
            RealExp_taper(time, 0.08f, c + h, h);
        }
        ArrayCopy(impulse, time, n2);
    }

    DFT(time, n2, 1);
    CorrDFT(out, outLines, ratio * scale);

    // Above the band.
    if (topMode == 2)
        ComplexExp_taper(out, 0.05f, topLine + 1, outLines - 1);
    else if (topMode == 1)
        ClearLines(out, topLine + 2, outLines - 1);

    if (lowCutFreq > 0.0f) {
        int c = Cut(lowCutFreq / df + 0.5f);
        if (c > 2)
            c = c - 2;
        ClearLines(out, 0, c < outLines ? c : outLines - 1);
    }
    return result;
}

// Forward transform of 2n samples, the filter's lines times gain, inverse
// transform: the frequency-domain part of one overlap-add step. The amplitude
// correction of CorrDFT (lines times 2s) is folded into the product loop, with
// the same operations in the same order; the division of CorrIFT is left to
// the caller, who folds it into the pass that adds the tail.
void FilterFrame(float* data, const float* filter, float gain, uint32_t n, float scale)
{
    const int size = static_cast<int>(2 * n);
    DFT(data, size, 1);
    const float factor = scale + scale;
    data[0] = 0.0f;
    data[1] = 0.0f;
    for (std::size_t i = 2; i < 2 * std::size_t{n}; i += 2) {
        const float a = data[i] * factor;
        const float b = data[i + 1] * factor;
        const float c = filter[i];
        const float d = filter[i + 1];
        data[i] = (c * a - b * d) * gain;
        data[i + 1] = (c * b + a * d) * gain;
    }
    DFT(data, size, -1);
}

// out[i] = frame[i] / (s + s) + tail[i] for the lower half, which is how
// CorrIFT and the sum round; then the upper half is divided in place.
void CorrectAndAdd(float* out, float* frame, const float* tail, uint32_t n, float scale)
{
    const float divisor = scale + scale;
    for (std::size_t i = 0; i < n; ++i)
        out[i] = frame[i] / divisor + tail[i];
    for (std::size_t i = n; i < 2 * std::size_t{n}; ++i)
        frame[i] = frame[i] / divisor;
}

}  // namespace

int CompensationInvert(complex* out, int outLines, int topLine, complex* in, int inLines, int reserved,
                       float scale, float* impulse, int shapeMode, int topMode, float lowCutFreq,
                       float lineSpacing, float lowTaperFreq)
{
    (void)reserved;
    return BuildCompensation(out, outLines, topLine, in, inLines, scale, impulse, shapeMode, topMode, lowCutFreq,
                             lineSpacing, lowTaperFreq, true, false);
}

int CompensationNoInvert(complex* out, int outLines, int topLine, complex* in, int inLines, int reserved,
                         float scale, float* impulse, int shapeMode, int topMode, float lowCutFreq,
                         float lineSpacing, float lowTaperFreq, bool keepAtStart)
{
    (void)reserved;
    return BuildCompensation(out, outLines, topLine, in, inLines, scale, impulse, shapeMode, topMode, lowCutFreq,
                             lineSpacing, lowTaperFreq, false, keepAtStart);
}

void ApplyCompensation(float* block, float* filter, float* tail, float gain, uint32_t n, float scale)
{
    if (block == nullptr || filter == nullptr || tail == nullptr || n == 0)
        return;
    for (std::size_t i = 0; i < n; ++i) {
        tail[i] = block[n + i];
        block[n + i] = 0.0f;
    }
    FilterFrame(block, filter, gain, n, scale);
    CorrectAndAdd(block, block, tail, n, scale);
}

void ApplyCompensationSingle(float* frame, float* filter, float* tail, float* work, float gain, uint32_t size,
                             float scale)
{
    if (frame == nullptr || filter == nullptr || tail == nullptr || size < 2)
        return;
    const uint32_t h = size / 2;
    const int count = static_cast<int>(h);
    for (float* half : {frame, frame + h}) {
        ArrayCopy(work, half, count);
        ArraySet(work + h, 0.0f, count);
        FilterFrame(work, filter, gain, h, scale);
        CorrectAndAdd(half, work, tail, h, scale);
        ArrayCopy(tail, work + h, count);
    }
}

float GetCompPhaseSampleOffset(complex* response, float* phase, int lines, float sampleRate, float lineSpacing)
{
    for (int i = 0; i < lines; ++i)
        phase[i] = ComplexPhase(response[i]);
    ComplexUnwrapPhase(phase, lines, UnitAngleDegrees);
    if (lines <= 1)
        return 0.0f;
    float min = 0.0f;
    float max = 0.0f;
    int minIndex = 0;
    int maxIndex = 0;
    ArrayMinMaxIndex(phase + 1, lines - 1, min, minIndex, max, maxIndex);
    return (max * sampleRate) / ((static_cast<float>(maxIndex + 1) * lineSpacing) * 360.0f);
}

}  // namespace math
}  // namespace qv
