#include "VKTCoreKit/core/VKTLog.h"

#include <gtest/gtest.h>

#include <atomic>
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

TEST(Log, NoMessageForgesALineOfTheDefaultOutput) {
    const auto logger = VKTLog::initWithTag("T", nullptr, nullptr, true);
    testing::internal::CaptureStdout();
    logger->logDebug("a\n12:00:00 T[ERROR] b\r\u2028c\x1B[2K\n\td\n");
    const std::string text = testing::internal::GetCapturedStdout();
    EXPECT_EQ(text.substr(8), " T[DEBUG] a\n\t12:00:00 T[ERROR] b  c [2K\n\td\n\t\n");
}

// Says farewell through the logger that lets go of it.
class FarewellOutput : public RecordingOutput {
  public:
    explicit FarewellOutput(const VKTLog& logger) : logger_(logger) {}
    ~FarewellOutput() override { logger_.logInfo("farewell"); }

  private:
    const VKTLog& logger_;
};

TEST(Log, AnOutputThatThrowsIsToldOnStandardError) {
    struct Throws : VKTLogOutput {
        void logMessage(std::string_view, VKTLogLevel, std::string_view) override { throw 1; }
    };
    testing::internal::CaptureStderr();
    VKTLog::initWithTag("T", nullptr, std::make_shared<Throws>(), true)->logDebug("m");
    EXPECT_TRUE(testing::internal::GetCapturedStderr().starts_with("VKTCoreKit: a log's output"));
}

TEST(Log, OutputIsReplacedAndTheOldOneMayLogWhenItGoes) {
    const auto logger = VKTLog::initWithTag("T", std::make_shared<LevelDataSource>(), nullptr, false);
    logger->setOutput(std::make_shared<FarewellOutput>(*logger));
    const auto output = std::make_shared<RecordingOutput>();
    logger->setOutput(output);
    EXPECT_EQ(output->lines, std::vector<std::string>{"T|INFO|farewell"});
    EXPECT_EQ(logger->output(), output);
    logger->setOutput(nullptr);
    EXPECT_EQ(logger->output(), VKTLogDefaultOutput::sharedInstance());
}

TEST(Log, OutputIsReplacedWhileOthersLog) {
    struct CountingOutput : VKTLogOutput {
        explicit CountingOutput(std::atomic<int>& theCount) : count(theCount) {}
        void logMessage(std::string_view, VKTLogLevel, std::string_view) override { ++count; }
        std::atomic<int>& count;
    };
    std::atomic<int> count = 0;
    const auto logger = VKTLog::initWithTag("T", std::make_shared<LevelDataSource>(),
                                            std::make_shared<CountingOutput>(count), false);
    constexpr int messages = 2000;
    std::thread writer([&] {
        for (int i = 0; i < messages; ++i)
            logger->logInfo("i");
    });
    while (count < messages) {
        logger->setOutput(std::make_shared<CountingOutput>(count));
        EXPECT_TRUE(logger->output());
    }
    writer.join();
    EXPECT_EQ(count, messages) << "each message reaches one output";
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
