// kelhost info and the start-up failures of the program, as a real process.
#include <gtest/gtest.h>

#include <fstream>
#include <utility>

#include "tests/host/kelhostrun.h"
#include "tests/support/testprovider.h"

namespace {
TEST(KelhostInfoTest, PrintsTheComponentAndItsClasses)
{
    KelhostRun run = runKelhost("info --component " + shellQuote(KEL_COMPONENT_PATH));
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out,
              "component: PythonComponent\n"
              "identity: {2a761cd5-50f8-49bb-a60f-81a2ca2a588d}\n"
              "build stamp: 2011-10-27 13:41\n"
              "version: 100\n"
              "classes: 2\n"
              "  {0c8d687a-226f-4ce2-8baf-a308387f6410} PythonInitializer\n"
              "  {db53bee4-0d33-44b9-b562-b45106230ba0} ScriptInterpreterPython\n");
    EXPECT_EQ(run.err, "");
    // Without --component the python.so beside the program is loaded.
    KelhostRun byDefault = runKelhost("info");
    EXPECT_EQ(byDefault.status, 0) << byDefault.err;
    EXPECT_EQ(byDefault.out, run.out);
}

TEST(KelhostInfoTest, AMissingOrBrokenComponentIsOneLineAndStatusTwo)
{
    TempDir dir;
    std::ofstream(dir.file("broken.so")) << "not a library";
    const std::pair<const char*, const char*> cases[] = {{"absent.so", "No such file"}, {"broken.so", ""}};
    for (auto [name, reason] : cases) {
        KelhostRun run = runKelhost("info --component " + shellQuote(dir.file(name)));
        EXPECT_EQ(run.status, 2) << name;
        EXPECT_EQ(run.out, "");
        EXPECT_EQ(run.err.rfind("kelhost: cannot load component '" + dir.file(name) + "': ", 0), 0u) << run.err;
        EXPECT_NE(run.err.find(reason), std::string::npos) << run.err;
        EXPECT_EQ(run.err.find('\n'), run.err.size() - 1) << run.err;
    }
}

TEST(KelhostInfoTest, UsageErrorsGiveStatusTwoAndHelpGivesZero)
{
    const struct {
        const char* arguments;
        int status;
        const char* shown;
    } cases[] = {{"", 2, "A subcommand is required"}, {"info --no-such-option", 2, "--no-such-option"},
                 {"run", 2, "file is required"}, {"--help", 0, "--component"}};
    for (const auto& c : cases) {
        KelhostRun run = runKelhost(c.arguments);
        EXPECT_EQ(run.status, c.status) << c.arguments;
        EXPECT_NE((c.status ? run.err : run.out).find(c.shown), std::string::npos) << run.out << run.err;
    }
}
}  // namespace
