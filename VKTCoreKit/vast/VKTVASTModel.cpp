#include "VKTCoreKit/vast/VKTVASTModel.h"

#include <algorithm>
#include <array>
#include <utility>

#include "VKTCoreKit/core/VKTLog.h"
#include "VKTCoreKit/core/VKTXMLDictionary.h"
#include "VKTCoreKit/core/VKTXMLDictionaryUtils.h"
#include "VKTCoreKit/foundation/VKTText.h"

using Utils = VKTXMLDictionaryUtils;

namespace {

constexpr std::array<std::string_view, 5> supportedVersions{"2.0", "3.0", "4.0", "4.1", "4.2"};

bool isSupported(std::string_view version) {
    return std::find(supportedVersions.begin(), supportedVersions.end(), version) != supportedVersions.end();
}

// A root may have any name, and every path repeats it.
constexpr std::size_t longestRootName = 64;

std::string_view rootNameOf(const VKTDictionary& root) {
    const std::string* name = vkt_nodeName(root);
    return name != nullptr && name->size() <= longestRootName ? std::string_view(*name) : "*";
}

// An inline ad's problems without pixels of their own are reported with the ad's error pixels.
std::shared_ptr<VKTVASTAd> readInlineAd(const VKTVASTElement& ad, const VKTVASTReadingContext& context,
                                        VKTVASTMergeBudget& sharedEventBudget) {
    const VKTVASTErrorHandler errorHandler = [&](const VKTVASTError& problem,
                                                 const std::vector<VKTVASTURL>& pixels) {
        const VKTVASTElement silent = ad.unheard();
        const VKTVASTElement content = silent.firstChild("InLine");
        std::vector<VKTVASTURL> adPixels;
        if (pixels.empty()) content.appendVASTURLs("Error", adPixels);
        context.errorHandler(problem, pixels.empty() ? adPixels : pixels);
    };
    return VKTVASTAdInline::initWithElement(ad, {context.error, errorHandler}, &sharedEventBudget);
}

// Null for an element that is neither an inline ad nor a wrapper, and for one that cannot be read.
std::shared_ptr<VKTVASTAd> readAd(const VKTVASTElement& ad, const VKTVASTReadingContext& context,
                                  VKTVASTMergeBudget& sharedEventBudget) {
    if (!ad) return nullptr;
    std::shared_ptr<VKTVASTAd> built;
    if (ad.node()->contains("InLine")) {
        built = readInlineAd(ad, context, sharedEventBudget);
    } else if (ad.node()->contains("Wrapper")) {
        built = VKTVASTAdWrapper::initWithElement(ad, {context.error, context.errorHandler, true},
                                                  &sharedEventBudget);
    } else {
        ad.drop("it has neither InLine nor Wrapper");
    }
    if (built && ad.isHeard())
        built->setPathInDocument(ad.path() + (built->isWrapper() ? "/Wrapper" : "/InLine"));
    return built;
}

void letGoOf(VKTValue& element) {
    element = VKTValue();
}

void letGoOf(const VKTValue& /*element of somebody else*/) {}

}  // namespace

std::shared_ptr<VKTVASTModel> VKTVASTModel::initWithDictionary(const VKTDictionary& dictionary,
                                                               VKTErrorOutput error,
                                                               const VKTVASTErrorHandler& errorHandler,
                                                               VKTVASTReadingListener* listener) {
    return read(dictionary, {error, errorHandler, false, listener});
}

std::shared_ptr<VKTVASTModel> VKTVASTModel::initWithDictionary(VKTDictionary&& dictionary,
                                                               VKTErrorOutput error,
                                                               const VKTVASTErrorHandler& errorHandler,
                                                               VKTVASTReadingListener* listener) {
    return read(dictionary, {error, errorHandler, false, listener});
}

