// The driver's view of an HTTP exchange: connection, page and redirect address. The bytes are moved by the
// transport that is plugged in.

#include "host/HTTP.h"

#include "devhost/framework/network/RequestCheck.h"
#include "devhost/framework/seams/Framework.h"
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
enum REPORT : int { REPORT_EXCEPTION = 1, REPORT_JSON_BOUND = 2, REPORT_REQUEST = 3 };

void Report(REPORT eNumber, const std::string& What)
{
    AssertWrap("http", eNumber, What.c_str());
}

void ReportException(const char* pStep, const char* pWhy) noexcept
{
    try {
        Report(REPORT_EXCEPTION, std::string(pStep) + " was given up: " + pWhy);
    } catch (...) {
        // Without memory for the report there is nothing left to say it with.
    }
}

// Does a step of an exchange. The driver, which calls it, knows no exceptions: one ends the step as refused,
// with 0 or null.
template <class Step>
auto Guarded(const char* pStep, Step Do) noexcept
{
    try {
        return Do();
    } catch (const std::exception& Error) {
        ReportException(pStep, Error.what());
    } catch (...) {
        ReportException(pStep, "unknown exception");
    }
    return decltype(Do()){};
}

} // namespace

class CHTTPConnectionSSL::Stream
{
public:
    explicit Stream(std::unique_ptr<devhost::Connection> pConnection) : m_pConnection(std::move(pConnection))
    {
    }

    std::optional<devhost::HttpReply> Exchange(std::string_view Request)
    {
        // One that an exception has left in the middle of something is closed and not used again.
        auto pConnection = std::move(m_pConnection);
        if (!pConnection)
            return std::nullopt;
        auto Reply = pConnection->Exchange(Request);
        m_pConnection = std::move(pConnection);
        return Reply;
    }

private:
    std::unique_ptr<devhost::Connection> m_pConnection;
};

// Every choice of protocol versions is the same here: the transport never goes below TLS 1.2.
CHTTPConnectionSSL::CHTTPConnectionSSL(int /*iClientMethod*/) {}

CHTTPConnectionSSL::~CHTTPConnectionSSL() = default;

int CHTTPConnectionSSL::CreateConnection(const char* pHost, int iPort, int iTimeoutMs, int /*iReserved*/)
{
    m_pStream.reset();
    devhost::Transport* pTransport = devhost::TheFramework().pTransport;
    if (!pTransport || !pHost)
        return 0;
    return Guarded("a connection", [&] {
        auto pConnection = pTransport->Connect(pHost, iPort, std::chrono::milliseconds(iTimeoutMs));
        if (pConnection)
            m_pStream = std::make_unique<Stream>(std::move(pConnection));
        return m_pStream ? 1 : 0;
    });
}

CHTMLPage::CHTMLPage(std::string Head, std::string Body) : m_Text(std::move(Head)), m_cbHead(m_Text.size())
{
    m_Text += Body;
}

void CHTMLPage::ParseResponseCode(int* pCode, CQXString* pText) const
{
    // RFC 9112, section 4: HTTP-version SP three digits SP an optional reason.
    constexpr std::string_view kVersion = "HTTP/1.";
    constexpr std::size_t kCode = kVersion.size() + 2; // after the minor version and a blank
    constexpr std::size_t kReason = kCode + 4;         // after the code and a blank
    const auto IsDigit = [](char c) { return c >= '0' && c <= '9'; };

    const std::string_view Head = std::string_view(m_Text).substr(0, m_cbHead);
    const std::string_view Line = Head.substr(0, Head.find("\r\n"));
    if (Line.size() < kReason || Line.size() == Head.size() || !Line.starts_with(kVersion))
        return;
    const std::string_view Code = Line.substr(kCode, 3);
    if (!IsDigit(Line[kVersion.size()]) || Line[kCode - 1] != ' ' || Line[kReason - 1] != ' ' ||
        !std::all_of(Code.begin(), Code.end(), IsDigit))
        return;
    if (pCode)
        *pCode = (Code[0] - '0') * 100 + (Code[1] - '0') * 10 + (Code[2] - '0');
    if (pText)
        *pText = std::string(Line.substr(kReason)).c_str();
}

CJSONObject* CHTMLPage::HTMLPageToJSON(CHTMLPage*& pPage)
{
    const std::unique_ptr<CHTMLPage> pTaken(std::exchange(pPage, nullptr));
    if (!pTaken)
        return nullptr;
    return Guarded("a reply", [&] {
        std::string Passed;
        auto pTree = devhost::ParseJson(std::string_view(pTaken->m_Text).substr(pTaken->m_cbHead), &Passed);
        if (!Passed.empty())
            Report(REPORT_JSON_BOUND, "a reply was not taken for JSON: " + Passed);
        return pTree.release();
    });
}

CHTMLPage* DoHTTPExchangeWithConnection(CHTTPConnectionSSL* pConnection, const CQXString& sRequest,
                                        const CQXString& /*sExtra*/, int /*iReserved1*/, int /*iReserved2*/)
{
    if (!pConnection || !pConnection->Get())
        return nullptr;
    const std::string_view Request(static_cast<char*>(sRequest),
                                   static_cast<std::size_t>(sRequest.GetLength()));
    return Guarded("an exchange", [&]() -> CHTMLPage* {
        if (const char* pFault = devhost::RequestFault(Request)) {
            Report(REPORT_REQUEST, std::string("a request was not sent: ") + pFault);
            return nullptr;
        }
        auto Reply = pConnection->Get()->Exchange(Request);
        return Reply ? new CHTMLPage(std::move(Reply->Head), std::move(Reply->Body)) : nullptr;
    });
}

CQXString OAuthRedirectURI(OAUTH_REDIRECT_SCHEMA eSchema)
{
    const auto& RedirectURI = devhost::TheFramework().RedirectURI;
    return RedirectURI ? CQXString(RedirectURI(eSchema).c_str()) : CQXString();
}
