#pragma once
// Small packages built in memory for the OOXML tests, and access to the
// sample files under tests/data/xlsx.

#include "excel/Document.h"
#include "excel/zip/ZipReader.h"
#include "excel/zip/ZipWriter.h"
#include "platform/sys/ByteSink.h"

#include <cstring>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace ooxml_test {

inline std::string dataPath(const std::string& rel) { return std::string(TB_TEST_DATA) + "/xlsx/" + rel; }

inline std::vector<std::byte> readFile(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::vector<char> c((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    std::vector<std::byte> out(c.size());
    std::memcpy(out.data(), c.data(), c.size());
    return out;
}

inline std::shared_ptr<const tb::ByteSource> source(std::vector<std::byte> bytes)
{
    return std::make_shared<tb::MemorySource>(std::move(bytes));
}

using Parts = std::vector<std::pair<std::string, std::string>>;

inline std::vector<std::byte> zipOf(const Parts& parts)
{
    tb::MemorySink sink;
    excel::zip::ZipWriter w(sink, "test.xlsx");
    for (const auto& [name, text] : parts)
        w.add(name, text);
    w.finish();
    return sink.data;
}

// A two-sheet workbook with a shared-string table; `sheet2` is the second
// sheet's XML, so that a test can put damage there.
inline Parts minimalWorkbook(const std::string& sheet2 = "")
{
    const std::string ns = "xmlns=\"http://schemas.openxmlformats.org/spreadsheetml/2006/main\" "
                           "xmlns:r=\"http://schemas.openxmlformats.org/officeDocument/2006/relationships\"";
    const std::string rel = "http://schemas.openxmlformats.org/officeDocument/2006/relationships/";
    return {
        {"[Content_Types].xml",
         "<Types xmlns=\"http://schemas.openxmlformats.org/package/2006/content-types\">"
         "<Default Extension=\"rels\" ContentType=\"application/vnd.openxmlformats-package.relationships+xml\"/>"
         "<Default Extension=\"xml\" ContentType=\"application/xml\"/>"
         "<Override PartName=\"/xl/workbook.xml\" "
         "ContentType=\"application/vnd.openxmlformats-officedocument.spreadsheetml.sheet.main+xml\"/>"
         "<Override PartName=\"/xl/worksheets/sheet1.xml\" "
         "ContentType=\"application/vnd.openxmlformats-officedocument.spreadsheetml.worksheet+xml\"/>"
         "<Override PartName=\"/xl/worksheets/sheet2.xml\" "
         "ContentType=\"application/vnd.openxmlformats-officedocument.spreadsheetml.worksheet+xml\"/>"
         "<Override PartName=\"/xl/sharedStrings.xml\" "
         "ContentType=\"application/vnd.openxmlformats-officedocument.spreadsheetml.sharedStrings+xml\"/>"
         "</Types>"},
        {"_rels/.rels", "<Relationships xmlns=\"http://schemas.openxmlformats.org/package/2006/relationships\">"
                        "<Relationship Id=\"rId1\" Type=\"" + rel + "officeDocument\" Target=\"xl/workbook.xml\"/>"
                        "</Relationships>"},
        {"xl/workbook.xml", "<workbook " + ns + "><bookViews><workbookView activeTab=\"1\"/></bookViews><sheets>"
                            "<sheet name=\"One\" sheetId=\"1\" r:id=\"rId1\"/>"
                            "<sheet name=\"Two &amp; more\" sheetId=\"2\" state=\"hidden\" r:id=\"rId2\"/>"
                            "</sheets></workbook>"},
        {"xl/_rels/workbook.xml.rels",
         "<Relationships xmlns=\"http://schemas.openxmlformats.org/package/2006/relationships\">"
         "<Relationship Id=\"rId1\" Type=\"" + rel + "worksheet\" Target=\"worksheets/sheet1.xml\"/>"
         "<Relationship Id=\"rId2\" Type=\"" + rel + "worksheet\" Target=\"/xl/worksheets/sheet2.xml\"/>"
         "<Relationship Id=\"rId3\" Type=\"" + rel + "sharedStrings\" Target=\"sharedStrings.xml\"/>"
         "</Relationships>"},
        {"xl/sharedStrings.xml", "<sst " + ns + " count=\"3\" uniqueCount=\"3\"><si><t>zero</t></si>"
                                 "<si><t xml:space=\"preserve\"> one </t></si><si><r><t>tw</t></r><r><t>o</t></r></si></sst>"},
        {"xl/worksheets/sheet1.xml", "<worksheet " + ns + "><sheetData><row r=\"1\">"
                                     "<c r=\"A1\" t=\"s\"><v>2</v></c><c r=\"B1\"><f>'Two &amp; more'!A1*2</f><v>14</v></c>"
                                     "</row></sheetData></worksheet>"},
        {"xl/worksheets/sheet2.xml",
         sheet2.empty() ? "<worksheet " + ns + "><sheetData><row r=\"1\"><c r=\"A1\"><v>7</v></c>"
                                               "<c r=\"B1\" t=\"s\"><v>1</v></c></row></sheetData></worksheet>"
                        : sheet2},
    };
}

inline Parts without(Parts p, const std::string& name)
{
    std::erase_if(p, [&](const auto& e) { return e.first == name; });
    return p;
}

inline Parts replaced(Parts p, const std::string& name, const std::string& text)
{
    for (auto& e : p) {
        if (e.first == name)
            e.second = text;
    }
    return p;
}

// Every part of a saved document, by name.
inline std::map<std::string, std::string> partsOf(const excel::Document& doc)
{
    tb::MemorySink sink;
    doc.save(sink);
    excel::zip::ZipReader z(source(std::move(sink.data)), "saved.xlsx");
    std::map<std::string, std::string> out;
    for (const auto& e : z.entries())
        out[e.name] = z.read(e);
    return out;
}

}  // namespace ooxml_test
