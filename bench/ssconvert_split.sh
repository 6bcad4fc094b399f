#!/bin/bash
# Gnumeric's way to take a workbook apart: load it once with ssconvert and
# export a file for every sheet (--export-file-per-sheet). Gnumeric's
# workbook exporters (xlsx, biff8) cannot write one file per sheet, so the
# per-sheet files are CSV: values only, less to write than a workbook copy,
# which makes this a lower bound on what a per-sheet workbook would cost it.
#
# usage: ssconvert_split.sh OUT_DIR WORKBOOK...
set -euo pipefail
out=$1; shift
for path in "$@"; do
  base=$(basename "$path")
  folder="$out/${base%.*}"
  mkdir -p "$folder"
  ssconvert --export-file-per-sheet -T Gnumeric_stf:stf_csv "$path" "$folder/%s.csv" > /dev/null 2>&1
done
