#include "VKTCoreKit/tracking/VKTPixelStore.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "VKTCoreKit/core/VKTLog.h"
#include "VKTCoreKit/foundation/VKTFrameworkConstants.h"
#include "VKTCoreKit/platform/testing/VKTMemoryKeyValueStore.h"
#include "VKTCoreKit/platform/testing/VKTTestPlatform.h"
#include "VKTCoreKit/tracking/VKTPersistentPixelStoreProvider.h"
#include "tests/support/FastestRun.h"

namespace {

using IDs = std::vector<std::uint32_t>;

class PixelStore : public testing::Test {
  protected:
    [[nodiscard]] std::shared_ptr<VKTPixel> pixel(std::uint32_t ID, const char* url = "http://h/p",
                                                  std::chrono::microseconds life = std::chrono::hours(1),
                                                  VKTPixelStatus status = VKTPixelStatusPending) const {
        return VKTPixel::initWithID(ID, *VKTURL::URLWithString(url), test_.clock->now() + life, status);
    }

    static IDs idsOf(const VKTPixels& pixels) {
        IDs ids;
        for (const auto& pixel : pixels)
            ids.push_back(pixel->ID());
        return ids;
    }

    [[nodiscard]] std::shared_ptr<VKTPixelStore> storeOnDisk() const {
        return VKTPixelStore::initWithProvider(provider_);
    }

