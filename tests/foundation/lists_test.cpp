#include "tests/support/allocation.h"
#include "tests/support/child.h"

#include <gtest/gtest.h>
#include <tamba/lists.h>

#include <algorithm>
#include <cstring>
#include <list>
#include <numeric>
#include <random>
#include <string>

namespace {

std::string text_of(const LLHead *list)
{
    std::string all, backwards;
    for (void *e = FirstElmLL(list); IsElmLL(e) != 0; e = NextElmLL(e))
        all.append(static_cast<char *>(e), IsElmLL(e));
    for (void *e = LastElmLL(list); IsElmLL(e) != 0; e = PrevElmLL(e))
        backwards.append(static_cast<char *>(e), IsElmLL(e));
    std::reverse(backwards.begin(), backwards.end());
    EXPECT_EQ(all, backwards) << "the links agree in both directions";
    EXPECT_EQ(SizeLL(list), all.size());
    EXPECT_EQ(IsEmptyLL(list), all.empty());
    return all;
}

LLHead *list_of(const std::string &letters)
{
    LLHead *const list = ConsLL();
    for (const char c : letters)
        InsLastLLf(list, 1, &c);
    return list;
}

TEST(Lists, ElementsGoWhereTheyAreToldAndNavigationNeverFails)
{
    LLHead *const list = ConsLL();
    void *const head = FirstElmLL(list);
    EXPECT_EQ(head, list + 1);
    EXPECT_EQ(NextCElmLL(head), head);
    EXPECT_EQ(ApplyLL(list, [](void *) { return int32_t{7}; }), 0) << "nothing to be called for";
    ReverseLL(list);
    EXPECT_EQ(text_of(SysSortLL(MergeSortLL(list, nullptr), nullptr)), "");

    void *const c = InsFirstLLf(list, 1, "c");
    EXPECT_EQ(NextCElmLL(c), c);
    InsLastLLf(list, 1, "e");
    void *const b = InsBefLLf(c, 1, "b");
    void *const d = InsAftLLf(c, 1, "d");
    InsLLf(list, 1, "a", LinkAfterNodeLL);
    EXPECT_EQ(text_of(list), "abcde");
    EXPECT_EQ(NthElmLL(list, 3), c);
    EXPECT_EQ(NthElmLL(list, 0), head);
    EXPECT_EQ(NthElmLL(list, 6), head);
    EXPECT_EQ(NthElmLL(list, 9), c) << "the head counts as a step";
    EXPECT_EQ(RelNthElmLL(b, 2), d);
    EXPECT_EQ(IndexElmLL(list, d), 4u);
    EXPECT_EQ(IsNthElmLL(list, 4, d), 1);
    EXPECT_EQ(NextCElmLL(LastElmLL(list)), FirstElmLL(list));
    EXPECT_EQ(PrevCElmLL(FirstElmLL(list)), LastElmLL(list));
    EXPECT_EQ(IsFirstElmLL(b) + IsLastElmLL(d), 0);
    EXPECT_EQ(IsFirstElmLL(FirstElmLL(list)) + IsLastElmLL(LastElmLL(list)), 2);
    void **const table = LookInLL(list);
    EXPECT_EQ(table[0], list);
    EXPECT_EQ(table[5], LastElmLL(list));
    free(table);

    EXPECT_EQ(UnlinkNeLL(c), d);
    EXPECT_EQ(text_of(list), "abde");
    LinkInsBefLLf(b, 1, c);
    EXPECT_EQ(text_of(list), "acbde");
    LinkLastLL(list, UnlinkLL(c));
    EXPECT_EQ(text_of(list), "abdec");
    const void *const previous = DelElmPrLL(c);
    EXPECT_EQ(previous, LastElmLL(list));
    EXPECT_EQ(DelElmNeLL(b), d);
    EXPECT_EQ(text_of(list), "ade");
    LLHead *const copy = ConsCopyLL(list), *const pointers = ConsPtrLL(list);
    EXPECT_EQ(IndexElmLL(copy, d), 0u) << "an element of another list";
    EXPECT_EQ(*static_cast<void **>(NthElmLL(pointers, 2)), d);
    const auto remove = [](void *elm) { return DelElmLL(elm), int32_t{0}; };
    EXPECT_EQ(ApplyLL(list, remove), 0);
    EXPECT_EQ(text_of(list), "");
    EXPECT_EQ(text_of(copy), "ade");
    InsLastLLf(copy, 0, nullptr);
    for (LLHead *one : {list, copy, pointers})
        EXPECT_EQ(DestLL(one), 0);
}

TEST(Lists, RunsMoveInTheirOrder)
{
    // clang-format off
    using L = LLHead *;
    constexpr auto nth = NthElmLL;
    const struct { const char *what; void (*move)(L a, L b); const char *a, *b; } cases[] = {
        // a is "abcd", b is "xyz"
        {"ListFirst", [](L a, L b) { MoveListFirstLL(a, b); }, "xyzabcd", ""},
        {"ListLast", [](L a, L b) { MoveListLastLL(a, b); }, "abcdxyz", ""},
        {"ListAft", [](L a, L b) { MoveListAftLL(nth(a, 2), b); }, "abxyzcd", ""},
        {"ListBef", [](L a, L b) { MoveListBefLL(nth(a, 2), b); }, "axyzbcd", ""},
        {"HeadFirst", [](L a, L b) { MoveHeadFirstLL(a, b, nth(b, 3)); }, "xyabcd", "z"},
        {"HeadLast", [](L a, L b) { MoveHeadLastLL(a, b, nth(b, 2)); }, "abcdx", "yz"},
        {"HeadAft", [](L a, L b) { MoveHeadAftLL(nth(a, 4), b, nth(b, 1)); }, "abcd", "xyz"},
        {"HeadBef", [](L a, L b) { MoveHeadBefLL(nth(a, 1), b, nth(b, 2)); }, "xabcd", "yz"},
        {"TailFirst", [](L a, L b) { MoveTailFirstLL(a, b, nth(b, 2)); }, "yzabcd", "x"},
        {"TailLast", [](L a, L b) { MoveTailLastLL(a, b, nth(b, 1)); }, "abcdxyz", ""},
        {"TailAft", [](L a, L b) { MoveTailAftLL(nth(a, 1), b, nth(b, 3)); }, "azbcd", "xy"},
        {"TailBef", [](L a, L b) { MoveTailBefLL(nth(a, 4), b, nth(b, 3)); }, "abczd", "xy"},
        {"itself last", [](L a, L) { MoveListLastLL(a, a); }, "abcd", "xyz"},
        {"itself first", [](L a, L) { MoveListFirstLL(a, a); }, "abcd", "xyz"},
        {"tail of itself first", [](L a, L) { MoveTailFirstLL(a, a, nth(a, 3)); }, "cdab", "xyz"},
        {"head behind its own last", [](L a, L) { MoveHeadAftLL(nth(a, 2), a, nth(a, 3)); }, "abcd", "xyz"},
        {"reversed", [](L a, L) { ReverseLL(a); }, "dcba", "xyz"},
    };
    // clang-format on
    for (const auto &c : cases) {
        LLHead *const a = list_of("abcd"), *const b = list_of("xyz");
        c.move(a, b);
        EXPECT_EQ(text_of(a), c.a) << c.what;
        EXPECT_EQ(text_of(b), c.b) << c.what;
        DestLL(a);
        DestLL(b);
    }
}

TEST(Lists, BothSortsSortAndMergingIsStable)
{
    struct Entry {
        int32_t key, number;
    };
    const LLCompare by_key = [](const void *a, const void *b) {
        const int32_t left = static_cast<const Entry *>(a)->key, right = static_cast<const Entry *>(b)->key;
        return left < right ? -1 : left > right;
    };
    std::mt19937 random(4711);
    for (const int32_t count : {1, 2, 3, 1000}) {
        for (LLHead *(*const sort)(LLHead *, LLCompare) : {SysSortLL, MergeSortLL}) {
            LLHead *const list = ConsLL();
            for (int32_t i = 0; i < count; ++i) {
                const Entry entry = {static_cast<int32_t>(random() % 50), i};
                InsLastLLf(list, sizeof entry, &entry);
            }
            EXPECT_EQ(sort(list, by_key), list);
            EXPECT_EQ(SizeLL(list), static_cast<uint32_t>(count));
            const LLHead *node = list->next;
            for (; node->next != list; node = node->next) {
                const auto *const a = reinterpret_cast<const Entry *>(node + 1);
                const auto *const b = reinterpret_cast<const Entry *>(node->next + 1);
                ASSERT_LE(a->key, b->key);
                ASSERT_TRUE(sort == SysSortLL || a->key < b->key || a->number < b->number);
                ASSERT_EQ(node->next->prev, node);
            }
            EXPECT_EQ(list->prev, node);
            DestLL(list);
        }
    }
}

TAMBA_CHILD(lists_without_memory)
{
    LLHead list;
    InitLL(&list);
    const FailingAllocation none(0);
    if (arguments[0] == "head")
        ConsLL();
    else
        InsLastLLf(&list, 1, "x");
    return 0;
}

TEST(Lists, AShortageOfMemoryEndsTheProcessWhereElementsAreMade)
{
    for (const auto &[what, function] : {std::pair("head", "CreatLL"), std::pair("element", "InsLLf")}) {
        Child child("lists_without_memory", {what});
        EXPECT_EQ(static_cast<uint8_t>(child.wait()), 255) << what;
        EXPECT_EQ(child.errors(), "In " + std::string(function) + ": malloc returned NULL \n");
    }
    LLHead *const list = list_of("bca");
    {
        const FailingAllocation none(0);
        EXPECT_EQ(LookInLL(list), nullptr);
        SysSortLL(list, [](const void *a, const void *b) { return std::memcmp(a, b, 1); });
    }
    EXPECT_EQ(text_of(list), "abc") << "sorting needs no memory";
    DestLL(list);
}

} // namespace
