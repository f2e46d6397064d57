// Stands in for gzip and gunzip where a site has none: "gzip -f FILE" and "gunzip FILE.gz".
#include <zlib.h>

#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace fs = std::filesystem;

namespace {

using File = std::unique_ptr<FILE, int (*)(FILE *)>;

int fail(const char *program, const std::string &file, const char *reason)
{
    std::fprintf(stderr, "%s: %s: %s\n", program, file.c_str(), reason);
    return 1;
}

// Ends well only with the whole file; what was written of another one goes again.
int finish(bool done, const std::string &from, const std::string &to, const char *program)
{
    std::error_code ignored;
    fs::remove(done ? from : to, ignored);
    return done ? 0 : fail(program, from, "it cannot be read or written whole");
}

int compress_file(const std::string &file)
{
    const std::string to = file + ".gz";
    bool done = false;
    {
        const File from(std::fopen(file.c_str(), "rb"), std::fclose);
        const gzFile out = from ? gzopen(to.c_str(), "wb") : nullptr;
        if (!out)
            return fail("gzip", file, "it cannot be opened");
        std::vector<char> block(1 << 16);
        done = true;
        while (const size_t length = std::fread(block.data(), 1, block.size(), from.get()))
            done = gzwrite(out, block.data(), static_cast<unsigned>(length)) > 0 && done;
        done = std::ferror(from.get()) == 0 && done;
        done = gzclose(out) == Z_OK && done;
    }
    return finish(done, file, to, "gzip");
}

int expand_file(const std::string &file)
{
    const std::string to = file.substr(0, file.rfind(".gz"));
    if (to == file)
        return fail("gunzip", file, "unknown suffix");
    bool done = false;
    {
        const gzFile in = gzopen(file.c_str(), "rb");
        const File out(in ? std::fopen(to.c_str(), "wb") : nullptr, std::fclose);
        if (!out)
            return fail("gunzip", file, "it cannot be opened");
        std::vector<char> block(1 << 16);
        int length = 0;
        done = true;
        while ((length = gzread(in, block.data(), static_cast<unsigned>(block.size()))) > 0)
            done = std::fwrite(block.data(), 1, static_cast<size_t>(length), out.get()) ==
                       static_cast<size_t>(length) &&
                   done;
        done = length == 0 && gzdirect(in) == 0 && done; // read as it stands: it is not compressed
        done = gzclose(in) == Z_OK && std::fflush(out.get()) == 0 && done;
    }
    return finish(done, file, to, "gunzip");
}

} // namespace

int main(int argc, char **argv)
{
    const std::string program = fs::path(argv[0]).stem().string();
    if (program == "gzip" && argc == 3 && std::string(argv[1]) == "-f")
        return compress_file(argv[2]);
    if (program == "gunzip" && argc == 2)
        return expand_file(argv[1]);
    return fail(program.c_str(), "usage", "gzip -f FILE, gunzip FILE.gz");
}
