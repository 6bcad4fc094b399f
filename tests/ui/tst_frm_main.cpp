// The main window driven as a user drives it, offscreen, with a scripted
// platform and the real workbook engine.

#include "WindowFixture.h"

#include "platform/sys/Error.h"

#include <QApplication>
#include <QMenu>
#include <QHeaderView>
#include <QMenuBar>
#include <QProgressBar>
#include <QTableWidget>
#include <QTimer>
#include <QToolBar>
#include <QtTest>


namespace fs = std::filesystem;

namespace {

const fs::path kData = fs::path(TB_TEST_DATA);

using Window = support::WindowFixture;

QString sample(const char* name) { return QString::fromStdString((kData / "xlsx" / name).string()); }
QString xlsSample(const char* name) { return QString::fromStdString((kData / "xls" / "lo" / name).string()); }

// Notes what the window shows while the engine works.
class PointerWatch final : public excel::ApplicationObserver {
public:
    explicit PointerWatch(ui::frmMain* form) : form_(form) {}
    void visibleChanged(bool) override {}
    void workbooksChanged(const std::vector<std::string>&, int) override {}
    void operationDone(const std::string& d) override
    {
        if (d.rfind("Opened ", 0) == 0)
            seen << QString("%1/%2").arg(form_->MousePointer()).arg(int(form_->cursor().shape()));
    }
    QStringList seen;

private:
    ui::frmMain* form_;
};

}  // namespace

class FrmMainTest : public QObject {
    Q_OBJECT

private slots:
    void aFullLoadBuildsTheWholeWindow()
    {
        Window w;
        QVERIFY2(w.messages().isEmpty(), qPrintable(w.messages().join("|")));
        QCOMPARE(w.form->windowTitle(), QString("Tamberlin 2009 "));
        QVERIFY(!w.form->tlbMain()->actions().isEmpty());
        QCOMPARE(w.form->tlbMain()->iconSize(), QSize(32, 32));
        QVERIFY(!w.form->prgSplit()->isVisible());
        QCOMPARE(w.list()->horizontalHeaderItem(0)->text(), QString("Source File Name"));
        QCOMPARE(w.list()->horizontalHeaderItem(1)->text(), QString("WorkSheet Name"));
        QCOMPARE(w.list()->selectionBehavior(), QAbstractItemView::SelectRows);
        QCOMPARE(w.list()->editTriggers(), QAbstractItemView::NoEditTriggers);
    }

    void theWindowHasAFixedFrameCentredOnTheScreen()
    {
        Window w;
        QCOMPARE(w.form->minimumSize(), w.form->maximumSize());
        QVERIFY(!(w.form->windowFlags() & Qt::WindowMaximizeButtonHint));
        QVERIFY(w.form->windowFlags() & Qt::WindowMinimizeButtonHint);
        const QRect avail = w.form->screen()->availableGeometry();
        QVERIFY((w.form->frameGeometry().center() - avail.center()).manhattanLength() <= 2);
        // Columns start at 3/5 and 2/5 of the list's own width.
        const double listTwips = w.list()->width() * 1440.0 / w.form->logicalDpiX();
        QVERIFY(std::abs(w.form->columnWidth(1) - listTwips / 5 * 3) < 1);
        QVERIFY(std::abs(w.form->columnWidth(2) - listTwips / 5 * 2) < 1);
    }

