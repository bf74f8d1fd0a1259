#include "server/DemoDocuments.h"

#include <algorithm>
#include <array>
#include <utility>
#include <vector>

#include "VKTCoreKit/foundation/VKTText.h"

/// An ad with one media file, which there is.
struct DemoDocuments::VideoAd {
    std::string_view id;
    std::string_view file;
    bool isTracked = true;
    bool hasDuration = true;
    std::string_view skipOffset = {};
};

namespace {

// Placeholders: {BASE} the base URL, {ID} the ad's ID, {QUERY} the end of every pixel URL, {TARGET} where a
// wrapper leads, {EXTENSIONS} a whole element or nothing, {VERIFICATIONS} further ones.

constexpr std::string_view fullInlineAd = R"(    <InLine>
      <AdSystem version="1.0">VKTCoreKit demo server</AdSystem>
      <Error><![CDATA[{BASE}/pixel/{ID}/error?code=[ERRORCODE]&{QUERY}]]></Error>
      <Extensions>
        <Extension type="demo"><instanceCount>1</instanceCount></Extension>
        <Extension type="demo"><sort rank="1"/></Extension>
        <Extension type="demo">
          <KorvoMetrics><KorvoMetric name="viewcount"><![CDATA[{BASE}/pixel/{ID}/viewable-metric?{QUERY}]]></KorvoMetric></KorvoMetrics>
        </Extension>
      </Extensions>
      <Impression id="first"><![CDATA[{BASE}/pixel/{ID}/impression?{QUERY}]]></Impression>
      <Impression id="second"><![CDATA[{BASE}/pixel/{ID}/impression2?{QUERY}]]></Impression>
      <Pricing model="CPM" currency="EUR">12.50</Pricing>
      <ViewableImpression id="viewability">
        <Viewable><![CDATA[{BASE}/pixel/{ID}/viewable?{QUERY}]]></Viewable>
        <NotViewable><![CDATA[{BASE}/pixel/{ID}/notViewable?{QUERY}]]></NotViewable>
        <ViewUndetermined><![CDATA[{BASE}/pixel/{ID}/viewUndetermined?{QUERY}]]></ViewUndetermined>
      </ViewableImpression>
      <AdServingId>serving-{ID}</AdServingId>
      <AdTitle>Demo ad {ID}</AdTitle>
      <AdVerifications>
        <Verification vendor="demo.verification">
          <JavaScriptResource apiFramework="omid" browserOptional="true"><![CDATA[{BASE}/verification/record.js]]></JavaScriptResource>
          <TrackingEvents>
            <Tracking event="verificationNotExecuted"><![CDATA[{BASE}/pixel/{ID}/verificationNotExecuted?reason=[REASON]&{QUERY}]]></Tracking>
          </TrackingEvents>
          <VerificationParameters><![CDATA[ad={ID}]]></VerificationParameters>
        </Verification>
{VERIFICATIONS}      </AdVerifications>
      <Advertiser>Demo advertiser</Advertiser>
      <Creatives>
        <Creative id="{ID}-linear" sequence="1" adId="{ID}">
          <UniversalAdId idRegistry="demo">universal-{ID}</UniversalAdId>
          <Linear skipoffset="00:00:05">
            <Icons>
              <Icon program="AdChoices" width="16" height="16" xPosition="right" yPosition="top" duration="00:00:10" offset="00:00:01">
                <StaticResource creativeType="image/gif"><![CDATA[{BASE}/media/icon.gif]]></StaticResource>
                <IconClicks>
                  <IconClickThrough><![CDATA[{BASE}/html]]></IconClickThrough>
                  <IconClickTracking id="icon"><![CDATA[{BASE}/pixel/{ID}/iconClick?{QUERY}]]></IconClickTracking>
                </IconClicks>
                <IconViewTracking><![CDATA[{BASE}/pixel/{ID}/iconView?{QUERY}]]></IconViewTracking>
              </Icon>
            </Icons>
            <TrackingEvents>
              <Tracking event="creativeView"><![CDATA[{BASE}/pixel/{ID}/creativeView?{QUERY}]]></Tracking>
              <Tracking event="loaded"><![CDATA[{BASE}/pixel/{ID}/loaded?{QUERY}]]></Tracking>
              <Tracking event="start"><![CDATA[{BASE}/pixel/{ID}/start?{QUERY}]]></Tracking>
              <Tracking event="firstQuartile"><![CDATA[{BASE}/pixel/{ID}/firstQuartile?{QUERY}]]></Tracking>
              <Tracking event="midpoint"><![CDATA[{BASE}/pixel/{ID}/midpoint?{QUERY}]]></Tracking>
              <Tracking event="thirdQuartile"><![CDATA[{BASE}/pixel/{ID}/thirdQuartile?{QUERY}]]></Tracking>
              <Tracking event="complete"><![CDATA[{BASE}/pixel/{ID}/complete?{QUERY}]]></Tracking>
              <Tracking event="progress" offset="00:00:03.500"><![CDATA[{BASE}/pixel/{ID}/progress-3.5s?{QUERY}]]></Tracking>
              <Tracking event="progress" offset="40%"><![CDATA[{BASE}/pixel/{ID}/progress-40-percent?{QUERY}]]></Tracking>
              <Tracking event="mute"><![CDATA[{BASE}/pixel/{ID}/mute?{QUERY}]]></Tracking>
              <Tracking event="unmute"><![CDATA[{BASE}/pixel/{ID}/unmute?{QUERY}]]></Tracking>
              <Tracking event="pause"><![CDATA[{BASE}/pixel/{ID}/pause?{QUERY}]]></Tracking>
              <Tracking event="resume"><![CDATA[{BASE}/pixel/{ID}/resume?{QUERY}]]></Tracking>
              <Tracking event="skip"><![CDATA[{BASE}/pixel/{ID}/skip?{QUERY}]]></Tracking>
            </TrackingEvents>
            <AdParameters><![CDATA[{"ad":"{ID}"}]]></AdParameters>
            <Duration>00:00:15</Duration>
            <MediaFiles>
              <MediaFile id="hd" delivery="progressive" type="video/mp4" width="1920" height="1080" codec="avc1.640028" bitrate="8000" scalable="true" maintainAspectRatio="true"><![CDATA[{BASE}/media/{ID}-1080.mp4]]></MediaFile>
              <MediaFile id="tv" delivery="progressive" type="video/mp4" width="1280" height="720" codec="avc1.4d401f" bitrate="2500" scalable="true" maintainAspectRatio="true"><![CDATA[{BASE}/media/{ID}-720.mp4]]></MediaFile>
              <MediaFile id="small" delivery="progressive" type="video/mp4" width="640" height="360" codec="avc1.42e01e" bitrate="600" scalable="true" maintainAspectRatio="true"><![CDATA[{BASE}/media/{ID}-360.mp4]]></MediaFile>
              <MediaFile id="adaptive" delivery="streaming" type="application/x-mpegURL" width="1280" height="720" minBitrate="600" maxBitrate="8000"><![CDATA[{BASE}/media/{ID}.m3u8]]></MediaFile>
              <MediaFile id="open" delivery="progressive" type="video/webm" width="1280" height="720" bitrate="2000"><![CDATA[{BASE}/media/{ID}.webm]]></MediaFile>
            </MediaFiles>
            <VideoClicks>
              <ClickTracking id="click"><![CDATA[{BASE}/pixel/{ID}/click?{QUERY}]]></ClickTracking>
              <ClickThrough><![CDATA[{BASE}/html?from={ID}]]></ClickThrough>
            </VideoClicks>
          </Linear>
        </Creative>
        <Creative id="{ID}-companion" sequence="2" adId="{ID}">
          <UniversalAdId idRegistry="demo">universal-{ID}</UniversalAdId>
          <CompanionAds required="none">
            <Companion id="banner" width="300" height="250">
              <StaticResource creativeType="image/gif"><![CDATA[{BASE}/media/companion.gif]]></StaticResource>
              <AltText>Demo companion</AltText>
              <CompanionClickThrough><![CDATA[{BASE}/html]]></CompanionClickThrough>
              <CompanionClickTracking id="companion"><![CDATA[{BASE}/pixel/{ID}/companionClick?{QUERY}]]></CompanionClickTracking>
              <TrackingEvents>
                <Tracking event="creativeView"><![CDATA[{BASE}/pixel/{ID}/companionView?{QUERY}]]></Tracking>
              </TrackingEvents>
            </Companion>
          </CompanionAds>
        </Creative>
      </Creatives>
      <Description>A linear ad with all that goes with it</Description>
    </InLine>
)";

