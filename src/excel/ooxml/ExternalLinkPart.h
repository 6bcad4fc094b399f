#pragma once
// The externalLink part ([ECMA-376 Part 1, 18.14]) through which a copy's
// formulas reach the source workbook: its sheet names, and the cached values
// of the cells the formulas read, so that the copy shows the same numbers
// without the source at hand.

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace excel::ooxml {

struct CachedCell {
    std::string ref;    // "B3"
    std::string type;   // "" number, "str", "b", "e"
    std::string value;  // as the <v> text
};

struct ExternalBookCache {
    std::vector<std::string> sheetNames;                             // all sheets of the source, tab order
    std::map<std::size_t, std::map<std::uint64_t, CachedCell>> cells;  // sheet index -> (row<<16|col) -> cell
};

std::string writeExternalLinkPart(const ExternalBookCache& cache);
// "/work/in/Book 1.xlsx" -> "file:///work/in/Book%201.xlsx"
std::string fileUri(const std::string& absolutePath);

}  // namespace excel::ooxml
