// Writes the example of the README into a folder: a random-vibration test
// profile (profile.csv) and a two-channel recording (recording.wav, 51.2 kHz,
// 10 s): channel 1 a random drive made from the profile, channel 2 a
// classical shock, a half-sine of 50 g and 11 ms at 1 s.
//
//     numora_example_data FOLDER

#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "numora/drive/waveforms.h"
#include "recording/drive.h"
#include "recording/error.h"
#include "recording/io/csv.h"
#include "recording/io/open.h"

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: numora_example_data FOLDER\n");
        return 2;
    }
    const std::string folder = argv[1];
    try {
        using namespace numora::rec;
        ProfileTable profile;
        profile.name = folder + "/profile.csv";
        profile.points = {
            {20.0, 0.01, 3.0, 6.0}, {80.0, 0.04, 3.0, 6.0}, {350.0, 0.04, 3.0, 6.0}, {2000.0, 0.007, 3.0, 6.0}};
        CsvWriter csv(profile.name);
        csv.Header({"frequency_hz", "level", "alarm_db", "abort_db"});
        for (const ProfilePoint& p : profile.points) {
            csv.Add(p.frequency).Add(p.level).Add(p.alarmDb).Add(p.abortDb);
            csv.EndRow();
        }
        csv.Commit();

        const double rate = 51200.0;
        DriveOptions options;
        options.sampleRate = rate;
        options.seconds = 10.0;
        options.clipSigma = 4.0;
        ArraySink drive(1);
        GenerateDrive(profile, options, drive);

        // Half-sine of 50 g over 11 ms from 1 s on: a sine of half a period
        // in 11 ms, whose sample 0 already has one step of phase.
        const int64_t frames = drive.Frames();
        std::vector<float> shock(static_cast<size_t>(frames), 0.0f);
        const int start = static_cast<int>(rate), length = static_cast<int>(std::lround(0.011 * rate));
        qv::math::AddSineWave(shock.data() + start, length - 1, 1.0 / (2.0 * 0.011), 50.0, rate);

        std::vector<float> samples;
        samples.reserve(static_cast<size_t>(2 * frames));
        for (int64_t i = 0; i < frames; ++i) {
            samples.push_back(drive.Samples()[static_cast<size_t>(i)]);
            samples.push_back(shock[static_cast<size_t>(i)]);
        }
        std::unique_ptr<BlockSink> sink = CreateRecording(folder + "/recording.wav", rate, {"random", "shock"});
        sink->Write(samples.data(), frames);
        sink->Finish();
        std::printf("%s: 4 breakpoints, 20 to 2000 Hz, alarm 3 dB, abort 6 dB\n", profile.name.c_str());
        std::printf("%s/recording.wav: %g s at %g Hz; channel 1 random vibration, channel 2 a 50 g, 11 ms half-sine\n",
                    folder.c_str(), static_cast<double>(frames) / rate, rate);
    } catch (const numora::rec::Error& e) {
        std::fprintf(stderr, "numora_example_data: %s\n", e.what());
        return 1;
    }
    return 0;
}
