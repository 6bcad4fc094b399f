#!/usr/bin/env python3
"""Makes the hostile and forged workbooks the reliability tests open, from a
good sample each, with zipfile or by patching bytes. Run it from anywhere;
it rewrites the files beside it.

    python3 tests/data/hostile/make_hostile.py

Packages (.xlsx):
  sheet_<case>.xlsx   one good sheet "Good", then one sheet whose name is
                      forged: dotdot ("../x"), slash ("a/b"), control (a
                      tab), long (300 characters)
  zip_bomb.xlsx       the sheet part inflates 32 MiB of blanks from ~32 KiB
  zip_claims.xlsx     the directory claims 1 GiB - 1 for each of five parts
  deep_xml.xlsx       the workbook part nests 300 elements deep
Compound files (.xls):
  cfb_loop.xls        the Workbook stream's sector chain runs in a circle
  sheet_dotdot.xls    "Sheet1", then a sheet named "../x.." (BOUNDSHEET patched)
  sheet_nul.xls       "Sheet1", then a sheet named "ab<NUL>cd2"
"""
import os
import struct
import zipfile

here = os.path.dirname(os.path.abspath(__file__))
data = os.path.dirname(here)

CT = ('<?xml version="1.0" encoding="UTF-8" standalone="yes"?>\n'
      '<Types xmlns="http://schemas.openxmlformats.org/package/2006/content-types">'
      '<Default Extension="rels" ContentType="application/vnd.openxmlformats-package.relationships+xml"/>'
      '<Default Extension="xml" ContentType="application/xml"/>'
      '<Override PartName="/xl/workbook.xml" ContentType="application/vnd.openxmlformats-officedocument.spreadsheetml.sheet.main+xml"/>'
      '<Override PartName="/xl/worksheets/sheet1.xml" ContentType="application/vnd.openxmlformats-officedocument.spreadsheetml.worksheet+xml"/>'
      '<Override PartName="/xl/worksheets/sheet2.xml" ContentType="application/vnd.openxmlformats-officedocument.spreadsheetml.worksheet+xml"/>'
      '</Types>')
RELS = ('<?xml version="1.0" encoding="UTF-8" standalone="yes"?>\n'
        '<Relationships xmlns="http://schemas.openxmlformats.org/package/2006/relationships">'
        '<Relationship Id="rId1" Type="http://schemas.openxmlformats.org/officeDocument/2006/relationships/officeDocument" Target="xl/workbook.xml"/>'
        '</Relationships>')
WB_RELS = ('<?xml version="1.0" encoding="UTF-8" standalone="yes"?>\n'
           '<Relationships xmlns="http://schemas.openxmlformats.org/package/2006/relationships">'
           '<Relationship Id="rId1" Type="http://schemas.openxmlformats.org/officeDocument/2006/relationships/worksheet" Target="worksheets/sheet1.xml"/>'
           '<Relationship Id="rId2" Type="http://schemas.openxmlformats.org/officeDocument/2006/relationships/worksheet" Target="worksheets/sheet2.xml"/>'
           '</Relationships>')
SHEET = ('<?xml version="1.0" encoding="UTF-8" standalone="yes"?>\n'
         '<worksheet xmlns="http://schemas.openxmlformats.org/spreadsheetml/2006/main">'
         '<sheetData><row r="1"><c r="A1"><v>1</v></c></row></sheetData></worksheet>')


def workbook(second, extra=""):
    return ('<?xml version="1.0" encoding="UTF-8" standalone="yes"?>\n'
            '<workbook xmlns="http://schemas.openxmlformats.org/spreadsheetml/2006/main" '
            'xmlns:r="http://schemas.openxmlformats.org/officeDocument/2006/relationships"><sheets>'
            '<sheet name="Good" sheetId="1" r:id="rId1"/>'
            f'<sheet name="{second}" sheetId="2" r:id="rId2"/></sheets>{extra}</workbook>')


