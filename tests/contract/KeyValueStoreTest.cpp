#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <limits>
#include <thread>
#include <vector>

#include "VKTCoreKit/foundation/VKTKeyedArchive.h"
#include "VKTCoreKit/platform/testing/VKTMemoryKeyValueStore.h"
#include "tests/support/VKTForkedChild.h"
#include "tests/support/VKTStoreFolder.h"

namespace {

// Type and value to the last bit.
std::string exactly(const std::optional<VKTValue>& value) {
    return value ? vkt_archiveData("", {{"", VKTValue(*value)}}) : "nothing";
}

struct MemorySubject {
    std::shared_ptr<VKTKeyValueStore> store = std::make_shared<VKTMemoryKeyValueStore>();
};

struct SQLiteSubject {
    VKTStoreFolder folder;
    std::shared_ptr<VKTKeyValueStore> store = folder.open();
};

template <typename Subject>
class KeyValueStoreContract : public testing::Test {
  protected:
    Subject subject_;
    VKTKeyValueStore& store_ = *subject_.store;
};

using Subjects = testing::Types<MemorySubject, SQLiteSubject>;
TYPED_TEST_SUITE(KeyValueStoreContract, Subjects);

TYPED_TEST(KeyValueStoreContract, EveryValueKeepsTypeAndBits) {
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
        ASSERT_TRUE(this->store_.setValueForKey(value, "key"));
        EXPECT_EQ(exactly(this->store_.valueForKey("key")), exactly(value));
    }
}

TYPED_TEST(KeyValueStoreContract, KeysAreBytesAndNullRemoves) {
    const std::string keys[] = {"", "a", "A", std::string("a\0", 2), "\xFF"};
    for (const std::string& key : keys) {
        EXPECT_FALSE(this->store_.valueForKey(key));
        EXPECT_TRUE(this->store_.removeValueForKey(key)) << "nothing to remove is no failure";
        EXPECT_TRUE(this->store_.setValueForKey(key, key));
    }
    EXPECT_TRUE(this->store_.removeValueForKey("a"));
    for (const std::string& key : keys)
        EXPECT_EQ(exactly(this->store_.valueForKey(key)), key == "a" ? "nothing" : exactly(VKTValue(key)));
}

TYPED_TEST(KeyValueStoreContract, ThreadsShareIt) {
    const auto use = [this] {
        for (int round = 0; round < 50; ++round) {
            this->store_.setValueForKey(VKTArray{round, round}, "shared");
            const auto shared = this->store_.valueForKey("shared").value();
            EXPECT_EQ(shared.asArray()->at(0), shared.asArray()->at(1));
        }
    };
    std::thread other(use);
    use();
    other.join();
}

std::vector<std::string> bytesOf(const std::vector<VKTRecord>& records) {
    std::vector<std::string> bytes;
    for (const VKTRecord& record : records)
        bytes.push_back(record.bytes);
    return bytes;
}

using Texts = std::vector<std::string>;

TYPED_TEST(KeyValueStoreContract, TablesKeepRecordsInOrderForOneOwnerAndOneVersion) {
    VKTRecordTableOpening opening = this->store_.openRecordTable("things", "1");
    const auto numbers = opening.table->change({}, {"a", std::string("b\0", 2), ""});
    ASSERT_EQ(numbers->size(), 3U);
    EXPECT_TRUE(opening.table->change({numbers->at(0), 99}, {"d", "e"}));
    EXPECT_EQ(bytesOf(*opening.table->records()), (Texts{std::string("b\0", 2), "", "d", "e"}));

    const VKTRecordTableOpening second = this->store_.openRecordTable("things", "1");
    EXPECT_FALSE(second.table);
    EXPECT_NE(second.refusal, "");
    opening.table.reset();
    opening = this->store_.openRecordTable("things", "1");
    EXPECT_EQ(opening.table->records()->size(), 4U);
    opening.table.reset();
    EXPECT_TRUE(this->store_.openRecordTable("things", "2").table->records()->empty());
    EXPECT_TRUE(this->store_.openRecordTable("things", "1").table->records()->empty()) << "it was removed";
}

TYPED_TEST(KeyValueStoreContract, KeysAreListedByPrefix) {
    for (const char* key : {"a.2", "a.1", "a", "b.1", "a%"})
        this->store_.setValueForKey(1, key);
    EXPECT_EQ(this->store_.keysWithPrefix("a."), (Texts{"a.1", "a.2"}));
    EXPECT_TRUE(this->store_.keysWithPrefix("c").empty());
}

class SQLiteKeyValueStore : public testing::Test {
  protected:
    VKTStoreFolder folder_;
};

TEST_F(SQLiteKeyValueStore, StoresOnOneFileSeeEachOtherAndItsPast) {
    folder_.open()->setValueForKey("old", "k");
    const auto first = folder_.open();
    const auto second = folder_.open();
    EXPECT_EQ(first->valueForKey("k"), VKTValue("old"));
    EXPECT_TRUE(first->setValueForKey("new", "k"));
    EXPECT_EQ(second->valueForKey("k"), VKTValue("new"));
    EXPECT_TRUE(second->removeValueForKey("k"));
    EXPECT_FALSE(first->valueForKey("k"));
    std::filesystem::rename(folder_.path(), folder_.path() + ".moved");
    EXPECT_TRUE(first->setValueForKey("newest", "k"));
    EXPECT_EQ(folder_.open()->valueForKey("k"), VKTValue("newest"));
    EXPECT_TRUE(folder_.problems.empty());
}

