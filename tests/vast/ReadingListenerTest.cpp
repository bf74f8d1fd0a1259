// What is told of a document while it is read.
#include "VKTCoreKit/vast/VKTVASTReading.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "VKTCoreKit/vast/VKTVASTModel.h"
#include "tests/support/FastestRun.h"
#include "tests/vast/TestNodes.h"

namespace {

std::string inlineAd(const std::string& content, const std::string& attributes = "") {
    return "<Ad" + attributes + "><InLine><AdSystem>s</AdSystem>" + content + "</InLine></Ad>";
}

// "PATH: REASON" of what needs attention.
struct Attention : VKTVASTReadingListener {
    void dropped(const std::string& /*path*/, const std::string& /*reason*/) override { ++drops; }
    void needsAttention(const std::string& path, const std::string& reason) override {
        heard.push_back(path.substr(path.rfind('/') + 1) + ": " + reason);
    }
    std::size_t drops = 0;
    Texts heard;
};

void read(const std::string& ads, Attention& attention) {
    VKTVASTModel::initWithDictionary(nodeOf("<VAST version='4.2'>" + ads + "</VAST>"), nullptr,
                                     vkt_ignoreVASTErrors, &attention);
}

}  // namespace

TEST(ReadingListener, WhatNeedsAttention) {
    const auto linearWith = [](const std::string& mediaFile) {
        return inlineAd("<Creatives><Creative><Linear><MediaFiles><MediaFile type='video/mp4'" + mediaFile +
                        "</MediaFile></MediaFiles></Linear></Creative></Creatives>");
    };
    const auto scriptOf = [](const std::string& url) {
        return inlineAd("<AdVerifications><Verification><JavaScriptResource>" + url +
                        "</JavaScriptResource></Verification></AdVerifications>");
    };
    const std::string noNumber = ", no usable number, and counts as ";
    const std::string isRelative = ": its URL is relative, and a document has no base for it";
    const std::pair<std::string, Texts> cases[] = {
        {linearWith(" width=' 5 ' height='+1e3'>http://m"), {}},
        {linearWith(" width='inf'>http://m"), {"@width: it is \"inf\"" + noNumber + "0"}},
        {linearWith(" width='5px'>http://m"), {"@width: it is \"5px\"" + noNumber + "5"}},
        {linearWith(">www.ads.test/m"), {"MediaFile" + isRelative}},
        {linearWith(">[SCHEME]://ads.test/m"), {}},
        {linearWith(">{{CLICK}}http://ads.test/m"), {}},
        {scriptOf("/omid.js"), {"JavaScriptResource" + isRelative}},
        {scriptOf("%%CLICK%%http://ads.test/omid.js"), {}},
        {inlineAd("", " sequence='00'"), {}},
        {inlineAd("", " sequence='one'"),
         {"@sequence: it is \"one\", no whole number, so the ad is the last of its pod"}},
    };
    for (const auto& [ads, expected] : cases) {
        SCOPED_TRACE(ads);
        Attention attention;
        read(ads, attention);
        EXPECT_EQ(attention.heard, expected);
    }
}

TEST(ReadingListener, UnreadElementsOfManyNamesCostNoMoreThanOfOne) {
    constexpr int count = 20000;
    const auto costOf = [&](bool haveOwnNames) {
        std::string content;
        for (int i = 0; i < count; ++i)
            content += "<x" + std::to_string(haveOwnNames ? i : count) + " a='1'/>";
        const std::string ad = inlineAd(content);
        return fastestRun([&] {
            Attention attention;
            read(ad, attention);
            EXPECT_EQ(attention.drops, count);
        });
    };
    EXPECT_LT(costOf(true), costOf(false) * VKTFlatCostRatio);
}

TEST(ReadingListener, WhatAListenerThrowsEndsTheReading) {
    struct Thrower : VKTVASTReadingListener {
        void dropped(const std::string& path, const std::string& /*reason*/) override {
            heard.push_back(path);
            throw std::runtime_error(path);
        }
        Texts heard;
    } thrower;
    const VKTDictionary document =
        nodeOf("<VAST version='4.2'><Foo a='1'/><Ad><InLine a='1'><Bar a='1'/></InLine></Ad></VAST>");
    EXPECT_THROW(VKTVASTModel::initWithDictionary(document, nullptr, vkt_ignoreVASTErrors, &thrower),
                 std::runtime_error);
    EXPECT_EQ(thrower.heard, Texts{"/VAST/Ad/InLine/Bar"});
}
