#include "tests/browser/VKTBrowser.h"

#include <fcntl.h>
#include <httplib.h>
#include <openssl/evp.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <thread>

#include "VKTCoreKit/platform/VKTServices.h"
#include "tests/support/VKTForkedChild.h"
#include "tests/support/VKTTestPaths.h"

namespace {

// Under which WebDriver gives an element's name.
constexpr const char* elementKey = "element-6066-11e4-a52e-4f735466cecf";

const VKTValue& valueAt(const VKTValue& value, std::string_view key) {
    static const VKTValue none;
    const VKTDictionary* dictionary = value.asDictionary();
    const VKTValue* found = dictionary == nullptr ? nullptr : dictionary->find(key);
    return found == nullptr ? none : *found;
}

std::string decodedBase64(const std::string& text) {
    std::string bytes(text.size(), '\0');
    const int length =
        EVP_DecodeBlock(reinterpret_cast<unsigned char*>(bytes.data()),
                        reinterpret_cast<const unsigned char*>(text.data()), static_cast<int>(text.size()));
    const auto padding = std::count(text.begin(), text.end(), '=');
    bytes.resize(static_cast<std::size_t>(std::max<std::ptrdiff_t>(length - padding, 0)));
    return bytes;
}

std::vector<std::string> charactersOf(std::string_view text) {
    std::vector<std::string> characters;
    for (const char byte : text) {
        const bool isContinued = (static_cast<unsigned char>(byte) & 0xC0U) == 0x80;
        if (!isContinued) characters.emplace_back();
        characters.back() += byte;
    }
    return characters;
}

}  // namespace

bool VKTBrowser::isInstalled() {
    return std::system("command -v chromium >/dev/null && command -v chromedriver >/dev/null") == 0;
}

VKTBrowser::VKTBrowser(int width, int height)
    : profile_(std::filesystem::temp_directory_path() / "vkt-browser-XXXXXX") {
    if (mkdtemp(profile_.data()) == nullptr) throw std::runtime_error("no folder for a profile can be made");
    startDriver();
    startBrowser();
    setScreen(width, height);
}

VKTBrowser::~VKTBrowser() {
    if (!session_.empty()) client_->Delete(session_);
    kill(driver_, SIGTERM);
    vkt_statusOf(driver_);
    close(driverOutput_);
    std::error_code error;
    std::filesystem::remove_all(profile_, error);
}

// It takes a port that is free for IPv6 and ends when somebody has the same for IPv4.
void VKTBrowser::startDriver() {
    std::string told;
    for (int attempt = 0; attempt < 5; ++attempt) {
        if (isDriverStarted(told)) return;
        vkt_statusOf(driver_);
        close(driverOutput_);
    }
    throw std::runtime_error("the browser's driver did not start: " + told);
}

// It tells its port: "… was started successfully on port 40123."
bool VKTBrowser::isDriverStarted(std::string& told) {
    std::array<int, 2> ends{};
    if (pipe(ends.data()) != 0) throw std::runtime_error("no pipe to the browser's driver can be opened");
    driverOutput_ = ends[0];
    fcntl(driverOutput_, F_SETFD, FD_CLOEXEC);
    driver_ = vkt_startProgram(
        {"sh", "-c", "exec chromedriver --port=0 >/dev/fd/" + std::to_string(ends[1]) + " 2>&1"});
    close(ends[1]);
    constexpr std::string_view portName = "successfully on port ";
    for (char byte = 0; ::read(driverOutput_, &byte, 1) == 1;) {
        told += byte;
        const std::size_t port = told.find(portName);
        if (byte != '\n' || port == std::string::npos) continue;
        client_ =
            std::make_unique<httplib::Client>("127.0.0.1", std::stoi(told.substr(port + portName.size())));
        client_->set_read_timeout(60);
        return true;
    }
    return false;
}

void VKTBrowser::startBrowser() {
    const VKTArray arguments{"--headless=new",
                             "--no-sandbox",
                             "--disable-gpu",
                             "--disable-dev-shm-usage",
                             "--disable-quic",
                             "--no-first-run",
                             "--no-proxy-server",
                             "--disable-background-networking",
                             "--disable-component-update",
                             "--disable-sync",
                             "--remote-debugging-pipe",  // with its driver ends the browser
                             "--host-resolver-rules=MAP * ~NOTFOUND, EXCLUDE 127.0.0.1, EXCLUDE localhost",
                             "--user-data-dir=" + profile_};
    const VKTDictionary capabilities{{"goog:chromeOptions", VKTDictionary{{"args", arguments}}},
                                     {"goog:loggingPrefs", VKTDictionary{{"browser", "ALL"}}}};
    const VKTDictionary body{{"capabilities", VKTDictionary{{"alwaysMatch", capabilities}}}};
    session_ = "/session/" + valueAt(call("POST", "/session", body), "sessionId").description();
}

