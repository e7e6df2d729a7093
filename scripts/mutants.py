#!/usr/bin/env python3
"""Plants the one-line faults of scripts/mutants.txt one at a time, rebuilds, runs the
test suite and tells which fault the suite caught (killed), missed (survived) or could
not judge (timeout). A fault that does not compile is "not viable": it says nothing
about the tests and should be replaced by one that does.

The build directory must be configured already, e.g.
  cmake -S . -B build -G Ninja -DLAUNCHER_WERROR=ON \\
        -DCMAKE_CXX_COMPILER_LAUNCHER=ccache -DCMAKE_C_COMPILER_LAUNCHER=ccache
and the source file is always put back, also on Ctrl+C or an error."""

import argparse
import os
import re
import signal
import subprocess
import sys
import time
from datetime import datetime, timezone

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))


class Mutant:
    def __init__(self, number, path, find, replace):
        self.number, self.path, self.find, self.replace = number, path, find, replace
        self.outcome, self.detail, self.seconds = "", "", 0.0


def read_mutants(list_path):
    mutants = []
    with open(list_path, encoding="utf-8") as listing:
        for line_number, line in enumerate(listing, 1):
            line = line.rstrip("\n")
            if not line.strip() or line.lstrip().startswith("#"):
                continue
            path, colon, rest = line.partition(": ")
            find, arrow, replace = rest.partition(" =>")
            if not colon or not arrow or not find.strip():
                sys.exit(f"{list_path}:{line_number}: expected 'file: text => replacement'")
            mutants.append(Mutant(len(mutants) + 1, path.strip(), find.strip(), replace.strip()))
    return mutants


def mutate(text, mutant):
    count = text.count(mutant.find)
    if count != 1:
        raise ValueError(f"#{mutant.number}: '{mutant.find}' occurs {count} times in {mutant.path}")
    return text.replace(mutant.find, mutant.replace)


def run(command, cwd, timeout):
    """Runs a command in a process group of its own, so that a timeout ends all of it.
    Returns (exit code or None on timeout, combined output)."""
    process = subprocess.Popen(command, cwd=cwd, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                               text=True, errors="replace", start_new_session=True,
                               env=dict(os.environ, CCACHE_BASEDIR=os.environ.get(
                                   "CCACHE_BASEDIR", "/work")))
    try:
        output, _ = process.communicate(timeout=timeout)
        return process.returncode, output
    except subprocess.TimeoutExpired:
        os.killpg(process.pid, signal.SIGKILL)
        output, _ = process.communicate()
        return None, output
    except BaseException:
        os.killpg(process.pid, signal.SIGKILL)
        process.wait()
        raise


def failed_tests(output):
    # ctest: "The following tests FAILED:" then lines like "\t 12 - Suite.Name (Failed)".
    names = []
    if "The following tests FAILED:" in output:
        tail = output.split("The following tests FAILED:", 1)[1]
        names = re.findall(r"^\s*\d+ - (\S+) \(([^)]*)\)", tail, re.M)
    return [f"{name}" + ("" if why == "Failed" else f" ({why})") for name, why in names]


def first_error(output):
    for line in output.splitlines():
        if "error:" in line:
            return line.strip()[:200]
    return (output.strip().splitlines() or ["build failed"])[-1][:200]


def is_clean(path):
    return subprocess.run(["git", "diff", "--quiet", "--", path], cwd=ROOT).returncode == 0


def judge(mutant, build, compile_only, suite_timeout):
    source = os.path.join(ROOT, mutant.path)
    with open(source, encoding="utf-8") as f:
        original = f.read()
    mutated = mutate(original, mutant)
    started = time.monotonic()
    try:
        with open(source, "w", encoding="utf-8") as f:
            f.write(mutated)
        if compile_only:
            # Only the object file of the changed source: enough to know it compiles.
            command = ["ninja", "-C", build, source + "^"]
        else:
            command = ["cmake", "--build", build]
        code, output = run(command, ROOT, 1800)
        if code != 0:
            mutant.outcome, mutant.detail = "not viable", first_error(output)
        elif compile_only:
            mutant.outcome = "compiles"
        else:
            code, output = run(["ctest", "-j2", "--timeout", "120"], build, suite_timeout)
            failing = failed_tests(output)
            if code is None:
                mutant.outcome = "timeout"
                mutant.detail = f"suite still running after {suite_timeout} s"
            elif code == 0:
                mutant.outcome = "survived"
            else:
                mutant.outcome = "killed"
                mutant.detail = ", ".join(failing) or output.strip().splitlines()[-1][:200]
    finally:
        with open(source, "w", encoding="utf-8") as f:
            f.write(original)
        mutant.seconds = time.monotonic() - started
    if not is_clean(mutant.path):
        sys.exit(f"#{mutant.number}: {mutant.path} differs from git after restoring it; stopping")


