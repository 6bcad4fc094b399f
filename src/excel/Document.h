#pragma once
// What one file format gives the object model. A Document is the content of
// one workbook held by the engine: a source opened from a file (read-only, its
// bytes kept mapped) or a one-sheet copy made from one. Every format module
// (OOXML, BIFF8, BIFF5, BIFF2-4) implements it; the object model never looks
// inside.

#include "crypto/PasswordSupply.h"
#include "platform/sys/ByteSink.h"

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace excel {

enum class Family { Ooxml, Biff8, Biff5, Biff4 };  // Biff4: a BIFF2, BIFF3 or BIFF4 sheet file

// As Excel's XlSheetVisibility: a very hidden sheet is one the user cannot
// unhide from the window.
enum class SheetVisibility { Visible, Hidden, VeryHidden };

// The workbook a copy is made from, as the copy's external references name it.
struct CopySource {
    std::string fullName;  // absolute path of the source file
    std::string name;      // its file name
    // The copy stands alone: formulas that reach other sheets or workbooks
    // become their cached values, and names, validations and conditional
    // formats that reach outside go, instead of linking back to the source.
    bool valuesOnly = false;

    friend bool operator==(const CopySource&, const CopySource&) = default;
};

// What a copy made with CopySource::valuesOnly changed.
struct ValuesReport {
    std::size_t formulas = 0;            // written as their values
    std::size_t names = 0;               // dropped, as the next three
    std::size_t validations = 0;
    std::size_t conditionalFormats = 0;
};

class Document {
public:
    virtual ~Document() = default;

    virtual Family family() const = 0;

    // The worksheets in tab order, hidden and very hidden ones included; chart
    // sheets, dialog sheets and macro sheets are not worksheets. Names exactly
    // as stored.
    virtual const std::vector<std::string>& worksheetNames() const = 0;

    // Of worksheet `index` (into worksheetNames), as its tab has it.
    virtual SheetVisibility worksheetVisibility(std::size_t index) const = 0;

    // Whether worksheet `index` holds a cell with a value or a formula, a
    // merged range, a picture, chart, shape or comment. Throws tb::Error.
    virtual bool worksheetHasContent(std::size_t index) const = 0;

    // The file extension that names the format save() writes: "xls",
    // "xlsx" or "xlsm".
    virtual std::string fileExtension() const = 0;

    // A new one-sheet workbook holding worksheet `index` (into worksheetNames)
    // and everything it reaches. References to other sheets become external
    // references to `source`. Throws tb::Error.
    virtual std::unique_ptr<Document> copyWorksheet(std::size_t index, const CopySource& source) const = 0;

    // For a copy made with CopySource::valuesOnly, what it changed.
    virtual ValuesReport valuesReport() const { return {}; }

    // Writes the whole file. Throws tb::Error; what the sink throws passes through.
    virtual void save(tb::ByteSink& out) const = 0;

    // What was repaired to read a damaged source, one sentence per kind of
    // repair; copies made from it may add to the list.
    virtual std::vector<std::string> repairs() const { return {}; }
};

// Opens a workbook from its bytes, telling the format by content. `file` names
// it in errors; an encrypted one is tried with `passwords`. Throws tb::Error
// 1004 for anything that is not a readable workbook (not a workbook, no
// password given opens it, damaged, an unsupported version).
std::unique_ptr<Document> openDocument(std::shared_ptr<const tb::ByteSource> bytes, const std::string& file,
                                       const crypto::PasswordSupply& passwords = {});

}  // namespace excel
