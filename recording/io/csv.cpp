#include "recording/io/csv.h"

#include <sys/stat.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <system_error>
#include <utility>

#include "recording/error.h"

namespace numora {
namespace rec {

namespace {

constexpr int kLookaheadRows = 4096;

template <typename T>
std::string Shortest(T value)
{
    char text[64];
    const std::to_chars_result r = std::to_chars(text, text + sizeof text, value);
    return std::string(text, r.ptr);
}

std::string Lower(std::string_view text)
{
    std::string out(text);
    for (char& c : out)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return out;
}

std::string_view Trim(std::string_view text)
{
    while (!text.empty() && (text.front() == ' ' || text.front() == '\r' || text.front() == '\n'))
        text.remove_prefix(1);
    while (!text.empty() && (text.back() == ' ' || text.back() == '\r' || text.back() == '\n'))
        text.remove_suffix(1);
    return text;
}

// A line that holds no data: blank, or a comment starting with '#'.
bool Skipped(std::string_view line)
{
    for (char c : line) {
        if (c == '#')
            return true;
        if (c != ' ' && c != '\t' && c != '\r' && c != '\n')
            return false;
    }
    return true;
}

char DetectSeparator(std::string_view line)
{
    for (char c : {',', ';', '\t'})
        if (line.find(c) != std::string_view::npos)
            return c;
    return ',';
}

// Splits a line into trimmed cells; a cell in double quotes keeps its
// separators and loses its quotes.
void Split(std::string_view line, char separator, std::vector<std::string_view>& cells)
{
    cells.clear();
    size_t i = 0;
    while (true) {
        size_t end;
        std::string_view cell;
        size_t start = i;
        while (start < line.size() && line[start] == ' ')
            ++start;
        if (start < line.size() && line[start] == '"') {
            const size_t close = line.find('"', start + 1);
            const size_t stop = close == std::string_view::npos ? line.size() : close;
            cell = line.substr(start + 1, stop - start - 1);
            end = line.find(separator, stop);
        } else {
            end = line.find(separator, i);
            cell = Trim(line.substr(i, end == std::string_view::npos ? std::string_view::npos : end - i));
        }
        cells.push_back(cell);
        if (end == std::string_view::npos)
            break;
        i = end + 1;
    }
}

// A finite number in the whole of text.
bool ParseNumber(std::string_view text, double& value)
{
    if (!text.empty() && text.front() == '+')
        text.remove_prefix(1);
    if (text.empty())
        return false;
    const std::from_chars_result r = std::from_chars(text.data(), text.data() + text.size(), value);
    return r.ec == std::errc() && r.ptr == text.data() + text.size() && std::isfinite(value);
}

std::string Where(const std::string& name, int line)
{
    return name + ":" + std::to_string(line) + ": ";
}

std::string BadNumber(const std::string& name, int line, int column, const std::string& columnName,
                      std::string_view cell)
{
    return Where(name, line) + "column " + std::to_string(column + 1) +
           (columnName.empty() ? std::string() : " (" + columnName + ")") + ": '" + std::string(cell) +
           "' is not a finite number";
}

std::string UnequalRow(const std::string& name, int line, size_t got, size_t expected)
{
    return Where(name, line) + std::to_string(got) + " column" + (got == 1 ? "" : "s") + " where the first row has " +
           std::to_string(expected);
}

// A header cell that names a time column.
bool IsTimeName(std::string_view cell)
{
    const std::string name = Lower(cell);
    if (name == "t" || name.rfind("time", 0) == 0)
        return true;
    return name.size() > 1 && name[0] == 't' && (name[1] == '_' || name[1] == ' ' || name[1] == '(' || name[1] == '[');
}

std::FILE* OpenForReading(const std::string& path)
{
    std::FILE* file = std::fopen(path.c_str(), "rb");
    if (!file)
        throw Error("cannot open '" + path + "': " + std::strerror(errno));
    struct stat st;
    if (fstat(fileno(file), &st) == 0 && S_ISDIR(st.st_mode)) {
        std::fclose(file);
        throw Error("cannot open '" + path + "': it is a folder");
    }
    return file;
}

// Reads lines with getline, counting lines and bytes.
class LineReader {
public:
    LineReader(std::FILE* file, std::string path) : file_(file), path_(std::move(path)) {}
    ~LineReader() { std::free(buffer_); }
    LineReader(const LineReader&) = delete;
    LineReader& operator=(const LineReader&) = delete;

