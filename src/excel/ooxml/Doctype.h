#pragma once
// Document type declarations in package parts. ECMA-376 Part 2 (8.1.4)
// forbids them and Excel refuses them; one may hold an entity bomb ("billion
// laughs"). The engine never expands an entity, and a copy never carries a
// declaration on, so that the next program to read the copy meets no bomb.

#include <string>
#include <string_view>

namespace excel::ooxml {

enum class Prolog { Clean, Doctype, Unknown };

// Whether the prolog at the start of `xml` (UTF-8 or UTF-16) declares a
// document type; Unknown when `xml` ends before the root element begins.
Prolog scanProlog(std::string_view xml);

// The part read without its declaration and written again: entity
// references it declared stay unexpanded, as their own text. Throws the
// engine's "damaged" error when the part is not well-formed XML.
std::string withoutDoctype(std::string_view xml, const std::string& file, const std::string& part);

// The sentence that reports the repair.
std::string doctypeRepair(const std::string& part);

}  // namespace excel::ooxml
