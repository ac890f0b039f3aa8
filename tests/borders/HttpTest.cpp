// Framing of replies: what is one, where it ends, and what is none.

#include "devhost/framework/network/HttpReplyReader.h"
#include "tests/support/Table.h"

namespace
{

using devhost::HttpReplyReader;

// What a reader makes of the bytes in pieces of a size: the body in "|", "more" when it waits, or why it
// refuses.
std::string Read(std::string_view bytes, std::size_t pieceSize, bool closed)
{
    HttpReplyReader reader;
    for (std::size_t i = 0; i < bytes.size(); i += pieceSize)
        reader.Feed(bytes.substr(i, pieceSize));
    if (closed)
        reader.EndOfStream();
    if (reader.Current() == HttpReplyReader::State::NeedsMore)
        return "more";
    if (reader.Current() == HttpReplyReader::State::Failed)
        return "refused: " + reader.Failure();
    const devhost::HttpReply reply = reader.Take();
    EXPECT_NE(bytes.find(reply.head), std::string_view::npos) << "the head as it came";
    EXPECT_TRUE(reply.head.starts_with("HTTP/1."));
    EXPECT_EQ(reply.head.find("\r\n\r\n"), reply.head.size() - 4) << "and only the last one";
    return "|" + reply.body + "|";
}

} // namespace

TEST(HttpBorderTest, AReplyIsWholeWithItsLastByteAndRefusedWhenItIsCutOrContradictsItself)
{
    constexpr std::size_t kFewBytes = 1000; // up to which every way to cut is tried
    for (const support::Row& row : support::ReadTable("http")) {
        SCOPED_TRACE(row.at("case"));
        const std::string reply = support::Expand(row.at("reply")),
                          result = support::Expand(row.at("result"));
        const bool closed = row.at("then") == "closed";
        const std::string bytes = reply + (closed ? "" : support::Expand(row.at("then")));
        for (const std::size_t pieceSize : {1U, 3U, 1000U, 16384U}) {
            if (pieceSize <= 3 && bytes.size() > kFewBytes)
                continue;
            const std::string read = Read(bytes, pieceSize, closed);
            EXPECT_TRUE(read.starts_with(result)) << pieceSize << " at a time: " << read.substr(0, 200);
        }
        if (!result.starts_with('|') || reply.size() > kFewBytes)
            continue;
        for (std::size_t size = 0; size < reply.size(); ++size) {
            const std::string_view cut = std::string_view(reply).substr(0, size);
            EXPECT_EQ(Read(cut, 1, false), "more") << size << " bytes";
            const std::string ended = Read(cut, 16384, true);
            EXPECT_TRUE(ended.starts_with("refused: ") ||
                        (closed && result.starts_with(ended.substr(0, ended.size() - 1))))
                << size << " bytes: " << ended;
        }
    }
}
