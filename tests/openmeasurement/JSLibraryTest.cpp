#include "VKTCoreKit/openmeasurement/VKTOpenMeasurementJSLibrary.h"

#include "VKTCoreKit/platform/testing/VKTTestPlatform.h"
#include "tests/openmeasurement/Fakes.h"

namespace {

const char* const address = "http://h/a/b/service.js?v=1";

struct Listener : VKTScriptDownloaderDelegate {
    void scriptDownloader(VKTScriptDownloader& downloader, const std::string& script,
                          const std::optional<VKTURL>& baseURL) override {
        heard.push_back(script + "|" + (baseURL ? baseURL->absoluteString() : "none"));
        if (onScript) onScript(downloader);
    }
    void scriptDownloader(VKTScriptDownloader&, const VKTError& error) override {
        heard.push_back(error.domain() + " " + std::to_string(error.code()) + " " +
                        error.localizedDescription().value_or("none"));
    }

    Texts heard;
    std::function<void(VKTScriptDownloader&)> onScript;
};

// Answers and the main loop move by hand.
class ScriptLoading : public testing::Test {
  protected:
    std::shared_ptr<VKTScriptDownloader> makeDownloader() {
        VKTURLRequest request;
        request.url = urlOf(address);
        return VKTScriptDownloader::initWithRequest(request, listener_, session_);
    }
    void answerWith(VKTFakeHTTPAnswer answer) { http_->setAnswer(address, std::move(answer)); }
    void deliver() { http_->deliverAll(), test_.mainRunLoop->drain(); }

    VKTTestPlatform test_ = vkt_makeTestPlatform();
    VKTScopedPlatform scope_{test_.platform};
    const std::shared_ptr<VKTFakeHTTPSession> http_ =
        std::make_shared<VKTFakeHTTPSession>(VKTFakeHTTPSession::Delivery::ByHand);
    const std::shared_ptr<VKTURLSession> session_ =
        VKTURLSession::initWithSessionProvider(VKTURLSessionProvider::initWithSession(http_));
    const std::shared_ptr<Listener> listener_ = std::make_shared<Listener>();
};

TEST_F(ScriptLoading, TheBodyIsDeliveredWhateverTheStatusUnlessItIsNoText) {
    const std::string invalid =
        "VKTScriptDownloaderErrorDomain 100 The downloaded script is empty or invalid!";
    VKTFakeHTTPAnswer redirected{500, "s", {}, {}, urlOf("https://cdn/x/y.js?z")};
    const std::pair<VKTFakeHTTPAnswer, std::string> cases[] = {
        {VKTFakeHTTPAnswer::withBody("s\xC3\xA9"), "s\xC3\xA9!|http://h/a/b/"},
        {redirected, "s!|https://cdn/x/"},
        {VKTFakeHTTPAnswer::withBody("s\xC3"), invalid},
        {VKTFakeHTTPAnswer::withBody(""), invalid},
        {VKTFakeHTTPAnswer::withError(VKTURLErrorTimedOut), "NSURLErrorDomain -1001 scripted error"}};
    const auto downloader = makeDownloader();
    for (const auto& [answer, heard] : cases) {
        answerWith(answer);
        downloader->loadWithScriptHandler([](const std::string& script) { return script + "!"; });
        http_->deliverAll();
        EXPECT_TRUE(listener_->heard.empty()) << "not before the main loop runs";
        test_.mainRunLoop->drain();
        EXPECT_EQ(std::exchange(listener_->heard, {}), Texts{heard});
        EXPECT_FALSE(downloader->currentTask());
    }
}

TEST_F(ScriptLoading, AScriptAtHandNeedsNoRequestAndItsOwnerMayLetGo) {
    auto downloader = VKTScriptDownloader::initWithScript("s", urlOf("http://h/"), listener_, session_);
    listener_->onScript = [&](VKTScriptDownloader& same) {
        downloader.reset();
        EXPECT_EQ(same.script(), "s");
    };
    downloader->load();
    EXPECT_EQ(listener_->heard, Texts{"s|http://h/"});
    EXPECT_TRUE(http_->requests().empty());
}

TEST_F(ScriptLoading, OnlyTheLastLoadIsHeard) {
    auto downloader = makeDownloader();
    answerWith(VKTFakeHTTPAnswer::withBody("first"));
    downloader->load();
    http_->deliverNext();  // its completion now waits in the main loop
    downloader->cancel();
    downloader->load();
    test_.mainRunLoop->drain();
    EXPECT_TRUE(listener_->heard.empty());
    EXPECT_TRUE(downloader->currentTask()) << "the late completion does not end the second load";

    answerWith(VKTFakeHTTPAnswer::withBody("second"));
    downloader->load();  // ends the one under way
    listener_->onScript = [](VKTScriptDownloader& again) { again.load(); };
    deliver();
    EXPECT_EQ(listener_->heard, Texts{"second|http://h/a/b/"});
    EXPECT_TRUE(downloader->currentTask()) << "loading again inside the callback holds";

    const std::weak_ptr<VKTScriptDownloader> weak = downloader;
    downloader.reset();
    EXPECT_TRUE(weak.expired()) << "a request under way holds it weakly";
    deliver();
    EXPECT_EQ(listener_->heard.size(), 1U);
}

TEST_F(ScriptLoading, TheLibraryDownloadsOnceAtATimeAndKeepsItsScriptAfterAFailure) {
    const auto provider = std::make_shared<SessionlessProvider>(address);
    auto library = VKTOpenMeasurementJSLibrary::initWithProvider(provider, nullptr, session_);
    Texts ends;
    library->setJSLibraryDownloadCompleteHandler([&](bool isSuccess) {
        EXPECT_FALSE(library->scriptDownloader());
        ends.push_back((isSuccess ? "+" : "-") + library->libraryScript().value_or("none"));
    });
    const auto refresh = [&](VKTFakeHTTPAnswer answer) {
        answerWith(std::move(answer));
        library->refreshJSLibrary();
        library->refreshJSLibrary();
        deliver();
    };
    const std::string failed = "Failed to download Open Measurement library with error: ";
    EXPECT_EQ(messagesOf([&] {
                  refresh(VKTFakeHTTPAnswer::withError(VKTURLErrorTimedOut));
                  EXPECT_FALSE(library->isReady());
                  refresh(VKTFakeHTTPAnswer::withBody("script"));
                  refresh(VKTFakeHTTPAnswer::withBody("\xFF"));
              }),
              (Texts{failed + "scripted error", "Open Measurement library did download successfully",
                     failed + "The downloaded script is empty or invalid!"}));
    provider->embedded = "embedded";
    library->refreshJSLibrary();
    EXPECT_EQ(ends, (Texts{"-none", "+script", "-script", "+embedded"}));
    EXPECT_EQ(http_->requests().size(), 3U);

    provider->embedded.reset();
    library->setJSLibraryDownloadCompleteHandler([&](bool) { library.reset(); });
    refresh(VKTFakeHTTPAnswer::withBody("script"));
    EXPECT_EQ(library, nullptr);
}

}  // namespace
