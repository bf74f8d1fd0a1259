#include "VKTCoreKit/tracking/VKTTrackingEventManager.h"

#include <algorithm>
#include <utility>

#include "VKTCoreKit/core/VKTLog.h"
#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/platform/VKTGuardedCall.h"
#include "VKTCoreKit/tracking/detail/VKTMainThread.h"

namespace {

bool replaceVariable(std::string& text, std::string_view variable, std::string_view value) {
    const auto replacement = VKTTrackingEventManager::replacedVariable(variable, value);
    return !replacement ||
           vkt_replaceWithinLimit(text, VKTTrackingEventManager::plainVariableFromVariable(variable),
                                  *replacement);
}

// Nothing when it would become too long.
std::optional<std::string> textByReplacingVariables(const VKTURL& url, const VKTReplacements& variables) {
    std::string text = url.absoluteString();
    for (const auto& [variable, value] : variables) {
        if (!replaceVariable(text, variable, value)) return std::nullopt;
    }
    return text;
}

}  // namespace

std::shared_ptr<VKTTrackingEventManager> VKTTrackingEventManager::initWithEventFactory(
    const VKTTrackingEventFactory& eventFactory, VKTReplacements macros,
    const std::shared_ptr<VKTTrackingEventManagerDelegate>& delegate,
    std::shared_ptr<VKTPixelManager> pixelManager) {
    return std::shared_ptr<VKTTrackingEventManager>(
        new VKTTrackingEventManager(eventFactory, std::move(macros), delegate, std::move(pixelManager)));
}

VKTTrackingEventManager::VKTTrackingEventManager(
    const VKTTrackingEventFactory& eventFactory, VKTReplacements macros,
    const std::shared_ptr<VKTTrackingEventManagerDelegate>& delegate,
    std::shared_ptr<VKTPixelManager> pixelManager)
    : events_(eventFactory.trackingEvents()),
      macros_(std::move(macros)),
      pixelManager_(pixelManager ? std::move(pixelManager)
                                 : std::shared_ptr<VKTPixelManager>(VKTPixelManager::sharedInstance())),
      delegate_(delegate) {}

bool VKTTrackingEventManager::trackEvent(std::string_view eventName, const VKTReplacements& variables,
                                         const VKTReplacements& additionalMacros) {
    vkt_requireMainThread("trackEvent");
    const auto self = shared_from_this();  // the delegate may let go of it
    const std::string name(eventName);
    VKTTrackingEvents selection;
    for (const auto& event : events_) {
        if (event->eventName() == name) selection.push_back(event);
    }
    std::reverse(selection.begin(), selection.end());
    VKTPixels pixels;
    if (!selection.empty()) {
        const Walk walk(*this);
        for (const auto& event : selection) {
            if (auto pixel = fire(*event, variables, additionalMacros)) pixels.push_back(std::move(pixel));
        }
    }
    tellDelegate(name, selection.size(), pixels);
    return !selection.empty();
}

void VKTTrackingEventManager::trackEventByReference(const std::shared_ptr<VKTTrackingEvent>& event,
                                                    const VKTReplacements& variables,
                                                    const VKTReplacements& additionalMacros,
                                                    bool callPixelsImmediately) {
    trackEventByReference(event, variables, additionalMacros, callPixelsImmediately, true);
}

void VKTTrackingEventManager::trackEventByReference(const std::shared_ptr<VKTTrackingEvent>& event,
                                                    const VKTReplacements& variables,
                                                    const VKTReplacements& additionalMacros,
                                                    bool callPixelsImmediately, bool shouldCallDelegate) {
    vkt_requireMainThread("trackEventByReference");
    if (!event) return;
    const auto self = shared_from_this();  // the delegate may let go of it
    // The caller's reference may be into the list.
    const auto fired = event;  // NOLINT(performance-unnecessary-copy-initialization)
    const auto pixel = fire(*fired, variables, additionalMacros);
    if (!pixel) return;
    if (callPixelsImmediately) pixelManager_->callPixels();
    if (shouldCallDelegate) tellDelegate(fired->eventName(), 1, {pixel});
}

