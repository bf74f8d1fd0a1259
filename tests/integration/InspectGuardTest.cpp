// What "vkt inspect" calls dropped has no part in the model, and what it does not call dropped has one: each
// element of real documents is taken out in turn.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "server/DemoDocuments.h"
#include "tests/integration/ToolRun.h"
#include "tests/support/VKTTestPaths.h"

namespace {

struct Element {
    std::string path;  // as the tool writes it
    std::size_t begin;
    std::size_t end;
    std::string text;  // inside, elements included
    bool isLeaf = true;
};

// Reads well-formed documents without a DOCTYPE: names, places and siblings, nothing else.
class Scanner {
  public:
    explicit Scanner(const std::string& document) : document_(document) {
        std::size_t at = 0;
        while ((at = document_.find('<', at)) != std::string::npos)
            at = markup(at);
    }

    // Positions are written only where there are siblings, which is known at the end.
    [[nodiscard]] std::vector<Element> elements() const {
        std::vector<Element> result;
        for (const Node& node : nodes_) {
            Element element{"", node.begin, node.end,
                            document_.substr(node.inside, node.insideEnd - node.inside), node.isLeaf};
            for (std::size_t each = static_cast<std::size_t>(&node - nodes_.data());;) {
                const Node& step = nodes_[each];
                const bool isOneOfSeveral = counts_.at({step.parent, step.name}) > 1;
                std::string part = "/" + step.name;
                if (isOneOfSeveral) part += "[" + std::to_string(step.position) + "]";
                element.path.insert(0, part);
                if (each == 0) break;
                each = step.parent;
            }
            result.push_back(std::move(element));
        }
        return result;
    }

  private:
    struct Node {
        std::string name;
        std::size_t parent;
        std::size_t position;
        std::size_t begin;
        std::size_t inside;
        std::size_t insideEnd;
        std::size_t end;
        bool isLeaf;
    };

    std::size_t markup(std::size_t at) {
        for (const auto& [start, finish] : {std::pair("<!--", "-->"), {"<![CDATA[", "]]>"}, {"<?", "?>"}}) {
            if (document_.compare(at, std::string(start).size(), start) == 0)
                return document_.find(finish, at) + std::string(finish).size();
        }
        const std::size_t close = document_.find('>', at) + 1;
        if (document_[at + 1] == '/') {
            nodes_[open_.back()].insideEnd = at;
            nodes_[open_.back()].end = close;
            open_.pop_back();
            return close;
        }
        const std::size_t nameEnd = document_.find_first_of(" \t\r\n/>", at);
        const std::string name = document_.substr(at + 1, nameEnd - at - 1);
        const std::size_t parent = open_.empty() ? 0 : open_.back();
        if (!open_.empty()) nodes_[parent].isLeaf = false;
        const std::size_t position = ++counts_[{open_.empty() ? 0 : parent, name}];
        nodes_.push_back({name, parent, position, at, close, close, close, true});
        if (document_[close - 2] != '/') open_.push_back(nodes_.size() - 1);
        return close;
    }

