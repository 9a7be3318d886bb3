"""Servers that do not end, and servers that end too soon: before the log-on, and after it."""

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
    def case(title, step, **more):
        return Case(title, [Talking(389, Directory(root=step, bind=step)), Relay(88)], **more)

    def answer(request):
        return message(request.number, root()) + message(request.number, done())

    yield case("before the log-on: silent", silent)
    yield case("before the log-on: closes", gone)
    yield case("before the log-on: a byte every half second", slowly(answer))
    yield case("before the log-on: answers to other questions without end", flood(lambda _: message(99, row(1))))
    yield case("before the log-on: entries without end", flood(lambda r: message(r.number, row(1))))
    values = flood(lambda r: message(r.number, entry("", cn=["x"] * 9999)))
    yield case("before the log-on: values without end", values)
    yield case("before the log-on: a message of 1 GB, not sent", declared(1 << 30))
    yield case("before the log-on: a message of 1 GB, sent", declared(1 << 30, fill=True))
    yield case("before the log-on: garbage", lambda c, r: (c.sendall(b"HTTP/1.1 400 Bad Request\r\n"), silent(c, r)))
    patient = ["--connect-timeout", "8s"]
    yield case("Ctrl-C while the log-on is held", silent, codes=(1, 3), says="ctrl-c", interrupt=0.5, options=patient)


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
    yield certified("a list of which the directory gives a part", cut_list, (3,), truth=["row00,7; 70"])
    elsewhere = Listener(3890)
    yield certified(
        "a referral to a foreign host", closing(referral("ldap://forged.example:3890/"), count=0), (1,), "forged.example",
        hosts={"dc1.zorvan.test": "{at}", "forged.example": "{at}"}, more_servers=[elsewhere],
        check=lambda run: "the foreign host was asked" if elsewhere.connections else None,
    )  # fmt: skip
    yield certified("a value of 80 MB", big_value(80 << 20), slow=True)
    yield certified("the simple bind is never answered", codes=(1,), steps={"bind": silent})
    yield certified("Ctrl-C after 2 s of silence", half(silent), (3,), interrupt=2, says="ctrl-c")


def walk():
    # The domain's own name is a service of its controllers too.
    def then_good(title, servers, codes=(0,), first="dc1.zorvan.test"):
        hosts = {first: "{at}", "zorvan.test": "127.0.0.10"}
        return Case(title, servers, codes, options=["--server", "zorvan.test"], server=first, hosts=hosts)

    yield then_good("first controller: nobody listens", [])
    silence = Directory(root=silent, bind=silent)
    yield then_good("first controller: silent, then a good one", [Talking(389, silence), Relay(88)])
    yield then_good("first controller: its KDC is silent, then a good one", [Relay(389), Listener(88)])
    other = [Talking(389, forger("dc9.other.test", "OTHER.TEST")), Relay(88)]
    yield then_good("first controller: of another domain, then a good one", other, codes=(0, 1), first="first.zorvan.test")
    yield then_good("first controller: its KDC is closed, then a good one", [Relay(389)])


def cases(world):
    return [*before_log_on(), *after_log_on(world), *walk()]
