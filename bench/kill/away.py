"""A mail server that is away when an outage begins: the message comes once it is back, and only once."""
import concurrent.futures
import re
import threading
import time
from datetime import datetime

from engine import Engine, fill, wait_until, web_monitor
from peers import MailSink, Services

SHOP = "WebMonitor Of shop"
A_TIME = re.compile(r"\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d(?:\.\d+)?[+-]\d\d:\d\d")


class Away:
    """One monitor whose mail server is not there."""

    def __init__(self, folder):
        self.services, self.sink = Services(), MailSink(here=False)
        self.engine = fill(Engine(folder), {
            SHOP: web_monitor(self.services.url("shop"), interval=1, mode=self.sink.mode, to="admin@example.com",
                              message="The shop is down")}).start()
        self.services.wait_answers(["shop"], True, 1, wait_until)
        self.down_at = time.time()
        self.services.down.add("shop")
        wait_until(self.tried, "the first try")

    def tried(self):
        return any(re.search("notification (failed|waits)", line) for line in self.engine.log())

    def recover(self):
        self.services.down.clear()
        self.up_at = time.time()
        wait_until(lambda: self.engine.monitors()[SHOP]["Monitor_Result"] == "Ok", "the end of the outage")

    def restart(self):
        self.engine.end()
        self.engine.start()

    def kill(self):
        threading.Event().wait(1.1)
        self.engine.kill()
        self.engine.start()

    def says_when(self):
        """Whether the mail tells from when to when the service was down."""
        told = [datetime.fromisoformat(text).timestamp() for text in A_TIME.findall(self.sink.mails[0].body)]
        return all(any(abs(each - at) < 4 for each in told) for at in (self.down_at, self.up_at))

    def come(self, seconds):
        """Gives how long after its return the message came; None if it did not."""
        back = time.monotonic()
        self.sink.come()
        try:
            wait_until(lambda: self.sink.mails, "the message", seconds)
        except TimeoutError:
            return None
        waited = time.monotonic() - back
        self.services.wait_answers(["shop"], "shop" not in self.services.down, 3, wait_until)
        return waited


def pause(seconds):
    return lambda away: threading.Event().wait(seconds)


CASES = [  # what happens while the server is away
    ("2 s", [pause(2)]),
    ("2 min", [pause(120)]),
    ("over a restart", [Away.restart]),
    ("over a kill", [Away.kill]),
    ("longer than the outage", [Away.recover]),
    ("longer, over a restart", [Away.recover, Away.restart]),
    ("longer, over a kill", [Away.restart, Away.recover, Away.kill]),
]


def run_case(folder, case, steps, patience):
    away = Away(folder / re.sub(r"\W+", "-", case))
    for step in steps:
        step(away)
    waited = away.come(patience)
    return away, waited


def run(folder, rng, short, report):
    cases = [("20 s", [pause(20)]) if short and case == "2 min" else (case, steps) for case, steps in CASES]
    with concurrent.futures.ThreadPoolExecutor(len(cases)) as pool:
        runs = [pool.submit(run_case, folder, *case, 60 if short else 240) for case in cases]
        for (case, steps), each in zip(cases, runs):
            away, waited = each.result()
            figures = {"mails": len(away.sink.mails), "s after its return": "-" if waited is None else f"{waited:.0f}"}
            report.require(len(away.sink.mails) == 1, f"{case}: {len(away.sink.mails)} messages instead of one")
            if Away.recover in steps:
                says = bool(away.sink.mails) and away.says_when()
                figures["says from when to when"] = "yes" if says else "no"
                report.require(says, f"{case}: the message doesn't say from when to when")
            report.add(case, **figures)
            away.engine.end()
