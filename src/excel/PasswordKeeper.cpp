#include "PasswordKeeper.h"

#include "crypto/Passwords.h"

namespace excel {

crypto::PasswordSupply PasswordKeeper::supplyFor(const std::string& fullName)
{
    current_ = std::make_shared<Opening>();
    current_->fullName = fullName;
    return [this, o = current_]() -> std::optional<std::string> {
        o->last.reset();
        const int step = o->step++;
        if (step == 0)
            o->last = crypto::kDefaultPassword;
        else if (step == 1 && known_.count(o->fullName))
            o->last = known_.at(o->fullName);
        else if (prompter_)
            o->last = prompter_->askPassword(o->fullName, step - 1 - (known_.count(o->fullName) ? 1 : 0));
        return o->last;
    };
}

void PasswordKeeper::opened(const std::string& fullName)
{
    if (current_ && current_->fullName == fullName && current_->last && *current_->last != crypto::kDefaultPassword)
        known_[fullName] = *current_->last;
    current_.reset();
}

}  // namespace excel
