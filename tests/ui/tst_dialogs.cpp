// The options and about dialogs, opened as the user opens them: from the
// menu and from the toolbar.

#include "WindowFixture.h"
#include "ui/frmAbout.h"
#include "ui/frmOptions.h"
#include "platform/qt/QtPlatform.h"

#include <QApplication>
#include <QCheckBox>
#include <QFrame>
#include <QLabel>
#include <QPushButton>
#include <QTimer>
#include <QtTest>

namespace fs = std::filesystem;

namespace {

std::vector<std::u16string> configWith(const std::u16string& displayExcel, const std::u16string& alerts)
{
    auto config = support::standardConfig();
    config[0] = u"DisplayExcel=" + displayExcel;
    config[1] = u"DisplayExcelAlerts=" + alerts;
    return config;
}

// Runs `act` on the dialog of type T once it is up, modally.
template <class T>
void whenOpen(std::function<void(T*)> act, bool* seen = nullptr)
{
    QTimer::singleShot(0, [act, seen] {
        auto* dialog = qobject_cast<T*>(QApplication::activeModalWidget());
        if (seen)
            *seen = dialog != nullptr;
        if (dialog)
            act(dialog);
    });
}

QString setting(const support::WindowFixture& w, const char* key)
{
    QString v = "<absent>";
    w.g->gSetting->GetSetting(key, v);
    return v;
}

// A folder of stand-in programs that is the whole PATH while it lives.
struct FakeBin {
    support::TempDir tmp;
    fs::path dir = tmp.path();
    QByteArray oldPath = qgetenv("PATH");
    FakeBin() { qputenv("PATH", QByteArray::fromStdString(dir.string())); }
    ~FakeBin() { qputenv("PATH", oldPath); }
    fs::path install(const char* name) const
    {
        const fs::path tool = dir / name;
        support::writeBytes(tool, {'#', '!', '/', 'b', 'i', 'n', '/', 's', 'h', '\n'});
        fs::permissions(tool, fs::perms::owner_all);
        return tool;
    }
};

}  // namespace

