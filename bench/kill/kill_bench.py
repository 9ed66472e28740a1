#!/usr/bin/env python3
"""kill_bench.py BIN [SECTION...] [--short] [--seed N]: kills, restarts and starves the engine in the folder BIN, and
damages its files, and counts what was lost or came twice. Fails if a promise is broken."""
import argparse
import atexit
import concurrent.futures
import importlib
import os
import pathlib
import random
import shutil
import signal
import sys
import tempfile
import threading
import time

import engine

SECTIONS = ("messages", "orderly", "daily", "away", "monitors", "state", "disk", "storm")


class Report:
    """What a section found."""

    def __init__(self, section):
        self.section, self.rows, self.notes, self.broken = section, [], [], []

    def add(self, case, **figures):
        self.rows.append({"case": case} | {name.replace("_", " "): str(value) for name, value in figures.items()})
        print(f"  {self.section}: " + ", ".join(f"{name} {value}" for name, value in self.rows[-1].items()), flush=True)

    def note(self, text):
        self.notes.append(text)

    def require(self, holds, otherwise):
        if not holds:
            self.broken.append(otherwise)

    def table(self):
        columns = list(dict.fromkeys(name for row in self.rows for name in row))
        lines = [columns] + [[row.get(name, "") for name in columns] for row in self.rows]
        widths = [max(len(line[i]) for line in lines) for i in range(len(columns))]
        for line in lines:
            print("  " + "  ".join(cell.ljust(width) for cell, width in zip(line, widths)).rstrip())
        for note in self.notes:
            print("  " + note)


class DiskProbe:
    """Syncs a small file once a second. Where that takes long, "within a second" is more than an engine can do."""

    def __init__(self, folder):
        self.file, self.syncs = open(folder / "probe", "wb", 0), []
        threading.Thread(target=self.run, daemon=True).start()

    def run(self):
        while not threading.Event().wait(1):
            begin = time.monotonic()
            self.file.write(b"probe")
            os.fsync(self.file.fileno())
            self.syncs.append((begin, time.monotonic() - begin))

    def slowest(self, since):
        return max((took for begin, took in list(self.syncs) if begin >= since), default=0)


def run_section(name, arguments, folder, disk):
    print(f"== {name}, seed {arguments.seed}", flush=True)
    report, begin = Report(name), time.monotonic()
    try:
        importlib.import_module(name).run(folder / name, random.Random(arguments.seed), arguments.short, report)
    except (OSError, RuntimeError) as error:  # TimeoutError is one
        report.broken.append(str(error))
    report.note(f"{time.monotonic() - begin:.0f} s; the slowest sync of the disk took {disk.slowest(begin):.2f} s")
    return report


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("bin", type=pathlib.Path)
    parser.add_argument("sections", nargs="*", metavar="SECTION", help=", ".join(SECTIONS))
    parser.add_argument("--short", action="store_true", help="two minutes in all")
    parser.add_argument("--seed", type=int, default=random.randrange(1 << 32))
    parser.add_argument("--keep", action="store_true", help="keep the engines' folders")
    arguments = parser.parse_intermixed_args()
    if unknown := set(arguments.sections) - set(SECTIONS):
        parser.error(f"unknown section: {', '.join(unknown)}")
    engine.BIN = arguments.bin.resolve()
    folder = pathlib.Path(tempfile.mkdtemp(prefix="norvane-kill-"))
    atexit.register(engine.Engine.kill_all)
    signal.signal(signal.SIGTERM, lambda *_: (engine.Engine.kill_all(), os._exit(1)))
    folder.chmod(0o755)  # real servers run as somebody else
    names, disk = arguments.sections or SECTIONS, DiskProbe(folder)
    with concurrent.futures.ThreadPoolExecutor(len(names) if arguments.short else 1) as pool:
        reports = dict(zip(names, pool.map(lambda name: run_section(name, arguments, folder, disk), names)))
    for name, report in reports.items():
        print(f"\n{name}, seed {arguments.seed}{', short' if arguments.short else ''}")
        report.table()
        for text in report.broken:
            print(f"  BROKEN: {text}")
    if arguments.keep:
        print(f"folders: {folder}")
    else:
        shutil.rmtree(folder, ignore_errors=True)
    sys.exit(1 if any(report.broken for report in reports.values()) else 0)


main()
