"""Whom the log-on trusts: forged names, forged keys, forged answers of the key distribution centre."""

import dataclasses
import shutil

from case import Case
from kerberos_messages import (
    AES256, AS_REQUEST, CLIENT_REVOKED, CLIENT_UNKNOWN, KEY_EXPIRED, PREAUTHENTICATION_FAILED, RC4, SERVICE_UNKNOWN,
    TGS_REQUEST, TIME_SKEW, WRONG_REALM, kerberos_error, preauthentication,
)  # fmt: skip
from ldap_messages import bound, message
from planted import Kdc, Listener, Relay, Talking
from planted_ldap import Directory, forger, silent

SUBJECT = "Names and keys"
TICKET = {"KRB5_CONFIG": "{folder}/krb5.conf", "KRB5CCNAME": "FILE:{folder}/ticket"}
KRB5_CONF = """
[libdefaults]
default_realm = ZORVAN.TEST
udp_preference_limit = 1
dns_lookup_kdc = false
dns_canonicalize_hostname = false
rdns = false
[realms]
ZORVAN.TEST = {
  kdc = ADDRESS
}
"""


def rewritten(*changes):
    """A proxy that changes what can be read, each time into something of the same length."""

    def alter():
        def change(chunk):
            for old, new in changes:
                chunk = chunk.replace(old, new)
            return chunk

        return change

    return Relay(389, alter)


def answering(code, kind=None):
    """A KDC that answers every request, or those of one kind, with this error."""
    return Kdc(lambda request: kerberos_error(code) if kind in (None, request[0]) else None)


def demanding(*arguments):
    return Kdc(lambda request: preauthentication(*arguments) if request[0] == AS_REQUEST else None)


def sent_timestamp(centre):
    """What was encrypted under a key of one round can be guessed four thousand times as fast."""
    return "a timestamp under a weak key was sent" if b"\xa1\x03\x02\x01\x02\xa2" in centre.received else None


def claims_success(connection, request):
    connection.sendall(message(request.number, bound(0, b"\xa1\x07\x30\x05\xa0\x03\x0a\x01\x00")))


def unknown_but_own():
    """The genuine KDC, but for a forged error where the ticket is for the caller's server."""
    return Kdc(lambda r: kerberos_error(SERVICE_UNKNOWN) if r[0] == TGS_REQUEST and b"dc1" in r else None)


def configure(run, text=KRB5_CONF):
    (run.folder / "krb5.conf").write_text(text.replace("ADDRESS", run.address))
    # A copy, because the tickets for services are kept beside it.
    shutil.copy(run.world.names["ticket"], run.folder / "ticket")


def names():
    host = (b"dc1.zorvan.test", b"ev1.zorvan.test")
    yield Case("RootDSE rewritten: host name", [rewritten(host), Relay(88)], (0,), unseen=(b"ev1",))
    yield Case("RootDSE rewritten: realm", [rewritten((b"@ZORVAN.TEST", b"@FORGED.TEST")), Relay(88)], (0,))
    yield Case("RootDSE rewritten: no realm", [rewritten((b"ldapServiceName", b"l___ServiceName")), Relay(88)], (0,))
    yield Case("RootDSE rewritten: schema", [rewritten((b"CN=Schema,", b"CN=Schemb,")), Relay(88)], (0,))
    yield Case("RootDSE rewritten: domain", [rewritten((b"DC=zorvan", b"DC=forged")), Relay(88)], (0,))
    told = "RootDSE rewritten: host name, server given as an address"
    yield Case(told, [rewritten(host), Relay(88)], says="ev1.zorvan.test", server="{at}")
    yield Case("a server without a key", [Talking(389, Directory(bind=claims_success)), Relay(88)])
    forged = Talking(389, forger("ev1.zorvan.test"))
    yield Case("a server with another key", [forged, Relay(88)], unseen=(b"ev1",))
    forged = Talking(389, forger("ev1.zorvan.test"))
    unknown = answering(SERVICE_UNKNOWN, TGS_REQUEST)
    yield Case("a server with another key, KDC: service unknown", [forged, unknown_but_own()], unseen=(b"ev1",))
    yield Case("the genuine server, KDC: service unknown", [Relay(389), unknown], (1,), "service|name")
    forged = Talking(389, forger("ev1.zorvan.test"))
    yield Case("a server with another key, given as an address", [forged, Relay(88)], server="{at}")
    alias = "alias.zorvan.test"
    yield Case("a name that is no service of the directory", [Relay(389), Relay(88)], server=alias, hosts={alias: "{at}"})
    forged = Talking(389, forger("dc1.forged.test"))
    short = Case("a short name, the server's name from elsewhere", [forged, Relay(88)], server="dc1", hosts={"dc1": "{at}"})
    yield dataclasses.replace(short, unseen=(b"dc1.forged",))


