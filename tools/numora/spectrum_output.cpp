#include "tools/numora/spectrum_output.h"

#include <cmath>

#include "recording/io/csv.h"
#include "tools/numora/common.h"

namespace numora {
namespace cli {

namespace {

// Adds a curve of a profile at the lines it reaches.
void AddCurve(Panel& panel, const rec::FrequencyAxis& axis, const std::vector<float>& values,
              const std::vector<char>& inside, const std::string& label, Color color, Dash dash, double width)
{
    Series s;
    s.label = label;
    s.color = color;
    s.dash = dash;
    s.width = width;
    for (int k = 1; k <= axis.lastLine; ++k) {
        const size_t i = static_cast<size_t>(k);
        if (!inside[i] || !(values[i] > 0.0f))
            continue;
        s.x.push_back(axis.Frequency(k));
        s.y.push_back(static_cast<double>(values[i]));
    }
    if (!s.x.empty())
        panel.series.push_back(s);
}

}  // namespace

void WritePsdCsv(const std::string& path, const rec::PsdResult& result, const rec::ProfileCurves* profile)
{
    rec::CsvWriter csv(path);
    std::vector<std::string> header{"frequency_hz"};
    for (const std::string& name : result.channelNames)
        header.push_back(name + "_psd");
    if (profile)
        header.insert(header.end(), {"reference_psd", "alarm_low", "alarm_high", "abort_low", "abort_high"});
    csv.Header(header);
    const std::string empty;
    for (int k = 0; k <= result.axis.lastLine; ++k) {
        const size_t i = static_cast<size_t>(k);
        csv.Add(result.axis.Frequency(k));
        for (const std::vector<float>& psd : result.psd)
            csv.Add(psd[i]);
        if (profile) {
            const bool in = profile->inside[i] != 0;
            for (const std::vector<float>* curve :
                 {&profile->level, &profile->alarmLow, &profile->alarmHigh, &profile->abortLow, &profile->abortHigh}) {
                if (in && (curve == &profile->level || (*curve)[i] > 0.0f)) {
                    csv.Add((*curve)[i]);
                } else {
                    csv.Add(empty);
                }
            }
        }
        csv.EndRow();
    }
    csv.Commit();
}

Panel PsdPanel(const std::string& title, const std::string& unit, const rec::PsdResult& result,
               const rec::ProfileCurves* profile)
{
    Panel panel;
    panel.title = title;
    panel.xLabel = "Frequency (Hz)";
    panel.yLabel = "PSD (" + Squared(unit) + "/Hz)";
    panel.logX = panel.logY = true;
    const Color colors[] = {Color::Blue, Color::Green, Color::Purple, Color::Cyan, Color::Brown, Color::Gray};
    for (size_t c = 0; c < result.psd.size(); ++c) {
        Series s;
        s.label = result.channelNames[c];
        s.color = colors[c % 6];
        for (int k = 1; k <= result.axis.lastLine; ++k) {
            s.x.push_back(result.axis.Frequency(k));
            s.y.push_back(static_cast<double>(result.psd[c][static_cast<size_t>(k)]));
        }
        panel.series.push_back(s);
    }
    if (profile) {
        AddCurve(panel, result.axis, profile->level, profile->inside, "profile", Color::Black, Dash::Solid, 2.0);
        AddCurve(panel, result.axis, profile->alarmHigh, profile->inside, "alarm", Color::Orange, Dash::Dashed, 1.5);
        AddCurve(panel, result.axis, profile->alarmLow, profile->inside, "", Color::Orange, Dash::Dashed, 1.5);
        AddCurve(panel, result.axis, profile->abortHigh, profile->inside, "abort", Color::Red, Dash::Dashed, 1.5);
        AddCurve(panel, result.axis, profile->abortLow, profile->inside, "", Color::Red, Dash::Dashed, 1.5);
    }
    return panel;
}

std::string DescribeCheck(const std::string& channel, const std::string& profileName, const rec::ProfileTable& profile,
                          const rec::ProfileCheck& check, const std::string& unit)
{
    std::string line = channel + " against " + profileName + " (" + Num(profile.points.front().frequency) + " to " +
                       Num(profile.points.back().frequency) + " Hz): " + Num(check.measuredRms) + " " + unit +
                       " RMS, reference " + Num(check.referenceRms) + " " + unit + " RMS; worst deviation " +
                       Num(check.worstDb, 3) + " dB at " + Num(check.worstFrequency, 6) + " Hz";
    if (profile.HasAlarm())
        line += "; " + std::to_string(check.beyondAlarm) + " lines beyond the alarm limits";
    if (profile.HasAbort())
        line += ", " + std::to_string(check.beyondAbort) + " beyond abort";
    return line;
}

}  // namespace cli
}  // namespace numora
