// Trace producers and reports: names, switches and the way to the diagnostics sink, which keeps the lines.

#include "host/Trace.h"

#include "devhost/framework/seams/Framework.h"
#include "devhost/framework/values/Formatter.h"

CTraceProducer::CTraceProducer() = default;
CTraceProducer::~CTraceProducer() = default;

void CTraceProducer::Trace(CQXString sLine)
{
    Trace(static_cast<const char*>(sLine));
}

void CTraceProducer::Trace(const char* pLine)
{
    devhost::DiagnosticSink* pSink = devhost::TheFramework().pDiagnostics;
    if (pSink && pLine)
        pSink->OnTrace(static_cast<char*>(TraceName()), pLine);
}

CQXString CTraceProducer::FormatLine(const char* pFormat, ...)
{
    std::va_list Arguments;
    va_start(Arguments, pFormat);
    const std::string Line = devhost::FormatText(pFormat, Arguments);
    va_end(Arguments);
    return Line.c_str();
}

int CTraceProducer::TraceName(CQXString sName)
{
    const std::lock_guard Lock(m_NameMutex);
    if (m_sName.Compare(sName) == 0)
        return 0;
    m_sName = std::move(sName);
    return 1;
}

CQXString CTraceProducer::TraceName() const
{
    const std::lock_guard Lock(m_NameMutex);
    return m_sName;
}

void AssertWrap(const char* pFile, int iLine, const char* pMessage)
{
    if (devhost::DiagnosticSink* pSink = devhost::TheFramework().pDiagnostics)
        pSink->OnReport(pFile ? pFile : "", iLine, pMessage ? pMessage : "");
}
