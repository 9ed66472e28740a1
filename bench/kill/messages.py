"""No message of an outage is lost, and few come twice, whenever the engine is killed."""
import collections
import datetime
import re
import threading
import time

from engine import Engine, FolderWatch, fill, wait_until, web_monitor
from peers import MailSession, MailSink, Services

# After a failure the engine may be killed that soon and know nothing of it any more: what it promises, and some of what
# a busy machine takes.
FORGETS = 1.5
FAILURE = re.compile(r"(\S+) WebMonitor Of (\S+): failed in (\d+) ms: ")


class Burst:
    """All services fail; the engine is killed again and again until the last kill is done; then everybody must be told.
    With `brief`, many services are back before; with `closed`, the mail server takes nothing for the first half."""

    def __init__(self, engine, sink, services, names, rng, watch):
        self.engine, self.sink, self.services, self.names = engine, sink, services, names
        self.rng, self.watch = rng, watch
        self.begin, self.first_mail, self.first_kill = time.time(), len(sink.mails), len(engine.kills)
        self.ended = set()  # whose outage may be over before its message was sent

    def kill(self):
        """At a random or an aimed moment. Gives which."""
        moment = self.rng.choice((*MailSession.STAGES, "writing", "random", "random", "random"))
        if moment in MailSession.STAGES:
            sprung = self.sink.set_trap(moment, self.engine.kill)
            if sprung.wait(2):
                return moment
            if self.sink.take_trap() is None and sprung.wait(10):
                return moment
        elif moment == "writing":
            if self.watch.wait("NorvaneEngine.state", 2):
                self.engine.kill()
                return moment
        else:
            threading.Event().wait(self.rng.uniform(0, 3))
        self.engine.kill()
        return "random"

    def run(self, kills, brief, closed):
        self.services.down |= set(self.names)
        moments = collections.Counter()
        for number in range(kills):
            self.sink.is_closed = closed and number < kills // 2
            if brief and number > 1:
                back = set(self.rng.sample(self.names, len(self.names) // kills))
                self.ended |= back & self.services.down
                self.services.down -= back
            moments[self.kill()] += 1
            self.engine.start()
        lasting = set(self.names) - self.ended
        try:
            wait_until(lambda: lasting <= self.told() and not self.engine.owed(), "all messages", 400)
        except (TimeoutError, RuntimeError) as why:
            print(f"  {why}", flush=True)
        self.recover()
        return moments

    def recover(self):
        self.services.down.clear()
        wait_until(lambda: all(row["Monitor_Result"] == "Ok" for row in self.engine.monitors().values()),
                   "good checks of all", 120)
        self.failures = collections.defaultdict(list)
        for line in self.engine.log():
            if found := FAILURE.match(line):
                self.failures[found[2]].append(
                    datetime.datetime.fromisoformat(found[1]).timestamp() + int(found[3]) / 1000)

    def mails(self):
        return self.sink.mails[self.first_mail:]

    def told(self):
        return {name for mail in self.mails() for name in mail.names}

    def must_be_told(self, name):
        """It lasts, or the engine has lived long enough after one of its failures to remember that. Which checks failed
        it says itself: one that it made anew, having been held up, may have met a service that is down and another
        that is back."""
        if name not in self.ended:
            return True
        kills = self.engine.kills[self.first_kill:]
        return any(at >= self.begin and not any(at <= gone and begin < at + FORGETS for begin, gone in kills)
                   for at in self.failures[name])

    def figures(self):
        mails = self.mails()
        sent = collections.Counter(mail.identity for mail in mails)
        identities = collections.defaultdict(set)
        for mail in mails:
            for name in mail.names:
                identities[name].add(mail.identity)
        wanted = {name for name in self.names if self.must_be_told(name)}
        return {"outages": len(self.names), "ended early": len(self.ended), "must be told": len(wanted),
                "mails": len(mails), "lost": len(wanted - set(identities)),
                "repeated": sum(count - 1 for count in sent.values()),
                "in two mails": sum(len(each) > 1 for each in identities.values())}


def run(folder, rng, short, report):
    count, kills = (60, 10) if short else (500, 60)
    kinds = ("lasting", "brief") if short else ("lasting", "brief", "closed", "brief, closed", "one address")
    services, sink = Services(), MailSink()
    names = [f"m{number:04}" for number in range(count)]
    for kind in kinds:
        sink.delay, sink.refusing = (0.05, 0.2) if "brief" in kind else (rng.choice((0, 0.02)), rng.choice((0, 0.05)))
        engine = fill(Engine(folder / kind.replace(", ", "-").replace(" ", "-")), {
            f"WebMonitor Of {name}": web_monitor(services.url(name), mode=sink.mode, message=f"{name} is down",
                                                 to=("all" if kind == "one address" else name) + "@example.com")
            for name in names})
        engine.start()
        wait_until(lambda: all(row["Monitor_Result"] == "Ok" for row in engine.monitors().values()), "good checks", 120)
        watch = FolderWatch(engine.folder)
        burst = Burst(engine, sink, services, names, rng, watch)
        moments = burst.run(kills, "brief" in kind, "closed" in kind)
        engine.end()
        watch.close()
        figures = burst.figures()
        report.add(kind, kills=kills, aimed=kills - moments["random"], **figures)
        report.require(figures["lost"] == 0, f"{kind}: {figures['lost']} outages of which nobody was told")
        report.require(figures["in two mails"] == 0, f"{kind}: {figures['in two mails']} outages in mails of different "
                                                     "Message-ID")
        report.require(figures["repeated"] <= kills, f"{kind}: more repeated mails than kills")
