// A test that starts itself as a process of its own.
#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "tests/support/VKTTestPaths.h"

inline constexpr const char* VKTChildVariable = "VKT_TEST_CHILD";

/// What the parent has passed on, in the child; null in the parent.
inline const char* vkt_childArgument() {
    return std::getenv(VKTChildVariable);
}

/// How a shell starts the current test, alone, in this program.
inline std::string vkt_commandOfCurrentTest() {
    const auto* test = testing::UnitTest::GetInstance()->current_test_info();
    return VKTTestPaths::emulator + std::string("'") +
           std::filesystem::read_symlink("/proc/self/exe").string() +
           "' --gtest_filter=" + test->test_suite_name() + "." + test->name();
}

/// Runs the current test as a child, for a minute at most. Its exit status; 128 and more when it crashed, 124
/// when it hung. What it leaves behind when it ends is no leak.
inline int vkt_runAsChild(const std::string& argument) {
    const std::string command = std::string(VKTChildVariable) + "='" + argument +
                                "' ASAN_OPTIONS=detect_leaks=0 TSAN_OPTIONS=report_thread_leaks=0 " +
                                "timeout --kill-after=1 60 " + vkt_commandOfCurrentTest() + " >&2";
    const int status = std::system(command.c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}
