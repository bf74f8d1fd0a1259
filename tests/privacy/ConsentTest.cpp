#include <gtest/gtest.h>

#include <map>
#include <set>
#include <unordered_set>

#include "VKTCoreKit/platform/testing/VKTTestPlatform.h"
#include "VKTCoreKit/privacy/VKTConsentSignals.h"
#include "VKTCoreKit/privacy/VKTGPPString.h"
#include "VKTCoreKit/privacy/VKTIdentity.h"
#include "tests/support/FastestRun.h"
#include "tests/support/VKTRecordedLog.h"

namespace {

const std::string allPurposes = "1101001001";
const std::string vendor45 = std::string(44, '0') + "10";

// What stands under a key or a group of keys.
enum State { Absent, WrongType, Invalid, Refusing, Allowing, NotListed };

enum Decision { Allowed, Refused, Undetermined, NoString };

// How a consent platform may leave a device, and the rules, in the order in which they are to be read.
struct Signals {
    State TCF, GDPR, flags;                 // GDPR: Refusing when it applies, Allowing when not
    State GPP, section2, flags2, section6;  // section 2 is TCF, section 6 is US Privacy

    [[nodiscard]] Decision TCFDecision() const {
        if (TCF == Absent || TCF == WrongType) return NoString;
        if (GDPR != Refusing) return Allowed;
        return flags == Allowing ? Allowed : Refused;
    }
    [[nodiscard]] Decision section2Decision() const {
        if (section2 == NotListed) return Allowed;
        if (section2 != Allowing || flags2 == Absent || flags2 == WrongType) return Undetermined;
        return flags2 == Allowing ? Allowed : Refused;
    }
    [[nodiscard]] Decision GPPDecision(bool isAboutLocation) const {
        if (GPP == Absent || GPP == WrongType) return NoString;
        if (GPP == Invalid) return Undetermined;
        if (isAboutLocation || section2Decision() == Undetermined) return section2Decision();
        if (section6 == Absent || section6 == WrongType || section6 == Invalid) return Undetermined;
        return section6 == Refusing ? Refused : section2Decision();
    }
    [[nodiscard]] bool canSendIDs() const {
        if (GPPDecision(false) == Allowed) return true;
        if (GPPDecision(false) == Refused) return false;
        if (TCFDecision() != NoString) return TCFDecision() == Allowed;
        return GDPR != Refusing && GDPR != WrongType;  // the wrong type is the text "1"
    }
    [[nodiscard]] bool canSendLocation() const { return GPPDecision(true) != Refused; }
};

// Notes the keys that are asked for; one of them, or every one, cannot be read.
struct BrokenStore : VKTPropertyCacheManager {
    [[nodiscard]] std::optional<VKTValue> objectForKey(std::string_view key) const override {
        const VKTStoredValue stored = readObjectForKey(key);
        return stored.status == VKTStoredValue::Present ? std::optional(stored.value) : std::nullopt;
    }
    [[nodiscard]] VKTStoredValue readObjectForKey(std::string_view key) const override {
        asked.emplace(key);
        if (key == unreadableKey || unreadableKey == "*") return {VKTStoredValue::Unreadable, VKTValue()};
        return store->readValueForKey(key);
    }
    bool setObject(const VKTValue& /*object*/, std::string_view /*forKey*/) override { return false; }

    std::shared_ptr<VKTKeyValueStore> store;
    std::string unreadableKey;
    mutable std::set<std::string> asked;
};

class Consent : public testing::Test {
  protected:
    void set(const char* key, const VKTValue& value) { test.keyValueStore->setValueForKey(value, key); }

    void set(const char* key, State state, const VKTValue& refusing, const VKTValue& allowing,
             const VKTValue& wrongType = VKTArray{}) {
        // A section that is not listed has no say, whatever it holds.
        const VKTValue values[] = {{}, wrongType, "+", refusing, allowing, refusing};
        set(key, values[state]);
    }

