#include "QtPlatform.h"

#include <QApplication>
#include <QMessageBox>

namespace platform::qt {

int QtMessageBox::show(const QString& text, int style)
{
    QMessageBox box(QApplication::activeWindow());
    box.setWindowTitle(QStringLiteral("Tamberlin"));
    box.setText(text);
    box.setTextFormat(Qt::PlainText);
    if (style == mb::YesNoQuestionDefaultNo) {
        box.setIcon(QMessageBox::Question);
        box.setStandardButtons(QMessageBox::Yes | QMessageBox::No);
        box.setDefaultButton(QMessageBox::No);
        box.setEscapeButton(QMessageBox::No);
        return box.exec() == QMessageBox::Yes ? mb::AnswerYes : mb::AnswerNo;
    }
    box.setIcon(QMessageBox::NoIcon);
    box.setStandardButtons(QMessageBox::Ok);
    box.exec();
    return mb::AnswerOk;
}

}  // namespace platform::qt
