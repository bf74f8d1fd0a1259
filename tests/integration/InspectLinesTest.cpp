// "vkt inspect --lines": many documents through one process.
#include <gtest/gtest.h>
#include <poll.h>

#include <fcntl.h>
#include <cstdio>
#include <future>
#include <string>
#include <vector>

#include "tests/integration/ToolRun.h"
#include "tests/support/VKTLoopbackServer.h"
#include "tests/support/VKTTestPaths.h"

namespace {

const std::string document = R"(<VAST version=\"3.0\"><Error>http:\/\/e.test\/é<\/Error><\/VAST>)";

std::vector<VKTDictionary> linesOf(const std::string& text) {
    std::vector<VKTDictionary> lines;
    for (const std::string_view line : vkt_split(text, '\n'))
        lines.push_back(line.empty() ? VKTDictionary() : parsed(std::string(line)));
    EXPECT_TRUE(lines.back().empty()) << "the last line has no line feed";
    lines.pop_back();
    return lines;
}

// "url" lines with the ids from 0 up.
std::string linesOfURLs(const std::vector<std::string>& urls) {
    std::string lines;
    for (std::size_t id = 0; id < urls.size(); ++id)
        lines += R"({"id":)" + std::to_string(id) + R"(,"url":")" + urls[id] + "\"}\n";
    return lines;
}

struct LineCase {
    const char* name;
    std::string line;
    const char* id;      ///< as JSON
    const char* answer;  ///< the beginning of its error; of an inspected document the error pixel, if any
};

void PrintTo(const LineCase& row, std::ostream* out) {
    *out << row.name;
}

class InspectLine : public testing::TestWithParam<LineCase> {};

TEST_P(InspectLine, IsAnswered) {
    const auto& [name, line, id, answer] = GetParam();
    const std::string neighbour = R"({"id":"n","xml":"<a/>"})";
    const Outcome outcome = runTool("inspect --lines", neighbour + "\n" + line + "\n" + neighbour);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "");
    const auto lines = linesOf(outcome.out);
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_EQ(keysOf(lines[2]).find("id source version ads"), 0U) << outcome.out;
    EXPECT_EQ(vkt_JSONStringWithValue(valueOf(lines[1], "id")), id);
    const VKTArray* pixels = valueOf(lines[1], "documentErrorPixels").asArray();
    if (pixels != nullptr) {
        EXPECT_EQ(*pixels, answer == nullptr ? VKTArray() : VKTArray{answer});
    } else {
        EXPECT_EQ(keysOf(lines[1]), "id error line");
        EXPECT_EQ(textAt(lines[1], "error").find(answer), 0U) << outcome.out;
        EXPECT_EQ(valueOf(lines[1], "line"), VKTValue(2));
    }
}

const char* const pixel = "http://e.test/%C3%A9";

INSTANTIATE_TEST_SUITE_P(
    Table, InspectLine,
    testing::Values(
        LineCase{"escapes", R"({"xml" : ")" + document + R"(","id":{"a":[1,2.5,null]}})",
                 R"({"a":[1,2.5,null]})", pixel},
        LineCase{"unicodeEscapes",
                 R"({"id":"\u00e9","xml":")" + vkt_replacingOccurrences(document, "é", "\\u00e9") + "\"}",
                 "\"é\"", pixel},
        LineCase{"nullIsNoValue", R"({"url":null,"xml":")" + document + "\"}\r", "null", pixel},
        LineCase{"keyWithinTheId", R"({"id":{"xml":"a"},"xml":")" + document + "\"}", R"({"xml":"a"})",
                 pixel},
        LineCase{"documentAfterAnother", R"({"xml":"<a/>","id":1,"xml":")" + document + "\"}", "1", pixel},
        LineCase{"keyThatEndsLikeIt", R"({"\"xml":"<a/>","xml":")" + document + "\"}", "null", pixel},
        LineCase{"standIn", R"({"id":{"xml":")" + document + R"("},"xml":"\u0000"})",
                 R"({"xml":"<VAST version=\"3.0\"><Error>http://e.test/é</Error></VAST>"})", nullptr},
        LineCase{"empty", "", "null", "it is not JSON: "},
        LineCase{"notClosed", R"({"id":1,"xml":")" + document, "null", "it is not JSON: "},
        LineCase{"rubbishBehindTheDocument", R"({"id":1,"xml":")" + document + "\"}}", "null",
                 "it is not JSON: "},
        LineCase{"list", "[1]", "null", "it is not an object"},
        LineCase{"NUL", std::string("{\"id\":1,\"xml\":\"\0\"}", 17), "null", "it is not JSON: NUL"},
        LineCase{"notUTF8", "{\"id\":1,\"xml\":\"\xFF\"}", "null", "it is not JSON: "},
        LineCase{"nothing", R"({"id":1})", "1", "it has neither"},
        LineCase{"both", R"({"id":1,"xml":"","url":"http://a"})", "1", "it has both"},
        LineCase{"noText", R"({"id":1,"xml":[]})", "1", "its \"xml\" is no text"},
        LineCase{"file", R"({"id":1,"url":"/etc/passwd"})", "1", "its \"url\" is not an http or https URL"},
        LineCase{"standardInput", R"({"id":1,"url":"-"})", "1", "its \"url\" is not an http or https URL"},
        LineCase{"unreachable", R"({"id":1,"url":"http://127.0.0.1:1/"})", "1", "it cannot be downloaded: "},
        LineCase{"largeDocument", R"({"id":1,"xml":")" + std::string(33U << 20U, ' ') + "\"}", "1",
                 "its \"xml\" is larger"},
        LineCase{"longLine", std::string(129U << 20U, ' '), "null", "it is longer than 128 MiB"}),
    [](const auto& test) { return std::string(test.param.name); });

