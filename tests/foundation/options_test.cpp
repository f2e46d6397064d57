#include "tests/support/allocation.h"
#include "tests/support/test_site.h"

#include <foundation/options.h>
#include <tamba/options.h>

#include <cstring>

namespace {

using Fields = std::vector<std::string>;

class Arguments {
public:
    explicit Arguments(Fields words) : words_(std::move(words))
    {
        for (std::string &word : words_)
            pointers_.push_back(word.data());
        pointers_.push_back(nullptr);
    }
    int count() const { return static_cast<int>(words_.size()); }
    char *const *get() const { return pointers_.data(); }

private:
    Fields words_;
    std::vector<char *> pointers_;
};

TEST(Options, LettersClustersAndOperands)
{
    // clang-format off
    const struct { const char *letters; Fields words; std::string taken; } cases[] = {
        // taken: "letter(argument)" each, then the index of the first operand
        {"ab", {"p", "-ab", "/a"}, "a b a 3"},  {"ab:", {"p", "-abx:y", "-b", "-a"}, "a b(x:y) b(-a) 4"},
        {"a:", {"p", "-a"}, "? 2"},             {"a", {"p", "-xa", "-a"}, "? a 3"},
        {"a", {"p", "-a", "file", "-a"}, "a 2"}, {"a", {"p", "--", "-a"}, "2"}, {"a", {"p", "-", "-a"}, "2"},
        {"a", {"p", "/", "-a"}, "a 3"},         {"a", {"p", "-a:a"}, "a ? a 2"}, {"", {"p", ""}, "1"},
    };
    // clang-format on
    for (const auto &c : cases) {
        const Arguments arguments(c.words);
        std::string taken;
        optind = 1;
        for (int letter; (letter = getopt(arguments.count(), arguments.get(), c.letters)) != -1;)
            taken += static_cast<char>(letter) + (optarg ? "(" + std::string(optarg) + ") " : " ");
        EXPECT_EQ(taken + std::to_string(optind), c.taken) << c.words.back();
    }
}

TEST(Options, TheSecondParserTellsWhereTheOperandsBegin)
{
    const Arguments arguments({"p", "-ax", "--", "-a"});
    char value[TAMBA_OPTION_SIZE] = "#";
    EXPECT_EQ(mygetopt(arguments.count(), arguments.get(), "a:", value), 'a');
    EXPECT_STREQ(value, "x");
    EXPECT_EQ(mygetopt(arguments.count(), arguments.get(), "a:", value), -1);
    EXPECT_STREQ(value, "+3");
    EXPECT_EQ(optind, 1) << "the two parsers share nothing";
}

TEST(Options, TheSecondParserLeavesItsValueInABuffer)
{
    // clang-format off
    const struct { const char *letters; Fields words; std::string taken; } cases[] = {
        // taken: letter and value of each step, then -1's value
        {"a", {"p", "/a"}, ""}, {"a:", {"p", "-a", "x", "-ay", "z"}, "a=x a=y "}, {"a", {"p", "-"}, "+2"},
        {"a:b", {"p", "-ax", "-b", "-c", "-a"}, "a=x b= ?= ?= "},
        {"a:", {"p", "-ax", "-:", "--", "-a"}, "a=x ?=x +4"}, // ":" leaves it alone
        {"a:", {"p", "-a" + std::string(600, 'v')}, "a=" + std::string(511, 'v') + " "},
    };
    // clang-format on
    for (const auto &c : cases) {
        const Arguments arguments(c.words);
        int index = 1;
        OptionState state = {&index, "-"};
        char value[TAMBA_OPTION_SIZE] = "#";
        std::string taken;
        for (int letter;
             (letter = next_option_into(&state, arguments.count(), arguments.get(), c.letters, value)) != -1;)
            taken += static_cast<char>(letter) + ("=" + std::string(value)) + " ";
        EXPECT_EQ(taken + value, c.taken) << c.words.back();
        index = 1;
        while (next_option_into(&state, arguments.count(), arguments.get(), c.letters, nullptr) != -1)
            EXPECT_LE(index, arguments.count());
    }
}

TEST(Fields, EmptyOnesCount)
{
    EXPECT_EQ(cm_strtok(nullptr, ','), nullptr) << "before any text";
    const std::pair<const char *, Fields> cases[] = {
        {"a,,b", {"a", "", "b"}}, {"a,", {"a", ""}}, {"", {""}}, {",", {"", ""}}, {"abc", {"abc"}}};
    for (const auto &[text, fields] : cases) {
        Fields found;
        for (const char *field = cm_strtok(text, ','); field; field = cm_strtok(nullptr, ','))
            found.push_back(field);
        EXPECT_EQ(found, fields) << text;
        EXPECT_EQ(cm_strtok(nullptr, ','), nullptr) << "stays behind the end";
    }
    Captured errors(stderr);
    EXPECT_EQ(std::string(cm_strtok(std::string(9000, 'x').c_str(), ',')).size(), 8191u);
    EXPECT_EQ(cm_strtok(nullptr, ','), nullptr);
    EXPECT_TRUE(holds(errors.text(), "string shortend to 8191 chars bcs. of string overflow: strlen(xxx"));
}

TEST(Fields, AnElementIsTakenByItsIndex)
{
    const std::string long_text(2000, 'x');
    // clang-format off
    const struct { int32_t index; std::string text, out; int32_t result; } cases[] = {
        {1, "x:y:z", "y", 1}, {0, ":x", "x", 1}, {3, "x:y", "", 0},  {0, ":", "", 0},   {0, "", "", 0},
        {0, "::x", "", 1},    {1, "::x", "x", 1}, {-1, "x:y", "", 0}, {2, "x:y:", "", 1}, {1, "x", "", 0},
        {0, long_text, long_text, 1}, {0, long_text + ":", long_text.substr(0, 767), 1},
    };
    // clang-format on
    for (const auto &c : cases) {
        std::string out(2100, '#');
        EXPECT_EQ(str_elem(c.index, ':', c.text.c_str(), out.data()), c.result) << c.text;
        EXPECT_STREQ(out.c_str(), c.out.c_str());
        std::string in_place = c.text + std::string(TAMBA_ELEM_SIZE, '\0');
        str_elem(c.index, ':', in_place.c_str(), in_place.data());
        EXPECT_STREQ(in_place.c_str(), c.out.c_str()) << "out may be text";
    }
}

TEST(Fields, PiecesOfAnyNumber)
{
    std::string many = "0";
    for (int i = 1; i < 25; ++i)
        many += "||" + std::to_string(i);
    const std::pair<std::string, int32_t> cases[] = {
        {"a||b", 2}, {"", 1}, {"||", 2}, {"a|||b", 2}, {many, 25}};
    for (const auto &[text, count] : cases) {
        char **array = nullptr;
        ASSERT_EQ(cm_split(text.c_str(), "||", &array), count) << text;
        std::string joined = array[0];
        for (int32_t i = 1; i < count; ++i)
            joined += "||" + std::string(array[i]);
        EXPECT_EQ(joined, text);
        EXPECT_EQ(array[count], nullptr);
        FreeSplitList(array);
    }
    char **array = nullptr;
    EXPECT_EQ(cm_split(nullptr, "x", &array), -1);
    ASSERT_EQ(cm_split("abc", "", &array), 1) << "an empty separator splits nothing";
    EXPECT_STREQ(array[0], "abc");
    FreeSplitList(array);

    LLHead *const list = ConsLL();
    EXPECT_EQ(InsArgvLL(list, "one", "", "two", (char *)nullptr), 0);
    EXPECT_EQ(SizeLL(list), 3u);
    EXPECT_STREQ(static_cast<char *>(LastElmLL(list)), "two");
    EXPECT_EQ(IsElmLL(LastElmLL(list)), 4u);
    DestLL(list);
}

TEST(Fields, AShortageOfMemoryLeavesNothingBehind)
{
    char **array = nullptr;
    for (int nth = 1;; ++nth) {
        const FailingAllocation fails(nth);
        const int32_t count = cm_split("a,b,c", ",", &array);
        if (!FailingAllocation::reached()) {
            EXPECT_EQ(nth, 5) << "an array and three pieces";
            EXPECT_EQ(count, 3);
            break;
        }
        EXPECT_EQ(count, -1) << nth;
        EXPECT_EQ(array, nullptr) << nth;
    }
    FreeSplitList(array);
}

TEST(Fifo, AShortageOfMemoryLeavesTheQueueAsItIs)
{
    {
        const FailingAllocation none(0);
        EXPECT_EQ(CreateFIFOList(), nullptr);
    }
    FIFOList *const queue = CreateFIFOList();
    PushFIFOItem(queue, "first", 6);
    for (const int nth : {1, 2}) {
        const FailingAllocation fails(nth);
        EXPECT_EQ(PushFIFOItem(queue, "second", 7), 0) << nth;
    }
    EXPECT_EQ(queue->count, 1);
    EXPECT_EQ(queue->last, queue->first);
    EXPECT_EQ(queue->last->next, nullptr);
    FreeFIFOList(queue);
}

TEST(Fifo, BlocksComeOutInTheirOrder)
{
    FIFOList *const queue = CreateFIFOList();
    char out[8] = "#";
    int32_t size = -1;
    EXPECT_EQ(PullFIFOItem(queue, out, &size), 0);
    EXPECT_EQ(out[0], '#');
    for (const char *text : {"one", "three", ""})
        EXPECT_EQ(PushFIFOItem(queue, text, static_cast<int32_t>(std::strlen(text))), 1);
    EXPECT_EQ(PushFIFOItem(queue, "x", -1), 0);
    EXPECT_EQ(PushFIFOItem(nullptr, "x", 1), 0);
    EXPECT_EQ(PeekFIFOItem(queue, 2, out, &size), 1);
    EXPECT_EQ(std::string(out, 5), "three");
    EXPECT_EQ(PeekFIFOItem(queue, 0, out, &size) + PeekFIFOItem(queue, 4, out, &size), 0);
    EXPECT_EQ(PullFIFOItem(queue, out, &size), 1);
    EXPECT_EQ(std::string(out, static_cast<size_t>(size)), "one");
    EXPECT_EQ(PullFIFOItem(queue, out, &size), 1);
    EXPECT_EQ(PullFIFOItem(queue, out, &size), 1);
    EXPECT_EQ(size, 0);
    EXPECT_EQ(queue->count, 0);
    EXPECT_EQ(queue->last, nullptr);
    PushFIFOItem(queue, "x", 1);
    FreeFIFOList(queue);
}

} // namespace
