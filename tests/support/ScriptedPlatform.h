#pragma once
// A platform that answers from a script and records what the program asked,
// so tests drive the real logic with no display and no user.

#include "platform/Platform.h"

#include <QStringList>

#include <deque>
#include <map>

namespace support {

struct ShownMessage {
    QString text;
    int style;
};

class ScriptedMessageBox final : public platform::MessageBox {
public:
    int show(const QString& text, int style) override;
    // Answers for the next questions (6 Yes, 7 No); a question with no answer
    // queued is answered No, and `unanswered` counts it.
    std::deque<int> answers;
    std::vector<ShownMessage> shown;
    int unanswered = 0;
    QStringList texts() const;
};

class ScriptedFolderBrowser final : public platform::FolderBrowser {
public:
    QString browseForFolder(const QString& title, const QString& root) override;
    std::deque<QString> answers;  // "" is a cancel; none queued is a cancel too
    QStringList titles;
    QStringList roots;
};

class ScriptedFileDialog final : public platform::FileDialog {
public:
    QString getOpenFileName(const platform::OpenFileRequest& request) override;
    std::deque<QString> answers;
    std::vector<platform::OpenFileRequest> requests;
};

class RecordingShell final : public platform::Shell {
public:
    void openWithDefaultHandler(const QString& target) override { opened.append(target); }
    bool hasDefaultHandler(const QString&) override { return handlerRegistered; }
    bool startDetached(const QString& program, const QStringList& arguments) override;
    QStringList opened;
    QStringList started;  // program and arguments joined by blanks
    bool startSucceeds = true;
    bool handlerRegistered = true;  // false: the desktop has no program for the file's type
};

class RecordingKeySender final : public platform::KeySender {
public:
    void sendKey(int qtKey) override;
    std::vector<int> sent;
    bool deliver = true;  // post the key to the active window as the real one does
};

class TableRegistry final : public platform::Registry {
public:
    platform::RegistryValue query(const QString& root, const QString& subKey, const QString& valueName) override;
    std::map<QString, platform::RegistryValue> values;  // key: root\subKey\valueName
    QStringList queries;
};

class FilePictureLoader final : public platform::PictureLoader {
public:
    std::optional<QImage> load(const QString& path) override;
    QStringList loaded;
};

class ScriptedPasswordDialog final : public platform::PasswordDialog {
public:
    std::optional<QString> askPassword(const QString& fileName) override;
    std::deque<std::optional<QString>> answers;  // nothing is a Cancel; none queued is a Cancel too
    QStringList asked;                           // the file names shown
};

class ScriptedPlatform final : public platform::Platform {
public:
    platform::MessageBox& messageBox() override { return messages; }
    platform::FolderBrowser& folderBrowser() override { return folders; }
    platform::FileDialog& fileDialog() override { return files; }
    platform::Shell& shell() override { return shellService; }
    platform::KeySender& keySender() override { return keys; }
    platform::Registry& registry() override { return registryService; }
    platform::PictureLoader& pictureLoader() override { return pictures; }
    platform::PasswordDialog& passwordDialog() override { return passwords; }

    ScriptedMessageBox messages;
    ScriptedFolderBrowser folders;
    ScriptedFileDialog files;
    RecordingShell shellService;
    RecordingKeySender keys;
    TableRegistry registryService;
    FilePictureLoader pictures;
    ScriptedPasswordDialog passwords;
};

}  // namespace support
