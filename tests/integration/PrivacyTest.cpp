// "vkt privacy": what each set of signals decides, why, and what is kept.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <utility>

#include "tests/integration/ToolRun.h"
#include "tests/support/VKTStoreFolder.h"

namespace {

const std::string flags46 = std::string(44, '0') + "10";

std::string set(const std::string& key, const std::string& value) {
    return " --set '" + key + "=" + value + "'";
}

const std::string consented =
    set("IABTCF_PurposeConsents", "string:1101001001") + set("IABTCF_VendorConsents", "string:" + flags46);
const std::string TCF = set("IABTCF_TCString", "string:CO") + set("IABTCF_gdprApplies", "int:1");
const std::string GPP = set("IABGPP_HDR_Version", "int:1") + set("IABGPP_HDR_GppString", "string:DBAA~1");

const std::string reportKeys =
    "tcf usPrivacy gpp canSendIDs canSendLocation IDsReason locationReason identity warnings";

// A report without its keys, and without the reasons, which the page shows as well.
VKTValue valuesOf(const VKTValue& value) {
    const VKTDictionary* dictionary = value.asDictionary();
    if (dictionary == nullptr) return value;
    VKTArray values;
    for (const auto& [key, member] : *dictionary)
        if (!key.ends_with("Reason")) values.push_back(valuesOf(member));
    return values;
}

}  // namespace

TEST(Privacy, ReportsEachDecisionWithItsRule) {
    const std::string GPPFlags = set("IABGPP_TCFEU2_PurposesConsent", "string:1101001001") +
                                 set("IABGPP_TCFEU2_VendorConsent", "string:" + flags46) +
                                 set("IABGPP_TCFEU2_SpecialFeatureOptIns", "string:01") +
                                 set("IABGPP_2_String", "string:CO");
    const std::pair<const char*, const char*> keys[] = {
        {"tcf", "string isValid version isComingFromGPP canSendIDs canSendLocation IDsReason locationReason"},
        {"usPrivacy", "string isValid version canSendIDs IDsReason"},
        {"gpp", "string sectionIDs isValid version canSendIDs canSendLocation IDsReason locationReason"},
        {"identity", "type typeReason identity ifa transientId"}};
    const struct {
        std::string arguments, values, line;
    } rows[] = {
        {"--ifa A", R"(null,null,null,true,true,[1,"A","A",null],[])",
         "there is no TCF string and IABTCF_gdprApplies does not say 1: identifiers may be sent"},
        {"--ifa A --custom-id ''" + set("IABTCF_gdprApplies", "string:1"),
         R"(null,null,null,false,true,[3,"","A",null],["IABTCF_gdprApplies is a text, not a number, and counts as missing beside a TCF string and as 1 without one"])",
         "there is no TCF string and IABTCF_gdprApplies counts as 1: identifiers may not be sent"},
        {TCF + consented + set("IABTCF_gdprApplies", "double:1.0"),
         R"(["CO",true,2,false,0,0],null,null,true,true,[0,"",null,null],[])",
         "IABTCF_gdprApplies is 1 and the purposes and the vendor are consented: identifiers may be sent"},
        {TCF + consented + set("IABTCF_PurposeConsents", "string:1100001001"),
         R"(["CO",true,2,false,1,0],null,null,false,true,[0,"",null,null],[])",
         "IABTCF_gdprApplies is 1 and purpose 4 is not consented: identifiers may not be sent"},
        {set("IABConsent_ConsentString", "string:C=") + set("IABTCF_TCString", "int:1") +
             set("IABUSPrivacy_String", "string:1NY-") + set("IABGPP_GppSID", "string:2"),
         R"(["C=",false,-1,false,0,0],["1NY-",true,1,1],null,true,true,[0,"",null,null],["IABTCF_TCString is an integer, not a text, and counts as missing","IABConsent_ConsentString is used, a legacy key, as IABTCF_TCString holds no text","IABConsent_ConsentString is not base64url without padding","IABGPP_GppSID is not used, as IABGPP_HDR_GppString is missing"])",
         "the user has opted out of sale: identifiers may not be sent"},
        {TCF + GPP + GPPFlags + set("IABGPP_GppSID", "string:2_6") + set("IABGPP_6_String", "string:1YN-"),
         R"(["CO",true,2,false,1,0],null,["DBAA~1",[2,6],true,1,0,1],true,false,[0,"",null,null],[])",
         "the GPP string decides, section 2 (TCF) applies and special feature 1 is not opted in to: "
         "location may not be sent"},
        {GPP + GPPFlags + set("IABGPP_GppSID", "string:2_6") + set("IABGPP_6_String", "bool:true") +
             set("IABGPP_TCFEU2_VendorConsent", "string:" + flags46.substr(0, 45)),
         R"(null,null,["DBAA~1",[2,6],true,1,2,1],true,false,[0,"",null,null],["IABGPP_6_String is a boolean, not a text, and counts as missing","the GPP string does not decide on identifiers: section 6 (US Privacy) applies and IABGPP_6_String is a boolean, not a text"])",
         "section 2 (TCF) applies and IABGPP_TCFEU2_VendorConsent ends with vendor 45 while one flag more "
         "is asked for and special feature 1 is not opted in to: location may not be sent"},
        {"--ifa 00000000-0000-0000-0000-000000000000" + GPP + set("IABGPP_GppSID", "string:2__6") +
             set("IABUSPrivacy_String", "string:1NN"),
         R"(null,["1NN",false,-1,1],["DBAA~1",null,false,1,2,2],true,true,[0,"",null,null],["IABUSPrivacy_String is not a 1 followed by three of Y, N and -","the GPP string does not decide on identifiers: IABGPP_GppSID is no list of section IDs with _ between them"])",
         "the GPP string leaves it open; there is no TCF string and IABTCF_gdprApplies does not say 1: "
         "identifiers may be sent"},
    };
    for (const auto& [arguments, values, line] : rows) {
        SCOPED_TRACE(arguments);
        const Outcome outcome = runTool("privacy --no-transient --json " + arguments);
        EXPECT_EQ(outcome.status, 0);
        EXPECT_EQ(outcome.err, "");
        const VKTDictionary report = parsed(outcome.out);
        EXPECT_EQ(vkt_JSONStringWithValue(valuesOf(report)), "[" + values + "]");
        EXPECT_EQ(keysOf(report), reportKeys);
        for (const auto& [part, names] : keys)
            EXPECT_EQ(keysOf(valueOf(report, part)), valueOf(report, part).isNull() ? "" : names);
        const std::string page = runTool("privacy --no-transient " + arguments).out;
        EXPECT_NE(page.find("   " + line + "\n"), std::string::npos) << page;
        for (const char* what : {"IDsReason", "locationReason", "identity.typeReason"})
            EXPECT_NE(page.find("   " + textAt(report, what)), std::string::npos) << what << page;
    }
}

