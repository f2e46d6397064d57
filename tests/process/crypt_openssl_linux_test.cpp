// The cipher beside the program "openssl".  Linux only: that is where the program is.
#include <process/crypt.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <unistd.h>

namespace {

// The program takes keys of 16 bytes, we have 20.  The cipher repeats its key until it has 72 bytes, so that one which
// repeats itself after four is the same in both lengths.
constexpr char kKey16[] = "6b657921"
                          "6b657921"
                          "6b657921"
                          "6b657921";
constexpr uint8_t kKey20[] = {'k', 'e', 'y', '!', 'k', 'e', 'y', '!', 'k', 'e',
                              'y', '!', 'k', 'e', 'y', '!', 'k', 'e', 'y', '!'};
const CipherVector kVector = {0x00, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77};

// What the program makes of a text; "" when it fails.
std::string openssl(const std::string &text, const char *direction)
{
    const std::string base =
        (std::filesystem::temp_directory_path() / ("tamba-openssl-" + std::to_string(getpid()))).string();
    std::ofstream(base + ".in", std::ios::binary) << text;
    const std::string command = "openssl enc -bf-cbc -provider legacy -provider default -K " +
                                std::string(kKey16) + " -iv 0011223344556677 -nopad " + direction + " -in " +
                                base + ".in -out " + base + ".out 2>/dev/null";
    const bool done = std::system(command.c_str()) == 0;
    std::ifstream file(base + ".out", std::ios::binary);
    const std::string made(std::istreambuf_iterator<char>(file), {});
    for (const char *ending : {".in", ".out"})
        std::filesystem::remove(base + ending);
    return done ? made : "";
}

std::string ours(std::string text, bool encipher)
{
    blowfish_cbc(reinterpret_cast<uint8_t *>(text.data()), text.size(), kKey20, kVector, encipher);
    return text;
}

TEST(CryptOpenssl, TheCipherIsThatOfTheProgramInBothDirections)
{
    if (openssl("01234567", "-e").empty())
        GTEST_SKIP() << "this openssl has no Blowfish";
    for (size_t blocks = 1; blocks <= 31; ++blocks) { // of texts of 1 to 123 characters
        std::string text;
        for (size_t i = 0; i < 8 * blocks; ++i)
            text += static_cast<char>(i * 31 + blocks);
        const std::string cipher = ours(text, true);
        EXPECT_EQ(openssl(text, "-e"), cipher) << blocks;
        EXPECT_EQ(openssl(cipher, "-d"), text) << blocks;
        EXPECT_EQ(ours(cipher, false), text) << blocks;
    }
}

} // namespace
