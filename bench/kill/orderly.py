"""Orderly ends lose and repeat nothing: messages, commands, recoveries."""
import collections
import itertools
import signal
import threading
import time

from engine import Engine, fill, wait_until, web_monitor
from peers import MailSink, Services

COMMANDS = 2  # that an outage may start


def counts(file):
    return collections.Counter(file.read_text().split("\n")[:-1]) if file.exists() else collections.Counter()


class Round:
    """All services fail and come back, while the engine is restarted."""

    def __init__(self, engine, sink, services, names, rng):
        self.engine, self.sink, self.services, self.names, self.rng = engine, sink, services, names, rng
        self.slowest = 0.0

    def restart(self, times):
        for _ in range(times):
            threading.Event().wait(self.rng.uniform(0, 1))
            self.slowest = max(self.slowest, self.engine.end())
            self.engine.start()

    def wait(self, what, mails, down, up):
        """Until each has at least that much, and some checks more, which would show what is too much."""
        first = self.first
        try:
            wait_until(lambda: all(count >= wanted for name in self.names
                                   for count, wanted in zip(self.had(name, first), (mails, down, up))), what, 180)
        except TimeoutError as why:
            print(f"  {why}", flush=True)
        self.services.wait_answers(self.names, up > 0, 3, wait_until)

    def had(self, name, first):
        return (len([mail for mail in self.sink.mails[first[0]:] if name in mail.names]),
                counts(self.engine.folder / "down.txt")[name] - first[1][name],
                counts(self.engine.folder / "up.txt")[name] - first[2][name])

    def run(self, restarts):
        self.first = (len(self.sink.mails), counts(self.engine.folder / "down.txt"),
                      counts(self.engine.folder / "up.txt"))
        self.services.down |= set(self.names)
        self.restart(restarts // 2)
        self.wait("mails and commands of the outages", 1, COMMANDS, 0)
        self.during = {name: self.had(name, self.first) for name in self.names}
        self.services.down.clear()
        self.restart(restarts - restarts // 2)
        self.wait("recoveries", 2, COMMANDS, 1)
        self.after = {name: self.had(name, self.first) for name in self.names}

    def figures(self):
        """How many monitors had how much of what is not as it should be."""
        def off(had, wanted):
            return sum(value != wanted for value in had)
        return {"outages": len(self.names),
                "not one mail": off((self.during[name][0] for name in self.names), 1),
                "not one recovery": off((self.after[name][0] - self.during[name][0] for name in self.names), 1),
                "not two commands": off((self.after[name][1] for name in self.names), COMMANDS),
                "not one at its end": off((self.after[name][2] for name in self.names), 1),
                "slowest end s": f"{self.slowest:.1f}"}


def make_scripts(folder):
    for name in ("down", "up"):
        script = folder / f"{name}.sh"
        script.write_text(f'#!/bin/sh\necho "${{NORVANE_MONITOR#WebMonitor Of }}" >>{name}.txt\n')
        script.chmod(0o755)


def run(folder, rng, short, report):
    rounds, outages, restarts = (1, 15, 20) if short else (4, 40, 100)
    services, sink = Services(), MailSink()
    sink.delay = 0.1 if short else 0.5
    names = [f"m{number:03}" for number in range(outages)]
    engine = fill(Engine(folder, "[notify]\nrecovery=yes\n"), {
        f"WebMonitor Of {name}": web_monitor(services.url(name), interval=1, max_fail_times=COMMANDS, command="down.sh",
                                             command_succ="up.sh", mode=sink.mode, to=f"{name}@example.com",
                                             message=f"{name} is down") for name in names})
    make_scripts(folder)
    engine.start()
    for number in range(1, rounds + 1):
        services.wait_answers(names, True, 1, wait_until)
        each = Round(engine, sink, services, names, rng)
        each.run(restarts)
        figures = each.figures()
        report.add(f"round {number}", restarts=restarts, **figures)
        for what in ("not one mail", "not one recovery", "not two commands", "not one at its end"):
            report.require(figures[what] == 0, f"round {number}: {what}: {figures[what]}")
    seconds = second_signal(engine, sink, services, names[0])
    report.note(f"a second signal during a sending: ended after {seconds:.2f} s")
    report.require(seconds < 1.5, f"a second signal ended the engine after {seconds:.1f} s")


def second_signal(engine, sink, services, name):
    """How long the engine lives after it, with a mail on its way that takes longer."""
    sink.delay = 4
    sending = sink.set_trap("accepted", lambda: None)
    services.down.add(name)
    if not sending.wait(30):
        raise TimeoutError("a sending: not within 30 seconds")
    engine.process.send_signal(signal.SIGTERM)
    late = itertools.count()  # changes are refused from then on
    wait_until(lambda: engine.try_ctl("add", f"WebMonitor Of late{next(late)}").returncode != 0,
               "the beginning of the end", 10)
    begin = time.monotonic()
    if engine.process.poll() is None:
        engine.process.send_signal(signal.SIGTERM)
    engine.process.wait(30)
    return time.monotonic() - begin
