#include "VKTCoreKit/config/VKTRemoteLog.h"

#include <gtest/gtest.h>

#include "VKTCoreKit/config/VKTLogSDKNode.h"
#include "VKTCoreKit/platform/VKTServices.h"

namespace {

std::string JSON(const VKTLogNode& node) {
    const auto dictionary = node.jsonDictionary();
    return node.name() +
           (dictionary ? vkt_JSONStringWithValue(*dictionary).value_or("not JSON") : " nothing");
}

TEST(RemoteLog, EqualityLooksAtAllButTheMetric) {
    const auto node = [](int value) { return VKTLogMeasureNode::initWithMeasureDictionary({{"a", value}}); };
    VKTRemoteLog log;
    log.nodes = VKTLogNodes{node(1)};
    log.secured = false;
    VKTRemoteLog same = log;
    same.nodes = VKTLogNodes{node(1)};
    same.metricType = "x";
    EXPECT_TRUE(log == same);
    VKTRemoteLog others[8] = {log, log, log, log, log, log, log, log};
    others[0].timestamp = others[1].message = others[2].category = "other";
    others[3].level = VKTRemoteLogLevelError;
    others[4].samplingRate = 5;
    others[5].type = others[6].host = "";
    others[7].secured.reset();
    for (const VKTRemoteLog& other : others)
        EXPECT_FALSE(log == other) << &other - others;
    for (const auto& nodes : {std::optional<VKTLogNodes>(), std::optional(VKTLogNodes{node(2)}),
                              std::optional(VKTLogNodes{nullptr})}) {
        same.nodes = nodes;
        EXPECT_FALSE(log == same);
    }
}

TEST(LogNode, EachKindHasItsNameAndEntries) {
    const auto sdkNode = [](int identityType) {
        return VKTLogSDKNode::initWithSDKName("n", "1", 1, {}, "", 0, "a", "v", "b", "p", "s",
                                              static_cast<VKTIdentityType>(identityType), false);
    };
    const VKTDictionary info{{"VASTCode", 7}, {"more", "x"}};
    const std::pair<std::shared_ptr<const VKTLogNode>, const char*> cases[] = {
        {VKTLogErrorNode::initWithErrorMessage("m", "", "", std::nullopt),
         R"(error{"message":"m","ad_response":""})"},
        {VKTLogErrorNode::initWithErrorMessage("m", {}, VKTTimeInterval(1), "u", "j"),
         R"(error{"message":"m","adCallUrl":"u","adCallJsonMessage":"j"})"},
        {VKTLogVASTErrorNode::initWithDescription("d", "r", 303, 12, info),
         R"(error{"message":"d","VASTResponse":"r","VASTCode":7,"korvoCode":12,"more":"x"})"},
        {VKTLogVASTErrorNode::initWithDescription("d", {}, -1, 12, {}),
         R"(error{"message":"d","VASTCode":-1,"korvoCode":12})"},
        {VKTLogMeasureNode::initWithMeasureDictionary({}), "measure nothing"},
        {VKTLogOpenMeasurementNode::initWithVendorName({}, "http://j", 1),
         R"(openMeasurement{"JSLibraryURL":"http://j","implementationType":1})"},
        {VKTLogSDKNode::initWithSDKName("n", "1.0", 10, true, "7.22", 2, "app", "3", "b.id", "model", "16.1",
                                        VKTIdentityTypeTransientID, true, 3, "G", "2_6", 1, true, "T", true,
                                        2, "1YNN", true, 1, "WiFi"),
         R"(sdk{"name":"n","version":"1.0","versionId":10,"useManualBaseUrl":true,"coreVersion":"7.22",)"
         R"("implementationType":2,"platformName":"iOS","platformVersion":"16.1","deviceName":"model",)"
         R"("deviceConnectionType":"WiFi","uidType":"korvoTransientID","GPPString":"G","GPPSIDString":"2_6",)"
         R"("GPPStringValid":true,"GPPVersion":1,"gdpr_consent":"T","TCFStringValid":true,"TCFVersion":2,)"
         R"("CCPAString":"1YNN","CCPAStringValid":true,"CCPAVersion":1,"uidLimitedTracking":true,)"
         R"("appName":"app","appVersion":"3","bundleId":"b.id","ATTAuthorizationStatus":3})"},
        {sdkNode(0),
         R"(sdk{"name":"n","version":"1","versionId":1,"implementationType":0,"platformName":"iOS",)"
         R"("platformVersion":"s","deviceName":"p","GPPStringValid":false,"GPPVersion":0,"TCFStringValid":false,)"
         R"("TCFVersion":0,"CCPAStringValid":false,"CCPAVersion":0,"uidLimitedTracking":false,"appName":"a",)"
         R"("appVersion":"v","bundleId":"b","ATTAuthorizationStatus":-1})"}};
    for (const auto& [node, expected] : cases)
        EXPECT_EQ(JSON(*node), expected);
    for (const auto& [type, name] : {std::pair(1, "appleIDFA"), std::pair(3, "publisherCustomID")})
        EXPECT_EQ(*sdkNode(type)->jsonDictionary()->find("uidType")->asString(), name);
    EXPECT_EQ(sdkNode(4)->jsonDictionary()->find("uidType"), nullptr);
    EXPECT_TRUE(cases[0].first->isEqual(*VKTLogErrorNode::initWithErrorMessage("m", "", VKTTimeInterval(9))));
    EXPECT_FALSE(cases[0].first->isEqual(*cases[1].first));
}

}  // namespace
