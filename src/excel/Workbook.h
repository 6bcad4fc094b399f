#pragma once

#include "CopyAhead.h"
#include "Document.h"
#include "Worksheets.h"

#include <memory>
#include <string>

namespace excel {

class Application;

class Workbook : public std::enable_shared_from_this<Workbook> {
public:
    // The path the workbook was opened from or saved to; for a workbook never
    // saved, its bare name ("Book1").
    std::string FullName() const;
    // The file name with its extension; "Book1" for a workbook never saved.
    std::string Name() const;
    excel::Worksheets Worksheets();

    // Writes the workbook under `filename` (the file's own name without its
    // trailing periods and blanks, as the desktop's file rules make it; the
    // folder taken byte for byte) in the family of its
    // source, atomically. An existing file is replaced, after a question when
    // DisplayAlerts is on; a No fails with 1004. The workbook then bears the
    // new name and stays active. `accessMode` 1 is the only mode.
    void SaveAs(const std::string& filename, int accessMode = 1);
    // Closes without saving; with saveChanges false no question is ever put.
    void Close(bool saveChanges = false);

    // What the engine repaired to read this workbook so far (Document::repairs).
    std::vector<std::string> repairs() const { return doc_->repairs(); }

    bool isOpen() const { return open_; }
    const Document& document() const { return *doc_; }

private:
    friend class Application;
    friend class Workbooks;
    friend class Worksheet;
    // `source`: the file's bytes, for a workbook opened from one.
    Workbook(Application& app, std::unique_ptr<Document> doc, std::string fullName, std::string name,
             std::shared_ptr<const tb::ByteSource> source = nullptr);
    void requireOpen() const;

    Application& app_;
    std::unique_ptr<Document> doc_;
    std::shared_ptr<const tb::ByteSource> source_;
    std::string fullName_;
    std::string name_;
    bool open_ = true;
    CopyAhead copies_;  // after doc_ and source_: it reads them until it is gone
};

}  // namespace excel
