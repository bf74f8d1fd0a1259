#include <array>
#include <memory>
#include <utility>

#include "VKTCoreKit/platform/VKTPlatform.h"
#include "VKTCoreKit/privacy/VKTConsentSignals.h"
#include "VKTCoreKit/privacy/VKTIdentity.h"
#include "commands/Commands.h"
#include "commands/OptionChecks.h"
#include "commands/PrivacySetting.h"
#include "ground/Output.h"
#include "ground/StoreFile.h"
#include "ground/Text.h"

namespace {

struct PrivacyOptions {
    std::string store;                  ///< the file, only read without settings; none when empty
    std::vector<std::string> settings;  ///< "KEY=TYPE:VALUE" each, checked
    std::string IFA;                    ///< the advertising identifier; none when empty
    std::optional<std::string> customID;
    bool noTransient = false;
    bool JSON = false;
};

using Texts = std::vector<std::string>;

VKTValue valueOrNull(const std::optional<std::string>& text) {
    return text ? VKTValue(*text) : VKTValue();
}

// Of a string that there is.
template <typename String, typename Report>
VKTValue reportOrNull(const std::optional<String>& string, Report report) {
    return string ? VKTValue(report(*string)) : VKTValue();
}

VKTDictionary reportOfTCF(const VKTTCFString& string) {
    const auto IDs = string.verdictOnIDs();
    const auto location = string.verdictOnLocation();
    return {{"string", string.TCFString()},    {"isValid", string.isValid()},
            {"version", string.version()},     {"isComingFromGPP", string.isComingFromGPP()},
            {"canSendIDs", int{IDs.decision}}, {"canSendLocation", int{location.decision}},
            {"IDsReason", IDs.reason()},       {"locationReason", location.reason()}};
}

VKTDictionary reportOfCCPA(const VKTCCPAString& string) {
    const auto IDs = string.verdictOnIDs();
    return {{"string", string.CCPAString()},
            {"isValid", string.isValid()},
            {"version", string.version()},
            {"canSendIDs", int{IDs.decision}},
            {"IDsReason", IDs.reason()}};
}

VKTDictionary reportOfGPP(const VKTGPPString& string) {
    const auto sectionIDs = VKTGPPString::gppSIDsFromRawGPPSIDString(string.GPPSIDString());
    const auto IDs = string.verdictOnIDs();
    const auto location = string.verdictOnLocation();
    return {
        {"string", string.GPPString()},
        {"sectionIDs", sectionIDs ? VKTValue(VKTArray(sectionIDs->begin(), sectionIDs->end())) : VKTValue()},
        {"isValid", string.isValid()},
        {"version", string.version()},
        {"canSendIDs", int{IDs.decision}},
        {"canSendLocation", int{location.decision}},
        {"IDsReason", IDs.reason()},
        {"locationReason", location.reason()}};
}

VKTDictionary reportOf(const VKTIdentity& identity, const Texts& warnings) {
    const auto IDs = identity.verdictOnIDs();
    const auto location = identity.verdictOnLocation();
    return {{"tcf", reportOrNull(identity.TCFString(), reportOfTCF)},
            {"usPrivacy", reportOrNull(identity.CCPAString(), reportOfCCPA)},
            {"gpp", reportOrNull(identity.GPPString(), reportOfGPP)},
            {"canSendIDs", IDs.decision == VKTConsentDecisionAllowed},
            {"canSendLocation", location.decision == VKTConsentDecisionAllowed},
            {"IDsReason", IDs.reason()},
            {"locationReason", location.reason()},
            {"identity", VKTDictionary{{"type", int{identity.type()}},
                                       {"typeReason", identity.typeReason()},
                                       {"identity", identity.identity()},
                                       {"ifa", valueOrNull(identity.ifa())},
                                       {"transientId", valueOrNull(identity.transientId())}}},
            {"warnings", VKTArray(warnings.begin(), warnings.end())}};
}

void printVerdict(const VKTConsentVerdict& verdict, const std::string& what) {
    constexpr std::array<const char*, 3> ends{" may be sent", " may not be sent",
                                              " may be sent if other signals allow"};
    Output::standard().line("   " + verdict.reason() + ": " + what +
                            ends.at(static_cast<std::size_t>(verdict.decision)));
}

// Of a consent string, as it stands or that there is none.
template <typename String>
void printHeading(const std::string& name, const VKTPrivacyReading<String>& reading,
                  std::string (*textOf)(const String&)) {
    const auto& string = reading.value;
    const std::string none = reading.isUnreadable ? "cannot be read" : "none";
    Output::standard().line(name + ": " +
                            (string ? '"' + textOf(*string) + "\", " +
                                          (string->isValid() ? "valid" : "not valid") + ", version " +
                                          std::to_string(string->version())
                                    : none));
}

template <typename String>
void printVerdicts(const String& string) {
    printVerdict(string.verdictOnIDs(), "identifiers");
    printVerdict(string.verdictOnLocation(), "location");
}

void printText(const VKTIdentity& identity, const Texts& warnings) {
    const VKTIdentityProvider& provider = *identity.identityProvider();
    Output& output = Output::standard();
    const auto TCF = provider.readTCFString();
    printHeading<VKTTCFString>("TCF string", TCF, [](const auto& string) { return string.TCFString(); });
    if (TCF.value) printVerdicts(*TCF.value);

    const auto CCPA = provider.readCCPAString();
    printHeading<VKTCCPAString>("US Privacy string", CCPA,
                                [](const auto& string) { return string.CCPAString(); });
    if (CCPA.value) {
        printVerdict(CCPA.value->verdictOnIDs(), "identifiers");
        output.line("   (it has no part in the decision below: of US Privacy only a GPP section has)");
    }

    const auto GPP = provider.readGPPString();
    printHeading<VKTGPPString>("GPP string", GPP, [](const auto& string) {
        return string.GPPString() + "\" with sections \"" + string.GPPSIDString();
    });
    if (GPP.value) printVerdicts(*GPP.value);

    output.line("Together");
    printVerdicts(identity);

    constexpr std::array<const char*, 4> types{"none", "advertising identifier", "transient ID",
                                               "custom identifier"};
    output.line("Identity: \"" + identity.identity() + "\", type " + std::to_string(identity.type()) + " (" +
                types.at(static_cast<std::size_t>(identity.type())) + ")");
    output.line("   " + std::string(identity.typeReason()));
    output.line(countOf(warnings.size(), "warning"));
    for (const std::string& warning : warnings)
        output.line("   " + warning);
}

// What cannot be read: what follows and what to do.
Texts unreadableSignals(const VKTIdentity& identity, const std::vector<VKTConsentClause>& signalFaults) {
    const auto fault = [](const std::string& what, const std::string& consequence, const char* remedy) {
        return what + " cannot be read (damaged, or locked by another program), so " + consequence +
               "; close what else uses the file and try again, or " + remedy;
    };
    Texts faults;
    for (const VKTConsentClause& signal : signalFaults) {
        if (signal.rule == VKTConsentRuleSignalUnreadable)
            faults.push_back(fault(std::string(signal.key), "every decision that asks for it refuses",
                                   "store the signal anew with --set"));
    }
    if (faults.size() == VKTConsentTextSignals.size() + VKTConsentNumberSignals.size())
        faults = {fault("what the file holds of consent", "neither identifiers nor location may be sent",
                        "restore the file")};
    if (identity.transientId() && identity.identityProvider()->readTransientID().isUnreadable)
        faults.push_back(fault("the transient ID", "the one that is shown stands in and is not stored",
                               "delete the file"));
    return faults;
}

void warnOfTypes(const VKTIdentityProvider& provider, const std::vector<VKTConsentClause>& signalFaults,
                 Texts& warnings) {
    for (const VKTConsentClause& signal : signalFaults) {
        if (signal.rule == VKTConsentRuleSignalUnreadable) continue;
        const std::string elsewhere =
            " beside a TCF string and as " + std::to_string(provider.TCFGDPRApplies()) + " without one";
        warnings.push_back(signal.words() + ", and counts as missing" +
                           (signal.key == VKTConsentKeyGDPRApplies ? elsewhere : ""));
    }
}

void warnOfPlainStrings(const VKTIdentityProvider& provider, Texts& warnings) {
    if (const auto TCF = provider.readTCFString(); TCF.value) {
        const std::string_view key = TCF.signal.key;
        if (key == VKTConsentKeyLegacyTCFString)
            warnings.push_back(std::string(key) + " is used, a legacy key, as " +
                               std::string(VKTConsentKeyTCFString) + " holds no text");
        if (const auto fault = TCF.value->fault(key)) warnings.push_back(fault->words());
    }
    const auto CCPA = provider.CCPAString();
    if (CCPA && !CCPA->isValid()) warnings.push_back(CCPA->verdictOnIDs(VKTConsentKeyCCPAString).reason());
}

void warnOfGPP(const VKTIdentityProvider& provider, const VKTPropertyCacheManager& store, Texts& warnings) {
    const auto GPP = provider.readGPPString();
    if (GPP.value) {
        const auto IDs = GPP.value->verdictOnIDs();
        const auto location = GPP.value->verdictOnLocation();
        if (IDs.decision == VKTConsentDecisionUndetermined)
            warnings.push_back("the GPP string does not decide on identifiers: " + IDs.reason());
        if (location.decision == VKTConsentDecisionUndetermined && location.reason() != IDs.reason())
            warnings.push_back("the GPP string does not decide on the location: " + location.reason());
    } else if (!GPP.isUnreadable) {
        for (const auto key : {VKTConsentKeyGPPString, VKTConsentKeyGPPSIDs})
            if (vkt_readConsentText(store, key).value)
                warnings.push_back(std::string(key) + " is not used, as " + GPP.signal.words());
    }
}

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
    const auto provider = VKTIdentityProvider::initWithDevice(device, cache, platform.clock, platform.random);
    const auto identity =
        VKTIdentity::initWithIdentityProvider(provider, false, !options.noTransient, options.customID);

