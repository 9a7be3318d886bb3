"""A sealed session with the genuine controller, through somebody who cuts, changes, repeats or holds it."""

import dataclasses
import time

from case import MANY_ROWS, Case
from cases_tls import LDAPS
from planted import Relay

SUBJECT = "A sealed session, touched on the way"
AT_ONCE = 1  # while a search is held or its rows are not taken, this controller's KDC answers others late


class Touch:
    """Does something to the answers once so many bytes have passed; without a count, to the first chunk of the sealed
    session, which begins with the zero of a length."""

    def __init__(self, act, count=None):
        self.act, self.count, self.done = act, count, False

    def __call__(self):
        passed = 0

        def change(chunk):
            nonlocal passed
            begin, passed = passed, passed + len(chunk)
            due = begin <= self.count < passed if self.count else chunk[:1] == b"\0"
            if self.done or not due:
                return chunk
            self.done = True
            return self.act(chunk, self.count - begin if self.count else 0)

        return change

    def check(self, _run):
        return None if self.done else "it does not come to the fault"


def cut(_chunk, _place):
    raise ConnectionError("cut")


def garble(chunk, place):
    return chunk[:place] + bytes([chunk[place] ^ 1]) + chunk[place + 1 :]


def drop(chunk, place):
    return chunk[:place] + chunk[place + 1 :]


def insert(chunk, place):
    return chunk[:place] + b"\0" + chunk[place:]


def hold(chunk, _place):
    time.sleep(60)
    return chunk


ACTS = {"cut": cut, "one bit changed": garble, "a byte lost": drop, "a byte put in": insert, "held": hold}
ON_FIRST = {
    "of 2 GB": lambda chunk, _: b"\x7f\xff\xff\xff" + chunk[4:],
    "twice": lambda chunk, _: chunk * 2,
    "lost": lambda _chunk, _: b"",
}


def cases(world):
    def touched(title, touch, **more):
        return Case(title, [Relay(389, touch), Relay(88)], (1, 3), filter=MANY_ROWS, check=touch.check, **more)

    for name, act in ACTS.items():
        for share in (20, 60, 95):
            touch = Touch(act, world.genuine_bytes * share // 100)
            yield touched(f"{name} after {share} % of the bytes", touch, slow=share != 60 or act in (drop, insert))
    for name, act in ON_FIRST.items():
        yield touched(f"a sealed message {name}", Touch(act))
    for name in ("cut", "one bit changed"):
        touch = Touch(ACTS[name], world.genuine_bytes // 2)
        trusting = ["--ca-file", "{domain_ca_file}"]
        servers = [Relay(636, touch)]
        case = Case(f"TLS: {name} in the middle", servers, (1, 3), options=trusting, server=LDAPS)
        yield dataclasses.replace(case, filter=MANY_ROWS, check=touch.check)
