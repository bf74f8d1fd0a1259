// What a box does to a store's file: no room, no right to write, another process, bytes that flip.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <thread>

#include "tests/support/VKTForkedChild.h"
#include "tests/support/VKTStoreFolder.h"

namespace {

using Status = VKTStoredValue::Status;

// Another program with the database open, which runs the SQL at once.
class OtherProgram {
  public:
    OtherProgram(const std::string& path, const char* sql) {
        sqlite3_open(path.c_str(), &database_);
        run(sql);
    }
    ~OtherProgram() { sqlite3_close(database_); }
    OtherProgram(const OtherProgram&) = delete;
    OtherProgram& operator=(const OtherProgram&) = delete;

    void run(const char* sql) const {
        EXPECT_EQ(sqlite3_exec(database_, sql, nullptr, nullptr, nullptr), SQLITE_OK)
            << sqlite3_errmsg(database_);
    }

  private:
    sqlite3* database_ = nullptr;
};

class StoreFaults : public testing::Test {
  protected:
    void keep(const char* value) { folder_.open()->setValueForKey(value, "k"); }

    // What a process leaves that is killed: its last value stands in the log.
    void keepInLog(const char* value) {
        vkt_statusOf(vkt_inChild([&] {
            const auto store = folder_.open();
            store->setValueForKey(value, "k");
            return kill(getpid(), SIGKILL) == 0;
        }));
        ASSERT_GT(std::filesystem::file_size(folder_.path() + "-wal"), 0U);
    }

    [[nodiscard]] bool hasTold(const std::string& words) const {
        return std::any_of(folder_.problems.begin(), folder_.problems.end(), [&](const std::string& problem) {
            return problem.find(words) != std::string::npos;
        });
    }

    std::shared_ptr<VKTKeyValueStore> openNamed(VKTStoreUse use) {
        return vkt_openSQLiteKeyValueStore(folder_.path(), use,
                                           [this](const auto& text) { folder_.problems.push_back(text); });
    }

    [[nodiscard]] std::vector<std::string> filesThere() const {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(folder_.folder()))
            names.push_back(entry.path().filename());
        std::sort(names.begin(), names.end());
        return names;
    }