    VKTTestPlatform test_ = vkt_makeTestPlatform();
    VKTScopedPlatform scope_{test_.platform};
    std::shared_ptr<VKTMemoryKeyValueStore> disk_ = std::make_shared<VKTMemoryKeyValueStore>();
    std::shared_ptr<VKTPersistentPixelStoreProvider> provider_ =
        VKTPersistentPixelStoreProvider::initWithKeyValueStore(disk_);
    std::shared_ptr<VKTPixelStore> store_ =
        VKTPixelStore::initWithProvider(std::make_shared<VKTPixelStoreProvider>());
};

TEST_F(PixelStore, KeepsEachIDOnceInTheOrderOfAddition) {
    const auto first = pixel(1, "http://h/first");
    for (const auto& added : {first, pixel(2), pixel(3)})
        EXPECT_TRUE(store_->addPixel(added));
    EXPECT_FALSE(store_->addPixel(pixel(1, "http://h/second")));
    EXPECT_EQ(store_->pixelWithID(1), first);
    EXPECT_EQ(idsOf(store_->allPixels()), (IDs{1, 2, 3}));

    const auto updated = pixel(1, "http://h/third");
    EXPECT_TRUE(store_->updatePixel(updated));
    EXPECT_EQ(idsOf(store_->allPixels()), (IDs{2, 3, 1}));
    EXPECT_EQ(store_->pixelWithID(1), updated);
    EXPECT_EQ(store_->pixelIndexInStore(*first), 2u) << "found by its ID alone";

    EXPECT_TRUE(store_->deletePixel(*first));
    EXPECT_FALSE(store_->deletePixel(*first));
    EXPECT_FALSE(store_->updatePixel(first));
    EXPECT_FALSE(store_->pixelIndexInStoreWithID(1));
    EXPECT_EQ(store_->pixelIndexInStoreWithID(3), 1u);
    EXPECT_EQ(idsOf(store_->allPixels()), (IDs{2, 3}));
}

TEST_F(PixelStore, ManyChangesKeepOrderAndIndex) {
    std::mt19937 random(1);  // NOLINT(cert-msc51-cpp): the same changes in every run
    IDs expected;
    for (int step = 0; step < 5000; ++step) {
        const auto changed = pixel(static_cast<std::uint32_t>(random() % 300) << 20U);
        const auto place = std::find(expected.begin(), expected.end(), changed->ID());
        const bool isThere = place != expected.end();
        ASSERT_EQ(store_->pixelWithID(changed->ID()) != nullptr, isThere);
        const auto action = random() % 100;
        if (action == 0) store_->deleteObsoletePixels();
        if (action % 2 == 0) {
            ASSERT_EQ(store_->addPixel(changed), !isThere);
            if (!isThere) expected.push_back(changed->ID());
        } else {
            ASSERT_EQ(action % 3 == 0 ? store_->updatePixel(changed) : store_->deletePixel(*changed),
                      isThere);
            if (isThere) expected.erase(place);
            if (isThere && action % 3 == 0) expected.push_back(changed->ID());
        }
        ASSERT_EQ(idsOf(store_->allPixels()), expected);
    }
}

TEST_F(PixelStore, ChosenIDsCostNoMoreThanOthers) {
    constexpr std::uint32_t inverse = 340'573'321;  // of the golden ratio's multiplier, the usual one for IDs
    const auto cost = [&](std::uint32_t factor) {
        VKTPixels pixels;
        for (std::uint32_t i = 0; i < 5000; ++i)
            pixels.push_back(pixel(i * factor));
        return fastestRun([&] {
            const auto store = VKTPixelStore::initWithProvider(std::make_shared<VKTPixelStoreProvider>());
            for (const auto& each : pixels)
                store->addPixel(each);
            EXPECT_EQ(store->allPixels().size(), pixels.size());
        });
    };
    EXPECT_LT(cost(inverse) / cost(1), VKTFlatCostRatio);
}

TEST_F(PixelStore, DropsWhatIsSentOrPastItsDate) {
    using std::chrono::microseconds;
    store_->addPixel(pixel(1, "http://h/p", microseconds(-1)));
    store_->addPixel(pixel(2, "http://h/p", microseconds(0)));
    store_->addPixel(pixel(3, "http://h/p", std::chrono::hours(1), VKTPixelStatusSuccess));
    store_->addPixel(VKTPixel::initWithUrl(*VKTURL::URLWithString("http://h/day")));
    const std::uint32_t dayID = store_->allPixels().back()->ID();
    EXPECT_EQ(idsOf(store_->validPendingPixels()), (IDs{2, dayID}));
    test_.clock->advance(VKTTimeInterval(86400));
    store_->deleteObsoletePixels();
    EXPECT_EQ(idsOf(store_->allPixels()), IDs{dayID});
    test_.clock->advance(VKTTimeInterval(0.001));
    EXPECT_TRUE(store_->validPendingPixels().empty());
}

TEST_F(PixelStore, PixelDescribesItselfAndSurvivesItsArchive) {
    for (const auto& [status, text] :
         std::vector<std::pair<std::int64_t, std::string>>{{VKTPixelStatusPending, "pending"},
                                                           {VKTPixelStatusSuccess, "success"},
                                                           {7, "(null)"},
                                                           {257, "(null)"}}) {
        const auto original =
            pixel(4'294'967'295, "http://h/a", std::chrono::seconds(2), VKTPixel::statusFromInt(status));
        const auto copy = vkt_unarchivedObject<VKTPixel>(vkt_archivedData(*original));
        ASSERT_TRUE(copy);
        EXPECT_TRUE(copy->isEqualToPixel(*original));
        EXPECT_EQ(copy->description(),
                  "VKTPixel(url=http://h/a, expiration=2024-03-05 07:08:11 +0000, status=" + text + ")");
    }
    EXPECT_FALSE(pixel(1)->isEqualToPixel(*pixel(2)));
}

TEST_F(PixelStore, DefaultProviderKeepsNothing) {
    store_->addPixel(pixel(1));
    EXPECT_TRUE(store_->saveToDisk());
    EXPECT_TRUE(store_->loadPixels().empty());
    EXPECT_EQ(store_->provider()->pixelStoreKey(),
              "com.korvonet.coresdk.pixelManager.pixelList" + std::string(VKTFrameworkVersionString));
}

TEST_F(PixelStore, PersistentProviderBringsTheSavedListBackAndDropsOnlyWhatDoesNotBuild) {
    const auto before = storeOnDisk();
    for (const auto& added : {pixel(3, "http://h/a"), pixel(1, "http://h/b"), pixel(2, "http://h/c")})
        before->addPixel(added);
    EXPECT_TRUE(storeOnDisk()->allPixels().empty()) << "nothing is saved unasked";
    EXPECT_TRUE(before->saveToDisk());
    VKTPixels restored = storeOnDisk()->allPixels();
    EXPECT_TRUE(std::equal(restored.begin(), restored.end(), before->allPixels().begin(),
                           [](const auto& a, const auto& b) { return a->isEqualToPixel(*b); }));
    EXPECT_EQ(idsOf(restored), (IDs{3, 1, 2}));

    restored.insert(restored.begin() + 1, VKTPixel::initWithID(9, VKTURL(), {}, VKTPixelStatusPending));
    restored.push_back(pixel(3, "http://h/again"));
    provider_->savePixels(restored);
    EXPECT_EQ(idsOf(storeOnDisk()->allPixels()), (IDs{3, 1, 2}));
    provider_->savePixels({});
    EXPECT_TRUE(storeOnDisk()->allPixels().empty());
}

struct LogsAll : VKTLogDataSource {
    bool logShouldLogMessageWithLevel(const VKTLog& /*logger*/, VKTLogLevel /*level*/) override {
        return true;
    }
};

TEST_F(PixelStore, SetsAsideWhatIsNoListWithOneLogLine) {
    provider_->savePixels({pixel(1)});
    const std::string list = disk_->valueForKey(provider_->pixelStoreKey())->asBytes()->bytes;
    VKTLog::sharedInstance()->setDataSource(std::make_shared<LogsAll>());
    for (const VKTValue& foreign :
         {VKTValue("text"), VKTValue(VKTBytes{""}), VKTValue(VKTBytes{list.substr(0, list.size() - 1)}),
          VKTValue(VKTBytes{vkt_archivedData(*pixel(1))}),
          VKTValue(VKTBytes{vkt_archiveData("VKTPixelList", {{"pixels", 1}})})}) {
        disk_->setValueForKey(foreign, provider_->pixelStoreKey());
        testing::internal::CaptureStdout();
        const auto store = storeOnDisk();
        EXPECT_TRUE(storeOnDisk()->allPixels().empty());
        const std::string log = testing::internal::GetCapturedStdout();
        EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 1) << log;
        EXPECT_TRUE(store->addPixel(pixel(5)) && store->saveToDisk());
        EXPECT_EQ(idsOf(storeOnDisk()->allPixels()), IDs{5});
        EXPECT_EQ(disk_->valueForKey(provider_->damagedPixelStoreKey()), foreign);
    }
    disk_->setValueForKey("text", provider_->pixelStoreKey());
    disk_->setFailsWrites(true);
    testing::internal::CaptureStdout();
    EXPECT_TRUE(storeOnDisk()->allPixels().empty());
    EXPECT_NE(testing::internal::GetCapturedStdout().find("nor move them"), std::string::npos);
    VKTLog::sharedInstance()->setDataSource(nullptr);
}

}  // namespace
