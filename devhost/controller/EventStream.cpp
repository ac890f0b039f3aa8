// Keeps the lines of the event stream's readers short. Connections and heads of replies are HttpServer.cpp's.

#include "devhost/controller/EventStream.h"

#include "devhost/controller/Membership.h"

#include <boost/asio/redirect_error.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/asio/write.hpp>

#include <spdlog/fmt/fmt.h>

#include <charconv>
#include <chrono>
#include <random>
#include <system_error>
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

EventStream::EventStream(asio::io_context& context)
    : m_context(context), m_idPrefix(fmt::format("{:08x}-", std::random_device()()))
{
}

EventStream::Event EventStream::MakeEvent(const std::string& type, const std::string& data) const
{
    return std::make_shared<const std::string>("id: " + m_idPrefix + std::to_string(m_last) +
                                               "\nevent: " + type + "\ndata: " + data + "\n\n");
}

void EventStream::Publish(const std::string& type, const std::string& data)
{
    ++m_last;
    const Event event = MakeEvent(type, data);
    m_keptByteCount += event->size();
    m_kept.push_back(event);
    while (m_kept.size() > kMaxEventsKept || m_keptByteCount > kMaxBytesKept) {
        m_keptByteCount -= m_kept.front()->size();
        m_kept.pop_front();
    }
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

// Whether all that came behind an event is still there; then it is put in line.
bool EventStream::AddMissed(Reader& back, const std::string& lastEventId) const
{
    if (!lastEventId.starts_with(m_idPrefix))
        return false;
    std::uint64_t number = 0;
    const char* end = lastEventId.data() + lastEventId.size();
    const auto read = std::from_chars(lastEventId.data() + m_idPrefix.size(), end, number);
    if (read.ec != std::errc{} || read.ptr != end || number > m_last || m_last - number > m_kept.size())
        return false;
    for (std::size_t i = m_kept.size() - (m_last - number); i < m_kept.size(); ++i)
        back.Add(m_kept[i]);
    return true;
}

asio::awaitable<void> EventStream::Serve(boost::beast::tcp_stream& stream, std::string head,
                                         std::string lastEventId, std::function<std::string()> snapshot)
{
    Reader self(m_context, stream);
    const Membership<Reader> member(m_readers, &self);
    self.Add(std::make_shared<const std::string>(std::move(head)));
    // Changes that the state holds already may come once more behind it, which changes nothing.
    if (!AddMissed(self, lastEventId) && snapshot)
        self.Add(MakeEvent("snapshot", snapshot()));
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
