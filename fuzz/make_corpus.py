#!/usr/bin/env python3
"""Builds the fuzzers' seed corpora under fuzz/corpus/ from the sample
workbooks (../shared/testdata and tests/data). The seeds are kept few and
small: the fuzzers grow their own corpora from them (fuzz/run.sh keeps those
outside the repository).

    python3 fuzz/make_corpus.py [TESTDATA]
"""
import hashlib
import os
import re
import shutil
import sys
import zipfile

here = os.path.dirname(os.path.abspath(__file__))
repo = os.path.dirname(here)
testdata = sys.argv[1] if len(sys.argv) > 1 else os.path.join(repo, "..", "shared", "testdata")
out = os.path.join(here, "corpus")

# A spread of features in small files: several sheets, names, tables,
# comments, charts and chart sheets, images, hyperlinks, quoted sheet names,
# hidden sheets, macros.
XLSX = ["simple02", "simple03", "defined_name01", "table02", "comment04", "chart_bar02", "chartsheet01",
        "hyperlink03", "quote_name01", "quote_name02", "hide01", "panes01", "escapes05", "image07",
        "format01", "repeat05", "textbox03", "button04", "firstsheet01", "selection02"]
XLSX_EXTRA = [os.path.join(repo, "tests", "data", "xlsx", "crossref.xlsx"),
              os.path.join(repo, "tests", "data", "xlsx", "damaged", "forged_names.xlsx")]
XLS_MAX = 40 * 1024


def put(target, data):
    d = os.path.join(out, target)
    os.makedirs(d, exist_ok=True)
    with open(os.path.join(d, hashlib.sha1(data).hexdigest()[:16]), "wb") as f:
        f.write(data)


def as_parts(path):
    """The package as '@@ <name>' lines and part bytes (pictures and other
    binary parts cut short: the engine only copies them)."""
    chunks = []
    with zipfile.ZipFile(path) as z:
        for info in z.infolist():
            data = z.read(info)
            if not info.filename.endswith((".xml", ".rels", ".vml")):
                data = data[:64]
            chunks.append(b"@@ " + info.filename.encode() + b"\n" + data)
    return b"\n".join(chunks)


def main():
    shutil.rmtree(out, ignore_errors=True)
    xlsx = []
    for name in XLSX:
        for ext in (".xlsx", ".xlsm"):
            p = os.path.join(testdata, "xlsx-excel", name + ext)
            if os.path.exists(p):
                xlsx.append(p)
    xlsx += [p for p in XLSX_EXTRA if os.path.exists(p)]
    vba = sorted(f for f in os.listdir(os.path.join(testdata, "xlsx-excel")) if f.endswith(".xlsm"))[:1]
    xlsx += [os.path.join(testdata, "xlsx-excel", f) for f in vba]
    # Damage the engine reads past (tests/data/repair): the paths that mend it.
    repair = os.path.join(repo, "tests", "data", "repair")
    xlsx += sorted(os.path.join(repair, f) for f in os.listdir(repair) if f.endswith(".xlsx"))
    for p in xlsx:
        put("ooxml_list", open(p, "rb").read())
        put("ooxml_copy", as_parts(p))

    formulas = set()
    for p in xlsx:
        with zipfile.ZipFile(p) as z:
            for n in z.namelist():
                if n.endswith(".xml"):
                    for m in re.finditer(rb"<(?:\w+:)?(?:f|formula|definedName)\b[^>]*>([^<]{1,400})<", z.read(n)):
                        formulas.add(m.group(1).replace(b"&amp;", b"&").replace(b"&quot;", b'"')
                                     .replace(b"&lt;", b"<").replace(b"&gt;", b">").replace(b"&apos;", b"'"))
    formulas |= {b"SUM(Data!A1:B2,'My Sheet'!$C$3)", b"'It''s'!A1+[1]Other!B2", b"Table1[[#This Row],[Col]]",
                 b"Data:'My Sheet'!A1:A3", b"{1,\"a\";2,#N/A}", b"IF(A1<>\"x\",#REF!,1E+3%)", b"_xlfn.SINGLE(A:A)",
                 b"'[2]Sheet 2'!R1C1", b"table1[@Col]+Table2[#All]", b"My_Name*2", b"1:1 2:3 Data!C:D"}
    for f in sorted(formulas)[:200]:
        put("formula", f)

    xls = []
    for folder in ("xls-lo", "xls-xlrd"):
        d = os.path.join(testdata, folder)
        for f in sorted(os.listdir(d)):
            p = os.path.join(d, f)
            if f.endswith(".xls") and os.path.getsize(p) <= XLS_MAX:
                xls.append(p)
    xls += [os.path.join(repo, "tests", "data", "xls", "made", f) for f in ("crossref.xls", "encrypted.xls")]
    xls += sorted(os.path.join(repair, f) for f in os.listdir(repair) if f.endswith(".xls"))
    # Excel 5.0/95 workbooks, and the Excel 4.0 sheet file and workbook.
    xls += [os.path.join(repo, "tests", "data", "xls", "biff5", f) for f in ("crossref95.xls", "formats95.xls")]
    xls += [os.path.join(repo, "tests", "data", "xls", "biff4", f) for f in ("biff4_sheet.xls", "biff4w_workbook.xlw")]
    for p in xls:
        data = open(p, "rb").read()
        put("cfb_list", data)
        put("biff_copy", data)


if __name__ == "__main__":
    main()
