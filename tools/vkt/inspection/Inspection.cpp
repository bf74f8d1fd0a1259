// The document is held twice: as the library reads it, and with the empty elements that reading strips, so
// that each element keeps its place. Both trees are walked side by side along tables of what is read under
// each element. Whether an element is kept is asked of the library's readers and of the model; only the words
// for the reason are found here.
#include "inspection/Inspection.h"

#include <algorithm>
#include <optional>

#include "VKTCoreKit/core/VKTXMLDictionary.h"
#include "VKTCoreKit/core/VKTXMLDictionaryUtils.h"
#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/vast/VKTVASTNodeReading.h"
#include "ground/Text.h"
#include "inspection/ExtensionProbe.h"
#include "inspection/InspectionReasons.h"

using Utils = VKTXMLDictionaryUtils;

namespace {

// A root may have any name, and every path repeats it.
constexpr std::size_t longestRootName = 64;

// Without attributes, children and text: what reading strips.
bool isEmptyElement(const VKTDictionary& full) {
    const std::string* text = Utils::findNodeText(full);
    return full.size() == 1 && text != nullptr && text->empty();
}

bool holdsEmptyElement(const VKTValue& root) {
    std::vector<const VKTValue*> values{&root};
    while (!values.empty()) {
        const VKTValue* value = values.back();
        values.pop_back();
        if (const VKTArray* array = value->asArray()) {
            for (const VKTValue& element : *array)
                values.push_back(&element);
        } else if (const VKTDictionary* node = value->asDictionary()) {
            if (isEmptyElement(*node)) return true;
            for (const auto& [key, child] : *node)
                values.push_back(&child);
        }
    }
    return false;
}

const VKTArray* childrenNamed(std::string_view name, const VKTValue* parent) {
    const VKTDictionary* node = parent == nullptr ? nullptr : parent->asDictionary();
    return node == nullptr ? nullptr : Utils::findArrayForKey(name, *node);
}

// Walks as deep as its tables go, however deep the document is.
class Walk {
  public:
    Walk(const VKTVASTModel& model, Inspection& inspection) : model_(model), inspection_(inspection) {}

    void document(const Element& root) {
        static const Rules rules{{"Ad", Every, &Walk::ad}, {"Error", Every, &Walk::documentError}};
        children(root, rules);
    }

  private:
    enum Count : std::uint8_t { First, Every, EveryAlsoEmpty };
    struct Rule;
    using Rules = std::vector<Rule>;
    using Visit = void (Walk::*)(const Element& element);
    struct Rule {
        std::string_view name;
        Count count;
        Visit visit;                    // null for an element that only holds others
        const Rules* inside = nullptr;  // of such an element
    };
    enum OwnText : std::uint8_t { TextUnread, TextRead };

    void drop(const Element& element, std::string reason) {
        inspection_.dropped.push_back({pathOf(element), std::move(reason)});
    }

    void children(const Element& parent, const Rules& rules, OwnText ownText = TextUnread) {
        if (ownText == TextUnread && parent.node().contains(VKTXMLDictionaryTextKey)) {
            inspection_.dropped.push_back({pathOf(parent) + "/text()", "no text is read here"});
        }
        for (const Rule& rule : rules)
            childrenOfRule(parent, rule);
        for (const auto& [name, value] : *parent.full->asDictionary()) {
            if (value.asArray() == nullptr || name == VKTXMLDictionaryTextKey) continue;
            const bool isRead = std::any_of(rules.begin(), rules.end(),
                                            [&, &key = name](const Rule& r) { return r.name == key; });
            if (!isRead) dropAll(parent, name, *value.asArray());
        }
    }

    void childrenOfRule(const Element& parent, const Rule& rule) {
        const VKTArray* all = childrenNamed(rule.name, parent.full);
        const VKTArray* kept = childrenNamed(rule.name, parent.read);
        if (all == nullptr) return;
        std::size_t position = 0;
        std::size_t keptCount = 0;
        for (const VKTValue& full : *all) {
            Element child{&parent, rule.name, all->size() > 1 ? ++position : 0, &full, nullptr};
            const VKTDictionary* node = full.asDictionary();
            if (node != nullptr && !isEmptyElement(*node) && kept != nullptr && keptCount < kept->size()) {
                child.read = &(*kept)[keptCount++];
            }
            if (child.read == nullptr && rule.count != EveryAlsoEmpty) {
                drop(child, isEmpty);
            } else if (rule.count == First && keptCount > 1) {
                drop(child, "only the first " + std::string(rule.name) + " is read");
            } else if (rule.visit != nullptr) {
                (this->*rule.visit)(child);
            } else {
                children(child, *rule.inside);
            }
        }
    }

