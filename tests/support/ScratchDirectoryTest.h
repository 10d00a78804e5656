// A test fixture with a fresh directory of its own under /tmp, removed with
// everything in it after each test.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

class ScratchDirectoryTest : public testing::Test {
protected:
    void SetUp() override {
        char pattern[] = "/tmp/tarn-test-XXXXXX";
        ASSERT_NE(mkdtemp(pattern), nullptr);
        directory = pattern;
    }
    void TearDown() override { std::filesystem::remove_all(directory); }

    // The path of `name` inside the directory.
    std::string path(const std::string& name) const { return (directory / name).string(); }

    // The names in the directory, sorted: a temporary file left behind shows
    // here.
    std::vector<std::string> listing() const {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(directory))
            names.push_back(entry.path().filename().string());
        std::sort(names.begin(), names.end());
        return names;
    }

    std::filesystem::path directory;
};
