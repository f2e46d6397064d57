#include <foundation/text.h>
#include <foundation/trace_scope.h>
#include <tamba/text.h>

#include "tests/support/test_site.h"

#include <cstdio>
#include <random>
#include <string>

namespace {

using DigitFunction = char *(*)(const char *, const char *, char *);

std::string computed(DigitFunction function, const std::string &a, const std::string &b)
{
    char out[TAMBA_DIGITS_SIZE];
    EXPECT_EQ(function(a.c_str(), b.c_str(), out), out);
    return out;
}

// "quotient rest remainder"
std::string divided(const std::string &a, const std::string &b)
{
    char quotient[TAMBA_DIGITS_SIZE], remainder[TAMBA_DIGITS_SIZE];
    EXPECT_EQ(szSTR_DIV(a.c_str(), b.c_str(), quotient, remainder), quotient);
    return std::string(quotient) + " rest " + remainder;
}

std::string without_zeros(const std::string &digits)
{
    return digits.substr(std::min(digits.find_first_not_of('0'), digits.size() - 1));
}

using Chain = TestSite;

} // namespace

TEST(Strings, BoundedCopiesCutTerminateAndReportTheAttemptedLength)
{
    for (size_t size = 0; size <= 8; ++size) {
        char copy[] = "#########";
        char chain[] = "ab\0######";
        wchar_t wide[] = L"#########";
        EXPECT_EQ(strlcpy(copy, "hello", size), 5u);
        EXPECT_EQ(strlcat(chain, "hello", size), std::min<size_t>(size, 2) + 5);
        EXPECT_EQ(wcslcpy(wide, L"hello", size), 5u);
        if (size > 0) {
            EXPECT_EQ(copy, std::string("hello").substr(0, size - 1));
            EXPECT_EQ(wide, std::wstring(L"hello").substr(0, size - 1));
        }
        EXPECT_EQ(chain, size > 2 ? std::string("abhello").substr(0, size - 1) : "ab");
        const size_t behind = std::max<size_t>(size, 6);
        EXPECT_EQ(copy + behind, std::string(9 - behind, '#')) << size;
        EXPECT_EQ(wide + behind, std::wstring(9 - behind, L'#')) << size;
    }
}

TEST(Strings, CaseAndBlanksChangeInPlace)
{
    EXPECT_EQ(in_place(lowercase, "\304pfel UND [Z@`z]"), "\304pfel und [z@`z]");
    EXPECT_EQ(in_place(uppercase, "\344pfel und [Z@`z]"), "\344PFEL UND [Z@`Z]");
    EXPECT_EQ(in_place(squeeze, "//a///b/c//", '/'), "/a/b/c/");
    EXPECT_EQ(in_place(squeeze, "", '/'), "");
    EXPECT_EQ(in_place(str_compress, "   a  b\t\t c "), " a b\t\t c ");
    const char *const cases[][2] = {
        {" \t a b\t ", "a b"}, {"   ", ""}, {"", ""}, {"x", "x"}, {"\nx\n", "\nx\n"}};
    for (const auto &[text, trimmed] : cases)
        EXPECT_EQ(in_place(str_trim, text), trimmed);
}

TEST(Strings, ASubstringOutsideTheTextIsEmpty)
{
    const std::string text(600, 'x');
    // clang-format off
    const struct { int32_t start, length; const char *text, *result; } cases[] = {
        {0, 3, "abcdef", "abc"}, {4, 10, "abcdef", "ef"},    {5, 1, "abcdef", "f"}, {6, 1, "abcdef", ""},
        {-1, 3, "abcdef", ""},   {0, -1, "abcdef", ""},      {0, 0, "abcdef", ""},  {0, 512, "abcdef", ""},
        {0, 1, "", ""},          {2147483647, 511, "a", ""}, {0, 1, nullptr, ""},
    };
    // clang-format on
    for (const auto &c : cases)
        EXPECT_STREQ(str_ext(c.start, c.length, c.text), c.result) << c.start << "," << c.length;
    EXPECT_EQ(str_ext(10, 511, text.c_str()), std::string(511, 'x'));
    EXPECT_STREQ(str_ext(2, 2, str_ext(1, 4, "abcdef")), "de"); // its own result
    EXPECT_STREQ(longtoasc(-2147483647), "-2147483647");
    EXPECT_STREQ(intoas(0), "0");
}