    // Next line that is not blank or a comment; false at the end.
    bool Next(std::string_view& line)
    {
        while (true) {
            const ssize_t n = getline(&buffer_, &capacity_, file_);
            if (n < 0) {
                if (std::ferror(file_))
                    throw Error("cannot read '" + path_ + "': " + std::strerror(errno));
                return false;
            }
            ++number_;
            bytes_ += n;
            line = std::string_view(buffer_, static_cast<size_t>(n));
            if (!Skipped(line))
                return true;
        }
    }
    int Number() const { return number_; }
    long long Bytes() const { return bytes_; }

private:
    std::FILE* file_;
    std::string path_;
    char* buffer_ = nullptr;
    size_t capacity_ = 0;
    int number_ = 0;
    long long bytes_ = 0;
};

}  // namespace

std::string FormatShortest(double value)
{
    return Shortest(value);
}
std::string FormatShortest(float value)
{
    return Shortest(value);
}

CsvWriter::CsvWriter(const std::string& path) : file_(stdout)
{
    if (path == "-")
        return;
    out_.reset(new OutputFile(path));
    file_ = out_->Open();
}

CsvWriter::~CsvWriter() = default;

void CsvWriter::Separator()
{
    if (rowStarted_)
        std::fputc(',', file_);
    rowStarted_ = true;
}

void CsvWriter::Header(const std::vector<std::string>& names)
{
    for (const std::string& name : names)
        Add(name);
    EndRow();
}

CsvWriter& CsvWriter::Add(double value)
{
    Separator();
    std::fputs(Shortest(value).c_str(), file_);
    return *this;
}

CsvWriter& CsvWriter::Add(float value)
{
    Separator();
    std::fputs(Shortest(value).c_str(), file_);
    return *this;
}

CsvWriter& CsvWriter::Add(int64_t value)
{
    Separator();
    std::fputs(std::to_string(value).c_str(), file_);
    return *this;
}

CsvWriter& CsvWriter::Add(const std::string& text)
{
    Separator();
    if (text.find_first_of(",\"\n\r") == std::string::npos) {
        std::fputs(text.c_str(), file_);
    } else {
        std::string quoted = "\"";
        for (char c : text)
            quoted += c == '"' ? std::string("\"\"") : std::string(1, c);
        std::fputs((quoted + "\"").c_str(), file_);
    }
    return *this;
}

void CsvWriter::EndRow()
{
    std::fputc('\n', file_);
    rowStarted_ = false;
}

void CsvWriter::Commit()
{
    if (out_) {
        out_->Commit();
    } else if (std::fflush(file_) != 0) {
        throw Error(std::string("cannot write to standard output: ") + std::strerror(errno));
    }
}

int CsvTable::Find(const std::vector<std::string>& names) const
{
    for (size_t c = 0; c < header.size(); ++c)
        for (const std::string& name : names)
            if (Lower(header[c]) == Lower(name))
                return static_cast<int>(c);
    return -1;
}

double CsvTable::Number(size_t row, int column) const
{
    double value = 0.0;
    const std::string& cell = rows[row][static_cast<size_t>(column)];
    if (!ParseNumber(cell, value))
        throw Error(BadNumber(name, lines[row], column,
                              header.empty() ? std::string() : header[static_cast<size_t>(column)], cell));
    return value;
}

CsvTable ReadCsvTable(const std::string& path)
{
    CsvTable table;
    table.name = path;
    std::FILE* file = OpenForReading(path);
    struct Closer {
        std::FILE* f;
        ~Closer() { std::fclose(f); }
    } closer{file};
    LineReader reader(file, path);
    std::string_view line;
    std::vector<std::string_view> cells;
    char separator = ',';
    bool first = true;
    size_t width = 0;
    while (reader.Next(line)) {
        if (first)
            separator = DetectSeparator(line);
        Split(line, separator, cells);
        if (first) {
            width = cells.size();
            double value;
            if (!ParseNumber(cells[0], value)) {
                for (std::string_view cell : cells)
                    table.header.emplace_back(cell);
                first = false;
                continue;
            }
        }
        first = false;
        if (cells.size() != width)
            throw Error(UnequalRow(path, reader.Number(), cells.size(), width));
        table.rows.emplace_back(cells.begin(), cells.end());
        table.lines.push_back(reader.Number());
    }
    return table;
}

struct CsvSource::State {
    // The file closes with the state, also when the constructor refuses it.
    ~State()
    {
        reader.reset();
        if (file)
            std::fclose(file);
    }

