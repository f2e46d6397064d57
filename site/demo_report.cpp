#include <site/demo_report.h>

#include <platform/files.h>
#include <platform/process.h>

#include <algorithm>
#include <cstdio>

namespace {

constexpr size_t kWidth = 112;
constexpr size_t kNameWidth = 11;
constexpr size_t kMargin = 4;

// The library speaks Latin-1, terminals speak UTF-8.
std::string utf8(const std::string &latin1)
{
    std::string text;
    for (const char c : latin1) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x80) {
            text += c;
        } else {
            text += static_cast<char>(0xC0 | (byte >> 6));
            text += static_cast<char>(0x80 | (byte & 0x3F));
        }
    }
    return text;
}

// Breaks a line at blanks; what goes on is indented by four more than the line itself.
std::vector<std::string> wrapped(std::string line, size_t width)
{
    std::vector<std::string> pieces;
    const size_t indent = std::min(line.find_first_not_of(' '), width / 2) + 4;
    while (line.size() > width) {
        size_t cut = line.rfind(' ', width);
        if (cut == std::string::npos || cut < width / 2)
            cut = width;
        pieces.push_back(line.substr(0, cut));
        const size_t next = line.find_first_not_of(' ', cut);
        line = next == std::string::npos ? "" : std::string(indent, ' ') + line.substr(next);
    }
    pieces.push_back(line);
    return pieces;
}

void print(const std::string &line)
{
    std::printf("%s\n", line.c_str());
}

} // namespace

Report::Report() : colour_(pl_is_terminal(stdout) && !pl_getenv("NO_COLOR")) {}

std::string Report::toned(const std::string &text, Tone tone) const
{
    const char *const codes[] = {"", "\033[2m", "\033[32m", "\033[1;31m", "\033[1m"};
    if (!colour_ || tone == Tone::plain || text.empty())
        return text;
    return codes[static_cast<int>(tone)] + text + "\033[0m";
}

void Report::title(const std::string &left, const std::string &right)
{
    print(toned(left, Tone::strong));
    print(toned(right, Tone::faint));
}

void Report::step(const std::string &title, const std::string &explanation)
{
    char number[16];
    std::snprintf(number, sizeof number, "%2d  ", ++steps_);
    print("");
    print(toned(number + title, Tone::strong));
    for (const std::string &line : wrapped(explanation, kWidth - kMargin))
        print(std::string(kMargin, ' ') + line.substr(line.find_first_not_of(' ')));
}

void Report::field(const std::string &name, const std::vector<std::string> &lines, Tone tone)
{
    std::string head =
        toned(name, Tone::faint) + std::string(kNameWidth - std::min(name.size(), kNameWidth), ' ');
    const auto put = [&](const std::string &line, Tone how) {
        print(std::string(kMargin, ' ') + head + toned(utf8(line), how));
        head.assign(kNameWidth, ' ');
    };
    if (lines.empty())
        put("-", Tone::faint);
    for (const std::string &line : lines)
        for (const std::string &piece : wrapped(line, kWidth - kMargin - kNameWidth))
            put(piece, tone);
}

void Report::check(bool holds, const std::string &claim)
{
    ++claims_;
    broken_ += holds ? 0 : 1;
    field(holds ? "ok" : "WRONG", {claim}, holds ? Tone::good : Tone::bad);
}

bool Report::finish()
{
    char line[128];
    std::snprintf(line, sizeof line, "%d steps, %d checks, %s", steps_, claims_,
                  broken_ == 0 ? "everything as it should be" : "NOT as it should be");
    print("");
    print(toned(line, broken_ == 0 ? Tone::good : Tone::bad));
    if (broken_ != 0)
        std::fprintf(stderr, "tamba_demo: %d of %d checks failed\n", broken_, claims_);
    return broken_ == 0;
}
