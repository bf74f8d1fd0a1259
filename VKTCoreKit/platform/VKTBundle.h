// Localised strings.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

/// A source of localised strings, given by the embedder. Read from any thread.
class VKTBundle {
  public:
    virtual ~VKTBundle() = default;

    /// The string under `key` in the table `stringFile`, or nothing.
    [[nodiscard]] virtual std::optional<std::string> localizedString(std::string_view key,
                                                                     std::string_view stringFile) const = 0;
};

/// A bundle that holds its strings in memory. Filled first, read afterwards.
class VKTStringTableBundle : public VKTBundle {
  public:
    void setString(std::string stringFile, std::string key, std::string value) {
        strings_[{std::move(stringFile), std::move(key)}] = std::move(value);
    }

    [[nodiscard]] std::optional<std::string> localizedString(std::string_view key,
                                                             std::string_view stringFile) const override {
        const auto found = strings_.find({std::string(stringFile), std::string(key)});
        return found == strings_.end() ? std::nullopt : std::optional<std::string>(found->second);
    }

  private:
    std::map<std::pair<std::string, std::string>, std::string> strings_;
};
