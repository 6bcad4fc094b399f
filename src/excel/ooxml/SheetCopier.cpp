#include "SheetCopier.h"

#include "AppProperties.h"
#include "ExternalLinkPart.h"
#include "PartName.h"
#include "ReferenceExternalizer.h"
#include "SharedStrings.h"
#include "SourceTables.h"
#include "ValuesOnly.h"
#include "WorkbookPart.h"
#include "Xml.h"
#include "excel/EngineError.h"
#include "excel/formula/CellRange.h"
#include "platform/sys/AsciiCase.h"

#include <algorithm>
#include <charconv>
#include <map>
#include <optional>
#include <set>
#include <tuple>

namespace excel::ooxml {

namespace {

bool isSheetKind(std::string_view k)
{
    return k == "worksheet" || k == "chartsheet" || k == "dialogsheet" || k == "xlMacrosheet" ||
           k == "xlIntlMacrosheet";
}

// Elements whose text is a formula, in sheet, chart and drawing parts.
bool isFormulaElement(std::string_view local)
{
    return local == "f" || local == "formula" || local == "formula1" || local == "formula2";
}

// Attributes that hold a formula (form controls, linked shapes).
bool isFormulaAttribute(std::string_view local)
{
    return local == "fmlaLink" || local == "fmlaRange" || local == "fmlaTxbx" || local == "fmlaGroup" ||
           local == "textlink";
}

std::string rootAttr(const SourcePackage& src, const std::string& part, const char* attr)
{
    auto doc = parseXml(src.read(part), src.file(), part);
    return doc->document_element().attribute(attr).value();
}

class Copier {
public:
    Copier(const std::shared_ptr<const SourcePackage>& src, std::size_t worksheet, const CopySource& from)
        : srcPtr_(src), src_(*src), from_(from), out_(src)
    {
        sheetPos_ = src_.worksheets().at(worksheet);
        sheet_ = &src_.sheets()[sheetPos_];
        for (const auto& s : src_.sheets()) {
            if (s.part != sheet_->part)
                excluded_.insert(tb::foldAscii(s.part));
        }
        excluded_.insert(tb::foldAscii(src_.workbookPart()));
    }

    ValuesReport report() const { return report_; }

    OutputPackage run()
    {
        collect(sheet_->part);
        chooseWorkbookRels();
        choosePackageRels();
        loadSharedStrings();

        std::set<std::string> ownTables;
        for (const auto& p : closure_) {
            if (src_.contentTypes().typeOf(p).find("spreadsheetml.table+xml") != std::string::npos) {
                auto doc = parseXml(src_.read(p), src_.file(), p);
                for (const char* a : {"name", "displayName"}) {
                    if (auto v = doc->document_element().attribute(a))
                        ownTables.insert(v.value());
                }
            }
        }
        std::vector<std::string> allNames;
        for (const auto& s : src_.sheets())
            allNames.push_back(s.name);
        auto wbDoc = parseXml(src_.workbookXml(), src_.file(), src_.workbookPart());
        int existingLinks = 0;
        if (auto refs = child(wbDoc->document_element(), "externalReferences")) {
            for (auto r = refs.first_child(); r; r = r.next_sibling()) {
                if (r.type() == pugi::node_element)
                    ++existingLinks;
            }
        }
        ex_ = std::make_unique<ReferenceExternalizer>(allNames, sheet_->name, ownTables, existingLinks + 1,
                                                      [this](const std::string& folded) { return table(folded); });
        if (from_.valuesOnly)
            reach_ = std::make_unique<OutsideReach>(allNames, sheet_->name, ownTables, namesOf(*wbDoc));

        rewriteSheet();
        rewriteOtherParts();
        rewriteWorkbook(*wbDoc);
        assemble(*wbDoc);
        return std::move(out_);
    }

private:
    // ---- which parts go into the copy
    void collect(const std::string& start)
    {
        std::vector<std::string> todo{start};
        while (!todo.empty()) {
            const std::string part = todo.back();
            todo.pop_back();
            if (!closureSet_.insert(tb::foldAscii(part)).second)
                continue;
            closure_.push_back(part);
            for (const auto& r : src_.relsOf(part)) {
                if (r.external || r.target.rfind('#', 0) == 0)
                    continue;
                if (r.part.empty())
                    throw damaged(src_.file(), "part '" + relsPartOf(part) + "'",
                                  "the relationship '" + r.id + "' points outside the package");
                if (excluded_.count(tb::foldAscii(r.part)))
                    continue;
                if (!src_.has(r.part))
                    throw damaged(src_.file(), "part '" + relsPartOf(part) + "'",
                                  "the relationship '" + r.id + "' points at the missing part '" + r.part + "'");
                todo.push_back(r.part);
            }
        }
    }

