#pragma once
// The desktop services on Linux with Qt Widgets.

#include "platform/Platform.h"

namespace platform::qt {

class QtMessageBox final : public MessageBox {
public:
    int show(const QString& text, int style) override;
};

class QtFolderBrowser final : public FolderBrowser {
public:
    QString browseForFolder(const QString& title, const QString& root) override;
};

class QtFileDialog final : public FileDialog {
public:
    QString getOpenFileName(const OpenFileRequest& request) override;
};

class XdgShell final : public Shell {
public:
    void openWithDefaultHandler(const QString& target) override;
    bool hasDefaultHandler(const QString& file) override;
    bool startDetached(const QString& program, const QStringList& arguments) override;
};

class QtKeySender final : public KeySender {
public:
    void sendKey(int qtKey) override;
};

// Answers the few lookups the program makes from what the system has: where
// a system-information tool is installed.
class SystemLookup final : public Registry {
public:
    RegistryValue query(const QString& root, const QString& subKey, const QString& valueName) override;
};

class QtPictureLoader final : public PictureLoader {
public:
    std::optional<QImage> load(const QString& path) override;
};

class QtPasswordDialog final : public PasswordDialog {
public:
    std::optional<QString> askPassword(const QString& fileName) override;
};

class QtPlatform final : public Platform {
public:
    MessageBox& messageBox() override { return messageBox_; }
    FolderBrowser& folderBrowser() override { return folderBrowser_; }
    FileDialog& fileDialog() override { return fileDialog_; }
    Shell& shell() override { return shell_; }
    KeySender& keySender() override { return keySender_; }
    Registry& registry() override { return registry_; }
    PictureLoader& pictureLoader() override { return pictureLoader_; }
    PasswordDialog& passwordDialog() override { return passwordDialog_; }

private:
    QtMessageBox messageBox_;
    QtFolderBrowser folderBrowser_;
    QtFileDialog fileDialog_;
    XdgShell shell_;
    QtKeySender keySender_;
    SystemLookup registry_;
    QtPictureLoader pictureLoader_;
    QtPasswordDialog passwordDialog_;
};

}  // namespace platform::qt
