// Workbooks with a password to open: every encryption Excel and LibreOffice
// write, opened with the password and copied exactly as the same workbook in
// clear; the order passwords are tried in; damaged encryption refused.

#include "biff_fixture.h"
#include "excel/Application.h"
#include "excel/Document.h"
#include "excel/Workbook.h"
#include "excel/Workbooks.h"
#include "excel/Worksheets.h"
#include "platform/sys/Error.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <unistd.h>

using namespace excel;
using biff_fixture::readFile;
namespace fs = std::filesystem;

namespace {

const fs::path kData = fs::path(TB_TEST_DATA);

crypto::PasswordSupply only(std::vector<std::string> passwords)
{
    auto next = std::make_shared<std::size_t>(0);
    return [passwords, next]() -> std::optional<std::string> {
        if (*next >= passwords.size())
            return std::nullopt;
        return passwords[(*next)++];
    };
}

std::unique_ptr<Document> openFile(const fs::path& path, const crypto::PasswordSupply& passwords)
{
    return openDocument(std::make_shared<tb::MemorySource>(readFile(path.string())), path.filename().string(),
                        passwords);
}

std::vector<std::byte> savedCopy(const Document& d, std::size_t sheet)
{
    tb::MemorySink sink;
    d.copyWorksheet(sheet, CopySource{"/data/Book.xls", "Book.xls"})->save(sink);
    return std::move(sink.data);
}

std::string errorOf(const std::function<void()>& f)
{
    try {
        f();
    } catch (const tb::Error& e) {
        return std::to_string(e.number()) + " " + e.description();
    }
    return {};
}

class ScriptedPasswords final : public PasswordPrompter {
public:
    explicit ScriptedPasswords(std::vector<std::string> answers) : answers_(std::move(answers)) {}
    std::optional<std::string> askPassword(const std::string& fullName, int attempt) override
    {
        asked.push_back(fs::path(fullName).filename().string() + "#" + std::to_string(attempt));
        if (static_cast<std::size_t>(attempt) >= answers_.size())
            return std::nullopt;
        return answers_[static_cast<std::size_t>(attempt)];
    }
    std::vector<std::string> asked;

private:
    std::vector<std::string> answers_;
};

struct Case {
    const char* fixture;
    const char* plain;  // the workbook it was made from, relative to tests/data
    const char* password;
};

const Case kCases[] = {
    {"agile.xlsx", "xlsx/format01.xlsx", "tamberlin"},
    {"agile_default.xlsx", "xlsx/format01.xlsx", "VelvetSweatshop"},
    {"standard.xlsx", "xlsx/format01.xlsx", "tamberlin"},
    {"xor.xls", "xls/lo/format01.xls", "tamberlin"},
    {"rc4_default.xls", "xls/lo/comment04.xls", "VelvetSweatshop"},
    {"cryptoapi.xls", "xls/lo/comment04.xls", "tamberlin"},
    {"cryptoapi40.xls", "xls/lo/format01.xls", "tamberlin"},
    {"cryptoapi_default.xls", "xls/lo/format01.xls", "VelvetSweatshop"},
};

}  // namespace

TEST(EncryptedWorkbooks, EachEncryptionOpensWithItsPasswordAndCopiesAsTheWorkbookInClear)
{
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.fixture);
        const auto encrypted = openFile(kData / "encrypted" / c.fixture, only({"wrong", c.password}));
        const auto plain = openFile(kData / c.plain, {});
        ASSERT_EQ(encrypted->worksheetNames(), plain->worksheetNames());
        EXPECT_EQ(encrypted->family(), plain->family());
        for (std::size_t i = 0; i < plain->worksheetNames().size(); ++i)
            EXPECT_TRUE(savedCopy(*encrypted, i) == savedCopy(*plain, i)) << "sheet " << i;
    }
    // LibreOffice's own RC4: no workbook in clear to compare with.
    const auto rc4 = openFile(kData / "encrypted" / "rc4.xls", only({"tamberlin"}));
    EXPECT_EQ(rc4->worksheetNames(), (std::vector<std::string>{"Secret", "Second"}));
    const auto copy = rc4->copyWorksheet(0, CopySource{"/data/rc4.xls", "rc4.xls"});
    tb::MemorySink sink;
    copy->save(sink);
    const auto reopened = openDocument(std::make_shared<tb::MemorySource>(sink.data), "Secret.xls");
    EXPECT_EQ(reopened->worksheetNames(), std::vector<std::string>{"Secret"});
}

