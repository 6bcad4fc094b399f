#!/usr/bin/env python3
"""Makes the damaged workbooks the repair tests read, each from a real file by
byte-level edits of one kind of damage. Run it from anywhere; it rewrites the
files beside it.

    python3 tests/data/repair/make_repair.py

Packages, from Excel's simple02.xlsx (Sheet1, "Data Sheet", Sheet3) unless
said otherwise:
  sst_index.xlsx           Sheet1!A1 names shared string "" and B1 string 7
                           of a table of 2
  pivot_rel_no_id.xlsx     pivot.xlsx (LibreOffice, make_pivot_source.py):
                           the pivot cache's relationship to its records has
                           no Id
  missing_connections.xlsx the workbook's relationships name xl/connections.xml,
                           which is not in the package
  zip_local_sizes.xlsx     the local header of xl/styles.xml gives sizes that
                           disagree with the central directory (the Zip64
                           marker, with no Zip64 field)
  macro_tab_missing_rel.xlsx  a fourth tab, the macro sheet "Macro1", names
                           the relationship rId9, which is missing
  dtd_shared_strings.xlsx  xl/sharedStrings.xml opens with a "billion laughs"
                           DTD; an unused string refers to its entity
  dtd_core.xlsx            docProps/core.xml likewise, in the title
Compound files, from LibreOffice's panes01.xls:
  sst_count.xls            the SST record claims 5 more strings than it holds
  sst_cut.xls              the SST record ends 6 bytes early, inside its last
                           string; the bytes cut off become a record of an
                           unknown type (the lost CONTINUE)
  cfb_cut.xls              xlrd's xf_class.xls (Excel) ends a sector early,
                           inside the mini-stream container that holds the
                           summary streams
  cfb_workbook_short.xls   the Workbook stream's sector chain ends three sectors
                           before its size says, inside the tenth of its 13
                           sheets (as a cut-off file whose workbook stream
                           comes last reads)
  cfb_summary_cross.xls    the mini-stream chains of SummaryInformation and
                           DocumentSummaryInformation run into each other
"""
import os
import struct
import zipfile

here = os.path.dirname(os.path.abspath(__file__))
data = os.path.dirname(here)

BOMB = ('<!DOCTYPE lolz [<!ENTITY lol "lol">'
        '<!ENTITY lol1 "&lol;&lol;&lol;&lol;&lol;&lol;&lol;&lol;&lol;&lol;">'
        + "".join('<!ENTITY lol%d "%s">' % (i, ("&lol%d;" % (i - 1)) * 10) for i in range(2, 10))
        + ']>')
XML_DECL = '<?xml version="1.0" encoding="UTF-8" standalone="yes"?>\n'
WB_REL = "http://schemas.openxmlformats.org/officeDocument/2006/relationships/"


def edited(src, dst, edits):
    """Copies the package src to dst with each part in edits replaced by
    edits[name](old_text); parts mapped to None are left out."""
    with zipfile.ZipFile(src) as a, zipfile.ZipFile(dst, "w", zipfile.ZIP_DEFLATED) as b:
        for info in a.infolist():
            body = a.read(info)
            if info.filename in edits:
                fn = edits[info.filename]
                if fn is None:
                    continue
                body = fn(body.decode("utf-8")).encode("utf-8")
            b.writestr(zipfile.ZipInfo(info.filename, date_time=info.date_time), body, zipfile.ZIP_DEFLATED)


def replace(old, new):
    def fn(text):
        assert old in text, old
        return text.replace(old, new, 1)
    return fn


def with_bomb(text):
    end = text.index("?>") + 2
    return text[:end] + "\n" + BOMB + text[end:].lstrip()


