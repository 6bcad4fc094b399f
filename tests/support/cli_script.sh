# Sourced by the integration scripts that drive tamberlin-split and tell their
# checks one a line. Before sourcing, set `work_name` (the scratch folder's
# prefix). Gives:
#   $split              the command-line splitter
#   $work               a scratch folder, removed on exit (made writable first)
#   check NAME COMMAND  runs COMMAND; prints "ok   NAME" or "FAIL NAME"
#   $fail               1 once a check failed; end the script with `exit $fail`
# and the source guard (guard_sources, sources_unchanged).
: "${TB_BUILD_DIR:?}" "${TB_TEST_DATA:?}" "${TB_SOURCE_DIR:?}" "${work_name:?}"
split="$TB_BUILD_DIR/tamberlin-split"
work="$(mktemp -d "${TMPDIR:-/tmp}/$work_name.XXXXXX")"
trap 'chmod -R u+w "$work"; rm -rf "$work"' EXIT
fail=0
check() { if ! eval "$2"; then echo "FAIL $1"; fail=1; else echo "ok   $1"; fi; }
# shellcheck source=source_guard.sh
. "$TB_SOURCE_DIR/tests/support/source_guard.sh"