    void eachMenuEntryLeadsToItsHandler()
    {
        Window w;
        // Each entry runs its own handler; the popup's entries run the same ones.
        for (const char* split : {"mnuSplit", "mnuPopupSplit"})
            w.form->menuEntry(split)->trigger();
        QCOMPARE(w.messages(), (QStringList{"Please select some Excel workbook at first",
                                            "Please select some Excel workbook at first"}));
        for (const char* file : {"mnuAddFile", "mnuPopupAddFile"})
            w.form->menuEntry(file)->trigger();
        QCOMPARE(w.platform.files.requests.size(), std::size_t(2));
        for (const char* folder : {"mnuAddFolder", "mnuPopupAddFolder"})
            w.form->menuEntry(folder)->trigger();
        QCOMPARE(w.platform.folders.titles, (QStringList{"Add all Excel files in the folder",
                                                         "Add all Excel files in the folder"}));
        w.form->menuEntry("mnuVisitHomePage")->trigger();
        w.form->menuEntry("mnuSupport")->trigger();
        QCOMPARE(w.platform.shellService.opened,
                 (QStringList{"https://www.tamberlin.org/", "mailto:support@tamberlin.org"}));
        w.platform.keys.deliver = false;
        w.form->menuEntry("mnuApplicationHelp")->trigger();
        QCOMPARE(w.platform.keys.sent, std::vector<int>{Qt::Key_F1});

        w.form->UpdateListView(sample("hide01.xlsx"));
        w.form->menuEntry("mnuRemoveItem")->trigger();
        w.form->menuEntry("mnuPopupRemoveItem")->trigger();
        QCOMPARE(w.rows(), QStringList{"hide01.xlsx|Sheet3"});
        w.platform.messages.shown.clear();
        w.platform.messages.answers = {platform::mb::AnswerNo, platform::mb::AnswerYes};
        w.form->menuEntry("mnuClearList")->trigger();
        w.form->menuEntry("mnuPopupClearList")->trigger();
        QCOMPARE(w.messages().size(), 2);
        QCOMPARE(w.list()->rowCount(), 0);
    }

    void theIconFolderIsFoundWhateverItsCase()
    {
        Window w([](const fs::path& d) { fs::rename(d / "Icon", d / "ICON"); });
        QVERIFY2(w.messages().isEmpty(), qPrintable(w.messages().join("|")));
        QCOMPARE(w.form->ilsMain().Count(), 7);
    }

    void aMissingCaptionKeyStopsTheChainButTheWindowOpens()
    {
        auto config = support::standardConfig();
        config.erase(config.begin() + 2);  // frmMainCaption
        Window w({}, config);
        QCOMPARE(w.messages(), QStringList{"caption failed"});
        QCOMPARE(w.form->windowTitle(), QString());
        QVERIFY(w.form->tlbMain()->actions().isEmpty());
        QCOMPARE(w.list()->columnCount(), 0);
        QVERIFY(w.form->prgSplit()->isVisible());
        QVERIFY(w.form->isVisible());
    }

    void aMissingOrBrokenIconStopsAtTheImageList_data()
    {
        QTest::addColumn<bool>("missing");
        QTest::newRow("missing") << true;
        QTest::newRow("unreadable") << false;
    }
    void aMissingOrBrokenIconStopsAtTheImageList()
    {
        QFETCH(bool, missing);
        Window w([missing](const fs::path& d) {
            fs::remove(d / "Icon" / "Split.ico");
            if (!missing)
                support::writeBytes(d / "Icon" / "Split.ico", {'n', 'o', 't', ' ', 'a', 'n', ' ', 'i', 'c', 'o', 'n'});
        });
        QCOMPARE(w.messages().size(), 2);
        QVERIFY2(w.messages()[0].startsWith(missing ? "Err Number: 53\r\nErr Description: "
                                                    : "Err Number: 481\r\nErr Description: "),
                 qPrintable(w.messages()[0]));
        QVERIFY(w.messages()[0].contains("Split.ico"));
        QVERIFY(w.messages()[0].endsWith("\r\nErr Proc: InitImageList"));
        QCOMPARE(w.messages()[1], QString("image list failed"));
        QCOMPARE(w.form->ilsMain().Count(), 2);  // the images before the bad one stay
        QCOMPARE(w.form->windowTitle(), QString("Tamberlin 2009 "));
        QVERIFY(w.form->tlbMain()->actions().isEmpty());
        QCOMPARE(w.list()->columnCount(), 0);
        QVERIFY(w.form->prgSplit()->isVisible());
    }

    void aMissingWindowIconEndsTheLoadAtOnce()
    {
        Window w([](const fs::path& d) { fs::remove(d / "Icon" / "frmMain.ico"); });
        QCOMPARE(w.messages().size(), 1);
        QVERIFY(w.messages()[0].startsWith("Err Number: 53\r\n"));
        QVERIFY(w.messages()[0].endsWith("Err Proc: Form_Load"));
        QCOMPARE(w.form->windowTitle(), QString());
        QVERIFY(w.form->prgSplit()->isVisible());
    }

