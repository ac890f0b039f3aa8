// Keeps the lines of the event stream's readers short. Connections and heads of replies are HttpServer.cpp's.

#include "devhost/controller/EventStream.h"

#include "devhost/controller/Membership.h"

#include <boost/asio/redirect_error.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/asio/write.hpp>

#include <chrono>
#include <deque>
#include <utility>

namespace devhost
{

namespace
{

namespace asio = boost::asio;
using boost::system::error_code;

constexpr std::chrono::seconds kWriteTime{30};
constexpr std::chrono::seconds kKeepAlive{15};
constexpr std::size_t kBytesPerWrite = 64 * 1024;

} // namespace

struct EventStream::Reader {
    Reader(asio::io_context& Context, boost::beast::tcp_stream& Destination)
        : Stream(Destination), Changed(Context)
    {
    }

    void Add(std::shared_ptr<const std::string> pText)
    {
        nWaitingBytes += pText->size();
        Waiting.push_back(std::move(pText));
    }
    void Clear()
    {
        Waiting.clear();
        nWaitingBytes = 0;
    }
    // The next events in one text, which is no longer than a write and its last event need.
    std::string TakeNext()
    {
        std::string Out;
        for (; !Waiting.empty() && Out.size() < kBytesPerWrite; Waiting.pop_front())
            Out += *Waiting.front();
        nWaitingBytes -= Out.size();
        return Out;
    }

    boost::beast::tcp_stream& Stream;
    asio::steady_timer Changed; // cancelled to wake the reader
    bool bDisconnected = false;
    // All readers share an event, so many slow ones take hardly more than one.
    std::deque<std::shared_ptr<const std::string>> Waiting;
    std::size_t nWaitingBytes = 0;
};

void EventStream::Publish(const std::string& Type, const std::string& Data)
{
    const auto pEvent = std::make_shared<const std::string>("event: " + Type + "\ndata: " + Data + "\n\n");
    for (Reader* pReader : m_Readers) {
        if (pReader->bDisconnected)
            continue;
        if (pReader->Waiting.size() >= kMaxEventsBehind ||
            pReader->nWaitingBytes + pEvent->size() > kMaxBytesBehind) {
            Disconnect(*pReader);
            continue;
        }
        pReader->Add(pEvent);
        pReader->Changed.cancel();
    }
}

// With a reset, because the system would otherwise keep what it has taken for as long as nobody reads it.
void EventStream::Disconnect(Reader& Slow)
{
    Slow.bDisconnected = true;
    Slow.Clear();
    error_code Ignored;
    Slow.Stream.socket().set_option(asio::socket_base::linger(true, 0), Ignored);
    Slow.Stream.close();
    Slow.Changed.cancel();
}

asio::awaitable<void> EventStream::Serve(boost::beast::tcp_stream& Stream, std::string Head)
{
    Reader Self(m_Context, Stream);
    const Membership<Reader> Member(m_Readers, &Self);
    Self.Add(std::make_shared<const std::string>(std::move(Head)));
    error_code Error;
    while (!Error && !m_Stopping && !Self.bDisconnected) {
        std::string Out = Self.TakeNext();
        if (Out.empty()) {
            Self.Changed.expires_after(kKeepAlive);
            error_code Woken;
            co_await Self.Changed.async_wait(asio::redirect_error(asio::use_awaitable, Woken));
            if (Woken)
                continue;
            Out = ":\n\n"; // a comment: shows whether the reader is still there
        }
        Stream.expires_after(kWriteTime);
        co_await asio::async_write(Stream, asio::buffer(Out),
                                   asio::redirect_error(asio::use_awaitable, Error));
    }
}

void EventStream::Stop()
{
    m_Stopping = true;
    for (Reader* pReader : m_Readers)
        pReader->Changed.cancel();
}

} // namespace devhost
