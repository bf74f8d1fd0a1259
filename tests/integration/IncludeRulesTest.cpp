// The floors of the library and the rooms of the tool, checked against their #include lines.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "ToolRun.h"
#include "tests/support/VKTTestPaths.h"

namespace {

namespace fs = std::filesystem;

constexpr std::string_view libraryFolder = "VKTCoreKit/";
constexpr std::string_view toolFolder = "tools/vkt/";

using Floors = std::map<std::string, std::set<std::string>>;  // what each may include

std::string contentOf(const std::string& path) {
    std::ifstream stream(fs::path(VKTTestPaths::sourceFolder) / path);
    EXPECT_TRUE(stream) << path;
    return {std::istreambuf_iterator<char>(stream), {}};
}

// "core: foundation platform" and so on, without the comment.
std::string rowsOfFloors() {
    const std::string text = contentOf("cmake/floors.txt");
    return text.substr(text.find("\nfoundation:") + 1);
}

struct Include {
    std::string file;  // relative to the source folder
    std::string target;
    bool quoted;
};

std::vector<Include> includesUnder(std::string_view folder) {
    std::vector<Include> includes;
    for (const auto& entry :
         fs::recursive_directory_iterator(fs::path(VKTTestPaths::sourceFolder) / folder)) {
        const std::string extension = entry.path().extension();
        if (extension != ".h" && extension != ".cpp" && extension != ".inc") continue;
        const std::string file = fs::relative(entry.path(), VKTTestPaths::sourceFolder).generic_string();
        std::ifstream stream(entry.path());
        constexpr std::string_view keyword = "#include ";
        for (std::string text; std::getline(stream, text);) {
            if (!text.starts_with(keyword)) continue;
            const bool quoted = text[keyword.size()] == '"';
            const std::string target = text.substr(keyword.size() + 1);
            includes.push_back({file, target.substr(0, target.find(quoted ? '"' : '>')), quoted});
        }
    }
    return includes;
}

// As the file of floors names the folder of a file.
std::string floorOf(std::string_view file) {
    if (file.starts_with(libraryFolder)) file.remove_prefix(libraryFolder.size());
    file = file.substr(0, file.rfind('/'));
    if (file.ends_with("/detail")) file.remove_suffix(std::string_view("/detail").size());
    return std::string(file);
}

// The project's own file that is included; empty for one of others.
std::string ownTarget(const Include& include) {
    if (include.target.starts_with(libraryFolder)) return include.target;
    const bool isOfTheTool = include.quoted && include.file.starts_with(toolFolder);
    return isOfTheTool ? std::string(toolFolder) + include.target : "";
}

std::string place(const Include& include) {
    return include.file + " includes " + include.target;
}

TEST(IncludeRules, FloorsAllowWhatOccursAndNothingElse) {
    Floors occurring;
    for (const std::string_view folder : {"VKTCoreKit", "tools", "examples"}) {
        for (const Include& include : includesUnder(folder)) {
            auto& included = occurring[floorOf(include.file)];
            const std::string target = ownTarget(include);
            if (target.empty()) continue;
            EXPECT_TRUE(fs::exists(fs::path(VKTTestPaths::sourceFolder) / target)) << place(include);
            if (floorOf(target) != floorOf(include.file)) included.insert(floorOf(target));
        }
    }
    Floors allowed;
    std::istringstream rows(rowsOfFloors());
    for (std::string row; std::getline(rows, row);) {
        const std::string floor = row.substr(0, row.find(':'));
        EXPECT_TRUE(occurring.contains(floor)) << "cmake/floors.txt: there is no such folder: " << row;
        allowed[floor];
        std::istringstream names(row.substr(floor.size() + 1));
        for (std::string name; names >> name;) {
            EXPECT_TRUE(allowed.contains(name)) << row << ": " << name << " stands on no floor below";
            EXPECT_TRUE(occurring[floor].contains(name))
                << "cmake/floors.txt: no file of " << floor << " includes " << name
                << ": take it out of the row";
            allowed[floor].insert(name);
        }
    }
    for (const auto& [floor, included] : occurring) {
        EXPECT_TRUE(allowed.contains(floor)) << "cmake/floors.txt has no row for " << floor;
        for (const std::string& name : included)
            EXPECT_TRUE(allowed[floor].contains(name))
                << "cmake/floors.txt does not allow " << floor << " to include " << name;
    }
}

struct RuleCase {
    const char* name;
    std::string file;
    const char* include;
    bool isAllowed;
};

class FloorCheck : public testing::TestWithParam<RuleCase> {
  protected:
    FloorCheck() : folder_(fs::path(testing::TempDir()) / ("vkt-floors-" + std::to_string(getpid()))) {
        write("cmake/floors.txt", "foundation:\ncore: foundation\ntools/vkt: core\nexamples: core\n");
    }
    ~FloorCheck() override { fs::remove_all(folder_); }

