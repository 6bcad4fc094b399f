#pragma once
// Every service the program asks of the desktop, each behind one interface.
// The program reaches them only through a Platform; the desktop version comes
// from createPlatform(), and tests hand in a scripted one.

#include <QImage>
#include <QString>
#include <QStringList>

#include <memory>
#include <optional>

namespace platform {

// Message box styles and answers, as the program has always numbered them.
namespace mb {
inline constexpr int OkOnly = 0;
inline constexpr int YesNoQuestionDefaultNo = 292;  // 4 (Yes/No) + 32 (question) + 256 (second button default)
inline constexpr int AnswerOk = 1;
inline constexpr int AnswerYes = 6;
inline constexpr int AnswerNo = 7;
}  // namespace mb

class MessageBox {
public:
    virtual ~MessageBox() = default;
    // Modal; the title is always the application's. Answers 1, 6 or 7.
    virtual int show(const QString& text, int style) = 0;
};

class FolderBrowser {
public:
    virtual ~FolderBrowser() = default;
    // A chosen existing folder, or the empty text when cancelled.
    virtual QString browseForFolder(const QString& title, const QString& root) = 0;
};

struct OpenFileRequest {
    QString title;
    QString filterLabel;          // what the filter list shows
    QStringList filterPatterns;   // e.g. "*.xls", matched with case ignored
    QString initialDir;
};

class FileDialog {
public:
    virtual ~FileDialog() = default;
    // One path, or the empty text when cancelled. A typed name that does not
    // exist is answered as typed.
    virtual QString getOpenFileName(const OpenFileRequest& request) = 0;
};

class Shell {
public:
    virtual ~Shell() = default;
    // Hands a file, folder or URL to the desktop's default handler, detached;
    // the outcome is not waited for.
    virtual void openWithDefaultHandler(const QString& target) = 0;
    // True when the desktop has a program registered for files of this
    // file's type, so that handing it over opens something.
    virtual bool hasDefaultHandler(const QString& file) = 0;
    // Starts a program detached. False when it could not be started.
    virtual bool startDetached(const QString& program, const QStringList& arguments) = 0;
};

class KeySender {
public:
    virtual ~KeySender() = default;
    // Posts a key press (a Qt::Key) to the active window, as if typed.
    virtual void sendKey(int qtKey) = 0;
};

// Answers of a registry-style lookup. Type numbers as the registry has them.
namespace reg {
inline constexpr long Success = 0;
inline constexpr long NotFound = 2;
inline constexpr int TypeString = 1;      // REG_SZ
inline constexpr int TypeDword = 4;       // REG_DWORD
}  // namespace reg

struct RegistryValue {
    long status = reg::NotFound;
    int type = 0;
    QByteArray data;  // raw bytes, a string with its terminating NUL
};

class Registry {
public:
    virtual ~Registry() = default;
    // `root` is "HKEY_LOCAL_MACHINE" or the like.
    virtual RegistryValue query(const QString& root, const QString& subKey, const QString& valueName) = 0;
};

class PictureLoader {
public:
    virtual ~PictureLoader() = default;
    // The largest image of an icon or cursor file; nothing when the file is
    // missing or unreadable.
    virtual std::optional<QImage> load(const QString& path) = 0;
};

class PasswordDialog {
public:
    virtual ~PasswordDialog() = default;
    // Modal: "'<fileName>' is protected.", a masked field, OK and Cancel.
    // The password typed, or nothing on Cancel.
    virtual std::optional<QString> askPassword(const QString& fileName) = 0;
};

struct Platform {
    virtual ~Platform() = default;
    virtual MessageBox& messageBox() = 0;
    virtual FolderBrowser& folderBrowser() = 0;
    virtual FileDialog& fileDialog() = 0;
    virtual Shell& shell() = 0;
    virtual KeySender& keySender() = 0;
    virtual Registry& registry() = 0;
    virtual PictureLoader& pictureLoader() = 0;
    virtual PasswordDialog& passwordDialog() = 0;
};

}  // namespace platform
