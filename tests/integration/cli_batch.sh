#!/bin/bash
# tamberlin-split as a batch tool: folders (and -r) as inputs, an output
# folder made when missing, sheet selection, name templates and the
# collisions they can make, --no-clobber, --dry-run, --json, the exit
# statuses, --version, and --help against the manual page.
set -uo pipefail
work_name=tb-cli-batch
# shellcheck source=../support/cli_script.sh
. "${TB_SOURCE_DIR:?}/tests/support/cli_script.sh"

mkdir -p "$work/in/sub/deeper" "$work/in/.hidden" "$work/in/a.xls"
cp "$TB_TEST_DATA/xlsx/hide02.xlsx" "$work/in/Budget.xlsx"          # Sheet1, Sheet2 very hidden, Sheet3
cp "$TB_TEST_DATA/xls/lo/hide01.xls" "$work/in/Old.xls"             # Sheet1, Sheet2 hidden, Sheet3
cp "$TB_TEST_DATA/xlsx/crossref.xlsx" "$work/in/sub/Cross.xlsx"     # has a sheet named Empty
cp "$TB_TEST_DATA/xlsx/simple02.xlsx" "$work/in/sub/deeper/Deep.xlsx"
cp "$TB_TEST_DATA/xlsx/simple02.xlsx" "$work/in/.hidden/Secret.xlsx"
cp "$TB_TEST_DATA/xlsx/simple02.xlsx" "$work/in/.Dot.xlsx"
guard_sources "$work"/in/Budget.xlsx "$work"/in/Old.xls "$work"/in/sub/Cross.xlsx "$work"/in/sub/deeper/Deep.xlsx
cd "$work"
sources() { cut -f1 | sed "s|^$work/||" | uniq | tr '\n' ' '; }

"$split" --list in > stdout 2> stderr; rc=$?
check "a folder adds its .xls then its .xlsx, hidden files left out" \
  "[ $rc -eq 0 ] && [ \"\$(sources < stdout)\" = 'in/Old.xls in/Budget.xlsx ' ]"
"$split" --list -r in > stdout 2> stderr
check "-r takes each subfolder after its parent's files, hidden folders left out" \
  "[ \"\$(sources < stdout)\" = 'in/Old.xls in/Budget.xlsx in/sub/Cross.xlsx in/sub/deeper/Deep.xlsx ' ]"

"$split" -o new/deep/out in > stdout 2> stderr; rc=$?
check "-o makes a missing folder with its parents and says so once" \
  "[ $rc -eq 0 ] && [ -f new/deep/out/Budget/Sheet3.xls ] && [ \$(grep -c 'made the output folder' stderr) -eq 1 ] && [ \$(wc -l < stderr) -eq 1 ]"
"$split" -o new/deep/out in > /dev/null 2> stderr
check "and says nothing when it exists" "[ ! -s stderr ]"

"$split" -o sel --skip-hidden --exclude 'sheet3' in > stdout 2> stderr; rc=$?
check "--skip-hidden leaves out hidden and very hidden sheets, --exclude ignores case" \
  "[ $rc -eq 0 ] && [ \"\$(cd sel && find . -type f | sort | tr '\n' ' ')\" = './Budget/Sheet1.xls ./Old/Sheet1.xls ' ]"
"$split" -o sel2 --sheet 'ca*' --sheet 'e?pty' --sheet '*SHEET' --skip-empty -r in > stdout 2> stderr; rc=$?
check "--sheet patterns add up, --skip-empty leaves out empty sheets (Deep's Data Sheet is one)" \
  "[ $rc -eq 0 ] && [ \"\$(cd sel2 && find . -type f | sort | tr '\\n' ' ')\" = './Cross/Calc.xls ' ]"

"$split" -o kept --keep-extension in/Budget.xlsx in/Old.xls > stdout 2> stderr; rc=$?
check "--keep-extension names each copy by its real format" \
  "[ $rc -eq 0 ] && [ \"\$(head -c 2 kept/Budget/Sheet1.xlsx)\" = PK ] && [ \"\$(od -An -tx1 -N4 kept/Old/Sheet1.xls | tr -d ' ')\" = d0cf11e0 ]"
"$split" -o tmpl --name '{stem}-{index}-{sheet}.{ext}' in/Old.xls > stdout 2> stderr; rc=$?
check "--name fills {stem} {index} {sheet} {ext}" "[ $rc -eq 0 ] && [ -f tmpl/Old-3-Sheet3.xls ]"
"$split" -o clash --name '{sheet}.{ext}' in/Budget.xlsx in/sub/deeper/Deep.xlsx > stdout 2> stderr; rc=$?
check "two sheets on one path: both reported, neither written, the rest written, exit 1" \
  "[ $rc -eq 1 ] && [ ! -e clash/Sheet1.xlsx ] && [ ! -e clash/Sheet3.xlsx ] && [ -f clash/Sheet2.xlsx ] && [ -f 'clash/Data Sheet.xlsx' ] && [ \$(grep -c 'Neither is written' stderr) -eq 4 ]"
"$split" -o out --name '{book}/../{sheet}' in/Old.xls > stdout 2> stderr; rc=$?
check "a template that leaves the folder writes nothing" "[ $rc -eq 1 ] && [ -z \"\$(find . -name 'Sheet*' -newer stdout)\" ] && grep -q 'leaves the output folder' stderr"

echo old > new/deep/out/Budget/Sheet1.xls
rm new/deep/out/Budget/Sheet3.xls
"$split" -o new/deep/out --no-clobber in/Budget.xlsx > stdout 2> stderr; rc=$?
check "--no-clobber: an existing file stays, that sheet fails, the others are written" \
  "[ $rc -eq 1 ] && [ \"\$(cat new/deep/out/Budget/Sheet1.xls)\" = old ] && grep -q 'Sheet1.xls.*already exists' stderr && [ \$(wc -l < stdout) -eq 1 ] && [ -f new/deep/out/Budget/Sheet3.xls ]"

