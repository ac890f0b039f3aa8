#include "host/QXList.h"
#include "host/QXStream.h"

#include <gtest/gtest.h>

#include <string>

namespace
{

// The items are the letters of this text; a list is shown as the letters that it holds, in order.
char g_Letters[] = "ABCDEF";

std::string Show(const CQXObList& List)
{
    std::string Text;
    for (CQXPos* pPos = List.GetHeadPosition(); pPos;)
        Text += *static_cast<char*>(List.GetNext(pPos));
    EXPECT_EQ(static_cast<int>(Text.size()), List.GetCount());
    EXPECT_EQ(Text.empty(), List.IsEmpty() != 0);
    return Text;
}

void Fill(CQXObList& List, int n)
{
    for (int i = 0; i < n; ++i)
        List.AddTail(&g_Letters[i]);
}

TEST(QXObList, InsertsBeforeAnyPositionAndAtTheTail)
{
    const struct {
        int nFirst, iBefore; // the letter after the first ones goes in before the index, -1: no position
        const char* pResult;
    } kRows[] = {{0, -1, "A"}, {2, -1, "ABC"}, {2, 0, "CAB"}, {3, 1, "ADBC"}, {3, 2, "ABDC"}};
    for (const auto& Row : kRows) {
        CQXObList List;
        Fill(List, Row.nFirst);
        CQXPos* pPos = List.InsertBefore(List.FindIndex(Row.iBefore), &g_Letters[Row.nFirst]);
        EXPECT_EQ(List.GetAt(pPos), &g_Letters[Row.nFirst]);
        EXPECT_EQ(Show(List), Row.pResult);
    }
}

TEST(QXObList, RemoveAtGivesThePointerAndMovesOn)
{
    const struct {
        int iIndex;
        const char *pLeft, *pNext;
    } kRows[] = {{0, "BC", "B"}, {1, "AC", "C"}, {2, "AB", ""}};
    for (const auto& Row : kRows) {
        CQXObList List;
        Fill(List, 3);
        CQXPos* pPos = List.FindIndex(Row.iIndex);
        EXPECT_EQ(List.RemoveAt(pPos), &g_Letters[Row.iIndex]);
        EXPECT_EQ(Show(List), Row.pLeft);
        EXPECT_EQ(pPos ? std::string(1, *static_cast<char*>(List.GetAt(pPos))) : "", Row.pNext);
        List.AddTail(&g_Letters[3]);
        EXPECT_EQ(Show(List), std::string(Row.pLeft) + "D"); // the tail is right after the removal
    }
}

TEST(QXObList, NoPositionAndBadIndexesDoNothingAndOneOfTwoEqualEntriesGoes)
{
    CQXObList List;
    Fill(List, 2);
    CQXPos* pNone = nullptr;
    EXPECT_EQ(List.RemoveAt(pNone), nullptr);
    EXPECT_EQ(List.GetNext(pNone), nullptr);
    EXPECT_EQ(List.GetAt(nullptr), nullptr);
    for (const int i : {-1, 2, 1000000})
        EXPECT_EQ(List.FindIndex(i), nullptr) << i;
    EXPECT_EQ(List.Remove(&g_Letters[4]), 0);
    List.AddTail(&g_Letters[0]);
    EXPECT_EQ(List.Remove(&g_Letters[0]), 1);
    EXPECT_EQ(Show(List), "BA");
}

TEST(Queues, AreFirstInFirstOutAndAMessagesItemOfTheOtherTypeStays)
{
    CTSObList List;
    EXPECT_EQ(List.RemoveHead(), nullptr);
    List.AddTail(&g_Letters[0]);
    List.AddTail(&g_Letters[1]);
    EXPECT_EQ(List.RemoveHead(), &g_Letters[0]);
    EXPECT_EQ(List.RemoveHead(), &g_Letters[1]);
    EXPECT_TRUE(List.IsEmpty());

    CQXMSG Message;
    Message.PutInt(5);
    Message.PutString("five");
    EXPECT_TRUE(Message.GetString().IsEmpty());
    EXPECT_EQ(Message.GetInt(), 5);
    EXPECT_EQ(Message.GetInt(), -1);
    EXPECT_STREQ(Message.GetString(), "five");
    EXPECT_TRUE(Message.GetString().IsEmpty());
}

} // namespace
