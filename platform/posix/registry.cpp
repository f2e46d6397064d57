// The registry as a directory tree.  A key is a directory with its folded name, a value the file "@" + folded
// name (so
// "@" alone is the default value), a number value the file "@name#".  Names of keys keep the spelling they
// were made with in the file ".name" of their directory.
#include <platform/registry.h>

#include <platform/fault.h>
#include <platform/files.h>
#include <platform/posix/errors.h>
#include <platform/process.h>
#include <platform/snapshot.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr char kSpellingFile[] = "/.name";
constexpr int kWriteTries = 20;

std::string root()
{
    const char *const configured = pl_getenv("TAMBA_REGISTRY");
    return configured && *configured ? configured : "/var/lib/tamba/registry";
}

// Lower case, and every byte outside [A-Za-z0-9_.-] as %XX, so that no name leaves the root or means "." or
// "..".
void append_folded(std::string &path, std::string_view name)
{
    for (size_t i = 0; i < name.size(); ++i) {
        const char c = name[i];
        const bool upper = c >= 'A' && c <= 'Z';
        const bool plain = upper || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_' || c == '-';
        if (plain || (c == '.' && i > 0)) {
            path += upper ? static_cast<char>(c - 'A' + 'a') : c;
        } else {
            char code[4];
            std::snprintf(code, sizeof code, "%%%02X", static_cast<unsigned>(static_cast<unsigned char>(c)));
            path += code;
        }
    }
}

// Calls step(path, name) for each key on the way from the root to key.
template <class Step> void walk(const char *key, Step step)
{
    std::string path = root();
    std::string_view rest = key;
    while (!rest.empty()) {
        const std::string_view name = rest.substr(0, rest.find('\\'));
        rest.remove_prefix(std::min(rest.size(), name.size() + 1));
        if (name.empty())
            continue;
        path += '/';
        append_folded(path, name);
        step(path, name);
    }
}

std::string key_path(const char *key)
{
    std::string path = root();
    walk(key, [&](const std::string &at, std::string_view) { path = at; });
    return path;
}

std::string value_path(const char *key, const char *value, bool number)
{
    std::string path = key_path(key) + "/@";
    append_folded(path, value);
    if (number)
        path += '#';
    return path;
}

// The root and the directories that it lies in.
void make_root()
{
    const std::string path = root();
    if (mkdir(path.c_str(), 0777) == 0 || errno != ENOENT)
        return;
    for (size_t slash = path.find('/', 1); slash != std::string::npos; slash = path.find('/', slash + 1))
        mkdir(path.substr(0, slash).c_str(), 0777);
    mkdir(path.c_str(), 0777);
}

bool make_key(const char *key)
{
    bool good = true;
    make_root();
    walk(key, [&](const std::string &path, std::string_view name) {
        if (!good || mkdir(path.c_str(), 0777) == 0) {
            std::string folded;
            append_folded(folded, name);
            if (good && folded != name)
                pl_replace_file((path + kSpellingFile).c_str(), name.data(), name.size());
        } else if (errno != EEXIST) {
            good = pl_fail_path(errno, path.c_str());
        }
    });
    return good;
}

bool write_value(const char *key, const char *value, bool number, const char *text)
{
    const std::string path = value_path(key, value, number);
    for (int tries = 1; !pl_replace_file(path.c_str(), text, std::strlen(text)); ++tries) {
        // The key is missing before the first write below it, and each time somebody has just deleted it.
        const int32_t kind = pl_last_error().kind;
        const bool missing = kind == PL_PATH_NOT_FOUND || kind == PL_FILE_NOT_FOUND;
        if (!missing || tries == kWriteTries || !make_key(key))
            return false;
    }
    unlink(value_path(key, value, !number).c_str()); // the value has changed its type
    return true;
}

bool is_directory(const std::string &path, const dirent &entry)
{
    if (entry.d_type != DT_UNKNOWN)
        return entry.d_type == DT_DIR;
    struct stat info; // some file systems do not tell the type of an entry
    return stat((path + '/' + entry.d_name).c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

// Folded names of the subkeys.
bool list_subkeys(const std::string &path, std::vector<std::string> *names)
{
    DIR *const directory = opendir(path.c_str());
    if (!directory)
        return pl_fail_path(errno, path.c_str());
    while (const dirent *entry = readdir(directory)) {
        if (entry->d_name[0] != '.' && entry->d_name[0] != '@' && is_directory(path, *entry))
            names->emplace_back(entry->d_name);
    }
    closedir(directory);
    return true;
}

} // namespace

bool pl_reg_read(const char *key, const char *value, char *out, size_t size)
{
    if (size > 0)
        out[0] = '\0';
    const auto text = pl_snapshot(value_path(key, value, false).c_str());
    if (!text)
        return false;
    const auto length = static_cast<size_t>(std::snprintf(out, size, "%s", text->c_str()));
    return length < size || pl_fail(PL_MORE_DATA, EOVERFLOW);
}

bool pl_reg_write(const char *key, const char *value, const char *text)
{
    return write_value(key, value, false, text);
}

bool pl_reg_write_number(const char *key, const char *value, uint32_t number)
{
    char text[16];
    std::snprintf(text, sizeof text, "%u", number);
    return write_value(key, value, true, text);
}

bool pl_reg_read_number(const char *key, const char *value, uint32_t *number)
{
    const auto text = pl_snapshot(value_path(key, value, true).c_str());
    if (!text)
        return false;
    *number = static_cast<uint32_t>(std::strtoul(text->c_str(), nullptr, 10));
    return true;
}

bool pl_reg_delete_key(const char *key)
{
    if (pl_fault())
        return false;
    const std::string path = key_path(key);
    std::vector<std::string> subkeys;
    if (list_subkeys(path, &subkeys) && !subkeys.empty())
        return pl_fail(PL_ACCESS_DENIED, ENOTEMPTY);
    if (DIR *const directory = opendir(path.c_str())) {
        while (const dirent *entry = readdir(directory))
            if (std::strcmp(entry->d_name, ".") != 0 && std::strcmp(entry->d_name, "..") != 0)
                unlink((path + '/' + entry->d_name).c_str());
        closedir(directory);
    }
    return rmdir(path.c_str()) == 0 || pl_fail_path(errno, path.c_str());
}

bool pl_reg_subkeys(const char *key, std::vector<std::string> *names)
{
    names->clear();
    const std::string path = key_path(key);
    if (pl_fault() || !list_subkeys(path, names))
        return false;
    std::string spelling;
    for (std::string &name : *names)
        if (pl_read_file((path + '/' + name + kSpellingFile).c_str(), &spelling, 1024))
            name = spelling;
    return true;
}
