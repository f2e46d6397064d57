// Global variables: registry values for names that begin with "gv_", small text files for all others.
#include <foundation/glbv.h>

#include <foundation/ini.h>
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

using VariableKey = FixedText<kKeySize>;

VariableKey variable_key(const char *name)
{
    VariableKey key;
    key.format("SOFTWARE\\Korvel\\tamba\\GLBV\\%s", name);
    return key;
}

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
    const std::string head(pattern.substr(0, star)), tail(pattern.substr(star + 1));
    char name[kKeySize];
    uint32_t index = 0;
    while (pl_reg_enum(kAllVariables, index, name, sizeof name)) {
        const std::string_view found = name;
        const bool matches =
            found.find(head) != std::string_view::npos && found.find(tail) != std::string_view::npos;
        // The next key moves to this index when the deletion succeeded; a key that cannot be deleted stays
        // behind.
        if (!matches || !pl_reg_delete_key(variable_key(name).c_str()))
            ++index;
    }
}

char *registry_variable(char function, const char *name, char *value)
{
    const VariableKey key = variable_key(name);
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

// All lines without their line feeds; false for a file without a byte, or none.
bool read_joined_lines(const char *path, char *value)
{
    std::string content;
    if (!pl_read_file(path, &content, kFileReadLimit) || content.empty())
        return false;
    FixedText<kWrittenValueSize> joined;
    LineReader lines(content, kWrittenValueSize - 1);
    std::string_view line;
    while (lines.next(&line))
        joined.append(line);
    copy_text(value, kFileValueSize, joined.view());
    return true;
}

char *write_file_variable(const char *path, bool known, const char *value)
{
    copy_text(g_written, sizeof g_written, value);
    FILE *const file = known ? pl_fopen(path, "w") : nullptr;
    if (file)
        std::fputs(g_written, file);
    if (!file || pl_fclose(file) != 0)
        copy_text(g_written, sizeof g_written, kUnknown);
    return g_written;
}

char *file_variable(char function, const char *name, char *value)
{
    GlobalValue directory;
    const bool known = read_global("gv_rw_glbv", &directory);
    const FixedText<TAMBA_GLBV_SIZE> bounded(name); // the ending is never cut: it keeps other files apart
    char path[2 * TAMBA_GLBV_SIZE + 8];
    format_text(path, sizeof path, "%s%s.sgv", directory.c_str(), bounded.c_str());
    switch (function) {
    case 'r':
    case 'R':
        if (!known)
            return unknown(value);
        if (!read_joined_lines(path, value))
            unknown(value);
        if (function == 'R')
            pl_remove(path);
        return value;
    case 'w':
        return write_file_variable(path, known, value);
    case 'd':
        if (known)
            pl_remove(path);
        return value;
    default:
        return invalid_service(function, value);
    }
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

char *glbv(const char *function, const char *name, char *value)
{
    value = buffer_or_own(value);
    const char letter = text_or_empty(function)[0];
    const char *const variable = text_or_empty(name);
    if (letter == 'r' && std::strcmp(variable, "MyVersion") == 0) {
        copy_text(value, kFileValueSize, kLibraryVersion);
        return value;
    }
    // A pattern that begins with "*" means the registry variables; no file name can hold a "*" on Windows.
    const bool in_registry = std::strncmp(variable, "gv_", 3) == 0 || (letter == 'd' && variable[0] == '*');
    return in_registry ? registry_variable(letter, variable, value) : file_variable(letter, variable, value);
}

bool read_global(const char *name, GlobalValue *value)
{
    return glbv("r", name, value->data())[0] != '?';
}

int32_t resolve_glbv(char *text)
{
    if (!text)
        return 0;
    return replace_leading_name(text, TAMBA_RESOLVE_SIZE,
                                [](const char *name, FixedText<TAMBA_RESOLVE_SIZE> &value) {
                                    GlobalValue found;
                                    if (!read_global(name, &found))
                                        return false;
                                    value.assign(found.view());
                                    return true;
                                });
}

void resolve_path_n(char *text, size_t size, const IniFile &ini)
{
    replace_leading_name(text, size, [&](const char *key, FixedText<TAMBA_RESOLVE_SIZE> &value) {
        return ini.loaded() && ini.read("[Pathes]", key, value.data(), value.size(), nullptr, 0);
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
