#include "clsSetting.h"

#include "platform/Platform.h"
#include "platform/sys/Error.h"
#include "scripting/TextStream.h"

#include <filesystem>

namespace app {

namespace {
std::filesystem::path toPath(const QString& s) { return std::filesystem::path(s.toStdString()); }
}  // namespace

clsSetting::clsSetting(QString configFilePath, platform::MessageBox& messageBox)
    : ConfigFilePath(std::move(configFilePath)), messageBox_(messageBox)
{
    if (ReadConfigFile(ConfigFilePath) != 1)
        messageBox_.show(QStringLiteral("Can't Read Setting from config file"), platform::mb::OkOnly);
}

clsSetting::~clsSetting()
{
    int result = 0;
    try {
        result = WriteConfigFile(ConfigFilePath);
    } catch (...) {
        result = 0;
    }
    if (result != 1) {
        try {
            messageBox_.show(QStringLiteral("Can't Write Setting to config file"), platform::mb::OkOnly);
        } catch (...) {
        }
    }
}

int clsSetting::GetSetting(const QString& KeyName, QString& retValue) const
{
    auto item = SettingTable.item(KeyName);
    if (!item)
        return 2;
    retValue = *item;
    return 1;
}

int clsSetting::SetSetting(const QString& KeyName, const QString& value)
{
    return SettingTable.replace(KeyName, value) ? 1 : 2;
}

int clsSetting::ReadConfigFile(const QString& path)
{
    const auto lines = scripting::readUtf16File(toPath(path));  // throws for a missing file
    for (std::size_t i = 0; i < lines.size(); ++i) {
        const auto& line = lines[i];
        if (line.empty())
            continue;
        const auto eq = line.find(u'=');
        if (eq == std::u16string::npos) {
            unreadLines_.assign(lines.begin() + static_cast<std::ptrdiff_t>(i), lines.end());
            return 0;
        }
        const QString key = QString::fromStdU16String(line.substr(0, eq));
        const QString value = QString::fromStdU16String(line.substr(eq + 1));
        if (!SettingTable.replace(key, value))
            SettingTable.Add(key, value);
    }
    return 1;
}

int clsSetting::WriteConfigFile(const QString& path)
{
    std::vector<std::u16string> lines;
    lines.reserve(static_cast<std::size_t>(SettingTable.Count()) + unreadLines_.size());
    for (int i = 0; i < SettingTable.Count(); ++i) {
        lines.push_back((SettingTable.Keys()[static_cast<std::size_t>(i)] + QLatin1Char('=') +
                         SettingTable.Items()[static_cast<std::size_t>(i)])
                            .toStdU16String());
    }
    lines.insert(lines.end(), unreadLines_.begin(), unreadLines_.end());
    try {
        scripting::rewriteUtf16File(toPath(path), lines);
    } catch (const tb::Error& e) {
        return e.number() == tb::err::FileNotFound ? 2 : 0;
    }
    return 1;
}

}  // namespace app
