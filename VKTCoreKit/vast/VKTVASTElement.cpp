#include "VKTCoreKit/vast/VKTVASTElement.h"

#include <algorithm>
#include <charconv>

#include "VKTCoreKit/core/VKTTimeUtils.h"
#include "VKTCoreKit/core/VKTXMLDictionary.h"
#include "VKTCoreKit/core/VKTXMLDictionaryUtils.h"
#include "VKTCoreKit/foundation/VKTText.h"

using Utils = VKTXMLDictionaryUtils;

namespace {

constexpr const char* isEmpty = "it is empty";
constexpr const char* isNoURL = "its text is not a URL";

// The positions, from 1 and rising, of the children of that name that were stripped; null for none.
const VKTArray* strippedPositions(const VKTDictionary& node, std::string_view name) {
    const VKTValue* all = node.find(VKTXMLDictionaryStrippedKey);
    const VKTDictionary* byName = all == nullptr ? nullptr : all->asDictionary();
    return byName == nullptr ? nullptr : Utils::findArrayForKey(name, *byName);
}

// The position in the document, from 1, of the kept child at an index from 0.
std::size_t positionOf(std::size_t index, const VKTArray* stripped) {
    if (stripped == nullptr) return index + 1;
    std::size_t before = 0;
    std::size_t end = stripped->size();
    while (before < end) {  // how many were stripped before it: a binary search
        const std::size_t middle = (before + end) / 2;
        const auto keptBefore = static_cast<std::size_t>(*(*stripped)[middle].asInteger()) - 1 - middle;
        if (keptBefore <= index) {
            before = middle + 1;
        } else {
            end = middle;
        }
    }
    return index + before + 1;
}

bool isNumber(std::string_view text) {
    double number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size();
}

}  // namespace

std::string vkt_quoted(std::string_view text) {
    return '"' + std::string(text) + '"';
}

std::string VKTVASTElement::path() const {
    if (parent_ == nullptr) return "/" + std::string(name_);
    return parent_->pathOfChild(name_, positionOf(index_, strippedPositions(*parent_->node_, name_)));
}

std::string VKTVASTElement::pathOfChild(std::string_view name, std::size_t position) const {
    const VKTArray* kept = Utils::findArrayForKey(name, *node_);
    const VKTArray* stripped = strippedPositions(*node_, name);
    const std::size_t count =
        (kept == nullptr ? 0 : kept->size()) + (stripped == nullptr ? 0 : stripped->size());
    std::string path = this->path() + "/";
    path.append(name);
    return count > 1 ? path + "[" + std::to_string(position) + "]" : path;
}

const std::string* VKTVASTElement::attribute(std::string_view key) const {
    return node_ == nullptr ? nullptr : Utils::findAttribute(key, *node_);
}

std::optional<std::string> VKTVASTElement::stringAttribute(std::string_view key) const {
    const std::string* value = attribute(key);
    return value == nullptr ? std::nullopt : std::optional(*value);
}

std::optional<std::string> VKTVASTElement::timeAttribute(std::string_view key) const {
    const std::string* value = attribute(key);
    if (value == nullptr) return std::nullopt;
    if (isHeard() && VKTTimeUtils::offsetTypeFromString(*value) == VKTOffsetTypeUnknown) {
        tellNeedsAttention(key, "it is " + vkt_quoted(*value) +
                                    ", neither a time code such as 00:00:05 nor a percentage such as 25%");
    }
    return *value;
}

float VKTVASTElement::floatAttribute(std::string_view key, float absent) const {
    const std::string* value = attribute(key);
    if (value == nullptr) return absent;
    const float number = vkt_floatValue(*value);
    if (isHeard() && !isNumber(*value)) {
        tellNeedsAttention(key, "it is " + vkt_quoted(*value) + ", no number, and counts as " +
                                    vkt_numberDescription(number));
    }
    return number;
}

bool VKTVASTElement::boolAttribute(std::string_view key) const {
    const std::string* value = attribute(key);
    return value != nullptr && vkt_boolValue(*value);
}

bool VKTVASTElement::hasText() const {
    return node_ != nullptr && node_->contains(VKTXMLDictionaryTextKey);
}

const std::string* VKTVASTElement::text() const {
    if (node_ == nullptr) return nullptr;
    isTextRead_ = true;
    return Utils::findNodeText(*node_);
}

const std::string* VKTVASTElement::requiredText() const {
    const std::string* text = this->text();
    if (text == nullptr) drop([this] { return textProblem({}); });
    return text;
}

std::optional<VKTVASTURL> VKTVASTElement::requiredVASTURL() const {
    const std::string* text = this->text();
    auto url = text == nullptr ? std::nullopt : VKTVASTURL::initWithString(*text);
    if (!url) {
        drop([this] { return textProblem(isNoURL); });
    } else if (isHeard()) {
        tellUnlessAbsolute(url->url());
    }
    return url;
}

