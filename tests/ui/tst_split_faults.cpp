// Split runs through the window that meet a fault: the output folder
// vanishes part way, the disk fills, a forged sheet name. Each ends the run
// with the common error report; files written before stay whole, nothing is
// half-written or written outside the chosen folder, the source is unchanged.

#include "WindowFixture.h"
#include "support/SourceGuard.h"

#include <QtTest>

#include <csignal>
#include <sys/resource.h>

namespace fs = std::filesystem;

namespace {

const fs::path kData = fs::path(TB_TEST_DATA);

// Does `act` once, when the engine reports the first operation that starts
// with `prefix`: the fault strikes in the middle of the run.
class FaultOnOperation final : public excel::ApplicationObserver {
public:
    FaultOnOperation(std::string prefix, std::function<void()> act) : prefix_(std::move(prefix)), act_(std::move(act)) {}
    void visibleChanged(bool) override {}
    void workbooksChanged(const std::vector<std::string>&, int) override {}
    void operationDone(const std::string& d) override
    {
        if (act_ && d.rfind(prefix_, 0) == 0) {
            act_();
            act_ = nullptr;
        }
    }

private:
    std::string prefix_;
    std::function<void()> act_;
};

struct Run : support::WindowFixture {
    fs::path out = dir / "out";
    fs::path in = dir / "in";

    Run()
    {
        fs::create_directories(out);
        fs::create_directories(in);
    }
    fs::path add(const fs::path& sample, const std::string& as)
    {
        fs::copy_file(sample, in / as);
        form->UpdateListView(QString::fromStdString((in / as).string()));
        return in / as;
    }
    void split()
    {
        platform.folders.answers = {QString::fromStdString(out.string())};
        form->mnuSplit_Click();
    }
    // Every path below the test's folder but the application's own files.
    QStringList written() const
    {
        QStringList files;
        for (const auto& e : fs::recursive_directory_iterator(dir.path())) {
            const auto rel = fs::relative(e.path(), dir.path()).string();
            if (rel.rfind("out", 0) == 0 || rel.rfind("in", 0) == 0)
                files << QString::fromStdString(rel);
        }
        files.sort();
        return files;
    }
    bool endedWithTheReport() const
    {
        return messages().size() == 1 && messages()[0].endsWith("Err Proc: mnuSplit_Click") &&
               platform.shellService.opened.isEmpty();
    }
};

}  // namespace

class SplitFaultsTest : public QObject {
    Q_OBJECT

private slots:
    void theOutputFolderVanishingMidRunEndsItWithTheReport()
    {
        Run r;
        const auto a = r.add(kData / "xlsx" / "hide01.xlsx", "Book1.xlsx");
        const auto b = r.add(kData / "xls" / "lo" / "simple02.xls", "Book2.xls");
        support::SourceGuard ga(a), gb(b);
        FaultOnOperation vanish("Saved ", [&] { fs::remove_all(r.out); });
        r.g->gExcelApp->setObserver(&vanish);
        r.split();
        QVERIFY2(r.endedWithTheReport(), qPrintable(r.messages().join(" | ")));
        QVERIFY(r.messages()[0].contains("Error Number: 76") || r.messages()[0].contains("76"));
        QVERIFY(!fs::exists(r.out));
        QCOMPARE(r.form->MousePointer(), 0);
        QCOMPARE(ga.changes(), std::string());
        QCOMPARE(gb.changes(), std::string());
    }

    void aFullDiskEndsTheRunAndKeepsTheFileOfTheRunBefore()
    {
        Run r;
        const auto a = r.add(kData / "xlsx" / "crossref.xlsx", "Book1.xlsx");
        support::SourceGuard guard(a);
        fs::create_directories(r.out / "Book1");
        support::writeBytes(r.out / "Book1" / "Calc.xls", {'o', 'l', 'd'});
        struct rlimit before {};
        QCOMPARE(::getrlimit(RLIMIT_FSIZE, &before), 0);
        auto* oldHandler = std::signal(SIGXFSZ, SIG_IGN);
        struct rlimit tight = before;
        tight.rlim_cur = 2048;  // smaller than any copy of the workbook
        QCOMPARE(::setrlimit(RLIMIT_FSIZE, &tight), 0);
        r.split();
        ::setrlimit(RLIMIT_FSIZE, &before);
        std::signal(SIGXFSZ, oldHandler);
        QVERIFY2(r.endedWithTheReport(), qPrintable(r.messages().join(" | ")));
        QCOMPARE(support::readBytes(r.out / "Book1" / "Calc.xls"), (std::vector<char>{'o', 'l', 'd'}));
        QCOMPARE(r.written(), (QStringList{"in", "in/Book1.xlsx", "out", "out/Book1", "out/Book1/Calc.xls"}));
        QCOMPARE(guard.changes(), std::string());
    }

    void aForgedSheetNameEndsTheRunInsideTheChosenFolder()
    {
        for (const char* forged : {"sheet_dotdot.xlsx", "sheet_slash.xlsx", "sheet_control.xlsx", "sheet_dotdot.xls"}) {
            Run r;
            const std::string ext = fs::path(forged).extension().string();
            const auto a = r.add(kData / "hostile" / forged, "Forged" + ext);
            support::SourceGuard guard(a);
            r.split();
            QVERIFY2(r.endedWithTheReport(), forged);
            QVERIFY2(r.messages()[0].contains("1004"), qPrintable(r.messages()[0]));
            const QString in = QString::fromStdString("in/Forged" + ext);
            const QString folder = "out/Forged";  // "Forged." is trimmed on disk
            const QString good = ext == ".xls" ? "/Sheet1.xls" : "/Good.xls";
            QCOMPARE(r.written(), (QStringList{"in", in, "out", folder, folder + good}));
            QCOMPARE(guard.changes(), std::string());
        }
    }
};

QTEST_MAIN(SplitFaultsTest)
#include "tst_split_faults.moc"
