// A page in a real browser: Chromium without a window, driven over W3C WebDriver.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "VKTCoreKit/foundation/VKTValue.h"

namespace httplib {
class Client;
}

/// One browser with one page and a profile of its own, from construction to destruction. It knows no host but
/// 127.0.0.1 and localhost. What fails throws a `std::runtime_error` that tells why: no such element, a
/// script that throws, an element that something else covers.
///
/// A selector is CSS, and stands for the first element that it finds; ":focus" is the one that has the
/// keyboard.
class VKTBrowser {
  public:
    /// Whether there are Chromium and its driver on this machine.
    static bool isInstalled();

    explicit VKTBrowser(int width = 1280, int height = 720);
    ~VKTBrowser();
    VKTBrowser(const VKTBrowser&) = delete;
    VKTBrowser& operator=(const VKTBrowser&) = delete;

    /// Returns when the page has loaded.
    void open(const std::string& url) { call("POST", "/url", {{"url", url}}); }

    /// What the body of a function returns: "return document.title".
    VKTValue run(const std::string& body, VKTArray arguments = {});

    /// Whether a JavaScript expression has become true within that time.
    bool waitUntil(const std::string& expression, std::chrono::seconds limit = std::chrono::seconds(10));

    /// What is seen of the text, of each element that the selector finds or of the first one.
    std::vector<std::string> texts(const std::string& selector);
    std::string text(const std::string& selector) { return read(selector, "/text"); }

    /// What a screen reader makes of the element: "button" and "Play again".
    std::string role(const std::string& selector) { return read(selector, "/computedrole"); }
    std::string label(const std::string& selector) { return read(selector, "/computedlabel"); }

    void click(const std::string& selector);

    /// Presses a key for each character, for the element that has the keyboard, while another may be held.
    void type(std::string_view keys, std::string_view held = "");
    static constexpr const char* backspaceKey = "\uE003";
    static constexpr const char* tabKey = "\uE004";
    static constexpr const char* enterKey = "\uE007";
    static constexpr const char* shiftKey = "\uE008";
    static constexpr const char* controlKey = "\uE009";
    static constexpr const char* escapeKey = "\uE00C";
    static constexpr const char* downKey = "\uE015";

    /// In CSS pixels, each of which is one of the screen's.
    void setScreen(int width, int height);
    void setDarkMode(bool isDark);

    /// What the page has told its console since the last call, violations of its policies included:
    /// "SEVERE security: Refused to …".
    std::vector<std::string> takeLog();

    /// Writes what is seen to a PNG file, build/browser/NAME.png of this checkout. Returns its path.
    std::string screenshot(const std::string& name);

  private:
    void startDriver();
    bool isDriverStarted(std::string& told);
    void startBrowser();
    VKTValue call(const char* method, const std::string& path, const VKTDictionary& body = {});
    void emulate(const std::string& what, const VKTDictionary& parameters);
    std::vector<std::string> elements(const std::string& selector);
    std::string element(const std::string& selector);
    std::string read(const std::string& selector, const std::string& property) {
        return call("GET", element(selector) + property).description();
    }

    std::string profile_;  // a folder
    pid_t driver_ = 0;
    int driverOutput_ = -1;  // open while it may write
    std::unique_ptr<httplib::Client> client_;
    std::string session_;  // its path
};