// The value that it answers with.
VKTValue VKTBrowser::call(const char* method, const std::string& path, const VKTDictionary& body) {
    httplib::Request request;
    request.method = method;
    request.path = session_ + path;
    if (request.method == "POST") {
        request.body = vkt_JSONStringWithValue(body).value();
        request.set_header("Content-Type", "application/json");
    }
    const auto answer = client_->send(request);
    if (!answer) throw std::runtime_error("no answer of the browser's driver: " + to_string(answer.error()));
    const auto read = vkt_JSONValueWithData(answer->body);
    const VKTValue value = read ? valueAt(*read, "value") : VKTValue();
    if (answer->status == 200) return value;
    throw std::runtime_error(path + " " + request.body + ": " + valueAt(value, "error").description() + ": " +
                             valueAt(value, "message").description());
}

void VKTBrowser::emulate(const std::string& what, const VKTDictionary& parameters) {
    call("POST", "/goog/cdp/execute", {{"cmd", "Emulation.set" + what}, {"params", parameters}});
}

VKTValue VKTBrowser::run(const std::string& body, VKTArray arguments) {
    return call("POST", "/execute/sync", {{"script", body}, {"args", std::move(arguments)}});
}

bool VKTBrowser::waitUntil(const std::string& expression, std::chrono::seconds limit) {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (run("return Boolean(" + expression + ")") != VKTValue(true)) {
        if (std::chrono::steady_clock::now() >= end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return true;
}

// Their paths.
std::vector<std::string> VKTBrowser::elements(const std::string& selector) {
    const VKTValue found = call("POST", "/elements", {{"using", "css selector"}, {"value", selector}});
    std::vector<std::string> paths;
    for (const VKTValue& element : *found.asArray())
        paths.push_back("/element/" + valueAt(element, elementKey).description());
    return paths;
}

std::string VKTBrowser::element(const std::string& selector) {
    const auto found = elements(selector);
    return found.empty() ? throw std::runtime_error("the page has no element " + selector) : found.front();
}

std::vector<std::string> VKTBrowser::texts(const std::string& selector) {
    std::vector<std::string> texts;
    for (const std::string& element : elements(selector))
        texts.push_back(call("GET", element + "/text").description());
    return texts;
}

void VKTBrowser::click(const std::string& selector) {
    call("POST", element(selector) + "/click");
}

void VKTBrowser::type(std::string_view keys, std::string_view held) {
    VKTArray actions;
    const auto add = [&](const char* type, std::string_view key) {
        actions.emplace_back(VKTDictionary{{"type", type}, {"value", key}});
    };
    if (!held.empty()) add("keyDown", held);
    for (const std::string& key : charactersOf(keys)) {
        add("keyDown", key);
        add("keyUp", key);
    }
    if (!held.empty()) add("keyUp", held);
    const VKTDictionary keyboard{{"type", "key"}, {"id", "keyboard"}, {"actions", std::move(actions)}};
    call("POST", "/actions", {{"actions", VKTArray{keyboard}}});
}

void VKTBrowser::setScreen(int width, int height) {
    emulate("DeviceMetricsOverride",
            {{"width", width}, {"height", height}, {"deviceScaleFactor", 1}, {"mobile", false}});
}

void VKTBrowser::setDarkMode(bool isDark) {
    const VKTDictionary scheme{{"name", "prefers-color-scheme"}, {"value", isDark ? "dark" : "light"}};
    emulate("EmulatedMedia", {{"features", VKTArray{scheme}}});
}

std::vector<std::string> VKTBrowser::takeLog() {
    const VKTValue entries = call("POST", "/se/log", {{"type", "browser"}});
    std::vector<std::string> lines;
    for (const VKTValue& entry : *entries.asArray()) {
        lines.push_back(valueAt(entry, "level").description() + " " + valueAt(entry, "source").description() +
                        ": " + valueAt(entry, "message").description());
    }
    return lines;
}

std::string VKTBrowser::screenshot(const std::string& name) {
    const std::string folder = VKTTestPaths::pictureFolder;
    std::filesystem::create_directories(folder);
    const std::string path = folder + "/" + name + ".png";
    std::ofstream(path, std::ios::binary) << decodedBase64(call("GET", "/screenshot").description());
    return path;
}
