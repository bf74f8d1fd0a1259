// The hash of every table whose keys come from outside: documents, servers, scripts, stored values.
//
// Safe from any thread; no operation fails.
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "VKTCoreKit/foundation/VKTExport.h"

/// SipHash-1-3 under a key that each process draws once, at random: nobody can choose keys that collide. The
/// hash differs from one run to the next, so it is never stored or sent and never decides an order that
/// anyone sees.
[[nodiscard]] VKT_EXPORT std::uint64_t vkt_keyedHash(std::string_view text) noexcept;
[[nodiscard]] VKT_EXPORT std::uint64_t vkt_keyedHash(std::uint64_t number) noexcept;

/// The same as the hash of a container: `std::unordered_set<std::string, VKTKeyedHash>`.
struct VKTKeyedHash {
    std::size_t operator()(std::string_view text) const noexcept {
        return static_cast<std::size_t>(vkt_keyedHash(text));
    }
    template <std::integral Number>
    std::size_t operator()(Number number) const noexcept {
        return static_cast<std::size_t>(vkt_keyedHash(static_cast<std::uint64_t>(number)));
    }
};

/// SipHash-1-3 under a key of the caller's, given as its two halves.
[[nodiscard]] VKT_EXPORT std::uint64_t vkt_sipHash13(std::string_view text, std::uint64_t firstHalf,
                                                     std::uint64_t secondHalf) noexcept;
