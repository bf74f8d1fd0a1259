#include "VKTCoreKit/core/detail/VKTUUID.h"

#include <array>
#include <cstddef>
#include <cstdint>

std::string vkt_randomUUIDString(VKTRandomSource& random) {
    std::array<std::uint32_t, 8> groups{};
    for (std::uint32_t& group : groups)
        group = random.uniform(0x10000);
    groups[3] = (groups[3] & 0x0FFF) | 0x4000;  // the version
    groups[4] = (groups[4] & 0x3FFF) | 0x8000;  // the variant

    constexpr const char* digits = "0123456789ABCDEF";
    std::string text;
    for (std::size_t i = 0; i < groups.size(); ++i) {
        if (i >= 2 && i <= 5) text += '-';
        for (const unsigned shift : {12U, 8U, 4U, 0U})
            text += digits[groups[i] >> shift & 0xF];
    }
    return text;
}
