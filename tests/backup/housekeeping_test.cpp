// A medium is used again: what goes with it, and what stays.
#include "tests/backup/media_site.h"

#include <foundation/file_sweep.h>

#include <algorithm>
#include <random>

namespace {

namespace fs = std::filesystem;

class Housekeeping : public MediaSite {
protected:
    void SetUp() override
    {
        MediaSite::SetUp();
        char value[TAMBA_GLBV_SIZE]; // the library's own traces lie elsewhere
        std::snprintf(value, sizeof value, "%s", site.path("client/").c_str());
        fs::create_directories(value);
        glbv("w", "gv_rw_lgc", value);
        sql("delete from results; delete from result_lbls;");
    }
    void add(const std::string &saveset, const std::string &columns, const char *label = "M1") const
    {
        sql("insert into results (saveset,task,cnt,saveset_exist,original_saveset,datum,state) values ('" +
            saveset + "'," + columns + ",'2008-02-07 00:00:00','0')");
        if (label)
            sql("insert into result_lbls (saveset,label) values ('" + saveset + "','" + label + "')");
    }
    void make(const Lines &files) const
    {
        for (const std::string &file : files)
            ASSERT_TRUE(write_text(site.path(file), "x"));
    }
    Lines left() const
    {
        Lines files;
        for (const char *folder : {"lis", "prepost", "client"})
            for (const auto &entry : fs::recursive_directory_iterator(site.path(folder)))
                files.push_back(std::string(folder) + "/" +
                                fs::relative(entry.path(), site.path(folder)).generic_string());
        std::sort(files.begin(), files.end());
        return files;
    }
    std::string savesets() const
    {
        return value("select group_concat(saveset) from (select * from results order by saveset)");
    }
};

TEST_F(Housekeeping, FilesAndRowsOfTheMediumGoAndNothingElse)
{
    add("SFhome07", "'home',3,NULL,NULL");
    add("SDmail07", "'mail',NULL,NULL,NULL"); // comes first: its counter is 0
    add("SIzeta07", "'zeta',NULL,NULL,NULL"); // has the counter of SFhome07
    add("SFother7", "'home',3,NULL,NULL", "M2");
    sql("insert into restore_results (saveset) values ('SFhome07'),('SFother7');"
        "insert into restore_tasks (saveset,eol) values ('SFhome07','1'),('SFhome07','0'),('SFother7','1')");
    fs::create_directory(site.path("lis/home-20080207000000_003_folder.lis"));
    const Lines stays = {"client/tbc_SFhome.not",
                         "lis/Xhome-20080207000000_003_a.lis",
                         "lis/home-20080207000000_0031_a.lis",
                         "lis/home-20080207000000_003.lis",
                         "lis/home-20080207000000_003_folder.lis/inside",
                         "lis/home-20080208000000_003_a.lis",
                         "prepost/home-20080207000000_00.log"};
    make(stays);
    make({"lis/home-20080207000000_003_a.lis", "lis/home-20080207000000_003_b",
          "lis/mail-20080207000000_000_a.lis", "lis/zeta-20080207000000_003_a.lis", "client/x_home07_y.not",
          "client/home07", "prepost/pre_home-20080207000000_003.log",
          "prepost/home-20080207000000_0031.log"});
    EXPECT_EQ(iDELETE_OLD_LIS("M1", "INIT:", "3", 'n', trace), 1);
    Lines expected = stays;
    expected.push_back("lis/home-20080207000000_003_folder.lis");
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(left(), expected);
    EXPECT_EQ(savesets(), "SFother7");
    EXPECT_EQ(value("select group_concat(saveset||eol) from restore_tasks"), "SFhome070,SFother71");
    EXPECT_EQ(value("select group_concat(saveset) from restore_results"), "SFother7");
    EXPECT_EQ(value("select group_concat(label) from result_lbls"), "M2");
    EXPECT_NE(protocol().find("INIT: Cleanup: obsolete data according to media M1 deleted."),
              std::string::npos);
    EXPECT_NE(protocol().find("INIT: deleting obsolete data of job zeta-20080207000000_003."),
              std::string::npos);
    EXPECT_NE(read_text(site.path("info/info.dat")).find(":  3> "), std::string::npos);
    EXPECT_FALSE(plans().empty());
}

TEST_F(Housekeeping, FromAMigratedSavesetOnFilesStay)
{
    add("SA_one", "'one',1,NULL,NULL");
    add("SB_two", "'two',1,'2',NULL");
    add("SC_three", "'three',1,NULL,NULL");
    make({"lis/one-20080207000000_001_a.lis", "lis/two-20080207000000_001_a.lis",
          "lis/three-20080207000000_001_a.lis"});
    iDELETE_OLD_LIS("M1", "INIT:", "3", 'y', trace);
    EXPECT_EQ(left(), (Lines{"lis/three-20080207000000_001_a.lis", "lis/two-20080207000000_001_a.lis"}));
    EXPECT_EQ(savesets(), "SA_one,SB_two,SC_three") << "rows are kept on request";
    EXPECT_EQ(value("select saveset_exist from results where saveset='SB_two'"), "M")
        << "and marked all the same";
    iDELETE_OLD_LIS("M1", "INIT:", "3", 'n', trace);
    EXPECT_EQ(left(), Lines{}) << "the mark is no number: a second cleanup takes them";
    EXPECT_EQ(savesets(), "SB_two");
}

TEST_F(Housekeeping, TheOriginalGoesWithItsLastCopy)
{
    add("SFcopy1", "'home',1,NULL,'SFfirst'");
    add("SFcopy2", "'home',2,NULL,'SFtwice'");
    add("SFcopy3", "'home',3,NULL,'SFtwice'", "M2");
    add("SFfirst", "'first',NULL,'1',NULL", nullptr);
    add("SFtwice", "'twice',1,'2',NULL", nullptr);
    sql("insert into restore_tasks (saveset,eol) values ('SFfirst','0')");
    make({"lis/first-20080207000000_000_a.lis", "lis/twice-20080207000000_001_a.lis"});
    EXPECT_EQ(iCHECK_LAST_SAVESET("SFtwice", trace), 2);
    iDELETE_OLD_LIS("M1", "INIT:", "3", 'n', trace);
    EXPECT_EQ(left(), Lines{"lis/twice-20080207000000_001_a.lis"});
    EXPECT_EQ(savesets(), "SFcopy3,SFtwice");
    EXPECT_EQ(value("select count(*) from restore_tasks"), "0");
    EXPECT_NE(protocol().find("I006-MEDIA"), std::string::npos);
    EXPECT_EQ(iDELETE_ORIG_LIS("SFtwice", "INIT:", trace), 1);
    EXPECT_EQ(savesets(), "SFcopy3") << "its last copy is about to go";
}

TEST_F(Housekeeping, NamesThatWouldMatchOtherFilesAreLeftOut)
{
    for (const char *row : {"'S*','*',1", "'SF','',1", "'S?/x','../lis/home',1", "'SFa:b','a<b',1"}) {
        const std::string text = row;
        const size_t comma = text.find(',');
        add(text.substr(1, comma - 2), text.substr(comma + 1) + ",NULL,NULL");
    }
    const Lines files = {"client/a.not", "lis/home-20080207000000_001_a.lis", "prepost/b.log"};
    make(files);
    iDELETE_OLD_LIS("M1", "INIT:", "3", 'n', trace);
    EXPECT_EQ(left(), files);
    EXPECT_EQ(savesets(), "NULL") << "rows go by their medium";
    for (const std::string &pattern :
         {std::string("gv_rw_lis:*.*"), std::string("gv_rw_lis:"), std::string("home*"),
          std::string("gv_rw_none:home*"), site.path("lis/") + "?*",
          site.path("lis/") + std::string(2000, 'x') + "*"})
        EXPECT_EQ(i_DELETE_FILES(pattern.c_str(), trace), 0) << pattern;
    EXPECT_EQ(left(), files);
    EXPECT_EQ(i_DELETE_FILES("gv_rw_lis:h?me-*.*", trace), 1);
}

TEST_F(Housekeeping, AFailingStatementIsReportedAndTheNextOneRuns)
{
    expect_complaints = true;
    const struct {
        const char *table, *event, *word;
    } statements[] = {{"results", "update of state", "INIT delete from results "},
                      {"restore_results", "delete", "INIT delete from restore_results "},
                      {"restore_tasks", "delete", "INIT delete from restore_tasks"},
                      {"result_lbls", "delete", "INIT delete from result_lbls "},
                      {"results", "delete", "INIT delete from results "}};
    for (const auto &[table, event, word] : statements) {
        sql("delete from results; delete from result_lbls; delete from restore_results; delete from "
            "restore_tasks;");
        add("SFhome07", "'home',3,NULL,NULL");
        sql("insert into restore_results (saveset) values ('SFhome07');"
            "insert into restore_tasks (saveset) values ('SFhome07');"
            "create trigger full before " +
            std::string(event) + " on " + table + " begin select raise(abort,'" + table + " is full'); end");
        const size_t said = protocol().size();
        iDELETE_OLD_LIS("M1", "INIT:", "3", 'n', trace);
        EXPECT_NE(protocol().find(std::string(word) + " with unexpected result: " + table + " is full", said),
                  std::string::npos)
            << protocol().substr(said);
        int left_over = 0;
        for (const char *other : {"results", "restore_results", "restore_tasks", "result_lbls"})
            left_over += value(std::string("select count(*) from ") + other) == "1" ? 1 : 0;
        EXPECT_EQ(left_over, 1) << "only the row of the statement that failed: " << word;
        sql("drop trigger full");
    }
}

TEST_F(Housekeeping, WhatCannotBeReadOrMarkedLosesNoRow)
{
    expect_complaints = true;
    add("SFhome07", "'home',3,'1',NULL");
    add("SFcopy07", "'home',4,NULL,'SForig07'");
    make({"lis/home-20080207000000_003_a.lis"});
    {
        const CatalogueLock lock(site);
        EXPECT_EQ(iDELETE_OLD_LIS("M1", "INIT:", "3", 'n', trace), 1);
        EXPECT_EQ(iCHECK_LAST_SAVESET("SForig07", trace), 0);
        EXPECT_EQ(iUPDATE_MIGRATION_FLAG("SFhome07", trace), 1);
    }
    EXPECT_NE(protocol().find("INIT Select from results  with unexpected result:"), std::string::npos);
    EXPECT_EQ(left().size(), 1u);
    sql("create trigger marked before update of saveset_exist on results begin select raise(abort,'no'); "
        "end");
    iDELETE_OLD_LIS("M1", "INIT:", "3", 'n', trace);
    EXPECT_EQ(savesets(), "SFcopy07,SFhome07")
        << "a migrated saveset without its mark would go with the others";
    EXPECT_EQ(value("select count(*) from result_lbls"), "2");
}

// The rule of masks, as plainly as it can be said.
bool fits(std::string_view mask, std::string_view name)
{
    if (mask.empty())
        return name.empty();
    if (mask[0] == '*')
        return fits(mask.substr(1), name) || (!name.empty() && fits(mask, name.substr(1)));
    return !name.empty() && (mask[0] == '?' || mask[0] == name[0]) && fits(mask.substr(1), name.substr(1));
}

TEST_F(Housekeeping, EverySearchOfACleanupGivesWhatOnlyItsMaskMatches)
{
    std::mt19937 random(4711);
    const auto text = [&](const char *letters, size_t length) {
        std::string made;
        while (made.size() < length)
            made += letters[random() % std::strlen(letters)];
        return made;
    };
    Lines names;
    for (int i = 0; i < 300; ++i)
        names.push_back(text("ab_", 3 + random() % 5) + (i % 3 ? ".c" : "x"));
    std::sort(names.begin(), names.end());
    names.erase(std::unique(names.begin(), names.end()), names.end());
    for (const std::string &name : names)
        make({"lis/" + name});
    FileSweep sweep(trace); // long enough that it comes to use its index
    for (int i = 0; i < 60; ++i) {
        const std::string mask = text("ab_*?", 2 + random() % 5) + text("ab", 1) + (i % 2 ? ".*" : "*");
        const auto matches = [&](const std::string &name) {
            return fits(mask, name) || (mask.ends_with(".*") && fits(mask.substr(0, mask.size() - 2), name));
        };
        const auto gone = std::erase_if(names, matches);
        EXPECT_EQ(sweep.remove(("gv_rw_lis:" + mask).c_str()), static_cast<int32_t>(gone)) << mask;
    }
    Lines expected;
    for (const std::string &name : names)
        expected.push_back("lis/" + name);
    EXPECT_FALSE(expected.empty());
    EXPECT_EQ(left(), expected);
}

TEST_F(Housekeeping, CompressedFilesComeBackAsTheyWere)
{
    const std::string text(50000, 'x');
    for (const std::string name : {"plain.lis", "with blank & 'quote'.lis", "-f.lis", "50%.lis"}) {
        const std::string file = site.path("lis/" + name), variable = "gv_rw_lis:" + name;
        ASSERT_TRUE(write_text(file, text)) << file;
        EXPECT_EQ(COMPRESS_FILE(variable.c_str(), trace), 0) << name;
        EXPECT_FALSE(fs::exists(file));
        ASSERT_TRUE(fs::exists(file + ".gz")) << name;
        EXPECT_EQ(i_UNCOMPRESS_FILE(file.c_str(), trace), 1);
        EXPECT_EQ(read_text(file), text);
        EXPECT_FALSE(fs::exists(file + ".gz"));
    }
    const std::string file = site.path("lis/plain.lis");
    ASSERT_TRUE(write_text(file + ".gz", "nothing that was compressed"));
    EXPECT_EQ(i_UNCOMPRESS_FILE(file.c_str(), trace), 1) << "the file is there: nothing is run";
    EXPECT_EQ(read_text(file), text);
    fs::remove(file);
    EXPECT_EQ(i_UNCOMPRESS_FILE(file.c_str(), trace), 0);
    EXPECT_TRUE(fs::exists(file + ".gz")) << "what cannot be read is not lost";
    fs::remove(file + ".gz");
    EXPECT_EQ(i_UNCOMPRESS_FILE(file.c_str(), trace), 1) << "there is nothing to do";
    EXPECT_EQ(COMPRESS_FILE(file.c_str(), trace), 0);
    EXPECT_FALSE(fs::exists(file + ".gz"));
}

} // namespace
