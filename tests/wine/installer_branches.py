"""What an installer must do after each exit status of vorn_devnode.exe.

A branch is one errand of an installer: the version that is there before, the runs of the program with
what each prints and its status, and the installer's own exit code. The runs are in the order in which
the installer must make them; it may make no other.
"""
import dataclasses

OLD, NEW, NEWER = "26.8.10.5", "26.9.1.1", "26.10.2.1"

_PREFIX = "vorn_devnode: "
PERSISTED = f"out {_PREFIX}persisted protected pre-bind activation state"
INSTALLED = f"out {_PREFIX}Root\\VornAudio installed"
UPDATED = f"out {_PREFIX}Root\\VornAudio driver updated on existing devnode"
UNTOUCHED = f"out {_PREFIX}Root\\VornAudio already runs the target package; device left untouched"
# Longer than what nsExec keeps, and with everything that a shell could stumble over.
MISSING = (f"err {_PREFIX}RESULT=ENDPOINTS_MISSING - root=healthy; package=; kernel=a \"quoted\" | piped & "
           f"%PATH% !bang! ^caret ({'long ' * 300}); present=")
NOISE = [f"out {_PREFIX}removed VORN endpoint record Render\\{{0000000{i:x}}} {'x' * 60}" for i in range(16)]
REJECTED = f"err {_PREFIX}RESULT=BIND_REFUSED - Windows rejected the bind"
DEFERRED = f"err {_PREFIX}RESULT=NOT_STARTED - Windows deferred the driver switch to a restart; previous"
CRASHED = -1073741819

@dataclasses.dataclass
class Run:
    arguments: str  # of the program; NEW, OLD and STATE stand for the paths
    status: int
    lines: list


@dataclasses.dataclass
class Branch:
    name: str
    errand: str  # install NEW, repair or uninstall
    before: str | None  # the installed version
    runs: list
    code: int
    after: str | None  # the installed version
    task: bool = False  # the removal is to run again after the restart
    journal: bool = True  # whether the journal is still there; it is before every errand


def ok(arguments, lines=()):
    return Run(arguments, 0, list(lines))


def install(status, *lines):
    return Run("install NEW STATE", status, list(lines))


def fall_back(status, *lines):
    return Run("install OLD STATE --rollback", status, list(lines))


def audit(status, which="OLD"):
    return Run(f"audit-current {which}", status, [] if status == 0 else [MISSING])


def remove(status, which="NEW", lines=None):
    return Run(f"remove {which}", status, lines or (NOISE if status in (0, 10) else []))


def resume(status=0):
    return Run("resume-endpoints", status, [])


def catalog(status):
    return Run("audit-catalog", status, [])


def update(name, code, *runs, after=OLD, **more):
    return Branch(f"update: {name}", "install", OLD, [catalog(0), *runs], code, after, **more)


def fresh(name, code, *runs, after=None, **more):
    return Branch(f"fresh: {name}", "install", None, list(runs), code, after, **more)


def repair(name, code, *runs, **more):
    return Branch(f"repair: {name}", "repair", OLD, list(runs), code, OLD, **more)


def uninstall(name, code, *runs, after=NEW, **more):
    return Branch(f"uninstall: {name}", "uninstall", NEW, list(runs), code, after, **more)


# Nothing was bound: the installer must leave the device alone, with a version before and without.
_NOTHING_BOUND = [
    ("1, usage", install(1)),
    ("2, input refused", install(2)),
    ("3, no device list", install(3, PERSISTED)),
    ("4, no class name", install(4, PERSISTED)),
    ("5, no device element", install(5, PERSISTED)),
    ("6, no hardware id", install(6, PERSISTED)),
    ("7, not registered", install(7, PERSISTED)),
    ("8, no bind to the new device", install(8, PERSISTED)),
    ("11, no complete baseline", install(11)),
    ("11, runs already and cannot be proven", install(11, PERSISTED, UNTOUCHED, MISSING)),
    ("12, no single live device", install(12)),
    ("13, which belongs to another command", install(13)),
    ("17, which belongs to another command", install(17)),
    ("16, refused before the journal", install(16)),
    ("16, Windows rejected the bind", install(16, PERSISTED, REJECTED)),
    ("crashed before the journal", install(CRASHED)),
]

