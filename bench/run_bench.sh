#!/bin/bash
# Times tamberlin-split against the tools a user would use instead, in one
# run: LibreOffice headless (per-sheet delete-and-save through python3-uno)
# and the openpyxl delete-and-save recipe. Reports wall time, peak memory,
# the compression floor (deflate_floor.py) against Tamberlin,
# the ratio of each peer to Tamberlin, and Tamberlin against the I/O floor.
# By hand, not in CI: the full run takes a long while for the peers.
#
# usage: bench/run_bench.sh [--build DIR] [--work DIR] [--scale F] [--peers "lo openpyxl"]
set -euo pipefail
here="$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)"
build="$here/../build"
work="${TMPDIR:-/tmp}/tamberlin-bench"
scale=1
peers="lo openpyxl"
while [ $# -gt 0 ]; do
  case "$1" in
    --build) build="$2"; shift 2 ;;
    --work) work="$2"; shift 2 ;;
    --scale) scale="$2"; shift 2 ;;
    --peers) peers="$2"; shift 2 ;;
    *) echo "unknown argument $1" >&2; exit 2 ;;
  esac
done
py=/usr/bin/python3
split="$build/tamberlin-split"
[ -x "$split" ] || { echo "no $split; build first or pass --build" >&2; exit 2; }
data="$work/data-$scale"
if [ ! -f "$data/.done" ]; then
  echo "building workloads (scale $scale) in $data ..." >&2
  rm -rf "$data"; mkdir -p "$data"
  "$py" "$here/make_workloads.py" "$data" --scale "$scale"
  touch "$data/.done"
fi

# Wall seconds (to the millisecond) and peak kB (GNU time) of one command.
# Whatever the tool before it left unwritten is flushed first, untimed, so
# that no tool pays for another's writeback.
measure() {
  local log="$work/time.log" start end
  sync
  start=$EPOCHREALTIME
  /usr/bin/time -f '%M' -o "$log" "$@" > /dev/null 2> "$work/stderr.log" || {
    echo "FAILED: $* (see $work/stderr.log)" >&2; echo "nan nan"; return; }
  end=$EPOCHREALTIME
  printf '%.3f %s\n' "$(echo "$end - $start" | bc -l)" "$(cat "$log")"
}

printf '%-10s %-10s %10s %10s %10s\n' workload tool seconds peak_MB vs_tamberlin
for wl in big big5 many sst xls; do
  inputs=("$data/$wl"/*.xls*)
  cat "${inputs[@]}" > /dev/null   # warm the page cache for every tool alike
  out="$work/out-$wl"
  rm -rf "$out"; mkdir -p "$out"
  mkdir -p "$out/tamberlin"
  read -r t_tb m_tb < <(measure "$split" -o "$out/tamberlin" "${inputs[@]}")
  printf '%-10s %-10s %10s %10.1f %10s\n' "$wl" tamberlin "$t_tb" "$(echo "$m_tb/1024" | bc -l)" 1
  sync
  t_floor="$("$py" "$here/io_floor.py" "$out/tamberlin" "$out/floor" "${inputs[@]}")"
  rm -rf "$out/floor"
  printf '%-10s %-10s %10s %10s %10s\n' "$wl" io_floor "$t_floor" - "$(echo "scale=2; $t_floor/$t_tb" | bc -l)"
  sync
  t_deflate="$("$py" "$here/deflate_floor.py" "$out/tamberlin" "${inputs[@]}")"
  [ "$t_deflate" = - ] ||
    printf '%-10s %-10s %10s %10s %10s\n' "$wl" deflate "$t_deflate" - "$(echo "scale=2; $t_deflate/$t_tb" | bc -l)"
  for p in $peers; do
    # openpyxl reads Office Open XML only
    [ "$p" = openpyxl ] && [ "$wl" = xls ] && continue
    case "$p" in
      lo) cmd=("$py" "$here/libreoffice_split.py" "$out/lo") ;;
      openpyxl) cmd=("$py" "$here/openpyxl_split.py" "$out/openpyxl") ;;
      *) echo "unknown peer $p" >&2; exit 2 ;;
    esac
    mkdir -p "$out/$p"
    read -r t m < <(measure "${cmd[@]}" "${inputs[@]}")
    printf '%-10s %-10s %10s %10.1f %10s\n' "$wl" "$p" "$t" "$(echo "$m/1024" | bc -l)" "$(echo "scale=1; $t/$t_tb" | bc -l)"
  done
done
echo "(vs_tamberlin: a peer's time over Tamberlin's; for io_floor and deflate, the floor over Tamberlin's, 1 = at the floor)"
