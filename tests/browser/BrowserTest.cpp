// What tests of pages stand on: that the browser does what it is told, and tells what it met.
#include "tests/browser/VKTBrowser.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <iterator>

#include "tests/support/VKTLoopbackServer.h"

namespace {

class BrowserTest : public testing::Test {
  protected:
    void SetUp() override {
        if (!VKTBrowser::isInstalled())
            GTEST_SKIP() << "Chromium or its driver is not installed; ./dev test --browser installs them";
    }

    std::string serve(const std::string& page) {
        server_.handle("/page", [page](const auto&) {
            return VKTServerResponse{200,
                                     "<!DOCTYPE html><title>Page</title>" + page,
                                     {{"Content-Type", "text/html; charset=utf-8"},
                                      {"Content-Security-Policy", "script-src 'self'"}}};
        });
        server_.handle("/page.js", [](const auto&) {
            return VKTServerResponse{200,
                                     "document.querySelector('button').onclick = () => setTimeout(() => {"
                                     "  document.querySelector('p').textContent = 'played'; }, 50);",
                                     {{"Content-Type", "text/javascript"}}};
        });
        return server_.url("/page");
    }

    VKTLoopbackServer server_;
};

TEST_F(BrowserTest, ClicksAndKeysReachThePageAndItsViolationsAreTold) {
    const std::string button = "<p>waits</p><button aria-label='Play the ad'>▶</button><input>";
    VKTBrowser browser;
    browser.open(serve(button + "<script src=page.js></script>"));
    EXPECT_EQ(browser.role("button") + " " + browser.label("button"), "button Play the ad");
    browser.click("button");
    EXPECT_TRUE(browser.waitUntil("document.querySelector('p').textContent == 'played'"));

    browser.open(server_.url("/page"));
    EXPECT_EQ(browser.text("p"), "waits");
    browser.type(VKTBrowser::tabKey);
    EXPECT_EQ(browser.label(":focus"), "Play the ad");
    browser.type(VKTBrowser::enterKey);
    EXPECT_TRUE(browser.waitUntil("document.querySelector('p').textContent == 'played'"));
    browser.type(std::string(VKTBrowser::tabKey) + "é1");
    EXPECT_EQ(browser.run("return document.activeElement.value"), VKTValue("é1"));

    // The server has no icon, which browsers ask for by themselves.
    for (const std::string& line : browser.takeLog())
        EXPECT_NE(line.find("favicon.ico"), std::string::npos) << line;
    browser.open(serve("<script>document.title = 'run'</script>"));
    EXPECT_EQ(browser.run("return document.title"), VKTValue("Page"));
    const auto log = browser.takeLog();
    ASSERT_EQ(log.size(), 1U);
    EXPECT_EQ(log[0].rfind("SEVERE security: ", 0), 0U) << log[0];
    EXPECT_NE(log[0].find("script-src 'self'"), std::string::npos) << log[0];
}

TEST_F(BrowserTest, TheScreenIsAsWideAndAsDarkAsItIsTold) {
    VKTBrowser browser;
    browser.open(serve("<p>small"));
    browser.setScreen(360, 640);
    browser.setDarkMode(true);
    EXPECT_EQ(browser.run("return innerWidth + ' ' + matchMedia('(prefers-color-scheme: dark)').matches"),
              VKTValue("360 true"));
    std::ifstream file(browser.screenshot("BrowserTest"), std::ios::binary);
    const std::string picture{std::istreambuf_iterator<char>(file), {}};
    ASSERT_GT(picture.size(), 24U);
    EXPECT_EQ(picture.substr(0, 16), std::string("\x89PNG\r\n\x1a\n\0\0\0\rIHDR", 16));
    std::array<std::uint32_t, 2> size{};
    std::memcpy(size.data(), picture.data() + 16, sizeof size);
    EXPECT_EQ(ntohl(size[0]), 360U);
    EXPECT_EQ(ntohl(size[1]), 640U);
}

}  // namespace