    void dropAll(const Element& parent, std::string_view name, const VKTArray& elements) {
        std::size_t position = 0;
        for (const VKTValue& full : elements) {
            drop({&parent, name, elements.size() > 1 ? ++position : 0, &full, nullptr},
                 "element not read by this library");
        }
    }

    // Elements without elements of their own.

    void leaf(const Element& element) { children(element, {}, TextRead); }

    void keepIf(bool isKept, const Element& element, std::string (*problem)(const Element&)) {
        if (isKept) {
            leaf(element);
        } else {
            drop(element, problem(element));
        }
    }

    void text(const Element& element) { keepIf(element.text() != nullptr, element, textProblem); }

    void url(const Element& element) {
        keepIf(VKTVASTURL::initFromXML(element.node()).has_value(), element, textProblem);
    }

    void eventURL(const Element& element) {
        const std::string* text = element.text();
        keepIf(text != nullptr && VKTURL::URLWithDocumentText(*text), element, textProblem);
    }

    void tracking(const Element& element) {
        keepIf(VKTVASTTrackingEvent::initWithDictionary(*element.read) != nullptr, element, trackingProblem);
    }

    void metric(const Element& element) {
        keepIf(VKTVASTTrackingEvent::initWithExtensionDictionary(*element.read) != nullptr, element,
               metricProblem);
    }

    void verificationEvent(const Element& element) {
        keepIf(VKTVASTAdVerificationEvent::initWithDictionary(*element.read) != nullptr, element,
               verificationEventProblem);
    }

    // The document and its ads.

    void documentError(const Element& element) {
        if (model_.errorPixels().empty() && VKTVASTURL::initFromXML(element.node())) {
            drop(element, "the document's Error is read only when there is no Ad");
        } else {
            url(element);
        }
    }

    void ad(const Element& element) {
        const VKTDictionary& node = element.node();
        isWrapper_ = !node.contains("InLine");
        if (isWrapper_ && !node.contains("Wrapper")) {
            drop(element, "it has neither InLine nor Wrapper");
            return;
        }
        std::optional<VKTError> error;
        std::shared_ptr<VKTVASTAd> built;
        if (isWrapper_) {
            built = VKTVASTAdWrapper::initWithDictionary(node, &error);
        } else {
            built = VKTVASTAdInline::initWithDictionary(node, &error);
        }
        if (!built) {
            drop(element, isWrapper_ ? "its Wrapper is empty" : "its InLine is empty");
            return;
        }
        ad_ = model_.ads().at(inspection_.ads.size()).get();
        InspectedAd& inspected = inspection_.ads.emplace_back();
        if (!ad_->isValid()) {
            inspected.invalidReason =
                error ? error->localizedDescription().value_or("") : "it has no creative";
        }
        linearCount_ = nonLinearCount_ = companionCount_ = verificationCount_ = 0;
        children(element, isWrapper_ ? wrapperAdRules() : inlineAdRules());
    }

    static const Rules& inlineAdRules() {
        static const Rules content = adContentRules();
        static const Rules rules{{"InLine", First, nullptr, &content},
                                 {"Wrapper", Every, &Walk::besideInLine}};
        return rules;
    }

    static const Rules& wrapperAdRules() {
        static const Rules content = [] {
            Rules both = adContentRules();
            both.push_back({"VASTAdTagURI", First, &Walk::url});
            return both;
        }();
        static const Rules rules{{"Wrapper", First, nullptr, &content}};
        return rules;
    }

    void besideInLine(const Element& element) { drop(element, "the InLine beside it is read instead"); }

    // Verifications before extensions, as they are read.
    static Rules adContentRules() {
        static const Rules viewability{{"Viewable", Every, &Walk::eventURL},
                                       {"NotViewable", Every, &Walk::eventURL},
                                       {"ViewUndetermined", Every, &Walk::eventURL}};
        static const Rules verifications{{"Verification", Every, &Walk::verification}};
        static const Rules creatives{{"Creative", Every, &Walk::creative}};
        static const Rules extensions{{"Extension", Every, &Walk::extension}};
        return {{"AdSystem", First, &Walk::text},
                {"AdTitle", First, &Walk::text},
                {"Impression", Every, &Walk::url},
                {"Error", Every, &Walk::url},
                {"ViewableImpression", First, nullptr, &viewability},
                {"Creatives", First, nullptr, &creatives},
                {"AdVerifications", First, nullptr, &verifications},
                {"Extensions", First, nullptr, &extensions}};
    }

