#include "ExternalLinkPart.h"

#include "Xml.h"

namespace excel::ooxml {

std::string writeExternalLinkPart(const ExternalBookCache& cache)
{
    std::string out =
        "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\"?>\r\n"
        "<externalLink xmlns=\"http://schemas.openxmlformats.org/spreadsheetml/2006/main\" "
        "xmlns:r=\"http://schemas.openxmlformats.org/officeDocument/2006/relationships\">"
        "<externalBook r:id=\"rId1\"><sheetNames>";
    for (const auto& n : cache.sheetNames)
        out += "<sheetName val=\"" + xmlEscape(n) + "\"/>";
    out += "</sheetNames>";
    if (!cache.cells.empty()) {
        out += "<sheetDataSet>";
        for (const auto& [sheet, cells] : cache.cells) {
            out += "<sheetData sheetId=\"" + std::to_string(sheet) + "\"";
            if (cells.empty()) {
                out += "/>";
                continue;
            }
            out += ">";
            std::uint64_t row = 0;
            for (const auto& [key, c] : cells) {
                const std::uint64_t r = key >> 16;
                if (r != row) {
                    if (row != 0)
                        out += "</row>";
                    row = r;
                    out += "<row r=\"" + std::to_string(r) + "\">";
                }
                out += "<cell r=\"" + c.ref + "\"";
                if (!c.type.empty())
                    out += " t=\"" + c.type + "\"";
                out += "><v>" + xmlEscape(c.value) + "</v></cell>";
            }
            if (row != 0)
                out += "</row>";
            out += "</sheetData>";
        }
        out += "</sheetDataSet>";
    }
    out += "</externalBook></externalLink>";
    return out;
}

std::string fileUri(const std::string& path)
{
    static const char* hex = "0123456789ABCDEF";
    std::string out = "file://";
    if (path.empty() || path[0] != '/')
        out += '/';
    for (unsigned char c : path) {
        const bool plain = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' ||
                           c == '_' || c == '.' || c == '~' || c == '/';
        if (plain) {
            out += static_cast<char>(c);
        } else {
            out += '%';
            out += hex[c >> 4];
            out += hex[c & 15];
        }
    }
    return out;
}

}  // namespace excel::ooxml
