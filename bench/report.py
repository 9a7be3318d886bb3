#!/usr/bin/python3
"""Turns what measure.py wrote into the tables of RESULTS.md.

    report.py SLAPD_JSON [DOMAIN_JSON] >MARKDOWN
"""
import json
import platform
import re
import statistics
import subprocess
import sys

NAMES = {
    "library": "**this library**",
    "jndi": "JNDI",
    "sdk": "UnboundID SDK",
    "ldapsearch": "ldapsearch",
    "jndi-simple": "JNDI, unprotected",
    "sdk-simple": "UnboundID SDK, unprotected",
    "ldapsearch-simple": "ldapsearch, unprotected",
    "jndi-remembering": "JNDI, one by one, remembered",
    "sdk-remembering": "UnboundID SDK, one by one, remembered",
}
ONE_BY_ONE = {"jndi": "JNDI, one by one", "sdk": "UnboundID SDK, one by one"}


def table(header, rows):
    def line(cells):
        return "| " + " | ".join(cells) + " |"

    return "\n".join([line(header), line(["---"] + ["---:"] * (len(header) - 1)), *map(line, rows)])


def contenders(runs):
    return list(dict.fromkeys(run["contender"] for run in runs))


def searches(runs, contender, name):
    return [s for run in runs if run["contender"] == contender for s in run["searches"] if s["search"] == name]


def median(values):
    return statistics.median(values)


def ratio(mine, other, places=2):
    return f"{mine / other:.{places}f}"


class Figures:
    """The medians of one contender over all rounds."""

    def __init__(self, runs, contender):
        steady = searches(runs, contender, "steady")
        first = searches(runs, contender, "first") or steady
        self.rows = steady[0]["rows"]
        self.speeds = [s["rows"] / s["seconds"] for s in steady]
        self.speed = median(self.speeds)
        self.cpu = median([s["cpu"] / s["rows"] for s in steady]) * 1e6
        self.first_row = median([s["firstRow"] for s in steady]) * 1e3
        self.whole_cpu = median([s["cpuOfProcess"] / s["rows"] for s in first]) * 1e6
        self.whole_first_row = median([s["firstRow"] for s in first]) * 1e3
        self.seconds = median([s["seconds"] for s in steady])
        self.links = steady[0].get("links", 0)
        of_process = [max(s["peakKib"] for s in run["searches"]) for run in runs if run["contender"] == contender]
        self.peak = median(of_process) / 1024


def all_rows_table(runs):
    figures = {contender: Figures(runs, contender) for contender in contenders(runs)}
    mine = figures.get("library")
    rows = []
    for contender, f in figures.items():
        against = [ratio(mine.speed, f.speed), ratio(mine.cpu, f.cpu)] if mine else ["", ""]
        rows.append([
            NAMES[contender], f"{f.speed:,.0f}", f"{min(f.speeds):,.0f} to {max(f.speeds):,.0f}", f"{f.cpu:.1f}",
            f"{f.first_row:.1f}", f"{f.peak:.0f}", f"{f.whole_cpu:.1f}", f"{f.whole_first_row:.0f}", *against,
        ])
    header = [
        "", "rows/s", "lowest to highest", "CPU per row, µs", "first row, ms", "peak memory, MiB",
        "CPU per row of a new process, µs", "its first row, ms", "library's rows/s ÷ its", "library's CPU ÷ its",
    ]
    return table(header, rows)


def memory_table(runs):
    rows = []
    for contender in contenders(runs):
        part, everything = (searches(runs, contender, name) for name in ("part", "all"))
        small, large = (median([s["peakKib"] for s in found]) / 1024 for found in (part, everything))
        rows.append([NAMES[contender], f"{small:.1f}", f"{large:.1f}", f"{growth(runs, contender) * 100:+.1f} %"])
    header = ["", *(f"{found[0]['rows']:,} rows, MiB" for found in (part, everything)), "growth"]
    return table(header, rows)


# Differences of seconds that are smaller than this are told as this.
SMALLEST_DIFFERENCE = 0.01


def plain_seconds(runs, contender):
    return median([s["seconds"] for s in searches(runs, contender, "plain")])


def look_up_seconds(runs, contender):
    """What resolving the names adds to a search."""
    return max(Figures(runs, contender).seconds - plain_seconds(runs, contender), SMALLEST_DIFFERENCE)


def times_faster(runs, contender):
    mine, others = look_up_seconds(runs, "library"), look_up_seconds(runs, contender)
    return f"{'> ' if mine == SMALLEST_DIFFERENCE else ''}{others / mine:.1f}"


