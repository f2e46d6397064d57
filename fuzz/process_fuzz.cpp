// Readers of what programs report and of what a control daemon sends.
#include <fuzz/target.h>

#include <platform/socket.h>
#include <process/result_lines.h>
#include <process/tb_ctrl.h>
#include <site/daemon.h>
#include <tamba/control.h>

#include <algorithm>

FUZZ_TARGET(result_lines)
{
    ResultLines result;
    std::string_view rest = input;
    bool more = true;
    while (more && !rest.empty()) {
        const size_t end = std::min(rest.find('\n'), rest.size());
        more = result.take(rest.substr(0, end));
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    promise(more || result.has_message(), "only a message ends the reading");
    promise(result.has_status() || result.status().empty(), "no status without its tag");
    promise(result.status().view().find_first_of(" \t\n") == std::string_view::npos, "a status is one word");
}

namespace {

// What the daemon sends: to the first channel up to the first "\1", to the second up to the next, then again.
void send_in_turns(const DaemonCall &call, std::string_view bytes, intptr_t second)
{
    for (bool to_first = true; !bytes.empty(); to_first = !to_first) {
        const size_t end = std::min(bytes.find('\1'), bytes.size());
        daemon_send(to_first ? call.first : second, std::string(bytes.substr(0, end)));
        bytes.remove_prefix(std::min(end + 1, bytes.size()));
    }
}

} // namespace

// First byte: bit 0 one connection, bit 1 no call-back, bit 2 an exit code; then what the daemon sends.
FUZZ_TARGET(daemon_answer)
{
    control_timing = {};
    control_timing.idle_ms = control_timing.accept_step_ms = 1;
    control_timing.accept_steps = 20;
    const unsigned flags = input.empty() ? 0 : static_cast<unsigned char>(input[0]);
    const std::string bytes(input.substr(std::min<size_t>(1, input.size())));
    ControlDaemon daemon([&](const DaemonCall &call) {
        const bool first_only = call.port.empty() || (flags & 2) != 0;
        // The status comes before the call-back.
        daemon_send(call.first, bytes.substr(0, 1));
        const intptr_t second = first_only ? call.first : call.call_back();
        send_in_turns(call, bytes.substr(std::min<size_t>(1, bytes.size())), second);
        if ((flags & 4) != 0)
            pl_socket_send_urgent(second, static_cast<uint8_t>(flags));
        if (second != call.first && second != kPlNoSocket)
            pl_socket_close(second);
    });
    const std::string port = std::to_string(daemon.port()) + ((flags & 1) != 0 ? ":-s" : "");
    const std::string output = work_folder() + "fuzz.out";
    write_file(output, "");
    const std::string nothing = work_folder() + "fuzz.in";
    write_file(nothing, "");
    const int32_t status = ctrlc_lib_call(port.c_str(), "127.0.0.1", "root", bytes.c_str(), nothing.c_str(),
                                          output.c_str(), "", 0);
    promise(status >= 0 && status <= 255, "a status is a byte");
    promise(status != 0 || *ctrl_first_error() == '\0', "a success has no error");
    promise(status == 0 || ctrl_exit_code() >= 0 || *ctrl_first_error() != '\0', "a failure has its reason");
}
