// docs/json.md against what the tool prints: every key stands there with its type, and none that never
// occurs.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "VKTCoreKit/foundation/VKTText.h"
#include "tests/integration/LocalDemoServer.h"
#include "tests/support/VKTStoreFolder.h"
#include "tests/support/VKTTestPaths.h"

namespace {

using Facts = std::set<std::string>;  // "ads[].adID: text"

const char* typeOf(const VKTValue& value) {
    if (value.asArray() != nullptr) return "list";
    if (value.asDictionary() != nullptr) return "object";
    if (value.asString() != nullptr) return "text";
    if (value.asBool()) return "boolean";
    return value.isNull() ? "null" : "number";
}

std::string joined(const std::string& path, const std::string& key) {
    return path.empty() ? key : path + "." + key;
}

void collect(VKTValue report, Facts& facts) {
    std::vector<std::pair<std::string, VKTValue>> rest{{"", std::move(report)}};
    while (!rest.empty()) {
        const auto [path, value] = std::move(rest.back());
        rest.pop_back();
        if (!path.empty()) facts.insert(path + ": " + typeOf(value));
        for (const auto& [key, member] : value.asDictionary() ? *value.asDictionary() : VKTDictionary())
            rest.emplace_back(joined(path, key), member);
        for (const VKTValue& element : value.asArray() ? *value.asArray() : VKTArray())
            rest.emplace_back(path + "[]", element);
    }
}

// docs/json.md. A table belongs to the heading above it; a type that is a link stands for the table below
// that heading. A path "." is the whole object, and one that ends with "*" is any key and what is below it.
class Document {
  public:
    Document() {
        std::vector<Row>* table = nullptr;
        const std::string text = vkt_contentOf(std::string(VKTTestPaths::sourceFolder) + "/docs/json.md");
        for (const std::string_view line : vkt_split(text, '\n')) {
            if (line.starts_with("##")) table = &tables_[anchorOf(line)];
            if (!line.starts_with("| `") || table == nullptr) continue;
            auto cells = vkt_split(line, '|');
            EXPECT_EQ(cells.size(), 6U) << line;
            cells.resize(6);
            table->push_back({vkt_replacingOccurrences(vkt_trimmed(cells[1]), "`", ""),
                              std::string(vkt_trimmed(cells[2])), vkt_trimmed(cells[3]) != "never"});
        }
    }

    // Those of the commands.
    [[nodiscard]] std::set<std::string> commands() const {
        std::set<std::string> anchors;
        for (const auto& [anchor, rows] : tables_) {
            if (anchor.starts_with("vkt-")) anchors.insert(anchor);
        }
        return anchors;
    }

    void read(const std::string& anchor, const std::string& path = "") {
        const auto table = tables_.find(anchor);
        ASSERT_TRUE(table != tables_.end()) << "no heading has the anchor #" << anchor;
        for (const Row& row : table->second)
            read(row, path);
    }

    Facts stated;        // must occur
    Facts nulls;         // may occur
    Facts anyKeysBelow;  // what stands before the "*"

  private:
    struct Row {
        std::string path, type;
        bool mayBeNull;
    };

    static std::string anchorOf(std::string_view heading) {
        heading.remove_prefix(heading.find(' ') + 1);
        return vkt_lowercased(vkt_replacingOccurrences(heading, " ", "-"));
    }

    void read(const Row& row, const std::string& base) {
        const std::string path = row.path == "." ? base : joined(base, row.path);
        const std::size_t link = row.type.find("](#");
        if (row.type == "any" || path.ends_with('*')) {
            anyKeysBelow.insert(path.substr(0, path.find('*')));
        } else if (row.path != ".") {
            stated.insert(path + ": " + (link == std::string::npos ? row.type : "object"));
            const std::string list = path.ends_with("[]") ? path.substr(0, path.size() - 2) : "";
            if (!list.empty()) stated.insert(list + ": list");
            if (row.mayBeNull) nulls.insert((list.empty() ? path : list) + ": null");
        }
        if (link != std::string::npos) read(row.type.substr(link + 3, row.type.size() - link - 4), path);
    }

    std::map<std::string, std::vector<Row>> tables_;
};

class JSONDocument : public testing::Test {
  protected:
    void SetUp() override {
        server_.tell("/pixel/*", "503");
        runTool("play --speed 0 --store " + store_ + " " + server_.url("/inline"));
    }

