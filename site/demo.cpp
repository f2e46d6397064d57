// A backup program asks for a medium, on a simulated site where everything is real: catalogue, lock files, child
// processes, trace, protocol and info board.  Each step shows what it left behind and checks it.
#include <site/demo.h>

#include <platform/process.h>

#include <cstdio>
#include <cstring>
#include <filesystem>

namespace fs = std::filesystem;

namespace {

struct Options {
    std::string language = "en";
    bool keep = false, full = false, help = false, good = true;
};

bool is_language(const std::string &word)
{
    for (const char *known : {"de", "de_BA", "fr", "hr", "en"})
        if (word == known)
            return true;
    return false;
}

Options options_of(int argc, char **argv)
{
    Options options;
    for (int i = 1; i < argc; ++i) {
        const std::string word = argv[i];
        if (word == "--keep")
            options.keep = true;
        else if (word == "--full")
            options.full = true;
        else if (word == "--help" || word == "-h")
            options.help = true;
        else if (word == "--lang" && i + 1 < argc && is_language(argv[i + 1]))
            options.language = argv[++i];
        else
            options.good = false;
    }
    return options;
}

int usage(FILE *stream)
{
    std::fprintf(stream,
                 "usage: demo [--lang de|de_BA|fr|hr|en] [--full] [--keep]\n"
                 "  --lang  language of the messages (default en)\n"
                 "  --full  show the catalogue's statements in every trace, not only in the first two\n"
                 "  --keep  leave the site behind, to look at it\n");
    return stream == stdout ? 0 : 2;
}

bool set_up(Stage &stage, const Options &options, std::string *problem)
{
    std::error_code error;
    const fs::path temporary = fs::temp_directory_path(error);
    if (error) {
        *problem = "no temporary folder: " + error.message();
        return false;
    }
    const fs::path folder = temporary / ("tamba-demo-" + std::to_string(pl_process_id()));
    if (!make_site(folder.string(), options.language, &stage.site, problem) ||
        !install_programs(stage.site, problem))
        return false;
    set_trace_level(stage.site, "DEMO", 1);
    v_set_log_main(kDemoTrace, "DEMO", &stage.trace);
    return true;
}

int run_demo(const Options &options)
{
    Stage stage;
    std::string problem;
    if (!set_up(stage, options, &problem)) {
        std::fprintf(stderr, "tamba_demo: no site could be made: %s\n", problem.c_str());
        return 1;
    }
    stage.full = options.full;
    stage.report.title("A backup asks for a medium",
                       "site " + stage.site.root + "   language " + options.language);
    one_program_steps(stage);
    two_program_steps(stage);
    host_steps(stage);
    volume_steps(stage);
    day_steps(stage);
    const bool good = stage.report.finish();
    if (options.keep || !good) {
        std::printf("The site is still there: %s\n", stage.site.root.c_str());
    } else {
        std::error_code ignored;
        fs::remove_all(stage.site.root, ignored);
    }
    return good ? 0 : 1;
}

} // namespace

int main(int argc, char **argv)
{
    if (argc == 6 && std::strcmp(argv[1], "--child") == 0)
        return run_child(argv[2], argv[3], argv[4], argv[5]);
    const Options options = options_of(argc, argv);
    if (options.help)
        return usage(stdout);
    return options.good ? run_demo(options) : usage(stderr);
}
