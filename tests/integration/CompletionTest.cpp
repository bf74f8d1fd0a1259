// What bash offers after a part of a command line.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "tests/integration/ToolRun.h"
#include "tests/support/VKTStoreFolder.h"
#include "tests/support/VKTTestPaths.h"

namespace {

struct CompletionCase {
    const char* name;
    const char* words;    ///< behind the tool, as bash splits them; the last one is to be completed
    const char* offered;  ///< with a space between two
};

class Completion : public testing::TestWithParam<CompletionCase> {
  protected:
    Completion() {
        std::ofstream(folder_.folder() + "/ad.xml") << "<VAST/>";
        std::filesystem::create_directory(folder_.folder() + "/ads");
    }

    const VKTStoreFolder folder_;
};

TEST_P(Completion, OffersWhatTheHelpNames) {
    const std::string script = "cd " + folder_.folder() + " && source " + VKTTestPaths::sourceFolder +
                               "/tools/vkt/completion/vkt.bash && COMP_WORDS=(" + VKTTestPaths::tool + " " +
                               GetParam().words +
                               ") && COMP_CWORD=$((${#COMP_WORDS[@]} - 1)) && _vkt && echo ${COMPREPLY[*]}";
    const Outcome outcome = runProgram("bash", "-c '" + script + "'");
    EXPECT_EQ(outcome.out, GetParam().offered + std::string("\n"));
    EXPECT_EQ(outcome.err, "");
}

INSTANTIATE_TEST_SUITE_P(
    Bash, Completion,
    testing::Values(CompletionCase{"commands", "p", "play pixels privacy"},
                    CompletionCase{"optionsOfTheTool", "--", "--help --version"},
                    CompletionCase{"optionsOfACommand", "play --m",
                                   "--max-wrappers --macro --measure --mute-at"},
                    CompletionCase{"optionNamedInADescription", "inspect --l", "--lines"},
                    CompletionCase{"closedSet", "log --level w", "warning"},
                    CompletionCase{"closedSetBehindEquals", "log --level = i", "info"},
                    CompletionCase{"closedSetBehindEqualsAlone", "log --level =", "debug info warning error"},
                    CompletionCase{"fileOfAnOption", "pixels --store ad", "ad.xml ads"},
                    CompletionCase{"folderOfAnOption", "serve --root ad", "ads"},
                    CompletionCase{"sourceBehindAFlag", "inspect --json ad.x", "ad.xml"},
                    CompletionCase{"nothingForANumber", "play --speed a", ""},
                    CompletionCase{"nothingForAURL", "log ad", ""}),
    [](const auto& test) { return std::string(test.param.name); });

}  // namespace
