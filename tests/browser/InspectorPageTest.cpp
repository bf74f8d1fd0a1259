// The inspector's page in a real browser, over a demo server whose runs are the real tool. What is seen stays
// in build/browser/*.png.
#include <gmock/gmock.h>

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "VKTCoreKit/foundation/VKTText.h"
#include "inspector/Inspector.h"
#include "tests/browser/VKTBrowser.h"
#include "tests/support/VKTTestPaths.h"

namespace {

using testing::Each;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

class InspectorPage : public testing::Test {
  protected:
    void SetUp() override {
        if (!VKTBrowser::isInstalled())
            GTEST_SKIP() << "Chromium or its driver is not installed; ./dev test --browser installs them";
        InspectorOptions options;
        options.program = VKTTestPaths::tool;
        inspector_ = std::make_unique<Inspector>(std::move(options));
        server_.setGuest(*inspector_);
        base_ = "http://127.0.0.1:" + std::to_string(server_.start(0).value_or(0));
        browser_ = std::make_unique<VKTBrowser>();
        browser_->open(base_ + "/");
    }
    void TearDown() override {
        browser_.reset();
        server_.stop();
    }

    void fill(const std::string& source) const {
        browser_->run("document.getElementById('source').value = arguments[0]", {source});
    }
    void choose(const std::string& selector, const std::string& value) const {
        browser_->run(
            "const field = document.querySelector(arguments[0]); field.value = arguments[1];"
            "field.dispatchEvent(new Event('change'))",
            {selector, value});
    }

    // Whether the run has come to its end.
    [[nodiscard]] bool isOver() const {
        return browser_->waitUntil("!document.getElementById('save').disabled");
    }
    [[nodiscard]] bool resolve(const std::string& source) const {
        fill(source);
        browser_->click("#resolve");
        return isOver();
    }

    [[nodiscard]] std::int64_t numberOf(const std::string& expression) const {
        const VKTValue number = browser_->run("return " + expression);
        return number.asInteger() == nullptr ? -1 : *number.asInteger();
    }
    [[nodiscard]] bool fitsTheScreen() const {
        return numberOf("document.documentElement.scrollWidth - innerWidth") <= 0;
    }

    std::unique_ptr<Inspector> inspector_;  // outlives the server, whose guest it is
    DemoServer server_{"", [](const std::string&) {}};
    std::string base_;
    std::unique_ptr<VKTBrowser> browser_;
};

constexpr const char* flashDocument = R"(<VAST version="3.0">
  <Ad id="20041">
    <InLine>
      <AdSystem>Example server</AdSystem>
      <AdTitle>Spring sale</AdTitle>
      <Error>http://127.0.0.1:1/error?code=[ERRORCODE]</Error>
      <Impression>http://127.0.0.1:1/impression</Impression>
      <Creatives>
        <Creative>
          <Linear>
            <Duration>00:00:30</Duration>
            <MediaFiles>
              <MediaFile type="application/x-shockwave-flash" width="640" height="360">http://127.0.0.1:1/a.swf</MediaFile>
            </MediaFiles>
          </Linear>
        </Creative>
      </Creatives>
    </InLine>
  </Ad>
</VAST>)";

TEST_F(InspectorPage, APastedDocumentThatDoesNotPlayTellsWhyAndWhere) {
    ASSERT_TRUE(resolve(flashDocument));
    EXPECT_EQ(browser_->text("#verdict h2"), "Nothing plays");
    EXPECT_THAT(browser_->text("#verdict"),
                HasSubstr("application/x-shockwave-flash, which is not playable"));
    browser_->setScreen(960, 1250);
    browser_->screenshot("inspector-paste");  // the README's
    EXPECT_THAT(browser_->texts("mark"), testing::Contains(HasSubstr("<MediaFile type=")));
    browser_->click("a[href='#source-0-line-13']");
    EXPECT_TRUE(browser_->waitUntil("document.getElementById('source-0-line-13').checkVisibility()"))
        << "a link into the source opens it";
    EXPECT_THAT(browser_->takeLog(), IsEmpty());
}

