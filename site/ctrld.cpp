// tamba_ctrld: the site's control daemon as a program.  Prints its port and serves until it is ended.
#include <site/daemon.h>

#include <cstdio>
#include <cstdlib>

int main(int argc, char **argv)
{
    ControlDaemon daemon(run_command, static_cast<uint16_t>(argc > 1 ? std::atoi(argv[1]) : 0));
    if (daemon.port() == 0) {
        std::fprintf(stderr, "tamba_ctrld: the port cannot be opened\n");
        return 1;
    }
    std::printf("%d\n", static_cast<int>(daemon.port()));
    std::fflush(stdout);
    daemon.serve_forever();
    return 0;
}
