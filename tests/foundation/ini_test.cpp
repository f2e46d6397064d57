// The ini file: the system's own syntax, where the file is found, the whole-file reader.
#include "tests/support/test_site.h"

#include <platform/process.h>
#include <platform/registry.h>

extern "C" {
#include <iniparser.h>
}

namespace {

constexpr char kCompany[] = "Software\\Korvel\\tamba";

class Ini : public TestSite {
protected:
    // The value, or "!" and the reason without the function's name.
    std::string look_up(const std::string &text, const std::string &section, const std::string &key) const
    {
        write("x.ini", text);
        char value[1200] = "untouched", err[1200] = "";
        if (i_GetPrivateProfileString(path("x.ini").c_str(), section.c_str(), key.c_str(), value,
                                      sizeof value, err, sizeof err) == 1)
            return value;
        EXPECT_STREQ(value, "untouched");
        const std::string_view reason = err, function = "i_GetPrivateProfileString: ";
        EXPECT_EQ(reason.substr(0, function.size()), function);
        return "!" + std::string(reason.substr(function.size()));
    }
};

TEST_F(Ini, LinesMatchByTheSystemsOwnRules)
{
    const std::string k62(62, 'k'), k63(63, 'k'), v1018(1018, 'v');
    // clang-format off
    const struct { std::string text, section, key, expected; } cases[] = {
        {"[Pathes]\nkey=Value", "[PATHES]", "KEY", "Value"},
        {"[pathes]\nKey=Value\n", "[Pathes]", "key", "Value"}, {"[Pathes2]\nkey=v\n", "[Pathes]", "key", "v"},
        {"x[P]\nkey=v\n", "[P]", "key", "!SECTION NOT FOUND: [P]."},
        {"[P]\nkey =v\n", "[P]", "key", "!KEY NOT FOUND: key"},
        {"[P]\n key=v\n", "[P]", "key", "!KEY NOT FOUND: key"},
        {"[P]\nkeys=v\n", "[P]", "key", "!KEY NOT FOUND: key"},
        {"[P]\nkey= lead and=trail  \n", "[P]", "key", " lead and=trail"},
        {"[P]\nkey=tab\t \n", "[P]", "key", "tab\t"}, {"[P]\n#key=x\n\nkey=a#b\n", "[P]", "key", "a#b"},
        {"[P]\r\nkey=v \r\n", "[P]", "key", "v"}, {"[P]\nkey=  \n", "[P]", "key", "!KEY VALUE NOT FOUND."},
        {"[P]\nkey=1\nkey=2\n", "[P]", "key", "1"},
        {"[P]\na=1\n[Q]\nkey=2\n", "[P]", "Key", "!KEY NOT FOUND [P]Key"},
        {"[P]\na=1\n[P]\nkey=2\n", "[P]", "key", "!KEY NOT FOUND [P]key"},
        {"key=1\n[P]\nkey=2\n", "", "key", "1"}, {"a=1\n[P]\nkey=2\n", "", "key", "!KEY NOT FOUND key"},
        {"", "[P]", "key", "!SECTION NOT FOUND: [P]."}, {"", "", "key", "!KEY NOT FOUND: key"},
        // names count with their first 63 characters, "=" among them
        {"[P]\n" + k62 + "z=5\n", "[P]", k62, "!KEY NOT FOUND: " + k62},
        {"[P]\n" + k63 + "z=5\n", "[P]", k63 + "other", "5"},
        {"[P]\n" + k63 + "z\n", "[P]", k63, "!KEY VALUE NOT FOUND."},
        // NUL bytes end a line, 1023 characters begin a new one
        {std::string("[P]\nke\0y=1\nkey=a\0b\n", 20), "[P]", "key", "a"},
        {"[P]\n" + std::string(1023, 'x') + "key=rest\n", "[P]", "key", "rest"},
        {"[P]\nkey=" + v1018 + "12345\n", "[P]", "key", v1018 + "1"},
        {"[P]\nkey=" + v1018 + "\r\n", "[P]", "key", v1018},
    };
    // clang-format on
    for (const auto &c : cases)
        EXPECT_EQ(look_up(c.text, c.section, c.key), c.expected) << c.text;
}

TEST_F(Ini, TheFirstReferenceOfAValueIsReplaced)
{
    std::string chain = "[P]\n";
    for (int i = 0; i < 9; ++i)
        chain += "a" + std::to_string(i) + "=%(a" + std::to_string(i + 1) + ")\n";
    // clang-format off
    const struct { std::string text, key, expected; } cases[] = {
        {"[DEFAULT]\nroot=C:\\\n[P]\nbin=%(root)bin\n", "bin", "C:\\bin"},
        {"[P]\nroot=own\nbin=<%(ROOT)>\n[DEFAULT]\nroot=default\n", "bin", "<own>"},
        {"[P]\na=1\nb=%(a)%(a)\n", "b", "1%(a)"}, {"[P]\na=x%(b)\nb=y%(c)\nc=z\n", "a", "xyz"},
        {"[DEFAULT]\na=%(b)\nb=default\n[P]\nb=own\nc=%(a)\n", "c", "default"}, // "same section" is then the defaults
        {"[P]\na=%(open\n", "a", "%(open"}, {"[P]\na=%(none)\n", "a", "!SECTION NOT FOUND: [DEFAULT]."},
        {"[P]\na=%(none)\n[DEFAULT]\n", "a", "!KEY NOT FOUND: none"},
        {"[P]\na=%(a)\n[DEFAULT]\na=%(a)\n", "a", "!KEY NOT FOUND: a"},
        {"[P]\na=%(b)\nb=%(a)\n", "a", "!KEY NOT FOUND: a"}, {chain + "a9=end\n", "a1", "end"},
        {chain + "a9=end\n", "a0", "!KEY NOT FOUND: a0"},
        {"[P]\na=" + std::string(600, 'a') + "%(b)end\nb=" + std::string(600, 'b') + "\n", "a",
         std::string(600, 'a') + std::string(423, 'b')},
    };
    // clang-format on
    for (const auto &c : cases)
        EXPECT_EQ(look_up(c.text, "[P]", c.key), c.expected) << c.text;
}

TEST_F(Ini, ResultsFitTheirBuffers)
{
    write("x.ini", "[P]\nkey=value\n");
    const std::string file = path("x.ini"), folder = path("ini");
    char value[] = "........", err[] = "........";
    EXPECT_EQ(i_GetPrivateProfileString(file.c_str(), "[P]", "key", value, 4, nullptr, 0), 1);
    EXPECT_STREQ(value, "val");
    EXPECT_EQ(value[4], '.');
    EXPECT_EQ(i_GetPrivateProfileString(file.c_str(), "[P]", "none", value, 0, err, 4), 0);
    EXPECT_STREQ(err, "i_G");
    char reason[1400];
    EXPECT_EQ(i_GetPrivateProfileString(nullptr, "[P]", "key", value, 4, reason, sizeof reason), 0);
    EXPECT_STREQ(reason, "i_GetPrivateProfileString: FILE NOT FOUND OR ACCESS PROBLEM.");
    EXPECT_EQ(i_GetPrivateProfileString(folder.c_str(), nullptr, nullptr, value, 4, reason, sizeof reason),
              0);
    EXPECT_EQ(reason, "i_GetPrivateProfileString: FILE NOT FOUND OR ACCESS PROBLEM: " + folder + ".");
    EXPECT_EQ(i_READ_INI(nullptr, "[SETUP]", "none", value, 4, reason, sizeof reason), 0);
    EXPECT_STREQ(value, "");
    EXPECT_STREQ(reason, "i_READ_INI: i_GetPrivateProfileString: KEY NOT FOUND: none");
    EXPECT_EQ(i_READ_INI("", "[setup]", "LANG", value, 4, nullptr, 0), 1);
    EXPECT_STREQ(value, "en");
}

TEST_F(Ini, TheKeyOfTheEnvironmentComesBeforeTheCompanysKeys)
{
    char text[256], err[256];
    const auto root = [&](const char *name) {
        return std::string(i_GET_ROOT_FOR_INI(name, text, sizeof text, err, sizeof err) == 1 ? text : err);
    };
    ASSERT_TRUE(pl_reg_write(kCompany, "STPD_INI", "company.ini"));
    ASSERT_TRUE(pl_reg_write("Software\\Other", "STPD_INI", "other.ini"));
    const std::string missing = "i_GET_ROOT_FOR_INI: NO TAMBA REGISTRY KEY FOUND: HKEY_LOCAL_MACHINE\\";
    unset("TAMBA_INI");
    EXPECT_EQ(root("STPD_INI"), "company.ini");
    EXPECT_EQ(root("none"), missing + "Software\\Korvel\\tamba");
    pl_setenv("TAMBA_INI", "Software\\Other");
    EXPECT_EQ(root("STPD_INI"), "other.ini");
    EXPECT_EQ(root("TB_INI"), path("ini/tb.ini")); // not there: the company's keys follow
    EXPECT_EQ(root("none"), missing + "Software\\KORVEL\\tamba");
    unset("TAMBA_INI");
    EXPECT_EQ(i_READ_INI("none", "[P]", "key", text, sizeof text, err, sizeof err), 0);
    EXPECT_EQ(err, "i_READ_INI: " + missing + "Software\\Korvel\\tamba");
    EXPECT_EQ(i_INI_SCAN(text), 1);
    EXPECT_EQ(text, path("ini/tb.ini"));
}

TEST_F(Ini, RegistryValuesAreCutAndOnlyStringsCount)
{
    char out[256] = "", err[256] = "";
    ASSERT_TRUE(pl_reg_write("Software\\T", "text", "0123456789"));
    ASSERT_TRUE(pl_reg_write_number("Software\\T", "number", 7));
    EXPECT_EQ(i_GET_REG_VALUE("software\\t", "TEXT", out, 5, err, sizeof err), 1);
    EXPECT_STREQ(out, "0123");
    EXPECT_EQ(i_GET_REG_VALUE("Software\\T", "number", out, sizeof out, err, sizeof err), 0);
    EXPECT_STREQ(err, "i_GET_REG_VALUE: registry HKEY_LOCAL_MACHINE\\Software\\T - number not found");
    const std::string key(127, 'k');
    ASSERT_TRUE(pl_reg_write(key.c_str(), "v", "cut"));
    EXPECT_EQ(i_GET_REG_VALUE((key + "rest").c_str(), "v", out, sizeof out, nullptr, 0), 1);
    EXPECT_STREQ(out, "cut");
    pl_reg_delete_key(key.c_str());
}

TEST_F(Ini, TheWholeFileIsReadByTheDictionarysOwnSyntax)
{
    char err[300] = "";
    add_ini("[Quoted]\nKey = \"a ; b\"  ; comment\n");
    dictionary *const entries = p_PARSE_INI(nullptr, err, sizeof err);
    ASSERT_NE(entries, nullptr) << err;
    EXPECT_STREQ(iniparser_getstring(entries, "quoted:key", "none"), "a ; b");
    iniparser_freedict(entries);
    write("bad.ini", "[P]\nkey=1\nno assignment\nnor here\n");
    ASSERT_TRUE(pl_reg_write(kCompany, "BAD_INI", path("bad.ini").c_str()));
    Captured errors(stderr);
    EXPECT_EQ(p_PARSE_INI("BAD_INI", err, sizeof err), nullptr);
    EXPECT_EQ(err, "p_PARSE_INI: iniparser: syntax error in " + path("bad.ini") + " (3): -> no assignment");
    EXPECT_EQ(errors.text(), "");
    Captured own_errors(stderr);
    EXPECT_EQ(iniparser_load(path("bad.ini").c_str()), nullptr);
    EXPECT_TRUE(holds(own_errors.text(), "nor here")) << "what the program itself asks goes where it went";
    ASSERT_TRUE(pl_reg_write(kCompany, "FOLDER_INI", path("ini").c_str()));
    EXPECT_EQ(p_PARSE_INI("FOLDER_INI", err, sizeof err), nullptr);
    EXPECT_EQ(err, "p_PARSE_INI: " + path("ini"));
    EXPECT_EQ(p_PARSE_INI("NONE", err, sizeof err), nullptr);
    EXPECT_EQ(std::string_view(err).substr(0, 33), "p_PARSE_INI: i_GET_ROOT_FOR_INI: ");
}

} // namespace
