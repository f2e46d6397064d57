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

// A text in a buffer of its own, for functions that work in place.
template <class Function, class... Arguments>
std::string in_place(Function function, const char *text, Arguments... arguments)
{
    char buffer[64] = "";
    std::string_view(text).copy(buffer, sizeof buffer - 1);
    EXPECT_EQ(function(buffer, arguments...), buffer);
    return buffer;
}

// For EXPECT_TRUE and EXPECT_FALSE: shows both texts when the expectation fails.
inline ::testing::AssertionResult holds(std::string_view text, std::string_view part)
{
    const bool found = text.find(part) != std::string_view::npos;
    return ::testing::AssertionResult(found) << "\"" << part << "\" in:\n" << text;
}
