#include <string>

#include "Fuzzing.h"
#include "VKTCoreKit/foundation/VKTKeyedArchive.h"

namespace {

constexpr const char* className = "C";

// A checksum that holds lets the input reach what lies behind it.
std::string withChecksum(std::string_view content) {
    std::string archive(content);
    const std::uint32_t checksum = vkt_archiveChecksum(content);
    for (unsigned shift = 0; shift < 32; shift += 8)
        archive.push_back(static_cast<char>(checksum >> shift));
    return archive;
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view input = inputText(data, size);
    vkt_unarchivedValues(input, className);

    const auto values = vkt_unarchivedValues(withChecksum(input), className);
    if (!values) return 0;
    // Compared as bytes: a number that is none is not equal to itself.
    const std::string archive = vkt_archiveData(className, *values);
    const auto again = vkt_unarchivedValues(archive, className);
    require(again && vkt_archiveData(className, *again) == archive, "written and read again, it is the same");
    return 0;
}
