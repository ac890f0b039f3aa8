#pragma once
// The way from the configurator to the cloud simulator.

#include "devhost/controller/Api.h"

#include <boost/asio/awaitable.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core/tcp_stream.hpp>

#include <set>
#include <string>

namespace devhost
{

/// Passes requests on to the admin port of a cloud simulator on this machine. One thread only, that of the
/// context on which it is awaited; it never blocks that thread.
class SimulatorRelay
{
public:
    static constexpr std::string_view kPrefix = "/api/v1/simulator/";

    /// @param address "http://127.0.0.1:8444": a loopback host and a port, nothing behind.
    /// @throws std::runtime_error for any other text.
    explicit SimulatorRelay(const std::string& address);

    /// Sends a request below the prefix to the simulator's admin route of that name. Queries stay behind:
    /// what they ask for are secrets of the cloud. Takes 5 s at most; Stop ends it early.
    /// @return the simulator's reply, a refusal of it in the form of all errors here, or 502 "no_simulator".
    boost::asio::awaitable<ApiResponse> Serve(const ApiRequest& request);

    /// Ends the requests that are under way.
    void Stop();

private:
    std::string m_address;
    boost::asio::ip::tcp::endpoint m_endpoint;
    std::set<boost::beast::tcp_stream*> m_streams;
};

} // namespace devhost
