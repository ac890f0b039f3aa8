// Trace producers and reports: names, switches and the way to the diagnostics sink, which keeps the lines.

#include "host/Trace.h"

#include "devhost/framework/seams/Framework.h"
#include "devhost/framework/values/Formatter.h"

CTraceProducer::CTraceProducer() = default;
CTraceProducer::~CTraceProducer() = default;

void CTraceProducer::Trace(CQXString line)
{
    Trace(static_cast<const char*>(line));
}

void CTraceProducer::Trace(const char* line)
{
    devhost::DiagnosticSink* sink = devhost::TheFramework().diagnostics;
    if (sink && line)
        sink->OnTrace(static_cast<char*>(TraceName()), line);
}

CQXString CTraceProducer::FormatLine(const char* format, ...)
{
    std::va_list arguments;
    va_start(arguments, format);
    const std::string line = devhost::FormatText(format, arguments);
    va_end(arguments);
    return line.c_str();
}

int CTraceProducer::TraceName(CQXString name)
{
    const std::lock_guard lock(m_NameMutex);
    if (m_sName.Compare(name) == 0)
        return 0;
    m_sName = std::move(name);
    return 1;
}

CQXString CTraceProducer::TraceName() const
{
    const std::lock_guard lock(m_NameMutex);
    return m_sName;
}

void AssertWrap(const char* source, int number, const char* message)
{
    if (devhost::DiagnosticSink* sink = devhost::TheFramework().diagnostics)
        sink->OnReport(source ? source : "", number, message ? message : "");
}