    const auto signalFaults = provider->signalFaults();
    Texts warnings = unreadableSignals(*identity, signalFaults);
    const bool isAllRead = warnings.empty();
    warnOfTypes(*provider, signalFaults, warnings);
    warnOfPlainStrings(*provider, warnings);
    warnOfGPP(*provider, *cache, warnings);
    if (options.JSON) {
        Output::standard().JSON(reportOf(*identity, warnings));
    } else {
        printText(*identity, warnings);
    }
    return isAllRead ? ExitPlayable : ExitSourceUnread;
}

std::string settingProblem(const std::string& text) {
    if (PrivacySetting::initWithText(text)) return "";
    return "KEY=TYPE:VALUE is expected, not \"" + text +
           "\"; TYPE is string (UTF-8), int (64 bits), double (finite) or bool (true, false)";
}

}  // namespace

CommandRun addPrivacy(CLI::App& command) {
    const auto options = std::make_shared<PrivacyOptions>();
    command
        .add_option("--store", options->store,
                    "The file that keeps the signals; only read without --set, else made when missing, and "
                    "the settings and a new transient ID are written into it for good")
        ->type_name("FILE");
    addRepeated(command, "--set", options->settings,
                "Stored before anything is read; TYPE is string, int, double or bool; may be repeated")
        ->type_name("KEY=TYPE:VALUE")
        ->check(settingProblem);
    command.add_option("--ifa", options->IFA, "The advertising identifier, a UUID")->type_name("UUID");
    command.add_option_function<std::string>(
        "--custom-id", [options](const std::string& ID) { options->customID = ID; },
        "The publisher's own identifier; an empty one counts");
    command.add_flag("--no-transient", options->noTransient, "Make no transient ID");
    addJSON(command, options->JSON);
    return [options] { return runPrivacy(*options); };
}
