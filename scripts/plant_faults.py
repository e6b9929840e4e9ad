#!/usr/bin/env python3
"""Plants faults in the code one at a time and runs the suite on each: how many it catches.

A fault is one small edit of one line: a comparison flipped, a condition negated, a call
dropped, a constant or a text changed. The places are drawn at random (a seed makes the draw
repeatable) from the C++ sources under the given folders, or listed by hand in a file of
`path<TAB>line<TAB>old<TAB>new` rows. Each fault is built in build/faults (a tree of its own, so
no other build is touched) and the suite runs with --stop-on-failure (without the slow, package,
browser and lnav labels: they build or view what the unit tests already cover); a fault that does
not compile is not counted. The tree is restored after each fault, also on Ctrl-C.

    scripts/plant_faults.py --seed 7 --count 60 src platform/src
    scripts/plant_faults.py --list faults.tsv
"""
import argparse
import random
import re
import subprocess
import sys
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
BUILD = ROOT / "build" / "faults"

# (pattern, replacement, what): applied to one match in a line.
EDITS = [
    (r"==", "!=", "== flipped"),
    (r"!=", "==", "!= flipped"),
    (r"(?<=\s)<=(?=\s)", "<", "<= made <"),
    (r"(?<=\s)>=(?=\s)", ">", ">= made >"),
    (r"(?<=\s)<(?=\s)", "<=", "< made <="),
    (r"(?<=\s)>(?=\s)", ">=", "> made >="),
    (r"&&", "||", "&& made ||"),
    (r"\|\|", "&&", "|| made &&"),
    (r"\btrue\b", "false", "true made false"),
    (r"\bfalse\b", "true", "false made true"),
    (r"\bif \(", "if (!", "condition negated"),
    (r"\+ 1\b", "", "+ 1 dropped"),
    (r"- 1\b", "", "- 1 dropped"),
    (r'"([A-Za-z][^"\\]{3,})"', r'"\1X"', "text changed"),
    (r"^(\s*)([a-z_:.>()-]+\([^;]*\);)\s*$", r"\1;  // \2", "call dropped"),
    (r"\breturn ([a-z_]+);", r"return {};", "result dropped"),
]

SKIP = re.compile(r"^\s*(//|#|\*|/\*)|static_assert|namespace|template|QX_TRACE|FL_TRACE")


def candidates(folders):
    sites = []
    for folder in folders:
        for path in sorted((ROOT / folder).rglob("*.cpp")):
            if "apple" in path.parts:  # not built here
                continue
            for number, line in enumerate(path.read_text(errors="replace").splitlines(), 1):
                if SKIP.search(line) or not line.strip():
                    continue
                for pattern, replacement, what in EDITS:
                    match = re.search(pattern, line)
                    if match:
                        new = line[: match.start()] + match.expand(replacement) + line[match.end():]
                        if new != line:
                            sites.append((path.relative_to(ROOT), number, line, new, what))
    return sites


def run(command, **kwargs):
    return subprocess.run(command, cwd=ROOT, capture_output=True, text=True, **kwargs)


def configure():
    if not (BUILD / "CMakeCache.txt").exists():
        result = run(["cmake", "-S", ".", "-B", str(BUILD), "-G", "Ninja",
                      "-DCMAKE_BUILD_TYPE=RelWithDebInfo", "-DCMAKE_LINK_DEPENDS_NO_SHARED=ON"])
        if result.returncode != 0:
            sys.exit(result.stdout + result.stderr)
    result = run(["cmake", "--build", str(BUILD), "-j2"])
    if result.returncode != 0:
        sys.exit("the unchanged tree does not build:\n" + result.stdout[-3000:])


def try_fault(path, number, old, new):
    file = ROOT / path
    original = file.read_text()
    lines = original.split("\n")
    if lines[number - 1] != old:
        return "stale"
    lines[number - 1] = new
    file.write_text("\n".join(lines))
    try:
        if run(["cmake", "--build", str(BUILD), "-j2"]).returncode != 0:
            return "no build"
        tests = run(["ctest", "--test-dir", str(BUILD), "-j2", "--stop-on-failure",
                     "--timeout", "120", "-LE", "slow|package|browser|lnav"])
        return "caught" if tests.returncode != 0 else "survived"
    finally:
        file.write_text(original)


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("folders", nargs="*", default=["src", "platform/src"])
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--count", type=int, default=60)
    parser.add_argument("--list", help="a file of path, line, old, new rows (tab-separated)")
    args = parser.parse_args()
    if args.list:
        faults = []
        for row in Path(args.list).read_text().splitlines():
            if row and not row.startswith("#"):
                path, number, old, new = row.split("\t")[:4]
                faults.append((Path(path), int(number), old, new, "listed"))
    else:
        sites = candidates(args.folders)
        faults = random.Random(args.seed).sample(sites, min(args.count, len(sites)))
    configure()
    counts = {}
    for path, number, old, new, what in faults:
        start = time.time()
        verdict = try_fault(path, number, old, new)
        counts[verdict] = counts.get(verdict, 0) + 1
        print(f"{verdict:9} {path}:{number} {what} ({time.time() - start:.0f} s)\n"
              f"          - {old.strip()}\n          + {new.strip()}", flush=True)
    run(["cmake", "--build", str(BUILD), "-j2"])
    judged = counts.get("caught", 0) + counts.get("survived", 0)
    share = 100 * counts.get("caught", 0) / judged if judged else 0
    print(f"caught {counts.get('caught', 0)} of {judged} ({share:.0f}%); "
          f"{counts.get('no build', 0)} did not build, {counts.get('stale', 0)} stale")


if __name__ == "__main__":
    main()
