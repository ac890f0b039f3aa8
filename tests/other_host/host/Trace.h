#pragma once
// Trace lines and reports.

#include "host/QXString.h"

#include <memory>

class CTraceProducer
{
public:
    CTraceProducer();
    virtual ~CTraceProducer();
    void Trace(CQXString line);
    void Trace(const char* line);
    CQXString FormatLine(const char* format, ...) __attribute__((format(printf, 2, 3)));
    int TraceName(CQXString name);
    int TraceEnabled() const;

    struct Own; // the host's own
    const std::unique_ptr<Own> trace;
};

class CTraceServer
{
public:
    static CTraceServer* Instance();
    void LoadStateFor(CTraceProducer* producer);
};

void AssertWrap(const char* source, int number, const char* message);
