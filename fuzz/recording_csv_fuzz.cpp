// Fuzz target for the whole-record layer's CSV reading: the input is a file
// read as a table, as a profile and as a recording. Each either refuses it
// with an Error or gives what it promises: rows of one width, finite numbers,
// a profile that passes its own validation and evaluates to ordered limits,
// a recording of finite samples at a positive rate.
#include <unistd.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "recording/error.h"
#include "recording/io/csv.h"
#include "recording/profile.h"

namespace {

void Check(bool ok) {
    if (!ok) std::abort();
}

void Table(const std::string& path) {
    numora::rec::CsvTable table;
    try {
        table = numora::rec::ReadCsvTable(path);
    } catch (const numora::rec::Error&) {
        return;
    }
    Check(table.rows.size() == table.lines.size());
    const size_t width = table.header.empty() ? (table.rows.empty() ? 0 : table.rows[0].size()) : table.header.size();
    for (size_t r = 0; r < table.rows.size(); ++r) {
        Check(table.rows[r].size() == width);
        Check(r == 0 || table.lines[r] > table.lines[r - 1]);
        for (size_t c = 0; c < width; ++c) {
            try {
                Check(std::isfinite(table.Number(r, static_cast<int>(c))));
            } catch (const numora::rec::Error&) {
            }
        }
    }
}

void Profile(const std::string& path) {
    numora::rec::ProfileTable profile;
    try {
        profile = numora::rec::ReadProfile(path);
    } catch (const numora::rec::Error&) {
        return;
    }
    profile.Validate();  // what was read passes, or ReadProfile would have thrown
    const numora::rec::FrequencyAxis axis = numora::rec::MakeFrequencyAxis(4096.0, 64, true);
    const numora::rec::ProfileCurves c = numora::rec::EvaluateProfile(profile, axis);
    for (size_t k = 0; k < c.level.size(); ++k) {
        Check(c.level[k] >= 0.0f && !std::isnan(c.level[k]));
        Check(c.inside[k] || c.level[k] == 0.0f);
        if (c.alarmHigh[k] > 0.0f && std::isfinite(c.alarmHigh[k])) Check(c.alarmLow[k] <= c.level[k] && c.level[k] <= c.alarmHigh[k]);
        if (c.abortHigh[k] > 0.0f && std::isfinite(c.abortHigh[k])) Check(c.abortLow[k] <= c.level[k] && c.level[k] <= c.abortHigh[k]);
    }
}

void Recording(const std::string& path, double rate) {
    try {
        numora::rec::CsvSource source(path, rate);
        const numora::rec::RecordInfo& info = source.Info();
        Check(info.channels >= 1 && info.channelNames.size() == static_cast<size_t>(info.channels));
        Check(info.sampleRate > 0.0 && std::isfinite(info.sampleRate));
        std::vector<float> block(7 * static_cast<size_t>(info.channels));
        int64_t n;
        while ((n = source.Read(block.data(), 7)) > 0) {
            Check(n <= 7);
            for (int64_t i = 0; i < n * info.channels; ++i) Check(std::isfinite(block[static_cast<size_t>(i)]));
        }
        Check(source.Fraction() >= 0.0 && source.Fraction() <= 1.0);
    } catch (const numora::rec::Error&) {
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // The readers take file names: the input goes to a scratch file.
    static const std::string path = "/tmp/numora_recording_csv_fuzz_" + std::to_string(getpid()) + ".csv";
    std::FILE* file = std::fopen(path.c_str(), "wb");
    if (!file) return 0;
    std::fwrite(data, 1, size, file);
    std::fclose(file);
    Table(path);
    Profile(path);
    Recording(path, 0.0);
    Recording(path, 1000.0);
    std::remove(path.c_str());
    return 0;
}
