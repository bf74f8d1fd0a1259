// What the application around the library says of itself.
#pragma once

#include <memory>
#include <string>

#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/platform/VKTBundle.h"

/// Read once from a bundle; what the bundle does not say is "(unknown)". Immutable; any thread.
class VKT_EXPORT VKTAppInfo {
  public:
    /// Over the platform's main bundle at the first call. Never destroyed.
    static const std::shared_ptr<VKTAppInfo>& sharedInstance();

    static std::shared_ptr<VKTAppInfo> initWithBundle(const VKTBundle& bundle);

    [[nodiscard]] const std::string& appName() const { return appName_; }  ///< for people, if there is one
    [[nodiscard]] const std::string& appVersion() const { return appVersion_; }  ///< the same

    /// The bundle's name when it has no identifier.
    [[nodiscard]] const std::string& appBundleIdentifier() const { return appBundleIdentifier_; }

  private:
    explicit VKTAppInfo(const VKTBundle& bundle);

    const std::string appName_;
    const std::string appVersion_;
    const std::string appBundleIdentifier_;
};
