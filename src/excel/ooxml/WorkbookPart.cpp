#include "WorkbookPart.h"

#include "ReferenceExternalizer.h"
#include "Xml.h"

#include <vector>

namespace excel::ooxml {

namespace {

constexpr const char* kRelNs = "http://schemas.openxmlformats.org/officeDocument/2006/relationships";

// The prefix bound to the relationships namespace on the root, declared as
// "r" when the source has none.
std::string relPrefix(pugi::xml_node root)
{
    for (auto a = root.first_attribute(); a; a = a.next_attribute()) {
        const std::string_view n = a.name();
        if (n.rfind("xmlns:", 0) == 0 && std::string_view(a.value()) == kRelNs)
            return std::string(n.substr(6));
    }
    root.append_attribute("xmlns:r").set_value(kRelNs);
    return "r";
}

}  // namespace

void rewriteWorkbookPart(pugi::xml_document& doc, const WorkbookRewrite& how)
{
    auto root = doc.document_element();
    std::string wbPrefix;
    if (const std::string_view n = root.name(); n.find(':') != std::string_view::npos)
        wbPrefix = std::string(n.substr(0, n.find(':') + 1));

    // The one sheet, visible.
    if (auto sheets = child(root, "sheets")) {
        for (auto s = sheets.first_child(); s;) {
            auto next = s.next_sibling();
            if (s.type() == pugi::node_element) {
                auto rid = relId(s);
                if (!rid || rid.value() != how.sheetRelId)
                    sheets.remove_child(s);
                else
                    s.remove_attribute("state");
            }
            s = next;
        }
    }
    if (auto views = child(root, "bookViews")) {
        for (auto v = views.first_child(); v; v = v.next_sibling()) {
            v.remove_attribute("activeTab");
            v.remove_attribute("firstSheet");
        }
    }

    // Names: the sheet's own, re-scoped; workbook names it uses; no others.
    auto names = child(root, "definedNames");
    std::set<std::string> ownLocal;
    std::vector<pugi::xml_node> globals;
    if (names) {
        const std::string pos = std::to_string(how.sheetPosition);
        for (auto d = names.first_child(); d;) {
            auto next = d.next_sibling();
            if (d.type() == pugi::node_element) {
                if (auto ls = d.attribute("localSheetId")) {
                    if (std::string_view(ls.value()) == pos) {
                        // A dropped one still hides the workbook's name of that name.
                        ownLocal.insert(foldName(d.attribute("name").value()));
                        ls.set_value("0");
                        if (how.dropName && how.dropName(d))
                            names.remove_child(d);
                        else
                            how.rewriteFormula(d);
                    } else {
                        names.remove_child(d);
                    }
                } else {
                    globals.push_back(d);
                }
            }
            d = next;
        }
        std::vector<bool> keep(globals.size(), false);
        for (bool grew = true; grew;) {
            grew = false;
            for (std::size_t i = 0; i < globals.size(); ++i) {
                const std::string n = foldName(globals[i].attribute("name").value());
                if (keep[i] || ownLocal.count(n) || !how.nameUsed(n))
                    continue;
                keep[i] = true;
                if (how.dropName && how.dropName(globals[i])) {
                    names.remove_child(globals[i]);
                    globals[i] = pugi::xml_node();
                    continue;
                }
                grew = true;
                how.rewriteFormula(globals[i]);
            }
        }
        for (std::size_t i = 0; i < globals.size(); ++i) {
            if (!keep[i] && globals[i])
                names.remove_child(globals[i]);
        }
    }

    // The link to the source, when formulas reach its other sheets.
    const std::string linkRelId = how.linkRelId();
    if (!linkRelId.empty()) {
        auto refs = child(root, "externalReferences");
        if (!refs) {
            pugi::xml_node before;
            for (auto c = root.first_child(); c; c = c.next_sibling()) {
                const auto ln = localName(c);
                if (ln == "definedNames" || ln == "calcPr" || ln == "oleSize" || ln == "customWorkbookViews" ||
                    ln == "pivotCaches" || ln == "smartTagPr" || ln == "smartTagTypes" || ln == "webPublishing" ||
                    ln == "fileRecoveryPr" || ln == "webPublishObjects" || ln == "extLst") {
                    before = c;
                    break;
                }
            }
            const std::string tag = wbPrefix + "externalReferences";
            refs = before ? root.insert_child_before(tag.c_str(), before) : root.append_child(tag.c_str());
        }
        auto r = refs.append_child((wbPrefix + "externalReference").c_str());
        r.append_attribute((relPrefix(root) + ":id").c_str()).set_value(linkRelId.c_str());
    }

    // Anything that names a relationship the copy no longer has goes.
    std::set<std::string> keptIds = how.keptRelIds;
    if (!linkRelId.empty())
        keptIds.insert(linkRelId);
    std::vector<pugi::xml_node> drop;
    walkElements(root, [&](pugi::xml_node e) {
        if (auto a = relId(e); a && !keptIds.count(a.value()))
            drop.push_back(e);
    });
    for (auto e : drop) {
        auto parent = e.parent();
        parent.remove_child(e);
        // Containers left empty go too: <pivotCaches/>, <x14:slicerCaches/>, their <ext>.
        while (parent && parent != root && !parent.first_child()) {
            auto up = parent.parent();
            up.remove_child(parent);
            parent = up;
        }
    }
    if (names && !names.first_child())
        root.remove_child(names);
}

}  // namespace excel::ooxml
