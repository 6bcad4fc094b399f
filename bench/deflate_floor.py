#!/usr/bin/python3
"""What compression alone costs a split of Office Open XML workbooks: the
parts of the outputs that no source holds as they are (a sheet whose formulas
now name the source, a pruned shared-string table, an external link's cached
values) have to be deflated anew by any exact copier; the rest can be copied
compressed. This times inflating the source's copies of those parts and
deflating the new ones at zlib's fastest level, and nothing else.

usage: deflate_floor.py OUTPUT_TREE INPUT...
Prints the seconds taken, or "-" when no output is a zip package.
"""
import os
import sys
import time
import zlib
import zipfile


def main():
    tree, inputs = sys.argv[1], sys.argv[2:]
    kept = set()      # (part name, crc) of every source part
    sources = []      # compressed source parts under the names the outputs rewrite
    for path in inputs:
        if not zipfile.is_zipfile(path):
            continue
        with zipfile.ZipFile(path) as z:
            for info in z.infolist():
                kept.add((info.filename, info.CRC))
    new_parts = []
    for root, _, files in os.walk(tree):
        for f in files:
            p = os.path.join(root, f)
            if not zipfile.is_zipfile(p):
                continue
            with zipfile.ZipFile(p) as z:
                for info in z.infolist():
                    if (info.filename, info.CRC) not in kept:
                        new_parts.append((info.filename, z.read(info)))
    if not new_parts:
        print("-")
        return 0
    names = {n for n, _ in new_parts}
    for path in inputs:
        if not zipfile.is_zipfile(path):
            continue
        with zipfile.ZipFile(path) as z:
            for info in z.infolist():
                if info.filename in names:
                    sources.append(zlib.compress(z.read(info), 1)[2:-4])
    t0 = time.perf_counter()
    for raw in sources:
        zlib.decompress(raw, -15)
    for _, data in new_parts:
        c = zlib.compressobj(1, zlib.DEFLATED, -15)
        c.compress(data)
        c.flush()
    print("%.3f" % (time.perf_counter() - t0))
    return 0


if __name__ == "__main__":
    sys.exit(main())
