#include "VKTCoreKit/core/VKTHash.h"

#include "VKTCoreKit/platform/VKTServices.h"

std::string VKTHash::md5(std::string_view string) {
    if (string.empty()) return {};
    constexpr std::string_view digits = "0123456789abcdef";
    std::string text;
    for (const char c : vkt_MD5Digest(string)) {
        const auto byte = static_cast<unsigned char>(c);
        text.push_back(digits[byte >> 4U]);
        text.push_back(digits[byte & 0xFU]);
    }
    return text;
}
