// What the documents show of C++ compiles against the public headers.
//
// A fence "```cpp" holds statements, which may be declarations of classes too. Those of one document are one
// function, each in a block within the block of the one before: it sees the names of earlier ones and may use
// them again. What a snippet takes as given stands in Prelude.h. A fence "```cpp FILE" is the text of that
// file, which the build compiles. What is not meant to be compiled is "```text" or another language.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "tests/integration/ToolRun.h"

namespace {

namespace fs = std::filesystem;

struct Fence {
    std::size_t line = 0;
    std::string language = {};
    std::string file = {};  // whose text it is; empty for a snippet
    std::string text = {};
};

std::string readFile(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::vector<Fence> fencesOf(const std::string& document) {
    std::ifstream file(fs::path(VKT_SOURCE_DIR) / document);
    std::vector<Fence> fences;
    std::size_t number = 0;
    bool isInside = false;
    for (std::string line; std::getline(file, line);) {
        ++number;
        const std::size_t start = line.find_first_not_of(' ');
        if (start != std::string::npos && line.compare(start, 3, "```") == 0) {
            isInside = !isInside;
            if (!isInside) continue;
            fences.push_back({number + 1});
            std::istringstream(line.substr(start + 3)) >> fences.back().language >> fences.back().file;
        } else if (isInside) {
            fences.back().text += line + '\n';
        }
    }
    EXPECT_FALSE(isInside) << document << ": a fence has no end";
    return fences;
}

std::vector<std::string> documents() {
    const fs::path root = VKT_SOURCE_DIR;
    std::vector<std::string> documents;
    for (const auto& entry : fs::directory_iterator(root))
        if (entry.path().extension() == ".md") documents.push_back(entry.path().filename());
    for (const auto& entry : fs::recursive_directory_iterator(root / "docs"))
        if (entry.path().extension() == ".md") documents.push_back(fs::relative(entry.path(), root));
    std::sort(documents.begin(), documents.end());
    return documents;
}

// The includes go before the function; their lines stay empty, so that the others keep their numbers.
void append(const Fence& fence, const std::string& document, std::string& includes, std::string& body) {
    const auto place = [&](std::size_t line) {
        return "#line " + std::to_string(line) + " \"" + document + "\"\n";
    };
    body += "{\n" + place(fence.line);
    std::istringstream lines(fence.text);
    std::size_t number = fence.line;
    for (std::string line; std::getline(lines, line); ++number) {
        const bool isInclude = line.starts_with("#include");
        if (isInclude) includes += place(number) + line + '\n';
        body += (isInclude ? "" : line) + '\n';
    }
}

bool isCode(const Fence& fence) {
    return fence.language == "cpp";
}

std::vector<std::string> documentsWithCode() {
    std::vector<std::string> found = documents();
    std::erase_if(found, [](const std::string& document) {
        const auto fences = fencesOf(document);
        return std::none_of(fences.begin(), fences.end(), isCode);
    });
    return found;
}

TEST(Fences, AreOfAKnownLanguageSoThatNoneEscapesTheCompiler) {
    const std::set<std::string> languages{"", "cpp", "cmake", "text", "sh", "json", "xml"};
    for (const std::string& document : documents())
        for (const Fence& fence : fencesOf(document))
            EXPECT_TRUE(languages.contains(fence.language))
                << document << ':' << fence.line - 1 << ": \"" << fence.language
                << R"(" is none of the languages of fences; C++ is "cpp")";
}

class Snippets : public testing::TestWithParam<std::string> {};

TEST_P(Snippets, CompileOrAreTheFileThatTheyName) {
    const std::string& document = GetParam();
    std::string includes;
    std::string body;
    std::size_t count = 0;
    for (const Fence& fence : fencesOf(document)) {
        if (!isCode(fence)) continue;
        if (fence.file.empty()) {
            append(fence, document, includes, body);
            ++count;
        } else {
            EXPECT_EQ(fence.text, readFile(fs::path(VKT_SOURCE_DIR) / fence.file))
                << document << ':' << fence.line << ": this is not the text of " << fence.file;
        }
    }
    const std::string program = R"(#include "tests/snippets/Prelude.h")"
                                "\n" +
                                includes + "void snippets();\nvoid snippets() {\n" + body +
                                std::string(count, '}') + "\n}\n";
    const Outcome compiled = runProgram("cd " VKT_SOURCE_DIR " && " VKT_SNIPPET_COMPILER, "-", program);
    EXPECT_EQ(compiled.status, 0) << compiled.err;
}

std::string nameOf(const testing::TestParamInfo<std::string>& document) {
    std::string name = document.param;
    for (char& character : name)
        if (std::isalnum(static_cast<unsigned char>(character)) == 0) character = '_';
    return name;
}

INSTANTIATE_TEST_SUITE_P(Documents, Snippets, testing::ValuesIn(documentsWithCode()), nameOf);

}  // namespace