TEST_F(InspectorPage, ASampleShowsItsChainItsAdsAndTheirPictures) {
    ASSERT_TRUE(browser_->waitUntil("document.querySelectorAll('#samples button').length > 5"));
    browser_->run(
        "[...document.querySelectorAll('#samples button')].find("
        "(button) => button.title.startsWith('/demo')).click()");
    ASSERT_TRUE(isOver());
    EXPECT_EQ(browser_->text("#verdict h2"), "1 ad plays");
    EXPECT_EQ(browser_->texts("#documents .badge").size(), 3U);
    EXPECT_EQ(numberOf("document.querySelectorAll('#documents > li > ul > li > ul > li').length"), 1);
    browser_->screenshot("inspector");
    browser_->run("document.querySelectorAll('.ad details').forEach((each) => { each.open = true; })");
    EXPECT_TRUE(browser_->waitUntil(
        "[...document.querySelectorAll('.picture')].some((each) => each.naturalWidth > 1)"));
    browser_->setDarkMode(true);
    browser_->screenshot("inspector-ad-dark");
    EXPECT_THAT(browser_->takeLog(), IsEmpty());
}

TEST_F(InspectorPage, AVideoIsPlayedAndEachPixelTellsWhatBecameOfIt) {
    fill(base_ + "/measured/record");
    browser_->click("#options summary");
    browser_->click("[name=measure]");
    browser_->click("#play");
    ASSERT_TRUE(browser_->waitUntil("document.getElementById('video').currentTime > 4"));
    EXPECT_EQ(browser_->text("#player-note"), "");
    browser_->run("scrollTo(0, document.getElementById('player').offsetTop)");
    browser_->screenshot("inspector-play");
    browser_->click("#mute");
    browser_->click("#pause");
    ASSERT_TRUE(browser_->waitUntil("document.getElementById('video').paused"));
    browser_->click("#pause");
    browser_->click("#skip");
    ASSERT_TRUE(isOver());
    const auto events = vkt_joined(browser_->texts("#events-1 th"), " ");
    for (const char* event : {"impression", "start", "firstQuartile", "mute", "pause", "resume", "skip"})
        EXPECT_THAT(events, HasSubstr(event));
    EXPECT_THAT(browser_->texts(".pixels .badge"), Each(HasSubstr("delivered 200")));
    EXPECT_THAT(browser_->text("#scripts-1"), HasSubstr("heard"));
    EXPECT_THAT(browser_->takeLog(), IsEmpty());
}

TEST_F(InspectorPage, TheKeyboardStaysWhereTheViewersButtonsWere) {
    fill(base_ + "/video-skippable/6");
    browser_->click("#play");
    ASSERT_TRUE(browser_->waitUntil("document.getElementById('video').currentTime > 0"));
    browser_->run("document.getElementById('skip').focus()");
    browser_->type(VKTBrowser::enterKey);
    ASSERT_TRUE(isOver());
    EXPECT_EQ(browser_->run("return document.activeElement.id"), VKTValue("play"));
}

// The pause takes its time in the events, too.
TEST_F(InspectorPage, PausesWhileThePageIsNotSeen) {
    const auto setHidden = [this](const std::string& isHidden) {
        browser_->run(
            "Object.defineProperty(document, 'hidden', {configurable: true, value: " + isHidden +
            "}); document.dispatchEvent(new Event('visibilitychange')); window.switched = Date.now()");
        return browser_->waitUntil("document.getElementById('video').paused === " + isHidden);
    };
    browser_->run(
        "window.timeOf = (event) => parseFloat([...document.querySelectorAll('#events-1 tr')]"
        ".find((row) => row.children[1]?.textContent === event)?.textContent)");
    fill(base_ + "/pod/1");
    browser_->click("#play");
    ASSERT_TRUE(browser_->waitUntil("document.getElementById('video').currentTime > 0"));
    ASSERT_TRUE(setHidden("true"));
    ASSERT_TRUE(browser_->waitUntil("timeOf('pause') >= 0 && Date.now() > switched + 2000"));
    ASSERT_TRUE(setHidden("false"));
    EXPECT_TRUE(browser_->waitUntil("timeOf('resume') > timeOf('pause') + 1.5"));
}

TEST_F(InspectorPage, TheNextAdIsNeitherPausedNorMuted) {
    fill(base_ + "/pod/2");
    browser_->click("#play");
    ASSERT_TRUE(browser_->waitUntil("document.getElementById('video').currentTime > 0"));
    for (const char* button : {"#mute", "#pause", "#skip"})
        browser_->click(button);
    ASSERT_TRUE(browser_->waitUntil("document.getElementById('time').textContent.startsWith('Ad 2')"));
    EXPECT_EQ(browser_->text("#pause"), "Pause");
    EXPECT_EQ(browser_->text("#mute"), "Mute");
}

