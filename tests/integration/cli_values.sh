#!/bin/bash
# tamberlin-split --values: copies that stand alone. Formulas reaching other
# sheets become their values, so neither format names the source any more
# (no externalLink part, no SUPBOOK with its path); a note on standard error
# per sheet counts what changed; formulas without a cached value stay linked.
set -uo pipefail
work_name=tb-cli-values
# shellcheck source=../support/cli_script.sh
. "${TB_SOURCE_DIR:?}/tests/support/cli_script.sh"

mkdir -p "$work/in" "$work/linked" "$work/alone"
cp "$TB_TEST_DATA/xlsx/wholecol_xw.xlsx" "$TB_TEST_DATA/xlsx/tables_op.xlsx" \
   "$TB_TEST_DATA/xls/lo/wholecol_lo97.xls" "$work/in/"
guard_sources "$work"/in/*
cd "$work"
# The source's name appears in a copy only where the copy links to it (the
# engine writes it a byte a character there).
names_source() { grep -a -q -e "$2" "$1"; }

"$split" -o linked in/wholecol_xw.xlsx in/wholecol_lo97.xls > /dev/null 2> stderr; rc=$?
check "without --values the copies link to their source" \
  "[ $rc -eq 0 ] && grep -a -q externalLink linked/wholecol_xw/Calc.xls && names_source linked/wholecol_lo97/Calc.xls wholecol_lo97.xls"
check "and say nothing" "[ ! -s stderr ]"

"$split" --values -o alone in/wholecol_xw.xlsx in/wholecol_lo97.xls in/tables_op.xlsx > /dev/null 2> stderr; rc=$?
check "--values: exit 0" "[ $rc -eq 0 ]"
check "no external link in the .xlsx copy" "! grep -a -q externalLink alone/wholecol_xw/Calc.xls"
check "no SUPBOOK naming the source in the .xls copy" "! names_source alone/wholecol_lo97/Calc.xls wholecol_lo97.xls"
check "a note per sheet that changed" \
  "grep -q 'wholecol_xw.xlsx: Calc: 8 formulas written as values; 1 name, 1 validation and 1 conditional format dropped' stderr && grep -q 'wholecol_lo97.xls: Calc: 7 formulas' stderr && [ \$(wc -l < stderr) -eq 3 ]"
check "formulas without cached values stay, linked" \
  "grep -q 'tables_op.xlsx: Report: 1 validation and 1 conditional format dropped' stderr && grep -a -q externalLink alone/tables_op/Report.xls"
check "sources unchanged" "sources_unchanged"
exit $fail
