#include "VKTCoreKit/privacy/VKTIdentity.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <functional>
#include <latch>
#include <set>
#include <thread>
#include <utility>

#include "VKTCoreKit/core/detail/VKTUUID.h"
#include "VKTCoreKit/platform/testing/VKTTestPlatform.h"
#include "VKTCoreKit/privacy/VKTConsentSignals.h"

namespace {

const std::string noID = "00000000-0000-0000-0000-000000000000";

class Identity : public testing::Test {
  protected:
    Identity() { platform.random = vkt_makeDefaultPlatform().random; }

    [[nodiscard]] std::shared_ptr<VKTIdentityProvider> provider() const {
        return providerOver(VKTDefaultPropertyCacheManager::initWithKeyValueStore(store));
    }
    [[nodiscard]] std::shared_ptr<VKTIdentityProvider> providerOver(
        const std::shared_ptr<VKTPropertyCacheManager>& cache) const {
        return VKTIdentityProvider::initWithDevice(test.device, cache, test.clock, platform.random);
    }
    [[nodiscard]] std::string transientID() const {
        return VKTIdentity::retrieveTransientIDWithProvider(*provider());
    }

    const VKTTestPlatform test = vkt_makeTestPlatform();
    VKTPlatform platform = test.platform;
    std::shared_ptr<VKTKeyValueStore> store = test.keyValueStore;
};

TEST_F(Identity, TheFirstIdentifierThereIsWins) {
    struct Row {
        std::string advertisingID;
        bool transientIDEnabled;
        std::optional<std::string> custom;
        VKTIdentityType type;
        std::optional<std::string> identity;  // nothing: the transient ID
    };
    const Row rows[] = {{"A", true, "c", VKTIdentityTypeCustomIdentifier, "c"},
                        {"A", true, "", VKTIdentityTypeCustomIdentifier, ""},
                        {noID, true, "c", VKTIdentityTypeCustomIdentifier, "c"},
                        {"A", true, {}, VKTIdentityTypeAdvertisingID, "A"},
                        {"A", false, {}, VKTIdentityTypeAdvertisingID, "A"},
                        {noID, true, {}, VKTIdentityTypeTransientID, {}},
                        {"", true, {}, VKTIdentityTypeTransientID, {}},
                        {noID, false, {}, VKTIdentityTypeNone, ""}};
    const std::string noCustom = "no custom identifier is given";
    const std::string noneValid =
        noCustom + ", the advertising identifier is not valid and transient IDs are ";
    const std::string reasons[] = {noneValid + "not enabled",
                                   noCustom + " and the advertising identifier is valid",
                                   noneValid + "enabled", "a custom identifier is given"};
    for (const Row& row : rows) {
        test.device->setFacts({.advertisingIdentifier = row.advertisingID, .identifierForVendor = "V"});
        const auto identity =
            VKTIdentity::initWithIdentityProvider(provider(), true, row.transientIDEnabled, row.custom);
        const bool hasIFA = row.advertisingID == "A";
        EXPECT_EQ(identity->type(), row.type);
        EXPECT_EQ(identity->typeReason(), reasons[row.type]);
        EXPECT_EQ(identity->ifa(), hasIFA ? std::optional<std::string>("A") : std::nullopt);
        EXPECT_EQ(identity->transientId().has_value(), !hasIFA && row.transientIDEnabled);
        EXPECT_EQ(identity->identity(), row.identity ? *row.identity : identity->transientId());
        EXPECT_EQ(identity->customIdentifier(), row.custom);
        EXPECT_EQ(identity->ifv(), "V");
        EXPECT_TRUE(identity->isHashed());
    }
    test.device->setFacts({.identifierForVendor = noID});
    const VKTScopedPlatform scope(platform);
    EXPECT_EQ(VKTIdentity::initWithHashed(false, true)->ifv(), std::nullopt);
}

TEST_F(Identity, TransientIDLivesForADay) {
    const std::string first = transientID();
    test.clock->advance(VKTTimeInterval(86399.999));
    EXPECT_EQ(transientID(), first);
    test.clock->advance(VKTTimeInterval(0.001));
    const std::string second = transientID();
    EXPECT_NE(second, first);
    test.clock->setNow(test.clock->now() - std::chrono::hours(23));
    EXPECT_EQ(transientID(), second) << "made in the near future";
    test.clock->setNow(test.clock->now() - std::chrono::hours(1));
    EXPECT_NE(transientID(), second);

    using Microseconds = std::chrono::microseconds;
    for (const auto time : {Microseconds::min(), Microseconds::max(), Microseconds(0)})
        EXPECT_FALSE(VKTIdentity::isValidTransientIDWithGenerationDate(VKTDate(time)));
    EXPECT_TRUE(VKTIdentity::isValidTransientIDWithGenerationDate(VKTPlatform::current().clock->now()));
}

TEST_F(Identity, WhatIsStoredOfATransientID) {
    const std::string file = testing::TempDir() + "identity_test_" + transientID() + ".db";
    store = platform.makeKeyValueStore(file, [](const std::string& message) { ADD_FAILURE() << message; });
    const std::string stored = transientID();
    store = platform.makeKeyValueStore(file, nullptr);
    EXPECT_EQ(transientID(), stored) << "the next start of the process";
    EXPECT_EQ(provider()->retrieveTransientID()->lastGeneration, test.clock->now());
    store.reset();
    for (const char* suffix : {"", "-wal", "-shm"})
        std::remove((file + suffix).c_str());

    // Half of one is none.
    store = test.keyValueStore;
    store->setValueForKey(VKTDate(), VKTTransientIDKey);
    EXPECT_FALSE(provider()->retrieveTransientID());
    EXPECT_NE(transientID(), stored);
}

// Refuses one key, and cannot read another; another process may write after the first read.
struct HalfFullStore : VKTPropertyCacheManager {
    [[nodiscard]] std::optional<VKTValue> objectForKey(std::string_view key) const override {
        if (key == unreadableKey) return std::nullopt;
        const auto value = memory.valueForKey(key);
        if (afterRead) std::exchange(afterRead, nullptr)();
        std::this_thread::yield();
        return value;
    }
    [[nodiscard]] VKTStoredValue readObjectForKey(std::string_view key) const override {
        if (key == unreadableKey) return {VKTStoredValue::Unreadable, VKTValue()};
        return VKTPropertyCacheManager::readObjectForKey(key);
    }
    bool setObject(const VKTValue& object, std::string_view forKey) override {
        return forKey != refusedKey && memory.setValueForKey(object, forKey);
    }
    VKTMemoryKeyValueStore memory;
    std::string_view refusedKey;
    std::string_view unreadableKey;
    mutable std::function<void()> afterRead;
};

TEST_F(Identity, AnExpiredTransientIDNeverLivesOnWhenWritesFail) {
    for (const auto refusedKey : {VKTTransientIDKey, VKTTransientIDLastGenerationKey}) {
        const auto halfFull = std::make_shared<HalfFullStore>();
        const auto provider = providerOver(halfFull);
        std::set<std::string> IDs{VKTIdentity::retrieveTransientIDWithProvider(*provider)};
        halfFull->refusedKey = refusedKey;
        test.clock->advance(std::chrono::hours(24));
        for (int i = 0; i < 2; ++i)
            EXPECT_TRUE(IDs.insert(VKTIdentity::retrieveTransientIDWithProvider(*provider)).second);
        const auto identity = VKTIdentity::initWithIdentityProvider(provider, false, true, std::nullopt);
        EXPECT_EQ(identity->identity(), identity->transientId());
    }
}

TEST_F(Identity, AnExpiredTransientIDNeverLivesOnWhenAnotherProcessRenewsIt) {
    const auto shared = std::make_shared<HalfFullStore>();
    const auto provider = providerOver(shared);
    const std::string expired = provider->generateNewTransientID();
    test.clock->advance(std::chrono::hours(24));
    shared->afterRead = [&] { provider->generateNewTransientID(); };
    EXPECT_NE(VKTIdentity::retrieveTransientIDWithProvider(*provider), expired);
}

TEST_F(Identity, AnUnreadableTransientIDIsNotOverwritten) {
    for (const auto unreadableKey : {VKTTransientIDKey, VKTTransientIDLastGenerationKey}) {
        SCOPED_TRACE(unreadableKey);
        test.clock->advance(std::chrono::hours(24));  // no stand-in of an earlier test
        const auto broken = std::make_shared<HalfFullStore>();
        const auto ID = [&] { return VKTIdentity::retrieveTransientIDWithProvider(*providerOver(broken)); };
        const std::string stored = ID();
        broken->unreadableKey = unreadableKey;
        const std::string standIn = ID();
        EXPECT_NE(standIn, stored);
        test.clock->advance(VKTTimeInterval(86399));
        EXPECT_EQ(ID(), standIn) << "of another provider";
        broken->unreadableKey = "";
        EXPECT_EQ(ID(), stored) << "readable again";
        broken->unreadableKey = unreadableKey;
        test.clock->advance(VKTTimeInterval(1));
        EXPECT_NE(ID(), standIn) << "a day is over";
    }
}

TEST_F(Identity, ThreadsGetOneTransientID) {
    const auto shared = std::make_shared<HalfFullStore>();
    const auto provider = providerOver(shared);
    for (int day = 0; day < 100; ++day) {
        test.clock->advance(std::chrono::hours(24));
        std::string IDs[4];
        std::latch start(4);
        std::vector<std::thread> threads;
        for (std::string& ID : IDs)
            threads.emplace_back([&start, &provider, &ID] {
                start.arrive_and_wait();
                ID = VKTIdentity::retrieveTransientIDWithProvider(*provider);
            });
        for (std::thread& thread : threads)
            thread.join();
        ASSERT_EQ(std::set<std::string>(std::begin(IDs), std::end(IDs)).size(), 1U);
    }
}

TEST_F(Identity, LegacyConsentStringAndFlagsAreReadWhenTheyAreTexts) {
    store->setValueForKey("BO", VKTConsentKeyLegacyTCFString);
    EXPECT_EQ(provider()->gdprConsentString(), "BO");
    EXPECT_EQ(provider()->TCFString()->version(), 1);
    store->setValueForKey(1, VKTConsentKeyTCFString);
    EXPECT_EQ(provider()->gdprConsentString(), "BO");
    store->setValueForKey("", VKTConsentKeyTCFString);
    EXPECT_EQ(provider()->gdprConsentString(), "") << "an empty text is one";
    store->setValueForKey("10", VKTConsentKeyPurposeConsents);
    store->setValueForKey(10, VKTConsentKeyVendorConsents);
    EXPECT_EQ(provider()->TCFPurposeConsents(), "10");
    EXPECT_EQ(provider()->TCFVendorConsents(), std::nullopt);
}

TEST(UUID, IsRandomOfVersion4InUpperCase) {
    VKTFixedRandomSource ones({0xFFFF});
    EXPECT_EQ(vkt_randomUUIDString(ones), "FFFFFFFF-FFFF-4FFF-BFFF-FFFFFFFFFFFF");
    VKTFixedRandomSource counting({0x0123, 0x4567, 0x89AB, 0xCDEF, 0x0011, 0x2233, 0x4455, 0x6677});
    EXPECT_EQ(vkt_randomUUIDString(counting), "01234567-89AB-4DEF-8011-223344556677");
}

}  // namespace
