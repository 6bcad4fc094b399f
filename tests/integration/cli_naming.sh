#!/bin/bash
# tamberlin-split's names and run: the per-workbook folder is the file name
# less its last four characters (trailing periods and blanks trimmed on disk),
# each sheet is "<sheet>.xls", a name shorter than four characters is an
# error that leaves the files in the chosen folder itself, existing files
# are replaced, one line per file written, --list, and exit statuses.
set -uo pipefail
work_name=tb-cli-naming
# shellcheck source=../support/cli_script.sh
. "${TB_SOURCE_DIR:?}/tests/support/cli_script.sh"

mkdir -p "$work/in" "$work/out"
cp "$TB_TEST_DATA/xlsx/defined_name01.xlsx" "$work/in/Book1.xlsx"
cp "$TB_TEST_DATA/xlsx/hide01.xlsx" "$work/in/Q1.2020 data.xlsm"
cp "$TB_TEST_DATA/xlsx/simple02.xlsx" "$work/in/a.x"

guard_sources "$work"/in/*
cd "$work"
"$split" -o out in/Book1.xlsx "in/Q1.2020 data.xlsm" in/Book1.xlsx > stdout 2> stderr; rc=$?
check "exit 0 when every sheet is written" "[ $rc -eq 0 ]"
check "folder is the name less 4 characters, trimmed" "[ -d out/Book1 ] && [ ! -e out/Book1. ]"
check "an .xlsm loses 4 characters too" "[ -d 'out/Q1.2020 data.' ] || [ -d 'out/Q1.2020 data' ]"
check "sheet files end in .xls, no blank" "[ -f out/Book1/Sheet1.xls ] && [ -f 'out/Book1/Sheet 3.xls' ] && [ ! -e 'out/Book1/Sheet1.xls ' ]"
check "hidden sheets are written" "[ -f 'out/Q1.2020 data/Sheet2.xls' ]"
check "one line per file, full paths" "[ \$(wc -l < stdout) -eq 6 ] && grep -qx '$work/out/Book1/Sheet 3.xls' stdout"
check "a workbook listed twice is split once" "[ \$(grep -c '/Book1/' stdout) -eq 3 ]"
check "no progress bar when stderr is not a terminal" "[ ! -s stderr ]"

echo stale > out/Book1/Sheet1.xls
"$split" -o out in/Book1.xlsx > /dev/null 2>&1; rc=$?
check "existing files are replaced" "[ $rc -eq 0 ] && [ \"\$(head -c 2 out/Book1/Sheet1.xls)\" = PK ]"

"$split" -o out in/a.x > stdout 2> stderr; rc=$?
check "a name of 3 characters is reported" "[ $rc -eq 1 ] && grep -q 'fewer than 4 characters' stderr && grep -q 'error 5' stderr"
check "its files go to the chosen folder itself" "[ -f out/Sheet1.xls ] && [ -f 'out/Data Sheet.xls' ]"

"$split" --list in/Book1.xlsx "in/Q1.2020 data.xlsm" > stdout 2> stderr; rc=$?
check "--list prints workbook and sheet" "[ $rc -eq 0 ] && [ \"\$(sed -n 3p stdout)\" = \"$work/in/Book1.xlsx	Sheet 3\" ] && [ \$(wc -l < stdout) -eq 6 ]"

echo file > afile
"$split" -o afile/out in/Book1.xlsx > /dev/null 2> stderr; rc=$?
check "an output folder that cannot be made: exit 1" "[ $rc -eq 1 ] && grep -q 'cannot make the output folder' stderr"
"$split" -o out in/Book1.xlsx in/nothere.xlsx > stdout 2> stderr; rc=$?
check "a missing workbook is reported and fails the run" "[ $rc -eq 1 ] && grep -q 'nothere.xlsx' stderr && grep -q 'error 53' stderr"
"$split" > /dev/null 2> stderr; rc=$?
check "no arguments: usage, exit 2" "[ $rc -eq 2 ] && grep -q usage stderr"
mkdir -p "ACME Inc./out"
"$split" -o "ACME Inc./out" in/Book1.xlsx > stdout 2> stderr; rc=$?
check "a chosen folder under a parent ending in a period is written into" "[ $rc -eq 0 ] && [ -f 'ACME Inc./out/Book1/Sheet1.xls' ] && [ ! -e 'ACME Inc' ] && grep -qx '$work/ACME Inc./out/Book1/Sheet1.xls' stdout"

renamed_sheet 'Q?' in/Q.xlsx
"$split" -o out in/Q.xlsx > stdout 2> stderr; rc=$?
check "a sheet whose name holds ? is left out, with a note" "[ $rc -eq 0 ] && [ -f out/Q/Sheet3.xls ] && [ ! -e 'out/Q/Q?.xls' ] && [ ! -e out/Q/Q.xls ] && grep -q \"'Q?' is left out\" stderr"
check "sources unchanged" "sources_unchanged"
exit $fail
