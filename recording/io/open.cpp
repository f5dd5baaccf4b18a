#include "recording/io/open.h"

#include <cctype>
#include <cmath>

#include "recording/error.h"
#include "recording/io/audio.h"
#include "recording/io/csv.h"

namespace numora {
namespace rec {

namespace {

bool IsCsv(const std::string& path) {
    const std::string ext = FileExtension(path);
    return ext == "csv" || ext == "txt";
}

}  // namespace

std::unique_ptr<BlockSource> OpenRecording(const std::string& path, double sampleRate) {
    if (IsCsv(path)) return std::unique_ptr<BlockSource>(new CsvSource(path, sampleRate));
    std::unique_ptr<BlockSource> source(new SoundFileSource(path));
    const double own = source->Info().sampleRate;
    if (sampleRate > 0.0 && std::fabs(sampleRate - own) > 1e-9 * own)
        throw Error(path + ": carries its own sample rate, " + FormatShortest(own) + " Hz, not " +
                    FormatShortest(sampleRate) + " Hz");
    return source;
}

std::unique_ptr<BlockSink> CreateRecording(const std::string& path, double sampleRate,
                                           const std::vector<std::string>& channelNames) {
    if (IsCsv(path)) return std::unique_ptr<BlockSink>(new CsvRecordingSink(path, sampleRate, channelNames));
    return std::unique_ptr<BlockSink>(new SoundFileSink(path, sampleRate, static_cast<int>(channelNames.size())));
}

ProfileTable ReadProfile(const std::string& path) {
    const CsvTable table = ReadCsvTable(path);
    if (table.header.empty())
        throw Error(path + ": a profile needs a header naming its columns (frequency, level, and optionally "
                           "alarm_db, abort_db, segment)");
    const int frequency = table.Find({"frequency", "frequency_hz", "freq", "f"});
    const int level = table.Find({"level", "psd"});
    if (frequency < 0) throw Error(path + ": no frequency column (name it frequency)");
    if (level < 0) throw Error(path + ": no level column (name it level)");
    const int alarm = table.Find({"alarm_db", "alarm"});
    const int abort = table.Find({"abort_db", "abort"});
    const int segment = table.Find({"segment"});

    ProfileTable profile;
    profile.name = path;
    for (size_t r = 0; r < table.rows.size(); ++r) {
        ProfilePoint p;
        p.sourceLine = table.lines[r];
        p.frequency = table.Number(r, frequency);
        p.level = table.Number(r, level);
        if (alarm >= 0) p.alarmDb = table.Number(r, alarm);
        if (abort >= 0) p.abortDb = table.Number(r, abort);
        if (segment >= 0) {
            std::string kind = table.rows[r][static_cast<size_t>(segment)];
            for (char& c : kind) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
            if (kind == "lin" || kind == "linear") {
                p.segment = Segment::Linear;
            } else if (kind == "log" || kind.empty()) {
                p.segment = Segment::Log;
            } else {
                throw Error(path + ":" + std::to_string(p.sourceLine) + ": segment '" + kind +
                            "' is neither lin nor log");
            }
        }
        profile.points.push_back(p);
    }
    profile.Validate();
    return profile;
}

}  // namespace rec
}  // namespace numora
