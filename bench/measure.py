#!/usr/bin/python3
"""Measures every contender against the directory server that a properties file names, one after the other, in rounds.

    measure.py --server FILE --kind slapd|domain --rounds N --library FILE --classpath PATHS --out FILE

Runs where the server can be reached (its network namespace). Writes what each search cost as JSON.
"""
import argparse
import json
import os
import subprocess
import sys
import tempfile
import threading
import time

ATTRIBUTES = (
    "distinguishedName cn sn givenName displayName sAMAccountName userPrincipalName mail telephoneNumber title "
    "department objectGUID userAccountControl whenCreated pwdLastSet"
).split()
LINKS = ["memberOf", "manager"]
# A heap of one size from the beginning, so that what differs between contenders and searches is not the garbage that
# the collector happens to leave for later.
JVM = ["java", "-Xms64m", "-Xmx64m", "-XX:+AlwaysPreTouch"]
MAIN = "com.velmora.tesk.zorvan.bench.Measurement"

PROTECTED = ["library", "jndi", "sdk", "ldapsearch"]
UNPROTECTED = ["jndi-simple", "sdk-simple", "ldapsearch-simple"]
MEMORY = ["library", "jndi", "sdk"]
LINKED = ["library", "jndi", "sdk", "jndi-remembering", "sdk-remembering"]


def say(text):
    print(f"bench: {text}", file=sys.stderr, flush=True)


def read_properties(path):
    with open(path, encoding="utf-8") as file:
        lines = (line.strip() for line in file)
        return dict(line.split("=", 1) for line in lines if "=" in line)


