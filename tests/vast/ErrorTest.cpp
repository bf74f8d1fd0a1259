#include "VKTCoreKit/vast/VKTVASTError.h"

#include <gtest/gtest.h>

#include "VKTCoreKit/core/VKTHash.h"
#include "VKTCoreKit/foundation/VKTText.h"
#include "tests/vast/TestNodes.h"

namespace {

// Ad servers' reports depend on every name, code and text, odd spellings too: whoever changes one has to
// change this digest knowingly.
TEST(VASTError, CatalogueIsAsItWas) {
    Texts catalogue;
    for (const VKTVASTError& each : VKTVASTError::all()) {
        catalogue.push_back(each.description());
        const VKTError error = each.error();
        EXPECT_EQ(error.domain(), "VKTVASTErrorDomain");
        EXPECT_EQ(error.code(), each.VASTCode() == -1 ? each.korvoCode() : each.VASTCode());
        EXPECT_EQ(error.localizedDescription(), each.errorDescription());
        const auto* source = error.userInfoValue<VKTVASTError>("VASTError");
        ASSERT_NE(source, nullptr) << catalogue.back();
        EXPECT_EQ(*source, each);
    }
    EXPECT_EQ(VKTHash::md5(vkt_joined(catalogue, "\n")), "62e32b43723a464f71f68c911d338d74");
}

TEST(VASTError, WithoutADescription) {
    const auto error = VKTVASTError::initWithName("N", "D", 1, 2);
    const auto bare = VKTVASTError::initWithName("N", std::nullopt, -1, 7);
    EXPECT_NE(error, VKTVASTError::initWithName("N", std::nullopt, 1, 2));
    EXPECT_TRUE(bare.error().userInfo().empty());
    EXPECT_EQ(bare.description(), "VKTVASTError(name=N, VASTCode=-1, korvoCode=7, errorDescription=(null))");
    EXPECT_EQ(error.description(), "VKTVASTError(name=N, VASTCode=1, korvoCode=2, errorDescription=D)");
}

}  // namespace
