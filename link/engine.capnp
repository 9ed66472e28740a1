@0xf2a6c27a5cc7878e;

# The protocol between a console and the engine, over the socket "NorvaneEngine.sock" in the application
# folder. The engine's bootstrap object is Greeter. Text is UTF-8; Data is text too, where a value may be long
# or, in files of older versions, hold other bytes. The engine refuses to set what isn't UTF-8, but for names of
# files. Times are milliseconds since 1970, UTC.
#
# Failures of the engine's operations travel as Answer.error, with their code; a failed RPC call means that the
# connection or the protocol is broken, and the console closes the connection.

using Cxx = import "/capnp/c++.capnp";
$Cxx.namespace("norvane::link::wire");

const protocolVersion :UInt16 = 7;

interface Greeter {
  hello @0 (version :UInt16) -> (greeting :Greeting);
  # The first message both ways. A client that does not send it in time is disconnected.
}

struct Greeting {
  version @0 :UInt16;
  # The engine's. Only if the console's is the same does the rest of this schema hold.
  union {
    refusal @1 :Text;
    # Why there is no session, for the user.
    engine @2 :EngineInfo;
  }
}

struct EngineInfo {
  session @0 :Session;
  instance @1 :Text;
  # Random, different for every engine process.
  version @2 :Text;
  processId @3 :UInt32;
  folder @4 :Text;
  startedAt @5 :Int64;
  knownKeys @6 :List(Text);
  # The keys of Monitor.values, in their order.
  monitorTypes @7 :List(MonitorType);
}

struct MonitorType {
  name @0 :Text;
  hasPage @1 :Bool;
  # Whether the console is to show a property page for it.
}

interface Session {
  # One console's access to the engine. Calls marked "gate" are refused until openGate has succeeded.

  follow @0 (mirror :Mirror) -> ();
  # Sends all monitors to the mirror, then every change. Once per session.
  openGate @1 (controlPass :Data) -> (answer :Answer);
  configValue @2 (key :Text) -> (answer :Answer, value :Data);
  commitConfig @3 (values :List(Pair)) -> (answer :Answer);  # gate
  # Done when the values are on disk.
  load @4 (path :Text) -> (answer :Answer);  # gate, but for the application folder's own data file
  save @5 (path :Text) -> (answer :Answer);  # gate
  add @6 (name :Text) -> (answer :Answer);  # gate
  remove @7 (name :Text) -> (answer :Answer);  # gate
  setAttribute @8 (id :UInt64, key :Text, value :Data) -> (answer :Answer);  # gate
  init @9 (id :UInt64) -> (answer :Answer);  # gate
  check @10 (id :UInt64) -> (answer :Answer, outcome :Outcome);  # gate
  notify @11 (id :UInt64) -> (answer :Answer, outcome :Outcome);  # gate
  shutdown @12 (force :Bool) -> (answer :Answer);  # gate
  # Answered when the data file is saved and the shutdown has begun; the engine closes the connection when
  # everything is on disk. If the data file cannot be saved the engine goes on, unless it is forced.
  fetch @13 (number :UInt32, url :Text, limitMs :UInt32) -> (answer :Answer, page :Page);  # gate
  # Fetches a page; few may run at a time. The console chooses the number, which identifies it to stopFetch.
  stopFetch @14 (number :UInt32) -> (answer :Answer);
  # The fetch ends with the part of the page received so far; harmless if it has ended.
  status @15 () -> (answer :Answer, status :Status);
  owed @16 () -> (answer :Answer, messages :List(OwedMessage));
  # Oldest first.
  dropOwed @17 (names :List(Text)) -> (answer :Answer);  # gate
  # Of these monitors; of all if there is no name.
  silences @18 () -> (answer :Answer, silences :List(Silence));
  silence @19 (names :List(Text), seconds :Int64, because :Text) -> (answer :Answer);  # gate
  # Done when it is on disk.
  unsilence @20 (names :List(Text)) -> (answer :Answer);  # gate
  # Likewise.
  openOutages @21 () -> (answer :Answer, outages :List(OpenOutage));
  change @22 () -> (answer :Answer, transaction :Transaction);  # gate
  select @23 (names :List(Text)) -> (answer :Answer, monitors :List(NamedMonitor));
  # As Select of the console's port. For clients that do not follow.
  read @24 (ids :List(UInt64)) -> (answer :Answer, done :UInt32, monitors :List(Monitor));
  # Those of the first "done" ids that are still there; the client asks again for the rest.
  history @25 (monitor :Text, since :Int64, until :Int64, stepSeconds :UInt32, hasPoints :Bool)
      -> (answer :Answer, history :History);
  # As HistoryQuery of the console.
}

interface Transaction {
  # Changes of many monitors, all of them or none. Dropped with its connection.

  add @0 (changes :List(MonitorChange)) -> (answer :Answer);
  # Changes nothing yet. One that is refused makes the commit fail.
  commit @1 (basedOn :UInt64) -> (answer :Answer);
  # Refused, as whatever else of it would be, if somebody has changed the settings of one of these monitors after
  # the change of this number. Done when it is on disk. Ends the transaction.
}

