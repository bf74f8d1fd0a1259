// One ad of a VAST document: inline or wrapper.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/vast/VKTVASTAdExtension.h"
#include "VKTCoreKit/vast/VKTVASTAdVerification.h"
#include "VKTCoreKit/vast/VKTVASTCreativeCompanion.h"
#include "VKTCoreKit/vast/VKTVASTCreativeLinear.h"
#include "VKTCoreKit/vast/VKTVASTCreativeNonLinear.h"
#include "VKTCoreKit/vast/VKTVASTErrorHandler.h"
#include "VKTCoreKit/vast/VKTVASTMergeBudget.h"
#include "VKTCoreKit/vast/VKTVASTReading.h"
#include "VKTCoreKit/vast/VKTVASTViewabilityEvent.h"

/// Copies of a non-linear creative's tracking events that one document may give to its other non-linear
/// creatives, because several elements stand under one list of events. Further ones are dropped.
inline constexpr std::size_t VKTVASTDocumentSharedEventLimit = 16384;

/// What both kinds share. An object with identity: ads compare by it only. Built once on one thread,
/// afterwards it grows (`merge`, on one thread together with all ads below the same wrapper) until
/// `prepareForDelivery`; from then on nothing in the library changes it but the tracking of this ad, and its
/// holder may read it on any thread. It is consumed once, on any thread. Shared by its model, the manager and
/// the embedder.
class VKT_EXPORT VKTVASTAd {
  public:
    using ViewabilityEvents = std::vector<std::shared_ptr<VKTVASTViewabilityEvent>>;
    template <typename Creative>
    using Creatives = std::vector<std::shared_ptr<Creative>>;

    /// A plain ad, of neither kind, from an "Ad" node: identifier and sequence, every list empty. Never null,
    /// whatever stands in the node; nothing is reported.
    static std::shared_ptr<VKTVASTAd> initWithDictionary(
        const VKTDictionary& dictionary, VKTErrorOutput error = nullptr,
        const VKTVASTErrorHandler& errorHandler = vkt_ignoreVASTErrors);

    virtual ~VKTVASTAd() = default;
    VKTVASTAd(const VKTVASTAd&) = delete;
    VKTVASTAd& operator=(const VKTVASTAd&) = delete;

    /// Whether the sequence attribute is there and not empty.
    [[nodiscard]] bool hasSequence() const { return adSequence_ && !adSequence_->empty(); }

    /// Marks the ad as used. True for the one call that did it. Any thread.
    bool consume() { return !consumed_.exchange(true); }
    [[nodiscard]] bool hasBeenConsumed() const { return consumed_; }

    /// Folds a wrapper that led to this ad into it: error pixels, impressions, viewability events, creatives'
    /// tracking and click tracking, metrics, verifications. Creatives that only the wrapper has leave their
    /// tracking in an empty creative of their kind. Click-throughs are not taken over. What the budget does
    /// not allow is left out, in that order; the budget's first such merge is logged. Without a budget: with
    /// one of its own. The wrapper's listener hears what is left out of the wrapper, this ad's when its
    /// extensions give way to the wrapper's.
    void merge(const VKTVASTAd& wrapper, VKTVASTMergeBudget& budget);
    void merge(const VKTVASTAd& wrapper);

    /// Makes the ad independent of the ads it was merged with: it gets an extension with metrics of its own,
    /// and each creative tracking events of its own, so that later merges and other ads' offsets change
    /// nothing here. Viewability and verification events never change and stay shared. The copy of the
    /// extension is charged to the budget; an ad for which nothing is left has fewer metrics, or no
    /// extension, which is logged like `merge`. After the last merge, before the ad is given away; on the
    /// thread that merges.
    void prepareForDelivery(VKTVASTMergeBudget& budget);

    /// Whether no blocking error was met while reading.
    [[nodiscard]] virtual bool isValid() const { return !hasTriggeredAParsingError_; }

    /// Why the ad is not valid, half a sentence: "its media files are video/webm, which is not playable".
    /// Empty for a valid one.
    [[nodiscard]] std::string invalidReason() const;

    [[nodiscard]] virtual bool isInline() const { return false; }
    [[nodiscard]] virtual bool isWrapper() const { return false; }

    /// Where a wrapper leads; nothing for any other ad.
    [[nodiscard]] virtual std::optional<VKTURL> nextActionURL() const { return std::nullopt; }

