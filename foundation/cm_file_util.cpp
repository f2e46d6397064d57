// Searching and sorting text files.
#include <tamba/files.h>

#include <foundation/line_search.h>
#include <foundation/lines.h>
#include <foundation/text.h>
#include <foundation/trace_scope.h>
#include <platform/files.h>
#include <platform/process.h>
#include <tamba/config.h>
#include <tamba/messages.h>

#include <algorithm>
#include <cerrno>

namespace {

constexpr size_t kLineLength = 511;
constexpr size_t kBlock = size_t{32} << 10; // on the stack, so that no search fails for want of memory

// Looks through a file for lines that match, block by block: only where the pattern may stand are lines made.
class LineSearch {
public:
    LineSearch(FILE *stream, std::string_view pattern, bool last)
        : stream_(stream), pattern_(pattern), last_(last)
    {
    }

    // True when a line matched; line is then the first or the last one.
    bool run()
    {
        char buffer[kBlock];
        LineBlocks blocks(stream_, buffer, sizeof buffer, kLineLength);
        for (std::string_view block; (last_ || !found_) && blocks.next(&block);)
            search(block.data(), block.data() + block.size());
        return found_ && std::ferror(stream_) == 0; // what was not read may hold a later hit
    }
    std::string_view line() const { return line_.view(); }

private:
    // Looks at all pieces of [begin, end), which begins with a piece.
    void search(const char *begin, const char *end)
    {
        const char *next = begin; // where a piece begins
        LinePattern::Walk walk(pattern_, end);
        while (next < end && (last_ || !found_)) {
            const char *const at = walk.next(next);
            if (at == end)
                break;
            const char *const piece = piece_of(next, at, end);
            next = piece_end(piece, end);
            take({piece, static_cast<size_t>(next - piece)});
        }
    }

    static const char *piece_end(const char *begin, const char *end)
    {
        return begin + line_length({begin, static_cast<size_t>(end - begin)}, kLineLength);
    }

    // The piece that holds the place at; one begins at next, in front of it.
    static const char *piece_of(const char *next, const char *at, const char *end)
    {
        const char *piece = at;
        while (piece > next && piece[-1] != '\n')
            --piece;
        for (const char *stop; (stop = piece_end(piece, end)) <= at;)
            piece = stop;
        return piece;
    }

    // The text of a line is what a reader of lines sees: with its line end, a single line feed.
    void take(std::string_view piece)
    {
        LineReader reader(piece, kLineLength);
        reader.next(&piece);
        FixedText<kLineLength + 1> text(piece);
        if (reader.ended())
            text.append("\n");
        if (!pattern_.matches(text.view()))
            return;
        found_ = true;
        line_ = text;
    }

    FILE *const stream_;
    const LinePattern pattern_;
    const bool last_;
    bool found_ = false;
    FixedText<kLineLength + 1> line_;
};

int32_t search_file(const char *file, char *pattern, bool last)
{
    FixedText<TAMBA_RESOLVE_SIZE> path{text_or_empty(file)};
    resolve_glbv(path.data()); // an unknown name stays, and is then no file
    std::string_view wanted = text_or_empty(pattern);
    const bool replaces = !wanted.empty() && wanted.back() == '^';
    if (replaces)
        wanted.remove_suffix(1);
    const PlFile stream(pl_fopen(path.c_str(), "rb"));
    if (!stream)
        return 0;
    std::setvbuf(stream.get(), nullptr, _IONBF, 0); // the blocks are large enough
    LineSearch search(stream.get(), wanted, last);
    if (!search.run())
        return 0;
    if (replaces)
        copy_text(pattern, TAMBA_PATTERN_SIZE,
                  search.line().substr(0, std::max<size_t>(search.line().size(), 1) - 1));
    return 1;
}

} // namespace

int32_t file_search(const char *file, char *pattern)
{
    return search_file(file, pattern, false);
}

int32_t file_rev_search(const char *file, char *pattern)
{
    return search_file(file, pattern, true);
}

bool find_line(const char *file, const char *pattern, FixedText<TAMBA_PATTERN_SIZE> *line)
{
    line->assign(pattern);
    return file_search(file, line->data()) == 1;
}

int32_t i_SEEK_STRING(FILE *stream, char *line, const char *first, const char *second, char mode)
{
    const TextFinder one(text_or_empty(first)), other(text_or_empty(second));
    while (stream && line && read_line(stream, line, kLineLength + 1)) {
        const bool has_one = one.stands_in(line);
        if (mode == 'a' ? has_one && other.stands_in(line)
                        : has_one || (mode == 'o' && other.stands_in(line)))
            return 1;
    }
    return 0;
}

int32_t sort_file(const char *input, const char *output)
{
    const std::string command = pl_sort_command(text_or_empty(input), text_or_empty(output));
    if (!command.empty())
        return pl_shell(command.c_str());
    own_trace("sort_file: these names cannot stand in a command: %s %s", text_or_empty(input),
              text_or_empty(output));
    return -1;
}

int32_t cm_chmod(const char *, int32_t)
{
    return 0;
}

int32_t iCM_FCLOSE(FILE *)
{
    return i_FILE_CLOSE(errno);
}
