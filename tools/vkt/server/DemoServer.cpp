#include "server/DemoServer.h"

#include <httplib.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <limits>
#include <string_view>

#include "server/DemoConfiguration.h"
#include "server/DemoDocuments.h"
#include "server/DemoMedia.h"
#include "server/DemoScripts.h"
#include "server/DemoServerImpl.h"
#include "server/LogCollector.h"
#include "server/VKTRawServer.h"

namespace {

using std::chrono::milliseconds;

constexpr milliseconds hangLimit = std::chrono::minutes(10);
constexpr int adLimit = 100'000;
constexpr int depthLimit = 1'000'000;
constexpr int secondsLimit = 3599;
constexpr int byteLimit = 256 * 1024 * 1024;
constexpr std::size_t hugeSize = std::size_t{1} << 30U;
constexpr const char* xmlType = "application/xml; charset=utf-8";

constexpr std::string_view gif{
    "GIF89a\1\0\1\0\x80\0\0\0\0\0\xff\xff\xff!\xf9\4\1\0\0\0\0,\0\0\0\0\1\0\1\0\0\2\2D\1\0;", 43};

/// One request under way, as the routes see it.
struct Exchange {
    DemoServer::Impl& server;
    const httplib::Request& request;
    httplib::Response& response;
    std::string_view argument;  // the path after the route's name, without the slash between

    [[nodiscard]] std::string baseURL() const { return server.baseURL(request); }
    [[nodiscard]] DemoDocuments documents() const { return DemoDocuments(baseURL()); }

    [[nodiscard]] bool mayChange() const { return server.mayChange(request, response); }
    void sendXML(const std::string& text) const { response.set_content(text, xmlType); }

    /// Or the part of it that is asked for.
    void sendParts(std::string_view bytes, const char* type) const {
        response.set_content(bytes.data(), bytes.size(), type);
        response.status = -1;  // 200 or 206, as httplib finds it
    }
    void refuse(const std::string& reason) const {
        response.status = 400;
        response.set_content(reason + "\n", "text/plain");
    }

    /// The argument as a whole number; otherwise the request is refused.
    [[nodiscard]] std::optional<int> number(int least, int most) const {
        int value = 0;
        const auto* end = argument.data() + argument.size();
        const auto [rest, error] = std::from_chars(argument.data(), end, value);
        if (error == std::errc() && rest == end && value >= least && value <= most) return value;
        refuse("A number from " + std::to_string(least) + " to " + std::to_string(most) + " goes here.");
        return std::nullopt;
    }

