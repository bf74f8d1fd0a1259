// What of a configuration document is not used, and why.
#pragma once

#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "VKTCoreKit/config/VKTConfiguration.h"
#include "VKTCoreKit/foundation/VKTValue.h"

/// Hears from a configuration what it refuses of a "korvo" object.
struct ConfigRefusals : VKTConfigurationRemoteLogger {
    bool isSiteWrong = false;
    std::set<VKTAdditionalParametersPart> parts;

    void logWrongSiteIDError() override { isSiteWrong = true; }
    void logInvalidAdditionalParameters(VKTAdditionalParametersPart part) override { parts.insert(part); }
};

/// One member of the document that does nothing, by its names from the top ("korvo.networkId").
struct IgnoredMember {
    std::string path;
    std::string reason;  ///< a sentence without its point
};

/// Members that nobody reads are no fault and are left out, but those of "logger" are told: nothing else
/// shows that a setting of the logger has no effect.
std::vector<IgnoredMember> ignoredMembersOf(const VKTDictionary& document, const ConfigRefusals& refusals);

/// Why a document as a whole is refused: the end of a sentence that begins with the document.
std::string faultOfDocument(std::string_view data);
