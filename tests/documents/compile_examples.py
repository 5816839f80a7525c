#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-2-Clause
"""Compiles the code of the documentation: the C blocks of the pages and headers, and the programs of examples/minimal.

compile_examples.py COMPILER FOLDER OPTION...

C99 with warnings as errors. What has a main() is linked and fed with noise; it must read all of it and end well, in both
processor variants with the same output. OPTIONs go to the compiler, for instance -I, -L and -l."""
import os
import pathlib
import random
import re
import subprocess
import sys

compiler, folder = sys.argv[1:3]
options = sys.argv[3:]
work = pathlib.Path(folder)
work.mkdir(parents=True, exist_ok=True)
top = pathlib.Path(__file__).resolve().parents[2]
noise = random.Random(1).randbytes(200000)
failures = []


def blocks():
    for page in [top / "README.md", *sorted((top / "docs").glob("*.md"))]:
        found = re.findall(r"^(?:```c|@code\{\.c\})\n(.*?)^(?:```|@endcode)$", page.read_text(), re.S | re.M)
        yield from ((f"{page.stem}_{number}", text) for number, text in enumerate(found, 1))
    for program in sorted((top / "examples/minimal").glob("*.c")):
        yield program.stem, program.read_text()


def run(command, **more):
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=60, **more)
    return done.returncode, done.stdout


count = 0
for name, text in blocks():
    count += 1
    source, program = work / f"{name}.c", work / name
    source.write_text(text)
    whole = re.search(r"^int main\(", text, re.M)
    flags = ["-std=c99", "-O1", "-pedantic", "-Wall", "-Wextra", "-Werror"]
    form = ["-o", str(program)] if whole else ["-c", "-o", f"{program}.o"]
    status, said = run([compiler, str(source), *flags, *form, *options])
    if status:
        failures.append(f"{name} does not compile:\n{said.decode()}")
    elif whole:
        outputs = []
        for features in ("0", "0x30"):
            status, said = run([str(program)], input=noise, cwd=work, env=dict(os.environ, RYX_CPU_FEATURES=features))
            outputs.append(said)
            if status:
                failures.append(f"{name} ends with {status} in the variant of features {features}")
        if outputs[0] != outputs[1]:
            failures.append(f"{name}: the variants differ")
print(f"{count} pieces of code")
print("\n".join(failures))
sys.exit(bool(failures) or count < 20)
