// Fixture for GL tests that read and write files: the working directory is a fresh one, removed afterwards.
#pragma once

#include "gl_test.h"

#include <filesystem>
#include <fstream>
#include <random>
#include <string>

class GlFilesTest : public GlTest {
protected:
    void SetUp() override {
        GlTest::SetUp();
        std::filesystem::create_directories(dir);
        std::filesystem::current_path(dir);
    }
    void TearDown() override {
        std::filesystem::current_path(home);
        std::filesystem::remove_all(dir);
    }
    static void write(const std::filesystem::path& file, const std::string& bytes) {
        std::filesystem::create_directories(std::filesystem::absolute(file).parent_path());
        std::ofstream(file, std::ios::binary) << bytes;
    }
    template <typename Action>
    static std::string printed(Action action) {
        testing::internal::CaptureStdout();
        action();
        return testing::internal::GetCapturedStdout();
    }

    const std::filesystem::path home = std::filesystem::current_path();
    const std::filesystem::path dir =
        std::filesystem::temp_directory_path() / ("tarn_gl_files_" + std::to_string(std::random_device{}()));
};
