// A backup fetches its medium into the drive, or another one that may be written.
#include "tests/backup/volume_site.h"
#include "tests/support/child.h"

namespace {

// The result, the label afterwards, then the message.
std::string fetch_medium(const std::string &label, const std::string &drive, const TraceContext &trace)
{
    char text[TAMBA_LABEL_SIZE], msg[TAMBA_MEDIA_MSG_SIZE] = "old";
    std::snprintf(text, sizeof text, "%s", label.c_str());
    const int32_t result = i_GET_BACKUP_MEDIUM(text, drive.c_str(), "job", msg, trace);
    return std::to_string(result) + " " + text + " " + msg;
}

class Fetching : public VolumeSite {
protected:
    void SetUp() override
    {
        VolumeSite::SetUp();
        sql("insert into media (label, pool, kasstyp, eol, sperrkz, drive_num) values"
            "('DESK00002', 'DESK', 'LTO-TAPE', '2001-01-01', '+', null),"
            "('DESK00003', 'DESK', 'LTO-TAPE', '9999-12-31', '-', null),"
            "('DESK00004', 'DESK', 'LTO-TAPE', '9999-12-31', '+', 4)");
    }
    void allow(const char *what) const
    {
        sql(std::string("insert into defaults (key, value) values ('media_accept_") + what + "','y')");
    }
    std::string fetch(const std::string &label, const std::string &drive = "4") const
    {
        const std::string answer = fetch_medium(label, drive, trace);
        for (const char *name : {"get_backup_medium_", "getvol_", "tbs_eom_", "ctrl_init_"})
            EXPECT_FALSE(is_locked(name + drive)) << name;
        return answer;
    }
};

TEST_F(Fetching, BringsTheRequiredMediumOrAnotherWhereThatIsAllowed)
{
    allow("eol");
    // clang-format off
    const struct { const char *brought, *label, *init; size_t unloads; } cases[] = {
        {"DESK00001", "DESK00001", "", 0},  {"DESK00004", "DESK00004", "", 0}, // the second is prepared for this drive
        {"DESK00002", "DESK00002", "tb_init -d 4 -t DESK00002 -L backup", 0},  // its life is over
        {"DESK00003", "DESK00001", "", 1},  {"-", "DESK00001", "", 1}, // locked; not without the switch
    };
    // clang-format on
    for (const auto &c : cases) {
        sql("update hw_drives set label=null");
        insert(4, "");
        bring({c.brought, "DESK00001"});
        new_calls();
        EXPECT_EQ(fetch("DESK00001"), "1 " + std::string(c.label) + " ") << c.brought;
        EXPECT_EQ(medium(4), c.label);
        const Lines made = new_calls();
        EXPECT_EQ(count_of(made, "unload"), c.unloads) << c.brought;
        EXPECT_EQ(count_of(made, *c.init ? c.init : "tb_init"), *c.init ? 1u : 0u) << c.brought;
    }
    EXPECT_EQ(fetch("DAILY00011", "3,"), "1 DAILY00011 ") << "drive 3, by its robot";
}

TEST_F(Fetching, AMediumWithoutAKnownLabelIsInitialisedForThePool)
{
    allow("empty");
    for (const char *found : {"-", "FOREIGN001"}) {
        insert(4, found);
        const std::string answer = fetch("DESK00001");
        EXPECT_EQ(answer, "1 " + medium(4) + " ");
        EXPECT_NE(medium(4), "DESK00001");
        sql("update hw_drives set label=null");
    }
    EXPECT_EQ(called("tb_init -d 4 -m DESK -L backup"), 2u);
    EXPECT_EQ(called("tb_arch"), 0u) << "labelled once";
    insert(4, "-");
    script("tb_init", "fail", "no tape");
    EXPECT_EQ(fetch("DESK00001"), "0 DESK00001 Error during fetching the media: ? no tape");
}

// What has no number is a pool's name to those who prepare media: they would take, or label, another medium.
TEST_F(Fetching, AnotherMediumWithoutANumberIsNotTakenForItsPool)
{
    allow("eol");
    sql("insert into media (label, pool, kasstyp, eol, sperrkz) values ('DESKABCDE', 'DESK', 'LTO-TAPE', "
        "'2001-01-01', '+'),"
        "('DESKVWXYZ', 'DESK', 'LTO-TAPE', '2001-01-01', '+')");
    bring({"DESKVWXYZ"});
    EXPECT_EQ(fetch("DESKABCDE"), "0 DESKABCDE Error during fetching the media: DESKVWXYZ is no full label");
    EXPECT_EQ(medium(4), "DESKVWXYZ");
    EXPECT_EQ(called("tb_init"), 0u);
}

TEST_F(Fetching, FailsWithTheReasonOfTheRequest)
{
    gcInterrupt = 'y';
    EXPECT_EQ(fetch("DESK00001"), "0 DESK00001 W002-BASICS  Interrupted by user");
    EXPECT_TRUE(holds(board(), "media DESK00001 is required"));
    gcInterrupt = 'n';
    sql("update hw_loaders set ctrl=''");
    insert(3, "DAILY00012"); // no proof of the medium, although the request says 1
    EXPECT_EQ(fetch("DAILY00011", "3"),
              "0 DAILY00011 Error during fetching the media: Invalid loader control option");
    EXPECT_EQ(fetch("DESK00001", "99"),
              "0 DESK00001 Error during fetching the media: The drive 99 is not configured");
    set_ini("SETUP", "lang", "de");
    EXPECT_EQ(fetch("DESK00001", "99"),
              "0 DESK00001 Fehler beim Holen des Mediums: Das Laufwerk 99 ist nicht konfiguriert");
    std::filesystem::remove_all(site.path("work/sem"));
    ASSERT_TRUE(write_text(site.path("work/sem"), "no directory"));
    EXPECT_EQ(fetch_medium("DESK00001", "4", trace)[0], '0');
    EXPECT_EQ(called("tb_init") + called("unload") + called("tb_notify"), 0u);
}

TAMBA_CHILD(fetch_for_backup)
{
    return std::puts(fetch_medium("DESK00001", "4", TraceContext{}).c_str()) < 0;
}

// The catalogue goes away between the moment in which the label is read and the one in which it is looked up.
TEST_F(Fetching, AnUnreadableCatalogueInitialisesAndUnloadsNothing)
{
    expect_complaints = true;
    for (const char *what : {"empty", "spare", "eol"})
        allow(what);
    const std::string arrived = script_path(site, "tb_tbs_interface", "arrived");
    const std::pair<const char *, const char *> cases[] = {
        {"FOREIGN001", "media"}, {"DESK00002", "media"}, {"-", "defaults"}, {"DESK00002", "defaults"}};
    for (const auto &[found, table] : cases) {
        insert(4, found);
        script("tb_tbs_interface", "gate", "closed");
        Child child("fetch_for_backup");
        ASSERT_TRUE(until([&] { return std::filesystem::exists(arrived); }));
        sql(std::string("alter table ") + table + " rename to lost");
        std::filesystem::remove(arrived);
        EXPECT_EQ(child.wait(), 0);
        EXPECT_EQ(child.output(),
                  std::string("0 DESK00001 Error during fetching the media: no such table: ") + table + "\n");
        EXPECT_EQ(medium(4), found);
        sql(std::string("alter table lost rename to ") + table);
    }
    EXPECT_EQ(called("unload") + called("tb_init") + called("tb_arch"), 0u);
}

} // namespace
