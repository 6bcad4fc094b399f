#!/usr/bin/python3
"""Makes the Excel 5.0/95 and Excel 2.x-4.0 fixtures of tests/data/xls/biff5/
and tests/data/xls/biff4/.

  /usr/bin/python3 make_old_biff.py XLS_DIR

Needs Gnumeric's ssconvert (Debian gnumeric), which writes Excel 5.0/95
(LibreOffice reads that format but no longer writes it), and python3-openpyxl.
XLS_DIR is tests/data/xls; the sources are its own lo/ and made/ files, the
BIFF4 worksheet of xlrd's tests (biff4/biff4_sheet.xls, committed as it came)
and a workbook made here.

  biff5/crossref95.xls     made/crossref.xls as Excel 95: formulas and names
                           that reach other sheets, names local to sheets
  biff5/hide95.xls         lo/hide01.xls: hidden and very hidden sheets
  biff5/quote95.xls        lo/quote_name01.xls: sheet names with odd characters
  biff5/formats95.xls      fonts, colours, number formats, merged cells, column
                           widths, row heights, cross-sheet formulas, a workbook
                           name, sheet names in Windows-1252 (Übersicht, Café)
  biff5/cyrillic95.xls     formats95.xls with its code page set to Windows-1251
                           and a sheet renamed "Данные2024" in that code page
  biff5/upper95.xls        formats95.xls with its stream named "BOOK"
  biff5/workbook95.xls     crossref95.xls with its stream named "Workbook"
  biff4/biff4_sheet.xls    (not made here) xlrd's biff4_no_format_no_window2.xls
  biff4/biff4w_workbook.xlw  the same with its BOF saying "workbook" (BIFF4W)

ssconvert copies the source's code page, and a BIFF8 source says 1200
(UTF-16), which no Excel 5.0/95 file holds: the CODEPAGE record is set to 1252.
"""
import os
import subprocess
import sys
import tempfile

import openpyxl
from openpyxl.styles import Alignment, Font, PatternFill
from openpyxl.workbook.defined_name import DefinedName

CP1200 = b"\x42\x00\x02\x00\xb0\x04"
CP1252 = b"\x42\x00\x02\x00\xe4\x04"
CP1251 = b"\x42\x00\x02\x00\xe3\x04"


def formats_workbook(path):
    wb = openpyxl.Workbook()
    a = wb.active
    a.title = "Übersicht"
    b = wb.create_sheet("Daten 2024")
    c = wb.create_sheet("Café")
    for r in range(1, 21):
        b.cell(r, 1, r * 1.5)
        b.cell(r, 2, "Zeile %d ä" % r)
        b.cell(r, 3, r % 2 == 0)
        c.cell(r, 1, r * 100)
    a["A1"] = "Summe"
    a["A1"].font = Font(name="Arial", size=14, bold=True, italic=True, color="FF0000")
    a["B1"] = "='Daten 2024'!A1*2"
    a["B2"] = "=SUM('Daten 2024'!A1:A20)"
    a["B3"] = "='Daten 2024'!B3"
    a["B4"] = "=Café!A5+B1"
    a["B6"] = "=Rate*10"
    a["B7"] = "=IF('Daten 2024'!C2,\"ja\",\"nein\")"
    a["C1"] = 1234.5678
    a["C1"].number_format = '#,##0.00 "€"'
    a["C2"] = "merged"
    a.merge_cells("C2:E4")
    a["C2"].fill = PatternFill("solid", fgColor="FFFF00")
    a["C2"].alignment = Alignment(horizontal="center", vertical="center")
    a.column_dimensions["A"].width = 30
    a.column_dimensions["D"].width = 5
    a.row_dimensions[6].height = 40
    b.merge_cells("D1:F1")
    b["D1"] = "Kopf"
    b.column_dimensions["B"].width = 22
    wb.defined_names.append(DefinedName("Rate", attr_text="'Daten 2024'!$A$2"))
    wb.save(path)


def to_excel95(src, dst):
    subprocess.run(["ssconvert", "-T", "Gnumeric_Excel:excel_biff7", src, dst], check=True,
                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    data = open(dst, "rb").read().replace(CP1200, CP1252)
    open(dst, "wb").write(data)


def variant(src, dst, pairs):
    data = open(src, "rb").read()
    for old, new in pairs:
        assert len(old) == len(new) and old in data, (dst, old)
        data = data.replace(old, new)
    open(dst, "wb").write(data)


def renamed_stream(src, dst, old, new):
    """The directory entry of stream `old` renamed `new` in place: its 64-byte
    name field and the name's size. Both names must sort alike among their
    siblings (shorter first), which keeps the directory's tree valid."""
    data = bytearray(open(src, "rb").read())
    field = old.encode("utf-16-le") + b"\0\0"
    at = data.find(field.ljust(64, b"\0"))
    assert at >= 0 and at % 128 == 0, (src, old)
    name = new.encode("utf-16-le") + b"\0\0"
    data[at:at + 64] = name.ljust(64, b"\0")
    data[at + 64:at + 66] = len(name).to_bytes(2, "little")
    open(dst, "wb").write(bytes(data))


def main(xls):
    b5, b4 = os.path.join(xls, "biff5"), os.path.join(xls, "biff4")
    os.makedirs(b5, exist_ok=True)
    os.makedirs(b4, exist_ok=True)
    with tempfile.TemporaryDirectory() as tmp:
        fx = os.path.join(tmp, "formats.xlsx")
        formats_workbook(fx)
        to_excel95(fx, os.path.join(b5, "formats95.xls"))
    to_excel95(os.path.join(xls, "made", "crossref.xls"), os.path.join(b5, "crossref95.xls"))
    to_excel95(os.path.join(xls, "lo", "hide01.xls"), os.path.join(b5, "hide95.xls"))
    to_excel95(os.path.join(xls, "lo", "quote_name01.xls"), os.path.join(b5, "quote95.xls"))
    formats = os.path.join(b5, "formats95.xls")
    variant(formats, os.path.join(b5, "cyrillic95.xls"),
            [(CP1252, CP1251), (b"Daten 2024", "Данные2024".encode("cp1251"))])
    # The directory entry's name, UTF-16: same length, same order in the tree.
    variant(formats, os.path.join(b5, "upper95.xls"), [("Book".encode("utf-16-le"), "BOOK".encode("utf-16-le"))])
    renamed_stream(os.path.join(b5, "crossref95.xls"), os.path.join(b5, "workbook95.xls"), "Book", "Workbook")
    sheet = os.path.join(b4, "biff4_sheet.xls")  # xlrd's biff4_no_format_no_window2.xls
    data = bytearray(open(sheet, "rb").read())
    assert data[0:2] == b"\x09\x04" and data[6:8] == b"\x10\x00"
    data[6:8] = b"\x00\x01"
    open(os.path.join(b4, "biff4w_workbook.xlw"), "wb").write(bytes(data))


if __name__ == "__main__":
    main(sys.argv[1] if len(sys.argv) > 1 else os.path.join(os.path.dirname(__file__), ".."))
