// The driver's view of an HTTP exchange: connection, page and redirect address. The bytes are moved by the
// transport that is plugged in.

#include "host/HTTP.h"

#include "devhost/framework/network/AccountHealth.h"
#include "devhost/framework/network/Exchange.h"
#include "devhost/framework/network/RequestCheck.h"
#include "devhost/framework/seams/Framework.h"
#include "devhost/framework/system/WorkerStop.h"
#include "devhost/framework/values/JsonParser.h"
#include "host/JSON.h"
#include "host/Trace.h"

#include <algorithm>
#include <exception>
#include <optional>
#include <string_view>
#include <utility>

namespace
{

// The numbers are fixed identities of the reports, which documents refer to.
enum ReportNumber : int { ExceptionReport = 1, JsonBoundReport = 2, RequestReport = 3 };

void Report(ReportNumber number, const std::string& what)
{
    AssertWrap("http", number, what.c_str());
}

void ReportException(const char* step, const char* why) noexcept
{
    try {
        Report(ExceptionReport, std::string(step) + " was given up: " + why);
    } catch (...) {
        // Without memory for the report there is nothing left to say it with.
    }
}

// Does a step of an exchange. The driver, which calls it, knows no exceptions: one ends the step as refused,
// with 0 or null.
template <class Step>
auto Guarded(const char* step, Step run) noexcept
{
    try {
        return run();
    } catch (const std::exception& error) {
        ReportException(step, error.what());
    } catch (...) {
        ReportException(step, "unknown exception");
    }
    return decltype(run()){};
}

// Tells whoever watches the worker's traffic what an exchange came to, but for what the worker's own end cut
// off.
void Tell(devhost::Exchange exchange)
{
    devhost::AccountHealth* health = devhost::AccountHealth::Current();
    const devhost::WorkerStop* stop = devhost::WorkerStop::Current();
    if (!health || (exchange.status == 0 && stop && stop->StopRequested()))
        return;
    exchange.account = health->Account();
    if (exchange.status != 0)
        health->Replied(exchange.method, exchange.path, exchange.status);
    else
        health->Failed(std::string(exchange.failure));
    if (const auto& onExchange = devhost::TheFramework().onExchange)
        onExchange(exchange);
}

void TellNoConnection(const std::string& why)
{
    devhost::Exchange exchange;
    exchange.failure = why;
    Tell(exchange);
}

// Takes a request apart whose head is well-formed.
devhost::Exchange ReadRequest(std::string_view request)
{
    constexpr std::string_view kHeadEnd = "\r\n\r\n";
    devhost::Exchange result;
    const std::size_t target = request.find(' ') + 1;
    const std::size_t body = request.find(kHeadEnd);
    result.method = request.substr(0, target - 1);
    result.path = request.substr(target, request.find_first_of(" ?", target) - target);
    result.body = request.substr(body == std::string_view::npos ? request.size() : body + kHeadEnd.size());
    return result;
}

} // namespace

class CHTTPConnectionSSL::Stream
{
public:
    explicit Stream(std::unique_ptr<devhost::Connection> connection) : m_connection(std::move(connection)) {}

    std::optional<devhost::HttpReply> Exchange(std::string_view bytes)
    {
        // One that an exception has left in the middle of something is closed and not used again.
        auto connection = std::move(m_connection);
        if (!connection)
            return std::nullopt;
        auto reply = connection->Exchange(bytes);
        m_connection = std::move(connection);
        return reply;
    }

private:
    std::unique_ptr<devhost::Connection> m_connection;
};

// Every choice of protocol versions is the same here: the transport never goes below TLS 1.2.
CHTTPConnectionSSL::CHTTPConnectionSSL(int /*iClientMethod*/) {}

CHTTPConnectionSSL::~CHTTPConnectionSSL() = default;

