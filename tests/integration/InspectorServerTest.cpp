// The server side of the inspector page over real sockets: who may use it, and what becomes of its runs.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <httplib.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <future>
#include <thread>

#include "VKTCoreKit/foundation/VKTText.h"
#include "inspector/Descriptor.h"
#include "inspector/Inspector.h"
#include "inspector/Samples.h"
#include "tests/integration/ToolRun.h"
#include "tests/support/VKTForkedChild.h"
#include "tests/support/VKTStoreFolder.h"

namespace {

using namespace std::chrono_literals;

constexpr const char* anyRun = R"({"command":"resolve","url":"http://ad.example/"})";

// Until it is so, for ten seconds at most.
bool becomes(const std::function<bool()>& fact) {
    const auto end = std::chrono::steady_clock::now() + 10s;
    while (!fact()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::sleep_for(5ms);
    }
    return true;
}

// Dead, whether or not its parent has noticed.
bool isGone(pid_t process) {
    return becomes([process] {
        const std::string facts = vkt_contentOf("/proc/" + std::to_string(process) + "/stat");
        return facts.empty() || facts.find(") Z ") != std::string::npos;
    });
}

// An inspector whose runs are a script of bash, in a demo server.
class InspectedServer {
  public:
    explicit InspectedServer(const std::string& script, InspectorOptions options = {}) {
        const std::string program = folder_.folder() + "/program.sh";
        std::ofstream(program) << "#!/bin/bash\n" + script + "\n";
        std::filesystem::permissions(program, std::filesystem::perms::owner_all);
        options.program = program;
        options.limits.heartbeat = 20ms;
        inspector_ = std::make_unique<Inspector>(std::move(options));
        server_.setGuest(*inspector_);
        port_ = server_.start(0).value_or(0);
    }

    [[nodiscard]] Inspector& inspector() { return *inspector_; }
    [[nodiscard]] httplib::Client client() const { return httplib::Client("127.0.0.1", port_); }
    [[nodiscard]] std::string url(const std::string& path) const {
        return "http://127.0.0.1:" + std::to_string(port_) + path;
    }
    void stop() { server_.stop(); }

    // What a run is answered by. `onText` hears what has come so far, and ends the request with false.
    std::string run(const std::string& body = anyRun,
                    const std::function<bool(const std::string& text)>& onText = {}) const {
        std::string text;
        httplib::Request request;
        request.method = "POST";
        request.path = "/inspector/run";
        request.body = body;
        request.set_header("Content-Type", "application/json");
        request.content_receiver = [&](const char* data, std::size_t length, std::uint64_t, std::uint64_t) {
            text.append(data, length);
            return !onText || onText(text);
        };
        const auto result = client().send(request);
        return result && result->status != 200 ? std::to_string(result->status) + " " + text : text;
    }

