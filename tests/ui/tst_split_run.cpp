// Whole split runs through the window and the real engine, offscreen.

#include "WindowFixture.h"
#include "support/SourceGuard.h"

#include <QProgressBar>
#include <QSignalSpy>
#include <QTableWidget>
#include <QtTest>

namespace fs = std::filesystem;

namespace {

const fs::path kData = fs::path(TB_TEST_DATA);

// Counts the paint events a widget gets.
class PaintCounter final : public QObject {
public:
    explicit PaintCounter(QWidget* w) { w->installEventFilter(this); }
    int paints = 0;

protected:
    bool eventFilter(QObject*, QEvent* e) override
    {
        paints += e->type() == QEvent::Paint ? 1 : 0;
        return false;
    }
};

struct Run : support::WindowFixture {
    fs::path out;
    fs::path in;

    Run()
    {
        out = dir / "out";
        in = dir / "in";
        fs::create_directories(out);
        fs::create_directories(in);
    }
    QString add(const char* sample, const std::string& as)
    {
        fs::copy_file(kData / "xlsx" / sample, in / as);
        const QString path = QString::fromStdString((in / as).string());
        form->UpdateListView(path);
        return path;
    }
    // Every run, whatever it ends with, leaves the sources' bytes and
    // modification times as they were.
    void split(const QString& folder)
    {
        const support::SourceFolderGuard sources(in);
        platform.folders.answers = {folder};
        form->mnuSplit_Click();
        const std::string changed = sources.changes();
        QVERIFY2(changed.empty(), changed.c_str());
    }
    void split() { split(QString::fromStdString(out.string())); }
    QStringList tree() const
    {
        QStringList files;
        for (const auto& e : fs::recursive_directory_iterator(out))
            files << QString::fromStdString(fs::relative(e.path(), out).string()) + (e.is_directory() ? "/" : "");
        files.sort();
        return files;
    }
};

}  // namespace

class SplitRunTest : public QObject {
    Q_OBJECT

private slots:
    void aRunMovesTheBarMarksEachRowAndShowsTheFolderAtTheEnd()
    {
        Run r;
        r.add("hide01.xlsx", "Book1.xlsx");      // Sheet1, Sheet2 (hidden), Sheet3
        r.add("simple02.xlsx", "Budget.xlsx");   // Sheet1, Data Sheet, Sheet3
        r.form->lvwTask()->setCurrentCell(2, 0);
        r.form->mnuRemoveItem_Click();           // Book1's Sheet3 goes: no file for it
        r.form->lvwTask()->setCurrentCell(4, 0);
        r.form->mnuRemoveItem_Click();           // Budget's Sheet3 goes too
        r.form->lvwTask()->setCurrentCell(2, 0);
        r.form->mnuRemoveItem_Click();           // and its Sheet1: rows A, A, B are left
        QCOMPARE(r.form->lvwTask()->rowCount(), 3);

        QList<int> values;
        QObject::connect(r.form->prgSplit(), &QProgressBar::valueChanged, [&](int v) { values << v; });
        QList<int> selected;
        QObject::connect(r.form->lvwTask(), &QTableWidget::currentCellChanged,
                         [&](int row, int, int, int) { selected << row + 1; });
        r.split();

        QCOMPARE(r.messages(), QStringList{"Mission complete!"});
        QCOMPARE(r.tree(), (QStringList{"Book1/", "Book1/Sheet1.xls", "Book1/Sheet2.xls", "Budget/",
                                        "Budget/Data Sheet.xls"}));
        QCOMPARE(r.g->gExcelApp->GetWorkbooks().Count(), 0);
        QVERIFY(r.g->gExcelApp->EnableEvents());
        // Min 1, Max 2n, Value 2i after row i, and back to Min at the end.
        QCOMPARE(values, (QList<int>{1, 2, 4, 6, 1}));
        QCOMPARE(r.form->prgSplit()->minimum(), 1);
        QCOMPARE(r.form->prgSplit()->maximum(), 6);
        QVERIFY(!r.form->prgSplit()->isVisible());
        // The selection follows the finished row; row 1 at the end.
        QCOMPARE(selected, (QList<int>{1, 2, 3, 1}));
        QCOMPARE(r.form->lvwTask()->currentRow(), 0);
        QVERIFY(r.form->lvwTask()->selectionModel()->isRowSelected(0, {}));
        QCOMPARE(r.form->MousePointer(), 0);
        QCOMPARE(r.form->windowTitle(), QString("Tamberlin2009"));
        QCOMPARE(r.platform.shellService.opened, QStringList{QString::fromStdString(r.out.string())});
        QCOMPARE(r.form->lvwTask()->rowCount(), 3);
    }

