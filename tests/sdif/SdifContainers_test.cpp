// Containers of the SDIF file library: text buffers, lists and their node
// stock, hash tables, signature tables and string helpers.
#include <algorithm>
#include <cstring>

#include "SdifTestEnv.h"

using namespace sdiftest;
using namespace testsupport;

namespace {
class Containers : public ::testing::Test {
   protected:
    void SetUp() override { StartByteLayerOnly(); }
};

std::vector<int> gKilled;
void KillInt(void* p) {
    gKilled.push_back(*static_cast<int*>(p));
    delete static_cast<int*>(p);
}

std::vector<int> Contents(SdifListT* list) {
    std::vector<int> v;
    for (SdifListInitLoop(list); SdifListIsNext(list);)
        v.push_back(*static_cast<int*>(SdifListGetNext(list)));
    return v;
}

}  // namespace

// ---- text buffer ----

TEST_F(Containers, StringKeepsEverythingAppended) {
    SdifStringT* s = SdifStringNew();
    ASSERT_NE(s, nullptr);
    std::string a(127, 'a'), big(300, 'c'), more(200, 'd');
    for (const std::string* part : {&a, &big, &more})
        EXPECT_EQ(SdifStringAppend(s, part->c_str()), 1);
    EXPECT_EQ(std::string(s->str), a + big + more);
    EXPECT_GT(s->TotalSize, s->SizeW);  // room for the NUL
    SdifStringFree(s);
}

TEST_F(Containers, StringReadsBackCharacterByCharacter) {
    SdifStringT* s = SdifStringNew();
    EXPECT_EQ(std::make_tuple(SdifStringUngetC(s), SdifStringIsEOS(s)), std::make_tuple(0, 1));
    SdifStringAppend(s, "a\xE9");
    EXPECT_FALSE(SdifStringIsEOS(s));
    EXPECT_EQ(SdifStringGetC(s), 'a');
    EXPECT_EQ(SdifStringGetC(s), -23);  // as a signed char
    EXPECT_TRUE(SdifStringIsEOS(s));
    // at the end: nothing more, no step past it
    EXPECT_EQ(std::make_tuple(SdifStringGetC(s), s->NbCharRead), std::make_tuple(char(0), 2));
    EXPECT_EQ(SdifStringUngetC(s), 1);
    EXPECT_EQ(SdifStringGetC(s), -23);
    SdifStringFree(s);
}

// ---- lists ----

TEST_F(Containers, ListKeepsOrderAndFreesThroughItsKiller) {
    gKilled.clear();
    SdifListT* list = SdifCreateList(KillInt);
    EXPECT_EQ(std::make_tuple(SdifListIsEmpty(list), SdifListGetHead(list) == nullptr,
                              SdifListInitLoop(list)),
              std::make_tuple(1, true, 0));
    SdifListPutTail(list, new int(2));
    SdifListPutTail(list, new int(3));
    SdifListPutHead(list, new int(1));
    EXPECT_EQ(std::make_tuple(SdifListGetNbData(list), *static_cast<int*>(SdifListGetHead(list)),
                              *static_cast<int*>(SdifListGetTail(list))),
              std::make_tuple(3u, 1, 3));
    EXPECT_EQ(Contents(list), (std::vector<int>{1, 2, 3}));
    EXPECT_EQ(SdifListGetNext(list), nullptr);  // past the end
    EXPECT_EQ(*static_cast<int*>(SdifListGetCurr(list)), 3);

    SdifKillListHead(list);
    EXPECT_EQ(gKilled, (std::vector<int>{1}));
    EXPECT_EQ(Contents(list), (std::vector<int>{2, 3}));
    SdifMakeEmptyList(list);
    EXPECT_EQ(gKilled, (std::vector<int>{1, 2, 3}));
    EXPECT_EQ(std::make_tuple(SdifListIsEmpty(list), SdifListGetNbData(list)),
              std::make_tuple(1, 0u));
    SdifListPutTail(list, new int(4));  // usable again after emptying
    EXPECT_EQ(SdifKillList(list), nullptr);
    EXPECT_EQ(gKilled, (std::vector<int>{1, 2, 3, 4}));
}

