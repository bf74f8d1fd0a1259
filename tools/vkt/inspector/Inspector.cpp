#include "inspector/Inspector.h"

#include <httplib.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/foundation/VKTValue.h"
#include "VKTCoreKit/platform/VKTServices.h"
#include "ground/Assets.h"
#include "inspector/Samples.h"

namespace {

constexpr int forbidden = 403;
constexpr const char* publicOnly = "--public-addresses-only=true";
constexpr const char* stopReason = "the server stops";
constexpr const char* contentSecurityPolicy =
    "default-src 'none'; script-src 'self'; style-src 'self'; img-src http: https: data:; media-src http: "
    "https:; "
    "connect-src 'self'; base-uri 'none'; form-action 'none'; frame-ancestors 'none'";

struct PageFile {
    std::string_view path;
    const std::string_view& content;
    const char* type;
};

const auto pageFiles = std::to_array<PageFile>({
    {"/", Assets::page, "text/html; charset=utf-8"},
    {"/inspector/page.css", Assets::style, "text/css; charset=utf-8"},
    {"/inspector/page.js", Assets::script, "text/javascript; charset=utf-8"},
});

std::string nameOfThisMachine() {
    std::array<char, 256> name{};
    return gethostname(name.data(), name.size() - 1) == 0 ? name.data() : "localhost";
}

struct Header {
    const char* name;
    const char* value;
};

constexpr auto headers = std::to_array<Header>({{"Content-Security-Policy", contentSecurityPolicy},
                                                {"X-Content-Type-Options", "nosniff"},
                                                {"Referrer-Policy", "no-referrer"},
                                                {"Cache-Control", "no-store"},
                                                {"Cross-Origin-Opener-Policy", "same-origin"},
                                                {"Cross-Origin-Resource-Policy", "same-origin"}});

void refuse(httplib::Response& response, int status, const std::string& reason) {
    response.status = status;
    response.set_content(reason + "\n", "text/plain; charset=utf-8");
}

void sendJSON(httplib::Response& response, const VKTDictionary& value) {
    response.status = 200;
    response.set_content(vkt_JSONStringWithValue(value).value_or("{}"), "application/json");
}

bool isJSON(const httplib::Request& request) {
    const std::string type = request.get_header_value("Content-Type");
    return vkt_equalsIgnoringCase(vkt_trimmed(std::string_view(type).substr(0, type.find(';'))),
                                  "application/json");
}

// One server-sent event. A line of the run has no line feed, and a carriage return would be one.
std::string eventOf(std::string_view name, std::string_view data) {
    std::string text = name.empty() ? "" : "event: " + std::string(name) + "\n";
    text += "data: ";
    const std::size_t start = text.size();
    text += data;
    std::replace(text.begin() + static_cast<std::ptrdiff_t>(start), text.end(), '\r', ' ');
    return text + "\n\n";
}

std::string eventOf(std::string_view name, const VKTDictionary& data) {
    return eventOf(name, vkt_JSONStringWithValue(data).value_or("{}"));
}

std::string eventOf(ChildRun::Kind kind, std::string_view line) {
    if (kind == ChildRun::Heartbeat) return ": still running\n\n";
    return eventOf(kind == ChildRun::Note ? "note" : "", line);
}

std::string endEvents(const ChildEnd& end) {
    std::string problem = end.problem;
    std::string report;
    if (!end.report.empty()) {
        if (const auto text = vkt_JSONStringWithValue(VKTDictionary{{"html", end.report}})) {
            report = eventOf("report", *text);
        } else {
            problem = "The report is not UTF-8 and cannot be shown.";
        }
    }
    return report +
           eventOf("end", VKTDictionary{{"status", end.status}, {"problem", vkt_onOneLine(problem)}});
}

}  // namespace

