#include "VKTCoreKit/vast/VKTVASTAdExtension.h"

#include <algorithm>

#include "VKTCoreKit/core/VKTXMLDictionaryUtils.h"
#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/vast/VKTVASTMergeBudget.h"
#include "VKTCoreKit/vast/VKTVASTNodeReading.h"

using Utils = VKTXMLDictionaryUtils;
using Extension = VKTVASTAdExtension;

namespace {

// The last script URL of the element's "JavaScriptResource" children, in either spelling.
std::optional<VKTURL> legacyScriptURL(const VKTDictionary& verification) {
    std::optional<VKTURL> url;
    for (const char* key : {"JavaScriptResource", "JavascriptResource"}) {
        const VKTArray* resources = Utils::findArrayForKey(key, verification);
        if (resources == nullptr) continue;
        for (const VKTValue& resource : *resources) {
            const VKTDictionary* node = resource.asDictionary();
            const std::string* text = node == nullptr ? nullptr : Utils::findNodeText(*node);
            if (text == nullptr || text->empty()) continue;
            if (auto parsed = VKTURL::URLWithDocumentText(*text)) url = std::move(parsed);
        }
    }
    return url;
}

// The first "VerificationParameters", given as a plain string or as a node with a text.
std::optional<std::string> legacyParameters(const VKTDictionary& verification) {
    const VKTArray* parameters = Utils::findArrayForKey("VerificationParameters", verification);
    if (parameters == nullptr || parameters->empty()) return std::nullopt;
    if (const std::string* text = parameters->front().asString()) return *text;
    return vkt_childText("VerificationParameters", verification);
}

const VKTArray* nonEmptyArray(const char* key, const VKTDictionary& node) {
    const VKTArray* array = Utils::findArrayForKey(key, node);
    return array == nullptr || array->empty() ? nullptr : array;
}

template <typename T>
bool equalFields(const Extension& left, const Extension& right,
                 const std::vector<VKTVASTAdExtensionField<T>>& fields) {
    return std::all_of(fields.begin(), fields.end(),
                       [&](const auto& field) { return left.*field.member == right.*field.member; });
}

}  // namespace

const std::vector<VKTVASTAdExtensionField<double>>& vkt_extensionNumberMacros() {
    static const auto* fields = new std::vector<VKTVASTAdExtensionField<double>>{
        {"sessionID", "sessionID", &Extension::sessionID},
        {"statDomainID", "statDomainID", &Extension::statDomainID},
        {"networkID", "networkID", &Extension::networkID},
        {"templateID", "templateID", &Extension::templateID},
        {"advertiserID", "advertiserID", &Extension::advertiserID},
        {"campaignID", "campaignID", &Extension::campaignID},
        {"insertionID", "insertionID", &Extension::insertionID},
        {"siteID", "siteID", &Extension::siteID},
        {"formatID", "formatID", &Extension::formatID},
        {"adBreakType", "adBreakType", &Extension::adBreakType},
        {"instances", "instances", &Extension::instances},
        {"videoPlayerWidth", "videoPlayerWidth", &Extension::videoPlayerWidth},
        {"videoPlayerHeight", "videoPlayerHeight", &Extension::videoPlayerHeight},
    };
    return *fields;
}

const std::vector<VKTVASTAdExtensionField<std::string>>& vkt_extensionTextMacros() {
    static const auto* fields = new std::vector<VKTVASTAdExtensionField<std::string>>{
        {"pageID", "pageID", &Extension::pageID},
        {"target", "target", &Extension::target},
        {"baseUrl", "baseURL", &Extension::baseURL},
        {"referrer", "referer", &Extension::referer},
        {"ip", "clientIP", &Extension::clientIP},
        {"contentID", "contentID", &Extension::contentID},
        {"contentProviderID", "contentProviderID", &Extension::contentProviderID},
    };
    return *fields;
}

