#include <openssl/evp.h>
#if __has_include(<execinfo.h>)  // musl has none
#include <execinfo.h>
#define VKT_HAS_BACKTRACE
#endif

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <limits>
#include <memory>

#include "VKTCoreKit/platform/VKTServices.h"

std::string vkt_MD5Digest(std::string_view bytes) {
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    unsigned length = 0;
    EVP_Digest(bytes.data(), bytes.size(), digest.data(), &length, EVP_md5(), nullptr);
    return {digest.begin(), digest.begin() + length};
}

std::chrono::seconds vkt_localOffsetFromUTC(VKTDate date) {
    using Limits = std::numeric_limits<std::time_t>;
    // With 32 bits the last instant that it tells is in January 2038; whatever is later has that one's
    // offset.
    const auto instant = static_cast<std::time_t>(
        std::clamp<std::int64_t>(std::chrono::floor<std::chrono::seconds>(date).time_since_epoch().count(),
                                 Limits::min(), Limits::max()));
    std::tm local{};
    localtime_r(&instant, &local);
    return std::chrono::seconds(local.tm_gmtoff);
}

std::vector<std::string> vkt_callStackSymbols() {
#ifndef VKT_HAS_BACKTRACE
    return {};
#else
    std::array<void*, 128> frames{};
    const int count = backtrace(frames.data(), static_cast<int>(frames.size()));
    const std::unique_ptr<char*, decltype(&std::free)> symbols(backtrace_symbols(frames.data(), count),
                                                               std::free);
    if (!symbols) return {};
    // The first frame is this function.
    return {symbols.get() + 1, symbols.get() + count};
#endif
}
