#include "recording/io/open.h"

#include <cmath>

#include "recording/error.h"
#include "recording/io/audio.h"
#include "recording/io/csv.h"

namespace numora {
namespace rec {

namespace {

bool IsCsv(const std::string& path)
{
    const std::string ext = FileExtension(path);
    return ext == "csv" || ext == "txt";
}

}  // namespace

std::unique_ptr<BlockSource> OpenRecording(const std::string& path, double sampleRate)
{
    if (IsCsv(path))
        return std::unique_ptr<BlockSource>(new CsvSource(path, sampleRate));
    std::unique_ptr<BlockSource> source(new SoundFileSource(path));
    const double own = source->Info().sampleRate;
    if (sampleRate > 0.0 && std::fabs(sampleRate - own) > 1e-9 * own)
        throw Error(path + ": carries its own sample rate, " + FormatShortest(own) + " Hz, not " +
                    FormatShortest(sampleRate) + " Hz");
    return source;
}

std::unique_ptr<BlockSink> CreateRecording(const std::string& path, double sampleRate,
                                           const std::vector<std::string>& channelNames)
{
    if (IsCsv(path))
        return std::unique_ptr<BlockSink>(new CsvRecordingSink(path, sampleRate, channelNames));
    return std::unique_ptr<BlockSink>(new SoundFileSink(path, sampleRate, static_cast<int>(channelNames.size())));
}

}  // namespace rec
}  // namespace numora
