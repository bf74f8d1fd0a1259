#include "VKTCoreKit/openmeasurement/VKTOpenMeasurementManagerDefaultProvider.h"

#include <vector>

#include "VKTCoreKit/core/VKTLog.h"
#include "VKTCoreKit/omruntime/AdSession.h"
#include "VKTCoreKit/omruntime/SDK.h"
#include "VKTCoreKit/omruntime/detail/EmbeddedServiceScript.h"
#include "VKTCoreKit/openmeasurement/VKTOpenMeasurementManagerDefaultAdSession.h"

namespace OM = OMIDKorvonet1;

namespace {

constexpr const char* defaultPartnerName = "Korvonet";

std::vector<OM::VerificationScriptResource> resourcesOfScripts(
    const VKTOpenMeasurementManagerProvider::Scripts& scripts) {
    std::vector<OM::VerificationScriptResource> resources;
    for (const auto& script : scripts) {
        if (!script.javascriptResourceURL) continue;
        const VKTURL& url = *script.javascriptResourceURL;
        std::optional<OM::VerificationScriptResource> resource;
        if (script.vendor && script.verificationParameters) {
            resource = OM::VerificationScriptResource::initWithURL(url, *script.vendor,
                                                                   *script.verificationParameters);
        }
        // The runtime refuses empty texts; the script itself must not be lost over them.
        resources.push_back(resource ? *std::move(resource)
                                     : OM::VerificationScriptResource::initWithURL(url));
    }
    return resources;
}

std::shared_ptr<OM::AdSession> makeSession(const OM::Partner& partner, const std::string& JSLibrary,
                                           std::vector<OM::VerificationScriptResource> resources,
                                           bool isVideo, std::optional<VKTError>* error) {
    const VKTLog& log = *VKTLog::sharedInstance();
    auto context = OM::AdSessionContext::initWithPartner(partner, JSLibrary, std::move(resources),
                                                         std::nullopt, std::nullopt, error);
    if (!context) {
        log.logDebug("Unable to instantiate Open Measurement session context");
        return nullptr;
    }
    const auto configuration = OM::AdSessionConfiguration::initWithCreativeType(
        isVideo ? OM::CreativeTypeVideo : OM::CreativeTypeNativeDisplay, OM::ImpressionTypeBeginToRender,
        OM::OwnerNative, OM::OwnerNative, false, error);
    if (!configuration) {
        log.logDebug("Unable to instantiate Open Measurement session configuration");
        return nullptr;
    }
    auto session = OM::AdSession::initWithConfiguration(*configuration, std::move(context), error);
    if (!session) log.logDebug("Unable to instantiate Open Measurement session");
    return session;
}

}  // namespace

std::shared_ptr<VKTOpenMeasurementManagerDefaultProvider>
VKTOpenMeasurementManagerDefaultProvider::initWithFrameworkVersion(const std::string& frameworkVersion) {
    return initWithFrameworkVersion(frameworkVersion, defaultPartnerName);
}

std::shared_ptr<VKTOpenMeasurementManagerDefaultProvider>
VKTOpenMeasurementManagerDefaultProvider::initWithFrameworkVersion(const std::string& frameworkVersion,
                                                                   const std::string& partnerName) {
    if (!initializeOMSDK()) return nullptr;
    auto partner = OM::Partner::initWithName(partnerName, frameworkVersion);
    if (!partner) return nullptr;
    return std::shared_ptr<VKTOpenMeasurementManagerDefaultProvider>(
        new VKTOpenMeasurementManagerDefaultProvider(*std::move(partner)));
}

bool VKTOpenMeasurementManagerDefaultProvider::initializeOMSDK() {
    return OM::SDK::sharedInstance().activate();
}

std::shared_ptr<VKTOpenMeasurementAdSession> VKTOpenMeasurementManagerDefaultProvider::sessionWithView(
    const std::shared_ptr<const VKTView>& view, const std::string& JSLibrary, const Scripts& scripts,
    bool isVideo, std::optional<VKTError>* error) {
    auto session = makeSession(omidPartner_, JSLibrary, resourcesOfScripts(scripts), isVideo, error);
    if (!session) return nullptr;
    session->setMainAdView(view);
    return VKTOpenMeasurementManagerDefaultAdSession::initWithSession(std::move(session), isVideo);
}

void VKTOpenMeasurementManagerDefaultProvider::updateLastActivity() {
    OM::SDK::sharedInstance().updateLastActivity();
}

VKTURL VKTOpenMeasurementManagerDefaultProvider::JSLibraryURL() const {
    return JSLibraryURL_ ? *JSLibraryURL_ : *VKTURL::URLWithString(VKTOpenMeasurementDefaultJSLibraryURL);
}

std::optional<std::string> VKTOpenMeasurementManagerDefaultProvider::embeddedLibraryScript() const {
    if (JSLibraryURL_) return std::nullopt;
    return std::string(OM::embeddedServiceScript());
}
