#include "host/HTTP.h"

#include <gtest/gtest.h>

namespace
{

TEST(HtmlPageTest, ReadsTheStatusLineStrictly)
{
    const auto expect = [](const char* head, int expected, const char* expectedReason) {
        int code = -1;
        CQXString reason("unchanged");
        CHTMLPage(head, "HTTP/1.1 500 In the body\r\n").ParseResponseCode(&code, &reason);
        EXPECT_EQ(code, expected) << head;
        EXPECT_STREQ(reason, expectedReason) << head;
    };
    expect("HTTP/1.1 204 \r\n\r\n", 204, "");
    expect("HTTP/1.0 099 %s\r\nA: b\r\n\r\n", 99, "%s");
    for (const char* head : {"HTTP/1.1 204\r\n\r\n", "HTTP/1.1 2000 OK\r\n\r\n", "HTTP/1.1 2x0 OK\r\n\r\n",
                             "HTTP/1.1  20 OK\r\n\r\n", "HTTP/1.x 200 OK\r\n\r\n", "HTTP/2.0 200 OK\r\n\r\n",
                             "HTTP/1.1 200 OK", ""})
        expect(head, -1, "unchanged");
}

} // namespace
