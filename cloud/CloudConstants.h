#pragma once
// What is fixed about the cloud: its two hosts and the OAuth client that the driver is registered as.

#if !defined(VESTARA_OAUTH_HOST) || !defined(VESTARA_API_HOST)
#error "The build sets VESTARA_OAUTH_HOST and VESTARA_API_HOST as string literals."
#endif

// Host names of the deployment, without scheme or port; the port is always 443.
inline constexpr const char kOAuthHost[] = VESTARA_OAUTH_HOST;
inline constexpr const char kApiHost[] = VESTARA_API_HOST;

// Plain arrays, because the driver must not need static initialisers.
inline constexpr const char kClientID[] = "90f5b5e6317542f5aa4beb51d0b9abca2631d3eeb373398b00849944a45ab3eb";
inline constexpr const char kClientSecret[] =
    "93c31de54668d0d386c03267084debd35cf0a7303fb7bf07d80fa3e86177828b";
