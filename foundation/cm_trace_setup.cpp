// Setting up a trace context: where it writes, how much, and in which language the program speaks.
#include <foundation/log_setup.h>

#include <foundation/lines.h>
#include <foundation/messages.h>
#include <foundation/trace_scope.h>
#include <platform/process.h>
#include <platform/snapshot.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <memory>
#include <mutex>

namespace {

std::atomic<bool> g_announced{false};

// What the ini file says of tracing.  One reading of the file serves until the file changes: semaphores come here with
// every operation.
struct LogSettings {
    IniFile ini; // keeps the reading alive, so that its identity means this text and no other
    bool has_log_directory, has_level_directory, has_language;
    FixedText<TAMBA_TRACE_PATH_SIZE> log_directory;
    FixedText<512> level_directory;
    FixedText<64> language;

    explicit LogSettings(const IniFile &file) : ini(file)
    {
        has_log_directory = read("[Pathes]", "gv_rw_lgc", log_directory);
        has_level_directory = read("[Pathes]", "gv_rw_ini", level_directory);
        has_language = read("[SETUP]", "lang", language);
    }

    template <size_t Size> bool read(const char *section, const char *key, FixedText<Size> &value) const
    {
        return ini.loaded() && ini.read(section, key, value.data(), value.capacity(), nullptr, 0);
    }
};

std::shared_ptr<const LogSettings> settings_of(const IniFile &ini)
{
    static std::mutex *const mutex = new std::mutex; // never destroyed: semaphores are released until the end
    static auto *const last = new std::shared_ptr<const LogSettings>;
    const std::lock_guard lock(*mutex);
    if (!*last || !(*last)->ini.same_reading(ini))
        *last = std::make_shared<const LogSettings>(ini);
    return *last;
}

void announce(TraceContext &context, const char *module)
{
    if (g_announced.exchange(true))
        return;
    char parent[64];
    pl_parent_process_name(parent, sizeof parent);
    WRITE_TRACE(&context, "Logging enabled for module %s: Loglevel %d, PID=%d, parent process: %s", module,
                context.level, static_cast<int>(pl_process_id()), parent);
}

void report_missing(const char *who, const char *key, const char *error_line)
{
    prot_message<Msg::kSettingMissing>(who, key);
    std::fputs(error_line, stderr);
}

int32_t language_of(std::string_view name)
{
    constexpr std::string_view kNames[] = {"de", "de_BA", "fr", "hr"};
    for (int32_t i = 0; i < 4; ++i)
        if (name == kNames[i])
            return i + 1;
    return 0;
}

void set_language(const LogSettings &settings, TraceContext &context)
{
    if (settings.has_language) {
        trace_at(context, kTraceDetail, "set language to %s", settings.language.c_str());
        set_language_number(language_of(settings.language.view()));
        return;
    }
    // Written at every level, as the only line: the operator must see why the messages are English.
    WRITE_TRACE(&context, "didn't find key lang in tb.ini > set language to en");
    set_language_number(0);
}

// The level file, opened once for several modules.
class LevelFile {
public:
    explicit LevelFile(const LogSettings &settings) : configured_(settings.has_level_directory)
    {
        FixedText<640> path;
        path.format("%sdebug.ini", settings.level_directory.c_str());
        file_ = pl_snapshot(path.c_str());
    }

    int32_t level(const char *module) const
    {
        if (!configured_)
            // Each time; the working directory's file counts then.
            report_missing("LOG_CHECK", "gv_rw_ini", "FATAL: SET_LOG_MAIN: gv_rw_ini not set");
        const FixedText<128> name(text_or_empty(module));
        FixedText<130> prefix(name.view());
        for (char *c = prefix.data(); *c; ++c)
            *c = ascii_upper(*c);
        prefix.append("=");
        LineReader lines(file_ ? std::string_view(*file_) : std::string_view(), kLevelLine);
        std::string_view line;
        while (lines.next(&line)) {
            if (line.substr(0, prefix.length()) != prefix.view())
                continue;
            line.remove_suffix(lines.ended() ? 0 : 1); // its last character goes, line end or not
            const FixedText<kLevelLine + 1> value(line.substr(std::min(line.size(), line.find('=') + 1)));
            return to_int32(value.c_str());
        }
        return 0;
    }

private:
    static constexpr size_t kLevelLine = 255;
    const bool configured_;
    std::shared_ptr<const std::string> file_;
};

} // namespace

void set_log_main(const char *file, const char *module, TraceContext &context, const IniFile &ini)
{
    FixedText<TAMBA_TRACE_PATH_SIZE> name(text_or_empty(file)); // may be context.path itself
    const std::shared_ptr<const LogSettings> settings = settings_of(ini);
    if (settings->has_log_directory) {
        context.level = 0;
        context.to_stderr = 0;
        const auto &directory = settings->log_directory;
        copy_text(context.path, sizeof context.path,
                  std::strstr(name.c_str(), directory.c_str()) ? "" : directory.view());
        append_text(context.path, sizeof context.path, name.view());
        const LevelFile levels(*settings);
        context.level = levels.level(module);
        if (context.level != 0) {
            context.indent[0] = '\0';
            announce(context, text_or_empty(module));
            context.to_stderr = levels.level("STDERR");
        }
        fill_own_context(context);
    } else {
        report_missing("SET_LOG_MAIN", "gv_rw_lgc", "FATAL: SET_LOG_MAIN: gv_rw_lgc not set");
    }
    set_language(*settings, context);
}

void v_set_log_main(const char *file, const char *module, TraceContext *ctx)
{
    TraceContext nowhere{};
    set_log_main(file, module, ctx ? *ctx : nowhere, IniFile::of_system(nullptr, nullptr, 0));
}

int32_t log_check(const char *module)
{
    return LevelFile(*settings_of(IniFile::of_system(nullptr, nullptr, 0))).level(module);
}
