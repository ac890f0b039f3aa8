// The scripted transport; the framework's parsing of pages stays in place.

#include "support/ScriptedCloud.h"

namespace support
{

struct ScriptedConnection : devhost::Connection {
    ScriptedConnection(ScriptedCloud& Owner, std::string ToHost, int ToPort, ScriptedCloud::Answer Reply)
        : Cloud(Owner), Host(std::move(ToHost)), Port(ToPort), Page(std::move(Reply))
    {
    }
    std::optional<devhost::HttpReply> Exchange(std::string_view Request) override
    {
        Cloud.m_Requests.push_back({Host, Port, std::string(Request)});
        if (Cloud.OnRequest)
            Cloud.OnRequest(Cloud.m_Requests.back().Bytes);
        return std::exchange(Page, std::nullopt);
    }

    ScriptedCloud& Cloud;
    std::string Host;
    int Port;
    ScriptedCloud::Answer Page;
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

} // namespace support
