#!/usr/bin/python3
"""Builds the workbooks whose sheets reach tables, whole columns and whole
rows of other sheets, as three writers put them.

Run with Debian's python3 (python3-xlsxwriter, python3-openpyxl); the
LibreOffice variants need libreoffice-calc-nogui. Writes:

  xlsx/tables_xw.xlsx  XlsxWriter: a table with headers and totals on "Sales";
                       "Report" reads it with every form of structured
                       reference, in formulas, a defined name, a validation
                       list and a conditional format; "ThisRow" uses [@Col];
                       cached values given.
  xlsx/tables_op.xlsx  openpyxl: the same table and references, no cached values.
  xlsx/tables_lo.xlsx  tables_xw.xlsx saved again by LibreOffice, which
                       computes its own cached values.
  xlsx/wholecol_xw.xlsx XlsxWriter: "Calc" reads whole columns and rows of
                       "Inputs", in formulas, a name, a validation list and a
                       conditional format, and has formulas of its own.
  xls/lo/wholecol_lo97.xls  wholecol_xw.xlsx saved as .xls by LibreOffice.
  xls/lo/tables_lo97.xls    tables_xw.xlsx saved as .xls by LibreOffice.
"""
import os

import openpyxl
import xlsxwriter
from openpyxl.worksheet.table import Table, TableColumn
from openpyxl.worksheet.datavalidation import DataValidation
from openpyxl.formatting.rule import FormulaRule
from openpyxl.workbook.defined_name import DefinedName

from make_fixtures import libreoffice_copy as libreoffice

HERE = os.path.dirname(os.path.abspath(__file__))
XLSX = os.path.dirname(HERE)
XLS = os.path.join(os.path.dirname(XLSX), "xls", "lo")

ROWS = [("North", 10.5, 3, 1), ("South", 4, 7.25, 2), ("East", 6, 1, 3), ("West", 4, 2, 4)]
AMOUNT = sum(r[1] for r in ROWS)   # 24.5
WEIGHT = sum(r[2] for r in ROWS)
COLUMNS = ["Region", "Amount", "Weight [kg]", "Rank"]

# (cell, formula, cached value) on "Report"; the table stands at B2:E7 of
# "Sales": header row 2, data rows 3-6, totals row 7.
REPORT = [
    ("B1", "=SUM(SalesTbl[Amount])", AMOUNT),
    ("B2", "=SalesTbl[[#Headers],[Amount]]", "Amount"),
    ("B3", "=ROWS(SalesTbl[#All])", 6),
    ("B4", "=COUNTA(SalesTbl[#Headers])", 4),
    ("B5", "=SUM(SalesTbl[#Totals])", AMOUNT + 10),
    ("B6", "=SUM(SalesTbl[#Data])", AMOUNT + WEIGHT + 10),
    ("B7", "=SUM(SalesTbl[[Amount]:[Rank]])", AMOUNT + WEIGHT + 10),
    ("B8", "=SUM(SalesTbl[[#Data],[#Totals],[Amount]])", 2 * AMOUNT),
    ("B9", "=COUNTA(SalesTbl[[#Headers],[#Data],[Region]])", 5),
    ("B10", "=SalesTbl[[#Totals],[Amount]]", AMOUNT),
    ("B11", "=INDEX(SalesTbl[Region],2)", "South"),
    ("B12", "=SUM(TableAmounts)*2", 2 * AMOUNT),
    ("B13", "=MAX(SalesTbl[Rank])+B1", 4 + AMOUNT),
]
THIS_ROW = [("A%d" % (3 + i), "=SalesTbl[@Amount]*2", r[1] * 2) for i, r in enumerate(ROWS)] + [
    ("B3", "=SUM(SalesTbl[Weight '[kg']])", WEIGHT)]


def tables_xw(path):
    wb = xlsxwriter.Workbook(path)
    sales = wb.add_worksheet("Sales")
    report = wb.add_worksheet("Report")
    this_row = wb.add_worksheet("ThisRow")
    sales.add_table("B2:E7", {"name": "SalesTbl", "total_row": True, "data": [list(r) for r in ROWS],
                              "columns": [{"header": "Region", "total_string": "Total"},
                                          {"header": "Amount", "total_function": "sum", "total_value": AMOUNT},
                                          {"header": "Weight [kg]"},
                                          {"header": "Rank", "total_string": "10"}]})
    # "10" above is a string; the totals of Rank is the number 10.
    sales.write_number("E7", 10)
    sales.write_formula("G3", "=SUM(SalesTbl[Amount])", None, AMOUNT)
    wb.define_name("TableAmounts", "=SalesTbl[Amount]")
    for cell, f, v in REPORT:
        report.write_formula(cell, f, None, v)
    report.write_string("A1", "Total")
    report.data_validation("D1", {"validate": "list", "source": "=SalesTbl[Region]"})
    report.conditional_format("B1:B3", {"type": "formula", "criteria": "=B1>SUM(SalesTbl[Amount])"})
    for cell, f, v in THIS_ROW:
        this_row.write_formula(cell, f, None, v)
    wb.close()