    bool inClosure(const std::string& part) const { return closureSet_.count(tb::foldAscii(part)) != 0; }

    void chooseWorkbookRels()
    {
        // Slicers and timelines name their caches; the caches hang off the workbook.
        std::set<std::string> cachesUsed;
        for (const auto& p : closure_) {
            const auto type = src_.contentTypes().typeOf(p);
            if (type.find("slicer+xml") != std::string::npos || type.find("timeline+xml") != std::string::npos) {
                auto doc = parseXml(src_.read(p), src_.file(), p);
                for (auto c = doc->document_element().first_child(); c; c = c.next_sibling()) {
                    if (auto a = c.attribute("cache"))
                        cachesUsed.insert(a.value());
                }
            }
        }
        for (const auto& r : src_.workbookRels()) {
            const auto kind = relKind(r.type);
            bool keep = true;
            if (r.external) {
                keep = true;
            } else if (isSheetKind(kind)) {
                keep = r.id == sheet_->relId;
            } else if (kind == "calcChain" || kind == "vbaProject") {
                keep = false;
            } else if (kind == "pivotCacheDefinition") {
                keep = inClosure(r.part);
            } else if (kind == "slicerCache" || kind == "timelineCache") {
                keep = src_.has(r.part) && cachesUsed.count(rootAttr(src_, r.part, "name"));
            } else if (kind == "sharedStrings") {
                sstPart_ = r.part;
            }
            if (!keep)
                continue;
            if (!r.external && !isSheetKind(kind) && !src_.has(r.part)) {
                // Connections, a theme, even the strings: the copy does
                // without a part that is not there (its cells read as empty).
                src_.repaired("the workbook's relationship '" + r.id + "' names the missing part '" + r.part +
                              "'; it is left out");
                if (kind == "sharedStrings")
                    sstPart_.clear();
                continue;
            }
            wbRels_.push_back(r);
            if (!r.external && !isSheetKind(kind) && kind != "sharedStrings")
                collect(r.part);
        }
    }

    void choosePackageRels()
    {
        for (const auto& r : src_.packageRels()) {
            const auto kind = relKind(r.type);
            if (kind == "extensibility" || kind == "origin") {  // ribbon customisation, signatures
                packageRelsChanged_ = true;
                continue;
            }
            pkgRels_.push_back(r);
            if (r.external || kind == "officeDocument")
                continue;
            if (!src_.has(r.part)) {
                packageRelsChanged_ = true;
                pkgRels_.pop_back();
                continue;
            }
            if (kind == "extended-properties")
                appPart_ = r.part;
            collect(r.part);
        }
    }

    // ---- shared strings
    void loadSharedStrings()
    {
        if (!sstPart_.empty())
            sst_ = src_.sharedStrings(sstPart_);
    }

    // The workbook's names and the copied sheet's own, for a copy that keeps values only.
    std::vector<DefinedNameText> namesOf(pugi::xml_document& wb) const
    {
        std::vector<DefinedNameText> out;
        const std::string pos = std::to_string(sheetPos_);
        for (auto d = child(child(wb.document_element(), "definedNames"), "definedName"); d; d = d.next_sibling()) {
            const auto ls = d.attribute("localSheetId");
            if (d.type() == pugi::node_element && (!ls || std::string_view(ls.value()) == pos))
                out.push_back({d.attribute("name").value(), d.text().get(), static_cast<bool>(ls)});
        }
        return out;
    }

    // ---- tables of other sheets, read when a formula first names one
    const TableOnSheet* table(const std::string& folded)
    {
        if (!tables_)
            tables_ = readSourceTables(src_);
        const auto it = tables_->find(folded);
        return it == tables_->end() ? nullptr : &it->second;
    }

