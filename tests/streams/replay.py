#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-2-Clause
"""Replays whole-codec streams through the program ryxcodec, with both processor variants.

    replay.py [--in-turn | --first] RYXCODEC FOLDER...

With --in-turn every run has one of the variants only, its neighbour the other; with --first nothing follows the first
difference.

A folder's runs.txt lists the runs, one a line:

    encode SPEECH EXPECTED OPTIONS...      speech to a stream
    decode STREAM EXPECTED OPTIONS...      a stream to speech

Names are files of the folder; .xz files are unpacked first. An option's value with a leading @ is such a file too. An
expected file NAME.crc/N holds the CRC-32 of every N octets of the output, a hexadecimal number a line.
"""
import lzma
import os
import subprocess
import sys
import tempfile
import zlib
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

VARIANTS = {"u8": "0x10", "n8": "0x30"}


def unpacked(path):
    return lzma.decompress(path.read_bytes()) if path.suffix == ".xz" else path.read_bytes()


def plain_name(name):
    return name.removesuffix(".xz")


def first_difference(folder, expected, actual):
    """What is wrong with the output, empty when it is as expected."""
    if ".crc/" in expected:
        name, length = expected.rsplit("/", 1)
        wanted = [int(word, 16) for word in unpacked(folder / name).split()]
        got = [zlib.crc32(actual[i:i + int(length)]) for i in range(0, len(actual), int(length))]
        unit = "frame"
    else:
        wanted, got, unit = unpacked(folder / expected), actual, "octet"
    if got == wanted:
        return ""
    place = next((i for i, pair in enumerate(zip(got, wanted)) if pair[0] != pair[1]), min(len(got), len(wanted)))
    return f"{len(got)} {unit}s, expected {len(wanted)}, first difference at {unit} {place}"


def output_name(command, expected):
    # A stream's format follows from its name.
    return "out.raw" if command == "decode" else "out" + Path(plain_name(expected)).suffix


def replay(program, folder, line, variants):
    command, source, expected, *options = line.split()
    failures = []
    for variant in variants:
        with tempfile.TemporaryDirectory(prefix="ryxsc-streams-") as work:
            given = Path(work) / ("in" + Path(plain_name(source)).suffix)
            given.write_bytes(unpacked(folder / source))
            target = Path(work) / output_name(command, expected)
            arguments = [str(folder / word[1:]) if word.startswith("@") else word for word in options]
            done = subprocess.run([program, command, given, target] + arguments, capture_output=True, timeout=600,
                                  env=dict(os.environ, RYX_CPU_FEATURES=VARIANTS[variant]))
            if done.returncode != 0 or not target.exists():
                wrong = f"exit {done.returncode}: {done.stderr.decode(errors='replace').strip()[-300:]}"
            else:
                wrong = first_difference(folder, expected, target.read_bytes())
        if wrong:
            failures.append(f"{folder.name}, {variant}: {line}\n    {wrong}")
    return failures


def main(*arguments):
    in_turn, first = arguments[0] == "--in-turn", arguments[0] == "--first"
    program, *folders = arguments[in_turn or first:]
    runs = []
    for folder in map(Path, folders):
        lines = (folder / "runs.txt").read_text().splitlines()
        runs += [(program, folder, line) for line in lines if line.strip() and not line.startswith("#")]
    if not runs:
        sys.exit("no runs")
    names = list(VARIANTS)
    variants = [names[i % len(names):][:1] if in_turn else names for i in range(len(runs))]
    with ThreadPoolExecutor(os.cpu_count()) as pool:
        found = pool.map(lambda run, chosen: replay(*run, chosen), runs, variants)
        failures = []
        for some in found:
            failures += some
            if failures and first:
                pool.shutdown(wait=False, cancel_futures=True)
                break
    print("\n".join(failures))
    print(f"{sum(map(len, variants))} runs, {len(failures)} differ")
    sys.exit(1 if failures else 0)


if __name__ == "__main__":
    main(*sys.argv[1:])
