#include "tests/support/test_site.h"

#include <platform/error.h>
#include <platform/process.h>
#include <platform/registry.h>

#include <filesystem>

namespace fs = std::filesystem;

namespace {

class Registry : public TestSite {
protected:
    static std::string text(const std::string &key, const char *value = "")
    {
        char out[256];
        return pl_reg_read(key.c_str(), value, out, sizeof out) ? out
                                                                : "?" + std::to_string(pl_last_error().kind);
    }
    static std::string subkeys(const char *key)
    {
        std::string all;
        char name[128];
        for (uint32_t i = 0; pl_reg_enum(key, i, name, sizeof name); ++i)
            all += std::string(name) + "|";
        return all;
    }
};

TEST_F(Registry, NamesMatchInAnyCaseAndKeepTheirFirstSpelling)
{
    ASSERT_TRUE(pl_reg_write("Software\\T\\Mixed Case", "Value", "1"));
    ASSERT_TRUE(pl_reg_write("SOFTWARE\\t\\MIXED case", "vALUE", "2"));
    EXPECT_EQ(text("software\\T\\mixed case", "VALUE"), "2");
    ASSERT_TRUE(pl_reg_write("Software\\T\\b", "", "b"));
    ASSERT_TRUE(pl_reg_write("Software\\T\\Anna", "", ""));
    EXPECT_EQ(subkeys("software\\t"), "Anna|b|Mixed Case|");
    EXPECT_EQ(text("Software\\T\\Anna"), "");
    EXPECT_EQ(subkeys("Software\\None"), "");
}

TEST_F(Registry, OddNamesStayBelowTheRoot)
{
    const std::string names[] = {"..",    ".",      ".name", "@",        "@v#",        "a/../../b",
                                 "/etc",  "%2E%2E", "a b*?", "\344\366", "\x01\xFF\n", "..\\..\\..\\c",
                                 "a\\\\b"};
    for (const std::string &name : names) {
        const std::string key = "Odd\\" + name;
        ASSERT_TRUE(pl_reg_write(key.c_str(), "", ("default of " + name).c_str())) << name;
        ASSERT_TRUE(pl_reg_write(key.c_str(), name.c_str(), ("value of " + name).c_str())) << name;
    }
    for (const std::string &name : names) {
        const std::string key = "Odd\\" + name;
        EXPECT_EQ(text(key), "default of " + name);
        EXPECT_EQ(text(key, name.c_str()), "value of " + name);
    }
    for (const auto &entry : fs::directory_iterator(path("registry"))) {
        const std::string name = entry.path().filename().string();
        EXPECT_TRUE(name == "odd" || name == "software") << name;
    }
    const std::string too_long(300, '/');
    EXPECT_FALSE(pl_reg_write(too_long.c_str(), "", "v"));
    EXPECT_EQ(text(too_long)[0], '?');
}

TEST_F(Registry, TextsAndNumbersReplaceEachOther)
{
    uint32_t number = 0;
    ASSERT_TRUE(pl_reg_write("T", "v", "text"));
    EXPECT_FALSE(pl_reg_read_number("T", "v", &number));
    ASSERT_TRUE(pl_reg_write_number("T", "v", 4000000000u));
    EXPECT_TRUE(pl_reg_read_number("T", "v", &number));
    EXPECT_EQ(number, 4000000000u);
    EXPECT_EQ(text("T", "v"), "?2");
    ASSERT_TRUE(pl_reg_write("T", "v", "text"));
    EXPECT_FALSE(pl_reg_read_number("T", "v", &number));
    EXPECT_EQ(text("T", "none"), "?2");
    EXPECT_EQ(text("None", "none"), "?3");
}

} // namespace
