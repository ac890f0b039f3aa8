#pragma once
// Diagnostics: trace lines of named producers, and reports.

#include "host/QXString.h"

#include <atomic>
#include <mutex>

// The part of an object that writes trace lines. Trace and FormatLine may be called from any thread.
class CTraceProducer
{
public:
    CTraceProducer();
    virtual ~CTraceProducer();
    CTraceProducer(const CTraceProducer&) = delete;
    CTraceProducer& operator=(const CTraceProducer&) = delete;

    // Writes one line as it stands; the text is never a format. Lines are written whatever the switch says:
    // the caller asks TraceEnabled() for those that belong to tracing only.
    void Trace(CQXString sLine);
    void Trace(const char* pLine);

    // The formatted line, of any length.
    CQXString FormatLine(const char* pFormat, ...) __attribute__((format(printf, 2, 3)));

    // Sets the name shown with each line. Non-zero when it changed. Host thread.
    int TraceName(CQXString sName);
    CQXString TraceName() const;

    int TraceEnabled() const { return m_bEnabled.load(std::memory_order_relaxed); }
    void TraceEnabled(int bEnabled) { m_bEnabled.store(bEnabled, std::memory_order_relaxed); }

private:
    std::atomic<int> m_bEnabled{0};
    mutable std::mutex m_NameMutex; // the worker's lines carry the name that the host thread may change
    CQXString m_sName;
};

// Remembers the switch of each producer by name.
class CTraceServer
{
public:
    static CTraceServer* Instance();
    virtual ~CTraceServer() = default;
    virtual void LoadStateFor(CTraceProducer* pProducer) = 0; // host thread
};

// The part of an object that logs events; the driver only inherits it.
class CEventLogger
{
public:
    virtual ~CEventLogger() = default;
};

// Reports a fault, and returns: the caller goes on. pSource names where it comes from, and iNumber identifies
// the report within that for good; the driver's are no file names and no line numbers. The message is
// complete and never a format. Any thread.
void AssertWrap(const char* pSource, int iNumber, const char* pMessage);