def table(mutants, header):
    lines = header + ["", "| # | file | change | result | failing tests | s |",
                      "|---|---|---|---|---|---|"]
    def cell(text):
        return text.replace("|", "\\|")
    for m in mutants:
        change = f"`{cell(m.find)}` → `{cell(m.replace)}`" if m.replace else f"`{cell(m.find)}` removed"
        lines.append(f"| {m.number} | {m.path} | {change} | {m.outcome or 'not run'} | "
                     f"{cell(m.detail)} | {m.seconds:.0f} |")
    counts = {}
    for m in mutants:
        counts[m.outcome or "not run"] = counts.get(m.outcome or "not run", 0) + 1
    lines += ["", "Totals: " + ", ".join(f"{k} {v}" for k, v in sorted(counts.items()))]
    return "\n".join(lines) + "\n"


def interrupted(*_):
    raise KeyboardInterrupt


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--list", default=os.path.join(ROOT, "scripts", "mutants.txt"))
    parser.add_argument("--build", default=os.path.join(ROOT, "build"),
                        help="configured build directory (default: build)")
    parser.add_argument("--out", default="mutants.md", help="markdown table to write")
    parser.add_argument("--only", help="comma-separated mutant numbers, e.g. 1,5,12")
    parser.add_argument("--compile-only", action="store_true",
                        help="only check that each mutant compiles (no link, no tests)")
    parser.add_argument("--suite-timeout", type=int, default=600,
                        help="seconds the whole suite may take per mutant (default 600)")
    args = parser.parse_args()

    mutants = read_mutants(args.list)
    if args.only:
        wanted = {int(n) for n in args.only.split(",")}
        mutants = [m for m in mutants if m.number in wanted]
    build = os.path.abspath(args.build)
    for m in mutants:  # every line must apply before anything runs
        with open(os.path.join(ROOT, m.path), encoding="utf-8") as f:
            mutate(f.read(), m)
        if not is_clean(m.path):
            sys.exit(f"{m.path} has uncommitted changes; mutants run on a clean tree only")

    # A SIGTERM ends the run like Ctrl+C: through the finally that restores the file.
    signal.signal(signal.SIGTERM, interrupted)
    commit = subprocess.run(["git", "rev-parse", "HEAD"], cwd=ROOT, capture_output=True,
                            text=True).stdout.strip()
    started_at = datetime.now(timezone.utc)
    started = time.monotonic()

    def write(note):
        minutes = (time.monotonic() - started) / 60
        header = [f"# Mutation run{' (compile only)' if args.compile_only else ''}", "",
                  f"- started {started_at:%Y-%m-%d %H:%M} UTC, commit {commit}",
                  f"- list {os.path.relpath(args.list, ROOT)}, {len(mutants)} mutants, "
                  f"{minutes:.1f} min so far" + (f"; {note}" if note else "")]
        with open(args.out, "w", encoding="utf-8") as out:
            out.write(table(mutants, header))

    try:
        for m in mutants:
            print(f"#{m.number} {m.path}: {m.find} => {m.replace}", flush=True)
            judge(m, build, args.compile_only, args.suite_timeout)
            print(f"   {m.outcome} ({m.seconds:.0f} s) {m.detail}", flush=True)
            write("running")
        write("complete")
    except KeyboardInterrupt:
        write("interrupted: mutants marked 'not run' were not run")
        print("interrupted; sources restored", file=sys.stderr)
        return 130
    return 0


if __name__ == "__main__":
    sys.exit(main())
