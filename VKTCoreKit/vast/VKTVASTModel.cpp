#include "VKTCoreKit/vast/VKTVASTModel.h"

#include <algorithm>
#include <array>
#include <utility>

#include "VKTCoreKit/core/VKTLog.h"
#include "VKTCoreKit/core/VKTXMLDictionaryUtils.h"
#include "VKTCoreKit/foundation/VKTText.h"

using Utils = VKTXMLDictionaryUtils;

namespace {

constexpr std::array<std::string_view, 5> supportedVersions{"2.0", "3.0", "4.0", "4.1", "4.2"};

std::vector<VKTVASTURL> errorPixelsOf(const VKTDictionary& node) {
    std::vector<VKTVASTURL> pixels;
    vkt_appendVASTURLs(pixels, Utils::findArrayForKey("Error", node));
    return pixels;
}

// An inline ad's problems without pixels of their own are reported with the ad's error pixels.
std::shared_ptr<VKTVASTAd> readInlineAd(const VKTDictionary& ad, VKTErrorOutput error,
                                        const VKTVASTErrorHandler& errorHandler,
                                        VKTVASTMergeBudget& sharedEventBudget) {
    return VKTVASTAdInline::initWithDictionary(
        ad, error,
        [&](const VKTVASTError& problem, const std::vector<VKTVASTURL>& pixels) {
            const VKTDictionary* content = Utils::findFirstObjectOfArrayAsDictionary("InLine", ad);
            if (pixels.empty() && content != nullptr) {
                errorHandler(problem, errorPixelsOf(*content));
            } else {
                errorHandler(problem, pixels);
            }
        },
        &sharedEventBudget);
}

// Null for an element that is neither an inline ad nor a wrapper, and for one that cannot be read.
std::shared_ptr<VKTVASTAd> readAd(const VKTValue& element, VKTErrorOutput error,
                                  const VKTVASTErrorHandler& errorHandler,
                                  VKTVASTMergeBudget& sharedEventBudget) {
    const VKTDictionary* node = element.asDictionary();
    if (node == nullptr) return nullptr;
    if (node->contains("InLine")) return readInlineAd(*node, error, errorHandler, sharedEventBudget);
    if (!node->contains("Wrapper")) return nullptr;
    return VKTVASTAdWrapper::initWithDictionary(*node, error, errorHandler, &sharedEventBudget);
}

void letGoOf(VKTValue& element) {
    element = VKTValue();
}

void letGoOf(const VKTValue& /*element of somebody else*/) {}

}  // namespace

std::shared_ptr<VKTVASTModel> VKTVASTModel::initWithDictionary(const VKTDictionary& dictionary,
                                                               VKTErrorOutput error,
                                                               const VKTVASTErrorHandler& errorHandler) {
    return read(dictionary, error, errorHandler);
}

std::shared_ptr<VKTVASTModel> VKTVASTModel::initWithDictionary(VKTDictionary&& dictionary,
                                                               VKTErrorOutput error,
                                                               const VKTVASTErrorHandler& errorHandler) {
    return read(dictionary, error, errorHandler);
}

template <typename Dictionary>
std::shared_ptr<VKTVASTModel> VKTVASTModel::read(Dictionary& dictionary, VKTErrorOutput error,
                                                 const VKTVASTErrorHandler& errorHandler) {
    std::vector<VKTVASTURL> documentErrorPixels;
    if (!dictionary.contains("Ad")) documentErrorPixels = errorPixelsOf(dictionary);

    const std::string* version = Utils::findAttribute("_version", dictionary);
    if (version == nullptr) {
        VKTLog::sharedInstance()->logError(
            "VAST XML Tag does not contain the version attribute and is invalid.");
        const auto missing = VKTVASTError::VAST_VALIDATION_ERROR_MISSING_VERSION();
        if (error != nullptr) *error = missing.error();
        errorHandler(missing, documentErrorPixels);
        return nullptr;
    }

    VKTVASTMergeBudget sharedEventBudget(VKTVASTDocumentSharedEventLimit);
    Ads ads;
    auto* elements = dictionary.find("Ad");
    if (elements != nullptr && elements->asArray() != nullptr) {
        auto& array = *elements->asArray();
        std::size_t number = 0;
        for (auto& element : array) {
            ++number;
            if (auto ad = readAd(element, error, errorHandler, sharedEventBudget)) {
                if (array.size() > 1) ad->setNumberInDocument(number);
                ads.push_back(std::move(ad));
            }
            letGoOf(element);
        }
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
    return std::find(supportedVersions.begin(), supportedVersions.end(), version_) != supportedVersions.end();
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
