#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-2-Clause
"""Finds what the tests do not notice: changes one line of the sources at a time and runs the fast tests that concern it.

    mutate.py [--count N] [--seed S] [--line L] [PATH...]

PATHs are files or folders below src/, codecs/ or echo/. Of all mutants of a folder N are taken at random, the same ones for
the same seed. Each is one of: a constant by one unit, < for <= and the like, && for ||, a larger for a smaller of two, a
saturating operation for a wrapping one. Each is compiled into a single object; a header's, into one of those that include
it. What does not compile, or compiles to the same code, is not counted. A mutant is killed when recorded calls, properties
or streams that concern it fail (or do not end in time), else it is a survivor and is printed. What they let through they run once
more with traps at undefined behaviour, as the sanitizers' run would. Some survivors are equivalent: no input tells them
apart.
"""
import argparse
import concurrent.futures
import json
import os
import pathlib
import random
import re
import shlex
import shutil
import subprocess
import sys
import tempfile
import time

TOP = pathlib.Path(__file__).resolve().parents[2]
BUILD = TOP / "build/mutation"
LIBRARIES = {"src": "lib/libryxscu8.so.8.2", "codecs": "lib/libryxcodec.so.1.0", "echo": "lib/libryxecho.so.1.0"}
PROGRAMS = ["ryxsc_conformance", "ryxsc_properties", "ryxsc_codecs", "ryxsc_echo", "ryxsc_g168_tests", "ryxsc_program_tests"]
OTHER = {"<": "<=", "<=": "<", ">": ">=", ">=": ">", "std::min": "std::max", "std::max": "std::min", "==": "!=",
         "&&": "||", "||": "&&"}
WRAPPING = {"sat16": "wrap16", "sat32": "static_cast<int32_t>", "rarelySaturatingAdd": "wrapAdd32",
            "rarelySaturatingSub": "wrapSub32", "_mm_adds_epi16": "_mm_add_epi16", "_mm_subs_epi16": "_mm_sub_epi16"}
TRAPS = ("-fsanitize=bounds,shift,signed-integer-overflow", "-fsanitize-undefined-trap-on-error")
# A row of a table (the streams would have to meet each of its numbers) or a size of memory.
LEFT_OUT = re.compile(r"\s*(#|\*|/\*|static_assert|template|namespace|using|extern|case |alignas)|.*static_assert|"
                      r"(.*-?\b\d+\b\s*,){5}|.*(Size|Room|Length|Count)\b.* = [^;]*;$|.*(std::array|\bBlock)<.*[;,]$|.*[\w\]]\[[^]]*\];$")


def run(command, **more):
    return subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, errors="replace", **more)


def mutants_of_line(line):
    """Every line that differs from this one by one small fault."""
    code = line.split("//")[0].rstrip()
    if LEFT_OUT.match(code):
        return
    for match in re.finditer(r"(?<![\w.\"])(\d+)(?![\w.\"])", code):
        for step in (1, -1) if not code.startswith("] = {", match.end()) else ():  # but the size of an array
            yield line[:match.start()] + str(int(match[1]) + step) + line[match.end():]
    for match in re.finditer(r"(?<![\w.])(\d+\.\d+)(F|f)?\b", code):
        yield line[:match.start()] + repr(float(match[1]) * 1.01) + (match[2] or "") + line[match.end():]
    for match in re.finditer(r" (<=|>=|<|>|==|&&|\|\|) |\b(std::min|std::max)\b", code):
        found = match[1] or match[2]
        at = match.start(1) if match[1] else match.start(2)
        yield line[:at] + OTHER[found] + line[at + len(found):]
    for match in re.finditer(r"\b(%s)\(" % "|".join(WRAPPING), code):
        yield line[:match.start()] + WRAPPING[match[1]] + line[match.end() - 1:]


def mutants(path, only_line):
    for number, line in enumerate((TOP / path).read_text().split("\n"), 1):
        if only_line in (None, number):
            for changed in mutants_of_line(line):
                yield path, number, line, changed


