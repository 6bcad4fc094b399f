#pragma once
// The main window over an application folder of its own (the real Icon/ and
// help/, a settings file the test writes), with the real engine and a
// scripted platform; gMainForm is the window, as Main makes it.

#include "app/EnginePasswordPrompter.h"
#include "app/EnginePrompter.h"
#include "app/Globals.h"
#include "support/AppFolder.h"
#include "support/ScriptedPlatform.h"
#include "ui/frmMain.h"

#include <QFileInfo>
#include <QTableWidget>
#include <QToolBar>

#include <functional>

namespace support {

struct WindowFixture {
    TempDir dir;
    ScriptedPlatform platform;
    std::unique_ptr<app::Globals> g;
    std::unique_ptr<app::EnginePrompter> prompter;
    std::unique_ptr<app::EnginePasswordPrompter> passwordPrompter;
    ui::frmMain* form = nullptr;

    explicit WindowFixture(const std::function<void(const std::filesystem::path&)>& prepare = {},
                           const std::vector<std::u16string>& config = standardConfig())
    {
        copyResources(TB_SOURCE_DIR, dir.path());
        writeConfig(dir.path(), config);
        if (prepare)
            prepare(dir.path());
        g = std::make_unique<app::Globals>(platform, QString::fromStdString(dir.path().string()));
        g->helpFile = QString::fromStdString((dir / "help" / "help.chm").string());
        g->gSetting = std::make_unique<app::clsSetting>(
            QString::fromStdString((dir / "Config" / "Config.cfg").string()), platform.messages);
        g->gExcelApp = std::make_unique<excel::Application>();
        prompter = std::make_unique<app::EnginePrompter>(platform.messages);
        g->gExcelApp->setPrompter(prompter.get());
        passwordPrompter = std::make_unique<app::EnginePasswordPrompter>(platform.passwords);
        g->gExcelApp->setPasswordPrompter(passwordPrompter.get());
        g->gExcelApp->setDisplayAlerts(false);
        auto window = std::make_unique<ui::frmMain>(*g);
        form = window.get();
        g->gMainForm = std::move(window);
        form->Form_Load();
        form->show();
    }
    ~WindowFixture()
    {
        form->hide();
        g->gMainForm.reset();
    }
    WindowFixture(const WindowFixture&) = delete;
    WindowFixture& operator=(const WindowFixture&) = delete;

    QTableWidget* list() const { return form->lvwTask(); }
    // "file name|sheet name" for each row.
    QStringList rows() const
    {
        QStringList out;
        for (int r = 0; r < list()->rowCount(); ++r)
            out << QFileInfo(list()->item(r, 0)->text()).fileName() + "|" + list()->item(r, 1)->text();
        return out;
    }
    QStringList messages() const { return platform.messages.texts(); }
    QAction* button(const QString& key) const
    {
        for (QAction* a : form->tlbMain()->actions())
            if (a->objectName() == key)
                return a;
        return nullptr;
    }
};

}  // namespace support
