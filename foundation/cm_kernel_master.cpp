// Global variables of this and other hosts.
#include <foundation/glbv.h>

#include <foundation/messages.h>
#include <foundation/trace_scope.h>
#include <platform/files.h>
#include <platform/process.h>
#include <tamba/client.h>
#include <tamba/remote.h>

#include <algorithm>
#include <string>

namespace {

bool is_this_host(std::string_view host)
{
    char own[256] = "";
    return equal_ignoring_case(host, "localhost") ||
           (pl_host_name(own, sizeof own) && equal_ignoring_case(host, own));
}

using RemoteCommand = FixedText<2048>; // remote execution leaves its message there, too

// Whether a name leaves the command as it is: on its way it loses its quotes, and the client's shell may be sh or the
// Windows interpreter.
bool name_allowed(std::string_view name)
{
    return name.find_first_of(" \"'`$;&|<>%^") == std::string_view::npos &&
           std::none_of(name.begin(), name.end(), [](unsigned char c) { return c < ' '; });
}

// The same for the words of a value, none of which may become names of files or a comment, either.
bool value_allowed(std::string_view value)
{
    constexpr std::string_view kPatterns = "*?[]{}", kAtBegin = "#~";
    bool at_begin = true;
    for (const char c : value) {
        if ((c != ' ' && !name_allowed({&c, 1})) || kPatterns.find(c) != std::string_view::npos ||
            (at_begin && kAtBegin.find(c) != std::string_view::npos))
            return false;
        at_begin = c == ' ';
    }
    return !value.ends_with('\\'); // it would protect the closing quote
}

// The program's call for a function; false when there is none.
bool client_command(char function, const char *name, const char *value, RemoteCommand *command)
{
    switch (function) {
    case 'r':
        command->format("tb_client -r -f GLBVread -n %s", name);
        return true;
    case 'R':
    case 'd': // deleting reads the value, too
        command->format("tb_client -r -f ReadAndDelete -n %s", name);
        return true;
    case 'w':
        command->format("tb_client -r -f Write -n %s -s \"%s\"", name, value);
        return true;
    default:
        return false;
    }
}

// The same service by the client program of another host, whose answer comes in a file.
void remote_variable(const std::string &host, char function, const char *name, char *value,
                     TraceContext &trace)
{
    RemoteCommand command;
    if (!client_command(function, name, value, &command)) {
        message_to<Msg::kInvalidService>(value, TAMBA_GLBV_SIZE, function ? function : ' ');
        return;
    }
    if (!name_allowed(name) || (function == 'w' && !value_allowed(value))) {
        format_text(value, TAMBA_GLBV_SIZE, "?? GLBV: %s not allowed", name_allowed(name) ? "value" : "name");
        return;
    }
    char file[TAMBA_ANSW_PATH_SIZE], status[TAMBA_RSH_WORD_SIZE], msg[TAMBA_RSH_WORD_SIZE];
    make_answ_file_name(file);
    pl_remove(file); // the answer of an earlier call must not be taken for this one's
    if (*file == '\0' || REMOTE_CMD((host + "|" + file).c_str(), command.data(), 1, trace) != 1)
        copy_text(value, TAMBA_GLBV_SIZE, "?? GLBV: RemoteCmd failed");
    else if (i_READ_RSHFILE(file, status, msg, trace) != 1)
        copy_text(value, TAMBA_GLBV_SIZE, "?? GLBV: READ_RSHFILE failed");
    else
        copy_text(value, TAMBA_GLBV_SIZE, msg);
    pl_remove(file);
}

} // namespace

char *master_glbv(const char *function, const char *name, char *value)
{
    value = buffer_or_own(value);
    TraceContext context = own_context();
    v_set_log_main("tb_glbv.lgc", "TB_GLBV", &context);
    const std::string_view whole = text_or_empty(name);
    TraceScope scope(context, kTraceMain, "+++ GLBV: function:%c  name:%s ",
                     *text_or_empty(function) ? *function : ' ', text_or_empty(name));
    const size_t colon = whole.find(':');
    const std::string host(colon == std::string_view::npos ? "localhost" : whole.substr(0, colon));
    const char *const variable = text_or_empty(name) + (colon == std::string_view::npos ? 0 : colon + 1);
    if (is_this_host(host))
        serve_variable(text_or_empty(function)[0], variable, value);
    else
        remote_variable(host, text_or_empty(function)[0], variable, value, context);
    scope.leave(1, "--- GLBV: %s    value: %s ", variable, value);
    return value;
}
