#include <string>

#include "ArchiveFuzzing.h"
#include "Fuzzing.h"

constexpr const char* className = "C";

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