TEST_F(InspectorPage, AFileInItsOwnEncodingIsRead) {
    browser_->run(
        "const file = new File([new Uint8Array([...\"<?xml version='1.0' encoding='iso-8859-1'?><VAST "
        "version='3.0'>"
        "<Ad id='caf\u00e9'/></VAST>\"].map((each) => each.charCodeAt(0)))], 'a.xml');"
        "const list = new DataTransfer(); list.items.add(file);"
        "const field = document.getElementById('file'); field.files = list.files;"
        "field.dispatchEvent(new Event('change'))");
    ASSERT_TRUE(browser_->waitUntil("document.getElementById('source').value"));
    browser_->click("#resolve");
    ASSERT_TRUE(isOver());
    EXPECT_THAT(browser_->text("#result"), HasSubstr("caf\u00e9"));
}

TEST_F(InspectorPage, AFileThatTheBrowserCannotPlayIsSimulated) {
    std::string tracking;
    for (const char* event : {"start", "firstQuartile", "midpoint", "thirdQuartile", "complete"})
        tracking +=
            std::string("<Tracking event='") + event + "'>" + base_ + "/pixel/" + event + "</Tracking>";
    fill(
        "<VAST version='4.2'><Ad><InLine><AdSystem>s</AdSystem><AdTitle>t</AdTitle><Impression>" + base_ +
        "/pixel/impression</Impression><Creatives><Creative><Linear><Duration>00:00:02</Duration><MediaFiles>"
        "<MediaFile type='video/mp4'>" +
        base_ + "/html</MediaFile></MediaFiles><TrackingEvents>" + tracking +
        "</TrackingEvents></Linear></Creative></Creatives></InLine></Ad></VAST>");
    browser_->click("#play");
    ASSERT_TRUE(isOver());
    EXPECT_THAT(browser_->text("#player-note"), testing::StartsWith("Simulated, since"));
    EXPECT_THAT(browser_->text("#ads"), HasSubstr("cannot play the file of ad 1"));
    EXPECT_THAT(vkt_joined(browser_->texts("#events-1 [scope=row]"), " "),
                testing::EndsWith("thirdQuartile complete"));
    EXPECT_THAT(browser_->run("return run.report").description(), HasSubstr("so this ad is simulated"));
}

TEST_F(InspectorPage, ASimulatedBreakRunsAtItsSpeed) {
    fill(base_ + "/pod-broken/4");
    browser_->click("#options summary");
    choose("#player-kind", "simulated");
    choose("[name=speed]", "50");
    browser_->click("#play");
    ASSERT_TRUE(isOver());
    EXPECT_EQ(browser_->text("#verdict h2"), "2 ads play");
    for (const char* ad : {"#events-1 th", "#events-2 th"})
        EXPECT_THAT(vkt_joined(browser_->texts(ad), " "), testing::EndsWith("complete")) << ad;
}

TEST_F(InspectorPage, EachErrorSaysWhatWentWrong) {
    struct {
        const char* source;
        const char* words;
    } const rows[] = {
        {"/malformed", "its XML cannot be read"},
        {"/self", "the limit of 5 wrappers in a row is reached"},
        {"/empty-error", "it holds no ad"},
        {"/close", "connection lost"},
    };
    for (const auto& [source, words] : rows) {
        ASSERT_TRUE(resolve(base_ + source)) << source;
        EXPECT_EQ(browser_->text("#verdict h2"), "Nothing plays") << source;
        EXPECT_THAT(browser_->text("#verdict"), HasSubstr(words)) << source;
    }
    browser_->screenshot("inspector-error");
    fill("ftp://ads.test/");
    browser_->click("#resolve");
    EXPECT_TRUE(
        browser_->waitUntil("document.getElementById('status').textContent.includes('http or https')"));
    EXPECT_TRUE(browser_->waitUntil("document.getElementById('stop').disabled"));
}

TEST_F(InspectorPage, AHundredAdsFitANarrowScreen) {
    browser_->setScreen(320, 800);
    ASSERT_TRUE(resolve(base_ + "/pod/100"));
    EXPECT_EQ(numberOf("document.querySelectorAll('.ad').length"), 100);
    EXPECT_TRUE(fitsTheScreen());
    browser_->screenshot("inspector-narrow");
    browser_->setScreen(768, 1024);
    EXPECT_TRUE(fitsTheScreen());
}

