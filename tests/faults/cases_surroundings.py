"""What surrounds the call: name servers, winbind, and the file that is written."""

import os

from case import Case
from planted import Relay, SilentDatagrams, SilentPipe

SUBJECT = "The surroundings"


def services(world):
    silent = {"/etc/resolv.conf": "nameserver {at}\n"}
    names = {"files": silent, "hosts": {}}
    servers = [SilentDatagrams(53), Relay(389), Relay(88)]
    yield Case("DNS silent, server given as an address", servers, (0,), server="{at}", within=3, **names)
    yield Case("DNS silent, server given by name", [SilentDatagrams(53)], says="name server", **names)
    yield Case("DNS silent, no server given", [SilentDatagrams(53)], (1, 2), "name server", server=None, **names)
    pipe = SilentPipe(world.folder / "winbind")
    yield Case(
        "NTLM beside a silent winbind, --allow-ntlm", [pipe, Relay(389)], (0, 1), options=["--allow-ntlm"], asked=False,
        files={"/run/samba/winbindd": "{folder}/../winbind"}, ntlm=True,
    )  # fmt: skip


# ---- The file that is written, in a folder where others can plant links

VICTIM = "somebody else's file\n"


def prepare(run):
    shared = run.folder / "shared"
    shared.mkdir()
    victim = run.folder / "victim"
    victim.write_text(VICTIM)
    victim.chmod(0o600)
    return shared, victim


def plant_links(run):
    """Links under every name that could be guessed from the file's name and the number of the process."""
    shared, victim = prepare(run)
    (shared / "rows.csv.partial").symlink_to(victim)
    for number in range(os.getpid(), os.getpid() + 4000):
        (shared / f".rows.csv.{number}.unfinished").symlink_to(victim)


def plant_target(run):
    shared, victim = prepare(run)
    (shared / "rows.csv").symlink_to(victim)


def plant_private(run):
    shared, _ = prepare(run)
    (shared / "rows.csv").write_text("earlier rows\n")
    (shared / "rows.csv").chmod(0o600)


def victim_untouched(run):
    victim = run.folder / "victim"
    if victim.read_text() != VICTIM:
        return "a file was written through a link"
    if victim.stat().st_mode & 0o077:
        return "the mode of another file was changed"
    return None


def still_private(run):
    mode = (run.folder / "shared/rows.csv").stat().st_mode & 0o777
    return None if mode == 0o600 else f"a file of mode 600 became one of mode {mode:o}"


def files():
    here = {"dc1.zorvan.test": "127.0.0.10"}
    written = {"hosts": here, "out": "shared/rows.csv", "check": victim_untouched}
    yield Case("--out: links planted under its working names", codes=(0,), prepare=plant_links, **written)
    yield Case("--out: the file itself is a link", codes=(0, 1, 2), prepare=plant_target, **written)
    written["check"] = still_private
    yield Case("--out: a file of mode 600 is replaced", codes=(0,), prepare=plant_private, **written)


def cases(world):
    return [*services(world), *files()]
