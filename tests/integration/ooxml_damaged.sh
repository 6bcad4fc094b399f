#!/bin/bash
# Bad inputs through tamberlin-split: a truncated zip, a package without its
# workbook part, a text file named .xlsx, forged sheet names. Each gives an
# error naming the file and a failing exit status; nothing is written outside
# the output folder and no source file changes.
set -uo pipefail
work_name=tb-ooxml-damaged
# shellcheck source=../support/cli_script.sh
. "${TB_SOURCE_DIR:?}/tests/support/cli_script.sh"

mkdir -p "$work/in" "$work/out"
good="$TB_TEST_DATA/xlsx/comment04.xlsx"
head -c 5000 "$good" > "$work/in/truncated.xlsx"
python3 - "$good" "$work/in/noworkbook.xlsx" <<'PY'
import sys, zipfile
with zipfile.ZipFile(sys.argv[1]) as a, zipfile.ZipFile(sys.argv[2], "w") as b:
    for i in a.infolist():
        if i.filename != "xl/workbook.xml":
            b.writestr(i, a.read(i))
PY
printf 'Name,Value\nx,1\n' > "$work/in/plain text.xlsx"
cp "$TB_TEST_DATA/xlsx/damaged/forged_names.xlsx" "$work/in/"
before="$(cd "$work/in" && md5sum ./* | sort)"
guard_sources "$work"/in/*

for f in truncated noworkbook "plain text"; do
  "$split" -o "$work/out" "$work/in/$f.xlsx" > "$work/stdout" 2> "$work/stderr"; rc=$?
  check "$f: exit status 1" "[ $rc -eq 1 ]"
  check "$f: error names the file" "grep -q \"$work/in/$f.xlsx\" '$work/stderr'"
  check "$f: error number 1004" "grep -q 'error 1004' '$work/stderr'"
  check "$f: nothing on stdout" "[ ! -s '$work/stdout' ]"
done
check "truncated: says so" "grep -q 'truncated' <(\"$split\" -o '$work/out' '$work/in/truncated.xlsx' 2>&1)"
check "plain text: not a workbook" "grep -q 'is not a workbook' <(\"$split\" -o '$work/out' '$work/in/plain text.xlsx' 2>&1)"
check "no output for damaged inputs" "[ -z \"\$(ls -A '$work/out')\" ]"

# Forged names: "Good" is written, "a/b" stops the run with a clear error.
"$split" -o "$work/out" "$work/in/forged_names.xlsx" > "$work/stdout" 2> "$work/stderr"; rc=$?
check "forged: exit status 1" "[ $rc -eq 1 ]"
check "forged: good sheet written" "[ -f '$work/out/forged_names/Good.xls' ]"
check "forged: error names the sheet and file" "grep -q \"'a/b' of '$work/in/forged_names.xlsx'\" '$work/stderr'"
check "forged: nothing outside the output folder" "[ \"\$(ls -A '$work')\" = \"\$(printf 'in\nout\nstderr\nstdout')\" ]"
check "forged: only the one file" "[ \"\$(find '$work/out' -type f | wc -l)\" -eq 1 ]"
check "forged: no subfolder a" "[ ! -e '$work/out/forged_names/a' ]"
check "sources unchanged" "[ \"\$(cd '$work/in' && md5sum ./* | sort)\" = \"\$before\" ]"
check "sources unchanged: bytes and modification times" "sources_unchanged"
exit $fail
