#include "ValuesOnly.h"

#include "Xml.h"

#include <map>
#include <vector>

namespace excel::ooxml {

namespace {

// "x:" of "x:c", so that new elements share their parent's namespace prefix.
std::string prefixOf(pugi::xml_node n)
{
    const std::string_view name = n.name();
    const auto colon = name.find(':');
    return colon == std::string_view::npos ? std::string() : std::string(name.substr(0, colon + 1));
}

// An empty <v> is no value (openpyxl writes one for every formula), except
// for a text result, which may be empty.
bool hasValue(pugi::xml_node c)
{
    const auto v = child(c, "v");
    return v && (*v.text().get() != '\0' || std::string_view(c.attribute("t").value()) == "str");
}

void toValue(pugi::xml_node c)
{
    c.remove_child(child(c, "f"));
    c.remove_attribute("cm");  // array-formula metadata
    if (std::string_view(c.attribute("t").value()) != "str")
        return;
    // A text result is kept inline: a cell of type "str" is a formula's.
    const auto v = child(c, "v");
    const std::string text = v.text().get();
    c.remove_child(v);
    c.attribute("t").set_value("inlineStr");
    const std::string p = prefixOf(c);
    const auto ext = child(c, "extLst");
    auto is = ext ? c.insert_child_before((p + "is").c_str(), ext) : c.append_child((p + "is").c_str());
    auto t = is.append_child((p + "t").c_str());
    if (!text.empty() && (text.front() == ' ' || text.back() == ' ' || text.find('\n') != std::string::npos))
        t.append_attribute("xml:space").set_value("preserve");
    t.text().set(text.c_str());
}

void convertCells(pugi::xml_node data, OutsideReach& reach, ValuesReport& report, std::set<std::string>& names)
{
    struct Group {
        bool outside = false;
        bool cached = true;
        std::vector<pugi::xml_node> cells;
    };
    std::map<std::string, Group> shared;
    for (auto row = child(data, "row"); row; row = row.next_sibling()) {
        for (auto c = row.first_child(); c; c = c.next_sibling()) {
            const auto f = child(c, "f");
            if (!f || localName(c) != "c")
                continue;
            const std::string_view kind = f.attribute("t").value();
            const std::string text = f.text().get();
            if (kind == "shared") {
                Group& g = shared[f.attribute("si").value()];
                if (!text.empty())
                    g.outside = reach.formula(text, &names);
                g.cached = g.cached && hasValue(c);
                g.cells.push_back(c);
            } else if (kind != "dataTable" && !text.empty() && hasValue(c) && reach.formula(text, &names)) {
                toValue(c);
                ++report.formulas;
            }
        }
    }
    for (auto& [si, g] : shared) {
        if (!g.outside || !g.cached)
            continue;
        for (auto c : g.cells)
            toValue(c);
        report.formulas += g.cells.size();
    }
}

// True when a formula below `e` reaches outside.
bool anyFormulaOutside(pugi::xml_node e, OutsideReach& reach, std::set<std::string>& names)
{
    bool out = false;
    walkElements(e, [&](pugi::xml_node n) {
        const auto ln = localName(n);
        if (ln == "formula" || ln == "formula1" || ln == "formula2" || ln == "f")
            out = reach.formula(n.text().get(), &names) || out;
    });
    return out;
}

std::size_t elementsNamed(pugi::xml_node parent, std::string_view local)
{
    std::size_t n = 0;
    for (auto c = parent.first_child(); c; c = c.next_sibling())
        n += c.type() == pugi::node_element && (local.empty() || localName(c) == local);
    return n;
}

// Removes `e`, one of the `member` elements of its parent. A parent left
// without members goes too, and so do the containers that leaves empty
// (an x14 extension's <ext>, <extLst>).
void removeMember(pugi::xml_node e, std::string_view member)
{
    auto parent = e.parent();
    parent.remove_child(e);
    if (const std::size_t n = elementsNamed(parent, member)) {
        if (auto count = parent.attribute("count"))
            count.set_value(std::to_string(n).c_str());
        return;
    }
    for (auto node = parent;;) {
        auto up = node.parent();
        up.remove_child(node);
        if (up.parent().type() == pugi::node_document || elementsNamed(up, {}) != 0)
            return;
        node = up;
    }
}

}  // namespace

void keepValuesOnly(pugi::xml_node worksheet, OutsideReach& reach, ValuesReport& report, std::set<std::string>& names)
{
    std::vector<pugi::xml_node> validations, rules;
    for (auto e = worksheet.first_child(); e; e = e.next_sibling()) {
        if (e.type() != pugi::node_element)
            continue;
        if (localName(e) == "sheetData") {
            convertCells(e, reach, report, names);
            continue;
        }
        walkElements(e, [&](pugi::xml_node n) {
            const auto ln = localName(n);
            if (ln == "dataValidation")
                validations.push_back(n);
            else if (ln == "cfRule")
                rules.push_back(n);
        });
    }
    for (auto v : validations) {
        if (anyFormulaOutside(v, reach, names)) {
            removeMember(v, "dataValidation");
            ++report.validations;
        }
    }
    for (auto r : rules) {
        if (anyFormulaOutside(r, reach, names)) {
            removeMember(r, "cfRule");
            ++report.conditionalFormats;
        }
    }
}

bool chartValuesOnly(pugi::xml_node chart, OutsideReach& reach, ValuesReport& report, std::set<std::string>& names)
{
    std::vector<pugi::xml_node> refs;
    walkElements(chart, [&](pugi::xml_node e) {
        const auto ln = localName(e.parent());
        if (localName(e) == "f" && (ln == "numRef" || ln == "strRef"))
            refs.push_back(e);
    });
    bool changed = false;
    for (auto f : refs) {
        auto ref = f.parent();
        const bool numbers = localName(ref) == "numRef";
        auto cache = child(ref, numbers ? "numCache" : "strCache");
        auto holder = ref.parent();
        const bool seriesName = localName(holder) == "tx" && localName(holder.parent()) == "ser";
        if (!cache || (localName(holder) == "tx" && !seriesName) || !reach.formula(f.text().get(), &names))
            continue;
        const std::string p = prefixOf(ref);
        if (seriesName) {
            const std::string text = child(child(cache, "pt"), "v").text().get();
            auto v = holder.insert_child_before((p + "v").c_str(), ref);
            v.text().set(text.c_str());
            holder.remove_child(ref);
        } else {
            ref.set_name((p + (numbers ? "numLit" : "strLit")).c_str());
            ref.remove_child(f);
            while (auto c = cache.first_child())
                ref.insert_move_before(c, cache);
            ref.remove_child(cache);
        }
        ++report.formulas;
        changed = true;
    }
    return changed;
}

}  // namespace excel::ooxml
