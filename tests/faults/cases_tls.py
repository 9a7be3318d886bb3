"""TLS: certificates that must be refused, whatever the configuration of the machine says."""

from case import Case
from planted import Listener, Talking
from planted_ldap import Directory

SUBJECT = "TLS"
TRUSTING = ["--ca-file", "{ca_file}"]
LDAPS = "dc1.zorvan.test:636"


def cases(world):
    def planted(certificate):
        return [Talking(636, Directory(), world.authority.server(certificate))]

    def refused(title, certificate, words, options=(), **more):
        return Case(title, planted(certificate), (1,), words, list(options), LDAPS, untouched=True, **more)

    def weak(word):
        return {"LDAPTLS_REQCERT": word}

    issuer = "issuer|authorit|self-signed"
    never = {"/etc/ldap/ldap.conf": "TLS_REQCERT never\n"}
    return [
        refused("certificate: self-signed", "self", issuer),
        refused("certificate: unknown issuer", "good", issuer),
        refused("certificate: self-signed, TLS_REQCERT never", "self", issuer, files=never),
        refused("certificate: self-signed, LDAPTLS_REQCERT=never", "self", issuer, environment=weak("never")),
        refused("certificate: self-signed, LDAPTLS_REQCERT=allow", "self", issuer, environment=weak("allow")),
        refused(
            "certificate: self-signed, TLS_REQCERT never, no authorities on the machine", "self", "",
            files=never | {"/etc/ssl/certs": "{empty}"}, asked=False,
        ),
        refused(
            "certificate: LDAPTLS_CACERT names its issuer, nobody else does", "good", issuer,
            environment={"LDAPTLS_CACERT": "{ca_file}"},
        ),
        refused("certificate: wrong name", "other", "other.zorvan.test", TRUSTING),
        refused("certificate: expired", "expired", "expired", TRUSTING),
        refused("certificate: not yet valid", "early", "not yet", TRUSTING),
        Case("--ca-file: no such file", [], (1, 2), "none.pem", ["--ca-file", "{folder}/none.pem"], LDAPS),
        refused("--ca-file: nothing in it", "good", "/dev/null", ["--ca-file", "/dev/null"], asked=False),
        Case("TLS: silent", [Listener(636)], server=LDAPS, options=TRUSTING),
        Case("TLS: the server speaks LDAP only", [Talking(636, Directory())], server=LDAPS, options=TRUSTING),
        Case("certificate: good", planted("good"), (0,), "", TRUSTING, LDAPS, certified=True),
    ]  # fmt: skip
