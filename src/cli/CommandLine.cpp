#include "CommandLine.h"

#include <string_view>

namespace cli {

std::string usage()
{
    return "usage: tamberlin-split [-o DIR] [--ask] [--values] [--password-file FILE] WORKBOOK...\n"
           "       tamberlin-split --list [--password-file FILE] WORKBOOK...\n"
           "Writes every worksheet of every WORKBOOK to DIR/<workbook name>/<sheet name>.xls\n"
           "(DIR defaults to the current folder). Existing files are replaced, or with\n"
           "--ask replaced only when you answer yes. --list prints each workbook's\n"
           "worksheets, one \"WORKBOOK<TAB>SHEET\" line each. --values writes formulas that\n"
           "reach other sheets or workbooks as their last values, so that the copies do\n"
           "not link to their source; names, validations and conditional formats that\n"
           "reach outside are left out, with a note per sheet on standard error.\n"
           "An encrypted workbook is tried with Excel's built-in password, then with each\n"
           "line of FILE in turn, or, with no FILE, the password is asked for when\n"
           "standard input is a terminal.\n";
}

bool parseCommandLine(int argc, char** argv, Options& out, std::string& problem)
{
    bool options = true;
    for (int i = 1; i < argc; ++i) {
        const std::string_view a = argv[i];
        if (options && a == "--") {
            options = false;
        } else if (options && (a == "-h" || a == "--help")) {
            out.help = true;
        } else if (options && a == "--list") {
            out.list = true;
        } else if (options && a == "--ask") {
            out.ask = true;
        } else if (options && a == "--values") {
            out.values = true;
        } else if (options && a == "--password-file") {
            if (i + 1 >= argc) {
                problem = "option --password-file needs a file";
                return false;
            }
            out.passwordFile = argv[++i];
        } else if (options && a.rfind("--password-file=", 0) == 0) {
            out.passwordFile = std::string(a.substr(16));
        } else if (options && (a == "-o" || a == "--output")) {
            if (i + 1 >= argc) {
                problem = "option " + std::string(a) + " needs a folder";
                return false;
            }
            out.outputFolder = argv[++i];
        } else if (options && a.rfind("-o", 0) == 0 && a.size() > 2) {
            out.outputFolder = std::string(a.substr(2));
        } else if (options && a.rfind("--output=", 0) == 0) {
            out.outputFolder = std::string(a.substr(9));
        } else if (options && a.size() > 1 && a[0] == '-') {
            problem = "unknown option " + std::string(a);
            return false;
        } else {
            out.workbooks.emplace_back(a);
        }
    }
    if (!out.help && out.workbooks.empty()) {
        problem = "no workbook given";
        return false;
    }
    if (out.outputFolder.empty()) {
        problem = "the output folder is empty";
        return false;
    }
    return true;
}

}  // namespace cli
