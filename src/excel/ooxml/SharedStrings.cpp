#include "SharedStrings.h"

#include "Xml.h"

namespace excel::ooxml {

namespace {
struct StringWriter final : pugi::xml_writer {
    std::string& out;
    explicit StringWriter(std::string& o) : out(o) {}
    void write(const void* data, size_t size) override { out.append(static_cast<const char*>(data), size); }
};

void collectText(const pugi::xml_node& n, std::string& out)
{
    for (auto c = n.first_child(); c; c = c.next_sibling()) {
        if (c.type() != pugi::node_element)
            continue;
        const auto ln = localName(c);
        if (ln == "t")
            out += c.text().get();
        else if (ln == "r")
            collectText(c, out);
        // rPh (phonetic runs) and phoneticPr are not part of the value
    }
}
}  // namespace

SharedStrings::SharedStrings(std::string_view xml, const std::string& file, const std::string& part)
    : doc_(parseXml(xml, file, part))
{
    for (auto c = doc_->document_element().first_child(); c; c = c.next_sibling()) {
        if (c.type() == pugi::node_element && localName(c) == "si")
            items_.push_back(c);
    }
}

std::string SharedStrings::text(std::size_t i) const
{
    std::string out;
    collectText(items_.at(i), out);
    return out;
}

std::string SharedStrings::writePruned(const std::vector<std::size_t>& order, std::size_t references) const
{
    const auto root = doc_->document_element();
    std::string out = "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\"?>\r\n<";
    out += root.name();
    for (auto a = root.first_attribute(); a; a = a.next_attribute()) {
        const std::string_view n = a.name();
        if (n == "count" || n == "uniqueCount")
            continue;
        out += " ";
        out += n;
        out += "=\"" + xmlEscape(a.value()) + "\"";
    }
    out += " count=\"" + std::to_string(references) + "\" uniqueCount=\"" + std::to_string(order.size()) + "\">";
    StringWriter w(out);
    for (std::size_t i : order)
        items_.at(i).print(w, "", pugi::format_raw, pugi::encoding_utf8);
    // What follows the items (an extLst) is kept.
    for (auto c = root.first_child(); c; c = c.next_sibling()) {
        if (c.type() == pugi::node_element && localName(c) != "si")
            c.print(w, "", pugi::format_raw, pugi::encoding_utf8);
    }
    out += "</";
    out += root.name();
    out += ">";
    return out;
}

}  // namespace excel::ooxml
