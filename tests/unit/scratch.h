// A fresh directory per test under the build tree's scratch root, and
// whole-file helpers for checking what the code left on disk.
#ifndef LINNET_UNIT_SCRATCH_H
#define LINNET_UNIT_SCRATCH_H

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>

class ScratchTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        const char* root = getenv("LINNET_TEST_SCRATCH");
        std::filesystem::path base = root != nullptr && *root != '\0'
                                         ? std::filesystem::path(root)
                                         : std::filesystem::current_path() / "linnet-unit-scratch";
        std::filesystem::create_directories(base);
        const ::testing::TestInfo* info = ::testing::UnitTest::GetInstance()->current_test_info();
        std::string pattern = (base / (std::string(info->name()) + ".XXXXXX")).string();
        ASSERT_NE(mkdtemp(&pattern[0]), nullptr);
        dir_ = pattern;
    }
    void TearDown() override
    {
        std::error_code ignored;
        std::filesystem::remove_all(dir_, ignored);
    }

    std::string path(const std::string& name) const { return dir_ + "/" + name; }
    std::set<std::string> entries() const
    {
        std::set<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(dir_))
            names.insert(entry.path().filename().string());
        return names;
    }

    std::string dir_;
};

inline std::string slurp(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline void put(const std::string& path, const std::string& content)
{
    std::ofstream(path, std::ios::binary | std::ios::trunc) << content;
}

#endif
