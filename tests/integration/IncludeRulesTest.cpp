// The floors of the library, checked against its #include lines.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

namespace {

namespace fs = std::filesystem;

// Lowest first; an include never runs up.
const std::vector<std::string_view> floors = {"foundation",     "platform", "ui",       "core",    "network",
                                              "omruntime",      "vast",     "tracking", "privacy", "config",
                                              "openmeasurement"};

constexpr std::string_view libraryFolder = "VKTCoreKit/";
constexpr std::string_view linuxFolder = "VKTCoreKit/platform/linux/";
constexpr std::string_view testingFolder = "VKTCoreKit/platform/testing/";

struct Include {
    std::string file;  // relative to the source folder, as is the target of a quoted include
    std::string target;
    bool quoted;
};

std::vector<Include> includesUnder(std::string_view folder) {
    std::vector<Include> includes;
    for (const auto& entry : fs::recursive_directory_iterator(fs::path(VKT_SOURCE_DIR) / folder)) {
        const std::string extension = entry.path().extension();
        if (extension != ".h" && extension != ".cpp" && extension != ".inc") continue;
        const std::string file = fs::relative(entry.path(), VKT_SOURCE_DIR).generic_string();
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

// The floor's place in the list; past its end for a folder that is not in it.
std::ptrdiff_t floorOf(std::string_view path) {
    const std::string_view rest = path.substr(libraryFolder.size());
    const std::string_view folder = rest.substr(0, rest.find('/'));
    return std::find(floors.begin(), floors.end(), folder) - floors.begin();
}

std::string place(const Include& include) {
    return include.file + " includes " + include.target;
}

TEST(IncludeRules, LibraryKeepsItsFloors) {
    const std::vector<Include> includes = includesUnder("VKTCoreKit");
    ASSERT_GT(includes.size(), 100U);
    for (const Include& include : includes) {
        if (!include.quoted) {
            const bool isStandard = include.target.find_first_of("./") == std::string::npos;
            EXPECT_TRUE(isStandard || include.file.starts_with(linuxFolder))
                << place(include) << ": only platform/linux includes system and third-party headers";
            continue;
        }
        ASSERT_TRUE(include.target.starts_with(libraryFolder)) << place(include);
        EXPECT_TRUE(fs::exists(fs::path(VKT_SOURCE_DIR) / include.target)) << place(include);
        EXPECT_LT(floorOf(include.file), std::ssize(floors)) << include.file << " stands on no floor";
        EXPECT_LE(floorOf(include.target), floorOf(include.file)) << place(include) << ": runs up";
    }
}

TEST(IncludeRules, PrivateFoldersStayPrivate) {
    for (const std::string_view folder : {"VKTCoreKit", "tools", "examples"}) {
        for (const Include& include : includesUnder(folder)) {
            for (const std::string_view privateFolder : {linuxFolder, testingFolder}) {
                const bool inside = include.file.starts_with(privateFolder);
                EXPECT_TRUE(inside || !include.target.starts_with(privateFolder)) << place(include);
            }
        }
    }
}

}  // namespace
