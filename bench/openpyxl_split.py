#!/usr/bin/python3
"""The openpyxl recipe people use to split a workbook: for every sheet, load
the workbook, delete every other sheet, save under the sheet's name.

usage: openpyxl_split.py OUT_DIR WORKBOOK...
"""
import os
import sys
import warnings

import openpyxl

warnings.filterwarnings("ignore")


def main():
    out = sys.argv[1]
    for path in sys.argv[2:]:
        base = os.path.basename(path)
        folder = os.path.join(out, base[:-4].rstrip(". "))
        os.makedirs(folder, exist_ok=True)
        names = openpyxl.load_workbook(path, read_only=True).sheetnames
        for name in names:
            wb = openpyxl.load_workbook(path)
            for other in list(wb.sheetnames):
                if other != name:
                    del wb[other]
            wb.save(os.path.join(folder, name + ".xls"))
    return 0


if __name__ == "__main__":
    sys.exit(main())
