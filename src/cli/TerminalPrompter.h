#pragma once

#include "excel/ApplicationObserver.h"

#include <cstdio>
#include <fstream>
#include <string>

namespace cli {

// The question before replacing a file, put on the terminal; with no
// terminal the answer is No.
class TerminalPrompter final : public excel::AlertPrompter {
public:
    bool askYesNo(const std::string& text) override
    {
        std::ifstream tty("/dev/tty");
        if (!tty)
            return false;
        std::fprintf(stderr, "%s [y/N] ", text.c_str());
        std::fflush(stderr);
        std::string answer;
        std::getline(tty, answer);
        return !answer.empty() && (answer[0] == 'y' || answer[0] == 'Y');
    }
};

}  // namespace cli
