#include "SourcePackage.h"

#include "Doctype.h"
#include "PartName.h"
#include "SharedStrings.h"
#include "Xml.h"
#include "excel/EngineError.h"

#include <algorithm>
#include <set>

namespace excel::ooxml {

namespace {

bool isSpreadsheetMain(const std::string& type)
{
    return type == ctype::kWorkbook || type == ctype::kMacroWorkbook || type == ctype::kTemplate ||
           type == ctype::kMacroTemplate || type == ctype::kAddin;
}

}  // namespace

std::shared_ptr<SourcePackage> SourcePackage::open(std::shared_ptr<const tb::ByteSource> bytes, const std::string& file)
{
    std::shared_ptr<SourcePackage> p(new SourcePackage());
    p->file_ = file;
    p->zip_ = std::make_shared<zip::ZipReader>(std::move(bytes), file);

    if (!p->has("[Content_Types].xml")) {
        if (p->has("mimetype") || p->has("content.xml"))
            throw engineError(file, "is not a workbook: it is an OpenDocument file, not an Excel workbook.");
        throw engineError(file, "is not a workbook: the zip archive is not an Office Open XML package "
                                "([Content_Types].xml is missing).");
    }
    p->types_ = ContentTypes::parse(p->read("[Content_Types].xml"), file);

    if (p->has("_rels/.rels"))
        p->packageRels_ = parseRelationships(p->read("_rels/.rels"), "", file, "_rels/.rels");
    for (const auto& r : p->packageRels_) {
        if (!r.external && relKind(r.type) == "officeDocument") {
            p->workbookPart_ = r.part;
            break;
        }
    }
    if (p->workbookPart_.empty())
        throw damaged(file, "package relationships (_rels/.rels)", "no relationship names the workbook part");
    if (!p->has(p->workbookPart_))
        throw damaged(file, "part '" + p->workbookPart_ + "'", "the workbook part is missing");
    // Use the zip's own spelling of the name from here on.
    p->workbookPart_ = p->zip_->find(p->workbookPart_)->name;

    const std::string mainType = p->types_.typeOf(p->workbookPart_);
    if (mainType == ctype::kBinaryWorkbook)
        throw engineError(file, "is an Excel binary workbook (.xlsb), which cannot be read.");
    if (!isSpreadsheetMain(mainType)) {
        if (mainType.find("wordprocessingml") != std::string::npos || mainType.find("presentationml") != std::string::npos)
            throw engineError(file, "is not a workbook: it is an Office Open XML document of another kind (" +
                                        mainType + ").");
        if (!mainType.empty() && mainType.find("spreadsheetml") == std::string::npos)
            throw engineError(file, "is not a workbook: its main part has the content type '" + mainType + "'.");
        // No type, or a spreadsheet type we do not name: the part is read as a workbook.
    }

    p->workbookXml_ = p->read(p->workbookPart_);
    p->workbookRels_ = p->relsOf(p->workbookPart_);

    auto doc = parseXml(p->workbookXml_, file, p->workbookPart_);
    auto root = doc->document_element();
    if (localName(root) != "workbook")
        throw damaged(file, "part '" + p->workbookPart_ + "'",
                      "expected a <workbook> element, found <" + std::string(root.name()) + ">");
    auto sheets = child(root, "sheets");
    std::set<std::string> relIds;
    for (auto s = sheets.first_child(); s; s = s.next_sibling()) {
        if (s.type() != pugi::node_element || localName(s) != "sheet")
            continue;
        SheetEntry e;
        e.name = s.attribute("name").value();
        e.state = s.attribute("state").value();
        e.relId = relId(s).value();
        // Two tabs on one relationship would be one sheet under two names.
        if (!e.relId.empty() && !relIds.insert(e.relId).second)
            throw damaged(file, "part '" + p->workbookPart_ + "'",
                          "the sheet '" + e.name + "' names the relationship '" + e.relId +
                              "', which an earlier sheet names too");
        const Relationship* rel = nullptr;
        for (const auto& r : p->workbookRels_) {
            if (r.id == e.relId)
                rel = &r;
        }
        if (rel == nullptr || rel->external) {
            // Nothing tells what the tab was (a dialog or macro sheet, as a
            // rule): it keeps its place among the tabs and is no worksheet.
            p->repaired("the sheet tab '" + e.name + "' names " +
                        (e.relId.empty() ? std::string("no relationship") : "the missing relationship '" + e.relId + "'") +
                        "; it is left out");
            p->sheets_.push_back(std::move(e));
            continue;
        }
        e.kind = std::string(relKind(rel->type));
        e.part = rel->part;
        if (e.isWorksheet()) {
            const auto* entry = p->zip_->find(e.part);
            if (entry == nullptr)
                throw damaged(file, "part '" + e.part + "'", "the part of the worksheet '" + e.name + "' is missing");
            e.part = entry->name;
            p->worksheets_.push_back(p->sheets_.size());
            p->worksheetNames_.push_back(e.name);
        }
        p->sheets_.push_back(std::move(e));
    }
    return p;
}

std::string SourcePackage::read(const std::string& part) const
{
    std::string data = zip_->read(part);
    if (scanProlog(data) == Prolog::Doctype) {
        data = withoutDoctype(data, file_, part);
        repaired(doctypeRepair(part));
    }
    return data;
}

std::unique_ptr<pugi::xml_document> SourcePackage::parsed(const std::string& part) const
{
    if (kept_ && keptPart_ == part) {
        keptPart_.clear();
        return std::move(kept_);
    }
    return parseXml(read(part), file_, part);
}

void SourcePackage::keepParsed(const std::string& part, std::unique_ptr<pugi::xml_document> doc) const
{
    keptPart_ = part;
    kept_ = std::move(doc);
}

const std::vector<Relationship>& SourcePackage::relsOf(const std::string& part) const
{
    if (auto it = relsCache_.find(part); it != relsCache_.end())
        return it->second;
    std::vector<Relationship> rels;
    const std::string rp = relsPartOf(part);
    if (has(rp))
        rels = parseRelationships(read(rp), part, file_, rp);
    // A relationship without an Id gets the first one its part leaves free,
    // which is the one the part names where only the Id was lost (a pivot
    // cache's r:id="rId1" to its records).
    for (auto& r : rels) {
        if (!r.id.empty())
            continue;
        for (int n = 1; r.id.empty(); ++n) {
            const std::string id = "rId" + std::to_string(n);
            if (std::none_of(rels.begin(), rels.end(), [&](const Relationship& o) { return o.id == id; }))
                r.id = id;
        }
        mendedRels_.insert(part);
        repaired("a relationship in '" + rp + "' has no Id; it is given the Id '" + r.id + "'");
    }
    for (auto& r : rels) {
        if (!r.external) {
            if (const auto* e = zip_->find(r.part))
                r.part = e->name;
        }
    }
    return relsCache_.emplace(part, std::move(rels)).first->second;
}

}  // namespace excel::ooxml

namespace excel::ooxml {

std::shared_ptr<const SharedStrings> SourcePackage::sharedStrings(const std::string& part) const
{
    if (auto it = sstCache_.find(part); it != sstCache_.end())
        return it->second;
    auto sst = std::make_shared<const SharedStrings>(read(part), file_, part);
    sstCache_.emplace(part, sst);
    return sst;
}

}  // namespace excel::ooxml
