// Decimal arithmetic on digit strings: byte counts that do not fit 32 bits, as the catalogue stores them.
#include <foundation/text.h>
#include <tamba/text.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>

namespace {

constexpr size_t kLongestOperand = 19;
constexpr size_t kTurnedLength = TAMBA_TURN_SIZE - 1; // after padding
constexpr size_t kOutSize = TAMBA_DIGITS_SIZE;

// A text that is no number computes something, but inside its digits.
int digit_value(char c)
{
    return is_digit(c) ? c - '0' : 0;
}

char digit(int value)
{
    return static_cast<char>('0' + value);
}

// An operand with its least significant digit first, padded with "0".
struct Turned {
    explicit Turned(const char *text)
    {
        copy_text(digits, sizeof digits, text);
        length = static_cast<size_t>(iSTR_TURN(digits, 1));
    }
    int operator[](size_t index) const { return digit_value(digits[index]); }

    char digits[TAMBA_TURN_SIZE];
    size_t length;
};

// Names the first operand that is too long; null when both fit.
const char *overflow_of(const char *a, const char *b)
{
    if (std::strlen(a) > kLongestOperand)
        return "Overflow in A";
    return std::strlen(b) > kLongestOperand ? "Overflow in B" : nullptr;
}

// Digits of larger - smaller over the length of the longer one.  A "larger" number that is only longer
// ("007", "10") borrows past its end and the digits wrap.
FixedText<TAMBA_TURN_SIZE> difference(const char *larger, const char *smaller)
{
    const Turned from(larger);
    const Turned take(smaller);
    const size_t length = std::max(from.length, take.length);
    FixedText<TAMBA_TURN_SIZE> result;
    int borrow = 0;
    for (size_t i = 0; i < length; ++i) {
        const int value = from[i] - take[i] - borrow;
        borrow = value < 0 ? 1 : 0;
        result.data()[i] = digit(value + 10 * borrow);
    }
    result.data()[length] = '\0';
    iSTR_TURN(result.data(), 0);
    return result;
}

// 0 when the text is no number above 0.
uint64_t read_divisor(const char *text)
{
    const int saved = errno;
    const long long number = std::strtoll(text, nullptr, 10);
    errno = saved;
    return number > 0 ? static_cast<uint64_t>(number) : 0;
}

// Long division.  The remainder never exceeds the part of a that is already divided, which is below 10^19.
uint64_t divide(const char *a, uint64_t divisor, char *quotient)
{
    uint64_t rest = 0;
    for (; *a; ++a) {
        rest = rest * 10 + static_cast<uint64_t>(digit_value(*a));
        *quotient++ = digit(static_cast<int>(rest / divisor));
        rest %= divisor;
    }
    *quotient = '\0';
    return rest;
}

} // namespace

int32_t iSTR_TURN(char *text, int32_t pad)
{
    if (!text)
        return 0;
    const size_t length = std::strlen(text);
    std::reverse(text, text + length);
    if (pad && length < kTurnedLength) {
        std::memset(text + length, '0', kTurnedLength - length);
        text[kTurnedLength] = '\0';
    }
    return static_cast<int32_t>(length);
}

int32_t iSTR_CMP(const char *a, const char *b)
{
    const std::string_view left = text_or_empty(a);
    const std::string_view right = text_or_empty(b);
    const bool left_negative = left.starts_with('-');
    const bool right_negative = right.starts_with('-');
    if (left == right)
        return 0;
    if (left_negative != right_negative)
        return left_negative ? -1 : 1;
    if (left.size() != right.size())
        return (left.size() > right.size()) != left_negative ? 1 : -1;
    // Two negative numbers of equal length compare as texts too: "-5" is smaller than "-7".
    return left < right ? -1 : 1;
}

char *szSTR_ADD(const char *a, const char *b, char *out)
{
    const char *const left = text_or_empty(a);
    const char *const right = text_or_empty(b);
    if (const char *const overflow = overflow_of(left, right)) {
        copy_text(out, kOutSize, overflow);
        return out;
    }
    const Turned first(left);
    const Turned second(right);
    const size_t length = std::max(first.length, second.length);
    FixedText<TAMBA_TURN_SIZE> sum;
    int carry = 0;
    for (size_t i = 0; i < length; ++i) {
        const int value = first[i] + second[i] + carry;
        carry = value / 10;
        sum.data()[i] = digit(value % 10);
    }
    sum.data()[length] = '\0';
    if (carry)
        sum.append("1");
    iSTR_TURN(sum.data(), 0);
    copy_text(out, kOutSize, sum.view());
    return out;
}

char *szSTR_SUB(const char *a, const char *b, char *out)
{
    const char *const left = text_or_empty(a);
    const char *const right = text_or_empty(b);
    const char *const overflow = overflow_of(left, right);
    const int32_t order = iSTR_CMP(left, right);
    if (overflow || order == 0) {
        copy_text(out, kOutSize, overflow ? overflow : "0");
        return out;
    }
    // Leading zeros stay, as many digits as the longer operand has: 100 minus 99 is "+001".
    FixedText<kOutSize> result(order > 0 ? "+" : "-");
    result.append((order > 0 ? difference(left, right) : difference(right, left)).view());
    copy_text(out, kOutSize, result.view());
    return out;
}

char *szSTR_DIV(const char *a, const char *b, char *quotient, char *remainder)
{
    const char *const dividend = text_or_empty(a);
    const char *const divisor_text = text_or_empty(b);
    FixedText<kOutSize> result("0");
    FixedText<kOutSize> rest("no division");
    if (std::strlen(dividend) > kLongestOperand) {
        result.assign("Overflow in A");
        rest.assign("");
    } else if (*dividend && std::strcmp(dividend, divisor_text) == 0) {
        result.assign("1"); // decided by the texts alone, so "0" by "0" is 1 too
        rest.assign("0");
    } else if (const uint64_t divisor = read_divisor(divisor_text); *dividend && divisor > 0) {
        rest.format("%llu", static_cast<unsigned long long>(divide(dividend, divisor, result.data())));
    }
    copy_text(quotient, kOutSize, result.view());
    copy_text(remainder, kOutSize, rest.view());
    return quotient;
}
