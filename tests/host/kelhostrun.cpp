#include "tests/host/kelhostrun.h"

#include <cstdlib>
#include <fstream>
#include <sstream>


std::string readFile(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

std::string shellQuote(const std::string& text)
{
    std::string quoted = "'";
    for (char c : text)
        quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return quoted + "'";
}

KelhostRun runKelhost(const std::string& arguments, const std::string& input, const std::string& prefix)
{
    TempDir dir;
    std::ofstream(dir.file("in"), std::ios::binary) << input;
    std::string command = prefix + shellQuote(KELHOST_PATH) + " " + arguments + " <" + shellQuote(dir.file("in")) + " >" +
                          shellQuote(dir.file("out")) + " 2>" + shellQuote(dir.file("err"));
    int status = std::system(command.c_str());
    KelhostRun run;
    // The wait status: the exit code in the second byte when no signal ended it.
    if (status != -1 && (status & 0x7f) == 0)
        run.status = (status >> 8) & 0xff;
    run.out = readFile(dir.file("out"));
    run.err = readFile(dir.file("err"));
    return run;
}

std::string KelhostTest::write(const std::string& name, const std::string& bytes)
{
    std::ofstream(dir.file(name), std::ios::binary) << bytes;
    return dir.file(name);
}