    void aSecondRunReplacesSilentlyOrAsksWhenAlertsAreOn()
    {
        Run r;
        r.add("hide01.xlsx", "Book1.xlsx");
        r.split();
        const auto first = fs::last_write_time(r.out / "Book1" / "Sheet1.xls");
        fs::last_write_time(r.out / "Book1" / "Sheet1.xls", first - std::chrono::hours(1));
        r.split();
        QCOMPARE(r.messages(), (QStringList{"Mission complete!", "Mission complete!"}));
        QVERIFY(fs::last_write_time(r.out / "Book1" / "Sheet1.xls") > first - std::chrono::hours(1));

        r.platform.messages.shown.clear();
        r.g->gExcelApp->setDisplayAlerts(true);
        r.platform.messages.answers = {platform::mb::AnswerYes, platform::mb::AnswerNo};
        r.split();
        QCOMPARE(r.messages().size(), 3);
        QCOMPARE(r.messages()[0], QString("A file named 'Sheet1.xls' already exists in this location. Do you want to replace it?"));
        QCOMPARE(r.platform.messages.shown[0].style, 292);
        QVERIFY(r.messages()[2].startsWith("Err Number: 1004\r\nErr Description: "));
        QVERIFY(r.messages()[2].endsWith("\r\nErr Proc: mnuSplit_Click"));
        QVERIFY(!r.messages().contains("Mission complete!"));
        QCOMPARE(r.platform.shellService.opened.size(), 2);  // only the two runs that finished
        // The window is put back after a failed run.
        QVERIFY(!r.form->prgSplit()->isVisible());
        QCOMPARE(r.form->MousePointer(), 0);
        QVERIFY(r.g->gExcelApp->EnableEvents());
        QCOMPARE(r.form->lvwTask()->currentRow(), 0);  // the last row finished
    }

    void aSheetThatCannotBeWrittenEndsTheRunAndEarlierFilesStay()
    {
        Run r;
        r.add("hide01.xlsx", "Book1.xlsx");
        fs::create_directories(r.out / "Book1" / "Sheet2.xls");  // a folder where the file should go
        r.split();
        QCOMPARE(r.messages().size(), 1);
        QVERIFY(r.messages()[0].endsWith("Err Proc: mnuSplit_Click"));
        QVERIFY(fs::is_regular_file(r.out / "Book1" / "Sheet1.xls"));
        QVERIFY(!fs::exists(r.out / "Book1" / "Sheet3.xls"));
        QCOMPARE(r.platform.shellService.opened.size(), 0);
        // The window is put back; the source and the unsaved copy stay open
        // in the engine; the selection stays on the last finished row.
        QVERIFY(!r.form->prgSplit()->isVisible());
        QCOMPARE(r.form->MousePointer(), 0);
        QCOMPARE(r.form->cursor().shape(), Qt::ArrowCursor);
        QVERIFY(r.g->gExcelApp->EnableEvents());
        QCOMPARE(r.form->lvwTask()->currentRow(), 0);
    }

    void aRunKeepsTheWindowPaintingAndACloseWaitsForItsEnd()
    {
        Run r;
        r.add("hide01.xlsx", "Book1.xlsx");
        r.add("simple02.xlsx", "Budget.xlsx");
        PaintCounter painted(r.form->prgSplit());
        QStringList during;
        QObject::connect(r.form->prgSplit(), &QProgressBar::valueChanged, [&](int v) {
            if (v != 4)
                return;
            // Halfway: the run's state shows, the bar has been painted, and
            // the desktop asks the window to close.
            during << QString("pointer %1 %2").arg(r.form->MousePointer()).arg(int(r.form->cursor().shape()))
                   << QString("bar %1").arg(r.form->prgSplit()->isVisible())
                   << QString("events %1").arg(r.g->gExcelApp->EnableEvents())
                   << QString("painted %1").arg(painted.paints > 0);
            r.form->close();
        });
        QSignalSpy closed(r.form, &ui::frmMain::closed);
        r.platform.messages.answers = {platform::mb::AnswerNo};
        r.split();
        QCOMPARE(during, (QStringList{QString("pointer 11 %1").arg(int(Qt::WaitCursor)), "bar 1", "events 0",
                                      "painted 1"}));
        // The close waited: the run went to its end with no question.
        QCOMPARE(r.messages(), QStringList{"Mission complete!"});
        QCOMPARE(r.tree().size(), 2 + 6);
        // Then it comes, and asks, as there are rows.
        QTRY_COMPARE(r.messages().size(), 2);
        QCOMPARE(r.messages()[1], QString("Do you really want to exit?"));
        QCOMPARE(closed.count(), 0);
        QVERIFY(r.form->isVisible());
    }

    void aChosenFolderEndingInASeparatorGetsNoSecondOne()
    {
        Run r;
        r.add("hide01.xlsx", "Book1.xlsx");
        const QString chosen = QString::fromStdString(r.out.string()) + "/";
        r.split(chosen);
        QCOMPARE(r.messages(), QStringList{"Mission complete!"});
        QCOMPARE(r.tree(), (QStringList{"Book1/", "Book1/Sheet1.xls", "Book1/Sheet2.xls", "Book1/Sheet3.xls"}));
        // The file manager gets the folder just as it came from the browser.
        QCOMPARE(r.platform.shellService.opened, QStringList{chosen});
    }