template <typename Dictionary>
std::shared_ptr<VKTVASTModel> VKTVASTModel::read(Dictionary& dictionary,
                                                 const VKTVASTReadingContext& context) {
    const std::string* version = Utils::findAttribute("_version", dictionary);
    const VKTVASTElement root(dictionary, rootNameOf(dictionary), context.listener);
    if (version == nullptr) {
        root.drop("it has no version attribute");
    } else if (!isSupported(*version)) {
        root.drop([version] { return "version " + vkt_quoted(*version) + " is not supported"; });
    }
    auto* elements = dictionary.find("Ad");

    std::vector<VKTVASTURL> documentErrorPixels;
    if (elements == nullptr) {
        root.appendVASTURLs("Error", documentErrorPixels);
    } else {
        root.dropChildren("Error", "the document's Error is read only when there is no Ad");
    }
    if (version == nullptr) {
        VKTLog::sharedInstance()->logError(
            "VAST XML Tag does not contain the version attribute and is invalid.");
        const auto missing = VKTVASTError::VAST_VALIDATION_ERROR_MISSING_VERSION();
        if (context.error != nullptr) *context.error = missing.error();
        context.errorHandler(missing, documentErrorPixels);
        return nullptr;
    }

    VKTVASTMergeBudget sharedEventBudget(VKTVASTDocumentSharedEventLimit);
    Ads ads;
    const std::size_t count = root.childCount("Ad");
    for (std::size_t index = 0; index < count; ++index) {
        if (auto ad = readAd(root.childAt(index, "Ad"), context, sharedEventBudget))
            ads.push_back(std::move(ad));
        letGoOf((*elements->asArray())[index]);
    }
    return initWithVersion(*version, std::move(ads), std::move(documentErrorPixels));
}

std::shared_ptr<VKTVASTModel> VKTVASTModel::initWithVersion(std::string version, Ads ads,
                                                            std::vector<VKTVASTURL> errorPixels) {
    std::shared_ptr<VKTVASTModel> model(new VKTVASTModel());
    model->version_ = std::move(version);
    model->ads_ = std::move(ads);
    std::erase(model->ads_, nullptr);
    model->errorPixels_ = std::move(errorPixels);
    return model;
}

bool VKTVASTModel::versionIsSupported() const {
    return isSupported(version_);
}

std::size_t VKTVASTModel::sequencedAdsCount() const {
    return static_cast<std::size_t>(
        std::count_if(ads_.begin(), ads_.end(), [](const auto& ad) { return ad->hasSequence(); }));
}

std::size_t VKTVASTModel::wrapperCount() const {
    return static_cast<std::size_t>(
        std::count_if(ads_.begin(), ads_.end(), [](const auto& ad) { return ad->isWrapper(); }));
}

std::shared_ptr<VKTVASTAd> VKTVASTModel::firstAd() const {
    return ads_.empty() ? nullptr : ads_.front();
}

bool VKTVASTModel::isOwnerOf(const VKTVASTAd& ad) const {
    return std::any_of(ads_.begin(), ads_.end(), [&](const auto& own) { return own.get() == &ad; });
}

std::shared_ptr<VKTVASTAd> VKTVASTModel::adAfter(const std::shared_ptr<VKTVASTAd>& ad) const {
    if (!ad) return firstAd();
    const auto found = std::find(ads_.begin(), ads_.end(), ad);
    return found == ads_.end() || std::next(found) == ads_.end() ? nullptr : *std::next(found);
}

VKTVASTModel::Ads VKTVASTModel::mainAds() const {
    if (ads_.empty()) return {};
    if (!isAdPod()) {
        const auto found =
            std::find_if(ads_.begin(), ads_.end(), [](const auto& ad) { return ad->isInline(); });
        return {found == ads_.end() ? ads_.front() : *found};
    }
    Ads sequenced;
    std::copy_if(ads_.begin(), ads_.end(), std::back_inserter(sequenced),
                 [](const auto& ad) { return ad->hasSequence(); });
    std::stable_sort(sequenced.begin(), sequenced.end(), [](const auto& left, const auto& right) {
        return vkt_integerValue(*left->adSequence()) < vkt_integerValue(*right->adSequence());
    });
    return sequenced;
}

VKTVASTModel::Ads VKTVASTModel::passbackAds() const {
    if (ads_.size() <= 1) return {};
    if (!isAdPod()) return {ads_.begin() + 1, ads_.end()};
    Ads unsequenced;
    std::copy_if(ads_.begin(), ads_.end(), std::back_inserter(unsequenced),
                 [](const auto& ad) { return !ad->hasSequence(); });
    return unsequenced;
}
