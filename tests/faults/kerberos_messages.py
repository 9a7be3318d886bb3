"""Replies of a planted key distribution centre, and the accepting side of a bind by somebody who owns a service key."""

import ctypes

from ldap_messages import element, integer, octets, sequence

TIME_SKEW, PREAUTHENTICATION_REQUIRED, PREAUTHENTICATION_FAILED = 37, 25, 24
CLIENT_UNKNOWN, SERVICE_UNKNOWN, CLIENT_REVOKED, KEY_EXPIRED, WRONG_REALM = 6, 7, 18, 23, 68
AES256, RC4 = 18, 23
AS_REQUEST, TGS_REQUEST = 0x6A, 0x6C


def tagged(number, contents):
    return element(0xA0 | number, contents)


def kerberos_error(code, data=None, realm="ZORVAN.TEST"):
    """A KRB-ERROR; nothing in it is authenticated, so anybody can write one."""
    text = element(0x1B, realm.encode())
    names = sequence(element(0x1B, b"krbtgt"), text)
    fields = [
        tagged(0, integer(5)),
        tagged(1, integer(30)),
        tagged(4, element(0x18, b"20200101000000Z")),
        tagged(5, integer(0)),
        tagged(6, integer(code)),
        tagged(9, text),
        tagged(10, sequence(tagged(0, integer(2)), tagged(1, names))),
    ]
    if data is not None:
        fields.append(tagged(12, octets(data)))
    return element(0x7E, sequence(*fields))


def preauthentication(kind, iterations=None, first=1):
    """The demand for a timestamp under a key of this type, made from the password with so many rounds. The fields of its
    items are numbered from 1 (PA-DATA) or from 0 (TYPED-DATA); libkrb5 reads both."""
    fields = [tagged(0, integer(kind)), tagged(1, element(0x1B, b"ZORVAN.TESTreader"))]
    if iterations is not None:
        fields.append(tagged(2, octets(iterations.to_bytes(4, "big"))))
    hint = sequence(tagged(first, integer(19)), tagged(first + 1, octets(sequence(sequence(*fields)))))
    timestamp = sequence(tagged(first, integer(2)), tagged(first + 1, octets(b"")))
    return kerberos_error(PREAUTHENTICATION_REQUIRED, sequence(hint, timestamp))


class Buffer(ctypes.Structure):
    _fields_ = [("size", ctypes.c_size_t), ("value", ctypes.c_void_p)]

    @classmethod
    def of(cls, data):
        buffer = cls(len(data), None)
        buffer.keep = ctypes.create_string_buffer(data, len(data))
        buffer.value = ctypes.cast(buffer.keep, ctypes.c_void_p)
        return buffer

    def bytes(self):
        return ctypes.string_at(self.value, self.size) if self.size else b""


class Acceptor:
    """A GSSAPI acceptor by the keys that KRB5_KTNAME names."""

    library = None

    def __init__(self):
        Acceptor.library = Acceptor.library or ctypes.CDLL("libgssapi_krb5.so.2")
        self.context = ctypes.c_void_p()

    def accept(self, token):
        """The token to send back; raises PermissionError when the client's ticket is not for these keys."""
        minor, output, given = ctypes.c_uint32(), Buffer(), Buffer.of(token)
        major = self.library.gss_accept_sec_context(
            ctypes.byref(minor), ctypes.byref(self.context), None, ctypes.byref(given), None, None, None,
            ctypes.byref(output), None, None, None,
        )  # fmt: skip
        if major & 0xFFFF0000:
            raise PermissionError("the ticket is for somebody else")
        return output.bytes()

    def wrap(self, data):
        minor, output, given = ctypes.c_uint32(), Buffer(), Buffer.of(data)
        self.library.gss_wrap(
            ctypes.byref(minor), self.context, 1, 0, ctypes.byref(given), None, ctypes.byref(output)
        )
        sealed = output.bytes()
        return len(sealed).to_bytes(4, "big") + sealed

    def unwrap(self, data):
        minor, output, given = ctypes.c_uint32(), Buffer(), Buffer.of(data)
        self.library.gss_unwrap(
            ctypes.byref(minor), self.context, ctypes.byref(given), ctypes.byref(output), None, None
        )
        return output.bytes()
