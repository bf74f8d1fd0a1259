#include "Documents.h"

namespace {

const std::string host = "https://tracking.adserver.example/v1/";

// Of the URLs of public documents, three in five carry macros.
std::string tracking(const std::string& event, std::size_t number) {
    const bool hasMacros = event.size() % 5 != 3;
    return "              <Tracking event=\"" + event + "\"><![CDATA[" + host + "event?type=" + event +
           "&creative=" + std::to_string(number) + "&session=6f1c2a8e-93c1-4d0f-b7a2-5f6e1c0d9a34" +
           (hasMacros ? "&cb=[CACHEBUSTING]&ts=[TIMESTAMP]" : "&cb=60912387&ts=2026-03-05T08:08:09Z") +
           "]]></Tracking>\n";
}

std::string mediaFile(int width, int height, int bitrate) {
    return "              <MediaFile delivery=\"progressive\" type=\"video/mp4\" bitrate=\"" +
           std::to_string(bitrate) + "\" width=\"" + std::to_string(width) + "\" height=\"" +
           std::to_string(height) + "\" scalable=\"true\" maintainAspectRatio=\"true\"><![CDATA[" +
           "https://cdn.adserver.example/media/campaign-20811/creative-77120/" + std::to_string(bitrate) +
           ".mp4]]></MediaFile>\n";
}

std::string trackingEvents(std::size_t rounds) {
    std::string events = "            <TrackingEvents>\n";
    for (std::size_t round = 0; round < rounds; ++round) {
        for (const char* event : {"start", "firstQuartile", "midpoint", "thirdQuartile", "complete", "mute",
                                  "unmute", "pause", "resume"}) {
            events += tracking(event, round);
        }
    }
    return events + "            </TrackingEvents>\n";
}

std::string inlineAd(const std::string& attributes, std::size_t trackingRounds) {
    return "  <Ad " + attributes +
           ">\n    <InLine>\n"
           "      <AdSystem version=\"4.2\">Example Ad Server</AdSystem>\n"
           "      <AdTitle><![CDATA[Fifteen seconds of something good]]></AdTitle>\n"
           "      <Error><![CDATA[" +
           host +
           "error?code=[ERRORCODE]]]></Error>\n"
           "      <Impression id=\"server\"><![CDATA[" +
           host +
           "impression?cb=[CACHEBUSTING]]]></Impression>\n"
           "      <Creatives>\n        <Creative id=\"77120\" sequence=\"1\">\n"
           "          <UniversalAdId idRegistry=\"ad-id.org\">8465KORV0001H</UniversalAdId>\n"
           "          <Linear skipoffset=\"00:00:05\">\n            <Duration>00:00:15</Duration>\n" +
           trackingEvents(trackingRounds) +
           "            <VideoClicks>\n"
           "              "
           "<ClickThrough><![CDATA[https://www.advertiser.example/landing?utm=tv]]></ClickThrough>\n"
           "              <ClickTracking><![CDATA[" +
           host +
           "click?cb=[CACHEBUSTING]]]></ClickTracking>\n"
           "            </VideoClicks>\n            <MediaFiles>\n" +
           mediaFile(640, 360, 800) + mediaFile(1280, 720, 2500) + mediaFile(1920, 1080, 5000) +
           mediaFile(3840, 2160, 12000) +
           "            </MediaFiles>\n          </Linear>\n        </Creative>\n      </Creatives>\n"
           "    </InLine>\n  </Ad>\n";
}

std::string document(const std::string& content) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<VAST version=\"4.2\">\n" + content + "</VAST>\n";
}

std::string podDocument(std::size_t count, std::size_t trackingRounds) {
    std::string ads;
    for (std::size_t i = 1; i <= count; ++i) {
        const std::string number = std::to_string(i);
        ads += inlineAd("id=\"" + number + "\" sequence=\"" + number + "\"", trackingRounds);
    }
    return document(ads);
}

}  // namespace

std::string inlineDocument() {
    return document(inlineAd("id=\"20811\"", 1));
}

std::string podDocument() {
    return podDocument(40, 12);
}

std::string smallPodDocument(std::size_t count) {
    return podDocument(count, 1);
}

std::string trackingWrapperDocument(std::size_t count) {
    std::string events;
    for (std::size_t i = 0; i < count; ++i)
        events += tracking("start", i);
    return document(
        "<Ad id=\"wrapper\"><Wrapper><AdSystem>s</AdSystem><AdTitle>t</AdTitle><Creatives><Creative><Linear>"
        "<TrackingEvents>\n" +
        events + "</TrackingEvents></Linear></Creative></Creatives></Wrapper></Ad>");
}

// The wide documents are made of the shortest elements that the readers keep: what grows is their number, and
// not the memory that their texts take.
std::string wideAdsDocument(std::size_t count) {
    std::string ads;
    for (std::size_t i = 0; i < count; ++i)
        ads += "<Ad><Wrapper><AdSystem>s</AdSystem></Wrapper></Ad>";
    return document(ads);
}

std::string wideTrackingDocument(std::size_t count) {
    std::string events;
    for (std::size_t i = 0; i < count; ++i)
        events += "<Tracking event=\"start\">//h</Tracking>";
    return document(
        "<Ad><Wrapper><AdSystem>s</AdSystem><AdTitle>t</AdTitle><Creatives><Creative><Linear>"
        "<Duration>00:00:15</Duration><TrackingEvents>" +
        events + "</TrackingEvents></Linear></Creative></Creatives></Wrapper></Ad>");
}

std::string wideNamesDocument(std::size_t count) {
    std::string elements;
    for (std::size_t i = 0; i < count; ++i)
        elements += "<E" + std::to_string(i) + "/>";
    return document("<Ad><Wrapper><AdSystem>s</AdSystem><AdTitle>t</AdTitle>" + elements + "</Wrapper></Ad>");
}

std::string wrapperDocument(const std::string& url) {
    const auto event = [](const std::string& name) {
        return "            <Tracking event=\"" + name + "\"><![CDATA[" + host + "event?type=" + name +
               "&cb=[CACHEBUSTING]]]></Tracking>\n";
    };
    return document(
        "  <Ad id=\"wrapper\">\n    <Wrapper>\n      <AdSystem>Example Exchange</AdSystem>\n"
        "      <AdTitle>Wrapper</AdTitle>\n      <VASTAdTagURI><![CDATA[" +
        url + "]]></VASTAdTagURI>\n      <Error><![CDATA[" + host +
        "error?code=[ERRORCODE]]]></Error>\n"
        "      <Impression><![CDATA[" +
        host +
        "impression?cb=[CACHEBUSTING]]]></Impression>\n"
        "      <Creatives>\n        <Creative>\n          <Linear>\n            <TrackingEvents>\n" +
        event("start") + event("firstQuartile") + event("midpoint") + event("thirdQuartile") +
        event("complete") +
        "            </TrackingEvents>\n          </Linear>\n        </Creative>\n      </Creatives>\n"
        "    </Wrapper>\n  </Ad>\n");
}