    void listedRowsShowInTheListWithTheBusyPointerWhileAWorkbookIsRead()
    {
        Window w;
        PointerWatch watch(w.form);
        w.g->gExcelApp->setObserver(&watch);
        w.form->UpdateListView(sample("hide01.xlsx"));
        w.form->UpdateListView(xlsSample("simple02.xls"));
        QVERIFY2(w.messages().isEmpty(), qPrintable(w.messages().join("|")));
        QCOMPARE(w.rows(), (QStringList{"hide01.xlsx|Sheet1", "hide01.xlsx|Sheet2", "hide01.xlsx|Sheet3",
                                        "simple02.xls|Sheet1", "simple02.xls|Data Sheet", "simple02.xls|Sheet3"}));
        QCOMPARE(w.list()->item(0, 0)->text(), sample("hide01.xlsx"));  // the path exactly as it was given
        const QString busy = QString("11/%1").arg(int(Qt::WaitCursor));
        QCOMPARE(watch.seen, QStringList(2, busy));
        QCOMPARE(w.form->MousePointer(), 0);
        QCOMPARE(w.form->cursor().shape(), Qt::ArrowCursor);
        QCOMPARE(w.list()->currentRow(), 0);
        w.g->gExcelApp->setObserver(nullptr);

        // Listed already, under any case of its path: nothing happens.
        w.form->UpdateListView(sample("hide01.xlsx").toUpper().replace(sample("").toUpper(), sample("")));
        QCOMPARE(w.list()->rowCount(), 6);
        QCOMPARE(w.form->tasks().count(), 6);
        QVERIFY(w.messages().isEmpty());
    }

    void aDamagedWorkbookIsReportedWithItsPathAndAddsNoRow()
    {
        Window w;
        const fs::path bad = w.dir / "broken.xlsx";
        support::writeBytes(bad, {'P', 'K', 3, 4, 'x', 'x'});
        // What the engine says about the file, word for word.
        std::string description;
        try {
            excel::Application probe;
            probe.GetWorkbooks().Open(bad.string());
        } catch (const tb::Error& e) {
            QCOMPARE(e.number(), 1004);
            description = e.description();
        }
        QVERIFY(!description.empty());
        w.form->UpdateListView(QString::fromStdString(bad.string()));
        QCOMPARE(w.messages(), QStringList{"Error Number: 1004\r\n Error Description: " +
                                           QString::fromStdString(description) +
                                           "\r\nError File Name: " + QString::fromStdString(bad.string())});
        QCOMPARE(w.platform.messages.shown[0].style, 0);
        QCOMPARE(w.list()->rowCount(), 0);
        QCOMPARE(w.form->MousePointer(), 0);
        QCOMPARE(w.form->cursor().shape(), Qt::ArrowCursor);
        QCOMPARE(w.g->gExcelApp->GetWorkbooks().Count(), 0);

        w.platform.messages.shown.clear();
        w.form->UpdateListView(QString::fromStdString((w.dir / "nope.xlsx").string()));
        QCOMPARE(w.messages().size(), 1);
        QVERIFY(w.messages()[0].startsWith("Error Number: 53\r\n"));
    }

    void columnsWidenToTheTextAndNeverNarrow()
    {
        Window w;
        const double start = w.form->columnWidth(1), start2 = w.form->columnWidth(2);
        w.form->AdjustColumnWidth(1, "");
        QCOMPARE(w.form->columnWidth(1), start);
        const QString longText(200, QChar('W'));
        w.form->AdjustColumnWidth(1, longText);
        const double wide = w.form->columnWidth(1);
        QCOMPARE(wide, double(std::lround(w.form->TextWidth(longText) + 200)));
        w.form->AdjustColumnWidth(1, "short");
        QCOMPARE(w.form->columnWidth(1), wide);
        QCOMPARE(w.form->columnWidth(2), start2);  // the other column is left alone
        w.form->AdjustColumnWidth(3, "x");
        QCOMPARE(w.messages().size(), 1);
        QVERIFY(w.messages()[0].endsWith("Err Proc: AdjustColumnWidth"));
    }

