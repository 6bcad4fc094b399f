#!/usr/bin/python3
"""Makes pivot.xlsx with LibreOffice (headless, over UNO): a sheet "Data" and
a sheet "Pivot" holding a pivot table over it, saved as Excel 2007-365. It is
the real file that make_repair.py damages; run it once, with Debian's
python3-uno and libreoffice-calc.

    /usr/bin/python3 tests/data/repair/make_pivot_source.py
"""
import os
import subprocess
import tempfile
import time

import uno
from com.sun.star.beans import PropertyValue
from com.sun.star.table import CellAddress, CellRangeAddress

here = os.path.dirname(os.path.abspath(__file__))


def props(**kw):
    out = []
    for k, v in kw.items():
        p = PropertyValue()
        p.Name, p.Value = k, v
        out.append(p)
    return tuple(out)


def main():
    profile = tempfile.mkdtemp(prefix="tb-lo-")
    pipe = "tb_pivot_%d" % os.getpid()
    proc = subprocess.Popen(["soffice", "--headless", "--invisible", "--norestore", "--nolockcheck",
                             "-env:UserInstallation=" + uno.systemPathToFileUrl(profile),
                             "--accept=pipe,name=%s;urp;" % pipe])
    try:
        local = uno.getComponentContext()
        resolver = local.ServiceManager.createInstanceWithContext("com.sun.star.bridge.UnoUrlResolver", local)
        for _ in range(200):
            try:
                ctx = resolver.resolve("uno:pipe,name=%s;urp;StarOffice.ComponentContext" % pipe)
                break
            except Exception:
                time.sleep(0.3)
        desktop = ctx.ServiceManager.createInstanceWithContext("com.sun.star.frame.Desktop", ctx)
        doc = desktop.loadComponentFromURL("private:factory/scalc", "_blank", 0, props(Hidden=True))
        sheets = doc.Sheets
        data = sheets.getByIndex(0)
        data.Name = "Data"
        rows = [("Region", "Item", "Amount"), ("North", "Pens", 12), ("South", "Pens", 7),
                ("North", "Ink", 30), ("South", "Ink", 4), ("West", "Pens", 9)]
        for r, row in enumerate(rows):
            for c, v in enumerate(row):
                cell = data.getCellByPosition(c, r)
                if isinstance(v, str):
                    cell.String = v
                else:
                    cell.Value = v
        sheets.insertNewByName("Pivot", 1)
        pivot = sheets.getByName("Pivot")
        tables = pivot.getDataPilotTables()
        desc = tables.createDataPilotDescriptor()
        src = CellRangeAddress()
        src.Sheet, src.StartColumn, src.StartRow, src.EndColumn, src.EndRow = 0, 0, 0, 2, len(rows) - 1
        desc.SourceRange = src
        fields = desc.getDataPilotFields()
        from com.sun.star.sheet.DataPilotFieldOrientation import ROW, DATA
        from com.sun.star.sheet.GeneralFunction import SUM
        region = fields.getByIndex(0)
        region.Orientation = ROW
        amount = fields.getByIndex(2)
        amount.Orientation = DATA
        amount.Function = SUM
        at = CellAddress()
        at.Sheet, at.Column, at.Row = 1, 0, 0
        tables.insertNewByName("Sales", at, desc)
        out = os.path.join(here, "pivot.xlsx")
        doc.storeToURL(uno.systemPathToFileUrl(out), props(FilterName="Calc MS Excel 2007 XML"))
        doc.close(True)
        try:
            desktop.terminate()
        except Exception:
            pass
    finally:
        try:
            proc.wait(timeout=30)
        except subprocess.TimeoutExpired:
            proc.kill()


if __name__ == "__main__":
    main()
