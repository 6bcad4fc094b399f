#!/usr/bin/python3
"""Writes samples/Sample.xlsx, the workbook the README's first command splits
where there is no display. Made with XlsxWriter (Debian python3-xlsxwriter)."""
import os
import xlsxwriter

here = os.path.dirname(os.path.abspath(__file__))
wb = xlsxwriter.Workbook(os.path.join(here, "Sample.xlsx"))
bold = wb.add_format({"bold": True, "bg_color": "#DDEBF7", "border": 1})
money = wb.add_format({"num_format": "#,##0.00", "border": 1})
cell = wb.add_format({"border": 1})

months = ["Jan", "Feb", "Mar", "Apr", "May", "Jun"]
sales = wb.add_worksheet("Sales")
sales.write_row(0, 0, ["Month", "North", "South", "Total"], bold)
for i, m in enumerate(months, start=1):
    sales.write(i, 0, m, cell)
    sales.write_number(i, 1, 1000 + 137 * i, money)
    sales.write_number(i, 2, 800 + 211 * i, money)
    sales.write_formula(i, 3, f"=B{i+1}+C{i+1}", money, 1800 + 348 * i)
sales.set_column(0, 3, 12)
chart = wb.add_chart({"type": "column"})
chart.add_series({"name": "North", "categories": "=Sales!$A$2:$A$7", "values": "=Sales!$B$2:$B$7"})
chart.add_series({"name": "South", "categories": "=Sales!$A$2:$A$7", "values": "=Sales!$C$2:$C$7"})
chart.set_title({"name": "Sales by region"})
sales.insert_chart("F2", chart)

budget = wb.add_worksheet("Budget 2025")
budget.write_row(0, 0, ["Item", "Amount"], bold)
for r, (item, amount) in enumerate([("Rent", 12000), ("Staff", 54000), ("Travel", 3500)], start=1):
    budget.write(r, 0, item, cell)
    budget.write_number(r, 1, amount, money)
budget.write(4, 0, "Sales total", cell)
budget.write_formula(4, 1, "=SUM(Sales!D2:D7)", money, sum(1800 + 348 * i for i in range(1, 7)))
budget.merge_range("D1:F1", "Approved by the board", bold)
budget.set_column(0, 1, 14)
budget.write_comment("B5", "Taken from the Sales sheet")

staff = wb.add_worksheet("Staff")
staff.write_row(0, 0, ["Name", "Team", "Since"], bold)
date = wb.add_format({"num_format": "yyyy-mm-dd", "border": 1})
import datetime
for r, (name, team, since) in enumerate([("Ada", "North", datetime.date(2019, 3, 1)),
                                         ("Grace", "South", datetime.date(2021, 9, 15)),
                                         ("Linus", "North", datetime.date(2023, 1, 9))], start=1):
    staff.write(r, 0, name, cell)
    staff.write(r, 1, team, cell)
    staff.write_datetime(r, 2, datetime.datetime.combine(since, datetime.time()), date)
staff.data_validation("B2:B4", {"validate": "list", "source": ["North", "South"]})
staff.set_column(0, 2, 12)
wb.close()
