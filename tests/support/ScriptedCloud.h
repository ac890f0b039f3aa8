#pragma once
// A cloud that answers from a script and keeps every request byte for byte.

#include "devhost/framework/Framework.h"

#include <deque>
#include <functional>
#include <string>
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
                                                 std::chrono::milliseconds Timeout) override;

    /// Queues an answer for the next exchange. Exchanges past the script get no page.
    void Reply(int Status, const std::string& Body, const std::string& Reason = "Reason");
    void ReplyRaw(devhost::HttpReply Page);
    void NoPage();           // the exchange yields nothing
    void RefuseConnection(); // the connection of the next request is not made

    /// The requests so far; the list is empty afterwards.
    std::vector<Request> TakeRequests();

    /// Called with each request's bytes before its answer is given: for effects that must come in between.
    std::function<void(const std::string&)> OnRequest;

private:
    friend class ScriptedConnection;
    struct Step {
        bool bConnect = true;
        std::optional<devhost::HttpReply> Page;
    };

    std::deque<Step> m_Script;
    std::vector<Request> m_Requests;
};

} // namespace support
