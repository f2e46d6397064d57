// Makes a simulated site in a directory and prints the shell commands that point programs to it:
//   eval "$(build/linux/site/tamba_make_site /tmp/site)"
#include <site/site.h>

#include <cstdio>
#include <string>

int main(int argc, char **argv)
{
    if (argc < 2 || argc > 3) {
        std::fprintf(stderr, "usage: tamba_make_site DIRECTORY [en|de|de_BA|fr|hr]\n");
        return 2;
    }
    Site site;
    std::string problem;
    if (!make_site(argv[1], argc > 2 ? argv[2] : "en", &site, &problem) ||
        !install_programs(site, &problem)) {
        std::fprintf(stderr, "tamba_make_site: %s\n", problem.c_str());
        return 1;
    }
    std::printf("export TAMBA_REGISTRY='%s'\n", site.path("registry").c_str());
    std::printf("export TAMBA_EVENT_LOG='%s'\n", site.path("log/events.txt").c_str());
    return 0;
}
