"""A sealed session with the genuine controller, through somebody who cuts, changes, repeats or holds it."""

import time

from case import MANY_ROWS, Case
from cases_tls import LDAPS
from planted import Relay

SUBJECT = "A sealed session, touched on the way"


def after(count, act):
    """Does something to the answers once so many bytes have passed."""

    def alter():
        passed = 0

        def change(chunk):
            nonlocal passed
            begin, passed = passed, passed + len(chunk)
            return act(chunk, count - begin) if begin <= count < passed else chunk

        return change

    return alter


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


def on_first_frame(act):
    """Does something to the first chunk of the sealed session: it begins with a length, whose first byte is zero."""

    def alter():
        waiting = [act]
        return lambda chunk: waiting.pop()(chunk) if chunk[:1] == b"\0" and waiting else chunk

    return alter


def cases(world):
    def touched(title, alter, codes=(1, 3), slow=False):
        return Case(title, [Relay(389, alter), Relay(88)], codes, filter=MANY_ROWS, slow=slow)

    acts = {"cut": cut, "one bit changed": garble, "a byte lost": drop, "a byte put in": insert, "held": hold}
    for name, act in acts.items():
        for share in (20, 60, 95):
            slow = share == 60 or act in (drop, insert)
            yield touched(f"{name} after {share} % of the bytes", after(world.genuine_bytes * share // 100, act), slow=slow)
    for name, act in [("cut", cut), ("one bit changed", garble)]:
        relay = Relay(636, after(world.genuine_bytes // 2, act))
        trusting = ["--ca-file", "{domain_ca_file}"]
        yield Case(f"TLS: {name} in the middle", [relay], (1, 3), options=trusting, server=LDAPS, filter=MANY_ROWS)
    yield touched("a sealed message of 2 GB", on_first_frame(lambda chunk: b"\x7f\xff\xff\xff" + chunk[4:]), (1,))
    yield touched("a sealed message twice", on_first_frame(lambda chunk: chunk * 2))
    yield touched("a sealed message lost", on_first_frame(lambda _chunk: b""))
