"""What a case is made of, and how one is run and judged."""

import dataclasses
import os
import pathlib
import re
import shutil
import signal
import subprocess
import threading
import time
from collections.abc import Callable

from planted import Relay

ROOT = pathlib.Path(__file__).resolve().parents[2]
ZORVAN = os.environ.get("ZORVAN_COMMAND", ROOT / "java/zorvan-cli/bin/zorvan")
LIMITS = ["--connect-timeout", "4s", "--idle-timeout", "2s"]
NTLM = b"NTLMSSP\0"
MEMORY = 400 << 10  # kB, the virtual machine's own included
PATIENCE = 20  # seconds beyond `within`, after which the command is ended from outside
ONE_ROW = "(sAMAccountName=n.values)"
MANY_ROWS = "(|(sAMAccountName=user00*)(sAMAccountName=user010*)(sAMAccountName=n.values))"  # two pages
PLANTED_ROWS = [f"row{number:02d}," for number in range(15)]


@dataclasses.dataclass
class Case:
    title: str
    servers: list = dataclasses.field(default_factory=list)
    codes: tuple = (1,)
    says: str = ""  # a pattern of what must be said
    options: list = dataclasses.field(default_factory=list)
    server: str | None = "dc1.zorvan.test"  # {at} is the address of the planted servers
    user: str | None = "reader@zorvan.test"
    hosts: dict = dataclasses.field(default_factory=lambda: {"dc1.zorvan.test": "{at}"})
    environment: dict = dataclasses.field(default_factory=dict)
    files: dict = dataclasses.field(default_factory=dict)  # path: what is shown there instead
    unseen: tuple = ()  # bytes that no planted server may receive
    filter: str = ONE_ROW
    certified: bool = False  # its server may see the password, and its rows count as rows of the directory
    truth: list = dataclasses.field(default_factory=lambda: PLANTED_ROWS)  # what a certified server has to show
    untouched: bool = False  # after the handshake nothing may be sent
    asked: bool = True  # at least one of its servers must have been connected to
    ntlm: bool = False  # NTLM is allowed to be seen
    within: float = 9  # seconds, on a machine that does nothing else
    interrupt: float | None = None  # seconds from the first connection to Ctrl-C
    out: str | None = None  # where the rows are written to, below the case's folder
    prepare: Callable | None = None  # (Run)
    check: Callable | None = None  # (Run) -> what is wrong, or None
    slow: bool = False


