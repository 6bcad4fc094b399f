#!/bin/bash
# tamberlin-split against hostile inputs and faults while writing: forged
# sheet and workbook names, budgets, a file-size limit, a read-only and a
# vanished output folder. Each run ends with an error naming the file and a
# failing status, nothing is written outside the chosen folder, no partial or
# temporary file is left, an earlier file survives, and no source changes.
set -uo pipefail
work_name=tb-cli-hostile
# shellcheck source=../support/cli_script.sh
. "${TB_SOURCE_DIR:?}/tests/support/cli_script.sh"

mkdir -p "$work/in" "$work/out"
cp "$TB_TEST_DATA"/hostile/*.xls "$TB_TEST_DATA"/hostile/*.xlsx "$work/in/"
cp "$TB_TEST_DATA/xlsx/crossref.xlsx" "$TB_TEST_DATA/xls/made/crossref.xls" "$work/in/"
guard_sources "$work"/in/*
# Every file anywhere below $work but the inputs and the run's own output.
outside() { (cd "$work" && find . -mindepth 1 -not -path './in*' -not -path './out*' -not -name 'std*'); }

# Forged sheet names: "Good" is written, the forged sheet ends the run.
for f in sheet_dotdot.xlsx sheet_slash.xlsx sheet_control.xlsx sheet_long.xlsx sheet_dotdot.xls sheet_nul.xls; do
  rm -rf "$work/out" && mkdir "$work/out"
  "$split" -o "$work/out" "$work/in/$f" > "$work/stdout" 2> "$work/stderr"; rc=$?
  stem="${f%.*}"; good=Good.xls; [ "${f##*.}" = xls ] && good=Sheet1.xls
  check "$f: exit status 1" "[ $rc -eq 1 ]"
  check "$f: error 1004 naming the workbook" "grep -q 'error 1004' '$work/stderr' && grep -qF '$work/in/$f' '$work/stderr'"
  check "$f: only $good written" "[ \"\$(cd '$work/out' && find . -type f)\" = './$stem/$good' ]"
  check "$f: nothing outside the output folder" "[ -z \"\$(outside)\" ]"
done

# A sector chain in a circle: refused at opening, nothing written.
rm -rf "$work/out" && mkdir "$work/out"
timeout 60 "$split" -o "$work/out" "$work/in/cfb_loop.xls" > "$work/stdout" 2> "$work/stderr"; rc=$?
check "cfb_loop.xls: exit status 1 (not a crash or a hang)" "[ $rc -eq 1 ]"
check "cfb_loop.xls: says the chain runs in a circle" "grep -q 'runs in a circle' '$work/stderr'"
check "cfb_loop.xls: nothing written" "[ -z \"\$(find '$work/out' -type f)\" ]"

# Budgets: refused with the engine's error, quickly, nothing written.
for f in zip_bomb.xlsx zip_claims.xlsx deep_xml.xlsx; do
  rm -rf "$work/out" && mkdir "$work/out"
  timeout 60 "$split" -o "$work/out" "$work/in/$f" > "$work/stdout" 2> "$work/stderr"; rc=$?
  check "$f: exit status 1 (not a crash or a hang)" "[ $rc -eq 1 ]"
  check "$f: error 1004 naming the file" "grep -q 'error 1004' '$work/stderr' && grep -qF '$work/in/$f' '$work/stderr'"
done
check "zip bomb: says so" "grep -q 'zip bomb' <(\"$split\" -o '$work/out' '$work/in/zip_bomb.xlsx' 2>&1)"
check "deep XML: says so" "grep -q 'more than 256 deep' <(\"$split\" -o '$work/out' '$work/in/deep_xml.xlsx' 2>&1)"

# A forged workbook name: "...xls" has the short name "..", the chosen
# folder's parent. The save there is refused.
mkdir -p "$work/in/sub"
cp "$TB_TEST_DATA/xls/lo/simple02.xls" "$work/in/sub/...xls"
guard_sources "$work"/in/sub/...xls
rm -rf "$work/out" && mkdir "$work/out"
"$split" -o "$work/out" "$work/in/sub/...xls" > "$work/stdout" 2> "$work/stderr"; rc=$?
check "workbook '...xls': exit status 1" "[ $rc -eq 1 ]"
check "workbook '...xls': refused as leaving its folder" "grep -q 'would leave its folder' '$work/stderr'"
check "workbook '...xls': nothing written" "[ -z \"\$(ls -A '$work/out')\" ] && [ -z \"\$(outside)\" ]"

# A file-size limit (a full disk): the copy that does not fit is not left
# half-written, the file from the run before survives, no temporary files.
for f in crossref.xlsx crossref.xls; do
  rm -rf "$work/out" && mkdir -p "$work/out/crossref"
  echo "the run before" > "$work/out/crossref/Calc.xls"
  (trap '' XFSZ; ulimit -f 4; exec "$split" -o "$work/out" "$work/in/$f") > "$work/stdout" 2> "$work/stderr"; rc=$?
  check "$f under ulimit -f: exit status 1" "[ $rc -eq 1 ]"
  check "$f under ulimit -f: error names the file" "grep -qF '$work/out/crossref/' '$work/stderr'"
  check "$f under ulimit -f: the earlier Calc.xls survives" "[ \"\$(cat '$work/out/crossref/Calc.xls')\" = 'the run before' ]"
  check "$f under ulimit -f: no temporary files" "[ -z \"\$(find '$work/out' -name '.*tmp*')\" ]"
  written=$(wc -l < "$work/stdout")
  check "$f under ulimit -f: every file listed as written is whole" \
    "[ \$(find '$work/out' -type f | wc -l) -eq \$((written + 1)) ] || [ \$(find '$work/out' -type f | wc -l) -eq \$written ]"
done

# A read-only output folder, and one that vanishes: the run ends with a report.
rm -rf "$work/out" && mkdir "$work/out"
chmod a-w "$work/out"
if [ "$(id -u)" -ne 0 ]; then
  "$split" -o "$work/out" "$work/in/crossref.xlsx" > "$work/stdout" 2> "$work/stderr"; rc=$?
  check "read-only folder: exit status 1 with error 70" "[ $rc -eq 1 ] && grep -q 'error 70' '$work/stderr'"
  check "read-only folder: nothing written" "[ -z \"\$(ls -A '$work/out')\" ]"
fi
chmod u+w "$work/out"
mkdir -p "$work/out/crossref"
chmod a-w "$work/out/crossref"
if [ "$(id -u)" -ne 0 ]; then
  "$split" -o "$work/out" "$work/in/crossref.xlsx" > "$work/stdout" 2> "$work/stderr"; rc=$?
  check "read-only per-workbook folder: exit status 1 with error 70" "[ $rc -eq 1 ] && grep -q 'error 70' '$work/stderr'"
fi
chmod u+w "$work/out/crossref"
rmdir "$work/out/crossref" "$work/out"
"$split" -o "$work/out" "$work/in/crossref.xlsx" > "$work/stdout" 2> "$work/stderr"; rc=$?
check "vanished output folder: made again, and said so" "[ $rc -eq 0 ] && grep -q 'made the output folder' '$work/stderr'"
rm -rf "$work/out"

# The program copied without the module beside it that reads .xls files:
# workbooks of the other family still split; an .xls gets an error naming it
# and the module, and nothing is written for it.
mkdir -p "$work/alone" "$work/out"
cp "$split" "$work/alone/"
"$work/alone/tamberlin-split" -o "$work/out" "$work/in/crossref.xlsx" "$work/in/crossref.xls" \
  > "$work/stdout" 2> "$work/stderr"; rc=$?
check "no .xls module: exit status 1, error 1004 naming the workbook and the module" \
  "[ $rc -eq 1 ] && grep -q 'error 1004' '$work/stderr' && grep -qF '$work/in/crossref.xls' '$work/stderr' && grep -q 'tamberlin-cfb.so' '$work/stderr'"
check "no .xls module: the .xlsx is split, nothing written for the .xls" \
  "[ -n \"\$(find '$work/out/crossref' -name '*.xls' -newer '$work/alone/tamberlin-split')\" ] && [ \"\$(find '$work/out' -type f | wc -l)\" -eq \"\$(grep -c . '$work/stdout')\" ]"

check "sources unchanged" "sources_unchanged"
exit $fail
