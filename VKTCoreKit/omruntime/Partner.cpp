#include "VKTCoreKit/omruntime/Partner.h"

#include <algorithm>
#include <iterator>

#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/omruntime/SDK.h"
#include "VKTCoreKit/omruntime/detail/Errors.h"

namespace OMIDKorvonet1 {

std::optional<Partner> Partner::initWithName(std::string name, std::string versionString) {
    for (const std::string& text : {name, versionString}) {
        if (text.empty() || text.size() > TextLimit || !vkt_isValidUTF8(text)) return std::nullopt;
    }
    return Partner(std::move(name), std::move(versionString));
}

VerificationScriptResource VerificationScriptResource::initWithURL(VKTURL URL) {
    return {std::move(URL), std::nullopt, std::nullopt};
}

std::optional<VerificationScriptResource> VerificationScriptResource::initWithURL(VKTURL URL,
                                                                                  std::string vendorKey,
                                                                                  std::string parameters) {
    for (const std::string& text : {vendorKey, parameters}) {
        if (text.empty() || !vkt_isValidUTF8(text)) return std::nullopt;
    }
    return VerificationScriptResource(std::move(URL), std::move(vendorKey), std::move(parameters));
}

AdSessionContext::AdSessionContext(Partner partner, std::string script,
                                   std::vector<VerificationScriptResource> resources,
                                   std::optional<std::string> contentURL,
                                   std::optional<std::string> customReferenceIdentifier)
    : partner_(std::move(partner)),
      script_(std::make_shared<const std::string>(std::move(script))),
      resources_(std::move(resources)),
      contentURL_(std::move(contentURL)),
      customReferenceIdentifier_(std::move(customReferenceIdentifier)) {}

std::shared_ptr<const AdSessionContext> AdSessionContext::initWithPartner(
    Partner partner, std::string script, std::vector<VerificationScriptResource> resources,
    std::optional<std::string> contentURL, std::optional<std::string> customReferenceIdentifier,
    std::optional<VKTError>* error) {
    if (!SDK::sharedInstance().isActive()) {
        setError(error, inactiveError());
        return nullptr;
    }
    if (script.empty()) {
        setError(error,
                 argumentError("The service script is empty: pass the text of a downloaded one, or the "
                               "embedded one's"));
        return nullptr;
    }
    if (contentURL && !vkt_isValidUTF8(*contentURL)) {
        setError(error, argumentError("The content URL is not UTF-8: percent-encode it, or pass none"));
        return nullptr;
    }
    if (customReferenceIdentifier &&
        (customReferenceIdentifier->size() > TextLimit || !vkt_isValidUTF8(*customReferenceIdentifier))) {
        setError(error,
                 argumentError("The custom reference identifier is longer than 256 bytes or not UTF-8: "
                               "shorten it, or pass none"));
        return nullptr;
    }
    return std::shared_ptr<const AdSessionContext>(
        new AdSessionContext(std::move(partner), std::move(script), std::move(resources),
                             std::move(contentURL), std::move(customReferenceIdentifier)));
}

std::optional<AdSessionConfiguration> AdSessionConfiguration::initWithCreativeType(
    CreativeType creativeType, ImpressionType impressionType, Owner impressionOwner, Owner mediaEventsOwner,
    bool isolateVerificationScripts, std::optional<VKTError>* error) {
    if (impressionOwner == OwnerNone) {
        setError(error, argumentError("The impression has no owner: name native code or JavaScript"));
        return std::nullopt;
    }
    const bool isDefinedLater = creativeType == CreativeTypeDefinedByJavaScript ||
                                impressionType == ImpressionTypeDefinedByJavaScript;
    if (isDefinedLater && impressionOwner != OwnerJavaScript) {
        setError(error,
                 argumentError("A creative or impression type that JavaScript defines needs JavaScript "
                               "as the impression's owner: name the type, or that owner"));
        return std::nullopt;
    }
    return AdSessionConfiguration(creativeType, impressionType, impressionOwner, mediaEventsOwner,
                                  isolateVerificationScripts);
}

}  // namespace OMIDKorvonet1
