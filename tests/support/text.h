// Texts of files and of results, looked at by tests.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <string_view>

// Without carriage returns; "" when the file is missing.
inline std::string file_text(const std::filesystem::path &file)
{
    std::ifstream stream(file, std::ios::binary);
    std::ostringstream text;
    text << stream.rdbuf();
    std::string all = text.str();
    std::erase(all, '\r');
    return all;
}

// For EXPECT_TRUE and EXPECT_FALSE: shows both texts when the expectation fails.
inline ::testing::AssertionResult holds(std::string_view text, std::string_view part)
{
    const bool found = text.find(part) != std::string_view::npos;
    return ::testing::AssertionResult(found) << "\"" << part << "\" in:\n" << text;
}