TEST_F(Chain, ATextThatDoesNotFitIsReportedAndLeftOut)
{
    char buffer[TAMBA_CHAIN_SIZE] = "old ";
    EXPECT_EQ(str_chain(buffer, 0, buffer, "and ", "new", "", "unreached", ""), buffer);
    EXPECT_STREQ(buffer, "old old and new");
    EXPECT_STREQ(str_chain(buffer, 1, "a", "b", nullptr), "ab");

    const std::string fill(508, 'x');
    str_chain(buffer, 0, fill.c_str(), "");
    EXPECT_EQ(protocol(), ""); // 510 characters fit
    Captured errors(stderr);
    str_chain(buffer, 0, "%s", "c", "d", "");
    const std::string text = errors.text();
    EXPECT_EQ(buffer, "ab" + fill + "c"); // the shorter one behind it still fits, 511 is the end
    const std::string line =
        "FATAL: STR_CHAIN: string overflow strlen(filled_string) + strlen(new_string) > 511\n";
    EXPECT_EQ(text, line + "  filled_string: ab" + fill + "\n  new_string: %s\n" + line +
                        "  filled_string: ab" + fill + "c\n  new_string: d\n");
    EXPECT_TRUE(holds(protocol(), "]: STR_CHAIN string overflow\n"));
    EXPECT_TRUE(holds(protocol(), " E001-BASICS "));
}

TEST(Digits, SumsAndDifferencesOfLongNumbers)
{
    // clang-format off
    const struct { const char *a, *b, *sum, *difference; } cases[] = {
        {"999", "1", "1000", "+998"}, {"100", "99", "199", "+001"}, // zeros in front stay
        {"9999999999999999999", "9999999999999999999", "19999999999999999998", "0"},
        {"9999999999999999999", "1", "10000000000000000000", "+9999999999999999998"},
        {"10000000000000000000", "20000000000000000000", "Overflow in A", "Overflow in A"},
        {"1", "20000000000000000000", "Overflow in B", "Overflow in B"}, {"", "", "", "0"},
        {"007", "10", "017", "+997"}, // longer is larger: it borrows past its end
    };
    // clang-format on
    for (const auto &c : cases) {
        EXPECT_EQ(computed(szSTR_ADD, c.a, c.b), c.sum) << c.a << " + " << c.b;
        EXPECT_EQ(computed(szSTR_SUB, c.a, c.b), c.difference) << c.a << " - " << c.b;
    }
    char total[TAMBA_DIGITS_SIZE] = "4294967295";
    EXPECT_STREQ(szSTR_ADD(total, "1", total), "4294967296"); // the result in place of an operand
}

TEST(Digits, QuotientsKeepTheirLeadingZeros)
{
    EXPECT_EQ(divided("100", "7"), "014 rest 2");
    for (const char *divisor : {"0", "", "x", "-3"})
        EXPECT_EQ(divided("100", divisor), "0 rest no division") << divisor;
    EXPECT_EQ(divided("", ""), "0 rest no division");
    EXPECT_EQ(divided("10000000000000000000", "7"), "Overflow in A rest ");
}

TEST(Digits, ArithmeticAgreesWithTheProcessor)
{
    std::mt19937_64 random(7);
    for (int i = 0; i < 2000; ++i) {
        const uint64_t a = random() % 10000000000000000000u >> random() % 63;
        const uint64_t b = random() % 8000000000000000000u >> random() % 63;
        const std::string left = std::to_string(a), right = std::to_string(b);
        if (a <= 9000000000000000000u) {
            ASSERT_EQ(computed(szSTR_ADD, left, right), std::to_string(a + b));
        }
        const std::string difference = computed(szSTR_SUB, left, right);
        ASSERT_EQ(difference[0], a == b ? '0' : a > b ? '+' : '-');
        ASSERT_EQ(without_zeros(difference.substr(a == b ? 0 : 1)), std::to_string(a > b ? a - b : b - a));
        ASSERT_EQ(iSTR_CMP(left.c_str(), right.c_str()), a == b ? 0 : a > b ? 1 : -1);
        if (b == 0 || a == b)
            continue;
        const std::string result = divided(left, right);
        const size_t end = result.find(' ');
        ASSERT_EQ(end, left.size()) << "one digit for each of the dividend";
        ASSERT_EQ(without_zeros(result.substr(0, end)) + result.substr(end),
                  std::to_string(a / b) + " rest " + std::to_string(a % b));
    }
}

TEST(Digits, ComparingAndTurningFollowTheTexts)
{
    // clang-format off
    const struct { const char *a, *b; int32_t order; } cases[] = {
        {"-5", "5", -1}, {"5", "-500", 1}, {"-9", "-10", 1}, {"007", "10", 1}, {"-5", "-7", -1},
        {"", "0", -1},   {nullptr, "", 0},
    };
    // clang-format on
    for (const auto &c : cases)
        EXPECT_EQ(iSTR_CMP(c.a, c.b), c.order) << c.b;

    char text[] = "123\0################";
    EXPECT_EQ(iSTR_TURN(text, 0), 3);
    EXPECT_EQ(std::string(text, 6), std::string("321\0##", 6));
    EXPECT_EQ(iSTR_TURN(text, 1), 3);
    EXPECT_STREQ(text, "12300000000000000000");
    EXPECT_EQ(iSTR_TURN(text, 1), 20);
    EXPECT_STREQ(text, "00000000000000000321");
}