def tables_op(path):
    wb = openpyxl.Workbook()
    sales = wb.active
    sales.title = "Sales"
    report = wb.create_sheet("Report")
    this_row = wb.create_sheet("ThisRow")
    for i, h in enumerate(COLUMNS):
        sales.cell(2, 2 + i, h)
    for r, row in enumerate(ROWS):
        for c, v in enumerate(row):
            sales.cell(3 + r, 2 + c, v)
    sales["B7"] = "Total"
    sales["C7"] = "=SUBTOTAL(109,SalesTbl[Amount])"
    sales["E7"] = 10
    t = Table(displayName="SalesTbl", ref="B2:E7", totalsRowCount=1)
    t.tableColumns = [TableColumn(id=i + 1, name=h) for i, h in enumerate(COLUMNS)]
    t.tableColumns[0].totalsRowLabel = "Total"
    t.tableColumns[1].totalsRowFunction = "sum"
    t._initialise_columns = lambda: None
    sales.add_table(t)
    wb.defined_names.append(DefinedName("TableAmounts", attr_text="SalesTbl[Amount]"))
    report["A1"] = "Total"
    for cell, f, _ in REPORT:
        report[cell] = f
    dv = DataValidation(type="list", formula1="SalesTbl[Region]")
    dv.add("D1")
    report.add_data_validation(dv)
    report.conditional_formatting.add("B1:B3", FormulaRule(formula=["B1>SUM(SalesTbl[Amount])"]))
    for cell, f, _ in THIS_ROW:
        this_row[cell] = f.replace("[@Amount]", "[[#This Row],[Amount]]")
    wb.save(path)


def wholecol_xw(path):
    wb = xlsxwriter.Workbook(path)
    inputs = wb.add_worksheet("Inputs")
    calc = wb.add_worksheet("Calc")
    inputs.write_number("A1", 1)
    inputs.write_number("B1", 2)
    inputs.write_number("C1", 3)
    inputs.write_string("A2", "four")
    inputs.write_number("B2", 4)
    wb.define_name("FirstRow", "=Inputs!$1:$1")
    calc.write_formula("B1", "=COUNTA(Inputs!A:A)", None, 2)
    calc.write_formula("B2", "=SUM(Inputs!1:1)", None, 6)
    calc.write_formula("B3", "=SUM(Inputs!$A:$B)", None, 7)
    calc.write_formula("B4", "=COUNT(Inputs!$1:$2)", None, 4)
    calc.write_formula("B5", "=SUM(FirstRow)", None, 6)
    calc.write_formula("B6", "=B1+B2", None, 8)
    calc.write_formula("B7", '=IF(Inputs!A2="four","yes","no")', None, "yes")
    calc.write_formula("B8", "=Inputs!A1>0", None, True)
    calc.write_formula("B9", "=1/(Inputs!A1-1)", None, "#DIV/0!")
    calc.write_number("A1", 5)
    calc.data_validation("D1", {"validate": "list", "source": "=Inputs!$A:$A"})
    calc.data_validation("D2", {"validate": "list", "source": "=$A$1:$A$3"})
    calc.conditional_format("B1:B4", {"type": "formula", "criteria": "=B1>COUNT(Inputs!$1:$1)"})
    calc.conditional_format("A1", {"type": "formula", "criteria": "=A1>3"})
    wb.close()


if __name__ == "__main__":
    tables_xw(os.path.join(XLSX, "tables_xw.xlsx"))
    tables_op(os.path.join(XLSX, "tables_op.xlsx"))
    wholecol_xw(os.path.join(XLSX, "wholecol_xw.xlsx"))
    libreoffice(os.path.join(XLSX, "tables_xw.xlsx"), os.path.join(XLSX, "tables_lo.xlsx"),
                "xlsx:Calc MS Excel 2007 XML")
    libreoffice(os.path.join(XLSX, "wholecol_xw.xlsx"), os.path.join(XLS, "wholecol_lo97.xls"), "xls:MS Excel 97")
    libreoffice(os.path.join(XLSX, "tables_xw.xlsx"), os.path.join(XLS, "tables_lo97.xls"), "xls:MS Excel 97")
