#include "VKTCoreKit/vast/VKTVASTAdExtension.h"

#include <algorithm>
#include <array>
#include <functional>
#include <map>
#include <string_view>
#include <utility>

#include "VKTCoreKit/core/VKTXMLDictionaryUtils.h"
#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/vast/VKTVASTMergeBudget.h"

using Utils = VKTXMLDictionaryUtils;
using Extension = VKTVASTAdExtension;

namespace {

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

namespace {

bool isOfVerifications(const VKTVASTElement& extension) {
    const std::string* type = extension.attribute("_type");
    return type != nullptr && *type == "AdVerifications";
}

// Reads "Extension" elements, one after another, into one record. Which element gave a value is remembered
// for a listener, who hears of it when a later one overwrites it.
class ExtensionReader {
  public:
    explicit ExtensionReader(Extension& extension) : extension_(extension) {}

    // Verifications of the ad go to that list, which may be null.
    void read(const VKTVASTElement& element, std::vector<VKTVASTAdVerification>* adVerifications) {
        const bool isOfAd = adVerifications != nullptr && isOfVerifications(element);
        if (isOfAd) appendAdVerifications(element.firstChild("AdVerifications"), *adVerifications);

        std::string_view kind;
        for (const auto& [name, readContent] : kinds) {
            const bool isTold = isOfAd && name == "AdVerifications";
            if (!kind.empty()) {
                if (!isTold) element.dropChildren(name, [&, &kind = kind] { return isOneKind(kind); });
                continue;
            }
            const VKTVASTElement content =
                isTold ? element.unheard().firstChild(name) : element.firstChild(name);
            if (!content) continue;
            kind = name;
            if (content.isHeard() && hasOtherKind(element, name))
                content.hides("the other contents of its Extension");
            (this->*readContent)(content);
        }
        if (kind == macrosName) {
            RTBMacros(element.firstChild("RtbMacros"));
        } else {
            element.dropChildren("RtbMacros", "RtbMacros are read only beside KorvoMacros");
        }
    }

    void offset(const VKTVASTElement& element) {
        const std::string* isForced = element.attribute("_isForced");
        auto skipOffset = element.timeAttribute("_skipoffset");
        if (isForced != nullptr) {
            extension_.offsetIsForced = *isForced == "1";
            noteValue(element, "isForced");
        }
        if (skipOffset) {
            extension_.skipOffset = std::move(skipOffset);
            noteValue(element, "skipoffset");
        } else if (isForced == nullptr) {
            element.drop("it has neither skipoffset nor isForced");
        }
    }

    void sort(const VKTVASTElement& element) {
        auto rank = element.stringAttribute("_rank");
        if (!rank) return element.drop("it has no rank");
        extension_.sortRank = std::move(rank);
        noteValue(element, "sort");
    }

    void customisedScript(const VKTVASTElement& element) {
        text(element, "customisedScript", extension_.customScript);
    }

    void instanceCount(const VKTVASTElement& element) {
        const std::string* text = element.text();
        extension_.instanceCount = text == nullptr ? 0 : vkt_integerValue(*text);
        noteValue(element, "instanceCount");
        if (text == nullptr || !Utils::stringToNSNumber(*text)) {
            element.needsAttention({}, [&] {
                return element.textProblem(notWhole) + ", and counts as " +
                       std::to_string(extension_.instanceCount);
            });
        }
    }

    void metrics(const VKTVASTElement& element) {
        element.forEachChild("KorvoMetric", [this](const VKTVASTElement& metric) { this->metric(metric); });
    }

    void metric(const VKTVASTElement& element) {
        if (auto metric = VKTVASTTrackingEvent::initWithExtensionDictionary(element)) {
            extension_.metrics.push_back(std::move(metric));
        }
    }

    void macros(const VKTVASTElement& element) {
        for (const auto& field : vkt_extensionNumberMacros()) {
            const VKTVASTElement child = element.firstChild(field.element);
            if (!child) continue;
            const std::string* text = child.text();
            const auto number = text == nullptr ? std::nullopt : Utils::stringToNSNumber(*text);
            extension_.*field.member = number;
            noteValueOrGap(child, field.element, number.has_value(), notWhole);
        }
        for (const auto& field : vkt_extensionTextMacros())
            textMacro(element, field);
    }

    void RTBMacros(const VKTVASTElement& element) {
        for (const auto& field : vkt_extensionRTBMacros())
            textMacro(element, field);
    }

    void verifications(const VKTVASTElement& element) {
        element.forEachChild("Verification", [this](const VKTVASTElement& each) { verification(each); });
    }

    // A script in the form that predates VAST 4.1: the last one counts.
    void verification(const VKTVASTElement& element) {
        std::optional<VKTURL> script;
        std::string scriptPath;
        for (const char* name : {"JavaScriptResource", "JavascriptResource"}) {
            element.forEachChild(name, [&](const VKTVASTElement& resource) {
                auto url = resource.requiredURL();
                if (!url) return;
                if (script) tellDropped(resource, scriptPath, "only the last script is read");
                script = std::move(url);
                if (resource.isHeard()) scriptPath = resource.path();
            });
        }
        if (!script) return element.drop("it has no script");
        extension_.adVerifications.push_back(VKTVASTAdExtensionAdVerification::initWithJavascriptResourceURL(
            std::move(*script), element.stringAttribute("_vendor"), parametersOf(element)));
    }

    static void appendAdVerifications(const VKTVASTElement& container,
                                      std::vector<VKTVASTAdVerification>& verifications) {
        container.forEachChild("Verification", [&](const VKTVASTElement& element) {
            if (auto verification = VKTVASTAdVerification::initWithDictionary(element)) {
                verifications.push_back(std::move(*verification));
            }
        });
    }

