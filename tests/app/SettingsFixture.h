#pragma once
// A settings file in a folder of its own, and a message box that records what
// the store would have shown: what every settings test starts from.

#include "support/ScriptedPlatform.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <QString>

#include <filesystem>

struct SettingsFixture : ::testing::Test {
    support::TempDir dir;
    support::ScriptedMessageBox box;
    std::filesystem::path file = dir / "Config.cfg";
    QString path() const { return QString::fromStdString(file.string()); }
};
