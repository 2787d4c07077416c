#!/usr/bin/env bash
# Builds the benchmarks (Release) and runs them all, then prints one table: our operations
# against Eclipse Cyclone DDS and eProsima Fast RTPS on the same data, name validation against a
# deep copy, and `propqos check` on a generated ~10 MB profile file against `xmllint --noout`.
#
# The peers' parts are built when their Debian development packages are installed
# (cyclonedds-dev, libfastrtps-dev); hyperfine is used for the tool timings when present, else a
# loop here takes the median of several runs.
#
#   bench/run.sh                       # everything
#   PROPQOS_BENCH_REPS=5 bench/run.sh  # repetitions per benchmark (median reported)
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
build=${PROPQOS_BENCH_BUILD:-$root/build-bench}
reps=${PROPQOS_BENCH_REPS:-3}
runs=${PROPQOS_BENCH_TOOL_RUNS:-5}
out="$build/bench-results"
mkdir -p "$out"

cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release \
  -DPROPQOS_BUILD_BENCH=ON -DPROPQOS_BUILD_TESTS=OFF -DPROPQOS_BUILD_TOOL=ON >/dev/null
cmake --build "$build" --target propqos_bench propqos_scale_bench propqos_gen_profiles propqos_cli >/dev/null

echo "running the library benchmarks ($reps repetitions each)..." >&2
"$build/bench/propqos_bench" --benchmark_repetitions="$reps" --benchmark_report_aggregates_only=true \
  --benchmark_min_time=0.2 --benchmark_out="$out/bench.json" --benchmark_out_format=json >/dev/null

# ---- the tool on a large profile file ----
profiles="$out/profiles-10mb.xml"
"$build/bench/propqos_gen_profiles" "$profiles" 1000
tool="$build/cli/propqos"
bytes=$(stat -c %s "$profiles")

set +e
summary=$("$tool" check "$profiles" 2>&1 | tail -n 1)
check_exit=$?
"$tool" check "$profiles" >/dev/null 2>&1
check_exit=$?
set -e

median_seconds() {   # command... : median wall time of $runs runs, in seconds
  local times=()
  for _ in $(seq "$runs"); do
    local start end
    start=$(date +%s.%N)
    "$@" >/dev/null 2>&1 || true
    end=$(date +%s.%N)
    times+=("$(awk -v a="$start" -v b="$end" 'BEGIN {print b - a}')")
  done
  printf '%s\n' "${times[@]}" | sort -g | awk '{a[NR]=$1} END {print a[int((NR+1)/2)]}'
}

echo "timing the tool on $((bytes / 1048576)) MiB..." >&2
if command -v hyperfine >/dev/null; then
  hyperfine --warmup 1 --runs "$runs" -i --export-json "$out/tool.json" \
    "$tool check $profiles" "xmllint --noout $profiles" >/dev/null 2>&1
  read -r check_s xmllint_s < <(python3 -c '
import json, sys
r = json.load(open(sys.argv[1]))["results"]
print(r[0]["median"], r[1]["median"])' "$out/tool.json")
else
  check_s=$(median_seconds "$tool" check "$profiles")
  xmllint_s=$(median_seconds xmllint --noout "$profiles")
fi

peak_kb() {   # command... : peak resident set size in KiB
  /usr/bin/time -v "$@" 2>&1 >/dev/null | sed -n 's/.*Maximum resident set size (kbytes): //p'
}
check_peak=$(peak_kb "$tool" check "$profiles" || true)
xmllint_peak=$(peak_kb xmllint --noout "$profiles" || true)

cat >"$out/tool-summary.json" <<EOF
{"file_bytes": $bytes, "file_mb": $(awk -v b="$bytes" 'BEGIN {print b / 1048576}'), "profiles": 1000,
 "check_seconds": $check_s, "xmllint_seconds": $xmllint_s,
 "check_peak_kb": ${check_peak:-0}, "xmllint_peak_kb": ${xmllint_peak:-0},
 "check_exit": $check_exit, "check_summary": $(python3 -c 'import json,sys; print(json.dumps(sys.argv[1]))' "$summary")}
EOF

python3 "$root/bench/report.py" "$out/bench.json" "$out/tool-summary.json"

# ---- growth: each operation at N and 10 N (N log N at worst stays well under 15 times) ----
echo "running the growth benchmarks..." >&2
"$build/bench/propqos_scale_bench" --benchmark_min_time=0.2 --benchmark_out="$out/scale.json" \
  --benchmark_out_format=json >/dev/null
python3 - "$out/scale.json" <<'PY'
import json, sys
runs = {}
for b in json.load(open(sys.argv[1]))["benchmarks"]:
    op, n = b["name"].split("/")
    runs.setdefault(op, []).append((int(n), b["cpu_time"]))
print()
print("growth (CPU ms)                 N        time at N   time at 10 N   ratio (target <= 15)")
for op, ((n, t1), (_, t10)) in runs.items():
    print(f"{op:30}  {n:<7}  {t1:9.3f}   {t10:12.3f}   {t10 / t1:5.1f} {'met' if t10 / t1 <= 15 else 'MISSED'}")
PY
