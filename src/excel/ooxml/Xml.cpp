#include "Xml.h"

#include "excel/EngineError.h"

#include <cstring>

namespace excel::ooxml {

namespace {

// No whitespace-only text is dropped where it is the only content of an
// element (<t xml:space="preserve"> </t>); line ends and attribute
// whitespace are normalised as every XML reader does.
constexpr unsigned kParseFlags = pugi::parse_cdata | pugi::parse_escapes | pugi::parse_eol | pugi::parse_wconv_attribute |
                                 pugi::parse_ws_pcdata_single | pugi::parse_declaration | pugi::parse_pi |
                                 pugi::parse_comments | pugi::parse_doctype;

// Workbook parts nest a few dozen elements deep at most (drawings go
// deepest). Nothing in the engine recurses over the tree, but a part nested
// past this is no workbook's and is refused rather than copied on.
constexpr std::size_t kMaxDepth = 256;

// pugixml's own traversal: one call a node, where stepping through the
// tree from here would cost several calls into the library a node.
struct DepthCheck final : pugi::xml_tree_walker {
    bool tooDeep = false;
    bool for_each(pugi::xml_node&) override
    {
        tooDeep = static_cast<std::size_t>(depth()) >= kMaxDepth;
        return !tooDeep;
    }
};

struct StringWriter final : pugi::xml_writer {
    std::string out;
    void write(const void* data, size_t size) override { out.append(static_cast<const char*>(data), size); }
};

constexpr const char* kRelNs = "http://schemas.openxmlformats.org/officeDocument/2006/relationships";
constexpr const char* kRelNsStrict = "http://purl.oclc.org/ooxml/officeDocument/relationships";

}  // namespace

std::unique_ptr<pugi::xml_document> parseXml(std::string_view data, const std::string& file, const std::string& part)
{
    auto doc = std::make_unique<pugi::xml_document>();
    const auto r = doc->load_buffer(data.data(), data.size(), kParseFlags, pugi::encoding_auto);
    if (!r)
        throw damaged(file, "part '" + part + "'",
                      std::string("not well-formed XML at byte ") + std::to_string(r.offset) + ": " + r.description());
    if (!doc->document_element())
        throw damaged(file, "part '" + part + "'", "the XML has no root element");
    DepthCheck depth;
    doc->traverse(depth);
    if (depth.tooDeep)
        throw damaged(file, "part '" + part + "'",
                      "the XML nests elements more than " + std::to_string(kMaxDepth) + " deep");
    // The text is written back as UTF-8 whatever it was read as, and never
    // with a document type declaration (see Doctype.h).
    for (auto n = doc->first_child(); n;) {
        const auto next = n.next_sibling();
        if (n.type() == pugi::node_declaration) {
            if (auto enc = n.attribute("encoding"))
                enc.set_value("UTF-8");
        } else if (n.type() == pugi::node_doctype) {
            doc->remove_child(n);
        }
        n = next;
    }
    return doc;
}

std::string serializeXml(const pugi::xml_document& doc)
{
    StringWriter w;
    doc.save(w, "", pugi::format_raw | pugi::format_no_declaration, pugi::encoding_utf8);
    return std::move(w.out);
}

std::string_view localName(const pugi::xml_node& n)
{
    std::string_view s = n.name();
    const auto colon = s.find(':');
    return colon == std::string_view::npos ? s : s.substr(colon + 1);
}

std::string_view localName(const pugi::xml_attribute& a)
{
    std::string_view s = a.name();
    const auto colon = s.find(':');
    return colon == std::string_view::npos ? s : s.substr(colon + 1);
}

pugi::xml_node child(const pugi::xml_node& n, std::string_view local)
{
    for (auto c = n.first_child(); c; c = c.next_sibling()) {
        if (c.type() == pugi::node_element && localName(c) == local)
            return c;
    }
    return {};
}

namespace {
// The namespace a prefix stands for at `n`, looking up the ancestors.
std::string_view namespaceOf(pugi::xml_node n, std::string_view prefix)
{
    const std::string attr = prefix.empty() ? std::string("xmlns") : "xmlns:" + std::string(prefix);
    for (; n; n = n.parent()) {
        if (auto a = n.attribute(attr.c_str()))
            return a.value();
    }
    return {};
}
}  // namespace

pugi::xml_attribute relId(const pugi::xml_node& n)
{
    for (auto a = n.first_attribute(); a; a = a.next_attribute()) {
        std::string_view name = a.name();
        const auto colon = name.find(':');
        if (colon == std::string_view::npos || name.substr(colon + 1) != "id")
            continue;
        const auto ns = namespaceOf(n, name.substr(0, colon));
        if (ns == kRelNs || ns == kRelNsStrict)
            return a;
    }
    return {};
}

std::string xmlEscape(std::string_view s)
{
    std::string out;
    out.reserve(s.size());
    for (char c : s) {
        switch (c) {
        case '&': out += "&amp;"; break;
        case '<': out += "&lt;"; break;
        case '>': out += "&gt;"; break;
        case '"': out += "&quot;"; break;
        case '\'': out += "&apos;"; break;
        case '\n': out += "&#10;"; break;
        case '\r': out += "&#13;"; break;
        case '\t': out += "&#9;"; break;
        default: out += c;
        }
    }
    return out;
}

}  // namespace excel::ooxml