"$split" -o dry/run --dry-run --skip-hidden -r in > stdout 2> stderr; rc=$?
check "--dry-run prints the paths and the skips and writes nothing, not even DIR" \
  "[ $rc -eq 0 ] && [ ! -e dry ] && grep -qx '$work/dry/run/Deep/Data Sheet.xls' stdout && grep -q \"'Sheet2' is skipped: very hidden\" stderr"

"$split" -o js --json --skip-empty -r in in/missing.xlsx > stdout 2> stderr; rc=$?
check "--json: one object a line, the fields, a summary, exit 1 for the missing workbook" "[ $rc -eq 1 ] && python3 - stdout <<'PY'
import json, sys
lines = [json.loads(l) for l in open(sys.argv[1])]
rows, summary = lines[:-1], lines[-1]
assert all(set(r) == {'source', 'sheet', 'output', 'status', 'reason', 'bytes', 'ms'} for r in rows), rows
written = [r for r in rows if r['status'] == 'written']
import os
assert all(os.path.getsize(r['output']) == r['bytes'] > 0 for r in written)
assert any(r['status'] == 'skipped' and r['sheet'] == 'Empty' and 'empty' in r['reason'] for r in rows)
failed = [r for r in rows if r['status'] == 'failed']
assert len(failed) == 1 and failed[0]['sheet'] is None and 'missing.xlsx' in failed[0]['source']
assert summary['summary'] and summary['written'] == len(written) and summary['workbooks_failed'] == 1
assert summary['exit_status'] == 1
PY"
check "--json keeps errors on standard error" "grep -q 'missing.xlsx' stderr"

# A workbook whose copy cannot be written (a forged sheet name holding "/")
# stops at that sheet; the next workbook is still split.
renamed_sheet 'a/b' forged.xlsx
"$split" -o goon forged.xlsx in/Old.xls > stdout 2> stderr; rc=$?
check "after a workbook fails, the next one is still split; exit 1" \
  "[ $rc -eq 1 ] && [ -f goon/forged/Sheet1.xls ] && [ ! -e goon/forged/Sheet3.xls ] && [ -f goon/Old/Sheet3.xls ] && grep -q 'forged.xlsx' stderr"
"$split" --json -o goon2 forged.xlsx > stdout 2> /dev/null
check "--json has a line for every sheet of a workbook that failed midway" \
  "grep -q '\"sheet\":\"Sheet1\",.*\"status\":\"written\"' stdout && grep -q '\"sheet\":\"a/b\",.*\"status\":\"failed\"' stdout && grep -q '\"sheet\":\"Sheet3\",.*\"status\":\"failed\",\"reason\":\"not written: an earlier sheet' stdout"
"$split" --dry-run --no-clobber -o goon in/Old.xls > stdout 2> stderr; rc=$?
check "--dry-run --no-clobber tells the files it would not replace" \
  "[ $rc -eq 1 ] && [ \$(grep -c 'would not be replaced' stderr) -eq 3 ] && [ ! -s stdout ]"

# -j 2 gives what -j 1 gives: the tree (Budget.xlsx beside another Budget
# .xls: the later replaces the earlier's files in both), the lines of both
# streams in the same order, the exit status.
mkdir -p more
cp "$TB_TEST_DATA/xls/lo/simple02.xls" more/Budget.xls
for j in 1 2; do
  "$split" -j $j -r -o j$j in more forged.xlsx in/missing.xlsx > j$j.out 2> j$j.err; echo $? > j$j.rc
  "$split" -j $j --json --keep-extension -r -o k$j in more > k$j.out 2> /dev/null
done
check "-j 2: the same tree, report and exit status as -j 1" \
  "diff -r j1 j2 && diff <(sed 's|/j1/|/J/|' j1.out) <(sed 's|/j2/|/J/|' j2.out) && diff <(sed 's|/j1|/J|' j1.err) <(sed 's|/j2|/J|' j2.err) && [ \"\$(cat j1.rc j2.rc)\" = '1
1' ] && [ -f j1/Budget/Sheet3.xls ] && [ \$(grep -c '/j1/Budget/Sheet1.xls' j1.out) -eq 2 ]"
check "-j 2 with --json and a template: the same lines" \
  "diff -r k1 k2 && diff <(sed 's|/k1/|/K/|; s|\"ms\":[0-9]*||' k1.out | grep -v summary) <(sed 's|/k2/|/K/|; s|\"ms\":[0-9]*||' k2.out | grep -v summary)"

"$split" --frobnicate in > /dev/null 2>&1; a=$?
"$split" -o out > /dev/null 2>&1; b=$?
"$split" -j x in > /dev/null 2>&1; c=$?
"$split" --name '{nope}' in > /dev/null 2>&1; d=$?
check "usage errors exit 2" "[ $a$b$c$d = 2222 ]"
check "--version names the program and its version" \
  "\"$split\" --version | grep -qE '^tamberlin-split \\(Tamberlin\\) [0-9]+\\.[0-9]+\\.[0-9]+$'"

# Every long option of --help is in the manual page and the other way round.
help_opts=$("$split" --help | grep -oE -- '--[a-z][a-z-]*' | sort -u)
man_opts=$(sed 's/\\-/-/g' "$TB_SOURCE_DIR/packaging/tamberlin-split.1" | grep -oE -- '--[a-z][a-z-]*' | sort -u)
check "--help and the manual page name the same options" "[ \"$help_opts\" = \"$man_opts\" ]"
check "sources unchanged" "sources_unchanged"
exit $fail
