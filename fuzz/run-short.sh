#!/usr/bin/env bash
# Builds the libFuzzer targets (clang, AddressSanitizer + UndefinedBehaviorSanitizer) and runs
# them for about 60 seconds in all: first every kept regression input, then each target from its
# seed corpus for its share of the time. Exits non-zero when any input crashes, hangs, leaks or
# breaks one of the targets' checks; the offending input is left in the scratch directory named
# in the output.
#
#   fuzz/run-short.sh                 # 60 s in all
#   PROPQOS_FUZZ_SECONDS=600 fuzz/run-short.sh
#   PROPQOS_FUZZ_BUILD=/tmp/b fuzz/run-short.sh
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
build=${PROPQOS_FUZZ_BUILD:-$root/build-fuzz}
total=${PROPQOS_FUZZ_SECONDS:-60}
scratch=$(mktemp -d "${TMPDIR:-/tmp}/propqos-fuzz.XXXXXX")

cmake -S "$root" -B "$build" -G Ninja \
  -DPROPQOS_BUILD_FUZZ=ON -DPROPQOS_BUILD_TESTS=OFF -DPROPQOS_BUILD_TOOL=OFF \
  -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ >/dev/null
cmake --build "$build" --target propqos_fuzz_all

targets=()
for exe in "$build"/fuzz/fuzz_*; do
  [ -x "$exe" ] && targets+=("$(basename "$exe" | sed 's/^fuzz_//')")
done
if [ ${#targets[@]} -eq 0 ]; then
  echo "fuzz: no target was built" >&2
  exit 1
fi
per=$(( total / ${#targets[@]} ))
[ "$per" -ge 5 ] || per=5

status=0
for target in "${targets[@]}"; do
  exe="$build/fuzz/fuzz_$target"
  # Inputs that once failed must keep passing.
  if [ -d "$root/fuzz/regressions/$target" ] && [ -n "$(ls -A "$root/fuzz/regressions/$target")" ]; then
    if ! "$exe" "$root/fuzz/regressions/$target"/* >"$scratch/$target-regressions.log" 2>&1; then
      echo "fuzz: $target: a kept regression input fails again (log: $scratch/$target-regressions.log)" >&2
      tail -n 30 "$scratch/$target-regressions.log" >&2
      status=1
    fi
  fi
  mkdir -p "$scratch/corpus-$target"
  dict=()
  [ -f "$root/fuzz/$target.dict" ] && dict=("-dict=$root/fuzz/$target.dict")
  if "$exe" -max_total_time="$per" -timeout=10 -print_final_stats=1 "${dict[@]}" \
       -artifact_prefix="$scratch/$target-" "$scratch/corpus-$target" "$root/fuzz/corpus/$target" \
       >"$scratch/$target.log" 2>&1; then
    runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$scratch/$target.log")
    echo "fuzz: $target: ${runs:-?} inputs in ${per} s, no finding"
  else
    echo "fuzz: $target: FINDING (log: $scratch/$target.log)" >&2
    grep -E 'check failed|ERROR: |runtime error|SUMMARY|Test unit written' "$scratch/$target.log" >&2 || true
    status=1
  fi
done

if [ "$status" -eq 0 ]; then
  rm -rf "$scratch"
fi
exit "$status"
