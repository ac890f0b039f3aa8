#pragma once
// A cloud that answers from a script and keeps every request byte for byte; the framework's parsing of pages
// stays in place.

#include "devhost/framework/seams/Framework.h"

#include <deque>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace support
{

/// Plugs into the framework's transport seam. One thread.
class ScriptedCloud : public devhost::Transport
{
public:
    struct Request {
        std::string Host;
        int Port;
        std::string Bytes;
    };

    std::unique_ptr<devhost::Connection> Connect(const std::string& Host, int Port,
                                                 std::chrono::milliseconds) override
    {
        if (!m_Script.empty() && !m_Script.front().bConnect) {
            m_Script.pop_front();
            return nullptr;
        }
        return std::make_unique<ScriptedConnection>(*this, Request{Host, Port, {}});
    }

    /// Queues an answer for the next exchange. Exchanges past the script get no page.
    void Reply(int Status, const std::string& Body, const std::string& Reason = "Reason")
    {
        ReplyRaw({"HTTP/1.1 " + std::to_string(Status) + " " + Reason +
                      "\r\nContent-Length: " + std::to_string(Body.size()) + "\r\n\r\n",
                  Body});
    }
    void ReplyRaw(devhost::HttpReply Page) { m_Script.push_back({true, std::move(Page)}); }
    void NoPage() { m_Script.push_back({true, std::nullopt}); } // the exchange yields nothing
    /// The connection of the next request is not made.
    void RefuseConnection() { m_Script.push_back({false, std::nullopt}); }

    /// The requests so far; the list is empty afterwards.
    std::vector<Request> TakeRequests() { return std::exchange(m_Requests, {}); }

    /// Called with each request's bytes before its answer is given: for effects that must come in between, or
    /// to queue that very answer.
    std::function<void(const std::string&)> OnRequest;

private:
    struct Step {
        bool bConnect;
        std::optional<devhost::HttpReply> Page;
    };
    struct ScriptedConnection : devhost::Connection {
        ScriptedConnection(ScriptedCloud& Owner, Request Given) : Cloud(Owner), Sent(std::move(Given)) {}
        std::optional<devhost::HttpReply> Exchange(std::string_view Bytes) override
        {
            Sent.Bytes = Bytes;
            Cloud.m_Requests.push_back(Sent);
            if (Cloud.OnRequest)
                Cloud.OnRequest(Sent.Bytes);
            if (Cloud.m_Script.empty())
                return std::nullopt;
            Step Next = std::move(Cloud.m_Script.front());
            Cloud.m_Script.pop_front();
            return std::move(Next.Page);
        }

        ScriptedCloud& Cloud;
        Request Sent;
    };

    std::deque<Step> m_Script;
    std::vector<Request> m_Requests;
};

} // namespace support