TEST(EncryptedWorkbooks, WithoutTheRightPasswordTheRefusalNamesTheFile)
{
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.fixture);
        const std::string e = errorOf([&] { openFile(kData / "encrypted" / c.fixture, only({"wrong", "Tamberlin"})); });
        EXPECT_EQ(e, std::string("1004 '") + c.fixture + "' is encrypted (password to open), and no password given "
                                                         "opens it.");
    }
}

TEST(EncryptedWorkbooks, TheEngineTriesTheBuiltInPasswordThenTheOneThatOpenedTheFileThenAsks)
{
    const fs::path dir = fs::temp_directory_path() / ("tb-passwords-" + std::to_string(::getpid()));
    fs::create_directories(dir);
    for (const char* f : {"agile.xlsx", "cryptoapi_default.xls", "xor.xls"})
        fs::copy_file(kData / "encrypted" / f, dir / f, fs::copy_options::overwrite_existing);

    excel::Application app;
    ScriptedPasswords prompter({"wrong", "tamberlin"});
    app.setPasswordPrompter(&prompter);
    // The built-in password opens it: no question.
    app.GetWorkbooks().Open((dir / "cryptoapi_default.xls").string())->Close(false);
    EXPECT_TRUE(prompter.asked.empty());
    // Asked until an answer opens it; opened again, it is not asked for.
    auto book = app.GetWorkbooks().Open((dir / "agile.xlsx").string());
    EXPECT_EQ(book->Worksheets().all().size(), 3u);
    book->Close(false);
    app.GetWorkbooks().Open((dir / "agile.xlsx").string())->Close(false);
    EXPECT_EQ(prompter.asked, (std::vector<std::string>{"agile.xlsx#0", "agile.xlsx#1"}));

    // No one to ask: a user's password cannot be had, the built-in one still opens.
    excel::Application silent;
    const std::string e = errorOf([&] { silent.GetWorkbooks().Open((dir / "xor.xls").string()); });
    EXPECT_EQ(e.rfind("1004 '" + (dir / "xor.xls").string() + "' is encrypted (password to open)", 0), 0u) << e;
    EXPECT_EQ(silent.GetWorkbooks().Count(), 0);
    EXPECT_EQ(silent.GetWorkbooks().Open((dir / "cryptoapi_default.xls").string())->Worksheets().all().size(), 3u);
    fs::remove_all(dir);
}

// Damaged encryption headers and encrypted bytes: a correct workbook or an
// error naming the file, never a crash or a hang.
TEST(EncryptedWorkbooks, DamageIsAnErrorNamingTheFileOrAWorkbook)
{
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.fixture);
        const auto good = readFile((kData / "encrypted" / c.fixture).string());
        // Each try of an OOXML password costs 50,000 to 100,000 hashes: fewer places there.
        const bool ooxml = fs::path(c.fixture).extension() == ".xlsx";
        const std::size_t step = ooxml ? good.size() / 16 : 97;
        for (std::size_t at = 0; at < good.size(); at += step) {
            for (int variant = 0; variant < 2; ++variant) {
                auto bytes = good;
                if (variant == 0)
                    bytes[at] ^= std::byte{0x5A};
                else
                    bytes.resize(at);
                try {
                    const auto d = openDocument(std::make_shared<tb::MemorySource>(bytes), "bad.bin",
                                                only({c.password}));
                    for (std::size_t i = 0; i < d->worksheetNames().size(); ++i)
                        savedCopy(*d, i);
                } catch (const tb::Error& e) {
                    EXPECT_NE(e.description().find("'bad.bin'"), std::string::npos) << e.description();
                }
            }
        }
    }
}
