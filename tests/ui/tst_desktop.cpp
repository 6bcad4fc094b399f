// How the window fits a Linux desktop: workbooks and folders dropped from a
// file manager, and help that opens whether or not the desktop has a program
// for .chm files. Offscreen, with the real engine.

#include "WindowFixture.h"

#include "platform/qt/QtPlatform.h"

#include <QMimeData>
#include <QStandardPaths>
#include <QTableWidget>
#include <QUrl>
#include <QtTest>

#include <fstream>

namespace fs = std::filesystem;

namespace {

const fs::path kData = fs::path(TB_TEST_DATA);
using Window = support::WindowFixture;

QString str(const fs::path& p) { return QString::fromStdString(p.string()); }

// What a file manager sends: an enter, then the drop, with file URLs and
// every action offered (a move included). Answers the drop's action, or
// Qt::IgnoreAction when it was refused.
Qt::DropAction dropFiles(Window& w, const QStringList& paths)
{
    QMimeData data;
    QList<QUrl> urls;
    for (const QString& p : paths)
        urls.append(p.contains("://") ? QUrl(p) : QUrl::fromLocalFile(p));
    data.setUrls(urls);
    QWidget* target = w.list()->viewport();
    const QPoint at = target->rect().center();
    const Qt::DropActions offered = Qt::CopyAction | Qt::MoveAction | Qt::LinkAction;
    QDragEnterEvent enter(at, offered, &data, Qt::LeftButton, Qt::ShiftModifier);
    QApplication::sendEvent(target, &enter);
    if (!enter.isAccepted())
        return Qt::IgnoreAction;
    QDropEvent drop(at, offered, &data, Qt::LeftButton, Qt::ShiftModifier);
    QApplication::sendEvent(target, &drop);
    return drop.isAccepted() ? drop.dropAction() : Qt::IgnoreAction;
}

// A folder as users have them: .xlsx and .xls in mixed case, one damaged
// workbook, things that are not workbooks, a sub-folder.
fs::path makeFolder(const fs::path& at)
{
    fs::create_directories(at / "sub");
    fs::copy_file(kData / "xlsx" / "hide01.xlsx", at / "b.xlsx");
    fs::copy_file(kData / "xlsx" / "simple02.xlsx", at / "A.XLSX");
    fs::copy_file(kData / "xls" / "lo" / "hide01.xls", at / "z.XLS");
    fs::copy_file(kData / "xlsx" / "hide02.xlsx", at / "sub" / "inner.xlsx");
    fs::copy_file(kData / "xlsx" / "hide02.xlsx", at / "notes.txt");
    support::writeBytes(at / "old.Xls", {'n', 'o', 'p', 'e'});
    return at;
}

}  // namespace

class DesktopTest : public QObject {
    Q_OBJECT
private slots:
    void aDropAddsWhatAddFileAndAddFolderWouldAddInItsOrder()
    {
        // The same workbooks, once through the two commands and once dropped.
        Window byCommands;
        Window byDrop;
        const fs::path folder = makeFolder(byCommands.dir / "in");
        const QString single = str(kData / "xls" / "lo" / "hide01.xls");
        const QString typo = str(byCommands.dir / "no such workbook.xlsx");

        byCommands.platform.files.answers = {single};
        byCommands.form->mnuAddFile_Click();
        byCommands.platform.folders.answers = {str(folder)};
        byCommands.form->mnuAddFolder_Click();
        byCommands.platform.files.answers = {single, typo};
        byCommands.form->mnuAddFile_Click();  // a duplicate: refused without a word
        byCommands.form->mnuAddFile_Click();  // a file that is not there: reported

        QCOMPARE(dropFiles(byDrop, {single, str(folder), single, typo}), Qt::CopyAction);  // never a move
        QTRY_COMPARE(byDrop.rows().size(), byCommands.rows().size());
        QTRY_COMPARE(byDrop.messages().size(), byCommands.messages().size());

        QCOMPARE(byDrop.rows(), byCommands.rows());
        QCOMPARE(byDrop.messages(), byCommands.messages());
        // The folder's .xls pass, then its .xlsx pass; sub-folders and other
        // files are left out; the damaged workbook and the typo are reported.
        QCOMPARE(byDrop.rows(), (QStringList{"hide01.xls|Sheet1", "hide01.xls|Sheet2", "hide01.xls|Sheet3",
                                             "z.XLS|Sheet1", "z.XLS|Sheet2", "z.XLS|Sheet3", "A.XLSX|Sheet1",
                                             "A.XLSX|Data Sheet", "A.XLSX|Sheet3", "b.xlsx|Sheet1",
                                             "b.xlsx|Sheet2", "b.xlsx|Sheet3"}));
        QCOMPARE(byDrop.messages().size(), 2);
        QVERIFY(byDrop.messages()[0].endsWith("Error File Name: " + str(folder / "old.Xls")));
        QVERIFY(byDrop.messages()[1].endsWith("Error File Name: " + typo));
        QVERIFY(fs::exists(folder / "b.xlsx"));  // the sources stay where they were
    }

