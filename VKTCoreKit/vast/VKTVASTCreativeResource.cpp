#include "VKTCoreKit/vast/VKTVASTCreativeResource.h"

#include <array>
#include <utility>

#include "VKTCoreKit/core/VKTXMLDictionaryUtils.h"

bool VKTVASTCreativeResource::isValidForWrapper(bool isWrapper) const {
    return isWrapper || staticResource_ || iFrameResource_ || htmlResource_;
}

bool VKTVASTCreativeResource::findResource(const VKTDictionary& node) {
    const std::array<std::pair<const char*, std::optional<VKTVASTURL>*>, 3> resources{{
        {"StaticResource", &staticResource_},
        {"IFrameResource", &iFrameResource_},
        {"HTMLResource", &htmlResource_},
    }};
    for (const auto& [key, resource] : resources) {
        if (const std::string* text = VKTXMLDictionaryUtils::findFirstObjectOfArrayAsString(key, node)) {
            *resource = VKTVASTURL::initFromXML(*text);
            return true;
        }
    }
    return false;
}
