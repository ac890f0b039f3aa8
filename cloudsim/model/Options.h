#pragma once

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

namespace cloudsim
{

// The one OAuth client that this cloud knows: the controller's lock driver.
inline constexpr std::string_view kClientId =
    "90f5b5e6317542f5aa4beb51d0b9abca2631d3eeb373398b00849944a45ab3eb";
inline constexpr std::string_view kClientSecret =
    "93c31de54668d0d386c03267084debd35cf0a7303fb7bf07d80fa3e86177828b";

// How the cloud behaves; fixed while it runs.
struct Options {
    std::string oauthHost = VESTARA_OAUTH_HOST;
    std::string apiHost = VESTARA_API_HOST;
    std::chrono::seconds tokenLifetime{7200};
    // How long a refresh token is still good after its first use; 0: it is spent at once.
    std::chrono::seconds refreshGrace{0};
    bool autoApprove = false;              // the authorize page redirects at once
    std::vector<std::string> redirectUris; // allowed besides loopback http addresses
};

} // namespace cloudsim
