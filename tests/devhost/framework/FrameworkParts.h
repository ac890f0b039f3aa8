#pragma once
// Parts to plug into the framework in a test.

#include "devhost/framework/Framework.h"

#include <mutex>
#include <string>
#include <vector>

// Puts the framework back as it was when the test ends.
class FrameworkGuard
{
public:
    FrameworkGuard() : m_Before(devhost::TheFramework()) {}
    ~FrameworkGuard() { devhost::TheFramework() = m_Before; }
    FrameworkGuard(const FrameworkGuard&) = delete;
    FrameworkGuard& operator=(const FrameworkGuard&) = delete;

private:
    devhost::Framework m_Before;
};

// Keeps every line as "producer|line" and every report as "source:number|message".
class RecordingSink : public devhost::DiagnosticSink
{
public:
    void OnTrace(const std::string& Producer, std::string_view Line) override
    {
        Add(Producer + "|" + std::string(Line));
    }
    void OnReport(const std::string& Source, int Line, std::string_view Message) override
    {
        Add(Source + ":" + std::to_string(Line) + "|" + std::string(Message));
    }
    std::vector<std::string> Lines() const
    {
        const std::lock_guard Lock(m_Mutex);
        return m_Lines;
    }

private:
    void Add(std::string Line)
    {
        const std::lock_guard Lock(m_Mutex);
        m_Lines.push_back(std::move(Line));
    }
    mutable std::mutex m_Mutex;
    std::vector<std::string> m_Lines;
};
