#include "VKTCoreKit/vast/VKTVASTCreativeResource.h"

#include <array>
#include <utility>

bool VKTVASTCreativeResource::isValidForWrapper(bool isWrapper) const {
    return isWrapper || staticResource_ || iFrameResource_ || htmlResource_;
}

bool VKTVASTCreativeResource::findResource(const VKTVASTElement& element) {
    const std::array<std::pair<const char*, std::optional<VKTVASTURL>*>, 3> resources{{
        {"StaticResource", &staticResource_},
        {"IFrameResource", &iFrameResource_},
        {"HTMLResource", &htmlResource_},
    }};
    std::size_t others = 0;
    for (const auto& [name, resource] : resources)
        others += element.keptChildCount(name);
    bool isFound = false;
    for (const auto& [name, resource] : resources) {
        if (isFound) {
            element.dropChildren(
                name, "one resource is read: StaticResource before IFrameResource before HTMLResource");
            continue;
        }
        const VKTVASTElement child = element.firstChild(name);
        others -= element.keptChildCount(name);
        const std::string* text = child ? child.requiredText() : nullptr;
        if (text == nullptr) continue;
        isFound = true;
        if (others > 0) child.hides("resources of other kinds");
        if (resource == &htmlResource_) {
            *resource = VKTVASTURL::initWithString(*text);
        } else {
            *resource = child.requiredVASTURL();
        }
        if (staticResource_) staticResourceType_ = child.stringAttribute("_creativeType");
    }
    return isFound;
}
