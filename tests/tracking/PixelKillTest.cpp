// Pixels of a process that is killed. The test starts itself as that process.
#include <gtest/gtest.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <future>
#include <map>
#include <random>
#include <set>
#include <sstream>
#include <thread>

#include "VKTCoreKit/platform/VKTPlatform.h"
#include "VKTCoreKit/tracking/VKTPersistentPixelStoreProvider.h"
#include "VKTCoreKit/tracking/VKTPixelManager.h"
#include "tests/support/VKTChildRun.h"
#include "tests/support/VKTLoopbackServer.h"
#include "tests/support/VKTStoreFolder.h"

namespace {

constexpr const char* fileVariable = "VKT_TEST_PIXEL_FILE";
constexpr const char* urlVariable = "VKT_TEST_PIXEL_URL";

std::shared_ptr<VKTPixelManager> managerOverFile(const std::string& path) {
    const auto disk = VKTPlatform::current().makeKeyValueStore(
        path, [](const std::string& problem) { ADD_FAILURE() << problem; });
    const auto provider = VKTPersistentPixelStoreProvider::initWithKeyValueStore(disk);
    return VKTPixelManager::initWithPixelStore(VKTPixelStore::initWithProvider(provider),
                                               VKTURLSession::sharedInstance());
}

void waitForPass(
    VKTPixelManager& manager, const std::function<void()>& atItsEnd = [] {}) {
    std::promise<void> ended;
    manager.callPixelsWithCompletionHandler([&] {
        atItsEnd();
        ended.set_value();
    });
    ended.get_future().wait();
}

void say(const std::string& what, const std::string& which) {
    const std::string line = what + " " + which + "\n";
    if (write(STDOUT_FILENO, line.data(), line.size()) < 0) std::abort();
}

// Adds pixels and has them called, and says so, until it is killed.
[[noreturn]] void runChild(const std::string& path, const std::string& url) {
    say("process", std::to_string(getpid()));
    const auto manager = managerOverFile(path);
    for (int i = 1;; ++i) {
        const auto pixel = VKTPixel::initWithUrl(*VKTURL::URLWithString(url + std::to_string(i)));
        manager->addPixel(pixel);
        say("added", pixel->url().absoluteString());
        if (i % 3 != 0) continue;
        const VKTPixels pixels = manager->allPixels();
        waitForPass(*manager, [&] {
            for (const auto& called : pixels) {
                if (called->status() == VKTPixelStatusSuccess)
                    say("delivered", called->url().absoluteString());
            }
        });
    }
}

// The running test once more, as a process that does its child's part.
FILE* startChild(const std::string& path, const std::string& url) {
    const std::string command = std::string(fileVariable) + "='" + path + "' " + urlVariable + "='" + url +
                                "' exec " + vkt_commandOfCurrentTest();
    return popen(command.c_str(), "r");
}

// What a child said that was killed after about `lines` lines.
std::string outputOfKilledChild(const std::string& path, const std::string& url, int lines) {
    FILE* pipe = startChild(path, url);
    std::string output;
    pid_t child = 0;
    std::array<char, 256> line{};
    for (int count = 0; std::fgets(line.data(), line.size(), pipe) != nullptr;) {
        if (child == 0 && std::sscanf(line.data(), "process %d", &child) != 1) continue;
        output += line.data();
        if (count++ >= lines) kill(child, SIGKILL);
    }
    const int status = pclose(pipe);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) << output;
    return output;
}

// Answers every fourth request with an error, and counts the others by their URL.
class CountingServer {
  public:
    CountingServer() {
        server_.handle("/", [this](const VKTServerRequest& request) {
            VKTLock lock(mutex_);
            if (++requests_ % 4 == 0) return VKTServerResponse{500, "", {}};
            ++deliveries_[server_.url(request.target)];
            return VKTServerResponse{200, "", {}};
        });
    }

    [[nodiscard]] std::string url(int round) const { return server_.url("/?" + std::to_string(round) + "-"); }
    [[nodiscard]] int requestCount() {
        VKTLock lock(mutex_);
        return requests_;
    }
    [[nodiscard]] std::map<std::string, int> deliveries() {
        VKTLock lock(mutex_);
        return deliveries_;
    }

  private:
    VKTMutex mutex_;
    std::map<std::string, int> deliveries_ VKT_GUARDED_BY(mutex_);
    int requests_ VKT_GUARDED_BY(mutex_) = 0;
    VKTLoopbackServer server_;
};

