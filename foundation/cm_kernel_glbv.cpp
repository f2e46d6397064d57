// Global variables: registry values for names that begin with "gv_", small text files for all others.
#include <foundation/glbv.h>

#include <foundation/ini.h>
#include <foundation/lines.h>
#include <foundation/version.h>
#include <platform/files.h>
#include <platform/registry.h>

#include <string>

namespace {

constexpr char kAllVariables[] = "SOFTWARE\\Korvel\\tamba\\GLBV";
constexpr char kUnknown[] = "???";
constexpr size_t kKeySize = 128;       // registry keys are cut at 127 characters
constexpr size_t kFileValueSize = 256; // what a file gives to the caller
constexpr size_t kWrittenValueSize = 512;
constexpr size_t kFileReadLimit = 65536;

// What "w" on a file returns; shared by the whole process, as callers know it.
char g_written[kWrittenValueSize];

char *unknown(char *value)
{
    copy_text(value, TAMBA_GLBV_SIZE, kUnknown);
    return value;
}

char *invalid_service(char function, char *value)
{
    format_text(value, TAMBA_GLBV_SIZE, "??? invalid service %c", function);
    return value;
}

// Deletes every variable whose name contains what stands before and what stands behind the "*".
void delete_matching(std::string_view pattern)
{
    const size_t star = pattern.find('*');
    const std::string_view head = pattern.substr(0, star), tail = pattern.substr(star + 1);
    std::vector<std::string> names;
    pl_reg_subkeys(kAllVariables, &names);
    for (const std::string &name : names)
        if (name.find(head) != std::string::npos && name.find(tail) != std::string::npos)
            pl_reg_delete_key((std::string(kAllVariables) + "\\" + name).c_str()); // or it stays behind
}

char *registry_variable(char function, const char *name, char *value)
{
    FixedText<kKeySize> key;
    key.format("%s\\%s", kAllVariables, name);
    switch (function) {
    case 'r':
    case 'R':
        // A text of 512 characters and more is a failure, not a cut.
        if (!pl_reg_read(key.c_str(), "", value, TAMBA_GLBV_SIZE))
            return unknown(value);
        if (function == 'R')
            pl_reg_delete_key(key.c_str());
        return value;
    case 'w': {
        const FixedText<kWrittenValueSize> bounded{std::string_view(value)};
        return pl_reg_write(key.c_str(), "", bounded.c_str()) ? value : unknown(value);
    }
    case 'd':
        if (std::strchr(name, '*'))
            delete_matching(name);
        else
            pl_reg_delete_key(key.c_str());
        return value;
    default:
        return invalid_service(function, value);
    }
}

// All lines without their line feeds.
char *join_lines(std::string_view content, char *value)
{
    FixedText<kWrittenValueSize> joined;
    LineReader lines(content, kWrittenValueSize - 1);
    std::string_view line;
    while (lines.next(&line))
        joined.append(line);
    copy_text(value, kFileValueSize, joined.view());
    return value;
}

// The path of a file variable; "" when its directory is unknown or its name would lead out of it.
std::string file_path(const char *name)
{
    GlobalValue directory;
    if (std::strpbrk(name, "/\\") || std::strstr(name, "..") || !read_global("gv_rw_glbv", &directory))
        return "";
    const FixedText<TAMBA_GLBV_SIZE> bounded(name); // the ending is never cut: it keeps other files apart
    return std::string(directory.view()).append(bounded.view()).append(".sgv");
}

char *file_variable(char function, const char *name, char *value)
{
    const std::string path = file_path(name);
    const bool known = !path.empty();
    std::string content;
    switch (function) {
    case 'r':
    case 'R':
        // What could not be read is not deleted either.
        if (!known || !pl_read_file(path.c_str(), &content, kFileReadLimit))
            return unknown(value);
        if (function == 'R')
            pl_remove(path.c_str());
        return content.empty() ? unknown(value) : join_lines(content, value);
    case 'w': {
        const FixedText<kWrittenValueSize> bounded{std::string_view(value)};
        const bool written = known && pl_replace_file(path.c_str(), bounded.c_str(), bounded.length());
        return written ? value : unknown(value);
    }
    case 'd':
        if (known)
            pl_remove(path.c_str());
        return value;
    default:
        return invalid_service(function, value);
    }
}

// A pattern that begins with "*" means the registry variables; no file name can hold a "*" on Windows.
bool in_registry(char function, const char *name)
{
    return std::strncmp(name, "gv_", 3) == 0 || (function == 'd' && name[0] == '*');
}

// Splits "name:rest" and puts the value of name, if there is one, in place of "name:".
template <class Lookup> bool replace_leading_name(char *text, size_t size, Lookup look_up)
{
    const std::string_view whole = text;
    const size_t colon = whole.find(':');
    const FixedText<TAMBA_RESOLVE_SIZE> name(whole.substr(0, colon));
    FixedText<TAMBA_RESOLVE_SIZE> value;
    if (!look_up(name.c_str(), value))
        return false;
    if (colon != std::string_view::npos)
        value.append(whole.substr(colon + 1));
    copy_text(text, size, value.view());
    return true;
}

} // namespace

char *buffer_or_own(char *value)
{
    thread_local char own[TAMBA_GLBV_SIZE];
    if (value)
        return value;
    own[0] = '\0';
    return own;
}

char *serve_variable(char function, const char *name, char *value)
{
    if (function == 'r' && std::strcmp(name, "MyVersion") == 0) {
        copy_text(value, kFileValueSize, kLibraryVersion);
        return value;
    }
    return in_registry(function, name) ? registry_variable(function, name, value)
                                       : file_variable(function, name, value);
}

char *glbv(const char *function, const char *name, char *value)
{
    const char letter = text_or_empty(function)[0];
    const char *const variable = text_or_empty(name);
    value = buffer_or_own(value);
    if (letter == 'w' && !in_registry(letter, variable)) {
        copy_text(g_written, sizeof g_written, value);
        value = g_written;
    }
    return serve_variable(letter, variable, value);
}

bool read_global(const char *name, GlobalValue *value)
{
    return serve_variable('r', name, value->data())[0] != '?';
}

std::string global_or(const char *name, const char *replacement)
{
    GlobalValue value;
    return read_global(name, &value) ? value.c_str() : replacement;
}

int32_t resolve_glbv(char *text)
{
    const auto look_up = [](const char *name, FixedText<TAMBA_RESOLVE_SIZE> &value) {
        return serve_variable('r', name, value.data())[0] != '?';
    };
    return text && replace_leading_name(text, TAMBA_RESOLVE_SIZE, look_up);
}

void resolve_path_n(char *text, size_t size, const IniFile &ini)
{
    replace_leading_name(text, size, [&](const char *key, FixedText<TAMBA_RESOLVE_SIZE> &value) {
        return ini.loaded() && ini.read("[Pathes]", key, value.data(), value.capacity(), nullptr, 0);
    });
}

void resolve_path_n(char *text, size_t size)
{
    resolve_path_n(text, size, IniFile::of_system(nullptr, nullptr, 0));
}

int32_t resolve_path(char *text)
{
    if (text)
        resolve_path_n(text, TAMBA_RESOLVE_SIZE);
    return 1;
}
