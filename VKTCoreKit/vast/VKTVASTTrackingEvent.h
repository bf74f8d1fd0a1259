// A tracking event of a creative ("Tracking" element) or of the ad extension (metric).
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "VKTCoreKit/core/VKTTrackingEvent.h"
#include "VKTCoreKit/foundation/VKTKeyedArchive.h"

/// Whether `Tracking` elements may carry this name (VAST 4.2 and older names): 22 of them.
bool vkt_isAcceptedTrackingEventName(std::string_view name);

/// Logs, at debug level, that an event name is in no list.
void vkt_logUnknownTrackingEventName(std::string_view name);

/// An object with identity, shared between the ad and its tracking managers. Immutable but for the event
/// offset, which is set before tracking starts.
class VKTVASTTrackingEvent final : public VKTVideoTrackingEvent {
    struct Private {
        explicit Private() = default;
    };

  public:
    static constexpr const char* archiveClassName = "VKTVASTTrackingEvent";

    /// `offset` is the attribute as written, a time code or a percentage. `eventOffset` is in seconds.
    static std::shared_ptr<VKTVASTTrackingEvent> initWithName(std::string name,
                                                              std::optional<std::string> offset, VKTURL url,
                                                              double eventOffset = -1);

    /// From a `Tracking` node: nothing unless its text is one run that reads as a URL and the name is
    /// accepted.
    static std::shared_ptr<VKTVASTTrackingEvent> initWithDictionary(const VKTValue& value);

    /// From a metric node of the ad extension: only "viewcount" is accepted.
    static std::shared_ptr<VKTVASTTrackingEvent> initWithExtensionDictionary(const VKTValue& value);

    static std::shared_ptr<VKTVASTTrackingEvent> initWithCoder(const VKTKeyedUnarchiver& coder);
    void encodeWithCoder(VKTKeyedArchiver& coder) const;
    [[nodiscard]] std::shared_ptr<VKTVASTTrackingEvent> copy() const;

    /// The events of the node's first "TrackingEvents" child in document order; empty when there are none.
    static std::vector<std::shared_ptr<VKTVASTTrackingEvent>> findTrackingEvents(const VKTDictionary& node);

    /// "viewcount" for "viewcount", nothing for any other name.
    static std::optional<std::string> convertExtensionNameToVASTTrackingName(std::string_view name);

    /// False, with a debug message, for a name in no list.
    static bool isEventConsumableFromName(std::string_view name);

    VKTVASTTrackingEvent(Private, std::string name, std::optional<std::string> offset, VKTURL url,
                         double eventOffset, bool isEventConsumable);

    [[nodiscard]] const std::string& name() const { return name_; }
    [[nodiscard]] const std::optional<std::string>& offset() const { return offset_; }
    [[nodiscard]] const VKTURL& url() const { return url_; }

    [[nodiscard]] const std::string& eventName() const override { return name_; }
    [[nodiscard]] const VKTURL& eventURL() const override { return url_; }
    [[nodiscard]] bool isEventConsumable() const override { return isEventConsumable_; }
    [[nodiscard]] double eventOffset() const override { return eventOffset_; }
    void setEventOffset(double seconds) { eventOffset_ = seconds; }

    /// Identity first; otherwise equal names, offsets and URLs, where an absent offset equals nothing, not
    /// even another absent one.
    [[nodiscard]] bool isEqual(const VKTTrackingEvent& other) const override;
    [[nodiscard]] std::size_t hash() const override;

  private:
    std::string name_;
    std::optional<std::string> offset_;
    VKTURL url_;
    double eventOffset_;
    bool isEventConsumable_;
};
