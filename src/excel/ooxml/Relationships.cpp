#include "Relationships.h"

#include "PartName.h"
#include "Xml.h"

namespace excel::ooxml {

std::vector<Relationship> parseRelationships(std::string_view xml, const std::string& source, const std::string& file,
                                             const std::string& relsPart)
{
    auto doc = parseXml(xml, file, relsPart);
    std::vector<Relationship> out;
    for (auto n = doc->document_element().first_child(); n; n = n.next_sibling()) {
        if (n.type() != pugi::node_element || localName(n) != "Relationship")
            continue;
        Relationship r;
        r.id = n.attribute("Id").value();
        r.type = n.attribute("Type").value();
        r.target = n.attribute("Target").value();
        r.external = std::string_view(n.attribute("TargetMode").value()) == "External";
        if (!r.external)
            r.part = resolveTarget(source, r.target);
        out.push_back(std::move(r));
    }
    return out;
}

std::string writeRelationships(const std::vector<Relationship>& rels)
{
    std::string out =
        "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\"?>\r\n"
        "<Relationships xmlns=\"http://schemas.openxmlformats.org/package/2006/relationships\">";
    for (const auto& r : rels) {
        out += "<Relationship Id=\"" + xmlEscape(r.id) + "\" Type=\"" + xmlEscape(r.type) + "\" Target=\"" +
               xmlEscape(r.target) + "\"";
        if (r.external)
            out += " TargetMode=\"External\"";
        out += "/>";
    }
    out += "</Relationships>";
    return out;
}

std::string_view relKind(std::string_view type)
{
    const auto slash = type.rfind('/');
    return slash == std::string_view::npos ? type : type.substr(slash + 1);
}

}  // namespace excel::ooxml
