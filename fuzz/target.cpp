#include <fuzz/target.h>

#include <platform/process.h>
#include <site/site.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>

namespace fs = std::filesystem;

namespace {

std::vector<FuzzTarget> &targets()
{
    static std::vector<FuzzTarget> all;
    return all;
}

const FuzzTarget *chosen = nullptr;

struct Folder {
    std::string path;
    Folder()
    {
        const fs::path folder = fs::temp_directory_path() / ("tamba-fuzz-" + std::to_string(pl_process_id()));
        Site site;
        std::string problem;
        if (!make_site(folder.string(), "en", &site, &problem)) {
            std::fprintf(stderr, "no site to run on: %s\n", problem.c_str());
            std::exit(2);
        }
        path = site.root;
    }
    ~Folder()
    {
        std::error_code ignored;
        fs::remove_all(path, ignored);
    }
};

int usage()
{
    std::fprintf(stderr, "the first argument is a target:");
    for (const FuzzTarget &target : targets())
        std::fprintf(stderr, " %s", target.name);
    std::fprintf(stderr, "\n");
    return 2;
}

} // namespace

FuzzRegistration::FuzzRegistration(const char *name, FuzzFunction run)
{
    targets().push_back({name, run});
}

const FuzzTarget *find_target(std::string_view name)
{
    const auto found = std::find_if(targets().begin(), targets().end(),
                                    [&](const FuzzTarget &target) { return target.name == name; });
    return found == targets().end() ? nullptr : &*found;
}

void promise(bool holds, const char *what)
{
    if (holds)
        return;
    std::fprintf(stderr, "broken promise: %s\n", what);
    std::abort();
}

const std::string &work_folder()
{
    static const Folder folder;
    return folder.path;
}

void write_file(const std::string &path, std::string_view bytes)
{
    if (FILE *file = std::fopen(path.c_str(), "wb")) {
        std::fwrite(bytes.data(), 1, bytes.size(), file);
        std::fclose(file);
    }
}

std::pair<std::string, std::string> halves(std::string_view input)
{
    const size_t end = std::min(input.find('\n'), input.size());
    return {std::string(input.substr(0, end)), std::string(input.substr(std::min(end + 1, input.size())))};
}

// What libFuzzer calls.  The target's name is taken out of the arguments.
extern "C" int LLVMFuzzerInitialize(int *argc, char ***argv)
{
    chosen = *argc > 1 ? find_target((*argv)[1]) : nullptr;
    if (!chosen)
        std::exit(usage());
    std::rotate(*argv + 1, *argv + 2, *argv + *argc);
    --*argc;
    work_folder();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    chosen->run(std::string_view(reinterpret_cast<const char *>(data), size));
    return 0;
}
