#include "numora/drive/profiles.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <new>

#include "numora/foundation/array.h"
#include "numora/foundation/cut_detail.h"
#include "numora/foundation/scalar.h"

namespace qv {
namespace math {

namespace {

using detail::CutToInt;

const double kLog10Of2 = 0.3010299956639812;

// The value of a limit, or of a point outside a table.
const float kFloor = 1e-30f;

// aps[first..last] = v, a range that may be empty.
void FillLines(float* aps, int first, int last, float v)
{
    for (int k = std::max(first, 0); k <= last; ++k)
        aps[k] = v;
}

// Gain of a skirt at line k with corner c: 10^(sign * octaves(k / c) * slope / 20).
float SkirtGain(int k, int c, double sign, double slope)
{
    const double ratio = static_cast<double>(k) / static_cast<double>(c);
    return static_cast<float>(std::pow(10.0, sign * std::log10(ratio) / kLog10Of2 * slope / 20.0));
}

// The flat band with `outside` everywhere off the band.
void FlatBand(float* aps, int n, int maxLine, float lineSpacing, float level, float lowFreq, float highFreq,
              float outside)
{
    if (std::max(n, maxLine + 1) < 1)
        return;
    int lowLine = Freq2Index(lowFreq, lineSpacing, RoundMethodFloor);
    int highLine = Freq2Index(highFreq, lineSpacing, RoundMethodCeil);
    LimitRange(lowLine, 1, maxLine);
    LimitRange(highLine, 1, maxLine);
    if (maxLine < 1) {  // no line for a band: everything is outside
        lowLine = 1;
        highLine = 0;
    }
    FillLines(aps, 0, lowLine - 1, outside);
    FillLines(aps, lowLine, highLine, level);
    FillLines(aps, highLine + 1, n - 1, outside);
}

// Where a frequency falls in a breakpoint table.
struct TablePlace {
    bool inside;
    bool onPoint;  // on point `index`, else in the segment from index - 1 to index
    int index;
};

TablePlace Classify(const ref_tag& ref, int points, float f, float f0, float f1)
{
    if (points < 2 || f < f0 || f > f1)
        return {false, false, 0};
    if (f == f0)
        return {true, true, 0};
    if (f == f1)
        return {true, true, points - 1};
    for (int i = 1; i < points; ++i)
        if (ref.frequency[i] > f)
            return {true, false, i};
    return {false, false, 0};  // NaN: no segment holds it
}

// Value of the table in the segment from point i - 1 to point i.
float SegmentValue(const ref_tag& ref, int i, float f)
{
    const float fP = ref.frequency[i - 1], fQ = ref.frequency[i];
    const float lP = ref.level[i - 1], lQ = ref.level[i];
    if (ref.segmentType[i] == 0)
        return (f - fP) * ((lQ - lP) / (fQ - fP)) + lP;
    const float slope = static_cast<float>(20.0 * std::log10(static_cast<double>(lQ / lP)) /
                                           (std::log10(static_cast<double>(fQ / fP)) / std::log10(2.0)));
    const double octaveDb = 20.0 * std::log10(2.0);
    return static_cast<float>(
        std::pow(static_cast<double>(f) / static_cast<double>(fP), static_cast<double>(slope) / octaveDb) *
        static_cast<double>(lP));
}

// A limit curve at value v: v scaled by db decibels (amplitude), or the floor.
float LimitValue(float db, bool on, float v)
{
    if (!on)
        return kFloor;
    return static_cast<float>(std::pow(10.0, static_cast<double>(db / 20.0f))) * v;
}

}  // namespace

void APSCreateFlat(float* aps, int n, int maxLine, float level)
{
    if (std::max(n, maxLine + 1) < 1)
        return;
    aps[0] = 0.0f;
    FillLines(aps, 1, maxLine, level);
    FillLines(aps, maxLine + 1, n - 1, 0.0f);
}

void APSCreateFlatBand(float* aps, int n, int maxLine, float lineSpacing, float level, float lowFreq,
                       float highFreq)
{
    FlatBand(aps, n, maxLine, lineSpacing, level, lowFreq, highFreq, 0.0f);
}

void APSCreateFlatBand(float* aps, int n, int maxLine, float lineSpacing, float level, float lowFreq,
                       float highFreq, float outOfBandDb)
{
    FlatBand(aps, n, maxLine, lineSpacing, level, lowFreq, highFreq, ScaleByDB(level, outOfBandDb, 10.0f));
}

void APSAddFall(float* aps, int /*n*/, int maxLine, int cornerLine, double slope)
{
    if (cornerLine < 0)
        return;
    const int c = cornerLine == 0 ? 1 : cornerLine;
    for (int k = c; k <= maxLine; ++k)
        aps[k] = aps[k] * SkirtGain(k, c, 1.0, slope);
}

void APSAddRise(float* aps, int /*n*/, int /*maxLine*/, int cornerLine, double slope)
{
    if (cornerLine < 0)
        return;
    const int c = cornerLine == 0 ? 1 : cornerLine;
    for (int k = c; k >= 1; --k)
        aps[k] = aps[k] * SkirtGain(k, c, -1.0, slope);
}

void APSCreateFall(float* aps, int n, int maxLine, float level, int cornerLine, float slope)
{
    APSCreateFlat(aps, n, maxLine, level);
    APSAddFall(aps, n, maxLine, cornerLine, static_cast<double>(slope));
}

void APSCreateRise(float* aps, int n, int maxLine, float level, int cornerLine, float slope)
{
    APSCreateFlat(aps, n, maxLine, level);
    APSAddRise(aps, n, maxLine, cornerLine, static_cast<double>(slope));
}

void APSCreateRiseFall(float* aps, int n, int maxLine, float level, int riseLine, float riseSlope,
                       int fallLine, float fallSlope)
{
    APSCreateFlat(aps, n, maxLine, level);
    APSAddRise(aps, n, maxLine, riseLine, static_cast<double>(riseSlope));
    APSAddFall(aps, n, maxLine, fallLine, static_cast<double>(fallSlope));
}

void APSCreateShape(float* aps, int n, int maxLine, float lineSpacing, QV_CORNER* corners, int numCorners)
{
    if (numCorners <= 0) {
        FillLines(aps, 0, n - 1, 0.0f);
        return;
    }
    if (numCorners == 1) {
        APSCreateFlat(aps, n, maxLine, corners[0].level);
        return;
    }
    if (std::max(n, maxLine + 1) < 1)
        return;
    aps[0] = 0.0f;
    float f = lineSpacing;
    int start = 0;
    for (int k = 1; k <= maxLine; ++k) {
        float v = 0.0f;
        for (int i = start; i <= numCorners - 2; ++i) {
            const QV_CORNER& a = corners[i];
            const QV_CORNER& b = corners[i + 1];
            if (a.frequency <= f && f <= b.frequency) {
                v = (f - a.frequency) / (b.frequency - a.frequency) * (b.level - a.level) + a.level;
                start = i;
                break;
            }
        }
        aps[k] = v;
        f += lineSpacing;  // accumulated, as the line frequencies always were
    }
    FillLines(aps, maxLine + 1, n - 1, 0.0f);
}

void APSCreateBand(float* aps, int /*n*/, int firstLine, int lastLine, float lineSpacing, float topFreq,
                   QV_DAC_OUTPUT_BANDTYPE type, float* levels, int numBands, float rampFraction)
{
    const int bands = std::max(numBands, 0);
    float* upper = new (std::nothrow) float[bands];
    float* lower = new (std::nothrow) float[bands];

    int pos;
    float previous;
    if (firstLine > 0) {
        FillLines(aps, 0, firstLine - 1, 0.0f);
        pos = firstLine;
        previous = aps[firstLine - 1];
    } else {
        previous = aps[0];
        pos = 1;
    }
    if (upper == nullptr || lower == nullptr) {
        delete[] upper;
        delete[] lower;
        return;
    }

    // Writes one value; false once the line counter has passed lastLine.
    int counter = firstLine;
    auto put = [&](float v) {
        aps[pos++] = v;
        return counter++ <= lastLine;
    };

    // Octave edges halve from topFreq downward; the lowest band reaches 0 Hz.
    const bool linear = type == QV_DAC_BAND_LINEAR;
    if (!linear) {
        float edge = topFreq;
        for (int b = bands - 1; b >= 0; --b) {
            upper[b] = edge;
            lower[b] = static_cast<float>(static_cast<double>(edge) / 2.0);
            edge = lower[b];
        }
        if (bands > 0)
            lower[0] = 0.0f;
    }
    const int linearLines = bands > 0 ? (lastLine - firstLine) / bands + 1 : 0;

    bool going = true;
    for (int b = 0; b < bands && going; ++b) {
        int lines, ramp;
        if (linear) {
            lines = linearLines;
            ramp = b == 0 ? 2 : CutToInt(static_cast<double>(static_cast<float>(lines) * rampFraction));
        } else {
            lines = CutToInt(static_cast<double>((upper[b] - lower[b]) / lineSpacing + 1.0f));
            ramp = CutToInt(static_cast<double>(static_cast<float>(lines) * rampFraction));
            if (b == 0 || ramp < 1)
                ramp = 2;
        }
        // The ramp reaches neither end level; then the band holds its own.
        const float step = (levels[b] - previous) / static_cast<float>(ramp + 1);
        for (int j = 1; j <= ramp && going; ++j)
            going = put(static_cast<float>(j) * step + previous);
        for (int j = 0; j < lines - ramp && going; ++j)
            going = put(levels[b]);
        previous = levels[b];
    }
    while (going && counter < lastLine)
        going = put(previous);

    delete[] upper;
    delete[] lower;
}

void APSScarifyMin(float* aps, int n, int factor)
{
    if (factor < 2 || n < 1)
        return;
    const int64_t h = factor / 2;
    int c = 0;
    for (int64_t i = 0; i < n; i = static_cast<int64_t>(++c) * factor) {
        const int64_t first = std::max<int64_t>(0, i - h);
        const int64_t last = std::min<int64_t>(n - 1, i + h);
        float m = aps[first];
        for (int64_t k = first + 1; k <= last; ++k)
            if (aps[k] < m)
                m = aps[k];
        aps[c] = m;
    }
    FillLines(aps, c, n - 1, 0.0f);
}

void Calc_Table_Curves(ref_tag* ref, float* levelOut, float* limit1Out, float* limit2Out, float* freq,
                       int count, int spacing)
{
    if (count < 1)
        return;
    const int points = std::min(ref->numPoints, 500);
    const float f0 = ref->frequency[0];
    const float f1 = ref->frequency[std::max(points - 1, 0)];
    const bool logarithmic = (spacing & ~2) != 0;

    float f = f0;
    float step = 0.0f;
    if (count == 1) {
        f = freq[0];
    } else if (logarithmic) {
        const float ratio = f1 / f0;
        step = static_cast<float>(std::log(static_cast<double>(ratio)) / std::log(2.0)) /
               static_cast<float>(count - 1);
    } else {
        step = (f1 - f0) / static_cast<float>(count - 1);
    }

    for (int j = 0; j < count; ++j) {
        freq[j] = f;
        const TablePlace place = Classify(*ref, points, f, f0, f1);
        if (!place.inside) {
            levelOut[j] = kFloor;
            limit1Out[j] = kFloor;
            limit2Out[j] = kFloor;
        } else {
            const int e = place.index;
            const float v = place.onPoint ? ref->level[e] : SegmentValue(*ref, e, f);
            levelOut[j] = v;
            limit1Out[j] = LimitValue(ref->limit1Db[e], ref->limit1Db[e] > 0.0f, v);
            limit2Out[j] = LimitValue(ref->limit2Db[e], ref->limit2Db[e] >= 0.0f, v);
        }
        if (count > 1) {
            const float m = static_cast<float>(j + 1);
            if (logarithmic)
                f = static_cast<float>(std::pow(2.0, static_cast<double>(m * step))) * f0;
            else
                f = m * step + f0;
            if (f > f1)
                f = f1;
        }
    }
}

}  // namespace math
}  // namespace qv
