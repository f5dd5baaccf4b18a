#pragma once

#include <string>
#include <vector>

#include "recording/spectrum.h"

// Test profiles: a table of breakpoints (frequency, PSD level) joined by
// straight segments on log-log or linear axes, with alarm and abort limits
// in decibels around the level, and the check of a measured spectrum
// against them.
//
// choice: limits are power decibels (10 log10 of a PSD ratio): a 3 dB alarm
// lies at twice and half the level, as test engineers read a PSD tolerance.
// Within a segment the limits of its upper breakpoint hold, as the library's
// breakpoint tables have it.

namespace numora {
namespace rec {

// How a segment joins the breakpoint before it to its own.
enum class Segment { Linear, Log };

struct ProfilePoint {
    double frequency = 0.0;          // Hz
    double level = 0.0;              // PSD, unit^2/Hz
    double alarmDb = 0.0;            // alarm limit, dB either side; 0 for none
    double abortDb = 0.0;            // abort limit, dB either side; 0 for none
    Segment segment = Segment::Log;  // the segment from the breakpoint before to this one
    int sourceLine = 0;              // line in the file it came from, for messages; 0 for none
};

struct ProfileTable {
    std::string name;  // for messages
    std::vector<ProfilePoint> points;

    // Throws Error, naming the breakpoint (its file line where known), for:
    // fewer than 2 or more than 500 breakpoints; a frequency that is not
    // finite, is negative, or does not rise above the one before; a level
    // that is not finite or negative, or not positive at either end of a log
    // segment (a log segment also needs frequencies above 0); a limit outside
    // 0 to 100 dB. Frequencies and levels are checked as float, as the
    // library's tables hold them.
    void Validate() const;
    // Whether any breakpoint sets an alarm, or an abort limit.
    bool HasAlarm() const;
    bool HasAbort() const;
};

// A profile evaluated at the lines of a spectrum. Lines outside the
// profile's first to last breakpoint have level 0 and no limits; a limit
// that is off is 0.
struct ProfileCurves {
    std::vector<char> inside;      // 1 for a line within the profile
    std::vector<float> level;      // reference PSD
    std::vector<float> alarmLow;   // level / 10^(alarm / 10)
    std::vector<float> alarmHigh;  // level * 10^(alarm / 10)
    std::vector<float> abortLow;
    std::vector<float> abortHigh;
};

// Evaluates a validated profile at lines 0 .. lastLine of an axis with the
// library's Calc_Table_Curves, one line at a time. Throws Error when a level
// or limit comes out infinite or NaN (breakpoints too close together for the
// change of level between them).
// precision: the line frequency is line * deltaF in double, rounded to
// float; the library evaluates the level and the upper limits in float; a
// lower limit is level * level / upper, in double, rounded to float.
ProfileCurves EvaluateProfile(const ProfileTable& profile, const FrequencyAxis& axis);

// A measured spectrum against a profile, over the lines from 1 to lastLine
// that lie within the profile where its level is above 0.
struct ProfileCheck {
    ProfileCurves curves;
    int linesCompared = 0;
    double worstDb = 0.0;         // deviation of largest magnitude, 10 log10(measured / reference)
    double worstFrequency = 0.0;  // where it lies, Hz
    int beyondAlarm = 0;          // lines outside their alarm limits
    int beyondAbort = 0;          // lines outside their abort limits
    double referenceRms = 0.0;    // RMS of the reference over the lines compared
    double measuredRms = 0.0;     // RMS of the measurement over the same lines
};

// Compares channel `channel` of a result with a profile. Throws Error when
// no line of the spectrum lies within the profile.
// precision: a line's deviation is DB10log(measured / reference), the ratio in float.
ProfileCheck CompareWithProfile(const PsdResult& result, int channel, const ProfileTable& profile);

}  // namespace rec
}  // namespace numora
