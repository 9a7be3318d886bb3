"""A planted directory: it answers as a genuine one would, but for the steps that a case replaces."""

import time

from kerberos_messages import Acceptor
from ldap_messages import (
    BIND, SEARCH, Request, bound, done, element, entry, message, octets, outcome, page_control, receive_exactly,
    receive_message, sequence,
)  # fmt: skip

DOMAIN = "DC=zorvan,DC=test"
CONFIGURATION = "CN=Configuration," + DOMAIN
ROWS = 15
FIRST_PAGE = 8


def root(host="dc1.zorvan.test", realm="ZORVAN.TEST"):
    return entry(
        "",
        dnsHostName=host,
        ldapServiceName=f"zorvan.test:dc1$@{realm}",
        defaultNamingContext=DOMAIN,
        rootDomainNamingContext=DOMAIN,
        configurationNamingContext=CONFIGURATION,
        schemaNamingContext="CN=Schema," + CONFIGURATION,
    )


def row(number):
    name = f"row{number:02d}"
    return entry(f"CN={name},{DOMAIN}", cn=name, sAMAccountName=name, objectClass=["top", "user"])


def rows(connection, number, first, last):
    connection.sendall(b"".join(message(number, row(each)) for each in range(first, last)))


class Directory:
    """Steps: root(connection, request), bind, read (one object) and page (of the search). Bind may return another
    connection to go on with."""

    def __init__(self, **steps):
        self.steps = steps

    def __call__(self, connection):
        while True:
            request = Request(receive_message(connection))
            if request.kind == BIND:
                connection = self.step("bind", connection, request) or connection
            elif request.kind == SEARCH and request.base == "":
                self.step("root", connection, request)
            elif request.kind == SEARCH:
                self.step("page" if request.scope else "read", connection, request)

    def step(self, name, connection, request):
        return self.steps.get(name, getattr(self, name))(connection, request)

    @staticmethod
    def root(connection, request):
        connection.sendall(message(request.number, root()) + message(request.number, done()))

    @staticmethod
    def bind(connection, request):
        connection.sendall(message(request.number, bound()))

    @staticmethod
    def read(connection, request):
        found = entry(request.base, objectClass=["top", "domainDNS"])
        connection.sendall(message(request.number, found) + message(request.number, done()))

    @staticmethod
    def page(connection, request):
        if not request.cookie:
            rows(connection, request.number, 0, FIRST_PAGE)
            connection.sendall(message(request.number, done(), page_control(b"next")))
        else:
            rows(connection, request.number, FIRST_PAGE, ROWS)
            connection.sendall(message(request.number, done(), page_control(b"")))


class Sealed:
    """The connection after a bind that was accepted with somebody's key."""

    def __init__(self, connection, acceptor):
        self.connection, self.acceptor, self.data = connection, acceptor, b""

    def recv(self, size):
        if not self.data:
            length = receive_exactly(self.connection, 4)
            self.data = self.acceptor.unwrap(receive_exactly(self.connection, int.from_bytes(length, "big")))
        data, self.data = self.data[:size], self.data[size:]
        return data

    def sendall(self, data):
        self.connection.sendall(self.acceptor.wrap(data))


def forger(host, realm="ZORVAN.TEST"):
    """Owns a service key, says so in its RootDSE, and shows rows of its own to whoever brings a ticket for it."""

    def tell(connection, request):
        connection.sendall(message(request.number, root(host, realm)) + message(request.number, done()))

    def bind(connection, request):
        acceptor = Acceptor()
        try:
            token = acceptor.accept(request.token())
        except PermissionError:
            connection.sendall(message(request.number, bound(49)))
            return None
        connection.sendall(message(request.number, bound(0, token)))
        return Sealed(connection, acceptor)

    return Directory(root=tell, bind=bind)


# ---- Steps that go wrong


def silent(connection, _request):
    while connection.recv(65536):
        pass
    raise ConnectionError("the client has gone")


def slowly(data, pause=0.5):
    def send(connection, request):
        for byte in data(request):
            connection.sendall(bytes([byte]))
            time.sleep(pause)

    return send


def flood(make):
    """The same message again and again, to the end of the client's patience."""

    def send(connection, request):
        chunk = make(request)
        chunk *= max(1, 65536 // len(chunk))
        while True:
            connection.sendall(chunk)

    return send


def declared(size, fill=False):
    """A message that says it is so long."""

    def send(connection, request):
        head = element(0x02, bytes([request.number])) + b"\x64\x84" + (size - 20).to_bytes(4, "big")
        connection.sendall(b"\x30\x84" + size.to_bytes(4, "big") + head)
        while fill:
            connection.sendall(bytes(1 << 20))
        silent(connection, request)

    return send


def half(then):
    """Half of a page, then something else."""

    def send(connection, request):
        rows(connection, request.number, 0, 5)
        then(connection, request)

    return send


def gone(_connection, _request):
    raise ConnectionError("closed by the server")


def closing(*parts, count=FIRST_PAGE):
    """A page of so many rows that ends in this way, again and again."""

    def send(connection, request):
        rows(connection, request.number, 0, count)
        connection.sendall(message(request.number, *parts))

    return send


def empty_pages(connection, request):
    cookie = b"%d" % (int(request.cookie or b"0") + 1)
    connection.sendall(message(request.number, done(), page_control(cookie)))


def second(then):
    """A good first page, and another kind of second one."""

    def send(connection, request):
        if request.cookie:
            then(connection, request)
        else:
            Directory.page(connection, request)

    return send


def referral(url):
    return outcome(0x65, 10, "", sequence(octets(url), tag=0xA3))


def numbered(connection, request, name="departmentNumber"):
    """One row with an attribute whose type stands in the schema only."""
    found = entry(f"CN=row00,{DOMAIN}", sAMAccountName="row00", **{name: ["7", "70"] if ";" in name else "7"})
    connection.sendall(message(request.number, found) + message(request.number, done(), page_control(b"")))


def schema_silent(connection, request):
    if not request.base.startswith("CN=Schema"):
        numbered(connection, request)


def cut_list(connection, request):
    if request.base.startswith("CN=Schema"):
        syntax = entry("CN=x," + request.base, lDAPDisplayName="departmentNumber", attributeSyntax="2.5.5.12")
        connection.sendall(message(request.number, syntax) + message(request.number, done(), page_control(b"")))
    else:
        numbered(connection, request, "departmentNumber;range=0-1")


def big_value(size):
    def send(connection, request):
        cn = sequence(octets("cn"), element(0x31, octets(b"x" * size)))
        found = sequence(octets("CN=big," + DOMAIN), sequence(cn), tag=0x64)
        connection.sendall(message(request.number, found) + message(request.number, done(), page_control(b"")))

    return send
