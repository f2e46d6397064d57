// The control client's entry: a command on another host, its streams in files.
#include <tamba/control.h>

#include <foundation/trace_scope.h>
#include <platform/files.h>
#include <process/tb_ctrl.h>
#include <process/tb_ctrl_relay.h>

#include <memory>

namespace {

struct CloseFile {
    void operator()(FILE *stream) const { std::fclose(stream); }
};
using File = std::unique_ptr<FILE, CloseFile>;

constexpr int32_t kNoInputFile = -1; // apart from the command's own 1

struct PortSpec {
    int32_t port = 0, low = 0, high = 0;
    bool single = false;
};

PortSpec parse_port_spec(const char *text)
{
    PortSpec spec;
    spec.port = to_int32(text);
    const char *const colon = std::strchr(text, ':');
    const std::string_view option = colon ? colon + 1 : "";
    spec.single = option.substr(0, 2) == "-s";
    bool is_number = false;
    if (option.substr(0, 3) == "-o ") {
        spec.low = to_int32(colon + 4, &is_number);
        const size_t dash = option.find('-', 3);
        spec.high = dash == std::string_view::npos ? spec.low : to_int32(colon + 1 + dash + 1);
        if (!is_number)
            spec.low = spec.high = 0;
        own_trace("%d - %d", spec.low, spec.high);
    }
    return spec;
}

// Where a command's output and errors go.
class Outputs {
public:
    Outputs(const char *outfile, const char *errfile)
        : out_(*outfile ? outfile : errfile), err_(*errfile ? errfile : outfile)
    {
    }

    bool open()
    {
        if (!*out_)
            return true;
        output_.reset(pl_fopen(out_, "ab"));
        if (!output_)
            return failed(out_);
        if (std::string_view(out_) == err_)
            return true;
        errors_.reset(pl_fopen(err_, "ab"));
        return errors_ != nullptr || failed(err_);
    }
    FILE *output() const { return output_ ? output_.get() : stdout; }
    FILE *errors() const { return errors_ ? errors_.get() : output_ ? output_.get() : stderr; }

    // True when all of it reached the files.
    bool close()
    {
        const bool errors_good = !errors_ || pl_fclose(errors_.release()) == 0;
        return (!output_ || pl_fclose(output_.release()) == 0) && errors_good;
    }

    // Leaves the reason of a failure where the caller looks for it.
    void report(const char *reason) const
    {
        FixedText<1100> line;
        line.format("ERROR: %s\n", reason);
        if (*err_)
            pl_append(err_, line.c_str(), line.length(), nullptr);
        if (*out_ && std::string_view(out_) != err_)
            pl_append(out_, line.c_str(), line.length(), nullptr);
    }

private:
    static bool failed(const char *file)
    {
        ctrl_call_failed("cannot open output file [%s]", file);
        return false;
    }

    const char *const out_, *const err_;
    File output_, errors_;
};

int32_t run(const PortSpec &spec, const char *node, const char *user, const char *cmd, const char *stdinfile,
            Outputs *outputs, int32_t timeout)
{
    PlSocket first, second;
    if (const int32_t status = ctrl_connect(node, spec.port, spec.low, spec.high, spec.single ? 1 : 0, user,
                                            control_command(cmd).c_str(), timeout, &first, &second))
        return status;
    File input;
    int32_t status = 0;
    if (*stdinfile) {
        input.reset(pl_fopen(stdinfile, "rb"));
        if (!input) {
            ctrl_call_failed("cannot open input file [%s]", stdinfile);
            status = kNoInputFile;
        }
    }
    if (status == 0 && !outputs->open())
        status = kControlFailure;
    if (status != 0) {
        cm_CloseSocketsAndCleanup(2, first, second);
        return status;
    }
    status =
        relay_streams(first, second, {input.release(), outputs->output(), outputs->errors()}, timeout, node);
    return outputs->close() ? status : ctrl_not_written();
}

} // namespace

int32_t ctrlc_lib_call(const char *port_spec, const char *node, const char *user, const char *cmd,
                       const char *stdinfile, const char *outfile, const char *errfile, int32_t timeout)
{
    OwnTraceScope scope("+++ TB_CTRLC_LIB  %s %s %s", text_or_empty(port_spec), text_or_empty(node),
                        text_or_empty(cmd));
    ctrl_begin_call();
    Outputs outputs(text_or_empty(outfile), text_or_empty(errfile));
    const int32_t status =
        run(parse_port_spec(text_or_empty(port_spec)), text_or_empty(node), text_or_empty(user),
            text_or_empty(cmd), text_or_empty(stdinfile), &outputs, timeout);
    if (*ctrl_first_error())
        outputs.report(ctrl_first_error());
    if (status == kNoInputFile)
        return scope.leave(1, "--- TB_CTRLC_LIB  fopen(stdin file [%s]) failed: return %d",
                           text_or_empty(stdinfile), 1);
    return scope.leave(status, "--- TB_CTRLC_LIB returns %d", status);
}
