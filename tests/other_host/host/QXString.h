#pragma once
// Text: a counted reference to a block on the heap; the empty text has none.

class CQXObList;

class CQXString
{
public:
    CQXString();
    CQXString(const char* text);
    CQXString(const CQXString& other);
    virtual ~CQXString();
    CQXString& operator=(const CQXString& other);
    CQXString& operator=(const char* text);
    CQXString& operator+=(const CQXString& other);
    CQXString& operator+=(const char* text);
    operator char*() const;

    int GetLength() const;
    int IsEmpty() const;
    void Empty();
    void Format(const char* format, ...) __attribute__((format(printf, 2, 3)));
    int Compare(const CQXString& other) const;
    int Compare(const char* text) const;
    int CompareNoCase(const char* text) const;
    void TrimRight(const char* chars);
    static CQXString IntegerToString(int value);
    static CQXString Obfuscate(CQXString* text, CQXObList* secrets);

private:
    struct Block;
    Block* m_block;
};