BRANCHES = [
    update("0", 0, install(0, PERSISTED, UPDATED), after=NEW),
    fresh("0", 0, install(0, PERSISTED, INSTALLED), after=NEW),
    *(update(name, 1603, run) for name, run in _NOTHING_BOUND),
    *(fresh(name, 1603, run) for name, run in _NOTHING_BOUND if run.status in (2, 8, 11, 16)),

    # Where endpoints cannot be seen, nothing is begun.
    Branch("update: a session without endpoints", "install", OLD, [catalog(11), resume(), catalog(11)], 1603,
           OLD),
    Branch("update: endpoints that a killed run hid", "install", OLD,
           [catalog(11), resume(), catalog(0), install(0, PERSISTED, UPDATED)], 0, NEW),
    Branch("update: a device that is not started", "install", OLD,
           [catalog(12), install(0, PERSISTED, UPDATED)], 0, NEW),

    # A journal is in the way.
    update("9, the old version runs", 0, install(9), resume(), audit(0), install(0, PERSISTED, UPDATED),
           after=NEW, journal=False),
    update("9, the device is gone", 0, install(9), resume(12), audit(12),
           install(0, PERSISTED, INSTALLED), after=NEW, journal=False),
    update("9, something else runs, goes back first", 0, install(9), resume(), audit(11), catalog(0),
           fall_back(0, PERSISTED, UPDATED), audit(0), install(0, PERSISTED, UPDATED), after=NEW,
           journal=False),
    update("9, something else runs and does not go back", 1603, install(9), resume(), audit(11), catalog(0),
           fall_back(11, PERSISTED, UPDATED, MISSING), audit(11), journal=False),
    update("9, and the endpoints are out of sight", 1603, install(9), resume(), audit(11), catalog(11)),
    fresh("9, removed by other means", 0, install(9), resume(12), catalog(12), remove(0),
          install(0, PERSISTED, INSTALLED), after=NEW, journal=False),
    fresh("9, a device that cannot be cleared", 1603, install(9), resume(12), catalog(12), remove(13),
          journal=False),
    fresh("9, a device of somebody else", 1603, install(9), resume(), catalog(0)),
    update("9 again, the journal cannot be written", 1603, install(9), resume(), audit(0), install(9),
           journal=False),
    update("9, then 11 after the bind", 1603, install(9), resume(), audit(0),
           install(11, PERSISTED, UPDATED, MISSING), audit(11), fall_back(0, PERSISTED, UPDATED),
           journal=False),

    # The candidate was bound and is not proven.
    update("11, falls back", 1603, install(11, PERSISTED, UPDATED, MISSING), audit(11),
           fall_back(0, PERSISTED, UPDATED), journal=False),
    update("11, falls back after a restart", 1603, install(11, PERSISTED, UPDATED, MISSING), audit(11),
           fall_back(10, PERSISTED), journal=False),
    update("11, falls back, proven only by the audit", 1603, install(11, PERSISTED, UPDATED, MISSING),
           audit(11), fall_back(11, PERSISTED, UPDATED, MISSING), audit(0), journal=False),
    update("11, cannot fall back", 1603, install(11, PERSISTED, UPDATED, MISSING), audit(11),
           fall_back(16, PERSISTED, REJECTED), audit(11), journal=False),
    update("12, the candidate does not start", 1603, install(12, PERSISTED, UPDATED), audit(12),
           fall_back(11, PERSISTED, UPDATED, MISSING), audit(0), journal=False),
    update("12, deferred and not restored", 1603, install(12, PERSISTED), audit(12),
           fall_back(10, PERSISTED), journal=False),
    update("15, deferred and restored", 1603, install(15, PERSISTED), audit(0), journal=False),
    update("15, deferred and not restored", 1603, install(15, PERSISTED), audit(11),
           fall_back(0, PERSISTED), journal=False),
    update("16, deferred and restored", 1603, install(16, PERSISTED, DEFERRED), audit(0), journal=False),
    update("ended by somebody, with 1", 0, install(1, PERSISTED), resume(),
           install(0, PERSISTED, UPDATED), after=NEW),
    update("crashed before the bind, 9 at the second try", 0, install(CRASHED, PERSISTED), resume(),
           install(9), resume(), audit(0), install(0, PERSISTED, UPDATED), after=NEW, journal=False),
    update("crashes each time", 1603, install(CRASHED, PERSISTED), resume(12), install(CRASHED, PERSISTED),
           audit(12), fall_back(0, PERSISTED, UPDATED), journal=False),

    # Without a version before, what this run made is taken away, and nothing else.
    fresh("11, takes its device away", 1603, install(11, PERSISTED, INSTALLED, MISSING), remove(0)),
    fresh("11, takes it away after a restart", 1603, install(11, PERSISTED, INSTALLED, MISSING),
          remove(10), task=True),
    fresh("11, cannot take it away", 1603, install(11, PERSISTED, INSTALLED, MISSING), remove(17)),
    fresh("12, takes its device away", 1603, install(12, PERSISTED, INSTALLED), remove(0)),
    fresh("11 on a device of somebody else", 1603, install(11, PERSISTED, UPDATED, MISSING)),
    fresh("15 on a device of somebody else", 1603, install(15, PERSISTED)),

    repair("sound", 0, audit(0)),
    repair("endpoints hidden", 0, audit(11), resume(), Run("install OLD STATE", 0, [PERSISTED, UNTOUCHED])),
    repair("bound again", 0, audit(12), resume(12), Run("install OLD STATE", 0, [PERSISTED, INSTALLED])),
    repair("9 in between", 0, audit(11), resume(), Run("install OLD STATE", 9, []), resume(), audit(11),
           Run("install OLD STATE", 0, [PERSISTED, UPDATED]), journal=False),
    repair("11 still", 1603, audit(11), resume(11), Run("install OLD STATE", 11, [PERSISTED, UPDATED, MISSING])),
    repair("16, disabled", 1603, audit(12), resume(12), Run("install OLD STATE", 16, [])),

    uninstall("0", 0, remove(0), remove(0, "OLD"), after=None, journal=False),
    uninstall("10", 3010, remove(10), task=True),
    uninstall("10 for the earlier version", 3010, remove(0), remove(10, "OLD"), task=True),
    uninstall("17", 1618, remove(17)),
    uninstall("13", 1603, remove(13)),
    uninstall("3", 1603, remove(3)),
    uninstall("2", 1603, remove(2)),
    uninstall("1", 1603, remove(1)),
]
