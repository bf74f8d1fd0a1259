// The application's localised strings and what it says of itself.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "VKTCoreKit/foundation/VKTExport.h"

/// Given by the embedder. Read from any thread.
class VKT_EXPORT VKTBundle {
  public:
    virtual ~VKTBundle() = default;

    /// The string under `key` in the table `stringFile`, or nothing.
    [[nodiscard]] virtual std::optional<std::string> localizedString(std::string_view key,
                                                                     std::string_view stringFile) const = 0;

    /// What the application says of itself, under the keys below; nothing when it does not.
    [[nodiscard]] virtual std::optional<std::string> infoValueForKey(std::string_view key) const = 0;
};

inline constexpr const char* VKTBundleDisplayNameKey = "CFBundleDisplayName";
inline constexpr const char* VKTBundleNameKey = "CFBundleName";
inline constexpr const char* VKTBundleShortVersionKey = "CFBundleShortVersionString";
inline constexpr const char* VKTBundleVersionKey = "CFBundleVersion";
inline constexpr const char* VKTBundleIdentifierKey = "CFBundleIdentifier";

/// A bundle that holds its strings in memory. Filled first, read afterwards.
class VKT_EXPORT VKTStringTableBundle : public VKTBundle {
  public:
    void setString(std::string stringFile, std::string key, std::string value) {
        strings_[{std::move(stringFile), std::move(key)}] = std::move(value);
    }
    void setInfoValue(std::string key, std::string value) { infoValues_[std::move(key)] = std::move(value); }

    [[nodiscard]] std::optional<std::string> localizedString(std::string_view key,
                                                             std::string_view stringFile) const override {
        const auto found = strings_.find({std::string(stringFile), std::string(key)});
        return found == strings_.end() ? std::nullopt : std::optional<std::string>(found->second);
    }
    [[nodiscard]] std::optional<std::string> infoValueForKey(std::string_view key) const override {
        const auto found = infoValues_.find(key);
        return found == infoValues_.end() ? std::nullopt : std::optional<std::string>(found->second);
    }

  private:
    std::map<std::pair<std::string, std::string>, std::string> strings_;
    std::map<std::string, std::string, std::less<>> infoValues_;
};
