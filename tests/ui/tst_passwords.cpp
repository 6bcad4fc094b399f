// Workbooks with a password to open, listed and split through the window:
// Excel's built-in password opens silently, a user's is asked for once in the
// password dialog and kept in memory for the run, never on disk.

#include "WindowFixture.h"
#include "support/SourceGuard.h"

#include <QTableWidget>
#include <QtTest>

namespace fs = std::filesystem;

namespace {

const fs::path kEncrypted = fs::path(TB_TEST_DATA) / "encrypted";

struct Window : support::WindowFixture {
    fs::path in, out;
    Window()
    {
        in = dir / "in";
        out = dir / "out";
        fs::create_directories(in);
        fs::create_directories(out);
    }
    QString add(const char* fixture)
    {
        fs::copy_file(kEncrypted / fixture, in / fixture);
        const QString path = QString::fromStdString((in / fixture).string());
        form->UpdateListView(path);
        return path;
    }
    void split()
    {
        const support::SourceFolderGuard sources(in);
        platform.folders.answers = {QString::fromStdString(out.string())};
        form->mnuSplit_Click();
        const std::string changed = sources.changes();
        QVERIFY2(changed.empty(), changed.c_str());
    }
    bool written(const std::string& relative) const { return fs::is_regular_file(out / relative); }
};

}  // namespace

class PasswordTest : public QObject {
    Q_OBJECT

private slots:
    void theBuiltInPasswordOpensWithoutAsking()
    {
        Window w;
        w.add("agile_default.xlsx");
        w.add("cryptoapi_default.xls");
        QVERIFY(w.platform.passwords.asked.isEmpty());
        QVERIFY(w.messages().isEmpty());
        QCOMPARE(w.rows(), (QStringList{"agile_default.xlsx|Sheet1", "agile_default.xlsx|Data Sheet",
                                        "agile_default.xlsx|Sheet3", "cryptoapi_default.xls|Sheet1",
                                        "cryptoapi_default.xls|Data Sheet", "cryptoapi_default.xls|Sheet3"}));
    }

    void aUsersPasswordIsAskedOnceAndTheRunDoesNotAskAgain()
    {
        Window w;
        w.platform.passwords.answers = {QString("tamberlin"), QString("tamberlin")};
        w.add("standard.xlsx");
        w.add("xor.xls");
        QCOMPARE(w.platform.passwords.asked, (QStringList{"standard.xlsx", "xor.xls"}));
        QCOMPARE(w.list()->rowCount(), 6);
        w.split();
        QCOMPARE(w.messages(), QStringList{"Mission complete!"});
        QCOMPARE(w.platform.passwords.asked.size(), 2);  // the run opened both again without a question
        QVERIFY(w.written("standard/Data Sheet.xls"));
        QVERIFY(w.written("xor/Sheet3.xls"));
    }

    void cancelOrAWrongPasswordGivesTheFileErrorAndNoRow()
    {
        Window w;
        w.platform.passwords.answers = {std::nullopt, QString("wrong")};
        const QString cancelled = w.add("agile.xlsx");
        const QString wrong = w.add("cryptoapi.xls");
        QCOMPARE(w.list()->rowCount(), 0);
        QCOMPARE(w.messages().size(), 2);
        QVERIFY2(w.messages()[0].startsWith("Error Number: 1004\r\n Error Description: '" + cancelled +
                                            "' is encrypted (password to open)"),
                 qPrintable(w.messages()[0]));
        QVERIFY(w.messages()[0].endsWith("Error File Name: " + cancelled));
        QVERIFY(w.messages()[1].endsWith("Error File Name: " + wrong));
        QCOMPARE(w.form->MousePointer(), 0);
        // Asked once each, as Excel asks: a wrong answer is not asked again.
        QCOMPARE(w.platform.passwords.asked, (QStringList{"agile.xlsx", "cryptoapi.xls"}));
        // A later listing asks anew and takes the right password.
        w.platform.passwords.answers = {QString("tamberlin")};
        w.form->UpdateListView(wrong);
        QCOMPARE(w.list()->rowCount(), 3);
    }

    void thePasswordIsNeverWrittenToTheSettingsFile()
    {
        // The settings file a window writes after opening a workbook with a
        // password is the one it writes after opening nothing.
        auto settingsAfter = [](bool listEncrypted) {
            Window w;
            if (listEncrypted) {
                w.platform.passwords.answers = {QString("tamberlin")};
                w.add("rc4.xls");
                if (w.list()->rowCount() != 2)
                    return std::vector<char>{};
            }
            w.g->gSetting.reset();  // writes the settings file, as the end of Main does
            return support::readBytes(w.dir / "Config" / "Config.cfg");
        };
        const auto withPassword = settingsAfter(true);
        QVERIFY(!withPassword.empty());
        QVERIFY(withPassword == settingsAfter(false));
    }
};

QTEST_MAIN(PasswordTest)
#include "tst_passwords.moc"
