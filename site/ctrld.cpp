// tamba_ctrld [PORT [leave]]: the site's control daemon as a program.  Prints its port and serves until it is ended; with
// "leave" it ends each connection without reading the client's input.
#include <site/daemon.h>

#include <cstdio>
#include <cstdlib>
#include <string_view>

int main(int argc, char **argv)
{
    const bool leaves = argc > 2 && std::string_view(argv[2]) == "leave";
    ControlDaemon daemon(leaves ? run_command_and_leave : run_command,
                         static_cast<uint16_t>(argc > 1 ? std::atoi(argv[1]) : 0));
    if (daemon.port() == 0) {
        std::fprintf(stderr, "tamba_ctrld: the port cannot be opened\n");
        return 1;
    }
    std::printf("%d\n", static_cast<int>(daemon.port()));
    std::fflush(stdout);
    daemon.serve_forever();
    return 0;
}
