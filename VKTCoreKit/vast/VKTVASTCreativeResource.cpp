#include "VKTCoreKit/vast/VKTVASTCreativeResource.h"

#include <array>
#include <string_view>
#include <utility>

bool VKTVASTCreativeResource::isValidForWrapper(bool isWrapper) const {
    return isWrapper || staticResource_ || iFrameResource_ || htmlResource_;
}

namespace {

// Of the three kinds, in the order of preference, one behind `name`.
bool hasLaterResource(const VKTVASTElement& element, std::string_view name) {
    const bool isFirst = name == "StaticResource";
    return (isFirst && element.keptChildCount("IFrameResource") > 0) ||
           (name != "HTMLResource" && element.keptChildCount("HTMLResource") > 0);
}

}  // namespace

bool VKTVASTCreativeResource::findResource(const VKTVASTElement& element) {
    const std::array<std::pair<const char*, std::optional<VKTVASTURL>*>, 3> resources{{
        {"StaticResource", &staticResource_},
        {"IFrameResource", &iFrameResource_},
        {"HTMLResource", &htmlResource_},
    }};
    bool isFound = false;
    for (const auto& [name, resource] : resources) {
        if (isFound) {
            element.dropChildren(
                name, "one resource is read: StaticResource before IFrameResource before HTMLResource");
            continue;
        }
        const VKTVASTElement child = element.firstChild(name);
        const std::string* text = child ? child.requiredText() : nullptr;
        if (text == nullptr) continue;
        isFound = true;
        if (child.isHeard() && hasLaterResource(element, name)) child.hides("resources of other kinds");
        if (resource == &htmlResource_) {
            *resource = VKTVASTURL::initWithString(*text);
        } else {
            *resource = child.requiredVASTURL();
        }
        if (staticResource_) staticResourceType_ = child.stringAttribute("_creativeType");
    }
    return isFound;
}