    // All that comes back for these bytes.
    [[nodiscard]] std::string send(const std::string& bytes) const {
        const Descriptor connection(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        address.sin_port = htons(static_cast<std::uint16_t>(port_));
        EXPECT_EQ(connect(connection.number(), reinterpret_cast<const sockaddr*>(&address), sizeof address),
                  0);
        EXPECT_EQ(write(connection.number(), bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
        std::string answer(65536, '\0');
        std::size_t size = 0;
        for (ssize_t count = 1; count > 0; size += static_cast<std::size_t>(count))
            count =
                std::max<ssize_t>(0, read(connection.number(), answer.data() + size, answer.size() - size));
        return answer.substr(0, size);
    }

    [[nodiscard]] int say(const std::string& run, const std::string& lines) const {
        return client().Post("/inspector/control?run=" + run, lines, "application/json")->status;
    }

  private:
    const VKTStoreFolder folder_;
    std::unique_ptr<Inspector> inspector_;
    DemoServer server_{"", [](const std::string&) {}};
    int port_ = 0;
};

// The data of the events of a name ("" for those without), joined by blanks.
std::string dataOf(const std::string& text, const std::string& name) {
    std::vector<std::string> found;
    std::string current;
    for (const std::string_view line : vkt_split(text, '\n')) {
        if (line.empty()) current.clear();
        if (line.starts_with("event: ")) current = line.substr(7);
        if (line.starts_with("data: ") && current == name) found.emplace_back(line.substr(6));
    }
    return vkt_joined(found, " ");
}

std::string endOf(const std::string& text) {
    return dataOf(text, "end");
}

// --- who may use it

struct AccessCase {
    const char* name;
    const char* path;  ///< those of actions are posted
    httplib::Headers headers;
    int status;
};

int statusOf(const InspectedServer& server, const AccessCase& each) {
    const std::string path = each.path;
    if (path != "/inspector/run") return server.client().Get(path, each.headers)->status;
    const auto type = each.headers.find("Content-Type");
    httplib::Headers headers = each.headers;
    headers.erase("Content-Type");
    return server.client()
        .Post(path, headers, anyRun, type == each.headers.end() ? "application/json" : type->second)
        ->status;
}

TEST(InspectorAccess, OnTheLoopbackInterfaceNoOtherSiteGetsIn) {
    const InspectedServer server("true");
    const AccessCase cases[] = {
        {"page", "/", {{"Host", "localhost:80"}}, 200},
        {"page by IPv6", "/", {{"Host", "[::1]:80"}}, 200},
        {"page by another name", "/", {{"Host", "rebound.example"}}, 403},
        {"script by another name", "/inspector/page.js", {{"Host", "127.0.0.1.example"}}, 403},
        {"run", "/inspector/run", {{"Host", "localhost:80"}, {"Origin", "http://localhost:80"}}, 200},
        {"run of no browser", "/inspector/run", {}, 200},
        {"run by another name", "/inspector/run", {{"Host", "rebound.example"}}, 403},
        {"run of another site", "/inspector/run", {{"Origin", "http://other.example"}}, 403},
        {"run of another port", "/inspector/run", {{"Origin", "http://127.0.0.1:1"}}, 403},
        {"run of a file or a frame", "/inspector/run", {{"Origin", "null"}}, 403},
        {"run of a form", "/inspector/run", {{"Content-Type", "text/plain"}}, 415},
        {"telling", "/tell?path=/a&answer=404", {}, 200},
        {"telling by a typed address", "/tell?path=/a&answer=404", {{"Sec-Fetch-Site", "none"}}, 200},
        {"telling by another name", "/tell?path=/a&answer=404", {{"Host", "rebound.example"}}, 403},
        {"telling by another site", "/tell?path=/a&answer=404", {{"Sec-Fetch-Site", "cross-site"}}, 403},
        {"telling by another port", "/tell?path=/a&answer=404", {{"Sec-Fetch-Site", "same-site"}}, 403},
        {"clearing by a picture of the page", "/pixels/clear", {{"Sec-Fetch-Site", "same-origin"}}, 403},
        {"document by another name", "/inline", {{"Host", "box.example"}}, 200},
        {"nothing", "/inspector/nothing", {}, 404},
        {"wrong method", "/inspector/run?", {}, 405},
    };
    for (const AccessCase& each : cases)
        EXPECT_EQ(statusOf(server, each), each.status) << each.name;
}

TEST(InspectorAccess, ElsewhereTheTokenIsAskedFor) {
    InspectorOptions options;
    options.address = "192.0.2.1";
    InspectedServer server("echo $*", options);
    const std::string url = server.inspector().pageURL(80);
    const std::string token = url.substr(url.find('=') + 1);
    EXPECT_EQ(url, "http://192.0.2.1:80/?token=" + token);
    EXPECT_EQ(token.size(), 32U);
    std::string wrong = token;
    wrong.back() = wrong.back() == '0' ? '1' : '0';
    const httplib::Headers good = {{"X-Inspector-Token", token}};
    const AccessCase cases[] = {
        {"page", "/", {}, 200},
        {"run without", "/inspector/run", {}, 403},
        {"run with a wrong one", "/inspector/run", {{"X-Inspector-Token", wrong}}, 403},
        {"run with an empty one", "/inspector/run", {{"X-Inspector-Token", ""}}, 403},
        {"run with it", "/inspector/run", good, 200},
        {"samples without", "/inspector/samples", {}, 403},
        {"samples with it", "/inspector/samples", good, 200},
        {"document", "/inline", {}, 200},
        {"clearing pixels", "/pixels/clear", {}, 403},
        {"clearing logs", "/logs/clear", {}, 403},
        {"telling", "/tell?path=/a&answer=404", {}, 403},
        {"telling with more behind it", "/tell/x?path=/a&answer=404", {}, 403},
        {"telling by way of another path", "/slow/0/tell?path=/a&answer=404", {}, 403},
    };
    for (const AccessCase& each : cases)
        EXPECT_EQ(statusOf(server, each), each.status) << each.name;
    EXPECT_EQ(server.client().Get("/pixels/clear?token=" + token)->status, 200);
    EXPECT_NE(server.client().Get("/inspector/samples", good)->body.find("--allow-private"),
              std::string::npos);
    const std::string text = server.client().Post("/inspector/run", good, anyRun, "application/json")->body;
    EXPECT_EQ(dataOf(text, ""),
              "resolve --fragments --report=/dev/fd/4 --public-addresses-only=true -- http://ad.example/");
}

struct HidingCase {
    const char* name;
    std::string start;  ///< of a request, without its length and the empty line
    const char* status;
};

// What stays of a refused request in its connection would be the next request. The server takes 4096 bytes at
// a time, and forgets what it has taken.
TEST(InspectorAccess, TheBodyOfARefusedRequestIsNoRequest) {
    const InspectedServer server("true");
    const std::string hidden = "GET /tell?path=/inline&answer=404 HTTP/1.1\r\nHost: localhost\r\n\r\n";
    const std::string host = " HTTP/1.1\r\nHost: localhost\r\n";
    const HidingCase cases[] = {
        {"refused page", "POST /inspector/run" + host + "Origin: null\r\n", "403"},
        {"long path", "POST /" + std::string(9000, 'a') + host, "414"},
        {"long field", "POST /inline" + host + "X: " + std::string(9000, 'a') + "\r\n", "400"},
        {"parts of a form", "POST /inline" + host + "Content-Type: multipart/form-data; boundary=b\r\n",
         "415"},
        {"body without POST", "GET /inline" + host, "415"},
    };
    for (const HidingCase& each : cases) {
        std::string text = each.start + "Content-Length: " + std::to_string(hidden.size()) + "\r\nPadding: ";
        text.resize((text.size() + 4 + 4095) / 4096 * 4096 - 4, 'x');
        EXPECT_EQ(server.send(text + "\r\n\r\n" + hidden).substr(9, 3), each.status) << each.name;
        EXPECT_EQ(server.client().Get("/inline")->status, 200) << each.name;
    }
}

TEST(InspectorAccess, EverySampleIsAPathOfTheDemoServer) {
    for (const VKTValue& sample : inspectorSamples())
        EXPECT_NE(textAt(*sample.asDictionary(), "description"), "") << sample.description();
}

// --- what may be run

struct RequestCase {
    const char* name;
    const char* JSON;
    const char* outcome;  ///< the arguments, or what a refusal says
};

std::string outcomeOf(const char* JSON) {
    const auto command = childCommandOf(JSON, {"--proxy=http://p:1"});
    if (const auto* refusal = std::get_if<RunRefusal>(&command)) return refusal->reason;
    return vkt_joined(std::get<ChildCommand>(command).arguments, " ");
}

TEST(InspectorRun, ItsArgumentsAreKnownOnesOnly) {
    const std::string noURL = "An http or https URL is expected, or a document.";
    const std::string resolve = "resolve --fragments --report=/dev/fd/4 --proxy=http://p:1 ";
    const RequestCase cases[] = {
        {"options",
         R"({"command":"resolve","url":"http://a/","options":{"timeout":"-- /etc","macro":["A=B","C=D"],"fail":2}})",
         "resolve --fragments --report=/dev/fd/4 --proxy=http://p:1 --timeout=-- /etc --macro=A=B "
         "--macro=C=D --fail=2 -- http://a/"},
        {"a player in the page", R"({"command":"play","xml":"<VAST/>","options":{"measure":true}})",
         "play --fragments --report=/dev/fd/4 --remote-player=3 --proxy=http://p:1 --measure=true -- -"},
        {"a simulated one", R"({"command":"play","xml":"","simulated":true})",
         "play --fragments --report=/dev/fd/4 --proxy=http://p:1 -- -"},
        {"a file", R"({"command":"resolve","url":"/etc/passwd"})", noURL.c_str()},
        {"a file's URL", R"({"command":"resolve","url":"file:///etc/passwd"})", noURL.c_str()},
        {"the standard input", R"({"command":"resolve","url":"-"})", noURL.c_str()},
        {"no host", R"({"command":"resolve","url":"http:/etc/passwd"})", noURL.c_str()},
        {"a NUL byte", R"({"command":"resolve","url":"http://a/\u0000b"})", noURL.c_str()},
        {"another command", R"({"command":"serve","url":"http://a/"})",
         "\"command\" is \"resolve\" or \"play\"."},
        {"an option with a file", R"({"command":"play","url":"http://a/","options":{"store":"/tmp/x"}})",
         "There is no option \"store\" for this command here."},
        {"an option of another command",
         R"({"command":"resolve","url":"http://a/","options":{"measure":true}})",
         "There is no option \"measure\" for this command here."},
        {"a NUL byte in an option",
         R"({"command":"resolve","url":"http://a/","options":{"macro":"A=\u0000"}})",
         "The value of the option \"macro\" holds a NUL byte."},
        {"no object", "[]", "A JSON object is expected."},
    };
    for (const RequestCase& each : cases)
        EXPECT_EQ(outcomeOf(each.JSON), each.outcome) << each.name;
}

struct PastedCase {
    const char* document;
    const char* input;  ///< of the run
};

TEST(InspectorRun, TakesPastedTextForCharactersWhateverItDeclares) {
    const PastedCase cases[] = {
        {"<?xml version='1.0' encoding = 'utf-16' ?><a/>", "<?xml version='1.0'                     ?><a/>"},
        {"<?xml encoding='x\"'?><a encoding='b'/>", "<?xml              ?><a encoding='b'/>"},
        {"<?xml version='1.0'?><a encoding='b'/>", "<?xml version='1.0'?><a encoding='b'/>"},
        {"<?xml encoding='", "<?xml encoding='"},
        {"<a encoding='b'/>?>", "<a encoding='b'/>?>"},
    };
    for (const PastedCase& each : cases) {
        const auto JSON =
            vkt_JSONStringWithValue(VKTDictionary{{"command", "resolve"}, {"xml", each.document}});
        EXPECT_EQ(std::get<ChildCommand>(childCommandOf(*JSON, {})).input, each.input);
    }
}

TEST(InspectorRun, SpeaksInOrder) {
    const InspectedServer server(
        "echo '{\"a\":1}'; cat; echo ' noted' >&2; printf '<p>\"' >/dev/fd/4; exit 1");
    const std::string text = server.run(R"({"command":"resolve","xml":"<VAST/>\r\nrest"})");
    EXPECT_EQ(text.find("event: run\ndata: {\"id\":\""), 0U);
    EXPECT_EQ(dataOf(text, ""), R"({"a":1} <VAST/>  rest)");
    EXPECT_EQ(dataOf(text, "note"), " noted");
    EXPECT_EQ(text.substr(text.find("event: report")),
              "event: report\ndata: {\"html\":\"<p>\\\"\"}\n\nevent: end\ndata: "
              "{\"status\":1,\"problem\":\"\"}\n\n");
}

TEST(InspectorRun, HearsControlLinesWhileItRuns) {
    InspectedServer server("while read line <&3; do echo \"got $line\"; [ \"$line\" = end ] && exit; done");
    std::string identifier;
    const std::string text = server.run(anyRun, [&](const std::string& soFar) {
        if (!identifier.empty() || soFar.find("\n\n") == std::string::npos) return true;
        identifier = textAt(parsed(dataOf(soFar, "run")), "id");
        EXPECT_EQ(server.say(identifier, R"({"lines":["ready","position 1\nskip"]})"), 200);
        EXPECT_EQ(server.say(identifier, R"(["end"])"), 400);
        EXPECT_EQ(server.say(identifier, R"({"lines":["end"]})"), 200);
        return true;
    });
    EXPECT_EQ(dataOf(text, ""), "got ready got position 1 skip got end");
}

// The page says where the video is until it hears of the end, which is no fault of the page.
TEST(InspectorRun, MayBeToldWhatItDoesNotHearAnyMore) {
    const InspectedServer server("exec 3<&-; echo deaf; exec sleep 1000");
    std::string identifier;
    server.run(anyRun, [&](const std::string& soFar) {
        if (dataOf(soFar, "").empty()) return true;
        identifier = textAt(parsed(dataOf(soFar, "run")), "id");
        EXPECT_EQ(server.say(identifier, R"({"lines":["position 1"]})"), 200);
        return false;
    });
    EXPECT_EQ(server.say(identifier, R"({"lines":["position 2"]})"), 200);
}

// Nothing of the server reaches it: no connection that would stay open with it, no blocked signal.
TEST(InspectorRun, InheritsItsFiveDescriptorsAndNoSignalMask) {
    sigset_t signals;
    sigset_t previous;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, &previous);
    const InspectedServer server("grep SigBlk /proc/self/status; exec ls /proc/self/fd");
    const std::string text = server.run();
    pthread_sigmask(SIG_SETMASK, &previous, nullptr);
    EXPECT_EQ(dataOf(text, ""), "SigBlk:\t0000000000000000 0 1 2 3 4 5");  // 5 is the folder that ls reads
}

struct EndCase {
    const char* name;
    const char* script;
    const char* end;
};

TEST(InspectorRun, TellsHowItEnded) {
    InspectorOptions options;
    options.limits.time = 1s;
    options.limits.bytes = 100'000;
    const EndCase cases[] = {
        {"usage", "echo 'vkt: no' >&2; exit 2", R"({"status":2,"problem":"vkt: no"})"},
        {"crash", "kill -SEGV $$",
         R"({"status":139,"problem":"The run crashed: signal 11 (Segmentation fault)."})"},
        {"time", "exec sleep 1000",
         R"({"status":137,"problem":"The run was ended: it took longer than 1 s."})"},
        {"closed output, time", "exec >&- 2>&- 3>&-; exec sleep 1000",
         R"({"status":137,"problem":"The run was ended: it took longer than 1 s."})"},
        {"lines", "yes", R"({"status":137,"problem":"The run was ended: it wrote more than 100000 bytes."})"},
        {"one line", "tr '\\0' x </dev/zero",
         R"({"status":137,"problem":"The run was ended: it wrote more than 100000 bytes."})"},
        {"report", "exec cat /dev/zero >/dev/fd/4",
         R"({"status":137,"problem":"The run was ended: it wrote more than 100000 bytes."})"},
        {"report that is no text", "printf '\\377' >/dev/fd/4",
         R"({"status":0,"problem":"The report is not UTF-8 and cannot be shown."})"},
    };
    for (const EndCase& each : cases)
        EXPECT_EQ(endOf(InspectedServer(each.script, options).run()), each.end) << each.name;
}

TEST(InspectorRun, LeavesNoProcessBehind) {
    const InspectedServer server("sleep 1000 & echo $!");
    EXPECT_TRUE(isGone(std::stoi(dataOf(server.run(), ""))));
}

TEST(InspectorRun, EndsWhenTheBrowserGoes) {
    const InspectedServer server("echo $$; exec sleep 1000");
    pid_t process = 0;
    server.run(anyRun, [&](const std::string& soFar) {
        const std::string line = dataOf(soFar, "");
        if (!line.empty()) process = std::stoi(line);
        return line.empty();
    });
    ASSERT_GT(process, 0);
    EXPECT_TRUE(isGone(process));
}

TEST(InspectorRun, EndsWhenTheServerStops) {
    InspectedServer server("echo $$; exec sleep 1000");
    std::future<void> stopping;
    const std::string text = server.run(anyRun, [&](const std::string& soFar) {
        if (!stopping.valid() && !dataOf(soFar, "").empty())
            stopping = std::async(std::launch::async, [&server] { server.stop(); });
        return true;
    });
    EXPECT_EQ(endOf(text), R"({"status":137,"problem":"The run was ended: the server stops."})");
    EXPECT_TRUE(isGone(std::stoi(dataOf(text, ""))));
}

// Also where the server was killed, so that nobody is left to end it.
TEST(InspectorRun, EndsWhenNobodyReadsIt) {
    const InspectedServer server("true");
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe(ends.data()), 0);
    Descriptor reader(ends[0]);
    fcntl(reader.number(), F_SETFD, FD_CLOEXEC);
    const pid_t run = vkt_startProgram({"sh", "-c",
                                        std::string("exec '") + VKTTestPaths::tool +
                                            "' resolve --fragments --timeout 60 --request-timeout 60 " +
                                            server.url("/hang") + " >/dev/fd/" + std::to_string(ends[1])});
    close(ends[1]);
    char byte = 0;
    EXPECT_EQ(read(reader.number(), &byte, 1), 1);
    reader.reset();
    EXPECT_TRUE(isGone(run));
    kill(run, SIGKILL);
    vkt_statusOf(run);
}

TEST(InspectorRun, OnlySoManyAreAtOnceAndAnEndedOneMakesRoom) {
    InspectorOptions options;
    options.mostRuns = 1;
    const InspectedServer server("echo ready; read line <&3", options);
    std::string second;
    server.run(anyRun, [&](const std::string& soFar) {
        if (dataOf(soFar, "").empty()) return true;
        second = server.run();
        return false;
    });
    EXPECT_EQ(second.substr(0, 14), "503 1 runs are");
    EXPECT_TRUE(becomes([&] {
        bool isRunning = false;
        server.run(anyRun, [&](const std::string& soFar) {
            isRunning = !dataOf(soFar, "").empty();
            return !isRunning;
        });
        return isRunning;
    }));
}

}  // namespace
