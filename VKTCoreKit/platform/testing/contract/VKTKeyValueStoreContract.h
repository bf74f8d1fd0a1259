// The contract of key-value stores and of their tables of records.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "VKTCoreKit/foundation/VKTKeyedArchive.h"
#include "VKTCoreKit/platform/VKTKeyValueStore.h"
#include "VKTCoreKit/platform/testing/contract/VKTContractMaker.h"

/// Makes an empty store. One that keeps no tables cannot hold a store of pixels.
using VKTKeyValueStoreMaker = VKTContractMaker<std::shared_ptr<VKTKeyValueStore>>;

class VKTKeyValueStoreContract : public testing::TestWithParam<VKTKeyValueStoreMaker> {
  protected:
    using Texts = std::vector<std::string>;

    // Type and value to the last bit.
    static std::string exactly(const std::optional<VKTValue>& value) {
        return value ? vkt_archiveData("", {{"", VKTValue(*value)}}) : "nothing";
    }

    static Texts bytesOf(const std::vector<VKTRecord>& records) {
        Texts bytes;
        for (const VKTRecord& record : records)
            bytes.push_back(record.bytes);
        return bytes;
    }

    const std::shared_ptr<VKTKeyValueStore> store_ = GetParam().make();
};

TEST_P(VKTKeyValueStoreContract, EveryValueKeepsTypeAndBits) {
    const std::string binary("a\0b\xFF", 4);
    const VKTArray values{true,
                          1,
                          std::numeric_limits<double>::quiet_NaN(),
                          "",
                          binary,
                          VKTBytes{std::string(10'000'000, 'x')},
                          VKTDate(std::chrono::microseconds(-1)),
                          VKTDictionary{{"b", VKTArray{1, VKTValue()}}, {"a", VKTBytes{binary}}}};
    for (const VKTValue& value : values) {
        ASSERT_TRUE(store_->setValueForKey(value, "key"));
        EXPECT_EQ(exactly(store_->valueForKey("key")), exactly(value));
    }
}

TEST_P(VKTKeyValueStoreContract, KeysAreBytesAndNullRemoves) {
    const std::string keys[] = {"", "a", "A", std::string("a\0", 2), "\xFF"};
    for (const std::string& key : keys) {
        EXPECT_FALSE(store_->valueForKey(key));
        EXPECT_TRUE(store_->removeValueForKey(key)) << "nothing to remove is no failure";
        EXPECT_TRUE(store_->setValueForKey(key, key));
    }
    EXPECT_TRUE(store_->removeValueForKey("a"));
    for (const std::string& key : keys)
        EXPECT_EQ(exactly(store_->valueForKey(key)), key == "a" ? "nothing" : exactly(VKTValue(key)));
}

TEST_P(VKTKeyValueStoreContract, ThreadsShareIt) {
    const auto use = [this] {
        for (int round = 0; round < 50; ++round) {
            store_->setValueForKey(VKTArray{round, round}, "shared");
            const auto shared = store_->valueForKey("shared").value();
            EXPECT_EQ(shared.asArray()->at(0), shared.asArray()->at(1));
        }
    };
    std::thread other(use);
    use();
    other.join();
}

TEST_P(VKTKeyValueStoreContract, TablesKeepRecordsInOrderForOneOwnerAndOneVersion) {
    VKTRecordTableOpening opening = store_->openRecordTable("things", "1");
    const auto numbers = opening.table->change({}, {"a", std::string("b\0", 2), ""});
    ASSERT_EQ(numbers->size(), 3U);
    EXPECT_TRUE(opening.table->change({numbers->at(0), 99}, {"d", "e"}));
    EXPECT_EQ(bytesOf(*opening.table->records()), (Texts{std::string("b\0", 2), "", "d", "e"}));

    const VKTRecordTableOpening second = store_->openRecordTable("things", "1");
    EXPECT_FALSE(second.table);
    EXPECT_NE(second.refusal, "");
    opening.table.reset();
    opening = store_->openRecordTable("things", "1");
    EXPECT_EQ(opening.table->records()->size(), 4U);
    opening.table.reset();
    EXPECT_TRUE(store_->openRecordTable("things", "2").table->records()->empty());
    EXPECT_TRUE(store_->openRecordTable("things", "1").table->records()->empty()) << "it was removed";
}

TEST_P(VKTKeyValueStoreContract, KeysAreListedByPrefix) {
    for (const char* key : {"a.2", "a.1", "a", "b.1", "a%"})
        store_->setValueForKey(1, key);
    EXPECT_EQ(store_->keysWithPrefix("a."), (Texts{"a.1", "a.2"}));
    EXPECT_TRUE(store_->keysWithPrefix("c").empty());
}