const std::vector<VKTVASTAdExtensionField<std::string>>& vkt_extensionRTBMacros() {
    static const auto* fields = new std::vector<VKTVASTAdExtensionField<std::string>>{
        {"AdvertiserId", "rtbAdvertiserID", &Extension::rtbAdvertiserID},
        {"DspId", "rtbDspID", &Extension::rtbDspID},
        {"BuyerId", "rtbBuyerID", &Extension::rtbBuyerID},
        {"DealId", "rtbDealID", &Extension::rtbDealID},
        {"AuctionId", "rtbAuctionID", &Extension::rtbAuctionID},
        {"PublisherId", "rtbPublisherID", &Extension::rtbPublisherID},
        {"BidLogTimeTicks", "rtbBidLogTimeTicks", &Extension::rtbBidLogTimeTicks},
        {"EnvironmentType", "rtbEnvironmentType", &Extension::rtbEnvironmentType},
        {"ImpressionHash", "rtbImpressionHash", &Extension::rtbImpressionHash},
    };
    return *fields;
}

std::shared_ptr<VKTVASTAdExtension> VKTVASTAdExtension::init() {
    return std::make_shared<VKTVASTAdExtension>();
}

std::shared_ptr<VKTVASTAdExtension> VKTVASTAdExtension::initWithDictionary(const VKTDictionary& node) {
    const VKTArray* list = Utils::findArrayForKey("Extension", node);
    if (list == nullptr) return nullptr;
    auto extension = init();
    extension->instanceCount = 1;
    extension->processExtensions(*list);
    return extension;
}

void VKTVASTAdExtension::processExtensions(const VKTArray& list) {
    for (const VKTValue& element : list) {
        const VKTDictionary* node = element.asDictionary();
        if (node == nullptr) continue;
        const auto child = [&](const char* key) {
            return Utils::findFirstObjectOfArrayAsDictionary(key, *node);
        };
        if (const VKTDictionary* offset = child("offset")) {
            if (const auto* isForced = Utils::findAttribute("_isForced", *offset)) {
                offsetIsForced = *isForced == "1";
            }
            if (auto value = vkt_stringAttribute("_skipoffset", *offset)) skipOffset = std::move(value);
        } else if (const VKTDictionary* sort = child("sort")) {
            if (auto rank = vkt_stringAttribute("_rank", *sort)) sortRank = std::move(rank);
        } else if (child("customisedScript") != nullptr) {
            customScript = vkt_childText("customisedScript", *node);
        } else if (child("instanceCount") != nullptr) {
            instanceCount = vkt_integerValue(vkt_childText("instanceCount", *node).value_or(""));
        } else if (const VKTDictionary* container = child("KorvoMetrics")) {
            if (const VKTArray* metricList = nonEmptyArray("KorvoMetric", *container)) {
                processMetrics(*metricList);
            }
        } else if (const VKTDictionary* macros = child("KorvoMacros")) {
            processMacros(*macros);
            if (const VKTDictionary* rtbMacros = child("RtbMacros")) processRTBMacros(*rtbMacros);
        } else if (const VKTDictionary* verifications = child("AdVerifications")) {
            if (const VKTArray* verificationList = nonEmptyArray("Verification", *verifications)) {
                processVerifications(*verificationList);
            }
        }
    }
}

void VKTVASTAdExtension::processMetrics(const VKTArray& list) {
    for (const VKTValue& element : list) {
        if (auto metric = VKTVASTTrackingEvent::initWithExtensionDictionary(element)) {
            metrics.push_back(std::move(metric));
        }
    }
}

void VKTVASTAdExtension::processMacros(const VKTDictionary& node) {
    for (const auto& field : vkt_extensionNumberMacros()) {
        if (const auto* child = Utils::findFirstObjectOfArrayAsDictionary(field.element, node)) {
            this->*field.member = Utils::findNodeTextAsNSNumber(*child);
        }
    }
    for (const auto& field : vkt_extensionTextMacros()) {
        if (Utils::findFirstObjectOfArrayAsDictionary(field.element, node) != nullptr) {
            this->*field.member = vkt_childText(field.element, node);
        }
    }
}

void VKTVASTAdExtension::processRTBMacros(const VKTDictionary& node) {
    for (const auto& field : vkt_extensionRTBMacros()) {
        if (Utils::findFirstObjectOfArrayAsDictionary(field.element, node) != nullptr) {
            this->*field.member = vkt_childText(field.element, node);
        }
    }
}