    static const Rules& trackingRules() {
        static const Rules rules{{"Tracking", Every, &Walk::tracking}};
        return rules;
    }

    // Creatives. Identifiers after the linear creative that they belong to, as they are read.

    void creative(const Element& element) {
        static const Rules companions{{"Companion", First, &Walk::companion}};
        static const Rules nonLinears{{"NonLinear", First, &Walk::nonLinear},
                                      {"TrackingEvents", First, &Walk::nonLinearTracking}};
        static const Rules rules{{"Linear", First, &Walk::linear},
                                 {"UniversalAdId", Every, &Walk::universalAdId},
                                 {"CompanionAds", First, nullptr, &companions},
                                 {"NonLinearAds", First, nullptr, &nonLinears}};
        linear_ = nullptr;
        universalAdIdCount_ = 0;
        children(element, rules);
    }

    // The creative of the model that a valid one became; null, and dropped, beyond the limit.
    template <typename Creative>
    std::shared_ptr<Creative> kept(const Element& element, const std::vector<std::shared_ptr<Creative>>& list,
                                   std::size_t& count) {
        if (count < list.size()) return list[count++];
        drop(element,
             "beyond the limit of " + std::to_string(VKTVASTCreativeLimit) + " creatives of its kind");
        return nullptr;
    }

    void linear(const Element& element) {
        InspectedLinear& inspected = inspection_.ads.back().linearCreatives.emplace_back();
        const auto built = VKTVASTCreativeLinear::initWithDictionary(element.node(), nullptr,
                                                                     vkt_ignoreVASTErrors, isWrapper_);
        if (built && built->isValidForWrapper(isWrapper_)) {
            inspected.creative = kept(element, ad_->linearCreatives(), linearCount_);
            if (!inspected.creative) inspected.dropReason = inspection_.dropped.back().reason;
        } else {
            inspected.dropReason = "it has no playable media file";
            drop(element, inspected.dropReason);
        }
        linear_ = inspected.creative.get();
        static const Rules mediaFiles{{"MediaFile", EveryAlsoEmpty, &Walk::mediaFile},
                                      {"InteractiveCreativeFile", EveryAlsoEmpty, &Walk::interactiveFile}};
        static const Rules clicks{{"ClickThrough", First, &Walk::url}, {"ClickTracking", Every, &Walk::url}};
        static const Rules icons{{"Icon", Every, &Walk::icon}};
        static const Rule mediaRule{"MediaFiles", First, nullptr, &mediaFiles};
        static const Rules rules{{"Duration", First, &Walk::text},
                                 {"AdParameters", First, &Walk::text},
                                 mediaRule,
                                 {"TrackingEvents", First, nullptr, &trackingRules()},
                                 {"VideoClicks", First, nullptr, &clicks},
                                 {"Icons", First, nullptr, &icons}};
        if (linear_ != nullptr) {
            children(element, rules);
        } else {
            childrenOfRule(element, mediaRule);
        }
        judgeMediaFiles(inspected);
    }

    void mediaFile(const Element& element) { addMediaFile(element, false); }
    void interactiveFile(const Element& element) { addMediaFile(element, true); }

    void addMediaFile(const Element& element, bool onlyVPAID) {
        InspectedMediaFile& row = inspection_.ads.back().linearCreatives.back().mediaFiles.emplace_back();
        if (element.read == nullptr) {
            row.reason = isEmpty;
            drop(element, row.reason);
            return;
        }
        row.file = describedMediaFile(element);
        const auto built = VKTVASTMediaFile::initWithDictionary(element.node());
        if (built && (!onlyVPAID || built->isVPAID())) {
            row.verdict = MediaFileKept;
            row.reason = "usable, but its creative was dropped";
            leaf(element);
            return;
        }
        row.reason =
            built ? "an interactive file must be VPAID JavaScript" : mediaFileProblem(element, row.file);
        drop(element, row.reason);
    }

    void universalAdId(const Element& element) {
        const auto id = VKTVASTUniversalAdId::initWithDictionary(*element.read);
        if (!id) {
            drop(element, universalAdIdProblem(element));
        } else if (linear_ == nullptr) {
            drop(element, "only a linear creative keeps universal ad ids");
        } else if (universalAdIdCount_ < linear_->universalAdIds().size() &&
                   linear_->universalAdIds()[universalAdIdCount_] == *id) {
            ++universalAdIdCount_;
            leaf(element);
        } else {
            drop(element, "it repeats an earlier one");
        }
    }

