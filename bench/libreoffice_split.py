#!/usr/bin/python3
"""LibreOffice headless through python3-uno, the macro recipe: for every
sheet, load the workbook hidden, delete every other sheet, store it in the
source's family (Excel 97-2003 for .xls, Office Open XML otherwise) under the
sheet's name.

usage: libreoffice_split.py OUT_DIR WORKBOOK...
Starts its own soffice with a throw-away profile and ends it at the end.
"""
import os
import shutil
import subprocess
import sys
import tempfile
import time

import uno
from com.sun.star.beans import PropertyValue


def prop(name, value):
    p = PropertyValue()
    p.Name, p.Value = name, value
    return p


def main():
    out = sys.argv[1]
    work = tempfile.mkdtemp(prefix="tb-bench-lo-")
    pipe = "tb_bench_%d" % os.getpid()
    office = subprocess.Popen(["soffice", "--headless", "--invisible", "--nologo", "--norestore",
                               "-env:UserInstallation=file://" + work + "/profile",
                               "--accept=pipe,name=%s;urp;" % pipe])
    try:
        local = uno.getComponentContext()
        resolver = local.ServiceManager.createInstanceWithContext("com.sun.star.bridge.UnoUrlResolver", local)
        for _ in range(600):
            try:
                ctx = resolver.resolve("uno:pipe,name=%s;urp;StarOffice.ComponentContext" % pipe)
                break
            except Exception:
                time.sleep(0.1)
        desktop = ctx.ServiceManager.createInstanceWithContext("com.sun.star.frame.Desktop", ctx)
        for path in sys.argv[2:]:
            base = os.path.basename(path)
            folder = os.path.join(out, base[:-4].rstrip(". "))
            os.makedirs(folder, exist_ok=True)
            url = uno.systemPathToFileUrl(os.path.abspath(path))
            family = "MS Excel 97" if path.lower().endswith(".xls") else "Calc MS Excel 2007 XML"
            doc = desktop.loadComponentFromURL(url, "_blank", 0, (prop("Hidden", True),))
            names = list(doc.Sheets.ElementNames)
            doc.close(True)
            for name in names:
                doc = desktop.loadComponentFromURL(url, "_blank", 0, (prop("Hidden", True),))
                for other in names:
                    if other != name:
                        doc.Sheets.removeByName(other)
                target = uno.systemPathToFileUrl(os.path.abspath(os.path.join(folder, name + ".xls")))
                doc.storeToURL(target, (prop("FilterName", family), prop("Overwrite", True)))
                doc.close(True)
        try:
            desktop.terminate()
        except Exception:
            pass
    finally:
        try:
            office.wait(timeout=30)
        except subprocess.TimeoutExpired:
            office.kill()
        shutil.rmtree(work, ignore_errors=True)
    return 0


if __name__ == "__main__":
    sys.exit(main())