// Well-formed and complete, but in a format that no player here knows.
constexpr std::string_view unplayableInlineAd = R"(    <InLine>
      <AdSystem version="1.0">VKTCoreKit demo server</AdSystem>
      <Error><![CDATA[{BASE}/pixel/{ID}/error?code=[ERRORCODE]&{QUERY}]]></Error>
      <Impression><![CDATA[{BASE}/pixel/{ID}/impression?{QUERY}]]></Impression>
      <AdServingId>serving-{ID}</AdServingId>
      <AdTitle>Unplayable ad {ID}</AdTitle>
      <Creatives>
        <Creative id="{ID}-linear" sequence="1">
          <UniversalAdId idRegistry="demo">universal-{ID}</UniversalAdId>
          <Linear>
            <Duration>00:00:15</Duration>
            <MediaFiles>
              <MediaFile delivery="progressive" type="video/webm" width="1280" height="720" bitrate="2000"><![CDATA[{BASE}/media/{ID}.webm]]></MediaFile>
            </MediaFiles>
          </Linear>
        </Creative>
      </Creatives>
    </InLine>
)";

constexpr std::string_view fullWrapperAd =
    R"(    <Wrapper followAdditionalWrappers="true" allowMultipleAds="true" fallbackOnNoAd="true">
      <AdSystem version="1.0">VKTCoreKit demo server</AdSystem>
      <Error><![CDATA[{BASE}/pixel/{ID}/error?code=[ERRORCODE]&{QUERY}]]></Error>
      <Impression id="wrapper"><![CDATA[{BASE}/pixel/{ID}/impression?{QUERY}]]></Impression>
      <ViewableImpression>
        <Viewable><![CDATA[{BASE}/pixel/{ID}/viewable?{QUERY}]]></Viewable>
        <NotViewable><![CDATA[{BASE}/pixel/{ID}/notViewable?{QUERY}]]></NotViewable>
        <ViewUndetermined><![CDATA[{BASE}/pixel/{ID}/viewUndetermined?{QUERY}]]></ViewUndetermined>
      </ViewableImpression>
      <Creatives>
        <Creative id="{ID}-linear" sequence="1">
          <Linear>
            <TrackingEvents>
              <Tracking event="creativeView"><![CDATA[{BASE}/pixel/{ID}/creativeView?{QUERY}]]></Tracking>
              <Tracking event="loaded"><![CDATA[{BASE}/pixel/{ID}/loaded?{QUERY}]]></Tracking>
              <Tracking event="start"><![CDATA[{BASE}/pixel/{ID}/start?{QUERY}]]></Tracking>
              <Tracking event="firstQuartile"><![CDATA[{BASE}/pixel/{ID}/firstQuartile?{QUERY}]]></Tracking>
              <Tracking event="midpoint"><![CDATA[{BASE}/pixel/{ID}/midpoint?{QUERY}]]></Tracking>
              <Tracking event="thirdQuartile"><![CDATA[{BASE}/pixel/{ID}/thirdQuartile?{QUERY}]]></Tracking>
              <Tracking event="complete"><![CDATA[{BASE}/pixel/{ID}/complete?{QUERY}]]></Tracking>
            </TrackingEvents>
            <VideoClicks>
              <ClickTracking id="wrapper"><![CDATA[{BASE}/pixel/{ID}/click?{QUERY}]]></ClickTracking>
            </VideoClicks>
          </Linear>
        </Creative>
      </Creatives>
      <VASTAdTagURI><![CDATA[{TARGET}]]></VASTAdTagURI>
    </Wrapper>
)";