    /// The path of its content, "/VAST/Ad[2]/Wrapper"; empty unless somebody listened to the reading.
    void setPathInDocument(std::string path) { pathInDocument_ = std::move(path); }
    [[nodiscard]] const std::string& pathInDocument() const { return pathInDocument_; }

    /// Who listens to the ad's document; null by default. Held until `prepareForDelivery`, and called by the
    /// thread that merges the ad.
    void setReadingListener(std::shared_ptr<VKTVASTReadingListener> listener) {
        readingListener_ = std::move(listener);
    }
    [[nodiscard]] const std::shared_ptr<VKTVASTReadingListener>& readingListener() const {
        return readingListener_;
    }

    [[nodiscard]] const std::optional<std::string>& adID() const { return adID_; }

    /// As written, but a text whose number is 0 becomes "2147483647": the ad then sorts after every numbered
    /// one.
    [[nodiscard]] const std::optional<std::string>& adSequence() const { return adSequence_; }
    [[nodiscard]] const std::optional<std::string>& adSystem() const { return adSystem_; }
    [[nodiscard]] const std::optional<std::string>& adTitle() const { return adTitle_; }
    [[nodiscard]] const std::vector<VKTVASTURL>& errorPixels() const { return errorPixels_; }
    [[nodiscard]] const std::vector<VKTVASTURL>& impressions() const { return impressions_; }
    [[nodiscard]] const ViewabilityEvents& viewabilityEvents() const { return viewabilityEvents_; }
    [[nodiscard]] const Creatives<VKTVASTCreativeLinear>& linearCreatives() const { return linearCreatives_; }
    /// What the document lists and this library cannot play, since they have no usable media file
    /// (`VKTVASTCreativeLinear::mediaFilesProblem`); `VKTVASTCreativeLimit` of them.
    [[nodiscard]] const Creatives<VKTVASTCreativeLinear>& refusedLinearCreatives() const {
        return refusedLinearCreatives_;
    }
    [[nodiscard]] const Creatives<VKTVASTCreativeCompanion>& companionCreatives() const {
        return companionCreatives_;
    }
    [[nodiscard]] const Creatives<VKTVASTCreativeNonLinear>& nonLinearCreatives() const {
        return nonLinearCreatives_;
    }
    [[nodiscard]] const std::vector<VKTVASTAdVerification>& adVerifications() const {
        return adVerifications_;
    }

    /// What is to be measured: `adVerifications`, then those that stand in extensions alone, of the ad and of
    /// the wrappers that led to it. Servers write a vendor into both for players of any age; it is there
    /// once: one of a document's extensions is left out when the document's own have a script of its vendor,
    /// or, where one of the two names none, the same script.
    [[nodiscard]] std::vector<VKTVASTAdVerification> allAdVerifications() const;

    /// Null when the ad has none. After `merge` it may be a wrapper's own, shared, until
    /// `prepareForDelivery`.
    [[nodiscard]] const std::shared_ptr<VKTVASTAdExtension>& extensions() const { return extensions_; }
    [[nodiscard]] bool hasTriggeredAParsingError() const { return hasTriggeredAParsingError_; }

    /// 0 for an ad of the document that was asked for; one more than the wrapper's after `merge`.
    [[nodiscard]] std::int64_t wrapperDepth() const { return wrapperDepth_; }

  protected:
    VKTVASTAd() = default;

    /// Reads the "Ad" element: identifier and sequence here, then everything of its content element. A null
    /// budget means one of its own.
    void read(const VKTVASTElement& ad, const VKTVASTElement& content, const VKTVASTReadingContext& context,
              VKTVASTMergeBudget* sharedEventBudget);

    /// What only one kind reads.
    virtual void readOwnContent(const VKTVASTElement& /*content*/) {}

  private:
    void readAttributes(const VKTVASTElement& ad);
    void findAdSystem(const VKTVASTElement& content, const VKTVASTErrorHandler& errorHandler);
    void findAdTitle(const VKTVASTElement& content, const VKTVASTErrorHandler& errorHandler);
    void findViewabilityEvents(const VKTVASTElement& content);
    void findCreatives(const VKTVASTElement& content, const VKTVASTReadingContext& context,
                       VKTVASTMergeTally& tally);
    void findCreative(const VKTVASTElement& creative, const VKTVASTReadingContext& context,
                      const VKTVASTReadingContext& linearContext, VKTVASTMergeTally& tally);
    void findLinear(const VKTVASTElement& creative, const VKTVASTReadingContext& context);
    void shareNonLinearEvents(const VKTVASTElement& container, VKTVASTMergeTally& tally);
    void mergeExtension(const VKTVASTAd& wrapper, VKTVASTMergeTally& tally);
    void copySharedExtension(VKTVASTMergeTally& tally);
    void findVerificationsAndExtensions(const VKTVASTElement& content);
    void findExtensionVerifications();
    void mergeVerifications(const VKTVASTAd& wrapper, VKTVASTMergeTally& tally);
    void tellDropped(const VKTVASTMergeTally& tally, const char* when) const;

