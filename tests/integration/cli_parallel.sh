#!/bin/bash
# The README's scale-out recipe, run locally: a folder's workbooks fanned out
# with GNU parallel, one tamberlin-split job each, into one output tree, each
# job's --json gathered into one report. The tree and the joined report equal
# one run's over the folder, and a rerun into the same tree changes nothing.
set -uo pipefail
work_name=tb-cli-parallel
# shellcheck source=../support/cli_script.sh
. "${TB_SOURCE_DIR:?}/tests/support/cli_script.sh"
command -v parallel > /dev/null || { echo "SKIP: GNU parallel is not installed (scripts/install-deps)"; exit 0; }

mkdir -p "$work/reports"
cp "$TB_TEST_DATA/xlsx/hide01.xlsx" "$TB_TEST_DATA/xlsx/crossref.xlsx" "$TB_TEST_DATA/xlsx/simple02.xlsx" \
   "$TB_TEST_DATA/xls/lo/hide01.xls" "$TB_TEST_DATA/xls/lo/simple02.xls" "$work/reports/"
cp "$TB_TEST_DATA/xlsx/simple02.xlsx" "$work/reports/Cash Flow.XLSX"
guard_sources "$work"/reports/*
cd "$work"

# The recipe: the workbooks in the order one run takes them (.xls, then
# .xlsx), one job each, the jobs' reports kept in that order.
fan_out() {
  (cd reports && LC_ALL=C ls -1 -- *.[xX][lL][sS]; LC_ALL=C ls -1 -- *.[xX][lL][sS][xX]) |
    sed "s|^|$work/reports/|" |
    parallel -j 2 --keep-order "$split" --json --keep-extension -o "$1" {} > jobs.jsonl
  # One report: every job's sheet lines, then one summary of them all.
  python3 - jobs.jsonl > "$2" <<'PY'
import json, sys
lines = [json.loads(l) for l in open(sys.argv[1])]
total = {"summary": True, "written": 0, "skipped": 0, "failed": 0, "workbooks_failed": 0, "bytes": 0, "ms": 0}
for l in lines:
    if l.get("summary"):
        for k in ("written", "skipped", "failed", "workbooks_failed", "bytes", "ms"):
            total[k] += l[k]
    else:
        print(json.dumps(l))
total["exit_status"] = 1 if total["failed"] or total["workbooks_failed"] else 0
print(json.dumps(total))
PY
}
# A report without its timings and with the output folder named alike.
normal() { python3 -c '
import json, sys
for l in open(sys.argv[1]):
    o = json.loads(l); o.pop("ms", None)
    if o.get("output"): o["output"] = o["output"].replace(sys.argv[2], "OUT")
    print(json.dumps(o, sort_keys=True))' "$1" "$2"; }

"$split" --json --keep-extension -o single reports > single.jsonl; rc=$?
fan_out "$work/fanned" fanned.jsonl; prc=$?
check "one run and the fan-out both succeed" "[ $rc -eq 0 ] && [ $prc -eq 0 ]"
check "the fanned-out tree equals one run's" "diff -r single fanned"
check "the joined report equals one run's" "diff <(normal single.jsonl '$work/single') <(normal fanned.jsonl '$work/fanned')"
check "and counts every sheet" "[ \$(grep -c '\"status\": \"written\"' fanned.jsonl) -eq \$(\"$split\" --list reports | wc -l) ] && [ \$(wc -l < fanned.jsonl) -gt 10 ]"

cp -a fanned before
fan_out "$work/fanned" again.jsonl; prc=$?
check "a rerun into the same tree is idempotent" "[ $prc -eq 0 ] && diff -r before fanned && diff <(normal fanned.jsonl x) <(normal again.jsonl x)"
check "sources unchanged" "sources_unchanged"
exit $fail
