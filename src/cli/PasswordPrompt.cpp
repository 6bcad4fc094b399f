#include "PasswordPrompt.h"

#include <cstdio>
#include <filesystem>
#include <iostream>
#include <termios.h>
#include <unistd.h>

namespace cli {

namespace {
constexpr int kTerminalTries = 3;  // as sudo and ssh allow
}

PasswordPrompt::PasswordPrompt(std::vector<std::string> fromFile, bool fileGiven)
    : fromFile_(std::move(fromFile)), fileGiven_(fileGiven)
{
}

std::optional<std::string> PasswordPrompt::askPassword(const std::string& fullName, int attempt)
{
    if (fileGiven_) {
        if (attempt < 0 || static_cast<std::size_t>(attempt) >= fromFile_.size())
            return std::nullopt;
        return fromFile_[static_cast<std::size_t>(attempt)];
    }
    // What was typed for the workbooks before is tried first: a folder's
    // workbooks often share one password.
    if (attempt == 0)
        replayed_ = typed_.size();
    if (attempt >= 0 && static_cast<std::size_t>(attempt) < replayed_)
        return typed_[static_cast<std::size_t>(attempt)];
    const int asked = attempt - static_cast<int>(replayed_);
    if (!terminal_ || asked >= kTerminalTries || !::isatty(STDIN_FILENO))
        return std::nullopt;
    // The word on a wrong password is part of the prompt, so that it too shows
    // only once echo is off and input typed ahead is flushed.
    const std::string prompt = std::string(asked > 0 ? "That password does not open it.\n" : "") + "Password for '" +
                               std::filesystem::path(fullName).filename().string() + "': ";
    std::optional<std::string> line = readHiddenLine(prompt);
    std::fputc('\n', stderr);
    if (!line || line->empty())
        return std::nullopt;  // an empty answer gives up on this workbook
    typed_.push_back(*line);
    return line;
}

std::optional<std::string> readHiddenLine(const std::string& prompt)
{
    // Echo goes off before the prompt shows, so that nothing typed after it is seen.
    termios saved{};
    const bool terminal = ::tcgetattr(STDIN_FILENO, &saved) == 0;
    if (terminal) {
        termios quiet = saved;
        quiet.c_lflag &= static_cast<tcflag_t>(~ECHO);
        ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &quiet);
    }
    std::fputs(prompt.c_str(), stderr);
    std::fflush(stderr);
    std::string line;
    const bool got = static_cast<bool>(std::getline(std::cin, line));
    if (terminal)
        ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &saved);
    if (!got)
        return std::nullopt;
    if (!line.empty() && line.back() == '\r')
        line.pop_back();
    return line;
}

}  // namespace cli
