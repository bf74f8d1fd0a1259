#include "VKTCoreKit/platform/linux/VKTScriptHostPaths.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

struct Layout {
    const char* name;
    const char* library;
    const char* program;
    const char* host;
};

TEST(ScriptHostPaths, FindTheHostOfEachLayout) {
    const Layout layouts[] = {
        {"beside the program", "", "/app/player", "/app/vkt-script-host"},
        {"a prefix, from the program", "", "/p/bin/player", "/p/libexec/vktcorekit-7/vkt-script-host"},
        {"beside a library", "/sdk/libads.so", "/app/player", "/sdk/vkt-script-host"},
        {"a prefix, from a library", "/p/lib/libads.so", "/a", "/p/libexec/vktcorekit-7/vkt-script-host"}};
    for (const Layout& each : layouts) {
        const auto paths = vkt_scriptHostPaths(each.library, each.program);
        EXPECT_EQ(std::count(paths.begin(), paths.end(), each.host), 1) << each.name;
    }
}

// The host has to be of the library's version; that of a program may be another one's.
TEST(ScriptHostPaths, TheLibrarysOwnComeFirstAndEachOnce) {
    const auto paths = vkt_scriptHostPaths("/sdk/lib/libads.so", "/app/bin/player");
    const auto firstOfProgram =
        std::find_if(paths.begin(), paths.end(), [](const auto& path) { return path.starts_with("/app/"); });
    EXPECT_EQ(std::count_if(paths.begin(), firstOfProgram,
                            [](const auto& path) { return path.starts_with("/sdk/"); }),
              std::count_if(paths.begin(), paths.end(),
                            [](const auto& path) { return path.starts_with("/sdk/"); }));
    EXPECT_EQ(vkt_scriptHostPaths("/app/bin/player", "/app/bin/player"),
              vkt_scriptHostPaths("", "/app/bin/player"));
}

}  // namespace
