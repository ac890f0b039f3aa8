#include "host/QXList.h"
#include "host/QXStream.h"
#include "host/QXString.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace
{

TEST(QXObList, InsertsAndRemovesAtEveryPosition)
{
    char Letters[] = "ABCDE";
    const auto Show = [](const CQXObList& List) {
        std::string Text;
        for (CQXPos* pPos = List.GetHeadPosition(); pPos;)
            Text += *static_cast<char*>(List.GetNext(pPos));
        EXPECT_EQ(static_cast<int>(Text.size()), List.GetCount());
        return Text;
    };
    for (int i = 0; i <= 3; ++i) {
        CQXObList List;
        for (int iLetter = 0; iLetter < 3; ++iLetter)
            List.AddTail(&Letters[iLetter]);
        List.InsertBefore(List.FindIndex(i), &Letters[3]); // 3 is behind the end
        EXPECT_EQ(Show(List),
                  std::string(Letters, Letters + i) + "D" + std::string(Letters + i, Letters + 3));
        CQXPos* pPos = List.FindIndex(i);
        EXPECT_EQ(List.RemoveAt(pPos), &Letters[3]);
        EXPECT_EQ(List.GetAt(pPos), i < 3 ? &Letters[i] : nullptr) << "the position is the next one's";
        List.AddTail(&Letters[4]);
        EXPECT_EQ(Show(List), "ABCE") << i;
        pPos = List.FindIndex(-1);
        EXPECT_EQ(List.RemoveAt(pPos), nullptr);
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
}

TEST(QXString, BuffersBelongToTheCaller)
{
    CQXString s("x");
    char* pText = s.DetachOwnership();
    EXPECT_TRUE(s.IsEmpty());
    EXPECT_STREQ(pText, "x");
    CQXString::Free(pText);

    const char* const pUtf8 = "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x94\x92";
    wchar_t* pWide = CQXString::ConvertTowchar_t(pUtf8);
    pText = CQXString::ConvertTochar(pWide);
    EXPECT_STREQ(pWide, L"a\u00e9\u20ac\U0001f512");
    EXPECT_STREQ(pText, pUtf8);
    EXPECT_STREQ(CQXString(pWide), pUtf8);
    CQXString::Free(pWide);
    CQXString::Free(pText);
}

TEST(QXString, FormatTakesAnyLengthAndItsOwnText)
{
    for (const std::size_t cb : {0U, 511U, 512U, 3000000U}) {
        const std::string Long(cb, 'x');
        CQXString s;
        s.Format("%s", Long.c_str());
        s.Format("<%s>", static_cast<char*>(s));
        EXPECT_EQ(static_cast<char*>(s), "<" + Long + ">") << cb;
    }
    CQXString s("old");
    const char* volatile pNull = nullptr; // volatile, or the compiler refuses what is tried here
    s.Format("[%s] 100%% %d:%%s", pNull, -7);
    EXPECT_STREQ(s, "[(null)] 100% -7:%s");
}

TEST(QXString, ComparesFoldOnlyAsciiLetters)
{
    EXPECT_EQ(CQXString("NULL").CompareNoCase("null"), 0);
    EXPECT_LT(CQXString("NULL").Compare("null"), 0);
    for (const auto& [pLess, pMore] :
         {std::pair{"a", "AB"}, {"Z", "\xC3\xA4"}, {"\xC3\x84", "\xC3\xA4"}, {"[", "{"}, {"a_", "aZ"}}) {
        EXPECT_LT(CQXString(pLess).CompareNoCase(pMore), 0) << pLess;
        EXPECT_GT(CQXString(pMore).CompareNoCase(pLess), 0) << pLess;
    }
}

TEST(QXString, ObfuscateHidesEveryByteOfEverySecret)
{
    const struct {
        const char* pText;
        std::vector<CQXString> Secrets;
        const char* pResult;
    } kRows[] = {
        {"a secret b secret", {"secret"}, "a *** b ***"},
        {"abc", {"", "x"}, "abc"},
        {"xabcdx", {"ab", "abcd"}, "x***x"}, // the shorter one first must not leave "cd"
        {"abcde", {"abc", "cde"}, "***"},    // overlapping
        {"aaaa b", {"aa"}, "*** b"},         // overlapping itself
    };
    for (const auto& Row : kRows) {
        CQXObList List;
        for (const CQXString& Secret : Row.Secrets)
            List.AddTail(const_cast<CQXString*>(&Secret));
        CQXString s(Row.pText);
        EXPECT_STREQ(CQXString::Obfuscate(&s, &List), Row.pResult) << Row.pText;
    }
    CQXString s("all of it");
    EXPECT_STREQ(CQXString::Obfuscate(&s, nullptr), "***");
}

} // namespace
