// Measures what a request over TLS costs this side: the host's transport and, beside it, libcurl. The cloud
// is the simulator on a thread of its own, whose time does not count.

#include "cloudsim/server/Server.h"
#include "devhost/framework/network/TlsTransport.h"

#include <benchmark/benchmark.h>
#include <curl/curl.h>
#include <spdlog/spdlog.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>

#include <unistd.h>

namespace
{

// A simulator, and a file with the authority that it is to be trusted by.
struct Cloud {
    Cloud() { std::ofstream(CaFile) << Identity.authorityPem; }
    ~Cloud() { std::filesystem::remove(CaFile); }

    cloudsim::Options Options;
    cloudsim::ServerIdentity Identity = cloudsim::MakeIdentity(cloudsim::CertificateNames(Options));
    cloudsim::Server Server{{}, {}, Identity};
    std::string CaFile =
        std::filesystem::temp_directory_path() / ("vestara-bench-ca-" + std::to_string(getpid()));
};

// A connection for each request, as the driver makes them.
void HostRequest(benchmark::State& State, std::chrono::seconds ResumeFor)
{
    Cloud Far;
    devhost::TlsTransport Transport({Far.CaFile,
                                     {{Far.Options.apiHost, 443, "127.0.0.1", Far.Server.HttpsPort()}},
                                     std::chrono::seconds(30),
                                     ResumeFor});
    const std::string Request = "GET /x HTTP/1.1\r\nAccept: */*\r\nHost: " + Far.Options.apiHost + "\r\n\r\n";
    for (auto _ : State) {
        const auto pConnection = Transport.Connect(Far.Options.apiHost, 443, std::chrono::seconds(5));
        if (!pConnection || !pConnection->Exchange(Request)) {
            State.SkipWithError("no reply came");
            break;
        }
    }
}

std::size_t Discard(char*, std::size_t cb, std::size_t n, void*)
{
    return cb * n;
}

// The same with libcurl, whose handle is kept, so that only what belongs to the request is measured.
void CurlRequest(benchmark::State& State, bool bResume)
{
    Cloud Far;
    const std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> pCurl(curl_easy_init(), curl_easy_cleanup);
    const std::string Url = "https://" + Far.Options.apiHost + "/x";
    const std::string Route =
        Far.Options.apiHost + ":443:127.0.0.1:" + std::to_string(Far.Server.HttpsPort());
    const std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)> pRoutes(
        curl_slist_append(nullptr, Route.c_str()), curl_slist_free_all);
    curl_easy_setopt(pCurl.get(), CURLOPT_URL, Url.c_str());
    curl_easy_setopt(pCurl.get(), CURLOPT_CONNECT_TO, pRoutes.get());
    curl_easy_setopt(pCurl.get(), CURLOPT_CAINFO, Far.CaFile.c_str());
    curl_easy_setopt(pCurl.get(), CURLOPT_WRITEFUNCTION, Discard);
    curl_easy_setopt(pCurl.get(), CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(pCurl.get(), CURLOPT_NOPROXY, "*");
    curl_easy_setopt(pCurl.get(), CURLOPT_FRESH_CONNECT, 1L);
    curl_easy_setopt(pCurl.get(), CURLOPT_FORBID_REUSE, 1L);
    curl_easy_setopt(pCurl.get(), CURLOPT_SSL_SESSIONID_CACHE, bResume ? 1L : 0L);
    for (auto _ : State) {
        if (const CURLcode eCode = curl_easy_perform(pCurl.get())) {
            State.SkipWithError(curl_easy_strerror(eCode));
            break;
        }
    }
}

BENCHMARK_CAPTURE(HostRequest, Resumed, std::chrono::hours(1));
BENCHMARK_CAPTURE(HostRequest, Full, std::chrono::seconds(0));
BENCHMARK_CAPTURE(CurlRequest, Resumed, true);
BENCHMARK_CAPTURE(CurlRequest, Full, false);

} // namespace

int main(int nArguments, char** pArguments)
{
    spdlog::set_level(spdlog::level::off); // the simulator logs every request
    curl_global_init(CURL_GLOBAL_DEFAULT);
    benchmark::Initialize(&nArguments, pArguments);
    if (benchmark::ReportUnrecognizedArguments(nArguments, pArguments))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    curl_global_cleanup();
    return 0;
}
