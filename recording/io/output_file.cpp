#include "recording/io/output_file.h"

#include <unistd.h>

#include <atomic>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <utility>

#include "recording/error.h"

namespace numora {
namespace rec {

namespace {

std::atomic<int> tempCounter{0};

}  // namespace

std::string FileExtension(const std::string& path)
{
    const size_t dot = path.find_last_of('.');
    const size_t slash = path.find_last_of('/');
    if (dot == std::string::npos || (slash != std::string::npos && dot < slash))
        return std::string();
    std::string ext = path.substr(dot + 1);
    for (char& c : ext)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return ext;
}

OutputFile::OutputFile(std::string path) : path_(std::move(path))
{
    const size_t slash = path_.find_last_of('/');
    const std::string dir = slash == std::string::npos ? std::string() : path_.substr(0, slash + 1);
    const std::string base = slash == std::string::npos ? path_ : path_.substr(slash + 1);
    temp_ =
        dir + "." + base + ".tmp-" + std::to_string(static_cast<long>(getpid())) + "-" + std::to_string(tempCounter++);
}

OutputFile::~OutputFile()
{
    if (file_)
        std::fclose(file_);
    if (!committed_)
        std::remove(temp_.c_str());
}

const std::string& OutputFile::Path() const
{
    return path_;
}

const std::string& OutputFile::TempPath() const
{
    return temp_;
}

std::FILE* OutputFile::Open()
{
    file_ = std::fopen(temp_.c_str(), "wb");
    if (!file_)
        throw Error("cannot write '" + path_ + "': " + std::strerror(errno));
    return file_;
}

void OutputFile::Close()
{
    if (!file_)
        return;
    const bool failed = std::ferror(file_) != 0;
    const int closed = std::fclose(file_);
    file_ = nullptr;
    if (failed || closed != 0)
        throw Error("cannot write '" + path_ + "': " + std::strerror(errno));
}

void OutputFile::Commit()
{
    Close();
    if (std::rename(temp_.c_str(), path_.c_str()) != 0)
        throw Error("cannot write '" + path_ + "': " + std::strerror(errno));
    committed_ = true;
}

}  // namespace rec
}  // namespace numora
