// Starting up with a cached configuration, and logging while the device is offline.
#include <spawn.h>
#include <sqlite3.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "Pairs.h"
#include "VKTCoreKit/config/VKTRemoteConfigManager.h"
#include "VKTCoreKit/config/VKTRemoteLogger.h"
#include "VKTCoreKit/platform/VKTPlatform.h"

namespace {

constexpr std::string_view startOursArgument = "--child-that-delivers-the-cached-configuration";
constexpr std::string_view startLimitArgument = "--child-that-reads-one-value";
constexpr std::int64_t siteID = 12;

struct Listener : VKTRemoteConfigManagerDelegate {
    void remoteConfigManagerDidSucceedToFetchConfigWithKorvoDictionary(
        VKTRemoteConfigManager& /*manager*/, const VKTDictionary& /*korvo*/,
        const std::optional<std::vector<VKTDictionary>>& /*others*/) override {
        hasConfiguration = true;
    }
    bool hasConfiguration = false;
};

std::shared_ptr<VKTRemoteConfigManager> managerOverStore(const char* path,
                                                         const std::shared_ptr<Listener>& listener) {
    const auto store = VKTPlatform::current().makeKeyValueStore(path, nullptr);
    return VKTRemoteConfigManager::initWithDelegate(
        listener, VKTDefaultPropertyCacheManager::initWithKeyValueStore(store), "https://127.0.0.1",
        "config/[SITEID_PLACEHOLDER]", {}, 1);
}

bool deliversCachedConfiguration(const char* path) {
    const auto listener = std::make_shared<Listener>();
    const auto manager = managerOverStore(path, listener);
    manager->fetchRemoteConfigurationWithSiteId(siteID, false);
    return listener->hasConfiguration && !manager->fetchInProgress();
}

bool readsOneValue(const char* path) {
    sqlite3* database = nullptr;
    sqlite3_stmt* statement = nullptr;
    return sqlite3_open_v2(path, &database, SQLITE_OPEN_READWRITE, nullptr) == SQLITE_OK &&
           sqlite3_prepare_v2(database, "SELECT archive FROM archives", -1, &statement, nullptr) ==
               SQLITE_OK &&
           sqlite3_step(statement) == SQLITE_ROW && sqlite3_column_bytes(statement, 0) > 0;
}

// A store that holds one configuration, until it is destroyed.
class CachedConfiguration {
  public:
    CachedConfiguration() {
        std::filesystem::create_directory(folder_);
        std::string document = R"({"TTL":604800,"statusCode":200,"version":"1","korvo":{"networkId":7,
            "adCallBaseURL":"https://ads.example/","adCallAdditionalParameters":{"get":{"format":"tv"},
            "post":{)";
        for (int i = 0; i < 50; ++i)
            document += R"("parameter)" + std::to_string(i) + R"(":{"name":"value","list":[1,2,3]},)";
        document += R"("last":1}}},"logger":{"URL":"https://logs.example/","minLogLevel":"warning"}})";
        managerOverStore(path().c_str(), nullptr)->setupConfigWithData(document, siteID, true);
    }
    ~CachedConfiguration() { std::filesystem::remove_all(folder_); }
    CachedConfiguration(const CachedConfiguration&) = delete;
    CachedConfiguration& operator=(const CachedConfiguration&) = delete;

    [[nodiscard]] std::string path() const { return folder_ / "store"; }

  private:
    const std::filesystem::path folder_ =
        std::filesystem::temp_directory_path() / ("vkt-config-bench-" + std::to_string(getpid()));
};

// This program as a child process; the page faults that it took.
double faultsOfChild(std::string_view argument, std::string path) {
    std::string program = "/proc/self/exe";
    std::string option(argument);
    const std::array<char*, 4> arguments{program.data(), option.data(), path.data(), nullptr};
    pid_t child = 0;
    int status = 0;
    rusage usage{};
    if (posix_spawn(&child, program.c_str(), nullptr, nullptr, arguments.data(), environ) != 0 ||
        wait4(child, &status, 0, &usage) != child || status != 0)
        fail("the child process " + option + " failed");
    return static_cast<double>(usage.ru_minflt + usage.ru_majflt);
}

// Takes a request as a session does, with a copy of its own, and fails it when it is told to.
class OfflineProvider : public VKTURLSessionProviderProtocol {
  public:
    std::shared_ptr<VKTURLSessionTask> dataRequest(const VKTURLRequest& request,
                                                   VKTURLSessionCompletionHandler handler) override {
        request_ = request;
        handler_ = std::move(handler);
        return VKTURLSessionTask::initWithDataTask(nullptr);
    }
    void failRequest() {
        const VKTError error(VKTURLErrorDomain, VKTURLErrorNotConnectedToInternet);
        std::exchange(handler_, nullptr)(VKTURLSessionResponse::initWithData(nullptr, nullptr, error),
                                         nullptr);
    }
    [[nodiscard]] std::size_t bodySize() const { return request_.HTTPBody->size(); }

