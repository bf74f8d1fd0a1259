// "--store FILE" of every command: what is no store of ours is refused and left as it is, and what only reads
// changes nothing.
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <string>

#include "VKTCoreKit/platform/VKTPlatform.h"
#include "tests/integration/ToolRun.h"
#include "tests/support/VKTStoreFolder.h"
#include "tests/support/VKTTestPaths.h"

namespace {

constexpr std::size_t applicationIDOffset = 68;  // of a database file, as are those below
constexpr std::size_t journalModeOffset = 18;
constexpr std::size_t firstTableOffset = 100;

void write(const std::string& path, const std::string& content) {
    std::ofstream(path, std::ios::binary) << content;
}

class StoreFile : public testing::Test {
  protected:
    // A hang would be a fault, too.
    static Outcome run(const std::string& arguments) {
        return runProgram(std::string("timeout 20 ") + VKTTestPaths::tool, arguments);
    }

    void makeStore() const {
        const Outcome made =
            run("privacy --no-transient --set IABTCF_gdprApplies=int:1 --set k=int:1 --store " + path_);
        EXPECT_EQ(made.status, 0) << made.err;
        std::filesystem::remove(path_ + ".lock");
        EXPECT_EQ(vkt_contentOf(path_).substr(0, 15), "SQLite format 3");
    }

    // Each file with what is in it, unless it is something else than a file.
    [[nodiscard]] std::map<std::string, std::string> folder() const {
        std::map<std::string, std::string> files;
        for (const auto& entry : std::filesystem::directory_iterator(folder_))
            files[entry.path().filename()] =
                entry.is_regular_file() ? vkt_contentOf(entry.path()) : "no file";
        return files;
    }

    const VKTStoreFolder storeFolder_;
    const std::string folder_ = storeFolder_.folder();
    const std::string path_ = storeFolder_.path();
};

struct Foreign {
    const char* name;
    void (*make)(const std::string& path, const std::string& store);  // from the bytes of a store of ours
};

std::string changed(std::string store, std::size_t offset, std::size_t size, char byte) {
    return store.replace(offset, size, std::string(size, byte));
}

const Foreign foreignFiles[] = {
    {"text", [](const auto& path, const auto&) { write(path, "not a store\n"); }},
    {"database of another program",
     [](const auto& path, const auto& store) { write(path, changed(store, applicationIDOffset, 4, 1)); }},
    {"the same without a write-ahead log",
     [](const auto& path, const auto& store) {
         write(path, changed(changed(store, applicationIDOffset, 4, 1), journalModeOffset, 2, 1));
     }},
    {"damaged from its first table on",
     [](const auto& path, const auto& store) {
         write(path, changed(store, firstTableOffset, 2000, '\xff'));
     }},
    {"damaged behind its first page",
     [](const auto& path, const auto& store) {
         write(path, changed(store, 4096, store.size() - 4096, '\xff'));
     }},
    {"cut off", [](const auto& path, const auto& store) { write(path, store.substr(0, 3000)); }},
    {"folder", [](const auto& path, const auto&) { std::filesystem::create_directory(path); }},
    {"pipe", [](const auto& path, const auto&) { EXPECT_EQ(mkfifo(path.c_str(), 0666), 0); }},
};

const char* const commands[] = {"pixels --store ",
                                "pixels --send --store ",
                                "privacy --store ",
                                "privacy --json --set k=int:2 --store ",
                                "config http://127.0.0.1:1/ --site 1 --store ",
                                "play /dev/null --store "};

}  // namespace

TEST_F(StoreFile, RefusesWhatIsNoStoreAndLeavesItAlone) {
    makeStore();
    const std::string store = vkt_contentOf(path_);
    for (const Foreign& foreign : foreignFiles) {
        std::filesystem::remove_all(path_);
        foreign.make(path_, store);
        const auto before = folder();
        for (const std::string command : commands) {
            SCOPED_TRACE(foreign.name + (": " + command));
            const Outcome refused = run(command + path_);
            EXPECT_EQ(refused.status, 3);
            EXPECT_EQ(refused.out, "");
            EXPECT_EQ(vkt_split(vkt_trimmed(refused.err), '\n').size(), 1U) << refused.err;
            EXPECT_NE(refused.err.find(path_), std::string::npos) << refused.err;
            EXPECT_TRUE(folder() == before) << "changed, or not alone any more";
        }
    }
}