    void aFolderAddsItsWorkbooksAndAFolderThatIsGoneIsReported()
    {
        Window w;
        const fs::path folder = w.dir / "in";
        fs::create_directories(folder);
        fs::copy_file(kData / "xlsx" / "hide01.xlsx", folder / "b.xlsx");
        fs::copy_file(kData / "xls" / "lo" / "hide01.xls", folder / "z.XLS");
        w.platform.folders.answers = {QString::fromStdString(folder.string())};
        w.form->mnuAddFolder_Click();
        QCOMPARE(w.platform.folders.titles, QStringList{"Add all Excel files in the folder"});
        QCOMPARE(w.platform.folders.roots, QStringList{"/"});
        QVERIFY(w.messages().isEmpty());
        QCOMPARE(w.rows(), (QStringList{"z.XLS|Sheet1", "z.XLS|Sheet2", "z.XLS|Sheet3", "b.xlsx|Sheet1",
                                        "b.xlsx|Sheet2", "b.xlsx|Sheet3"}));
        QCOMPARE(w.list()->item(0, 0)->text(), QString::fromStdString((folder / "z.XLS").string()));

        // A folder that is gone: the folder report, with the trailing separator.
        w.platform.folders.answers = {QString::fromStdString((w.dir / "gone").string())};
        w.form->mnuAddFolder_Click();
        QCOMPARE(w.messages().size(), 1);
        QVERIFY2(w.messages()[0].startsWith("Error Number: 76\r\n Error Description: "), qPrintable(w.messages()[0]));
        QVERIFY(w.messages()[0].endsWith("\r\nError Folder Name: " + QString::fromStdString((w.dir / "gone").string()) + "/"));

        // A cancelled browser does nothing.
        w.platform.messages.shown.clear();
        w.form->mnuAddFolder_Click();
        QVERIFY(w.messages().isEmpty());
    }

    void theFileDialogAsksForOneWorkbookAndATypedNameIsReported()
    {
        Window w;
        w.platform.files.answers = {"  " + sample("hide01.xlsx") + " ", QString::fromStdString((w.dir / "typed.xls").string()), ""};
        w.form->mnuAddFile_Click();
        QCOMPARE(w.list()->rowCount(), 3);
        const auto& request = w.platform.files.requests.at(0);
        QCOMPARE(request.title, QString("please select excel file"));
        QCOMPARE(request.filterLabel, QString("Microsoft office Excel files (*.xls;*.xlsx)"));
        QCOMPARE(request.filterPatterns, (QStringList{"*.xls", "*.xlsx"}));
        w.form->mnuAddFile_Click();
        QCOMPARE(w.messages().size(), 1);
        QVERIFY(w.messages()[0].endsWith("typed.xls"));
        w.form->mnuAddFile_Click();  // cancelled
        QCOMPARE(w.messages().size(), 1);
        QCOMPARE(w.list()->rowCount(), 3);
    }