// One of the runs that may be at once; free again when the browser's request has ended.
class Inspector::Slot {
  public:
    Slot(Inspector& inspector, std::string identifier)
        : identifier_(std::move(identifier)), inspector_(inspector) {}
    ~Slot() {
        run_.reset();
        const VKTLock lock(inspector_.mutex_);
        inspector_.slots_.erase(identifier_);
    }
    Slot(const Slot&) = delete;
    Slot& operator=(const Slot&) = delete;

    // Before anybody else can find the run.
    std::string start(const ChildCommand& command) {
        std::string problem;
        auto run = ChildRun::start(inspector_.options_.program, command, inspector_.options_.limits, problem);
        const VKTLock lock(mutex_);
        run_ = std::move(run);
        return problem;
    }

    [[nodiscard]] std::shared_ptr<ChildRun> run() {
        const VKTLock lock(mutex_);
        return run_;
    }
    [[nodiscard]] const std::string& identifier() const { return identifier_; }

  private:
    const std::string identifier_;
    Inspector& inspector_;
    VKTMutex mutex_;
    std::shared_ptr<ChildRun> run_ VKT_GUARDED_BY(mutex_);
};

Inspector::Inspector(InspectorOptions options) : options_(std::move(options)), access_(options_.address) {
    const auto& given = options_.networkArguments;
    runArguments_ = given;
    asksPublicOnly_ = std::find(given.begin(), given.end(), publicOnly) != given.end();
    if (asksPublicOnly_ || access_.isLoopback() || options_.allowsPrivate) return;
    asksPublicOnly_ = true;
    runArguments_.emplace_back(publicOnly);
}

std::string Inspector::pageURL(int port) const {
    const std::string& address = options_.address;
    const bool isEvery = address == "0.0.0.0" || address == "::";
    const bool isIPv6 = address.find(':') != std::string::npos;
    const std::string host = isEvery ? nameOfThisMachine() : isIPv6 ? "[" + address + "]" : address;
    const std::string url = "http://" + host + ":" + std::to_string(port) + "/";
    return access_.isLoopback() ? url : url + "?token=" + access_.token();
}

bool Inspector::answer(const httplib::Request& request, httplib::Response& response, const Body& body) {
    if (request.path != "/" && !request.path.starts_with("/inspector/")) return false;
    for (const Header& header : headers)
        response.set_header(header.name, header.value);
    if (const auto problem = access_.problemOfReading(request)) {
        refuse(response, forbidden, *problem);
        return true;
    }
    const bool isPost = request.method == "POST";
    const auto* file = std::find_if(std::begin(pageFiles), std::end(pageFiles),
                                    [&](const PageFile& each) { return each.path == request.path; });
    const bool isAction = request.path == "/inspector/run" || request.path == "/inspector/control";
    const bool isSamples = request.path == "/inspector/samples";
    if (file == std::end(pageFiles) && !isAction && !isSamples) {
        refuse(response, 404, "Nothing here; / is the inspector, and /paths lists what the demo server has.");
    } else if (isPost != isAction || (!isPost && request.method != "GET" && request.method != "HEAD")) {
        refuse(response, 405, isAction ? "This takes POST." : "This takes GET.");
    } else if (file != std::end(pageFiles)) {
        response.status = 200;
        response.set_content(file->content.data(), file->content.size(), file->type);
    } else if (const auto problem = access_.problemOfUse(request)) {
        refuse(response, forbidden, *problem);
    } else if (isSamples) {
        sendSamples(response);
    } else if (!isJSON(request)) {
        refuse(response, 415, "The Content-Type is to be application/json.");
    } else if (request.path == "/inspector/run") {
        answerRun(response, body);
    } else {
        answerControl(request, response, body);
    }
    return true;
}

void Inspector::sendSamples(httplib::Response& response) const {
    if (asksPublicOnly_) {
        sendJSON(response,
                 {{"samples", VKTArray()},
                  {"problem",
                   "No samples: they are on this machine, and runs of this server ask public addresses only. "
                   "Start it with --allow-private to have them."}});
    } else {
        sendJSON(response, {{"samples", inspectorSamples()}, {"problem", ""}});
    }
}

