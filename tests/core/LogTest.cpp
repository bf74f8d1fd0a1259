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

// Lets one level through, or all.
class LevelDataSource : public VKTLogDataSource {
  public:
    explicit LevelDataSource(std::optional<VKTLogLevel> level = std::nullopt) : level_(level) {}
    bool logShouldLogMessageWithLevel(const VKTLog& logger, VKTLogLevel level) override {
        EXPECT_EQ(logger.tag(), "T");
        EXPECT_NE(level, VKTLogLevelDebug) << "the flag alone decides";
        return level == level_.value_or(level);
    }

  private:
    const std::optional<VKTLogLevel> level_;
};

void logAtEachLevel(const VKTLog& logger) {
    logger.logMessage("m");
    logger.logDebug("d");
    logger.logInfo("i");
    logger.logError("e");
    logger.logWarning("w");
}

TEST(Log, DefaultDataSourceLetsNothingThroughAndTheFlagOnlyDebugMessages) {
    const auto output = std::make_shared<RecordingOutput>();
    const auto logger = VKTLog::initWithTag("T", nullptr, output, false);
    logAtEachLevel(*logger);
    logger->logStackTrack();
    EXPECT_TRUE(output->lines.empty());

    logger->setIsDebugLoggingEnabled(true);
    logAtEachLevel(*logger);
    EXPECT_EQ(output->lines, (std::vector<std::string>{"T|DEBUG|m", "T|DEBUG|d"}));
}

TEST(Log, DataSourceDecidesAboutEveryOtherLevel) {
    const std::pair<VKTLogLevel, const char*> cases[] = {
        {VKTLogLevelInfo, "T|INFO|i"}, {VKTLogLevelError, "T|ERROR|e"}, {VKTLogLevelWarning, "T|WARNING|w"}};
    for (const auto& [level, line] : cases) {
        const auto output = std::make_shared<RecordingOutput>();
        const auto logger = VKTLog::initWithTag("T", nullptr, output, false);
        logger->setDataSource(std::make_shared<LevelDataSource>(level));
        logAtEachLevel(*logger);
        EXPECT_EQ(output->lines, std::vector<std::string>{line});
    }
}

TEST(Log, FormatsAtTheMatchingLevel) {
    const auto output = std::make_shared<RecordingOutput>();
    const auto logger = VKTLog::initWithTag("T", std::make_shared<LevelDataSource>(), output, true);
    logger->logDebugWithFormat("%@ %ld", "a", 1);
    logger->logInfoWithFormat("%f", 0.25);
    logger->logWarningWithFormat("%@", std::optional<std::string>());
    logger->logErrorWithFormat("none");
    EXPECT_EQ(output->lines, (std::vector<std::string>{"T|DEBUG|a 1", "T|INFO|0.250000", "T|WARNING|(null)",
                                                       "T|ERROR|none"}));
    for (const int unknown : {7, -1})
        EXPECT_STREQ(VKTLog::levelName(unknown), "DEBUG");
    logger->logStackTrackWithLevel(VKTLogLevelError);
    EXPECT_TRUE(output->lines.back().starts_with("T|ERROR|\n\t")) << output->lines.back();
}

TEST(Log, NullOutputPrintsWholeLinesThroughTheDefaultOutput) {
    const auto logger = VKTLog::initWithTag("T", nullptr, nullptr, true);
    testing::internal::CaptureStdout();
    logger->logDebug("hello %@");
    const std::string line = testing::internal::GetCapturedStdout();
    ASSERT_GE(line.size(), 8U);
    EXPECT_EQ(line.substr(8), " T[DEBUG] hello %@\n");
}

TEST(Log, DataSourceAndFlagChangeWhileOthersLog) {
    const auto output = std::make_shared<RecordingOutput>();
    const auto logger = VKTLog::initWithTag("T", std::make_shared<LevelDataSource>(), output, true);
    constexpr int messages = 500;
    std::thread writer([&] {
        for (int i = 0; i < messages; ++i) {
            logger->logInfo("i");
            logger->logDebug("d");
        }
    });
    for (int i = 0; i < messages; ++i) {
        logger->setDataSource(std::make_shared<LevelDataSource>());
        logger->setIsDebugLoggingEnabled(i % 2 == 0);
    }
    writer.join();
    EXPECT_GE(output->lines.size(), std::size_t{messages});
}

}  // namespace
