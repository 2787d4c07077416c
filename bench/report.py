#!/usr/bin/env python3
"""Prints the one table of bench/run.sh from Google Benchmark's JSON and the tool timings.

usage: report.py BENCH_JSON TOOL_JSON

Rows: operation, N, ours, the peer (or reference) it is compared with, the peer's time,
ours / peer, and the target that row is held to: "met" or "MISSED". Times are the median CPU
time of the repetitions.
"""
import json
import sys

# Pairs whose target is "no slower than the faster of the two peers".
PEER_OPERATIONS = ["lookup_hit", "lookup_miss", "assert_replace", "assert_append", "deep_copy",
                   "extract_with_prefix", "extract_without_prefix"]
# The operations that allocate, timed also with many policies alive at once (bench/BenchData.h).
BATCH_OPERATIONS = ["assert_replace", "assert_append", "deep_copy", "extract_with_prefix",
                    "extract_without_prefix"]
BATCH = 64
PEERS = ["cyclone", "fastrtps"]
PEER_LABEL = {"cyclone": "Cyclone DDS", "fastrtps": "Fast RTPS"}
# Operations written with the peer's public API because it has none of its own.
COMPOSED = {("fastrtps", "assert_replace"), ("fastrtps", "assert_append"),
            ("fastrtps", "extract_with_prefix")}


def human(ns):
    if ns is None:
        return "-"
    for unit, scale in (("s", 1e9), ("ms", 1e6), ("us", 1e3)):
        if ns >= scale:
            return f"{ns / scale:.3g} {unit}"
    return f"{ns:.3g} ns"


def load_bench(path):
    with open(path) as f:
        data = json.load(f)
    times = {}
    for b in data["benchmarks"]:
        if b.get("run_type") == "aggregate" and b.get("aggregate_name") != "median":
            continue
        if b.get("error_occurred"):
            times[b["run_name"]] = None
            continue
        name = b.get("run_name", b["name"])
        scale = {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}[b.get("time_unit", "ns")]
        times[name] = b["cpu_time"] * scale
    return data.get("context", {}), times


def main():
    context, times = load_bench(sys.argv[1])
    with open(sys.argv[2]) as f:
        tool = json.load(f)

    rows = []
    # The single scenario (one copy alive at a time), then the batch scenario (BATCH policies
    # alive per timing; times shown per policy).
    ops = [(op, op, 1) for op in PEER_OPERATIONS] + \
          [(op + "_batch", op + " (batch)", BATCH) for op in BATCH_OPERATIONS]
    for op, shown, per in ops:
        for n in (8, 64, 512):
            ours = times.get(f"{op}/ours/{n}")
            ours = ours / per if ours else ours
            peer_times = {p: times.get(f"{op}/{p}/{n}") for p in PEERS}
            peer_times = {p: (t / per if t else t) for p, t in peer_times.items()}
            present = {p: t for p, t in peer_times.items() if t is not None}
            fastest = min(present, key=present.get) if present else None
            for p in PEERS:
                if f"{op}/{p}/{n}" not in times:
                    continue
                t = peer_times[p]
                label = PEER_LABEL[p] + (" (composed)" if (p, op.replace("_batch", "")) in COMPOSED else "")
                ratio = ours / t if ours and t else None
                target = ""
                if p == fastest and ratio is not None:
                    target = "met" if ratio <= 1.0 else "MISSED"
                rows.append((shown, str(n), human(ours), label, human(t),
                             f"{ratio:.2f}" if ratio else "-", target))
            if not any(f"{op}/{p}/{n}" in times for p in PEERS):
                rows.append((shown, str(n), human(ours), "(no peer built)", "-", "-", ""))

    for n in (16, 64, 256):
        ours = times.get(f"validate_participant/ours/{n}")
        copy = times.get(f"validate_reference_copy/ours/{n}")
        ratio = ours / copy if ours and copy else None
        target = ("met" if ratio <= 10 else "MISSED") if (n == 64 and ratio) else ""
        rows.append(("validate_property_names (participant)", str(n), human(ours),
                     "deep copy of it (ours)", human(copy), f"{ratio:.1f}" if ratio else "-",
                     target + (" (<= 10)" if target else "")))
    rows.append(("isMutabilityConsistent (1 value differs)", "512",
                 human(times.get("mutability_check/ours/512")), "-", "-", "-", ""))
    rows.append(("save into a string buffer", "512",
                 human(times.get("save_to_string/ours/512")), "-", "-", "-", ""))

    if tool.get("check_seconds") and tool.get("xmllint_seconds"):
        ratio = tool["check_seconds"] / tool["xmllint_seconds"]
        rows.append((f"propqos check ({tool['file_mb']:.1f} MB, {tool['profiles']} profiles)", "-",
                     human(tool["check_seconds"] * 1e9), "xmllint --noout",
                     human(tool["xmllint_seconds"] * 1e9), f"{ratio:.2f}",
                     ("met" if ratio <= 3 else "MISSED") + " (<= 3)"))
    if tool.get("check_peak_kb"):
        ratio = tool["check_peak_kb"] * 1024 / tool["file_bytes"]
        rows.append(("propqos check peak memory", "-", f"{tool['check_peak_kb'] / 1024:.1f} MiB",
                     "file size", f"{tool['file_bytes'] / 1048576:.1f} MiB", f"{ratio:.2f}",
                     ("met" if ratio < 5 else "MISSED") + " (< 5)"))
        if tool.get("xmllint_peak_kb"):
            rows.append(("xmllint --noout peak memory (for reference)", "-",
                         f"{tool['xmllint_peak_kb'] / 1024:.1f} MiB", "-", "-", "-", ""))

    header = ("operation", "N", "ours", "peer", "peer time", "ours/peer", "target")
    widths = [max(len(r[i]) for r in rows + [header]) for i in range(len(header))]
    line = lambda r: "  ".join(c.ljust(w) for c, w in zip(r, widths)).rstrip()
    print(line(header))
    print(line(tuple("-" * w for w in widths)))
    for r in rows:
        print(line(r))
    if tool.get("check_exit") not in (None, 0):
        print(f"note: propqos check exited {tool['check_exit']} on the generated file: "
              f"{tool.get('check_summary', '')}")
    caches = ", ".join(f"L{c['level']} {c['size'] // 1024} KiB" for c in context.get("caches", []))
    print(f"machine: {context.get('num_cpus', '?')} CPUs at {context.get('mhz_per_cpu', '?')} MHz"
          f"{'; ' + caches if caches else ''}; load average at start: "
          f"{', '.join(f'{x:.2f}' for x in context.get('load_avg', [])) or '?'}")


main()
