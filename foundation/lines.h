// Lines of texts, one rule for all: a line holds at most limit characters, its line end counted as one, and the rest of a
// longer line comes as a line of its own.  CR LF is one line end, as where the C library translates it, and the text of a
// line ends at a zero byte.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string_view>

// Length of the first line of text with its line end.
size_t line_length(std::string_view text, size_t limit);

// Goes through a text.
class LineReader {
public:
    LineReader(std::string_view text, size_t limit) : rest_(text), limit_(limit) {}

    // The next line without its line end; false when there is none.
    bool next(std::string_view *line);

    // Whether the last line had a line end: it was neither longer than the limit, nor the text's last piece, nor cut at
    // a zero byte.
    bool ended() const { return ended_; }

private:
    std::string_view rest_;
    size_t limit_;
    bool ended_ = false;
};

// Reads one line of a stream into a buffer of size characters, its terminator counted.  The line end stays, a single
// line feed.  False at the end of the stream.
bool read_line(std::FILE *stream, char *line, size_t size);

// Reads a stream in blocks that end where a line ends.
class LineBlocks {
public:
    // room: bytes of buffer, several times limit.  size: bytes of the stream that count.
    LineBlocks(std::FILE *stream, char *buffer, size_t room, size_t limit, uint64_t size = UINT64_MAX)
        : stream_(stream), buffer_(buffer), room_(room), limit_(limit), left_(size)
    {
    }

    // The next block, valid until the following one is read; false at the end.
    bool next(std::string_view *block);

private:
    std::FILE *const stream_;
    char *const buffer_;
    const size_t room_, limit_;
    uint64_t left_;
    size_t done_ = 0, held_ = 0; // bytes of buffer_ that were handed out, that it holds
    bool more_ = true;
};