    const std::string& document_;
    std::vector<Node> nodes_;
    std::vector<std::size_t> open_;
    std::map<std::pair<std::size_t, std::string>, std::size_t> counts_;
};

// The document and its variants, all inspected by one run of the tool.
std::vector<VKTDictionary> inspected(const std::vector<std::string>& documents) {
    const std::string folder = testing::TempDir() + "vkt-guard-" + std::to_string(getpid());
    std::filesystem::create_directories(folder);
    std::string arguments = "inspect --json";
    for (std::size_t i = 0; i < documents.size(); ++i) {
        const std::string file = folder + "/" + std::to_string(i);
        std::ofstream(file, std::ios::binary) << documents[i];
        arguments += " " + file;
    }
    const Outcome outcome = runTool(arguments);
    std::filesystem::remove_all(folder);
    std::vector<VKTDictionary> reports;
    const auto list = vkt_JSONValueWithData(outcome.out);
    if (!list || list->asArray() == nullptr) return reports;
    for (const VKTValue& report : *list->asArray())
        reports.push_back(*report.asDictionary());
    return reports;
}

std::string modelOf(const VKTDictionary& report) {
    VKTArray ads;
    for (VKTDictionary ad : entriesOf(report, "ads")) {
        ad.remove("invalidReason");  // it tells of what was dropped
        ads.emplace_back(std::move(ad));
    }
    return vkt_JSONStringWithValue(
               VKTArray{valueOf(report, "version"), std::move(ads), valueOf(report, "documentErrorPixels")})
        .value_or("");
}

std::set<std::string> pathsOf(const VKTDictionary& report, const char* list) {
    std::set<std::string> paths;
    for (const VKTDictionary& entry : entriesOf(report, list))
        paths.insert(*valueOf(entry, "path").asString());
    return paths;
}

bool isBelowOneOf(const std::set<std::string>& paths, const std::string& path) {
    for (std::size_t slash = path.find('/', 1); slash != std::string::npos;
         slash = path.find('/', slash + 1)) {
        if (paths.contains(path.substr(0, slash))) return true;
    }
    return false;
}

// Whether a text or attribute of the element stands in the model, which another element may give it as well.
bool isShown(const std::string& markup, const std::string& text, const std::string& model) {
    if (!text.empty()) return model.find(text) != std::string::npos;
    for (std::size_t quote = markup.find('"'); quote != std::string::npos;) {
        const std::size_t end = markup.find('"', quote + 1);
        if (model.find(markup.substr(quote, end - quote + 1)) != std::string::npos) return true;
        quote = markup.find('"', end + 1);
    }
    return false;
}

void guard(const std::string& document) {
    const std::vector<Element> elements = Scanner(document).elements();
    std::vector<std::string> variants{document};
    for (std::size_t i = 1; i < elements.size(); ++i) {
        variants.push_back(document);
        variants.back().erase(elements[i].begin, elements[i].end - elements[i].begin);
    }
    const auto reports = inspected(variants);
    ASSERT_EQ(reports.size(), variants.size());
    const std::string model = modelOf(reports[0]);
    const std::set<std::string> dropped = pathsOf(reports[0], "dropped");
    const std::set<std::string> told = pathsOf(reports[0], "needingAttention");
    std::set<std::string> known;
    std::vector<bool> changes(elements.size());
    for (std::size_t i = elements.size() - 1; i > 0; --i) {  // what is inside an element comes before it
        const Element& element = elements[i];
        known.insert(element.path);
        changes[i] = modelOf(reports[i]) != model;
        bool isExpected = !dropped.contains(element.path);
        if (!isExpected) {
            EXPECT_FALSE(changes[i]) << element.path << " is called dropped, and the model has a part of it";
            continue;
        }
        if (isBelowOneOf(dropped, element.path)) continue;
        if (element.isLeaf) {
            const std::string markup = document.substr(element.begin, element.end - element.begin);
            isExpected = !isShown(markup, element.text, model);
        } else {
            isExpected = false;
            for (std::size_t inside = i + 1; inside < elements.size() && elements[inside].end < element.end;
                 ++inside) {
                const bool isPart = elements[inside].isLeaf && changes[inside];
                isExpected = isExpected || (isPart && !told.contains(elements[inside].path));
            }
        }
        EXPECT_TRUE(changes[i] || !isExpected)
            << element.path << " is not called dropped, and the model has no part of it";
    }
    for (const std::string& path : dropped)
        EXPECT_TRUE(path.ends_with("/text()") || known.contains(path))
            << path << " is no path of the document";
}

std::string textOfFile(const std::string& name) {
    std::ifstream file(std::string(VKTTestPaths::sourceFolder) + "/tests/data/inspect/" + name,
                       std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace

TEST(InspectGuard, WhatIsDroppedHasNoPartInTheModelAndTheRestHas) {
    const DemoDocuments demo("http://ads.test");
    const std::pair<const char*, std::string> documents[] = {
        {"everything.xml", textOfFile("everything.xml")},
        {"pod.xml", textOfFile("pod.xml")},
        {"hiding.xml", textOfFile("hiding.xml")},
        {"only Ad", R"(<VAST version="4.2"><Error>http://ads.test/e</Error><Ad id="no content"/></VAST>)"},
        {"empty Ad", R"(<VAST version="4.2"><Error>http://ads.test/e</Error><Ad/></VAST>)"},
        {"inline", demo.inlineDocument("a")},
        {"measured", demo.measured("omid.js")},
        {"chain", demo.chain(2)},
        {"pod", demo.pod(4, true)},
        {"passback", demo.passback()},
        {"demo root", demo.demoRoot()},
        {"demo wrapper", demo.demoWrapper()},
        {"empty with error", demo.emptyWithError()},
    };
    for (const auto& [name, document] : documents) {
        SCOPED_TRACE(name);
        guard(document);
    }
}
