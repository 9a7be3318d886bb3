"""LDAP messages as a planted server writes and reads them: BER put together by hand."""

import socket

BIND, UNBIND, SEARCH, ABANDON = 0x60, 0x42, 0x63, 0x50
PAGED_RESULTS = b"1.2.840.113556.1.4.319"


def element(tag, *parts):
    contents = b"".join(parts)
    size = len(contents)
    if size < 0x80:
        return bytes([tag, size]) + contents
    length = size.to_bytes((size.bit_length() + 7) // 8, "big")
    return bytes([tag, 0x80 | len(length)]) + length + contents


def integer(number, tag=0x02):
    return element(tag, number.to_bytes(number.bit_length() // 8 + 1, "big", signed=True))


def octets(text, tag=0x04):
    return element(tag, text if isinstance(text, bytes) else text.encode())


def sequence(*parts, tag=0x30):
    return element(tag, *parts)


def message(number, operation, *controls):
    return sequence(integer(number), operation, *([sequence(*controls, tag=0xA0)] if controls else []))


def entry(dn, **attributes):
    """A search entry; each attribute is a text or a list of texts."""
    lists = []
    for name, values in attributes.items():
        values = values if isinstance(values, list) else [values]
        lists.append(sequence(octets(name), element(0x31, *map(octets, values))))
    return sequence(octets(dn), sequence(*lists), tag=0x64)


def outcome(tag, code=0, text="", *more):
    """The end of a search (tag 0x65) or of a bind (0x61)."""
    return sequence(integer(code, 0x0A), octets(""), octets(text), *more, tag=tag)


def done(code=0, text=""):
    return outcome(0x65, code, text)


def bound(code=0, token=None):
    return outcome(0x61, code, "", *([] if token is None else [octets(token, 0x87)]))


def page_control(cookie, value=None):
    value = sequence(integer(0), octets(cookie)) if value is None else value
    return sequence(octets(PAGED_RESULTS), octets(value))


def split(data):
    """The first element of the bytes: its tag, its contents, and what follows it."""
    tag, size, start = data[0], data[1], 2
    if size & 0x80:
        start += size & 0x7F
        size = int.from_bytes(data[2:start], "big")
    return tag, data[start : start + size], data[start + size :]


def elements(data):
    while data:
        tag, contents, data = split(data)
        yield tag, contents


class Request:
    """What a client asked for."""

    def __init__(self, data):
        parts = list(elements(split(data)[1]))
        self.number = int.from_bytes(parts[0][1], "big")
        self.kind, self.body = parts[1]
        self.cookie = b""
        for _, control in elements(parts[2][1]) if len(parts) > 2 else ():
            fields = list(elements(control))
            if fields[0][1] == PAGED_RESULTS:
                self.cookie = list(elements(split(fields[-1][1])[1]))[1][1]
        if self.kind == SEARCH:
            fields = list(elements(self.body))
            self.base, self.scope = fields[0][1].decode(), fields[1][1][0]

    def token(self):
        """What a SASL bind carries."""
        mechanism = list(elements(list(elements(self.body))[2][1]))
        return mechanism[1][1] if len(mechanism) > 1 else b""


def receive_exactly(connection, size):
    data = b""
    while len(data) < size:
        more = connection.recv(size - len(data))
        if not more:
            raise ConnectionError("the client has gone")
        data += more
    return data


def receive_message(connection: socket.socket):
    data = receive_exactly(connection, 2)
    if data[0] != 0x30:
        raise ConnectionError("this is not LDAP")
    if data[1] & 0x80:
        data += receive_exactly(connection, data[1] & 0x7F)
        return data + receive_exactly(connection, int.from_bytes(data[2:], "big"))
    return data + receive_exactly(connection, data[1])