def package(path, wb, sheet2=SHEET):
    with zipfile.ZipFile(path, "w", zipfile.ZIP_DEFLATED) as z:
        z.writestr("[Content_Types].xml", CT)
        z.writestr("_rels/.rels", RELS)
        z.writestr("xl/workbook.xml", wb)
        z.writestr("xl/_rels/workbook.xml.rels", WB_RELS)
        z.writestr("xl/worksheets/sheet1.xml", SHEET)
        z.writestr("xl/worksheets/sheet2.xml", sheet2)


def main():
    # XML cannot carry a NUL (a "&#0;" ends the name for every reader), so the
    # NUL case is a compound file below.
    forged = {"dotdot": "../x", "slash": "a/b", "control": "tab&#9;here",
              "long": "L" * 300}
    for case, name in forged.items():
        package(os.path.join(here, f"sheet_{case}.xlsx"), workbook(name))

    blanks = SHEET.replace("<sheetData>", "<sheetData>" + " " * (32 << 20))
    package(os.path.join(here, "zip_bomb.xlsx"), workbook("Bomb"), blanks)

    deep = "<extLst>" + "<ext>" * 300 + "</ext>" * 300 + "</extLst>"
    package(os.path.join(here, "deep_xml.xlsx"), workbook("Deep", deep))

    # Five parts whose central-directory entries claim 1 GiB - 1 each.
    path = os.path.join(here, "zip_claims.xlsx")
    package(path, workbook("Claims"))
    b = bytearray(open(path, "rb").read())
    at = 0
    while True:
        at = b.find(b"PK\x01\x02", at)
        if at < 0:
            break
        struct.pack_into("<I", b, at + 24, (1 << 30) - 1)  # uncompressed size
        at += 4
    open(path, "wb").write(bytes(b))

    big = open(os.path.join(data, "xls", "lo", "quote_name01.xls"), "rb").read()
    open(os.path.join(here, "cfb_loop.xls"), "wb").write(cfb_loop(big))
    src = open(os.path.join(data, "xls", "lo", "hide01.xls"), "rb").read()
    open(os.path.join(here, "sheet_dotdot.xls"), "wb").write(biff_rename(src, b"Sheet2", b"../x.."))
    open(os.path.join(here, "sheet_nul.xls"), "wb").write(biff_rename(src, b"Sheet2", b"ab\x00cd2"))


def cfb_loop(b):
    """Points the last sector of the Workbook stream's chain back at its first."""
    b = bytearray(b)
    shift = struct.unpack_from("<H", b, 30)[0]
    size = 1 << shift
    nfat = struct.unpack_from("<I", b, 44)[0]
    dir_start = struct.unpack_from("<I", b, 48)[0]
    fat_sectors = list(struct.unpack_from("<109I", b, 76))[:nfat]
    fat = b"".join(bytes(b[512 + s * size: 512 + (s + 1) * size]) for s in fat_sectors)
    entries = list(struct.unpack_from(f"<{len(fat) // 4}I", fat))
    d = 512 + dir_start * size
    for i in range(size // 128):
        e = d + i * 128
        n = struct.unpack_from("<H", b, e + 64)[0]
        name = b[e:e + n - 2].decode("utf-16-le") if n >= 2 else ""
        if name.lower() == "workbook":
            first, length = struct.unpack_from("<II", b, e + 116)
            assert length >= 4096, "the stream must live in the FAT, not the mini stream"
            s = first
            while entries[s] < 0xFFFFFFFA:
                s = entries[s]
            entries[s] = first
            break
    else:
        raise SystemExit("no Workbook stream")
    fat = struct.pack(f"<{len(entries)}I", *entries)
    for k, s in enumerate(fat_sectors):
        b[512 + s * size: 512 + (s + 1) * size] = fat[k * size:(k + 1) * size]
    return bytes(b)


def biff_rename(b, old, new):
    """Renames a sheet in its BOUNDSHEET record (same length, 8-bit text)."""
    assert len(old) == len(new)
    pat = bytes([len(old), 0]) + old
    at = b.find(pat)
    if at < 0:
        raise SystemExit("sheet name not found")
    return b[:at + 2] + new + b[at + 2 + len(old):]


if __name__ == "__main__":
    main()
