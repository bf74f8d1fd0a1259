#include "VKTCoreKit/openmeasurement/VKTOpenMeasurementAdVerificationScript.h"

#include <utility>

namespace {

constexpr std::string_view keyURL = "javascriptResourceURL";
constexpr std::string_view keyVendor = "vendor";
constexpr std::string_view keyParameters = "verificationParameters";

}  // namespace

VKTOpenMeasurementAdVerificationScript VKTOpenMeasurementAdVerificationScript::initWithJavascriptResourceURL(
    std::optional<VKTURL> javascriptResourceURL, std::optional<std::string> vendor,
    std::optional<std::string> verificationParameters) {
    return {std::move(javascriptResourceURL), std::move(vendor), std::move(verificationParameters)};
}

std::optional<VKTOpenMeasurementAdVerificationScript> VKTOpenMeasurementAdVerificationScript::initWithCoder(
    const VKTKeyedUnarchiver& coder) {
    return initWithJavascriptResourceURL(coder.decodeURL(keyURL), coder.decodeString(keyVendor),
                                         coder.decodeString(keyParameters));
}

void VKTOpenMeasurementAdVerificationScript::encodeWithCoder(VKTKeyedArchiver& coder) const {
    coder.encodeURL(keyURL, javascriptResourceURL);
    coder.encodeString(keyVendor, vendor);
    coder.encodeString(keyParameters, verificationParameters);
}
