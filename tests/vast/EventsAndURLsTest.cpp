#include <gtest/gtest.h>

#include "VKTCoreKit/core/VKTLog.h"
#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/vast/VKTVASTClickEvent.h"
#include "VKTCoreKit/vast/VKTVASTTrackingEvent.h"
#include "VKTCoreKit/vast/VKTVASTUniversalAdId.h"
#include "VKTCoreKit/vast/VKTVASTViewabilityEvent.h"
#include "tests/vast/TestNodes.h"

namespace {

using Tracking = VKTVASTTrackingEvent;
using Viewability = VKTVASTViewabilityEvent;

std::shared_ptr<Tracking> trackingOf(std::string_view xml) {
    return Tracking::initWithDictionary(nodeOf(xml));
}

TEST(TrackingEvent, AcceptedNames) {
    const std::string_view consumable =
        "creativeView start firstSecond firstQuartile midpoint thirdQuartile complete progress loaded";
    const std::string_view repeatable =
        "click mute unmute pause rewind resume fullscreen exitFullscreen timeToClick skip vpaidAdInteraction "
        "playerExpand playerCollapse";
    for (const auto names : {consumable, repeatable}) {
        for (const std::string_view name : vkt_split(names, ' ')) {
            const auto event = trackingOf("<Tracking event='" + std::string(name) + "'>http://h/</Tracking>");
            ASSERT_TRUE(event) << name;
            EXPECT_EQ(event->eventName(), name);
            EXPECT_EQ(event->isEventConsumable(), names == consumable) << name;
        }
    }
    for (const std::string name : {"Start", "viewcount", "acceptInvitation", "close", "start ", ""})
        EXPECT_FALSE(trackingOf("<Tracking event='" + name + "'>http://h/</Tracking>")) << name;
}

TEST(TrackingEvent, UnknownNamesAreLoggedAndNotConsumable) {
    EXPECT_TRUE(Tracking::isEventConsumableFromName("viewcount"));
    EXPECT_TRUE(Viewability::isEventConsumableFromName("viewundetermined"));
    VKTLog::sharedInstance()->setIsDebugLoggingEnabled(true);
    for (const auto isConsumable :
         {Tracking::isEventConsumableFromName, Viewability::isEventConsumableFromName}) {
        testing::internal::CaptureStdout();
        EXPECT_FALSE(isConsumable("acceptInvitation"));
        const std::string output = testing::internal::GetCapturedStdout();
        EXPECT_NE(output.find("Event 'acceptInvitation' is neither"), std::string::npos) << output;
    }
    VKTLog::sharedInstance()->setIsDebugLoggingEnabled(false);
}

TEST(TrackingEvent, NodesAreRead) {
    const auto event = trackingOf(
        "<Tracking event='progress' offset='00:00:05'><![CDATA[ http://h/[CB]?a|b ${X} ]]></Tracking>");
    ASSERT_TRUE(event);
    EXPECT_EQ(event->offset(), "00:00:05");
    EXPECT_EQ(event->eventURL().absoluteString(), "http://h/%5BCB%5D?a%7Cb%20$%7BX%7D");
    EXPECT_EQ(event->eventOffset(), -1);
    EXPECT_EQ(trackingOf("<Tracking event='start' offset=''>http://h/</Tracking>")->offset(), "");

    for (const char* xml : {"<Tracking event='start'/>", "<Tracking>http://h/</Tracking>",
                            "<Tracking event='start'>http://h/<b x='1'/>more</Tracking>",
                            "<Tracking event='start'>http://h:x/</Tracking>"}) {
        EXPECT_FALSE(trackingOf(xml)) << xml;
    }
    const auto metric =
        Tracking::initWithExtensionDictionary(nodeOf("<M name='viewcount' offset='5'>http://h/</M>"));
    EXPECT_TRUE(metric->isEqual(*Tracking::initWithName("viewcount", "5", urlOf("http://h/"))));
    EXPECT_FALSE(Tracking::initWithExtensionDictionary(nodeOf("<M name='start'>http://h/</M>")));
}

TEST(TrackingEvent, OnlyTheFirstContainerIsReadInOrder) {
    const auto node = nodeOf(
        "<Linear><TrackingEvents><Tracking event='start'>http://1</Tracking><Tracking event='no'>http://2"
        "</Tracking><Tracking event='mute'>http://3</Tracking></TrackingEvents>"
        "<TrackingEvents><Tracking event='start'>http://4</Tracking></TrackingEvents></Linear>");
    EXPECT_EQ(eventTextsOf(Tracking::findTrackingEvents(node)), (Texts{"start http://1", "mute http://3"}));
}

TEST(TrackingEvent, AnAbsentOffsetEqualsNothing) {
    const auto event = Tracking::initWithName("progress", "5", urlOf("http://h/"));
    const auto bare = Tracking::initWithName("progress", std::nullopt, urlOf("http://h/"));
    EXPECT_TRUE(event->isEqual(*event->copy()));
    for (const auto& other : {bare, Tracking::initWithName("start", "5", urlOf("http://h/")),
                              Tracking::initWithName("progress", "6", urlOf("http://h/")),
                              Tracking::initWithName("progress", "5", urlOf("http://i/"))})
        EXPECT_FALSE(event->isEqual(*other)) << other->eventName();
    EXPECT_FALSE(bare->isEqual(*bare->copy()));
    EXPECT_TRUE(bare->isEqual(*bare));
}

TEST(ViewabilityEvent, NamesAndEquality) {
    const VKTURL url = urlOf("http://h/");
    const auto event = Viewability::viewableEventWithURL(url);
    EXPECT_EQ(eventTextsOf(std::vector{event, Viewability::notViewableEventWithURL(url),
                                       Viewability::viewUndeterminedEventWithURL(url)}),
              (Texts{"viewable http://h/", "notviewable http://h/", "viewundetermined http://h/"}));
    EXPECT_TRUE(event->isEqual(*event->copy()));
    EXPECT_FALSE(event->isEqual(*Viewability::notViewableEventWithURL(url)));
    EXPECT_FALSE(event->isEqual(*Viewability::viewableEventWithURL(urlOf("http://i/"))));
    EXPECT_FALSE(Viewability::initWithName("Viewable", url));
}

TEST(ClickEvent, NeedsATypeAndAURL) {
    const auto event = VKTVASTClickEvent::initWithType("click", std::string_view("http://h/"));
    EXPECT_EQ(event, VKTVASTClickEvent::initWithType("click", urlOf("http://h/")));
    for (const auto& [type, url] :
         {std::pair(" \t", "http://h/"), std::pair("click", " \n"), std::pair("click", "http://h:x/")}) {
        EXPECT_FALSE(VKTVASTClickEvent::initWithType(type, std::string_view(url))) << type << url;
    }
}

TEST(VASTURL, TolerantReading) {
    const std::pair<const char*, const char*> cases[] = {
        {"//h/x", "//h/x"},
        // The text as it is; brackets outside the authority are stored encoded.
        {"http://[::1]:80/[A]?[B]#[C]", "http://[::1]:80/%5BA%5D?%5BB%5D#%5BC%5D"},
        // Without curly-brace macros, with "|" encoded.
        {"http://h/a|b", "http://h/a%7Cb"},
        {"http://h/?a=${X-y_1.0}&b={}&c=[CB]", "http://h/?a=&b=&c=%5BCB%5D"},
        {"http://h/${A} b{B} ", "http://h/b"},
        {"http://h/$${A}", "http://h/$"},
        {"http://h/%41{A}|", "http://h/%41%7C"},
        // Encoded as a whole, from the text as it came.
        {"http://h/{A}  b", "http://h/%7BA%7D%20%20b"},
        {"http://h/{A B}#c", "http://h/%7BA%20B%7D%23c"},
        {"http://h/%zz|%41", "http://h/%25zz%7C%2541"},
        {"http://[HOST]/", "http://%5BHOST%5D/"},
        {"<a href=\"//h\">\xC3\xA4</a>", "%3Ca%20href=%22//h%22%3E%C3%A4%3C/a%3E"},
        {"http://h:x/", nullptr},
        {"", nullptr},
        {" \n\t\xC2\xA0", nullptr},
    };
    for (const auto& [text, expected] : cases) {
        const auto url = VKTVASTURL::initWithString(text);
        ASSERT_EQ(url.has_value(), expected != nullptr) << text;
        if (!url) continue;
        EXPECT_EQ(url->url().absoluteString(), expected);
    }
}

TEST(VASTURL, FromStringsAndNodesWithOneText) {
    const auto url = VKTVASTURL::initWithURL(urlOf("http://h/"));
    EXPECT_EQ(VKTVASTURL::initFromXML(VKTValue("http://h/")), url);
    EXPECT_EQ(VKTVASTURL::initFromXML(VKTValue(nodeOf("<U a='1'> http://h/ </U>"))), url);
    EXPECT_EQ(url.description(), "VKTVASTURL(url=http://h/)");
    EXPECT_FALSE(VKTVASTURL::initFromXML(nodeOf("<U>http://h/<b x='1'/>c</U>")));
    EXPECT_FALSE(VKTVASTURL::initFromXML(nodeOf("<U a='1'/>")));
    EXPECT_FALSE(VKTVASTURL::initFromXML(VKTValue(1)));
}

TEST(UniversalAdId, TextWinsOverTheAttribute) {
    const std::pair<const char*, const char*> cases[] = {
        {"<U idRegistry='r' idValue='old'>new</U>", "r/new"},
        {"<U idRegistry='r' idValue='old'> </U>", "r/old"},
        {"<U idRegistry='unknown'>v</U>", "unknown/v"},
        {"<U idRegistry='r'>unknown</U>", nullptr},
        {"<U idRegistry='r' idValue='old'>unknown</U>", nullptr},
        {"<U idRegistry=''>v</U>", nullptr},
        {"<U idValue='v'>v</U>", nullptr},
    };
    for (const auto& [xml, expected] : cases) {
        const auto id = VKTVASTUniversalAdId::initWithDictionary(nodeOf(xml));
        ASSERT_EQ(id.has_value(), expected != nullptr) << xml;
        if (!id) continue;
        EXPECT_EQ(id->registry + "/" + id->value, expected);
    }
}

TEST(EventArchives, ComeBackAsTheyWere) {
    const auto event = Tracking::initWithName("progress", "5%", urlOf("http://h/[A]"), 2.5);
    const auto back = vkt_unarchivedObject<Tracking>(vkt_archivedData(*event));
    EXPECT_TRUE(back->isEqual(*event));
    EXPECT_TRUE(back->isEventConsumable());
    EXPECT_EQ(back->eventOffset(), 2.5);
    for (const char* key : {"name", "offset", "url", "eventOffset"})
        EXPECT_TRUE(VKTKeyedArchiver::archived(event).contains(key)) << key;
    const auto bare = Tracking::initWithName("mute", std::nullopt, urlOf("http://h/"));
    EXPECT_FALSE(vkt_unarchivedObject<Tracking>(vkt_archivedData(*bare))->offset());
    const auto viewable = Viewability::viewableEventWithURL(urlOf("http://h/"));
    EXPECT_TRUE(vkt_unarchivedObject<Viewability>(vkt_archivedData(*viewable))->isEqual(*viewable));
    const auto id = VKTVASTUniversalAdId::initWithRegistry("r", "v");
    EXPECT_EQ(vkt_unarchivedObject<VKTVASTUniversalAdId>(vkt_archivedData(*id)), id);
    const VKTVASTUniversalAdId unknown{"r", "unknown"};
    EXPECT_FALSE(vkt_unarchivedObject<VKTVASTUniversalAdId>(vkt_archivedData(unknown)));
}

}  // namespace
