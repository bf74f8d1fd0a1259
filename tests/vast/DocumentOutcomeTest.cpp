// What the delegate and its listeners hear of each document of a request.
#include <algorithm>
#include <thread>

#include "tests/vast/ManagerFixture.h"

namespace {

using Outcome = VKTVASTDocumentOutcome;

// Notes "PATH: REASON" of everything, in the order in which it was told.
struct Listener : VKTVASTReadingListener {
    void dropped(const std::string& path, const std::string& reason) override {
        heard.push_back("dropped " + path + ": " + reason);
    }
    void needsAttention(const std::string& path, const std::string& reason) override {
        heard.push_back(path + ": " + reason);
    }
    Texts heard;
};

// "STATUS ROOT VERSION ADS TAKEN: PROBLEM", with "-" for what is not known.
std::string textOf(const Outcome& outcome) {
    const std::string status = outcome.statusCode ? std::to_string(*outcome.statusCode) : "-";
    return status + " " + outcome.root.value_or("-") + " " + outcome.version.value_or("-") + " " +
           std::to_string(outcome.ads) + " " + std::to_string(outcome.adsTaken) + ": " + outcome.problem;
}

// "DEPTH WRAPPER URL: PROBLEM", with "!" before the URL when nothing was requested.
std::string placeOf(const Outcome& outcome) {
    return std::to_string(outcome.wrapperDepth) + " " + outcome.wrapperAdID.value_or("-") + " " +
           (outcome.wasRequested ? "" : "!") + (outcome.url ? outcome.url->absoluteString() : "") + ": " +
           outcome.problem;
}

VKTFakeHTTPAnswer body(const std::string& text, int status = 200) {
    return {status, text, {}, {}, {}};
}

class VASTDocumentOutcome : public ManagerFixture {
  protected:
    // Of a wrapper's document with that answer.
    std::string outcomeOf(const VKTFakeHTTPAnswer& answer) {
        fake->setAnswer(url("x"), answer);
        start(wrapper("w", "x"));
        next();
        const auto outcomes = embedder->takeOutcomes();
        EXPECT_EQ(outcomes.size(), 2U);
        return textOf(outcomes.back());
    }
    Texts places() {
        Texts texts;
        for (const Outcome& outcome : embedder->takeOutcomes())
            texts.push_back(placeOf(outcome));
        return texts;
    }
};

const std::string noCreative = "it has no Creatives";

}  // namespace

TEST_F(VASTDocumentOutcome, SaysWhyADocumentLedNowhere) {
    const std::string page = "<html><head><meta></head></html>";
    const struct {
        const char* name;
        VKTFakeHTTPAnswer answer;
        std::string outcome;
    } rows[] = {
        {"fine", body(vast(inlineAd("a"))), "200 VAST 3.0 1 1: "},
        {"fine with status 500", body(vast(inlineAd("a")), 500), "500 VAST 3.0 1 1: "},
        {"another root", body("<vmap:VMAP version='1.0'/>"),
         "200 vmap:VMAP 1.0 0 0: the root is vmap:VMAP, not VAST"},
        {"another root, without a version", body("<html a='b'><body/></html>"),
         "200 html - 0 0: the root is html, not VAST"},
        {"another root, without ads", body("<Vast version='3.0'/>"),
         "200 Vast 3.0 0 0: the root is Vast, not VAST"},
        {"an attribute that pretends to be the root", body("<rss _name='VAST' a='b'/>"),
         "200 rss - 0 0: the root is rss, not VAST"},
        {"version", body("<VAST version='4.3'>" + inlineAd("a") + "</VAST>"),
         "200 VAST 4.3 1 0: VAST 4.3 is not supported"},
        {"no version", body("<VAST a='b'/>"), "200 VAST - 0 0: it has no version attribute"},
        {"no ad", body(vast("")), "200 VAST 3.0 0 0: it holds no ad"},
        {"no ad that can be read", body(vast("<Ad a='b'/><Ad><InLine/></Ad>")),
         "200 VAST 3.0 0 0: none of its Ad elements (2) has an InLine or a Wrapper that can be read"},
        {"no creative", body(vast(invalid("a"))), "200 VAST 3.0 1 0: " + noCreative},
        {"no creative in any ad", body(vast(invalid("a") + invalid("b"))),
         "200 VAST 3.0 2 0: none of its 2 ads is valid; of the first: " + noCreative},
        {"no creative in the ad that is taken", body(vast(invalid("a") + inlineAd("b"))),
         "200 VAST 3.0 2 0: none of its ads that are taken (1 of 2) is valid; of the first: " + noCreative},
        {"empty", body(" \n"), "200 - - 0 0: it is empty"},
        {"page", body(page),
         "200 html - 0 0: the root is html, not VAST, and its XML cannot be read: mismatched tag at line 1, "
         "column 21"},
        {"page with status 404", body(page, 404),
         "404 html - 0 0: the HTTP status is 404, and the root is html, not VAST, and its XML cannot be "
         "read: mismatched tag at line 1, "
         "column 21"},
        {"bytes", body("\xE9<VAST/>"),
         "200 - - 0 0: its XML cannot be read: not well-formed (invalid token) at line 1, column 1 (it is "
         "not "
         "UTF-8 text)"},
        {"transfer", VKTFakeHTTPAnswer::withError(VKTURLErrorTimedOut),
         "- - - 0 0: it cannot be downloaded: scripted error"},
    };
    for (const auto& [name, answer, outcome] : rows) {
        SCOPED_TRACE(name);
        EXPECT_EQ(outcomeOf(answer), outcome);
    }
}

