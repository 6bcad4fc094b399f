# Sourced by the integration scripts that drive tamberlin-split and tell their
# checks one a line. Before sourcing, set `work_name` (the scratch folder's
# prefix). Gives:
#   $split              the command-line splitter
#   $work               a scratch folder, removed on exit (made writable first)
#   check NAME COMMAND  runs COMMAND; prints "ok   NAME" or "FAIL NAME"
#   $fail               1 once a check failed; end the script with `exit $fail`
#   renamed_sheet NEW OUT  writes OUT, hide01.xlsx with its Sheet2 renamed NEW
# and the source guard (guard_sources, sources_unchanged).
: "${TB_BUILD_DIR:?}" "${TB_TEST_DATA:?}" "${TB_SOURCE_DIR:?}" "${work_name:?}"
split="$TB_BUILD_DIR/tamberlin-split"
work="$(mktemp -d "${TMPDIR:-/tmp}/$work_name.XXXXXX")"
trap 'chmod -R u+w "$work"; rm -rf "$work"' EXIT
fail=0
check() { if ! eval "$2"; then echo "FAIL $1"; fail=1; else echo "ok   $1"; fi; }
# A name no writer would give a sheet, put into a real workbook by hand.
renamed_sheet() {
  python3 - "$TB_TEST_DATA/xlsx/hide01.xlsx" "$2" "$1" <<'PY'
import sys, zipfile
with zipfile.ZipFile(sys.argv[1]) as a, zipfile.ZipFile(sys.argv[2], "w") as b:
    for item in a.infolist():
        data = a.read(item)
        if item.filename == "xl/workbook.xml":
            data = data.replace(b'name="Sheet2"', b'name="' + sys.argv[3].encode() + b'"')
        b.writestr(item, data)
PY
}
# shellcheck source=source_guard.sh
. "$TB_SOURCE_DIR/tests/support/source_guard.sh"
