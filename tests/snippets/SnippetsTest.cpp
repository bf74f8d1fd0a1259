// What the documents and the comments of public headers show of C++ compiles against the public headers.
//
// A fence "```cpp" holds statements, which may be declarations of classes too. Those of one document are one
// function, each in a block within the block of the one before: it sees the names of earlier ones and may use
// them again. A fence "```cpp declarations" stands before that function. What a snippet takes as given is in
// Prelude.h. A fence "```cpp FILE" is the text of that file, which the build compiles. What is not meant to
// be compiled is "```text" or another language. Headers are one program, each fence a block of its own.
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

bool isHeader(const fs::path& file) {
    return file.extension() == ".h";
}

// Of a header the text of its "///" comments, other lines empty.
std::string markdownOf(const std::string& line, bool isOfHeader) {
    if (!isOfHeader) return line;
    const std::size_t start = line.find("/// ");
    return start == std::string::npos ? "" : line.substr(start + 4);
}

std::vector<Fence> fencesOf(const std::string& document) {
    std::ifstream file(fs::path(VKTTestPaths::sourceFolder) / document);
    std::vector<Fence> fences;
    std::size_t number = 0;
    bool isInside = false;
    for (std::string line; std::getline(file, line);) {
        ++number;
        line = markdownOf(line, isHeader(document));
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

std::vector<std::string> publicHeaders() {
    std::vector<std::string> headers;
    for (const auto& entry :
         fs::recursive_directory_iterator(fs::path(VKTTestPaths::sourceFolder) / "VKTCoreKit"))
        if (isHeader(entry.path())) headers.push_back(fs::relative(entry.path(), VKTTestPaths::sourceFolder));
    std::erase_if(headers, [](const std::string& header) { return header.find("/detail/") != header.npos; });
    return headers;
}

// The snippets of one document, or of headers, as a program.
class Program {
  public:
    // Lines of includes stay empty where they stood, so that the others keep their numbers.
    void add(const Fence& fence, const std::string& document) {
        const auto place = [&](std::size_t line) {
            return "#line " + std::to_string(line) + " \"" + document + "\"\n";
        };
        const bool isStatements = fence.kind.empty();
        std::string& text = isStatements ? statements_ : declarations_;
        text += (isStatements ? "{\n" : "") + place(fence.line);
        std::istringstream lines(fence.text);
        std::size_t number = fence.line;
        for (std::string line; std::getline(lines, line); ++number) {
            const bool isInclude = line.starts_with("#include");
            if (isInclude) includes_ += place(number) + line + '\n';
            text += (isInclude ? "" : line) + '\n';
        }
        if (!isStatements) return;
        if (isHeader(document)) {
            includes_ += "#include <" + document + ">\n";
            text += "}\n";
        } else {
            ++depth_;
        }
    }

    [[nodiscard]] std::string text() const {
        return "#include <tests/snippets/Prelude.h>\n" + includes_ + declarations_ +
               "void snippets();\nvoid snippets() {\n" + statements_ + std::string(depth_ + 1, '}') + '\n';
    }

  private:
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
    std::vector<std::string> files = documents();
    std::ranges::copy(publicHeaders(), std::back_inserter(files));
    for (const std::string& document : files)
        for (const Fence& fence : fencesOf(document))
            EXPECT_TRUE(languages.contains(fence.language))
                << document << ':' << fence.line - 1 << ": \"" << fence.language
                << R"(" is none of the languages of fences; C++ is "cpp")";
}

void compile(const Program& program) {
    const Outcome compiled = runProgram(
        std::string("cd ") + VKTTestPaths::sourceFolder + " && " VKT_SNIPPET_COMPILER, "-", program.text());
    EXPECT_EQ(compiled.status, 0) << compiled.err;
}

class Snippets : public testing::TestWithParam<std::string> {};

TEST_P(Snippets, CompileOrAreTheFileThatTheyName) {
    const std::string& document = GetParam();
    Program program;
    for (const Fence& fence : fencesOf(document)) {
        if (!isCode(fence)) continue;
        if (fence.kind.empty() || fence.kind == "declarations") {
            program.add(fence, document);
        } else {
            EXPECT_EQ(fence.text, readFile(fs::path(VKTTestPaths::sourceFolder) / fence.kind))
                << document << ':' << fence.line << ": this is not the text of " << fence.kind;
        }
    }
    compile(program);
}

TEST(HeaderSnippets, Compile) {
    Program program;
    std::size_t count = 0;
    for (const std::string& header : publicHeaders())
        for (const Fence& fence : fencesOf(header))
            if (isCode(fence)) program.add(fence, header), ++count;
    EXPECT_GT(count, 0U) << "no comment of a header has an example";
    compile(program);
}

std::string nameOf(const testing::TestParamInfo<std::string>& document) {
    std::string name = document.param;
    for (char& character : name)
        if (std::isalnum(static_cast<unsigned char>(character)) == 0) character = '_';
    return name;
}

INSTANTIATE_TEST_SUITE_P(Documents, Snippets, testing::ValuesIn(documentsWithCode()), nameOf);

}  // namespace
