#!/usr/bin/python3
"""The I/O floor of a split: read every input byte, then write files of the
same sizes as the outputs (one file each, flushed to disk as the splitter
flushes its own), and nothing else.

usage: io_floor.py OUTPUT_TREE SCRATCH_DIR INPUT...
Prints the seconds taken.
"""
import os
import sys
import time


def main():
    tree, scratch, inputs = sys.argv[1], sys.argv[2], sys.argv[3:]
    sizes = []
    for root, _, files in os.walk(tree):
        for f in files:
            sizes.append(os.path.getsize(os.path.join(root, f)))
    os.makedirs(scratch, exist_ok=True)
    t0 = time.perf_counter()
    for p in inputs:
        with open(p, "rb") as fh:
            while fh.read(1 << 20):
                pass
    block = b"\0" * (1 << 20)
    for i, n in enumerate(sizes):
        fd = os.open(os.path.join(scratch, "f%d" % i), os.O_WRONLY | os.O_CREAT | os.O_TRUNC, 0o644)
        while n > 0:
            n -= os.write(fd, block[:min(n, len(block))])
        os.fsync(fd)
        os.close(fd)
    print("%.3f" % (time.perf_counter() - t0))
    return 0


if __name__ == "__main__":
    sys.exit(main())