    // ---- the sheet part
    std::string rewriteFormula(const std::string& text, bool& changed, std::uint32_t row = 0)
    {
        return ex_->rewrite(text, changed, row);
    }

    void rewriteSheet()
    {
        const std::string& part = sheet_->part;
        auto doc = src_.parsed(part);
        auto root = doc->document_element();
        if (reach_)
            keepValuesOnly(root, *reach_, report_, valuesNames_);
        auto visit = [&](pugi::xml_node e) {
            const auto ln = localName(e);
            if (ln == "c") {
                rewriteCell(e, part);
            } else if (ln == "sheetView") {
                if (auto a = e.attribute("tabSelected"))
                    a.set_value("1");
                else
                    e.append_attribute("tabSelected").set_value("1");
            } else if (isFormulaElement(ln)) {
                rewriteText(e);
            }
        };
        // The cells take nearly all of a big sheet: sheetData, its rows and
        // their cells are walked directly, which skips the values' text
        // nodes; everything else goes through the general walk, in document
        // order all along.
        auto visitTree = [&](pugi::xml_node e) {
            visit(e);
            walkElements(e, visit);
        };
        auto eachElement = [&](pugi::xml_node parent, std::string_view local, auto&& onMatch) {
            for (auto e = parent.first_child(); e; e = e.next_sibling()) {
                if (e.type() != pugi::node_element)
                    continue;
                if (localName(e) == local)
                    onMatch(e);
                else
                    visitTree(e);
            }
        };
        eachElement(root, "sheetData", [&](pugi::xml_node data) {
            eachElement(data, "row", [&](pugi::xml_node row) {
                eachElement(row, "c", [&](pugi::xml_node c) {
                    rewriteCell(c, part);
                    for (auto in = c.first_child(); in; in = in.next_sibling()) {
                        if (in.type() != pugi::node_element)
                            continue;
                        const auto ln = localName(in);
                        if (isFormulaElement(ln))
                            rewriteText(in);
                        else if (ln != "v")
                            visitTree(in);
                    }
                });
            });
        });
        if (!child(root, "sheetViews")) {
            // A sheet without views gets the one a new workbook has, selected.
            std::string prefix;
            if (const std::string_view n = root.name(); n.find(':') != std::string_view::npos)
                prefix = std::string(n.substr(0, n.find(':') + 1));
            pugi::xml_node before;
            for (auto c = root.first_child(); c && !before; c = c.next_sibling()) {
                const auto ln = localName(c);
                if (ln != "sheetPr" && ln != "dimension" && c.type() == pugi::node_element)
                    before = c;
            }
            const std::string tag = prefix + "sheetViews";
            auto views = before ? root.insert_child_before(tag.c_str(), before) : root.append_child(tag.c_str());
            auto view = views.append_child((prefix + "sheetView").c_str());
            view.append_attribute("tabSelected").set_value("1");
            view.append_attribute("workbookViewId").set_value("0");
        }
        out_sheet_ = serializeXml(*doc);
    }

    // A shared-string cell's index moves to the copy's table.
    void rewriteCell(pugi::xml_node c, const std::string& /*part*/)
    {
        if (std::string_view(c.attribute("t").value()) != "s")
            return;
        auto v = child(c, "v");
        if (!v)
            return;
        const std::string_view txt = v.text().get();
        std::size_t idx = 0;
        const auto res = std::from_chars(txt.data(), txt.data() + txt.size(), idx);
        if (res.ec != std::errc() || res.ptr != txt.data() + txt.size() || !sst_ || idx >= sst_->size()) {
            // As LibreOffice reads it: a blank cell that keeps its format.
            c.remove_attribute("t");
            c.remove_child(v);
            src_.repaired("cells name shared strings the table does not hold (an empty index or one past its "
                          "end); they read as empty");
            return;
        }
        v.text().set(std::to_string(strings_.map(idx)).c_str());
    }

    bool rewriteText(pugi::xml_node e)
    {
        const std::string text = e.text().get();
        if (text.empty())
            return false;
        bool changed = false;
        std::string n = rewriteFormula(text, changed, formulaRow(e));
        if (changed)
            e.text().set(n.c_str());
        return changed;
    }

