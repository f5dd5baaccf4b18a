#include "recording/profile.h"

#include <cmath>
#include <cstdio>
#include <memory>

#include "numora/drive/profiles.h"
#include "numora/foundation/scalar.h"
#include "numora/spectrum/rms.h"
#include "recording/error.h"

namespace numora {
namespace rec {

namespace {

constexpr int kMaxPoints = 500;
constexpr float kFloor = 1e-30f;
constexpr double kMaxLimitDb = 100.0;  // what the library writes outside a table or for a limit that is off

std::string Where(const ProfileTable& profile, size_t i)
{
    const ProfilePoint& p = profile.points[i];
    if (p.sourceLine > 0)
        return profile.name + ":" + std::to_string(p.sourceLine) + ": ";
    return profile.name + ": breakpoint " + std::to_string(i + 1) + ": ";
}

}  // namespace

void ProfileTable::Validate() const
{
    const size_t n = points.size();
    if (n < 2)
        throw Error(name + ": a profile needs at least 2 breakpoints, not " + std::to_string(n));
    if (n > kMaxPoints)
        throw Error(name + ": a profile holds at most " + std::to_string(kMaxPoints) + " breakpoints, not " +
                    std::to_string(n));
    // The library's tables hold float: each value is checked as it will be held.
    for (size_t i = 0; i < n; ++i) {
        const ProfilePoint& p = points[i];
        const float frequency = static_cast<float>(p.frequency), level = static_cast<float>(p.level);
        if (!std::isfinite(frequency) || frequency < 0.0f)
            throw Error(Where(*this, i) + "frequency " + MessageNumber(p.frequency) +
                        " is not a frequency of 0 or above");
        if (i > 0 && !(frequency > static_cast<float>(points[i - 1].frequency)))
            throw Error(Where(*this, i) + "frequency " + MessageNumber(p.frequency) + " Hz does not rise above the " +
                        MessageNumber(points[i - 1].frequency) + " Hz before it: breakpoints must ascend");
        if (!std::isfinite(level) || level < 0.0f)
            throw Error(Where(*this, i) + "level " + MessageNumber(p.level) + " is not a level of 0 or above");
        if (!(p.alarmDb >= 0.0 && p.alarmDb <= kMaxLimitDb))
            throw Error(Where(*this, i) + "alarm limit " + MessageNumber(p.alarmDb) + " dB is not from 0 to 100 dB");
        if (!(p.abortDb >= 0.0 && p.abortDb <= kMaxLimitDb))
            throw Error(Where(*this, i) + "abort limit " + MessageNumber(p.abortDb) + " dB is not from 0 to 100 dB");
    }
    for (size_t i = 1; i < n; ++i) {
        if (points[i].segment != Segment::Log)
            continue;
        for (size_t end : {i - 1, i}) {
            if (!(static_cast<float>(points[end].level) > 0.0f))
                throw Error(Where(*this, end) + "level " + MessageNumber(points[end].level) +
                            " is not positive, but the segment to the breakpoint at " +
                            MessageNumber(points[i].frequency) + " Hz is logarithmic");
            if (!(static_cast<float>(points[end].frequency) > 0.0f))
                throw Error(Where(*this, end) + "frequency 0 cannot end a logarithmic segment");
        }
    }
}

bool ProfileTable::HasAlarm() const
{
    for (const ProfilePoint& p : points)
        if (p.alarmDb > 0.0)
            return true;
    return false;
}

bool ProfileTable::HasAbort() const
{
    for (const ProfilePoint& p : points)
        if (p.abortDb > 0.0)
            return true;
    return false;
}

ProfileCurves EvaluateProfile(const ProfileTable& profile, const FrequencyAxis& axis)
{
    profile.Validate();
    // The library's table takes amplitude decibels (10^(dB / 20) times the
    // level); a PSD is a power, so a power limit of d dB goes in as 2 d. An
    // alarm of 0 switches the first limit off by itself; the second one needs
    // a negative value for that.
    std::unique_ptr<ref_tag> table(new ref_tag{});
    const int n = static_cast<int>(profile.points.size());
    table->numPoints = n;
    for (int i = 0; i < n; ++i) {
        const ProfilePoint& p = profile.points[static_cast<size_t>(i)];
        table->segmentType[i] = p.segment == Segment::Log ? 1 : 0;
        table->frequency[i] = static_cast<float>(p.frequency);
        table->level[i] = static_cast<float>(p.level);
        table->limit1Db[i] = p.alarmDb > 0.0 ? static_cast<float>(2.0 * p.alarmDb) : 0.0f;
        table->limit2Db[i] = p.abortDb > 0.0 ? static_cast<float>(2.0 * p.abortDb) : -1.0f;
    }
    const float first = table->frequency[0];
    const float last = table->frequency[n - 1];

    const size_t lines = static_cast<size_t>(axis.Lines());
    ProfileCurves curves;
    curves.inside.assign(lines, 0);
    curves.level.assign(lines, 0.0f);
    curves.alarmLow.assign(lines, 0.0f);
    curves.alarmHigh.assign(lines, 0.0f);
    curves.abortLow.assign(lines, 0.0f);
    curves.abortHigh.assign(lines, 0.0f);
    for (size_t k = 0; k < lines; ++k) {
        float frequency = static_cast<float>(axis.Frequency(static_cast<int>(k)));
        if (!(frequency >= first && frequency <= last))
            continue;
        float level = 0.0f, alarm = 0.0f, abort = 0.0f;
        qv::math::Calc_Table_Curves(table.get(), &level, &alarm, &abort, &frequency, 1, 0);
        if (!std::isfinite(level) || !std::isfinite(alarm) || !std::isfinite(abort))
            throw Error(profile.name + ": the profile has no finite level at " +
                        MessageNumber(static_cast<double>(frequency)) +
                        " Hz: its breakpoints lie too close for the change of level between them");
        curves.inside[k] = 1;
        curves.level[k] = level;
        if (alarm != kFloor) {
            curves.alarmHigh[k] = alarm;
            curves.alarmLow[k] = static_cast<float>(static_cast<double>(level) * static_cast<double>(level) /
                                                    static_cast<double>(alarm));
        }
        if (abort != kFloor) {
            curves.abortHigh[k] = abort;
            curves.abortLow[k] = static_cast<float>(static_cast<double>(level) * static_cast<double>(level) /
                                                    static_cast<double>(abort));
        }
    }
    return curves;
}

ProfileCheck CompareWithProfile(const PsdResult& result, int channel, const ProfileTable& profile)
{
    ProfileCheck check;
    check.curves = EvaluateProfile(profile, result.axis);
    const std::vector<float>& psd = result.psd[static_cast<size_t>(channel)];
    const ProfileCurves& c = check.curves;
    int firstLine = -1, lastLine = -1;
    for (int k = 1; k <= result.axis.lastLine; ++k) {
        const size_t i = static_cast<size_t>(k);
        if (!c.inside[i] || !(c.level[i] > 0.0f))
            continue;
        if (firstLine < 0)
            firstLine = k;
        lastLine = k;
        ++check.linesCompared;
        const double db = static_cast<double>(qv::math::DB10log(psd[i] / c.level[i]));
        if (check.linesCompared == 1 || std::fabs(db) > std::fabs(check.worstDb)) {
            check.worstDb = db;
            check.worstFrequency = result.axis.Frequency(k);
        }
        if (c.alarmHigh[i] > 0.0f && (psd[i] > c.alarmHigh[i] || psd[i] < c.alarmLow[i]))
            ++check.beyondAlarm;
        if (c.abortHigh[i] > 0.0f && (psd[i] > c.abortHigh[i] || psd[i] < c.abortLow[i]))
            ++check.beyondAbort;
    }
    if (check.linesCompared == 0)
        throw Error(profile.name + ": the profile (" + MessageNumber(profile.points.front().frequency) + " to " +
                    MessageNumber(profile.points.back().frequency) +
                    " Hz) holds no line of the spectrum (lines every " +
                    MessageNumber(static_cast<double>(result.axis.deltaF)) + " Hz up to " +
                    MessageNumber(result.axis.Frequency(result.axis.lastLine)) + " Hz)");
    check.referenceRms =
        static_cast<double>(qv::math::RMS_PSD_BLIM(c.level.data(), firstLine, lastLine, result.axis.deltaF));
    check.measuredRms = qv::math::RMS_APS_BLIM(result.aps[static_cast<size_t>(channel)].data(), firstLine, lastLine);
    return check;
}

}  // namespace rec
}  // namespace numora