constexpr std::string_view secondVerification = R"(        <Verification vendor="demo.{NAME}">
          <JavaScriptResource apiFramework="omid" browserOptional="true"><![CDATA[{BASE}/verification/{NAME}.js]]></JavaScriptResource>
          <VerificationParameters><![CDATA[none]]></VerificationParameters>
        </Verification>
)";

constexpr std::string_view smallInlineAd = R"(  <Ad id="{ID}">
    <InLine>
      <AdSystem>VKTCoreKit demo server</AdSystem>
      <AdTitle>Small ad {ID}</AdTitle>
      <Error><![CDATA[{BASE}/pixel/{ID}/error?code=[ERRORCODE]&{QUERY}]]></Error>
      <Impression><![CDATA[{BASE}/pixel/{ID}/impression?{QUERY}]]></Impression>
      <Creatives>
        <Creative>
          <Linear>
            <Duration>00:00:10</Duration>
            <MediaFiles>
              <MediaFile delivery="progressive" type="video/mp4" width="1280" height="720" bitrate="1500"><![CDATA[{BASE}/media/{ID}.mp4]]></MediaFile>
            </MediaFiles>
          </Linear>
        </Creative>
      </Creatives>
{EXTENSIONS}    </InLine>
  </Ad>
)";

// {EVENTS}, {VIEWABILITY}, {DURATION} and {CLICKS} are whole elements or nothing.
constexpr std::string_view videoInlineAd = R"(    <InLine>
      <AdSystem version="1.0">VKTCoreKit demo server</AdSystem>
      <Error><![CDATA[{BASE}/pixel/{ID}/error?code=[ERRORCODE]&{QUERY}]]></Error>
      <Impression><![CDATA[{BASE}/pixel/{ID}/impression?{QUERY}]]></Impression>
{VIEWABILITY}      <AdServingId>serving-{ID}</AdServingId>
      <AdTitle>Video ad {ID}</AdTitle>
      <Creatives>
        <Creative id="{ID}-linear" sequence="1" adId="{ID}">
          <UniversalAdId idRegistry="demo">universal-{ID}</UniversalAdId>
          <Linear{SKIPOFFSET}>
{EVENTS}{DURATION}            <MediaFiles>
              <MediaFile delivery="{DELIVERY}" type="{TYPE}" width="1280" height="720"><![CDATA[{BASE}/media/{FILE}]]></MediaFile>
            </MediaFiles>
{CLICKS}          </Linear>
        </Creative>
      </Creatives>
    </InLine>
)";