class Bench:
    def __init__(self, options):
        self.options = options
        self.server = read_properties(options.server)
        self.environment = dict(os.environ, KRB5_CONFIG=self.server["krb5Conf"])
        self.slapd = options.kind == "slapd"
        self.base = self.server["baseDn"]
        # A tenth of slapd's people; the people of the domain are not divided.
        self.part = f"ou=part0,{self.base}" if self.slapd else self.base
        self.filter = "(objectClass=user)" if self.slapd else "(&(objectCategory=person)(objectClass=user))"

    def log_on(self, folder):
        """Gets ldapsearch its ticket; the other contenders get their own for each search."""
        self.environment["KRB5CCNAME"] = f"FILE:{folder}/tickets"
        principal = f"{self.server['userName']}@{self.server['realm']}"
        with open(self.server["passwordFile"], "rb") as password:
            subprocess.run(["kinit", principal], stdin=password, stdout=subprocess.DEVNULL, env=self.environment, check=True)

    # ---- Java ----

    def run_java(self, contender, searches, links=()):
        """One fresh JVM that makes these searches, (name, base) each. Gives what each cost, in that order."""
        command = JVM + [
            f"-Djava.security.krb5.conf={self.server['krb5Conf']}",
            f"-Dzorvan.library={self.options.library}",
            "-cp", self.options.classpath, MAIN,
            self.options.server, contender, self.filter, ",".join(ATTRIBUTES), ",".join(links) or "-",
        ] + [f"{name}={base}" for name, base in searches]
        done = subprocess.run(command, env=self.environment, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        if done.returncode:
            raise SystemExit(f"{contender} failed:\n{done.stderr[-4000:]}")
        return [json.loads(line) for line in done.stdout.splitlines()]

    # ---- ldapsearch ----

    def ldapsearch_command(self, contender):
        if contender.endswith("-simple"):
            bind = ["-x", "-D", self.server["simpleBindDn"], "-y", self.server["passwordFile"]]
        else:
            bind = ["-Q", "-N", "-Y", "GSSAPI"]
        address = ["-H", f"ldap://{self.server['host']}", "-b", self.base]
        return ["ldapsearch", *bind, "-LLL", "-o", "ldif-wrap=no", "-E", "pr=1000/noprompt", *address, self.filter, *ATTRIBUTES]

    def count_ldapsearch_rows(self, contender):
        command = self.ldapsearch_command(contender)
        with subprocess.Popen(command, env=self.environment, stdout=subprocess.PIPE) as process:
            return sum(1 for line in process.stdout if line.startswith((b"dn: ", b"dn:: ")))

    def time_to_first_row(self, contender):
        begun = time.perf_counter()
        with subprocess.Popen(self.ldapsearch_command(contender), env=self.environment, stdout=subprocess.PIPE) as process:
            process.stdout.read(1)
            seconds = time.perf_counter() - begun
            process.kill()
        return seconds

    def run_ldapsearch(self, contender, rows):
        first_row = self.time_to_first_row(contender)
        begun = time.perf_counter()
        process = subprocess.Popen(self.ldapsearch_command(contender), env=self.environment, stdout=subprocess.DEVNULL)
        peak = PeakMemory(process.pid)
        _, status, usage = os.wait4(process.pid, 0)
        seconds = time.perf_counter() - begun
        process.returncode = os.waitstatus_to_exitcode(status)
        if process.returncode:
            raise SystemExit(f"{contender} failed")
        cpu = usage.ru_utime + usage.ru_stime
        return {
            "search": "steady", "rows": rows, "seconds": seconds, "firstRow": first_row, "cpu": cpu, "cpuOfProcess": cpu,
            "peakKib": peak.kib(),
        }

    # ---- What is measured ----

    def all_rows(self, contenders, steady):
        """Everybody in the directory with all attributes; names of other objects stay names."""
        runs = []
        counted = {}
        for number in range(self.options.rounds):
            for contender in contenders:
                say(f"round {number + 1}: {contender}")
                if contender.startswith("ldapsearch"):
                    if contender not in counted:
                        counted[contender] = self.count_ldapsearch_rows(contender)
                    searches = [self.run_ldapsearch(contender, counted[contender]) for _ in range(steady)]
                else:
                    names = ["first", "warm"] + ["steady"] * steady
                    searches = self.run_java(contender, [(name, self.base) for name in names])
                runs.append({"contender": contender, "searches": searches})
        self.check_same_work(runs)
        return runs

    def memory(self, contenders):
        """A tenth of the rows and all rows in one warm process, the larger search last."""
        searches = [("warm", self.part)] * 10 + [("part", self.part), ("all", self.base)]
        runs = []
        for number in range(self.options.rounds):
            for contender in contenders:
                say(f"round {number + 1}: memory of {contender}")
                runs.append({"contender": contender, "searches": self.run_java(contender, searches)})
        return runs

    def links(self, contenders, steady):
        """A tenth of slapd's people, or all of the domain's, without and with what memberOf and manager point to."""
        runs = []
        for contender in contenders:
            say(f"linked objects: {contender}")
            names = ["first", "plain"] + ["plain", "steady"] * steady
            searches = self.run_java(contender, [(name, self.part) for name in names], LINKS)
            runs.append({"contender": contender, "searches": searches})
        self.check_same_work(runs)
        return runs

    def check_same_work(self, runs):
        rows, values = set(), set()
        for run in runs:
            rows.update(search["rows"] for search in run["searches"])
            values.update(search["values"] for search in run["searches"] if "values" in search)
        if len(rows) != 1 or len(values) != 1 or 0 in rows:
            raise SystemExit(f"the contenders did not read the same: rows {sorted(rows)}, values {sorted(values)}")


class PeakMemory:
    """Watches the largest resident size of a process that is too short-lived to be asked at its end.

    The figure of wait4 would not do: it begins with the size of the process that forked.
    """

    def __init__(self, pid):
        self.path = f"/proc/{pid}/status"
        self.peak = 0
        self.thread = threading.Thread(target=self.watch, daemon=True)
        self.thread.start()

    def watch(self):
        while True:
            try:
                with open(self.path, encoding="ascii") as file:
                    peaks = [int(line.split()[1]) for line in file if line.startswith("VmHWM")]
            except OSError:
                return
            if not peaks:
                return
            self.peak = peaks[0]
            time.sleep(0.02)

    def kib(self):
        self.thread.join()
        return self.peak


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--server", required=True)
    parser.add_argument("--kind", choices=("slapd", "domain"), required=True)
    parser.add_argument("--rounds", type=int, default=3)
    parser.add_argument("--library", required=True)
    parser.add_argument("--classpath", required=True)
    parser.add_argument("--out", required=True)
    parser.add_argument("--contenders", help="only these, separated by commas")
    options = parser.parse_args()
    bench = Bench(options)

    def chosen(contenders):
        return [c for c in contenders if not options.contenders or c in options.contenders.split(",")]

    with tempfile.TemporaryDirectory() as folder:
        bench.log_on(folder)
        slapd = bench.slapd
        results = {
            "load": os.getloadavg()[0],
            "allRows": bench.all_rows(chosen(PROTECTED + UNPROTECTED if slapd else PROTECTED), 3 if slapd else 2),
            "memory": bench.memory(chosen(MEMORY)) if slapd else [],
            "links": bench.links(chosen(LINKED), 3),
        }
    with open(options.out, "w", encoding="utf-8") as file:
        json.dump(results, file, indent=1)


main()
