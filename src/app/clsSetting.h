#pragma once
// The program's settings and configurable texts: a key-to-text table loaded
// from Config/Config.cfg when the object is made and written back when it is
// released. The set of keys is exactly what the file held: nothing is added.

#include "scripting/Dictionary.h"

#include <QHash>
#include <QString>

#include <string>
#include <vector>

namespace platform {
class MessageBox;
}

namespace app {

struct QStringHash {
    std::size_t operator()(const QString& s) const noexcept { return qHash(s); }
};

class clsSetting {
public:
    // Loads the file. A missing or unreadable file throws tb::Error (53, 70)
    // naming it; a line without "=" ends the read with the message "Can't
    // Read Setting from config file", and the object keeps the keys before it.
    clsSetting(QString configFilePath, platform::MessageBox& messageBox);
    // Writes the file back, whether or not anything changed; a failure shows
    // "Can't Write Setting to config file" and loses nothing on disk.
    ~clsSetting();
    clsSetting(const clsSetting&) = delete;
    clsSetting& operator=(const clsSetting&) = delete;

    // 1 and the value in retValue; 2 with retValue untouched for an absent key.
    int GetSetting(const QString& KeyName, QString& retValue) const;
    // 1 when the key exists and now holds value; 2 (nothing changed) otherwise.
    int SetSetting(const QString& KeyName, const QString& value);

    const QString& configFilePath() const { return ConfigFilePath; }

private:
    int ReadConfigFile(const QString& path);
    int WriteConfigFile(const QString& path);

    QString ConfigFilePath;
    scripting::Dictionary<QString, QString, QStringHash> SettingTable;
    // The lines a read did not take, from the first line without "=" on; a
    // write puts them back unchanged after the table's own lines.
    std::vector<std::u16string> unreadLines_;
    platform::MessageBox& messageBox_;
};

}  // namespace app
