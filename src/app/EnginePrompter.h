#pragma once

#include "excel/ApplicationObserver.h"
#include "platform/Platform.h"

namespace app {

// Puts the engine's questions to the user as Yes/No message boxes.
class EnginePrompter final : public excel::AlertPrompter {
public:
    explicit EnginePrompter(platform::MessageBox& box) : box_(box) {}
    bool askYesNo(const std::string& text) override
    {
        return box_.show(QString::fromStdString(text), platform::mb::YesNoQuestionDefaultNo) == platform::mb::AnswerYes;
    }

private:
    platform::MessageBox& box_;
};

}  // namespace app