    // The row a formula is computed in: its cell's, or the first of the
    // cells a validation or a conditional format applies to.
    static std::uint32_t formulaRow(pugi::xml_node e)
    {
        for (auto n = e.parent(); n; n = n.parent()) {
            const auto ln = localName(n);
            const char* at = ln == "c" ? n.attribute("r").value() : n.attribute("sqref").value();
            if (ln == "c" || ln == "dataValidation" || ln == "conditionalFormatting") {
                std::string_view first = at;
                first = first.substr(0, first.find_first_of(" :"));
                const auto cell = formula::parseCell(first);
                return cell ? cell->row : 0;
            }
            if (ln == "sheetData" || ln == "worksheet")
                break;
        }
        return 0;
    }

    // ---- charts, drawings and control properties that hold formulas
    void rewriteOtherParts()
    {
        for (const auto& p : closure_) {
            if (p == sheet_->part)
                continue;
            const std::string type = src_.contentTypes().typeOf(p);
            const bool chart = type.find("drawingml.chart") != std::string::npos ||
                               type.find("chartex") != std::string::npos;
            const bool drawing = type.find("drawing+xml") != std::string::npos;
            const bool ctrl = type.find("controlproperties") != std::string::npos;
            if (!chart && !drawing && !ctrl)
                continue;
            auto doc = parseXml(src_.read(p), src_.file(), p);
            bool changed = chart && reach_ && chartValuesOnly(doc->document_element(), *reach_, report_, valuesNames_);
            walkElements(doc->document_element(), [&](pugi::xml_node e) {
                if (chart && localName(e) == "f")
                    changed = rewriteText(e) || changed;
                for (auto a = e.first_attribute(); a; a = a.next_attribute()) {
                    if (!isFormulaAttribute(localName(a)) || !*a.value())
                        continue;
                    bool c = false;
                    std::string n = rewriteFormula(a.value(), c);
                    if (c) {
                        a.set_value(n.c_str());
                        changed = true;
                    }
                }
            });
            if (changed)
                rewritten_[p] = serializeXml(*doc);
        }
    }

    // ---- workbook.xml
    void rewriteWorkbook(pugi::xml_document& doc)
    {
        WorkbookRewrite how;
        how.sheetRelId = sheet_->relId;
        how.sheetPosition = sheetPos_;
        for (const auto& r : wbRels_)
            how.keptRelIds.insert(r.id);
        how.rewriteFormula = [this](pugi::xml_node e) { return rewriteText(e); };
        how.nameUsed = [this](const std::string& folded) {
            return ex_->namesUsed().count(folded) != 0 || (valuesNames_.count(folded) && reach_->name(folded));
        };
        if (reach_) {
            how.dropName = [this](pugi::xml_node d) {
                const std::string folded = foldName(d.attribute("name").value());
                const bool drop = reach_->name(folded) && !ex_->namesUsed().count(folded);
                report_.names += drop;
                return drop;
            };
        }
        how.linkRelId = [this]() {
            if (ex_->anyExternalized() && linkRelId_.empty())
                linkRelId_ = freshRelId();
            return linkRelId_;
        };
        rewriteWorkbookPart(doc, how);
    }

    std::string freshRelId()
    {
        std::set<std::string> used;
        for (const auto& r : src_.workbookRels())
            used.insert(r.id);
        for (int i = static_cast<int>(used.size()) + 1;; ++i) {
            std::string id = "rId" + std::to_string(i);
            if (!used.count(id))
                return id;
        }
    }

    // ---- cached values of the cells the copy reads on other sheets
    std::optional<CachedCell> cachedValue(pugi::xml_node c) const
    {
        CachedCell cell;
        cell.ref = c.attribute("r").value();
        const std::string_view t = c.attribute("t").value();
        auto v = child(c, "v");
        if (t == "s") {
            std::size_t i = 0;
            const std::string_view txt = v.text().get();
            const auto res = std::from_chars(txt.data(), txt.data() + txt.size(), i);
            if (!v || res.ec != std::errc() || !sst_ || i >= sst_->size())
                return std::nullopt;
            cell.type = "str";
            cell.value = sst_->text(i);
        } else if (t == "inlineStr") {
            std::string text;
            walkElements(child(c, "is"), [&](pugi::xml_node e) {
                if (localName(e) == "t" && localName(e.parent()) != "rPh")
                    text += e.text().get();
            });
            cell.type = "str";
            cell.value = text;
        } else {
            if (!v)
                return std::nullopt;
            cell.value = v.text().get();
            if (t == "str")
                cell.type = "str";
            else if (t == "b" || t == "e")
                cell.type = std::string(t);
        }
        return cell;
    }

