#pragma once
// TLS connections, one HTTP exchange over them, and the page that comes back.

#include "host/QXString.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

class CJSONObject;

// A TLS client connection: TLS 1.2 or later, chain and host name always verified. One thread at a time.
// Destroying it closes it.
class CHTTPConnectionSSL
{
public:
    explicit CHTTPConnectionSSL(int iClientMethod); // 0: the host's choice of protocol versions
    ~CHTTPConnectionSSL();
    CHTTPConnectionSSL(const CHTTPConnectionSSL&) = delete;
    CHTTPConnectionSSL& operator=(const CHTTPConnectionSSL&) = delete;

    // Connects and shakes hands within iTimeoutMs. Non-zero on success.
    int CreateConnection(const char* pHost, int iPort, int iTimeoutMs, int iReserved);

    class Stream; // the transport behind the connection
    Stream* Get() const { return m_pStream.get(); }

private:
    std::unique_ptr<Stream> m_pStream;
};

// One reply: status line, header and body as text. Deleted by its holder or consumed by HTMLPageToJSON.
class CHTMLPage
{
public:
    CHTMLPage(std::string Head, std::string Body);

    // Status code and reason of the status line; both stay unchanged when the line cannot be read.
    void ParseResponseCode(int* pCode, CQXString* pText) const;

    const char* Data() const { return m_Text.c_str(); } // the whole reply
    int NBytes() const { return static_cast<int>(m_Text.size()); }

    // Parses the body into a new tree that the caller owns, or null when there is no JSON in bounds. Takes
    // the page over: it is deleted and pPage is null afterwards.
    static CJSONObject* HTMLPageToJSON(CHTMLPage*& pPage);

private:
    std::string m_Text;
    std::size_t m_cbHead;
};

// Sends the complete request over the open connection, exactly as given, and reads one reply. Returns a new
// page that the caller owns, or null when nothing usable came back (closed, cut short, malformed, too large,
// too slow). Blocks; the worker's thread. It ends early when the worker's bridge shuts down.
CHTMLPage* DoHTTPExchangeWithConnection(CHTTPConnectionSSL* pConnection, const CQXString& sRequest,
                                        const CQXString& sExtra, int iReserved1, int iReserved2);

// Which redirect address the host registers for the OAuth flow.
enum OAUTH_REDIRECT_SCHEMA : int {
    OAUTH_REDIRECT_LOCAL = 0,  // the controller's own address
    OAUTH_REDIRECT_LEGACY = 1, // what configurations up to version 1460 were registered with
};

// The redirect address for the schema, as the cloud knows it; not encoded. Any value is borne. Any thread.
CQXString OAuthRedirectURI(OAUTH_REDIRECT_SCHEMA eSchema);

// Traffic counters of a bridge, written by its worker and read by the host.
class CGeneralCommThread
{
public:
    void AddNBytesSent(int cb) { m_cbSent.fetch_add(static_cast<std::uint64_t>(cb)); }
    void AddNSends(int n) { m_nSends.fetch_add(static_cast<std::uint64_t>(n)); }
    void AddNBytesReceived(int cb) { m_cbReceived.fetch_add(static_cast<std::uint64_t>(cb)); }
    void AddNReceives(int n) { m_nReceives.fetch_add(static_cast<std::uint64_t>(n)); }

    std::uint64_t NBytesSent() const { return m_cbSent.load(); }
    std::uint64_t NSends() const { return m_nSends.load(); }
    std::uint64_t NBytesReceived() const { return m_cbReceived.load(); }
    std::uint64_t NReceives() const { return m_nReceives.load(); }

private:
    std::atomic<std::uint64_t> m_cbSent{0};
    std::atomic<std::uint64_t> m_nSends{0};
    std::atomic<std::uint64_t> m_cbReceived{0};
    std::atomic<std::uint64_t> m_nReceives{0};
};