std::shared_ptr<Inspector::Slot> Inspector::takeSlot() {
    auto slot = std::make_shared<Slot>(*this, Access::makeToken());
    const VKTLock lock(mutex_);
    if (isStopped_ || slots_.size() >= options_.mostRuns) return nullptr;
    slots_[slot->identifier()] = slot;
    return slot;
}

void Inspector::answerRun(httplib::Response& response, const Body& body) {
    // Taken before the body is read, which may be large.
    const auto slot = takeSlot();
    if (!slot)
        return refuse(
            response, 503,
            std::to_string(options_.mostRuns) +
                " runs are under way, which is all that there may be; try again when one has ended.");
    auto text = body(longestRunRequest);
    if (!text)
        return refuse(response, 413, "The request has not come whole, or a document is larger than 32 MiB.");
    const auto command = childCommandOf(*text, runArguments_);
    text.reset();
    if (const auto* refusal = std::get_if<RunRefusal>(&command))
        return refuse(response, refusal->status, refusal->reason);
    const std::string problem = slot->start(std::get<ChildCommand>(command));
    if (!problem.empty()) return refuse(response, 503, problem);
    {
        const VKTLock lock(mutex_);  // a stop before the start has not seen the run
        if (isStopped_) slot->run()->kill(stopReason);
    }
    sendEvents(slot, response);
}

void Inspector::sendEvents(std::shared_ptr<Slot> slot, httplib::Response& response) const {
    response.status = 200;
    response.set_chunked_content_provider("text/event-stream", [slot = std::move(slot)](
                                                                   std::size_t, httplib::DataSink& sink) {
        const auto send = [&sink](const std::string& text) { return sink.write(text.data(), text.size()); };
        bool isSent = send(eventOf("run", VKTDictionary{{"id", slot->identifier()}}));
        const ChildEnd end = slot->run()->listen([&](ChildRun::Kind kind, std::string_view line) {
            isSent = isSent && send(eventOf(kind, line));
            return isSent;
        });
        if (!isSent || !send(endEvents(end))) return false;
        sink.done();
        return true;
    });
}

void Inspector::answerControl(const httplib::Request& request, httplib::Response& response,
                              const Body& body) {
    const auto text = body(2 * ChildRun::longestSaying);
    const auto value = text ? vkt_JSONValueWithData(*text) : std::nullopt;
    const VKTDictionary* content = value ? value->asDictionary() : nullptr;
    const VKTValue* found = content == nullptr ? nullptr : content->find("lines");
    const VKTArray* list = found == nullptr ? nullptr : found->asArray();
    if (list == nullptr) return refuse(response, 400, "{\"lines\": [LINE, ...]} is expected.");
    std::string lines;
    for (const VKTValue& line : *list)
        lines += vkt_onOneLine(line.asString() == nullptr ? "" : *line.asString()) + "\n";

    std::shared_ptr<Slot> slot;
    {
        const VKTLock lock(mutex_);
        const auto place = slots_.find(request.get_param_value("run"));
        if (place != slots_.end()) slot = place->second.lock();
    }
    const auto run = slot ? slot->run() : nullptr;
    // A run that has ended does not want what was on its way.
    if (run && !run->say(lines)) return refuse(response, 409, "The run takes no control lines at present.");
    sendJSON(response, {});
}

std::optional<std::string> Inspector::problemOfChange(const httplib::Request& request) {
    return access_.problemOfTelling(request);
}

void Inspector::stop() {
    std::vector<std::shared_ptr<Slot>> slots;
    {
        const VKTLock lock(mutex_);
        isStopped_ = true;
        for (const auto& [identifier, slot] : slots_)
            slots.push_back(slot.lock());
    }
    for (const auto& slot : slots) {
        const auto run = slot ? slot->run() : nullptr;
        if (run) run->kill(stopReason);
    }
}
