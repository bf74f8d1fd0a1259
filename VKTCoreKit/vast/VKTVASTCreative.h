// The common base of the creatives of a VAST ad.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/vast/VKTVASTElement.h"
#include "VKTCoreKit/vast/VKTVASTMergeBudget.h"
#include "VKTCoreKit/vast/VKTVASTTrackingEvent.h"
#include "VKTCoreKit/vast/VKTVASTUniversalAdId.h"

/// Creatives kept per kind and ad; further ones are dropped. Real ads have fewer than ten.
inline constexpr std::size_t VKTVASTCreativeLimit = 256;

/// Universal ad identifiers kept per creative; further ones are dropped. Real creatives have one or two.
inline constexpr std::size_t VKTVASTUniversalAdIdLimit = 256;

/// Tracking events and click-tracking URLs that a creative may have after those of a wrapper, or of the
/// element around several non-linear creatives, were added to it; what would exceed them is dropped.
inline constexpr std::size_t VKTVASTMergedTrackingEventLimit = 65536;
inline constexpr std::size_t VKTVASTMergedClickTrackingLimit = 4096;

/// Tracking and clicks. An object with identity, built once and afterwards only extended, on one thread,
/// until its ad is handed over.
class VKT_EXPORT VKTVASTCreative {
  public:
    using TrackingEvents = std::vector<std::shared_ptr<VKTVASTTrackingEvent>>;

    virtual ~VKTVASTCreative() = default;

    /// Everything empty: a holder for a wrapper's tracking.
    static std::shared_ptr<VKTVASTCreative> initEmptyCreative();

    /// The base reads nothing from the node: it only makes the empty lists.
    static std::shared_ptr<VKTVASTCreative> initWithDictionary(const VKTDictionary& dictionary,
                                                               VKTErrorOutput error,
                                                               const VKTVASTErrorHandler& errorHandler,
                                                               bool isWrapper);

    /// Whether the ad has no creative of this kind, and merging made this one, which shows nothing, to hold
    /// the tracking of wrappers.
    [[nodiscard]] bool isHolder() const { return isHolder_; }
    void setIsHolder() { isHolder_ = true; }

    /// Appends each identifier that is not already there, up to `VKTVASTUniversalAdIdLimit`.
    void addUniversalAdIds(const std::vector<VKTVASTUniversalAdId>& ids);

    /// The same for those of a "Creative" element.
    void addUniversalAdIdsOf(const VKTVASTElement& creative);

    /// Null events are left out, here and below.
    void addTrackingEvents(TrackingEvents events);

    /// Appends events that several creatives share, up to `VKTVASTMergedTrackingEventLimit`.
    void addSharedTrackingEvents(TrackingEvents events);

    /// The same, as far as the tally allows.
    void addSharedTrackingEvents(const TrackingEvents& events, VKTVASTMergeTally& tally);

    /// Appends a wrapper creative's tracking events and click tracking, up to the limits above and as far as
    /// the tally allows.
    void addTrackingOf(const VKTVASTCreative& wrapperCreative, VKTVASTMergeTally& tally);

    /// Copies the tracking events that others hold too, so that this creative's offsets are its own.
    void copySharedTrackingEvents() { vkt_copySharedTrackingEvents(trackingEvents_); }

    /// False here; each kind decides.
    [[nodiscard]] virtual bool isValidForWrapper(bool isWrapper) const;

    [[nodiscard]] const TrackingEvents& trackingEvents() const { return trackingEvents_; }
    [[nodiscard]] const std::optional<VKTVASTURL>& clickThrough() const { return clickThrough_; }
    [[nodiscard]] const std::vector<VKTVASTURL>& clickTracking() const { return clickTracking_; }
    [[nodiscard]] const std::vector<VKTVASTUniversalAdId>& universalAdIds() const { return universalAdIds_; }

    /// "id" and "adId" of the "Creative" element around it, as written; before VAST 4 "AdID".
    [[nodiscard]] const std::optional<std::string>& creativeId() const { return creativeId_; }
    [[nodiscard]] const std::optional<std::string>& adId() const { return adId_; }
    void findIds(const VKTVASTElement& creative);

  protected:
    VKTVASTCreative() = default;

    /// Reads the first child of that name as the click-through; it stays what it was when none builds.
    void findClickThrough(const VKTVASTElement& element, std::string_view name);

    /// Appends the URLs of the children of that name.
    void findClickTracking(const VKTVASTElement& element, std::string_view name) {
        element.appendVASTURLs(name, clickTracking_);
    }

  private:
    enum class Addition { Added, Repeated, BeyondLimit };
    Addition addUniversalAdId(const VKTVASTUniversalAdId& id);

    TrackingEvents trackingEvents_;
    std::optional<VKTVASTURL> clickThrough_;
    std::vector<VKTVASTURL> clickTracking_;
    std::vector<VKTVASTUniversalAdId> universalAdIds_;
    std::optional<std::string> creativeId_;
    std::optional<std::string> adId_;
    bool isHolder_ = false;
};