    ExternalBookCache buildCache()
    {
        ExternalBookCache cache;
        for (const auto& s : src_.sheets())
            cache.sheetNames.push_back(s.name);
        for (const auto& [idx, ranges] : ex_->rangesRead()) {
            auto& cells = cache.cells[idx];
            const auto& s = src_.sheets()[idx];
            if (!s.isWorksheet() || !src_.has(s.part))
                continue;
            auto doc = src_.parsed(s.part);
            auto data = child(doc->document_element(), "sheetData");
            // The sheet's cells by position, so that each distinct range costs
            // what it covers, not a pass over the sheet.
            using Pos = std::pair<std::uint64_t, pugi::xml_node>;
            std::vector<Pos> byPos;
            for (auto row = data.first_child(); row; row = row.next_sibling()) {
                for (auto c = row.first_child(); c; c = c.next_sibling()) {
                    if (c.type() != pugi::node_element || localName(c) != "c")
                        continue;
                    if (const auto addr = formula::parseCell(c.attribute("r").value()))
                        byPos.emplace_back((std::uint64_t{addr->row} << 16) | addr->col, c);
                }
            }
            const auto before = [](const Pos& p, std::uint64_t key) { return p.first < key; };
            if (!std::is_sorted(byPos.begin(), byPos.end(), [](const Pos& a, const Pos& b) { return a.first < b.first; }))
                std::stable_sort(byPos.begin(), byPos.end(), [](const Pos& a, const Pos& b) { return a.first < b.first; });
            auto seek = [&](std::uint64_t key) { return std::lower_bound(byPos.begin(), byPos.end(), key, before); };
            std::set<std::tuple<std::uint32_t, std::uint32_t, std::uint32_t, std::uint32_t>> distinct;
            for (const auto& r : ranges)
                distinct.emplace(r.first.row, r.first.col, r.last.row, r.last.col);
            for (const auto& [r1, c1, r2, c2] : distinct) {
                auto it = seek((std::uint64_t{r1} << 16) | c1);
                while (it != byPos.end()) {
                    const std::uint64_t row = it->first >> 16;
                    const std::uint64_t col = it->first & 0xFFFF;
                    if (row > r2)
                        break;
                    if (col < c1) {
                        it = seek((row << 16) | c1);
                        continue;
                    }
                    if (col > c2) {
                        it = seek(((row + 1) << 16) | c1);
                        continue;
                    }
                    if (!cells.count(it->first)) {
                        if (auto cell = cachedValue(it->second))
                            cells.emplace(it->first, std::move(*cell));
                    }
                    ++it;
                }
            }
            src_.keepParsed(s.part, std::move(doc));
        }
        return cache;
    }

    // ---- the package
    void addPartWithRels(const std::string& part)
    {
        if (auto it = rewritten_.find(part); it != rewritten_.end())
            out_.addText(part, it->second);
        else
            out_.addStored(part, *src_.zip().find(part));
        const auto& rels = src_.relsOf(part);
        if (rels.empty())
            return;
        std::vector<Relationship> kept;
        for (const auto& r : rels) {
            if (r.external || r.target.rfind('#', 0) == 0 || inClosure(r.part))
                kept.push_back(r);
        }
        const std::string rp = relsPartOf(part);
        if (kept.size() == rels.size() && src_.relsIntact(part))
            out_.addStored(rp, *src_.zip().find(rp));
        else
            out_.addText(rp, writeRelationships(kept));
    }

