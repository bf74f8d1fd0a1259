// Archives out of arbitrary bytes.
#pragma once

#include <string>
#include <string_view>

#include "VKTCoreKit/foundation/VKTKeyedArchive.h"

/// The bytes with their checksum behind them: one that holds lets the input reach what lies behind it.
inline std::string withChecksum(std::string_view content) {
    std::string archive(content);
    const std::uint32_t checksum = vkt_archiveChecksum(content);
    for (unsigned shift = 0; shift < 32; shift += 8)
        archive.push_back(static_cast<char>(checksum >> shift));
    return archive;
}