std::optional<VKTURL> VKTVASTElement::requiredURL() const {
    const std::string* text = this->text();
    auto url = text == nullptr ? std::nullopt : VKTURL::URLWithDocumentText(*text);
    if (!url) {
        drop([this] { return textProblem(isNoURL); });
    } else if (isHeard()) {
        tellUnlessAbsolute(*url);
    }
    return url;
}

std::string VKTVASTElement::textProblem(std::string_view otherwise) const {
    const VKTValue* text = node_ == nullptr ? nullptr : node_->find(VKTXMLDictionaryTextKey);
    if (text == nullptr) return "it has no text";
    return text->asString() == nullptr ? "its text is split by child elements" : std::string(otherwise);
}

bool VKTVASTElement::hasChildren(std::string_view name) const {
    return node_ != nullptr && Utils::findArrayForKey(name, *node_) != nullptr;
}

std::size_t VKTVASTElement::childCount(std::string_view name) const {
    if (node_ == nullptr) return 0;
    noteRead(name);
    const VKTArray* children = Utils::findArrayForKey(name, *node_);
    return children == nullptr ? 0 : children->size();
}

VKTVASTElement VKTVASTElement::childAt(std::size_t index, std::string_view name) const {
    return {*this, name, index, Utils::findObjectAtIndexOfArray(index, name, *node_), listener_};
}

VKTVASTElement VKTVASTElement::firstChild(std::string_view name) const {
    if (node_ == nullptr) return {*this, name, 0, nullptr, nullptr};
    noteRead(name);
    const VKTArray* children = Utils::findArrayForKey(name, *node_);
    const bool hidesOthers = children != nullptr && children->size() > 1;
    if (hidesOthers && isHeard()) {
        tellChildrenDropped(name, 1, "only the first " + std::string(name) + " is read");
    }
    const bool isThere = children != nullptr && !children->empty();
    return {*this, name, 0, isThere ? children->front().asDictionary() : nullptr, listener_, hidesOthers};
}

std::optional<std::string> VKTVASTElement::childText(std::string_view name) const {
    const VKTVASTElement child = firstChild(name);
    const std::string* text = child ? child.requiredText() : nullptr;
    return text == nullptr ? std::nullopt : std::optional(*text);
}

void VKTVASTElement::appendVASTURLs(std::string_view name, std::vector<VKTVASTURL>& urls) const {
    forEachChild(name, [&](const VKTVASTElement& child) {
        if (auto url = child.requiredVASTURL()) urls.push_back(std::move(*url));
    });
}

// The children that were stripped are told once, when their name is first asked for.
void VKTVASTElement::rememberRead(std::string_view name) const {
    if (std::find(namesRead_.begin(), namesRead_.end(), name) != namesRead_.end()) return;
    namesRead_.push_back(name);
    tellStripped(name, isEmpty);
}

void VKTVASTElement::tellStripped(std::string_view name, const std::string& reason) const {
    const VKTArray* stripped = strippedPositions(*node_, name);
    if (stripped == nullptr) return;
    for (const VKTValue& position : *stripped)
        listener_->dropped(pathOfChild(name, static_cast<std::size_t>(*position.asInteger())), reason);
}

void VKTVASTElement::tellUnread() const {
    if (!isTextRead_ && node_->contains(VKTXMLDictionaryTextKey)) {
        listener_->dropped(path() + "/text()", "no text is read here");
    }
    for (const auto& [name, value] : *node_) {
        const bool isRead = std::find(namesRead_.begin(), namesRead_.end(), name) != namesRead_.end();
        if (isRead || value.asArray() == nullptr || name == VKTXMLDictionaryTextKey) continue;
        tellChildrenDropped(name, 0, "element not read by this library");
    }
}

void VKTVASTElement::tellChildrenDropped(std::string_view name, std::size_t fromIndex,
                                         const std::string& reason) const {
    const bool isFirstTime = std::find(namesRead_.begin(), namesRead_.end(), name) == namesRead_.end();
    if (isFirstTime) {
        namesRead_.push_back(name);
        tellStripped(name, reason);
    }
    const VKTArray* children = Utils::findArrayForKey(name, *node_);
    const VKTArray* stripped = strippedPositions(*node_, name);
    for (std::size_t index = fromIndex; children != nullptr && index < children->size(); ++index)
        listener_->dropped(pathOfChild(name, positionOf(index, stripped)), reason);
}

void VKTVASTElement::tellDropped(std::string reason) const {
    isDropped_ = true;
    if (hidesOthers_) {
        reason.append("; the further ").append(name_).append(" are not read because of it");
        listener_->needsAttention(path(), reason);
    } else {
        listener_->dropped(path(), reason);
    }
}

void VKTVASTElement::tellNeedsAttention(std::string_view attributeKey, const std::string& reason) const {
    std::string place = path();
    if (!attributeKey.empty()) place.append("/@").append(attributeKey.substr(1));
    listener_->needsAttention(place, reason);
}

void VKTVASTElement::tellUnlessAbsolute(const VKTURL& url) const {
    if (!url.scheme()) tellNeedsAttention({}, "its URL is relative, and a document has no base for it");
}
