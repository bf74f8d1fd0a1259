#include "VKTCoreKit/tracking/VKTPixelStore.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "VKTCoreKit/foundation/VKTFrameworkConstants.h"
#include "VKTCoreKit/platform/testing/VKTMemoryKeyValueStore.h"
#include "VKTCoreKit/platform/testing/VKTTestPlatform.h"
#include "VKTCoreKit/tracking/VKTPersistentPixelStoreProvider.h"
#include "tests/support/FastestRun.h"
#include "tests/support/VKTRecordedLog.h"

namespace {

using IDs = std::vector<std::uint32_t>;

// A store that an embedder wrote before there were tables.
class StoreWithoutTables final : public VKTKeyValueStore {
  public:
    explicit StoreWithoutTables(std::shared_ptr<VKTKeyValueStore> store) : store_(std::move(store)) {}

    [[nodiscard]] std::optional<VKTValue> valueForKey(std::string_view key) const override {
        return store_->valueForKey(key);
    }
    bool setValueForKey(const VKTValue& value, std::string_view key) override {
        return store_->setValueForKey(value, key);
    }

  private:
    const std::shared_ptr<VKTKeyValueStore> store_;
};

// A store whose values cannot be changed now, while its tables can.
class StoreWithFixedValues final : public VKTKeyValueStore {
  public:
    explicit StoreWithFixedValues(std::shared_ptr<VKTKeyValueStore> store) : store_(std::move(store)) {}

    [[nodiscard]] std::optional<VKTValue> valueForKey(std::string_view key) const override {
        return store_->valueForKey(key);
    }
    bool setValueForKey(const VKTValue& value, std::string_view key) override {
        return !isFixed && store_->setValueForKey(value, key);
    }
    [[nodiscard]] VKTRecordTableOpening openRecordTable(std::string_view family,
                                                        std::string_view version) override {
        return store_->openRecordTable(family, version);
    }

    bool isFixed = true;

  private:
    const std::shared_ptr<VKTKeyValueStore> store_;
};

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

    // As the next launch finds them.
    [[nodiscard]] IDs idsAfterRestart(std::shared_ptr<VKTPixelStore>& store) {
        store.reset();
        provider_.reset();
        provider_ = VKTPersistentPixelStoreProvider::initWithKeyValueStore(disk_);
        return idsOf(storeOnDisk()->allPixels());
    }

