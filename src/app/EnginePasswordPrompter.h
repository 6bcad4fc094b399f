#pragma once

#include "excel/PasswordPrompter.h"
#include "platform/Platform.h"

#include <QFileInfo>

namespace app {

// Asks for an encrypted workbook's password in the password dialog, once
// for each opening, as Excel's Workbooks.Open does: a wrong password or
// Cancel ends the opening with the usual error report.
class EnginePasswordPrompter final : public excel::PasswordPrompter {
public:
    explicit EnginePasswordPrompter(platform::PasswordDialog& dialog) : dialog_(dialog) {}
    std::optional<std::string> askPassword(const std::string& fullName, int attempt) override
    {
        if (attempt > 0)
            return std::nullopt;
        const std::optional<QString> answer =
            dialog_.askPassword(QFileInfo(QString::fromStdString(fullName)).fileName());
        if (!answer)
            return std::nullopt;
        return answer->toStdString();
    }

private:
    platform::PasswordDialog& dialog_;
};

}  // namespace app
