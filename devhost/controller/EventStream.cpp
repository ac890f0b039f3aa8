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
constexpr std::size_t kBytesPerWrite = std::size_t{64} * 1024;

} // namespace

struct EventStream::Reader {
    Reader(asio::io_context& context, boost::beast::tcp_stream& destination)
        : stream(destination), changed(context)
    {
    }

    void Add(std::shared_ptr<const std::string> text)
    {
        waitingByteCount += text->size();
        waiting.push_back(std::move(text));
    }
    void Clear()
    {
        waiting.clear();
        waitingByteCount = 0;
    }
    // The next events in one text, which is no longer than a write and its last event need.
    std::string TakeNext()
    {
        std::string out;
        for (; !waiting.empty() && out.size() < kBytesPerWrite; waiting.pop_front())
            out += *waiting.front();
        waitingByteCount -= out.size();
        return out;
    }

    boost::beast::tcp_stream& stream;
    asio::steady_timer changed; // cancelled to wake the reader
    bool disconnected = false;
    // All readers share an event, so many slow ones take hardly more than one.
    std::deque<std::shared_ptr<const std::string>> waiting;
    std::size_t waitingByteCount = 0;
};

void EventStream::Publish(const std::string& type, const std::string& data)
{
    const auto event = std::make_shared<const std::string>("event: " + type + "\ndata: " + data + "\n\n");
    for (Reader* reader : m_readers) {
        if (reader->disconnected)
            continue;
        if (reader->waiting.size() >= kMaxEventsBehind ||
            reader->waitingByteCount + event->size() > kMaxBytesBehind) {
            Disconnect(*reader);
            continue;
        }
        reader->Add(event);
        reader->changed.cancel();
    }
}

// With a reset, because the system would otherwise keep what it has taken for as long as nobody reads it.
void EventStream::Disconnect(Reader& slow)
{
    slow.disconnected = true;
    slow.Clear();
    error_code ignored;
    slow.stream.socket().set_option(asio::socket_base::linger(true, 0), ignored);
    slow.stream.close();
    slow.changed.cancel();
}

asio::awaitable<void> EventStream::Serve(boost::beast::tcp_stream& stream, std::string head)
{
    Reader self(m_context, stream);
    const Membership<Reader> member(m_readers, &self);
    self.Add(std::make_shared<const std::string>(std::move(head)));
    error_code error;
    while (!error && !m_stopping && !self.disconnected) {
        std::string out = self.TakeNext();
        if (out.empty()) {
            self.changed.expires_after(kKeepAlive);
            error_code woken;
            co_await self.changed.async_wait(asio::redirect_error(asio::use_awaitable, woken));
            if (woken)
                continue;
            out = ":\n\n"; // a comment: shows whether the reader is still there
        }
        stream.expires_after(kWriteTime);
        co_await asio::async_write(stream, asio::buffer(out),
                                   asio::redirect_error(asio::use_awaitable, error));
    }
}

void EventStream::Stop()
{
    m_stopping = true;
    for (Reader* reader : m_readers)
        reader->changed.cancel();
}

} // namespace devhost
