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
        std::string host;
        int port;
        std::string bytes;
    };

    std::unique_ptr<devhost::Connection> Connect(const std::string& host, int port,
                                                 std::chrono::milliseconds) override
    {
        if (!m_script.empty() && !m_script.front().connect) {
            m_script.pop_front();
            return nullptr;
        }
        return std::make_unique<ScriptedConnection>(*this, Request{host, port, {}});
    }

    /// Queues an answer for the next exchange. Exchanges past the script get no page.
    void Reply(int status, const std::string& body, const std::string& reason = "Reason")
    {
        ReplyRaw({"HTTP/1.1 " + std::to_string(status) + " " + reason +
                      "\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n",
                  body});
    }
    void ReplyRaw(devhost::HttpReply page) { m_script.push_back({true, std::move(page)}); }
    void NoPage() { m_script.push_back({true, std::nullopt}); } // the exchange yields nothing
    /// The connection of the next request is not made.
    void RefuseConnection() { m_script.push_back({false, std::nullopt}); }

    /// The requests so far; the list is empty afterwards.
    std::vector<Request> TakeRequests() { return std::exchange(m_requests, {}); }

    /// Called with each request's bytes before its answer is given: for effects that must come in between, or
    /// to queue that very answer.
    std::function<void(const std::string&)> onRequest;

private:
    struct Step {
        bool connect;
        std::optional<devhost::HttpReply> page;
    };
    struct ScriptedConnection : devhost::Connection {
        ScriptedConnection(ScriptedCloud& owner, Request given) : cloud(owner), sent(std::move(given)) {}
        std::optional<devhost::HttpReply> Exchange(std::string_view bytes) override
        {
            sent.bytes = bytes;
            cloud.m_requests.push_back(sent);
            if (cloud.onRequest)
                cloud.onRequest(sent.bytes);
            if (cloud.m_script.empty())
                return std::nullopt;
            Step next = std::move(cloud.m_script.front());
            cloud.m_script.pop_front();
            return std::move(next.page);
        }

        ScriptedCloud& cloud;
        Request sent;
    };

    std::deque<Step> m_script;
    std::vector<Request> m_requests;
};

} // namespace support