struct MonitorChange {
  # As MonitorChange of the console.
  name @0 :Text;
  what @1 :What;
  values @2 :List(Pair);

  enum What {
    add @0;
    set @1;
    remove @2;
  }
}

struct History {
  # As MonitorHistory of the console.

  since @0 :Int64;
  until @1 :Int64;
  stepSeconds @2 :UInt32;
  points @3 :List(Point);
  all @4 :Point;  # its start means nothing
  outages @5 :List(Outage);
  outagesOmitted @6 :UInt64;

  struct Point {
    start @0 :Int64;
    checks @1 :UInt64;
    failures @2 :UInt64;
    least @3 :UInt32;
    mean @4 :UInt32;
    greatest @5 :UInt32;
    p50 @6 :UInt32;
    p95 @7 :UInt32;
    p99 @8 :UInt32;
    upMs @9 :UInt64;
    downMs @10 :UInt64;
    stoppedMs @11 :UInt64;
    silencedMs @12 :UInt64;
    unwatchedMs @13 :UInt64;
  }
  struct Outage {
    since @0 :Int64;
    until @1 :Int64;  # 0: it lasts
    reason @2 :Text;
    isOutage @3 :Bool;
  }
}

struct NamedMonitor {
  id @0 :UInt64;
  name @1 :Text;
}

struct Silence {
  monitor @0 :Text;
  until @1 :Int64;
  because @2 :Text;
}

struct OpenOutage {
  # As OpenOutage of the console.
  monitor @0 :Text;
  since @1 :Int64;
  isHeld @2 :Bool;
}

struct OwedMessage {
  # As OwedMessage of the console.
  monitor @0 :Text;
  message @1 :Text;
  to @2 :Text;
  mode @3 :Text;
  since @4 :Int64;
  tries @5 :UInt32;
  reason @6 :Text;
  nextTry @7 :Int64;
}

struct Status {
  # As EngineStatus.
  checksMade @0 :UInt64;
  checksFailed @1 :UInt64;
  checksNotMade @2 :UInt64;
  resultsThrownAway @3 :UInt64;
  latestStartMs @4 :UInt64;
  longestTurnUs @5 :UInt64;
  inFlight @6 :UInt64;
  waiting @7 :UInt64;
  stalled @8 :Text;
  stalledForMs @9 :UInt64;
  conditions @10 :List(Condition);
  overdue @11 :List(Overdue);
  monitors @12 :UInt32;
  running @13 :UInt32;
  failing @14 :UInt32;

  struct Condition {
    text @0 :Text;
    since @1 :Int64;
  }
  struct Overdue {
    name @0 :Text;
    checkedAt @1 :Int64;
    # 0 if it never was.
  }
}

struct Page {
  end @0 :End;
  reason @1 :Text;
  # Of a failure.
  body @2 :Data;
  contentType @3 :Text;
  status @4 :UInt16;
  # Of HTTP; 0 if no reply had begun.

  enum End {
    # As PageReply::End, in its order.
    complete @0;
    timedOut @1;
    failed @2;
  }
}

struct Answer {
  change @0 :UInt64;
  # Number of the table's last change. The console's call returns only when its mirror has that change, so that
  # a read sees every earlier write.
  union {
    done @1 :Void;
    error @2 :Error;
  }
}

struct Error {
  code @0 :ErrorCode;
  text @1 :Text;
}

enum ErrorCode {
  # As EngineErrorCode, in its order.
  gone @0;
  timedOut @1;
  notFound @2;
  exists @3;
  refused @4;
  invalid @5;
  full @6;
  failed @7;
}

struct Outcome {
  # Of a check or notification that was made, good or failed.
  good @0 :Bool;
  reason @1 :Text;
  durationMs @2 :UInt32;
}

interface Mirror {
  # The console's copy of the table. The engine sends the next batch only when the last one was answered.
  update @0 (batch :Batch) -> ();
}

struct Batch {
  reset @0 :Bool;
  # Discard all monitors: those that follow are of another table. Reads see the old ones until a batch is
  # marked upToDate.
  removed @1 :List(UInt64);
  # Remove these first. Some may never have been sent.
  monitors @2 :List(Monitor);
  # New or changed, with their current values.
  change @3 :UInt64;
  # With this batch the mirror has all changes up to this number.
  upToDate @4 :Bool;
  # Nothing was left to send.
}

struct Monitor {
  id @0 :UInt64;
  # Ascending in the order in which the monitors were added; not used again while the engine lives.
  name @1 :Text;
  values @2 :List(Data);
  # By position in EngineInfo.knownKeys; null where empty.
  others @3 :List(Pair);
  # Attributes with other keys.
  lastCheck :group {
    at @4 :Int64;
    # 0 if there was none.
    durationMs @5 :UInt32;
    failuresInARow @6 :UInt32;
    since @7 :Int64;
    # End of the first check in a row that went as well or as badly.
  }
}

struct Pair {
  key @0 :Text;
  value @1 :Data;
}
