#pragma once

#include <cstdint>

#include "numora/foundation/export.h"

// Reference profiles: one power value per spectrum line, line k standing for
// frequency k * lineSpacing, written into the caller's array from line 0. A
// profile is built flat, as a flat band, with sloped skirts in dB per octave,
// from corners, from band levels, or from a breakpoint table that also carries
// two limit curves.
//
// n is the array's length; maxLine is the highest line of the test and lines
// above it are zero. Slopes are in dB per octave and corner lines are line
// numbers; a corner line of 0 counts as 1.

// One breakpoint of a shape; APSCreateShape takes them in ascending frequency.
struct QV_CORNER {
    float frequency;  // in the unit of lineSpacing
    float level;      // profile value at that frequency
};

// Layout of the bands of APSCreateBand; any value other than 0 is the octave layout.
enum QV_DAC_OUTPUT_BANDTYPE : int32_t {
    QV_DAC_BAND_LINEAR = 0,
    QV_DAC_BAND_OCTAVE = 1,
};

// A breakpoint table with its two limit curves, filled by the caller.
// choice: the fields this library does not read are kept as opaque words and
// blocks (application*), so that the read fields stay in their places.
struct ref_tag {
    uint32_t application[3];
    int32_t numPoints;  // breakpoints in use, at most 500
    uint32_t application2[4];
    int32_t segmentType[500];  // segment i - 1 to i: 0 linear, else straight on log-log axes
    float frequency[500];      // strictly ascending
    float applicationCurve[500];
    float level[500];     // reference level at each breakpoint
    float limit1Db[500];  // dB offset of the first limit curve
    float applicationLimit[500];
    float limit2Db[500];  // dB offset of the second limit curve
};