TEST_F(VASTDocumentOutcome, IsOfEachDocumentOfAChain) {
    embedder->macros = std::map<std::string, std::string>{{"CACHEBUSTING", "12"}};
    const auto answer = [&](const std::string& path, const std::string& version, const std::string& ads) {
        fake->setAnswer(url(path), body("<VAST version='" + version + "'>" + ads + "</VAST>"));
    };
    answer("old", "2.0", wrapper("second", "new?c=[CACHEBUSTING]"));
    answer("new?c=12", "4.3", wrapper("third", "never"));
    manager = VKTVASTManager::initWithDelegate(embedder, embedder, session, config);
    answer("first", "3.0", wrapper("first", "old"));
    manager->createAdsStoreWithXML(std::nullopt, VKTURL::URLWithString(url("first")), VKTTimeInterval(1));
    EXPECT_EQ(next(), noMoreAds);
    EXPECT_EQ(places(), (Texts{"0 - " + url("first") + ": ", "1 first " + url("old") + ": ",
                               "2 second " + url("new?c=12") + ": VAST 4.3 is not supported"}));
}

TEST_F(VASTDocumentOutcome, IsToldOfWrappersThatAreNotFollowed) {
    config.strictWrapperFirstLevelImpressionValidation = true;
    start(ad("u", "Wrapper", "<Impression>http://i</Impression>", one) + wrapper("i", "x", two));
    EXPECT_EQ(next(), noMoreAds);
    EXPECT_EQ(places(), (Texts{"0 - !: ", "1 u !: the wrapper has no VASTAdTagURI that is a URL",
                               "1 i !" + url("x") +
                                   ": the wrapper has no impression, which is required of it "
                                   "(strictWrapperFirstLevelImpressionValidation)"}));
    config = {};
    config.maximumWrappers = 1;
    serve("a", wrapper("inner", "b"));
    serve("b", wrapper("innermost", "c"));
    const std::string refused = ": it is not requested: the limit of 1 wrappers in a row is reached";
    start(wrapper("w", "a"));
    next();
    EXPECT_EQ(places(), (Texts{"0 - !: ", "1 w " + url("a") + ": ", "2 inner !" + url("b") + refused}));
    start(inlineAd("m") + wrapper("w", "a"));
    next(true);
    EXPECT_EQ(places().back(), "3 innermost !" + url("c") + refused);
}

TEST_F(VASTDocumentOutcome, OfAFirstDocumentIsToldBeforeTheEnd) {
    manager = VKTVASTManager::initWithDelegate(embedder, embedder, session, config);
    const std::tuple<const char*, std::optional<std::string_view>, double, const char*> rows[] = {
        {"too late", "<VAST/>", 0, "- - - 0 0: there was no time left for it"},
        {"nothing", std::nullopt, 1, "- - - 0 0: there is neither a text nor a URL"},
        {"fault", "<VAST\n", 1, "- - - 0 0: its XML cannot be read: unclosed token at line 1, column 1"},
    };
    for (const auto& [name, text, timeout, outcome] : rows) {
        SCOPED_TRACE(name);
        Texts order;
        embedder->onEvent = [&](const std::string& event) { order.push_back(event.substr(0, 8)); };
        manager->createAdsStoreWithXML(text, std::nullopt, VKTTimeInterval(timeout));
        ASSERT_GE(order.size(), 2U);
        EXPECT_EQ(order[order.size() - 2], "document");
        EXPECT_TRUE(order.back().starts_with("failed"));
        EXPECT_EQ(textOf(embedder->takeOutcomes().at(0)), outcome);
    }
}

