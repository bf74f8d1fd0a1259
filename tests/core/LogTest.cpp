#include "VKTCoreKit/core/VKTLog.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "VKTCoreKit/core/VKTLogDefaultOutput.h"

namespace {

class RecordingOutput : public VKTLogOutput {
  public:
    void logMessage(std::string_view message, VKTLogLevel level, std::string_view tag) override {
        lines.push_back(std::string(tag) + "|" + VKTLog::levelName(level) + "|" + std::string(message));
    }

    std::vector<std::string> lines;
};

class OneLevelDataSource : public VKTLogDataSource {
  public:
    explicit OneLevelDataSource(VKTLogLevel level) : level_(level) {}

    bool logShouldLogMessageWithLevel(const VKTLog& logger, VKTLogLevel level) override {
        asked.push_back(level);
        EXPECT_EQ(logger.tag(), "T");
        return level == level_;
    }

    std::vector<VKTLogLevel> asked;

  private:
    VKTLogLevel level_;
};

class EveryLevelDataSource : public VKTLogDataSource {
    bool logShouldLogMessageWithLevel(const VKTLog&, VKTLogLevel) override { return true; }
};

void logAtEachLevel(const VKTLog& logger) {
    logger.logMessage("m");
    logger.logDebug("d");
    logger.logInfo("i");
    logger.logError("e");
    logger.logWarning("w");
}

TEST(Log, LevelNames) {
    const std::pair<int, const char*> cases[] = {{0, "DEBUG"},   {1, "INFO"},  {2, "ERROR"},
                                                 {3, "WARNING"}, {7, "DEBUG"}, {-1, "DEBUG"}};
    for (const auto& [level, name] : cases)
        EXPECT_STREQ(VKTLog::levelName(level), name);
}

TEST(Log, DefaultDataSourceLetsNothingThroughAndTheFlagOnlyDebugMessages) {
    const auto output = std::make_shared<RecordingOutput>();
    const auto logger = VKTLog::initWithTag("T", nullptr, output, false);
    EXPECT_EQ(logger->dataSource(), VKTLogDefaultDataSource::sharedInstance());
    logAtEachLevel(*logger);
    logger->logStackTrack();
    EXPECT_TRUE(output->lines.empty());

    logger->setIsDebugLoggingEnabled(true);
    logAtEachLevel(*logger);
    EXPECT_EQ(output->lines, (std::vector<std::string>{"T|DEBUG|m", "T|DEBUG|d"}));
}

TEST(Log, DataSourceDecidesAboutEveryOtherLevel) {
    for (const auto& [level, line] : {std::pair(VKTLogLevelInfo, "T|INFO|i"),
                                      {VKTLogLevelError, "T|ERROR|e"},
                                      {VKTLogLevelWarning, "T|WARNING|w"},
                                      {VKTLogLevelDebug, ""}}) {
        const auto output = std::make_shared<RecordingOutput>();
        const auto dataSource = std::make_shared<OneLevelDataSource>(level);
        const auto logger = VKTLog::initWithTag("T", nullptr, output, false);
        logger->setDataSource(dataSource);
        logAtEachLevel(*logger);
        const bool isDebug = level == VKTLogLevelDebug;
        EXPECT_EQ(output->lines, isDebug ? std::vector<std::string>() : std::vector<std::string>{line});
        EXPECT_EQ(dataSource->asked, (std::vector{VKTLogLevelInfo, VKTLogLevelError, VKTLogLevelWarning}));
    }
}

TEST(Log, FormatsAtTheMatchingLevel) {
    const auto output = std::make_shared<RecordingOutput>();
    const auto logger = VKTLog::initWithTag("T", std::make_shared<EveryLevelDataSource>(), output, true);
    logger->logDebugWithFormat("%@ %ld", "a", 1);
    logger->logInfoWithFormat("%f", 0.25);
    logger->logWarningWithFormat("%@", std::optional<std::string>());
    logger->logErrorWithFormat("none");
    EXPECT_EQ(output->lines, (std::vector<std::string>{"T|DEBUG|a 1", "T|INFO|0.250000", "T|WARNING|(null)",
                                                       "T|ERROR|none"}));
    logger->logStackTrackWithLevel(VKTLogLevelError);
    EXPECT_TRUE(output->lines.back().starts_with("T|ERROR|\n\t")) << output->lines.back();
}

TEST(Log, NullOutputPrintsWholeLinesThroughTheDefaultOutput) {
    const auto logger = VKTLog::initWithTag("T", nullptr, nullptr, true);
    testing::internal::CaptureStdout();
    logger->logDebug("hello %@");
    const std::string line = testing::internal::GetCapturedStdout();
    ASSERT_EQ(line.size(), std::string("HH:MM:SS T[DEBUG] hello %@\n").size());
    EXPECT_EQ(line.substr(8), " T[DEBUG] hello %@\n");
    EXPECT_EQ(line[2], ':');
    EXPECT_EQ(line[5], ':');
}

TEST(Log, SharedInstanceIsSilentAndCarriesTheFrameworkName) {
    const auto& shared = VKTLog::sharedInstance();
    EXPECT_EQ(shared->tag(), "VKTCoreKit");
    EXPECT_EQ(shared->dataSource(), VKTLogDefaultDataSource::sharedInstance());
    EXPECT_EQ(shared->output(), VKTLogDefaultOutput::sharedInstance());
    EXPECT_FALSE(shared->isDebugLoggingEnabled());
}

TEST(Log, DataSourceAndFlagChangeWhileOthersLog) {
    class Counting : public VKTLogOutput {
      public:
        void logMessage(std::string_view, VKTLogLevel, std::string_view) override { ++count; }
        std::atomic<int> count = 0;
    };
    const auto output = std::make_shared<Counting>();
    const auto logger = VKTLog::initWithTag("T", std::make_shared<EveryLevelDataSource>(), output, true);
    constexpr int messages = 500;
    std::thread writer([&] {
        for (int i = 0; i < messages; ++i) {
            logger->logInfo("i");
            logger->logDebug("d");
        }
    });
    for (int i = 0; i < messages; ++i) {
        logger->setDataSource(std::make_shared<EveryLevelDataSource>());
        logger->setIsDebugLoggingEnabled(i % 2 == 0);
    }
    writer.join();
    EXPECT_GE(output->count, messages);
    EXPECT_LE(output->count, 2 * messages);
}

}  // namespace
