"""Damage to the state file and the journal is harmless or told; a folder copied while the engine runs opens."""
import collections
import contextlib
import json
import re
import shutil
import sqlite3
import threading
import time

from engine import Engine, fill, wait_until, web_monitor
from monitors import SETTLED, Changes
from peers import MailSink, Services

AFTER_A_KILL = r"the engine was not ended in order; changes taken from its journal: \d+"
FAILING = ("told", "owed", "counting")


def flip(data, rng):
    """One bit; half of them where the file isn't empty."""
    used = [number for number, byte in enumerate(data) if byte]
    at = 8 * (rng.choice(used) if rng.random() < 0.5 else rng.randrange(len(data))) + rng.randrange(8)
    return data[:at // 8] + bytes([data[at // 8] ^ 1 << at % 8]) + data[at // 8 + 1:]


def truncate(data, rng):
    return data[:rng.randrange(len(data))]


def tables_of(path):
    with contextlib.closing(sqlite3.connect(path)) as file:
        return [name for name, in file.execute("SELECT name FROM sqlite_master WHERE type='table'")]


def content_of(path, tables):
    """All that these tables of a SQLite file say, or None."""
    with contextlib.suppress(sqlite3.Error, ValueError):
        file = sqlite3.connect(f"file:{path}?mode=ro&immutable=1", uri=True)
        with contextlib.closing(file):
            return [file.execute(query).fetchall() for query in (
                "PRAGMA application_id", "PRAGMA user_version", *(f"SELECT * FROM {table}" for table in tables))]
    return None


def problems(conditions):
    """Without the mere remark that a journal was used."""
    return [text for text in conditions if not re.fullmatch(AFTER_A_KILL, text)]


class Damaged:
    """An engine on a copy of the folder `base` whose file `name` is `data`."""

    def __init__(self, base, name, data):
        self.data, self.folder = data, base.parent / "damaged"
        shutil.rmtree(self.folder, ignore_errors=True)
        shutil.copytree(base, self.folder, ignore=shutil.ignore_patterns("*.sock", "log"))
        self.file = self.folder / name
        self.file.write_bytes(data)
        self.engine = Engine(self.folder)

    def is_kept(self):
        return any(file.read_bytes() == self.data for file in self.folder.iterdir() if file.is_file())

    def is_told(self):
        """By a condition; the damaged file is still there under some name."""
        return self.is_kept() and any(self.file.suffix[1:] in text for text in problems(self.engine.conditions()))


# The state file

def make_state(folder, services, sink, away):
    """Three outages: one told, one whose message is owed, and failures that are none yet."""
    modes = {"told": sink.mode, "owed": away.mode}
    engine = fill(Engine(folder), {
        f"WebMonitor Of {name}": web_monitor(services.url(name), interval=86400, to=f"{name}@example.com",
                                             message=f"{name} is down", mode=modes.get(name, ""),
                                             fail_times=9 if name == "counting" else 1)
        for name in ("good", *FAILING)})
    services.down |= set(FAILING)
    engine.start()
    for name in (*FAILING, "counting"):
        engine.ctl("check", f"WebMonitor Of {name}")
    wait_until(lambda: sink.to("told"), "the message")
    engine.end()
    engine.start()
    engine.end()
    return engine


def outages(engine, sink):
    """What is left of them: the failures in a row after one more, and who is owed a message or got one again."""
    mails = len(sink.mails)
    for name in FAILING:
        engine.ctl("check", f"WebMonitor Of {name}")
    rows = engine.monitors()
    owed = re.findall(r"WebMonitor Of (\w+)", json.dumps(engine.owed()))
    return [rows[f"WebMonitor Of {name}"]["Failures"] for name in FAILING], sorted(owed), len(sink.mails) - mails


def judge_state(damaged, sink, tables, original, wanted):
    same = content_of(damaged.file, tables) == original
    try:
        damaged.engine.start()
    except RuntimeError:
        return "refused" if damaged.is_kept() else "SILENT"
    try:
        told, found = damaged.is_told(), outages(damaged.engine, sink)
    finally:
        damaged.engine.kill()
    if found != wanted:
        return "OUTAGES LOST" if told else "SILENT"
    return "told" if told else "harmless" if same else "SILENT"


# The journal

def make_journal(folder, services, rng):
    """Gives what there was after each change."""
    engine = Engine(folder).start()
    changes = Changes(engine, services, rng, 20)
    for _ in range(4):
        changes.add()
    engine.end()
    engine.start()
    changes.known_as(changes.now)
    while len(changes.states) < 60:
        name = rng.choice(sorted(changes.now))
        kind = rng.choice(("add", "remove", "set", "set"))
        if kind == "add":
            changes.add()
        elif kind == "remove" and len(changes.now) > 2:
            changes.remove(name)
        else:
            changes.set(name, "Monitor_Notify Msg", f"changed to {len(changes.states)}")
    threading.Event().wait(SETTLED)
    engine.kill()
    return changes.states


def judge_journal(damaged, states, was_cut):
    """A journal that was cut looks as after a kill: then the changes to that point are right."""
    try:
        damaged.engine.start()
    except RuntimeError:
        return "refused" if damaged.is_kept() else "SILENT"
    try:
        told = damaged.is_told()
        shown = Changes.shown(damaged.engine)
    finally:
        damaged.engine.kill()
    if shown not in states:
        return "WRONG"
    last = max(number for number, state in enumerate(states) if state == shown)
    if last == len(states) - 1:
        return "told" if told else "harmless"
    if told:
        return "told"
    return "as torn" if was_cut or last == len(states) - 2 else "SILENT"


def damage(report, case, base, name, rng, counts, judge):
    data = (base / name).read_bytes() if (base / name).exists() else b""
    if not data:
        return report.require(False, f"{case}: there is no {name}")
    for kind, harm, count in (("flips", flip, counts[0]), ("truncations", truncate, counts[1])):
        verdicts = collections.Counter()
        for _ in range(count):
            harmed = harm(data, rng)
            verdict = judge(Damaged(base, name, harmed), kind)
            if verdict.isupper() and not verdicts[verdict]:
                first = next((i for i, (a, b) in enumerate(zip(data, harmed)) if a != b), len(harmed))
                report.note(f"first {verdict} of {case} {kind}: byte {first} of {len(data)}")
            verdicts[verdict] += 1
        report.add(f"{case} {kind}", tries=count, **dict(sorted(verdicts.items())))
        bad = sum(number for verdict, number in verdicts.items() if verdict.isupper())
        report.require(bad == 0, f"{case} {kind}: {bad} taken as they are, or outages or changes lost")
    return None


# Copies

def copy_folder(source, target):
    """As a backup does it: one file after the other, whatever happens meanwhile."""
    shutil.rmtree(target, ignore_errors=True)
    target.mkdir()
    for file in list(source.iterdir()):
        if file.is_file() and not file.name.endswith(".lock"):
            with contextlib.suppress(FileNotFoundError):
                shutil.copyfile(file, target / file.name)


def copies(folder, rng, count, report):
    services, sink = Services(), MailSink()
    flapping = [f"f{number}" for number in range(10)]
    engine = fill(Engine(folder / "live"), {
        f"WebMonitor Of {name}": web_monitor(services.url(name), interval=0.5, mode=sink.mode, to="a@example.com",
                                             message=f"{name} is down") for name in flapping}).start()
    changes = Changes(engine, services, rng, 30)
    changes.known_as(changes.shown(engine))
    stop, found = threading.Event(), collections.Counter()

    def live():
        while not stop.is_set():
            services.down ^= {rng.choice(flapping)}
            name = rng.choice(sorted(changes.now))
            changes.set(name, "Monitor_Notify Msg", f"changed at {time.time()}")
            if len(changes.now) < 30:
                changes.add()

    living = threading.Thread(target=live)
    living.start()
    try:
        for _ in range(count):
            stop.wait(rng.uniform(0, 0.5))
            begin = time.time()
            copy_folder(folder / "live", folder / "copy")
            found[judge_copy(Engine(folder / "copy"), changes, begin - SETTLED)] += 1
    finally:
        stop.set()
        living.join()
        engine.end()
    report.add("copies", tries=count, **dict(sorted(found.items())))
    report.require(sum(number for verdict, number in found.items() if verdict.isupper()) == 0,
                   "copies that don't open with what ran")


def judge_copy(copy, changes, at):
    try:
        copy.start()
    except RuntimeError:
        return "REFUSED"
    try:
        conditions = copy.conditions()
        lost = changes.lost(changes.shown(copy), at)
    finally:
        copy.kill()
    if lost is None or lost > 0:
        return "MONITORS LOST"
    return "told" if problems(conditions) else "whole"


def run(folder, rng, short, report):
    counts = (40, 10) if short else (400, 40)
    services, sink, away = Services(), MailSink(), MailSink(here=False)
    base = make_state(folder / "state/base", services, sink, away).folder
    tables = tables_of(base / "NorvaneEngine.state")
    original = content_of(base / "NorvaneEngine.state", tables)
    whole = Damaged(base, "NorvaneEngine.state", (base / "NorvaneEngine.state").read_bytes())
    whole.engine.start()
    wanted = outages(whole.engine, sink)
    whole.engine.kill()
    report.note(f"undamaged: failures {wanted[0]}, owed {wanted[1]}")
    report.require(wanted == ([2, 2, 3], ["owed"], 0), f"a restart keeps failures {wanted[0]}, owes {wanted[1]}, and "
                                                       f"repeats {wanted[2]} messages")
    damage(report, "state file", base, "NorvaneEngine.state", rng, counts,
           lambda damaged, kind: judge_state(damaged, sink, tables, original, wanted))
    states = make_journal(folder / "journal/base", services, rng)
    damage(report, "journal", folder / "journal/base", "NorvaneEngine.journal", rng, counts,
           lambda damaged, kind: judge_journal(damaged, states, kind == "truncations"))
    copies(folder, rng, 10 if short else 100, report)
