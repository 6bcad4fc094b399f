#pragma once
// pugixml over part bytes, with the engine's error on malformed XML and a
// serializer that writes the tree back without reformatting it.

#include <pugixml.hpp>

#include <memory>
#include <string>
#include <string_view>

namespace excel::ooxml {

// Parses `data` as the part `part` of `file`; throws the engine's "damaged"
// error with pugixml's description and the byte offset.
std::unique_ptr<pugi::xml_document> parseXml(std::string_view data, const std::string& file, const std::string& part);

// The document as UTF-8 text, as it was read apart from what was changed.
std::string serializeXml(const pugi::xml_document& doc);

// The name without its namespace prefix: "x:sheet" -> "sheet".
std::string_view localName(const pugi::xml_node& n);
std::string_view localName(const pugi::xml_attribute& a);
// The first child with that local name.
pugi::xml_node child(const pugi::xml_node& n, std::string_view local);
// The attribute in the relationships namespace ("r:id" under any prefix).
pugi::xml_attribute relId(const pugi::xml_node& n);

// Calls fn on every element below n, in document order, without recursion so
// that deep documents cannot exhaust the stack.
template <class Fn>
void walkElements(pugi::xml_node n, Fn&& fn)
{
    pugi::xml_node cur = n.first_child();
    while (cur) {
        if (cur.type() == pugi::node_element)
            fn(cur);
        if (cur.first_child() && cur.type() == pugi::node_element) {
            cur = cur.first_child();
            continue;
        }
        while (cur && !cur.next_sibling()) {
            cur = cur.parent();
            if (cur == n)
                return;
        }
        if (cur)
            cur = cur.next_sibling();
    }
}

// Escapes text for an attribute value or element content.
std::string xmlEscape(std::string_view s);

}  // namespace excel::ooxml