constexpr std::string_view viewability = R"(      <ViewableImpression>
        <Viewable><![CDATA[{BASE}/pixel/{ID}/viewable?{QUERY}]]></Viewable>
        <NotViewable><![CDATA[{BASE}/pixel/{ID}/notViewable?{QUERY}]]></NotViewable>
        <ViewUndetermined><![CDATA[{BASE}/pixel/{ID}/viewUndetermined?{QUERY}]]></ViewUndetermined>
      </ViewableImpression>
)";

constexpr std::string_view clicks = R"(            <VideoClicks>
              <ClickThrough><![CDATA[{BASE}/html?from={ID}]]></ClickThrough>
              <ClickTracking><![CDATA[{BASE}/pixel/{ID}/click?{QUERY}]]></ClickTracking>
            </VideoClicks>
)";

constexpr auto linearEvents = std::to_array<std::string_view>(
    {"creativeView", "loaded", "start", "firstQuartile", "midpoint", "thirdQuartile", "complete", "mute",
     "unmute", "pause", "resume", "rewind", "skip", "fullscreen", "exitFullscreen", "playerExpand",
     "playerCollapse"});

std::string everyLinearEvent() {
    std::string text = "            <TrackingEvents>\n";
    for (const std::string_view event : linearEvents) {
        text += vkt_replacingOccurrences(
            "              <Tracking "
            "event=\"{EVENT}\"><![CDATA[{BASE}/pixel/{ID}/{EVENT}?{QUERY}]]></Tracking>\n",
            "{EVENT}", event);
    }
    return text + "            </TrackingEvents>\n";
}

// "            <Duration>00:00:15</Duration>"
std::string durationElement(int seconds) {
    const std::string rest = std::to_string(seconds % 60);
    const std::string minutes = std::to_string(seconds / 60);
    return "            <Duration>00:" + std::string(2 - minutes.size(), '0') + minutes + ":" +
           std::string(2 - rest.size(), '0') + rest + "</Duration>\n";
}

