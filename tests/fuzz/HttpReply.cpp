// Bytes of a server: however they come in pieces, they are the same reply or none.

#include "devhost/framework/network/HttpReplyReader.h"
#include "host/HTTP.h"
#include "tests/fuzz/Fuzz.h"

using devhost::HttpReplyReader;
using fuzz::Require;

static void Read(HttpReplyReader& reader, std::string_view bytes, std::size_t pieceSize, bool closed)
{
    for (std::size_t i = 0; i < bytes.size(); i += pieceSize)
        reader.Feed(bytes.substr(i, pieceSize));
    if (closed)
        reader.EndOfStream();
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string_view bytes = fuzz::Text(data, size);
    for (const bool closed : {false, true}) {
        HttpReplyReader whole;
        HttpReplyReader pieces;
        Read(whole, bytes, size + 1, closed);
        Read(pieces, bytes, 1, closed);
        // What is wrong may show later in pieces, but no later than at the end.
        constexpr auto kComplete = HttpReplyReader::State::Complete;
        Require((whole.Current() == kComplete) == (pieces.Current() == kComplete),
                "a reply in pieces is the same as a whole one");
        Require(!closed || whole.Current() == pieces.Current(), "nothing is waited for behind the end");
        Require((whole.Current() == HttpReplyReader::State::Failed) == !whole.Failure().empty(),
                "what fails says why");
        if (whole.Current() != kComplete)
            continue;
        const devhost::HttpReply reply = whole.Take();
        const devhost::HttpReply other = pieces.Take();
        Require(reply.head == other.head && reply.body == other.body, "heads and bodies are the same");
        Require(reply.body.find('\0') == std::string::npos, "a body has no NUL");
        int status = 0;
        CQXString reason;
        CHTMLPage(reply.head, reply.body).ParseResponseCode(&status, &reason);
        Require(status >= 100 && status <= 599, "the driver finds a status in a reply that was taken");
    }
    return 0;
}