    // What makes every key of each command have a value. The facts of several lines are joined.
    [[nodiscard]] std::map<std::string, std::vector<std::string>> commandLines() const {
        const std::string dead = "http://127.0.0.1:1/";
        const std::string full = std::string(VKTTestPaths::sourceFolder) + "/tests/data/json/full.xml";
        const std::string inspect = "inspect --json ", resolve = "resolve --json ";
        const std::string whole = server_.url("/inline"), failing = "--fail 1 " + whole;
        const std::string empty = server_.url("/empty-error");
        const std::string malformed = server_.url("/malformed");
        const std::string play = "play --json --speed 0 --store " + store_ + " ";
        const std::string measure = play + "--measure ";
        const std::string noWrappers = "--max-wrappers 0 ";
        const std::string pixels = "pixels --json --store " + store_;
        const std::string config = "config --json --site 7 ";
        const std::string site = config + server_.url("/config/7");
        const std::string log = "log --json ";
        const std::string more = " --site 7 --measure load=12.5 --vast-error 301 --open-measurement " + dead;
        return {
            {"vkt-xml", {"xml " + full}},
            {"vkt-inspect", {inspect + full, inspect + empty, inspect + malformed, inspect + dead}},
            {"vkt-inspect-of-several-sources", {inspect + vkt_joined({full, empty, malformed, dead}, " ")}},
            {"vkt-inspect---lines", {"inspect --lines"}},
            {"vkt-watch",
             {"watch --json --every 0 --count 1 " + failing, "watch --json --every 0 --count 1 " + whole,
              "watch --json --every 0 --count 1 " + dead}},
            {"vkt-resolve",
             {resolve + full, resolve + noWrappers + full, resolve + failing, resolve + empty,
              resolve + malformed}},
            {"vkt-play",
             {play + noWrappers + full, play + failing, play + empty, play + malformed, play + dead}},
            {"vkt-play---measure",
             {measure + noWrappers + full, measure + failing, measure + empty, measure + malformed,
              measure + dead, measure + whole}},
            {"vkt-pixels", {pixels}},
            {"vkt-pixels---send", {pixels + " --send"}},
            {"vkt-config", {site, site + "/newer-sdk", site + "/wrong-types", config + dead}},
            {"vkt-log", {log + server_.url("/logs") + more, log + dead}},
            {"vkt-log---dry-run", {log + "--dry-run " + dead + more}},
            {"vkt-privacy",
             {"privacy --json --set IABTCF_TCString=string:CO --set IABTCF_gdprApplies=string:no"
              " --set IABUSPrivacy_String=string:1NY- --set IABGPP_HDR_Version=int:1"
              " --set IABGPP_HDR_GppString=string:DBAA~1 --set IABGPP_GppSID=string:2",
              "privacy --json --ifa A"}},
        };
    }

    const LocalDemoServer server_;
    const VKTStoreFolder folder_;
    const std::string store_ = folder_.path();
};

// What `vkt inspect --lines` finds: a document, and a line without one.
constexpr const char* documents = "{\"id\":1,\"xml\":\"<a/>\"}\n{\"id\":1}\n";

TEST_F(JSONDocument, StatesEveryKeyThatOccursAndNoOther) {
    std::set<std::string> commands;
    for (const auto& [anchor, lines] : commandLines()) {
        SCOPED_TRACE(anchor);
        commands.insert(anchor);
        Facts occurring;
        for (const std::string& line : lines) {
            const std::string text = runTool(line, documents).out;
            const bool isOfLines = line.find("--lines") != std::string::npos;
            for (const std::string_view each : vkt_split(vkt_trimmed(text), isOfLines ? '\n' : '\0')) {
                const auto report = vkt_JSONValueWithData(each);
                ASSERT_TRUE(report) << line;
                collect(*report, occurring);
            }
        }
        Document document;
        document.read(anchor);
        for (const std::string& fact : document.stated)
            EXPECT_EQ(occurring.erase(fact), 1U) << "docs/json.md states what never occurs: " << fact;
        for (const std::string& fact : occurring) {
            const auto hasPrefix = [&](const std::string& prefix) { return fact.starts_with(prefix); };
            EXPECT_TRUE(document.nulls.contains(fact) ||
                        std::any_of(document.anyKeysBelow.begin(), document.anyKeysBelow.end(), hasPrefix))
                << "docs/json.md does not state: " << fact;
        }
    }
    EXPECT_EQ(Document().commands(), commands);
}

}  // namespace
