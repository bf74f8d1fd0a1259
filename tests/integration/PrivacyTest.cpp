// "vkt privacy": what each set of signals decides, why, and what is kept.
#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include "tests/integration/ToolRun.h"

namespace {

const std::string flags46 = std::string(44, '0') + "10";

std::string set(const std::string& key, const std::string& value) {
    return " --set '" + key + "=" + value + "'";
}

const std::string consented =
    set("IABTCF_PurposeConsents", "string:1101001001") + set("IABTCF_VendorConsents", "string:" + flags46);
const std::string TCF = set("IABTCF_TCString", "string:CO") + set("IABTCF_gdprApplies", "int:1");
const std::string GPP = set("IABGPP_HDR_Version", "int:1") + set("IABGPP_HDR_GppString", "string:DBAA~1");

// Parts of a report.
const std::string noStrings = R"("tcf": null, "usPrivacy": null, "gpp": null)";

std::string TCFPart(const std::string& string, int version, int canSendIDs) {
    return R"("tcf": {"string": ")" + string + R"(", "isValid": )" + (version > 0 ? "true" : "false") +
           R"(, "version": )" + std::to_string(version) + R"(, "isComingFromGPP": false, "canSendIDs": )" +
           std::to_string(canSendIDs) + R"(, "canSendLocation": 0})";
}
std::string GPPPart(const std::string& sectionIDs, int version, int canSendIDs, int canSendLocation) {
    return R"("gpp": {"string": "DBAA~1", "sectionIDs": )" + sectionIDs + R"(, "isValid": )" +
           (version > 0 && sectionIDs != "null" ? "true" : "false") + R"(, "version": )" +
           std::to_string(version) + R"(, "canSendIDs": )" + std::to_string(canSendIDs) +
           R"(, "canSendLocation": )" + std::to_string(canSendLocation) + "}";
}

}  // namespace

TEST(Privacy, ReportsEachDecisionWithItsRule) {
    const std::string noIdentity = R"({"type": 0, "identity": "", "ifa": null, "transientId": null})";
    const std::string noUS = R"("usPrivacy": null, )";
    const std::string noGPP = noUS + R"("gpp": null)";
    const std::string GPPFlags = set("IABGPP_TCFEU2_PurposesConsent", "string:1101001001") +
                                 set("IABGPP_TCFEU2_VendorConsent", "string:" + flags46) +
                                 set("IABGPP_TCFEU2_SpecialFeatureOptIns", "string:01") +
                                 set("IABGPP_2_String", "string:CO");
    struct Row {
        std::string arguments, strings;
        bool canSendIDs, canSendLocation;
        std::string identity, warnings, line;
    };
    const Row rows[] = {
        {"--ifa A", noStrings, true, true, R"({"type": 1, "identity": "A", "ifa": "A", "transientId": null})",
         "[]", "there is no TCF string and IABTCF_gdprApplies does not say 1: identifiers may be sent"},
        {"--ifa A --custom-id ''" + set("IABTCF_gdprApplies", "string:1"), noStrings, false, true,
         R"({"type": 3, "identity": "", "ifa": "A", "transientId": null})",
         R"(["IABTCF_gdprApplies is a text, not a number, and counts as missing beside a TCF string and as 1 without one"])",
         "there is no TCF string and IABTCF_gdprApplies counts as 1: identifiers may not be sent"},
        {TCF + consented + set("IABTCF_gdprApplies", "double:1.0"), TCFPart("CO", 2, 0) + ", " + noGPP, true,
         true, noIdentity, "[]",
         "IABTCF_gdprApplies is 1 and the purposes and the vendor are consented: identifiers may be sent"},
        {TCF + consented + set("IABTCF_PurposeConsents", "string:1100001001"),
         TCFPart("CO", 2, 1) + ", " + noGPP, false, true, noIdentity, "[]",
         "IABTCF_gdprApplies is 1 and purpose 4 is not consented: identifiers may not be sent"},
        {set("IABConsent_ConsentString", "string:C=") + set("IABTCF_TCString", "int:1") +
             set("IABUSPrivacy_String", "string:1NY-") + set("IABGPP_GppSID", "string:2"),
         TCFPart("C=", -1, 0) +
             R"(, "usPrivacy": {"string": "1NY-", "isValid": true, "version": 1, "canSendIDs": 1}, "gpp": null)",
         true, true, noIdentity,
         R"(["IABTCF_TCString is an integer, not a text, and counts as missing",
             "IABConsent_ConsentString is used, a legacy key, as IABTCF_TCString holds no text",
             "IABConsent_ConsentString is not base64url without padding",
             "IABGPP_GppSID is not used, as IABGPP_HDR_GppString is missing"])",
         "the user has opted out of sale: identifiers may not be sent"},
        {TCF + GPP + GPPFlags + set("IABGPP_GppSID", "string:2_6") + set("IABGPP_6_String", "string:1YN-"),
         TCFPart("CO", 2, 1) + ", " + noUS + GPPPart("[2, 6]", 1, 0, 1), true, false, noIdentity, "[]",
         "the GPP string decides, section 2 (TCF) applies and special feature 1 is not opted in to: "
         "location may not be sent"},
        {GPP + GPPFlags + set("IABGPP_GppSID", "string:2_6") + set("IABGPP_6_String", "bool:true") +
             set("IABGPP_TCFEU2_VendorConsent", "string:" + flags46.substr(0, 45)),
         R"("tcf": null, )" + noUS + GPPPart("[2, 6]", 1, 2, 1), true, false, noIdentity,
         R"(["IABGPP_6_String is a boolean, not a text, and counts as missing",
             "the GPP string does not decide on identifiers: section 6 (US Privacy) applies and IABGPP_6_String is a boolean, not a text"])",
         "section 2 (TCF) applies and IABGPP_TCFEU2_VendorConsent ends with vendor 45 while one flag more "
         "is asked for and special feature 1 is not opted in to: location may not be sent"},
        {"--ifa 00000000-0000-0000-0000-000000000000" + GPP + set("IABGPP_GppSID", "string:2__6") +
             set("IABUSPrivacy_String", "string:1NN"),
         R"("tcf": null, "usPrivacy": {"string": "1NN", "isValid": false, "version": -1, "canSendIDs": 1}, )" +
             GPPPart("null", 1, 2, 2),
         true, true, noIdentity,
         R"(["IABUSPrivacy_String is not a 1 followed by three of Y, N and -",
             "the GPP string does not decide on identifiers: IABGPP_GppSID is no list of section IDs with _ between them"])",
         "the GPP string leaves it open; there is no TCF string and IABTCF_gdprApplies does not say 1: "
         "identifiers may be sent"},
    };
    for (const Row& row : rows) {
        const std::string arguments = "privacy --no-transient " + row.arguments;
        SCOPED_TRACE(arguments);
        const auto text = [](bool value) { return value ? "true" : "false"; };
        const VKTDictionary expected =
            parsed("{" + row.strings + R"(, "canSendIDs": )" + text(row.canSendIDs) +
                   R"(, "canSendLocation": )" + text(row.canSendLocation) + R"(, "identity": )" +
                   row.identity + R"(, "warnings": )" + row.warnings + "}");
        const Outcome report = runTool(arguments + " --json");
        EXPECT_EQ(report.status, 0);
        EXPECT_EQ(report.err, "");
        EXPECT_TRUE(parsed(report.out) == expected) << report.out << "is not\n"
                                                    << VKTValue(expected).description();
        const Outcome page = runTool(arguments);
        EXPECT_NE(page.out.find("   " + row.line + "\n"), std::string::npos) << page.out;
    }
}

