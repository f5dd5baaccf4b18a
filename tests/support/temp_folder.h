#pragma once

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <string>

#include <gtest/gtest.h>

// Shared fixture of the tests that read and write files: each test gets its
// own empty folder, removed when it ends.
namespace numora_test {

class TempFolderTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        dir_ =
            std::filesystem::temp_directory_path() / ("numora_" + std::to_string(getpid()) + "_" +
                                                      ::testing::UnitTest::GetInstance()->current_test_info()->name());
        std::filesystem::remove_all(dir_);
        std::filesystem::create_directories(dir_);
    }
    void TearDown() override { std::filesystem::remove_all(dir_); }
    // The path of a file in the folder.
    std::string Path(const std::string& name) const { return (dir_ / name).string(); }
    // Writes text to a file in the folder; returns its path.
    std::string WriteText(const std::string& name, const std::string& text) const
    {
        std::ofstream(Path(name), std::ios::binary) << text;
        return Path(name);
    }
    // Names in the folder: what a failed write must not leave behind.
    std::set<std::string> Files() const
    {
        std::set<std::string> names;
        for (const auto& e : std::filesystem::directory_iterator(dir_))
            names.insert(e.path().filename().string());
        return names;
    }

    std::filesystem::path dir_;
};

}  // namespace numora_test
