// The ini file: one key by the system's own syntax, the whole file by iniparser, and where the file is.
#include <foundation/ini.h>

#include <foundation/lines.h>
#include <foundation/registry_value.h>
#include <platform/clock.h>
#include <platform/files.h>
#include <platform/process.h>
#include <platform/snapshot.h>
#include <tamba/config.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <mutex>

extern "C" {
#include <iniparser.h>
}

namespace {

constexpr size_t kLineLimit = 1023;
constexpr size_t kNameSize = 64;   // section and "key=" are compared by their first 63 characters
constexpr int kReferenceDepth = 8; // a=%(a) would never end

constexpr char kLongCompanyKey[] = "Software\\Korvel\\tamba";
constexpr char kShortCompanyKey[] = "Software\\KORVEL\\tamba";

std::string_view without_trailing_blanks(std::string_view text)
{
    while (!text.empty() && text.back() == ' ')
        text.remove_suffix(1);
    return text;
}

// What a header line has to begin with.  The closing bracket does not count: "[Pathes2]" answers to
// "[Pathes]".
std::string_view section_prefix(const FixedText<kNameSize> &section)
{
    std::string_view prefix = section.view();
    if (prefix.size() > 1 && prefix.back() == ']')
        prefix.remove_suffix(1);
    return prefix;
}

using Value = FixedText<kLineLimit + 1>;
using Error = FixedText<1280>;

// Finds the raw value of the first matching line; only the first matching section is searched.
bool find_value(std::string_view text, const char *section, const char *key, std::string_view *value,
                Error *error)
{
    const FixedText<kNameSize> wanted_section(text_or_empty(section));
    FixedText<kNameSize> wanted_key(text_or_empty(key));
    wanted_key.append("="); // a key of 63 and more characters loses its "=" and matches as a prefix
    bool inside = wanted_section.empty();
    LineReader lines(text, kLineLimit);
    std::string_view line;
    while (lines.next(&line)) {
        if (line.empty() || line.front() == '#')
            continue;
        if (!inside) {
            inside = begins_ignoring_case(line, section_prefix(wanted_section));
            continue;
        }
        if (line.front() == '[') {
            error->format("i_GetPrivateProfileString: KEY NOT FOUND %s%s", text_or_empty(section), key);
            return false;
        }
        if (begins_ignoring_case(line, wanted_key.view())) {
            const size_t equals = line.find('=');
            *value = without_trailing_blanks(equals == std::string_view::npos ? "" : line.substr(equals + 1));
            return true;
        }
    }
    if (inside)
        error->format("i_GetPrivateProfileString: KEY NOT FOUND: %s", key);
    else
        error->format("i_GetPrivateProfileString: SECTION NOT FOUND: %s.", text_or_empty(section));
    return false;
}

enum class Lookup { found, missing, too_deep };

Lookup look_up(std::string_view text, const char *section, const char *key, int depth, Value *value,
               Error *error);

// Replaces the first "%(name)" of value: the same section first, then the defaults.
Lookup resolve_reference(std::string_view text, const char *section, int depth, Value *value, Error *error)
{
    const std::string_view whole = value->view();
    const size_t open = whole.find("%(");
    const size_t close = open == std::string_view::npos ? open : whole.find(')', open);
    if (close == std::string_view::npos)
        return Lookup::found;
    if (depth >= kReferenceDepth)
        return Lookup::too_deep;
    const Value name(whole.substr(open + 2, close - open - 2));
    Value inner;
    Lookup result = look_up(text, section, name.c_str(), depth + 1, &inner, error);
    if (result == Lookup::missing)
        result = look_up(text, "[DEFAULT]", name.c_str(), depth + 1, &inner, error);
    if (result != Lookup::found)
        return result;
    Value replaced(whole.substr(0, open));
    replaced.append(inner.view());
    replaced.append(whole.substr(close + 1));
    *value = replaced;
    return Lookup::found;
}

Lookup look_up(std::string_view text, const char *section, const char *key, int depth, Value *value,
               Error *error)
{
    std::string_view raw;
    if (!find_value(text, section, key, &raw, error))
        return Lookup::missing;
    value->assign(raw);
    const Lookup resolved = resolve_reference(text, section, depth, value, error);
    if (resolved == Lookup::found && value->empty()) {
        error->assign("i_GetPrivateProfileString: KEY VALUE NOT FOUND.");
        return Lookup::missing;
    }
    return resolved;
}

// What the dictionary library finds wrong with the file that this thread loads.
thread_local Error *t_finding = nullptr;

// Its errors; what other threads of the program ask of the library meanwhile stays on standard error.
int take_finding(const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    if (!t_finding)
        std::vfprintf(stderr, format, arguments);
    else if (t_finding->empty()) // the first is the reason
        format_text_v(t_finding->data(), t_finding->capacity(), format, arguments);
    va_end(arguments);
    return 0;
}

dictionary *load_dictionary(const char *path, Error *finding)
{
    static std::mutex mutex; // the library has one receiver for the process
    const std::lock_guard held(mutex);
    t_finding = finding;
    iniparser_set_error_callback(take_finding);
    dictionary *const entries = iniparser_load(path);
    iniparser_set_error_callback(nullptr);
    t_finding = nullptr;
    std::replace(finding->data(), finding->data() + finding->length(), '\n', ' ');
    finding->assign(without_trailing_blanks(finding->view()));
    return entries;
}

size_t size_of(int32_t size)
{
    return size > 0 ? static_cast<size_t>(size) : 0;
}

} // namespace

