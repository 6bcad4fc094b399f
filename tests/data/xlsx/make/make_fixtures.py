#!/usr/bin/python3
"""Builds the workbooks with cross-sheet references that the split tests use.

Run with Debian's python3 (python3-xlsxwriter); the LibreOffice variant needs
libreoffice-calc-nogui. Writes into the folder above this script:

  crossref.xlsx     XlsxWriter: formulas, array formula, 3D range, names,
                    validation, conditional format, chart and a structured
                    reference reaching other sheets; cached values given.
  crossref_lo.xlsx  the same saved again by LibreOffice headless, which
                    writes shared formulas and its own cached values.
  damaged/forged_names.xlsx a sheet name holding "/" and one holding "..", as only
                    a forged file can carry (Excel refuses both).
  made/chart_only.xlsx  Excel's chartsheet01.xlsx with its worksheet's tab
                    taken out of workbook.xml: one chart sheet, no worksheet
                    (the worksheet part stays, as the chart's data).
"""
import os
import shutil
import subprocess
import sys
import tempfile
import zipfile

import xlsxwriter

HERE = os.path.dirname(os.path.abspath(__file__))
OUT = os.path.dirname(HERE)


def crossref(path):
    wb = xlsxwriter.Workbook(path)
    data = wb.add_worksheet("Data")
    other = wb.add_worksheet("It's other")
    calc = wb.add_worksheet("Calc")
    wb.add_worksheet("Empty")
    for i, v in enumerate([3, 5, 8, 13, 21]):
        data.write_number(i, 0, v)
        data.write_string(i, 1, "item%d" % i)
        other.write_number(i, 0, v * 10)
    data.write_number(0, 3, 0.25)
    data.add_table("F1:G4", {"name": "Prices", "columns": [{"header": "Name"}, {"header": "Cost"}],
                             "data": [["a", 1], ["b", 2], ["c", 4]]})
    wb.define_name("Rate", "=Data!$D$1")
    wb.define_name("Unused", "=Data!$A$1")
    wb.define_name("Calc!Local", "=Calc!$A$1")
    wb.define_name("Data!OnData", "=Data!$A$2")
    calc.write_formula("A1", "=Data!A1*2", None, 6)
    calc.write_formula("A2", "='It''s other'!A2+1", None, 51)
    calc.write_formula("A3", "=SUM(Data!A1:A5)", None, 50)
    calc.write_formula("A4", '=Data!B1&"!x"', None, "item0!x")
    calc.write_formula("A5", "=A1*Rate", None, 1.5)
    calc.write_array_formula("A6:A6", "{=SUM(Data!A1:A3*2)}", None, 32)
    calc.write_formula("A7", "=SUM('Data:It''s other'!A1)", None, 33)
    calc.write_formula("A8", "=SUM(Prices[Cost])", None, 7)
    calc.write_formula("A9", "=IF(Data!A1>2,\"Sheet2!A1\",#N/A)", None, "Sheet2!A1")
    calc.write_formula("A10", "=Local+1", None, 7)
    calc.write_string("B1", "own text")
    calc.write_string("B2", "item0")
    calc.data_validation("C1", {"validate": "list", "source": "=Data!$B$1:$B$5"})
    calc.conditional_format("A1:A5", {"type": "formula", "criteria": "=A1>Data!$A$1"})
    chart = wb.add_chart({"type": "column"})
    chart.add_series({"categories": "=Data!$B$1:$B$5", "values": "=Data!$A$1:$A$5", "name": "=Data!$B$1"})
    chart.add_series({"values": "=Calc!$A$1:$A$5"})
    calc.insert_chart("E2", chart)
    calc.set_column("A:A", 14)
    calc.merge_range("C5:D6", "merged", None)
    wb.close()


def forged(path):
    tmp = path + ".tmp"
    wb = xlsxwriter.Workbook(tmp)
    for n in ("Good", "SlashXX", "DotsXX"):
        ws = wb.add_worksheet(n)
        ws.write_string(0, 0, n)
    wb.close()
    # XlsxWriter refuses such names, as Excel does; put them into workbook.xml by hand.
    with zipfile.ZipFile(tmp) as zin, zipfile.ZipFile(path, "w", zipfile.ZIP_DEFLATED) as zout:
        for item in zin.infolist():
            data = zin.read(item.filename)
            if item.filename == "xl/workbook.xml":
                data = data.replace(b'name="SlashXX"', b'name="a/b"').replace(b'name="DotsXX"', b'name=".."')
            zout.writestr(item, data)
    os.remove(tmp)


def chart_only(src, path):
    with zipfile.ZipFile(src) as zin, zipfile.ZipFile(path, "w", zipfile.ZIP_DEFLATED) as zout:
        for item in zin.infolist():
            data = zin.read(item.filename)
            if item.filename == "xl/workbook.xml":
                data = data.replace(b'<sheet name="Sheet1" sheetId="1" r:id="rId1"/>', b"")
                data = data.replace(b' activeTab="1"', b"")
            zout.writestr(item, data)


def libreoffice_copy(src, dst, fmt="xlsx:Calc MS Excel 2007 XML"):
    """`src` saved again by LibreOffice headless as `dst`, in the format `fmt` names."""
    soffice = shutil.which("soffice")
    if not soffice:
        print("soffice not found; %s not made" % dst, file=sys.stderr)
        return
    work = tempfile.mkdtemp()
    try:
        mid = os.path.join(work, os.path.splitext(os.path.basename(dst))[0] + os.path.splitext(src)[1])
        shutil.copy(src, mid)
        out = os.path.join(work, "out")
        subprocess.run([soffice, "-env:UserInstallation=file://" + work + "/profile", "--headless",
                        "--convert-to", fmt, "--outdir", out, mid],
                       check=True, capture_output=True, timeout=300)
        shutil.move(os.path.join(out, os.path.basename(dst)), dst)
    finally:
        shutil.rmtree(work, ignore_errors=True)


if __name__ == "__main__":
    crossref(os.path.join(OUT, "crossref.xlsx"))
    forged(os.path.join(OUT, "damaged", "forged_names.xlsx"))
    chart_only(os.path.join(OUT, "chartsheet01.xlsx"), os.path.join(OUT, "made", "chart_only.xlsx"))
    tmp = tempfile.mkdtemp()
    try:
        shutil.copy(os.path.join(OUT, "crossref.xlsx"), os.path.join(tmp, "crossref_lo.xlsx"))
        libreoffice_copy(os.path.join(tmp, "crossref_lo.xlsx"), os.path.join(OUT, "crossref_lo.xlsx"))
    finally:
        shutil.rmtree(tmp, ignore_errors=True)
