#pragma once

#include <string>
#include <vector>

#include "recording/profile.h"
#include "recording/spectrum.h"
#include "tools/numora/plot.h"

// Output of averaged spectra, shared by psd and drive: the CSV table and
// the log-log plot, both with the profile's reference and limits when there
// is one.

namespace numora {
namespace cli {

// Writes frequency_hz, one <channel>_psd column per channel and, with a
// profile, reference_psd, alarm_low, alarm_high, abort_low, abort_high
// (empty where the profile or the limit does not reach).
void WritePsdCsv(const std::string& path, const rec::PsdResult& result, const rec::ProfileCurves* profile);

// The PSD panel: every channel, and the profile in black with its alarm
// (orange) and abort (red) limits dashed.
Panel PsdPanel(const std::string& title, const std::string& unit, const rec::PsdResult& result,
               const rec::ProfileCurves* profile);

// "ch1 against profile.csv: ..." report line.
std::string DescribeCheck(const std::string& channel, const std::string& profileName, const rec::ProfileTable& profile,
                          const rec::ProfileCheck& check, const std::string& unit);

}  // namespace cli
}  // namespace numora
