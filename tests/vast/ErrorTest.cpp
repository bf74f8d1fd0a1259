#include "VKTCoreKit/vast/VKTVASTError.h"

#include <gtest/gtest.h>

#include "VKTCoreKit/core/VKTHash.h"
#include "VKTCoreKit/foundation/VKTText.h"
#include "tests/vast/TestNodes.h"

namespace {

// "VAST code/korvo code" in the order of the catalogue: the codes that ad servers' reports depend on.
const Texts codes{"100/100001",  "303/100002",  "101/101001", "-1/101002",  "-1/101003",  "101/101004",
                  "101/101005",  "301/101006",  "101/101007", "-1/101401",  "401/101402", "101/101501",
                  "101/101502",  "102/102001",  "102/102002", "201/201001", "202/202001", "300/300001",
                  "301/301001",  "301/301002",  "301/301003", "302/302001", "303/303001", "304/304001",
                  "400/400001",  "401/401001",  "402/402001", "403/403001", "405/405001", "408/408001",
                  "409/409001",  "501/501001",  "502/502001", "503/503001", "600/600001", "603/603001",
                  "604/604001",  "900/900001",  "901/901001", "901/901002", "901/901003", "-1/10000001",
                  "-1/10000002", "-1/10000101", "-1/10000301"};

const Texts factories{
#define VKT_VAST_ERROR(factory, name, VASTCode, korvoCode, description) #factory,
#include "VKTCoreKit/vast/VKTVASTErrorTable.inc"
};

TEST(VASTError, CatalogueIsComplete) {
    const auto all = VKTVASTError::all();
    Texts found;
    for (const VKTVASTError& error : all)
        found.push_back(std::to_string(error.VASTCode()) + "/" + std::to_string(error.korvoCode()));
    ASSERT_EQ(found, codes);
    for (std::size_t i = 0; i < all.size(); ++i) {
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

// The texts are part of the reports, odd spellings too: whoever changes one has to change this digest
// knowingly.
TEST(VASTError, DescriptionsAreAsTheyWere) {
    Texts descriptions;
    for (const VKTVASTError& error : VKTVASTError::all())
        descriptions.push_back(error.errorDescription().value_or(""));
    EXPECT_EQ(VKTHash::md5(vkt_joined(descriptions, "\n")), "4be6625fc9270695dd5e7eb8570b3ba2");
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
