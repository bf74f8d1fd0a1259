// From bytes or a URL to a model, and what is heard on the way.
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/platform/testing/VKTFakeHTTPSession.h"
#include "VKTCoreKit/vast/VKTVASTModelGenerator.h"

namespace {

// Each problem as "NAME /pixel /pixel", with " + document" when the document came with it.
struct Hearing {
    explicit Hearing(std::optional<std::string> expectedDocument) : document(std::move(expectedDocument)) {}

    VKTVASTDocumentErrorHandler handler() {
        return [this](const VKTVASTError& error, const std::vector<VKTVASTURL>& pixels, const auto& text) {
            heard += (heard.empty() ? "" : "; ") + error.errorName();
            for (const VKTVASTURL& each : pixels)
                heard += " " + each.url().absoluteString().substr(std::string("http://ads.test").size());
            if (!text) return;
            EXPECT_EQ(text, document);
            heard += " + document";
        };
    }

    std::optional<std::string> document;
    std::string heard;
};

// "model" and the error: a VAST error's own code, or "CODE description".
std::string outcomeOf(const VKTVASTParserResponse& response) {
    std::string outcome = response.model ? "model" : "";
    if (!response.error) return outcome;
    EXPECT_EQ(response.error->domain(), "VKTVASTErrorDomain");
    if (response.model) outcome += " ";
    const auto* error = response.error->userInfoValue<VKTVASTError>("VASTError");
    if (error != nullptr) return outcome + std::to_string(error->korvoCode());
    return outcome + std::to_string(response.error->code()) + " " +
           response.error->localizedDescription().value_or("");
}

const std::string pixel = "<Error>http://ads.test/error</Error>";
const std::string linearAd =
    "<Ad><InLine><AdSystem>s</AdSystem><AdTitle>t</AdTitle><Creatives><Creative><Linear>"
    "<Duration>1</Duration><MediaFiles><MediaFile type='video/mp4'>http://m</MediaFile></MediaFiles>"
    "</Linear></Creative></Creatives></InLine></Ad>";
const std::string invalidAd = "<Ad><InLine><AdSystem>s</AdSystem><AdTitle>t</AdTitle></InLine></Ad>";

std::string vast(const std::string& version, const std::string& content) {
    return "<VAST version='" + version + "'>" + content + "</VAST>";
}

TEST(Parser, AnEmptyHandlerIgnoresEverything) {
    for (const bool isWrapper : {false, true}) {
        for (const std::optional<std::string_view>& data :
             {std::optional<std::string_view>(), std::optional<std::string_view>("<"),
              std::optional<std::string_view>("<VAST version='9'/>"),
              std::optional<std::string_view>("<VAST version='3.0'/>")}) {
            const auto response = VKTVASTParser::parseXMLAndGenerateVASTObjectModel(
                data, isWrapper, VKTVASTDocumentErrorHandler());
            EXPECT_TRUE(response.error) << data.value_or("no data");
        }
    }
}

}  // namespace