    void store(const Signals& s) {
        const char* lists[2][2] = {{"2_6", "-1_2"}, {"6", "-1_7"}};
        set("IABTCF_TCString", s.TCF, {}, "CO");
        set("IABTCF_gdprApplies", s.GDPR, 1, 0, "1");
        set("IABTCF_PurposeConsents", s.flags, "1101001000", allPurposes);
        set("IABTCF_VendorConsents", s.flags, vendor45, vendor45);
        set("IABGPP_HDR_Version", 1);
        set("IABGPP_HDR_GppString", s.GPP, {}, "DBAA~C-O.1_");
        set("IABGPP_GppSID", lists[s.section2 == NotListed][s.section6 == NotListed]);
        set("IABGPP_2_String", s.section2, "CO", "CO");
        set("IABGPP_TCFEU2_PurposesConsent", s.flags2, allPurposes, allPurposes);
        set("IABGPP_TCFEU2_VendorConsent", s.flags2, std::string(46, '0'), vendor45);
        set("IABGPP_TCFEU2_SpecialFeatureOptIns", s.flags2, "10", "10");
        set("IABGPP_6_String", s.section6, "1NYN", "1YN-");
    }

    static VKTTCFString section(bool isComingFromGPP = true, const char* string = "CO") {
        return VKTTCFString::initWithTCFString(string, isComingFromGPP);
    }

    const VKTTestPlatform test = vkt_makeTestPlatform();
    const VKTScopedPlatform scope{test.platform};
    const std::shared_ptr<VKTIdentity> identity = VKTIdentity::initWithHashed(false, false);
};

TEST_F(Consent, EveryCombinationOfSignals) {
    const std::vector<State> string{Absent, WrongType, Invalid, Allowing};
    const std::vector<State> flags{Absent, WrongType, Refusing, Allowing};
    const std::vector<State> sections{Absent, WrongType, Invalid, Allowing, NotListed, Refusing};
    const std::vector<State> section2(sections.begin(), sections.end() - 1);
    const std::vector<State> CCPA{Absent, WrongType, Invalid, Refusing, Allowing};
    std::size_t rest = 0;
    const auto next = [&rest](const std::vector<State>& states) {
        const State state = states[rest % states.size()];
        rest /= states.size();
        return state;
    };
    int outcomes[2][2] = {};
    for (std::size_t i = 0; rest == 0; ++i) {
        rest = i;
        const Signals s{next(string),   next(flags), next(flags),   next(string),
                        next(section2), next(flags), next(sections)};
        if (rest > 0) break;
        store(s);
        const auto TCF = identity->TCFString();
        const auto GPP = identity->GPPString();
        ASSERT_EQ(TCF ? int{TCF->canSendIDs()} : NoString, s.TCFDecision()) << i;
        ASSERT_EQ(GPP ? int{GPP->canSendIDs()} : NoString, s.GPPDecision(false)) << i;
        ASSERT_EQ(GPP ? int{GPP->canSendLocation()} : NoString, s.GPPDecision(true)) << i;
        for (const State state : CCPA) {
            set("IABUSPrivacy_String", state, "1NYN", "1YN-");
            ASSERT_EQ(identity->canSendIDs(), s.canSendIDs()) << i;
            ASSERT_EQ(identity->canSendLocation(), s.canSendLocation()) << i;
            ++outcomes[s.canSendIDs()][s.canSendLocation()];
        }
    }
    EXPECT_EQ(outcomes[0][0] + outcomes[0][1] + outcomes[1][0] + outcomes[1][1],
              4 * 4 * 4 * 4 * 5 * 4 * 6 * 5);
    EXPECT_TRUE(outcomes[0][0] && outcomes[0][1] && outcomes[1][0] && outcomes[1][1]);
}

class UnreadableConsent : public Consent {
  protected:
    UnreadableConsent() { broken->store = test.keyValueStore; }

