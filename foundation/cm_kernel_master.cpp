// Global variables of this and other hosts.
#include <foundation/glbv.h>

#include <foundation/messages.h>
#include <foundation/trace_scope.h>
#include <platform/process.h>

namespace {

constexpr size_t kHostSize = 256;

bool is_this_host(std::string_view host)
{
    char own[kHostSize] = "";
    return equal_ignoring_case(host, "localhost") ||
           (pl_host_name(own, sizeof own) && equal_ignoring_case(host, own));
}

// The variables of another host need remote execution, which this library cannot do yet.
void remote_variable(char function, char *value)
{
    if (function == '\0' || !std::strchr("rRwd", function))
        message_to<Msg::kInvalidService>(value, TAMBA_GLBV_SIZE, function);
    else
        copy_text(value, TAMBA_GLBV_SIZE, "?? GLBV: RemoteCmd failed");
}

} // namespace

char *master_glbv(const char *function, const char *name, char *value)
{
    value = buffer_or_own(value);
    TraceContext context = own_context();
    v_set_log_main("tb_glbv.lgc", "TB_GLBV", &context);
    const std::string_view whole = text_or_empty(name);
    TraceScope scope(context, kTraceMain, "+++ GLBV: function:%c  name:%s ", text_or_empty(function)[0],
                     text_or_empty(name));
    const size_t colon = whole.find(':');
    const FixedText<kHostSize> host(colon == std::string_view::npos ? "localhost" : whole.substr(0, colon));
    const char *const variable = text_or_empty(name) + (colon == std::string_view::npos ? 0 : colon + 1);
    char *result = value;
    if (is_this_host(host.view()))
        result = glbv(function, variable, value);
    else
        remote_variable(text_or_empty(function)[0], value);
    scope.leave(1, "--- GLBV: %s    value: %s ", variable, result);
    return result;
}
