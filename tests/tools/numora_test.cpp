// Runs the built numora command on generated recordings and profiles, and
// checks its numbers against the whole-record layer called directly and
// against known values, its refusals of bad input, its plots, its progress
// bar and its memory on a long record.

#include <sys/resource.h>
#include <sys/wait.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <limits>
#include <memory>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "recording/drive.h"
#include "recording/filter.h"
#include "recording/io/csv.h"
#include "recording/io/open.h"
#include "recording/spectrum.h"
#include "recording/srs.h"
#include "tests/support/support.h"
#include "tests/support/temp_folder.h"

namespace {

namespace fs = std::filesystem;
using namespace numora::rec;

struct Result {
    int status = -1;
    std::string out, err;
};

class Command : public numora_test::TempFolderTest {
protected:
    // An interleaved recording through the layer's writer.
    void WriteRecording(const std::string& name, const std::vector<float>& samples, int channels, double rate) const
    {
        const std::vector<std::string> names(static_cast<size_t>(channels));  // read back as ch1, ch2, ...
        std::unique_ptr<BlockSink> sink = CreateRecording(Path(name), rate, names);
        sink->Write(samples.data(), static_cast<int64_t>(samples.size()) / channels);
        sink->Finish();
    }
    // Runs the command in the test's folder with stdout and stderr captured;
    // with `terminal` it runs under script(1), whose pseudo-terminal takes
    // both to `out`.
    Result Run(const std::vector<std::string>& args, bool terminal = false) const
    {
        // Under the sanitizers, leaks inside the plot drivers' libraries are not ours.
        const char* lsan = std::getenv("LSAN_OPTIONS");
        std::string command = "LSAN_OPTIONS='" + std::string(lsan ? lsan : "") + (lsan ? ":" : "") +
                              "suppressions=" NUMORA_TOOLS_TEST_DIR "/lsan.supp:print_suppressions=0' " NUMORA_CLI;
        for (const std::string& a : args)
            command += " '" + a + "'";
        if (terminal)
            command = "script -qec \"" + command + "\" /dev/null";
        const int status = std::system(("cd '" + dir_.string() + "' && " + command + " >.stdout 2>.stderr").c_str());
        Result r;
        r.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        for (const auto& [name, text] : {std::pair{".stdout", &r.out}, std::pair{".stderr", &r.err}}) {
            std::ifstream file(dir_ / name);
            text->assign(std::istreambuf_iterator<char>(file), {});
            fs::remove(dir_ / name);
        }
        return r;
    }
    // A column of a CSV the command wrote, as floats.
    std::vector<float> Column(const std::string& name, const std::string& column) const
    {
        const CsvTable t = ReadCsvTable(Path(name));
        std::vector<float> v;
        for (size_t r = 0; r < t.rows.size(); ++r)
            v.push_back(static_cast<float>(t.Number(r, t.Find({column}))));
        return v;
    }
};

std::vector<float> Sine(int frames, double amplitude, double frequency, double rate)
{
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
    for (size_t i = 0; i < sine.size(); ++i)
        rec.insert(rec.end(), {noise[i], sine[i]});
    WriteRecording("rec.wav", rec, 2, rate);
    const Result r = Run({"psd", "rec.wav", "--channel", "2", "--frame", "4096", "--window", "hann", "--overlap", "50",
                          "--band", "900:1100", "-o", "psd.csv"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.out.find("ch2: 2.121 g RMS overall (12.5 to 20000 Hz)"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("ch2: 2.121 g RMS from 900 to 1100 Hz"), std::string::npos) << r.out;
    std::unique_ptr<BlockSource> source = OpenRecording(Path("rec.wav"));
    const PsdResult expected = MeasurePsd(*source, {1}, SpectrumOptions{});
    const std::vector<float> psd = Column("psd.csv", "ch2_psd");
    ASSERT_EQ(psd.size(), 1601u);
    EXPECT_TRUE(numora_test::BitEqual(expected.psd[0].data(), psd.data(), 1601));
}

TEST_F(Command, DriveAndFilterGiveTheLayersSamples)
{
    WriteText("profile.csv",
              "frequency,level,alarm_db,abort_db\n20,0.01,3,6\n80,0.04,3,6\n350,0.04,3,6\n2000,0.007,3,6\n");
    Result r = Run({"drive", "--profile", "profile.csv", "--rate", "8192", "--seconds", "30", "--frame", "2048",
                    "--clip", "4", "-o", "a.csv"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.out.find("0 lines beyond the alarm limits, 0 beyond abort"), std::string::npos) << r.out;
    ArraySink drive(1);
    GenerateDrive(ReadProfile(Path("profile.csv")), DriveOptions{8192.0, 30.0, 2048, 4.0}, drive);
    const std::vector<float> a = Column("a.csv", "drive");
    ASSERT_EQ(a.size(), drive.Samples().size());
    EXPECT_TRUE(numora_test::BitEqual(drive.Samples().data(), a.data(), static_cast<int>(a.size())));

    r = Run({"filter", "a.csv", "--type", "chebyshev", "--shape", "bandpass", "--order", "3", "--f1", "100", "--f2",
             "400", "-o", "f.csv"});
    ASSERT_EQ(r.status, 0) << r.err;
    ArraySource in(a.data(), static_cast<int64_t>(a.size()), 1, 8192.0);
    ArraySink filtered(1);
    FilterRecord(in, {0},
                 FilterDesign{qv::math::CTimeFilter::Chebyshev, qv::math::CTimeFilter::BandPass, 3, 100.0f, 400.0f},
                 filtered);
    EXPECT_TRUE(
        numora_test::BitEqual(filtered.Samples().data(), Column("f.csv", "drive").data(), static_cast<int>(a.size())));
}

TEST_F(Command, BadInputGetsOneLineAndNoOutput)
{
    WriteRecording("rec.wav", Sine(20000, 1.0, 100.0, 51200.0), 1, 51200.0);
    std::vector<float> nan = Sine(200000, 1.0, 100.0, 51200.0);
    nan[150000] = std::numeric_limits<float>::quiet_NaN();  // long after the first blocks
    WriteRecording("nan.wav", nan, 1, 51200.0);
    WriteText("junk.wav", "RIFF but not really a recording");
    WriteText("bad.csv", "time,a\n0,1\n0.001,2\n0.002,1.2.3\n");
    WriteText("ragged.csv", "time,a\n0,1\n0.001,2\n0.002,3,4\n");
    WriteText("norate.csv", "1,2\n3,4\n");
    WriteText("order.csv", "frequency,level\n20,0.01\n80,0.04\n50,0.04\n");
    WriteText("zero.csv", "frequency,level\n20,0.01\n80,0\n");
    const std::set<std::string> before = Files();

    const std::vector<std::tuple<std::vector<std::string>, std::string, int>> cases{
        {{"psd", "missing.wav", "-o", "out.csv"}, "cannot open 'missing.wav': No such file or directory", 1},
        {{"psd", "junk.wav", "-o", "out.csv"}, "cannot read 'junk.wav' as a recording: ", 1},
        {{"psd", "rec.wav", "--channel", "3", "-o", "out.csv"}, "channel 3 does not exist: rec.wav has 1 channel", 1},
        {{"psd", "bad.csv", "-o", "out.csv"}, "bad.csv:4: column 2 (a): '1.2.3' is not a finite number", 1},
        {{"psd", "ragged.csv", "-o", "out.csv"}, "ragged.csv:4: 3 columns where the first row has 2", 1},
        {{"psd", "norate.csv", "-o", "out.csv"},
         "norate.csv: no time column to tell the sample rate: give the rate (--rate)",
         1},
        {{"psd", "rec.wav", "--frame", "1000", "-o", "out.csv"},
         "frame size 1000 is not one the transform accepts: a power of two from 4 to 32768",
         1},
        {{"psd", "rec.wav", "--profile", "order.csv", "-o", "out.csv"},
         "order.csv:4: frequency 50 Hz does not rise above the 80 Hz before it: breakpoints must ascend",
         1},
        {{"drive", "--profile", "zero.csv", "-o", "out.wav"},
         "zero.csv:3: level 0 is not positive, but the segment to the breakpoint at 80 Hz is logarithmic",
         1},
        {{"psd", "nan.wav", "-o", "out.csv", "--plot", "out.svg"},
         "nan.wav: ch1 holds NaN at sample 150000 (2.9296875 s)",
         1},
        {{"filter", "nan.wav", "--f1", "1000", "-o", "out.wav"},
         "nan.wav: ch1 holds NaN at sample 150000 (2.9296875 s)",
         1},
        {{"psd", "rec.wav", "--plot", "out.pdf"}, "cannot tell the plot format of 'out.pdf': name it .svg or .png", 1},
        {{"psd", "rec.wav", "--unit", "furlong"}, "unknown unit 'furlong'", 1},
        {{"integrate", "rec.wav", "--unit", "psi", "-o", "out.wav"}, "integrate takes an acceleration", 1},
        {{"psd", "--frame", "1024"}, "recording is required", 2},
    };
    for (const auto& [args, message, status] : cases) {
        const Result r = Run(args);
        EXPECT_EQ(r.status, status) << message;
        EXPECT_EQ(r.err.rfind("numora: ", 0), 0u) << r.err;
        EXPECT_NE(r.err.find(message), std::string::npos) << r.err;
        EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << r.err;
        EXPECT_EQ(Files(), before) << message << ": left a file behind";
    }
}

// The SVG with its character references decoded, or "" when it is not
// well-formed XML (tags nest and close, attributes are quoted, references are
// complete) with one <svg> root. The plot driver writes every character of a
// label as a hexadecimal reference.
std::string DecodedSvg(const std::string& svg)
{
    std::string out;
    std::vector<std::string> stack;
    bool root = false;
    for (size_t i = 0; i < svg.size(); ++i) {
        if (svg[i] == '&') {
            const size_t end = svg.find(';', i);
            if (end == std::string::npos || svg.compare(i, 3, "&#x") != 0)
                return "";
            const unsigned long code = std::strtoul(svg.c_str() + i + 3, nullptr, 16);
            if (code >= 0x80)
                out += static_cast<char>(0xC0 | (code >> 6));  // labels stay below U+0800
            out += static_cast<char>(code < 0x80 ? code : 0x80 | (code & 0x3F));
            i = end;
            continue;
        }
        if (svg[i] != '<') {
            out += svg[i];
            continue;
        }
        const size_t close = svg.find('>', i);
        if (close == std::string::npos)
            return "";
        const std::string tag = svg.substr(i + 1, close - i - 1);
        out += svg.substr(i, close + 1 - i);
        i = close;
        const std::string name = tag.substr(0, tag.find_first_of(" \t\n/", 1));
        if (tag[0] == '/') {
            if (stack.empty() || stack.back() != name.substr(1))
                return "";
            stack.pop_back();
        } else if (tag[0] != '?' && tag[0] != '!') {
            if (std::count(tag.begin(), tag.end(), '"') % 2 != 0 || (stack.empty() && (root || name != "svg")))
                return "";
            root = true;
            if (tag.back() != '/')
                stack.push_back(name);
        }
    }
    return root && stack.empty() ? out : "";
}

TEST_F(Command, FrfOfAKnownSystemGivesItsGainAndPhaseAndPlotsAreValidSvgWithLabelledAxes)
{
    const double rate = 4096.0;
    const std::vector<float> x = numora_test::RandomFloats(1 << 16, 3);
    std::vector<float> rec;
    for (size_t n = 0; n < x.size(); ++n) {
        const double previous = n ? static_cast<double>(x[n - 1]) : 0.0;
        rec.insert(rec.end(), {x[n], static_cast<float>(2.0 * static_cast<double>(x[n]) - previous)});  // 2 - e^-jw
    }
    WriteRecording("rec.wav", rec, 2, rate);
    WriteText("profile.csv", "frequency,level,alarm_db,abort_db\n20,0.0001,3,6\n2000,0.0001,3,6\n");
    ASSERT_EQ(Run({"psd", "rec.wav", "--profile", "profile.csv", "--plot", "psd.svg", "--plot", "psd.png"}).status, 0);
    const Result r = Run({"frf", "rec.wav", "--ref", "1", "--resp", "2", "--resp-unit", "m/s\xC2\xB2", "--frame",
                          "1024", "-o", "frf.csv", "--plot", "frf.svg"});
    ASSERT_EQ(r.status, 0) << r.err;
    const std::vector<float> gain = Column("frf.csv", "gain"), phase = Column("frf.csv", "phase_deg"),
                             coherence = Column("frf.csv", "coherence"), f = Column("frf.csv", "frequency_hz");
    ASSERT_EQ(gain.size(), 401u);
    for (size_t k = 1; k < gain.size(); ++k) {
        const std::complex<double> h =
            2.0 - std::exp(std::complex<double>(0.0, -6.283185307179586 * static_cast<double>(f[k]) / rate));
        ASSERT_NEAR(static_cast<double>(gain[k]), std::abs(h), 5e-3 * std::abs(h)) << f[k];
        ASSERT_NEAR(phase[k], std::arg(h) * 57.29577951308232, 0.3) << f[k];
        ASSERT_GT(coherence[k], 0.999f) << f[k];
    }

    const auto read = [&](const std::string& name) {
        std::ifstream file(Path(name), std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(file), {});
    };
    const std::string psd = DecodedSvg(read("psd.svg")), frf = DecodedSvg(read("frf.svg"));
    // Labels, and the exponent of the log axis's decade labels.
    for (const char* label : {"Frequency (Hz)", "PSD (g\xC2\xB2/Hz)", "ch1", "ch2", "profile", "alarm", "abort", "-3"})
        EXPECT_NE(psd.find(">" + std::string(label) + "<"), std::string::npos) << label;
    for (const char* label : {"Gain (m/s\xC2\xB2/g)", "Phase (\xC2\xB0)", "Coherence", "Frequency (Hz)"})
        EXPECT_NE(frf.find(">" + std::string(label) + "<"), std::string::npos) << label;
    EXPECT_EQ(read("psd.png").substr(0, 8), "\x89PNG\r\n\x1a\n");
    for (const char* bad : {"<svg><text>a</svg>", "<svg><text>&#x41</text></svg>", "<svg a=\"1></svg>", "<svg/><svg/>"})
        EXPECT_EQ(DecodedSvg(bad), "") << bad;
}

TEST_F(Command, MemoryStaysBoundedAndTheProgressBarGoesToATerminalOnly)
{
    // The largest resident size of any command run so far.
    const auto peakKb = [] {
        rusage usage{};
        getrusage(RUSAGE_CHILDREN, &usage);
        return usage.ru_maxrss;
    };
    WriteText("profile.csv", "frequency,level\n20,0.01\n2000,0.01\n");
    ASSERT_EQ(Run({"drive", "--profile", "profile.csv", "--seconds", "2", "-o", "short.wav"}).status, 0);
    const Result small = Run({"psd", "short.wav", "-o", "a.csv"});
    ASSERT_EQ(small.status, 0);
    EXPECT_EQ(small.err, "");
    const long smallKb = peakKb();
    // 2^24 samples, 512 blocks of the layer: 64 MB, made and read in a few blocks' memory.
    ASSERT_EQ(Run({"drive", "--profile", "profile.csv", "--seconds", "327.68", "-o", "long.wav"}).status, 0);
    const Result large = Run({"psd", "long.wav", "-o", "b.csv"}, true);
    ASSERT_EQ(large.status, 0);
    EXPECT_LT(peakKb(), smallKb + 4096) << smallKb << " kB for 2 s, " << peakKb() << " kB for 328 s";
    EXPECT_NE(large.out.find("\rpsd ["), std::string::npos) << large.out;
    EXPECT_NE(large.out.find("] 100%\r\033[K"), std::string::npos);  // read to the end, then a clean line
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
    // A half-sine's spectrum peaks at about 1.65 times its amplitude.
    const size_t peak = static_cast<size_t>(std::max_element(maximax.begin(), maximax.end()) - maximax.begin());
    EXPECT_NEAR(static_cast<double>(maximax[peak]) / 50.0, 1.65, 0.05);
}

TEST_F(Command, IntegrateWritesVelocityAndDisplacementAndTheirLimits)
{
    const double rate = 10240.0, w = 6.283185307179586 * 40.0;
    WriteRecording("accel.wav", Sine(4 * 10240, 2.0, 40.0, rate), 1, rate);
    const Result r = Run({"integrate", "accel.wav", "--unit", "g", "-o", "v.csv", "--csv", "limits.csv"});
    ASSERT_EQ(r.status, 0) << r.err;
    const CsvTable limits = ReadCsvTable(Path("limits.csv"));
    ASSERT_EQ(limits.rows.size(), 3u);
    EXPECT_NEAR(limits.Number(1, 5), 2.0 * 9.80665 / w, 0.01 * 2.0 * 9.80665 / w);  // velocity peak, m/s
    EXPECT_NEAR(limits.Number(2, 5), 2.0 * 9.80665 / (w * w) * 1000.0, 0.02 * 2.0 * 9.80665 / (w * w) * 1000.0);  // mm

    const std::vector<float> velocity = Column("v.csv", "ch1_velocity");
    EXPECT_EQ(velocity.size(), 4u * 10240u);
    EXPECT_EQ(*std::max_element(velocity.begin(), velocity.end()), static_cast<float>(limits.Number(1, 4)));
}

TEST_F(Command, UnitsListAndResolve)
{
    Result r = Run({"units", "g", "psi"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, "unit,quantity,type,si_unit,factor,offset\ng,Acceleration,Acceleration,m/s\xC2\xB2,9.80665,0\n"
                     "psi,Pressure,Pressure,kg/(m*s\xC2\xB2),6894.759,0\n");
    r = Run({"units", "-o", "units.csv"});
    ASSERT_EQ(r.status, 0);
    EXPECT_EQ(ReadCsvTable(Path("units.csv")).rows.size(), 117u);
}

}  // namespace
