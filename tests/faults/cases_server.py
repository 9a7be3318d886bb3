"""Servers that do not end, and servers that end too soon: before the log-on, and after it."""

import dataclasses

from case import Case
from cases_tls import LDAPS, TRUSTING
from ldap_messages import done, entry, message, page_control
from planted import Listener, Relay, Talking
from planted_ldap import (
    ROWS, Directory, big_value, closing, cut_list, declared, empty_pages, flood, forger, gone, half, referral, root, row,
    schema_silent, second, silent, slowly,
)  # fmt: skip

SUBJECT = "Servers that hold, flood or stop"


def before_log_on():
    def asked(title, **step):
        return Case(title, [Talking(389, Directory(**step)), Relay(88)])

    def answer(request):
        return message(request.number, root()) + message(request.number, done())

    yield asked("before the log-on: silent", root=silent)
    yield asked("before the log-on: closes", root=gone)
    yield asked("before the log-on: a byte every half second", root=slowly(answer))
    yield asked("before the log-on: answers to other questions without end", root=flood(lambda _: message(99, row(1))))
    yield asked("before the log-on: entries without end", root=flood(lambda r: message(r.number, row(1))))
    values = flood(lambda r: message(r.number, entry("", cn=["x"] * 9999)))
    yield asked("before the log-on: values without end", root=values)
    yield asked("before the log-on: a message of 1 GB, not sent", root=declared(1 << 30))
    yield asked("before the log-on: a message of 1 GB, sent", root=declared(1 << 30, fill=True))
    yield asked("before the log-on: garbage", root=lambda c, r: (c.sendall(b"HTTP/1.1 400 Bad Request\r\n"), silent(c, r)))
    yield asked("the bind is never answered", bind=silent)
    yield asked("the bind is answered a byte every half second", bind=slowly(answer))
    yield asked("a bind token of 1 GB", bind=declared(1 << 30))
    yield dataclasses.replace(
        asked("Ctrl-C while the log-on is held", root=silent, bind=silent), codes=(1, 3), says="ctrl-c", interrupt=0.5,
        options=["--connect-timeout", "8s"],
    )  # fmt: skip


def after_log_on(world):
    tls = world.authority.server("good")

    def certified(title, page=None, codes=(1, 3), says="", options=(), **more):
        server = Talking(636, Directory(**({"page": page} if page else {}), **more.pop("steps", {})), tls)
        servers = [server, *more.pop("more_servers", [])]
        return Case(title, servers, codes, says, [*TRUSTING, *options], LDAPS, certified=True, **more)

    def no_control(connection, request):
        closing(done())(connection, request)

    def all_in_one(connection, request):
        for number in range(ROWS):
            connection.sendall(message(request.number, row(number)))
        connection.sendall(message(request.number, done()))

    limit = ["--timeout", "6s"]
    yield certified("a server without pages", all_in_one, (0,))
    yield certified("silent in place of rows", silent)
    yield certified("silent after five rows", half(silent), (3,))
    yield certified("closes after five rows", half(gone), (3,))
    yield certified("a byte every half second", half(slowly(lambda r: message(r.number, row(6)) * 99)), (3,))
    yield certified("answers to other questions without end", half(flood(lambda _: message(99, row(1)))), (3,))
    yield certified("pages without rows, without end", empty_pages, says="page|cookie", options=limit)
    yield certified("the same cookie again and again", closing(done(), page_control(b"same")), (3,), "page|cookie")
    yield certified("a paging control that cannot be decoded", closing(done(), page_control(b"", b"\x30\x84\x7f")))
    yield certified("a second page without a paging control", second(no_control), (3,))
    yield certified("an error in place of the second page", second(closing(done(1, "out of order"))), (3,), "out of order")
    yield certified("an unknown error code", second(closing(done(123, "nobody knows"))), (3,), "nobody knows")
    yield certified("rows without end, --timeout 6s", half(flood(lambda r: message(r.number, row(1)))), (3,), options=limit)
    yield certified("a message of 1 GB, not sent", half(declared(1 << 30)), (3,))
    yield certified("a message of 1 GB, sent", half(declared(1 << 30, fill=True)), (3,))
    yield certified("a schema that is never given", schema_silent, (3,), truth=["row00,7"])
    yield certified("a list of which the directory gives a part", cut_list, (3,), truth=['row00,"7; 70"'])
    elsewhere = Listener(3890)
    yield certified(
        "a referral to a foreign host", closing(referral("ldap://forged.example:3890/")), (1, 3), "forged.example", check=lambda run: "the foreign host was asked" if elsewhere.connections else None,
        more_servers=[elsewhere], hosts={"dc1.zorvan.test": "{at}", "forged.example": "{at}"},
    )  # fmt: skip
    yield certified("a value of 80 MB", big_value(80 << 20), slow=True)
    yield certified("the simple bind is never answered", codes=(1,), steps={"bind": silent})
    yield certified("Ctrl-C after 2 s of silence", half(silent), (3,), interrupt=2, says="ctrl-c")


def walk():
    def hosts(*more):
        return {"dc1.zorvan.test": "127.0.0.10", "first.zorvan.test": "{at}"} | dict(more)

    def then_good(title, servers, **more):
        options = ["--server", "dc1.zorvan.test"]
        return Case(title, servers, (0,), options=options, server="first.zorvan.test", hosts=hosts(), **more)

    yield then_good("first controller: nobody listens", [])
    yield then_good("first controller: silent, then a good one", [Talking(389, lambda c: silent(c, None))])
    unanswered = [Talking(389, Directory(bind=silent)), Relay(88)]
    yield then_good("first controller: never answers the bind, then a good one", unanswered)
    other = [Talking(389, forger("dc9.other.test", "OTHER.TEST")), Relay(88)]
    yield then_good("first controller: of another domain, then a good one", other)
    yield then_good("first controller: its KDC is closed, then a good one", [Relay(389)])


def cases(world):
    return [*before_log_on(), *after_log_on(world), *walk()]