TEST_F(SQLiteKeyValueStore, RefusesWhatItCouldNotReadBack) {
    VKTValue deep(1);
    for (int depth = 0; depth < 100; ++depth)
        deep = VKTArray{std::move(deep)};
    const auto store = folder_.open();
    EXPECT_TRUE(store->setValueForKey("old", "k"));
    EXPECT_FALSE(store->setValueForKey(deep, "k"));
    EXPECT_EQ(store->valueForKey("k"), VKTValue("old"));
}

TEST_F(SQLiteKeyValueStore, ProcessesMayBeginOneFileAtOnce) {
    // The second time, all of them find a file that has to be set aside.
    for (const bool isDamaged : {false, true}) {
        if (isDamaged) std::ofstream(folder_.path()) << std::string(10'000, 'x');
        int gate[2];
        ASSERT_EQ(pipe(gate), 0);
        std::vector<pid_t> children;
        for (int number = 0; number < 8; ++number) {
            children.push_back(vkt_inChild([&] {
                char byte = 0;
                close(gate[1]);
                (void)!read(gate[0], &byte, 1);  // returns when the parent closes its end
                const auto store = folder_.open();
                return store->setValueForKey(number, std::to_string(number)) &&
                       folder_.problems.size() <= (isDamaged ? 1 : 0);
            }));
        }
        close(gate[0]);
        close(gate[1]);
        for (const pid_t child : children)
            EXPECT_EQ(vkt_statusOf(child), 0);
        const auto store = folder_.open();
        for (int number = 0; number < 8; ++number)
            EXPECT_EQ(store->valueForKey(std::to_string(number)), VKTValue(number));
        EXPECT_EQ(std::filesystem::exists(folder_.path() + ".damaged"), isDamaged);
        EXPECT_FALSE(std::filesystem::exists(folder_.path() + ".damaged.1"));
    }
}

TEST_F(SQLiteKeyValueStore, SetsAsideWhatIsNoStore) {
    folder_.open()->setValueForKey(std::string(20'000, 'x'), "old");
    const std::string sound = vkt_contentOf(folder_.path());
    const auto patched = [&](std::size_t at, char byte) {
        std::string content = sound;
        content[at] = byte;
        return content;
    };
    const std::pair<const char*, std::string> cases[] = {{"text", std::string(5'000, 't')},
                                                         {"short text", "tt"},
                                                         {"cut in its first page", sound.substr(0, 1'000)},
                                                         {"damaged schema", patched(100, '\x7F')},
                                                         {"of another version", patched(63, '\2')}};
    std::string aside = folder_.path() + ".damaged";
    int number = 0;
    for (const auto& [name, content] : cases) {
        std::filesystem::remove(folder_.path());
        std::ofstream(folder_.path(), std::ios::binary) << content;
        const auto store = folder_.open();
        ASSERT_EQ(folder_.problems.size(), 1U) << name;
        EXPECT_NE(folder_.problems.front().find("kept as " + aside + " and"), std::string::npos)
            << folder_.problems.front();
        EXPECT_TRUE(vkt_contentOf(aside) == content) << name;
        EXPECT_FALSE(store->valueForKey("old"));
        EXPECT_TRUE(store->setValueForKey(1, "new"));
        folder_.problems.clear();
        aside = folder_.path() + ".damaged." + std::to_string(++number);
    }
}

TEST_F(SQLiteKeyValueStore, SetsAsideWhatProvesDamagedLater) {
    auto store = folder_.open();
    for (int i = 0; i < 100; ++i)
        store->setValueForKey(std::string(1'000, 'x'), std::to_string(i));
    store.reset();
    store = folder_.open();
    const auto other = folder_.open();
    // Behind the first page, which is all that opening reads.
    std::fstream(folder_.path(), std::ios::in | std::ios::out).seekp(4096) << std::string(90'000, '\xFF');
    EXPECT_FALSE(store->valueForKey("50"));
    EXPECT_TRUE(store->setValueForKey("new", "50"));
    EXPECT_EQ(store->valueForKey("50"), VKTValue("new"));
    EXPECT_EQ(folder_.problems.size(), 1U);
    EXPECT_EQ(other->valueForKey("50"), VKTValue("new")) << "it follows to the new file";
    EXPECT_EQ(other->readValueForKey("51").status, VKTStoredValue::Unreadable);
    EXPECT_EQ(folder_.problems.size(), 2U) << "and tells so";
    EXPECT_TRUE(std::filesystem::exists(folder_.path() + ".damaged"));
}

TEST_F(SQLiteKeyValueStore, AStoppedProcessDoesNotStopOthers) {
    const int held = open((folder_.path() + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    ASSERT_EQ(flock(held, LOCK_EX), 0);
    EXPECT_TRUE(folder_.open()->setValueForKey(1, "k"));
    close(held);
    EXPECT_EQ(folder_.open()->valueForKey("k"), VKTValue(1));
}

TEST_F(SQLiteKeyValueStore, WithoutAFileItKeepsValuesInMemory) {
    std::filesystem::create_directory(folder_.path());
    for (const auto& [store, hasFile] :
         {std::pair(vkt_makeSQLiteKeyValueStore("", nullptr), true), std::pair(folder_.open(), false)}) {
        EXPECT_EQ(store->setValueForKey(1, "k"), hasFile);
        EXPECT_EQ(store->valueForKey("k"), VKTValue(1));
    }
    // Of the folder alone: that it cannot be opened, and in the end what is lost.
    EXPECT_EQ(folder_.problems.size(), 2U);
}

}  // namespace
