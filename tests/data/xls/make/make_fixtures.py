#!/usr/bin/python3
"""Makes the .xls fixtures of tests/data/xls/made/ with LibreOffice headless.

  /usr/bin/python3 make_fixtures.py OUT_DIR
  /usr/bin/python3 make_fixtures.py --bench FILE.xls [SHEETS ROWS]


Needs Debian's libreoffice-calc-nogui and python3-uno. The files:
  crossref.xls        three sheets; formulas on "Calc" refer to "Data" and
                      "Other Sheet" (single cells, ranges, a 3D range), use a
                      workbook name (TaxRate) and names local to sheets
  encrypted.xls       a BIFF8 workbook with a password to open (FILEPASS)
--bench writes the speed workload instead (not committed: 20 sheets of 20,000
rows by default, each row a number, a text from a pool shared by all sheets,
a date and a formula on the row, plus a cross-sheet formula every 100 rows).
(LibreOffice 7.4 writes .xlsx without encryption through this interface, so
the tests build an encrypted-package compound file themselves.)
"""
import os
import subprocess
import sys
import tempfile
import time

import uno
from com.sun.star.beans import PropertyValue
from com.sun.star.table import CellAddress


def props(**kw):
    out = []
    for k, v in kw.items():
        p = PropertyValue()
        p.Name, p.Value = k, v
        out.append(p)
    return tuple(out)


def url(path):
    return uno.systemPathToFileUrl(os.path.abspath(path))


def connect(pipe):
    local = uno.getComponentContext()
    resolver = local.ServiceManager.createInstanceWithContext("com.sun.star.bridge.UnoUrlResolver", local)
    for _ in range(200):
        try:
            ctx = resolver.resolve("uno:pipe,name=%s;urp;StarOffice.ComponentContext" % pipe)
            return ctx.ServiceManager.createInstanceWithContext("com.sun.star.frame.Desktop", ctx)
        except Exception:
            time.sleep(0.3)
    raise RuntimeError("soffice did not answer")


def new_book(desktop, sheets):
    doc = desktop.loadComponentFromURL("private:factory/scalc", "_blank", 0, props(Hidden=True))
    ss = doc.Sheets
    while ss.Count > 1:
        ss.removeByName(ss.ElementNames[-1])
    ss.getByIndex(0).Name = sheets[0]
    for i, n in enumerate(sheets[1:], 1):
        ss.insertNewByName(n, i)
    return doc


def crossref(desktop, out):
    doc = new_book(desktop, ["Data", "Calc", "Other Sheet"])
    data, calc, other = (doc.Sheets.getByName(n) for n in ("Data", "Calc", "Other Sheet"))
    data.getCellByPosition(0, 0).String = "Rate"
    data.getCellByPosition(1, 0).Value = 0.2
    for r in range(1, 6):
        data.getCellByPosition(0, r).Value = r * 10
        other.getCellByPosition(0, r).Value = r * 100
    data.getCellByPosition(2, 0).String = "text on Data"
    other.getCellByPosition(0, 0).String = "Other"
    names = doc.NamedRanges
    names.addNewByName("TaxRate", "$Data.$B$1", CellAddress(0, 0, 0), 0)
    names.addNewByName("Amounts", "$Data.$A$2:$A$6", CellAddress(0, 0, 0), 0)
    calc.NamedRanges.addNewByName("LocalTotal", "$Calc.$B$2", CellAddress(1, 0, 0), 0)
    data.NamedRanges.addNewByName("DataOnly", "$Data.$A$2", CellAddress(0, 0, 0), 0)
    cells = [
        ("A1", "Cross-sheet formulas"),
        ("A2", "=Data.A2*2"),
        ("B2", "=SUM(Data.A2:A6)"),
        ("A3", "=$'Other Sheet'.A3+Data.A3"),
        ("B3", "=SUM(Data.A2:'Other Sheet'.A3)"),
        ("A4", "=TaxRate*100"),
        ("B4", "=SUM(Amounts)"),
        ("A5", "=LocalTotal/2"),
        ("B5", "=B2+A2"),
        ("A6", "=Data.C1"),
        ("B6", "=IF(Data.B1>0.1;\"high\";\"low\")"),
    ]
    for addr, v in cells:
        cell = calc.getCellRangeByName(addr)
        if v.startswith("="):
            cell.Formula = v
        else:
            cell.String = v
    doc.calculateAll()
    doc.storeToURL(url(os.path.join(out, "crossref.xls")), props(FilterName="MS Excel 97"))
    doc.close(True)


def encrypted(desktop, out):
    doc = new_book(desktop, ["Secret", "Second"])
    doc.Sheets.getByIndex(0).getCellByPosition(0, 0).String = "hidden by a password"
    doc.storeToURL(url(os.path.join(out, "encrypted.xls")), props(FilterName="MS Excel 97", Password="tamberlin"))
    doc.close(True)


def bench(desktop, path, sheets, rows):
    names = ["Sheet%d" % (i + 1) for i in range(sheets)]
    doc = new_book(desktop, names)
    for i, n in enumerate(names):
        sh = doc.Sheets.getByName(n)
        data = tuple((float(r * (i + 1)), "item %d" % (r % 5000), 40000.0 + r % 3000) for r in range(rows))
        sh.getCellRangeByPosition(0, 0, 2, rows - 1).setDataArray(data)
        formulas = tuple(("=A%d*2+C%d" % (r + 1, r + 1),) for r in range(rows))
        sh.getCellRangeByPosition(3, 0, 3, rows - 1).setFormulaArray(formulas)
        if i > 0:
            for r in range(0, rows, 100):
                sh.getCellByPosition(4, r).Formula = "=$%s.A%d+1" % (names[i - 1], r + 1)
    doc.calculateAll()
    doc.storeToURL(url(path), props(FilterName="MS Excel 97"))
    doc.close(True)


def with_office(work):
    tmp = tempfile.mkdtemp(prefix="tb-fixtures-")
    pipe = "tb_fixtures_%d" % os.getpid()
    proc = subprocess.Popen(["soffice", "--headless", "--invisible", "--nologo", "--norestore", "--nodefault",
                             "--nolockcheck", "-env:UserInstallation=" + url(os.path.join(tmp, "profile")),
                             "--accept=pipe,name=%s;urp;StarOffice.ComponentContext" % pipe],
                            stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    try:
        desktop = connect(pipe)
        work(desktop)
        try:
            desktop.terminate()
        except Exception:
            pass
    finally:
        try:
            proc.wait(timeout=30)
        except subprocess.TimeoutExpired:
            proc.kill()


def main(out):
    os.makedirs(out, exist_ok=True)
    with_office(lambda desktop: (crossref(desktop, out), encrypted(desktop, out)))


if __name__ == "__main__":
    if sys.argv[1:2] == ["--bench"]:
        n, rows = (int(sys.argv[3]), int(sys.argv[4])) if len(sys.argv) > 4 else (20, 20000)
        with_office(lambda desktop: bench(desktop, sys.argv[2], n, rows))
        sys.exit(0)
    main(sys.argv[1] if len(sys.argv) > 1 else os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "made"))
