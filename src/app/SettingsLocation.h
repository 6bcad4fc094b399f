#pragma once
// Where the settings file lives. A copy of the program that its user may
// write to (the build folder, a portable copy) keeps its settings beside the
// executable, as it always has. An installed copy, whose folder the user may
// not write, keeps them in the user's configuration folder instead
// ($XDG_CONFIG_HOME/tamberlin/Config.cfg), in a byte copy of the shipped file
// made at the first start.

#include <QString>

#include <functional>

namespace app {

// The two variables the XDG base directory rules read.
struct UserFolders {
    QString configHome;  // $XDG_CONFIG_HOME
    QString home;        // $HOME
    static UserFolders fromEnvironment();
};

// $XDG_CONFIG_HOME/tamberlin/Config.cfg, or ~/.config/tamberlin/Config.cfg
// when that is unset or not absolute; empty when neither folder is known.
QString userSettingsFile(const UserFolders& folders);

// True when the settings writer can replace `file` where it stands: the file
// and its folder may both be written (the new file is renamed over the old).
bool canRewriteInPlace(const QString& file);

// The settings file to read and rewrite: `shipped` when it can be rewritten
// in place; otherwise the user's file, copied from `shipped` first when it is
// not there yet. When no user file can be had, `shipped` all the same: the
// program starts with it and says at exit that it could not be written.
QString chooseSettingsFile(const QString& shipped, const UserFolders& folders,
                           const std::function<bool(const QString&)>& writable = canRewriteInPlace);

}  // namespace app
