// Errors are values: a domain, a code and a map of user information.
#pragma once

#include <any>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>

/// User-info key of the human-readable description; its value is a `std::string`.
inline constexpr const char* VKTLocalizedDescriptionKey = "NSLocalizedDescription";

/// Domain of every transport error (see `platform/VKTHTTPSession.h` for its codes).
inline constexpr const char* VKTURLErrorDomain = "NSURLErrorDomain";

/// One error object. Immutable; copies are independent. Safe to share between threads.
class VKTError {
  public:
    using UserInfo = std::map<std::string, std::any, std::less<>>;

    VKTError(std::string domain, std::int64_t code, UserInfo userInfo = {})
        : domain_(std::move(domain)), code_(code), userInfo_(std::move(userInfo)) {}

    [[nodiscard]] const std::string& domain() const { return domain_; }
    [[nodiscard]] std::int64_t code() const { return code_; }
    [[nodiscard]] const UserInfo& userInfo() const { return userInfo_; }

    /// The value under `key` when it is a `T`; null otherwise. Lives as long as this error.
    template <typename T>
    [[nodiscard]] const T* userInfoValue(const std::string& key) const {
        const auto found = userInfo_.find(key);
        return found == userInfo_.end() ? nullptr : std::any_cast<T>(&found->second);
    }

    /// The description, or nothing when none was given.
    [[nodiscard]] std::optional<std::string> localizedDescription() const {
        const auto* text = userInfoValue<std::string>(VKTLocalizedDescriptionKey);
        return text == nullptr ? std::nullopt : std::optional<std::string>(*text);
    }

    /// Equal domain, code and description. Other user information takes no part.
    friend bool operator==(const VKTError& left, const VKTError& right) {
        return left.domain_ == right.domain_ && left.code_ == right.code_ &&
               left.localizedDescription() == right.localizedDescription();
    }

  private:
    std::string domain_;
    std::int64_t code_;
    UserInfo userInfo_;
};
