#include "tests/backup/media_site.h"
#include "tests/support/child.h"
#include "tests/support/standing_clock.h"

#include <foundation/text.h>

#include <algorithm>
#include <map>
#include <random>
#include <set>

namespace {

struct Choice {
    int32_t result;
    std::string text;
    bool operator==(const Choice &) const = default;
};
std::ostream &operator<<(std::ostream &out, const Choice &choice)
{
    return out << choice.result << " " << choice.text;
}

Choice choose(const std::string &drive, const std::string &pool, const TraceContext &trace)
{
    char text[TAMBA_MEDIA_MSG_SIZE];
    const int32_t result = ARCH_GET_OLDEST(drive.c_str(), pool.c_str(), text, trace);
    return {result, text};
}

constexpr char kToday[] = "2026-06-15 00:00:00";

class OldestMedium : public MediaSite {
protected:
    void SetUp() override
    {
        MediaSite::SetUp();
        clock.set("2026-06-15 00:00:00");
    }
    // Three media of DAILY, which serves drive 3 of loader 2; their labels in the order of their dates.
    void arrange(const std::string &change = "") const
    {
        sql("delete from media; delete from loader_contents; insert into media "
            "(label,pool,eol,drive_num,lader) values ('DAILY00002','DAILY','2026-06-02 10:00:00',3,2),"
            "('DAILY00001','DAILY','2026-06-01 10:00:00',3,2),"
            "('DAILY00003','DAILY','2026-06-02 10:00:00',3,2);" +
            change);
    }
    StandingClock clock;
};

// Beside the rules that the random catalogues below follow: texts, and what their media never hold.
TEST_F(OldestMedium, IsTheFirstThatNothingProtects)
{
    const std::string restricted = "E008-MEDIA   All media of pool DAILY with EOL restriction";
    const std::string first = " where label='DAILY00001';";
    const std::string elsewhere = "update media set drive_num=1" + first +
                                  "insert into loader_contents (object, number, lbl) values ('drive', 7, "
                                  "'DAILY00001');";
    // clang-format off
    const struct { std::string change, text; const char *drive = "3", *pool = "DAILY"; } cases[] = {
        {"", "DAILY00001"}, {"update media set eol='" + std::string(kToday) + "'", restricted},
        {"update media set eol=''" + first, "DAILY00002"},
        {"update media set lader=null; update hw_drives set loader_num=0", "DAILY00001"},
        {"update media set sperrkz='-'", "E007-MEDIA   No media of pool DAILY available"},
        {elsewhere + "update loader_contents set object='slot'", "DAILY00001"},
        {elsewhere + "delete from media where drive_num=3", "E009-MEDIA   All EOL free media of pool DAILY are loaded in other drives"},
        {"update media_pools set eol='-1 day' where name='DAILY'; update media set eol='9999-12-31 00:00:00'", restricted},
        {"update hw_drives set loader_num='2 or 1=1' where drive_num=3", "GET_OLDEST: loader 2 or 1=1 of drive 3 is no number"},
        {"update hw_drives set loader_num=2 where drive_num=3; update media_pools set eol=14", "DAILY00001", " 3x"},
        {"", "GET_OLDEST: mediapool DAILY not usable with drive 0", "x"},
        {"", "GET_OLDEST: mediapool DAIL' or '1'='1 not usable with drive 3", "3", "DAIL' or '1'='1"},
        {"", "GET_OLDEST: mediapool DAILY/Y not usable with drive 3", "3", "DAILY/Y"},
        {"", "GET_OLDEST: mediapool A not usable with drive 3", "3", "A/B/XY"},
    };
    // clang-format on
    for (const auto &c : cases) {
        arrange(c.change);
        const bool label = c.text.find(' ') == std::string::npos;
        EXPECT_EQ(choose(c.drive, c.pool, trace), (Choice{label ? 1 : 0, c.text})) << c.change;
    }
    EXPECT_TRUE(holds(protocol(),
                      "]: All EOL free media of pool DAILY are loaded in other drives ( DAILY00001 -> 1)\n"));
    EXPECT_EQ(protocol().find("EOL restriction"), std::string::npos) << "for the caller only";
}

// More media than fit into the first look and into the list of the message.
TEST_F(OldestMedium, IsFoundBehindManyThatAreLoadedElsewhere)
{
    arrange(
        "delete from media; with recursive n(i) as (select 1 union all select i + 1 from n where i < 200) "
        "insert into media (label,pool,eol,drive_num,lader) select printf('DAILY%05d', i), 'DAILY', "
        "'2026-06-01 10:00:00', 14, 2 from n; insert into loader_contents (object, number, lbl) select "
        "'drive', 9, label from media where label != 'DAILY00200'");
    EXPECT_EQ(choose("3", "DAILY", trace), (Choice{1, "DAILY00200"}));
    sql("delete from media where label='DAILY00200'");
    EXPECT_EQ(choose("3", "DAILY", trace).result, 0);
    const std::string line = protocol().substr(protocol().rfind("( ") + 2);
    EXPECT_EQ(line.substr(0, 34), "DAILY00001 -> 14 DAILY00002 -> 14 ");
    EXPECT_EQ(line.size(), 15u * 17 - 1 + 2)
        << "fifteen media, whole, the bracket and the line end: " << line;
}

TEST_F(OldestMedium, IsNotChosenFromACatalogueThatCannotBeRead)
{
    expect_complaints = true;
    arrange("update media set drive_num=1");
    const std::pair<std::string, const char *> cases[] = {
        {"media_pools", "? GET_OLDEST :"}, {"media", "GET_OLDEST:"}, {"loader_contents", "? GET_OLDEST :"}};
    for (const auto &[table, who] : cases) {
        sql("alter table " + table + " rename to hidden");
        EXPECT_EQ(choose("3", "DAILY/X", trace), (Choice{0, who + (" no such table: " + table)}));
        sql("alter table hidden rename to " + table);
    }
    sql("alter table hw_drives rename column loader_num to hidden");
    EXPECT_EQ(choose("3", "DAILY/X", trace), (Choice{0, "GET_OLDEST: no such column: loader_num"}));
    EXPECT_TRUE(holds(protocol(), "]: GET_OLDEST: select loader_num from hw_drives where drive_num='3' with "
                                  "unexpected result: no such column: loader_num."));
    sql("alter table hw_drives rename column hidden to loader_num");
    EXPECT_EQ(value("select count(*) from media where init_flag='y'"), "0");

    sql("create trigger worn before update on media begin select raise(abort, 'disk is worn'); end");
    EXPECT_EQ(choose("3", "DAILY/X", trace), (Choice{1, "DAILY00001"})) << "chosen, though not reserved";
    EXPECT_TRUE(holds(protocol(), "update media set init_flag with unexpected result: disk is worn."));

    CatalogueLock lock(site);
    EXPECT_EQ(choose("3", "DAILY", trace), (Choice{0, "? GET_OLDEST : database is locked"}));
}

TEST_F(OldestMedium, IsNotChosenWithoutTheSemaphore)
{
    arrange();
    break_semaphores();
    const Choice choice = choose("3", "DAILY", trace);
    EXPECT_EQ(choice.result, 0);
    EXPECT_NE(choice.text, "");
    EXPECT_EQ(i_CHECK_CAPACITIES("LTO", "LTO-TAPE", trace), -1);
}

TAMBA_CHILD(reserve_oldest)
{
    const Choice choice = choose("3", "DAILY/X", TraceContext{});
    std::printf("%s", choice.text.c_str());
    return choice.result == 1 ? 0 : 1;
}

TEST_F(OldestMedium, IsReservedOnceWhenSeveralProcessesAskTogether)
{
    arrange("update media set eol='2020-01-01 00:00:00'"); // children have their own clock
    Child a("reserve_oldest"), b("reserve_oldest"), c("reserve_oldest");
    std::set<std::string> labels;
    for (Child *child : {&a, &b, &c}) {
        EXPECT_EQ(child->wait(), 0) << child->output();
        labels.insert(child->output());
    }
    EXPECT_EQ(labels, (std::set<std::string>{"DAILY00001", "DAILY00002", "DAILY00003"}));
    EXPECT_EQ(choose("3", "DAILY", trace), (Choice{0, "E007-MEDIA   No media of pool DAILY available"}));
}

TEST_F(OldestMedium, IsFoundThroughIndexesInTheOrderOfTheAnswer)
{
    arrange(
        "update media set drive_num=14; insert into loader_contents (object, number, lbl) select 'drive', 9, "
        "label from media");
    EXPECT_EQ(choose("3", "DAILY/X", trace).result, 0);
    sql("update hw_drives set loader_num=null; delete from loader_contents");
    EXPECT_EQ(choose("3", "DAILY/X", trace).result, 1);
    EXPECT_EQ(i_CHECK_CAPACITIES("LTO", "LTO-TAPE", trace), 800000);
    std::set<std::string> uses;
    for (const Plan &plan : plans())
        if (plan.plan.find("COVERING INDEX media_oldest") != plan.plan.npos)
            uses.insert(plan.plan);
    EXPECT_EQ(uses.size(), 2u) << "with and without a loader";
}

// ---- random catalogues -------------------------------------------------------------------------------------------

// The rules once more, in the words of an operator.  0 stands for an SQL NULL, except where it is a value.
struct Medium {
    int id;
    std::string label, pool, eol; // eol "NULL"
    char sperrkz, init_flag;
    int drive, loader;
};
struct World {
    std::vector<Medium> media;
    struct Drive {
        int number, group, loader, position;
    };
    std::vector<Drive> drives;
    struct Pool {
        std::string name;
        int group, retention;
    };
    std::vector<Pool> pools;
    std::vector<std::pair<int, std::string>> in_drives; // position, label
};

// The label, or the severity and number of the message.
std::string rule(const World &world, const World::Drive &drive, const World::Pool &pool)
{
    if (drive.group != pool.group)
        return "GET_";
    std::vector<Medium> allowed;
    for (const Medium &m : world.media)
        if (m.pool == pool.name && m.sperrkz == '+' && m.init_flag == 'n' &&
            (drive.loader == 0 || m.loader == drive.loader))
            allowed.push_back(m);
    if (allowed.empty())
        return "E007";
    std::sort(allowed.begin(), allowed.end(), [](const Medium &a, const Medium &b) {
        const std::string ea = a.eol == "NULL" ? "" : a.eol, eb = b.eol == "NULL" ? "" : b.eol;
        return ea != eb ? ea < eb : a.id < b.id;
    });
    bool some_loaded = false;
    for (const Medium &m : allowed) {
        if (pool.retention != -1 && m.eol != "NULL") {
            if (m.eol.size() != 19)
                continue; // nobody can tell
            if (m.eol >= kToday)
                return "E008";
        }
        bool loaded = false;
        if (m.drive != 0 && m.drive != drive.number && drive.position != 0)
            for (const auto &[position, label] : world.in_drives)
                loaded |= label == m.label && position != drive.position;
        if (!loaded)
            return m.label;
        some_loaded = true;
    }
    return some_loaded ? "E009" : "E008";
}

template <class Pick> World random_world(Pick pick)
{
    World world;
    for (int n = 1; n <= 4; ++n)
        world.drives.push_back({n, 1 + pick(2), pick(3), pick(4)});
    for (int n = 0; n < 8; ++n)
        world.pools.push_back({"P" + std::to_string(n), 1 + pick(2), pick(5) == 0 ? -1 : pick(30)});
    // clang-format off
    const char *const dates[] = {
        "2026-06-14 23:59:59", "2026-06-15 00:00:00", "2026-06-15 23:59:59", "2026-06-16 08:00:00", "2025-01-01 08:00:00",
        "2026-05-30 08:00:00", "2026-06-01 08:00:00", "9999-12-31 00:00:00", "2026-6-1", "soon", "NULL"};
    // clang-format on
    for (int id = 1; id <= 60; ++id) {
        const std::string pool = "P" + std::to_string(pick(8));
        // Most lie in the past: a restriction ends the search.
        const int date = pick(3) == 0 ? pick(11) : 4 + pick(3);
        world.media.push_back({id, pool + std::to_string(10000 + id), pool, dates[date], "+++-"[pick(4)],
                               "nnnny"[pick(5)], pick(5), pick(3)});
        if (pick(3) == 0)
            world.in_drives.push_back({1 + pick(3), world.media.back().label});
    }
    return world;
}

std::string statements(const World &world)
{
    std::string sql = "begin;";
    for (const char *table : {"media", "loader_contents", "media_pools", "hw_drives"})
        sql += format_string("delete from %s;", table);
    for (const auto &d : world.drives)
        sql += format_string("insert into hw_drives (drive_num,grp_id,loader_num,loader_drive) values "
                             "(%d,%d,nullif(%d,0),nullif(%d,0));",
                             d.number, d.group, d.loader, d.position);
    for (const auto &p : world.pools)
        sql += format_string("insert into media_pools (name,eol,drive_grp) values ('%s',%d,%d);",
                             p.name.c_str(), p.retention, p.group);
    for (const auto &m : world.media)
        sql += format_string("insert into media (id,label,pool,eol,sperrkz,init_flag,drive_num,lader) values "
                             "(%d,'%s','%s',nullif('%s','NULL'),'%c','%c',nullif(%d,0),nullif(%d,0));",
                             m.id, m.label.c_str(), m.pool.c_str(), m.eol.c_str(), m.sperrkz, m.init_flag,
                             m.drive, m.loader);
    for (const auto &[position, label] : world.in_drives)
        sql += format_string("insert into loader_contents (object,number,lbl) values ('drive',%d,'%s');",
                             position, label.c_str());
    return sql + "commit;";
}

TEST_F(OldestMedium, FollowsTheRulesInEveryCatalogue)
{
    std::mt19937 random(4711);
    const auto pick = [&random](int limit) {
        return static_cast<int>(random() % static_cast<unsigned>(limit));
    };
    std::map<std::string, int> seen;
    for (int round = 0; round < 150; ++round) {
        const World world = random_world(pick);
        sql(statements(world));
        for (const auto &pool : world.pools)
            for (const auto &drive : {world.drives[0], world.drives[static_cast<size_t>(1 + pick(3))]}) {
                const Choice choice = choose(std::to_string(drive.number), pool.name, TraceContext{});
                const std::string expected = rule(world, drive, pool);
                ASSERT_EQ(choice.result == 1 ? choice.text : choice.text.substr(0, 4), expected)
                    << "round " << round << " drive " << drive.number << " pool " << pool.name << "\n"
                    << statements(world);
                ++seen[expected.substr(0, 1) == "P" ? "chosen" : expected];
            }
    }
    EXPECT_EQ(seen.size(), 5u);
    for (const auto &[answer, count] : seen)
        EXPECT_GT(count, 20) << answer;
}

} // namespace
