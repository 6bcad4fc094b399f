// The whole process life with the real window and engine, offscreen: start,
// close the window as a user would, and find the settings file rewritten.

#include "app/MainProc.h"
#include "platform/qt/QtPlatform.h"
#include "support/ScriptedPlatform.h"
#include "support/AppFolder.h"
#include "ui/EngineWindow.h"
#include "ui/MainFormHost.h"
#include "ui/frmMain.h"

#include <QApplication>
#include <QListWidget>
#include <QMenuBar>
#include <QMessageBox>
#include <QPushButton>
#include <QTimer>
#include <QtTest>

class MainProcess : public QObject {
    Q_OBJECT

private:
    support::TempDir dir_;
    QString appDir() const { return QString::fromStdString(dir_.path().string()); }
    void writeConfig(const std::vector<std::u16string>& lines)
    {
        support::copyResources(TB_SOURCE_DIR, dir_.path());
        support::writeConfig(dir_.path(), lines);
    }

    // Closes the main window through its frame once it is up, recording what
    // the engine's window showed meanwhile.
    void closeMainWindowSoon(bool* engineWindowShown)
    {
        QTimer::singleShot(50, [engineWindowShown] {
            for (QWidget* w : QApplication::topLevelWidgets()) {
                if (w->objectName() == "EngineWindow" && engineWindowShown)
                    *engineWindowShown = w->isVisible();
            }
            for (QWidget* w : QApplication::topLevelWidgets()) {
                if (w->objectName() == "frmMain" && w->isVisible())
                    w->close();
            }
        });
    }

private slots:
    void startsShowsTheWindowAndRewritesTheSettingsByteExact()
    {
        const std::vector<std::u16string> lines{u"DisplayExcel=1", u"DisplayExcelAlerts=0", u"a=b=c",
                                                u" blank key = blank value ", u"frmMainCaption=Tamberlin"};
        writeConfig(lines);
        const auto before = support::readBytes(dir_ / "Config" / "Config.cfg");
        // A stale copy of the file must really be replaced, not merely left.
        std::filesystem::last_write_time(dir_ / "Config" / "Config.cfg",
                                         std::filesystem::file_time_type::clock::now() - std::chrono::hours(1));
        const auto staleTime = std::filesystem::last_write_time(dir_ / "Config" / "Config.cfg");

        support::ScriptedPlatform platform;
        bool engineWindowShown = false;
        closeMainWindowSoon(&engineWindowShown);
        {
            app::Globals g(platform, appDir());
            app::Main(g, ui::desktopHooks());
            QVERIFY(!g.gMainForm);
            QVERIFY(!g.gSetting);
            QVERIFY(!g.gExcelApp);
        }
        QVERIFY2(platform.messages.shown.empty(), qPrintable(platform.messages.texts().join("|")));
        QVERIFY(engineWindowShown);
        QCOMPARE(support::readBytes(dir_ / "Config" / "Config.cfg"), before);
        QVERIFY(std::filesystem::last_write_time(dir_ / "Config" / "Config.cfg") > staleTime);
        for (QWidget* w : QApplication::topLevelWidgets())
            QVERIFY2(!w->isVisible(), qPrintable(w->objectName()));
    }

    void theWindowHasItsFixedSizeAndCannotBeMaximized()
    {
        writeConfig({u"DisplayExcel=0", u"DisplayExcelAlerts=0"});
        support::ScriptedPlatform platform;
        app::Globals g(platform, appDir());
        ui::frmMain form(g);
        form.show();
        QVERIFY(QTest::qWaitForWindowExposed(&form));
        // The client area below the menu bar is 8520 x 4800 twips.
        QCOMPARE(form.width(), (8520 * form.logicalDpiX() + 720) / 1440);
        QCOMPARE(form.height() - form.menuBar()->height(), (4800 * form.logicalDpiY() + 720) / 1440);
        QCOMPARE(form.minimumSize(), form.maximumSize());
        QVERIFY(!(form.windowFlags() & Qt::WindowMaximizeButtonHint));
        QVERIFY(form.windowFlags() & Qt::WindowMinimizeButtonHint);
        form.close();
    }

    void theDesktopMessageBoxHasTheProgramsTitleAndTheTwoStyles()
    {
        platform::qt::QtMessageBox box;
        // Runs `act` on the box once it is up, recording what it looked like.
        QString title;
        QMessageBox::Icon icon = QMessageBox::Warning;
        QStringList buttons;
        auto whenUp = [&](std::function<void(QMessageBox*)> act) {
            QTimer::singleShot(0, [&, act] {
                auto* m = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
                QVERIFY(m);
                title = m->windowTitle();
                icon = m->icon();
                buttons.clear();
                for (QAbstractButton* b : m->buttons())
                    buttons << b->text();
                act(m);
            });
        };

        whenUp([](QMessageBox* m) { QTest::keyClick(m, Qt::Key_Return); });
        QCOMPARE(box.show("Mission complete!", 0), 1);
        QCOMPARE(title, QString("Tamberlin"));
        QCOMPARE(icon, QMessageBox::NoIcon);
        QCOMPARE(buttons.size(), 1);

        whenUp([](QMessageBox* m) { QTest::keyClick(m, Qt::Key_Return); });
        QCOMPARE(box.show("Clear the list?", 292), 7);  // No is the default
        QCOMPARE(title, QString("Tamberlin"));
        QCOMPARE(icon, QMessageBox::Question);
        QCOMPARE(buttons.size(), 2);
        whenUp([](QMessageBox* m) { m->button(QMessageBox::Yes)->click(); });
        QCOMPARE(box.show("Clear the list?", 292), 6);
        whenUp([](QMessageBox* m) { QTest::keyClick(m, Qt::Key_Escape); });
        QCOMPARE(box.show("Clear the list?", 292), 7);
    }

    void theDesktopShellSaysWhenAProgramCannotBeStarted()
    {
        platform::qt::XdgShell shell;
        QVERIFY(!shell.startDetached("/nonexistent/system-information-tool", {}));
        QVERIFY(!shell.startDetached(QString(), {}));
        QVERIFY(shell.startDetached("/bin/true", {}));
    }

    void theEngineWindowListsOpenWorkbooksAndOperations()
    {
        ui::EngineWindow w;
        w.visibleChanged(true);
        QVERIFY(w.isVisible());
        w.workbooksChanged({"/a/Book1.xlsx", "Book1"}, 1);
        QCOMPARE(w.workbookList()->count(), 2);
        QVERIFY(w.workbookList()->item(1)->text().contains("active"));
        QVERIFY(!w.workbookList()->item(0)->text().contains("active"));
        for (int i = 0; i < 250; ++i)
            w.operationDone("op " + std::to_string(i));
        QCOMPARE(w.operationList()->count(), 200);
        QCOMPARE(w.operationList()->item(199)->text(), QString("op 249"));
        w.visibleChanged(false);
        QVERIFY(!w.isVisible());
    }
};

QTEST_MAIN(MainProcess)
#include "tst_main_process.moc"
