// The typed model of one VAST document.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/vast/VKTVASTAd.h"

/// Immutable once built (its ads are not); any thread may read it. Compares by identity.
class VKT_EXPORT VKTVASTModel {
  public:
    using Ads = std::vector<std::shared_ptr<VKTVASTAd>>;

    /// From the root "VAST" node. Null without a version attribute: `VAST_VALIDATION_ERROR_MISSING_VERSION`
    /// is then logged, put in `error` and reported with the document's error pixels. Every ad that can be
    /// built is kept, valid or not; `error` keeps the last blocking problem. The listener, which may be null,
    /// hears what is dropped; of elements that the XML layer strips only when the dictionary has marks of
    /// them
    /// (`VKTXMLDictionarySettings::markStrippedNodes`), and of a version that is not supported only that.
    static std::shared_ptr<VKTVASTModel> initWithDictionary(
        const VKTDictionary& dictionary, VKTErrorOutput error = nullptr,
        const VKTVASTErrorHandler& errorHandler = vkt_ignoreVASTErrors,
        VKTVASTReadingListener* listener = nullptr);

    /// The same, letting go of each ad's node once it has been read: the tree and the model of a large
    /// document need not be in memory as a whole at the same time.
    static std::shared_ptr<VKTVASTModel> initWithDictionary(
        VKTDictionary&& dictionary, VKTErrorOutput error = nullptr,
        const VKTVASTErrorHandler& errorHandler = vkt_ignoreVASTErrors,
        VKTVASTReadingListener* listener = nullptr);

    /// Null ads are left out.
    static std::shared_ptr<VKTVASTModel> initWithVersion(std::string version, Ads ads,
                                                         std::vector<VKTVASTURL> errorPixels);

    /// Exactly "2.0", "3.0", "4.0", "4.1" or "4.2".
    [[nodiscard]] bool versionIsSupported() const;

    [[nodiscard]] std::size_t sequencedAdsCount() const;
    [[nodiscard]] std::size_t wrapperCount() const;
    [[nodiscard]] bool isAdPod() const { return sequencedAdsCount() > 0; }

    [[nodiscard]] std::shared_ptr<VKTVASTAd> firstAd() const;
    [[nodiscard]] bool isOwnerOf(const VKTVASTAd& ad) const;

    /// The ad after this very object in document order; the first one for null; null when there is none.
    [[nodiscard]] std::shared_ptr<VKTVASTAd> adAfter(const std::shared_ptr<VKTVASTAd>& ad) const;

    /// What to play: of a pod the ads with a sequence, by rising number (document order among equals); else
    /// the first inline ad, or the first ad when there is no inline one.
    [[nodiscard]] Ads mainAds() const;

    /// What to fall back to: of a pod the ads without a sequence; else every ad but the first of the
    /// document, which may include the main ad.
    [[nodiscard]] Ads passbackAds() const;

    [[nodiscard]] const std::string& version() const { return version_; }
    [[nodiscard]] const Ads& ads() const { return ads_; }

    /// The root's error pixels; only of a document without any ad.
    [[nodiscard]] const std::vector<VKTVASTURL>& errorPixels() const { return errorPixels_; }

  private:
    VKTVASTModel() = default;

    template <typename Dictionary>
    static std::shared_ptr<VKTVASTModel> readHeard(Dictionary& dictionary, VKTVASTReadingContext context);
    template <typename Dictionary>
    static std::shared_ptr<VKTVASTModel> read(Dictionary& dictionary, const VKTVASTReadingContext& context);

    std::string version_;
    Ads ads_;
    std::vector<VKTVASTURL> errorPixels_;
};
