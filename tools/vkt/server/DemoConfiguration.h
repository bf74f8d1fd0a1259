// The configuration documents of the demo server.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

/// Writes the configuration of a site. Its ad server and its log collector are the demo server's own, and
/// every log record is sampled. A pure function, safe from any thread.
class DemoConfiguration {
  public:
    /// What can be wrong or special about a document, for people.
    static constexpr const char* variants =
        "not-json, array, no-korvo, ttl-0, ttl-negative, ttl-1s, ttl-23-days, wrong-types, wrong-site, "
        "newer-sdk, sampled, huge";

    /// `baseURL` is "http://127.0.0.1:8080", `variant` is one of `variants`, or empty. Nothing for another.
    static std::optional<std::string> document(const std::string& baseURL, std::int64_t site,
                                               std::string_view variant);
};
