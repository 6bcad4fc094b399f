#include "AppProperties.h"

#include "Xml.h"

namespace excel::ooxml {

std::string rewriteAppProperties(std::string_view xml, const std::string& sheetName, const std::string& file,
                                 const std::string& part)
{
    auto doc = parseXml(xml, file, part);
    auto root = doc->document_element();
    auto heading = child(root, "HeadingPairs");
    auto titles = child(root, "TitlesOfParts");
    if (!heading || !titles)
        return std::string(xml);
    auto hv = child(heading, "vector");
    auto tv = child(titles, "vector");
    if (!hv || !tv)
        return std::string(xml);
    // The vt: prefix as the source spells it.
    std::string prefix;
    if (const std::string_view n = hv.name(); n.find(':') != std::string_view::npos)
        prefix = std::string(n.substr(0, n.find(':') + 1));
    while (hv.first_child())
        hv.remove_child(hv.first_child());
    while (tv.first_child())
        tv.remove_child(tv.first_child());
    auto variant = hv.append_child((prefix + "variant").c_str());
    variant.append_child((prefix + "lpstr").c_str()).text().set("Worksheets");
    variant = hv.append_child((prefix + "variant").c_str());
    variant.append_child((prefix + "i4").c_str()).text().set("1");
    hv.attribute("size") ? hv.attribute("size").set_value("2") : hv.append_attribute("size").set_value("2");
    tv.append_child((prefix + "lpstr").c_str()).text().set(sheetName.c_str());
    tv.attribute("size") ? tv.attribute("size").set_value("1") : tv.append_attribute("size").set_value("1");
    return serializeXml(*doc);
}

}  // namespace excel::ooxml
