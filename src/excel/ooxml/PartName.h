#pragma once
// Part names of an Open Packaging Conventions package [ECMA-376 Part 2]: how a
// relationship's target becomes a part name, and where a part's relationships
// are stored. Part names here carry no leading "/", as zip entries do.

#include <string>

namespace excel::ooxml {

// The folder of a part ("xl/worksheets/sheet1.xml" -> "xl/worksheets").
std::string folderOf(const std::string& part);
// "xl/worksheets/sheet1.xml" -> "xl/worksheets/_rels/sheet1.xml.rels"; "" -> "_rels/.rels".
std::string relsPartOf(const std::string& part);
// Resolves `target` (relative, or absolute with "/") from the part `source`;
// percent-escapes decoded, "." and ".." folded. Empty when it climbs above the root.
std::string resolveTarget(const std::string& source, const std::string& target);
// The relative target from `source` to `part`, as Excel writes them.
std::string relativeTarget(const std::string& source, const std::string& part);
// The extension after the last period, lower case.
std::string extensionOf(const std::string& part);

}  // namespace excel::ooxml