    void icon(const Element& element) {
        static const Rules clicks{{"IconClickTracking", Every, &Walk::url},
                                  {"IconClickThrough", First, &Walk::url}};
        static const Rules rules = withResources(
            {{"IconClicks", First, nullptr, &clicks}, {"TrackingEvents", First, nullptr, &trackingRules()}});
        const auto built = VKTVASTCreativeIcon::initWithDictionary(element.node(), nullptr,
                                                                   vkt_ignoreVASTErrors, isWrapper_);
        if (built->isValidForWrapper(false)) {
            resourceContent(element, *built, rules);
        } else {
            drop(element, noResource);
        }
    }

    void companion(const Element& element) {
        static const Rules rules = withResources({{"AdParameters", First, &Walk::text},
                                                  {"CompanionClickThrough", First, &Walk::url},
                                                  {"CompanionClickTracking", Every, &Walk::url},
                                                  {"TrackingEvents", First, nullptr, &trackingRules()}});
        resourceCreative<VKTVASTCreativeCompanion>(element, ad_->companionCreatives(), companionCount_,
                                                   rules);
    }

    void nonLinear(const Element& element) {
        static const Rules rules = withResources({{"AdParameters", First, &Walk::text},
                                                  {"NonLinearClickThrough", First, &Walk::url},
                                                  {"NonLinearClickTracking", Every, &Walk::url}});
        resourceCreative<VKTVASTCreativeNonLinear>(element, ad_->nonLinearCreatives(), nonLinearCount_,
                                                   rules);
    }

    void nonLinearTracking(const Element& element) {
        if (nonLinearCount_ == 0) {
            drop(element, "the ad has no non-linear creative to carry it");
        } else {
            children(element, trackingRules());
        }
    }

    template <typename Creative>
    void resourceCreative(const Element& element, const std::vector<std::shared_ptr<Creative>>& list,
                          std::size_t& count, const Rules& rules) {
        const auto built =
            Creative::initWithDictionary(element.node(), nullptr, vkt_ignoreVASTErrors, isWrapper_);
        if (!built || !built->isValidForWrapper(isWrapper_)) {
            drop(element, noResource);
        } else if (kept(element, list, count)) {
            resourceContent(element, *built, rules);
        }
    }

    static Rules withResources(Rules rules) {
        for (const char* name : {"StaticResource", "IFrameResource", "HTMLResource"})
            rules.push_back({name, First, &Walk::resource});
        return rules;
    }

    void resourceContent(const Element& element, const VKTVASTCreativeResource& creative,
                         const Rules& rules) {
        resource_ = &creative;
        children(element, rules);
        resource_ = nullptr;
    }

    void resource(const Element& element) {
        const bool isKept = (element.name == "StaticResource" && resource_->staticResource()) ||
                            (element.name == "IFrameResource" && resource_->iFrameResource()) ||
                            (element.name == "HTMLResource" && resource_->htmlResource());
        if (isKept) {
            leaf(element);
        } else if (VKTVASTURL::initFromXML(element.node())) {
            drop(element, "one resource is read: StaticResource before IFrameResource before HTMLResource");
        } else {
            drop(element, textProblem(element));
        }
    }

    // Verifications.

    // Whether the element gave the ad its next verification: those of the model stand in document order.
    bool isNextVerification(const Element& element) {
        const auto built = VKTVASTAdVerification::initWithDictionary(*element.read);
        const auto& verifications = ad_->adVerifications();
        const bool isNext =
            built && verificationCount_ < verifications.size() && verifications[verificationCount_] == *built;
        if (isNext) ++verificationCount_;
        return isNext;
    }

    void verification(const Element& element) {
        if (isNextVerification(element)) {
            verificationContent(element);
        } else {
            drop(element, "it has no resource");
        }
    }

    void verificationContent(const Element& element) {
        static const Rules events{{"Tracking", Every, &Walk::verificationEvent}};
        static const Rules rules{{"VerificationParameters", First, &Walk::text},
                                 {"TrackingEvents", First, nullptr, &events},
                                 {"JavaScriptResource", Every, &Walk::script},
                                 {"JavascriptResource", Every, &Walk::script},
                                 {"ExecutableResource", Every, &Walk::executable}};
        children(element, rules);
    }