    [[nodiscard]] std::shared_ptr<VKTPersistentPixelStoreProvider> listProvider() const {
        return VKTPersistentPixelStoreProvider::initWithKeyValueStore(
            std::make_shared<StoreWithoutTables>(disk_));
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

TEST_F(PixelStore, ASavedListComesBackInEitherForm) {
    for (const auto& provider : {provider_, listProvider()}) {
        const auto before = VKTPixelStore::initWithProvider(provider);
        for (const auto& added : {pixel(3, "http://h/a"), pixel(1, "http://h/b"), pixel(2, "http://h/c")})
            before->addPixel(added);
        EXPECT_TRUE(VKTPixelStore::initWithProvider(provider)->allPixels().empty())
            << "nothing is saved unasked";
        EXPECT_TRUE(before->saveToDisk());
        const VKTPixels restored = VKTPixelStore::initWithProvider(provider)->allPixels();
        EXPECT_TRUE(std::equal(restored.begin(), restored.end(), before->allPixels().begin(),
                               [](const auto& a, const auto& b) { return a->isEqualToPixel(*b); }));
        EXPECT_EQ(idsOf(restored), (IDs{3, 1, 2}));
        provider->savePixels({});
        EXPECT_TRUE(VKTPixelStore::initWithProvider(provider)->allPixels().empty());
    }
}

TEST_F(PixelStore, EntriesThatDoNotBuildAreDroppedWithOneLine) {
    for (const auto& provider : {provider_, listProvider()}) {
        const auto bad = VKTPixel::initWithID(9, VKTURL(), {}, VKTPixelStatusPending);
        provider->savePixels({pixel(3), bad, pixel(1), bad, pixel(3, "http://h/again")});
        VKTRecordedLog log;
        EXPECT_EQ(idsOf(VKTPixelStore::initWithProvider(provider)->allPixels()), (IDs{3, 1}));
        const auto lines = log.take();
        ASSERT_EQ(lines.size(), 1U);
        EXPECT_TRUE(lines[0].starts_with("WARNING 2 of 5 kept pixels")) << lines[0];
    }
}

TEST_F(PixelStore, RecordsEachChangeByItself) {
    auto store = storeOnDisk();
    for (const std::uint32_t ID : {1U, 2U, 3U})
        store->addPixel(pixel(ID));
    store->saveToDisk();
    store->deletePixel(*pixel(2));
    store->updatePixel(pixel(1, "http://h/updated"));
    store->addPixel(pixel(4, "http://h/p", std::chrono::seconds(5)));
    store->addPixel(pixel(5));
    store->deletePixel(*pixel(5));
    EXPECT_TRUE(store->saveChanges());
    EXPECT_EQ(idsAfterRestart(store), (IDs{3, 1, 4}));

    auto next = storeOnDisk();
    test_.clock->advance(VKTTimeInterval(6));
    next->deleteObsoletePixels();
    EXPECT_TRUE(next->saveChanges());
    EXPECT_EQ(idsAfterRestart(next), (IDs{3, 1}));
}

TEST_F(PixelStore, ChangesThatCouldNotBeSavedAreSavedLater) {
    auto store = storeOnDisk();
    store->addPixel(pixel(1));
    store->saveToDisk();
    disk_->setFailsWrites(true);
    store->addPixel(pixel(2));
    store->deletePixel(*pixel(1));
    EXPECT_FALSE(store->saveToDisk());
    disk_->setFailsWrites(false);
    store->addPixel(pixel(3));
    EXPECT_TRUE(store->saveToDisk());
    EXPECT_EQ(idsAfterRestart(store), (IDs{2, 3}));
}

TEST_F(PixelStore, TakesOverAListOnceAndDropsThoseOfOtherVersions) {
    listProvider()->savePixels({pixel(1), pixel(2)});
    disk_->setValueForKey("old", "com.korvonet.coresdk.pixelManager.pixelList1.0");
    disk_->setValueForKey("kept", "com.korvonet.coresdk.pixelManager");
    auto store = storeOnDisk();
    EXPECT_EQ(idsOf(store->allPixels()), (IDs{1, 2}));
    EXPECT_EQ(disk_->keysWithPrefix(""), std::vector<std::string>{"com.korvonet.coresdk.pixelManager"});
    store->deletePixel(*pixel(1));
    store->saveToDisk();
    EXPECT_EQ(idsAfterRestart(store), IDs{2});
}

TEST_F(PixelStore, AListThatCouldNotBeTakenOverAtOnceIsTakenOverWithoutWhatWasSentMeanwhile) {
    listProvider()->savePixels({pixel(1), pixel(2)});
    disk_->setFailsWrites(true);
    auto store = storeOnDisk();
    EXPECT_EQ(idsOf(store->allPixels()), (IDs{1, 2}));
    store->deletePixel(*pixel(1));
    EXPECT_FALSE(store->saveChanges());
    disk_->setFailsWrites(false);
    store->addPixel(pixel(3));
    EXPECT_TRUE(store->saveChanges());
    EXPECT_EQ(idsAfterRestart(store), (IDs{2, 3}));
}

TEST_F(PixelStore, AListTakenOverIsRemovedAsSoonAsItCanBe) {
    listProvider()->savePixels({pixel(1), pixel(2)});
    provider_.reset();
    const auto disk = std::make_shared<StoreWithFixedValues>(disk_);
    auto store =
        VKTPixelStore::initWithProvider(VKTPersistentPixelStoreProvider::initWithKeyValueStore(disk));
    disk->isFixed = false;
    store->deletePixel(*pixel(1));
    EXPECT_TRUE(store->saveChanges());
    EXPECT_EQ(idsAfterRestart(store), IDs{2});
}

TEST_F(PixelStore, PixelsReadLateComeBehindAndGiveWayToChangesOfTheirIDs) {
    provider_->savePixels({pixel(1), pixel(2), pixel(3)});
    disk_->setFailsReads(true);
    auto store = storeOnDisk();
    EXPECT_TRUE(store->allPixels().empty());
    disk_->setFailsReads(false);
    store->addPixel(pixel(4));
    store->addPixel(pixel(1, "http://h/new"));
    store->addPixel(pixel(2));
    store->deletePixel(*pixel(2));
    EXPECT_TRUE(store->saveToDisk());
    EXPECT_EQ(idsOf(store->allPixels()), (IDs{4, 1, 3}));
    EXPECT_EQ(store->pixelWithID(1)->url().absoluteString(), "http://h/new");
    store->deletePixel(*pixel(1));
    EXPECT_TRUE(store->saveToDisk());
    EXPECT_EQ(idsAfterRestart(store), (IDs{3, 4}));
}

// Does something else before it takes the first changes.
struct Distracted : VKTPixelStoreChangesProviderProtocol {
    std::optional<VKTPixels> loadPixels() override { return std::nullopt; }
    bool savePixels(const VKTPixels& /*pixels*/) override { return true; }
    [[nodiscard]] std::string pixelStoreKey() const override { return ""; }
    bool saveChanges(const VKTPixels& /*removed*/, const VKTPixels& added) override {
        if (const auto first = std::exchange(doFirst, nullptr)) first();
        taken.insert(taken.end(), added.begin(), added.end());
        return true;
    }

    std::function<void()> doFirst;
    VKTPixels taken;
};

TEST_F(PixelStore, AProviderMayAddWhileItTakesChanges) {
    const auto provider = std::make_shared<Distracted>();
    const auto store = VKTPixelStore::initWithProvider(provider);
    provider->doFirst = [&] { store->addPixel(pixel(2)); };
    store->addPixel(pixel(1));
    store->saveChanges();
    store->saveChanges();
    EXPECT_EQ(idsOf(provider->taken), (IDs{1, 2}));
}

TEST_F(PixelStore, AProviderThatThrowsIsHandedTheSameAgain) {
    const auto provider = std::make_shared<Distracted>();
    const auto store = VKTPixelStore::initWithProvider(provider);
    provider->doFirst = [] { throw std::runtime_error("full"); };
    store->addPixel(pixel(1));
    EXPECT_FALSE(store->saveToDisk());
    store->addPixel(pixel(2));
    EXPECT_TRUE(store->saveToDisk());
    EXPECT_EQ(idsOf(provider->taken), (IDs{1, 2}));
}

TEST_F(PixelStore, ASecondOwnerIsRefusedAndKeepsNothing) {
    provider_->savePixels({pixel(1)});
    std::optional<VKTError> error;
    VKTRecordedLog log;
    const auto second = VKTPersistentPixelStoreProvider::initWithKeyValueStore(disk_, &error);
    EXPECT_EQ(log.take().size(), 1U);
    ASSERT_TRUE(error);
    EXPECT_EQ(error->code(), VKTPixelStoreErrorOwnedByAnother);
    const auto store = VKTPixelStore::initWithProvider(second);
    EXPECT_TRUE(store->allPixels().empty());
    EXPECT_TRUE(store->addPixel(pixel(2)));
    EXPECT_FALSE(store->saveToDisk());
    EXPECT_EQ(idsOf(storeOnDisk()->allPixels()), IDs{1});
}

// A box starts in 1970 and learns the time from the network.
TEST_F(PixelStore, AClockThatIsSetNeitherEndsNorProlongsWhatThisProcessAdded) {
    const VKTDate today = test_.clock->now();
    for (const auto& [name, before, after] :
         {std::tuple("forward", VKTDate{}, today), std::tuple("back", today, VKTDate{})}) {
        test_.clock->setNow(before);
        const auto store = VKTPixelStore::initWithProvider(std::make_shared<VKTPixelStoreProvider>());
        store->addPixel(VKTPixel::initWithUrl(*VKTURL::URLWithString("http://h/day")));
        test_.clock->setNow(after);
        test_.clock->advance(VKTTimeInterval(86399));
        EXPECT_EQ(store->validPendingPixels().size(), 1U) << name;
        test_.clock->advance(VKTTimeInterval(1.001));
        EXPECT_TRUE(store->validPendingPixels().empty()) << name;
    }
}

TEST_F(PixelStore, SetsAsideWhatIsNoListWithOneLogLine) {
    const auto provider = listProvider();
    const auto storeOfList = [&] { return VKTPixelStore::initWithProvider(provider); };
    provider->savePixels({pixel(1)});
    const std::string list = disk_->valueForKey(provider->pixelStoreKey())->asBytes()->bytes;
    for (const VKTValue& foreign :
         {VKTValue("text"), VKTValue(VKTBytes{""}), VKTValue(VKTBytes{list.substr(0, list.size() - 1)}),
          VKTValue(VKTBytes{vkt_archivedData(*pixel(1))}),
          VKTValue(VKTBytes{vkt_archiveData("VKTPixelList", {{"pixels", 1}})})}) {
        disk_->setValueForKey(foreign, provider->pixelStoreKey());
        VKTRecordedLog log;
        const auto store = storeOfList();
        EXPECT_TRUE(storeOfList()->allPixels().empty());
        EXPECT_EQ(log.take().size(), 1U);
        EXPECT_TRUE(store->addPixel(pixel(5)) && store->saveToDisk());
        EXPECT_EQ(idsOf(storeOfList()->allPixels()), IDs{5});
        EXPECT_EQ(disk_->valueForKey(provider->damagedPixelStoreKey()), foreign);
    }
    disk_->setValueForKey("text", provider->pixelStoreKey());
    disk_->setFailsWrites(true);
    VKTRecordedLog log;
    EXPECT_TRUE(storeOfList()->allPixels().empty());
    EXPECT_NE(log.take().at(0).find("nor move them"), std::string::npos);
}

}  // namespace
