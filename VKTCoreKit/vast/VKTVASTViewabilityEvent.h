// A viewability event of an ad ("ViewableImpression" element, VAST 4.2).
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/foundation/VKTKeyedArchive.h"
#include "VKTCoreKit/vast/VKTVASTNamedEvent.h"

/// Immutable, shared between the ad and its viewability tracking; any thread.
class VKT_EXPORT VKTVASTViewabilityEvent final : public VKTVASTNamedEvent {
    struct Private {
        explicit Private() = default;
    };

  public:
    static constexpr const char* archiveClassName = "VKTVASTViewabilityEvent";

    /// Nothing unless the name is "viewable", "notviewable" or "viewundetermined".
    static std::shared_ptr<VKTVASTViewabilityEvent> initWithName(std::string name, VKTURL url);
    static std::shared_ptr<VKTVASTViewabilityEvent> viewableEventWithURL(VKTURL url);
    static std::shared_ptr<VKTVASTViewabilityEvent> notViewableEventWithURL(VKTURL url);
    static std::shared_ptr<VKTVASTViewabilityEvent> viewUndeterminedEventWithURL(VKTURL url);

    static std::shared_ptr<VKTVASTViewabilityEvent> initWithCoder(const VKTKeyedUnarchiver& coder);
    void encodeWithCoder(VKTKeyedArchiver& coder) const;
    [[nodiscard]] std::shared_ptr<VKTVASTViewabilityEvent> copy() const;

    /// True for the three names; false, with a debug message, for any other.
    static bool isEventConsumableFromName(std::string_view name);

    VKTVASTViewabilityEvent(Private, std::string name, VKTURL url);
};
