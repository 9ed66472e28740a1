"""What `norvanectl` has changed outlives a kill, all but the last second of it."""
import contextlib
import math
import threading
import time

from engine import Engine, FolderWatch, rows_of, wait_until
from peers import Services

SETTLED = 1.1  # seconds after which a change is on disk
RARELY = (4, 8, 4, 2, 0.1, 0.1, 0.1)  # the last three, and so most changes are in no data file
KEYS = ("Status", "Monitor_Parameter", "Monitor_InterVal (s)", "Monitor_Notify Msg")
NEW = ("Disable", "", "60", "")


class Changes:
    """Adds, sets, starts, stops and removes monitors at random, and knows what there is after each change: the values
    of KEYS by full name."""

    def __init__(self, engine, services, rng, most):
        self.engine, self.services, self.rng, self.most = engine, services, rng, most
        self.states = [{}]
        self.done = [0.0]  # when each was there, as answered; never: infinity
        self.serial = 0
        self.backup = None  # a saved file and what it has

    @property
    def now(self):
        return self.states[-1]

    def known_as(self, states):
        """From now on what an engine has shown is what there is."""
        self.states, self.done = [states], [0.0]

    def change(self, after, *words):
        self.states.append(after)
        self.done.append(math.inf)
        self.engine.ctl(*words)
        self.done[-1] = time.time()

    def set(self, name, key, value):
        values = list(self.now[name])
        values[KEYS.index(key)] = value
        self.change(self.now | {name: tuple(values)}, "set", name, key, value)

    def add(self):
        self.serial += 1
        name = f"WebMonitor Of c{self.serial}"
        self.change(self.now | {name: NEW}, "add", name)
        self.set(name, "Monitor_Parameter", self.services.url(f"c{self.serial}"))
        self.set(name, "Monitor_InterVal (s)", "2")
        self.set(name, "Status", "Enable")

    def remove(self, name):
        self.change({each: values for each, values in self.now.items() if each != name}, "remove", name)

    def step(self):
        kind = self.rng.choices(("add", "set", "status", "remove", "save", "backup", "load"), RARELY)[0]
        if kind == "add" and len(self.now) < self.most or not self.now:
            return self.add()
        name = self.rng.choice(sorted(self.now))
        if kind == "status":
            return self.set(name, "Status", "Enable" if self.now[name][0] == "Disable" else "Disable")
        if kind == "remove":
            return self.remove(name)
        if kind == "save":
            return self.engine.ctl("save")
        if kind == "backup":
            file = self.engine.folder / "backup.dat"
            self.backup = None
            self.engine.ctl("save", str(file))
            self.backup = (str(file), self.now)
            return None
        if kind == "load" and self.backup:
            return self.change(self.backup[1], "load", self.backup[0])
        self.serial += 1
        return self.set(name, "Monitor_Notify Msg", f"changed to {self.serial}")

    def until_killed(self):
        """Changes until the engine is gone."""
        with contextlib.suppress(RuntimeError):
            while True:
                self.step()

    @staticmethod
    def shown(engine):
        """What an engine has."""
        file = engine.folder / "shown.dat"
        engine.ctl("save", str(file))
        return rows_of(file, *KEYS)

    def lost(self, shown, at):
        """How many of the changes that were there at the time `at` have no effect; None if what is shown never was."""
        first = max(number for number, done in enumerate(self.done) if done <= at)
        last = max((number for number, state in enumerate(self.states) if state == shown), default=None)
        return None if last is None else max(first - last, 0)


def kill_at(moment, engine, rng, watch):
    if moment == "journal":
        watch.wait("NorvaneEngine.journal", 3)
    else:
        threading.Event().wait(rng.uniform(0, 1.5))
    engine.kill()


def runs_what_ran(engine, services, changes):
    """All enabled monitors are checked, and no other. A kill may have left some without an address or an interval."""
    begin = time.time()
    running = {name.split()[-1]: values for name, values in changes.now.items() if values[0] == "Enable"}
    whole = [name for name, values in running.items() if values[1] and values[2] != NEW[2]]
    wait_until(lambda: all(services.answers[name][-1:] > [(begin,)] for name in whole), "checks of all", 90)
    asked = {name for name, answers in list(services.answers.items()) if answers[-1:] > [(begin,)]}
    return asked <= set(running)


class Kills:
    """Kills of one kind, and what they cost."""

    def __init__(self, moment, changes, watch, rng):
        self.moment, self.changes, self.watch, self.rng = moment, changes, watch, rng
        self.kills = self.made = self.lost = self.last_second = self.never_was = 0

    def once(self):
        """After it an engine runs again. Not each time does anybody look what it has."""
        changes, engine = self.changes, self.changes.engine
        if self.moment in ("settled", "orderly"):
            self.change()
            if self.moment == "settled":
                threading.Event().wait(SETTLED)
                engine.kill()
            else:
                engine.end()
            at = time.time()
        else:
            killer = threading.Thread(target=kill_at, args=(self.moment, engine, self.rng, self.watch))
            killer.start()
            changes.until_killed()
            killer.join()
            at = engine.kills[-1][0] - SETTLED
        self.kills += 1
        engine.start()
        if self.rng.random() < 0.3:
            engine.kill()
            engine.start()
        if self.moment in ("random", "journal") or self.rng.random() < 0.5:
            self.look(at)

    def change(self):
        try:
            for _ in range(self.rng.randrange(1, 12)):
                self.changes.step()
        except RuntimeError:  # it lacks what it had
            self.look(time.time())

    def look(self, at):
        changes = self.changes
        shown = changes.shown(changes.engine)
        missing = changes.lost(shown, at)
        self.made += len(changes.states) - 1
        self.never_was += missing is None
        self.lost += missing or 0
        self.last_second += (changes.lost(shown, time.time()) or 0) - (missing or 0)
        changes.known_as(shown)


def run(folder, rng, short, report):
    most, kills = (30, 8) if short else (200, 60)
    services, engine = Services(), Engine(folder).start()
    changes, watch = Changes(engine, services, rng, most), FolderWatch(folder)
    while len(changes.now) < most:
        changes.add()
    for moment in ("settled", "random", "journal", "orderly"):
        series = Kills(moment, changes, watch, rng)
        for number in range(kills):
            series.once()
            if number % 20 == 7:
                report.require(runs_what_ran(engine, services, changes), f"{moment}: a stopped monitor was checked")
        series.look(time.time())
        report.add(moment, kills=kills, changes=series.made, lost=series.lost, of_the_last_second=series.last_second,
                   never_was=series.never_was, monitors=len(changes.now))
        report.require(series.lost == 0, f"{moment}: {series.lost} changes lost")
        report.require(series.never_was == 0, f"{moment}: {series.never_was} times monitors that never were so")
    engine.end()
    watch.close()
    report.require(rows_of(folder / "NorvaneEngine.dat", *KEYS) == changes.now, "the data file differs at the end")
