// What the library says of itself. The version is written here and nowhere else; the build reads it from
// here.
#pragma once

#include "VKTCoreKit/foundation/VKTExport.h"

inline constexpr const char* VKTFrameworkName = "VKTCoreKit";
inline constexpr const char* VKTFrameworkMarketingName = "Korvo-Core-SDK";
inline constexpr const char* VKTFrameworkBundleIdentifier = "com.korvonet.VKTCoreKit";
inline constexpr const char* VKTFrameworkVersionString = "7.22.0";

/// Debug messages of the shared logger are off unless an embedder switches them on.
inline constexpr bool VKTFrameworkBuiltInDebug = false;

/// The source revision that the library was built from: eight hexadecimal digits, "00000000" when the build
/// did not happen in a checkout. Defined by the build.
VKT_EXPORT extern const char* const VKTFrameworkRevisionString;

/// The framework version as a number (major and minor) and as a text.
inline constexpr double VKTCoreKitVersionNumber = 7.22;
inline constexpr const char* VKTCoreKitVersionString = VKTFrameworkVersionString;
