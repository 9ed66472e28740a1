"""A disk that is full at one write after the other, and a damaged data file or copy: nothing is lost, or it is told."""
import collections
import contextlib
import os
import re
import subprocess
import threading

from engine import Engine, fill, rows_of, wait_until, web_monitor
from monitors import KEYS, Changes
from peers import MailSink, Services
from state import damage, make_state, problems

DATA, COPY = "NorvaneEngine.dat", "NorvaneEngine.dat.1"
DISK_SIZE = 3 << 20
PAGE = 4096
MOST_LEFT = 16  # pages, when the disk is full: fewer than the data file has
LOSABLE = "changes would be lost|outages and messages may be lost"


class SmallDisk:
    """A file system in memory. Only root has one."""

    def __init__(self, folder):
        self.folder, self.filler = folder, folder / "filler"
        folder.mkdir(parents=True)
        mount = ["mount", "-t", "tmpfs", "-o", f"size={DISK_SIZE}", "none", folder]
        self.is_here = subprocess.run(mount, capture_output=True, check=False).returncode == 0

    def fill(self, left):
        """Others leave so many bytes."""
        found = os.statvfs(self.folder)
        with open(self.filler, "wb", 0) as file:
            os.posix_fallocate(file.fileno(), 0, max(found.f_bavail * found.f_frsize - left, 1))

    def free(self):
        self.filler.unlink(missing_ok=True)

    def close(self):
        subprocess.run(["umount", "-l", self.folder], check=False)


class FullDisk:
    """Changes, an outage with its mail and a save while the disk is full; then there is space again, or first a kill
    or an orderly end."""

    def __init__(self, disk, rng):
        self.disk, self.rng = disk, rng
        self.services, self.sink = Services(), MailSink()
        self.names, self.rounds = [f"m{number}" for number in range(60)], 0
        self.engine = fill(Engine(disk.folder / "live"), {
            f"WebMonitor Of {name}": web_monitor(self.services.url(name), interval=86400, mode=self.sink.mode,
                                                 to=f"{name}@example.com", message=f"{name} is down")
            for name in self.names}).start()
        self.changes = Changes(self.engine, self.services, rng, 90)
        self.changes.known_as(self.shown())

    def shown(self):
        file = self.disk.folder.parent / "shown.dat"
        self.engine.ctl("save", str(file))
        return rows_of(file, *KEYS)

    def change(self, name):
        monitor = f"WebMonitor Of {name}"
        for _ in range(4):
            text = f"{name} {self.rounds} " + "x" * self.rng.randrange(3000)
            self.changes.set(monitor, "Monitor_Notify Msg", text)
        self.changes.add()
        self.services.down.add(name)
        self.engine.ctl("check", monitor)
        self.engine.try_ctl("save")
        threading.Event().wait(0.6)

    def is_safe(self):
        return not any(re.match(LOSABLE, text) for text in self.engine.conditions())

    def end(self, kind):
        """False if the engine has said that something is lost."""
        is_safe = self.is_safe()
        if kind == "end":
            self.engine.process.terminate()
            return self.engine.process.wait(60) == 0
        if kind == "kill":
            self.engine.kill()
            with contextlib.suppress(RuntimeError):  # it may not start as long as the disk is full
                self.engine.start()
                self.engine.kill()
            return is_safe
        self.disk.free()
        wait_until(self.is_safe, "the end of the conditions", 90)  # copies are tried again each minute
        self.engine.kill()
        return True

    def once(self, kind):
        name = self.names[self.rounds % len(self.names)]
        self.rounds += 1
        mails = len(self.sink.to(name))
        self.disk.fill(PAGE * self.rng.randrange(MOST_LEFT))
        self.change(name)
        is_safe = self.end(kind)
        self.disk.free()
        self.engine.start()
        shown = self.shown()
        self.services.down.discard(name)
        wait_until(lambda: len(self.sink.to(name)) > mails or not self.engine.owed(), "the mail")
        sent = len(self.sink.to(name)) - mails
        self.engine.ctl("check", f"WebMonitor Of {name}")
        is_whole, was_ever = shown == self.changes.now and sent > 0, shown in self.changes.states
        self.changes.known_as(shown)
        for added in [each for each in shown if each.startswith("WebMonitor Of c")]:
            self.changes.remove(added)
        self.engine.ctl("save")
        return "NEVER WAS" if not was_ever else "whole" if is_whole else "LOST" if is_safe else "told"


def full_disk(folder, rng, count, report):
    disk = SmallDisk(folder)
    try:
        if not disk.is_here:
            return report.note("a full disk needs root: left out")
        story = FullDisk(disk, rng)
        for kind in ("space", "kill", "end"):
            found = collections.Counter(story.once(kind) for _ in range(count))
            report.add(f"full disk, {kind}", tries=count, **dict(sorted(found.items())))
            report.require(not any(verdict.isupper() for verdict in found), f"full disk, {kind}: changes or mails lost")
        story.engine.end()
    finally:
        disk.close()
    return None


# Damage

def judge_data(damaged, wanted):
    """What the engine advises brings all back."""
    try:
        damaged.engine.start()
    except RuntimeError:
        return "refused" if damaged.is_kept() else "SILENT"
    try:
        if not damaged.is_told():
            return "harmless" if Changes.shown(damaged.engine) == wanted else "SILENT"
        advice = re.search(r"norvanectl load (\S+)", " ".join(problems(damaged.engine.conditions())))
        damaged.engine.ctl("load", advice[1])
        return "told" if Changes.shown(damaged.engine) == wanted else "LOST"
    finally:
        damaged.engine.kill()


def judge_copy(damaged, wanted):
    """The data file is gone too."""
    (damaged.folder / DATA).write_bytes(b"gone")
    try:
        damaged.engine.start()
        if damaged.engine.try_ctl("load", str(damaged.file)).returncode != 0:
            return "told" if damaged.is_kept() else "SILENT"
        return "harmless" if Changes.shown(damaged.engine) == wanted else "SILENT"
    finally:
        damaged.engine.kill()


def run(folder, rng, short, report):
    base = make_state(folder / "base", Services(), MailSink(), MailSink(here=False)).folder
    wanted = rows_of(base / DATA, *KEYS)
    for case, name, judge in (("data file", DATA, judge_data), ("its copy", COPY, judge_copy)):
        damage(report, case, base, name, rng, (20, 5) if short else (400, 40),
               lambda damaged, kind, judge=judge: judge(damaged, wanted))
    full_disk(folder / "disk", rng, 2 if short else 60, report)
