#pragma once
// How the command line answers the engine's question for a password: the
// passwords of --password-file, each tried in turn on every encrypted
// workbook; else, when standard input is a terminal, a prompt that does not
// echo what is typed; else no password at all.

#include "excel/PasswordPrompter.h"

#include <string>
#include <vector>

namespace cli {

class PasswordPrompt final : public excel::PasswordPrompter {
public:
    // `fromFile` empty: ask on the terminal, if standard input is one.
    explicit PasswordPrompt(std::vector<std::string> fromFile, bool fileGiven);
    std::optional<std::string> askPassword(const std::string& fullName, int attempt) override;
    // No more prompts, only what the file gave and what was typed before: for
    // the worker processes of a parallel run, which share the terminal.
    void stopAsking() { terminal_ = false; }

private:
    std::vector<std::string> fromFile_;
    bool fileGiven_;
    bool terminal_ = true;
    std::vector<std::string> typed_;  // answers typed so far, tried first on the next workbook
    std::size_t replayed_ = 0;        // how many of them the workbook being opened is tried with
};

// Shows `prompt` on standard error and reads one line from standard input
// with echo off; nothing at end of input.
std::optional<std::string> readHiddenLine(const std::string& prompt);

}  // namespace cli