    // Refused as soon as a key that the decision asks for cannot be read, and the same as ever when another.
    template <typename Decide>
    void refusesWhatItCannotRead(const char* name, const Decide& decide, int refused) {
        broken->unreadableKey = "";
        broken->asked.clear();
        const int decision = decide();
        const std::set<std::string> askedKeys = broken->asked;
        for (const std::string_view key : keys) {
            broken->unreadableKey = key;
            const bool isAskedFor = askedKeys.contains(broken->unreadableKey);
            const int now = decide();
            ASSERT_EQ(now, isAskedFor ? refused : decision) << name << " without " << key;
            if (now != decision) keysThatChange[name].emplace(key);
        }
        broken->unreadableKey = "";
    }

    static constexpr std::string_view keys[] = {
        VKTConsentKeyTCFString,         VKTConsentKeyLegacyTCFString,   VKTConsentKeyGDPRApplies,
        VKTConsentKeyPurposeConsents,   VKTConsentKeyVendorConsents,    VKTConsentKeyCCPAString,
        VKTConsentKeyGPPVersion,        VKTConsentKeyGPPString,         VKTConsentKeyGPPSIDs,
        VKTConsentKeyGPPSectionTCF,     VKTConsentKeyGPPSectionCCPA,    VKTConsentKeyGPPPurposeConsents,
        VKTConsentKeyGPPVendorConsents, VKTConsentKeyGPPSpecialFeatures};
    const std::shared_ptr<BrokenStore> broken = std::make_shared<BrokenStore>();
    const std::shared_ptr<VKTIdentity> brokenIdentity = VKTIdentity::initWithIdentityProvider(
        VKTIdentityProvider::initWithDevice(test.device, broken, test.clock, test.platform.random), false,
        false, std::nullopt);
    std::map<std::string, std::set<std::string>> keysThatChange;  // of each decision
};

TEST_F(UnreadableConsent, RefusesWhereverTheKeyTakesPart) {
    const std::vector<State> states{Absent, Invalid, Allowing};
    const std::vector<State> sections{Absent, Allowing, NotListed, Refusing};
    std::size_t rest = 0;
    const auto next = [&rest](const std::vector<State>& of) {
        const State state = of[rest % of.size()];
        rest /= of.size();
        return state;
    };
    for (std::size_t i = 0; rest == 0; ++i) {
        rest = i;
        const Signals s{next({Absent, Allowing}),
                        next({Allowing, Refusing, Absent}),
                        next({Allowing, Absent}),
                        next(states),
                        next({Allowing, NotListed, Absent}),
                        next({Allowing, Absent}),
                        next(sections)};
        const bool hasLegacyString = next({Absent, Allowing}) == Allowing;
        if (rest > 0) break;
        SCOPED_TRACE(i);
        store(s);
        set("IABConsent_ConsentString", hasLegacyString ? VKTValue("BO") : VKTValue());
        refusesWhatItCannotRead(
            "IDs", [&] { return int{brokenIdentity->canSendIDs()}; }, 0);
        refusesWhatItCannotRead(
            "location", [&] { return int{brokenIdentity->canSendLocation()}; }, 0);
        if (const auto TCF = brokenIdentity->TCFString())
            refusesWhatItCannotRead(
                "TCF IDs", [&] { return int{TCF->canSendIDs()}; }, Refused);
        if (const auto GPP = brokenIdentity->GPPString()) {
            refusesWhatItCannotRead(
                "GPP IDs", [&] { return int{GPP->canSendIDs()}; }, Refused);
            refusesWhatItCannotRead(
                "GPP location", [&] { return int{GPP->canSendLocation()}; }, Refused);
        }
        broken->unreadableKey = "*";
        ASSERT_FALSE(brokenIdentity->canSendIDs() || brokenIdentity->canSendLocation()) << "all of them";
    }
    const std::set<std::string> all(std::begin(keys), std::end(keys));
    std::set<std::string> keysOfIDs = all;
    keysOfIDs.erase("IABUSPrivacy_String");
    keysOfIDs.erase("IABGPP_TCFEU2_SpecialFeatureOptIns");
    EXPECT_EQ(keysThatChange["IDs"], keysOfIDs);
    EXPECT_EQ(keysThatChange["location"],
              (std::set<std::string>{"IABGPP_2_String", "IABGPP_GppSID", "IABGPP_HDR_GppString",
                                     "IABGPP_HDR_Version", "IABGPP_TCFEU2_SpecialFeatureOptIns",
                                     "IABGPP_TCFEU2_VendorConsent"}));
}

// Each row changes signals with which everything is allowed; the words are its name.
TEST_F(UnreadableConsent, EachRuleInWords) {
    enum Verdict { IDs, Location, GPPIDs, GPPLocation, TCFLocation, USPrivacy };
    const VKTValue none;
    const VKTValue unreadable(VKTDate{});  // stands for itself
    const auto noGPP = std::pair(VKTConsentKeyGPPString, none);
    const auto noTCF = std::pair(VKTConsentKeyTCFString, none);
    struct Row {
        std::string words;
        Verdict verdict;
        std::vector<std::pair<std::string_view, VKTValue>> changes;
    };
    const Row rows[] = {
        {"IABGPP_HDR_Version cannot be read", IDs, {{VKTConsentKeyGPPVersion, unreadable}}},
        {"the GPP string decides, section 2 (TCF) applies and the purposes and the vendor are consented; "
         "section 6 (US Privacy) applies and the user has not opted out of sale",
         IDs,
         {}},
        {"the GPP string decides, section 6 (US Privacy) applies and IABGPP_6_String cannot be read",
         IDs,
         {{VKTConsentKeyGPPSectionCCPA, unreadable}, {VKTConsentKeyGPPSectionTCF, none}}},
        {"the GPP string leaves it open; the TCF string decides, IABTCF_gdprApplies is 1 and the purposes "
         "and the vendor are consented",
         IDs,
         {{VKTConsentKeyGPPVersion, 2}}},
        {"the GPP string leaves it open; IABTCF_TCString cannot be read",
         IDs,
         {{VKTConsentKeyGPPVersion, 2}, {VKTConsentKeyTCFString, unreadable}}},
        {"the TCF string decides, IABTCF_gdprApplies is a text, not a number",
         IDs,
         {noGPP, {VKTConsentKeyGDPRApplies, "1"}}},
        {"the TCF string decides, IABTCF_gdprApplies is 0.5", IDs, {noGPP, {VKTConsentKeyGDPRApplies, 0.5}}},
        {"the TCF string decides, IABTCF_gdprApplies is 1 and IABTCF_VendorConsents cannot be read",
         IDs,
         {noGPP, {VKTConsentKeyVendorConsents, unreadable}, {VKTConsentKeyPurposeConsents, none}}},
        {"the TCF string decides, IABTCF_gdprApplies is 1 and IABTCF_PurposeConsents is missing",
         IDs,
         {noGPP, {VKTConsentKeyPurposeConsents, none}}},
        {"there is no TCF string and IABTCF_gdprApplies cannot be read",
         IDs,
         {noGPP, noTCF, {VKTConsentKeyGDPRApplies, unreadable}}},
        {"there is no TCF string and IABTCF_gdprApplies does not say 1",
         IDs,
         {noGPP, noTCF, {VKTConsentKeyGDPRApplies, none}}},
        {"there is no TCF string and IABTCF_gdprApplies counts as 1",
         IDs,
         {noGPP, noTCF, {VKTConsentKeyGDPRApplies, "1"}}},
        {"section 2 (TCF) applies and IABGPP_2_String is an integer, not a text",
         GPPIDs,
         {{VKTConsentKeyGPPSectionTCF, 1}}},
        {"section 2 (TCF) applies and purpose 4 is not consented",
         GPPIDs,
         {{VKTConsentKeyGPPPurposeConsents, "1100001001"}}},
        {"section 2 (TCF) applies and purposes 2, 10 are not consented and vendor 45 is not consented; "
         "section 6 (US Privacy) applies and the user has opted out of sale",
         GPPIDs,
         {{VKTConsentKeyGPPPurposeConsents, "100100100"},
          {VKTConsentKeyGPPVendorConsents, "0"},
          {VKTConsentKeyGPPSectionCCPA, "1YY-"}}},
        {"section 2 (TCF) applies and IABGPP_2_String is empty", GPPIDs, {{VKTConsentKeyGPPSectionTCF, ""}}},
        {"section 2 (TCF) applies and IABGPP_2_String is not base64url without padding",
         GPPIDs,
         {{VKTConsentKeyGPPSectionTCF, "C="}}},
        {"section 2 (TCF) applies and IABGPP_2_String begins with neither B nor C (version 1 or 2)",
         GPPIDs,
         {{VKTConsentKeyGPPSectionTCF, "DO"}}},
        {"section 6 (US Privacy) applies and IABGPP_6_String is not a 1 followed by three of Y, N and -",
         GPPIDs,
         {{VKTConsentKeyGPPSectionCCPA, "1YN"}}},
        {"IABGPP_HDR_Version is not the number 1", GPPIDs, {{VKTConsentKeyGPPVersion, 2}}},
        {"IABGPP_HDR_GppString is empty or holds characters that no GPP string has",
         GPPIDs,
         {{VKTConsentKeyGPPString, "D+"}}},
        {"IABGPP_GppSID is no list of section IDs with _ between them",
         GPPIDs,
         {{VKTConsentKeyGPPSIDs, "2__6"}}},
        {"IABGPP_GppSID holds a number that is too large for a section ID",
         GPPLocation,
         {{VKTConsentKeyGPPSIDs, "2147483648"}}},
        {"neither section 2 (TCF) nor section 6 (US Privacy) applies", GPPIDs, {{VKTConsentKeyGPPSIDs, "7"}}},
        {"section 2 (TCF) does not apply", GPPLocation, {{VKTConsentKeyGPPSIDs, "6"}}},
        {"section 2 (TCF) applies and the vendor and special feature 1 are consented", GPPLocation, {}},
        {"section 2 (TCF) applies and IABGPP_TCFEU2_VendorConsent ends with vendor 45 while one flag more is "
         "asked for and special feature 1 is not opted in to",
         GPPLocation,
         {{VKTConsentKeyGPPVendorConsents, vendor45.substr(0, 45)}, {VKTConsentKeyGPPSpecialFeatures, "01"}}},
        {"section 2 (TCF) applies and IABGPP_TCFEU2_SpecialFeatureOptIns has one flag only",
         GPPLocation,
         {{VKTConsentKeyGPPSpecialFeatures, "1"}}},
        {"the GPP string decides, section 2 (TCF) does not apply", Location, {{VKTConsentKeyGPPSIDs, "6"}}},
        {"the GPP string leaves it open and nothing else binds the location",
         Location,
         {{VKTConsentKeyGPPVersion, none}}},
        {"there is no GPP string and nothing else binds the location", Location, {noGPP}},
        {"a TCF string outside a GPP string does not bind the location", TCFLocation, {}},
        {"the string is not a 1 followed by three of Y, N and -",
         USPrivacy,
         {{VKTConsentKeyCCPAString, "2YN-"}}},
    };
    std::set<VKTConsentRule> seen{VKTConsentRuleSignalPresent};
    for (const auto& [words, verdict, changes] : rows) {
        SCOPED_TRACE(words);
        store({Allowing, Refusing, Allowing, Allowing, Allowing, Allowing, Allowing});
        set("IABUSPrivacy_String", "1YN-");
        broken->unreadableKey = "";
        for (const auto& [key, value] : changes) {
            if (value == unreadable) broken->unreadableKey = key;
            set(std::string(key).c_str(), value);
        }
        const auto GPP = brokenIdentity->GPPString();
        const VKTConsentVerdict told = verdict == IDs           ? brokenIdentity->verdictOnIDs()
                                       : verdict == Location    ? brokenIdentity->verdictOnLocation()
                                       : verdict == GPPIDs      ? GPP->verdictOnIDs()
                                       : verdict == GPPLocation ? GPP->verdictOnLocation()
                                       : verdict == TCFLocation
                                           ? brokenIdentity->TCFString()->verdictOnLocation()
                                           : brokenIdentity->CCPAString()->verdictOnIDs();
        EXPECT_EQ(told.reason(), words);
        EXPECT_EQ(told.restsOnUnreadable(), !broken->unreadableKey.empty());
        for (const VKTConsentClause& clause : told.clauses)
            seen.insert(clause.rule);
    }
    EXPECT_EQ(seen.size(), std::size_t{VKTConsentRuleGDPRCountsAs} + 1) << "every rule has its words";
}

TEST_F(UnreadableConsent, TellsEachSignalThatIsNotRead) {
    store({Allowing, WrongType, Allowing, Allowing, WrongType, Allowing, Allowing});
    broken->unreadableKey = "IABTCF_VendorConsents";
    std::string told;
    for (const VKTConsentClause& fault : brokenIdentity->identityProvider()->signalFaults())
        told += fault.words() + '\n';
    EXPECT_EQ(told,
              "IABTCF_VendorConsents cannot be read\nIABGPP_2_String is an array, not a text\n"
              "IABTCF_gdprApplies is a text, not a number\n");
}

TEST_F(UnreadableConsent, ALegacyStringDoesNotStandInForAnUnreadableOne) {
    set("IABConsent_ConsentString", "BO");
    EXPECT_EQ(brokenIdentity->gdprConsentString(), "BO");
    broken->unreadableKey = "IABTCF_TCString";
    EXPECT_EQ(brokenIdentity->gdprConsentString(), std::nullopt);
}

TEST_F(Consent, TCFStringIsJudgedByFormAndFirstCharacter) {
    const std::string longString = "C" + std::string(100'000, 'x');
    // String, version, whether an error is logged.
    const std::tuple<std::string, int, bool> strings[] = {
        {"CPxy-_.09AZaz", 2, false}, {"BO", 1, false},  {"A", -1, false},
        {"DO", -1, false},           {"cO", -1, false}, {"", -1, false},
        {"CO==", -1, true},          {"C+", -1, true},  {"C/", -1, true},
        {" CO", -1, true},           {"CÖ", -1, true},  {longString, 2, false},
        {longString + "=", -1, true}};
    VKTRecordedLog log;
    for (const auto& [text, version, isLogged] : strings) {
        const auto string = VKTTCFString::initWithTCFString(text);
        EXPECT_EQ(string.version(), version) << text;
        EXPECT_EQ(string.isValid(), version != -1) << text;
        const std::string line =
            "ERROR Consent string '" + text +
            "' is invalid! An valid IAB consent string must be encoded in base64url without padding.";
        EXPECT_EQ(log.take(), std::vector<std::string>(isLogged, line));
    }
    EXPECT_EQ(section().description(), "VKTTCFString(TCFString: CO, isValid: YES, version: 2)");
}

TEST_F(Consent, WhetherTheGDPRAppliesByTypeOfTheStoredValue) {
    // Value, decision of a TCF string without flags, integer.
    const std::tuple<VKTValue, Decision, int> values[] = {
        {VKTValue(), Allowed, -1}, {1, Refused, 1},   {1.0, Refused, 1},   {true, Refused, 1},
        {2, Allowed, 2},           {-1, Allowed, -1}, {1.5, Allowed, 1},   {0.9, Allowed, 0},
        {false, Allowed, 0},       {"1", Allowed, 1}, {"yes", Allowed, 0}, {VKTArray{1}, Allowed, 0}};
    for (const auto& [value, decision, integer] : values) {
        set("IABTCF_gdprApplies", value);
        EXPECT_EQ(int{section(false).canSendIDs()}, decision) << value.description();
        EXPECT_EQ(identity->identityProvider()->TCFGDPRApplies(), integer) << value.description();
        EXPECT_EQ(identity->canSendIDs(), integer != 1) << value.description();
    }
}

TEST_F(Consent, FlagsAtTheirBounds) {
    // Purposes, vendors, special features; decisions on IDs and location; the identity's own judgement.
    const std::string longFlags(100'000, '1');
    set("IABGPP_2_String", "CO");
    const std::tuple<std::string, std::string, std::string, Decision, Decision, bool, bool> rows[] = {
        {allPurposes, vendor45, "10", Allowed, Allowed, true, true},
        {longFlags, longFlags, longFlags, Allowed, Allowed, true, true},
        {allPurposes, vendor45.substr(0, 45), "10", Refused, Refused, true, true},
        {allPurposes, vendor45.substr(0, 44), "10", Refused, Refused, true, false},
        {allPurposes, std::string(43, '0') + "101", "11", Refused, Refused, true, false},
        {"110100100", vendor45, "1", Refused, Refused, false, true},
        {"0101001001", vendor45, "01", Refused, Refused, false, true},
        {"1001001001", vendor45, "", Refused, Refused, false, true},
        {"1100001001", vendor45, "1x", Refused, Allowed, false, true},
        {"1101000001", vendor45, "10", Refused, Allowed, false, true},
        {"11x1001001", vendor45 + "x", "10", Allowed, Allowed, false, false},
        {"11ä1001001", "ä" + std::string(42, '0') + "10", "1ä", Refused, Refused, false, false},
        {allPurposes, "ä" + std::string(43, '0') + "1", "1ä", Refused, Refused, true, false},
        {"11ä1001001", "ä" + std::string(43, '0') + "1ä", "1ä", Allowed, Allowed, false, false}};
    for (const auto& [purposes, vendors, features, IDs, location, purposesAreValid, vendorsAreValid] : rows) {
        set("IABGPP_TCFEU2_PurposesConsent", purposes);
        set("IABGPP_TCFEU2_VendorConsent", vendors);
        set("IABGPP_TCFEU2_SpecialFeatureOptIns", features);
        EXPECT_EQ(int{section().canSendIDs()}, IDs) << purposes << ' ' << vendors;
        EXPECT_EQ(int{section().canSendLocation()}, location) << features << ' ' << vendors;
        const auto GPP = VKTGPPString::initWithGPPString("D", "2", 1);
        EXPECT_EQ(std::pair(int{GPP.canSendIDs()}, int{GPP.canSendLocation()}),
                  std::pair(int{IDs}, int{location}));
        EXPECT_EQ(VKTIdentity::tcfPurposesAreValid(purposes), purposesAreValid) << purposes;
        EXPECT_EQ(VKTIdentity::tcfVendorsAreValid(vendors), vendorsAreValid) << vendors;
    }
    EXPECT_EQ(int{section(true, "DO").canSendLocation()}, Refused);
    EXPECT_EQ(int{section(false, "DO").canSendLocation()}, Allowed);
    set("IABGPP_TCFEU2_PurposesConsent", VKTValue());
    EXPECT_EQ(int{section().canSendIDs()}, Undetermined) << "one of two texts";
    EXPECT_EQ(int{section().canSendLocation()}, Allowed) << "location needs no purposes";
    set("IABGPP_TCFEU2_SpecialFeatureOptIns", 1);
    EXPECT_EQ(int{section().canSendLocation()}, Undetermined);
}

TEST_F(Consent, USPrivacyStrings) {
    const auto check = [](const std::string& text, bool isValid, bool canSendIDs) {
        const auto string = VKTCCPAString::initWithCCPAString(text);
        EXPECT_EQ(std::tuple(string.isValid(), string.version(), string.canSendIDs()),
                  std::tuple(isValid, isValid ? 1 : -1, canSendIDs))
            << text;
    };
    for (const char* text : {"1YN-", "1NNN", "1---"})
        check(text, true, true);
    for (const char* text : {"1NY-", "1YYN"})
        check(text, true, false);
    for (const char* text : {"2NNN", "1NN", "1NNNN", "1yNN", "1NnN", "1NNx", ""})
        check(text, false, false);
    check(std::string(100'000, '1'), false, false);
    EXPECT_EQ(VKTCCPAString::initWithCCPAString("x").description(),
              "VKTCCPAString(CCPAString: x, isValid: NO, version: -1)");
}

TEST_F(Consent, GPPStringsAndTheirSections) {
    using IDs = std::vector<std::int32_t>;
    const std::string zeros(100'000, '0');
    std::string many = "0";
    IDs manyIDs{0};
    for (int i = 1; i < 100'000; ++i) {
        many += "_" + std::to_string(i);
        manyIDs.push_back(i);
    }
    const auto check = [](const std::string& list, bool isValid, const std::optional<IDs>& expected) {
        EXPECT_EQ(VKTGPPString::isRawGPPSIDStringValid(list), isValid) << list.substr(0, 20);
        EXPECT_EQ(VKTGPPString::gppSIDsFromRawGPPSIDString(list), expected) << list.substr(0, 20);
    };
    const std::pair<std::string, IDs> lists[] = {
        {"2_6", {2, 6}}, {"2_2", {2}},       {"6_2_06_-1", {6, 2, -1}},   {"-1", {-1}},
        {many, manyIDs}, {zeros + "2", {2}}, {"2147483647", {2147483647}}};
    for (const auto& [list, expected] : lists)
        check(list, true, expected);
    for (const std::string& beyondRange :
         {std::string("2147483648_2"), "2_" + zeros + "9" + zeros, std::string("18446744073709551618")})
        check(beyondRange, true, std::nullopt);
    for (const char* list : {"", "2__6", "_2", "2_", "-2", "1-1", "-10", "-0", " 2", "+2"})
        check(list, false, std::nullopt);
    for (const std::string& text : {std::string("aZ09.~_-"), zeros})
        EXPECT_TRUE(VKTGPPString::initWithGPPString(text, "7", 1).isValid()) << text.substr(0, 20);
    for (const std::string& text :
         {std::string(), std::string("D B"), std::string("D+"), zeros + "=", std::string("Ð")})
        EXPECT_FALSE(VKTGPPString::initWithGPPString(text, "7", 1).isValid()) << text.substr(0, 20);
    const auto unusable = VKTGPPString::initWithGPPString("D", "2147483648", 1);
    EXPECT_TRUE(unusable.isValid());
    EXPECT_EQ(int{unusable.canSendIDs()}, Undetermined);
    EXPECT_EQ(int{unusable.canSendLocation()}, Undetermined);
    set("IABGPP_HDR_GppString", "D");
    set("IABGPP_GppSID", "7");
    for (const auto& [version, values] :
         {std::pair(1, VKTArray{1, 1.0, true}), {-1, VKTArray{2, VKTValue(), "1"}}}) {
        for (const VKTValue& value : values) {
            set("IABGPP_HDR_Version", value);
            EXPECT_EQ(identity->GPPString()->version(), version) << value.description();
            EXPECT_EQ(identity->GPPString()->isValid(), version == 1) << value.description();
        }
    }
    set("IABGPP_GppSID", 7);
    EXPECT_FALSE(identity->GPPString()) << "both must be texts";
}

// A hash table whose hash of a number is the number itself keeps all multiples of its size in one bucket.
TEST(GPPString, ChosenSectionIDsCostNoMoreThanOthers) {
    constexpr std::size_t count = 10000;
    std::unordered_set<std::int32_t> table;
    for (std::int32_t i = 0; table.size() < count; ++i)
        table.insert(i);
    const auto cost = [&](std::size_t factor) {
        std::string list = "0";
        for (std::size_t i = 1; i < count; ++i)
            list += "_" + std::to_string(i * factor);
        return fastestRun([&] {
            const auto IDs = VKTGPPString::gppSIDsFromRawGPPSIDString(list);
            EXPECT_TRUE(IDs && IDs->size() == count);
        });
    };
    EXPECT_LT(cost(table.bucket_count()) / cost(1), VKTFlatCostRatio);
}

}  // namespace