    std::string path;
    std::FILE* file = nullptr;
    std::unique_ptr<LineReader> reader;
    RecordInfo info;
    char separator = ',';
    bool hasTime = false;
    size_t width = 0;
    std::vector<std::string_view> cells;
    std::vector<float> pending;
    int64_t pendingFrames = 0;
    int64_t pendingPosition = 0;
    double step = 0.0;
    double previousTime = 0.0;
    long long size = 0;
    bool ended = false;

    // Parses the cells of the current line into out; the time into *time.
    void Parse(float* out, double* time)
    {
        const int line = reader->Number();
        if (cells.size() != width)
            throw Error(UnequalRow(path, line, cells.size(), width));
        const size_t first = hasTime ? 1 : 0;
        double value = 0.0;
        if (hasTime) {
            if (!ParseNumber(cells[0], value))
                throw Error(BadNumber(path, line, 0, "time", cells[0]));
            *time = value;
        }
        for (size_t c = first; c < width; ++c) {
            if (!ParseNumber(cells[c], value))
                throw Error(BadNumber(path, line, static_cast<int>(c), info.channelNames[c - first], cells[c]));
            const float sample = static_cast<float>(value);
            if (!std::isfinite(sample))
                throw Error(Where(path, line) + "column " + std::to_string(c + 1) + ": " + std::string(cells[c]) +
                            " is beyond the range of float");
            out[c - first] = sample;
        }
    }

    // Checks that a row's time follows the previous one by one sample.
    void CheckTime(double time, int line)
    {
        const double gap = time - previousTime;
        if (!(std::fabs(gap - step) <= 0.5 * step))
            throw Error(Where(path, line) + "time " + FormatShortest(time) + " s is not one sample (" +
                        FormatShortest(step) + " s) after the previous row's " + FormatShortest(previousTime) + " s");
        previousTime = time;
    }

