#!/bin/bash
# Times tamberlin-split against the tools a user would use instead, in one
# run: LibreOffice headless (per-sheet delete-and-save through python3-uno),
# Gnumeric's ssconvert (one load, a file per sheet) and the openpyxl
# delete-and-save recipe. Reports wall time, peak memory, the compression
# floor (deflate_floor.py) against Tamberlin, the ratio of each peer to
# Tamberlin and of the fastest peer, and Tamberlin against the I/O floor;
# for big and many, -j 2 (two processes) against one.
# Tamberlin and the floors take well under a second, where one run moves
# with the machine by a third: they are run --repeat times (5 unless told)
# and their medians reported. The peers take minutes and run once.
# By hand, not in CI: the full run takes a long while for the peers.
#
# usage: bench/run_bench.sh [--build DIR] [--work DIR] [--scale F] [--repeat N] [--peers "lo gnumeric openpyxl"]
#                           [--workloads "big big5 many sst xls xls5"]
set -euo pipefail
here="$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)"
build="$here/../build"
work="${TMPDIR:-/tmp}/tamberlin-bench"
scale=1
peers="lo gnumeric openpyxl"
repeat=5
workloads="big big5 many sst xls xls5"
while [ $# -gt 0 ]; do
  case "$1" in
    --build) build="$2"; shift 2 ;;
    --work) work="$2"; shift 2 ;;
    --scale) scale="$2"; shift 2 ;;
    --peers) peers="$2"; shift 2 ;;
    --repeat) repeat="$2"; shift 2 ;;
    --workloads) workloads="$2"; shift 2 ;;
    *) echo "unknown argument $1" >&2; exit 2 ;;
  esac
done
py=/usr/bin/python3
split="$build/tamberlin-split"
[ -x "$split" ] || { echo "no $split; build first or pass --build" >&2; exit 2; }
data="$work/data-$scale"
mkdir -p "$data"
"$py" "$here/make_workloads.py" "$data" --scale "$scale"   # builds only what is missing

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

# The median of numbers, one a line (the upper one of an even count).
median() { sort -n | awk '{v[NR] = $1} END {print v[int(NR / 2) + 1]}'; }

printf '%-10s %-12s %10s %10s %10s\n' workload tool seconds peak_MB vs_tamberlin
for wl in $workloads; do
  inputs=("$data/$wl"/*.xls*)
  cat "${inputs[@]}" > /dev/null   # warm the page cache for every tool alike
  out="$work/out-$wl"
  rm -rf "$out"; mkdir -p "$out"
  times=() peak=0
  for _ in $(seq "$repeat"); do
    rm -rf "$out/tamberlin"; mkdir -p "$out/tamberlin"
    read -r t m < <(measure "$split" -o "$out/tamberlin" "${inputs[@]}")
    times+=("$t")
    [ "$m" = nan ] || [ "$m" -le "$peak" ] || peak=$m
  done
  t_tb=$(printf '%s\n' "${times[@]}" | median)
  printf '%-10s %-12s %10s %10.1f %10s\n' "$wl" tamberlin "$t_tb" "$(echo "$peak/1024" | bc -l)" 1
  # Two workbooks at once (-j 2) where there are many workbooks or big ones:
  # its time over the one-process time (0.5 would be twice as fast).
  if [ "$wl" = many ] || [ "$wl" = big ]; then
    times=() peak=0
    for _ in $(seq "$repeat"); do
      rm -rf "$out/tamberlin-j2"; mkdir -p "$out/tamberlin-j2"
      read -r t m < <(measure "$split" -j 2 -o "$out/tamberlin-j2" "${inputs[@]}")
      times+=("$t")
      [ "$m" = nan ] || [ "$m" -le "$peak" ] || peak=$m
    done
    rm -rf "$out/tamberlin-j2"
    t_j2=$(printf '%s\n' "${times[@]}" | median)
    printf '%-10s %-12s %10s %10.1f %10s\n' "$wl" tamberlin-j2 "$t_j2" "$(echo "$peak/1024" | bc -l)" \
      "$(echo "scale=2; $t_j2/$t_tb" | bc -l)"
  fi
  floors=()
  for _ in $(seq "$repeat"); do
    sync
    floors+=("$("$py" "$here/io_floor.py" "$out/tamberlin" "$out/floor" "${inputs[@]}")")
    rm -rf "$out/floor"
  done
  t_floor=$(printf '%s\n' "${floors[@]}" | median)
  printf '%-10s %-12s %10s %10s %10s\n' "$wl" io_floor "$t_floor" - "$(echo "scale=2; $t_floor/$t_tb" | bc -l)"
  deflates=()
  for _ in $(seq "$repeat"); do
    sync
    deflates+=("$("$py" "$here/deflate_floor.py" "$out/tamberlin" "${inputs[@]}")")
  done
  t_deflate=$(printf '%s\n' "${deflates[@]}" | median)
  [ "$t_deflate" = - ] ||
    printf '%-10s %-12s %10s %10s %10s\n' "$wl" deflate "$t_deflate" - "$(echo "scale=2; $t_deflate/$t_tb" | bc -l)"
  fastest= fastest_t=
  for p in $peers; do
    # openpyxl reads Office Open XML only
    [ "$p" = openpyxl ] && [[ "$wl" == xls* ]] && continue
    case "$p" in
      lo) cmd=("$py" "$here/libreoffice_split.py" "$out/lo") ;;
      openpyxl) cmd=("$py" "$here/openpyxl_split.py" "$out/openpyxl") ;;
      gnumeric) cmd=("$here/ssconvert_split.sh" "$out/gnumeric") ;;
      *) echo "unknown peer $p" >&2; exit 2 ;;
    esac
    mkdir -p "$out/$p"
    read -r t m < <(measure "${cmd[@]}" "${inputs[@]}")
    printf '%-10s %-12s %10s %10.1f %10s\n' "$wl" "$p" "$t" "$(echo "$m/1024" | bc -l)" "$(echo "scale=1; $t/$t_tb" | bc -l)"
    if [ "$t" != nan ] && { [ -z "$fastest" ] || [ "$(echo "$t < $fastest_t" | bc -l)" = 1 ]; }; then
      fastest=$p fastest_t=$t
    fi
  done
  [ -z "$fastest" ] ||
    printf '%-10s %-12s %10s %10s %10s\n' "$wl" "fastest:$fastest" "$fastest_t" - "$(echo "scale=1; $fastest_t/$t_tb" | bc -l)"
done
echo "(vs_tamberlin: a peer's time over Tamberlin's; for io_floor and deflate, the floor over Tamberlin's, 1 = at the floor;"
echo " for tamberlin-j2, tamberlin-split -j 2 over one process; peak_MB of -j 2 is its largest process)"