void VKTVASTAdExtension::processVerifications(const VKTArray& list) {
    for (const VKTValue& element : list) {
        const VKTDictionary* node = element.asDictionary();
        if (node == nullptr) continue;
        auto url = legacyScriptURL(*node);
        if (!url) continue;
        adVerifications.push_back(VKTVASTAdExtensionAdVerification::initWithJavascriptResourceURL(
            std::move(*url), vkt_stringAttribute("_vendor", *node), legacyParameters(*node)));
    }
}

std::shared_ptr<VKTVASTAdExtension> VKTVASTAdExtension::initWithCoder(const VKTKeyedUnarchiver& coder) {
    auto extension = init();
    const auto instanceCount = coder.decodeNumber("instanceCount");
    extension->offsetIsForced = coder.decodeBool("offsetIsForced");
    extension->skipOffset = coder.decodeString("skipOffset");
    extension->sortRank = coder.decodeString("sortRank");
    extension->customScript = coder.decodeString("customScript");
    extension->instanceCount = instanceCount ? instanceCount->integerValue() : 0;
    extension->metrics = coder.decodeObjects<VKTVASTTrackingEvent>("metrics");
    extension->adVerifications = coder.decodeObjects<VKTVASTAdExtensionAdVerification>("adVerifications");
    for (const auto& field : vkt_extensionNumberMacros()) {
        if (const auto number = coder.decodeNumber(field.name)) {
            (*extension).*field.member = number->doubleValue();
        }
    }
    for (const auto* fields : {&vkt_extensionTextMacros(), &vkt_extensionRTBMacros()}) {
        for (const auto& field : *fields)
            (*extension).*field.member = coder.decodeString(field.name);
    }
    return extension;
}

void VKTVASTAdExtension::encodeWithCoder(VKTKeyedArchiver& coder) const {
    coder.encodeBool("offsetIsForced", offsetIsForced);
    coder.encodeString("skipOffset", skipOffset);
    coder.encodeString("sortRank", sortRank);
    coder.encodeString("customScript", customScript);
    coder.encodeNumber("instanceCount", VKTNumber(instanceCount));
    coder.encodeObjects("metrics", metrics);
    coder.encodeObjects("adVerifications", adVerifications);
    for (const auto& field : vkt_extensionNumberMacros()) {
        if (const auto& number = this->*field.member) coder.encodeNumber(field.name, VKTNumber(*number));
    }
    for (const auto* fields : {&vkt_extensionTextMacros(), &vkt_extensionRTBMacros()}) {
        for (const auto& field : *fields)
            coder.encodeString(field.name, this->*field.member);
    }
}

std::size_t VKTVASTAdExtension::mergeCost() const {
    const auto lengthOf = [](const std::optional<std::string>& text) { return text ? text->size() : 0; };
    std::size_t bytes = lengthOf(skipOffset) + lengthOf(sortRank) + lengthOf(customScript);
    for (const auto* fields : {&vkt_extensionTextMacros(), &vkt_extensionRTBMacros()}) {
        for (const auto& field : *fields)
            bytes += lengthOf(this->*field.member);
    }
    for (const VKTVASTAdExtensionAdVerification& script : adVerifications) {
        bytes += script.javascriptResourceURL.absoluteString().size() + lengthOf(script.vendor) +
                 lengthOf(script.verificationParameters);
    }
    return 1 + adVerifications.size() + bytes / VKTVASTMergeBudgetTextBytes;
}

bool operator==(const VKTVASTAdExtension& left, const VKTVASTAdExtension& right) {
    return left.offsetIsForced == right.offsetIsForced && left.instanceCount == right.instanceCount &&
           left.skipOffset == right.skipOffset && left.sortRank == right.sortRank &&
           left.customScript == right.customScript && left.adVerifications == right.adVerifications &&
           equalFields(left, right, vkt_extensionNumberMacros()) &&
           equalFields(left, right, vkt_extensionTextMacros()) &&
           equalFields(left, right, vkt_extensionRTBMacros()) &&
           vkt_areEqualEvents(left.metrics, right.metrics);
}