    void write(const std::string& path, const std::string& text) const {
        fs::create_directories((folder_ / path).parent_path());
        std::ofstream(folder_ / path) << text;
    }

    [[nodiscard]] Outcome check() const {
        return runProgram(VKT_CMAKE, "-D SOURCE_DIR=" + folder_.string() +
                                         " -D STAMP=" + (folder_ / "stamp").string() + " -P " +
                                         VKTTestPaths::sourceFolder + "/cmake/CheckFloors.cmake");
    }

  private:
    fs::path folder_;
};

TEST_P(FloorCheck, AllowsOrNamesTheInclude) {
    const RuleCase& rule = GetParam();
    write(rule.file, std::string("#include \"") + rule.include + "\"\n");
    const Outcome outcome = check();
    EXPECT_EQ(outcome.status == 0, rule.isAllowed) << outcome.err;
    EXPECT_EQ(outcome.err.find(rule.file) == std::string::npos, rule.isAllowed) << outcome.err;
}

constexpr const char* publicHeader = "VKTCoreKit/core/A.h";
constexpr const char* internalHeader = "VKTCoreKit/core/detail/A.h";
INSTANTIATE_TEST_SUITE_P(
    Includes, FloorCheck,
    testing::Values(RuleCase{"AFloorBelow", "VKTCoreKit/core/A.h", "VKTCoreKit/foundation/B.h", true},
                    RuleCase{"AFloorAbove", "VKTCoreKit/foundation/A.h", publicHeader, false},
                    RuleCase{"AFolderWithoutARow", "VKTCoreKit/new/A.h", publicHeader, false},
                    RuleCase{"DetailInASource", "VKTCoreKit/core/B.cpp", internalHeader, true},
                    RuleCase{"DetailInDetail", "VKTCoreKit/core/detail/B.h", internalHeader, true},
                    RuleCase{"DetailOfAFloorAbove", "VKTCoreKit/foundation/B.cpp", internalHeader, false},
                    RuleCase{"DetailInAPublicHeader", "VKTCoreKit/core/B.h", internalHeader, false},
                    RuleCase{"DetailInTheTool", "tools/vkt/B.cpp", internalHeader, false},
                    RuleCase{"DetailInAnExample", "examples/B.cpp", internalHeader, false}),
    [](const auto& each) { return each.param.name; });

TEST(IncludeRules, ArchitectureQuotesTheFloors) {
    EXPECT_NE(contentOf("docs/architecture.md").find("```text\n" + rowsOfFloors() + "```"), std::string::npos)
        << "copy the rows of cmake/floors.txt";
}

// The contract suites include their test framework, and nothing else.
TEST(IncludeRules, OnlyTheLinuxPlatformIncludesSystemAndThirdPartyHeaders) {
    for (const Include& include : includesUnder("VKTCoreKit")) {
        const bool isStandard = include.target.find_first_of("./") == std::string::npos;
        const bool isAllowed = include.quoted || isStandard ||
                               include.file.starts_with("VKTCoreKit/platform/linux/") ||
                               (include.file.starts_with("VKTCoreKit/platform/testing/contract/") &&
                                include.target == "gtest/gtest.h");
        EXPECT_TRUE(isAllowed) << place(include);
        EXPECT_TRUE(!include.quoted || include.target.starts_with(libraryFolder)) << place(include);
    }
}

TEST(IncludeRules, AdBreaksUseOnlyWhatTheyAreGiven) {
    for (const auto& entry :
         fs::recursive_directory_iterator(fs::path(VKTTestPaths::sourceFolder) / "VKTCoreKit/player")) {
        if (entry.path().extension() != ".cpp") continue;
        const std::string file = fs::relative(entry.path(), VKTTestPaths::sourceFolder).generic_string();
        std::istringstream lines(contentOf(file));
        for (std::string line; std::getline(lines, line);) {
            const bool isShared = line.find("VKTPlatform::current") != std::string::npos ||
                                  (line.find("sharedInstance") != std::string::npos &&
                                   line.find("VKTLog::sharedInstance") == std::string::npos);
            EXPECT_FALSE(isShared) << file << ": " << line;
        }
    }
}

}  // namespace
