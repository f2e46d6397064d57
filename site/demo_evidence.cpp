#include <site/demo_evidence.h>

#include <algorithm>

namespace {

constexpr const char *const kColumns[] = {"label",      "eol",     "sperrkz",   "init_flag", "eom_state",
                                          "close_tape", "sichtag", "folgekass", "drive_num", "lader"};
constexpr size_t kColumnCount = sizeof kColumns / sizeof kColumns[0];

std::vector<SiteRow> media_of(const Site &site)
{
    std::string columns;
    for (const char *column : kColumns)
        columns += (columns.empty() ? "" : ",") + std::string(column);
    return site_rows(site, "select " + columns + " from media order by label");
}

Lines behind(const Lines &before, const Lines &after)
{
    return {after.begin() + static_cast<std::ptrdiff_t>(std::min(before.size(), after.size())), after.end()};
}

Lines only_in(const Lines &after, const Lines &before)
{
    Lines lines;
    for (const std::string &line : after)
        if (std::find(before.begin(), before.end(), line) == before.end())
            lines.push_back(line);
    return lines;
}

// Time and "#" stand before the indented text; the line that says that tracing began is no part of a call.
Lines trace_texts(const Lines &lines)
{
    Lines texts;
    for (const std::string &line : lines) {
        const size_t sign = line.find('#');
        if (sign == std::string::npos || line.find("Logging enabled") != std::string::npos)
            continue;
        texts.push_back(line.substr(std::min(sign + 2, line.size())));
    }
    return texts;
}

std::string described(const SiteRow &row)
{
    return row[0] + ": new, eol " + row[1] + ", drive " + row[8] + ", loader " + row[9];
}

const SiteRow *row_of(const std::vector<SiteRow> &rows, const std::string &key)
{
    const auto row = std::find_if(rows.begin(), rows.end(), [&](const SiteRow &r) { return r[0] == key; });
    return row == rows.end() ? nullptr : &*row;
}

Lines media_changes(const std::vector<SiteRow> &before, const std::vector<SiteRow> &after)
{
    Lines lines;
    for (const SiteRow &row : after) {
        const SiteRow *const old = row_of(before, row[0]);
        if (!old)
            lines.push_back(described(row));
        for (size_t i = 1; old && i < kColumnCount; ++i)
            if ((*old)[i] != row[i])
                lines.push_back(row[0] + ": " + kColumns[i] + " " + (*old)[i] + " -> " + row[i]);
    }
    for (const SiteRow &row : before)
        if (!row_of(after, row[0]))
            lines.push_back(row[0] + ": gone");
    return lines;
}

// Rows that consist of a name and a text.
Lines named_changes(const std::vector<SiteRow> &before, const std::vector<SiteRow> &after)
{
    Lines lines;
    for (const SiteRow &row : after) {
        const SiteRow *const old = row_of(before, row[0]);
        if (!old || (*old)[1] != row[1])
            lines.push_back(row[0] + ": " + (old ? (*old)[1] + " -> " : "new, ") + row[1]);
    }
    for (const SiteRow &row : before)
        if (!row_of(after, row[0]))
            lines.push_back(row[0] + ": gone");
    return lines;
}

Lines catalogue_changes(const Evidence &before, const Evidence &after)
{
    Lines lines = media_changes(before.media, after.media);
    for (const SiteRow &row : after.drives)
        if (const SiteRow *const old = row_of(before.drives, row[0]); old && (*old)[1] != row[1])
            lines.push_back("drive " + row[0] + ": label " + (*old)[1] + " -> " + row[1]);
    const Lines named = named_changes(before.results, after.results);
    lines.insert(lines.end(), named.begin(), named.end());
    return lines;
}

} // namespace

Evidence look_at(const Site &site, const std::string &trace_file)
{
    return {calls(site),
            lines_of(read_text(site.path("log/tamba.prot"))),
            lines_of(read_text(site.path("info/info.dat"))),
            lines_of(read_text(site.path("lgc/" + trace_file))),
            media_of(site),
            site_rows(site, "select drive_num,label from hw_drives order by drive_num"),
            site_rows(site,
                      "select 'saveset '||saveset, 'state '||ifnull(state,'none')||"
                      "ifnull(', saveset_exist '||saveset_exist,'') from results union all "
                      "select 'event '||id, 'state '||state from cal_sheets union all "
                      "select 'saveset '||saveset||' on '||label, 'there' from result_lbls order by 1")};
}

Difference difference(const Evidence &before, const Evidence &after)
{
    return {behind(before.calls, after.calls), behind(before.protocol, after.protocol),
            only_in(after.board, before.board), trace_texts(behind(before.trace, after.trace)),
            catalogue_changes(before, after)};
}

bool any_contains(const Lines &lines, const std::string &text)
{
    return std::any_of(lines.begin(), lines.end(),
                       [&](const std::string &line) { return line.find(text) != std::string::npos; });
}
