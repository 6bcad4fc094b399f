#include "SheetContent.h"

#include "Xml.h"

namespace excel::ooxml {

namespace {

bool cellHasContent(pugi::xml_node c)
{
    for (auto in = c.first_child(); in; in = in.next_sibling()) {
        const auto ln = localName(in);
        if (ln == "v" || ln == "f" || ln == "is")
            return true;
    }
    return false;
}

}  // namespace

bool worksheetHasContent(const SourcePackage& pkg, const SheetEntry& sheet)
{
    for (const auto& r : pkg.relsOf(sheet.part)) {
        const auto kind = relKind(r.type);
        if (kind == "comments" || kind == "threadedComment")
            return true;
    }
    auto doc = pkg.parsed(sheet.part);
    bool found = false;
    for (auto e = doc->document_element().first_child(); e && !found; e = e.next_sibling()) {
        const auto ln = localName(e);
        if (ln == "sheetData") {
            for (auto row = e.first_child(); row && !found; row = row.next_sibling()) {
                for (auto c = row.first_child(); c && !found; c = c.next_sibling())
                    found = localName(c) == "c" && cellHasContent(c);
            }
        } else if (ln == "mergeCells") {
            found = static_cast<bool>(child(e, "mergeCell"));
        } else if (ln == "drawing" || ln == "legacyDrawing") {
            found = true;
        }
    }
    pkg.keepParsed(sheet.part, std::move(doc));
    return found;
}

}  // namespace excel::ooxml