class DialogsTest : public QObject {
    Q_OBJECT

private slots:
    void onlyTheValueOneChecksABox_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("checked");
        for (const char* t : {"1", "1.0", " 1", "1e0", "&H1"})
            QTest::newRow(t) << QString(t) << true;
        for (const char* t : {"0", "", "2", "-1", "True", "abc", "1.5"})
            QTest::newRow(t[0] ? t : "empty") << QString(t) << false;
    }
    void onlyTheValueOneChecksABox()
    {
        QFETCH(QString, text);
        QFETCH(bool, checked);
        support::WindowFixture w({}, configWith(text.toStdU16String(), u"0"));
        bool seen = false, state = !checked;
        whenOpen<ui::frmOptions>([&](ui::frmOptions* d) {
            state = d->chkDisplayExcel()->isChecked();
            d->cmdOK()->click();
        }, &seen);
        w.form->menuEntry("mnuSettings")->trigger();
        QVERIFY(seen);
        QCOMPARE(state, checked);
        QCOMPARE(setting(w, "DisplayExcel"), QString(checked ? "1" : "0"));  // OK writes the normal form
    }

    void applyStaysOpenAndCancelKeepsWhatWasApplied()
    {
        support::WindowFixture w({}, configWith(u"0", u"0"));
        const fs::path file = w.dir / "Config" / "Config.cfg";
        const auto fileBefore = support::readBytes(file);
        const bool visibleBefore = w.g->gExcelApp->Visible();
        bool stillOpenAfterApply = false;
        whenOpen<ui::frmOptions>([&](ui::frmOptions* d) {
            d->chkDisplayExcel()->setChecked(true);
            d->cmdApply()->click();
            stillOpenAfterApply = d->isVisible();
            d->chkDisplayExcelAlerts()->setChecked(true);
            d->cmdCancel()->click();
        });
        w.button("mnuSettings_Click")->trigger();  // the toolbar's way in
        QVERIFY(stillOpenAfterApply);
        QCOMPARE(setting(w, "DisplayExcel"), QString("1"));
        QCOMPARE(setting(w, "DisplayExcelAlerts"), QString("0"));
        QCOMPARE(w.g->gExcelApp->Visible(), visibleBefore);  // the running engine is not touched

        // A fresh dialog reads the store anew; Esc presses Cancel and writes nothing.
        bool shownChecked = false;
        int cancelClicks = 0;
        whenOpen<ui::frmOptions>([&](ui::frmOptions* d) {
            shownChecked = d->chkDisplayExcel()->isChecked();
            connect(d->cmdCancel(), &QPushButton::clicked, [&] { ++cancelClicks; });
            d->chkDisplayExcel()->setChecked(false);
            QTest::keyClick(d, Qt::Key_Escape);
        });
        w.form->mnuSettings_Click();
        QVERIFY(shownChecked);
        QCOMPARE(cancelClicks, 1);
        QCOMPARE(setting(w, "DisplayExcel"), QString("1"));

        // The close box writes nothing either; Enter presses no button.
        bool openAfterEnter = false;
        whenOpen<ui::frmOptions>([&](ui::frmOptions* d) {
            d->chkDisplayExcel()->setChecked(false);
            d->chkDisplayExcelAlerts()->setChecked(true);
            QTest::keyClick(d, Qt::Key_Return);
            openAfterEnter = d->isVisible();
            d->close();
        });
        w.form->mnuSettings_Click();
        QVERIFY(openAfterEnter);
        QCOMPARE(setting(w, "DisplayExcel"), QString("1"));
        QCOMPARE(setting(w, "DisplayExcelAlerts"), QString("0"));
        QVERIFY(w.messages().isEmpty());

        // The file learns of it only when the store is released at the end.
        QVERIFY(support::readBytes(file) == fileBefore);
        w.g->gSetting.reset();
        QVERIFY(support::readBytes(file) == support::utf16File(configWith(u"1", u"0")));
    }

    void anAbsentKeyLeavesNoTrace()
    {
        auto config = support::standardConfig();
        config.erase(config.begin());  // no DisplayExcel
        support::WindowFixture w({}, config);
        whenOpen<ui::frmOptions>([](ui::frmOptions* d) {
            d->chkDisplayExcel()->setChecked(true);
            d->cmdOK()->click();
        });
        w.form->mnuSettings_Click();
        QCOMPARE(setting(w, "DisplayExcel"), QString("<absent>"));
        bool checked = true;
        whenOpen<ui::frmOptions>([&](ui::frmOptions* d) {
            checked = d->chkDisplayExcel()->isChecked();
            d->reject();
        });
        w.form->mnuSettings_Click();
        QVERIFY(!checked);
    }

    void theOptionsLayout()
    {
        support::WindowFixture w;
        ui::frmOptions d(*w.g);
        d.Form_Load();
        QCOMPARE(d.windowTitle(), QString("Options"));
        QVERIFY(d.cmdOK()->x() < d.cmdCancel()->x());
        QVERIFY(d.cmdCancel()->x() < d.cmdApply()->x());
        for (QPushButton* b : {d.cmdOK(), d.cmdCancel(), d.cmdApply()})
            QVERIFY(!b->isDefault() && !b->autoDefault());
        QCOMPARE(d.chkDisplayExcel()->text(), QString("Display Excel"));
        QCOMPARE(d.chkDisplayExcelAlerts()->text(), QString("Display Excel Alerts"));
        // The Tab key's order: the focus chain less what takes no Tab focus.
        QStringList order;
        QWidget* at = d.cmdOK();
        do {
            if (at->focusPolicy() & Qt::TabFocus)
                order << at->objectName();
            at = at->nextInFocusChain();
        } while (at != d.cmdOK());
        QCOMPARE(order, (QStringList{"cmdOK", "cmdCancel", "cmdApply", "chkDisplayExcelAlerts", "chkDisplayExcel"}));
        QCOMPARE(d.minimumSize(), d.maximumSize());
        // The boxes stand inside the frame.
        QCOMPARE(d.chkDisplayExcel()->parentWidget()->objectName(), QString("FrameOption"));
        QCOMPARE(d.chkDisplayExcelAlerts()->parentWidget()->objectName(), QString("FrameOption"));
        QVERIFY(d.windowFlags() & Qt::WindowCloseButtonHint);
        QVERIFY(!(d.windowFlags() & (Qt::WindowMinimizeButtonHint | Qt::WindowMaximizeButtonHint)));
        d.show();
        QVERIFY(QTest::qWaitForWindowActive(&d));
        QCOMPARE(QApplication::focusWidget(), static_cast<QWidget*>(d.cmdOK()));
    }

    void theAboutDialogShowsTheProgramAndItsLinksReachTheMainWindow()
    {
        support::WindowFixture w;
        QString title, version, name, notice;
        bool underlined = false, custom = false;
        QColor colour;
        whenOpen<ui::frmAbout>([&](ui::frmAbout* d) {
            title = d->windowTitle();
            version = d->lblVersion()->text();
            name = d->lblTitle()->text();
            notice = d->lblDisclaimer()->text();
            underlined = d->lblVisitHomePage()->font().underline() && d->lblTechnicalSupport()->font().underline();
            colour = d->lblTechnicalSupport()->palette().color(QPalette::WindowText);
            custom = d->lblVisitHomePage()->cursor().shape() == Qt::BitmapCursor &&
                     d->lblTechnicalSupport()->cursor().shape() == Qt::BitmapCursor;
            QTest::mouseClick(d->lblVisitHomePage(), Qt::LeftButton);
            QTest::mouseClick(d->lblTechnicalSupport(), Qt::LeftButton);
            QVERIFY(d->isVisible());  // the links leave the dialog open
            QTest::keyClick(d, Qt::Key_Return);
        });
        w.form->menuEntry("mnuAbout")->trigger();
        QCOMPARE(title, QString("About Tamberlin"));
        QCOMPARE(version, QString("Version 2009.0.0"));
        QCOMPARE(name, QString("Tamberlin"));
        QVERIFY(notice.contains("Copyright") && notice.contains("without warranty"));
        QVERIFY(underlined);
        QCOMPARE(colour, QColor(0, 0, 255));
        QVERIFY(custom);
        QCOMPARE(w.platform.shellService.opened,
                 (QStringList{"https://www.tamberlin.org/", "mailto:support@tamberlin.org"}));
        QVERIFY(w.messages().isEmpty());
    }

    void theAboutDialogOpensThroughTheDispatcherByName()
    {
        support::WindowFixture w;
        bool seen = false;
        int okClicks = 0;
        whenOpen<ui::frmAbout>([&](ui::frmAbout* d) {
            connect(d->cmdOK(), &QPushButton::clicked, [&] { ++okClicks; });
            QTest::keyClick(d, Qt::Key_Escape);
        }, &seen);
        QAction byName("About");
        byName.setObjectName("mnuAbout_Click");
        w.form->tlbMain_ButtonClick(&byName);
        QVERIFY(seen);
        QCOMPARE(okClicks, 1);  // Esc presses OK, which is the cancel button too
        QVERIFY(w.messages().isEmpty());
    }

    void theAboutDialogLoadsItsPicturesAndDrawsTheRule()
    {
        support::WindowFixture w;
        w.platform.pictures.loaded.clear();
        ui::frmAbout d(*w.g);
        d.Form_Load();
        // The cursor is loaded anew for each link, and before the icon.
        const QString icon = QString::fromStdString((w.dir / "Icon").string());
        QCOMPARE(w.platform.pictures.loaded,
                 (QStringList{icon + "/hand.cur", icon + "/hand.cur", icon + "/AppMain.ico"}));
        for (QLabel* link : {d.lblVisitHomePage(), d.lblTechnicalSupport()}) {
            QCOMPARE(link->cursor().shape(), Qt::BitmapCursor);
            QCOMPARE(link->cursor().hotSpot(), QPoint(12, 1));  // the hot spot hand.cur gives
            QCOMPARE(link->cursor().pixmap().size(), QSize(32, 32));
        }
        QVERIFY(!d.picIcon()->pixmap().isNull());
        QVERIFY(d.cmdOK()->isDefault());
        auto* grey = d.findChild<QFrame*>("Line1_1");
        auto* white = d.findChild<QFrame*>("Line1_0");
        QVERIFY(grey && white);
        QCOMPARE(white->y(), grey->y() + 1);  // the white line lies just below the grey one
        QCOMPARE(white->height(), 2);
        QVERIFY(grey->y() > d.lblVisitHomePage()->y() && grey->y() < d.cmdOK()->y());
    }

    void aFailureInsideAButtonProcedureIsReportedUnderItsName()
    {
        support::WindowFixture w;
        const QString notSet = "Err Number: 91\r\nErr Description: Object variable or With block variable not set";
        bool openAfterApply = false, openAfterOk = false;
        whenOpen<ui::frmOptions>([&](ui::frmOptions* d) {
            std::unique_ptr<app::clsSetting> store(std::move(w.g->gSetting));
            d->cmdApply()->click();
            openAfterApply = d->isVisible();
            d->cmdOK()->click();
            openAfterOk = d->isVisible();  // the rest of the procedure is skipped
            w.g->gSetting = std::move(store);
            d->cmdCancel()->click();
        });
        w.form->mnuSettings_Click();
        QVERIFY(openAfterApply && openAfterOk);
        QCOMPARE(w.messages(), (QStringList{notSet + "\r\nErr Proc: cmdApply_Click", notSet + "\r\nErr Proc: cmdOK_Click"}));

        // A failure while the dialog loads reaches the menu's handler, and no dialog opens.
        w.platform.messages.shown.clear();
        std::unique_ptr<app::clsSetting> store(std::move(w.g->gSetting));
        bool seen = true;
        whenOpen<ui::frmOptions>([](ui::frmOptions* d) { d->reject(); }, &seen);
        w.form->mnuSettings_Click();
        QCoreApplication::processEvents();
        w.g->gSetting = std::move(store);
        QVERIFY(!seen);
        QCOMPARE(w.messages(), QStringList{notSet + "\r\nErr Proc: mnuSettings_Click"});

        // The about dialog's links without the main window.
        w.platform.messages.shown.clear();
        ui::frmAbout d(*w.g);
        d.Form_Load();
        std::unique_ptr<app::MainFormHandle> mainForm(std::move(w.g->gMainForm));
        QTest::mouseClick(d.lblVisitHomePage(), Qt::LeftButton);
        QTest::mouseClick(d.lblTechnicalSupport(), Qt::LeftButton);
        w.g->gMainForm = std::move(mainForm);
        QCOMPARE(w.messages(), (QStringList{notSet + "\r\nErr Proc: lblVisitHomePage_Click",
                                            notSet + "\r\nErr Proc: lblTechnicalSupport_Click"}));
        QVERIFY(w.platform.shellService.opened.isEmpty());
    }

    void theDesktopLookupFindsAnInstalledInformationTool()
    {
        FakeBin bin;
        platform::qt::SystemLookup lookup;
        const QString key = "SOFTWARE\\Microsoft\\Shared Tools\\MSINFO";
        QCOMPARE(lookup.query("HKEY_LOCAL_MACHINE", key, "PATH").status, platform::reg::NotFound);
        const fs::path tool = bin.install("gnome-system-monitor");
        const auto v = lookup.query("HKEY_LOCAL_MACHINE", key, "PATH");
        QCOMPARE(v.status, platform::reg::Success);
        QCOMPARE(v.type, platform::reg::TypeString);
        QCOMPARE(v.data, QByteArray::fromStdString(tool.string()) + QByteArray(1, '\0'));
        QCOMPARE(lookup.query("HKEY_LOCAL_MACHINE", "SOFTWARE\\Microsoft\\Shared Tools Location", "MSINFO").status,
                 platform::reg::NotFound);
    }

    void theDesktopLookupPrefersHardinfoThenGnomeThenKde()
    {
        FakeBin bin;
        platform::qt::SystemLookup lookup;
        const QString key = "SOFTWARE\\Microsoft\\Shared Tools\\MSINFO";
        auto found = [&] {
            const auto v = lookup.query("HKEY_LOCAL_MACHINE", key, "PATH");
            return v.status == platform::reg::Success ? fs::path(v.data.chopped(1).toStdString()).filename().string()
                                                      : std::string("none");
        };
        for (const char* tool : {"kinfocenter", "gnome-system-monitor", "hardinfo"})
            bin.install(tool);
        QCOMPARE(found(), std::string("hardinfo"));
        fs::remove(bin.dir / "hardinfo");
        QCOMPARE(found(), std::string("gnome-system-monitor"));
        fs::remove(bin.dir / "gnome-system-monitor");
        QCOMPARE(found(), std::string("kinfocenter"));
        fs::remove(bin.dir / "kinfocenter");
        QCOMPARE(found(), std::string("none"));
    }

    void aMissingAboutIconIsReportedAndTheDialogDoesNotOpen()
    {
        support::WindowFixture w([](const fs::path& d) { fs::remove(d / "Icon" / "hand.cur"); });
        bool seen = true;
        whenOpen<ui::frmAbout>([](ui::frmAbout* d) { d->reject(); }, &seen);
        w.form->mnuAbout_Click();
        QCoreApplication::processEvents();
        QVERIFY(!seen);
        QCOMPARE(w.messages().size(), 1);
        QVERIFY(w.messages()[0].endsWith("\r\nErr Proc: lmnuAbout_Click"));
        QVERIFY(w.messages()[0].contains("hand.cur"));
    }

    void systemInformationFollowsTheTwoLookups()
    {
        support::WindowFixture w;
        const QString first = "HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Shared Tools\\MSINFO\\PATH";
        const QString second = "HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Shared Tools Location\\MSINFO";
        auto text = [](const QByteArray& bytes) {
            return platform::RegistryValue{platform::reg::Success, platform::reg::TypeString, bytes};
        };
        auto& reg = w.platform.registryService.values;
        auto& shell = w.platform.shellService;
        ui::frmAbout d(*w.g);
        d.Form_Load();
        const QString unavailable = "System Information Is Unavailable At This Time";

        // Nothing registered.
        d.cmdSysInfo()->click();
        QCOMPARE(w.messages(), QStringList{unavailable});
        QCOMPARE(w.platform.registryService.queries, (QStringList{first, second}));

        // The first place names the tool: it is started as it stands.
        reg[first] = text(QByteArray("/usr/bin/hardinfo\0", 18));
        d.cmdSysInfo()->click();
        QCOMPARE(shell.started, QStringList{"/usr/bin/hardinfo"});
        QCOMPARE(w.messages().size(), 1);

        // A tool that cannot be started: the message, and no second lookup.
        shell.startSucceeds = false;
        w.platform.registryService.queries.clear();
        d.cmdSysInfo()->click();
        QCOMPARE(w.messages().size(), 2);
        QCOMPARE(w.platform.registryService.queries, QStringList{first});
        shell.startSucceeds = true;

        // The second place names a folder that must hold the tool.
        reg.erase(first);
        const fs::path folder = w.dir / "msinfo";
        fs::create_directories(folder);
        reg[second] = text(QByteArray::fromStdString(folder.string()));  // no NUL: every character is kept
        d.cmdSysInfo()->click();
        QCOMPARE(w.messages().size(), 3);
        support::writeBytes(folder / "MSINFO32.EXE", {'x'});
        d.cmdSysInfo()->click();
        QCOMPARE(shell.started.last(), QString::fromStdString((folder / "MSINFO32.EXE").string()));
        QCOMPARE(w.messages().size(), 3);

        // An empty value cannot be cut; another type leaves the text empty.
        reg[first] = text(QByteArray());
        d.cmdSysInfo()->click();
        QCOMPARE(w.messages().size(), 4);
        reg[first] = platform::RegistryValue{platform::reg::Success, 3, QByteArray("abc")};
        QString value;
        QVERIFY(d.GetKeyValue("HKEY_LOCAL_MACHINE", "SOFTWARE\\Microsoft\\Shared Tools\\MSINFO", "PATH", value));
        QCOMPARE(value, QString());
        d.cmdSysInfo()->click();
        QCOMPARE(w.messages().size(), 5);
        for (const QString& m : w.messages())
            QCOMPARE(m, unavailable);

        // A number: its bytes from the last to the first, in hexadecimal.
        reg[first] = platform::RegistryValue{platform::reg::Success, platform::reg::TypeDword, QByteArray("\x10\x02", 2)};
        value.clear();
        QVERIFY(d.GetKeyValue("HKEY_LOCAL_MACHINE", "SOFTWARE\\Microsoft\\Shared Tools\\MSINFO", "PATH", value));
        QCOMPARE(value, QString::number(0x210));
    }
};

QTEST_MAIN(DialogsTest)
#include "tst_dialogs.moc"
