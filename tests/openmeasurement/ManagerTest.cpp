#include "VKTCoreKit/openmeasurement/VKTOpenMeasurementManager.h"

#include <future>

#include "VKTCoreKit/openmeasurement/VKTOpenMeasurementManagerDefaultProvider.h"
#include "VKTCoreKit/platform/testing/VKTTestPlatform.h"
#include "tests/openmeasurement/Fakes.h"

namespace {

using Script = VKTOpenMeasurementAdVerificationScript;
using Scripts = VKTOpenMeasurementManager::Scripts;

struct RecordingLogger : VKTOpenMeasurementRemoteLoggerProtocol {
    void logOMInfoWithVendorName(const std::optional<std::string>& vendor,
                                 const std::optional<std::string>& url, std::int64_t type) override {
        lines.push_back("info " + vendor.value_or("none") + " " + url.value_or("none") + " " +
                        std::to_string(type));
    }
    void logOMAPIError(const std::optional<VKTError>& error, const std::optional<std::string>& vendor,
                       const std::optional<std::string>& url, std::int64_t type) override {
        lines.push_back(error->domain() + " " + vendor.value_or("none") + " " + url.value_or("none") + " " +
                        std::to_string(type));
    }
    Texts lines;
};

class Manager : public testing::Test {
  protected:
    Manager() {
        test_.platform.random =
            std::make_shared<VKTFixedRandomSource>(std::vector<std::uint32_t>{1, 0, 2, 5});
        VKTPlatform::setCurrent(test_.platform);  // until the scope ends
    }

