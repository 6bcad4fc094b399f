#pragma once
// docProps/app.xml ([ECMA-376 Part 1, 22.2]): a copy's sheet list names its
// one worksheet; everything else the source said is kept.

#include <string>
#include <string_view>

namespace excel::ooxml {

std::string rewriteAppProperties(std::string_view xml, const std::string& sheetName, const std::string& file,
                                 const std::string& part);

}  // namespace excel::ooxml
