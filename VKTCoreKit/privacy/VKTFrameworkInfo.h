// What the library says of itself.
#pragma once

#include <memory>

#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/foundation/VKTFrameworkConstants.h"

/// Constants; any thread.
class VKT_EXPORT VKTFrameworkInfo {
  public:
    /// Never destroyed.
    static const std::shared_ptr<VKTFrameworkInfo>& sharedInstance();

    [[nodiscard]] const char* frameworkName() const { return VKTFrameworkName; }
    [[nodiscard]] const char* frameworkMarketingName() const { return VKTFrameworkMarketingName; }
    [[nodiscard]] const char* frameworkBundleIdentifier() const { return VKTFrameworkBundleIdentifier; }
    [[nodiscard]] const char* frameworkVersionString() const { return VKTFrameworkVersionString; }
    [[nodiscard]] const char* frameworkRevisionString() const { return VKTFrameworkRevisionString; }
    [[nodiscard]] bool frameworkBuiltInDebug() const { return VKTFrameworkBuiltInDebug; }
};