class Build:
    """The whole build without a fault, whose objects and programs all mutants share."""

    def __init__(self):
        if not (BUILD / "build.ninja").exists():
            done = run(["cmake", "-G", "Ninja", "-S", TOP, "-B", BUILD, "-DCMAKE_BUILD_TYPE=Release", "-DRYXSC_BUILD_TESTS=ON",
                        "-DCMAKE_EXPORT_COMPILE_COMMANDS=ON",
                        "-DRYXSC_BUILD_EXAMPLES=ON", "-DRYXSC_BUILD_BENCHMARKS=OFF", "-DRYXSC_BUILD_DEMO=OFF"])
            if done.returncode:
                sys.exit(done.stdout)
        done = run(["ninja", "-C", BUILD, *LIBRARIES.values(), "bin/ryxcodec", *PROGRAMS])
        if done.returncode:
            sys.exit(done.stdout[-3000:])
        self.folder = tempfile.TemporaryDirectory(prefix="ryxsc-sources-", dir=BUILD)
        self.sources = pathlib.Path(self.folder.name)  # as they were at the start
        for top in LIBRARIES:
            shutil.copytree(TOP / top, self.sources / top)
        self.compiling, self.includers = {}, {}
        for entry in json.loads((BUILD / "compile_commands.json").read_text()):
            words = shlex.split(entry["command"])
            output = words[words.index("-o") + 1]
            if re.match(r"\w+/CMakeFiles/\w+_objects\.dir/", output):
                self.compiling[output] = words
        for block in run(["ninja", "-C", BUILD, "-t", "deps"]).stdout.split("\n\n"):
            output, *headers = block.split("\n")
            output = output.split(":")[0]
            for header in headers if output in self.compiling else ():
                name = os.path.relpath((BUILD / header.strip()).resolve(), TOP)
                self.includers.setdefault(name, []).append(output)
        self.linking = {}
        for library in LIBRARIES.values():
            last = run(["ninja", "-C", BUILD, "-t", "commands", library]).stdout.strip().split("\n")[-1]
            self.linking[library] = last.removeprefix(": && ").removesuffix(" && :")

    def fault(self, path, number, changed, output, work, *options):
        """Makes the library with one line changed in one of its objects; says what stands against it."""
        tree = work / "tree"
        top = pathlib.Path(path).parts[0]
        shutil.copytree(self.sources / top, tree / top)
        lines = (self.sources / path).read_text().split("\n")
        lines[number - 1] = changed
        (tree / path).write_text("\n".join(lines))
        mutant = work / "mutant.o"
        words = [word.replace(f"{TOP}/{top}", f"{tree}/{top}") for word in self.compiling[output]]
        words[words.index("-o") + 1] = str(mutant)
        if run([*words, "-w", *options], cwd=BUILD).returncode:
            return "does not compile"
        if mutant.read_bytes() == (BUILD / output).read_bytes():
            return "same code"
        return "" if self.link(top, output, mutant, work) else "does not link"

    def link(self, top, output, instead, work):
        """Makes the library in work/lib, with another object instead of one of its own."""
        library = LIBRARIES[top]
        target = work / "lib" / re.sub(r"(\.so\.1)\.0$", r"\1", pathlib.Path(library).name)
        target.parent.mkdir()
        # In front of all others, so that its copies of inline functions are those that are linked.
        command = self.linking[library].replace(f" {output} ", " ")
        command = command.replace(f" -o {library}", f" -o {target} -Wl,-rpath,{BUILD}/lib {instead}")
        return not run(command, shell=True, cwd=BUILD).returncode


def concerned(source, family):
    """The property tests that belong to the family or call what the file defines, as a filter."""
    exports = set(re.findall(r"\b(ryxs\w+)_[un]8\b", source.read_text()))
    for included in re.findall(r'#include "([^"]+\.inl)"', source.read_text()):
        exports |= set(re.findall(r"\b(ryxs\w+)\(", (TOP / "src" / included).read_text()))
    names = set()
    for file in (TOP / "tests/properties").glob("*_test.cpp"):
        text = file.read_text()
        if file.name != "long_lengths_test.cpp" and (
                file.name.startswith(family + "_") or any(re.search(rf"\b{name}\b", text) for name in exports)):
            names |= set(re.findall(r"^TEST(?:_[FP])?\((\w+)", text, re.M))
    return ":".join(f"{name}.*:*/{name}.*" for name in sorted(names))


