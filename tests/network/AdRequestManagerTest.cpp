#include "VKTCoreKit/network/VKTAdRequestManager.h"

#include <gtest/gtest.h>

#include "VKTCoreKit/platform/testing/VKTFakeHTTPSession.h"

namespace {

class StubValidator : public VKTAdRequestValidatorProtocol {
  public:
    std::optional<VKTError> validateAdRequestWithBaseURL(
        const std::string& baseURL, const std::optional<std::string>& path, const VKTDictionary& headers,
        const VKTDictionary& getParameters, const std::optional<VKTDictionary>& postParameters) override {
        asked = baseURL + "|" + path.value_or("-") + "|" + VKTValue(headers).description() + "|" +
                VKTValue(getParameters).description() + "|" + (postParameters ? "post" : "-");
        if (throws) throw std::runtime_error("of the embedder");
        return veto;
    }

    std::string asked;
    std::optional<VKTError> veto;
    bool throws = false;
};

class AdRequestManager : public testing::Test {
  protected:
    std::optional<VKTURLSessionResponse> answerTo(const std::string& baseURL,
                                                  const std::optional<std::string>& path,
                                                  VKTHTTPMethod method,
                                                  const std::optional<VKTDictionary>& postParameters,
                                                  const VKTDictionary& headers = {},
                                                  const VKTDictionary& getParameters = {}) {
        std::optional<VKTURLSessionResponse> answer;
        manager_->asynchronousRequestWithBaseURL(
            baseURL, path, method, headers, getParameters, postParameters,
            [&](const VKTURLSessionResponse& response) { answer = response; });
        return answer;
    }

    AdRequestManager() {
        http_->setHandler([](const VKTURLRequest&) { return VKTFakeHTTPAnswer::withBody("ad"); });
    }

    std::shared_ptr<VKTFakeHTTPSession> http_ = std::make_shared<VKTFakeHTTPSession>();
    std::shared_ptr<VKTURLSession> session_ =
        VKTURLSession::initWithSessionProvider(VKTURLSessionProvider::initWithSession(http_));
    std::shared_ptr<StubValidator> validator_ = std::make_shared<StubValidator>();
    std::shared_ptr<VKTAdRequestManager> manager_ =
        VKTAdRequestManager::initWithUrlSession(session_, validator_);
};

TEST_F(AdRequestManager, GETHasASortedQueryAndNoBody) {
    const auto answer = answerTo("http://h/", "ad", VKTHTTPMethodGET, VKTDictionary{{"ignored", 1}},
                                 {{"X-B", 2.5}, {"X-A", 12}}, {{"b", "x y"}, {"a", 1}});
    ASSERT_EQ(http_->requests().size(), 1u);
    const VKTURLRequest request = http_->requests()[0];
    EXPECT_EQ(request.url.absoluteString(), "http://h/ad?a=1&b=x%20y");
    EXPECT_EQ(request.HTTPMethod, "GET");
    EXPECT_FALSE(request.HTTPBody);
    EXPECT_EQ(request.cachePolicy, VKTURLRequestReloadIgnoringLocalCacheData);
    EXPECT_EQ(request.timeoutInterval.count(), 10);
    EXPECT_EQ(request.headers,
              (std::vector<std::pair<std::string, std::string>>{{"X-A", "12"}, {"X-B", "2.5"}}));
    EXPECT_EQ(validator_->asked, "http://h/|ad|{X-B = 2.5; X-A = 12}|{b = x y; a = 1}|post");
    ASSERT_TRUE(answer);
    EXPECT_EQ(*answer->data(), "ad");
}

TEST_F(AdRequestManager, POSTSendsTheJSONUnencodedBehindItsKey) {
    const VKTDictionary full{{"b", "x&y=/\xC3\xA4"}, {"a", VKTArray{1, true}}};
    const std::pair<std::optional<VKTDictionary>, std::optional<std::string>> cases[] = {
        {full, "jsonMessage={\"b\":\"x&y=/\xC3\xA4\",\"a\":[1,true]}"},
        {VKTDictionary(), "jsonMessage={}"},
        {std::nullopt, std::nullopt}};
    for (const auto& [parameters, body] : cases) {
        answerTo("http://h", std::nullopt, VKTHTTPMethodPOST, parameters);
        EXPECT_EQ(http_->requests().back().HTTPMethod, "POST");
        EXPECT_EQ(http_->requests().back().HTTPBody, body);
        EXPECT_TRUE(http_->requests().back().headers.empty());
    }
}

TEST_F(AdRequestManager, FailuresAreDeliveredAndNothingIsSent) {
    const VKTError badURL("VKTAdRequestError", 100,
                          {{VKTLocalizedDescriptionKey, std::string("Unable to build URL")}});
    const VKTError badBody("VKTAdRequestError", 101,
                           {{VKTLocalizedDescriptionKey, std::string("Invalid POST parameters")}});
    const VKTDictionary notJSON{{"bytes", VKTBytes{"x"}}};
    for (const char* base : {"", "http://h h"})
        EXPECT_EQ(answerTo(base, "ad", VKTHTTPMethodGET, {})->error(), badURL);
    EXPECT_EQ(answerTo("http://h", "ad", VKTHTTPMethodPOST, notJSON)->error(), badBody);
    EXPECT_FALSE(VKTAdRequestManager::adRequestWithURL(*VKTURL::URLWithString("http://h"), VKTHTTPMethodPOST,
                                                       {}, {}, notJSON, VKTTimeInterval(1), nullptr, nullptr))
        << "nobody asks for the error";
    validator_->veto = VKTError("veto", 3);
    EXPECT_EQ(answerTo("http://h", "ad", VKTHTTPMethodGET, {})->error(), validator_->veto);
    validator_->throws = true;
    EXPECT_EQ(answerTo("http://h", "ad", VKTHTTPMethodGET, {})->error()->code(),
              VKTAdRequestErrorValidatorFailed);
    EXPECT_TRUE(http_->requests().empty());
}

TEST_F(AdRequestManager, RunsWithoutHandlerAndWithoutValidator) {
    const auto manager = VKTAdRequestManager::initWithUrlSession(session_, nullptr);
    manager->asynchronousRequestWithBaseURL("http://h", "ad", VKTHTTPMethodGET, {}, {}, std::nullopt,
                                            VKTTimeInterval(3), nullptr);
    manager->asynchronousRequestWithBaseURL("", "ad", VKTHTTPMethodGET, {}, {}, std::nullopt, nullptr);
    ASSERT_EQ(http_->requests().size(), 1u);
    EXPECT_EQ(http_->requests()[0].timeoutInterval.count(), 3);
}

TEST_F(AdRequestManager, EveryMethodButGETIsPOST) {
    EXPECT_STREQ(VKTAdRequestManager::HTTPMethodName(static_cast<VKTHTTPMethod>(7)), "POST");
}

}  // namespace