TEST_F(VASTDocumentOutcome, EachPassbackHasItsOwn) {
    constexpr int count = 32;
    fake->setHandler(
        [](const VKTURLRequest& request) { return body("<VAST version='" + pathOf(request) + "'/>"); });
    const auto pool = VKTPlatform::current().makeConcurrentPool(VKTPassbackThreadLimit);
    start(passbacks(count), pool.get());
    next(true);
    while (fake->requests().size() < count || manager.use_count() > 1)
        std::this_thread::yield();
    Texts heard = places();
    std::sort(heard.begin(), heard.end());
    Texts expected{"0 - !: "};
    for (int i = 0; i < count; ++i) {
        const std::string number = std::to_string(i);
        expected.push_back("1 w" + number + " " + url("p" + number) + ": VAST p" + number +
                           " is not supported");
    }
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(heard, expected);
}

TEST_F(VASTDocumentOutcome, AListenerHearsOfAdsThatAreLeftAside) {
    std::map<std::string, std::shared_ptr<Listener>> listeners;
    embedder->listenerFor = [&](const auto& documentURL, const auto& wrapperAd) {
        const std::string name = (documentURL ? documentURL->absoluteString() : "text") + " of " +
                                 (wrapperAd ? wrapperAd->adID().value_or("") : "nobody");
        return listeners[name] = std::make_shared<Listener>();
    };
    serve("pod", inlineAd("1", one) + inlineAd("2", two) + inlineAd("rest"));
    serve("wrapped", wrapper("v", "pod") + inlineAd("b"));
    start(wrapper("aside", "none") + inlineAd("m") + wrapper("w", "wrapped"));
    EXPECT_EQ(next(), "m");
    EXPECT_EQ(next(true), "1");
    const std::string onlyFirst =
        ": it is not taken: of a document behind a wrapper only the first ad is (handleWrappersAdpods is "
        "off)";
    EXPECT_EQ(listeners["text of nobody"]->heard,
              Texts{"/VAST/Ad[1]/Wrapper: it is not taken: an inline ad of its document is, in its place"});
    EXPECT_EQ(listeners[url("wrapped") + " of w"]->heard, Texts{"/VAST/Ad[2]/InLine" + onlyFirst});
    EXPECT_EQ(listeners[url("pod") + " of v"]->heard,
              (Texts{"/VAST/Ad[2]/InLine" + onlyFirst, "/VAST/Ad[3]/InLine" + onlyFirst}));

    config.handleWrappersAdpods = true;
    start(wrapper("v", "pod"));
    next();
    EXPECT_EQ(
        listeners[url("pod") + " of v"]->heard,
        Texts{"/VAST/Ad[3]/InLine: it is not taken: of a document behind a wrapper only the main ads are"});
}

// The wrapper's 5,000 click trackers are more than a creative may have.
TEST_F(VASTDocumentOutcome, AListenerHearsWhatMergingDrops) {
    const auto listener = std::make_shared<Listener>();
    embedder->listenerFor = [&](const auto&, const auto&) -> std::shared_ptr<Listener> { return listener; };
    const std::string metrics =
        "<Extensions><Extension><KorvoMetrics><KorvoMetric name='viewcount'>http://x</KorvoMetric>"
        "</KorvoMetrics></Extension></Extensions>";
    std::string clicks;
    for (int i = 0; i < 5000; ++i)
        clicks += "<ClickTracking>http://c</ClickTracking>";
    serve("x",
          ad("a", "InLine",
             "<Extensions><Extension><sort rank='1'/></Extension></Extensions>"
             "<Creatives><Creative><Linear><Duration>1</Duration><MediaFiles><MediaFile type='video/mp4'>"
             "http://m</MediaFile></MediaFiles></Linear></Creative></Creatives>",
             ""));
    start(inlineAd("m") + ad("w", "Wrapper",
                             "<VASTAdTagURI>" + url("x") + "</VASTAdTagURI>" + metrics +
                                 "<Creatives><Creative><Linear><VideoClicks>" + clicks +
                                 "</VideoClicks></Linear></Creative></Creatives>",
                             ""));
    EXPECT_EQ(next(true), "a");
    EXPECT_EQ(
        listener->heard,
        (Texts{"dropped /VAST/Ad/InLine/Extensions: those of the wrapper that led here have metrics and "
               "take its place: only its own metrics are kept",
               "dropped /VAST/Ad[2]/Wrapper: it lost 904 click trackers when it was merged into what it "
               "leads to, since what may be added to ads is limited"}));
    EXPECT_EQ(last->readingListener(), nullptr) << "an ad that is given away holds nobody";
}
