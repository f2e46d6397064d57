// Passwords for client agents: the digest, the cipher text's form, and whatever is taken for one.
#include "tests/backup/media_site.h"
#include "tests/support/system.h"

#include <foundation/sha1.h>
#include <process/crypt.h>

namespace {

namespace fs = std::filesystem;

std::string hex(const Sha1Digest &digest)
{
    std::string text;
    char digits[3];
    for (const uint8_t byte : digest)
        text.append(digits, static_cast<size_t>(std::snprintf(digits, sizeof digits, "%02x", byte)));
    return text;
}

std::string encrypted(const std::string &clear, const char *pass_phrase, int random = -1)
{
    char out[TAMBA_CIPHER_SIZE];
    if (random < 0)
        EXPECT_EQ(crypt_encrypt(out, clear.data(), clear.size(), pass_phrase), 0);
    else
        EXPECT_EQ(
            crypt_encrypt_with(static_cast<uint8_t>(random), out, clear.data(), clear.size(), pass_phrase),
            0);
    return out;
}

std::string decrypted(const std::string &cipher, const char *pass_phrase)
{
    const std::unique_ptr<char[]> out(new char[kClearSize]);
    EXPECT_EQ(crypt_decrypt(out.get(), cipher.c_str(), pass_phrase), 0);
    return out.get();
}

// A cipher text of any block.
std::string ciphered_block(std::string block, const char *pass_phrase)
{
    const CipherVector vector = {};
    blowfish_cbc(reinterpret_cast<uint8_t *>(block.data()), block.size(), sha1(pass_phrase).data(), vector,
                 true);
    std::string text(16, '0');
    char digits[3];
    for (const char byte : block)
        text.append(digits, static_cast<size_t>(std::snprintf(digits, sizeof digits, "%02X",
                                                              static_cast<unsigned char>(byte))));
    return text;
}

TEST(Crypt, TheDigestIsThePublishedOne)
{
    EXPECT_EQ(hex(sha1("abc")), "a9993e364706816aba3e25717850c26c9cd0d89d");
    EXPECT_EQ(hex(sha1("")), "da39a3ee5e6b4b0d3255bfef95601890afd80709");
    EXPECT_EQ(hex(sha1("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq")),
              "84983e441c3bd26ebaae4aa1f95129e5e54670f1");
    EXPECT_EQ(hex(sha1(std::string(1'000'000, 'a'))), "34aa973cd4c4daa4f61eeb2bdbad27316534016f");
    EXPECT_EQ(hex(sha1(std::string(64, 'a'))), "0098ba824b5c16427bd7a1122a5a442a25ec644d");
}

TEST(Crypt, TheFormOfACipherText)
{
    EXPECT_EQ(encrypted("abc", "phrase", 0x21).size(), 32u);
    EXPECT_EQ(encrypted("abcd", "phrase", 0x21).size(), 48u);
    EXPECT_EQ(encrypted("abc", "phrase", 0x21).substr(0, 16), "2125292d3135393d") << "r + r / 8 * i";
    EXPECT_EQ(encrypted("abc", "phrase", 0xff).substr(0, 16), "ff1e3d5c7b9ab9d8");
    EXPECT_EQ(encrypted("abc", "phrase", 7).substr(0, 16), "0707070707070707");
    for (int i = 0; i < 500; ++i)
        ASSERT_NE(encrypted("abc", "phrase"), encrypted("abc", "phrase")) << "the vectors differ";
    const std::string text = encrypted("\xDF\xFF", "phrase", 0);
    EXPECT_EQ(text.find_first_not_of("0123456789abcdef"), std::string::npos);
    EXPECT_EQ(text.size(), 32u);
    // From 124 characters on the length of the block, counted in a byte, begins again.
    for (const auto &[length, size] :
         {std::pair<size_t, size_t>{123, 248}, {124, 0}, {127, 0}, {128, 8}, {252, 0}, {256, 8}, {300, 96}})
        EXPECT_EQ(encrypted(std::string(length, 'x'), "phrase", 1).size(), 16 + 2 * size) << length;
}

TEST(Crypt, WhatWasEncipheredComesBack)
{
    for (size_t length = 0; length <= 72; ++length) {
        std::string text;
        for (size_t i = 0; i < length; ++i)
            text += static_cast<char>(1 + (i * 37 + length) % 255);
        EXPECT_EQ(decrypted(encrypted(text, "a phrase"), "a phrase"), text) << length;
    }
    EXPECT_EQ(decrypted(encrypted(std::string(100, 'x'), "p"), "p").size(), 72u)
        << "of a longer one the beginning";
    // Other systems fill the last block in a way of their own.
    for (const char *text : {"abc", "abcdefg", "abcdefghijk"}) {
        std::string block;
        for (const char *c = text; *c; ++c)
            block.append(1, '\0').append(1, *c);
        EXPECT_EQ(decrypted(ciphered_block(block + std::string("\2\0", 2), "p"), "p"), text);
    }
}

TEST(Crypt, HostileTextsGiveNothing)
{
    const std::string good = encrypted("secret", "p");
    for (const std::string &text :
         {std::string(), std::string("0"), std::string("zz"), good.substr(0, 16), good.substr(0, 31),
          "x" + good, good.substr(0, 20) + "\xE4\xF6" + good.substr(20),
          std::string(16, '0') + "g" + good.substr(17)})
        EXPECT_EQ(decrypted(text, "p"), "") << text;
    EXPECT_EQ(decrypted(good + "0", "p"), "secret") << "half a pair ends the text";
    std::string spaced = " ";
    for (size_t i = 0; i < good.size(); i += 2)
        spaced += good.substr(i, 2) + "  ";
    EXPECT_EQ(decrypted(spaced, "p"), "secret");
    EXPECT_EQ(decrypted(uppercase(spaced.data()), "p"), "secret");
    for (int i = 0; i < 200; ++i) // a wrong phrase gives any bytes: bounded, whatever they are
        EXPECT_LE(decrypted(encrypted(std::string(70, 'x'), "p"), std::to_string(i).c_str()).size(), 144u);
    EXPECT_LE(decrypted(std::string(100'000, 'a'), "p").size(), 144u);
}

class Passwords : public MediaSite {
protected:
    void SetUp() override
    {
        MediaSite::SetUp();
        trace.level = 3;
        key = site.path("work/tbc.key");
        set_ini("Params", "tbc_key_file", key);
        ASSERT_TRUE(write_text(key, "key of the house\n"));
        ASSERT_TRUE(make_private(key));
    }
    void store(const std::string &password) const
    {
        sql("update clients set password=" + password + ", user_name='sysop' where name='localhost'");
    }
    std::string password(const char *client)
    {
        char user[TAMBA_USER_SIZE], out[TAMBA_CIPHER_SIZE];
        const int32_t result = i_GET_NETWARE_PASSWORD(client, user, "of the agent", out, trace);
        return std::to_string(result) + " " + user + " " + out;
    }
    // Enciphers a text anew; the clear text that the agent finds, or "refused".
    std::string passed_on(const std::string &text)
    {
        char out[TAMBA_CIPHER_SIZE] = "old";
        if (i_TBC_ENCRYPT(text.c_str(), "of the agent", out, trace) != 1)
            return *out ? "not empty" : "refused";
        return decrypted(out, "of the agent");
    }
    std::string key;
};

TEST_F(Passwords, AreEncipheredAnewForTheAgent)
{
    store("'" + encrypted("geheim", "key of the house") + "'");
    const std::string found = password("localhost");
    ASSERT_EQ(found.substr(0, 9), "1 sysop {");
    ASSERT_EQ(found.back(), '}');
    EXPECT_EQ(decrypted(found.substr(9, found.size() - 10), "of the agent"), "geheim");
    EXPECT_EQ(passed_on(encrypted("", "key of the house")), "") << "an empty password is one";
    EXPECT_EQ(passed_on(encrypted(std::string(72, 'x'), "key of the house")), std::string(72, 'x'));
    EXPECT_EQ(passed_on("no cipher text"), "refused");
    EXPECT_EQ(password("o'hara"), "1  qemlo") << "the standard one for a client that is not known";
    for (const char *none : {"NULL", "''", "'NULL'"}) {
        store(none);
        EXPECT_EQ(password("localhost"), "1 sysop qemlo") << none;
    }
    store("'0123'");
    EXPECT_EQ(password("localhost"), "0 sysop ");
    EXPECT_NE(trace_text().find("ERROR: encryption of Netware password failed"), std::string::npos);
    expect_complaints = true;
    {
        const CatalogueLock lock(site);
        EXPECT_EQ(password("localhost"), "0  ");
    }
    for (const auto &entry : fs::directory_iterator(site.path("lgc")))
        for (const char *secret : {"geheim", "qemlo", "of the agent", "key of the house"})
            EXPECT_EQ(read_text(entry.path().string()).find(secret), std::string::npos)
                << secret << " in " << entry.path();
}

TEST_F(Passwords, NeedAKeyThatNobodyElseCanRead)
{
    const std::string text = encrypted("geheim", "key of the house");
    EXPECT_EQ(passed_on(text), "geheim");
    ASSERT_TRUE(make_public(key));
    EXPECT_EQ(passed_on(text), "refused");
    EXPECT_NE(trace_text().find("can be read by others"), std::string::npos);
    ASSERT_TRUE(write_text(key, "\nkey of the house\n") && make_private(key));
    EXPECT_EQ(passed_on(text), "refused");
    EXPECT_NE(trace_text().find(" holds no key"), std::string::npos);
    for (const std::string &file : {site.path("work/none"), site.path("work"), std::string()}) {
        set_ini("Params", "tbc_key_file", file);
        EXPECT_EQ(passed_on(text), "refused") << file;
    }
    EXPECT_NE(trace_text().find(" cannot be read"), std::string::npos);
}

} // namespace
