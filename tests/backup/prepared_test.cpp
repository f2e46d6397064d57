#include "tests/backup/media_site.h"

#include <cstring>

namespace {

TEST(SplitLabel, TakesExactlyFiveDigitsAtTheEndForANumber)
{
    // clang-format off
    const struct { const char *text, *pool; int32_t number, is_label; } cases[] = {
        {"POOL00012", "POOL", 12, 1},   {"POOL0001A", "POOL0001A", 0, 0}, {"AB", "AB", 0, 0},
        {"123456", "1", 23456, 1},      {"12345", "12345", 0, 0},         {"P000099", "P0", 99, 1},
        {"P\26300012", "P\263", 12, 1}, {"P0001\263", "P0001\263", 0, 0}, {"", "", 0, 0},
    };
    // clang-format on
    for (const auto &c : cases) {
        char text[TAMBA_LABEL_SIZE];
        std::strcpy(text, c.text);
        int32_t number = -1;
        EXPECT_EQ(i_SPLIT_LABEL(text, text, &number), c.is_label) << c.text;
        EXPECT_STREQ(text, c.pool);
        EXPECT_EQ(number, c.number);
    }
    EXPECT_EQ(i_SPLIT_LABEL(nullptr, nullptr, nullptr), 0);
    char pool[TAMBA_LABEL_SIZE];
    EXPECT_EQ(i_SPLIT_LABEL(std::string(5000, '7').c_str(), pool, nullptr), 1);
    EXPECT_EQ(std::strlen(pool), sizeof pool - 1);
}

using PreparedMedia = MediaSite;

TEST_F(PreparedMedia, AreChosenByStateDriveAndAge)
{
    const char *const arrange = "delete from media where pool='DESK'; insert into media "
                                "(label,pool,eol,sichtag,folgekass,drive_num) values"
                                "('DESK00001','DESK','2999-01-01 00:00:00','2020-01-01 10:00:00',9,4),"
                                "('DESK00002','DESK','2999-01-01 00:00:00','2020-01-02 10:00:00',1,4);"
                                "update hw_drives set name='desk' where drive_num=4;";
    // clang-format off
    // change: to the pool DESK, media DESK00001 (older) and DESK00002 in drive 4; no label: none found
    const struct { const char *change, *drive, *media_info, *drive_after, *label; } cases[] = {
        {"", "4", "DESK", "4", "DESK00002"},
        {"update media set sichtag='2020-01-02 10:00:00'", "4", "DESK", "4", "DESK00001"}, // higher in the chain
        {"update media set sichtag=null where label='DESK00002'", "4", "DESK", "4", "DESK00001"},
        {"update media set eom_state='y' where label='DESK00002'", "4", "DESK", "4", "DESK00001"},
        {"update media set sperrkz='-' where label='DESK00002'", "4", "DESK", "4", "DESK00001"},
        {"update media set init_flag='y' where label='DESK00002'", "4", "DESK", "4", "DESK00001"},
        {"update media set close_tape='y' where label='DESK00002'", "4", "DESK", "4", "DESK00001"},
        {"update media set close_tape='n' where label='DESK00002'", "4", "DESK", "4", "DESK00002"},
        {"update media set eol='2020-06-01 00:00:00' where label='DESK00002'", "4", "DESK", "4", "DESK00001"},
        {"", "4", "DESK00001", "4", "DESK00001"},
        {"", "14", "DESK", "14", "DESK00002"}, // the same device, seen from another host
        {"", "1,4,", "DESK", "4", "DESK00002"}, // one of several
        {"", "", "DESK", "4", "DESK00002"}, // any
        {"update media set drive_num=null", "", "DESK", "", "DESK00002"}, {"", "3", "DESK", "3", nullptr},
        {"", "1,2", "DESK", "1,2", nullptr}, {"", "4)or(1=1", "DESK", "4)or(1=1", nullptr},
        {"", "4", "DESK' or '1'='1", "4", nullptr},
        {"update hw_drives set name=null where drive_num=4", "4", "DESK", "4", nullptr},
    };
    // clang-format on
    for (const auto &c : cases) {
        sql(std::string(arrange) + c.change);
        char drive[TAMBA_DRIVE_SIZE], info[TAMBA_LABEL_SIZE], msg[TAMBA_MEDIA_MSG_SIZE];
        std::strcpy(drive, c.drive);
        std::strcpy(info, c.media_info);
        const int32_t is_label = i_SPLIT_LABEL(info, nullptr, nullptr);
        EXPECT_EQ(GET_PREPARED_MEDIA(drive, info, is_label, msg, trace), c.label ? 1 : 0)
            << c.change << c.drive;
        EXPECT_STREQ(info, c.label ? c.label : c.media_info) << c.change << c.drive;
        EXPECT_STREQ(drive, c.drive_after) << c.change;
        EXPECT_EQ(std::string(msg).substr(0, 12), c.label ? "" : "W001-TBC_COM");
    }
}

// A hundred thousand media of a pool must not be looked through: the library's own statements, taken from its
// trace, are shown to SQLite's planner.
TEST_F(PreparedMedia, AreFoundThroughIndexesInTheOrderOfTheAnswer)
{
    const char *const questions[][2] = {{"3", "DAILY"}, {"3", "DAILY00011"}, {"3", ""}, {"", "MONTHLY"}};
    for (const auto &question : questions)
        EXPECT_EQ(ask(question[0], question[1]).result, 1);
    int searches = 0;
    for (const Plan &plan : plans())
        searches +=
            plan.plan.find("SEARCH media USING COVERING INDEX media_prepared (pool=?)") != plan.plan.npos;
    EXPECT_EQ(searches, 3) << "every choice out of a pool";
}

TEST_F(PreparedMedia, AreAvailableUnlessTheirStateSaysOtherwise)
{
    // clang-format off
    const struct { const char *change, *drive, *label, *msg; } cases[] = {
        {"", "3", "DAILY00012", "label DAILY00012 is available"},
        {"update media set lader=1", "3", "DAILY00012", "label DAILY00012 is not available in loader 2"},
        {"update media set lader=null", "3", "DAILY00012", "label DAILY00012 is not available in loader 2"},
        {"update hw_drives set loader_num=0", "3", "DAILY00012", "label DAILY00012 is available"},
        {"update hw_drives set loader_num=null", "3", "DAILY00012", "label DAILY00012 is available"},
        {"update media set eom_state='y'", "3", "DAILY00012", "label DAILY00012 is in eom state"},
        {"update media set sperrkz='-'", "3", "DAILY00012", "label DAILY00012 is write protected via sperrkz"},
        {"update media set init_flag='y'", "3", "DAILY00012", "init for label DAILY00012 is active"},
        {"update media set close_tape='y'", "3", "DAILY00012", "label DAILY00012 is closed"}, // all four hold
        {"", "99", "DAILY00012", "label DAILY00012 is not available"},
        {"", "3", "O'NEIL00001", "label O'NEIL00001 is not available"},
    };
    // clang-format on
    for (const auto &c : cases) {
        sql(c.change);
        char msg[TAMBA_MEDIA_MSG_SIZE];
        const int32_t expected = std::strstr(c.msg, "is available") ? 1 : 0;
        EXPECT_EQ(CHECK_AVAILABILITY_OF_MEDIUM(c.drive, c.label, "DAILY", "job", msg, trace), expected)
            << c.msg;
        EXPECT_STREQ(msg, c.msg);
    }
}

TEST_F(PreparedMedia, PoolsListTheirDrivesWhole)
{
    char drives[TAMBA_DRIVE_LIST_SIZE];
    EXPECT_EQ(i_GET_DRIVES_OF_POOL("MONTHLY", drives, trace), 2);
    EXPECT_STREQ(drives, "1,2,");
    std::string many;
    for (int i = 10000; i < 10100; ++i)
        many += "insert into hw_drives (drive_num, name, grp_id) values (" + std::to_string(i) + ",'x',5);";
    sql(many);
    EXPECT_EQ(i_GET_DRIVES_OF_POOL("VAULT", drives, trace), 100);
    EXPECT_EQ(std::strlen(drives), 252u) << "42 numbers of five digits and a comma, nothing cut";
    EXPECT_EQ(i_GET_DRIVES_OF_POOL("NOWHERE", drives, trace), 0);
    EXPECT_STREQ(drives, "");
}

TEST_F(PreparedMedia, DriveGroupsAreNamedByPoolOrDrive)
{
    const char *const cases[][3] = {
        {"MONTHLY", "3", "LIBRARY"}, {"", "3", "NIGHTLY"}, {"", "99", ""}, {"O'NEIL", "3", ""}, {"", "", ""}};
    for (const auto &c : cases) {
        char group[TAMBA_GROUP_SIZE] = "old";
        EXPECT_EQ(i_GET_DRIVE_GROUP(c[0], c[1], group, trace), *c[2] ? 1 : 0) << c[0];
        EXPECT_STREQ(group, c[2]);
    }
}

} // namespace
