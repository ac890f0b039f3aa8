#pragma once
// The framework's text value. The driver passes strings by value and keeps all its text in this class.

#include <string>

class CQXObList;

// A NUL-terminated byte string (UTF-8 by convention; bytes are never validated or changed).
//
// The driver relies on: value semantics; a virtual destructor, because lists hold strings as plain pointers
// and delete them; texts of any length. One thread at a time uses a given object.
//
// operator char* makes `if (s)` and `s == t` compile as pointer tests: use IsEmpty() and Compare(). An object
// must never travel through `...`; cast it to char* in the same full expression.
class CQXString
{
public:
    CQXString() = default;
    CQXString(const char* pText);    // null gives the empty string
    CQXString(const wchar_t* pText); // converted to UTF-8; null gives the empty string
    CQXString(const CQXString&) = default;
    CQXString(CQXString&&) noexcept = default;
    virtual ~CQXString() = default;

    CQXString& operator=(const CQXString&) = default;
    CQXString& operator=(CQXString&&) noexcept = default;
    CQXString& operator=(const char* pText);

    CQXString& operator+=(const char* pText);
    CQXString& operator+=(const CQXString& sText);

    // The text itself, valid until the string changes or dies. Callers read it only.
    operator char*() const { return const_cast<char*>(m_Text.c_str()); }

    int GetLength() const { return static_cast<int>(m_Text.size()); } // bytes
    int IsEmpty() const { return m_Text.empty() ? 1 : 0; }
    void Empty() { m_Text.clear(); }

    // printf-style; replaces the content, whatever its length. The arguments may point into this string.
    void Format(const char* pFormat, ...) __attribute__((format(printf, 2, 3)));

    // 0 when equal, else the sign of the byte-wise difference. CompareNoCase folds ASCII letters only.
    int Compare(const CQXString& sOther) const { return m_Text.compare(sOther.m_Text); }
    int Compare(const char* pOther) const;
    int CompareNoCase(const char* pOther) const;

    // Removes trailing characters that occur in pChars.
    void TrimRight(const char* pChars);

    static CQXString IntegerToString(int iValue);

    // A copy of *pText in which every occurrence of every string in the list is hidden. pSecrets holds
    // CQXString*; empty entries are ignored; an empty list leaves the text; a null list hides all of it.
    static CQXString Obfuscate(CQXString* pText, CQXObList* pSecrets);

    // Conversions into buffers of their own, which the caller releases with Free().
    static char* ConvertTochar(const wchar_t* pText);
    static wchar_t* ConvertTowchar_t(const char* pText);

    // Hands the text over as a buffer that the caller releases with Free(); the string is empty afterwards.
    char* DetachOwnership();
    static void Free(void* pBuffer);

private:
    std::string m_Text;
};