def tests(output):
    """Commands and processor features: what may notice a fault in this object, quick ones first."""
    top, family = (part.removesuffix("_objects.dir") for part in output.split("/")[0::3][:2])
    source = TOP / top / output.split("/", 3)[3].removesuffix(".o")
    programs, streams = BUILD / "bin", TOP / "tests/streams"
    shared = family in ("common", "transform", "frame", "storage") or "/" not in output.split("/", 3)[3]
    own = "0x30" if "_n8." in output else "0x10"
    if top == "src":
        for mask in ("0x10", "0x30") if family == "frame" else (own,):
            yield [programs / "ryxsc_conformance", f"--gtest_filter={'*' if shared else family + '*'}", "--gtest_fail_fast"], mask
        if names := concerned(source, family):
            yield [programs / "ryxsc_properties", f"--gtest_filter={names}", "--gtest_fail_fast"], own
    if top != "echo":
        for folder in sorted(list.parent for list in streams.glob("*/runs.txt")):
            if shared or family in (folder.name, {"common": folder.name}.get(family)):
                yield [sys.executable, streams / "replay.py", "--first", programs / "ryxcodec", folder], "0x10"
    if top == "codecs":
        yield [programs / "ryxsc_codecs", f"--gtest_filter={'*' if shared else f'*/{family}*'}", "--gtest_fail_fast"], "0x10"
        if shared or family in ("g722", "g726"): # have no streams
            names = "Bad*:ProgramTest*:Ffmpeg*:Bcg*" if shared else f"*{family.upper()}*"
            yield [programs / "ryxsc_program_tests", f"--gtest_filter={names}", "--gtest_fail_fast"], "0x10"
    if top == "echo" or family in ("ec", "transform"):
        yield [programs / "ryxsc_echo", "--gtest_fail_fast"], own
    if top == "echo":
        yield [programs / "ryxsc_program_tests", "--gtest_filter=Echo*", "--gtest_fail_fast"], "0x10"
        yield [programs / "ryxsc_g168_tests", "--gtest_fail_fast"], "0x10"


def fails(command, mask, library_path, seconds):
    """Whether the test fails with this library. Fills in the time that it takes without a fault, when it is not known."""
    key = f"{command} {mask}"
    if library_path is None:
        if key in seconds:
            return False
        begin = time.monotonic()
    try:
        result = run(command, timeout=10 * seconds.get(key, 60) + 20,
                     env={"RYXTEST_CPU_FEATURES": mask, "RYX_CPU_FEATURES": mask, "PATH": "/usr/bin:/bin",
                          "LD_LIBRARY_PATH": library_path or ""})
    except subprocess.TimeoutExpired:
        return True
    if library_path is None:
        seconds[key] = time.monotonic() - begin
    return result.returncode != 0


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("paths", nargs="*", default=["src", "codecs", "echo"])
    parser.add_argument("--count", type=int, default=20, help="mutants of each folder")
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--line", type=int, help="of a single file")
    parser.add_argument("--jobs", type=int, default=2)
    options = parser.parse_args()

    families = {}
    for path in options.paths:
        whole = TOP / path
        for file in [whole] if whole.is_file() else sorted(whole.rglob("*")):
            if file.suffix in (".cpp", ".h", ".inl") and "tables" not in file.name and "include" not in file.parts:
                name = str(file.relative_to(TOP))
                families.setdefault(os.path.dirname(name), []).extend(mutants(name, options.line))
    build = Build()
    seconds = {}

    def one(family, mutant, chance):
        path, number, line, changed = mutant
        outputs = build.includers.get(path, [])
        near = [output for output in outputs if f"/{pathlib.Path(path).parts[1]}/" in output]
        for output in chance.sample(near or outputs, min(3, len(near or outputs))):
            for options in ((), TRAPS):
                with tempfile.TemporaryDirectory(prefix="ryxsc-mutant-", dir=BUILD) as work:
                    if build.fault(path, number, changed, output, pathlib.Path(work), *options):
                        break
                    for command, mask in tests(output):
                        if fails(command, mask, None, seconds):
                            print(f"fails without any fault: {command}", flush=True)
                            os._exit(1)
                    if any(fails(command, mask, os.path.join(work, "lib"), seconds) for command, mask in tests(output)):
                        return True
            else:
                print(f"survivor {path}:{number} in {output.split('/', 3)[3]}\n  - {line.strip()}\n  + {changed.strip()}",
                      flush=True)
                return False
        return None

    scores = {}
    for family, all_of_them in families.items():
        chance = random.Random(options.seed)
        chance.shuffle(all_of_them)
        done = []
        with concurrent.futures.ThreadPoolExecutor(options.jobs) as pool:
            while all_of_them and len(done) < options.count:  # what is not counted makes room for others
                some = [all_of_them.pop() for _ in range(min(options.count - len(done), len(all_of_them)))]
                chances = [random.Random(f"{options.seed} {mutant}") for mutant in some]
                done += [it for it in pool.map(lambda pair: one(family, *pair), zip(some, chances)) if it is not None]
        scores[family] = f"{sum(done)}/{len(done)}"
        print(f"{family}: {sum(done)} of {len(done)} killed", flush=True)
    print("killed/tried:", ", ".join(f"{family} {score}" for family, score in scores.items()))


main()