    void removingAndClearingRows()
    {
        Window w;
        w.form->mnuRemoveItem_Click();  // empty list: nothing, no message
        w.form->mnuClearList_Click();
        QVERIFY(w.messages().isEmpty());

        w.form->UpdateListView(sample("hide01.xlsx"));
        w.list()->setCurrentCell(1, 0);
        w.form->mnuRemoveItem_Click();
        QCOMPARE(w.rows(), (QStringList{"hide01.xlsx|Sheet1", "hide01.xlsx|Sheet3"}));
        QCOMPARE(w.list()->currentRow(), 1);  // the row that moved up is selected

        // Delete on the list, with Shift held too.
        w.list()->setFocus();
        QTest::keyClick(w.list(), Qt::Key_Delete, Qt::ShiftModifier);
        QCOMPARE(w.rows(), QStringList{"hide01.xlsx|Sheet1"});
        QCOMPARE(w.list()->currentRow(), 0);  // the new last row is selected

        // The workbook's other row still stands: listing it again adds nothing.
        w.form->UpdateListView(sample("hide01.xlsx"));
        QCOMPARE(w.list()->rowCount(), 1);

        w.platform.messages.answers = {platform::mb::AnswerNo};
        w.form->mnuClearList_Click();
        QCOMPARE(w.list()->rowCount(), 1);
        w.platform.messages.answers = {platform::mb::AnswerYes};
        w.form->mnuClearList_Click();
        QCOMPARE(w.list()->rowCount(), 0);
        QCOMPARE(w.messages(), (QStringList{"Do you really want to clear the list", "Do you really want to clear the list"}));
        QCOMPARE(w.platform.messages.shown[0].style, 292);

        // Every row gone: the workbook can be listed again.
        w.form->UpdateListView(sample("hide01.xlsx"));
        QCOMPARE(w.list()->rowCount(), 3);

        // Ctrl+Delete removes the current row as well; other keys do not.
        w.platform.messages.shown.clear();
        w.list()->setFocus();
        QTest::keyClick(w.list(), Qt::Key_Backspace);
        QTest::keyClick(w.list(), Qt::Key_Delete, Qt::ControlModifier);
        QCOMPARE(w.rows(), (QStringList{"hide01.xlsx|Sheet2", "hide01.xlsx|Sheet3"}));
        QTest::keyClick(w.list(), Qt::Key_Delete);
        QTest::keyClick(w.list(), Qt::Key_Delete);
        QTest::keyClick(w.list(), Qt::Key_Delete);  // on the empty list: nothing
        QCOMPARE(w.list()->rowCount(), 0);
        QVERIFY(w.messages().isEmpty());
    }

    void theToolbarCallsItsCommandsByName()
    {
        Window w;
        w.button("mnuSplit_Click")->trigger();
        QCOMPARE(w.messages(), QStringList{"Please select some Excel workbook at first"});
        QCOMPARE(w.form->windowTitle(), QString("Tamberlin2009"));

        w.platform.messages.shown.clear();
        w.button("mnuVisitHomePage_Click")->trigger();
        QCOMPARE(w.platform.shellService.opened, QStringList{"https://www.tamberlin.org/"});
        w.form->mnuSupport_Click();
        QCOMPARE(w.platform.shellService.opened.last(), QString("mailto:support@tamberlin.org"));

        // The commands the toolbar names are slots, callable by name.
        for (const char* slot : {"mnuSplit_Click()", "mnuSettings_Click()", "mnuApplicationHelp_Click()",
                                 "mnuVisitHomePage_Click()", "mnuExit_Click()"})
            QVERIFY2(w.form->metaObject()->indexOfSlot(slot) >= 0, slot);
        w.platform.keys.deliver = false;
        w.button("mnuApplicationHelp_Click")->trigger();
        QCOMPARE(w.platform.keys.sent, std::vector<int>{Qt::Key_F1});

        // A key that names no command is reported by the dispatcher.
        QAction bogus("x");
        bogus.setObjectName("mnuNoSuchCommand");
        w.form->tlbMain_ButtonClick(&bogus);
        QCOMPARE(w.messages().size(), 1);
        QVERIFY(w.messages()[0].endsWith("Err Proc: tlbMain_ButtonClick"));
        QVERIFY(w.messages()[0].startsWith("Err Number: 438\r\n"));
    }

    void theAddButtonShowsTheFileMenuWithoutExitAndRestoresIt()
    {
        Window w;
        bool exitHiddenMeanwhile = false;
        QStringList shown;
        QTimer::singleShot(100, [&] {
            QMenu* popup = qobject_cast<QMenu*>(QApplication::activePopupWidget());
            if (popup) {
                for (QAction* a : popup->actions())
                    if (a->isVisible())
                        shown << a->text();
                exitHiddenMeanwhile = !w.form->menuEntry("mnuExit")->isVisible();
                popup->close();
            }
        });
        w.button("mnuFile")->trigger();
        QCOMPARE(shown, (QStringList{"Add File", "Add Folder"}));
        QVERIFY(exitHiddenMeanwhile);
        QVERIFY(w.form->menuEntry("mnuExit")->isVisible());
        QVERIFY(w.form->menuEntry("mnuSep1")->isVisible());

        shown.clear();
        QTimer::singleShot(100, [&] {
            if (QMenu* popup = qobject_cast<QMenu*>(QApplication::activePopupWidget())) {
                for (QAction* a : popup->actions())
                    shown << a->text();
                popup->close();
            }
        });
        w.button("mnuEdit")->trigger();
        QCOMPARE(shown, (QStringList{"Remove Item", "Clear List"}));
    }