TEST(VASTParser, ChecksTheDocumentStepByStep) {
    const std::string untitled = "<Ad><Wrapper><AdSystem>s</AdSystem></Wrapper></Ad>";
    const std::string malformed = "<VAST version=\"3.0\"><Ad>";
    const std::tuple<std::optional<std::string>, bool, std::string, std::string> cases[] = {
        {std::nullopt, true, "VAST_VPAID_ERROR_FETCH", "5032 Unexpected response."},
        {"", false, "XML_PARSING_ERROR + document", "100001"},
        {malformed, true, "XML_PARSING_ERROR_WRAPPER + document", "100002"},
        {vast("3.0", "\xE9"), false, "XML_PARSING_ERROR", "100001"},
        {"<VAST>" + pixel + "</VAST>", true, "VAST_VALIDATION_ERROR_MISSING_VERSION /error + document",
         "101001"},
        {vast("5.0", pixel), false, "VAST_VERSION_ERROR_NOT_SUPPORTED /error + document", "102001"},
        {vast("3.0.1", linearAd), true, "VAST_VERSION_ERROR_NOT_SUPPORTED_WRAPPER + document", "102002"},
        {vast("5.0", untitled), false, "VAST_VALIDATION_ERROR_MISSING_ADTITLE + document", "102001"},
        {vast("3.0", pixel), false, "", "model 101005"},
        {vast("3.0", pixel), true, "VAST_WRAPPER_ERROR_NOT_VAST_RESPONSE /error + document", "model 101005"},
        {vast("3.0", "<Ad><InLine/></Ad>"), true, "XML_PARSING_ERROR + document", "model 101005"},
        {vast("4.2", linearAd), true, "", "model"},
        {vast("4.2", invalidAd), false, "VAST_VALIDATION_ERROR_MISSING_CREATIVES + document", "model"},
    };
    for (const auto& [data, isWrapper, heard, outcome] : cases) {
        SCOPED_TRACE(data.value_or("no data") + (isWrapper ? " of a wrapper" : ""));
        Hearing hearing(data);
        const auto response =
            VKTVASTParser::parseXMLAndGenerateVASTObjectModel(data, isWrapper, hearing.handler());
        EXPECT_EQ(hearing.heard, heard);
        EXPECT_EQ(outcomeOf(response), outcome);
    }
    EXPECT_EQ(
        VKTVASTParser::parseXMLAndGenerateVASTObjectModel(vast("2.0", pixel)).model->errorPixels().size(),
        1U);
}

TEST(VASTModelGenerator, ChecksTimeThenDataThenURL) {
    const auto fake = std::make_shared<VKTFakeHTTPSession>();
    fake->setAnswer("http://ads.test/ok", VKTFakeHTTPAnswer::withBody(vast("3.0", linearAd)));
    fake->setAnswer("http://ads.test/500", {500, vast("3.0", linearAd), {}, {}, {}});
    fake->setAnswer("http://ads.test/empty", VKTFakeHTTPAnswer::withBody(""));
    fake->setAnswer("http://ads.test/slow", VKTFakeHTTPAnswer::withError(VKTURLErrorTimedOut));
    const auto session = VKTURLSession::initWithSessionProvider(VKTURLSessionProvider::initWithSession(fake));
    // Data, path, seconds left, what is heard, the outcome, requests sent.
    using Case =
        std::tuple<std::optional<std::string>, std::string, double, std::string, std::string, std::size_t>;
    const Case cases[] = {
        {vast("3.0", linearAd), "ok", 0, "", "5031 Connection timed out.", 0},
        {std::nullopt, "ok", -1, "", "5031 Connection timed out.", 0},
        {std::nullopt, "", 1, "", "10002 No XML Input.", 0},
        {vast("3.0", linearAd), "slow", 1, "", "model", 0},
        {"", "ok", 1, "XML_PARSING_ERROR + document", "100001", 0},
        {std::nullopt, "ok", 1, "", "model", 1},
        {std::nullopt, "500", 1, "", "model", 1},
        {std::nullopt, "empty", 1, "XML_PARSING_ERROR + document", "100001", 1},
        {std::nullopt, "slow", 1, "VAST_WRAPPER_ERROR_FETCH_TIMEOUT", "301003", 1},
        {std::nullopt, "none", 1, "VAST_WRAPPER_ERROR_FETCH", "10003 Unable to download XML.", 1},
    };
    for (const auto& [data, path, timeout, heard, outcome, requests] : cases) {
        SCOPED_TRACE(data.value_or("no data") + " " + path);
        const std::size_t before = fake->requests().size();
        Hearing hearing("");
        const auto url = VKTURL::URLWithString(path.empty() ? "" : "http://ads.test/" + path);
        const auto response = VKTVASTModelGenerator::initWithSessionManager(session).generateVASTModelFromXML(
            data, url, VKTTimeInterval(timeout), hearing.handler());
        EXPECT_EQ(hearing.heard, heard);
        EXPECT_EQ(outcomeOf(response), outcome);
        EXPECT_EQ(fake->requests().size() - before, requests);
    }
    const VKTURLRequest request = fake->requests().front();
    EXPECT_EQ(request.HTTPMethod, "GET");
    EXPECT_EQ(request.cachePolicy, VKTURLRequestUseProtocolCachePolicy);
    EXPECT_EQ(request.timeoutInterval, VKTTimeInterval(1));
    EXPECT_TRUE(request.headers.empty());
}