TEST(Privacy, KeepsSignalsAndTheTransientIDInTheStore) {
    const VKTStoreFolder folder;
    const std::string command = "privacy --json --store " + folder.path();
    const VKTDictionary first = parsed(runTool(command + set("IABTCF_gdprApplies", "int:1")).out);
    EXPECT_EQ(textAt(first, "identity.type"), "2");
    EXPECT_EQ(textAt(first, "identity.identity"), textAt(first, "identity.transientId"));
    EXPECT_EQ(valueOf(first, "canSendIDs"), VKTValue(false));
    EXPECT_EQ(parsed(runTool(command).out), first) << "the next run";
}

// Changes one letter of what is stored under a key, in the file that holds it.
bool spoilRecord(const std::string& path, const std::string& key) {
    std::string content = vkt_contentOf(path);
    for (std::size_t place = content.find(key); place != std::string::npos;
         place = content.find(key, place + 1)) {
        const std::size_t archive = content.find("VKTKeyValueStore", place);
        if (archive == std::string::npos || archive > place + key.size() + 40) continue;
        content[archive] = 'X';
        std::ofstream(path, std::ios::binary) << content;
        return true;
    }
    return false;
}

TEST(Privacy, RefusesWhereASignalCannotBeRead) {
    const VKTStoreFolder folder;
    const std::string file = folder.path();
    const std::string GPPWithSections =
        GPP + set("IABGPP_GppSID", "string:2_6") + set("IABGPP_2_String", "string:CO") +
        set("IABGPP_6_String", "string:1YN-") + set("IABGPP_TCFEU2_PurposesConsent", "string:1101001001") +
        set("IABGPP_TCFEU2_VendorConsent", "string:" + flags46);
    const struct {
        std::string key, settings, line;
    } rows[] = {
        {"IABTCF_gdprApplies", set("IABTCF_gdprApplies", "int:0"),
         "there is no TCF string and IABTCF_gdprApplies cannot be read"},
        {"IABGPP_HDR_Version", GPPWithSections, "IABGPP_HDR_Version cannot be read"},
        {"IABGPP_TCFEU2_PurposesConsent", GPPWithSections,
         "the GPP string decides, section 2 (TCF) applies and IABGPP_TCFEU2_PurposesConsent cannot be read"},
    };
    for (const auto& [key, settings, line] : rows) {
        SCOPED_TRACE(line);
        const std::string command = "privacy --no-transient --store " + file;
        std::filesystem::remove(file);
        ASSERT_EQ(runTool(command + settings).status, 0);
        ASSERT_TRUE(spoilRecord(file, key));
        const Outcome page = runTool(command);
        EXPECT_EQ(page.status, 3);
        EXPECT_NE(page.out.find("   " + line + ": identifiers may not be sent\n"), std::string::npos)
            << page.out;
        EXPECT_EQ(page.err, "vkt: The value under \"" + key + "\" in the store " + file +
                                " is damaged; it counts as unreadable until it is written again\n");
        const Outcome outcome = runTool(command + " --json");
        EXPECT_EQ(outcome.status, 3);
        const VKTDictionary report = parsed(outcome.out);
        EXPECT_EQ(keysOf(report), reportKeys);
        EXPECT_EQ(valueOf(report, "canSendIDs"), VKTValue(false));
        const VKTArray& warnings = *valueOf(report, "warnings").asArray();
        ASSERT_FALSE(warnings.empty());
        EXPECT_TRUE(warnings.front().asString()->starts_with(key + " cannot be read")) << outcome.out;
    }
}

TEST(Privacy, RefusesWhatIsNoSetting) {
    for (const char* text : {"k", "k=1", "=int:1", "k=int:", "k=int:1.0", "k=int:9223372036854775808",
                             "k=double:nan", "k=double:1x", "k=bool:1", "k=date:0", "k=string:\xE9"}) {
        const Outcome outcome = runTool(std::string("privacy --set '") + text + "'");
        EXPECT_EQ(outcome.status, 2) << text;
        EXPECT_NE(outcome.err.find("KEY=TYPE:VALUE is expected"), std::string::npos) << outcome.err;
    }
}
