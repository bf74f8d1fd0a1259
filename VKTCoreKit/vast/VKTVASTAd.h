// One ad of a VAST document: inline or wrapper.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "VKTCoreKit/vast/VKTVASTAdExtension.h"
#include "VKTCoreKit/vast/VKTVASTAdVerification.h"
#include "VKTCoreKit/vast/VKTVASTCreativeCompanion.h"
#include "VKTCoreKit/vast/VKTVASTCreativeLinear.h"
#include "VKTCoreKit/vast/VKTVASTCreativeNonLinear.h"
#include "VKTCoreKit/vast/VKTVASTErrorHandler.h"
#include "VKTCoreKit/vast/VKTVASTViewabilityEvent.h"

/// What both kinds share. An object with identity: ads compare by it only. Built once on one thread,
/// afterwards it only grows (`merge`, one thread at a time) and is consumed once (any thread). Shared by its
/// model, the manager and the embedder.
class VKTVASTAd {
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
    /// tracking in an empty creative of their kind. Click-throughs are not taken over.
    void merge(const VKTVASTAd& wrapper);

    /// Whether no blocking error was met while reading.
    [[nodiscard]] virtual bool isValid() const { return !hasTriggeredAParsingError_; }
    [[nodiscard]] virtual bool isInline() const { return false; }
    [[nodiscard]] virtual bool isWrapper() const { return false; }

    /// Where a wrapper leads; nothing for any other ad.
    [[nodiscard]] virtual std::optional<VKTURL> nextActionURL() const { return std::nullopt; }

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
    [[nodiscard]] const Creatives<VKTVASTCreativeCompanion>& companionCreatives() const {
        return companionCreatives_;
    }
    [[nodiscard]] const Creatives<VKTVASTCreativeNonLinear>& nonLinearCreatives() const {
        return nonLinearCreatives_;
    }
    [[nodiscard]] const std::vector<VKTVASTAdVerification>& adVerifications() const {
        return adVerifications_;
    }

    /// Null when the ad has none. After `merge` it may be a wrapper's own, shared.
    [[nodiscard]] const std::shared_ptr<VKTVASTAdExtension>& extensions() const { return extensions_; }
    [[nodiscard]] bool hasTriggeredAParsingError() const { return hasTriggeredAParsingError_; }

    /// 0 for an ad of the document that was asked for; one more than the wrapper's after `merge`.
    [[nodiscard]] std::int64_t wrapperDepth() const { return wrapperDepth_; }

  protected:
    VKTVASTAd() = default;

    /// Reads the "Ad" node: identifier and sequence here, then everything of its content node.
    void read(const VKTDictionary& ad, const VKTDictionary& content, VKTErrorOutput error,
              const VKTVASTErrorHandler& errorHandler);

    /// What only one kind reads, between the extensions and the verifications.
    virtual void readOwnContent(const VKTDictionary& /*content*/) {}

  private:
    void readAttributes(const VKTDictionary& ad);
    void findAdSystem(const VKTDictionary& content, const VKTVASTErrorHandler& errorHandler);
    void findAdTitle(const VKTDictionary& content, const VKTVASTErrorHandler& errorHandler);
    void findViewabilityEvents(const VKTDictionary& content);
    void findCreatives(const VKTDictionary& content, VKTErrorOutput error,
                       const VKTVASTErrorHandler& errorHandler);
    void findCreative(const VKTDictionary& creative, VKTErrorOutput error,
                      const VKTVASTErrorHandler& errorHandler, const VKTVASTErrorHandler& linearErrorHandler);
    void findExtensions(const VKTDictionary& content);
    void findAdVerifications(const VKTDictionary& content);
    void appendVerifications(const VKTDictionary& container);

    std::optional<std::string> adID_;
    std::optional<std::string> adSequence_;
    std::optional<std::string> adSystem_;
    std::optional<std::string> adTitle_;
    std::vector<VKTVASTURL> errorPixels_;
    std::vector<VKTVASTURL> impressions_;
    ViewabilityEvents viewabilityEvents_;
    Creatives<VKTVASTCreativeLinear> linearCreatives_;
    Creatives<VKTVASTCreativeCompanion> companionCreatives_;
    Creatives<VKTVASTCreativeNonLinear> nonLinearCreatives_;
    std::vector<VKTVASTAdVerification> adVerifications_;
    std::shared_ptr<VKTVASTAdExtension> extensions_;
    bool hasTriggeredAParsingError_ = false;
    std::atomic<bool> consumed_ = false;
    std::int64_t wrapperDepth_ = 0;
};

/// An ad that can be played.
class VKTVASTAdInline final : public VKTVASTAd {
  public:
    /// From an "Ad" node. Null when it has no readable "InLine" (`XML_PARSING_ERROR` is then reported and put
    /// in `error`). Other problems are reported and leave an ad, which is invalid after a blocking one.
    static std::shared_ptr<VKTVASTAdInline> initWithDictionary(
        const VKTDictionary& dictionary, VKTErrorOutput error = nullptr,
        const VKTVASTErrorHandler& errorHandler = vkt_ignoreVASTErrors);

    /// Valid as every ad, and with a creative.
    [[nodiscard]] bool isValid() const override;
    [[nodiscard]] bool isInline() const override { return true; }

  private:
    VKTVASTAdInline() = default;
};

/// An ad that leads to another document.
class VKTVASTAdWrapper final : public VKTVASTAd {
  public:
    /// Like the inline ad's, with "Wrapper" and `XML_PARSING_ERROR_WRAPPER`.
    static std::shared_ptr<VKTVASTAdWrapper> initWithDictionary(
        const VKTDictionary& dictionary, VKTErrorOutput error = nullptr,
        const VKTVASTErrorHandler& errorHandler = vkt_ignoreVASTErrors);

    [[nodiscard]] bool isWrapper() const override { return true; }
    [[nodiscard]] std::optional<VKTURL> nextActionURL() const override;

    /// Nothing when "VASTAdTagURI" is missing or unusable; the wrapper is valid all the same.
    [[nodiscard]] const std::optional<VKTVASTURL>& adTagURL() const { return adTagURL_; }

  private:
    VKTVASTAdWrapper() = default;
    void readOwnContent(const VKTDictionary& content) override;

    std::optional<VKTVASTURL> adTagURL_;
};
