#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "recording/error.h"
#include "recording/io/audio.h"
#include "recording/io/csv.h"
#include "recording/io/open.h"
#include "tests/support/refusal.h"
#include "tests/support/support.h"
#include "tests/support/temp_folder.h"

namespace {

using namespace numora::rec;
namespace fs = std::filesystem;

class Io : public numora_test::TempFolderTest {
protected:
    // Why the recording is refused, opened or read to its end.
    std::string Refusal(const std::string& path, double rate = 0.0) const
    {
        return numora_test::Refusal([&] {
            std::unique_ptr<BlockSource> source = OpenRecording(path, rate);
            std::vector<float> buffer(1024 * static_cast<size_t>(source->Info().channels));
            while (source->Read(buffer.data(), 1024) > 0) {
            }
        });
    }
};

TEST_F(Io, CsvRecordingTakesItsRateFromTheTimeColumnAndItsNamesFromTheHeader)
{
    std::string text = "# exported\nTime (s); accel x; accel y\n";
    for (int i = 0; i < 5000; ++i)
        text += std::to_string(i / 2000.0) + ";" + std::to_string(i) + ";-" + std::to_string(i) + "\r\n";
    const std::string path = WriteText("rec.csv", text);
    std::unique_ptr<BlockSource> source = OpenRecording(path);
    const RecordInfo& info = source->Info();
    EXPECT_EQ(info.sampleRate, 2000.0);  // made whole from the printed times
    EXPECT_EQ(info.channelNames, (std::vector<std::string>{"accel x", "accel y"}));
    EXPECT_EQ(info.frames, -1);
    std::vector<float> all, block(2 * 700);
    while (const int64_t n = source->Read(block.data(), 700))
        all.insert(all.end(), block.begin(), block.begin() + 2 * n);
    ASSERT_EQ(all.size(), 10000u);
    EXPECT_EQ(all[2 * 4321], 4321.0f);
    EXPECT_EQ(all[2 * 4321 + 1], -4321.0f);
    EXPECT_EQ(OpenRecording(WriteText("plain.csv", "1.5,2\n3,4\n"), 100.0)->Info().channelNames,
              (std::vector<std::string>{"ch1", "ch2"}));
    EXPECT_NE(Refusal(path, 1000.0).find("disagrees with the time column (2000 Hz)"), std::string::npos);
}

TEST_F(Io, CsvRecordingNamesTheLineAndColumnOfABadRow)
{
    std::string good = "t,a,b\n";
    for (int i = 0; i < 6000; ++i)
        good += std::to_string(i * 0.001) + ",1,2\n";
    // Early rows are checked when the file is opened, later ones as they are read.
    for (int row : {10, 5000}) {
        std::string bad = good;
        size_t at = 0;
        for (int i = 0; i <= row; ++i)
            at = bad.find('\n', at) + 1;
        const size_t end = bad.find('\n', at);
        const std::string line = bad.substr(at, end - at);
        const std::string line2 = std::to_string(row + 2) + ": ";
        EXPECT_EQ(Refusal(WriteText("n.csv", bad.substr(0, at) + line + "x" + bad.substr(end))),
                  Path("n.csv") + ":" + line2 + "column 3 (b): '2x' is not a finite number");
        EXPECT_EQ(Refusal(WriteText("u.csv", bad.substr(0, at) + line + ",3" + bad.substr(end))),
                  Path("u.csv") + ":" + line2 + "4 columns where the first row has 3");
        EXPECT_EQ(
            Refusal(WriteText("f.csv", bad.substr(0, at) + line.substr(0, line.size() - 1) + "nan" + bad.substr(end))),
            Path("f.csv") + ":" + line2 + "column 3 (b): 'nan' is not a finite number");
        EXPECT_NE(Refusal(WriteText("g.csv", bad.substr(0, at) + bad.substr(end + 1)))
                      .find(std::to_string(row + 2) + ": time"),
                  std::string::npos);
    }

    // A refused file is closed again.
    const auto openFiles = [] {
        return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
    };
    const std::string bad = WriteText("bad.csv", "t,a\n0,1\n0.001,x\n");
    const auto before = openFiles();
    for (int i = 0; i < 50; ++i)
        Refusal(bad);
    EXPECT_EQ(openFiles(), before);
}

TEST_F(Io, TablesAreWrittenToTheBitAndOnlyWhenComplete)
{
    const std::string path = Path("t.csv");
    const float f = 0.1f;
    const double d = 1.0 / 3.0;
    {
        CsvWriter csv(path);
        csv.Header({"a", "b, c", "d"});
        csv.Add(f).Add(d).Add(static_cast<int64_t>(-7)).EndRow();
        EXPECT_FALSE(fs::exists(path));  // still under its temporary name
        csv.Commit();
    }
    const CsvTable table = ReadCsvTable(path);
    EXPECT_EQ(table.header, (std::vector<std::string>{"a", "b, c", "d"}));
    EXPECT_EQ(static_cast<float>(table.Number(0, 0)), f);
    EXPECT_EQ(table.rows[0][0], "0.1");
    EXPECT_EQ(table.Number(0, 1), d);
    EXPECT_EQ(table.Number(0, 2), -7.0);
    {
        CsvWriter abandoned(Path("gone.csv"));
    }
    EXPECT_EQ(Files(), std::set<std::string>{"t.csv"});
    EXPECT_THROW(CsvWriter(Path("no/such/dir.csv")), Error);
}

TEST_F(Io, AudioFilesKeepFloatSamplesAndRefuseWhatTheyCannotHold)
{
    const std::vector<float> samples = numora_test::RandomFloats(3000, 4);  // 1000 frames of 3 channels
    for (const char* name : {"r.wav", "r.w64"}) {
        std::unique_ptr<BlockSink> sink = CreateRecording(Path(name), 48000.0, {"a", "b", "c"});
        sink->Write(samples.data(), 600);
        sink->Write(samples.data() + 1800, 400);
        EXPECT_FALSE(fs::exists(Path(name)));
        sink->Finish();
        std::unique_ptr<BlockSource> source = OpenRecording(Path(name));
        EXPECT_EQ(source->Info().sampleRate, 48000.0);
        EXPECT_EQ(source->Info().frames, 1000);
        std::vector<float> back(3000);
        ASSERT_EQ(source->Read(back.data(), 1000), 1000);
        EXPECT_TRUE(numora_test::BitEqual(samples.data(), back.data(), 3000)) << name;
        EXPECT_NE(Refusal(Path(name), 44100.0).find("carries its own sample rate, 48000 Hz"), std::string::npos);
    }
    {
        std::unique_ptr<BlockSink> flac = CreateRecording(Path("r.flac"), 48000.0, {"a"});
        const float loud[] = {0.5f, -1.5f};
        EXPECT_NE(numora_test::Refusal([&] { flac->Write(loud, 2); }).find("sample 1 is -1.5"), std::string::npos);
    }
    EXPECT_FALSE(fs::exists(Path("r.flac")));
    EXPECT_THROW(CreateRecording(Path("r.mp3"), 48000.0, {"a"}), Error);
    EXPECT_THROW(CreateRecording(Path("r.wav"), 44100.5, {"a"}), Error);
}

TEST_F(Io, ProfilesReadTheirColumnsByNameAndNameTheLineOfAnError)
{
    const std::string path =
        WriteText("p.csv", "# test\nLevel,Frequency,segment,abort_db\n0.01,20,,6\n0.04,80,log,6\n0.04,350,lin,6\n");
    const ProfileTable p = ReadProfile(path);
    ASSERT_EQ(p.points.size(), 3u);
    EXPECT_EQ(p.points[1].frequency, 80.0);
    EXPECT_EQ(p.points[2].segment, Segment::Linear);
    EXPECT_EQ(p.points[2].abortDb, 6.0);
    EXPECT_EQ(p.points[2].alarmDb, 0.0);
    EXPECT_EQ(p.points[2].sourceLine, 5);
    const auto refusal = [&](const std::string& text) {
        return numora_test::Refusal([&] { ReadProfile(WriteText("q.csv", text)); });
    };
    const std::string q = Path("q.csv");
    EXPECT_EQ(refusal("freq,psd,segment\n20,1,\n40,2,cubic\n"), q + ":3: segment 'cubic' is neither lin nor log");
    EXPECT_EQ(refusal("frequency,amplitude\n20,1\n40,2\n"), q + ": no level column (name it level)");
    EXPECT_EQ(refusal("20,1\n40,2\n").rfind(q + ": a profile needs a header", 0), 0u);
}

}  // namespace
