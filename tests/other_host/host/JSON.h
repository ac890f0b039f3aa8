#pragma once
// JSON trees; each node keeps its own on the heap.

#include "host/QXString.h"

#include <memory>

class CTraceProducer;

class CHTTPBuf
{
public:
    explicit CHTTPBuf(int bytes);
    ~CHTTPBuf();
    const char* Data() const;

    CQXString text; // the host's own
};

enum JSON_WRITE_FORMAT : int { JSON_WRITE_INDENTED, JSON_WRITE_COMPACT };

class CJSONObject
{
public:
    enum KIND : int { KIND_TEXT = 1, KIND_BARE, KIND_ARRAY, KIND_OBJECT };

    explicit CJSONObject(int kind);
    virtual ~CJSONObject();
    CJSONObject* FindNode(const char* key, int context);
    int FindString(const char* key, CQXString* out, int context);
    CJSONObject* Object(int i);
    int NObjects() const;
    void AddObjectString(const char* key, const char* value);
    CJSONObject* AddObjectStruct(const char* key);
    void Write(CHTTPBuf* buffer, int escape, JSON_WRITE_FORMAT format) const;
    CJSONObject* CreateCopy() const;
    void Trace(CTraceProducer* producer) const;

    struct Own; // the host's own
    const std::unique_ptr<Own> node;
};
