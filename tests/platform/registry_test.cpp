#include "tests/support/test_site.h"

#include <platform/error.h>
#include <platform/process.h>
#include <platform/registry.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <thread>

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
        std::vector<std::string> names;
        if (!pl_reg_subkeys(key, &names))
            return "?" + std::to_string(pl_last_error().kind);
        std::sort(names.begin(), names.end());
        std::string all;
        for (const std::string &name : names)
            all += name + "|";
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
    EXPECT_EQ(subkeys("software\\t"), "Anna|Mixed Case|b|");
    EXPECT_EQ(text("Software\\T\\Anna"), "");
    EXPECT_EQ(subkeys("Software\\T\\Anna"), "");
    EXPECT_EQ(subkeys("Software\\None")[0], '?');
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
        EXPECT_EQ(text("Odd\\" + name), "default of " + name);
        EXPECT_EQ(text("Odd\\" + name, name.c_str()), "value of " + name);
    }
    for (const auto &entry : fs::directory_iterator(path("registry"))) {
        const std::string name = entry.path().filename().string();
        EXPECT_TRUE(name == "odd" || name == "software") << name;
    }
    const std::string too_long(300, '/');
    EXPECT_FALSE(pl_reg_write(too_long.c_str(), "", "v"));
    EXPECT_EQ(text(too_long)[0], '?');
}

TEST_F(Registry, AWriteThatRacesDeletionsSucceeds)
{
    std::atomic<bool> stop{false};
    const auto delete_what_is_seen = [&] {
        while (!stop)
            if (text("Race\\key") == "v")
                pl_reg_delete_key("Race\\key");
    };
    std::thread deleters[] = {std::thread(delete_what_is_seen), std::thread(delete_what_is_seen),
                              std::thread(delete_what_is_seen)};
    int failed = 0;
    for (int i = 0; i < 300; ++i)
        failed += !pl_reg_write("Race\\key", "", "v");
    stop = true;
    for (std::thread &deleter : deleters)
        deleter.join();
    EXPECT_EQ(failed, 0);
    pl_reg_delete_key("Race\\key");
    EXPECT_EQ(subkeys("Race"), "");
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
