#!/usr/bin/env python3
"""Times whole commands in alternating runs: round 1 runs A, B, C..., round 2
runs them again in the same order, and so on, so that a change in the
machine's load touches every command alike.  Prints, per command, the median
wall time, the spread (min-max) and the peak resident memory of one further
run, as a Markdown table row.

    bench/alternate.py --runs 7 'label one=command one' 'label two=command two' ...

With --drop-caches the page cache is emptied before every timed run.

Each command is split into words as the shell would (quotes group words)
and run directly, without a shell in between, so that the times hold the
command alone; its output is thrown away, and a command that fails stops
the benchmark.
"""
import argparse
import os
import shlex
import statistics
import subprocess
import sys
import tempfile
import time


def drop_caches():
    """Empties the page cache (root only), so that the next run reads the
    evidence from the disk, as an examiner's first run does."""
    os.sync()
    with open("/proc/sys/vm/drop_caches", "w") as control:
        control.write("3\n")


def run_once(command, cold=False):
    if cold:
        drop_caches()
    started = time.perf_counter()
    status = subprocess.call(shlex.split(command), stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    elapsed = time.perf_counter() - started
    if status != 0:
        sys.exit(f"command failed ({status}): {command}")
    return elapsed


def peak_memory_kib(command):
    """Peak resident memory of one more run, as GNU time reports it.  The
    rusage of a child this script forks would count the pages it inherits
    from Python before the command replaces it."""
    with tempfile.NamedTemporaryFile("r") as report:
        status = subprocess.call(["/usr/bin/time", "-f", "%M", "-o", report.name] + shlex.split(command),
                                 stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        if status != 0:
            sys.exit(f"command failed ({status}): {command}")
        return int(report.read().split()[-1])


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--runs", type=int, default=7)
    parser.add_argument("--warmup", type=int, default=1)
    parser.add_argument("--drop-caches", action="store_true",
                        help="empty the page cache before every timed run (root)")
    parser.add_argument("commands", nargs="+", help="label=command")
    args = parser.parse_args()
    labelled = [item.split("=", 1) for item in args.commands]
    for _ in range(args.warmup):
        for _, command in labelled:
            run_once(command)
    times = {label: [] for label, _ in labelled}
    for _ in range(args.runs):
        for label, command in labelled:
            times[label].append(run_once(command, args.drop_caches))
    peak = {label: peak_memory_kib(command) for label, command in labelled}
    print("| command | median | min - max | peak memory |")
    print("|---|---|---|---|")
    for label, command in labelled:
        t = times[label]
        print(f"| {label}: `{command}` | {statistics.median(t) * 1000:.0f} ms | "
              f"{min(t) * 1000:.0f} - {max(t) * 1000:.0f} ms | {peak[label] / 1024:.1f} MiB |")


if __name__ == "__main__":
    main()