int CHTTPConnectionSSL::CreateConnection(const char* host, int port, int timeoutMs, int /*iReserved*/)
{
    m_pStream.reset();
    devhost::Transport* transport = devhost::TheFramework().transport;
    if (!transport || !host)
        return 0;
    return Guarded("a connection", [&] {
        auto connection = transport->Connect(host, port, std::chrono::milliseconds(timeoutMs));
        if (connection)
            m_pStream = std::make_unique<Stream>(std::move(connection));
        else
            TellNoConnection(transport->LastFailure());
        return m_pStream ? 1 : 0;
    });
}

CHTMLPage::CHTMLPage(std::string head, std::string body) : m_Text(std::move(head)), m_cbHead(m_Text.size())
{
    m_Text += body;
}

void CHTMLPage::ParseResponseCode(int* code, CQXString* text) const
{
    // RFC 9112, section 4: HTTP-version SP three digits SP an optional reason.
    constexpr std::string_view kVersion = "HTTP/1.";
    constexpr std::size_t kCode = kVersion.size() + 2; // after the minor version and a blank
    constexpr std::size_t kReason = kCode + 4;         // after the code and a blank
    const auto isDigit = [](char c) { return c >= '0' && c <= '9'; };

    const std::string_view head = std::string_view(m_Text).substr(0, m_cbHead);
    const std::string_view line = head.substr(0, head.find("\r\n"));
    if (line.size() < kReason || line.size() == head.size() || !line.starts_with(kVersion))
        return;
    const std::string_view codeText = line.substr(kCode, 3);
    if (!isDigit(line[kVersion.size()]) || line[kCode - 1] != ' ' || line[kReason - 1] != ' ' ||
        !std::all_of(codeText.begin(), codeText.end(), isDigit))
        return;
    if (code)
        *code = (codeText[0] - '0') * 100 + (codeText[1] - '0') * 10 + (codeText[2] - '0');
    if (text)
        *text = std::string(line.substr(kReason)).c_str();
}

CJSONObject* CHTMLPage::HTMLPageToJSON(CHTMLPage*& page)
{
    const std::unique_ptr<CHTMLPage> taken(std::exchange(page, nullptr));
    if (!taken)
        return nullptr;
    return Guarded("a reply", [&] {
        std::string passed;
        auto tree = devhost::ParseJson(std::string_view(taken->m_Text).substr(taken->m_cbHead), &passed);
        if (!passed.empty())
            Report(JsonBoundReport, "a reply was not taken for JSON: " + passed);
        return tree.release();
    });
}

CHTMLPage* DoHTTPExchangeWithConnection(CHTTPConnectionSSL* connection, const CQXString& request,
                                        const CQXString& /*sExtra*/, int /*iReserved1*/, int /*iReserved2*/)
{
    if (!connection || !connection->Get())
        return nullptr;
    const std::string_view bytes(static_cast<char*>(request), static_cast<std::size_t>(request.GetLength()));
    return Guarded("an exchange", [&]() -> CHTMLPage* {
        if (const char* fault = devhost::RequestFault(bytes)) {
            Report(RequestReport, std::string("a request was not sent: ") + fault);
            return nullptr;
        }
        auto reply = connection->Get()->Exchange(bytes);
        devhost::Exchange exchange = ReadRequest(bytes);
        if (!reply) {
            const devhost::Transport* transport = devhost::TheFramework().transport;
            const std::string why = transport ? transport->LastFailure() : "there is no network";
            exchange.failure = why;
            Tell(exchange);
            return nullptr;
        }
        exchange.reply = reply->body;
        auto page = std::make_unique<CHTMLPage>(std::move(reply->head), reply->body);
        page->ParseResponseCode(&exchange.status, nullptr);
        Tell(exchange);
        return page.release();
    });
}

CQXString OAuthRedirectURI(OAUTH_REDIRECT_SCHEMA schema)
{
    const auto& redirectUri = devhost::TheFramework().redirectUri;
    return redirectUri ? CQXString(redirectUri(schema).c_str()) : CQXString();
}