    VKTTestPlatform test_ = vkt_makeTestPlatform();
    VKTScopedPlatform scope_{test_.platform};
    const std::shared_ptr<VKTPixelManager> pixels_ = VKTPixelManager::initWithPixelStore(
        VKTPixelStore::initWithProvider(std::make_shared<VKTPixelStoreProvider>()),
        VKTURLSession::initWithSessionProvider(VKTURLSessionProvider::initWithSession(test_.HTTPSession)));
    const std::shared_ptr<SessionlessProvider> provider_ =
        std::make_shared<SessionlessProvider>("https://h/om.js?$&$1");
    const std::shared_ptr<RecordingLogger> logger_ = std::make_shared<RecordingLogger>();
    const std::shared_ptr<VKTOpenMeasurementManager> manager_ = VKTOpenMeasurementManager::initWithProvider(
        provider_, VKTOpenMeasurementJSLibrary::initWithProvider(provider_, VKTURLSession::sharedInstance()),
        logger_, pixels_);
};

TEST_F(Manager, EachJavaScriptResourceIsAScriptAndVerificationsWithoutAnyAreReported) {
    const auto verification = [](const std::vector<std::int64_t>& resourceTypes) {
        VKTVASTAdVerification::Resources resources;
        for (const std::int64_t type : resourceTypes)
            resources.push_back({type, urlOf("http://h/s.js"), {}, false, {}});
        const auto event = VKTVASTAdVerificationEvent::initWithName(
            "verificationNotExecuted", urlOf("http://h/n?r=%5BREASON%5D&%5BREASON%5D&%5bREASON%5d"));
        return VKTVASTAdVerification::initWithVendor("v", resources, {event}, "p");
    };
    const Script script{urlOf("http://h/s.js"), "v", "p"};
    EXPECT_EQ(manager_->scriptsFromAdVerifications({verification({0, 1, 0}), verification({})}),
              (Scripts{script, script}));
    EXPECT_TRUE(pixels_->allPixels().empty());
    EXPECT_TRUE(manager_->scriptsFromAdVerifications({verification({1})}).empty());
    ASSERT_EQ(pixels_->allPixels().size(), 1U);
    EXPECT_EQ(pixels_->allPixels()[0]->url(), urlOf("http://h/n?r=2&2&%5bREASON%5d"));
    std::promise<void> sent;
    pixels_->callPixelsWithCompletionHandler([&] { sent.set_value(); });
    sent.get_future().wait();
    EXPECT_EQ(test_.HTTPSession->requests().size(), 2U) << "one pass of its own, one of this test";
}

TEST_F(Manager, ASessionNeedsTheLibraryAndOneScriptDrawnStandsForAllInTheLog) {
    const Scripts scripts{{urlOf("http://h/0"), "v0", {}}, {urlOf("http://h/1"), {}, "p"}, {{}, "v2", {}}};
    provider_->embedded = "library";
    const auto request = [&] { EXPECT_EQ(manager_->sessionWithView(nullptr, true, scripts), nullptr); };
    EXPECT_EQ(messagesOf(request),
              (Texts{"Open Measurement library did download successfully",
                     "Can't create Open Measurement session because the OM JS library is not ready!"}));
    EXPECT_TRUE(logger_->lines.empty());
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(messagesOf(request), Texts{"Unable to start Open Measurement session with view: refused"});
    EXPECT_EQ(manager_->sessionWithView(nullptr, true, {}), nullptr);
    EXPECT_EQ(logger_->lines, (Texts{"d none http://h/1 0", "d v0 http://h/0 0", "d v2 none 0"}));

    const auto provider = VKTOpenMeasurementManagerDefaultProvider::initWithFrameworkVersion("1.0");
    const auto library =
        VKTOpenMeasurementJSLibrary::initWithProvider(provider, VKTURLSession::sharedInstance());
    const auto manager = VKTOpenMeasurementManager::initWithProvider(provider, library, logger_, pixels_);
    manager->refreshJSLibrary();
    EXPECT_TRUE(manager->sessionWithView(nullptr, true, {scripts[1]}));
    EXPECT_EQ(logger_->lines.back(), "info none http://h/1 0");
}

TEST_F(Manager, TheScriptTagStandsBeforeEveryTagThatItIsPutTo) {
    const std::string tag = "<script src=\"https://h/om.js?$&$1\"></script>";
    const std::tuple<std::string, bool, std::string> rows[] = {
        {"<HEAD></HEAD><body>", false, "<HEAD>" + tag + "</head><body>"},
        {"</head>-</Head></html>", false, tag + "</head>-" + tag + "</head></html>"},
        {"<html><BODY id=b></html>", false, "<html><head>" + tag + "</head><body id=b></html>"},
        {"<p></HTML>", false, "<p>" + tag + "</html>"},
        {"</head><body></html>", true, "</head><body>" + tag + "</html>"},
        {"</head><body>", true, "</head><body>" + tag},
        {"<p>\xC3\x89%@", false, "<p>\xC3\x89%@" + tag},
        // A tag in another form is found, but nothing is put before it.
        {"<p></html >", false, "<p></html >"},
    };
    for (const auto& [html, isForced, expected] : rows)
        EXPECT_EQ(manager_->injectLibraryIntoHTML(html, isForced), expected);
    constexpr std::size_t count = 100'000;
    std::string many;
    for (std::size_t i = 0; i < count; ++i)
        many += "</head>";
    EXPECT_EQ(manager_->injectLibraryIntoHTML(many).size(), many.size() + count * tag.size());
}

TEST(VerificationScript, IsArchivedUnderItsKeysAndComparesAllFields) {
    const Script full = Script::initWithJavascriptResourceURL(urlOf("http://h/s.js"), "v", "p");
    for (const Script& script : {full, Script{}, Script{full.javascriptResourceURL, {}, "p"}}) {
        EXPECT_EQ(vkt_unarchivedObject<Script>(vkt_archivedData(script)), script);
        EXPECT_EQ(script == full, script.vendor.has_value());
    }
    const VKTDictionary values = VKTKeyedArchiver::archived(full);
    for (const char* key : {"javascriptResourceURL", "vendor", "verificationParameters"})
        EXPECT_TRUE(values.contains(key)) << key;
}

}  // namespace