    void theRightButtonOpensThePopupOnTheList()
    {
        Window w;
        QString opened;
        QTimer::singleShot(100, [&] {
            if (QWidget* popup = QApplication::activePopupWidget()) {
                opened = popup->objectName();
                popup->close();
            }
        });
        QTest::mousePress(w.list()->viewport(), Qt::RightButton, {}, QPoint(10, 10));
        QTest::qWait(150);
        QVERIFY(opened.isEmpty());
        QTimer::singleShot(100, [&] {
            if (QWidget* popup = QApplication::activePopupWidget()) {
                opened = popup->objectName();
                popup->close();
            }
        });
        QTest::mouseRelease(w.list()->viewport(), Qt::RightButton, {}, QPoint(10, 10));
        QCOMPARE(opened, QString("mnuPopup"));
        opened.clear();
        QTest::mouseClick(w.list()->viewport(), Qt::LeftButton, {}, QPoint(10, 10));
        QTest::qWait(150);
        QVERIFY(opened.isEmpty());
    }

    void closingAsksOnlyWhenThereAreRows()
    {
        {
            Window w;
            QSignalSpy closed(w.form, &ui::frmMain::closed);
            w.button("mnuExit_Click")->trigger();
            QCOMPARE(closed.count(), 1);
            QVERIFY(w.messages().isEmpty());
        }
        Window w;
        QSignalSpy closed(w.form, &ui::frmMain::closed);
        w.form->UpdateListView(sample("hide01.xlsx"));
        w.list()->setCurrentCell(2, 0);
        // The toolbar's Exit and the close box ask alike; No keeps everything.
        w.platform.messages.answers = {platform::mb::AnswerNo, platform::mb::AnswerNo};
        w.button("mnuExit_Click")->trigger();
        w.form->close();
        QCOMPARE(closed.count(), 0);
        QVERIFY(w.form->isVisible());
        QCOMPARE(w.list()->rowCount(), 3);
        QCOMPARE(w.list()->currentRow(), 2);
        QCOMPARE(w.messages(), (QStringList{"Do you really want to exit?", "Do you really want to exit?"}));
        QCOMPARE(w.platform.messages.shown[0].style, 292);
        w.platform.messages.answers = {platform::mb::AnswerYes};
        w.form->mnuExit_Click();
        QCOMPARE(closed.count(), 1);
        QCOMPARE(w.messages().size(), 3);
    }

    void f1FromAnywhereInTheWindowOpensTheHelp()
    {
        Window w;
        const QString help = QString::fromStdString((w.dir / "help" / "help.chm").string());
        w.list()->setFocus();
        QTest::keyClick(w.list(), Qt::Key_F1, Qt::ControlModifier);
        QCOMPARE(w.platform.shellService.opened, QStringList{help});
        QTest::keyClick(w.list(), Qt::Key_F2);
        QCOMPARE(w.platform.shellService.opened.size(), 1);
        // With no control focused the window itself gets the key.
        w.list()->clearFocus();
        QTest::keyClick(w.form, Qt::Key_F1, Qt::AltModifier);
        QCOMPARE(w.platform.shellService.opened, (QStringList{help, help}));
        w.platform.shellService.opened.clear();

        // The menu entry sends a real F1 through the window's key path.
        w.form->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(w.form));
        w.list()->setFocus();
        w.form->menuEntry("mnuApplicationHelp")->trigger();
        QCOMPARE(w.platform.keys.sent, std::vector<int>{Qt::Key_F1});
        QTRY_COMPARE(w.platform.shellService.opened.size(), 1);
        QCOMPARE(w.platform.shellService.opened.last(), help);
    }
};

QTEST_MAIN(FrmMainTest)
#include "tst_frm_main.moc"