std::string adElement(std::string_view id, int sequence, std::string_view body) {
    const std::string attribute = sequence > 0 ? " sequence=\"" + std::to_string(sequence) + "\"" : "";
    return "  <Ad id=\"" + std::string(id) + "\"" + attribute + ">\n" + std::string(body) + "  </Ad>\n";
}

std::string document(std::string_view version, std::string_view content) {
    std::string text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<VAST";
    if (!version.empty()) text += " version=\"" + std::string(version) + "\"";
    return text + ">\n" + std::string(content) + "</VAST>\n";
}

}  // namespace

std::string DemoDocuments::filled(std::string_view text, std::string_view id) const {
    std::string result = vkt_replacingOccurrences(text, "{QUERY}", "cb=[CACHEBUSTING]&ts=[TIMESTAMP]");
    result = vkt_replacingOccurrences(result, "{BASE}", baseURL_);
    return vkt_replacingOccurrences(result, "{ID}", id);
}

std::string DemoDocuments::inlineAd(std::string_view id, int sequence) const {
    const std::string ad = vkt_replacingOccurrences(fullInlineAd, "{VERIFICATIONS}", "");
    return adElement(id, sequence, filled(ad, id));
}

std::string DemoDocuments::brokenAd(std::string_view id, int sequence) const {
    return adElement(id, sequence, filled(unplayableInlineAd, id));
}

std::string DemoDocuments::wrapperAd(std::string_view id, std::string_view URL, int sequence) const {
    const std::string target = vkt_replacingOccurrences(URL, "]]>", "]]]]><![CDATA[>");
    return adElement(id, sequence, vkt_replacingOccurrences(filled(fullWrapperAd, id), "{TARGET}", target));
}

std::string DemoDocuments::smallAd(std::string_view id) const {
    return filled(vkt_replacingOccurrences(smallInlineAd, "{EXTENSIONS}", ""), id);
}

std::string DemoDocuments::inlineDocument(std::string_view id) const {
    return document("4.2", inlineAd(id));
}

std::string DemoDocuments::measured(std::string_view script) const {
    const std::string second = vkt_replacingOccurrences(secondVerification, "{NAME}", script);
    const std::string ad = vkt_replacingOccurrences(fullInlineAd, "{VERIFICATIONS}", second);
    return document("4.2", adElement("measured", 0, filled(ad, "measured")));
}

std::string DemoDocuments::chain(int wrappers) const {
    if (wrappers <= 0) return inlineDocument("chain-end");
    const std::string next = baseURL_ + "/chain/" + std::to_string(wrappers - 1);
    return document("4.2", wrapperAd("wrapper-" + std::to_string(wrappers), next));
}

std::string DemoDocuments::pod(int ads, bool everySecondBroken) const {
    std::string content;
    for (int number = 1; number <= ads; ++number) {
        const std::string id = "pod-" + std::to_string(number);
        content += everySecondBroken && number % 2 == 0 ? brokenAd(id, number) : inlineAd(id, number);
    }
    return document("4.2", content);
}

std::string DemoDocuments::passback() const {
    return document("4.2", wrapperAd("leads-nowhere", baseURL_ + "/empty-error", 1) +
                               inlineAd("inline-passback") +
                               wrapperAd("wrapper-passback", baseURL_ + "/inline/wrapped-passback"));
}

std::string DemoDocuments::demoRoot() const {
    return document(
        "4.2", wrapperAd("demo-first-wrapper", baseURL_ + "/demo/wrapper", 1) + inlineAd("demo-passback"));
}

std::string DemoDocuments::demoWrapper() const {
    return document("4.2", wrapperAd("demo-second-wrapper", baseURL_ + "/demo/pod"));
}

std::string DemoDocuments::demoPod() const {
    return document("4.2", inlineAd("demo-pod-1", 1) + brokenAd("demo-pod-2", 2) + inlineAd("demo-pod-3", 3));
}

