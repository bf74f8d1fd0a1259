// What the events that are a name and a URL have in common.
#pragma once

#include <cstddef>
#include <string>

#include "VKTCoreKit/core/VKTTrackingEvent.h"
#include "VKTCoreKit/foundation/VKTExport.h"

/// Base of event classes that accept a closed list of names, all of them consumable. Immutable; any thread.
class VKT_EXPORT VKTVASTNamedEvent : public VKTTrackingEvent {
  public:
    [[nodiscard]] const std::string& name() const { return name_; }
    [[nodiscard]] const VKTURL& url() const { return url_; }

    [[nodiscard]] const std::string& eventName() const override { return name_; }
    [[nodiscard]] const VKTURL& eventURL() const override { return url_; }
    [[nodiscard]] bool isEventConsumable() const override { return true; }

    /// The same class, equal names and URLs.
    [[nodiscard]] bool isEqual(const VKTTrackingEvent& other) const override;
    [[nodiscard]] std::size_t hash() const override;

  protected:
    VKTVASTNamedEvent(std::string name, VKTURL url);

  private:
    std::string name_;
    VKTURL url_;
};