std::shared_ptr<VKTPixel> VKTTrackingEventManager::fire(const VKTTrackingEvent& event,
                                                        const VKTReplacements& variables,
                                                        const VKTReplacements& additionalMacros) {
    const VKTURL& url = event.eventURL();
    if (!events_.contains(event)) {
        VKTLog::sharedInstance()->logDebugWithFormat(
            "Event tracking cancelled because the event was not contained in the events array: '%@'!",
            url.absoluteString());
        pixelManager_->tellObserver({url, event.eventName(), VKTEventURLOfGoneEvent});
        return nullptr;
    }
    auto filled = filledURL(url, variables, additionalMacros);
    // Before the pixel manager's observer hears of it: one that tracks must not fire it again.
    if (event.isEventConsumable()) events_.remove(event);
    if (filled.problem) pixelManager_->tellObserver({url, event.eventName(), *filled.problem, true});
    auto pixel = VKTPixel::initWithUrl(std::move(filled.url), event.eventName());
    addPixel(pixel);
    return pixel;
}

void VKTTrackingEventManager::tellDelegate(const std::string& eventName, std::size_t count,
                                           const VKTPixels& pixels) {
    const auto listener = delegate();
    if (!listener) return;
    vkt_callGuarded("the delegate of a tracking event manager",
                    [&] { listener->trackingEventManagerDidTrackEventWithPixels(*this, eventName, pixels); });
    vkt_callGuarded("the delegate of a tracking event manager",
                    [&] { listener->trackingEventManager(*this, eventName, count); });
}

VKTTrackingEventManager::Walk::~Walk() {
    --manager_.walks_;
    if (std::exchange(manager_.isStoreUnsaved_, false)) manager_.pixelManager_->savePixels();
    manager_.pixelManager_->callPixels();
}

void VKTTrackingEventManager::addPixel(const std::shared_ptr<VKTPixel>& pixel) {
    if (walks_ == 0) {
        pixelManager_->addPixel(pixel);
    } else if (pixelManager_->addPixelWithoutSaving(pixel)) {
        isStoreUnsaved_ = true;
    }
}

VKTURL VKTTrackingEventManager::finalEventURLWithURL(const VKTURL& url, const VKTReplacements& variables,
                                                     const VKTReplacements& additionalMacros) const {
    return filledURL(url, variables, additionalMacros).url;
}

VKTFilledEventURL VKTTrackingEventManager::filledURL(const VKTURL& url, const VKTReplacements& variables,
                                                     const VKTReplacements& additionalMacros) const {
    VKTReplacements macroSet;
    vkt_callGuarded("macrosForURL", [&] { macroSet = macrosForURL(url); });
    macroSet.insert(additionalMacros.begin(), additionalMacros.end());
    auto withMacros = vkt_filledEventURL(url, "macros", vkt_textByReplacingMacros(url, macros_, macroSet));
    if (withMacros.problem) return withMacros;
    VKTReplacements variableSet;
    vkt_callGuarded("variablesForURL", [&] { variableSet = variablesForURL(url); });
    variableSet.insert(variables.begin(), variables.end());
    if (variableSet.empty()) return withMacros;
    return vkt_filledEventURL(url, "variables", textByReplacingVariables(withMacros.url, variableSet));
}

std::optional<VKTURL> VKTTrackingEventManager::eventURLWithMacrosReplacedFromTemplateURL(
    const VKTURL& url, const VKTReplacements& additionalMacros) const {
    return vkt_URLByReplacingMacros(url, macros_, additionalMacros);
}

std::optional<VKTURL> VKTTrackingEventManager::eventURLWithKorvoVariablesReplacedFromTemplateURL(
    const VKTURL& url, const VKTReplacements& variables) {
    if (variables.empty()) return url;
    const auto text = textByReplacingVariables(url, variables);
    return text ? VKTURL::URLWithString(*text) : std::nullopt;
}

std::string VKTTrackingEventManager::string(std::string string, std::string_view byReplacingVariable,
                                            std::string_view withValue) {
    replaceVariable(string, byReplacingVariable, withValue);
    return string;
}

std::string VKTTrackingEventManager::plainVariableFromVariable(std::string_view variable) {
    std::string plain(variable);
    std::erase_if(plain, [](char c) { return c == '{' || c == '}'; });
    return plain;
}

std::optional<std::string> VKTTrackingEventManager::replacedVariable(std::string_view variable,
                                                                     std::string_view withValue) {
    const auto outer = vkt_split(variable, '{');
    if (outer.size() != 2) return std::nullopt;
    const auto inner = vkt_split(outer[1], '}');
    if (inner.size() != 2) return std::nullopt;
    return std::string(outer[0]).append(withValue).append(inner[1]);
}
