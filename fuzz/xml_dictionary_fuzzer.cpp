#include "Fuzzing.h"
#include "VKTCoreKit/core/VKTXMLDictionary.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text = inputText(data, size);
    const auto dictionary = vkt_dictionaryWithXMLData(text);
    if (!dictionary) return 0;

    // Keys that begin with "_" stand for attributes and the like; an element or attribute whose own name does
    // may come out under a name that is no XML name.
    const auto again = vkt_dictionaryWithXMLString(vkt_XMLString(*dictionary));
    require(again || text.find('_') != std::string_view::npos, "what was read can be written and read again");
    return 0;
}
