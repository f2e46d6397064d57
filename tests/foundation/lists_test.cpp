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
    EXPECT_EQ(ApplyLL(list,
                      [](void *elm) {
                          DelElmLL(elm);
                          return int32_t{0};
                      }),
              0);
    EXPECT_EQ(text_of(list), "");
    EXPECT_EQ(text_of(copy), "ade");
    InsLastLLf(copy, 0, nullptr);
    for (LLHead *one : {list, copy, pointers})
        EXPECT_EQ(DestLL(one), 0);
}

TEST(Lists, RunsMoveInTheirOrder)
{
    const struct {
        const char *what;
        void (*move)(LLHead *a, LLHead *b);
        const char *a, *b;
    } cases[] = {
        // a is "abcd", b is "xyz"
        {"ListFirst", [](LLHead *a, LLHead *b) { MoveListFirstLL(a, b); }, "xyzabcd", ""},
        {"ListLast", [](LLHead *a, LLHead *b) { MoveListLastLL(a, b); }, "abcdxyz", ""},
        {"ListAft", [](LLHead *a, LLHead *b) { MoveListAftLL(NthElmLL(a, 2), b); }, "abxyzcd", ""},
        {"ListBef", [](LLHead *a, LLHead *b) { MoveListBefLL(NthElmLL(a, 2), b); }, "axyzbcd", ""},
        {"HeadFirst", [](LLHead *a, LLHead *b) { MoveHeadFirstLL(a, b, NthElmLL(b, 3)); }, "xyabcd", "z"},
        {"HeadLast", [](LLHead *a, LLHead *b) { MoveHeadLastLL(a, b, NthElmLL(b, 2)); }, "abcdx", "yz"},
        {"HeadAft", [](LLHead *a, LLHead *b) { MoveHeadAftLL(NthElmLL(a, 4), b, NthElmLL(b, 1)); }, "abcd",
         "xyz"},
        {"HeadBef", [](LLHead *a, LLHead *b) { MoveHeadBefLL(NthElmLL(a, 1), b, NthElmLL(b, 2)); }, "xabcd",
         "yz"},
        {"TailFirst", [](LLHead *a, LLHead *b) { MoveTailFirstLL(a, b, NthElmLL(b, 2)); }, "yzabcd", "x"},
        {"TailLast", [](LLHead *a, LLHead *b) { MoveTailLastLL(a, b, NthElmLL(b, 1)); }, "abcdxyz", ""},
        {"TailAft", [](LLHead *a, LLHead *b) { MoveTailAftLL(NthElmLL(a, 1), b, NthElmLL(b, 3)); }, "azbcd",
         "xy"},
        {"TailBef", [](LLHead *a, LLHead *b) { MoveTailBefLL(NthElmLL(a, 4), b, NthElmLL(b, 3)); }, "abczd",
         "xy"},
        {"itself last", [](LLHead *a, LLHead *) { MoveListLastLL(a, a); }, "abcd", "xyz"},
        {"itself first", [](LLHead *a, LLHead *) { MoveListFirstLL(a, a); }, "abcd", "xyz"},
        {"tail of itself first", [](LLHead *a, LLHead *) { MoveTailFirstLL(a, a, NthElmLL(a, 3)); }, "cdab",
         "xyz"},
        {"head behind its own last",
         [](LLHead *a, LLHead *) { MoveHeadAftLL(NthElmLL(a, 2), a, NthElmLL(a, 3)); }, "abcd", "xyz"},
    };
    for (const auto &c : cases) {
        LLHead *const a = list_of("abcd"), *const b = list_of("xyz");
        c.move(a, b);
        EXPECT_EQ(text_of(a), c.a) << c.what;
        EXPECT_EQ(text_of(b), c.b) << c.what;
        DestLL(a);
        DestLL(b);
    }
    LLHead *const a = list_of("abc");
    ReverseLL(a);
    EXPECT_EQ(text_of(a), "cba");
    DestLL(a);
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

} // namespace
