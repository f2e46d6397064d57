#include <backup/joblog.h>

#include <foundation/text.h>

#include <algorithm>
#include <cstdio>

namespace {

constexpr size_t kCodeLength = 6;

bool is_code(std::string_view text)
{
    return text.size() >= kCodeLength && text[0] == '-' && text[5] == ':' &&
           std::all_of(text.begin() + 1, text.begin() + 5, is_digit);
}

int32_t clamped(long value)
{
    return static_cast<int32_t>(std::clamp<long>(value, INT32_MIN, INT32_MAX));
}

} // namespace

LogLine::LogLine(std::string_view text)
    : text_(text), has_mark_(text.find("TBC_MSEX-") != std::string_view::npos), has_code_(is_code(code()))
{
    if (has_code_)
        return;
    shift_ = 1;
    has_code_ = is_code(code());
    if (!has_code_)
        shift_ = 0;
}

int32_t LogLine::number() const
{
    return to_int32(FixedText<kCodeLength>(code(5).substr(1)).c_str());
}

int scan_items(std::string_view text, int32_t *processed, int32_t *not_processed)
{
    const FixedText<512> line(text);
    long done = 0, left = 0;
    const int read = std::sscanf(
        line.c_str(), "Items processed correctly: [%ld]. Not processed or incorrectly processed %*s [%ld]",
        &done, &left);
    if (read >= 1)
        *processed = clamped(done);
    if (read == 2)
        *not_processed = clamped(left);
    return std::max(read, 0);
}
