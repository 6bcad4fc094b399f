// tamberlin-split: the split run from the command line, for machines without
// a display, scripts and benchmarks. It fills a task list and runs the split
// as the window does, through the same code; only its options and its
// output are its own.

#include "CommandLine.h"
#include "SplitRun.h"
#include "platform/sys/LocalTimeZone.h"
#include "platform/sys/MemoryReuse.h"

#include <cstdio>

int main(int argc, char** argv)
{
    cli::Options options;
    std::string problem;
    if (!cli::parseCommandLine(argc, argv, options, problem)) {
        std::fprintf(stderr, "tamberlin-split: %s\n%s", problem.c_str(), cli::usage().c_str());
        return 2;
    }
    if (options.help) {
        std::fputs(cli::usage().c_str(), stdout);
        return 0;
    }
    if (options.version) {
        std::fputs(cli::versionText().c_str(), stdout);
        return 0;
    }
    tb::keepFreedMemory();
    tb::pinLocalTimeZone();
    return cli::run(options);
}
