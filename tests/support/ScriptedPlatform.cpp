#include "ScriptedPlatform.h"

#include "platform/PictureFile.h"

#include <QCoreApplication>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QWindow>

namespace support {

int ScriptedMessageBox::show(const QString& text, int style)
{
    shown.push_back({text, style});
    if (style == platform::mb::OkOnly)
        return platform::mb::AnswerOk;
    if (answers.empty()) {
        ++unanswered;
        return platform::mb::AnswerNo;
    }
    const int a = answers.front();
    answers.pop_front();
    return a;
}

QStringList ScriptedMessageBox::texts() const
{
    QStringList out;
    for (const auto& m : shown)
        out.append(m.text);
    return out;
}

QString ScriptedFolderBrowser::browseForFolder(const QString& title, const QString& root)
{
    titles.append(title);
    roots.append(root);
    if (answers.empty())
        return {};
    QString a = answers.front();
    answers.pop_front();
    return a;
}

QString ScriptedFileDialog::getOpenFileName(const platform::OpenFileRequest& request)
{
    requests.push_back(request);
    if (answers.empty())
        return {};
    QString a = answers.front();
    answers.pop_front();
    return a;
}

std::optional<QString> ScriptedPasswordDialog::askPassword(const QString& fileName)
{
    asked.append(fileName);
    if (answers.empty())
        return std::nullopt;
    const bool given = answers.front().has_value();
    const QString a = given ? *answers.front() : QString();
    answers.pop_front();
    if (!given)
        return std::nullopt;
    return a;
}

bool RecordingShell::startDetached(const QString& program, const QStringList& arguments)
{
    started.append((QStringList{program} + arguments).join(QLatin1Char(' ')));
    return startSucceeds && !program.isEmpty();  // as a real start of nothing fails
}

void RecordingKeySender::sendKey(int qtKey)
{
    sent.push_back(qtKey);
    if (!deliver)
        return;
    QObject* target = QGuiApplication::focusObject();
    if (!target)
        target = QGuiApplication::focusWindow();
    if (!target)
        return;
    QCoreApplication::postEvent(target, new QKeyEvent(QEvent::KeyPress, qtKey, Qt::NoModifier));
    QCoreApplication::postEvent(target, new QKeyEvent(QEvent::KeyRelease, qtKey, Qt::NoModifier));
}

platform::RegistryValue TableRegistry::query(const QString& root, const QString& subKey, const QString& valueName)
{
    const QString key = root + QLatin1Char('\\') + subKey + QLatin1Char('\\') + valueName;
    queries.append(key);
    auto it = values.find(key);
    return it == values.end() ? platform::RegistryValue{} : it->second;
}

std::optional<QImage> FilePictureLoader::load(const QString& path)
{
    loaded.append(path);
    return platform::loadPictureFile(path);
}

}  // namespace support
