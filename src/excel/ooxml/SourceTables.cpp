#include "SourceTables.h"

#include "Xml.h"
#include "platform/sys/AsciiCase.h"

#include <charconv>

namespace excel::ooxml {

namespace {

std::uint32_t count(pugi::xml_node table, const char* attr, std::uint32_t otherwise)
{
    const std::string_view v = table.attribute(attr).value();
    std::uint32_t n = otherwise;
    if (!v.empty())
        std::from_chars(v.data(), v.data() + v.size(), n);
    return std::min<std::uint32_t>(n, 1);
}

}  // namespace

std::map<std::string, TableOnSheet> readSourceTables(const SourcePackage& src)
{
    std::map<std::string, TableOnSheet> tables;
    for (std::size_t i = 0; i < src.sheets().size(); ++i) {
        const SheetEntry& s = src.sheets()[i];
        if (!s.isWorksheet() || !src.has(s.part))
            continue;
        for (const auto& r : src.relsOf(s.part)) {
            if (r.external || relKind(r.type) != "table" || !src.has(r.part))
                continue;
            std::unique_ptr<pugi::xml_document> doc;
            try {
                doc = parseXml(src.read(r.part), src.file(), r.part);
            } catch (const std::exception&) {
                continue;
            }
            const auto root = doc->document_element();
            const auto range = formula::parseRange(root.attribute("ref").value());
            if (!range)
                continue;
            TableOnSheet t;
            t.sheet = i;
            t.shape.ref = *range;
            t.shape.headerRows = count(root, "headerRowCount", 1);
            t.shape.totalsRows = count(root, "totalsRowCount", 0);
            for (auto c = child(child(root, "tableColumns"), "tableColumn"); c; c = c.next_sibling())
                if (localName(c) == "tableColumn")
                    t.shape.columns.emplace_back(c.attribute("name").value());
            for (const char* a : {"name", "displayName"})
                if (const std::string n = root.attribute(a).value(); !n.empty())
                    tables.emplace(tb::foldAscii(n), t);
        }
    }
    return tables;
}

}  // namespace excel::ooxml