TEST_F(InspectorPage, NothingOfADocumentIsRun) {
    const std::string markup =
        "&lt;img src=x onerror='hacked=1'&gt;&lt;script&gt;hacked=1&lt;/script&gt;\"'&gt;";
    ASSERT_TRUE(resolve(
        "<VAST version='4.2'><Ad id=\"" + vkt_replacingOccurrences(markup, "\"", "") +
        "\"><InLine><AdSystem>" + markup + "</AdSystem><AdTitle>" + markup +
        "</AdTitle><Impression>javascript:hacked=1</Impression><Pricing>" + markup +
        "</Pricing><Creatives><Creative><Linear><Duration>00:00:05</Duration><VideoClicks><ClickThrough>"
        "javascript:hacked=1</ClickThrough></VideoClicks><MediaFiles><MediaFile type='video/mp4'>" +
        base_ + "/\" onerror=\"hacked=1</MediaFile><MediaFile type='text/html'>" + markup +
        "</MediaFile></MediaFiles></Linear>"
        "</Creative><Creative><CompanionAds><Companion width='1' height='1'><StaticResource "
        "creativeType='image/gif'>" +
        base_ +
        "/media/a.gif?\" onload=\"hacked=1</StaticResource></Companion></CompanionAds></Creative></Creatives>"
        "</InLine></Ad></VAST>"));
    browser_->run("document.querySelectorAll('details').forEach((each) => { each.open = true; })");
    EXPECT_THAT(browser_->text("#ads h3"), HasSubstr("<script>hacked=1</script>"));
    EXPECT_EQ(
        numberOf("document.querySelectorAll('#result script, #result [onerror], #result [onload]').length"),
        0);
    EXPECT_EQ(numberOf("document.querySelectorAll('#result a:not([href^=http]):not([href^=\"#\"])').length"),
              0);
    EXPECT_EQ(browser_->run("return typeof hacked"), VKTValue("undefined"));
    EXPECT_THAT(browser_->takeLog(), IsEmpty());
}

TEST_F(InspectorPage, TheKeyboardIsEnoughAndEverythingHasAName) {
    ASSERT_TRUE(browser_->waitUntil("document.querySelectorAll('#samples button').length > 5"));
    browser_->type(VKTBrowser::tabKey);
    EXPECT_EQ(browser_->label(":focus"), "A tag or a document: see why it plays or not");
    browser_->type(base_ + "/inline");
    browser_->type(VKTBrowser::enterKey, VKTBrowser::controlKey);
    ASSERT_TRUE(isOver());
    EXPECT_EQ(browser_->text("#verdict h2"), "1 ad plays");
    EXPECT_EQ(browser_->run("return document.activeElement.id"), VKTValue("source"))
        << "it keeps the keyboard";

    // Each stop of the Tab key has a role and a name, and shows that it has the keyboard.
    std::vector<std::string> stops;
    for (int i = 0; i < 40; ++i) {
        browser_->type(VKTBrowser::tabKey);
        if (browser_->run("return document.activeElement === document.body") == VKTValue(true)) break;
        stops.push_back(browser_->role(":focus") + " " + browser_->label(":focus"));
        EXPECT_GT(browser_->label(":focus").size(), 1U) << stops.back();
        EXPECT_EQ(browser_->run("return getComputedStyle(document.activeElement).outlineStyle"),
                  VKTValue("solid"))
            << stops.back();
    }
    for (const char* stop : {"button Resolve", "button Play", "button Save report"})
        EXPECT_THAT(stops, testing::Contains(stop));
    EXPECT_EQ(browser_->role("#status"), "status");
    EXPECT_EQ(browser_->role("main"), "main");
}

TEST_F(InspectorPage, TheSavedReportIsReadWithoutTheServer) {
    ASSERT_TRUE(resolve(base_ + "/passback"));
    const std::string path = testing::TempDir() + "vkt-report-" + std::to_string(getpid()) + ".html";
    std::ofstream(path) << browser_->run("return run.report").description();
    server_.stop();
    browser_->open("file://" + path);
    EXPECT_EQ(browser_->text("#verdict h2"), "1 ad plays");
    for (const int width : {1280, 768, 420}) {
        browser_->setScreen(width, 1000);
        EXPECT_TRUE(fitsTheScreen()) << width;
        browser_->screenshot("report-" + std::to_string(width));
    }
    EXPECT_THAT(browser_->takeLog(), IsEmpty());
    std::filesystem::remove(path);
}

}  // namespace
