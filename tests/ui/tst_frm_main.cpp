// The main window driven as a user drives it, offscreen, with a scripted
// platform and the real workbook engine.

#include "WindowFixture.h"

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

}  // namespace

class FrmMainTest : public QObject {
    Q_OBJECT

private slots:
    void aFullLoadBuildsTheWholeWindow()
    {
        Window w;
        QVERIFY2(w.messages().isEmpty(), qPrintable(w.messages().join("|")));
        QCOMPARE(w.form->windowTitle(), QString("Tamberlin 2009 "));
        QStringList keys, captions;
        for (QAction* a : w.form->tlbMain()->actions()) {
            keys << a->objectName();
            captions << (a->isSeparator() ? "|" : a->text());
        }
        QCOMPARE(captions, (QStringList{"Add file", "Remove ", "|", "Split", "|", "Option", "Help", "Homepage", "|",
                                        "Exit", "|"}));
        QCOMPARE(keys, (QStringList{"mnuFile", "mnuEdit", "", "mnuSplit_Click", "", "mnuSettings_Click",
                                    "mnuApplicationHelp_Click", "mnuVisitHomePage_Click", "", "mnuExit_Click", ""}));
        QCOMPARE(w.form->ilsMain().Count(), 7);
        QCOMPARE(w.form->tlbMain()->iconSize(), QSize(32, 32));
        QCOMPARE(w.form->tlbMain()->toolButtonStyle(), Qt::ToolButtonTextUnderIcon);
        QVERIFY(!w.form->prgSplit()->isVisible());
        QCOMPARE(w.list()->columnCount(), 2);
        QCOMPARE(w.list()->horizontalHeaderItem(0)->text(), QString("Source File Name"));
        QCOMPARE(w.list()->horizontalHeaderItem(1)->text(), QString("WorkSheet Name"));
        QCOMPARE(w.form->columnWidth(1), 4833.0);
        QCOMPARE(w.form->columnWidth(2), 3222.0);
        QVERIFY(w.list()->showGrid());
        QCOMPARE(w.list()->selectionBehavior(), QAbstractItemView::SelectRows);
        QCOMPARE(w.list()->selectionMode(), QAbstractItemView::SingleSelection);
        QCOMPARE(w.list()->editTriggers(), QAbstractItemView::NoEditTriggers);
        QVERIFY(!w.list()->verticalHeader()->isVisible());

        QStringList bar;
        for (QAction* a : w.form->menuBar()->actions())
            bar << a->text();
        QCOMPARE(bar, (QStringList{"&File", "&Edit", "&Actions", "&Options", "&Help"}));
        QStringList popup;
        for (QAction* a : w.form->menu("mnuPopup")->actions())
            popup << (a->isSeparator() ? "-" : a->text());
        QCOMPARE(popup, (QStringList{"Split", "-", "Add File", "Add Folder", "Remove Item", "Clear List"}));
        QStringList help;
        for (QAction* a : w.form->menu("mnuHelp")->actions())
            help << a->text();
        QCOMPARE(help, (QStringList{"Application Help", "Visit HomePage", "Support", "About"}));
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
        QVERIFY(w.messages()[0].startsWith("Err Number: 481\r\nErr Description: "));
        QVERIFY(w.messages()[0].contains("Split.ico"));
        QVERIFY(w.messages()[0].endsWith("\r\nErr Proc: InitImageList"));
        QCOMPARE(w.messages()[1], QString("image list failed"));
        QCOMPARE(w.form->ilsMain().Count(), 2);  // "the images before the bad one stay"
        QCOMPARE(w.form->windowTitle(), QString("Tamberlin 2009 "));
        QVERIFY(w.form->tlbMain()->actions().isEmpty());
        QCOMPARE(w.list()->columnCount(), 0);
        QVERIFY(w.form->prgSplit()->isVisible());
    }

    void aMissingWindowIconEndsTheLoadAtOnce()
    {
        Window w([](const fs::path& d) { fs::remove(d / "Icon" / "frmMain.ico"); });
        QCOMPARE(w.messages().size(), 1);
        QVERIFY(w.messages()[0].endsWith("Err Proc: Form_Load"));
        QCOMPARE(w.form->windowTitle(), QString());
        QVERIFY(w.form->prgSplit()->isVisible());
    }

    void listingGivesOneRowPerWorksheetInTabOrder()
    {
        Window w;
        w.form->UpdateListView(sample("hide01.xlsx"));   // Sheet2 hidden
        w.form->UpdateListView(sample("hide02.xlsx"));   // Sheet2 very hidden
        w.form->UpdateListView(sample("chartsheet02.xlsx"));  // a chart sheet between two worksheets
        QVERIFY2(w.messages().isEmpty(), qPrintable(w.messages().join("|")));
        QCOMPARE(w.rows(), (QStringList{"hide01.xlsx|Sheet1", "hide01.xlsx|Sheet2", "hide01.xlsx|Sheet3",
                                        "hide02.xlsx|Sheet1", "hide02.xlsx|Sheet2", "hide02.xlsx|Sheet3",
                                        "chartsheet02.xlsx|Sheet1", "chartsheet02.xlsx|Sheet2"}));
        QCOMPARE(w.g->gExcelApp->GetWorkbooks().Count(), 0);  // "every listed workbook is closed again"
        QCOMPARE(w.form->MousePointer(), 0);
        QCOMPARE(w.list()->currentRow(), 0);

        // Listed already, under any case of its path: nothing happens.
        w.form->UpdateListView(sample("hide01.xlsx").toUpper().replace(sample("").toUpper(), sample("")));
        w.form->UpdateListView(sample("hide01.xlsx"));
        QCOMPARE(w.list()->rowCount(), 8);
        QVERIFY(w.messages().isEmpty());
    }

