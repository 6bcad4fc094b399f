# Sourced by the integration scripts: remembers the bytes and modification
# times of source files, and tells afterwards whether any changed.
#   guard_sources FILE...     remember them
#   sources_unchanged         status 0 when every file is as it was; lists the
#                             changed ones on stderr otherwise
_tb_guard_list=()
_tb_guard_state=""
_tb_guard_snapshot() {
  local f
  for f in "${_tb_guard_list[@]}"; do
    if [ -e "$f" ]; then
      printf '%s %s %s\n' "$(md5sum < "$f" | cut -d' ' -f1)" "$(stat -c %Y.%y "$f")" "$f"
    else
      printf 'missing - %s\n' "$f"
    fi
  done
}
guard_sources() { _tb_guard_list+=("$@"); _tb_guard_state="$(_tb_guard_snapshot)"; }
sources_unchanged() {
  local now
  now="$(_tb_guard_snapshot)"
  [ "$now" = "$_tb_guard_state" ] && return 0
  diff <(echo "$_tb_guard_state") <(echo "$now") >&2
  return 1
}
