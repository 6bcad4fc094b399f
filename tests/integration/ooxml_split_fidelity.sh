#!/bin/bash
# Splits every workbook of tests/data/xlsx with tamberlin-split and checks each
# output with an independent reader (Debian's python3-openpyxl): one sheet of
# the right name, the same cell values, formulas (references to the source's
# other sheets may have become external references to the source), merged
# ranges, column widths and number formats, and the same number of images,
# charts, comments, tables and validations in the package.
set -euo pipefail
: "${TB_BUILD_DIR:?}" "${TB_TEST_DATA:?}"
py=/usr/bin/python3
[ -x "$py" ] || py=python3
if ! "$py" -c 'import openpyxl' 2>/dev/null; then
  echo "skipped: python3-openpyxl is not installed"
  exit 0
fi
out="$(mktemp -d "${TMPDIR:-/tmp}/tb-ooxml-split.XXXXXX")"
trap 'rm -rf "$out"' EXIT
shopt -s nullglob
books=("$TB_TEST_DATA"/xlsx/*.xlsx "$TB_TEST_DATA"/xlsx/*.xlsm)
[ ${#books[@]} -ge 66 ] || { echo "expected at least 66 sample workbooks, found ${#books[@]}"; exit 1; }

. "${TB_SOURCE_DIR:?}/tests/support/source_guard.sh"
guard_sources "${books[@]}"
"$TB_BUILD_DIR/tamberlin-split" -o "$out" "${books[@]}" > "$out/written.txt"
"$py" - "$out" "${books[@]}" <<'PY'
import io, os, re, sys, zipfile, posixpath, urllib.parse, warnings
warnings.filterwarnings("ignore")
import openpyxl
import openpyxl.reader.excel as rx
from openpyxl.formula.tokenizer import Tokenizer
from openpyxl.worksheet.worksheet import Worksheet

strict_find_images = rx.find_images
def tolerant_find_images(archive, path):
    # openpyxl 3.0 cannot map some of Excel's own chart XML; drawings are
    # counted from the package below instead.
    try:
        return strict_find_images(archive, path)
    except Exception:
        return [], []
rx.find_images = tolerant_find_images

out = sys.argv[1]
written = set(open(os.path.join(out, "written.txt")).read().splitlines())
problems = []
checked = 0
externalized = 0

def load(path, data_only):
    with open(path, "rb") as fh:
        return openpyxl.load_workbook(io.BytesIO(fh.read()), data_only=data_only, keep_links=True)

def short_name(base):
    s = base[:-4] if len(base) >= 4 else ""
    return s.rstrip(". ")

def unquote(p):
    return p[1:-1].replace("''", "'") if p.startswith("'") else p

def col_letters(n):
    s = ""
    while n:
        n, r = divmod(n - 1, 26)
        s = chr(65 + r) + s
    return s

def source_tables(book):
    """Table name (lower case) -> (sheet, first row, first col, last row, last col, headers, totals, columns)."""
    from openpyxl.utils.cell import range_boundaries
    out = {}
    for ws in book.worksheets:
        for t in getattr(ws, "tables", {}).values():
            c0, r0, c1, r1 = range_boundaries(t.ref)
            h = 1 if t.headerRowCount is None else int(t.headerRowCount)
            out[t.displayName.lower()] = (ws.title, r0, c0, r1, c1, h, int(t.totalsRowCount or 0),
                                          [c.name.lower() for c in t.tableColumns])
    return out

def table_range(v, tables, own, row):
    """'Tbl[Col]' on another sheet -> 'SHEET!$B$2:$B$9' (the copy writes its range); None otherwise."""
    name, _, selector = v.partition("[")
    t = tables.get(name.lower())
    if t is None or t[0] == own:
        return None
    sheet, r0, c0, r1, c1, h, tot, cols = t
    body = selector[:-1]
    this_row = body.startswith("@")
    body = body[1:] if this_row else body
    items = re.findall(r"\[((?:[^\[\]']|'.)*)\]", body) if body.startswith("[") else ([body] if body else [])
    items = [re.sub(r"'(.)", r"\1", i.strip()) for i in items] + (["#this row"] if this_row else [])
    special = {i.lower() for i in items if i.startswith("#")}
    names = [i.lower() for i in items if i and not i.startswith("#")]
    top, bottom = r0 + h, r1 - tot
    if special == {"#all"}: top, bottom = r0, r1
    elif special == {"#headers"}: bottom = top = r0
    elif special == {"#totals"}: top = bottom = r1
    elif special == {"#headers", "#data"}: top = r0
    elif special == {"#data", "#totals"}: bottom = r1
    elif special == {"#this row"}: top = bottom = row
    first, last = c0, c1
    if names:
        idx = [cols.index(n) for n in names]
        first, last = c0 + min(idx), c0 + max(idx)
    rr = "" if "#this row" in special else "$"
    a = "$%s%s%d" % (col_letters(first), rr, top)
    b = "$%s%s%d" % (col_letters(last), rr, bottom)
    return "%s!%s" % (sheet.upper(), a if a == b else a + ":" + b)

def canon(formula, link_index, tables=None, own=None, row=0):
    """References to the source through link `link_index` read as internal ones;
    sheet prefixes are unquoted so that quoting style does not matter; with
    `tables`, structured references to other sheets' tables read as their ranges."""
    try:
        items = Tokenizer(formula if formula.startswith("=") else "=" + formula).items
    except Exception:
        return formula
    parts = []
    for t in items:
        v = t.value
        if t.type == "OPERAND" and t.subtype == "RANGE":
            if tables and "[" in v and "!" not in v and not v.startswith("["):
                v = table_range(v, tables, own, row) or v
            if link_index and v.startswith("[%d]!" % link_index):
                v = v[len("[%d]!" % link_index):]
            if "!" in v:
                prefix, local = v.rsplit("!", 1) if not v.startswith("'") else (v[:v.index("'!") + 1], v[v.index("'!") + 2:])
                prefix = unquote(prefix)
                if link_index and prefix.startswith("[%d]" % link_index):
                    prefix = prefix[len("[%d]" % link_index):]
                v = prefix.upper() + "!" + local.upper()
        if t.type != "WHITE-SPACE":
            parts.append(v)
    return "".join(parts)

import xml.etree.ElementTree as ET
M = "{http://schemas.openxmlformats.org/spreadsheetml/2006/main}"
R = "{http://schemas.openxmlformats.org/officeDocument/2006/relationships}"
P = "{http://schemas.openxmlformats.org/package/2006/relationships}"

def other_sheets(formula, sheets, own):
    """Sheets other than `own` that the formula names."""
    found = set()
    try:
        items = Tokenizer(formula).items
    except Exception:
        return found
    for t in items:
        v = t.value
        if t.type == "OPERAND" and t.subtype == "RANGE" and "!" in v and not v.startswith("["):
            prefix = v[:v.index("'!") + 1] if v.startswith("'") else v.rsplit("!", 1)[0]
            for s in unquote(prefix).split(":"):
                if s in sheets and s != own:
                    found.add(s)
    return found

def rels(z, part):
    d, f = posixpath.split(part)
    name = posixpath.join(d, "_rels", f + ".rels") if part else "_rels/.rels"
    if name not in z.namelist():
        return {}
    out = {}
    for r in ET.fromstring(z.read(name)).iter(P + "Relationship"):
        kind = r.get("Type").rsplit("/", 1)[-1]
        t = r.get("Target")
        if r.get("TargetMode") == "External":
            out[r.get("Id")] = (kind, None, t)
        else:
            t = t.lstrip("/") if t.startswith("/") else posixpath.normpath(posixpath.join(d, t))
            out[r.get("Id")] = (kind, t, None)
    return out

def workbook(z):
    wb_part = [t for k, t, _ in rels(z, "").values() if k == "officeDocument"][0]
    return wb_part, ET.fromstring(z.read(wb_part)), rels(z, wb_part)

def sheet_part(z, name):
    wb_part, wb, wrels = workbook(z)
    for s in wb.iter(M + "sheet"):
        if s.get("name") == name:
            return wrels[s.get(R + "id")][1]
    return None

def counts(path, name):
    z = zipfile.ZipFile(path)
    part = sheet_part(z, name)
    x = ET.fromstring(z.read(part))
    c = {"validations": len(list(x.iter(M + "dataValidation"))) +
                        len(list(x.iter("{http://schemas.microsoft.com/office/spreadsheetml/2009/9/main}dataValidation"))),
         "tables": len(list(x.iter(M + "tablePart"))), "images": 0, "charts": 0, "comments": 0}
    for kind, target, _ in rels(z, part).values():
        if kind == "drawing":
            d = ET.fromstring(z.read(target))
            c["images"] += len(list(d.iter("{http://schemas.openxmlformats.org/drawingml/2006/spreadsheetDrawing}pic")))
            c["charts"] += len(list(d.iter("{http://schemas.openxmlformats.org/drawingml/2006/chart}chart")))
        elif kind == "comments":
            c["comments"] += len(list(ET.fromstring(z.read(target)).iter(M + "comment")))
    return c

def link_to_source(path, source_base):
    z = zipfile.ZipFile(path)
    wb_part, wb, wrels = workbook(z)
    for i, e in enumerate(wb.iter(M + "externalReference"), 1):
        for kind, _, ext in rels(z, wrels[e.get(R + "id")][1]).values():
            if ext and urllib.parse.unquote(ext).rsplit("/", 1)[-1] == source_base:
                return i
    return 0

for src in sys.argv[2:]:
    base = os.path.basename(src)
    try:
        sv, sf = load(src, True), load(src, False)
        tables = source_tables(sf)
    except Exception as e:
        problems.append("%s: openpyxl cannot read the source: %s" % (base, e))
        continue
    for ws in sf.worksheets:
        if not isinstance(ws, Worksheet):
            continue
        name = ws.title
        target = os.path.join(out, short_name(base), name + ".xls")
        where = "%s [%s]" % (base, name)
        if target not in written:
            problems.append("%s: %s was not reported as written" % (where, target))
        if not os.path.isfile(target):
            problems.append("%s: missing output %s" % (where, target))
            continue
        checked += 1
        try:
            ov, of = load(target, True), load(target, False)
        except Exception as e:
            problems.append("%s: openpyxl cannot read the output: %s" % (where, e))
            continue
        if of.sheetnames != [name]:
            problems.append("%s: output sheets %s" % (where, of.sheetnames))
            continue
        link = link_to_source(target, base)
        s_ws, o_ws = sf[name], of[name]
        s_v, o_v = sv[name], ov[name]
        keys = set(s_ws._cells) | set(o_ws._cells)
        for k in sorted(keys):
            a, b = s_v._cells.get(k), o_v._cells.get(k)
            va, vb = (a.value if a else None), (b.value if b else None)
            if va != vb:
                problems.append("%s: value at %s: %r != %r" % (where, k, va, vb))
            fa, fb = s_ws._cells.get(k), o_ws._cells.get(k)
            fa_v, fb_v = (fa.value if fa else None), (fb.value if fb else None)
            if isinstance(fa_v, str) and fa_v.startswith("="):
                if not (isinstance(fb_v, str) and canon(fa_v, 0, tables, name, k[0]) == canon(fb_v, link)):
                    problems.append("%s: formula at %s: %r -> %r" % (where, k, fa_v, fb_v))
                elif other_sheets(fa_v, sf.sheetnames, name):
                    externalized += 1
                    if not link or ("[%d]" % link) not in fb_v:
                        problems.append("%s: formula at %s reaches another sheet but is not external: %r"
                                        % (where, k, fb_v))
            nfa = fa.number_format if fa else "General"
            nfb = fb.number_format if fb else "General"
            if nfa != nfb:
                problems.append("%s: number format at %s: %r != %r" % (where, k, nfa, nfb))
        if sorted(map(str, s_ws.merged_cells.ranges)) != sorted(map(str, o_ws.merged_cells.ranges)):
            problems.append("%s: merged ranges differ" % where)
        sw = {k: (d.width, d.customWidth, d.hidden) for k, d in s_ws.column_dimensions.items()}
        ow = {k: (d.width, d.customWidth, d.hidden) for k, d in o_ws.column_dimensions.items()}
        if sw != ow:
            problems.append("%s: column widths differ: %s != %s" % (where, sw, ow))
        cs, co = counts(src, name), counts(target, name)
        if cs != co:
            problems.append("%s: objects %s != %s" % (where, cs, co))

if externalized < 8:
    problems.append("only %d formulas reached other sheets; the cross-sheet fixtures are missing" % externalized)
if checked < 190:
    problems.append("only %d outputs were checked" % checked)
for p in problems[:60]:
    print("FAIL " + p)
print("%d outputs checked, %d external references, %d problems" % (checked, externalized, len(problems)))
sys.exit(1 if problems else 0)
PY
sources_unchanged || { echo "FAIL a source workbook changed (bytes or modification time)"; exit 1; }
