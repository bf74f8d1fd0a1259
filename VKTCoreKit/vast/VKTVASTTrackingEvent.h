// A tracking event of a creative ("Tracking" element) or of the ad extension (metric).
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "VKTCoreKit/core/VKTTrackingEvent.h"
#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/foundation/VKTKeyedArchive.h"
#include "VKTCoreKit/vast/VKTVASTElement.h"

/// Whether `Tracking` elements may carry this name (VAST 4.2 and older names): 22 of them.
VKT_EXPORT bool vkt_isAcceptedTrackingEventName(std::string_view name);

/// Logs, at debug level, that an event name is in no list.
VKT_EXPORT void vkt_logUnknownTrackingEventName(std::string_view name);

/// An object with identity, shared between the ad and its tracking managers. What was read never changes and
/// is shared with the copies; any thread may read it. The event offset is each object's own and is set before
/// tracking starts: by one thread at a time, while no other reads it. The events of an ad that was handed
/// over are held by no other ad, so setting theirs disturbs nobody.
class VKT_EXPORT VKTVASTTrackingEvent final : public VKTVideoTrackingEvent {
    struct Private {
        explicit Private() = default;
    };
    struct Content {
        std::string name;
        std::optional<std::string> offset;
        VKTURL url;
        bool isConsumable;
    };
    struct Original;

  public:
    static constexpr const char* archiveClassName = "VKTVASTTrackingEvent";

    /// `offset` is the attribute as written, a time code or a percentage. `eventOffset` is in seconds.
    static std::shared_ptr<VKTVASTTrackingEvent> initWithName(std::string name,
                                                              std::optional<std::string> offset, VKTURL url,
                                                              double eventOffset = -1);

    /// From a `Tracking` node: nothing unless its text is one run that reads as a URL and the name is
    /// accepted.
    static std::shared_ptr<VKTVASTTrackingEvent> initWithDictionary(const VKTVASTElement& element);

    /// From a metric node of the ad extension: only "viewcount" is accepted.
    static std::shared_ptr<VKTVASTTrackingEvent> initWithExtensionDictionary(const VKTVASTElement& element);

    static std::shared_ptr<VKTVASTTrackingEvent> initWithCoder(const VKTKeyedUnarchiver& coder);
    void encodeWithCoder(VKTKeyedArchiver& coder) const;

    /// An event of the same content with an offset of its own, which begins as this one's.
    [[nodiscard]] std::shared_ptr<VKTVASTTrackingEvent> copy() const;

    /// The same without a copy of the content, which both then share.
    static std::shared_ptr<VKTVASTTrackingEvent> copySharingContent(
        const std::shared_ptr<VKTVASTTrackingEvent>& event);

    /// The events of the element's first "TrackingEvents" child in document order; empty when there are none.
    static std::vector<std::shared_ptr<VKTVASTTrackingEvent>> findTrackingEvents(
        const VKTVASTElement& element);

    /// "viewcount" for "viewcount", nothing for any other name.
    static std::optional<std::string> convertExtensionNameToVASTTrackingName(std::string_view name);

    /// False, with a debug message, for a name in no list.
    static bool isEventConsumableFromName(std::string_view name);

    VKTVASTTrackingEvent(Private, const Content& content, std::shared_ptr<const void> contentOwner,
                         double eventOffset);

    [[nodiscard]] const std::string& name() const { return content_->name; }
    [[nodiscard]] const std::optional<std::string>& offset() const { return content_->offset; }
    [[nodiscard]] const VKTURL& url() const { return content_->url; }

    [[nodiscard]] const std::string& eventName() const override { return content_->name; }
    [[nodiscard]] const VKTURL& eventURL() const override { return content_->url; }
    [[nodiscard]] bool isEventConsumable() const override { return content_->isConsumable; }
    [[nodiscard]] double eventOffset() const override { return eventOffset_; }
    void setEventOffset(double seconds) { eventOffset_ = seconds; }

    /// Identity first; otherwise equal names, offsets and URLs, where an absent offset equals nothing, not
    /// even another absent one.
    [[nodiscard]] bool isEqual(const VKTTrackingEvent& other) const override;
    [[nodiscard]] std::size_t hash() const override;

  private:
    static std::shared_ptr<VKTVASTTrackingEvent> eventWithContent(Content&& content, double eventOffset);

    const Content* content_;
    std::shared_ptr<const void> contentOwner_;  // null in the original, which stands beside the content
    double eventOffset_;
};

/// Replaces every event that is held elsewhere too by a copy; equal pointers become equal pointers.
VKT_EXPORT void vkt_copySharedTrackingEvents(std::vector<std::shared_ptr<VKTVASTTrackingEvent>>& events);