    void aDamagedWorkbookIsReportedWithItsPathAndAddsNoRow()
    {
        Window w;
        const fs::path bad = w.dir / "broken.xlsx";
        support::writeBytes(bad, {'P', 'K', 3, 4, 'x', 'x'});
        w.form->UpdateListView(QString::fromStdString(bad.string()));
        QCOMPARE(w.messages().size(), 1);
        const QString text = w.messages()[0];
        QVERIFY2(text.startsWith("Error Number: 1004\r\n Error Description: "), qPrintable(text));
        QVERIFY(text.endsWith("\r\nError File Name: " + QString::fromStdString(bad.string())));
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
        const double start = w.form->columnWidth(1);
        w.form->AdjustColumnWidth(1, "");
        QCOMPARE(w.form->columnWidth(1), start);
        const QString longText(200, QChar('W'));
        w.form->AdjustColumnWidth(1, longText);
        const double wide = w.form->columnWidth(1);
        QCOMPARE(wide, double(std::lround(w.form->TextWidth(longText) + 200)));
        w.form->AdjustColumnWidth(1, "short");
        QCOMPARE(w.form->columnWidth(1), wide);
        QCOMPARE(w.form->columnWidth(2), 3222.0);  // "the other column is left alone"
        w.form->AdjustColumnWidth(3, "x");
        QCOMPARE(w.messages().size(), 1);
        QVERIFY(w.messages()[0].endsWith("Err Proc: AdjustColumnWidth"));
    }

    void aFolderAddsItsXlsThenItsXlsxFilesAndNothingElse()
    {
        Window w;
        const fs::path folder = w.dir / "in";
        fs::create_directories(folder / "sub");
        fs::copy_file(kData / "xlsx" / "hide01.xlsx", folder / "b.xlsx");
        fs::copy_file(kData / "xlsx" / "simple02.xlsx", folder / "A.XLSX");
        fs::copy_file(kData / "xlsx" / "hide02.xlsx", folder / ".hidden.xlsx");
        fs::copy_file(kData / "xlsx" / "hide02.xlsx", folder / "sub" / "inner.xlsx");
        fs::copy_file(kData / "xlsx" / "hide02.xlsx", folder / "notes.txt");
        support::writeBytes(folder / "old.Xls", {'n', 'o', 'p', 'e'});
        w.platform.folders.answers = {QString::fromStdString(folder.string())};
        w.form->mnuAddFolder_Click();
        QCOMPARE(w.platform.folders.titles, QStringList{"Add all Excel files in the folder"});
        // The unreadable .xls comes first and is reported; the scan goes on.
        QCOMPARE(w.messages().size(), 1);
        QVERIFY(w.messages()[0].endsWith("Error File Name: " + QString::fromStdString(folder.string()) + "/old.Xls"));
        QCOMPARE(w.rows(), (QStringList{"A.XLSX|Sheet1", "A.XLSX|Data Sheet", "A.XLSX|Sheet3", "b.xlsx|Sheet1",
                                        "b.xlsx|Sheet2", "b.xlsx|Sheet3"}));

        // The same folder again adds nothing and says nothing.
        w.platform.messages.shown.clear();
        fs::remove(folder / "old.Xls");
        w.platform.folders.answers = {QString::fromStdString(folder.string())};
        w.form->mnuAddFolder_Click();
        QCOMPARE(w.list()->rowCount(), 6);
        QVERIFY(w.messages().isEmpty());

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
        QCOMPARE(w.list()->currentRow(), 1);  // "the row that moved up is selected"

        // Delete on the list, with Shift held too.
        w.list()->setFocus();
        QTest::keyClick(w.list(), Qt::Key_Delete, Qt::ShiftModifier);
        QCOMPARE(w.rows(), QStringList{"hide01.xlsx|Sheet1"});
        QCOMPARE(w.list()->currentRow(), 0);  // "the new last row is selected"

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
        QTest::mouseClick(w.list()->viewport(), Qt::RightButton, {}, QPoint(10, 10));
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
        w.platform.messages.answers = {platform::mb::AnswerNo};
        w.form->close();
        QCOMPARE(closed.count(), 0);
        QVERIFY(w.form->isVisible());
        QCOMPARE(w.list()->rowCount(), 3);
        QCOMPARE(w.messages(), QStringList{"Do you really want to exit?"});
        QCOMPARE(w.platform.messages.shown[0].style, 292);
        w.platform.messages.answers = {platform::mb::AnswerYes};
        w.form->mnuExit_Click();
        QCOMPARE(closed.count(), 1);
        QCOMPARE(w.messages().size(), 2);
    }

    void f1FromAnywhereInTheWindowOpensTheHelp()
    {
        Window w;
        w.list()->setFocus();
        QTest::keyClick(w.list(), Qt::Key_F1, Qt::ControlModifier);
        QCOMPARE(w.platform.shellService.opened, QStringList{w.g->helpFile});

        // The menu entry sends a real F1 through the window's key path.
        w.form->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(w.form));
        w.list()->setFocus();
        w.form->menuEntry("mnuApplicationHelp")->trigger();
        QCOMPARE(w.platform.keys.sent, std::vector<int>{Qt::Key_F1});
        QTRY_COMPARE(w.platform.shellService.opened.size(), 2);
        QCOMPARE(w.platform.shellService.opened.last(), w.g->helpFile);
    }
};

QTEST_MAIN(FrmMainTest)
#include "tst_frm_main.moc"