// Adds 2,000 pixels, says so, and sends them.
void runPassOfChild(const std::string& path, const std::string& url) {
    const auto manager = managerOverFile(path);
    VKTPixels pixels;
    for (int i = 0; i < 2000; ++i)
        pixels.push_back(VKTPixel::initWithUrl(*VKTURL::URLWithString(url + std::to_string(i))));
    manager->addPixels(pixels);
    say("process", std::to_string(getpid()));
    waitForPass(*manager);
}

TEST(PixelsOnDisk, AFileThatIsRemovedIsMadeAnewWithAllPixels) {
    const VKTStoreFolder folder;
    const auto add = [](const auto& manager, const char* url) {
        manager->addPixel(VKTPixel::initWithUrl(*VKTURL::URLWithString(url)));
    };
    {
        const auto manager = managerOverFile(folder.path());
        for (const char* url : {"http://h/1", "http://h/2"})
            add(manager, url);
        for (const char* suffix : {"", "-wal", "-shm"})
            std::filesystem::remove(folder.path() + suffix);
        add(manager, "http://h/3");
        manager->pixelStore()->deletePixel(*manager->allPixels().front());
        EXPECT_TRUE(manager->pixelStore()->saveChanges());
    }
    std::vector<std::string> urls;
    for (const auto& pixel : managerOverFile(folder.path())->allPixels())
        urls.push_back(pixel->url().absoluteString());
    EXPECT_EQ(urls, (std::vector<std::string>{"http://h/2", "http://h/3"}));
}

TEST(PixelsOnDisk, AKillInTheMiddleOfALongPassRepeatsOneAtMost) {
    if (const char* path = std::getenv(fileVariable)) return runPassOfChild(path, std::getenv(urlVariable));

    const VKTStoreFolder folder;
    CountingServer server;
    FILE* pipe = startChild(folder.path(), server.url(0));
    std::array<char, 256> line{};
    pid_t child = 0;
    while (child == 0 && std::fgets(line.data(), line.size(), pipe) != nullptr)
        static_cast<void>(std::sscanf(line.data(), "process %d", &child));
    ASSERT_GT(child, 0);
    while (server.requestCount() < 700)
        std::this_thread::yield();
    kill(child, SIGKILL);
    pclose(pipe);
    const auto deliveries = server.deliveries();
    ASSERT_LT(deliveries.size(), 1900U) << "the pass had ended";
    std::size_t repeated = 0;
    const VKTPixels pending = managerOverFile(folder.path())->allPixels();
    for (const auto& pixel : pending)
        repeated += deliveries.count(pixel->url().absoluteString());
    EXPECT_LE(repeated, 1U);
    EXPECT_EQ(pending.size() + deliveries.size() - repeated, 2000U);
}

TEST(PixelsOnDisk, AKillLosesNoneThatWasAddedAndRepeatsNoneThatWasRecorded) {
    if (const char* path = std::getenv(fileVariable)) runChild(path, std::getenv(urlVariable));

    const VKTStoreFolder folder;
    const std::string file = folder.path();
    CountingServer server;
    std::mt19937 random(1);  // NOLINT(cert-msc51-cpp): the same kills in every run
    std::set<std::string> added;
    std::map<std::string, int> recorded;  // and how often it had arrived by then
    for (int round = 0; round < 100; ++round) {
        std::istringstream output(
            outputOfKilledChild(file, server.url(round), static_cast<int>(random() % 40)));
        std::set<std::string> pending;
        for (const auto& pixel : managerOverFile(file)->allPixels())
            pending.insert(pixel->url().absoluteString());
        auto deliveries = server.deliveries();
        for (std::string what, url; output >> what >> url;) {
            if (what == "added") added.insert(url);
            if (what == "delivered") recorded.emplace(url, deliveries[url]);
        }
        for (const std::string& url : added)
            ASSERT_TRUE(pending.contains(url) || deliveries.contains(url)) << url << " in round " << round;
        for (const auto& [url, count] : recorded)
            ASSERT_FALSE(pending.contains(url)) << url << " in round " << round;
    }
    EXPECT_GT(recorded.size(), 100u);

    auto manager = managerOverFile(file);
    while (!manager->allPixels().empty())
        waitForPass(*manager);
    manager.reset();
    EXPECT_TRUE(managerOverFile(file)->allPixels().empty());
    const auto deliveries = server.deliveries();
    for (const std::string& url : added)
        EXPECT_TRUE(deliveries.contains(url)) << url;
    for (const auto& [url, count] : recorded)
        EXPECT_EQ(deliveries.at(url), count) << url;
}

}  // namespace
