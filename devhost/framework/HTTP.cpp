// The driver's view of an HTTP exchange: connection, page and redirect address. The bytes are moved by the
// transport that is plugged in.

#include "host/HTTP.h"

#include "devhost/framework/Framework.h"
#include "devhost/framework/JSONParser.h"
#include "host/JSON.h"

#include <algorithm>
#include <string_view>
#include <utility>

class CHTTPConnectionSSL::Stream
{
public:
    explicit Stream(std::unique_ptr<devhost::Connection> pConnection) : m_pConnection(std::move(pConnection))
    {
    }

    devhost::Connection& Connection() { return *m_pConnection; }

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
    auto pConnection = pTransport->Connect(pHost, iPort, std::chrono::milliseconds(iTimeoutMs));
    if (!pConnection)
        return 0;
    m_pStream = std::make_unique<Stream>(std::move(pConnection));
    return 1;
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
    return devhost::ParseJson(std::string_view(pTaken->m_Text).substr(pTaken->m_cbHead)).release();
}

CHTMLPage* DoHTTPExchangeWithConnection(CHTTPConnectionSSL* pConnection, const CQXString& sRequest,
                                        const CQXString& /*sExtra*/, int /*iReserved1*/, int /*iReserved2*/)
{
    if (!pConnection || !pConnection->Get())
        return nullptr;
    const std::string_view Request(static_cast<char*>(sRequest),
                                   static_cast<std::size_t>(sRequest.GetLength()));
    auto Reply = pConnection->Get()->Connection().Exchange(Request);
    if (!Reply)
        return nullptr;
    return new CHTMLPage(std::move(Reply->Head), std::move(Reply->Body));
}

CQXString OAuthRedirectURI(OAUTH_REDIRECT_SCHEMA eSchema)
{
    const auto& RedirectURI = devhost::TheFramework().RedirectURI;
    return RedirectURI ? CQXString(RedirectURI(eSchema).c_str()) : CQXString();
}