TEST_F(Containers, KillListCurrRemovesUnderTheCursorAndIterationGoesOn) {
    gKilled.clear();
    SdifListT* list = SdifCreateList(KillInt);
    for (int i = 1; i <= 5; i++) SdifListPutTail(list, new int(i));
    std::vector<int> seen;
    for (SdifListInitLoop(list); SdifListIsNext(list);) {
        int v = *static_cast<int*>(SdifListGetNext(list));
        seen.push_back(v);
        if (v % 2 == 1) SdifKillListCurr(list);  // the first, a middle one and the tail
    }
    EXPECT_EQ(seen, (std::vector<int>{1, 2, 3, 4, 5}));
    EXPECT_EQ(gKilled, (std::vector<int>{1, 3, 5}));
    EXPECT_EQ(Contents(list), (std::vector<int>{2, 4}));
    EXPECT_EQ(std::make_tuple(*static_cast<int*>(SdifListGetTail(list)), SdifListGetNbData(list)),
              std::make_tuple(4, 2u));
    SdifListPutTail(list, new int(6));  // the tail link is right after removing the tail
    EXPECT_EQ(Contents(list), (std::vector<int>{2, 4, 6}));
    SdifKillList(list);
}

TEST_F(Containers, ConcatMovesTheElementsOfTheSecondList) {
    gKilled.clear();
    SdifListT* a = SdifCreateList(KillInt);
    SdifListT* b = SdifCreateList(KillInt);
    SdifListT* empty = SdifCreateList(KillInt);
    SdifListPutTail(b, new int(3));
    SdifListPutTail(b, new int(4));
    SdifListConcat(a, b);  // onto an empty list
    SdifListPutTail(b, new int(5));
    SdifListConcat(a, b);
    SdifListConcat(a, empty);
    EXPECT_EQ(Contents(a), (std::vector<int>{3, 4, 5}));
    EXPECT_EQ(std::make_tuple(SdifListGetNbData(a), SdifListIsEmpty(b)), std::make_tuple(3u, 1));
    SdifKillList(b);
    SdifKillList(empty);
    EXPECT_TRUE(gKilled.empty());  // nothing is owned twice
    SdifKillList(a);
    EXPECT_EQ(gKilled, (std::vector<int>{3, 4, 5}));
}

TEST_F(Containers, ListsReuseTheNodesTheyFree) {
    SdifListT* list = SdifCreateList(nullptr);
    static int cells[3000];
    for (int& c : cells) SdifListPutTail(list, &c);
    SdifMakeEmptyList(list);
    unsigned int after = GetSdifGlobals()->nodestock.NbStock;
    for (int& c : cells) SdifListPutTail(list, &c);
    EXPECT_EQ(GetSdifGlobals()->nodestock.NbStock, after);  // all 3000 came back from the trash
    EXPECT_EQ(SdifListGetNbData(list), 3000u);
    SdifKillList(list);
}

// ---- hash tables ----

TEST_F(Containers, CharTableKeepsTheFirstValueAndItsOwnCopyOfTheKey) {
    gKilled.clear();
    SdifHashTableT* t = SdifCreateHashTable(3, eHashChar, KillInt);
    char key[] = "name";
    int* first = new int(1);
    int* second = new int(2);
    SdifHashTablePutChar(t, key, 5, first);
    SdifHashTablePutChar(t, "name", 5, second);
    EXPECT_EQ(SdifHashTableSearchChar(t, "name", 5), first);
    EXPECT_EQ(t->NbOfData, 1u);
    std::strcpy(key, "xxxx");  // the table holds a copy
    EXPECT_EQ(SdifHashTableSearchChar(t, "name", 5), first);
    EXPECT_EQ(SdifHashTableSearchChar(t, "nam", 4), nullptr);
    EXPECT_EQ(SdifHashTableSearch(t, const_cast<char*>("name"), 5), first);
    delete second;

    SdifHashTablePutChar(t, "empty", 6, nullptr);  // a key without data can be filled later
    int* filled = new int(3);
    SdifHashTablePutChar(t, "empty", 6, filled);
    EXPECT_EQ(SdifHashTableSearchChar(t, "empty", 6), filled);

    // A key given without its NUL is still compared over its length only.
    int* partial = new int(4);
    SdifHashTablePut(t, "abc", 3, partial);
    EXPECT_EQ(SdifHashTableSearchChar(t, "abcdef", 3), partial);
    SdifKillHashTable(t);
    std::sort(gKilled.begin(), gKilled.end());
    EXPECT_EQ(gKilled, (std::vector<int>{1, 3, 4}));
}

