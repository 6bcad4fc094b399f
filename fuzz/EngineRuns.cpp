#include "EngineRuns.h"

#include "FuzzInput.h"
#include "excel/Document.h"
#include "excel/biff/BiffDocument.h"
#include "excel/formula/Tokenizer.h"
#include "excel/ooxml/OoxmlDocument.h"
#include "excel/ooxml/ReferenceExternalizer.h"
#include "excel/zip/ZipWriter.h"
#include "platform/sys/Error.h"

#include <cstdlib>
#include <string>
#include <string_view>

namespace fuzz {

namespace {

const excel::CopySource kSource{"/fuzz/Source.xlsx", "Source.xlsx"};
const excel::CopySource kValuesOnly{"/fuzz/Source.xlsx", "Source.xlsx", true};

// A broken promise of the engine, not a refused input: stop so that the
// fuzzer keeps the input.
void require(bool ok)
{
    if (!ok)
        std::abort();
}

void listWith(std::unique_ptr<excel::Document> (*open)(std::shared_ptr<const tb::ByteSource>, const std::string&),
              const std::uint8_t* data, std::size_t size)
{
    try {
        auto doc = open(source(data, size), "fuzz-input");
        std::size_t total = 0;
        for (const auto& name : doc->worksheetNames())
            total += name.size();
        (void)total;
    } catch (const tb::Error&) {
    }
}

void copyWith(std::unique_ptr<excel::Document> (*open)(std::shared_ptr<const tb::ByteSource>, const std::string&),
              const std::uint8_t* data, std::size_t size)
{
    std::unique_ptr<excel::Document> doc;
    try {
        doc = open(source(data, size), "fuzz-input");
    } catch (const tb::Error&) {
        return;
    }
    const std::size_t n = std::min(doc->worksheetNames().size(), kSheetsPerInput);
    for (std::size_t i = 0; i < n; ++i) {
        try {
            // Half the inputs, told by their size, are copied keeping values only.
            auto copy = doc->copyWorksheet(i, size % 2 ? kValuesOnly : kSource);
            require(copy->worksheetNames().size() == 1);
            tb::MemorySink sink;
            copy->save(sink);
            // What the engine wrote it must be able to read back.
            auto again = excel::openDocument(std::make_shared<tb::MemorySource>(std::move(sink.data)), "fuzz-copy");
            require(again->worksheetNames().size() == 1);
        } catch (const tb::Error&) {
        }
    }
}

std::unique_ptr<excel::Document> openWithPasswords(std::shared_ptr<const tb::ByteSource> bytes, const std::string& file)
{
    auto tried = std::make_shared<int>(0);
    return excel::openDocument(std::move(bytes), file, [tried]() -> std::optional<std::string> {
        switch ((*tried)++) {
        case 0: return "VelvetSweatshop";
        case 1: return "tamberlin";
        default: return std::nullopt;
        }
    });
}

// The parts of a package as plain text, so that mutations land in the XML
// rather than in deflated bytes whose CRC then fails: each part is a line
// "@@ <name>" followed by its bytes up to the next such line.
std::shared_ptr<const tb::ByteSource> packageFromParts(std::string_view text)
{
    constexpr std::string_view kMark = "@@ ";
    tb::MemorySink sink;
    excel::zip::ZipWriter zip(sink, "fuzz-input");
    std::size_t at = text.starts_with(kMark) ? 0 : text.find("\n@@ ");
    while (at != std::string_view::npos) {
        at += text.starts_with(kMark) && at == 0 ? kMark.size() : kMark.size() + 1;
        const std::size_t eol = text.find('\n', at);
        const std::string name(text.substr(at, eol == std::string_view::npos ? std::string_view::npos : eol - at));
        const std::size_t body = eol == std::string_view::npos ? text.size() : eol + 1;
        std::size_t next = text.find("\n@@ ", body);
        zip.add(name, text.substr(body, (next == std::string_view::npos ? text.size() : next) - body));
        at = next;
    }
    zip.finish();
    return std::make_shared<tb::MemorySource>(std::move(sink.data));
}

}  // namespace

void listOoxml(const std::uint8_t* data, std::size_t size) { listWith(&excel::ooxml::openPackage, data, size); }
void listCompoundFile(const std::uint8_t* data, std::size_t size) { listWith(&excel::biff::openCompoundFile, data, size); }
void copyOoxml(const std::uint8_t* data, std::size_t size)
{
    std::shared_ptr<const tb::ByteSource> package;
    try {
        package = packageFromParts({reinterpret_cast<const char*>(data), size});
    } catch (const tb::Error&) {
        return;  // names the zip writer refuses: not the engine's reading at fault
    }
    const auto bytes = package->bytes();
    copyWith(&excel::ooxml::openPackage, reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
}
// Through the format check of every open, so that the older .xls files
// that are not compound files (Excel 2.x-4.0 sheets) are reached too.
void copyBiff(const std::uint8_t* data, std::size_t size)
{
    copyWith([](std::shared_ptr<const tb::ByteSource> bytes, const std::string& file) {
        return excel::openDocument(std::move(bytes), file);
    }, data, size);
}
void copyEncrypted(const std::uint8_t* data, std::size_t size) { copyWith(&openWithPasswords, data, size); }

void rewriteFormula(const std::uint8_t* data, std::size_t size)
{
    const std::string formula(reinterpret_cast<const char*>(data), size);
    const auto tokens = excel::formula::tokenize(formula);
    // The tokens cover the formula from its first byte to its last, in order.
    std::size_t at = 0;
    for (const auto& t : tokens) {
        require(t.begin == at && t.end > t.begin && t.end <= formula.size());
        at = t.end;
    }
    require(at == formula.size());

    // "Sales" stands on "My Sheet" at B2:E10, with headers and totals.
    excel::ooxml::TableOnSheet sales{1, {{{2, 2}, {10, 5}}, 1, 1, {"Region", "Amount", "Unit [kg]", "Note"}}};
    excel::ooxml::ReferenceExternalizer ext({"Data", "My Sheet", "It's"}, "Data", {"table1"}, 1,
                                            [&](const std::string& folded) { return folded == "sales" ? &sales : nullptr; });
    bool changed = false;
    const std::string out = ext.rewrite(formula, changed, static_cast<std::uint32_t>(size % 12));
    require(changed || out == formula);
    // Rewriting what was rewritten changes nothing more: a reference that is
    // external already stays as it is.
    excel::ooxml::ReferenceExternalizer again({"Data", "My Sheet", "It's"}, "Data", {"table1"}, 1);
    bool changedAgain = false;
    (void)again.rewrite(out, changedAgain);
}

}  // namespace fuzz
