#pragma once
// The readers of the event stream, and what each of them has not read yet.

#include <boost/asio/awaitable.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/beast/core/tcp_stream.hpp>

#include <cstddef>
#include <memory>
#include <set>
#include <string>

namespace devhost
{

/// Sends every event to every reader, as server-sent events. Used on the server's thread only.
class EventStream
{
public:
    /// More readers would leave connections for nothing else.
    static constexpr std::size_t kMaxReaders = 32;
    /// How far a reader may fall behind. A round may change all locks of a large system at once, and a reader
    /// that merely was not woken yet must not be taken for one that does not read.
    static constexpr std::size_t kMaxEventsBehind = 10'000;
    static constexpr std::size_t kMaxBytesBehind = std::size_t{4} * 1024 * 1024;

    explicit EventStream(boost::asio::io_context& context) : m_context(context) {}

    bool IsFull() const { return m_readers.size() >= kMaxReaders; }

    /// Puts an event in line for all readers. One that is too far behind is disconnected: it would take
    /// memory without end, and has to ask for the state anew anyhow.
    /// @param type of the event, letters only; @param data one line of text.
    void Publish(const std::string& type, const std::string& data);

    /// Sends the head of the reply and all events from now on, until the reader goes, falls behind, or Stop.
    /// @param stream of the reader; outlives the call.
    boost::asio::awaitable<void> Serve(boost::beast::tcp_stream& stream, std::string head);

    /// Ends all calls of Serve, and those to come.
    void Stop();

private:
    struct Reader;
    static void Disconnect(Reader& slow);

    boost::asio::io_context& m_context;
    bool m_stopping = false;
    std::set<Reader*> m_readers;
};

} // namespace devhost