TEST_F(Containers, IntTableChainsAreInAscendingKeyOrder) {
    SdifHashTableT* t = SdifCreateHashTable(7, eHashInt4, nullptr);
    static int v[5] = {15, 1, 8, 3, 99};
    for (int i = 0; i < 5; i++) SdifHashTablePutInt4(t, v[i] == 99 ? 8 : v[i], &v[i]);
    unsigned int key = 15;
    // the first value of 8 stays; 22 lies in the same bucket, larger than all
    EXPECT_EQ(std::make_tuple(SdifHashTableGetNbData(t), SdifHashTableSearchInt4(t, 8),
                              SdifHashTableSearchInt4(t, 22), SdifHashTableSearchInt4(t, 2),
                              SdifHashTableSearch(t, &key, 1)),
              std::make_tuple(4u, static_cast<void*>(&v[2]), static_cast<void*>(nullptr),
                              static_cast<void*>(nullptr), static_cast<void*>(&v[0])));

    // Bucket 1 holds 1, 8, 15 in that order; bucket 3 holds 3.
    std::vector<int> order;
    SdifHashTableIteratorT* it = SdifCreateHashTableIterator(t);
    for (SdifHashTableIteratorInitLoop(it, t); SdifHashTableIteratorIsNext(it);)
        order.push_back(*static_cast<int*>(SdifHashTableIteratorGetNext(it)));
    EXPECT_EQ(order, (std::vector<int>{1, 8, 15, 3}));
    EXPECT_EQ(SdifHashTableIteratorGetNext(it), nullptr);

    SdifMakeEmptyHashTable(t);
    EXPECT_EQ(std::make_tuple(SdifHashTableGetNbData(t), SdifHashTableIteratorInitLoop(it, t),
                              SdifHashTableSearchInt4(t, 8) == nullptr),
              std::make_tuple(0u, 0, true));
    SdifKillHashTableIterator(it);
    SdifKillHashTable(t);
}

// ---- signature tables ----

TEST_F(Containers, SignatureTableFindsAddsAndGrows) {
    SdifSignatureTabT* t = SdifCreateSignatureTab(2);
    SdifAddToSignatureTab(t, 0x31545243);
    SdifPutInSignatureTab(t, 0x31485247);
    SdifAddToSignatureTab(t, 0x31545243);  // full: grows
    EXPECT_EQ(t->NbSign, 3u);
    EXPECT_EQ(std::vector<int>({SdifFindInSignatureTab(t, 0x31545243),
                                SdifFindInSignatureTab(t, 0x31485247),
                                SdifFindInSignatureTab(t, 0x31504943)}),
              std::vector<int>({0, 1, -1}));
    EXPECT_EQ(std::vector<SdifSignature>(
                  {SdifIsInSignatureTab(t, 0x31485247), SdifIsInSignatureTab(t, 0x31504943),
                   SdifGetFromSignatureTab(t, 2), SdifGetFromSignatureTab(t, 3),
                   SdifGetFromSignatureTab(t, -1)}),
              std::vector<SdifSignature>({0x31485247u, 0, 0x31545243u, 0, 0}));

    SdifReInitSignatureTab(t, 4);
    EXPECT_EQ(std::make_tuple(t->NbSign, SdifFindInSignatureTab(t, 0x31545243)),
              std::make_tuple(0u, -1));
    for (int i = 0; i < 41; i++) SdifPutInSignatureTab(t, static_cast<SdifSignature>(i + 1));
    EXPECT_EQ(t->NbSign, 41u);  // past the capacity it grows rather than writing past
    EXPECT_EQ(SdifGetFromSignatureTab(t, 40), 41u);
    SdifKillSignatureTab(t);
}

// ---- string helpers ----

TEST_F(Containers, CreateStrNCpyCopiesExactlyNBytesAndKillStrRefusesNothing) {
    // exactly n bytes, no NUL added, zero-filled beyond the source
    for (auto [text, n, want] : {std::make_tuple("name", 5, std::string("name\0", 5)),
                                 std::make_tuple("name", 2, std::string("na")),
                                 std::make_tuple("a", 4, std::string("a\0\0\0", 4))}) {
        char* copy = SdifCreateStrNCpy(text, n);
        EXPECT_EQ(std::string(copy, n), want);
        SdifKillStr(copy);
    }

    RecordReports rec;
    AllowFatal fatal;
    SdifKillStr(nullptr);
    EXPECT_EQ(rec.Tags(), (std::vector<int>{eFreeNull}));
    EXPECT_EQ(rec.LastMessage(), "Attempt to free a NULL pointer : 'String free'");
    EXPECT_EQ(fatal.Count(), 1);
}
