#include "devhost/framework/diagnostics/SecretFilter.h"

#include <gtest/gtest.h>

#include <chrono>

namespace
{

TEST(SecretFilterTest, HidesSecretsInEveryFormThatLinesHave)
{
    // clang-format off
    const char* const kRows[][2] = {
        {"HTTPS message [GET / HTTP/1.1\r\nAuthorization: Bearer ab.c-d_e/f+g==\r\nHost: x\r\n]",
         "HTTPS message [GET / HTTP/1.1\r\nAuthorization: Bearer ***\r\nHost: x\r\n]"},
        {"authorization: BEARER   abc", "authorization: BEARER   ***"},
        {"[code=a%2Fb/c,d&client_id=abc&client_secret=s3&redirect_uri=http://x/&grant_type=x]",
         "[code=***&client_id=abc&client_secret=***&redirect_uri=http://x/&grant_type=x]"},
        {"refresh_token=x.y&grant_type=refresh_token", "refresh_token=***&grant_type=refresh_token"},
        {"GET /callback?state=1&code=abc HTTP/1.1", "GET /callback?state=1&code=*** HTTP/1.1"},
        {R"({"access_token":"a\"b","refresh_token" : "c","pin":"1234","pin":1234,"name":"Ann"})",
         R"({"access_token":"***","refresh_token" : "***","pin":"***","pin":***,"name":"Ann"})"},
        {R"({"programming_code":null,"zip_code":"90210","pinned":1,"PIN":"9"})",
         R"({"programming_code":***,"zip_code":"90210","pinned":1,"PIN":"***"})"},
        {R"("{\"pin\":\"12\\\"34\",\"x\":\"y\"}")", R"("{\"pin\":\"***\",\"x\":\"y\"}")"},
        {R"(a\ncode=1 b)", R"(a\ncode=***)"}, {"{'pin': '1234'}", "{'pin': '***'}"},
        {R"({"access_token":"cut in the mid)", R"({"access_token":"***)"},
        {"Got [{\"pin\" :\r\n \"1234\",\"x\":[\"\\u0031234\"]}]", "Got [{\"pin\" :\r\n \"***\",\"x\":[\"***\"]}]"},
        {R"([{"a":{"Pin":[12,{"b":"34"}],"pin":{"c":[1]}},"d":[1.5e3,-0]}])",
         R"([{"a":{"Pin":***,"pin":***},"d":[1.5e3,-0]}])"},
        {R"({"\u0070in":"12","x\u006e":"{\"p\\u0069n\":[12]}"} {"pin":[1,"cut)",
         R"({"\u0070in":"***","x\u006e":"{\"p\\u0069n\":***}"} {"pin":***)"},
        {R"(data ["p\u0069n":"12","b":1,"Pin":[34]])", R"(data ["p\u0069n":"***","b":1,"Pin":***])"},
        {"r=http%3A%2F%2Fx%3F%E4code%3Dabc%26s%3D1&p%69n=12&q=%257Bpin%253D12", 
         "r=http%3A%2F%2Fx%3F%E4code%3D***&p%69n=***&q=%257Bpin%253D***"},
        {"[a=1&pin=\"12\" [3]4, 5&user[pin]=67 8]", "[a=1&pin=***&user[pin]=***]"},
        {"Authorization: Basic Zm9v OmJh\r\n\tcg==\r\nHost: x", "Authorization: Basic ***\r\nHost: x"},
        {"Authorization: Zm9v \r\n", "Authorization: ***\r\n"},
        {R"({"Authorization":"Basic Zm9v"})", R"({"Authorization":"***"})"},
        {"Updating AccessPerson: [Ann][id-1][1234][a@b]", "Updating AccessPerson: [Ann][id-1][***][a@b]"},
        {"Updating AccessPerson: [A][nn][id-1][1234][a@b]", "Updating AccessPerson: [***]"},
        {"User's PinCode changed from [1234] to [5678]", "User's PinCode changed from [***] to [***]"},
    };
    // clang-format on
    devhost::SecretFilter filter;
    filter.SetKnownSecrets({"1234"});
    for (const auto& [line, hidden] : kRows)
        EXPECT_EQ(filter.Hide(line), hidden);
    for (const char* line :
         {R"({"token_type":"Bearer","expires_in":7200})", "pin=", "a code without a value, and pin",
          "Received new RefreshToken: [***]", "Got new AccessToken [64:%s]", ""})
        EXPECT_EQ(filter.Hide(line), line);
}

TEST(SecretFilterTest, HidesKnownSecretsAndShortOnesOnlyByThemselves)
{
    const char* const kRows[][2] = {{"User [1234] 1234, (1234)", "User [***] ***, (***)"},
                                    {"12345 01234 a1234 1234_", "12345 01234 a1234 1234_"},
                                    {"12341234 1234", "12341234 ***"},
                                    {"x123456789012y", "x***y"},
                                    {"1234-5", "***"},
                                    {"1234-5-99991234567890121234", "*********"}};
    devhost::SecretFilter filter;
    filter.SetKnownSecrets({"", "1234", "1234-5", "5-9999", "123456789012"});
    for (const auto& [line, hidden] : kRows)
        EXPECT_EQ(filter.Hide(line), hidden);
}

TEST(SecretFilterTest, BearsLongLinesInTimeLinearInTheirLength)
{
    devhost::SecretFilter filter;
    filter.SetKnownSecrets({"1234"});
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(filter.Hide("\"code\":\"" + std::string(4000000, '\\')), "\"code\":\"***");
    EXPECT_EQ(filter.Hide(std::string(4000000, '[')).size(), 4000000u);
    const std::pair<const char*, std::size_t> kRows[] = {
        {"1234 ", 8000000}, {"pin=1234&", 250000}, {"[\"[\\\"", 250000}, {"{\"a\":\"", 250000}};
    for (const auto& [part, byteCount] : kRows) {
        std::string line;
        while (line.size() < byteCount)
            line += part;
        EXPECT_EQ(filter.Hide(line).find("1234"), std::string::npos);
    }
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(60))
        << "it takes about a second, and minutes when what follows is moved or read again for each part";
}

} // namespace