    std::optional<std::string> adID_;
    std::optional<std::string> adSequence_;
    std::optional<std::string> adSystem_;
    std::optional<std::string> adTitle_;
    std::vector<VKTVASTURL> errorPixels_;
    std::vector<VKTVASTURL> impressions_;
    ViewabilityEvents viewabilityEvents_;
    Creatives<VKTVASTCreativeLinear> linearCreatives_;
    Creatives<VKTVASTCreativeLinear> refusedLinearCreatives_;
    Creatives<VKTVASTCreativeCompanion> companionCreatives_;
    Creatives<VKTVASTCreativeNonLinear> nonLinearCreatives_;
    std::vector<VKTVASTAdVerification> adVerifications_;
    std::vector<VKTVASTAdVerification> extensionVerifications_;  // that are not among those
    std::shared_ptr<VKTVASTAdExtension> extensions_;
    std::string pathInDocument_;
    std::shared_ptr<VKTVASTReadingListener> readingListener_;
    bool hasTriggeredAParsingError_ = false;
    bool hasCreatives_ = false;  // a "Creatives" element, whatever is in it
    std::atomic<bool> consumed_ = false;
    std::int64_t wrapperDepth_ = 0;
};

/// An ad that can be played.
class VKT_EXPORT VKTVASTAdInline final : public VKTVASTAd {
  public:
    /// From an "Ad" node. Null when it has no readable "InLine" (`XML_PARSING_ERROR` is then reported and put
    /// in `error`). Other problems are reported and leave an ad, which is invalid after a blocking one. The
    /// budget is that of the ad's document for events that several non-linear creatives share; null: one of
    /// the ad's own.
    static std::shared_ptr<VKTVASTAdInline> initWithDictionary(
        const VKTDictionary& dictionary, VKTErrorOutput error = nullptr,
        const VKTVASTErrorHandler& errorHandler = vkt_ignoreVASTErrors,
        VKTVASTMergeBudget* sharedEventBudget = nullptr);
    static std::shared_ptr<VKTVASTAdInline> initWithElement(const VKTVASTElement& ad,
                                                            const VKTVASTReadingContext& context,
                                                            VKTVASTMergeBudget* sharedEventBudget);

    /// Valid as every ad, and with a creative.
    [[nodiscard]] bool isValid() const override;
    [[nodiscard]] bool isInline() const override { return true; }

  private:
    VKTVASTAdInline() = default;
};

/// An ad that leads to another document.
class VKT_EXPORT VKTVASTAdWrapper final : public VKTVASTAd {
  public:
    /// Like the inline ad's, with "Wrapper" and `XML_PARSING_ERROR_WRAPPER`.
    static std::shared_ptr<VKTVASTAdWrapper> initWithDictionary(
        const VKTDictionary& dictionary, VKTErrorOutput error = nullptr,
        const VKTVASTErrorHandler& errorHandler = vkt_ignoreVASTErrors,
        VKTVASTMergeBudget* sharedEventBudget = nullptr);
    static std::shared_ptr<VKTVASTAdWrapper> initWithElement(const VKTVASTElement& ad,
                                                             const VKTVASTReadingContext& context,
                                                             VKTVASTMergeBudget* sharedEventBudget);

    [[nodiscard]] bool isWrapper() const override { return true; }
    [[nodiscard]] std::optional<VKTURL> nextActionURL() const override;

    /// Nothing when "VASTAdTagURI" is missing or unusable; the wrapper is valid all the same.
    [[nodiscard]] const std::optional<VKTVASTURL>& adTagURL() const { return adTagURL_; }

  private:
    VKTVASTAdWrapper() = default;
    void readOwnContent(const VKTVASTElement& content) override;

    std::optional<VKTVASTURL> adTagURL_;
};
