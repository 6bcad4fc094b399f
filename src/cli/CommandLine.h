#pragma once
// The command line of tamberlin-split.

#include <string>
#include <vector>

namespace cli {

struct Options {
    std::string outputFolder = ".";
    bool list = false;
    bool ask = false;     // ask before replacing a file (DisplayAlerts on)
    bool help = false;
    bool values = false;  // formulas reaching outside a sheet written as their values
    std::string passwordFile;  // --password-file: passwords for encrypted workbooks, one a line
    std::vector<std::string> workbooks;
};

// False with `problem` set when the arguments do not make a command.
bool parseCommandLine(int argc, char** argv, Options& out, std::string& problem);
std::string usage();

}  // namespace cli