    void olderExcelFilesSplitAndAnExcel4WorkbookIsRefusedByName()
    {
        Run r;
        fs::copy_file(kData / "xls" / "biff5" / "cyrillic95.xls", r.in / "Отчёт 95.xls");
        fs::copy_file(kData / "xls" / "biff4" / "biff4_sheet.xls", r.in / "Sheet4.xls");
        fs::copy_file(kData / "xls" / "biff4" / "biff4w_workbook.xlw", r.in / "Binder.xlw");
        for (const char* f : {"Отчёт 95.xls", "Binder.xlw", "Sheet4.xls"})
            r.form->UpdateListView(QString::fromStdString((r.in / f).string()));
        const QStringList shown = r.messages();
        QCOMPARE(shown.size(), 1);
        QVERIFY2(shown[0].contains("Binder.xlw' is an Excel 4.0 workbook (BIFF4W)"), qPrintable(shown[0]));
        QCOMPARE(r.form->lvwTask()->rowCount(), 4);
        QCOMPARE(r.form->lvwTask()->item(1, 1)->text(), QString("Данные2024"));

        r.split();
        QCOMPARE(r.messages().last(), QString("Mission complete!"));
        QCOMPARE(r.tree(), (QStringList{"Sheet4/", "Sheet4/Sheet4.xls", "Отчёт 95/", "Отчёт 95/Cafй.xls",
                                        "Отчёт 95/Данные2024.xls", "Отчёт 95/Ьbersicht.xls"}));
        QVERIFY(support::readBytes(r.out / "Sheet4" / "Sheet4.xls") == support::readBytes(r.in / "Sheet4.xls"));
    }

    // Damaged workbooks that other readers open: listed and split like any
    // other, and the window says nothing of what was repaired.
    void damagedWorkbooksSplitWithNothingExtraShown()
    {
        Run r;
        for (const auto& e : fs::directory_iterator(kData / "repair")) {
            const auto ext = e.path().extension();
            if (ext != ".xls" && ext != ".xlsx")
                continue;
            fs::copy_file(e.path(), r.in / e.path().filename());
            r.form->UpdateListView(QString::fromStdString((r.in / e.path().filename()).string()));
        }
        QCOMPARE(r.messages(), QStringList{});
        const int sheets = r.form->lvwTask()->rowCount();
        QVERIFY(sheets > 40);
        r.split();
        QCOMPARE(r.messages(), QStringList{"Mission complete!"});
        int files = 0;
        for (const auto& e : fs::recursive_directory_iterator(r.out))
            files += e.is_regular_file() ? 1 : 0;
        QCOMPARE(files, sheets);
    }

    void theTwoGuardsSpeakBeforeAnythingHappens()
    {
        Run r;
        r.split();
        QCOMPARE(r.messages(), QStringList{"Please select some Excel workbook at first"});
        QVERIFY(r.platform.folders.titles.isEmpty());
        r.platform.messages.shown.clear();
        r.add("hide01.xlsx", "Book1.xlsx");
        r.split("");  // cancelled
        r.split(QString::fromStdString((r.dir / "missing").string()));
        QCOMPARE(r.messages(), (QStringList{"Please select a output folder and try again",
                                            "Please select a output folder and try again"}));
        QCOMPARE(r.platform.folders.titles.first(), QString("Please select output folder"));
        QCOMPARE(r.platform.folders.roots.first(), QString("/"));
        QVERIFY(r.tree().isEmpty());
        QVERIFY(!r.form->prgSplit()->isVisible());
    }

    void aShortWorkbookNameIsReportedAndItsSheetsGoToTheChosenFolder()
    {
        Run r;
        QCOMPARE(r.form->GetWorkbookShortName("Book1.xlsx"), QString("Book1."));
        QVERIFY(r.messages().isEmpty());
        QCOMPARE(r.form->GetWorkbookShortName("a.x"), QString());
        QCOMPARE(r.messages().size(), 1);
        QVERIFY(r.messages()[0].endsWith("Err Proc: GetWorkbookShortName"));

        r.platform.messages.shown.clear();
        r.add("hide01.xlsx", "abc");  // three characters: no short name
        r.split();
        QCOMPARE(r.messages().size(), 4);  // one report for each row, and the run goes on
        for (int i = 0; i < 3; ++i)
            QVERIFY(r.messages()[i].endsWith("Err Proc: GetWorkbookShortName"));
        QCOMPARE(r.messages()[3], QString("Mission complete!"));
        QCOMPARE(r.tree(), (QStringList{"Sheet1.xls", "Sheet2.xls", "Sheet3.xls"}));
    }
};

QTEST_MAIN(SplitRunTest)
#include "tst_split_run.moc"
