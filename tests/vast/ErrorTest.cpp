#include "VKTCoreKit/vast/VKTVASTError.h"

#include <gtest/gtest.h>

#include "tests/vast/TestNodes.h"

namespace {

// "VAST code/korvo code text" in the order of the catalogue: what ad servers' reports depend on, odd
// spellings included.
const Texts catalogue{
    "100/100001 A malformed or invalid XML document is retrieved from an AdCall.",
    "303/100002 A malformed or invalid XML document is retrieved from a wrapper resolution.",
    "101/101001 The 'version' attribute is missing in the VAST response.",
    "-1/101002 The <AdSystem> tag is missing in the VAST response.",
    "-1/101003 The <AdTitle> tag is missing in the VAST response.",
    "101/101004 The <Impression> tag is missing in the VAST response.",
    "101/101005 The <Inline> and <Wrapper> tags are missing in the VAST response.",
    "301/101006 The <VASTAdTagURI> tag is missing in the VAST response.",
    "101/101007 The <Creatives> or <Creative> tags are missing or malformed in the VAST response.",
    "-1/101401 The <Duration> tag of a linear creative is missing or empty in the VAST response.",
    "401/101402 The <Mediafiles> tag of a Linear creative is missing or empty in the VAST response.",
    "101/101501 Some NonLinear creative attributes are missing in the VAST response.",
    "101/101502 The <StaticResource> tag of a NonLinear creative is missing or empty in the VAST response.",
    "102/102001 The version attribute of a VAST file is not supported.",
    "102/102002 The version attribute of a revolved wrapper is not supported.",
    "201/201001 The client-side component receive a linear creative when expecting a non linear… or the "
    "other way around.",
    "202/202001 The client-side component cannot play because the ad duration is bigger than allowed "
    "duration.",
    "300/300001 Fatal error during wrapper resolution.",
    "301/301001 The resolution of a wrapper URI has failed because of a HTTP error (40x, 50x).",
    "301/301002 The resolution of a wrapper URI has failed because of a CORS error.",
    "301/301003 The resolution of a wrapper URI has failed because of timeout.",
    "302/302001 The maximum number of wrapper resolution defined by the configuration has been reached.",
    "303/303001 The resolution of wrapper finished with a response that is not a VAST file.",
    "304/304001 Inline response returned after a wrapper resolution failed to result in ad display within "
    "the defined timeout.",
    "400/400001 Media player is unable to display the Linear Ad.",
    "401/401001 The client-side component was unable to load the Linear ad mediafiles.",
    "402/402001 The client-side component was unable to load the Linear selected mediafile because of a "
    "timeout.",
    "403/403001 No suitable media files were found for the media player.",
    "405/405001 There was a problem when trying to display the Linear ad mediafile.",
    "408/408001 A conditional ad was received but the “Allow conditional ad” option was set to false.",
    "409/409001 The Interactive unit in the <InteractiveCreativeFile> node was not executed by the media "
    "player.",
    "501/501001 The size (width/height) of the non linear creative is bigger than player size. The plugin "
    "will resize the creative to make it fit while maintaining its aspect ratio.",
    "502/502001 The non linear creative can't be loaded because of an HTTP Error.",
    "503/503001 No suitable format for the NonLinear creative resources.",
    "600/600001 Some parameters are missing for the companion.",
    "603/603001 The companion creative can't be loaded because of an HTTP Error.",
    "604/604001 No suitable format for the companion creative resources.",
    "900/900001 An undefined VAST error occurred.",
    "901/901001 An undefined VPAID error occurred.",
    "901/901002 An error occured while fetching a VPAID creative.",
    "901/901003 An error occured while playing a VPAID creative.",
    "-1/10000001 HTTP error code returned when fetching first VAST (40x, 50x).",
    "-1/10000002 Timeout when performing the first VAST Ad Call.",
    "-1/10000101 Total timeout reached before any wrapper resolution led to an InlineAd.",
    "-1/10000301 Ad rejected client-side because of missing UniversalAdId or a creative with the same id was "
    "played already in the same ad break."};

const Texts factories{
#define VKT_VAST_ERROR(factory, name, VASTCode, korvoCode, description) #factory,
#include "VKTCoreKit/vast/VKTVASTErrorTable.inc"
};

TEST(VASTError, CatalogueIsComplete) {
    const auto all = VKTVASTError::all();
    ASSERT_EQ(all.size(), catalogue.size());
    for (std::size_t i = 0; i < all.size(); ++i) {
        EXPECT_EQ(std::to_string(all[i].VASTCode()) + "/" + std::to_string(all[i].korvoCode()) + " " +
                      all[i].errorDescription().value_or("none"),
                  catalogue[i]);
        const bool isCORS = factories[i] == "VAST_WRAPPER_ERROR_FETCH_CORS";
        EXPECT_EQ(all[i].errorName(), isCORS ? "VAST_WRAPPER_ERROR_FETCH" : factories[i]);
        const VKTError object = all[i].error();
        EXPECT_EQ(object.domain(), "VKTVASTErrorDomain");
        EXPECT_EQ(object.code(), all[i].VASTCode() == -1 ? all[i].korvoCode() : all[i].VASTCode());
        EXPECT_EQ(object.localizedDescription(), all[i].errorDescription());
        const auto* source = object.userInfoValue<VKTVASTError>("VASTError");
        ASSERT_NE(source, nullptr) << factories[i];
        EXPECT_EQ(*source, all[i]);
    }
}

TEST(VASTError, IsEqualByAllFields) {
    const auto error = VKTVASTError::initWithName("N", "D", 1, 2);
    EXPECT_TRUE(error.isEqual(error.copy()) && error.isEqualToVASTError(error.copy()));
    const VKTVASTError others[] = {
        VKTVASTError::initWithName("M", "D", 1, 2), VKTVASTError::initWithName("N", "E", 1, 2),
        VKTVASTError::initWithName("N", std::nullopt, 1, 2), VKTVASTError::initWithName("N", "D", 0, 2),
        VKTVASTError::initWithName("N", "D", 1, 0)};
    for (const VKTVASTError& other : others)
        EXPECT_FALSE(error.isEqual(other) || error.isEqualToVASTError(other)) << other.description();
}

TEST(VASTError, WithoutADescription) {
    const auto error = VKTVASTError::initWithName("N", "D", 1, 2);
    const auto bare = VKTVASTError::initWithName("N", std::nullopt, -1, 7);
    EXPECT_TRUE(bare.error().userInfo().empty());
    EXPECT_EQ(bare.description(), "VKTVASTError(name=N, VASTCode=-1, korvoCode=7, errorDescription=(null))");
    EXPECT_EQ(error.description(), "VKTVASTError(name=N, VASTCode=1, korvoCode=2, errorDescription=D)");
}

}  // namespace
