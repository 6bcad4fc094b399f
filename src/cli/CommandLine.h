#pragma once
// The command line of tamberlin-split.

#include "SheetPattern.h"

#include <string>
#include <vector>

namespace cli {

struct Options {
    std::string outputFolder = ".";
    bool list = false;
    bool ask = false;     // ask before replacing a file (DisplayAlerts on)
    bool help = false;
    bool version = false;
    bool values = false;  // formulas reaching outside a sheet written as their values
    bool recursive = false;
    bool skipHidden = false;
    bool skipEmpty = false;
    bool noClobber = false;
    bool dryRun = false;
    bool json = false;
    int jobs = 1;
    std::string name;  // --name; empty: the window's rule
    std::string passwordFile;  // --password-file: passwords for encrypted workbooks, one a line
    SheetSelection sheets;
    std::vector<std::string> workbooks;  // workbooks and folders, as given
};

// False with `problem` set when the arguments do not make a command.
bool parseCommandLine(int argc, char** argv, Options& out, std::string& problem);
std::string usage();
// "tamberlin-split (Tamberlin) VERSION"
std::string versionText();

}  // namespace cli
