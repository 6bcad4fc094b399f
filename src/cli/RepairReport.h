#pragma once
// The command line's word on damaged workbooks that were read all the same:
// "Book.xls: repaired: <sentence>" on standard error, once per workbook and
// kind of repair however often the workbook is opened.

#include <cstdio>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace cli {

class RepairReport {
public:
    explicit RepairReport(std::FILE* out = stderr) : out_(out) {}

    // Prints the sentences of `repairs` not yet printed for the workbook at
    // `fullName`, under its file name `name`.
    void report(const std::string& fullName, const std::string& name, const std::vector<std::string>& repairs);

private:
    std::FILE* out_;
    std::set<std::pair<std::string, std::string>> printed_;  // full name, sentence
};

}  // namespace cli
