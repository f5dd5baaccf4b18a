// Runs the built numora command on generated recordings and profiles, and
// checks its numbers against the whole-record layer called directly and
// against known values, its refusals of bad input, its plots, its progress
// bar and its memory on a long record.

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cmath>
#include <complex>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <limits>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "recording/filter.h"
#include "recording/frf.h"
#include "recording/integrate.h"
#include "recording/io/csv.h"
#include "recording/io/open.h"
#include "recording/spectrum.h"
#include "recording/srs.h"
#include "tests/support/support.h"

namespace {

namespace fs = std::filesystem;
using namespace numora::rec;

struct Result {
    int status = -1;
    std::string out, err;
    long maxRssKb = 0;
};

// Runs the command in `dir` with stdout and stderr captured; with `terminal`
// stderr is a pseudo-terminal.
Result Numora(const fs::path& dir, const std::vector<std::string>& args, bool terminal = false) {
    const std::string outPath = (dir / ".stdout").string(), errPath = (dir / ".stderr").string();
    int master = -1, slave = -1;
    if (terminal && openpty(&master, &slave, nullptr, nullptr, nullptr) != 0) return Result{};
    const pid_t pid = fork();
    if (pid == 0) {
        if (chdir(dir.c_str()) != 0) _exit(126);
        const int out = open(outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        const int err = terminal ? slave : open(errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        dup2(out, 1);
        dup2(err, 2);
        // Under the sanitizers, leaks inside the plot drivers' libraries are not ours.
        const char* lsan = std::getenv("LSAN_OPTIONS");
        const std::string options = std::string(lsan ? lsan : "") + (lsan ? ":" : "") +
                                    "suppressions=" NUMORA_TOOLS_TEST_DIR "/lsan.supp:print_suppressions=0";
        setenv("LSAN_OPTIONS", options.c_str(), 1);
        std::vector<char*> argv{const_cast<char*>(NUMORA_CLI)};
        for (const std::string& a : args) argv.push_back(const_cast<char*>(a.c_str()));
        argv.push_back(nullptr);
        execv(NUMORA_CLI, argv.data());
        _exit(127);
    }
    Result r;
    if (terminal) {
        close(slave);
        char buffer[4096];
        while (true) {
            pollfd p{master, POLLIN, 0};
            if (poll(&p, 1, 100) > 0) {
                const ssize_t n = read(master, buffer, sizeof buffer);
                if (n > 0) {
                    r.err.append(buffer, static_cast<size_t>(n));
                    continue;
                }
            }
            int status;
            if (waitpid(pid, &status, WNOHANG) == pid) {
                r.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
                break;
            }
        }
        close(master);
    } else {
        int status;
        rusage usage{};
        wait4(pid, &status, 0, &usage);
        r.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        r.maxRssKb = usage.ru_maxrss;
        std::ifstream e(errPath);
        r.err.assign(std::istreambuf_iterator<char>(e), {});
    }
    std::ifstream o(outPath);
    r.out.assign(std::istreambuf_iterator<char>(o), {});
    fs::remove(outPath);
    fs::remove(errPath);
    return r;
}

class Command : public ::testing::Test {
protected:
    void SetUp() override {
        dir_ = fs::temp_directory_path() / ("numora_cli_" + std::to_string(getpid()) + "_" +
                                            ::testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::remove_all(dir_);
        fs::create_directories(dir_);
    }
    void TearDown() override { fs::remove_all(dir_); }
    std::string Path(const std::string& name) const { return (dir_ / name).string(); }
    void WriteText(const std::string& name, const std::string& text) const {
        std::ofstream(Path(name), std::ios::binary) << text;
    }
    // An interleaved recording through the layer's writer.
    void WriteRecording(const std::string& name, const std::vector<float>& samples, int channels, double rate) const {
        std::vector<std::string> names;
        for (int c = 0; c < channels; ++c) names.push_back("c" + std::to_string(c));
        std::unique_ptr<BlockSink> sink = CreateRecording(Path(name), rate, names);
        sink->Write(samples.data(), static_cast<int64_t>(samples.size()) / channels);
        sink->Finish();
    }
    Result Run(const std::vector<std::string>& args, bool terminal = false) const {
        return Numora(dir_, args, terminal);
    }
    std::vector<std::string> Files() const {
        std::vector<std::string> names;
        for (const auto& e : fs::directory_iterator(dir_)) names.push_back(e.path().filename().string());
        std::sort(names.begin(), names.end());
        return names;
    }
    // A column of a CSV the command wrote, as floats; NaN for an empty cell.
    std::vector<float> Column(const std::string& name, const std::string& column) const {
        const CsvTable t = ReadCsvTable(Path(name));
        const int c = t.Find({column});
        EXPECT_GE(c, 0) << "no column " << column << " in " << name;
        std::vector<float> v;
        for (size_t r = 0; r < t.rows.size() && c >= 0; ++r)
            v.push_back(t.rows[r][static_cast<size_t>(c)].empty() ? std::numeric_limits<float>::quiet_NaN()
                                                                   : static_cast<float>(t.Number(r, c)));
        return v;
    }

    fs::path dir_;
};

std::vector<float> Sine(int frames, double amplitude, double frequency, double rate) {
    std::vector<float> x(static_cast<size_t>(frames));
    for (int i = 0; i < frames; ++i)
        x[static_cast<size_t>(i)] = static_cast<float>(amplitude * std::sin(6.283185307179586 * frequency * i / rate));
    return x;
}

TEST_F(Command, PsdOfASineReadsItsRmsAndGivesTheLayersNumbers)
{
    const double rate = 51200.0;
    const std::vector<float> sine = Sine(1 << 17, 3.0, 1000.0, rate), noise = numora_test::RandomFloats(1 << 17, 9);
    std::vector<float> rec;
    for (size_t i = 0; i < sine.size(); ++i) rec.insert(rec.end(), {noise[i], sine[i]});
    WriteRecording("rec.wav", rec, 2, rate);
    const Result r = Run({"psd", "rec.wav", "--channel", "2", "--frame", "4096", "--window", "hann", "--overlap", "50",
                          "--band", "900:1100", "-o", "psd.csv"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.err, "");
    EXPECT_NE(r.out.find("ch2: 2.121 g RMS overall (12.5 to 20000 Hz)"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("ch2: 2.121 g RMS from 900 to 1100 Hz"), std::string::npos) << r.out;

    std::unique_ptr<BlockSource> source = OpenRecording(Path("rec.wav"));
    const PsdResult expected = MeasurePsd(*source, {1}, SpectrumOptions{});
    const std::vector<float> psd = Column("psd.csv", "ch2_psd"), f = Column("psd.csv", "frequency_hz");
    ASSERT_EQ(psd.size(), 1601u);
    EXPECT_TRUE(numora_test::BitEqual(expected.psd[0].data(), psd.data(), 1601));
    EXPECT_EQ(f[80], 1000.0f);
    double power = 0.0;
    for (size_t k = 1; k < psd.size(); ++k) power += static_cast<double>(psd[k]) * 12.5;
    EXPECT_NEAR(std::sqrt(power), 3.0 / std::sqrt(2.0), 3e-4);
}

TEST_F(Command, FrfOfAKnownSystemGivesItsGainAndPhase)
{
    const double rate = 4096.0;
    const int frames = 1 << 16;
    const std::vector<float> x = numora_test::RandomFloats(frames, 3);
    std::vector<float> rec;
    for (int n = 0; n < frames; ++n) {
        const double previous = n ? static_cast<double>(x[static_cast<size_t>(n - 1)]) : 0.0;
        rec.push_back(x[static_cast<size_t>(n)]);
        rec.push_back(static_cast<float>(2.0 * static_cast<double>(x[static_cast<size_t>(n)]) - previous));  // 2 - e^-jw
    }
    WriteRecording("sys.wav", rec, 2, rate);
    const Result r = Run({"frf", "sys.wav", "--ref", "1", "--resp", "2", "--frame", "1024", "-o", "frf.csv"});
    ASSERT_EQ(r.status, 0) << r.err;
    const std::vector<float> gain = Column("frf.csv", "gain"), phase = Column("frf.csv", "phase_deg"),
                             coherence = Column("frf.csv", "coherence"), f = Column("frf.csv", "frequency_hz");
    ASSERT_EQ(gain.size(), 401u);
    for (size_t k = 1; k < gain.size(); ++k) {
        const std::complex<double> h = 2.0 - std::exp(std::complex<double>(0.0, -6.283185307179586 * static_cast<double>(f[k]) / rate));
        ASSERT_NEAR(static_cast<double>(gain[k]), std::abs(h), 5e-3 * std::abs(h)) << f[k];
        ASSERT_NEAR(phase[k], std::arg(h) * 57.29577951308232, 0.3) << f[k];
        ASSERT_GT(coherence[k], 0.999f) << f[k];
    }
    std::unique_ptr<BlockSource> source = OpenRecording(Path("sys.wav"));
    SpectrumOptions options;
    options.frameSize = 1024;
    const FrfResult expected = MeasureFrf(*source, 0, *source, 1, options);
    EXPECT_TRUE(numora_test::BitEqual(expected.gain.data(), gain.data(), 401));
}

TEST_F(Command, DriveMeetsItsProfileAndFilterGivesTheLayersSamples)
{
    WriteText("profile.csv", "frequency,level,alarm_db,abort_db\n20,0.01,3,6\n80,0.04,3,6\n350,0.04,3,6\n2000,0.007,3,6\n");
    const std::vector<std::string> drive{"drive", "--profile", "profile.csv", "--rate", "8192", "--seconds", "30",
                                         "--frame", "2048", "--clip", "4"};
    std::vector<std::string> args = drive;
    args.insert(args.end(), {"-o", "a.wav", "--csv", "check.csv"});
    Result r = Run(args);
    ASSERT_EQ(r.status, 0) << r.err;
    args = drive;
    args.insert(args.end(), {"-o", "b.wav"});
    ASSERT_EQ(Run(args).status, 0);
    std::ifstream a(Path("a.wav"), std::ios::binary), b(Path("b.wav"), std::ios::binary);
    const std::string bytesA(std::istreambuf_iterator<char>(a), {}), bytesB(std::istreambuf_iterator<char>(b), {});
    EXPECT_TRUE(bytesA == bytesB) << "the same seed gave another drive";

    // The drive, read back, meets the profile: every line inside within 1.5 dB
    // but the edges, which the window spreads.
    std::unique_ptr<BlockSource> source = OpenRecording(Path("a.wav"));
    SpectrumOptions options;
    options.frameSize = 2048;
    options.fullBand = true;
    const PsdResult psd = MeasurePsd(*source, {0}, options);
    EXPECT_EQ(psd.samples, 30 * 8192);
    const std::vector<float> reference = Column("check.csv", "reference_psd");
    int compared = 0;
    for (int k = 6; k <= 498; ++k) {  // 24 to 1992 Hz
        const double db = 10.0 * std::log10(static_cast<double>(psd.psd[0][static_cast<size_t>(k)]) /
                                             static_cast<double>(reference[static_cast<size_t>(k)]));
        ASSERT_LT(std::fabs(db), 1.5) << "line " << k;
        ++compared;
    }
    EXPECT_EQ(compared, 493);
    EXPECT_NE(r.out.find("0 lines beyond the alarm limits, 0 beyond abort"), std::string::npos) << r.out;

    r = Run({"filter", "a.wav", "--type", "chebyshev", "--shape", "bandpass", "--order", "3", "--f1", "100", "--f2",
             "400", "-o", "f.wav", "--csv", "response.csv"});
    ASSERT_EQ(r.status, 0) << r.err;
    FilterDesign design;
    design.type = qv::math::CTimeFilter::Chebyshev;
    design.shape = qv::math::CTimeFilter::BandPass;
    design.order = 3;
    design.f1 = 100.0f;
    design.f2 = 400.0f;
    std::unique_ptr<BlockSource> in = OpenRecording(Path("a.wav"));
    ArraySink expected(1);
    FilterRecord(*in, {0}, design, expected);
    std::unique_ptr<BlockSource> out = OpenRecording(Path("f.wav"));
    std::vector<float> filtered(static_cast<size_t>(expected.Frames()));
    ASSERT_EQ(out->Read(filtered.data(), expected.Frames()), expected.Frames());
    EXPECT_TRUE(numora_test::BitEqual(expected.Samples().data(), filtered.data(), static_cast<int>(filtered.size())));
    const std::vector<float> gainDb = Column("response.csv", "gain_db");
    EXPECT_EQ(gainDb.size(), 400u);
}

TEST_F(Command, BadInputGetsOneLineAndNoOutput)
{
    const double rate = 51200.0;
    WriteRecording("rec.wav", Sine(20000, 1.0, 100.0, rate), 1, rate);
    std::vector<float> nan = Sine(200000, 1.0, 100.0, rate);
    nan[150000] = std::numeric_limits<float>::quiet_NaN();  // long after the first blocks
    WriteRecording("nan.wav", nan, 1, rate);
    nan[150000] = 0.0f;
    nan[170001] = -std::numeric_limits<float>::infinity();
    WriteRecording("inf.wav", nan, 1, rate);
    WriteText("junk.wav", "RIFF but not really a recording");
    WriteText("bad.csv", "time,a\n0,1\n0.001,2\n0.002,1.2.3\n");
    WriteText("ragged.csv", "time,a\n0,1\n0.001,2\n0.002,3,4\n");
    WriteText("norate.csv", "1,2\n3,4\n");
    WriteText("order.csv", "frequency,level\n20,0.01\n80,0.04\n50,0.04\n");
    WriteText("zero.csv", "frequency,level\n20,0.01\n80,0\n");
    const std::vector<std::string> before = Files();

    struct Case {
        std::vector<std::string> args;
        std::string message;
        int status;
    };
    const std::vector<Case> cases{
        {{"psd", "missing.wav", "-o", "out.csv"}, "cannot open 'missing.wav': No such file or directory", 1},
        {{"psd", "junk.wav", "-o", "out.csv"}, "cannot read 'junk.wav' as a recording: ", 1},
        {{"psd", "rec.wav", "--channel", "3", "-o", "out.csv"}, "channel 3 does not exist: rec.wav has 1 channel", 1},
        {{"frf", "rec.wav", "--ref", "1", "--resp", "2", "-o", "out.csv"}, "channel 2 does not exist: rec.wav has 1 channel", 1},
        {{"psd", "bad.csv", "-o", "out.csv"}, "bad.csv:4: column 2 (a): '1.2.3' is not a finite number", 1},
        {{"psd", "ragged.csv", "-o", "out.csv"}, "ragged.csv:4: 3 columns where the first row has 2", 1},
        {{"psd", "norate.csv", "-o", "out.csv"}, "norate.csv: no time column to tell the sample rate: give the rate (--rate)", 1},
        {{"psd", "rec.wav", "--frame", "1000", "-o", "out.csv"},
         "frame size 1000 is not one the transform accepts: a power of two from 4 to 32768", 1},
        {{"psd", "rec.wav", "--frame", "65536", "-o", "out.csv"}, "frame size 65536 is not one", 1},
        {{"psd", "rec.wav", "--profile", "order.csv", "-o", "out.csv"},
         "order.csv:4: frequency 50 Hz does not rise above the 80 Hz before it: breakpoints must ascend", 1},
        {{"drive", "--profile", "zero.csv", "-o", "out.wav"},
         "zero.csv:3: level 0 is not positive, but the segment to the breakpoint at 80 Hz is logarithmic", 1},
        {{"psd", "nan.wav", "-o", "out.csv", "--plot", "out.svg"}, "nan.wav: ch1 holds NaN at sample 150000 (2.9296875 s)", 1},
        {{"filter", "inf.wav", "--f1", "1000", "-o", "out.wav"}, "inf.wav: ch1 holds -infinity at sample 170001 (3.32033203 s)", 1},
        {{"psd", "rec.wav", "--plot", "out.pdf"}, "cannot tell the plot format of 'out.pdf': name it .svg or .png", 1},
        {{"psd", "rec.wav", "--unit", "furlong"}, "unknown unit 'furlong'", 1},
        {{"psd", "--frame", "1024"}, "recording is required", 2},
    };
    for (const Case& c : cases) {
        const Result r = Run(c.args);
        std::string command;
        for (const std::string& a : c.args) command += a + " ";
        EXPECT_EQ(r.status, c.status) << command << r.err;
        EXPECT_EQ(r.err.rfind("numora: ", 0), 0u) << command << r.err;
        EXPECT_NE(r.err.find(c.message), std::string::npos) << command << r.err;
        EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << command << r.err;
        EXPECT_EQ(Files(), before) << command << "left a file behind";
    }
}

// Text content of the <text> elements of an SVG, after checking that it is
// well-formed XML (tags nest and close, attributes are quoted, entities are
// complete) with an <svg> root. Empty when it is not.
std::vector<std::string> SvgTexts(const std::string& svg) {
    std::vector<std::string> stack, texts;
    std::string text;
    bool root = false;
    size_t i = 0;
    const auto decode = [](const std::string& s, std::string& out) {
        for (size_t j = 0; j < s.size(); ++j) {
            if (s[j] != '&') {
                out += s[j];
                continue;
            }
            const size_t end = s.find(';', j);
            if (end == std::string::npos) return false;
            const std::string entity = s.substr(j + 1, end - j - 1);
            unsigned long code;
            if (entity.size() > 2 && entity[0] == '#' && entity[1] == 'x') {
                code = std::strtoul(entity.c_str() + 2, nullptr, 16);
            } else if (entity.size() > 1 && entity[0] == '#') {
                code = std::strtoul(entity.c_str() + 1, nullptr, 10);
            } else if (entity == "amp" || entity == "lt" || entity == "gt" || entity == "quot" || entity == "apos") {
                code = entity == "amp" ? '&' : entity == "lt" ? '<' : entity == "gt" ? '>' : entity == "quot" ? '"' : '\'';
            } else {
                return false;
            }
            if (code < 0x80) {
                out += static_cast<char>(code);
            } else if (code < 0x800) {
                out += static_cast<char>(0xC0 | (code >> 6));
                out += static_cast<char>(0x80 | (code & 0x3F));
            } else {
                out += static_cast<char>(0xE0 | (code >> 12));
                out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
                out += static_cast<char>(0x80 | (code & 0x3F));
            }
            j = end;
        }
        return true;
    };
    while (i < svg.size()) {
        const size_t open = svg.find('<', i);
        const std::string between = svg.substr(i, open == std::string::npos ? std::string::npos : open - i);
        if (!stack.empty() && !decode(between, text)) return {};
        if (open == std::string::npos) break;
        if (svg.compare(open, 4, "<!--") == 0) {
            i = svg.find("-->", open) + 3;
            continue;
        }
        const size_t close = svg.find('>', open);
        if (close == std::string::npos) return {};
        const std::string tag = svg.substr(open + 1, close - open - 1);
        i = close + 1;
        if (tag[0] == '?' || tag[0] == '!') continue;
        if (tag[0] == '/') {
            if (stack.empty() || stack.back() != tag.substr(1)) return {};
            if (stack.back() == "text") texts.push_back(text);
            stack.pop_back();
            continue;
        }
        const bool selfClosing = tag.back() == '/';
        const std::string name = tag.substr(0, tag.find_first_of(" \t\n/"));
        if (std::count(tag.begin(), tag.end(), '"') % 2 != 0) return {};
        if (stack.empty()) {
            if (root || name != "svg") return {};
            root = true;
        }
        if (name == "text") text.clear();
        if (!selfClosing) stack.push_back(name);
    }
    if (!root || !stack.empty()) return {};
    return texts;
}

TEST_F(Command, PlotsAreValidSvgWithLabelledAxesAndPng)
{
    const double rate = 8192.0;
    std::vector<float> rec;
    const std::vector<float> x = numora_test::RandomFloats(1 << 15, 4);
    for (float v : x) rec.insert(rec.end(), {v, 0.5f * v});
    WriteRecording("rec.wav", rec, 2, rate);
    WriteText("profile.csv", "frequency,level,alarm_db,abort_db\n20,0.0001,3,6\n2000,0.0001,3,6\n");
    Result r = Run({"psd", "rec.wav", "--profile", "profile.csv", "--plot", "psd.svg", "--plot", "psd.png"});
    ASSERT_EQ(r.status, 0) << r.err;
    std::ifstream svg(Path("psd.svg"));
    const std::vector<std::string> texts = SvgTexts(std::string(std::istreambuf_iterator<char>(svg), {}));
    ASSERT_FALSE(texts.empty()) << "not a well-formed SVG";
    const auto has = [&](const std::vector<std::string>& t, const std::string& s) {
        return std::find(t.begin(), t.end(), s) != t.end();
    };
    for (const char* label : {"Frequency (Hz)", "PSD (g\xC2\xB2/Hz)", "ch1", "ch2", "profile", "alarm", "abort"})
        EXPECT_TRUE(has(texts, label)) << label;
    EXPECT_TRUE(has(texts, "10-3")) << "no decade labels on the log axis";
    std::ifstream png(Path("psd.png"), std::ios::binary);
    char signature[8] = {};
    png.read(signature, 8);
    EXPECT_EQ(std::string(signature, 8), "\x89PNG\r\n\x1a\n");

    r = Run({"frf", "rec.wav", "--ref", "1", "--resp", "2", "--resp-unit", "m/s\xC2\xB2", "--plot", "frf.svg"});
    ASSERT_EQ(r.status, 0) << r.err;
    std::ifstream frf(Path("frf.svg"));
    const std::vector<std::string> frfTexts = SvgTexts(std::string(std::istreambuf_iterator<char>(frf), {}));
    for (const char* label : {"Gain (m/s\xC2\xB2/g)", "Phase (\xC2\xB0)", "Coherence", "Frequency (Hz)"})
        EXPECT_TRUE(has(frfTexts, label)) << label;
    EXPECT_TRUE(SvgTexts("<svg><text>a</svg>").empty());
}

TEST_F(Command, TheProgressBarGoesToATerminalOnly)
{
    WriteRecording("rec.wav", numora_test::RandomFloats(1 << 20, 2), 1, 51200.0);
    Result r = Run({"psd", "rec.wav"});
    ASSERT_EQ(r.status, 0);
    EXPECT_EQ(r.err, "");
    r = Run({"psd", "rec.wav"}, true);
    ASSERT_EQ(r.status, 0);
    EXPECT_NE(r.err.find("\rpsd ["), std::string::npos) << r.err;
    EXPECT_NE(r.err.find("100%"), std::string::npos);
    EXPECT_EQ(r.err.substr(r.err.size() - 4), "\r\033[K");  // the bar leaves a clean line
}

TEST_F(Command, MemoryStaysBoundedOnARecordHundredsOfBlocksLong)
{
    const double rate = 51200.0;
    WriteRecording("short.wav", numora_test::RandomFloats(1 << 16, 1), 1, rate);
    {
        // 2^24 samples, 512 blocks of the layer, written in pieces.
        std::unique_ptr<BlockSink> sink = CreateRecording(Path("long.wav"), rate, {"a"});
        const std::vector<float> piece = numora_test::RandomFloats(1 << 20, 2);
        for (int i = 0; i < 16; ++i) sink->Write(piece.data(), 1 << 20);
        sink->Finish();
    }
    const Result small = Run({"psd", "short.wav", "-o", "a.csv"});
    const Result large = Run({"psd", "long.wav", "-o", "b.csv"});
    ASSERT_EQ(small.status, 0);
    ASSERT_EQ(large.status, 0);
    EXPECT_NE(large.out.find("327.68 s"), std::string::npos) << large.out;
    // The record is 64 MB; reading it must cost no more than a few blocks.
    std::printf("max RSS %ld kB for 1.3 s, %ld kB for 328 s\n", small.maxRssKb, large.maxRssKb);
    EXPECT_LT(large.maxRssKb, small.maxRssKb + 4096) << small.maxRssKb << " kB for 1.3 s, " << large.maxRssKb << " kB for 328 s";
}

TEST_F(Command, SrsOfAHalfSineGivesTheLayersSpectraAndTheShocksShape)
{
    const double rate = 51200.0;
    std::vector<float> x(25600, 0.0f);
    for (int k = 0; k <= 563; ++k)  // 50 g, 11 ms
        x[static_cast<size_t>(1000 + k)] = static_cast<float>(50.0 * std::sin(3.141592653589793 * k / 563.0));
    WriteRecording("shock.wav", x, 1, rate);
    const Result r = Run({"srs", "shock.wav", "--q", "10", "--bands-per-octave", "12", "--fmin", "10", "--fmax",
                          "10000", "--filter", "iso", "-o", "srs.csv"});
    ASSERT_EQ(r.status, 0) << r.err;
    const std::vector<float> f = Column("srs.csv", "frequency_hz"), maximax = Column("srs.csv", "maximax");
    ASSERT_EQ(f.size(), 121u);
    std::unique_ptr<BlockSource> source = OpenRecording(Path("shock.wav"));
    const SrsResult expected = MeasureSrs(*source, 0, SrsOptions{});
    EXPECT_TRUE(numora_test::BitEqual(expected.maximax.data(), maximax.data(), 121));
    EXPECT_TRUE(numora_test::BitEqual(expected.frequency.data(), f.data(), 121));
    // A half-sine's spectrum: about 4 A D f far below the pulse (the velocity
    // change 2 A D / pi times w), its peak of about 1.65 A near f D = 0.8, and
    // A itself far above.
    EXPECT_NEAR(static_cast<double>(maximax[0]) / (4.0 * 50.0 * 0.011 * 10.0), 1.0, 0.1);
    const size_t peak = static_cast<size_t>(std::max_element(maximax.begin(), maximax.end()) - maximax.begin());
    EXPECT_NEAR(static_cast<double>(maximax[peak]) / 50.0, 1.65, 0.05);
    EXPECT_NEAR(static_cast<double>(f[peak]) * 0.011, 0.8, 0.15);
    EXPECT_NEAR(maximax.back(), 50.0f, 0.5f);
}

TEST_F(Command, IntegrateWritesVelocityAndDisplacementAndTheirLimits)
{
    const double rate = 10240.0;
    WriteRecording("accel.wav", Sine(4 * 10240, 2.0, 40.0, rate), 1, rate);
    const Result r = Run({"integrate", "accel.wav", "--unit", "g", "-o", "v.csv", "--csv", "limits.csv"});
    ASSERT_EQ(r.status, 0) << r.err;
    const CsvTable limits = ReadCsvTable(Path("limits.csv"));
    ASSERT_EQ(limits.rows.size(), 3u);
    EXPECT_EQ(limits.rows[1][1], "velocity");
    EXPECT_EQ(limits.rows[1][2], "m/s");
    const double w = 6.283185307179586 * 40.0;
    EXPECT_NEAR(limits.Number(1, 5), 2.0 * 9.80665 / w, 0.01 * 2.0 * 9.80665 / w);
    EXPECT_NEAR(limits.Number(2, 5), 2.0 * 9.80665 / (w * w) * 1000.0, 0.02 * 2.0 * 9.80665 / (w * w) * 1000.0);

    std::unique_ptr<BlockSource> source = OpenRecording(Path("accel.wav"));
    ArraySink expected(2);
    IntegrateRecord(*source, {0}, IntegrationOptions{}, expected);
    const std::vector<float> velocity = Column("v.csv", "ch1_velocity");
    std::vector<float> layer;
    for (size_t i = 0; i < expected.Samples().size(); i += 2) layer.push_back(expected.Samples()[i]);
    ASSERT_EQ(velocity.size(), layer.size());
    EXPECT_TRUE(numora_test::BitEqual(layer.data(), velocity.data(), static_cast<int>(layer.size())));

    EXPECT_NE(Run({"integrate", "accel.wav", "--unit", "psi", "-o", "x.wav"}).err.find("integrate takes an acceleration"),
              std::string::npos);
}

TEST_F(Command, UnitsListAndResolve)
{
    Result r = Run({"units", "g", "psi"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out,
              "unit,quantity,type,si_unit,factor,offset\ng,Acceleration,Acceleration,m/s\xC2\xB2,9.80665,0\n"
              "psi,Pressure,Pressure,kg/(m*s\xC2\xB2),6894.759,0\n");
    r = Run({"units", "-o", "units.csv"});
    ASSERT_EQ(r.status, 0);
    EXPECT_EQ(ReadCsvTable(Path("units.csv")).rows.size(), 117u);
}

}  // namespace
