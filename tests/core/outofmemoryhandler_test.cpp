// Guarded allocation reaches the memory report only through the handler that
// memory/ installs; this binary never names the report, so only the
// foundation's link options bring the handler in.
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "kel/kelarray.h"
#include "platform/platform.h"
#include "tests/support/testprovider.h"

TEST(OutOfMemoryHandler, EveryModuleThatLinksTheFoundationEndsWithTheReport)
{
    // A directory whose name the child finds too: on Windows the child runs
    // the test anew rather than being forked. memory.log goes to the child's
    // current directory.
    const std::filesystem::path logs = std::filesystem::current_path() / "core-test-report";
    std::filesystem::remove_all(logs);
    std::filesystem::create_directories(logs);
    EXPECT_EXIT(
        {
            std::filesystem::current_path(logs);
            // Nobody answers a box in a test: the message goes to standard error.
            kelSyscalls.messageBox = [](const char16_t* message, const char16_t* caption) {
                std::string shown;
                for (const char16_t* text : {caption, u": ", message})
                    for (; *text; ++text)
                        shown += *text < 0x80 ? char(*text) : '?';
                std::fprintf(stderr, "%s\n", shown.c_str());
            };
            qtxMemoryExhausted(4096, -4);
        },
        exitedWithMinusOne, "Out of Memory: While running this function, you have run out of memory");
    // Read in text mode, the way the report was written.
    std::ifstream report(logs / "memory.log");
    std::stringstream text;
    text << report.rdbuf();
    EXPECT_EQ(text.str().rfind("attempted:           4096b\n", 0), 0u) << text.str();
    report.close();
    std::filesystem::remove_all(logs);
}
