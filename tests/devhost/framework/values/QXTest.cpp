#include "host/QXList.h"
#include "host/QXStream.h"
#include "host/QXString.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace
{

TEST(QXObListTest, InsertsAndRemovesAtEveryPosition)
{
    char letters[] = "ABCDE";
    const auto show = [](const CQXObList& list) {
        std::string text;
        for (CQXPos* pos = list.GetHeadPosition(); pos;)
            text += *static_cast<char*>(list.GetNext(pos));
        EXPECT_EQ(static_cast<int>(text.size()), list.GetCount());
        return text;
    };
    for (int i = 0; i <= 3; ++i) {
        CQXObList list;
        for (int letterIndex = 0; letterIndex < 3; ++letterIndex)
            list.AddTail(&letters[letterIndex]);
        list.InsertBefore(list.FindIndex(i), &letters[3]); // 3 is behind the end
        EXPECT_EQ(show(list),
                  std::string(letters, letters + i) + "D" + std::string(letters + i, letters + 3));
        CQXPos* pos = list.FindIndex(i);
        EXPECT_EQ(list.RemoveAt(pos), &letters[3]);
        EXPECT_EQ(list.GetAt(pos), i < 3 ? &letters[i] : nullptr) << "the position is the next one's";
        list.AddTail(&letters[4]);
        EXPECT_EQ(show(list), "ABCE") << i;
        pos = list.FindIndex(-1);
        EXPECT_EQ(list.RemoveAt(pos), nullptr);
    }
}

TEST(QXMSGTest, AnItemOfTheOtherTypeStays)
{
    CQXMSG message;
    message.PutInt(5);
    message.PutString("five");
    EXPECT_TRUE(message.GetString().IsEmpty());
    EXPECT_EQ(message.GetInt(), 5);
    EXPECT_EQ(message.GetInt(), -1);
    EXPECT_STREQ(message.GetString(), "five");
}

TEST(QXStringTest, BuffersBelongToTheCaller)
{
    CQXString s("x");
    char* text = s.DetachOwnership();
    EXPECT_TRUE(s.IsEmpty());
    EXPECT_STREQ(text, "x");
    CQXString::Free(text);

    const char* const utf8 = "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x94\x92";
    wchar_t* wide = CQXString::ConvertTowchar_t(utf8);
    text = CQXString::ConvertTochar(wide);
    EXPECT_STREQ(wide, L"a\u00e9\u20ac\U0001f512");
    EXPECT_STREQ(text, utf8);
    EXPECT_STREQ(CQXString(wide), utf8);
    CQXString::Free(wide);
    CQXString::Free(text);
}

TEST(QXStringTest, FormatTakesAnyLengthAndItsOwnText)
{
    for (const std::size_t size : {0U, 511U, 512U, 3000000U}) {
        const std::string longText(size, 'x');
        CQXString s;
        s.Format("%s", longText.c_str());
        s.Format("<%s>", static_cast<char*>(s));
        EXPECT_EQ(static_cast<char*>(s), "<" + longText + ">") << size;
    }
    CQXString s("old");
    const char* volatile null = nullptr; // volatile, or the compiler refuses what is tried here
    s.Format("[%s] 100%% %d:%%s", null, -7);
    EXPECT_STREQ(s, "[(null)] 100% -7:%s");
}

TEST(QXStringTest, ComparesFoldOnlyAsciiLetters)
{
    EXPECT_EQ(CQXString("NULL").CompareNoCase("null"), 0);
    EXPECT_LT(CQXString("NULL").Compare("null"), 0);
    for (const auto& [less, more] :
         {std::pair{"a", "AB"}, {"Z", "\xC3\xA4"}, {"\xC3\x84", "\xC3\xA4"}, {"[", "{"}, {"a_", "aZ"}}) {
        EXPECT_LT(CQXString(less).CompareNoCase(more), 0) << less;
        EXPECT_GT(CQXString(more).CompareNoCase(less), 0) << less;
    }
}

TEST(QXStringTest, ObfuscateHidesEveryByteOfEverySecret)
{
    const struct {
        const char* text;
        std::vector<CQXString> secrets;
        const char* result;
    } kRows[] = {
        {"a secret b secret", {"secret"}, "a *** b ***"},
        {"abc", {"", "x"}, "abc"},
        {"xabcdx", {"ab", "abcd"}, "x***x"}, // the shorter one first must not leave "cd"
        {"abcde", {"abc", "cde"}, "***"},    // overlapping
        {"aaaa b", {"aa"}, "*** b"},         // overlapping itself
    };
    for (const auto& row : kRows) {
        CQXObList list;
        for (const CQXString& secret : row.secrets)
            list.AddTail(const_cast<CQXString*>(&secret));
        CQXString s(row.text);
        EXPECT_STREQ(CQXString::Obfuscate(&s, &list), row.result) << row.text;
    }
    CQXString s("all of it");
    EXPECT_STREQ(CQXString::Obfuscate(&s, nullptr), "***");
}

} // namespace