TEST_F(StoreFile, AMissingFileIsMadeOnlyByWhatKeepsSomething) {
    for (const std::string command : {"pixels --store ", "pixels --send --store ", "privacy --store "}) {
        const Outcome refused = run(command + path_);
        EXPECT_EQ(refused.status, 3) << command;
        EXPECT_NE(refused.err.find(path_), std::string::npos) << refused.err;
        EXPECT_TRUE(folder().empty()) << command;
    }
    for (const std::string command :
         {"privacy --set k=int:1 --store ", "config http://127.0.0.1:1/ --site 1 --store ",
          "play /dev/null --store "}) {
        std::filesystem::remove_all(path_);
        run(command + path_);
        EXPECT_EQ(vkt_contentOf(path_).substr(0, 15), "SQLite format 3") << command;
    }
}

TEST_F(StoreFile, WhatOnlyReadsChangesNothing) {
    makeStore();
    std::filesystem::permissions(path_, std::filesystem::perms::owner_read);
    const auto before = folder();
    const auto time = std::filesystem::last_write_time(folder_);
    for (const std::string command : {"pixels --store ", "privacy --store "}) {
        const Outcome outcome = run(command + path_);
        EXPECT_EQ(outcome.status, 0) << command;
        EXPECT_EQ(outcome.err, "") << command;
        EXPECT_TRUE(folder() == before) << command;
        EXPECT_TRUE(std::filesystem::last_write_time(folder_) == time) << "a file was made for a while";
    }
}

TEST_F(StoreFile, ReadsWhatAPlayerHasJustWritten) {
    const auto store = VKTPlatform::current().makeKeyValueStore(path_, nullptr);
    ASSERT_TRUE(store->setValueForKey(1, "IABTCF_gdprApplies"));
    const Outcome outcome = run("privacy --json --store " + path_);
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(valueOf(parsed(outcome.out), "canSendIDs"), VKTValue(false));
}

TEST_F(StoreFile, ALockedFileIsNotTakenForAnEmptyOne) {
    makeStore();
    sqlite3* other = nullptr;
    ASSERT_EQ(sqlite3_open(path_.c_str(), &other), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(
                  other, "PRAGMA locking_mode = EXCLUSIVE; UPDATE archives SET key = x'00' WHERE key = x'6B'",
                  nullptr, nullptr, nullptr),
              SQLITE_OK);
    const Outcome privacy = run("privacy --json --store " + path_);
    EXPECT_EQ(privacy.status, 3);
    EXPECT_NE(privacy.err.find("is locked"), std::string::npos) << privacy.err;
    const VKTDictionary report = parsed(privacy.out);
    EXPECT_EQ(valueOf(report, "canSendIDs"), VKTValue(false));
    EXPECT_EQ(valueOf(report, "canSendLocation"), VKTValue(false));
    EXPECT_NE(privacy.out.find("what the file holds of consent cannot be read"), std::string::npos)
        << privacy.out;
    const Outcome pixels = run("pixels --store " + path_);
    EXPECT_EQ(pixels.status, 3);
    EXPECT_EQ(pixels.out, "");
    EXPECT_NE(pixels.err.find("is locked"), std::string::npos) << pixels.err;
    for (const std::string command : {"pixels --send --store ", "privacy --set k=int:1 --store "}) {
        const Outcome refused = run(command + path_);
        EXPECT_EQ(refused.status, 3) << command;
        EXPECT_EQ(refused.err, "vkt: The store " + path_ +
                                   " cannot be changed (database is locked) and is left as it is\n")
            << command;
    }
    sqlite3_close(other);
}