def links_table(runs):
    rows = []
    for contender in contenders(runs):
        f, plain = Figures(runs, contender), plain_seconds(runs, contender)
        against = [times_faster(runs, contender), f"{f.seconds / Figures(runs, 'library').seconds:.1f}"]
        rows.append([
            ONE_BY_ONE.get(contender, NAMES[contender]), f"{f.links:,}", f"{f.cpu:.1f}", f"{f.seconds:.2f}",
            f"{plain:.2f}", f"{look_up_seconds(runs, contender):.2f}",
            *(against if "library" in contenders(runs) else ["", ""]),
        ])
    header = [
        "", "names resolved", "CPU per row, µs", "seconds", "without resolving", "for resolving",
        "its resolving ÷ library's", "its seconds ÷ library's",
    ]
    return table(header, rows)


# ---- The goals ----


def growth(runs, contender):
    small, large = (median([s["peakKib"] for s in searches(runs, contender, name)]) for name in ("part", "all"))
    return large / small - 1


def goals_table(slapd, domain):
    mine, jndi = (Figures(slapd["allRows"], contender) for contender in ("library", "jndi"))
    more = growth(slapd["memory"], "library")
    goals = [
        ("rows/s from slapd, times those of JNDI", ">= 1.5", ratio(mine.speed, jndi.speed), mine.speed >= 1.5 * jndi.speed),
        ("CPU per row, times that of JNDI", "< 1", ratio(mine.cpu, jndi.cpu), mine.cpu < jndi.cpu),
        ("peak memory, all rows against a tenth of them", "<= +5 %", f"{more * 100:+.1f} %", more <= 0.05),
    ]
    for name, results in (("slapd", slapd), ("the test domain", domain)):
        if results:
            runs = results["links"]
            rivals = [contender for contender in contenders(runs) if contender in ONE_BY_ONE]
            best = min(rivals, key=lambda contender: look_up_seconds(runs, contender))
            whole = min(Figures(runs, contender).seconds for contender in rivals) / Figures(runs, "library").seconds
            text = f"linked look-ups in {name}, times faster than one by one"
            reached = look_up_seconds(runs, best) >= 10 * look_up_seconds(runs, "library")
            goals.append((text, ">= 10", f"{times_faster(runs, best)} (whole search {whole:.1f})", reached))
    rows = [[text, wanted, measured, "yes" if reached else "**no**"] for text, wanted, measured, reached in goals]
    return table(["goal", "wanted", "measured", "reached"], rows)


# ---- The machine ----


def output_of(*command):
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False)
    return done.stdout


def package(name):
    return output_of("dpkg-query", "-W", "-f=${Version}", name)


def field(path, pattern):
    with open(path, encoding="utf-8") as file:
        return re.findall(pattern, file.read(), re.MULTILINE)


def machine():
    processors = field("/proc/cpuinfo", r"^model name\s*: (.*)$")
    gigabytes = int(field("/proc/meminfo", r"^MemTotal:\s*(\d+)")[0]) / 1024**2
    system = field("/etc/os-release", r'^PRETTY_NAME="(.*)"$')[0]
    java = re.search(r"Runtime Environment.*?build ([^)]*)\)", output_of("java", "-version"))[1]
    sdk = field(f"{sys.path[0]}/java/pom.xml", r"<artifactId>unboundid-ldapsdk</artifactId>\s*<version>(.*)</version>")[0]
    return "\n".join([
        f"- {len(processors)} cores of {processors[0].strip()}, {gigabytes:.0f} GiB; the servers share them with the clients",
        f"- {system}, Linux {platform.release().split('-')[0]}",
        f"- OpenLDAP {package('slapd')}, Samba {package('samba')}, MIT Kerberos {package('libgssapi-krb5-2')}",
        f"- OpenJDK {java}, UnboundID LDAP SDK {sdk}",
    ])


def load(results):
    loads = ", ".join(f"{result['load']:.1f}" for result in results)
    return f"- load average when measuring began (slapd, domain): {loads}"


def main():
    results = []
    for path in sys.argv[1:]:
        with open(path, encoding="utf-8") as file:
            results.append(json.load(file))
    slapd = results[0]
    people = slapd["allRows"][0]["searches"][0]["rows"]
    parts = [
        "# What a search costs",
        "Written by `make bench`; [README.md](README.md) says what is measured and how to read it.",
        machine() + "\n" + load(results),
        *(["## Goals", goals_table(slapd, (results[1:] or [None])[0])] if {"library", "jndi"} <= set(contenders(slapd["allRows"])) else []),
        f"## slapd, {people:,} people, 15 attributes",
        all_rows_table(slapd["allRows"]),
        "### Peak memory by number of rows",
        memory_table(slapd["memory"]),
        f"### {slapd['links'][0]['searches'][0]['rows']:,} people with `memberOf` and `manager` resolved",
        links_table(slapd["links"]),
    ]
    for domain in results[1:]:
        people = domain["allRows"][0]["searches"][0]["rows"]
        parts += [
            f"## Samba domain controller, {people:,} users, 15 attributes",
            all_rows_table(domain["allRows"]),
            "### With `memberOf` and `manager` resolved",
            links_table(domain["links"]),
        ]
    print("\n\n".join(parts))


main()
