#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-2-Clause
"""Finds what the tests do not notice: changes one line of the sources at a time and runs the fast tests.

    mutate.py [--count N] [--seed S] [--file F --line L] PATH...

PATHs are files or folders below src/ or codecs/. Of all mutants of a family N are taken at random, the same ones for the
same seed. Each is one of: a constant by one unit, < for <= and the like, a larger for a smaller of two, a saturating
operation for a wrapping one. The sources are copied to build/mutation first and built there; what does not compile is not
counted. A mutant is killed when recorded calls, properties or streams of its family fail (or do not end in time), else it
is a survivor and is printed. Some survivors are equivalent: no input tells them apart.
"""
import argparse
import pathlib
import random
import re
import shutil
import subprocess
import sys

TOP = pathlib.Path(__file__).resolve().parents[2]
COPY = TOP / "build/mutation/source"
BUILD = TOP / "build/mutation/build"
TARGETS = ["ryxsc", "ryxcodec", "ryxecho", "bin/ryxcodec", "ryxsc_conformance", "ryxsc_properties"]
OTHER = {"<": "<=", "<=": "<", ">": ">=", ">=": ">", "std::min": "std::max", "std::max": "std::min", "==": "!="}
WRAPPING = {"sat16": "wrap16", "sat32": "static_cast<int32_t>", "rarelySaturatingAdd": "wrapAdd32",
            "rarelySaturatingSub": "wrapSub32", "_mm_adds_epi16": "_mm_add_epi16", "_mm_subs_epi16": "_mm_sub_epi16"}


def run(command, **more):
    return subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, **more)


def mutants_of_line(line):
    """Every line that differs from this one by one small fault."""
    code = line.split("//")[0]
    if re.match(r"\s*(#|\*|/\*|static_assert|template|namespace|using|extern|case )", code) or "static_assert" in code:
        return
    if len(re.findall(r"-?\b\d+\b\s*,", code)) > 4:  # a row of a table: the streams would have to meet each of its numbers
        return
    for match in re.finditer(r"(?<![\w.])(\d+)(?![\w.])", code):
        for step in (1, -1):
            yield line[:match.start()] + str(int(match[1]) + step) + line[match.end():]
    for match in re.finditer(r"(?<![\w.])(\d+\.\d+)(F|f)?\b", code):
        yield line[:match.start()] + repr(float(match[1]) * 1.01) + (match[2] or "") + line[match.end():]
    for match in re.finditer(r" (<=|>=|<|>|==) |\b(std::min|std::max)\b", code):
        found = match[1] or match[2]
        at = match.start(1) if match[1] else match.start(2)
        yield line[:at] + OTHER[found] + line[at + len(found):]
    for match in re.finditer(r"\b(%s)\(" % "|".join(WRAPPING), code):
        yield line[:match.start()] + WRAPPING[match[1]] + line[match.end() - 1:]


def mutants(path, only_line):
    lines = (TOP / path).read_text().split("\n")
    for number, line in enumerate(lines, 1):
        if only_line in (None, number):
            for changed in mutants_of_line(line):
                yield path, number, line, changed


def suites(family):
    """The property tests that the family's files hold, as a filter."""
    names = set()
    for file in (COPY / "tests/properties").glob("*_test.cpp"):
        if file.name.startswith(family) or family in ("common", "transform", "frame") or "stages" in file.name:
            names |= set(re.findall(r"^TEST(?:_[FP])?\((\w+)", file.read_text(), re.M))
    return ":".join(f"*{name}.*" for name in sorted(names))


def tests(family):
    programs = BUILD / "bin"
    common = family in ("common", "transform", "frame")
    filters = "*" if common else f"{family}*"
    for mask in ("0x10", "0x30"):
        yield [programs / "ryxsc_conformance", f"--gtest_filter={filters}", "--gtest_fail_fast"], mask
    yield [programs / "ryxsc_properties", f"--gtest_filter={suites(family)}", "--gtest_fail_fast"], "0x10"
    streams = COPY / "tests/streams"
    folders = sorted(p.parent for p in streams.glob("*/runs.txt")) if common else [streams / family]
    for folder in folders:
        if (folder / "runs.txt").exists():
            yield [sys.executable, streams / "replay.py", programs / "ryxcodec", folder], "0x10"


def killer(family):
    """What notices the fault; empty for a survivor."""
    for command, mask in tests(family):
        try:
            if run(command, timeout=600, env={"RYXTEST_CPU_FEATURES": mask, "PATH": "/usr/bin:/bin"}).returncode:
                return pathlib.Path(command[0]).name.replace("python3", "streams")
        except subprocess.TimeoutExpired:
            return "time"
    return ""


def build():
    return run(["ninja", "-C", BUILD, *TARGETS])


def prepare():
    files = run(["git", "-C", TOP, "ls-files"]).stdout.split()
    for name in files:
        target = COPY / name
        target.parent.mkdir(parents=True, exist_ok=True)
        if (TOP / name).exists() and not (target.exists() and target.read_bytes() == (TOP / name).read_bytes()):
            shutil.copy(TOP / name, target)
    if not (BUILD / "build.ninja").exists():
        done = run(["cmake", "-G", "Ninja", "-S", COPY, "-B", BUILD, "-DCMAKE_BUILD_TYPE=Release",
                    "-DRYXSC_BUILD_BENCHMARKS=OFF", "-DRYXSC_BUILD_DEMO=OFF", "-DCMAKE_LINK_DEPENDS_NO_SHARED=ON"])
        if done.returncode:
            sys.exit(done.stdout)
    if build().returncode:
        sys.exit(build().stdout[-3000:])


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("paths", nargs="*", default=["src"])
    parser.add_argument("--count", type=int, default=20, help="mutants of each family")
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--line", type=int, help="of a single file")
    options = parser.parse_args()

    families = {}
    for path in options.paths:
        whole = TOP / path
        for file in [whole] if whole.is_file() else sorted(whole.rglob("*")):
            if file.suffix in (".cpp", ".h", ".inl") and "tables" not in file.name:
                name = str(file.relative_to(TOP))
                families.setdefault(name.split("/")[1], []).extend(mutants(name, options.line))
    prepare()
    for family in families:
        if by := killer(family):
            sys.exit(f"{family}: {by} fails without any fault")

    scores = {}
    for family, all_of_them in families.items():
        chosen = random.Random(options.seed).sample(all_of_them, min(options.count, len(all_of_them)))
        killed = tried = 0
        for path, number, line, changed in chosen:
            place = COPY / path
            original = place.read_text()
            lines = original.split("\n")
            lines[number - 1] = changed
            place.write_text("\n".join(lines))
            if build().returncode == 0:
                tried += 1
                if killer(family):
                    killed += 1
                else:
                    print(f"survivor {path}:{number}\n  - {line.strip()}\n  + {changed.strip()}", flush=True)
            place.write_text(original)
        scores[family] = f"{killed}/{tried}"
        print(f"{family}: {killed} of {tried} killed", flush=True)
    build()
    print("killed/tried:", ", ".join(f"{family} {score}" for family, score in scores.items()))


main()