TEST(InspectLines, KeepTheOrderWhateverTheyTake) {
    std::promise<void> isAsked;
    const std::shared_future<void> asked = isAsked.get_future();
    VKTLoopbackServer server;
    server.handle("/slow", [asked](const VKTServerRequest&) {
        asked.wait();
        return VKTServerResponse{200, "<a/>", {}};
    });
    server.handle("/last", [&](const VKTServerRequest&) {
        isAsked.set_value();
        return VKTServerResponse{200, "<a/>", {}};
    });
    server.serve("/fast", "<a/>");
    runTool("inspect " +
            server.url("/fast"));  // what the server's threads share is made by the first request
    std::vector<std::string> urls(100, server.url("/fast"));
    urls.front() = server.url("/slow");
    urls.back() = server.url("/last");
    const auto lines = linesOf(runTool("inspect --lines --jobs 2", linesOfURLs(urls)).out);
    ASSERT_EQ(lines.size(), urls.size());
    for (std::size_t i = 0; i < urls.size(); ++i) {
        EXPECT_EQ(textAt(lines[i], "id"), std::to_string(i));
        EXPECT_EQ(textAt(lines[i], "source"), urls[i]);
    }
}

TEST(InspectLines, WaitForTheFirstWithoutReadingOn) {
    std::promise<void> isReleased;
    const std::shared_future<void> released = isReleased.get_future();
    VKTLoopbackServer server;
    server.handle("/slow", [released](const VKTServerRequest&) {
        released.wait();
        return VKTServerResponse{200, "<a/>", {}};
    });
    std::FILE* input = popen(
        (std::string("exec ") + VKTTestPaths::tool + " inspect --lines --jobs 2 >/dev/null").c_str(), "w");
    fcntl(fileno(input), F_SETFL, O_NONBLOCK);
    std::string line = linesOfURLs({server.url("/slow")});
    std::size_t lines = 0;
    pollfd file{fileno(input), POLLOUT, 0};
    while (lines < 10'000 && poll(&file, 1, 1000) > 0) {
        if (write(file.fd, line.data(), line.size()) != static_cast<ssize_t>(line.size())) continue;
        ++lines;
        line = R"({"xml":")" + std::string(4000, ' ') + "\"}\n";
    }
    EXPECT_LT(lines, 500U) << "128 in all, and what a pipe and a buffer hold";
    isReleased.set_value();
    EXPECT_EQ(pclose(input), 0);
}

TEST(InspectLines, EndWithTheirReader) {
    const std::string tool = VKTTestPaths::tool + std::string(" inspect --lines");
    const std::pair<const char*, std::string> cases[] = {
        {"input without end", "yes {} | " + tool + " | head -1; echo ${PIPESTATUS[1]}"},
        {"nothing to read", tool + " < <(exec sleep 20) | true; echo ${PIPESTATUS[0]}"}};
    for (const auto& [name, command] : cases) {
        const Outcome outcome =
            runProgram("env --default-signal=PIPE timeout 15 bash", "-c '" + command + "'");
        EXPECT_EQ(outcome.status, 0) << name;
        EXPECT_TRUE(outcome.out.ends_with("3\n")) << name << outcome.out;
        EXPECT_NE(outcome.err.find("Broken pipe"), std::string::npos) << name << outcome.err;
    }
}

TEST(InspectLines, AreAnAlternativeToSources) {
    for (const char* arguments :
         {"inspect", "inspect --lines a.xml", "inspect --jobs 2 a.xml", "inspect --lines --jobs 0"})
        EXPECT_EQ(runTool(arguments).status, 2) << arguments;
    EXPECT_EQ(runProgram(std::string("(") + VKTTestPaths::tool, "inspect --lines <&-)").status, 3);
}

}  // namespace
