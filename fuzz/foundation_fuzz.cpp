// Readers of configuration and of times.
#include <fuzz/target.h>

#include <foundation/lines.h>
#include <tamba/tamba.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <ctime>

namespace {

struct Words {
    std::vector<std::string> text;

    // At most count words, separated by "|".
    Words(std::string_view line, size_t count)
    {
        while (text.size() < count) {
            const size_t end = std::min(line.find('|'), line.size());
            text.emplace_back(line.substr(0, end));
            line.remove_prefix(std::min(end + 1, line.size()));
        }
    }
    const char *operator[](size_t i) const { return text[i].c_str(); }
};

} // namespace

// First line "section|key|size", then the file.
FUZZ_TARGET(ini)
{
    const auto [head, text] = halves(input);
    const Words words(head, 3);
    const std::string path = work_folder() + "fuzz.ini";
    write_file(path, text);
    Buffer value(static_cast<size_t>(std::clamp(std::atoi(words[2]), 1, 600))), err(64);
    const int32_t found = i_GetPrivateProfileString(path.c_str(), words[0], words[1], value.data(),
                                                    static_cast<int32_t>(value.size()), err.data(), 64);
    promise(found == 0 || value.terminated(), "a value is terminated");
    promise(found == 1 || err.terminated(), "a reason is terminated");
    LineReader reader(text, value.size());
    size_t total = 0;
    for (std::string_view line; reader.next(&line); total += line.size())
        promise(line.size() <= value.size(), "a line keeps its limit");
    promise(total <= text.size(), "lines hold nothing that was not in the text");
}

// First line a format, then a text.
FUZZ_TARGET(times)
{
    const auto [format, text] = halves(input);
    for (char *(*const convert)(char *) : {cm_time_iso2stamp, cm_time_stamp2iso, time_get}) {
        Buffer stamp(text, std::max<size_t>(text.size() + 1, TAMBA_TIME_SIZE));
        convert(stamp.data());
        promise(stamp.terminated(), "a stamp is terminated");
    }
    std::tm tm{};
    const std::string copy(text.c_str());
    const char *const end = cm_strptime(copy.c_str(), format.c_str(), &tm);
    if (!end)
        return;
    promise(end >= copy.c_str() && end <= copy.c_str() + copy.size(), "parsing ends inside the text");
    Buffer out(128);
    promise(cm_strftime(out.data(), out.size(), format.c_str(), &tm) < out.size(),
            "formatting keeps its limit");
}

// Two times, the second also as a date of its own.
FUZZ_TARGET(schedule)
{
    const auto [start, stop] = halves(input);
    const TraceContext trace{};
    const int32_t later = time_compare(start.c_str(), stop.c_str(), trace);
    promise(later >= 0 && later <= 2, "a comparison has three results");
    promise(time_compare(start.c_str(), start.c_str(), trace) == 0 || start.find('.') == 2,
            "a time is equal to itself");
    Buffer holding(TAMBA_DATE_SIZE), date(stop, TAMBA_DATE_SIZE);
    timing_tamba(start.c_str(), stop.c_str(), holding.data(), trace);
    promise(timing_add_day(date.data()) == 1 && date.terminated(), "a date is terminated");
    promise(timing_minutes(start.c_str()) <= 99 && timing_hours(start.c_str()) <= 99 * 60,
            "parts have two digits");
    Buffer typed(stop, std::max<size_t>(stop.size() + 1, TAMBA_DATE_INPUT_SIZE));
    promise(i_CONVERT_DATE_INPUT(typed.data()) == 1 && typed.terminated(), "a typed date is terminated");
}
