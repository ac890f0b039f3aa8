// Checks how requests are put together from pieces and where their size ends.
#include "cloudsim/model/Forms.h"
#include "tests/cloudsim/CloudTest.h"

namespace cloudsim::test
{
namespace
{

TEST(RequestReaderTest, PiecesGiveTheSameRequestAsTheWhole)
{
    const std::string bytes =
        "POST /a?b HTTP/1.1\r\nHost: x\r\nX-Two: 1\r\nContent-Length: 5\r\nX-Two: 2\r\n\r\nhello\r\n";
    for (std::size_t cut = 1; cut < bytes.size() - 2; ++cut) {
        RequestReader reader;
        reader.Feed(bytes.substr(0, cut));
        ASSERT_EQ(reader.Feed(bytes.substr(cut)), RequestReader::State::Complete) << cut;
        const Request& request = reader.Result();
        EXPECT_EQ(request.Path(), "/a");
        EXPECT_EQ(request.Query(), "b");
        EXPECT_EQ(request.body, "hello");
        EXPECT_EQ(request.trailing, "\r\n") << cut;
        EXPECT_EQ(request.CountHeader("x-two"), 2U);
    }
}

TEST(RequestReaderTest, HeaderAndBodyAreBounded)
{
    struct Row {
        std::string bytes;
        int status; // 0 for a request that is taken
    };
    const std::string start = "POST / HTTP/1.1\r\nX: ";
    const Row rows[] = {
        {start + std::string(kMaxHeaderBytes - 100, 'x') + "\r\n\r\n", 0},
        {start + std::string(kMaxHeaderBytes + 1, 'x') + "\r\n\r\n", 431},
        {start + "1\r\nContent-Length: 1048576\r\n\r\n" + std::string(kMaxBodyBytes, 'x'), 0},
        {start + "1\r\nContent-Length: 1048577\r\n\r\n", 413},
        {start + "1\r\nContent-Length: 99999999999999999999\r\n\r\n", 400},
        {start + "1\r\nContent-Length: 1\r\nContent-Length: 2\r\n\r\n", 400},
        {std::string("\0\1\2\3", 4), 400},
    };
    for (const Row& row : rows) {
        const auto parsed = ParseRawRequest(row.bytes);
        const auto* refusal = std::get_if<Refusal>(&parsed);
        EXPECT_EQ(refusal ? refusal->Status() : 0, row.status) << row.bytes.substr(0, 60);
    }
}

TEST(FormsTest, OnlyWholePercentSequencesAreDecoded)
{
    struct Row {
        const char *text, *decoded;
    };
    const Row rows[] = {{"a%41%2fb", "aA/b"}, {"%", "%"},     {"%4", "%4"},
                        {"%zz", "%zz"},       {"%-1", "%-1"}, {"a+b", "a+b"}};
    for (const Row& row : rows)
        EXPECT_EQ(PercentDecode(row.text), row.decoded) << row.text;
}

} // namespace
} // namespace cloudsim::test
