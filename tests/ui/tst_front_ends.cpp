// The window and the command line run one task list and one split: over the
// same workbooks and the same chosen folder they write the same tree, file
// for file and byte for byte. Every sample workbook below tests/data (or
// below $TB_FRONT_END_SAMPLES) is split on its own by both, and so are the
// cases where the two once went apart.

#include "WindowFixture.h"
#include "support/ForgedWorkbook.h"
#include "support/SourceGuard.h"

#include <QProcess>
#include <QtTest>

#include <algorithm>
#include <cstdlib>

namespace fs = std::filesystem;

namespace {

const fs::path kData = fs::path(TB_TEST_DATA);

std::vector<fs::path> sampleWorkbooks()
{
    const char* given = std::getenv("TB_FRONT_END_SAMPLES");
    const fs::path root = given && *given ? fs::path(given) : kData;
    std::vector<fs::path> found;
    for (const auto& e : fs::recursive_directory_iterator(root)) {
        const std::string ext = e.path().extension().string();
        if (e.is_regular_file() && (ext == ".xls" || ext == ".xlsx" || ext == ".xlsm"))
            found.push_back(e.path());
    }
    std::sort(found.begin(), found.end());
    return found;
}

// Every path below `root`, and the first difference from `other`, or "".
std::string firstDifference(const fs::path& root, const fs::path& other)
{
    std::vector<std::string> a, b;
    for (const auto& e : fs::recursive_directory_iterator(root))
        a.push_back(fs::relative(e.path(), root).string());
    for (const auto& e : fs::recursive_directory_iterator(other))
        b.push_back(fs::relative(e.path(), other).string());
    std::sort(a.begin(), a.end());
    std::sort(b.begin(), b.end());
    if (a != b)
        return "the trees hold different names (" + std::to_string(a.size()) + " and " + std::to_string(b.size()) + ")";
    for (const auto& f : a) {
        if (fs::is_regular_file(root / f) && support::readBytes(root / f) != support::readBytes(other / f))
            return f + " differs";
    }
    return "";
}

struct BothFrontEnds : support::WindowFixture {
    // Splits `workbooks` into `chosen` from the window.
    void window(const std::vector<fs::path>& workbooks, const fs::path& chosen)
    {
        if (form->tasks().count() > 0) {
            platform.messages.answers = {platform::mb::AnswerYes};
            form->mnuClearList_Click();
        }
        for (const auto& w : workbooks)
            form->UpdateListView(QString::fromStdString(w.string()));
        platform.folders.answers = {QString::fromStdString(chosen.string())};
        form->mnuSplit_Click();
    }
    // And from the command line.
    static void commandLine(const std::vector<fs::path>& workbooks, const fs::path& chosen)
    {
        QStringList args{"-o", QString::fromStdString(chosen.string())};
        for (const auto& w : workbooks)
            args << QString::fromStdString(w.string());
        QProcess cli;
        cli.start(QCoreApplication::applicationDirPath() + "/tamberlin-split", args);
        QVERIFY2(cli.waitForStarted(), qPrintable(cli.errorString()));
        QVERIFY(cli.waitForFinished(60000));
    }
    // Both, into twins of `chosen` below win/ and cli/; the first difference.
    std::string compare(const std::vector<fs::path>& workbooks, const fs::path& chosen)
    {
        const fs::path win = dir / "win" / chosen, cli = dir / "cli" / chosen;
        fs::create_directories(win);
        fs::create_directories(cli);
        window(workbooks, win);
        commandLine(workbooks, cli);
        std::string difference = firstDifference(win, cli);
        fs::remove_all(dir / "win");
        fs::remove_all(dir / "cli");
        return difference;
    }
};

}  // namespace

class FrontEndsTest : public QObject {
    Q_OBJECT

private slots:
    void everySampleGivesTheSameTreeFromBoth()
    {
        BothFrontEnds both;
        const auto samples = sampleWorkbooks();
        QVERIFY(samples.size() > 50);
        for (const auto& sample : samples) {
            const support::SourceGuard guard(sample);
            const std::string difference = both.compare({sample}, "out");
            QVERIFY2(difference.empty(), qPrintable(QString::fromStdString(sample.string() + ": " + difference)));
            QCOMPARE(guard.changes(), std::string());
        }
    }

    void theCasesWhereTheyOnceWentApartGiveTheSameTreeToo()
    {
        BothFrontEnds both;
        const fs::path in = both.dir / "in";
        fs::create_directories(in);
        // A sheet name with "?": no row, so no file, in either.
        support::renameSheet(kData / "xlsx" / "hide01.xlsx", in / "forged.xlsx", "Sheet2", "Q?");
        // One name in two cases outside ASCII: listed once by either.
        fs::copy_file(kData / "xlsx" / "hide01.xlsx", in / "\xC3\x84rger.xlsx");
        fs::copy_file(kData / "xlsx" / "simple02.xlsx", in / "\xC3\xA4rger.xlsx");
        const std::vector<fs::path> books{in / "forged.xlsx", in / "\xC3\x84rger.xlsx", in / "\xC3\xA4rger.xlsx"};
        const support::SourceFolderGuard sources(in);

        // A chosen folder whose parent ends in a period or a blank is written
        // into as it is named, by both, and no look-alike is made beside it.
        for (const char* chosen : {"out", "ACME Inc./out", "ACME Inc /out"}) {
            const fs::path win = both.dir / "win", cli = both.dir / "cli";
            fs::create_directories(win / chosen);
            fs::create_directories(cli / chosen);
            both.window(books, win / chosen);
            both.commandLine(books, cli / chosen);
            QCOMPARE(firstDifference(win, cli), std::string());
            QVERIFY(fs::is_regular_file(cli / chosen / "forged" / "Sheet3.xls"));
            QVERIFY(!fs::exists(cli / chosen / "forged" / "Q.xls"));
            QVERIFY(fs::is_regular_file(cli / chosen / "\xC3\x84rger" / "Sheet2.xls"));
            QVERIFY(!fs::exists(cli / chosen / "\xC3\xA4rger"));
            QCOMPARE(std::distance(fs::directory_iterator(cli), fs::directory_iterator()), 1);
            fs::remove_all(win);
            fs::remove_all(cli);
        }
        QCOMPARE(sources.changes(), std::string());
    }
};

QTEST_MAIN(FrontEndsTest)
#include "tst_front_ends.moc"
