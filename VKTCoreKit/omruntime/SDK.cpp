#include "VKTCoreKit/omruntime/SDK.h"

#include <utility>

#include "VKTCoreKit/foundation/VKTFrameworkConstants.h"
#include "VKTCoreKit/omruntime/detail/SessionRegistry.h"
#include "VKTCoreKit/platform/VKTPlatform.h"

namespace OMIDKorvonet1 {

struct SDK::State {
    bool isActive = false;
    std::optional<VKTDate> lastActivity;
    std::shared_ptr<VKTURLSession> URLSession = VKTURLSession::sharedInstance();
    std::weak_ptr<MeasurementObserver> observer;
    bool trustsScripts = false;
    bool allowsMissingSystemCallFilter = false;
    SDKLimits limits;
    std::string scriptHostPath;
    SessionRegistry registry;
};

SDK::SDK() : state_(std::make_unique<State>()) {}
SDK::~SDK() = default;

SDK& SDK::sharedInstance() {
    static auto* instance = new SDK;
    return *instance;
}

bool SDK::activate() {
    state_->isActive = true;
    return true;
}
bool SDK::isActive() const {
    return state_->isActive;
}

std::string SDK::versionString() {
    return VKTFrameworkVersionString;
}

void SDK::updateLastActivity() {
    state_->lastActivity = VKTPlatform::current().clock->now();
}
std::optional<VKTDate> SDK::lastActivity() const {
    return state_->lastActivity;
}

void SDK::setURLSession(std::shared_ptr<VKTURLSession> session) {
    state_->URLSession = std::move(session);
}
const std::shared_ptr<VKTURLSession>& SDK::URLSession() const {
    return state_->URLSession;
}

void SDK::setObserver(std::weak_ptr<MeasurementObserver> observer) {
    state_->observer = std::move(observer);
}
std::shared_ptr<MeasurementObserver> SDK::observer() const {
    return state_->observer.lock();
}

void SDK::setTrustsScripts(bool trustsScripts) {
    state_->trustsScripts = trustsScripts;
}
bool SDK::trustsScripts() const {
    return state_->trustsScripts;
}

void SDK::setAllowsMissingSystemCallFilter(bool allowsMissingSystemCallFilter) {
    state_->allowsMissingSystemCallFilter = allowsMissingSystemCallFilter;
}
bool SDK::allowsMissingSystemCallFilter() const {
    return state_->allowsMissingSystemCallFilter;
}

void SDK::setLimits(const SDKLimits& limits) {
    state_->limits = limits;
}
const SDKLimits& SDK::limits() const {
    return state_->limits;
}

void SDK::setScriptHostPath(std::string path) {
    state_->scriptHostPath = std::move(path);
}
const std::string& SDK::scriptHostPath() const {
    return state_->scriptHostPath;
}

SessionRegistry& SDK::registry() {
    return state_->registry;
}

}  // namespace OMIDKorvonet1
