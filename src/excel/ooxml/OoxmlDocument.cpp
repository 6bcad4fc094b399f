#include "OoxmlDocument.h"

#include "OutputPackage.h"
#include "SheetCopier.h"
#include "SourcePackage.h"
#include "excel/EngineError.h"

namespace excel::ooxml {

namespace {

// A workbook read from a package. Its bytes stay mapped; nothing is written
// back to them.
class SourceDocument final : public Document {
public:
    explicit SourceDocument(std::shared_ptr<const SourcePackage> pkg) : pkg_(std::move(pkg)) {}

    Family family() const override { return Family::Ooxml; }
    const std::vector<std::string>& worksheetNames() const override { return pkg_->worksheetNames(); }
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
    std::shared_ptr<const SourcePackage> pkg_;
};

// A one-sheet workbook made by a copy, held as the parts it will be written as.
class CopiedDocument final : public Document {
public:
    CopiedDocument(OutputPackage parts, std::string sheetName, std::string file)
        : parts_(std::move(parts)), names_{std::move(sheetName)}, file_(std::move(file))
    {
    }

    Family family() const override { return Family::Ooxml; }
    const std::vector<std::string>& worksheetNames() const override { return names_; }
    std::unique_ptr<Document> copyWorksheet(std::size_t index, const CopySource& source) const override
    {
        // A copy of a copy: write it out in memory and read that package.
        tb::MemorySink sink;
        save(sink);
        auto bytes = std::make_shared<tb::MemorySource>(std::move(sink.data));
        return openPackage(std::move(bytes), source.fullName)->copyWorksheet(index, source);
    }
    void save(tb::ByteSink& out) const override { parts_.write(out, file_); }

private:
    OutputPackage parts_;
    std::vector<std::string> names_;
    std::string file_;
};

std::unique_ptr<Document> SourceDocument::copyWorksheet(std::size_t index, const CopySource& source) const
{
    if (index >= pkg_->worksheets().size())
        throw engineError(pkg_->file(), "has no worksheet number " + std::to_string(index + 1) + ".");
    auto parts = copyWorksheetPackage(pkg_, index, source);
    return std::make_unique<CopiedDocument>(std::move(parts), pkg_->worksheetNames()[index], pkg_->file());
}

}  // namespace

std::unique_ptr<Document> openPackage(std::shared_ptr<const tb::ByteSource> bytes, const std::string& file)
{
    return std::make_unique<SourceDocument>(SourcePackage::open(std::move(bytes), file));
}

}  // namespace excel::ooxml