def kdc():
    yield Case("KDC: port closed", [Relay(389)])
    yield Case("KDC: silent", [Relay(389), Listener(88)], says="KDC|Kerberos")
    yield Case("KDC: garbled", [Relay(389), Kdc(lambda _: b"\x7e\x03garbled")])
    yield Case("KDC: a reply of 4 GB", [Relay(389), Talking(88, lambda c: (c.sendall(b"\xff" * 4), silent(c, None)))])
    for code, name, words in [
        (TIME_SKEW, "the clocks differ", "clock|time"),
        (PREAUTHENTICATION_FAILED, "wrong password", ""),
        (CLIENT_UNKNOWN, "unknown user", ""),
        (CLIENT_REVOKED, "account locked", ""),
        (KEY_EXPIRED, "password expired", ""),
        (WRONG_REALM, "wrong realm", ""),
        (14, "no such encryption", ""),
        (60, "generic error", ""),
    ]:
        yield Case(f"KDC, forged: {name} ({code})", [Relay(389), answering(code)], (1,), words)
    yield Case("KDC, forged: RC4 only", [Relay(389), demanding(RC4)])
    # The most that libkrb5 would compute.
    most = (1 << 24) - 1
    yield Case("KDC, forged: 2^24-1 rounds", [Relay(389), demanding(AES256, most)])
    yield Case("KDC, forged: 2^24-1 rounds, as typed data", [Relay(389), demanding(AES256, most, 0)])
    yield Case("KDC, forged: 2^32-1 rounds", [Relay(389), demanding(AES256, 0xFFFFFFFF)])
    weak = demanding(AES256, 1)
    yield Case("KDC, forged: 1 round", [Relay(389), weak], check=lambda _: sent_timestamp(weak))
    yield Case("KDC: port closed, --allow-ntlm", [Relay(389)], (0,), "NTLM", ["--allow-ntlm"], ntlm=True)
    yield Case("KDC: port closed, server given as an address", [Relay(389)], server="{at}")


def users():
    def case(title, user, **more):
        return Case(title, [Relay(389), Relay(88)], user=user, **more)

    yield case("a user of the domain, DOMAIN\\name", "ZORVAN\\reader", codes=(0,))
    yield case("a local account", ".\\reader", codes=(0, 1), says="NTLM", ntlm=True)
    yield case("a user of another domain, DOMAIN\\name", "OTHER\\reader")
    yield case("a user of another domain, name@domain", "reader@other.test")


def own_ticket():
    """Without a user: the ticket that the process has, and the configuration of the machine."""

    def case(title, servers, codes=(1,), says="", **more):
        return Case(title, servers, codes, says, user=None, prepare=configure, environment=TICKET, **more)

    yield case("own ticket: nothing in the way", [Relay(389), Relay(88)], (0,))
    yield case("own ticket, KDC: port closed", [Relay(389)], says="Kerberos|KDC")
    forged = Talking(389, forger("ev1.zorvan.test"))
    servers = [forged, unknown_but_own()]
    yield case("own ticket, a server with another key, KDC: service unknown", servers, unseen=(b"ev1",))
    none = case("own ticket: there is none", [Relay(389), Relay(88)], says="ticket|Kerberos")
    yield dataclasses.replace(none, environment={"KRB5_CONFIG": TICKET["KRB5_CONFIG"]})
    damaged = case("own ticket: krb5.conf cannot be read", [Relay(389), Relay(88)], says="krb5.conf|configuration")
    yield dataclasses.replace(damaged, prepare=lambda run: configure(run, "[libdefaults\n"))


def cases(_world):
    return [*names(), *kdc(), *users(), *own_ticket()]