    // Reads the next data row into out; false at the end.
    bool Row(float* out)
    {
        std::string_view line;
        if (!reader->Next(line))
            return false;
        Split(line, separator, cells);
        double time = 0.0;
        Parse(out, &time);
        if (hasTime)
            CheckTime(time, reader->Number());
        return true;
    }
};

ProfileTable ReadProfile(const std::string& path)
{
    const CsvTable table = ReadCsvTable(path);
    if (table.header.empty())
        throw Error(path + ": a profile needs a header naming its columns (frequency, level, and optionally "
                           "alarm_db, abort_db, segment)");
    const int frequency = table.Find({"frequency", "frequency_hz", "freq", "f"});
    const int level = table.Find({"level", "psd"});
    if (frequency < 0)
        throw Error(path + ": no frequency column (name it frequency)");
    if (level < 0)
        throw Error(path + ": no level column (name it level)");
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
        if (alarm >= 0)
            p.alarmDb = table.Number(r, alarm);
        if (abort >= 0)
            p.abortDb = table.Number(r, abort);
        if (segment >= 0) {
            std::string kind = table.rows[r][static_cast<size_t>(segment)];
            for (char& c : kind)
                c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
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

CsvSource::CsvSource(const std::string& path, double sampleRate) : state_(new State)
{
    State& s = *state_;
    s.path = path;
    s.file = OpenForReading(path);
    struct stat st;
    if (fstat(fileno(s.file), &st) == 0)
        s.size = static_cast<long long>(st.st_size);
    s.reader.reset(new LineReader(s.file, path));
    s.info.name = path;

    std::string_view line;
    if (!s.reader->Next(line))
        throw Error(path + ": no rows");
    s.separator = DetectSeparator(line);
    Split(line, s.separator, s.cells);
    s.width = s.cells.size();
    double value;
    const bool header = !ParseNumber(s.cells[0], value);
    if (header) {
        s.hasTime = IsTimeName(s.cells[0]);
        for (size_t c = s.hasTime ? 1 : 0; c < s.width; ++c)
            s.info.channelNames.emplace_back(s.cells[c]);
    }
    s.info.channels = static_cast<int>(s.width) - (s.hasTime ? 1 : 0);
    if (s.info.channels < 1)
        throw Error(path + ": a time column and no channel");
    if (!header)
        s.info.channelNames = DefaultChannelNames(s.info.channels);

    // The first rows give the sample rate; they are served before the rest.
    std::vector<double> times;
    s.pending.resize(static_cast<size_t>(kLookaheadRows) * static_cast<size_t>(s.info.channels));
    std::vector<int> lines;
    bool firstIsData = !header;
    while (s.pendingFrames < kLookaheadRows) {
        float* out = s.pending.data() + s.pendingFrames * s.info.channels;
        if (firstIsData) {
            firstIsData = false;
        } else {
            if (!s.reader->Next(line))
                break;
            Split(line, s.separator, s.cells);
        }
        double time = 0.0;
        s.Parse(out, &time);
        times.push_back(time);
        lines.push_back(s.reader->Number());
        ++s.pendingFrames;
    }

    if (s.hasTime) {
        if (s.pendingFrames < 2)
            throw Error(path + ": one row does not tell the sample rate" +
                        (sampleRate > 0.0 ? std::string() : ": give it with --rate"));
        const double span = times.back() - times.front();
        double rate = static_cast<double>(s.pendingFrames - 1) / span;
        if (!(rate > 0.0) || !std::isfinite(rate))
            throw Error(Where(path, lines[1]) + "the time column does not rise");
        const double whole = std::round(rate);
        if (std::fabs(rate - whole) <= 1e-6 * rate)
            rate = whole;
        s.step = 1.0 / rate;
        s.previousTime = times.front();
        for (size_t i = 1; i < times.size(); ++i)
            s.CheckTime(times[i], lines[i]);
        if (sampleRate > 0.0 && std::fabs(sampleRate - rate) > 1e-4 * rate)
            throw Error(path + ": the rate " + FormatShortest(sampleRate) + " Hz disagrees with the time column (" +
                        FormatShortest(rate) + " Hz)");
        s.info.sampleRate = rate;
    } else {
        if (!(sampleRate > 0.0) || !std::isfinite(sampleRate))
            throw Error(path + ": no time column to tell the sample rate: give the rate (--rate)");
        s.info.sampleRate = sampleRate;
    }
}

CsvSource::~CsvSource() = default;

const RecordInfo& CsvSource::Info() const
{
    return state_->info;
}

int64_t CsvSource::Read(float* out, int64_t frames)
{
    State& s = *state_;
    const int channels = s.info.channels;
    int64_t n = 0;
    while (n < frames && s.pendingPosition < s.pendingFrames) {
        std::copy_n(s.pending.data() + s.pendingPosition * channels, channels, out + n * channels);
        ++s.pendingPosition;
        ++n;
    }
    while (n < frames && !s.ended) {
        if (!s.Row(out + n * channels)) {
            s.ended = true;
            break;
        }
        ++n;
    }
    return n;
}

double CsvSource::Fraction() const
{
    const State& s = *state_;
    if (s.size <= 0)
        return 0.0;
    return std::min(1.0, static_cast<double>(s.reader->Bytes()) / static_cast<double>(s.size));
}

CsvRecordingSink::CsvRecordingSink(const std::string& path, double sampleRate,
                                   const std::vector<std::string>& channelNames)
    : writer_(path), sampleRate_(sampleRate), channels_(static_cast<int>(channelNames.size()))
{
    std::vector<std::string> header{"time_s"};
    header.insert(header.end(), channelNames.begin(), channelNames.end());
    writer_.Header(header);
}

void CsvRecordingSink::Write(const float* samples, int64_t frames)
{
    for (int64_t f = 0; f < frames; ++f, ++frames_) {
        writer_.Add(static_cast<double>(frames_) / sampleRate_);
        for (int c = 0; c < channels_; ++c)
            writer_.Add(samples[f * channels_ + c]);
        writer_.EndRow();
    }
}

void CsvRecordingSink::Finish()
{
    writer_.Commit();
}

}  // namespace rec
}  // namespace numora
