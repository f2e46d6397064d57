#include <foundation/lines.h>

#include <algorithm>
#include <cstring>

size_t line_length(std::string_view text, size_t limit)
{
    const size_t feed = text.substr(0, limit + 1).find('\n');
    if (feed < limit || (feed == limit && limit > 0 && text[feed - 1] == '\r'))
        return feed + 1;
    return std::min(limit, text.size());
}

bool LineReader::next(std::string_view *line)
{
    if (rest_.empty())
        return false;
    *line = rest_.substr(0, line_length(rest_, limit_));
    rest_.remove_prefix(line->size());
    const size_t zero = line->find('\0');
    ended_ = zero == std::string_view::npos && line->ends_with('\n');
    *line = line->substr(0, zero);
    if (ended_)
        line->remove_suffix(line->ends_with("\r\n") ? 2 : 1);
    return true;
}

bool read_line(std::FILE *stream, char *line, size_t size)
{
    line[size - 1] = '.'; // a zero only when the buffer is full
    if (!std::fgets(line, static_cast<int>(size), stream))
        return false;
    const size_t length = std::strlen(line);
    if (length >= 2 && std::strcmp(line + length - 2, "\r\n") == 0) {
        std::strcpy(line + length - 2, "\n");
    } else if (line[size - 1] == '\0' && size > 1 && line[size - 2] == '\r') {
        const int next = std::getc(stream);
        if (next == '\n')
            line[size - 2] = '\n';
        else if (next != EOF)
            std::ungetc(next, stream);
    }
    return true;
}

bool LineBlocks::next(std::string_view *block)
{
    if (!more_)
        return false;
    held_ -= done_;
    std::memmove(buffer_, buffer_ + done_, held_);
    const size_t got = std::fread(buffer_ + held_, 1, std::min<uint64_t>(room_ - held_, left_), stream_);
    held_ += got;
    left_ -= got;
    more_ = held_ == room_ && left_ > 0;
    done_ = held_;
    if (more_) {
        // A line that goes on is handed out when its end is there; one that fills the buffer, where its pieces end and
        // what follows has shown that no CR LF is torn.
        while (done_ > 0 && buffer_[done_ - 1] != '\n')
            --done_;
        if (done_ == 0)
            done_ = (held_ - 2) / limit_ * limit_;
    }
    *block = {buffer_, done_};
    return done_ > 0;
}
