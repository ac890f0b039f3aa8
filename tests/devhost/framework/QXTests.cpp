#include "host/QXList.h"
#include "host/QXStream.h"
#include "host/QXString.h"

#include <gtest/gtest.h>

#include <memory>

namespace
{

std::string Text(const CQXString& s)
{
    return static_cast<char*>(s);
}

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

TEST(QXObList, InsertsAndRemovesAtEveryPosition)
{
    const struct {
        int iIndex; // of three letters, -1: none
        const char *pWithD, *pWithout, *pNext;
    } kRows[] = {
        {0, "DABC", "BC", "B"}, {1, "ADBC", "AC", "C"}, {2, "ABDC", "AB", ""}, {-1, "ABCD", "ABC", ""}};
    for (const auto& Row : kRows) {
        CQXObList Inserted, Removed;
        for (int i = 0; i < 3; ++i) {
            Inserted.AddTail(&g_Letters[i]);
            Removed.AddTail(&g_Letters[i]);
        }
        EXPECT_EQ(Inserted.GetAt(Inserted.InsertBefore(Inserted.FindIndex(Row.iIndex), &g_Letters[3])),
                  &g_Letters[3]);
        EXPECT_EQ(Show(Inserted), Row.pWithD);
        CQXPos* pPos = Removed.FindIndex(Row.iIndex);
        EXPECT_EQ(Removed.RemoveAt(pPos), Row.iIndex < 0 ? nullptr : &g_Letters[Row.iIndex]);
        EXPECT_EQ(Show(Removed), Row.pWithout);
        EXPECT_EQ(pPos ? std::string(1, *static_cast<char*>(Removed.GetAt(pPos))) : "", Row.pNext);
        Removed.AddTail(&g_Letters[3]);
        EXPECT_EQ(Show(Removed), std::string(Row.pWithout) + "D") << "the tail is right after the removal";
    }
}

TEST(QXMSG, AnItemOfTheOtherTypeStays)
{
    CQXMSG Message;
    Message.PutInt(5);
    Message.PutString("five");
    EXPECT_TRUE(Message.GetString().IsEmpty());
    EXPECT_EQ(Message.GetInt(), 5);
    EXPECT_EQ(Message.GetInt(), -1);
    EXPECT_STREQ(Message.GetString(), "five");
    EXPECT_TRUE(Message.GetString().IsEmpty());
}

TEST(QXString, NullTextsAreEmptyAndDetachedOnesBelongToTheCaller)
{
    const char* pNull = nullptr;
    CQXString s("x  ");
    s += pNull;
    s.TrimRight(pNull);
    s.TrimRight(" ");
    EXPECT_EQ(s.Compare("x"), 0);
    EXPECT_EQ(s.Compare(pNull), 1);
    EXPECT_EQ(s.CompareNoCase(pNull), 1);
    char* pText = s.DetachOwnership();
    EXPECT_TRUE(s.IsEmpty());
    s = pNull;
    EXPECT_STREQ(pText, "x");
    CQXString::Free(pText);
    EXPECT_TRUE(CQXString(static_cast<const wchar_t*>(nullptr)).IsEmpty());
    EXPECT_EQ(CQXString::ConvertTochar(nullptr), nullptr);
    EXPECT_EQ(CQXString::ConvertTowchar_t(nullptr), nullptr);
}

TEST(QXString, FormatTakesAnyLengthAndItsOwnText)
{
    for (const std::size_t cb : {0, 511, 512, 3000000}) {
        const std::string Long(cb, 'x');
        CQXString s;
        s.Format("%s", Long.c_str());
        EXPECT_EQ(Text(s), Long) << cb;
        s.Format("<%s>", static_cast<char*>(s));
        EXPECT_EQ(s.GetLength(), static_cast<int>(cb) + 2) << cb;
    }
    CQXString s("old");
    const char* volatile pNull = nullptr; // volatile, or the compiler refuses what is tried here
    s.Format("[%s] 100%% %d:%%s", pNull, -7);
    EXPECT_EQ(Text(s), "[(null)] 100% -7:%s");
    s.Format(pNull);
    EXPECT_TRUE(s.IsEmpty());
}

TEST(QXString, ComparesBytesAndFoldsOnlyAsciiLetters)
{
    EXPECT_EQ(CQXString("NULL").CompareNoCase("null"), 0);
    for (const auto& [pLess, pMore] :
         {std::pair{"NULL", "null"}, {"a", "ab"}, {"z", "\xC3\xA4"}, {"[", "{"}}) {
        EXPECT_LT(CQXString(pLess).Compare(pMore), 0) << pLess;
        EXPECT_GT(CQXString(pMore).Compare(pLess), 0) << pLess;
    }
    for (const auto& [pLess, pMore] :
         {std::pair{"a", "AB"}, {"\xC3\x84", "\xC3\xA4"}, {"[", "{"}, {"a_", "aZ"}})
        EXPECT_LT(CQXString(pLess).CompareNoCase(pMore), 0) << pLess;
}

TEST(QXString, ObfuscateHidesEveryByteOfEverySecret)
{
    const struct {
        const char* pText;
        std::vector<const char*> Secrets;
        const char* pResult;
    } kRows[] = {
        {"a secret b secret", {"secret"}, "a *** b ***"},
        {"abc", {"", "x"}, "abc"},
        {"xabcdx", {"ab", "abcd"}, "x***x"}, // the shorter one first must not leave "cd"
        {"abcde", {"abc", "cde"}, "***"},    // overlapping
        {"aaaa b", {"aa"}, "*** b"},         // overlapping itself
        {"token*", {"token", "*"}, "***"},   // the marker is no text to search
        {"", {"x"}, ""},
    };
    for (const auto& Row : kRows) {
        CQXObList List;
        std::vector<std::unique_ptr<CQXString>> Owned;
        for (const char* pSecret : Row.Secrets)
            List.AddTail(Owned.emplace_back(std::make_unique<CQXString>(pSecret)).get());
        CQXString s(Row.pText);
        EXPECT_EQ(Text(CQXString::Obfuscate(&s, &List)), Row.pResult) << Row.pText;
        EXPECT_EQ(Text(s), Row.pText);
    }
    CQXString s("all of it");
    EXPECT_EQ(Text(CQXString::Obfuscate(&s, nullptr)).find("all"), std::string::npos);
    EXPECT_TRUE(CQXString::Obfuscate(nullptr, nullptr).IsEmpty());
}

TEST(QXString, ConvertsBetweenWideTextAndUtf8)
{
    const std::wstring kWide = L"a\u00e9\u20ac\U0001f512";
    const char* const pUtf8 = "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x94\x92";
    EXPECT_EQ(Text(CQXString(kWide.c_str())), pUtf8);
    char* pNarrow = CQXString::ConvertTochar(kWide.c_str());
    wchar_t* pWide = CQXString::ConvertTowchar_t(pUtf8);
    EXPECT_STREQ(pNarrow, pUtf8);
    EXPECT_EQ(pWide, kWide);
    CQXString::Free(pNarrow);
    CQXString::Free(pWide);
    const wchar_t kSurrogate[] = {L'a', static_cast<wchar_t>(0xD800), L'z', 0};
    EXPECT_EQ(Text(CQXString(kSurrogate)), "a\xEF\xBF\xBDz");
}

} // namespace