    void aDropWithoutLocalFilesIsRefused()
    {
        Window w;
        QCOMPARE(dropFiles(w, {"https://example.org/a.xlsx"}), Qt::IgnoreAction);
        QCOMPARE(dropFiles(w, {}), Qt::IgnoreAction);
        QTest::qWait(20);
        QCOMPARE(w.list()->rowCount(), 0);
        QVERIFY(w.messages().isEmpty());
    }

    void helpOpensAsHtmlWhereTheDesktopHasNoProgramForChm()
    {
        Window w([](const fs::path& app) {
            fs::create_directories(app / "help" / "html");
            support::writeBytes(app / "help" / "html" / "index.html", {'<', 'p', '>'});
        });
        const QString chm = str(w.dir / "help" / "help.chm");
        const QString html = str(w.dir / "help" / "html" / "index.html");

        w.platform.shellService.handlerRegistered = false;
        w.list()->setFocus();
        QTest::keyClick(w.list(), Qt::Key_F1);
        QCOMPARE(w.platform.shellService.opened, QStringList{html});

        // The menu entry ends in the same place.
        w.form->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(w.form));
        w.list()->setFocus();
        w.form->menuEntry("mnuApplicationHelp")->trigger();
        QTRY_COMPARE(w.platform.shellService.opened, (QStringList{html, html}));

        // Where a program for .chm is registered, the .chm goes to it.
        w.platform.shellService.handlerRegistered = true;
        QTest::keyClick(w.list(), Qt::Key_F1);
        QCOMPARE(w.platform.shellService.opened.last(), chm);
        QVERIFY(w.messages().isEmpty());
    }

    void withoutTheHtmlPagesTheChmIsHandedOverAsBefore()
    {
        Window w;
        w.platform.shellService.handlerRegistered = false;
        w.form->Form_KeyDown(112, 0);
        QCOMPARE(w.platform.shellService.opened, QStringList{str(w.dir / "help" / "help.chm")});
        QVERIFY(w.messages().isEmpty());
    }

    // The desktop's own answer, from the same places xdg-open looks.
    void theDesktopSaysWhetherItHasAProgramForAFileType()
    {
        if (QStandardPaths::findExecutable("xdg-mime").isEmpty())
            QSKIP("xdg-mime (xdg-utils) is not installed");
        // The generic lookup, whatever desktop runs the tests.
        for (const char* v : {"XDG_CURRENT_DESKTOP", "DESKTOP_SESSION", "KDE_FULL_SESSION", "GNOME_DESKTOP_SESSION_ID"})
            qunsetenv(v);
        support::TempDir home;
        fs::create_directories(home / "data" / "applications");
        fs::create_directories(home / "config");
        qputenv("XDG_DATA_HOME", QByteArray::fromStdString((home / "data").string()));
        // The system's MIME types, but none of its programs.
        fs::create_directories(home / "system");
        if (fs::exists("/usr/share/mime"))
            fs::create_directory_symlink("/usr/share/mime", home / "system" / "mime");
        qputenv("XDG_DATA_DIRS", QByteArray::fromStdString((home / "system").string()));
        qputenv("XDG_CONFIG_HOME", QByteArray::fromStdString((home / "config").string()));
        qputenv("XDG_CONFIG_DIRS", QByteArray::fromStdString((home / "none").string()));
        const QString chm = QString(TB_SOURCE_DIR) + "/help/help.chm";
        platform::qt::XdgShell shell;
        QVERIFY(!shell.hasDefaultHandler(chm));

        std::ofstream(home / "data" / "applications" / "chmviewer.desktop")
            << "[Desktop Entry]\nType=Application\nName=CHM viewer\nExec=true %f\n"
               "MimeType=application/vnd.ms-htmlhelp;\n";
        QVERIFY(shell.hasDefaultHandler(chm));
        QVERIFY(!shell.hasDefaultHandler(QString(TB_SOURCE_DIR) + "/README.md"));
    }
};

QTEST_MAIN(DesktopTest)
#include "tst_desktop.moc"
