// From named events to pixels.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/tracking/VKTEventURL.h"
#include "VKTCoreKit/tracking/VKTPixelManager.h"
#include "VKTCoreKit/tracking/VKTTrackingEventFactory.h"
#include "VKTCoreKit/tracking/VKTTrackingEventList.h"

class VKTTrackingEventManager;

/// Hears, on the main thread and before the tracking call returns, what was tracked: each time the pixels
/// first, then their number. It may call the manager back, or let go of it. What it throws goes no further
/// than a line in the log.
class VKT_EXPORT VKTTrackingEventManagerDelegate {
  public:
    virtual ~VKTTrackingEventManagerDelegate() = default;

    /// `count` events of that name; 0 when `trackEvent` found none.
    virtual void trackingEventManager(VKTTrackingEventManager& /*manager*/,
                                      const std::string& /*didTrackEventWithName*/, std::size_t /*count*/) {}

    /// The pixels that those events have made, in the order in which they were added; none when there was no
    /// event. They are in the store; a VKTPixelObserver hears what becomes of them.
    virtual void trackingEventManagerDidTrackEventWithPixels(VKTTrackingEventManager& /*manager*/,
                                                             const std::string& /*eventName*/,
                                                             const VKTPixels& /*pixels*/) {}
};

/// Finds the events of a name, fills their URL templates, hands one pixel each to the pixel manager, and
/// forgets consumable events as they fire. One manager per ad and showing.
///
/// Main thread only: tracking on another thread ends the process with a message, in release builds too.
/// Holds its pixel manager and events, its delegate weakly.
///
/// Macros stand in templates percent-encoded, as "%5BNAME%5D"; values are inserted as they are.
class VKT_EXPORT VKTTrackingEventManager : public std::enable_shared_from_this<VKTTrackingEventManager> {
  public:
    /// Without a pixel manager, the shared one.
    static std::shared_ptr<VKTTrackingEventManager> initWithEventFactory(
        const VKTTrackingEventFactory& eventFactory, VKTReplacements macros,
        const std::shared_ptr<VKTTrackingEventManagerDelegate>& delegate,
        std::shared_ptr<VKTPixelManager> pixelManager = nullptr);

    virtual ~VKTTrackingEventManager() = default;
    VKTTrackingEventManager(const VKTTrackingEventManager&) = delete;
    VKTTrackingEventManager& operator=(const VKTTrackingEventManager&) = delete;

    /// Fires every event of that name, the last in the list first, has the pixels called once, and tells the
    /// delegate how many there were. False when there was none.
    bool trackEvent(std::string_view eventName, const VKTReplacements& variables,
                    const VKTReplacements& additionalMacros = {});

    /// Fires one event and tells the delegate. The form that subclasses override.
    virtual void trackEventByReference(const std::shared_ptr<VKTTrackingEvent>& event,
                                       const VKTReplacements& variables,
                                       const VKTReplacements& additionalMacros, bool callPixelsImmediately);

    /// Fires one event. Does nothing but log when neither it nor an equal one is, or still is, in `events`. A
    /// consumable event leaves them by itself; only when it is not there, an equal one leaves in its place.
    void trackEventByReference(const std::shared_ptr<VKTTrackingEvent>& event,
                               const VKTReplacements& variables, const VKTReplacements& additionalMacros,
                               bool callPixelsImmediately, bool shouldCallDelegate);

    /// The template with its macros and variables filled; the template itself when that gives no valid URL.
    [[nodiscard]] VKTURL finalEventURLWithURL(const VKTURL& url, const VKTReplacements& variables,
                                              const VKTReplacements& additionalMacros) const;

    /// The manager's own macros first, which therefore win over additional ones of the same name. Nothing
    /// when the result is not a valid URL.
    [[nodiscard]] std::optional<VKTURL> eventURLWithMacrosReplacedFromTemplateURL(
        const VKTURL& url, const VKTReplacements& additionalMacros) const;
    [[nodiscard]] static std::optional<VKTURL> eventURLWithKorvoVariablesReplacedFromTemplateURL(
        const VKTURL& url, const VKTReplacements& variables);

    /// "$name" for the variable "${name}" gives "$" and the value: the prefix stays, on purpose. A string
    /// that would become too long stays as it is.
    [[nodiscard]] static std::string string(std::string string, std::string_view byReplacingVariable,
                                            std::string_view withValue);
    [[nodiscard]] static std::string plainVariableFromVariable(std::string_view variable);
    [[nodiscard]] static std::optional<std::string> replacedVariable(std::string_view variable,
                                                                     std::string_view withValue);

    [[nodiscard]] const VKTTrackingEventList& events() const { return events_; }
    [[nodiscard]] const VKTReplacements& macros() const { return macros_; }
    [[nodiscard]] const std::shared_ptr<VKTPixelManager>& pixelManager() const { return pixelManager_; }
    [[nodiscard]] std::shared_ptr<VKTTrackingEventManagerDelegate> delegate() const {
        return delegate_.lock();
    }

  protected:
    VKTTrackingEventManager(const VKTTrackingEventFactory& eventFactory, VKTReplacements macros,
                            const std::shared_ptr<VKTTrackingEventManagerDelegate>& delegate,
                            std::shared_ptr<VKTPixelManager> pixelManager);

    /// While it lives, the pixels of fired events go into the store without saving it; its end saves it once
    /// and has them called. Each saving writes the whole list, so one for each event would cost the square.
    class Walk {
      public:
        explicit Walk(VKTTrackingEventManager& manager) : manager_(manager) { ++manager_.walks_; }
        ~Walk();
        Walk(const Walk&) = delete;
        Walk& operator=(const Walk&) = delete;

      private:
        VKTTrackingEventManager& manager_;
    };

    /// What a subclass knows of one URL; it goes over what the caller gave. Empty here, and when it throws.
    [[nodiscard]] virtual VKTReplacements macrosForURL(const VKTURL& /*url*/) const { return {}; }
    [[nodiscard]] virtual VKTReplacements variablesForURL(const VKTURL& /*url*/) const { return {}; }

  private:
    [[nodiscard]] VKTFilledEventURL filledURL(const VKTURL& url, const VKTReplacements& variables,
                                              const VKTReplacements& additionalMacros) const;

    /// The pixel of an event that is among `events_`, which is kept alive for this; null for another.
    std::shared_ptr<VKTPixel> fire(const VKTTrackingEvent& event, const VKTReplacements& variables,
                                   const VKTReplacements& additionalMacros);
    void addPixel(const std::shared_ptr<VKTPixel>& pixel);
    void tellDelegate(const std::string& eventName, std::size_t count, const VKTPixels& pixels);

    VKTTrackingEventList events_;
    std::size_t walks_ = 0;  // under way, one within the other when a delegate tracks
    bool isStoreUnsaved_ = false;
    const VKTReplacements macros_;
    const std::shared_ptr<VKTPixelManager> pixelManager_;
    const std::weak_ptr<VKTTrackingEventManagerDelegate> delegate_;
};
