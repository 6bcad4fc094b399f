#include "QtPlatform.h"

#include <QApplication>
#include <QInputDialog>
#include <QLineEdit>

namespace platform::qt {

std::optional<QString> QtPasswordDialog::askPassword(const QString& fileName)
{
    QInputDialog dialog(QApplication::activeWindow());
    dialog.setWindowTitle(QStringLiteral("Password"));
    dialog.setLabelText(QStringLiteral("'%1' is protected.").arg(fileName));
    dialog.setTextEchoMode(QLineEdit::Password);
    dialog.setInputMode(QInputDialog::TextInput);
    if (dialog.exec() != QDialog::Accepted)
        return std::nullopt;
    return dialog.textValue();
}

}  // namespace platform::qt