std::string DemoDocuments::videoAd(const VideoAd& ad, int seconds, int sequence) const {
    const bool isStream = ad.file.ends_with(".m3u8");
    const std::vector<std::pair<std::string_view, std::string>> parts{
        {"{VIEWABILITY}", std::string(ad.isTracked ? viewability : "")},
        {"{EVENTS}", ad.isTracked ? everyLinearEvent() : ""},
        {"{CLICKS}", std::string(ad.isTracked ? clicks : "")},
        {"{DURATION}", ad.hasDuration ? durationElement(seconds) : ""},
        {"{SKIPOFFSET}", ad.skipOffset.empty() ? "" : " skipoffset=\"" + std::string(ad.skipOffset) + "\""},
        {"{DELIVERY}", isStream ? "streaming" : "progressive"},
        {"{TYPE}", isStream ? "application/x-mpegURL" : "video/mp4"},
        {"{FILE}", std::string(ad.file)}};
    std::string text(videoInlineAd);
    for (const auto& [name, part] : parts)
        text = vkt_replacingOccurrences(text, name, part);
    return adElement(ad.id, sequence, filled(text, ad.id));
}

std::string DemoDocuments::videoPod(int seconds) const {
    return document("4.2",
                    videoAd({"video", "ad.mp4"}, seconds, 1) + videoAd({"streamed", "ad.m3u8"}, seconds, 2));
}

std::string DemoDocuments::videoBreak(int seconds) const {
    const std::string skippable = baseURL_ + "/video-skippable/" + std::to_string(seconds);
    return document("4.2",
                    videoAd({"good", "ad.mp4"}, seconds, 1) + videoAd({"clicked", "ad.mp4"}, seconds, 2) +
                        videoAd({"missing", "missing.mp4"}, seconds, 3) +
                        videoAd({"corrupt", "corrupt.mp4"}, seconds, 4) + wrapperAd("wrapper", skippable, 5) +
                        videoAd({"silent", "ad.mp4", false}, seconds, 6) +
                        videoAd({"streamed", "ad.m3u8"}, seconds, 7) +
                        videoAd({"endless", "ad.mp4", true, false}, seconds, 8));
}

std::string DemoDocuments::skippableVideo(int seconds) const {
    return document("4.2", videoAd({"skippable", "ad.mp4", true, true, "25%"}, seconds, 0));
}

std::string DemoDocuments::wrapperTo(std::string_view URL) const {
    return document("4.2", wrapperAd("wrapper", URL));
}

std::string DemoDocuments::empty() const {
    return document("4.2", "");
}

std::string DemoDocuments::emptyWithError() const {
    constexpr std::string_view error =
        "  <Error><![CDATA[{BASE}/pixel/{ID}/error?code=[ERRORCODE]&{QUERY}]]></Error>\n";
    return document("4.2", filled(error, "none"));
}

std::string DemoDocuments::version(std::string_view version) const {
    return document(version, smallAd("small"));
}

std::string DemoDocuments::many(int ads) const {
    std::string content;
    for (int number = 1; number <= ads; ++number) {
        content += smallAd("ad-" + std::to_string(number));
    }
    return document("3.0", content);
}

std::string DemoDocuments::deep(int depth) const {
    constexpr int extensionDepth = 5;  // VAST, Ad, InLine, Extensions, Extension
    std::string nest = "      <Extensions><Extension type=\"deep\">";
    const int levels = std::max(depth - extensionDepth, 1);
    for (int level = 0; level < levels; ++level) {
        nest += "<Nest>";
    }
    for (int level = 0; level < levels; ++level) {
        nest += "</Nest>";
    }
    nest += "</Extension></Extensions>\n";
    return document("3.0", filled(vkt_replacingOccurrences(smallInlineAd, "{EXTENSIONS}", nest), "deep"));
}

std::string DemoDocuments::padded(std::size_t bytes) const {
    std::string text = document("3.0", smallAd("padded"));
    if (text.size() < bytes) text.append(bytes - text.size(), ' ');
    return text;
}

std::string DemoDocuments::malformed() const {
    std::string text = document("4.2", inlineAd("malformed"));
    text.resize(text.size() / 2);
    return text;
}

std::string DemoDocuments::withEntities() const {
    constexpr std::string_view declaration = "<!DOCTYPE VAST [<!ENTITY title \"An entity\">]>\n<VAST ";
    return vkt_replacingOccurrences(version("3.0"), "<VAST ", declaration);
}

std::string DemoDocuments::withNULBytes() const {
    return vkt_replacingOccurrences(version("3.0"), "Small ad", std::string_view("Small\0\0ad", 9));
}
