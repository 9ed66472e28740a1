"""A monitor that is checked once a day, on a machine that is switched off each night, fails as any other."""
import threading

from engine import Engine, fill, wait_until, web_monitor
from peers import MailSink, Services

FAILURES = 5  # in a row, until the message comes
DAY = 86400
NAMES = ("early", "called")


class Machine:
    """Two monitors: `early` is checked when the engine starts, `called` by hand."""

    def __init__(self, folder):
        self.services, self.sink = Services(), MailSink()
        self.services.down |= set(NAMES)
        self.engine = fill(Engine(folder), {
            f"WebMonitor Of {name}": web_monitor(self.services.url(name), interval=DAY, fail_times=FAILURES - 1,
                                                 max_fail_times=FAILURES - 1, mode=self.sink.mode,
                                                 to=f"{name}@example.com", message=f"{name} is down")
            for name in NAMES})

    def failures(self, name):
        return self.engine.monitors()[f"WebMonitor Of {name}"]["Failures"]

    def day(self, number):
        """Each is checked once. Gives how many failures in a row were forgotten."""
        begin = self.services.answered("early", False)
        self.engine.start().ctl("check", "WebMonitor Of called")
        wait_until(lambda: self.services.answered("early", False) > begin and self.failures("early") > 0,
                   "the check at the start")
        # Those after the message only count, which is no reason to write.
        forgotten = 0 if number > FAILURES else sum(number - self.failures(name) for name in NAMES)
        if number >= FAILURES:
            try:
                wait_until(lambda: self.sink.to("early") and self.sink.to("called"), "the messages", 10)
            except TimeoutError as why:
                print(f"  day {number}: {why}", flush=True)
        return forgotten


def run(folder, rng, short, report):
    for case, ends in (("switched off", ("end",)), ("power cut", ("kill",)), ("either", ("end", "kill"))):
        machine = Machine(folder / case.replace(" ", "-"))
        forgotten, early = 0, 0
        days = FAILURES + 3
        for number in range(1, days + 1):
            forgotten = max(forgotten, machine.day(number))
            if number == FAILURES - 1:
                early = len(machine.sink.mails)
            if (end := rng.choice(ends)) == "end":
                machine.engine.end()
            else:
                threading.Event().wait(1.1)  # what is older than a second outlives a kill
                machine.engine.kill()
        mails = [len(machine.sink.to(name)) for name in NAMES]
        report.add(case, days=days, failures_forgotten=forgotten, mails=" ".join(map(str, mails)), too_early=early)
        report.require(forgotten == 0 and early == 0, f"{case}: failures in a row not counted over restarts")
        report.require(mails == [1, 1], f"{case}: {mails} messages instead of one each")