class Run:
    """One run of the command line in a mount namespace of its own, where names and files are the case's."""

    def __init__(self, case, number, world):
        self.case, self.world = case, world
        self.address = f"127.0.{1 + number // 250}.{1 + number % 250}"
        self.folder = world.folder / f"case{number}"

    def execute(self):
        self.folder.mkdir()
        if self.case.prepare:
            self.case.prepare(self)
        try:
            for server in self.case.servers:
                server.start(self.address)
            self.run()
        finally:
            for server in self.case.servers:
                server.stop()
        self.problems = list(self.judge())
        shutil.rmtree(self.folder)
        return self

    def fill(self, text):
        return text.format(at=self.address, folder=self.folder, **self.world.names)

    def command(self):
        case = self.case
        yield from [ZORVAN, "search", case.filter]
        yield from ["--attributes", "sAMAccountName,departmentNumber", "--format", "csv", "--domain", "zorvan.test"]
        yield from [] if "--connect-timeout" in case.options else LIMITS
        if case.server:
            yield from ["--server", self.fill(case.server)]
        if case.user:
            yield from ["--user", case.user, "--password-file", self.world.names["password_file"]]
        if case.out:
            yield from ["--out", str(self.folder / case.out)]
        yield from map(self.fill, case.options)

    def binds(self):
        hosts = "".join(f"{self.fill(address)} {name}\n" for name, address in self.case.hosts.items())
        shown = {"/etc/hosts": hosts} | self.case.files
        for count, (path, what) in enumerate(shown.items()):
            what = self.fill(what)
            if not what.startswith("/"):
                source = self.folder / f"shown{count}"
                source.write_text(what)
                what = str(source)
            yield from [what, path]

    def run(self):
        script = 'while [ "$1" != -- ]; do mount --bind "$1" "$2"; shift 2; done; shift; exec "$@"'
        inside = ["unshare", "--mount", "--propagation", "private", "sh", "-ec", script, "sh"]
        environment = {name: value for name, value in os.environ.items() if not name.startswith(("KRB5", "LDAP"))}
        environment |= {"HOME": str(self.folder), "ZORVAN_JAVA_OPTIONS": "-XX:TieredStopAtLevel=1"}
        environment |= {k: self.fill(v) for k, v in self.case.environment.items()}
        output, messages = self.folder / "output", self.folder / "messages"
        with open(output, "wb") as out, open(messages, "wb") as err:
            begin = time.monotonic()
            process = subprocess.Popen(
                [*inside, *self.binds(), "--", *self.command()],
                stdin=subprocess.DEVNULL, stdout=out, stderr=err, env=environment,
            )  # fmt: skip
            timers = [threading.Timer(self.limit() + PATIENCE, process.kill)]
            if self.case.interrupt:
                timers.append(threading.Thread(target=self.interrupt, args=[process], daemon=True))
            for timer in timers:
                timer.start()
            _, status, usage = os.wait4(process.pid, 0)
            self.end = time.monotonic()
            self.seconds = self.end - begin
            timers[0].cancel()
        process.returncode = os.waitstatus_to_exitcode(status)
        self.code, self.memory = process.returncode, usage.ru_maxrss
        rows = self.folder / self.case.out if self.case.out else output
        self.rows = rows.read_text(errors="replace").splitlines()[1:] if rows.is_file() and not rows.is_symlink() else []
        self.said = messages.read_text(errors="replace")

    def limit(self):
        """A machine that is busy is given longer, by what an undisturbed run took on it."""
        return self.case.within + 4 * self.world.undisturbed

    def interrupt(self, process):
        while not self.case.servers[0].connections:
            time.sleep(0.05)
        time.sleep(self.case.interrupt)
        self.interrupted = time.monotonic()
        process.send_signal(signal.SIGINT)

    def judge(self):
        case, received = self.case, [server.received for server in self.case.servers]
        truth = case.truth if case.certified else self.world.genuine_rows[case.filter]
        if self.code == -signal.SIGKILL:
            yield "it did not end"
        elif self.code not in case.codes:
            yield f"exit code {self.code}"
        if self.seconds > self.limit():
            yield f"it took {self.seconds:.1f} s, more than {self.limit():.1f} s"
        if self.case.interrupt and self.end - self.interrupted > 2 + self.world.undisturbed:
            yield f"it went on for {self.end - self.interrupted:.1f} s after Ctrl-C"
        if self.memory > MEMORY:
            yield f"it took {self.memory >> 10} MB"
        if not re.search(case.says, self.said, re.IGNORECASE):
            yield f'it does not say "{case.says}"'
        # A refusal for this reason would prove nothing.
        if "no answer within the time limit" in self.said and any(isinstance(s, Relay) and s.port == 88 for s in case.servers):
            yield "it does not come to the fault: the genuine KDC was late"
        if self.code == 0 and sorted(self.rows) != sorted(truth):
            yield f"{len(self.rows)} of {len(truth)} rows and exit code 0"
        # A value whose type could not be learnt is missing; the exit code must tell.
        poorer = {row.split(",")[0] + "," for row in truth}
        if strange := set(self.rows) - set(truth) - (poorer if self.code else set()):
            yield f"rows that are not the directory's: {min(strange)[:60]}"
        if case.asked and case.servers and not any(server.connections for server in case.servers):
            yield "the planted server was never asked"
        forbidden = [("the password", self.world.password)] if not case.certified else []
        forbidden += [] if case.ntlm else [("NTLM", NTLM)]
        forbidden += [(each.decode(), each) for each in case.unseen]
        for name, data in forbidden:
            if any(data in each for each in received):
                yield f"{name} was sent"
        if case.untouched and any(received):
            yield f"{sum(map(len, received))} bytes were sent after the certificate"
        if case.check and (wrong := case.check(self)):
            yield wrong

    def maybe_disturbed(self):
        return all(problem.startswith(("exit code", "it took", "it does not", "it went on")) for problem in self.problems)

    def seen(self):
        """What the user sees, in a line."""
        if self.code == -signal.SIGKILL:
            return "(nothing; ended from outside)"
        # What a line introduces stands indented beneath it.
        lines = re.sub(r":\n +", ": ", self.said).splitlines()
        reasons = [line.strip()[len("reason ") :] for line in lines if line.strip().startswith("reason ")]
        others = [line for line in lines if line.startswith(("error:", "warning:"))]
        text = " ".join(reasons + [line for line in others if not reasons or line.startswith("warning")] or lines[-1:])
        text = text.replace(self.address, "ADDRESS").replace(str(self.folder) + "/", "")
        return re.sub(r" in [\d.]+ s\b", "", text) or ("the rows, all of them" if self.code == 0 else "(nothing)")