  private:
    VKTURLRequest request_;
    VKTURLSessionCompletionHandler handler_;
};

// A logger with as many records waiting as it keeps.
class OfflineLogger {
  public:
    OfflineLogger() {
        VKTRemoteLoggerSettings settings = logger_->settings();
        settings.minimumLogLevel = VKTRemoteLogLevelError;
        settings.errorSamplingRate = 1;
        logger_->setSettings(settings);
        for (std::size_t i = 0; i < VKTRemoteLogBacklogLimit; ++i)
            secondsOfLog();
    }

    double secondsOfLog() {
        const auto record = logger_->generateLogWithMessage(
            "The media file could not be loaded", VKTRemoteLogLevelError, "playback",
            "https://ads.example/ac?siteid=12",
            VKTLogNodes{VKTLogErrorNode::initWithErrorMessage("timeout", {}, "https://ads.example/ac", {})});
        const auto start = std::chrono::steady_clock::now();
        logger_->log(*record);
        const VKTTimeInterval taken = std::chrono::steady_clock::now() - start;
        provider_->failRequest();
        return taken.count();
    }
    [[nodiscard]] std::size_t bodySize() const { return provider_->bodySize(); }

  private:
    const std::shared_ptr<OfflineProvider> provider_ = std::make_shared<OfflineProvider>();
    const std::shared_ptr<VKTRemoteLogger> logger_ =
        VKTRemoteLogger::initWithDefaultEndPoint(*VKTURL::URLWithString("https://logs.example/"), "bench",
                                                 VKTURLSession::initWithSessionProvider(provider_));
};

// The body that is sent has to be put together and handed over: the same texts, joined and copied once.
double secondsOfJoin(std::size_t bodySize) {
    static const std::vector<std::string> texts(VKTRemoteLogBacklogLimit,
                                                std::string(bodySize / VKTRemoteLogBacklogLimit - 1, 'x'));
    const auto start = std::chrono::steady_clock::now();
    std::string body;
    body.reserve(bodySize);
    for (const std::string& text : texts)
        body.append(text).append(1, ',');
    const std::string handedOver = body;
    const VKTTimeInterval taken = std::chrono::steady_clock::now() - start;
    if (handedOver.size() > bodySize) fail("the texts are longer than the body");
    return taken.count();
}

}  // namespace

void runAsChild(int argc, char** argv) {
    if (argc != 3) return;
    // Without the orderly end: it is the start that is measured.
    if (argv[1] == startOursArgument) _exit(deliversCachedConfiguration(argv[2]) ? 0 : 1);
    if (argv[1] == startLimitArgument) _exit(readsOneValue(argv[2]) ? 0 : 1);
}

void addConfigBenchmarks() {
    static const CachedConfiguration configuration;
    addPairWithFaults(
        "config_cached_start", [] { return faultsOfChild(startOursArgument, configuration.path()); },
        [] { return faultsOfChild(startLimitArgument, configuration.path()); });

    static OfflineLogger logger;
    addTimedPair(
        "log_waiting_1000", [] { return logger.secondsOfLog(); },
        [] { return secondsOfJoin(logger.bodySize()); });
}
