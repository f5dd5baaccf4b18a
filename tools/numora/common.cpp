#include "tools/numora/common.h"

#include <cstdio>
#include <cstdlib>

#include "recording/error.h"
#include "recording/units.h"

namespace numora {
namespace cli {

int ChannelIndex(int number, const rec::RecordInfo& info)
{
    if (number < 1 || number > info.channels)
        throw rec::Error("channel " + std::to_string(number) + " does not exist: " + info.name + " has " +
                         std::to_string(info.channels) + " channel" + (info.channels == 1 ? "" : "s"));
    return number - 1;
}

std::vector<int> ParseChannels(const std::string& text, const rec::RecordInfo& info)
{
    std::vector<int> channels;
    if (text == "all") {
        for (int c = 0; c < info.channels; ++c)
            channels.push_back(c);
        return channels;
    }
    size_t start = 0;
    while (start <= text.size()) {
        const size_t comma = text.find(',', start);
        const std::string item = text.substr(start, comma == std::string::npos ? std::string::npos : comma - start);
        char* end = nullptr;
        const long number = std::strtol(item.c_str(), &end, 10);
        if (item.empty() || *end != '\0')
            throw rec::Error("'" + item + "' is not a channel number (channels count from 1, or say all)");
        channels.push_back(ChannelIndex(static_cast<int>(number), info));
        if (comma == std::string::npos)
            break;
        start = comma + 1;
    }
    return channels;
}

rec::SpectrumOptions SpectrumFrom(const SpectrumArgs& args)
{
    rec::SpectrumOptions options;
    options.frameSize = args.frame;
    options.overlapPercent = args.overlap;
    options.window = rec::ParseWindow(args.window);
    options.averaging = rec::ParseAveraging(args.average);
    options.expFrames = args.expFrames;
    options.fullBand = args.fullBand;
    return options;
}

std::string CheckedUnit(const std::string& unit)
{
    if (!rec::ResolveUnit(unit).found)
        throw rec::Error("unknown unit '" + unit + "' (numora units lists the units)");
    return unit;
}

std::string Squared(const std::string& unit)
{
    const bool simple = unit.find_first_of("/*^ ") == std::string::npos && unit.find("\xC2\xB2") == std::string::npos &&
                        unit.find("\xC2\xB3") == std::string::npos;
    return (simple ? unit : "(" + unit + ")") + "\xC2\xB2";
}

std::string Num(double value, int digits)
{
    char text[40];
    std::snprintf(text, sizeof text, "%.*g", digits, value);
    return text;
}

void Report(const std::string& line)
{
    std::printf("%s\n", line.c_str());
}

std::string DescribeSpectrum(const rec::FrequencyAxis& axis, const rec::SpectrumOptions& options, int64_t averages)
{
    return "frame " + std::to_string(axis.frameSize) + " (lines every " + Num(static_cast<double>(axis.deltaF), 6) +
           " Hz to " + Num(axis.Frequency(axis.lastLine), 6) + " Hz), " + rec::WindowName(options.window) +
           " window, " + Num(options.overlapPercent, 4) + " % overlap, " + rec::AveragingName(options.averaging) +
           " average of " + std::to_string(averages) + " frame" + (averages == 1 ? "" : "s");
}

}  // namespace cli
}  // namespace numora
