#pragma once
// A cloud that answers from a script and keeps every request byte for byte.

#include "devhost/framework/Framework.h"

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
    using Answer = std::optional<devhost::HttpReply>;
    struct Request {
        std::string Host;
        int Port;
        std::string Bytes;
    };

    std::unique_ptr<devhost::Connection> Connect(const std::string& Host, int Port,
                                                 std::chrono::milliseconds Timeout) override;

    /// Queues an answer for the next exchange. Exchanges past the script get no page.
    void Reply(int Status, const std::string& Body, const std::string& Reason = "Reason");
    void ReplyRaw(devhost::HttpReply Page) { m_Script.push_back({true, std::move(Page)}); }
    void NoPage() { m_Script.push_back({true, std::nullopt}); } // the exchange yields nothing
    /// The connection of the next request is not made.
    void RefuseConnection() { m_Script.push_back({false, std::nullopt}); }

    /// The requests so far; the list is empty afterwards.
    std::vector<Request> TakeRequests() { return std::exchange(m_Requests, {}); }

    /// Called with each request's bytes before its answer is given: for effects that must come in between.
    std::function<void(const std::string&)> OnRequest;

private:
    friend struct ScriptedConnection;
    struct Step {
        bool bConnect = true;
        Answer Page;
    };

    std::deque<Step> m_Script;
    std::vector<Request> m_Requests;
};

} // namespace support
