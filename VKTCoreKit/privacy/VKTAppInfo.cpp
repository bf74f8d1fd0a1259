#include "VKTCoreKit/privacy/VKTAppInfo.h"

#include "VKTCoreKit/platform/VKTPlatform.h"

namespace {

std::string infoValue(const VKTBundle& bundle, const char* key, const char* otherwiseKey) {
    auto value = bundle.infoValueForKey(key);
    if (!value) value = bundle.infoValueForKey(otherwiseKey);
    return value.value_or("(unknown)");
}

}  // namespace

const std::shared_ptr<VKTAppInfo>& VKTAppInfo::sharedInstance() {
    static const auto* instance = [] {
        VKTPlatform::noteKeptBy("VKTAppInfo::sharedInstance()");
        return new std::shared_ptr<VKTAppInfo>(initWithBundle(*VKTPlatform::current().mainBundle));
    }();
    return *instance;
}

std::shared_ptr<VKTAppInfo> VKTAppInfo::initWithBundle(const VKTBundle& bundle) {
    return std::shared_ptr<VKTAppInfo>(new VKTAppInfo(bundle));
}

VKTAppInfo::VKTAppInfo(const VKTBundle& bundle)
    : appName_(infoValue(bundle, VKTBundleDisplayNameKey, VKTBundleNameKey)),
      appVersion_(infoValue(bundle, VKTBundleShortVersionKey, VKTBundleVersionKey)),
      appBundleIdentifier_(infoValue(bundle, VKTBundleIdentifierKey, VKTBundleNameKey)) {}
