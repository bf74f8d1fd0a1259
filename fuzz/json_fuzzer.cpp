#include "Fuzzing.h"
#include "VKTCoreKit/platform/VKTServices.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto value = vkt_JSONValueWithData(inputText(data, size));
    if (!value) return 0;

    const auto compact = vkt_JSONStringWithValue(*value);
    const auto pretty = vkt_prettyJSONStringWithValue(*value);
    require(compact && pretty, "what was read can be written");
    require(vkt_JSONValueWithData(*compact) == value, "written and read again, it is the same");
    require(vkt_JSONValueWithData(*pretty) == value, "the same when it is indented");
    return 0;
}
