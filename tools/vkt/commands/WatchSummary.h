// What many resolves of one source had in common.
#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "ground/JSONReport.h"
#include "playing/Resolving.h"

/// One resolve.
struct WatchedResolve {
    Resolution resolution;
    std::optional<double>
        millisecondsToPlayable;  ///< from its start to the first playable ad, if there was one
};

/// How often something occurred, in the order of the first of each; 1024 are told apart, the others are
/// counted together.
template <typename Key>
class Tally {
  public:
    static constexpr std::size_t limit = 1024;

    void add(const Key& key) {
        const auto known = places_.find(key);
        if (known != places_.end()) {
            ++counts_[known->second].second;
        } else if (counts_.size() < limit) {
            places_.emplace(key, counts_.size());
            counts_.emplace_back(key, 1);
        } else {
            ++others_;
        }
    }

    [[nodiscard]] const std::vector<std::pair<Key, std::size_t>>& counts() const { return counts_; }
    [[nodiscard]] std::size_t others() const { return others_; }

  private:
    std::map<Key, std::size_t> places_;
    std::vector<std::pair<Key, std::size_t>> counts_;
    std::size_t others_ = 0;
};

/// The hosts that gave a resolve its documents: of each wrapper depth once each, in the order of the
/// alphabet, with " + " between two; " > " before what is one wrapper deeper. "ads.test > a.test + b.test".
/// Of a depth 8 hosts, of all depths 1024 bytes. Empty when nothing was requested.
std::string shapeOf(const Resolution& resolution);

/// One thread.
class WatchSummary {
  public:
    explicit WatchSummary(std::string source) : source_(std::move(source)) {}

    void add(const WatchedResolve& resolve);

    [[nodiscard]] std::size_t resolves() const { return resolves_; }
    [[nodiscard]] std::size_t filled() const { return times_.size(); }

    /// One line: how many resolves, how many with a playable ad.
    [[nodiscard]] std::string progress() const;
    [[nodiscard]] std::vector<std::string> lines() const;
    [[nodiscard]] JSONReport report() const;

  private:
    struct Times {
        double least, median, percentile95, most;  // milliseconds
    };
    [[nodiscard]] std::optional<Times> times() const;
    [[nodiscard]] double share(std::size_t count) const;

    const std::string source_;
    std::size_t resolves_ = 0;
    std::size_t playableAds_ = 0;
    std::vector<double> times_;                           // milliseconds, of each resolve with a playable ad
    Tally<std::pair<std::int64_t, std::string>> errors_;  // VAST code and name
    Tally<std::string> shapes_;
    Tally<std::pair<std::string, std::string>> problems_;  // a document's host, and why it led nowhere
};
