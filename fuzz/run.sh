#!/usr/bin/env bash
# Builds one engine fuzzer (clang, libFuzzer, ASan + UBSan) and runs it.
#
#   fuzz/run.sh TARGET SECONDS [libFuzzer options...]
#   fuzz/run.sh all SECONDS        each target in turn, SECONDS each
#
# TARGET is one of: ooxml_list ooxml_copy formula cfb_list biff_copy encrypted_copy.
# The build folder is $TAMBERLIN_FUZZ_BUILD (default build-fuzz beside the
# repository's build/). The seeds in fuzz/corpus/TARGET are copied into a
# working corpus there, which grows from run to run; findings land in
# crashes/TARGET/ there. Each run adds a line to fuzz-time.log with the CPU
# seconds it used, so that the total time a target has run can be told.
# Exits non-zero when the fuzzer found something; minimise the input with
#   build-fuzz/fuzz_TARGET -minimize_crash=1 -runs=10000 CRASH
# and commit it under tests/data/fuzz-regressions/TARGET/.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
target=${1:?target}
seconds=${2:?seconds}
shift 2
build=${TAMBERLIN_FUZZ_BUILD:-$root/build-fuzz}
all=(ooxml_list ooxml_copy formula cfb_list biff_copy encrypted_copy)

if [ "$target" = all ]; then
  status=0
  for t in "${all[@]}"; do "$0" "$t" "$seconds" "$@" || status=1; done
  exit $status
fi
case " ${all[*]} " in *" $target "*) ;; *) echo "unknown fuzz target '$target'" >&2; exit 2;; esac

if [ ! -f "$build/CMakeCache.txt" ]; then
  cmake -S "$root" -B "$build" -G Ninja -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_BUILD_TYPE=RelWithDebInfo \
        -DTAMBERLIN_FUZZ=ON -DTAMBERLIN_BUILD_TESTS=OFF >/dev/null
fi
# Two runs may start at once (one per core); one builds at a time.
flock "$build/.build-lock" cmake --build "$build" --target "fuzz_$target" -j "${TAMBERLIN_JOBS:-2}" >/dev/null

corpus=$build/corpus/$target
crashes=$build/crashes/$target
mkdir -p "$corpus" "$crashes"
cp -n "$root/fuzz/corpus/$target/"* "$corpus/" 2>/dev/null || true

# Leaks count as findings; -rss_limit_mb and -malloc_limit_mb turn a
# decompression bomb that gets past the engine's budgets into a finding too.
export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1:allocator_may_return_null=1:fast_unwind_on_malloc=0}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}
# A leak inside libgsf is suppressed by name, as in the sanitizer build of the
# suite (tests/support/lsan.supp); leaks in the engine are findings.
export LSAN_OPTIONS=${LSAN_OPTIONS:-suppressions=$root/tests/support/lsan.supp:print_suppressions=0:fast_unwind_on_malloc=0}
start=$(date +%s)
status=0
/usr/bin/time -f '%U %S' -o "$build/.fuzz-cpu-$target" \
  "$build/fuzz_$target" "$corpus" -max_total_time="$seconds" -timeout=20 -rss_limit_mb=2560 \
  -malloc_limit_mb=1536 -max_len=1048576 -artifact_prefix="$crashes/" -print_final_stats=1 "$@" \
  >"$build/fuzz_$target.log" 2>&1 || status=$?
cpu=$(awk '{printf "%d", $1 + $2}' "$build/.fuzz-cpu-$target" 2>/dev/null || echo 0)
echo "$(date -u +%FT%TZ) $target wall=$(( $(date +%s) - start ))s cpu=${cpu}s status=$status" >>"$build/fuzz-time.log"
grep -E '^(stat::number_of_executed_units|#[0-9]+[[:space:]]+DONE)' "$build/fuzz_$target.log" | tail -2 || true
if [ $status -ne 0 ]; then
  echo "fuzz_$target found a problem; see $build/fuzz_$target.log and $crashes/" >&2
  tail -40 "$build/fuzz_$target.log" >&2
fi
exit $status