IniFile IniFile::at(const char *path)
{
    IniFile file;
    file.path_.assign(text_or_empty(path));
    if (!file.path_.empty())
        file.text_ = pl_snapshot(path);
    return file;
}

IniFile IniFile::of_system(const char *value_name, char *err, size_t err_size)
{
    char path[1024];
    if (!find_ini_path(text_or_empty(value_name)[0] ? value_name : "TB_INI", path, sizeof path, err,
                       err_size))
        return {};
    IniFile file = at(path);
    if (!file.loaded())
        file.read("", "", nullptr, 0, err, err_size); // says why
    return file;
}

namespace {

struct Recent {
    std::mutex mutex;
    IniFile file;
    std::string registry_key; // the place it was found from depends on the environment
    uint64_t read_at = 0;
};

Recent &recent()
{
    static Recent *const instance = new Recent; // never destroyed: semaphores are released until the end
    return *instance;
}

} // namespace

// A change of the file within the time that one semaphore operation takes could just as well have come after it.
IniFile IniFile::of_system_recent()
{
    constexpr uint64_t kTrustedMs = 5;
    const std::string_view registry_key = text_or_empty(pl_getenv("TAMBA_INI"));
    const uint64_t now = pl_tick_ms();
    Recent &last = recent();
    const std::lock_guard lock(last.mutex);
    if (!last.file.loaded() || now - last.read_at >= kTrustedMs || last.registry_key != registry_key) {
        last.file = of_system(nullptr, nullptr, 0);
        last.registry_key = registry_key;
        last.read_at = now;
    }
    return last.file;
}

void IniFile::forget_recent()
{
    const std::lock_guard lock(recent().mutex);
    recent().file = {};
}

bool IniFile::read(const char *section, const char *key, char *value, size_t value_size, char *err,
                   size_t err_size) const
{
    Value found;
    Error error;
    Lookup result = Lookup::missing;
    if (text_)
        result = look_up(*text_, section, text_or_empty(key), 0, &found, &error);
    else
        error.format("i_GetPrivateProfileString: FILE NOT FOUND OR ACCESS PROBLEM%s%s.",
                     path_.empty() ? "" : ": ", path_.c_str());
    if (result == Lookup::too_deep)
        error.format("i_GetPrivateProfileString: KEY NOT FOUND: %s", text_or_empty(key));
    if (result == Lookup::found)
        copy_text(value, value_size, found.view());
    else
        copy_text(err, err_size, error.view());
    return result == Lookup::found;
}

bool find_ini_path(const char *value_name, char *path, size_t path_size, char *err, size_t err_size)
{
    std::array<const char *, 3> candidates{kLongCompanyKey, kShortCompanyKey, pl_getenv("TAMBA_INI")};
    const size_t highest = candidates[2] ? 2 : 1;
    for (size_t slot = highest + 1; slot-- > 0;)
        if (read_registry_value(candidates[slot], value_name, path, path_size, nullptr, 0))
            return true;
    copy_text(err, err_size,
              format_string("i_GET_ROOT_FOR_INI: NO TAMBA REGISTRY KEY FOUND: HKEY_LOCAL_MACHINE\\%s",
                            candidates[highest - 1]));
    return false;
}

int32_t i_GetPrivateProfileString(const char *file, const char *section, const char *key, char *value,
                                  int32_t value_size, char *err, int32_t err_size)
{
    return IniFile::at(file).read(section, key, value, size_of(value_size), err, size_of(err_size));
}

int32_t i_GET_ROOT_FOR_INI(const char *value_name, char *path, int32_t path_size, char *err, int32_t err_size)
{
    return find_ini_path(text_or_empty(value_name), path, size_of(path_size), err, size_of(err_size));
}

int32_t i_READ_INI(const char *value_name, const char *section, const char *key, char *value,
                   int32_t value_size, char *err, int32_t err_size)
{
    copy_text(value, size_of(value_size), "");
    Error reason;
    const IniFile file = IniFile::of_system(value_name, reason.data(), reason.capacity());
    if (file.loaded() &&
        file.read(section, key, value, size_of(value_size), reason.data(), reason.capacity()))
        return 1;
    copy_text(err, size_of(err_size), format_string("i_READ_INI: %s", reason.c_str()));
    return 0;
}

struct _dictionary_ *p_PARSE_INI(const char *value_name, char *err, int32_t err_size)
{
    char path[1024];
    Error reason;
    dictionary *entries = nullptr;
    if (find_ini_path(text_or_empty(value_name)[0] ? value_name : "TB_INI", path, sizeof path, reason.data(),
                      reason.capacity())) {
        pl_native_path(path);
        // The library takes a directory for an empty file.
        if (pl_snapshot(path))
            entries = load_dictionary(path, &reason);
        if (reason.empty())
            reason.assign(path);
    }
    if (!entries)
        copy_text(err, size_of(err_size), format_string("p_PARSE_INI: %s", reason.c_str()));
    return entries;
}

int32_t i_INI_SCAN(char *out)
{
    // One fixed place: neither TAMBA_INI nor the short company key counts here.
    if (read_registry_value("SOFTWARE\\Korvel\\tamba", "TB_INI", out, TAMBA_INI_PATH_SIZE, nullptr, 0))
        return 1;
    copy_text(out, TAMBA_INI_PATH_SIZE, "registry HKEY_LOCAL_MACHINE\\SOFTWARE\\Korvel\\tamba - TB_INI");
    return 0;
}