    /// The argument when it can stand in a document as it is; otherwise the request is refused.
    [[nodiscard]] std::optional<std::string> name() const {
        if (isPlain(argument, "-._")) return std::string(argument);
        refuse("Letters, digits and -._ go here.");
        return std::nullopt;
    }
};

struct Route {
    std::string_view name;
    std::string_view arguments;
    std::string_view description;
    void (*handle)(const Exchange& exchange);
};

void sendDemo(const Exchange& exchange) {
    const DemoDocuments documents = exchange.documents();
    if (exchange.argument.empty()) {
        exchange.sendXML(documents.demoRoot());
    } else if (exchange.argument == "wrapper") {
        exchange.sendXML(documents.demoWrapper());
    } else if (exchange.argument == "pod") {
        exchange.sendXML(documents.demoPod());
    } else {
        exchange.response.status = 404;
    }
}

void sendStatus(const Exchange& exchange) {
    const auto status = exchange.number(200, 599);
    if (!status) return;
    exchange.response.status = *status;
    const bool hasBody = *status != 204 && *status != 304;
    if (hasBody) exchange.sendXML(exchange.documents().version("3.0"));
}

void sendLate(const Exchange& exchange) {
    const std::size_t slash = std::min(exchange.argument.find('/'), exchange.argument.size());
    const Exchange wait{exchange.server, exchange.request, exchange.response,
                        exchange.argument.substr(0, slash)};
    const auto seconds = wait.number(0, 3600);
    if (!seconds) return;
    exchange.server.waitUnlessStopped(std::chrono::seconds(*seconds));
    exchange.server.dispatch(exchange.request, exchange.argument.substr(slash), exchange.response);
}

void sendByteByByte(const Exchange& exchange) {
    auto& server = exchange.server;
    const std::string text = exchange.documents().version("3.0");
    exchange.response.set_content_provider(
        text.size(), xmlType, [&server, text](std::size_t offset, std::size_t, httplib::DataSink& sink) {
            server.waitUnlessStopped(std::chrono::seconds(1));
            return sink.write(text.data() + offset, 1);
        });
}

void sendNothing(const Exchange& exchange) {
    exchange.server.waitUnlessStopped(hangLimit);
    exchange.response.status = 503;
}

void closeHalfway(const Exchange& exchange) {
    const std::string text = exchange.documents().version("3.0");
    exchange.response.set_content_provider(text.size(), xmlType,
                                           [text](std::size_t offset, std::size_t, httplib::DataSink& sink) {
                                               return offset == 0 && sink.write(text.data(), text.size() / 2);
                                           });
}

// Half of what would be answered otherwise; then nothing more comes.
void stallHalfway(const Exchange& exchange) {
    auto& server = exchange.server;
    httplib::Response whole;
    server.dispatch(exchange.request, exchange.request.path, whole);
    exchange.response.set_content_provider(
        whole.body.size(), whole.get_header_value("Content-Type"),
        [&server, body = whole.body](std::size_t offset, std::size_t, httplib::DataSink& sink) {
            if (offset > 0) server.waitUnlessStopped(hangLimit);
            return offset == 0 && sink.write(body.data(), body.size() / 2);
        });
}

void sendHugeBody(const Exchange& exchange) {
    exchange.response.set_content_provider(
        hugeSize, "application/octet-stream", [](std::size_t, std::size_t left, httplib::DataSink& sink) {
            static const std::string blanks(std::size_t{1} << 16U, ' ');
            return sink.write(blanks.data(), std::min(left, blanks.size()));
        });
}

void redirectForEver(const Exchange& exchange) {
    exchange.response.set_redirect(exchange.baseURL() + "/redirect-loop");
}

void sendPixelLog(const Exchange& exchange) {
    if (exchange.argument == "clear") {
        if (!exchange.mayChange()) return;
        exchange.server.pixelLog().clear();
    } else if (!exchange.argument.empty()) {
        exchange.response.status = 404;
        return;
    }
    exchange.response.set_content(exchange.server.pixelLog().JSON(), "application/json");
}

void sendConfiguration(const Exchange& exchange) {
    const std::size_t slash = std::min(exchange.argument.find('/'), exchange.argument.size());
    const std::string_view variant = exchange.argument.substr(std::min(slash + 1, exchange.argument.size()));
    const Exchange site{exchange.server, exchange.request, exchange.response,
                        exchange.argument.substr(0, slash)};
    const auto number = site.number(0, std::numeric_limits<int>::max());
    if (!number) return;
    const auto document = DemoConfiguration::document(exchange.baseURL(), *number, variant);
    if (!document) {
        exchange.refuse(std::string("After the site goes nothing, or one of: ") +
                        DemoConfiguration::variants);
        return;
    }
    exchange.response.set_content(*document, "application/json");
}

void collectLogs(const Exchange& exchange) {
    auto& collector = exchange.server.logCollector();
    if (exchange.request.method == "POST") {
        const std::string userAgent = exchange.request.get_header_value("User-Agent");
        if (!collector.add(exchange.request.body, userAgent, "normal")) {
            exchange.refuse("A JSON array of log records goes here.");
        }
        return;
    }
    if (exchange.argument == "clear") {
        if (!exchange.mayChange()) return;
        collector.clear();
    }
    exchange.response.set_content(collector.JSON(), "application/json");
}

void hearAnswer(const Exchange& exchange) {
    if (!exchange.mayChange()) return;
    const auto parameter = [&](const char* name) { return exchange.request.get_param_value(name); };
    auto told = ToldAnswer::initWithTexts(parameter("path"), parameter("answer"), parameter("times"));
    if (!told) {
        exchange.refuse(std::string("path=PATH, answer=ANSWER and perhaps times=N go here; ANSWER is ") +
                        ToldAnswer::names + ".");
        return;
    }
    exchange.server.tell(std::move(*told));
}

void sendScript(const Exchange& exchange) {
    constexpr std::string_view ending = ".js";
    std::string_view name = exchange.argument;
    if (name.ends_with(ending)) name.remove_suffix(ending.size());
    const auto script = DemoScripts::script(name, exchange.baseURL());
    if (script) {
        exchange.response.set_content(*script, "application/javascript");
    } else {
        exchange.response.status = 404;
        exchange.response.set_content(std::string("There is ") + DemoScripts::names + ".\n", "text/plain");
    }
}

// Only what stands below the folder, wherever links and ".." lead; nothing for any other path.
std::optional<std::filesystem::path> fileBelow(const std::filesystem::path& folder, std::string_view path) {
    std::error_code error;
    const std::filesystem::path file = std::filesystem::canonical(folder / path, error);
    const bool isBelow = !error && file.native().starts_with((folder / "").native());
    if (!isBelow || !std::filesystem::is_regular_file(file, error)) return std::nullopt;
    return file;
}

const char* typeOfMedia(const std::filesystem::path& file) {
    const std::string extension = file.extension().native();
    if (extension == ".mp4" || extension == ".m4s") return "video/mp4";
    if (extension == ".m3u8") return "application/x-mpegURL";
    if (extension == ".ts") return "video/mp2t";
    return "application/octet-stream";
}

void sendMediaFile(const Exchange& exchange) {
    const auto file = fileBelow(exchange.server.media(), exchange.argument);
    if (!file) {
        exchange.response.status = 404;
        exchange.response.set_content("There is no such file in the folder of --media.\n", "text/plain");
        return;
    }
    std::ifstream stream(*file, std::ios::binary);
    exchange.sendParts(std::string(std::istreambuf_iterator<char>(stream), {}), typeOfMedia(*file));
}

void sendMedia(const Exchange& exchange) {
    if (!exchange.server.media().empty()) return sendMediaFile(exchange);
    if (exchange.argument == "companion.gif") {
        exchange.sendParts(DemoMedia::companion, "image/gif");
    } else if (exchange.argument == "icon.gif") {
        exchange.sendParts(DemoMedia::icon, "image/gif");
    } else if (exchange.argument.ends_with(".gif")) {
        exchange.sendParts(gif, "image/gif");
    } else if (exchange.argument.ends_with(".js")) {
        exchange.response.set_content("/* nothing to verify */\n", "application/javascript");
    } else {
        exchange.sendParts(DemoMedia::video, "video/mp4");
    }
}

constexpr auto routes = std::to_array<Route>({
    {"paths", "", "this list",
     [](const Exchange& e) { e.response.set_content(DemoServer::listing(), "text/plain; charset=utf-8"); }},
    {"demo", "", "the sample chain: wrapper, wrapper, pod of three (one unplayable), inline passback",
     sendDemo},
    {"inline", "[/ID]", "a VAST 4.2 inline linear ad with everything that goes with one",
     [](const Exchange& e) {
         if (const auto id = e.name()) e.sendXML(e.documents().inlineDocument(id->empty() ? "inline" : *id));
     }},
    {"measured", "/SCRIPT", "the same ad with a second verification, which runs that script",
     [](const Exchange& e) {
         if (const auto script = e.name()) e.sendXML(e.documents().measured(*script));
     }},
    {"verification", "/SCRIPT.js", "a verification script; \"record\" tells /pixel/measured/ what it hears",
     sendScript},
    {"chain", "/N", "N wrappers, each with pixels of its own, then an inline ad",
     [](const Exchange& e) {
         if (const auto n = e.number(0, adLimit)) e.sendXML(e.documents().chain(*n));
     }},
    {"pod", "/N", "a pod of N ads",
     [](const Exchange& e) {
         if (const auto n = e.number(0, adLimit)) e.sendXML(e.documents().pod(*n, false));
     }},
    {"pod-broken", "/N", "a pod of N ads, every second one unplayable",
     [](const Exchange& e) {
         if (const auto n = e.number(0, adLimit)) e.sendXML(e.documents().pod(*n, true));
     }},
    {"video-pod", "/SECONDS", "a pod of two ads of that length: ad.mp4 and ad.m3u8 of the folder of --media",
     [](const Exchange& e) {
         if (const auto seconds = e.number(1, secondsLimit)) e.sendXML(e.documents().videoPod(*seconds));
     }},
    {"video-break", "/SECONDS", "eight such ads, and what can go wrong; it wants a corrupt.mp4, too",
     [](const Exchange& e) {
         if (const auto seconds = e.number(1, secondsLimit)) e.sendXML(e.documents().videoBreak(*seconds));
     }},
    {"video-skippable", "/SECONDS", "one such ad, which can be skipped after a quarter of it",
     [](const Exchange& e) {
         if (const auto seconds = e.number(1, secondsLimit))
             e.sendXML(e.documents().skippableVideo(*seconds));
     }},
    {"passback", "", "a sequenced wrapper that leads nowhere, an inline and a wrapper passback",
     [](const Exchange& e) { e.sendXML(e.documents().passback()); }},
    {"to", "?url=URL", "a wrapper to that URL",
     [](const Exchange& e) { e.sendXML(e.documents().wrapperTo(e.request.get_param_value("url"))); }},
    {"self", "", "a wrapper to itself",
     [](const Exchange& e) { e.sendXML(e.documents().wrapperTo(e.baseURL() + "/self")); }},
    {"empty", "", "a document without ads", [](const Exchange& e) { e.sendXML(e.documents().empty()); }},
    {"empty-error", "", "a document without ads, but with an error pixel",
     [](const Exchange& e) { e.sendXML(e.documents().emptyWithError()); }},
    {"no-version", "", "a document without the version attribute",
     [](const Exchange& e) { e.sendXML(e.documents().version("")); }},
    {"version", "/X", "a document of version X",
     [](const Exchange& e) {
         if (const auto version = e.name()) e.sendXML(e.documents().version(*version));
     }},
    {"many", "/N", "N ads without sequence",
     [](const Exchange& e) {
         if (const auto n = e.number(0, adLimit)) e.sendXML(e.documents().many(*n));
     }},
    {"deep", "/N", "elements nested N deep, the root included",
     [](const Exchange& e) {
         if (const auto n = e.number(6, depthLimit)) e.sendXML(e.documents().deep(*n));
     }},
    {"bytes", "/N", "a document padded to N bytes",
     [](const Exchange& e) {
         if (const auto n = e.number(0, byteLimit)) {
             e.sendXML(e.documents().padded(static_cast<std::size_t>(*n)));
         }
     }},
    {"malformed", "", "a document that breaks off",
     [](const Exchange& e) { e.sendXML(e.documents().malformed()); }},
    {"entities", "", "a document that defines entities",
     [](const Exchange& e) { e.sendXML(e.documents().withEntities()); }},
    {"nul", "", "a document with NUL bytes",
     [](const Exchange& e) { e.sendXML(e.documents().withNULBytes()); }},
    {"html", "", "an HTML page",
     [](const Exchange& e) {
         e.response.set_content("<!DOCTYPE html><title>Demo</title><p>Not an ad.<br>\n", "text/html");
     }},
    {"status", "/CODE", "that HTTP status, with a document", sendStatus},
    {"redirect", "/N", "N redirects, then an inline ad",
     [](const Exchange& e) {
         const auto n = e.number(0, adLimit);
         if (!n) return;
         const std::string next = *n <= 1 ? "/inline" : "/redirect/" + std::to_string(*n - 1);
         e.response.set_redirect(e.baseURL() + next);
     }},
    {"redirect-loop", "", "a redirect to itself", redirectForEver},
    {"redirect-file", "", "a redirect to a file: URL",
     [](const Exchange& e) { e.response.set_redirect("file:///etc/hostname"); }},
    {"slow", "/SECONDS/PATH", "PATH, that many seconds late", sendLate},
    {"drip", "", "a document, one byte a second", sendByteByByte},
    {"hang", "", "no answer at all", sendNothing},
    {"close", "", "a connection closed in the middle of the body", closeHalfway},
    {"reset", "", "a connection reset (after a redirect to another port)",
     [](const Exchange& e) { e.response.set_redirect(e.server.resetting().url()); }},
    {"garbage", "", "bytes that are not HTTP (after a redirect to another port)",
     [](const Exchange& e) { e.response.set_redirect(e.server.garbling().url()); }},
    {"media", "/NAME",
     "a video of 15 seconds; an image or JavaScript for .gif and .js; with --media a file of that folder",
     sendMedia},
    {"huge", "", "a body of 1 GiB", sendHugeBody},
    {"pixel", "/...", "a 1x1 GIF; the request is logged, however it is answered",
     [](const Exchange& e) { e.response.set_content(gif.data(), gif.size(), "image/gif"); }},
    {"pixels", "[/clear]", "the log of the pixels as JSON; /clear empties it first", sendPixelLog},
    {"config", "/SITE[/WHAT]", "the configuration of a site; WHAT, if it shall not be a good one, is below",
     sendConfiguration},
    {"logs", "[/clear]", "collects log records (POST), or shows them as JSON; /clear drops them first",
     collectLogs},
    {"tell", "?path=P&answer=A",
     "answers the path (a prefix with * at its end) so from now on; &times=N: N times", hearAnswer},
});

const Route* routeNamed(std::string_view name) {
    const auto* route =
        std::find_if(routes.begin(), routes.end(), [&](const Route& each) { return each.name == name; });
    return route == routes.end() ? nullptr : route;
}

// What a path can be told to do, besides a status.
struct Misbehaviour {
    std::string_view name;
    void (*handle)(const Exchange& exchange);
};

constexpr auto misbehaviours = std::to_array<Misbehaviour>({
    {"hang", sendNothing},
    {"close", closeHalfway},
    {"stall", stallHalfway},
    {"redirect-loop", redirectForEver},
    {"huge", sendHugeBody},
});

}  // namespace

