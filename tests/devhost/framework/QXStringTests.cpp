#include "host/QXList.h"
#include "host/QXString.h"

#include <gtest/gtest.h>

#include <climits>
#include <memory>

namespace
{

std::string Text(const CQXString& s)
{
    return static_cast<char*>(s);
}

TEST(QXString, NullTextsAreEmpty)
{
    const char* pNull = nullptr;
    CQXString s(pNull);
    EXPECT_TRUE(s.IsEmpty());
    s = "x";
    s += pNull;
    s.TrimRight(pNull);
    EXPECT_EQ(Text(s), "x");
    EXPECT_EQ(s.Compare(pNull), 1);
    EXPECT_EQ(s.CompareNoCase(pNull), 1);
    s = pNull;
    EXPECT_EQ(Text(s), "");
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
    const struct {
        const char *pLeft, *pRight;
        int iExact, iNoCase; // signs
    } kRows[] = {{"", "", 0, 0},     {"a", "A", 1, 0},        {"NULL", "null", -1, 0},
                 {"ab", "a", 1, 1},  {"\xC3\xA4", "z", 1, 1}, {"\xC3\x84", "\xC3\xA4", -1, -1},
                 {"[", "{", -1, -1}, {"a_", "aZ", 1, -1}};
    const auto Sign = [](int i) { return (i > 0) - (i < 0); };
    for (const auto& Row : kRows) {
        EXPECT_EQ(Sign(CQXString(Row.pLeft).Compare(Row.pRight)), Row.iExact) << Row.pLeft;
        EXPECT_EQ(Sign(CQXString(Row.pLeft).CompareNoCase(Row.pRight)), Row.iNoCase) << Row.pLeft;
    }
}

TEST(QXString, TrimRightTakesOnlyTrailingCharactersOfTheSet)
{
    const char* const kRows[][3] = {
        {"a b \n", "\n", "a b "}, {"   ", " ", ""}, {"", " ", ""}, {" a", " ", " a"}};
    for (const auto& [pText, pChars, pResult] : kRows) {
        CQXString s(pText);
        s.TrimRight(pChars);
        EXPECT_EQ(Text(s), pResult) << '"' << pText << '"';
    }
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

TEST(QXString, DetachedTextBelongsToTheCaller)
{
    CQXString s("kept by the caller");
    char* pText = s.DetachOwnership();
    EXPECT_TRUE(s.IsEmpty());
    s = "other";
    EXPECT_STREQ(pText, "kept by the caller");
    CQXString::Free(pText);
    EXPECT_EQ(Text(CQXString::IntegerToString(INT_MIN)), "-2147483648");
}

} // namespace
