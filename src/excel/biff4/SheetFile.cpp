#include "SheetFile.h"

#include "excel/EngineError.h"
#include "excel/biff/Bytes.h"
#include "excel/biff/RecordTypes.h"
#include "excel/biff/SheetContent.h"

namespace excel::biff4 {

using biff::u16;

namespace {

// BOF document types [the BIFF2-4 BOF: version, then this].
constexpr std::uint16_t kChart = 0x0020;
constexpr std::uint16_t kMacroSheet = 0x0040;
constexpr std::uint16_t kWorkbook = 0x0100;

std::string versionOf(std::uint16_t bof)
{
    switch (bof) {
    case biff::rt::Bof2: return "Excel 2.x (BIFF2)";
    case biff::rt::Bof3: return "Excel 3.0 (BIFF3)";
    default: return "Excel 4.0 (BIFF4)";
    }
}

// "Budget.xls" -> "Budget"; a name that is all extension stays whole.
std::string sheetNameOf(const std::string& file)
{
    const std::size_t slash = file.find_last_of('/');
    std::string base = slash == std::string::npos ? file : file.substr(slash + 1);
    const std::size_t dot = base.find_last_of('.');
    if (dot != std::string::npos && dot > 0)
        base.erase(dot);
    return base;
}

// The one sheet, holding the file's bytes; a copy of it is the same.
class SheetFile final : public Document {
public:
    SheetFile(std::shared_ptr<const tb::ByteSource> bytes, std::string name)
        : bytes_(std::move(bytes)), names_{std::move(name)}
    {
    }

    Family family() const override { return Family::Biff4; }
    const std::vector<std::string>& worksheetNames() const override { return names_; }
    // A sheet file has no tab to hide.
    SheetVisibility worksheetVisibility(std::size_t) const override { return SheetVisibility::Visible; }
    bool worksheetHasContent(std::size_t) const override
    {
        return biff::sheetHasContent(bytes_->bytes(), 0, biff::StreamContext{names_.front(), "file"});
    }
    std::string fileExtension() const override { return "xls"; }

    std::unique_ptr<Document> copyWorksheet(std::size_t index, const CopySource& source) const override
    {
        if (index != 0)
            throw tb::Error(tb::err::SubscriptOutOfRange, "'" + source.fullName + "' has no worksheet number " +
                                                              std::to_string(index + 1) + ".");
        return std::make_unique<SheetFile>(bytes_, names_.front());
    }

    void save(tb::ByteSink& out) const override { out.write(bytes_->bytes()); }

private:
    std::shared_ptr<const tb::ByteSource> bytes_;
    std::vector<std::string> names_;
};

}  // namespace

bool isSheetFile(std::span<const std::byte> b)
{
    if (b.size() < 8)
        return false;
    const std::uint16_t type = u16(b, 0), length = u16(b, 2);
    return (type == biff::rt::Bof2 || type == biff::rt::Bof3 || type == biff::rt::Bof4) && length >= 4 &&
           length <= 16;
}

std::unique_ptr<Document> openSheetFile(std::shared_ptr<const tb::ByteSource> bytes, const std::string& file)
{
    const auto b = bytes->bytes();
    const std::uint16_t bof = u16(b, 0);
    const std::uint16_t type = u16(b, 6);
    const std::string version = versionOf(bof);
    if (type == kWorkbook)
        throw refused(file, "is an Excel 4.0 workbook (BIFF4W), several sheets bound in one file; such workbooks "
                            "cannot be read. Open it in Excel or LibreOffice and save it as an Excel workbook, "
                            "or save each of its sheets on its own.");
    if (type == kChart)
        throw refused(file, "is an " + version + " chart, not a worksheet; it has no sheet to copy.");
    if (type == kMacroSheet)
        throw refused(file, "is an " + version + " macro sheet, not a worksheet; it has no sheet to copy.");
    // Any other type is read as a worksheet, as Excel reads it.
    return std::make_unique<SheetFile>(std::move(bytes), sheetNameOf(file));
}

}  // namespace excel::biff4
