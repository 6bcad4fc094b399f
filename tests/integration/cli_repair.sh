#!/bin/bash
# A folder holding one damaged workbook of each kind that other readers open:
# every sheet of every one is written, each repair is said once per workbook
# on standard error ("Book.xls: repaired: ..."), listing and run together,
# the copies open in openpyxl and xlrd, no copy holds a DTD, and no source
# changes.
set -uo pipefail
work_name=tb-cli-repair
# shellcheck source=../support/cli_script.sh
. "${TB_SOURCE_DIR:?}/tests/support/cli_script.sh"

mkdir -p "$work/in" "$work/out"
for f in "$TB_TEST_DATA"/repair/*.xls "$TB_TEST_DATA"/repair/*.xlsx; do
  case "$(basename "$f")" in pivot.xlsx) continue ;; esac
  cp "$f" "$work/in/"
done
guard_sources "$work"/in/*

"$split" -o "$work/out" "$work"/in/* > "$work/stdout" 2> "$work/stderr"; rc=$?
check "exit status 0" "[ $rc -eq 0 ]"
check "no error" "! grep -q 'error' '$work/stderr'"
for f in "$work"/in/*; do
  name="$(basename "$f")"
  sheets="$("$split" --list "$f" 2>/dev/null | wc -l)"
  written="$(find "$work/out/${name%.*}" -name '*.xls' | wc -l)"
  check "$name: every sheet written ($sheets)" "[ '$sheets' -gt 0 ] && [ '$written' -eq '$sheets' ]"
done
for f in sst_index.xlsx pivot_rel_no_id.xlsx missing_connections.xlsx macro_tab_missing_rel.xlsx \
         dtd_shared_strings.xlsx dtd_core.xlsx sst_count.xls sst_cut.xls cfb_cut.xls cfb_summary_cross.xls cfb_workbook_short.xls; do
  check "$f: repair said" "grep -q '^$f: repaired: ' '$work/stderr'"
done
check "each repair said once" "[ -z \"\$(grep ': repaired: ' '$work/stderr' | sort | uniq -d)\" ]"
check "listing says the repairs found on opening" \
  "\"$split\" --list '$work/in/cfb_cut.xls' 2>&1 >/dev/null | grep -q '^cfb_cut.xls: repaired: the stream .CompObj. is damaged'"
check "copies open in openpyxl and xlrd" "/usr/bin/python3 - '$work/out' <<'PY'
import glob, io, sys, zipfile
import openpyxl, xlrd
for f in glob.glob(sys.argv[1] + '/*/*.xls'):
    if open(f, 'rb').read(2) == b'PK':
        openpyxl.load_workbook(io.BytesIO(open(f, 'rb').read()))
        with zipfile.ZipFile(f) as z:
            for n in z.namelist():
                assert b'<!DOCTYPE' not in z.read(n), (f, n)
    else:
        xlrd.open_workbook(f)
PY"
check "cells past the string table read as empty" "/usr/bin/python3 - '$work/out' <<'PY'
import io, sys, openpyxl, xlrd
ws = openpyxl.load_workbook(io.BytesIO(open(sys.argv[1] + '/sst_index/Sheet1.xls', 'rb').read())).active
assert ws['A1'].value is None and ws['B1'].value is None and ws['A2'].value == 123
assert xlrd.open_workbook(sys.argv[1] + '/sst_count/Sheet1.xls').sheet_by_index(0).cell_value(0, 0) == 'Foo'
PY"
check "sources unchanged: bytes and modification times" "sources_unchanged"
exit $fail
