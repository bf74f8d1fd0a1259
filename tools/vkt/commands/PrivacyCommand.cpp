#include <array>
#include <iostream>
#include <utility>

#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/platform/VKTPlatform.h"
#include "commands/Commands.h"
#include "commands/PrivacySetting.h"
#include "ground/Output.h"
#include "ground/StoreFile.h"
#include "ground/Text.h"
#include "inspection/PrivacyReasons.h"

namespace {

VKTValue valueOrNull(const std::optional<std::string>& text) {
    return text ? VKTValue(*text) : VKTValue();
}

// Of a string that there is.
template <typename String, typename Report>
VKTValue reportOrNull(const std::optional<String>& string, Report report) {
    return string ? VKTValue(report(*string)) : VKTValue();
}

VKTDictionary reportOfTCF(const VKTTCFString& string) {
    return {{"string", string.TCFString()},
            {"isValid", string.isValid()},
            {"version", string.version()},
            {"isComingFromGPP", string.isComingFromGPP()},
            {"canSendIDs", int{string.canSendIDs()}},
            {"canSendLocation", int{string.canSendLocation()}}};
}

VKTDictionary reportOfCCPA(const VKTCCPAString& string) {
    return {{"string", string.CCPAString()},
            {"isValid", string.isValid()},
            {"version", string.version()},
            {"canSendIDs", int{verdictOf(string).decision}}};
}

VKTDictionary reportOfGPP(const VKTGPPString& string) {
    const auto IDs = VKTGPPString::gppSIDsFromRawGPPSIDString(string.GPPSIDString());
    return {{"string", string.GPPString()},
            {"sectionIDs", IDs ? VKTValue(VKTArray(IDs->begin(), IDs->end())) : VKTValue()},
            {"isValid", string.isValid()},
            {"version", string.version()},
            {"canSendIDs", int{string.canSendIDs()}},
            {"canSendLocation", int{string.canSendLocation()}}};
}

void printReport(const VKTIdentity& identity, const std::vector<std::string>& warnings) {
    Output::standard().JSON(
        VKTDictionary{{"tcf", reportOrNull(identity.TCFString(), reportOfTCF)},
                      {"usPrivacy", reportOrNull(identity.CCPAString(), reportOfCCPA)},
                      {"gpp", reportOrNull(identity.GPPString(), reportOfGPP)},
                      {"canSendIDs", identity.canSendIDs()},
                      {"canSendLocation", identity.canSendLocation()},
                      {"identity", VKTDictionary{{"type", int{identity.type()}},
                                                 {"identity", identity.identity()},
                                                 {"ifa", valueOrNull(identity.ifa())},
                                                 {"transientId", valueOrNull(identity.transientId())}}},
                      {"warnings", VKTArray(warnings.begin(), warnings.end())}});
}

std::string lineOf(const PrivacyVerdict& verdict, const std::string& what) {
    constexpr std::array<const char*, 3> ends{" may be sent", " may not be sent",
                                              " may be sent if other signals allow"};
    return "   " + onOneLine(verdict.reason) + ": " + what +
           ends.at(static_cast<std::size_t>(verdict.decision)) + '\n';
}

std::string linesOf(const PrivacyVerdicts& verdicts) {
    return lineOf(verdicts.IDs, "identifiers") + lineOf(verdicts.location, "location");
}

// Of a consent string, as it stands or that there is none.
template <typename String>
void printHeading(const char* name, const VKTPrivacyReading<String>& reading,
                  std::string (*textOf)(const String&)) {
    const auto& [string, isUnreadable] = reading;
    std::cout << name << ": ";
    if (string) {
        std::cout << '"' << onOneLine(textOf(*string)) << "\", "
                  << (string->isValid() ? "valid" : "not valid") << ", version " << string->version() << '\n';
    } else {
        std::cout << (isUnreadable ? "cannot be read\n" : "none\n");
    }
}

void printText(const VKTIdentity& identity, const VKTPropertyCacheManager& store,
               const std::vector<std::string>& warnings) {
    const VKTIdentityProvider& provider = *identity.identityProvider();
    const auto TCF = provider.readTCFString();
    printHeading<VKTTCFString>("TCF string", TCF, [](const auto& string) { return string.TCFString(); });
    if (TCF.value) std::cout << linesOf(verdictsOf(*TCF.value));

    const auto CCPA = provider.readCCPAString();
    printHeading<VKTCCPAString>("US Privacy string", CCPA,
                                [](const auto& string) { return string.CCPAString(); });
    if (CCPA.value) {
        std::cout << lineOf(verdictOf(*CCPA.value), "identifiers")
                  << "   (it has no part in the decision below: of US Privacy only a GPP section has)\n";
    }

    const auto GPP = provider.readGPPString();
    printHeading<VKTGPPString>("GPP string", GPP, [](const auto& string) {
        return string.GPPString() + "\" with sections \"" + string.GPPSIDString();
    });
    if (GPP.value) std::cout << linesOf(verdictsOf(*GPP.value));

    std::cout << "Together\n" << linesOf(verdictsOf(identity, store));

    constexpr std::array<const char*, 4> types{"none", "advertising identifier", "transient ID",
                                               "custom identifier"};
    std::cout << "Identity: \"" << onOneLine(identity.identity()) << "\", type " << identity.type() << " ("
              << types.at(static_cast<std::size_t>(identity.type())) << ")\n   "
              << reasonOfType(identity.type()) << '\n';
    std::cout << countOf(warnings.size(), "warning") << '\n';
    for (const std::string& warning : warnings)
        std::cout << "   " << onOneLine(warning) << '\n';
}

}  // namespace

int runPrivacy(const PrivacyOptions& options) {
    const auto store =
        openStoreFile(options.store, options.settings.empty() ? VKTStoreToRead : VKTStoreToChange);
    if (!store) return ExitSourceUnread;
    for (const std::string& text : options.settings) {
        const auto setting = PrivacySetting::initWithText(text);
        if (setting && !store->setValueForKey(setting->value, setting->key)) return ExitSourceUnread;
    }
    const VKTPlatform& platform = VKTPlatform::current();
    const auto cache = VKTDefaultPropertyCacheManager::initWithKeyValueStore(store);
    const auto device =
        std::make_shared<VKTSettableDevice>(VKTDeviceFacts{.advertisingIdentifier = options.IFA});
    const auto identity = VKTIdentity::initWithIdentityProvider(
        VKTIdentityProvider::initWithDevice(device, cache, platform.clock, platform.random), false,
        !options.noTransient, options.customID);
    std::vector<std::string> warnings = unreadableSignals(*identity, *cache);
    const bool isAllRead = warnings.empty();
    for (std::string& warning : privacyWarnings(*identity, *cache))
        warnings.push_back(std::move(warning));
    if (options.JSON) {
        printReport(*identity, warnings);
    } else {
        printText(*identity, *cache, warnings);
    }
    return isAllRead ? ExitPlayable : ExitSourceUnread;
}
