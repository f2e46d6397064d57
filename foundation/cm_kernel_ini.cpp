// The ini file: one key by the system's own syntax, the whole file by iniparser, and where the file is.
#include <foundation/ini.h>

#include <foundation/registry_value.h>
#include <platform/clock.h>
#include <platform/files.h>
#include <platform/process.h>
#include <platform/snapshot.h>
#include <tamba/config.h>

#include <array>
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

enum class Found { value, key_missing_in_section, key_missing, section_missing };

// Finds the raw value of the first matching line; only the first matching section is searched.
Found find_value(std::string_view text, const char *section, const char *key, std::string_view *value)
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
        if (line.front() == '[')
            return Found::key_missing_in_section;
        if (begins_ignoring_case(line, wanted_key.view())) {
            const size_t equals = line.find('=');
            *value = without_trailing_blanks(equals == std::string_view::npos ? "" : line.substr(equals + 1));
            return Found::value;
        }
    }
    return inside ? Found::key_missing : Found::section_missing;
}

using Value = FixedText<kLineLimit + 1>;
using Error = FixedText<1280>;

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
    switch (find_value(text, section, key, &raw)) {
    case Found::value:
        break;
    case Found::key_missing_in_section:
        error->format("i_GetPrivateProfileString: KEY NOT FOUND %s%s", text_or_empty(section), key);
        return Lookup::missing;
    case Found::key_missing:
        error->format("i_GetPrivateProfileString: KEY NOT FOUND: %s", key);
        return Lookup::missing;
    case Found::section_missing:
        error->format("i_GetPrivateProfileString: SECTION NOT FOUND: %s.", text_or_empty(section));
        return Lookup::missing;
    }
    value->assign(raw);
    const Lookup resolved = resolve_reference(text, section, depth, value, error);
    if (resolved == Lookup::found && value->empty()) {
        error->assign("i_GetPrivateProfileString: KEY VALUE NOT FOUND.");
        return Lookup::missing;
    }
    return resolved;
}

bool read_from(std::string_view text, const char *section, const char *key, char *value, size_t value_size,
               char *err, size_t err_size)
{
    Value found;
    Error error;
    const Lookup result = look_up(text, section, key, 0, &found, &error);
    if (result == Lookup::too_deep)
        error.format("i_GetPrivateProfileString: KEY NOT FOUND: %s", key);
    if (result != Lookup::found) {
        copy_text(err, err_size, error.view());
        return false;
    }
    copy_text(value, value_size, found.view());
    return true;
}

size_t size_of(int32_t size)
{
    return size > 0 ? static_cast<size_t>(size) : 0;
}

} // namespace

bool LineReader::next(std::string_view *line)
{
    if (rest_.empty())
        return false;
    // A CR LF counts as one character, as where the C library translates it.
    const bool crlf_at_limit =
        rest_.size() > limit_ && limit_ > 0 && rest_[limit_ - 1] == '\r' && rest_[limit_] == '\n';
    const std::string_view piece = rest_.substr(0, limit_ + (crlf_at_limit ? 1 : 0));
    const size_t feed = piece.find('\n');
    const bool ended = feed != std::string_view::npos;
    const bool crlf = ended && feed > 0 && piece[feed - 1] == '\r';
    *line = ended ? piece.substr(0, feed + (end_ == keep_end ? 1 : 0) - (crlf ? 1 : 0)) : piece;
    *line = line->substr(0, line->find('\0'));
    rest_.remove_prefix(ended ? feed + 1 : piece.size());
    return true;
}

bool read_line(std::FILE *stream, char *line, size_t size)
{
    if (!std::fgets(line, static_cast<int>(size), stream))
        return false;
    const size_t length = std::strlen(line);
    if (length >= 2 && line[length - 1] == '\n' && line[length - 2] == '\r') {
        line[length - 2] = '\n';
        line[length - 1] = '\0';
    }
    return true;
}

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
    static Recent *const instance =
        new Recent; // never destroyed: semaphores are released until the process is gone
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
    if (text_)
        return read_from(*text_, section, text_or_empty(key), value, value_size, err, err_size);
    Error error;
    if (path_.empty())
        error.assign("i_GetPrivateProfileString: FILE NOT FOUND OR ACCESS PROBLEM.");
    else
        error.format("i_GetPrivateProfileString: FILE NOT FOUND OR ACCESS PROBLEM: %s.", path_.c_str());
    copy_text(err, err_size, error.view());
    return false;
}

bool find_ini_path(const char *value_name, char *path, size_t path_size, char *err, size_t err_size)
{
    std::array<const char *, 3> candidates{kLongCompanyKey, kShortCompanyKey, pl_getenv("TAMBA_INI")};
    const size_t highest = candidates[2] ? 2 : 1;
    for (size_t slot = highest + 1; slot-- > 0;)
        if (read_registry_value(candidates[slot], value_name, path, path_size, nullptr, 0))
            return true;
    FixedText<512> error;
    error.format("i_GET_ROOT_FOR_INI: NO TAMBA REGISTRY KEY FOUND: HKEY_LOCAL_MACHINE\\%s",
                 candidates[highest - 1]);
    copy_text(err, err_size, error.view());
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
    const IniFile file = IniFile::of_system(value_name, reason.data(), reason.size());
    if (file.loaded() && file.read(section, key, value, size_of(value_size), reason.data(), reason.size()))
        return 1;
    FixedText<1400> error;
    error.format("i_READ_INI: %s", reason.c_str());
    copy_text(err, size_of(err_size), error.view());
    return 0;
}

struct _dictionary_ *p_PARSE_INI(const char *value_name, char *err, int32_t err_size)
{
    char path[1024];
    char reason[512];
    if (!find_ini_path(text_or_empty(value_name)[0] ? value_name : "TB_INI", path, sizeof path, reason,
                       sizeof reason)) {
        FixedText<600> error;
        error.format("p_PARSE_INI: %s", reason);
        copy_text(err, size_of(err_size), error.view());
        return nullptr;
    }
    pl_native_path(path);
    // The library takes a directory for an empty file.
    dictionary *const entries = pl_snapshot(path) ? iniparser_load(path) : nullptr;
    if (!entries) {
        FixedText<1400> error;
        error.format("p_PARSE_INI: %s", path);
        copy_text(err, size_of(err_size), error.view());
    }
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