    void script(const Element& element) {
        verificationResource(
            element, VKTVASTAdVerificationResource::initJavascriptResourceWithDictionary(*element.read));
    }
    void executable(const Element& element) {
        verificationResource(
            element, VKTVASTAdVerificationResource::initExecutableResourceWithDictionary(*element.read));
    }

    void verificationResource(const Element& element,
                              const std::optional<VKTVASTAdVerificationResource>& resource) {
        if (!resource) {
            drop(element, textProblem(element));
        } else if (!resource->url) {
            drop(element, textProblem(element) + "; the resource is kept without one");
        } else {
            leaf(element);
        }
    }

    // Extensions.

    void extension(const Element& element) {
        static const Rules rules{{"offset", First, &Walk::offset},
                                 {"sort", First, &Walk::sort},
                                 {"customisedScript", First, &Walk::customisedScript},
                                 {"instanceCount", First, &Walk::instanceCount},
                                 {"KorvoMetrics", First, &Walk::extensionMetrics},
                                 {"KorvoMacros", First, &Walk::extensionMacros},
                                 {"RtbMacros", First, &Walk::extensionRTBMacros},
                                 {"AdVerifications", First, &Walk::extensionVerifications}};
        contentsRead_ = contentsReadOf(element.node());
        children(element, rules);
    }

    [[nodiscard]] bool isContentRead(std::string_view name) const {
        return std::find(contentsRead_.begin(), contentsRead_.end(), name) != contentsRead_.end();
    }

    // True when the content is read; otherwise it is dropped.
    bool keepContent(const Element& element) {
        if (isContentRead(element.name)) return true;
        const bool needsMacros = element.name == "RtbMacros" && !isContentRead("KorvoMacros");
        drop(element, needsMacros ? "RtbMacros are read only beside KorvoMacros"
                                  : "an Extension is read for one kind of content, here: " +
                                        std::string(contentsRead_.empty() ? "none" : contentsRead_.front()));
        return false;
    }

    // A value stays unless a later Extension overwrote it.
    void keepValue(const Element& element, bool isInModel, OwnText ownText) {
        if (isInModel) {
            children(element, {}, ownText);
        } else {
            drop(element, "a later Extension overwrites it");
        }
    }

    void offset(const Element& element) {
        const auto own = vkt_stringAttribute("_skipoffset", element.node());
        if (keepContent(element))
            keepValue(element, !own || own == ad_->extensions()->skipOffset, TextUnread);
    }
    void sort(const Element& element) {
        const auto own = vkt_stringAttribute("_rank", element.node());
        if (keepContent(element)) keepValue(element, !own || own == ad_->extensions()->sortRank, TextUnread);
    }
    void customisedScript(const Element& element) {
        if (keepContent(element)) extensionText(element, ad_->extensions()->customScript);
    }
    void instanceCount(const Element& element) {
        if (!keepContent(element)) return;
        const std::string* text = element.text();
        if (text == nullptr) {
            drop(element, textProblem(element));
        } else {
            keepValue(element, vkt_integerValue(*text) == ad_->extensions()->instanceCount, TextRead);
        }
    }

    void extensionText(const Element& element, const std::optional<std::string>& valueInModel) {
        const std::string* text = element.text();
        if (text == nullptr) {
            drop(element, textProblem(element));
        } else {
            keepValue(element, valueInModel == *text, TextRead);
        }
    }

    template <typename T>
    const std::optional<T>& macroInModel(const std::vector<VKTVASTAdExtensionField<T>>& fields,
                                         std::string_view name) const {
        const auto found = std::find_if(fields.begin(), fields.end(),
                                        [&](const auto& field) { return field.element == name; });
        return (*ad_->extensions()).*found->member;
    }

    void numberMacro(const Element& element) {
        const auto number = Utils::findNodeTextAsNSNumber(element.node());
        if (number) {
            keepValue(element, number == macroInModel(vkt_extensionNumberMacros(), element.name), TextRead);
        } else {
            drop(element,
                 element.text() == nullptr ? textProblem(element) : "its text is not a whole number");
        }
    }
    void textMacro(const Element& element) {
        extensionText(element, macroInModel(vkt_extensionTextMacros(), element.name));
    }
    void RTBMacro(const Element& element) {
        extensionText(element, macroInModel(vkt_extensionRTBMacros(), element.name));
    }

