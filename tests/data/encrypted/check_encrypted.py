#!/usr/bin/python3
"""Checks the fixtures of this folder with other people's readers.

  /usr/bin/python3 check_encrypted.py

Each file but xor.xls is decrypted with msoffcrypto-tool and read with
openpyxl or xlrd; LibreOffice (headless, over UNO) opens xor.xls with its
password and every other file too. Prints one line a file and exits 1 on
any failure. Needs python3-msoffcrypto-tool, python3-openpyxl,
python3-xlrd, python3-uno and libreoffice-calc-nogui.
"""
import io
import os
import sys

import msoffcrypto
import openpyxl
import xlrd

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "xls", "make"))
from make_fixtures import props, url, with_office  # noqa: E402

HERE = os.path.dirname(os.path.abspath(__file__))


def password_of(name):
    return "VelvetSweatshop" if "default" in name else "tamberlin"


def decrypted_sheets(path):
    f = msoffcrypto.OfficeFile(open(path, "rb"))
    f.load_key(password=password_of(path))
    out = io.BytesIO()
    f.decrypt(out)
    if path.endswith(".xlsx"):
        return openpyxl.load_workbook(io.BytesIO(out.getvalue())).sheetnames
    return xlrd.open_workbook(file_contents=out.getvalue()).sheet_names()


def main():
    files = sorted(f for f in os.listdir(HERE) if f.endswith((".xls", ".xlsx")))
    failed = 0
    for f in files:
        if f == "xor.xls":
            continue
        try:
            print("msoffcrypto", f, decrypted_sheets(os.path.join(HERE, f)))
        except Exception as e:  # noqa: BLE001
            print("FAIL msoffcrypto", f, e)
            failed += 1

    def with_lo(desktop):
        nonlocal failed
        for f in files:
            if f == "cryptoapi40.xls":
                continue  # LibreOffice 7.4 opens no 40-bit CryptoAPI key
            doc = desktop.loadComponentFromURL(url(os.path.join(HERE, f)), "_blank", 0,
                                               props(Hidden=True, Password=password_of(f)))
            if doc is None:
                print("FAIL LibreOffice", f)
                failed += 1
                continue
            sheet = doc.Sheets.getByIndex(0)
            print("LibreOffice", f, list(doc.Sheets.ElementNames), repr(sheet.getCellByPosition(0, 0).String))
            doc.close(True)
    with_office(with_lo)
    sys.exit(1 if failed else 0)


if __name__ == "__main__":
    main()