    void assemble(pugi::xml_document& wbDoc)
    {
        ContentTypes types = src_.contentTypes();
        types.setOverride(src_.workbookPart(), ctype::kWorkbook);
        rewritten_[sheet_->part] = std::move(out_sheet_);
        if (!appPart_.empty())
            rewritten_[appPart_] = rewriteAppProperties(src_.read(appPart_), sheet_->name, src_.file(), appPart_);

        std::string pkgRelsText;
        if (packageRelsChanged_ || !src_.has("_rels/.rels"))
            pkgRelsText = writeRelationships(pkgRels_);

        // The external link.
        std::string linkPart;
        if (!linkRelId_.empty()) {
            for (int i = 1;; ++i) {
                const std::string folder = folderOf(src_.workbookPart());
                linkPart = (folder.empty() ? "" : folder + "/") + "externalLinks/externalLink" + std::to_string(i) + ".xml";
                if (!src_.has(linkPart))
                    break;
            }
            Relationship r;
            r.id = linkRelId_;
            r.type = reltype::kExternalLink;
            r.target = relativeTarget(src_.workbookPart(), linkPart);
            r.part = linkPart;
            wbRels_.push_back(r);
            types.setOverride(linkPart, ctype::kExternalLink);
        }

        // Order: package rels, workbook, its rels, the rest; the content
        // types go first once every name is known.
        if (pkgRelsText.empty())
            out_.addStored("_rels/.rels", *src_.zip().find("_rels/.rels"));
        else
            out_.addText("_rels/.rels", pkgRelsText);
        out_.addText(src_.workbookPart(), serializeXml(wbDoc));
        out_.addText(relsPartOf(src_.workbookPart()), writeRelationships(wbRels_));
        if (!sstPart_.empty())
            out_.addText(sstPart_, sst_ ? sst_->writePruned(strings_.order(), strings_.references()) : std::string());
        if (!linkPart.empty()) {
            out_.addText(linkPart, writeExternalLinkPart(buildCache()));
            Relationship path;
            path.id = "rId1";
            path.type = reltype::kExternalLinkPath;
            path.target = fileUri(from_.fullName);
            path.external = true;
            out_.addText(relsPartOf(linkPart), writeRelationships({path}));
        }
        for (const auto& p : closure_) {
            if (tb::foldAscii(p) != tb::foldAscii(sstPart_))
                addPartWithRels(p);
        }

        // No macro type stays behind: parts that took the VBA default (printer
        // settings share the .bin extension) get a type of their own.
        std::vector<std::pair<std::string, std::string>> typed;
        for (const auto& n : out_.names())
            typed.emplace_back(n, types.typeOf(n));
        types.dropDefaultsOfType(ctype::kVbaProject);
        for (const auto& [n, t] : typed) {
            if (types.typeOf(n).empty() && !t.empty())
                types.setOverride(n, t == ctype::kVbaProject ? ctype::kPrinterSettings : t);
        }
        out_.addTextFront("[Content_Types].xml", types.write(out_.names()));
    }

    std::shared_ptr<const SourcePackage> srcPtr_;
    const SourcePackage& src_;
    CopySource from_;
    OutputPackage out_;
    std::size_t sheetPos_ = 0;
    const SheetEntry* sheet_ = nullptr;
    std::set<std::string> excluded_;
    std::vector<std::string> closure_;
    std::set<std::string> closureSet_;
    std::vector<Relationship> wbRels_;
    std::vector<Relationship> pkgRels_;
    bool packageRelsChanged_ = false;
    std::string sstPart_;
    std::string appPart_;
    std::shared_ptr<const SharedStrings> sst_;
    StringRenumbering strings_;
    std::unique_ptr<ReferenceExternalizer> ex_;
    std::string out_sheet_;
    std::map<std::string, std::string> rewritten_;
    std::string linkRelId_;
    std::optional<std::map<std::string, TableOnSheet>> tables_;
    std::unique_ptr<OutsideReach> reach_;  // for a copy that keeps values only
    std::set<std::string> valuesNames_;    // names the formulas written as values used
    ValuesReport report_;
};

}  // namespace

OutputPackage copyWorksheetPackage(const std::shared_ptr<const SourcePackage>& source, std::size_t worksheet,
                                   const CopySource& from, ValuesReport* report)
{
    Copier copier(source, worksheet, from);
    OutputPackage out = copier.run();
    if (report)
        *report = copier.report();
    return out;
}

}  // namespace excel::ooxml
