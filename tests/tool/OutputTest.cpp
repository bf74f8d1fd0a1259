#include "ground/Output.h"

#include <gtest/gtest.h>

#include "tests/support/VKTStoreFolder.h"

namespace {

TEST(Output, WritesLinesAndJSONThatCannotHarmAndBytesAsTheyAre) {
    const VKTStoreFolder folder;
    Output out(folder.path());
    out.line("a\nb\x1B[2Jc");
    out.lines({"", "d\xFF"});
    out.JSON(VKTDictionary{{"e", "\x7F\n\u0080\u009F\u00A0\u00DF"}});
    out.bytes("\r\x1B[K");
    EXPECT_EQ(out.finish(), std::nullopt);
    EXPECT_EQ(vkt_contentOf(folder.path()),
              "a b [2Jc\n\nd\uFFFD\n{\n  \"e\": \"\\u007f\\n\\u0080\\u009f\u00A0\u00DF\"\n}\n\r\x1B[K");
}

TEST(Output, RemembersTheFirstProblem) {
    const VKTStoreFolder folder;
    const std::string missing = folder.folder() + "/none/file";
    struct {
        const char* name;
        std::string path;
        JSONReport report;
        std::string problem;
    } const cases[] = {
        {"no folder", missing, VKTValue(1), "cannot write " + missing + ": No such file or directory"},
        {"full disk", "/dev/full", VKTValue(1), "cannot write /dev/full: No space left on device"},
        {"full at once", "/dev/full", std::string(1U << 20U, 'x'),
         "cannot write /dev/full: No space left on device"},
        {"not UTF-8", "/dev/full", "\xFF",
         "cannot write /dev/full: it cannot be written as JSON: it nests too deep or holds text that is not "
         "UTF-8"}};
    for (const auto& each : cases) {
        Output out(each.path);
        out.JSON(each.report);
        out.line("what comes after it changes nothing");
        EXPECT_EQ(out.finish(), each.problem) << each.name;
    }
}

}  // namespace