  private:
    // An element of which some values stand.
    struct Giver {
        int values = 0;
        std::string hiddenNote;
    };

    using Kind = std::pair<std::string_view, void (ExtensionReader::*)(const VKTVASTElement& content)>;
    static constexpr std::string_view macrosName = "KorvoMacros";
    static constexpr const char* notWhole = "its text is not digits alone";
    static const std::array<Kind, 7> kinds;  // the first that an element has is read

    static bool hasOtherKind(const VKTVASTElement& element, std::string_view kind) {
        return std::any_of(kinds.begin(), kinds.end(), [&](const Kind& other) {
            return other.first != kind && element.keptChildCount(other.first) > 0;
        });
    }

    static std::string isOneKind(std::string_view kind) {
        return std::string("an Extension is read for one kind of content, here: ").append(kind);
    }

    void textMacro(const VKTVASTElement& macros, const VKTVASTAdExtensionField<std::string>& field) {
        const VKTVASTElement child = macros.firstChild(field.element);
        if (child) text(child, field.element, extension_.*field.member);
    }

    void text(const VKTVASTElement& element, std::string_view name, std::optional<std::string>& value) {
        const std::string* text = element.text();
        value = text == nullptr ? std::nullopt : std::optional(*text);
        noteValueOrGap(element, name, text != nullptr, {});
    }

    // Given as a plain string, or as a node with a text.
    static std::optional<std::string> parametersOf(const VKTVASTElement& verification) {
        const VKTArray* list = Utils::findArrayForKey("VerificationParameters", *verification.node());
        const std::string* plain = list == nullptr || list->empty() ? nullptr : list->front().asString();
        return plain == nullptr ? verification.childText("VerificationParameters") : std::optional(*plain);
    }

    static void tellDropped(const VKTVASTElement& by, const std::string& path, const char* reason) {
        if (by.isHeard()) by.listener()->dropped(path, reason);
    }

    // Element and name of a value that was set.
    void noteValue(const VKTVASTElement& element, std::string_view name) {
        if (!element.isHeard()) return;
        const std::string path = element.path();
        Giver& giver = givers_[path];
        ++giver.values;
        giver.hiddenNote = element.hiddenNote();
        std::string& giverPath = giverPaths_[std::string(name)];
        if (!giverPath.empty()) takeValueFrom(giverPath, *element.listener());
        giverPath = path;
    }

    void takeValueFrom(const std::string& path, VKTVASTReadingListener& listener) {
        const auto giver = givers_.find(path);
        if (--giver->second.values > 0) return;
        const std::string reason = "a later Extension overwrites it" + giver->second.hiddenNote;
        if (giver->second.hiddenNote.empty()) {
            listener.dropped(path, reason);
        } else {
            listener.needsAttention(path, reason);
        }
        givers_.erase(giver);
    }

    // An element without a usable value takes an earlier one away.
    void noteValueOrGap(const VKTVASTElement& element, std::string_view name, bool hasValue,
                        std::string_view otherwise) {
        if (!element.isHeard()) return;
        const bool erases = !hasValue && giverPaths_.contains(name);
        if (hasValue || erases) noteValue(element, name);
        const auto problem = [&] { return element.textProblem(otherwise); };
        if (erases) {
            element.needsAttention({}, problem() + ", and it erases the value of an earlier Extension");
        } else if (!hasValue) {
            element.drop(problem);
        }
    }

    Extension& extension_;
    std::map<std::string, std::string, std::less<>> giverPaths_;  // of the element that gave each value
    std::map<std::string, Giver> givers_;                         // by their paths
};

const std::array<ExtensionReader::Kind, 7> ExtensionReader::kinds{{
    {"offset", &ExtensionReader::offset},
    {"sort", &ExtensionReader::sort},
    {"customisedScript", &ExtensionReader::customisedScript},
    {"instanceCount", &ExtensionReader::instanceCount},
    {"KorvoMetrics", &ExtensionReader::metrics},
    {macrosName, &ExtensionReader::macros},
    {"AdVerifications", &ExtensionReader::verifications},
}};

}  // namespace

bool VKTVASTAdExtension::holdsAdVerifications(const VKTVASTElement& extension) {
    return isOfVerifications(extension) && extension.keptChildCount("AdVerifications") > 0;
}

std::shared_ptr<VKTVASTAdExtension> VKTVASTAdExtension::initWithDictionary(
    const VKTVASTElement& extensions, std::vector<VKTVASTAdVerification>* adVerifications) {
    if (!extensions.hasChildren("Extension")) return nullptr;
    auto extension = init();
    extension->instanceCount = 1;
    ExtensionReader reader(*extension);
    extensions.forEachChild("Extension",
                            [&](const VKTVASTElement& each) { reader.read(each, adVerifications); });
    return extension;
}

void VKTVASTAdExtension::processExtensions(const VKTArray& list) {
    ExtensionReader reader(*this);
    for (const VKTValue& element : list)
        reader.read(element, nullptr);
}

void VKTVASTAdExtension::processMetrics(const VKTArray& list) {
    ExtensionReader reader(*this);
    for (const VKTValue& element : list)
        reader.metric(element);
}

void VKTVASTAdExtension::processMacros(const VKTVASTElement& macros) {
    ExtensionReader(*this).macros(macros);
}

void VKTVASTAdExtension::processRTBMacros(const VKTVASTElement& macros) {
    ExtensionReader(*this).RTBMacros(macros);
}

void VKTVASTAdExtension::processVerifications(const VKTArray& list) {
    ExtensionReader reader(*this);
    for (const VKTValue& element : list)
        reader.verification(element);
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
