#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <vector>

#include "VKTCoreKit/platform/testing/VKTMemoryKeyValueStore.h"
#include "VKTCoreKit/platform/testing/contract/VKTKeyValueStoreContract.h"
#include "tests/support/VKTForkedChild.h"
#include "tests/support/VKTStoreFolder.h"

namespace {

struct SQLiteSubject {
    VKTStoreFolder folder;
    std::shared_ptr<VKTKeyValueStore> store = folder.open();
};

std::shared_ptr<VKTKeyValueStore> makeStoreInFile() {
    const auto subject = std::make_shared<SQLiteSubject>();
    return vkt_keepingSubject(subject, subject->store);
}

INSTANTIATE_TEST_SUITE_P(
    Ours, VKTKeyValueStoreContract,
    testing::Values(VKTKeyValueStoreMaker{"memory",
                                          [] { return std::make_shared<VKTMemoryKeyValueStore>(); }},
                    VKTKeyValueStoreMaker{"sqlite", makeStoreInFile}));

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
