// The scripted transport; the framework's parsing of pages stays in place.

#include "support/ScriptedCloud.h"

#include <utility>

namespace support
{

class ScriptedConnection : public devhost::Connection
{
public:
    ScriptedConnection(ScriptedCloud& Cloud, std::string Host, int Port,
                       std::optional<devhost::HttpReply> Page)
        : m_Cloud(Cloud), m_Host(std::move(Host)), m_Port(Port), m_Page(std::move(Page))
    {
    }

    std::optional<devhost::HttpReply> Exchange(std::string_view Request) override
    {
        m_Cloud.m_Requests.push_back({m_Host, m_Port, std::string(Request)});
        if (m_Cloud.OnRequest)
            m_Cloud.OnRequest(m_Cloud.m_Requests.back().Bytes);
        return std::exchange(m_Page, std::nullopt);
    }

private:
    ScriptedCloud& m_Cloud;
    std::string m_Host;
    int m_Port;
    std::optional<devhost::HttpReply> m_Page;
};

std::unique_ptr<devhost::Connection> ScriptedCloud::Connect(const std::string& Host, int Port,
                                                            std::chrono::milliseconds)
{
    Step Next;
    if (!m_Script.empty()) {
        Next = std::move(m_Script.front());
        m_Script.pop_front();
    }
    if (!Next.bConnect)
        return nullptr;
    return std::make_unique<ScriptedConnection>(*this, Host, Port, std::move(Next.Page));
}

void ScriptedCloud::Reply(int Status, const std::string& Body, const std::string& Reason)
{
    ReplyRaw({"HTTP/1.1 " + std::to_string(Status) + " " + Reason +
                  "\r\nContent-Length: " + std::to_string(Body.size()) + "\r\n\r\n",
              Body});
}

void ScriptedCloud::ReplyRaw(devhost::HttpReply Page)
{
    m_Script.push_back({true, std::move(Page)});
}
void ScriptedCloud::NoPage()
{
    m_Script.push_back({true, std::nullopt});
}
void ScriptedCloud::RefuseConnection()
{
    m_Script.push_back({false, std::nullopt});
}
std::vector<ScriptedCloud::Request> ScriptedCloud::TakeRequests()
{
    return std::exchange(m_Requests, {});
}

} // namespace support
