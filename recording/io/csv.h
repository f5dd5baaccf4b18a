#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "recording/io/output_file.h"
#include "recording/profile.h"
#include "recording/source.h"

// CSV in and out: tables of numbers (results, profiles), test profiles, and
// recordings with a time column.
//
// Reading: the separator is the first of ',', ';' and tab found in the first
// line that is not blank or a comment ('#'); blank and comment lines are
// skipped everywhere; a first line whose first cell is not a number is the
// header. Every row must have as many cells as the first, and every number
// must be finite. Numbers are read in the C locale (a '.' decimal point).
//
// Writing: numbers are written in the shortest form that reads back as the
// same float or double, so a table holds the results to the bit.

namespace numora {
namespace rec {

// Shortest text that reads back as the same value.
std::string FormatShortest(double value);
std::string FormatShortest(float value);

// A table written row by row to a CSV file, which appears only on Commit;
// the path "-" writes to standard output instead.
class CsvWriter {
public:
    // Throws Error when the file cannot be created.
    explicit CsvWriter(const std::string& path);
    ~CsvWriter();
    CsvWriter(const CsvWriter&) = delete;
    CsvWriter& operator=(const CsvWriter&) = delete;

    // One row of column names.
    void Header(const std::vector<std::string>& names);
    CsvWriter& Add(double value);
    CsvWriter& Add(float value);
    CsvWriter& Add(int64_t value);
    // Text, quoted when it holds a separator, a quote or a line break.
    CsvWriter& Add(const std::string& text);
    void EndRow();
    // Completes the file under its name. Throws Error.
    void Commit();

private:
    void Separator();
    std::unique_ptr<OutputFile> out_;
    std::FILE* file_;
    bool rowStarted_ = false;
};

// A small table read whole: a profile, or a table of results.
struct CsvTable {
    std::string name;                            // the file, for messages
    std::vector<std::string> header;             // empty when the file has none
    std::vector<std::vector<std::string>> rows;  // cells as written, spaces trimmed
    std::vector<int> lines;                      // file line of each row

    // Column whose header equals one of the names, ignoring case; -1 if none.
    int Find(const std::vector<std::string>& names) const;
    // The number in a cell. Throws Error naming file, line and column when it
    // is not a finite number.
    double Number(size_t row, int column) const;
};

// Reads a whole CSV table. Throws Error for a file that cannot be read or
// rows of unequal length.
CsvTable ReadCsvTable(const std::string& path);

// A recording in CSV, read row by row: one row per frame, one column per
// channel, after an optional time column in seconds. The first column is the
// time when the header names it "t" or a name starting with "time" (any
// case), and the sample rate is then taken from the time column: the mean
// spacing of the first 4096 rows, made whole when it is within a millionth of
// a whole rate. Every later row must follow the one before by one sample
// within half a sample. A file without a time column needs its rate from the
// caller. Channel names come from the header, else ch1, ch2, ...
// choice: the rate comes from the mean spacing of many rows, not from the
// first two, since times printed with few digits make single steps uneven;
// a rate within a millionth of a whole number is taken as whole, as
// acquisition systems' rates are.
// choice: a time that breaks the spacing by half a sample or more (a missing
// or repeated row) is refused rather than resampled.
class CsvSource : public BlockSource {
public:
    // sampleRate 0: take it from the time column. Throws Error for a file
    // that cannot be read, a missing rate, a rate that disagrees with the
    // time column, and any bad row among the first 4096.
    explicit CsvSource(const std::string& path, double sampleRate = 0.0);
    ~CsvSource() override;
    const RecordInfo& Info() const override;
    // Throws Error naming file, line and column for a bad row.
    int64_t Read(float* out, int64_t frames) override;
    double Fraction() const override;

private:
    struct State;
    std::unique_ptr<State> state_;
};

// Reads a test profile from CSV. The header names the columns, in any
// order and case: "frequency" (or frequency_hz, freq, f) and "level" (or psd)
// are needed; "alarm_db", "abort_db" and "segment" (lin or log, for the
// segment that ends at the row; log when absent) are optional. The file's
// lines become the breakpoints' sourceLine, so that errors name them.
// Throws Error for a missing column, a bad cell, or a table that
// ProfileTable::Validate refuses.
ProfileTable ReadProfile(const std::string& path);

// Writes a recording as CSV: a header "time_s" and the channel names, then
// one row per frame with its time, frame / sampleRate.
class CsvRecordingSink : public BlockSink {
public:
    CsvRecordingSink(const std::string& path, double sampleRate, const std::vector<std::string>& channelNames);
    void Write(const float* samples, int64_t frames) override;
    void Finish() override;

private:
    CsvWriter writer_;
    double sampleRate_;
    int channels_;
    int64_t frames_ = 0;
};

}  // namespace rec
}  // namespace numora
