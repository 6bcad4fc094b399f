#pragma once
// The passwords the engine tries on an encrypted workbook, in order: Excel's
// built-in one, silently; the one that opened the same file before, held in
// memory while the engine runs and never written anywhere; then the user's,
// through the prompter.

#include "PasswordPrompter.h"
#include "crypto/PasswordSupply.h"

#include <map>
#include <memory>
#include <string>

namespace excel {

class PasswordKeeper {
public:
    void setPrompter(PasswordPrompter* prompter) { prompter_ = prompter; }

    // The supply for one opening of `fullName`.
    crypto::PasswordSupply supplyFor(const std::string& fullName);
    // After an opening succeeded: keeps the password that opened it.
    void opened(const std::string& fullName);

private:
    struct Opening {
        std::string fullName;
        int step = 0;
        std::optional<std::string> last;  // the password given last
    };

    PasswordPrompter* prompter_ = nullptr;
    std::map<std::string, std::string> known_;
    std::shared_ptr<Opening> current_;
};

}  // namespace excel