    void extensionMetrics(const Element& element) {
        static const Rules rules{{"KorvoMetric", Every, &Walk::metric}};
        if (keepContent(element)) children(element, rules);
    }
    void extensionMacros(const Element& element) {
        static const Rules rules = [] {
            Rules macros;
            for (const auto& field : vkt_extensionNumberMacros())
                macros.push_back({field.element, First, &Walk::numberMacro});
            for (const auto& field : vkt_extensionTextMacros())
                macros.push_back({field.element, First, &Walk::textMacro});
            return macros;
        }();
        if (keepContent(element)) children(element, rules);
    }
    void extensionRTBMacros(const Element& element) {
        static const Rules rules = [] {
            Rules macros;
            for (const auto& field : vkt_extensionRTBMacros())
                macros.push_back({field.element, First, &Walk::RTBMacro});
            return macros;
        }();
        if (keepContent(element)) children(element, rules);
    }

    // Read twice: as the extension's scripts and, when nothing stands in the ad's own element, as the ad's.
    void extensionVerifications(const Element& element) {
        static const Rules rules{{"Verification", Every, &Walk::extensionVerification}};
        const std::string* type = Utils::findAttribute("_type", element.parent->node());
        if ((type != nullptr && *type == "AdVerifications") || keepContent(element)) children(element, rules);
    }

    void extensionVerification(const Element& element) {
        VKTVASTAdExtension extension;
        if (isContentRead("AdVerifications")) extension.processVerifications({*element.read});
        static const Rules legacyRules{{"VerificationParameters", First, &Walk::text},
                                       {"JavaScriptResource", Every, &Walk::legacyScript},
                                       {"JavascriptResource", Every, &Walk::legacyScript}};
        if (isNextVerification(element)) {
            verificationContent(element);
        } else if (!extension.adVerifications.empty()) {
            legacyScriptURL_ = &extension.adVerifications.front().javascriptResourceURL;
            children(element, legacyRules);
        } else {
            drop(element, VKTVASTAdVerification::initWithDictionary(*element.read)
                              ? "the ad's own AdVerifications are read instead"
                              : "it has no script");
        }
    }

    void legacyScript(const Element& element) {
        const std::string* text = element.text();
        const auto url = text == nullptr ? std::nullopt : VKTURL::URLWithDocumentText(*text);
        if (!url) {
            drop(element, textProblem(element));
        } else if (*url == *legacyScriptURL_) {
            leaf(element);
        } else {
            drop(element, "only the last script is read");
        }
    }

    static constexpr const char* isEmpty = "it is empty";
    static constexpr const char* noResource = "it has no usable resource";

    const VKTVASTModel& model_;
    Inspection& inspection_;

    // Of the ad, creative or extension that is being walked.
    const VKTVASTAd* ad_ = nullptr;
    bool isWrapper_ = false;
    std::size_t linearCount_ = 0;
    std::size_t nonLinearCount_ = 0;
    std::size_t companionCount_ = 0;
    std::size_t verificationCount_ = 0;
    std::size_t universalAdIdCount_ = 0;
    const VKTVASTCreativeLinear* linear_ = nullptr;
    const VKTVASTCreativeResource* resource_ = nullptr;
    std::vector<std::string_view> contentsRead_;
    const VKTURL* legacyScriptURL_ = nullptr;
};

}  // namespace

Inspection inspectDocument(std::string_view data, const VKTVASTModel* model) {
    Inspection inspection;
    auto parser = VKTXMLDictionaryParser::sharedInstance().copy();
    parser.stripEmptyNodes = false;
    auto fullRoot = parser.vkt_dictionaryWithData(data);
    if (!fullRoot) {
        const auto& error = parser.parsingError();
        inspection.XMLProblem = error ? error->localizedDescription().value_or("") : "there is no element";
        return inspection;
    }

    const std::string* version = Utils::findAttribute("_version", *fullRoot);
    const std::string refusal = version == nullptr ? "it has no version attribute"
                                                   : "version " + quoted(*version) + " is not supported";
    const std::string* nodeName = vkt_nodeName(*fullRoot);
    const std::string name = nodeName != nullptr && nodeName->size() <= longestRootName ? *nodeName : "*";
    const VKTValue full(std::move(*fullRoot));
    VKTValue stripped;
    if (holdsEmptyElement(full)) {
        parser.stripEmptyNodes = true;
        stripped = *parser.vkt_dictionaryWithData(data);
    }
    const Element root{nullptr, name, 0, &full, stripped.isNull() ? &full : &stripped};
    if (model == nullptr) {
        inspection.dropped.push_back({pathOf(root), refusal});
    } else {
        Walk(*model, inspection).document(root);
    }
    return inspection;
}