    // Tries until the store tries its file again.
    static bool comesTrue(const std::function<bool()>& condition) {
        for (int attempts = 0; attempts < 1000; ++attempts) {
            if (condition()) return true;
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return false;
    }

    VKTStoreFolder folder_;
};

// No file may grow beyond `size` bytes in this process: a full disk.
bool limitFiles(rlim_t size) {
    std::signal(SIGXFSZ, SIG_IGN);
    const rlimit limit{size, RLIM_INFINITY};
    return setrlimit(RLIMIT_FSIZE, &limit) == 0;
}

TEST_F(StoreFaults, AFullDiskRefusesIsToldOnceAndForgetsNothing) {
    EXPECT_TRUE(vkt_holdsInChild([&] {
        auto store = folder_.open();
        const std::string big(200'000, 'x');
        bool isRight =
            store->setValueForKey("old", "k") && store->setValueForKey("other", "l") && limitFiles(150'000);
        for (int i = 0; i < 3; ++i)
            isRight = isRight && !store->setValueForKey(big, "k");
        isRight = isRight && folder_.problems.size() == 1;
        isRight = isRight && store->valueForKey("k") == VKTValue(big) &&
                  store->valueForKey("l") == VKTValue("other");
        isRight = isRight && limitFiles(RLIM_INFINITY) && store->setValueForKey(1, "m");
        store.reset();
        return isRight && hasTold("has taken what was kept in memory (1 change)");
    }));
    EXPECT_EQ(folder_.open()->valueForKey("k"), VKTValue(std::string(200'000, 'x')));
}

TEST_F(StoreFaults, AStoreOpenedOnAFullDiskReadsWhatIsThere) {
    keep("cached");
    EXPECT_TRUE(vkt_holdsInChild([&] {
        if (!limitFiles(0)) return false;
        const auto store = folder_.open();
        return store->readValueForKey("k").value == VKTValue("cached") &&
               store->readValueForKey("none").status == Status::Absent && !store->setValueForKey(1, "new") &&
               store->readValueForKey("new").value == VKTValue(1);
    }));
}

TEST_F(StoreFaults, AFullDiskDoesNotHideWhatStandsInALog) {
    keep("old");
    keepInLog("new");
    EXPECT_TRUE(vkt_holdsInChild(
        [&] { return limitFiles(0) && folder_.open()->readValueForKey("k").value == VKTValue("new"); }));
}

TEST_F(StoreFaults, AValueWithoutRoomDoesNotKeepOthersFromTheFile) {
    EXPECT_TRUE(vkt_holdsInChild([&] {
        auto store = folder_.open();
        bool isRight = store->setValueForKey(1, "first") && limitFiles(0) &&
                       !store->setValueForKey(std::string(500'000, 'x'), "a") &&
                       !store->setValueForKey("small", "b") && limitFiles(300'000);
        store.reset();
        return isRight && hasTold("(1 change)") && limitFiles(RLIM_INFINITY) &&
               folder_.open()->valueForKey("b") == VKTValue("small");
    }));
}

TEST_F(StoreFaults, AReadOnlyFileIsReadWithItsLog) {
    keep("old");
    keepInLog("cached");
    for (const std::string& file : filesThere())
        chmod((folder_.folder() + "/" + file).c_str(), 0444);
    chmod(folder_.folder().c_str(), 0555);
    EXPECT_TRUE(vkt_holdsInChild([&] {
        constexpr uid_t nobody = 65534;  // the rights of a file do not stop root
        if (geteuid() == 0 && setuid(nobody) != 0) return false;
        const auto store = folder_.open();
        return store->readValueForKey("k").value == VKTValue("cached") &&
               !store->setValueForKey("new", "k") && store->valueForKey("k") == VKTValue("new") &&
               hasTold("what it holds can be read");
    }));
    chmod(folder_.folder().c_str(), 0755);
}

TEST_F(StoreFaults, ALockAtTheStartLosesNothingAfterwards) {
    keep("old");
    std::shared_ptr<VKTKeyValueStore> store;
    {
        const OtherProgram other(folder_.path(), "PRAGMA locking_mode = EXCLUSIVE; BEGIN EXCLUSIVE; COMMIT");
        store = folder_.open();
        EXPECT_FALSE(store->setValueForKey("during", "d"));
        EXPECT_EQ(store->valueForKey("d"), VKTValue("during"));
    }
    EXPECT_TRUE(comesTrue([&] { return store->setValueForKey("after", "a"); }));
    EXPECT_EQ(store->valueForKey("k"), VKTValue("old"));
    store.reset();
    EXPECT_EQ(folder_.open()->valueForKey("d"), VKTValue("during"));
    EXPECT_EQ(folder_.open()->valueForKey("a"), VKTValue("after"));
}

TEST_F(StoreFaults, BesideAProcessThatKeepsTheFileReadingIsExactOrUnreadable) {
    keep("cached");
    const OtherProgram other(folder_.path(), "PRAGMA locking_mode = EXCLUSIVE; BEGIN EXCLUSIVE; COMMIT");
    EXPECT_EQ(folder_.open()->readValueForKey("k").value, VKTValue("cached"));
    // From now on something stands in the log, which only its owner can read.
    other.run("CREATE TABLE more (x)");
    const auto store = folder_.open();
    EXPECT_EQ(store->readValueForKey("k").status, Status::Unreadable);
    EXPECT_EQ(store->readValueForKey("none").status, Status::Unreadable);
    EXPECT_EQ(store->valueForKey("k"), VKTValue("cached")) << "for whom an old value does no harm";
    EXPECT_FALSE(store->openRecordTable("things", "1").table->records());
}

TEST_F(StoreFaults, AFlippedByteIsToldOnceAndNeverReplacedInSilence) {
    keep("a value with a mark: MARK");
    std::string content = vkt_contentOf(folder_.path());
    content[content.find("MARK")] = 'm';
    std::ofstream(folder_.path(), std::ios::binary) << content;
    const auto store = folder_.open();
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(store->readValueForKey("k").status, Status::Unreadable);
    ASSERT_EQ(folder_.problems.size(), 1U);
    EXPECT_TRUE(hasTold("\"k\""));
    EXPECT_TRUE(store->setValueForKey("new", "k"));
    EXPECT_EQ(folder_.problems.size(), 2U);
    EXPECT_EQ(store->readValueForKey("k").value, VKTValue("new"));
}

// A key stands in a table and in its index; a table's columns have names, too.
TEST_F(StoreFaults, ADamagedNameIsNotTakenForAbsence) {
    {
        const auto store = folder_.open();
        store->setValueForKey("value", "key.of.a.value");
        store->openRecordTable("things", "1").table->change({}, {"record"});
    }
    const std::string sound = vkt_contentOf(folder_.path());
    for (const std::string name : {"key.of.a.value", "number", ", record"}) {
        int places = 0;
        for (std::size_t at = sound.find(name); at != std::string::npos; at = sound.find(name, at + 1)) {
            std::string content = sound;
            content[at + name.size() - 1] ^= 4;
            std::ofstream(folder_.path(), std::ios::binary) << content;
            folder_.problems.clear();
            const auto store = folder_.open();
            const auto records = store->openRecordTable("things", "1").table->records();
            EXPECT_EQ(store->readValueForKey("key.of.a.value").status, Status::Unreadable) << at;
            EXPECT_TRUE(hasTold("is unusable")) << at;
            ++places;
        }
        EXPECT_GE(places, 1) << name;
    }
}

TEST_F(StoreFaults, ATableKnowsThatItsFileIsGone) {
    const auto store = folder_.open();
    const auto table = store->openRecordTable("things", "1").table;
    EXPECT_TRUE(table->change({}, {"a", "b"}));
    for (const char* suffix : {"", "-wal", "-shm"})
        std::filesystem::remove(folder_.path() + suffix);
    EXPECT_FALSE(table->change({}, {"c"})) << "it would get the number of another";
    EXPECT_TRUE(table->hasLostRecords());
    EXPECT_TRUE(table->records()->empty());
    EXPECT_FALSE(table->hasLostRecords());
    EXPECT_TRUE(table->change({}, {"c"}));
}

TEST_F(StoreFaults, WhatAFileSetAsideHeldIsUnreadableUntilItIsWrittenAgain) {
    keep("old");
    std::filesystem::resize_file(folder_.path(), 5000);
    const auto store = folder_.open();
    EXPECT_EQ(store->readValueForKey("k").status, Status::Unreadable);
    EXPECT_TRUE(store->setValueForKey("new", "k"));
    EXPECT_EQ(store->readValueForKey("k").value, VKTValue("new"));
    EXPECT_EQ(folder_.open()->readValueForKey("none").status, Status::Absent)
        << "a later process starts anew";
}

TEST_F(StoreFaults, AnotherProgramsDatabaseIsNeverTouched) {
    { const OtherProgram other(folder_.path(), "CREATE TABLE theirs (x); INSERT INTO theirs VALUES (1)"); }
    const std::string theirs = vkt_contentOf(folder_.path());
    const auto store = folder_.open();
    EXPECT_FALSE(store->setValueForKey(1, "k"));
    EXPECT_EQ(store->readValueForKey("other").status, Status::Unreadable);
    EXPECT_TRUE(vkt_contentOf(folder_.path()) == theirs);
    EXPECT_TRUE(hasTold("another program's database"));
}

TEST_F(StoreFaults, AnotherProgramsLogIsNeverTouched) {
    vkt_statusOf(vkt_inChild([&] {
        const OtherProgram other(folder_.path(), "PRAGMA journal_mode = WAL; CREATE TABLE theirs (x)");
        return kill(getpid(), SIGKILL) == 0;
    }));
    const std::string log = vkt_contentOf(folder_.path() + "-wal");
    ASSERT_FALSE(log.empty());
    EXPECT_FALSE(folder_.open()->setValueForKey(1, "k"));
    EXPECT_FALSE(openNamed(VKTStoreToChange));
    EXPECT_TRUE(vkt_contentOf(folder_.path() + "-wal") == log);
}

TEST_F(StoreFaults, ANamedDatabaseIsKnownWhileItsFirstPageIsInTheLog) {
    const auto leaveWithLog = [this](const char* name) {
        const std::string path = folder_.folder() + "/" + name;
        for (const char* suffix : {"", "-wal"})
            std::filesystem::copy_file(folder_.path() + suffix, path + suffix);
        return path;
    };
    const auto open = [](const std::string& path, VKTStoreUse use) {
        return vkt_openSQLiteKeyValueStore(path, use, nullptr) != nullptr;
    };
    {
        const OtherProgram other(folder_.path(), "PRAGMA journal_mode = WAL; CREATE TABLE theirs (x)");
        const std::string path = leaveWithLog("theirs");
        const auto before = filesThere();
        const std::string log = vkt_contentOf(path + "-wal");
        EXPECT_FALSE(open(path, VKTStoreToRead) || open(path, VKTStoreToChange));
        EXPECT_EQ(filesThere(), before);
        EXPECT_TRUE(vkt_contentOf(path + "-wal") == log);
    }
    std::filesystem::remove(folder_.path());
    const auto store = folder_.open();
    store->setValueForKey(1, "k");
    EXPECT_TRUE(open(leaveWithLog("ours"), VKTStoreToRead));
    EXPECT_TRUE(open(leaveWithLog("ours to change"), VKTStoreToChange));
}

TEST_F(StoreFaults, ReadingANamedFileMakesAndChangesNothing) {
    EXPECT_FALSE(openNamed(VKTStoreToRead)) << "there is none";
    keep("value");
    const auto before = filesThere();
    {
        const auto store = openNamed(VKTStoreToRead);
        EXPECT_EQ(store->readValueForKey("k").value, VKTValue("value"));
        EXPECT_FALSE(store->setValueForKey(1, "k"));
        EXPECT_EQ(filesThere(), before);
    }
    const auto user = folder_.open();
    user->setValueForKey("newer", "k");
    EXPECT_EQ(openNamed(VKTStoreToRead)->readValueForKey("k").value, VKTValue("newer")) << "beside its user";
}

// As it is when somebody has copied the file and its log to look into them.
TEST_F(StoreFaults, ALogWithoutItsIndexIsRead) {
    keepInLog("value");
    std::filesystem::remove(folder_.path() + "-shm");
    EXPECT_EQ(openNamed(VKTStoreToRead)->readValueForKey("k").value, VKTValue("value"));
}

TEST_F(StoreFaults, OnlyItsUserMayReadWhatItMakesOrFinds) {
    close(open(folder_.path().c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644));
    const auto store = folder_.open();
    store->setValueForKey(1, "k");
    const auto table = store->openRecordTable("things", "1").table;
    for (const std::string& file : filesThere()) {
        struct stat status {};
        stat((folder_.folder() + "/" + file).c_str(), &status);
        EXPECT_EQ(status.st_mode & 0777U, 0600U) << file;
    }
}

TEST_F(StoreFaults, ATableHasOneOwnerAmongProcessesWhichAForkedChildIsNot) {
    const auto store = folder_.open();
    auto table = store->openRecordTable("things", "1").table;
    ASSERT_TRUE(table);
    const auto isRefused = [&](const std::string& words) {
        return folder_.open()->openRecordTable("things", "1").refusal.find(words) != std::string::npos;
    };
    EXPECT_TRUE(vkt_holdsInChild([&] { return isRefused("this process"); })) << "it has the parent's memory";
    EXPECT_TRUE(vkt_holdsInChild([&] {
        VKTStoreFolder();  // nothing of the parent's is used
        return !table->change({}, {"of a child"}) && !store->setValueForKey(1, "k") &&
               store->readValueForKey("k").status == Status::Unreadable;
    }));
    table.reset();
    EXPECT_TRUE(vkt_holdsInChild([&] { return !store->openRecordTable("things", "1").table; }));
    EXPECT_TRUE(store->openRecordTable("things", "1").table);
}

TEST_F(StoreFaults, ATableHasOneOwnerHoweverItsPathIsSpelled) {
    const auto store = folder_.open();
    const auto table = store->openRecordTable("things", "1").table;
    std::filesystem::create_symlink(folder_.path(), folder_.folder() + "/link");
    for (const char* name : {"/./store", "/link"}) {
        const auto other = vkt_makeSQLiteKeyValueStore(folder_.folder() + name, nullptr);
        EXPECT_NE(other->openRecordTable("things", "1").refusal, "") << name;
    }
}

TEST_F(StoreFaults, NobodyBecomesOwnerWhoCannotSeeWhoIs) {
    EXPECT_TRUE(vkt_holdsInChild([&] {
        const auto store = folder_.open();
        const rlimit noneMore{0, 1024};
        return setrlimit(RLIMIT_NOFILE, &noneMore) == 0 &&
               store->openRecordTable("things", "1").refusal.find("Too many open files") != std::string::npos;
    }));
}

TEST_F(StoreFaults, ChangesOfATableThatTheFileDidNotTakeCanBeMadeLater) {
    EXPECT_TRUE(vkt_holdsInChild([&] {
        const auto store = folder_.open();
        const auto table = store->openRecordTable("things", "1").table;
        const std::string big(100'000, 'x');
        return limitFiles(150'000) && table->change({}, {"small"}) && !table->change({1}, {big, big}) &&
               table->records()->size() == 1 && limitFiles(RLIM_INFINITY) && table->change({1}, {big, big}) &&
               table->records()->size() == 2;
    }));
}

}  // namespace
