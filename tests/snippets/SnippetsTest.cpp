// What the documents show of C++ compiles against the public headers.
//
// A fence "```cpp" holds statements, which may be declarations of classes too. Those of one document are one
// function, each in a block within the block of the one before: it sees the names of earlier ones and may use
// them again. A fence "```cpp declarations" stands before that function. What a snippet takes as given is in
// Prelude.h. A fence "```cpp FILE" is the text of that file, which the build compiles. What is not meant to
// be compiled is "```text" or another language.
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
#include "tests/support/VKTTestPaths.h"

namespace {

namespace fs = std::filesystem;

struct Fence {
    std::size_t line = 0;
    std::string language = {};
    std::string kind = {};  // empty, "declarations", or the file whose text it is
    std::string text = {};
};

std::string readFile(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::vector<Fence> fencesOf(const std::string& document) {
    std::ifstream file(fs::path(VKTTestPaths::sourceFolder) / document);
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
            std::istringstream(line.substr(start + 3)) >> fences.back().language >> fences.back().kind;
        } else if (isInside) {
            fences.back().text += line + '\n';
        }
    }
    EXPECT_FALSE(isInside) << document << ": a fence has no end";
    return fences;
}

std::vector<std::string> documents() {
    const fs::path root = VKTTestPaths::sourceFolder;
    std::vector<std::string> documents;
    for (const auto& entry : fs::directory_iterator(root))
        if (entry.path().extension() == ".md") documents.push_back(entry.path().filename());
    for (const auto& entry : fs::recursive_directory_iterator(root / "docs"))
        if (entry.path().extension() == ".md") documents.push_back(fs::relative(entry.path(), root));
    std::sort(documents.begin(), documents.end());
    return documents;
}

// The snippets of one document as a program.
class Program {
  public:
    explicit Program(const std::string& document) : document_(document) {}

    // Lines of includes stay empty where they stood, so that the others keep their numbers.
    void add(const Fence& fence) {
        const bool isStatements = fence.kind.empty();
        if (isStatements) ++depth_;
        std::string& text = isStatements ? statements_ : declarations_;
        text += (isStatements ? "{\n" : "") + place(fence.line);
        std::istringstream lines(fence.text);
        std::size_t number = fence.line;
        for (std::string line; std::getline(lines, line); ++number) {
            const bool isInclude = line.starts_with("#include");
            if (isInclude) includes_ += place(number) + line + '\n';
            text += (isInclude ? "" : line) + '\n';
        }
    }

    [[nodiscard]] std::string text() const {
        return "#include <tests/snippets/Prelude.h>\n" + includes_ + declarations_ +
               "void snippets();\nvoid snippets() {\n" + statements_ + std::string(depth_ + 1, '}') + '\n';
    }

  private:
    [[nodiscard]] std::string place(std::size_t line) const {
        return "#line " + std::to_string(line) + " \"" + document_ + "\"\n";
    }

    const std::string document_;
    std::string includes_;
    std::string declarations_;
    std::string statements_;
    std::size_t depth_ = 0;
};

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
    Program program(document);
    for (const Fence& fence : fencesOf(document)) {
        if (!isCode(fence)) continue;
        if (fence.kind.empty() || fence.kind == "declarations") {
            program.add(fence);
        } else {
            EXPECT_EQ(fence.text, readFile(fs::path(VKTTestPaths::sourceFolder) / fence.kind))
                << document << ':' << fence.line << ": this is not the text of " << fence.kind;
        }
    }
    const Outcome compiled = runProgram(
        std::string("cd ") + VKTTestPaths::sourceFolder + " && " VKT_SNIPPET_COMPILER, "-", program.text());
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
