#pragma once

#include <optional>
#include <string>

namespace excel {

// Asks the user for the password of an encrypted workbook, as Excel's
// Workbooks.Open does, once the built-in password and those the engine
// holds have not opened it.
class PasswordPrompter {
public:
    virtual ~PasswordPrompter() = default;
    // A password for the workbook at `fullName`, or nothing when the user
    // gives none (cancelled, no more passwords). `attempt` counts the asks
    // for this opening, from 0: an answer that failed is followed by another ask.
    virtual std::optional<std::string> askPassword(const std::string& fullName, int attempt) = 0;
};

}  // namespace excel
