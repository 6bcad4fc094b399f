#include "ContentTypes.h"

#include "PartName.h"
#include "Xml.h"
#include "excel/zip/ZipReader.h"
#include "platform/sys/AsciiCase.h"

namespace excel::ooxml {

ContentTypes ContentTypes::parse(std::string_view xml, const std::string& file)
{
    auto doc = parseXml(xml, file, "[Content_Types].xml");
    ContentTypes ct;
    for (auto n = doc->document_element().first_child(); n; n = n.next_sibling()) {
        if (n.type() != pugi::node_element)
            continue;
        if (localName(n) == "Default") {
            ct.defaults_.emplace_back(tb::foldAscii(n.attribute("Extension").value()), n.attribute("ContentType").value());
        } else if (localName(n) == "Override") {
            std::string name = n.attribute("PartName").value();
            if (!name.empty() && name[0] == '/')
                name.erase(0, 1);
            ct.overrides_[tb::foldAscii(resolveTarget("", "/" + name))] = n.attribute("ContentType").value();
        }
    }
    return ct;
}

std::string ContentTypes::typeOf(const std::string& part) const
{
    if (auto it = overrides_.find(tb::foldAscii(part)); it != overrides_.end())
        return it->second;
    const std::string ext = extensionOf(part);
    for (const auto& [e, t] : defaults_) {
        if (e == ext)
            return t;
    }
    return {};
}

void ContentTypes::setOverride(const std::string& part, const std::string& type)
{
    overrides_[tb::foldAscii(part)] = type;
}

void ContentTypes::dropDefaultsOfType(const std::string& type)
{
    std::erase_if(defaults_, [&](const auto& d) { return d.second == type; });
}

std::string ContentTypes::write(const std::vector<std::string>& parts) const
{
    std::string out =
        "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\"?>\r\n"
        "<Types xmlns=\"http://schemas.openxmlformats.org/package/2006/content-types\">";
    bool haveRels = false, haveXml = false;
    for (const auto& [e, t] : defaults_) {
        out += "<Default Extension=\"" + xmlEscape(e) + "\" ContentType=\"" + xmlEscape(t) + "\"/>";
        haveRels = haveRels || e == "rels";
        haveXml = haveXml || e == "xml";
    }
    if (!haveRels)
        out += std::string("<Default Extension=\"rels\" ContentType=\"") + ctype::kRelationships + "\"/>";
    if (!haveXml)
        out += "<Default Extension=\"xml\" ContentType=\"application/xml\"/>";
    for (const auto& p : parts) {
        const auto it = overrides_.find(tb::foldAscii(p));
        if (it == overrides_.end())
            continue;
        const std::string ext = extensionOf(p);
        std::string def;
        for (const auto& [e, t] : defaults_) {
            if (e == ext)
                def = t;
        }
        if (ext == "rels" && it->second == ctype::kRelationships)
            continue;
        if (def == it->second)
            continue;
        out += "<Override PartName=\"/" + xmlEscape(p) + "\" ContentType=\"" + xmlEscape(it->second) + "\"/>";
    }
    out += "</Types>";
    return out;
}

}  // namespace excel::ooxml