def patch_local_sizes(path, name):
    """Sets the sizes in the local header of `name` to values the central
    directory does not give (the data itself stays as it is)."""
    raw = bytearray(open(path, "rb").read())
    at = 0
    while True:
        at = raw.index(b"PK\x03\x04", at)
        n, m = struct.unpack_from("<HH", raw, at + 26)
        if raw[at + 30:at + 30 + n].decode() == name:
            # The Zip64 marker with no Zip64 field to follow, as some
            # streaming writers leave it.
            struct.pack_into("<II", raw, at + 18, 0xFFFFFFFF, 0xFFFFFFFF)
            break
        at += 4
    open(path, "wb").write(raw)


def packages():
    simple = os.path.join(data, "xlsx", "simple02.xlsx")
    out = lambda n: os.path.join(here, n)
    edited(simple, out("sst_index.xlsx"), {
        "xl/worksheets/sheet1.xml": replace('<c r="A1" t="s"><v>0</v></c>',
                                            '<c r="A1" t="s"><v></v></c><c r="B1" t="s"><v>7</v></c>')})
    edited(os.path.join(here, "pivot.xlsx"), out("pivot_rel_no_id.xlsx"), {
        "xl/pivotCache/_rels/pivotCacheDefinition1.xml.rels": replace('Relationship Id="rId1" ', "Relationship ")})
    edited(simple, out("missing_connections.xlsx"), {
        "xl/_rels/workbook.xml.rels": replace(
            "</Relationships>",
            '<Relationship Id="rId7" Type="%sconnections" Target="connections.xml"/></Relationships>' % WB_REL),
        "[Content_Types].xml": replace(
            "</Types>",
            '<Override PartName="/xl/connections.xml" ContentType="application/'
            'vnd.openxmlformats-officedocument.spreadsheetml.connections+xml"/></Types>')})
    edited(simple, out("zip_local_sizes.xlsx"), {})
    patch_local_sizes(out("zip_local_sizes.xlsx"), "xl/styles.xml")
    edited(simple, out("macro_tab_missing_rel.xlsx"), {
        "xl/workbook.xml": replace("</sheets>", '<sheet name="Macro1" sheetId="4" r:id="rId9"/></sheets>')})
    edited(simple, out("dtd_shared_strings.xlsx"), {
        "xl/sharedStrings.xml": lambda t: with_bomb(t).replace(
            'uniqueCount="2"><si><t>Foo</t></si><si><t>Bar</t></si>',
            'uniqueCount="3"><si><t>Foo</t></si><si><t>Bar</t></si><si><t>&lol9;</t></si>')})
    edited(simple, out("dtd_core.xlsx"), {
        "docProps/core.xml": lambda t: with_bomb(t).replace("<dc:creator>", "<dc:title>&lol9;</dc:title><dc:creator>")})


