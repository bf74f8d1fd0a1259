// Consent strings of every kind and the list of section IDs.
#include <set>
#include <string>

#include "Fuzzing.h"
#include "VKTCoreKit/core/VKTUtils.h"
#include "VKTCoreKit/privacy/VKTConsentSignals.h"
#include "VKTCoreKit/privacy/VKTIdentity.h"

namespace {

// Every key holds the same text, but for the numbers.
struct OneText : VKTPropertyCacheManager {
    explicit OneText(std::string_view value) : text(value) {}
    [[nodiscard]] std::optional<VKTValue> objectForKey(std::string_view key) const override {
        if (key == VKTConsentKeyGDPRApplies || key == VKTConsentKeyGPPVersion) return VKTValue(1);
        return key == VKTConsentKeyGPPSIDs ? VKTValue("2_6") : text;
    }
    bool setObject(const VKTValue& /*object*/, std::string_view /*forKey*/) override { return false; }
    const VKTValue text;
};

void checkSectionIDs(std::string_view text) {
    const auto IDs = VKTGPPString::gppSIDsFromRawGPPSIDString(text);
    if (!IDs) return;
    require(VKTGPPString::isRawGPPSIDStringValid(text), "only a valid list has IDs");
    require(!IDs->empty(), "a valid list has an ID");
    std::string written;
    for (const auto ID : *IDs) {
        require(ID >= -1, "an ID is -1 or a number");
        written += (written.empty() ? "" : "_") + std::to_string(ID);
    }
    require(std::set<std::int32_t>(IDs->begin(), IDs->end()).size() == IDs->size(), "IDs are distinct");
    require(VKTGPPString::gppSIDsFromRawGPPSIDString(written) == IDs, "IDs that were written are read again");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text = inputText(data, size);
    const auto store = std::make_shared<OneText>(text);
    for (const bool isComingFromGPP : {false, true}) {
        const auto TCF = VKTTCFString::initWithTCFString(std::string(text), isComingFromGPP, store);
        require(TCF.isValid() == (TCF.version() == 1 || TCF.version() == 2),
                "a valid TCF string has a version");
        require(!TCF.isValid() || text[0] == "ABC"[TCF.version()], "the first character is the version");
        require(TCF.canSendIDs() != VKTConsentDecisionUndetermined, "flags that are there decide");
        require(TCF.canSendLocation() != VKTConsentDecisionUndetermined, "flags that are there decide");
    }

    const auto CCPA = VKTCCPAString::initWithCCPAString(std::string(text));
    require(CCPA.version() == (CCPA.isValid() ? 1 : -1), "a valid US Privacy string has version 1");
    require(!CCPA.canSendIDs() || CCPA.isValid(), "only a valid US Privacy string allows");

    const auto GPP = VKTGPPString::initWithGPPString(std::string(text), "2_6", 1, store);
    require(GPP.isValid() == VKTGPPString::isRawGPPStringValid(text), "the form alone decides");
    require(GPP.isValid() || GPP.canSendIDs() == VKTConsentDecisionUndetermined,
            "what is not valid decides nothing");
    require(!VKTUtils::isValidGDPRConsentString(text) || GPP.isValid(),
            "a TCF string has the form of a GPP string");
    checkSectionIDs(text);

    if (VKTIdentity::tcfPurposesAreValid(text) || VKTIdentity::tcfVendorsAreValid(text))
        require(VKTIdentity::isValidTCFBooleanStringArray(text), "valid flags are 0 and 1 only");
    return 0;
}
