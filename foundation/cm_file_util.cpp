// Searching and sorting text files.
#include <tamba/files.h>

#include <foundation/line_search.h>
#include <foundation/text.h>
#include <platform/files.h>
#include <platform/process.h>
#include <tamba/config.h>
#include <tamba/messages.h>

#include <algorithm>
#include <cerrno>
#include <memory>

namespace {

constexpr size_t kLineLength = 511;
constexpr size_t kBlock = size_t{256} << 10;

struct CloseFile {
    void operator()(FILE *stream) const { std::fclose(stream); }
};
using File = std::unique_ptr<FILE, CloseFile>;

// The end of the line piece at begin: behind its line feed, or after 511 characters.  A CR in front of the line feed
// is no character of the line.
const char *piece_end(const char *begin, const char *end)
{
    const size_t length = std::min(static_cast<size_t>(end - begin), kLineLength + 1);
    const auto *const feed = static_cast<const char *>(std::memchr(begin, '\n', length));
    if (feed && (feed - begin < static_cast<ptrdiff_t>(kLineLength) || feed[-1] == '\r'))
        return feed + 1;
    return begin + std::min(length, kLineLength);
}

// The text of a piece as a reader of lines sees it: up to its zero, with a plain line feed.
void piece_text(const char *begin, const char *end, FixedText<kLineLength + 1> *text)
{
    const std::string_view piece(begin, static_cast<size_t>(end - begin));
    const size_t zero = piece.find('\0');
    const bool cr_lf =
        zero == std::string_view::npos && piece.size() >= 2 && piece.substr(piece.size() - 2) == "\r\n";
    text->assign(piece.substr(0, cr_lf ? piece.size() - 2 : zero));
    if (cr_lf)
        text->append("\n");
}

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
        const std::unique_ptr<char[]> block(new char[kBlock]);
        size_t kept = 0;
        for (bool more = true; more && (last_ || !found_);) {
            const size_t got = std::fread(block.get() + kept, 1, kBlock - kept, stream_);
            more = got == kBlock - kept;
            const char *const end = block.get() + kept + got;
            const char *const done = search(block.get(), more ? whole_pieces(block.get(), end) : end);
            kept = static_cast<size_t>(end - done);
            std::memmove(block.get(), done, kept);
        }
        return found_;
    }
    std::string_view line() const { return line_.view(); }

private:
    // Behind the last line feed: a line that goes on is looked at when it is there.  A line that fills the block is cut
    // where its pieces end.
    static const char *whole_pieces(const char *begin, const char *end)
    {
        const char *at = end;
        while (at > begin && at[-1] != '\n')
            --at;
        constexpr ptrdiff_t kLength = kLineLength;
        return at > begin
                   ? at
                   : begin + (end - begin - 2) / kLength * kLength; // what follows decides on a CR, too
    }

    // Looks at all pieces of [begin, end), which begins with a piece; returns end.
    const char *search(const char *begin, const char *end)
    {
        const char *next = begin; // where a piece begins
        LinePattern::Walk walk(pattern_, end);
        while (next < end && (last_ || !found_)) {
            const char *const at = walk.next(next);
            if (at == end)
                break;
            const char *const piece = piece_of(next, at, end);
            next = piece_end(piece, end);
            take(piece, next);
        }
        return end;
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

    void take(const char *begin, const char *end)
    {
        FixedText<kLineLength + 1> text;
        piece_text(begin, end, &text);
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
    const File stream(pl_fopen(path.c_str(), "rb"));
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

int32_t i_SEEK_STRING(FILE *stream, char *line, const char *first, const char *second, char mode)
{
    const TextFinder one(text_or_empty(first)), other(text_or_empty(second));
    while (std::fgets(line, static_cast<int>(kLineLength + 1), stream)) {
        const bool has_one = one.stands_in(line);
        if (mode == 'a' ? has_one && other.stands_in(line)
                        : has_one || (mode == 'o' && other.stands_in(line)))
            return 1;
    }
    return 0;
}

int32_t sort_file(const char *input, const char *output)
{
    return pl_shell(pl_sort_command(text_or_empty(input), text_or_empty(output)).c_str());
}

int32_t cm_chmod(const char *, int32_t)
{
    return 0;
}

int32_t iCM_FCLOSE(FILE *)
{
    return i_FILE_CLOSE(errno);
}
