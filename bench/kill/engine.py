"""A built engine in a folder of its own, to be started, ended and killed, and data files for it."""
import contextlib
import ctypes
import itertools
import json
import os
import pathlib
import select
import signal
import socket
import sqlite3
import struct
import subprocess
import time
import weakref

BIN = pathlib.Path()  # of the programs; set by kill_bench.py
SERIAL = itertools.count()


def wait_until(holds, what, seconds=60):
    """Looks often; gives what `holds` gave."""
    deadline = time.monotonic() + seconds
    while not (found := holds()):
        if time.monotonic() > deadline:
            raise TimeoutError(f"{what}: not within {seconds} seconds")
        time.sleep(0.02)
    return found


class Engine:
    ALL = weakref.WeakSet()

    def __init__(self, folder, config=""):
        self.folder, self.process = folder, None
        self.ALL.add(self)
        self.kills = []  # when each began, and when the process was gone: what it writes ends first
        folder.mkdir(parents=True, exist_ok=True)
        if config:
            (folder / "config.ini").write_text(config)

    def start(self):
        """Returns when it serves its folder. Throws RuntimeError if it ends instead."""
        name = f"norvane-kill-{os.getpid()}-{next(SERIAL)}"
        with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as ready, open(self.folder / "stderr", "ab") as errors:
            ready.bind("\0" + name)
            ready.settimeout(0.1)
            self.process = subprocess.Popen([BIN / "norvane-engine", "--folder", self.folder], stderr=errors,
                                            env=os.environ | {"NOTIFY_SOCKET": "@" + name})
            deadline = time.monotonic() + 60
            while time.monotonic() < deadline:
                try:
                    if b"READY=1" in ready.recv(4096):
                        return self
                except TimeoutError:
                    if self.process.poll() is not None:
                        break
        self.kill()
        raise RuntimeError(f"the engine doesn't start ({self.process.returncode}): {self.said()[-300:]}")

    @classmethod
    def kill_all(cls):
        for engine in list(cls.ALL):
            if engine.process is not None and engine.process.poll() is None:
                engine.process.kill()

    def said(self):
        return (self.folder / "stderr").read_text(errors="replace").strip()

    def kill(self):
        begin = time.time()
        self.process.kill()
        self.process.wait()
        self.kills.append((begin, time.time()))

    def end(self, seconds=30):
        """In order. Gives how long it took."""
        begin = time.monotonic()
        self.process.send_signal(signal.SIGTERM)
        if self.process.wait(seconds) != 0:
            raise RuntimeError(f"exit code {self.process.returncode} at an orderly end: {self.said()[-300:]}")
        return time.monotonic() - begin

    def try_ctl(self, *words):
        return subprocess.run([BIN / "norvanectl", "--folder", self.folder, "--json", *words], capture_output=True,
                              text=True)

    def ctl(self, *words):
        """What it prints, or nothing. A check or status that isn't good is no fault, nor is a change that the disk has
        not taken yet, of which the conditions tell."""
        done = self.try_ctl(*words)
        if done.stderr.startswith("norvanectl: done, but not on disk"):
            return None
        if done.returncode > 1 or (done.returncode == 1 and not done.stdout):
            raise RuntimeError(done.stderr.strip().split("\n")[0] or f"norvanectl {words[0]}: {done.returncode}")
        return json.loads(done.stdout) if done.stdout else None

    def monitors(self):
        return {row["Name"]: row for row in self.ctl("list")}

    def conditions(self):
        return [row["Text"] for row in self.ctl("status")["Conditions"]]

    def owed(self):
        """The messages that it still owes."""
        return self.ctl("owed")

    def log(self):
        """The lines of its monitors' logs."""
        return [line for file in sorted((self.folder / "log").glob("NorvaneLog*"))
                for line in file.read_text(errors="replace").splitlines()]


def web_monitor(url, **attributes):
    """Runs; the first failed check is an outage and calls for a message."""
    return {"Monitor_Parameter": url, "Status": "Enable", "Monitor_InterVal (s)": "2", "Monitor_FailTimes": "1",
            "Monitor_MaxFailTimes": "0"} | {KEYS[key]: str(value) for key, value in attributes.items()}


KEYS = {"interval": "Monitor_InterVal (s)", "fail_times": "Monitor_FailTimes",
        "max_fail_times": "Monitor_MaxFailTimes", "mode": "Monitor_Notify Mode", "to": "Monitor_Notify Pager",
        "message": "Monitor_Notify Msg", "command": "Monitor_Command", "command_succ": "Monitor_Command_Succ"}


def checksum_of(number, texts):
    """As the data file has it, of a row."""
    data = struct.pack("<Q", number) + b"".join(struct.pack("<Q", len(text)) + text
                                                for text in (text.encode() for text in texts))
    value = 0xcbf29ce484222325
    for byte in data:
        value = (value ^ byte) * 0x100000001b3 & 0xffffffffffffffff
    return value - (value >> 63 << 64)


def fill(engine, monitors):
    """Gives a new engine's folder the data file with these monitors, attributes by full name, made from the row of
    one that the engine has added and saved: to add 1,500 of them by `norvanectl` takes minutes."""
    engine.start().ctl("add", "WebMonitor Of template")
    engine.end()
    with sqlite3.connect(engine.folder / "NorvaneEngine.dat") as file:
        file.row_factory = sqlite3.Row
        template = dict(file.execute("SELECT * FROM monitor").fetchone())
        rows = []
        known = [key for key in template if key not in ("number", "checksum")]
        if checksum_of(template["number"], [template[key] for key in known]) != template["checksum"]:
            raise RuntimeError("checksum_of() isn't that of the data file any more")
        for number, (name, attributes) in enumerate(monitors.items(), 1):
            row = template | attributes | {"number": number, "name": name}
            rows.append(row | {"checksum": checksum_of(number, [row[key] for key in known])})
        file.execute("DELETE FROM monitor")
        file.executemany(f"INSERT INTO monitor VALUES({','.join('?' * len(template))})",
                         [[row[key] for key in template] for row in rows])
        file.execute("UPDATE file_state SET monitors=?", (len(rows),))
    file.close()
    return engine


def rows_of(data_file, *keys):
    """The monitors of a data file: their values of `keys`, by full name."""
    file = sqlite3.connect(data_file)
    columns = ",".join(f'"{key}"' for key in keys)
    rows = {name: tuple(values) for name, *values in file.execute(f"SELECT name,{columns} FROM monitor")}
    file.close()
    return rows


class FolderWatch:
    """The next change in a folder to a file whose name begins so, by inotify: a moment at which something is written."""
    LIBC = ctypes.CDLL(None)
    MODIFY_OR_CREATE = 0x2 | 0x100

    def __init__(self, folder):
        self.fd = self.LIBC.inotify_init1(os.O_CLOEXEC | os.O_NONBLOCK)
        self.LIBC.inotify_add_watch(self.fd, os.fsencode(folder), self.MODIFY_OR_CREATE)

    def wait(self, begin, seconds):
        """False if nothing is written from now on."""
        with contextlib.suppress(BlockingIOError):
            while os.read(self.fd, 65536):
                pass
        deadline = time.monotonic() + seconds
        while (left := deadline - time.monotonic()) > 0:
            if select.select([self.fd], [], [], left)[0] and begin.encode() in os.read(self.fd, 65536):
                return True
        return False

    def close(self):
        os.close(self.fd)
