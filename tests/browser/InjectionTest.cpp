// Pages with an injected script, opened in a real browser.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <tuple>

#include "VKTCoreKit/openmeasurement/detail/VKTHTMLInjection.h"
#include "tests/support/VKTLoopbackServer.h"

namespace {

std::string contentOf(const std::string& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

TEST(Injection, TheLibraryRunsBeforeTheBodysScriptsOrWhenForcedBeforeThePageHasLoaded) {
    if (std::system("command -v chromium >/dev/null") != 0)
        GTEST_SKIP() << "Chromium is not installed; ./dev test --browser installs it";
    std::string folder = testing::TempDir() + "vkt-browser-XXXXXX";
    ASSERT_NE(mkdtemp(folder.data()), nullptr);
    VKTLoopbackServer server;
    server.handle("/om.js", [](const auto&) {
        return VKTServerResponse{200, "document.title+='L'", {{"Content-Type", "text/javascript"}}};
    });
    const std::string command =
        "chromium --headless --no-sandbox --disable-gpu --dump-dom"
        " --virtual-time-budget=10000 --user-data-dir=" +
        folder + " " + server.url("/page") + " >" + folder + "/page 2>" + folder + "/errors";
    // The page's title, to which its scripts add their marks.
    const auto titleOf = [&](const std::string& html) {
        server.handle("/page", [html](const auto&) {
            return VKTServerResponse{200, html, {{"Content-Type", "text/html; charset=utf-8"}}};
        });
        if (std::system(command.c_str()) != 0) return "Chromium failed: " + contentOf(folder + "/errors");
        const std::string page = contentOf(folder + "/page");
        const std::size_t start = page.find("<title>") + 7;
        return page.substr(start, page.find("</title>") - start);
    };
    const std::string own =
        "<script>document.title+='B';addEventListener('load',()=>document.title+='E')</script>";
    const std::tuple<std::string, bool, std::string> rows[] = {
        {"<!DOCTYPE html><html><HEAD></HEAD><body>" + own + "</body></html>", false, "LBE"},
        {"<html><BODY class=ad>" + own + "</BODY></html>", false, "LBE"},
        {own, false, "BLE"},
        {"<html><head></head><body>" + own + "</body></html>", true, "BLE"},
    };
    EXPECT_EQ(titleOf(own), "BE") << "nothing injected";
    const VKTURL script = *VKTURL::URLWithString(server.url("/om.js?a=$1&b=%22"));
    for (const auto& [html, isForced, title] : rows)
        EXPECT_EQ(titleOf(vkt_HTMLByInjectingScript(html, script, isForced)), title) << html;
    std::filesystem::remove_all(folder);
}

}  // namespace
