// One vendor's verification script, as an ad session takes it.
#pragma once

#include <optional>
#include <string>

#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/foundation/VKTKeyedArchive.h"

/// A value; any thread.
struct VKT_EXPORT VKTOpenMeasurementAdVerificationScript {
    static constexpr const char* archiveClassName = "VKTOpenMeasurementAdVerificationScript";

    std::optional<VKTURL> javascriptResourceURL;  ///< nothing when the document's text does not read as a URL
    std::optional<std::string> vendor;
    std::optional<std::string> verificationParameters;

    static VKTOpenMeasurementAdVerificationScript initWithJavascriptResourceURL(
        std::optional<VKTURL> javascriptResourceURL, std::optional<std::string> vendor,
        std::optional<std::string> verificationParameters);

    static std::optional<VKTOpenMeasurementAdVerificationScript> initWithCoder(
        const VKTKeyedUnarchiver& coder);
    void encodeWithCoder(VKTKeyedArchiver& coder) const;

    friend bool operator==(const VKTOpenMeasurementAdVerificationScript&,
                           const VKTOpenMeasurementAdVerificationScript&) = default;
};