namespace qv {
namespace math {

// Line 0 zero, lines 1 to maxLine level, lines maxLine + 1 to n - 1 zero.
// The array holds at least maxLine + 1 values.
NUMORA_API void APSCreateFlat(float* aps, int n, int maxLine, float level);

// level on the band's lines, zero elsewhere. The band is floor(lowFreq /
// lineSpacing) to ceil(highFreq / lineSpacing) (Freq2Index in float), each
// limited to 1 ... maxLine, so line 0 is never in the band; a low edge above
// the high one leaves the band empty.
// choice: a maxLine below 1 leaves the band empty (there is no line for it).
NUMORA_API void APSCreateFlatBand(float* aps, int n, int maxLine, float lineSpacing, float level,
                                  float lowFreq, float highFreq);
// As above, with level scaled by outOfBandDb (a power ratio) outside the band,
// line 0 included.
// precision: the outside value is ScaleByDB(level, outOfBandDb, 10) in float.
NUMORA_API void APSCreateFlatBand(float* aps, int n, int maxLine, float lineSpacing, float level,
                                  float lowFreq, float highFreq, float outOfBandDb);

// Multiplies lines k = c ... by 10^(octaves(k / c) * slope / 20), c being the
// corner line; a negative slope falls. n is not used.
// in place: aps is read and written.
// precision: the gain in double from log10 of the double ratio k / c divided by
// log10(2), rounded to float; the product in float.
// choice: the skirt runs to maxLine inclusive, so the top line of a profile
// falls with the skirt like the lines below it. A negative corner line does
// nothing.
NUMORA_API void APSAddFall(float* aps, int n, int maxLine, int cornerLine, double slope);
// Multiplies lines c down to 1 by 10^(-octaves(k / c) * slope / 20); with a
// negative slope the profile rises towards the corner. Line 0 and the lines
// above c are not touched; a negative corner line does nothing. n is not used.
// in place: aps is read and written.
// precision: as APSAddFall.
NUMORA_API void APSAddRise(float* aps, int n, int maxLine, int cornerLine, double slope);

// APSCreateFlat, then APSAddFall.
NUMORA_API void APSCreateFall(float* aps, int n, int maxLine, float level, int cornerLine, float slope);
// APSCreateFlat, then APSAddRise.
NUMORA_API void APSCreateRise(float* aps, int n, int maxLine, float level, int cornerLine, float slope);
// APSCreateFlat, then APSAddRise, then APSAddFall; overlapping skirts multiply.
NUMORA_API void APSCreateRiseFall(float* aps, int n, int maxLine, float level, int riseLine, float riseSlope,
                                  int fallLine, float fallSlope);

// Linear interpolation of level over frequency between the corners, zero
// below the first and above the last corner and on line 0; lines above
// maxLine are zero. No corners give an all-zero array, one corner a flat
// profile at its level. The search for a line's segment never goes back, so
// the corners must ascend.
// precision: the line frequency is a running float sum of lineSpacing; the
// interpolation (f - F0) / (F1 - F0) * (L1 - L0) + L0 in float.
NUMORA_API void APSCreateShape(float* aps, int n, int maxLine, float lineSpacing, QV_CORNER* corners,
                               int numCorners);

// A staircase of band levels from firstLine on: each band ramps from the
// previous level (not reaching either end) and then holds its own level.
// Linear bands are (lastLine - firstLine) / numBands + 1 lines wide, ramp 2 in
// the first band, lines * rampFraction in the others; octave bands halve from
// topFreq downward, the lowest reaching 0 Hz, with ramps of lines *
// rampFraction (2 in the first band or where that is below 1). After the bands
// the last level holds up to lastLine. At most the position of line counter
// lastLine + 1 is written (firstLine > 0: line lastLine + 1; otherwise
// position lastLine + 2 - firstLine). With firstLine <= 0 the ramp starts
// from aps[0] as the caller left it and writing starts at position 1.
// n is not used.
// choice: the linear layout with numBands < 1 writes no band, only the hold of
// the previous level up to lastLine, as the octave layout does.
// precision: band widths and ramp steps in float, each ramp value
// (float)j * step + previous.
// Allocates two scratch arrays of numBands floats and frees them; if that
// fails, only the lines below firstLine are zeroed.
NUMORA_API void APSCreateBand(float* aps, int n, int firstLine, int lastLine, float lineSpacing,
                              float topFreq, QV_DAC_OUTPUT_BANDTYPE type, float* levels, int numBands,
                              float rampFraction);

// Thins a profile by factor keeping its lower envelope: aps[c] = minimum of
// lines c * factor - factor / 2 ... c * factor + factor / 2 (within the array)
// for every c * factor below n, then the lines behind the last c are zero.
// Nothing for factor < 2 or n < 1.
// in place: an output never reads a line an earlier output has overwritten.
NUMORA_API void APSScarifyMin(float* aps, int n, int factor);

// Evaluates a breakpoint table and its limit curves at count frequencies from
// its first to its last breakpoint, written to freq (spacing 0 or 2 linear,
// any other bit logarithmic); count = 1 reads the one frequency from freq[0].
// Outside the table (and for fewer than two points) all three outputs are the
// floor 1e-30. A linear segment interpolates level linearly, any other type
// straight on log-log axes. A limit is the level times 10^(dB / 20) of the
// segment's upper point (or of the point hit), switched off to the floor when
// limit1Db <= 0 or limit2Db < 0.
// precision: steps and linear interpolation in float; frequencies
// (float)m * step + F0, or (float)pow(2, (float)m * step) * F0, limited to the
// last breakpoint; log-log slope in double from float ratios, rounded to
// float; log-log value pow(f / fP, slope / (20 log10 2)) * lP in double,
// rounded to float; dB / 20 in float, the power in double, rounded to float,
// times the level in float.
// choice: spacing is an int. numPoints above 500 counts as 500, and a table
// with no point reads its end frequency from point 0; a frequency that falls
// in no segment (NaN) counts as outside.
NUMORA_API void Calc_Table_Curves(ref_tag* ref, float* levelOut, float* limit1Out, float* limit2Out,
                                  float* freq, int count, int spacing);

}  // namespace math
}  // namespace qv
