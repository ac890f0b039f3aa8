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
    Cloud() { std::ofstream(caFile) << identity.authorityPem; }
    ~Cloud() { std::filesystem::remove(caFile); }

    cloudsim::Options options;
    cloudsim::ServerIdentity identity = cloudsim::MakeIdentity(cloudsim::CertificateNames(options));
    cloudsim::Server server{{}, {}, identity};
    std::string caFile =
        std::filesystem::temp_directory_path() / ("vestara-bench-ca-" + std::to_string(getpid()));
};

// A connection for each request, as the driver makes them.
void HostRequest(benchmark::State& state, std::chrono::seconds resumeFor)
{
    Cloud far;
    devhost::TlsTransport transport({far.caFile,
                                     {{far.options.apiHost, 443, "127.0.0.1", far.server.HttpsPort()}},
                                     std::chrono::seconds(30),
                                     resumeFor});
    const std::string request = "GET /x HTTP/1.1\r\nAccept: */*\r\nHost: " + far.options.apiHost + "\r\n\r\n";
    for (auto _ : state) {
        const auto connection = transport.Connect(far.options.apiHost, 443, std::chrono::seconds(5));
        if (!connection || !connection->Exchange(request)) {
            state.SkipWithError("no reply came");
            break;
        }
    }
}

std::size_t Discard(char*, std::size_t size, std::size_t n, void*)
{
    return size * n;
}

// The same with libcurl, whose handle is kept, so that only what belongs to the request is measured.
void CurlRequest(benchmark::State& state, bool resume)
{
    Cloud far;
    const std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> curl(curl_easy_init(), curl_easy_cleanup);
    const std::string url = "https://" + far.options.apiHost + "/x";
    const std::string route =
        far.options.apiHost + ":443:127.0.0.1:" + std::to_string(far.server.HttpsPort());
    const std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)> routes(
        curl_slist_append(nullptr, route.c_str()), curl_slist_free_all);
    curl_easy_setopt(curl.get(), CURLOPT_URL, url.c_str());
    curl_easy_setopt(curl.get(), CURLOPT_CONNECT_TO, routes.get());
    curl_easy_setopt(curl.get(), CURLOPT_CAINFO, far.caFile.c_str());
    curl_easy_setopt(curl.get(), CURLOPT_WRITEFUNCTION, Discard);
    curl_easy_setopt(curl.get(), CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(curl.get(), CURLOPT_NOPROXY, "*");
    curl_easy_setopt(curl.get(), CURLOPT_FRESH_CONNECT, 1L);
    curl_easy_setopt(curl.get(), CURLOPT_FORBID_REUSE, 1L);
    curl_easy_setopt(curl.get(), CURLOPT_SSL_SESSIONID_CACHE, resume ? 1L : 0L);
    for (auto _ : state) {
        if (const CURLcode code = curl_easy_perform(curl.get())) {
            state.SkipWithError(curl_easy_strerror(code));
            break;
        }
    }
}

BENCHMARK_CAPTURE(HostRequest, Resumed, std::chrono::hours(1));
BENCHMARK_CAPTURE(HostRequest, Full, std::chrono::seconds(0));
BENCHMARK_CAPTURE(CurlRequest, Resumed, true);
BENCHMARK_CAPTURE(CurlRequest, Full, false);

} // namespace

int main(int argumentCount, char** arguments)
{
    spdlog::set_level(spdlog::level::off); // the simulator logs every request
    curl_global_init(CURL_GLOBAL_DEFAULT);
    benchmark::Initialize(&argumentCount, arguments);
    if (benchmark::ReportUnrecognizedArguments(argumentCount, arguments))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    curl_global_cleanup();
    return 0;
}
