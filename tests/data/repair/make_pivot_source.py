#!/usr/bin/python3
"""Makes pivot.xlsx with LibreOffice (headless, over UNO): a sheet "Data" and
a sheet "Pivot" holding a pivot table over it, saved as Excel 2007-365. It is
the real file that make_repair.py damages; run it once, with Debian's
python3-uno and libreoffice-calc. The office session is the one of
tests/data/xls/make/make_fixtures.py.

    /usr/bin/python3 tests/data/repair/make_pivot_source.py
"""
import os
import sys

here = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(here, "..", "xls", "make"))
from make_fixtures import props, url, with_office  # noqa: E402  (imports uno, which makes com.sun.star)
from com.sun.star.table import CellAddress, CellRangeAddress  # noqa: E402

ROWS = [("Region", "Item", "Amount"), ("North", "Pens", 12), ("South", "Pens", 7),
        ("North", "Ink", 30), ("South", "Ink", 4), ("West", "Pens", 9)]


def pivot_book(desktop):
    from com.sun.star.sheet.DataPilotFieldOrientation import DATA, ROW
    from com.sun.star.sheet.GeneralFunction import SUM
    doc = desktop.loadComponentFromURL("private:factory/scalc", "_blank", 0, props(Hidden=True))
    data = doc.Sheets.getByIndex(0)
    data.Name = "Data"
    for r, row in enumerate(ROWS):
        for c, v in enumerate(row):
            cell = data.getCellByPosition(c, r)
            if isinstance(v, str):
                cell.String = v
            else:
                cell.Value = v
    doc.Sheets.insertNewByName("Pivot", 1)
    tables = doc.Sheets.getByName("Pivot").getDataPilotTables()
    desc = tables.createDataPilotDescriptor()
    src = CellRangeAddress()
    src.Sheet, src.StartColumn, src.StartRow, src.EndColumn, src.EndRow = 0, 0, 0, 2, len(ROWS) - 1
    desc.SourceRange = src
    fields = desc.getDataPilotFields()
    fields.getByIndex(0).Orientation = ROW
    amount = fields.getByIndex(2)
    amount.Orientation = DATA
    amount.Function = SUM
    at = CellAddress()
    at.Sheet, at.Column, at.Row = 1, 0, 0
    tables.insertNewByName("Sales", at, desc)
    doc.storeToURL(url(os.path.join(here, "pivot.xlsx")), props(FilterName="Calc MS Excel 2007 XML"))
    doc.close(True)


if __name__ == "__main__":
    with_office(pivot_book)
