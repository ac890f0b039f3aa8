#pragma once
// Connections, one exchange over them, pages and traffic counters.

#include "host/QXString.h"

#include <memory>

class CJSONObject;

class CHTTPConnectionSSL
{
public:
    explicit CHTTPConnectionSSL(int method);
    ~CHTTPConnectionSSL();
    int CreateConnection(const char* name, int port, int timeoutMs, int reserved);

    CQXString host; // the host's own
};

class CHTMLPage
{
public:
    explicit CHTMLPage(CQXString reply); // the host's own
    ~CHTMLPage();
    void ParseResponseCode(int* code, CQXString* text) const;
    const char* Data() const;
    int NBytes() const;
    static CJSONObject* HTMLPageToJSON(CHTMLPage*& page);

private:
    CQXString m_reply;
};

CHTMLPage* DoHTTPExchangeWithConnection(CHTTPConnectionSSL* connection, const CQXString& request,
                                        const CQXString& extra, int reserved1, int reserved2);

enum OAUTH_REDIRECT_SCHEMA : int { OAUTH_REDIRECT_LOCAL = 0, OAUTH_REDIRECT_LEGACY = 1 };
CQXString OAuthRedirectURI(OAUTH_REDIRECT_SCHEMA schema);

class CGeneralCommThread
{
public:
    CGeneralCommThread();
    virtual ~CGeneralCommThread();
    void AddNBytesSent(int bytes);
    void AddNSends(int sends);
    void AddNBytesReceived(int bytes);
    void AddNReceives(int receives);

    struct Own; // the host's own
    const std::unique_ptr<Own> traffic;
};