TEST(Privacy, KeepsSignalsAndTheTransientIDInTheStore) {
    const std::string file = testing::TempDir() + "vkt-privacy-" + std::to_string(getpid()) + ".db";
    const std::string command = "privacy --json --store " + file;
    const VKTDictionary first = parsed(runTool(command + set("IABTCF_gdprApplies", "int:1")).out);
    const VKTDictionary& identity = *valueOf(first, "identity").asDictionary();
    EXPECT_EQ(valueOf(identity, "type"), VKTValue(2));
    EXPECT_EQ(valueOf(identity, "identity"), valueOf(identity, "transientId"));
    EXPECT_EQ(valueOf(first, "canSendIDs"), VKTValue(false));
    EXPECT_EQ(parsed(runTool(command).out), first) << "the next run";

    for (const char* suffix : {"-wal", "-shm"})
        std::remove((file + suffix).c_str());
    std::ofstream(file) << std::string(5000, 'x');
    const Outcome damaged = runTool(command);
    EXPECT_EQ(damaged.status, 0);
    EXPECT_NE(damaged.err.find("it is kept as " + file + ".damaged"), std::string::npos) << damaged.err;
    EXPECT_EQ(valueOf(parsed(damaged.out), "canSendIDs"), VKTValue(true));
    for (const char* suffix : {"", "-wal", "-shm", ".lock", ".damaged"})
        std::remove((file + suffix).c_str());
    EXPECT_EQ(runTool("privacy --store /").status, 3);
}

TEST(Privacy, RefusesWhatIsNoSetting) {
    for (const char* text : {"k", "k=1", "=int:1", "k=int:", "k=int:1.0", "k=int:9223372036854775808",
                             "k=double:nan", "k=double:1x", "k=bool:1", "k=date:0", "k=string:\xE9"}) {
        const Outcome outcome = runTool(std::string("privacy --set '") + text + "'");
        EXPECT_EQ(outcome.status, 2) << text;
        EXPECT_NE(outcome.err.find("KEY=TYPE:VALUE is expected"), std::string::npos) << outcome.err;
    }
}