class Cfb:
    """Just enough of [MS-CFB] to find and patch a stream's bytes."""

    def __init__(self, raw):
        self.raw = bytearray(raw)
        self.ssz = 1 << struct.unpack_from("<H", raw, 0x1E)[0]
        nfat = struct.unpack_from("<I", raw, 0x2C)[0]
        difat = list(struct.unpack_from("<109I", raw, 0x4C))[:nfat]
        self.fat = []
        for s in difat:
            self.fat += struct.unpack_from("<%dI" % (self.ssz // 4), raw, self.off(s))
        self.dir = self.chain(struct.unpack_from("<I", raw, 0x30)[0])
        self.minifat_start = struct.unpack_from("<I", raw, 0x3C)[0]
        self.entries = {}
        for s in self.dir:
            for k in range(self.ssz // 128):
                at = self.off(s) + 128 * k
                n = struct.unpack_from("<H", raw, at + 0x40)[0]
                name = raw[at:at + max(0, n - 2)].decode("utf-16-le")
                self.entries[name] = at
        self.root_start = struct.unpack_from("<I", raw, self.entries["Root Entry"] + 0x74)[0]

    def off(self, s):
        return (s + 1) * self.ssz

    def chain(self, s, table=None):
        table = self.fat if table is None else table
        out = []
        while s < 0xFFFFFFFA and len(out) <= len(table):
            out.append(s)
            s = table[s]
        return out

    def minifat(self):
        out = []
        for s in self.chain(self.minifat_start):
            out += struct.unpack_from("<%dI" % (self.ssz // 4), self.raw, self.off(s))
        return out

    def start(self, name):
        return struct.unpack_from("<I", self.raw, self.entries[name] + 0x74)[0]

    def size(self, name):
        return struct.unpack_from("<I", self.raw, self.entries[name] + 0x78)[0]

    def stream_offsets(self, name):
        """File offsets of the stream's bytes, one per byte (big streams only)."""
        offs = []
        for s in self.chain(self.start(name)):
            offs += range(self.off(s), self.off(s) + self.ssz)
        return offs[:self.size(name)]

    def set_minifat(self, index, value):
        per = self.ssz // 4
        sectors = self.chain(self.minifat_start)
        struct.pack_into("<I", self.raw, self.off(sectors[index // per]) + 4 * (index % per), value)


def records(stream):
    at = 0
    while at + 4 <= len(stream):
        t, n = struct.unpack_from("<HH", stream, at)
        yield at, t, n
        at += 4 + n


def compound_files():
    src = open(os.path.join(data, "xls", "lo", "panes01.xls"), "rb").read()
    out = lambda n: os.path.join(here, n)

    def with_workbook(name, patch):
        c = Cfb(src)
        offs = c.stream_offsets("Workbook")
        wb = bytearray(c.raw[o] for o in offs)
        patch(wb)
        for o, b in zip(offs, wb):
            c.raw[o] = b
        open(out(name), "wb").write(c.raw)

    def sst_count(wb):
        at = next(a for a, t, n in records(wb) if t == 0x00FC)
        unique = struct.unpack_from("<I", wb, at + 8)[0]
        struct.pack_into("<I", wb, at + 8, unique + 5)

    def sst_cut(wb):
        at, _, n = next(r for r in records(wb) if r[1] == 0x00FC)
        struct.pack_into("<H", wb, at + 2, n - 6)
        struct.pack_into("<HH", wb, at + 4 + n - 6, 0x0000 + 0x0123, 2)  # an unknown record of 2 bytes

    with_workbook("sst_count.xls", sst_count)
    with_workbook("sst_cut.xls", sst_cut)

    # Cut off: the last sector goes, the end of the mini-stream container
    # that Excel laid out last.
    xf = open(os.path.join(data, "xls", "xlrd", "xf_class.xls"), "rb").read()
    c = Cfb(xf)
    last = max(c.chain(c.root_start))
    assert c.off(last) + c.ssz == len(xf), "the mini-stream container is not at the end"
    open(out("cfb_cut.xls"), "wb").write(xf[:len(xf) - c.ssz])

    # The Workbook stream's chain ends three sectors early.
    c = Cfb(src)
    s = c.chain(c.start("Workbook"))[-4]
    per = c.ssz // 4
    nfat = struct.unpack_from("<I", src, 0x2C)[0]
    difat = list(struct.unpack_from("<109I", src, 0x4C))[:nfat]
    struct.pack_into("<I", c.raw, c.off(difat[s // per]) + 4 * (s % per), 0xFFFFFFFE)
    open(out("cfb_workbook_short.xls"), "wb").write(c.raw)

    # Crossing chains in the mini stream: SummaryInformation's chain goes on
    # into DocumentSummaryInformation's first sector.
    c = Cfb(src)
    mini = c.minifat()
    s = c.chain(c.start("\x05SummaryInformation"), mini)
    d = c.start("\x05DocumentSummaryInformation")
    c.set_minifat(s[len(s) // 2], d)
    open(out("cfb_summary_cross.xls"), "wb").write(c.raw)


def main():
    packages()
    compound_files()


if __name__ == "__main__":
    main()
