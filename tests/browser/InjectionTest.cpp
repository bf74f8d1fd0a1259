// Pages with an injected script, opened in a real browser.
#include <stdlib.h>

#include <array>
#include <cstdio>
#include <filesystem>
#include <optional>

#include "VKTCoreKit/openmeasurement/VKTOpenMeasurementManager.h"
#include "tests/openmeasurement/Fakes.h"
#include "tests/support/VKTLoopbackServer.h"

namespace {

// What a command prints; nothing when it fails.
std::optional<std::string> outputOf(const std::string& command) {
    FILE* pipe = popen(command.c_str(), "r");
    std::string output;
    std::array<char, 4096> buffer{};
    for (std::size_t count = 1; count > 0;) {
        count = std::fread(buffer.data(), 1, buffer.size(), pipe);
        output.append(buffer.data(), count);
    }
    return pclose(pipe) == 0 ? std::optional(output) : std::nullopt;
}

// Appends its mark to an attribute of the document.
std::string scriptThatMarks(const std::string& mark) {
    return "document.documentElement.setAttribute('order',"
           "(document.documentElement.getAttribute('order')||'')+'" +
           mark + "');";
}

class Injection : public testing::Test {
  protected:
    void SetUp() override {
        if (!outputOf("command -v chromium"))
            GTEST_SKIP() << "Chromium is not installed; ./dev test --browser installs it";
        std::string folder = testing::TempDir() + "vkt-browser-XXXXXX";
        ASSERT_NE(mkdtemp(folder.data()), nullptr);
        profile_ = folder;
        server_.handle("/om.js", [](const auto&) {
            return VKTServerResponse{200, scriptThatMarks("L"), {{"Content-Type", "text/javascript"}}};
        });
    }
    ~Injection() override {
        if (!profile_.empty()) std::filesystem::remove_all(profile_);
    }

    // The marks in the order in which their scripts ran.
    std::string orderIn(const std::string& page) {
        server_.handle("/page", [page](const auto&) {
            return VKTServerResponse{200, page, {{"Content-Type", "text/html; charset=utf-8"}}};
        });
        const auto document = outputOf(
            "chromium --headless --no-sandbox --disable-gpu --virtual-time-budget=10000 --dump-dom"
            " --user-data-dir=" +
            profile_ + " " + server_.url("/page") + " 2>" + profile_ + "/errors");
        if (!document)
            return "Chromium failed: " + outputOf("tail -n 5 " + profile_ + "/errors").value_or("");
        constexpr std::string_view attribute = "order=\"";
        const std::size_t start = document->find(attribute);
        if (start == std::string::npos) return "no script ran: " + *document;
        return document->substr(start + attribute.size(),
                                document->find('"', start + attribute.size()) - start - attribute.size());
    }

    VKTLoopbackServer server_;
    std::string profile_;
};

TEST_F(Injection, TheLibraryRunsBeforeTheBodysScriptsOrWhenForcedBeforeThePageHasLoaded) {
    const auto provider = std::make_shared<SessionlessProvider>(server_.url("/om.js?a=$1&b=%22"));
    const auto manager = VKTOpenMeasurementManager::initWithProvider(
        provider, VKTOpenMeasurementJSLibrary::initWithProvider(provider, VKTURLSession::sharedInstance()),
        nullptr, VKTPixelManager::sharedInstance());
    const std::string own = "<script>" + scriptThatMarks("B") + "addEventListener('load',()=>{" +
                            scriptThatMarks("E") + "})</script>";
    struct Row {
        const char* name;
        std::string html;
        bool isForced;
        const char* order;
    };
    const Row rows[] = {
        {"head", "<!DOCTYPE html><html><HEAD><title>t</title></HEAD><body>" + own + "</body></html>", false,
         "LBE"},
        {"body only", "<html><BODY class=ad>" + own + "</BODY></html>", false, "LBE"},
        {"html only", "<html><p>t</p>" + own + "</HTML>", false, "BLE"},
        {"neither", own, false, "BLE"},
        {"forced", "<html><head></head><body>" + own + "</body></html>", true, "BLE"},
        {"forced, no closing tag", "<html><head></head><body>" + own, true, "BLE"},
    };
    EXPECT_EQ(orderIn(rows[0].html), "BE") << "nothing injected";
    for (const Row& row : rows)
        EXPECT_EQ(orderIn(manager->injectLibraryIntoHTML(row.html, row.isForced)), row.order) << row.name;
}

}  // namespace
