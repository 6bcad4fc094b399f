#!/usr/bin/python3
"""Builds the benchmark workloads (Debian's python3-xlsxwriter):

  big/sheets20x20000.xlsx   20 sheets x 20,000 rows x 8 columns (numbers,
                            strings, a formula reaching another sheet)
  big5/sheets5x20000.xlsx   the same with 5 sheets, to show that peak memory
                            does not grow with the number of sheets
  many/book001..200.xlsx    200 small workbooks of 3 sheets
  sst/sst20mb.xlsx          4 sheets over a shared-string table of about 20 MB
  xls/sheets20x20000.xls    the big workbook saved as Excel 97-2003 by
                            LibreOffice (soffice --convert-to xls)
  xls5/sheets5x20000.xls    big5 likewise, for peak memory against sheets

usage: make_workloads.py DIR [--scale F]   (F < 1 makes everything smaller)
A workload whose folder already holds files is left as it is.
"""
import os
import random
import shutil
import subprocess
import sys
import tempfile

import xlsxwriter


def big(path, sheets, rows):
    wb = xlsxwriter.Workbook(path, {"constant_memory": True})
    names = ["Sheet%d" % (i + 1) for i in range(sheets)]
    for s, name in enumerate(names):
        ws = wb.add_worksheet(name)
        other = names[(s + 1) % sheets]
        for r in range(rows):
            ws.write_number(r, 0, r)
            ws.write_number(r, 1, r * 1.5 + s)
            ws.write_string(r, 2, "row %d of %s" % (r, name))
            ws.write_string(r, 3, "label %d" % (r % 500))
            ws.write_number(r, 4, (r * 7919) % 10007)
            ws.write_formula(r, 5, "=A%d+B%d" % (r + 1, r + 1), None, r + r * 1.5 + s)
            ws.write_formula(r, 6, "='%s'!A%d*2" % (other, r + 1), None, r * 2)
            ws.write_boolean(r, 7, r % 2 == 0)
    wb.close()


def small(path, n):
    wb = xlsxwriter.Workbook(path)
    for s in range(3):
        ws = wb.add_worksheet("Part %d" % (s + 1))
        for r in range(40):
            ws.write_row(r, 0, [r, "text %d/%d" % (n, r), r * 0.25])
    wb.close()


def sst(path, megabytes):
    rnd = random.Random(7)
    wb = xlsxwriter.Workbook(path, {"constant_memory": True})
    target = megabytes * 1024 * 1024
    per_string = 60
    count = target // (per_string + 20)
    sheets = 4
    per_sheet = count // sheets
    for s in range(sheets):
        ws = wb.add_worksheet("Strings%d" % (s + 1))
        for r in range(per_sheet):
            text = "%08d-%s" % (s * per_sheet + r, "".join(rnd.choice("abcdefghijklmnopqrstuvwxyz ") for _ in range(per_string - 9)))
            ws.write_string(r, 0, text)
            ws.write_number(r, 1, r)
    wb.close()


def as_xls(xlsx, folder):
    """Has LibreOffice write the .xls twin of an .xlsx workload, so that the
    .xls input comes from another program than ours."""
    profile = tempfile.mkdtemp(prefix="tb-bench-convert-")
    try:
        subprocess.run(["soffice", "--headless", "--norestore", "-env:UserInstallation=file://" + profile,
                        "--convert-to", "xls", "--outdir", folder, xlsx],
                       check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    finally:
        shutil.rmtree(profile, ignore_errors=True)


def main():
    if len(sys.argv) < 2:
        print(__doc__, file=sys.stderr)
        return 2
    out = sys.argv[1]
    scale = float(sys.argv[sys.argv.index("--scale") + 1]) if "--scale" in sys.argv else 1.0
    builders = [
        ("big", lambda d: big(os.path.join(d, "sheets20x20000.xlsx"), 20, max(10, int(20000 * scale)))),
        ("big5", lambda d: big(os.path.join(d, "sheets5x20000.xlsx"), 5, max(10, int(20000 * scale)))),
        ("many", lambda d: [small(os.path.join(d, "book%03d.xlsx" % (i + 1)), i)
                            for i in range(max(2, int(200 * scale)))]),
        ("sst", lambda d: sst(os.path.join(d, "sst20mb.xlsx"), max(1, int(20 * scale)))),
        ("xls", lambda d: as_xls(os.path.join(out, "big", "sheets20x20000.xlsx"), d)),
        ("xls5", lambda d: as_xls(os.path.join(out, "big5", "sheets5x20000.xlsx"), d)),
    ]
    for name, build in builders:
        folder = os.path.join(out, name)
        if os.path.isdir(folder) and os.listdir(folder):
            continue
        # Built aside and moved into place, so that a run cut short leaves
        # no half-built workload to be taken for a whole one.
        part = folder + ".part"
        shutil.rmtree(part, ignore_errors=True)
        shutil.rmtree(folder, ignore_errors=True)
        os.makedirs(part)
        build(part)
        os.rename(part, folder)
    return 0


if __name__ == "__main__":
    sys.exit(main())
