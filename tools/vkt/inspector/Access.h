// Who may use the inspector.
#pragma once

#include <optional>
#include <string>

namespace httplib {
struct Request;
}

/// Judges requests by where the server listens. On the loopback interface everybody on this machine may ask,
/// but no page of another site, be it by a name that leads here (DNS rebinding). On any other address whoever
/// has the token may. Any thread.
class Access {
  public:
    /// `address` is numeric. A token is made unless it is one of the loopback interface.
    explicit Access(const std::string& address);

    /// 128 random bits in hexadecimal digits; empty on the loopback interface.
    [[nodiscard]] const std::string& token() const { return token_; }
    [[nodiscard]] bool isLoopback() const { return token_.empty(); }

    // Each gives a sentence why a request is refused, or nothing.

    /// For what holds nothing that is secret.
    [[nodiscard]] std::optional<std::string> problemOfReading(const httplib::Request& request) const;

    /// For what starts, changes or tells something.
    [[nodiscard]] std::optional<std::string> problemOfUse(const httplib::Request& request) const;

    /// For what changes the demo server, which programs and people ask for: no page at all, its own included.
    /// The token may be in the address.
    [[nodiscard]] std::optional<std::string> problemOfTelling(const httplib::Request& request) const;

    /// As many bits from the system's random numbers, for names that nobody shall guess.
    static std::string makeToken();

    static constexpr const char* tokenHeader = "X-Inspector-Token";

  private:
    [[nodiscard]] bool isToken(const std::string& text) const;

    const std::string token_;
};
