#pragma once
// A part's relationships ([ECMA-376 Part 2, 9.3]): read from its .rels part,
// written back after a copy has chosen which of them to keep.

#include <string>
#include <string_view>
#include <vector>

namespace excel::ooxml {

struct Relationship {
    std::string id;
    std::string type;
    std::string target;      // as written
    bool external = false;   // TargetMode="External"
    std::string part;        // the resolved part name; empty for external targets
};

// Parses the .rels part of `source`; `file` and `relsPart` name it in errors.
// A relationship with no Id is given with an empty id, for the caller to drop.
std::vector<Relationship> parseRelationships(std::string_view xml, const std::string& source, const std::string& file,
                                             const std::string& relsPart);
std::string writeRelationships(const std::vector<Relationship>& rels);

// The last segment of a relationship type: ".../relationships/worksheet" -> "worksheet".
std::string_view relKind(std::string_view type);

namespace reltype {
inline constexpr const char* kOfficeDocument =
    "http://schemas.openxmlformats.org/officeDocument/2006/relationships/officeDocument";
inline constexpr const char* kExternalLink =
    "http://schemas.openxmlformats.org/officeDocument/2006/relationships/externalLink";
inline constexpr const char* kExternalLinkPath =
    "http://schemas.openxmlformats.org/officeDocument/2006/relationships/externalLinkPath";
inline constexpr const char* kSharedStrings =
    "http://schemas.openxmlformats.org/officeDocument/2006/relationships/sharedStrings";
}  // namespace reltype

}  // namespace excel::ooxml
