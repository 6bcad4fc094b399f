#include "CommandLine.h"

#include "NameTemplate.h"

#include <charconv>
#include <string_view>

namespace cli {

std::string usage()
{
    return "usage: tamberlin-split [OPTION]... WORKBOOK|FOLDER...\n"
           "       tamberlin-split --list WORKBOOK|FOLDER...\n"
           "Writes every worksheet of every WORKBOOK (and of the workbooks in each FOLDER)\n"
           "to DIR/<workbook name>/<sheet name>.xls, replacing files that exist.\n"
           "  -o, --output DIR      write under DIR, made when missing (default: .)\n"
           "  -r, --recursive       take the workbooks of FOLDERs' subfolders too\n"
           "      --sheet GLOB      keep only sheets matching a GLOB (repeatable; * and ?)\n"
           "      --exclude GLOB    leave out sheets matching GLOB (repeatable)\n"
           "      --skip-hidden     leave out hidden and very hidden sheets\n"
           "      --skip-empty      leave out sheets with no value, formula or drawing\n"
           "      --name TEMPLATE   the path under DIR: {book} {stem} {sheet} {index} {ext}\n"
           "      --keep-extension  same as --name '{book}/{sheet}.{ext}'\n"
           "      --no-clobber      never replace a file; that sheet fails\n"
           "      --ask             ask before replacing a file\n"
           "      --values          write formulas reaching outside a sheet as values\n"
           "      --password-file FILE  passwords for encrypted workbooks, one a line, tried in turn\n"
           "      --dry-run         print what would be written or skipped; write nothing\n"
           "      --json            one JSON object a line on standard output\n"
           "  -j, --jobs N          split N workbooks at once (default: 1)\n"
           "      --list            print each workbook's sheets, WORKBOOK<TAB>SHEET\n"
           "      --version         print the version\n"
           "  -h, --help            print this text\n"
           "Exit status: 0 all written, 1 something failed, 2 usage error.\n";
}

std::string versionText()
{
    return std::string("tamberlin-split (Tamberlin) ") + TAMBERLIN_VERSION + "\n";
}

namespace {

struct Parser {
    int argc;
    char** argv;
    int i = 1;
    std::string& problem;

    // The value of option `a` at argv[i]: "--opt=V", "-oV" or the next
    // argument. False with `problem` set when there is none.
    bool value(std::string_view a, std::string_view longName, std::string_view shortName, std::string& out)
    {
        if (a == longName || (!shortName.empty() && a == shortName)) {
            if (i + 1 >= argc) {
                problem = "option " + std::string(a) + " needs a value";
                return false;
            }
            out = argv[++i];
            return true;
        }
        if (a.size() > longName.size() && a.substr(0, longName.size()) == longName && a[longName.size()] == '=') {
            out = std::string(a.substr(longName.size() + 1));
            return true;
        }
        out = std::string(a.substr(shortName.size()));
        return true;
    }
};

bool isValued(std::string_view a, std::string_view longName, std::string_view shortName = {})
{
    return a == longName || (a.size() > longName.size() && a.substr(0, longName.size() + 1) == std::string(longName) + "=") ||
           (!shortName.empty() && a.substr(0, shortName.size()) == shortName);
}

bool parseJobs(const std::string& text, int& jobs)
{
    const auto r = std::from_chars(text.data(), text.data() + text.size(), jobs);
    return r.ec == std::errc() && r.ptr == text.data() + text.size() && jobs >= 1 && jobs <= 1024;
}

bool flag(std::string_view a, Options& out)
{
    bool* const target = a == "-h" || a == "--help"   ? &out.help
                         : a == "--version"           ? &out.version
                         : a == "--list"              ? &out.list
                         : a == "--ask"               ? &out.ask
                         : a == "--values"            ? &out.values
                         : a == "-r" || a == "--recursive" ? &out.recursive
                         : a == "--skip-hidden"       ? &out.skipHidden
                         : a == "--skip-empty"        ? &out.skipEmpty
                         : a == "--no-clobber"        ? &out.noClobber
                         : a == "--dry-run"           ? &out.dryRun
                         : a == "--json"              ? &out.json
                                                      : nullptr;
    if (target)
        *target = true;
    return target != nullptr;
}

}  // namespace

bool parseCommandLine(int argc, char** argv, Options& out, std::string& problem)
{
    Parser p{argc, argv, 1, problem};
    bool options = true;
    for (; p.i < argc; ++p.i) {
        const std::string_view a = argv[p.i];
        std::string v;
        if (!options || a.size() < 2 || a[0] != '-') {
            out.workbooks.emplace_back(a);
        } else if (a == "--") {
            options = false;
        } else if (flag(a, out)) {
        } else if (a == "--keep-extension") {
            out.name = "{book}/{sheet}.{ext}";
        } else if (isValued(a, "--output", "-o")) {
            if (!p.value(a, "--output", "-o", out.outputFolder))
                return false;
        } else if (isValued(a, "--password-file")) {
            if (!p.value(a, "--password-file", {}, out.passwordFile))
                return false;
        } else if (isValued(a, "--jobs", "-j")) {
            if (!p.value(a, "--jobs", "-j", v))
                return false;
            if (!parseJobs(v, out.jobs)) {
                problem = "--jobs needs a whole number from 1 to 1024, not '" + v + "'";
                return false;
            }
        } else if (isValued(a, "--sheet") || isValued(a, "--exclude") || isValued(a, "--name")) {
            const std::string_view name = a.substr(0, a.find('='));
            if (!p.value(a, name, {}, v))
                return false;
            if (name == "--sheet")
                out.sheets.include.push_back(v);
            else if (name == "--exclude")
                out.sheets.exclude.push_back(v);
            else
                out.name = v;
        } else {
            problem = "unknown option " + std::string(a);
            return false;
        }
    }
    if (out.help || out.version)
        return true;
    if (out.workbooks.empty()) {
        problem = "no workbook given";
        return false;
    }
    if (out.outputFolder.empty()) {
        problem = "the output folder is empty";
        return false;
    }
    if (out.ask && out.jobs > 1) {
        problem = "--ask asks on the terminal, one question at a time: it cannot be used with --jobs above 1";
        return false;
    }
    if (!out.name.empty()) {
        if (const std::string why = templateProblem(out.name); !why.empty()) {
            problem = why;
            return false;
        }
    }
    return true;
}

}  // namespace cli
