// Replays files: tamba_fuzz TARGET FOLDER.  Fails when there is nothing to replay.
#include <fuzz/target.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>

int main(int argc, char **argv)
{
    const FuzzTarget *const target = argc == 3 ? find_target(argv[1]) : nullptr;
    if (!target) {
        std::fprintf(stderr, "usage: tamba_fuzz TARGET FOLDER\n");
        return 2;
    }
    int files = 0;
    std::error_code error;
    for (const auto &entry : std::filesystem::directory_iterator(argv[2], error)) {
        std::ifstream file(entry.path(), std::ios::binary);
        const std::string bytes{std::istreambuf_iterator<char>(file), {}};
        target->run(bytes);
        ++files;
    }
    std::printf("%s: %d files\n", target->name, files);
    return files > 0 ? 0 : 1;
}
