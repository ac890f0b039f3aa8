#pragma once
// Both streams are one kind of thing here: a row of numbers and texts with a place to read on from.

#include "host/QXString.h"

#include <memory>

class CQXMSG
{
public:
    CQXMSG();
    ~CQXMSG();
    void PutInt(int value);
    void PutString(CQXString value);
    int GetInt();
    CQXString GetString();

    struct Own; // the host's own
    const std::unique_ptr<Own> items;
};

class CQXFile
{
public:
    CQXFile();
    ~CQXFile();
    int WriteInt(int value);
    int WriteString(const CQXString& value);
    int ReadInt(int* value);
    int ReadString(CQXString* value);

    const std::unique_ptr<CQXMSG::Own> items; // the host's own
};
