#pragma once

#include <cstdio>
#include <string>

// Output files that appear under their names only when complete: everything
// is written under a temporary name in the same folder and renamed over the
// final name at the end, so a failed run never leaves a partial file behind.

namespace numora {
namespace rec {

// The extension of a file name in lower case, without the dot; empty when
// there is none.
std::string FileExtension(const std::string& path);

class OutputFile {
public:
    // Chooses the temporary name next to path; creates nothing yet.
    explicit OutputFile(std::string path);
    // Removes the temporary file unless the output was committed.
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    const std::string& Path() const;
    // Where the content is written until Commit.
    const std::string& TempPath() const;
    // Opens the temporary file for writing. Throws Error naming the final
    // path when it cannot be created.
    std::FILE* Open();
    // Closes the file Open made, for another writer to fill the temporary
    // file by its name. Throws Error on a failed write.
    void Close();
    // Closes the file if Open made it, and renames it to the final name.
    // Throws Error on a failed write or rename.
    void Commit();

private:
    std::string path_;
    std::string temp_;
    std::FILE* file_ = nullptr;
    bool committed_ = false;
};

}  // namespace rec
}  // namespace numora
