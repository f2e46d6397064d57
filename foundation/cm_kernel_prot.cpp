// The protocol file and the day file.
#include <foundation/glbv.h>
#include <foundation/messages_table.h>
#include <foundation/time_stamp.h>
#include <platform/files.h>
#include <platform/process.h>
#include <tamba/messages.h>

#include <cstdio>
#include <string>

namespace {

constexpr size_t kFormatSize = 2560;
constexpr size_t kLineSize = 5120;
constexpr size_t kTextOffset = 13; // behind the tag and its blank
constexpr char kShortened[] = "%s %s[%6d]: Error: The following output was shortened (%d <> %d)\n";

// One message on its way to the file.  All its lines leave in one piece, so that no other writer gets between
// them.
class Message {
public:
    explicit Message(const char *format)
        : format_(format), tag_(std::string_view(format).substr(0, kTagLength))
    {
    }

    void make(va_list arguments)
    {
        if (tag_has_conversion())
            warn_tag();
        else if (std::strlen(format_) < kTextOffset)
            warn_short();
        FixedText<kLineSize> text;
        apply(text, arguments);
        append_lines(text.view());
    }

    const std::string &lines() const { return lines_; }
    const std::string &warnings() const { return warnings_; } // for standard error

private:
    bool tag_has_conversion() const { return tag_.view().find('%') != std::string_view::npos; }

    void warn_tag()
    {
        add(warnings_, "PROT: WARNING: invalid usage of PROT: prefix with format argument '%s': >%s<\n",
            tag_.c_str(), format_);
        add(lines_, "%s W999-BASICS [%6d]: Invalid usage of PROT: prefix with format argument '%s': >%s<\n",
            time_.c_str(), pid_, tag_.c_str(), format_);
    }

    void warn_short()
    {
        const int length = static_cast<int>(std::strlen(format_));
        add(warnings_, "PROT: WARNING: format tag is too short: >%s< (%d < 13)\n", format_, length);
        add(lines_, "%s W999-BASICS [%6d]: Invalid usage of PROT: format tag is too short: >%s< (%d < 13)\n",
            time_.c_str(), pid_, format_, length);
    }

    void warn_shortened(size_t size, size_t needed)
    {
        for (std::string *to : {&warnings_, &lines_})
            add(*to, kShortened, time_.c_str(), "E999-BASICS ", pid_, static_cast<int>(size),
                static_cast<int>(needed));
    }

    // The 13th character is dropped and the tag stands before the process id: a conversion that begins in the
    // first 13 characters and is not whole within the tag would tear the argument list.  One that never ends
    // would take the text behind the tag for its end.
    bool conversion_is_torn() const
    {
        Conversion found = find_conversion(format_, 0);
        while (found && found.letter && found.end <= kTagLength)
            found = find_conversion(format_, found.end);
        return found.begin < kTextOffset;
    }

    void apply(FixedText<kLineSize> &text, va_list arguments)
    {
        const bool torn = conversion_is_torn();
        const char *const rest = std::strlen(format_) > kTextOffset ? format_ + kTextOffset : "";
        FixedText<kFormatSize> line_format;
        const size_t needed = format_text(line_format.data(), kFormatSize, "%s %s[%6d]: %s", time_.c_str(),
                                          tag_.c_str(), pid_, rest);
        if (needed >= kFormatSize)
            warn_shortened(kFormatSize, needed);
        if (torn) {
            text.assign(line_format.view()); // as it stands, no arguments
            return;
        }
        drop_incomplete_conversion(line_format.data());
        const size_t whole =
            format_text_v(text.data(), kLineSize, line_format.c_str(), arguments, line_format.c_str());
        if (whole >= kLineSize)
            warn_shortened(kLineSize, whole);
    }

    // Every text line carries the header; the first has it already.  A line end at the end makes one more
    // line.
    void append_lines(std::string_view text)
    {
        size_t end = text.find('\n');
        lines_.append(text.substr(0, end)) += '\n';
        while (end != std::string_view::npos) {
            text.remove_prefix(end + 1);
            end = text.find('\n');
            add(lines_, "%s %s[%6d]: %s\n", time_.c_str(), tag_.c_str(), pid_,
                std::string(text.substr(0, end)).c_str());
        }
    }

    static void add(std::string &to, const char *format, ...) TAMBA_PRINTF(2, 3)
    {
        FixedText<kLineSize + 256> line;
        TAMBA_WITH_ARGUMENTS(format, format_text_v(line.data(), line.capacity(), format, arguments));
        if (line.length() == line.capacity() - 1)
            line.data()[line.capacity() - 2] = '\n';
        to += line.view();
    }

    const char *const format_;
    const FixedText<kTagLength + 1> tag_;
    const FixedText<TAMBA_TIME_SIZE> time_ = display_stamp_now();
    const int pid_ = static_cast<int>(pl_process_id());
    std::string lines_, warnings_;
};

// HH:MM of a time stamp; a text of fewer than six characters is the time itself, one of 6 to 11 has none.
FixedText<6> hour_and_minute(const char *stamp)
{
    const std::string_view text = text_or_empty(stamp);
    if (text.size() < 6)
        return FixedText<6>(text);
    return FixedText<6>(text.size() > 11 ? text.substr(11) : "");
}

} // namespace

int32_t PROT(const char *format, ...)
{
    GlobalValue file;
    if (!read_global("gv_prot", &file)) {
        std::fputs("\nNo gv_prot defined! tb_start_all necessary!\n", stderr);
        return 1;
    }
    Message message(text_or_empty(format));
    TAMBA_WITH_ARGUMENTS(format, message.make(arguments));
    // A protocol that cannot be opened is skipped in silence.
    if (pl_append(file.c_str(), message.lines().data(), message.lines().size(), nullptr) !=
        PlAppend::not_opened)
        std::fputs(message.warnings().c_str(), stderr);
    return 1;
}

void PROT_DAYFILE(char type, const char *name, const char *start, const char *end, char state, int32_t number,
                  const char *text, const char *rest)
{
    GlobalValue file;
    if (!read_global("gv_dayfile", &file)) {
        std::fputs("\nNo gv_dayfile defined! tb_start_all necessary!\n", stdout);
        return;
    }
    for (char *c = file.data(); *c; ++c)
        if (*c == '\\')
            *c = '/';
    constexpr char kLine[] = "%c %-30s %s-%s %c %2d %-20s %s\n";
    const FixedText<6> from = hour_and_minute(start), to = hour_and_minute(end);
    const auto format = [&](char *out, size_t size) {
        return format_text(out, size, kLine, type, text_or_empty(name), from.c_str(), to.c_str(), state,
                           number, text_or_empty(text), text_or_empty(rest));
    };
    std::string line(format(nullptr, 0), '\0');
    format(line.data(), line.size() + 1);
    int32_t error = 0;
    if (pl_append(file.c_str(), line.data(), line.size(), &error) == PlAppend::not_written)
        i_FILE_CLOSE(error);
}
