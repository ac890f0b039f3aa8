#pragma once
// The readers of the event stream, and what each of them has not read yet.

#include <boost/asio/awaitable.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/beast/core/tcp_stream.hpp>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
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
    /// What is kept for readers that come back.
    static constexpr std::size_t kMaxEventsKept = 1'000;
    static constexpr std::size_t kMaxBytesKept = std::size_t{1} * 1024 * 1024;

    explicit EventStream(boost::asio::io_context& context);

    bool IsFull() const { return m_readers.size() >= kMaxReaders; }

    /// Puts an event in line for all readers, with an id that no other event has, of other starts either. One
    /// that is too far behind is disconnected: it would take memory without end, and has to ask for the state
    /// anew anyhow.
    /// @param type of the event, letters only; @param data one line of text.
    void Publish(const std::string& type, const std::string& data);

    /// Sends the head of the reply, then what the reader missed, and all events from now on, until the reader
    /// goes, falls behind, or Stop. What was missed are the events behind the last one that the reader got,
    /// when all of them are still kept; otherwise, and for a new reader, it is the whole state.
    /// @param stream of the reader; outlives the call. @param lastEventId empty for a new reader.
    /// @param snapshot gives the whole state; may be empty: then a reader gets what comes from now on.
    boost::asio::awaitable<void> Serve(boost::beast::tcp_stream& stream, std::string head,
                                       std::string lastEventId, std::function<std::string()> snapshot);

    /// Ends all calls of Serve, and those to come.
    void Stop();

private:
    struct Reader;
    using Event = std::shared_ptr<const std::string>;
    Event MakeEvent(const std::string& type, const std::string& data) const;
    bool AddMissed(Reader& back, const std::string& lastEventId) const;
    static void Disconnect(Reader& slow);

    boost::asio::io_context& m_context;
    const std::string m_idPrefix; // of this start
    std::uint64_t m_last = 0;     // number of the last event
    std::deque<Event> m_kept;
    std::size_t m_keptByteCount = 0;
    bool m_stopping = false;
    std::set<Reader*> m_readers;
};

} // namespace devhost
