// Pixels of a process that is killed. The test starts itself as that process.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <future>
#include <map>
#include <random>
#include <set>
#include <sstream>

#include "VKTCoreKit/platform/VKTPlatform.h"
#include "VKTCoreKit/tracking/VKTPersistentPixelStoreProvider.h"
#include "VKTCoreKit/tracking/VKTPixelManager.h"
#include "tests/support/VKTLoopbackServer.h"

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

void say(const char* what, const VKTPixel& pixel) {
    const std::string line = what + (" " + pixel.url().absoluteString()) + "\n";
    if (write(STDOUT_FILENO, line.data(), line.size()) < 0) std::abort();
}

// Adds pixels and has them called, and says so, until it is killed.
[[noreturn]] void runChild(const std::string& path, const std::string& url) {
    const auto manager = managerOverFile(path);
    for (int i = 1;; ++i) {
        const auto pixel = VKTPixel::initWithUrl(*VKTURL::URLWithString(url + std::to_string(i)));
        manager->addPixel(pixel);
        say("added", *pixel);
        if (i % 3 != 0) continue;
        const VKTPixels pixels = manager->allPixels();
        waitForPass(*manager, [&] {
            for (const auto& called : pixels) {
                if (called->status() == VKTPixelStatusSuccess) say("delivered", *called);
            }
        });
    }
}

// What a child said that was killed after about `lines` lines.
std::string outputOfKilledChild(const std::string& path, const std::string& url, std::size_t lines) {
    const auto* test = testing::UnitTest::GetInstance()->current_test_info();
    std::vector<std::string> texts{
        std::string("--gtest_filter=") + test->test_suite_name() + "." + test->name(),
        std::string(fileVariable) + "=" + path, std::string(urlVariable) + "=" + url};
    std::string name = "child";
    const std::array<char*, 3> arguments{name.data(), texts[0].data(), nullptr};
    std::vector<char*> environment{texts[1].data(), texts[2].data()};
    for (char** variable = environ; *variable != nullptr; ++variable)
        environment.push_back(*variable);
    environment.push_back(nullptr);

    std::array<int, 2> ends{};
    EXPECT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
    pid_t child = 0;
    EXPECT_EQ(posix_spawn(&child, "/proc/self/exe", &actions, nullptr, arguments.data(), environment.data()),
              0);
    posix_spawn_file_actions_destroy(&actions);
    close(ends[1]);

    std::string output;
    std::array<char, 4096> buffer{};
    for (ssize_t length = 1; length > 0;) {
        if (std::count(output.begin(), output.end(), '\n') >= static_cast<std::ptrdiff_t>(lines)) {
            kill(child, SIGKILL);
        }
        length = read(ends[0], buffer.data(), buffer.size());
        if (length > 0) output.append(buffer.data(), static_cast<std::size_t>(length));
    }
    close(ends[0]);
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) << output;
    return output;
}

// Answers every fourth request with an error, until it is mended, and counts the others by their URL.
class CountingServer {
  public:
    CountingServer() {
        server_.handle("/", [this](const VKTServerRequest& request) {
            VKTLock lock(mutex_);
            if (++requests_ % 4 == 0 && !isMended_) return VKTServerResponse{500, "", {}};
            ++deliveries_[server_.url(request.target)];
            return VKTServerResponse{200, "", {}};
        });
    }

    [[nodiscard]] std::string url(int round) const { return server_.url("/?" + std::to_string(round) + "-"); }
    [[nodiscard]] std::map<std::string, int> deliveries() {
        VKTLock lock(mutex_);
        return deliveries_;
    }
    void mend() {
        VKTLock lock(mutex_);
        isMended_ = true;
    }

  private:
    VKTMutex mutex_;
    std::map<std::string, int> deliveries_ VKT_GUARDED_BY(mutex_);
    int requests_ VKT_GUARDED_BY(mutex_) = 0;
    bool isMended_ VKT_GUARDED_BY(mutex_) = false;
    VKTLoopbackServer server_;
};

TEST(PixelsOnDisk, AKillLosesNoneThatWasAddedAndRepeatsNoneThatWasRecorded) {
    if (const char* path = std::getenv(fileVariable)) runChild(path, std::getenv(urlVariable));

    const std::filesystem::path folder =
        std::filesystem::path(testing::TempDir()) / ("vkt-pixels-" + std::to_string(getpid()));
    std::filesystem::create_directory(folder);
    const std::string file = folder / "pixels";
    CountingServer server;
    std::mt19937 random(1);  // NOLINT(cert-msc51-cpp): the same kills in every run
    std::set<std::string> added;
    std::map<std::string, int> recorded;  // and how often it had arrived by then
    for (int round = 0; round < 100; ++round) {
        std::istringstream output(outputOfKilledChild(file, server.url(round), random() % 40));
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

    server.mend();
    const auto manager = managerOverFile(file);
    waitForPass(*manager);
    EXPECT_TRUE(managerOverFile(file)->allPixels().empty());
    const auto deliveries = server.deliveries();
    for (const std::string& url : added)
        EXPECT_TRUE(deliveries.contains(url)) << url;
    for (const auto& [url, count] : recorded)
        EXPECT_EQ(deliveries.at(url), count) << url;
    std::filesystem::remove_all(folder);
}

}  // namespace
