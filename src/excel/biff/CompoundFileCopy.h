#pragma once
// A one-sheet copy of an .xls workbook (Excel 97-2003 or Excel 5.0/95): the
// compound file to write, held whole.

#include "excel/Document.h"
#include "excel/cfb/CompoundFile.h"

namespace excel::biff {

class CompoundFileCopy final : public Document {
public:
    CompoundFileCopy(Family family, cfb::Node root, std::string sheetName, ValuesReport values = {})
        : family_(family), root_(std::move(root)), names_{std::move(sheetName)}, values_(values)
    {
    }

    Family family() const override { return family_; }
    const std::vector<std::string>& worksheetNames() const override { return names_; }
    SheetVisibility worksheetVisibility(std::size_t index) const override
    {
        return reread(names_.front())->worksheetVisibility(index);
    }
    bool worksheetHasContent(std::size_t index) const override
    {
        return reread(names_.front())->worksheetHasContent(index);
    }
    std::string fileExtension() const override { return "xls"; }
    ValuesReport valuesReport() const override { return values_; }

    std::unique_ptr<Document> copyWorksheet(std::size_t index, const CopySource& source) const override
    {
        return reread(source.name)->copyWorksheet(index, source);
    }

    void save(tb::ByteSink& out) const override { cfb::writeCompoundFile(root_, out, names_.front()); }

private:
    // What the copy says of itself is what its file says: write it out in
    // memory and read that.
    std::unique_ptr<Document> reread(const std::string& file) const
    {
        tb::MemorySink sink;
        cfb::writeCompoundFile(root_, sink, file);
        return openDocument(std::make_shared<tb::MemorySource>(std::move(sink.data)), file);
    }

    Family family_;
    cfb::Node root_;
    std::vector<std::string> names_;
    ValuesReport values_;
};

}  // namespace excel::biff