void DemoServer::Impl::misbehave(const httplib::Request& request, httplib::Response& response,
                                 const std::string& answer) {
    const auto* named = std::find_if(misbehaviours.begin(), misbehaviours.end(),
                                     [&](const Misbehaviour& each) { return each.name == answer; });
    if (named != misbehaviours.end()) {
        named->handle({*this, request, response, {}});
    } else {
        response.status = std::stoi(answer);
    }
}

void DemoServer::Impl::dispatch(const httplib::Request& request, std::string_view path,
                                httplib::Response& response) {
    if (path.starts_with('/')) path.remove_prefix(1);
    const std::size_t slash = std::min(path.find('/'), path.size());
    const std::string_view argument = path.substr(std::min(slash + 1, path.size()));
    const Route* route = routeNamed(path.substr(0, slash));
    if (route == nullptr) {
        response.status = 404;
        response.set_content("Nothing here; /paths lists what is.\n", "text/plain");
        return;
    }
    route->handle({*this, request, response, argument});
}

std::string_view DemoServer::descriptionOf(std::string_view path) {
    if (path.starts_with('/')) path.remove_prefix(1);
    const Route* route = routeNamed(path.substr(0, path.find('/')));
    return route == nullptr ? std::string_view() : route->description;
}

std::string DemoServer::listing() {
    constexpr std::size_t column = 28;
    std::string text = "Paths of the demo ad server:\n";
    for (const Route& route : routes) {
        std::string line = "  /" + std::string(route.name) + std::string(route.arguments);
        line.append(line.size() < column ? column - line.size() : 1, ' ');
        text += line + std::string(route.description) + "\n";
    }
    text += "  /files/...                the files of the folder given with --root\n\n";
    text += std::string("Configurations: ") + DemoConfiguration::variants + ".\n";
    text += std::string("Verification scripts: ") + DemoScripts::names + ".\n";
    text += std::string("Answers to tell: ") + ToldAnswer::names + ".\n";
    return text;
}
