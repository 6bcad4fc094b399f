#pragma once
// What opening a package learns, shared by the source workbook and every copy
// made from it: the zip directory, the content types, the workbook part with
// its relationships and sheet list. Other parts are read when a copy needs
// them, and each part's relationships are read once.

#include "ContentTypes.h"
#include "Relationships.h"
#include "excel/Repairs.h"
#include "excel/zip/ZipReader.h"

#include <pugixml.hpp>

#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace excel::ooxml {

class SharedStrings;

struct SheetEntry {
    std::string name;     // as stored
    std::string relId;
    std::string part;     // resolved part name
    std::string kind;     // last segment of the relationship type; empty for a tab whose relationship is missing
    std::string state;    // "hidden", "veryHidden", or empty when visible
    bool isWorksheet() const { return kind == "worksheet"; }
};

class SourcePackage {
public:
    // Reads the directory, [Content_Types].xml, the package relationships,
    // the workbook part and its relationships. Throws tb::Error 1004.
    static std::shared_ptr<SourcePackage> open(std::shared_ptr<const tb::ByteSource> bytes, const std::string& file);

    const std::string& file() const { return file_; }
    const zip::ZipReader& zip() const { return *zip_; }
    const ContentTypes& contentTypes() const { return types_; }
    const std::string& workbookPart() const { return workbookPart_; }
    const std::string& workbookXml() const { return workbookXml_; }
    const std::vector<Relationship>& packageRels() const { return packageRels_; }
    const std::vector<Relationship>& workbookRels() const { return workbookRels_; }
    const std::vector<SheetEntry>& sheets() const { return sheets_; }
    const std::vector<std::size_t>& worksheets() const { return worksheets_; }  // indices into sheets()
    const std::vector<std::string>& worksheetNames() const { return worksheetNames_; }

    bool has(const std::string& part) const { return zip_->find(part) != nullptr; }
    // The part's bytes; throws when it is missing or damaged. A document type
    // declaration is left out (a repair).
    std::string read(const std::string& part) const;
    // The shared-string table at `part`, parsed once for every copy made
    // from this package.
    std::shared_ptr<const SharedStrings> sharedStrings(const std::string& part) const;
    // The relationships of a part (empty when it has none); cached. One
    // with no Id is given a free one (a repair), and relsIntact then says
    // false: the part's relationships are to be written anew.
    const std::vector<Relationship>& relsOf(const std::string& part) const;
    bool relsIntact(const std::string& part) const { return !mendedRels_.count(part); }

    // What was repaired to read the package, for the workbook and its copies.
    void repaired(const std::string& sentence) const { repairs_.add(sentence); }
    std::vector<std::string> repairs() const { return repairs_.list(); }

    // The part parsed, as parseXml gives it: the one a copy left behind for
    // the next when it is that part, else parsed now. A copy reads the
    // sheets its formulas reach, and the next copy is often of one of them
    // (or reaches the same one), so the last reached sheet is kept.
    std::unique_ptr<pugi::xml_document> parsed(const std::string& part) const;
    // Keeps `doc`, unchanged since parsed() gave it, for the next call.
    void keepParsed(const std::string& part, std::unique_ptr<pugi::xml_document> doc) const;

private:
    SourcePackage() = default;
    std::string file_;
    std::shared_ptr<zip::ZipReader> zip_;
    ContentTypes types_;
    std::string workbookPart_;
    std::string workbookXml_;
    std::vector<Relationship> packageRels_;
    std::vector<Relationship> workbookRels_;
    std::vector<SheetEntry> sheets_;
    std::vector<std::size_t> worksheets_;
    std::vector<std::string> worksheetNames_;
    mutable std::map<std::string, std::vector<Relationship>> relsCache_;
    mutable std::set<std::string> mendedRels_;
    mutable Repairs repairs_;
    mutable std::map<std::string, std::shared_ptr<const SharedStrings>> sstCache_;
    mutable std::string keptPart_;
    mutable std::unique_ptr<pugi::xml_document> kept_;
};

}  // namespace excel::ooxml
