#pragma once
// The shared-string table ([ECMA-376 Part 1, 18.4]) of a source workbook, and
// the pruned table of a copy: only the strings its sheet uses, renumbered in
// the order the sheet first uses them. Each kept <si> is written back as it
// was read, rich-text runs and phonetic text included.

#include <pugixml.hpp>

#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace excel::ooxml {

class SharedStrings {
public:
    SharedStrings(std::string_view xml, const std::string& file, const std::string& part);

    std::size_t size() const { return items_.size(); }
    // The plain text of item `i` (runs joined, phonetic runs left out).
    std::string text(std::size_t i) const;
    // The pruned table holding `order` (old indices, in their new order);
    // `references` is the number of cells that point into it.
    std::string writePruned(const std::vector<std::size_t>& order, std::size_t references) const;

private:
    std::unique_ptr<pugi::xml_document> doc_;
    std::vector<pugi::xml_node> items_;
};

// Old index -> new index, assigned in order of first use.
class StringRenumbering {
public:
    std::size_t map(std::size_t oldIndex)
    {
        ++references_;
        auto [it, added] = index_.emplace(oldIndex, order_.size());
        if (added)
            order_.push_back(oldIndex);
        return it->second;
    }
    const std::vector<std::size_t>& order() const { return order_; }
    std::size_t references() const { return references_; }

private:
    std::unordered_map<std::size_t, std::size_t> index_;
    std::vector<std::size_t> order_;
    std::size_t references_ = 0;
};

}  // namespace excel::ooxml
