#include "OoxmlDocument.h"

#include "ContentTypes.h"
#include "OutputPackage.h"
#include "SheetContent.h"
#include "SheetCopier.h"
#include "SourcePackage.h"
#include "excel/EngineError.h"

namespace excel::ooxml {

namespace {

// Macro-enabled workbooks are told by their workbook part's content type.
std::string extensionOf(const SourcePackage& pkg)
{
    return pkg.contentTypes().typeOf(pkg.workbookPart()).find("macroEnabled") != std::string::npos ? "xlsm" : "xlsx";
}

// A workbook read from a package. Its bytes stay mapped; nothing is written
// back to them.
class SourceDocument final : public Document {
public:
    explicit SourceDocument(std::shared_ptr<const SourcePackage> pkg) : pkg_(std::move(pkg)) {}

    Family family() const override { return Family::Ooxml; }
    const std::vector<std::string>& worksheetNames() const override { return pkg_->worksheetNames(); }
    SheetVisibility worksheetVisibility(std::size_t index) const override
    {
        const std::string& state = sheet(index).state;
        return state == "veryHidden" ? SheetVisibility::VeryHidden
               : state == "hidden"   ? SheetVisibility::Hidden
                                     : SheetVisibility::Visible;
    }
    bool worksheetHasContent(std::size_t index) const override { return ooxml::worksheetHasContent(*pkg_, sheet(index)); }
    std::string fileExtension() const override { return extensionOf(*pkg_); }
    std::unique_ptr<Document> copyWorksheet(std::size_t index, const CopySource& source) const override;
    std::vector<std::string> repairs() const override { return pkg_->repairs(); }
    void save(tb::ByteSink& out) const override
    {
        // The package as it stands, every entry copied as stored.
        OutputPackage all(pkg_);
        for (const auto& e : pkg_->zip().entries()) {
            if (!e.name.empty() && e.name.back() != '/')
                all.addStored(e.name, e);
        }
        all.write(out, pkg_->file());
    }

private:
    const SheetEntry& sheet(std::size_t index) const { return pkg_->sheets()[pkg_->worksheets().at(index)]; }

    std::shared_ptr<const SourcePackage> pkg_;
};

// A one-sheet workbook made by a copy, held as the parts it will be written as.
class CopiedDocument final : public Document {
public:
    CopiedDocument(OutputPackage parts, std::string sheetName, std::string file, ValuesReport report)
        : parts_(std::move(parts)), names_{std::move(sheetName)}, file_(std::move(file)), report_(report)
    {
    }
    ValuesReport valuesReport() const override { return report_; }

    Family family() const override { return Family::Ooxml; }
    const std::vector<std::string>& worksheetNames() const override { return names_; }
    SheetVisibility worksheetVisibility(std::size_t index) const override
    {
        return reread(file_)->worksheetVisibility(index);
    }
    bool worksheetHasContent(std::size_t index) const override { return reread(file_)->worksheetHasContent(index); }
    std::string fileExtension() const override { return reread(file_)->fileExtension(); }
    std::unique_ptr<Document> copyWorksheet(std::size_t index, const CopySource& source) const override
    {
        return reread(source.fullName)->copyWorksheet(index, source);
    }
    void save(tb::ByteSink& out) const override { parts_.write(out, file_); }

private:
    // What the copy says of itself is what its package says: write it out in
    // memory and read that.
    std::unique_ptr<Document> reread(const std::string& file) const
    {
        tb::MemorySink sink;
        save(sink);
        return openPackage(std::make_shared<tb::MemorySource>(std::move(sink.data)), file);
    }

    OutputPackage parts_;
    std::vector<std::string> names_;
    std::string file_;
    ValuesReport report_;
};

std::unique_ptr<Document> SourceDocument::copyWorksheet(std::size_t index, const CopySource& source) const
{
    if (index >= pkg_->worksheets().size())
        throw engineError(pkg_->file(), "has no worksheet number " + std::to_string(index + 1) + ".");
    ValuesReport report;
    auto parts = copyWorksheetPackage(pkg_, index, source, &report);
    return std::make_unique<CopiedDocument>(std::move(parts), pkg_->worksheetNames()[index], pkg_->file(), report);
}

}  // namespace

std::unique_ptr<Document> openPackage(std::shared_ptr<const tb::ByteSource> bytes, const std::string& file)
{
    return std::make_unique<SourceDocument>(SourcePackage::open(std::move(bytes), file));
}

}  // namespace excel::ooxml
