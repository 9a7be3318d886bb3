#!/usr/bin/python3
"""Fills the freshly provisioned test domain, offline.

Runs where Samba's own folders are those of the test domain.  What is to be there is in the LDIF files and company.py beside
this file; here is only how it gets in.
"""

import argparse
import datetime
import pathlib
import re
import subprocess

import ldb
import samba
from samba import dsdb
from samba.auth import system_session
from samba.param import LoadParm
from samba.samdb import SamDB
from samba.sd_utils import SDUtils

import terminal_services
from company import COMPUTERS, CONTACTS, PASSWORD_NEVER_EXPIRES, Company

HERE = pathlib.Path(__file__).resolve().parent
DATABASE = "/var/lib/samba/private/sam.ldb"
PARTITION = "/var/lib/samba/private/sam.ldb.d/DC=ZORVAN,DC=TEST.ldb"
POLICY_FOLDERS = pathlib.Path("/var/lib/samba/sysvol/zorvan.test/Policies")

DOMAIN = "DC=zorvan,DC=test"
CONFIGURATION = "CN=Configuration," + DOMAIN
COMPANY = "OU=Company," + DOMAIN
TOKENS = {
    "domain": DOMAIN,
    "configuration": CONFIGURATION,
    "company": COMPANY,
    "notable": "OU=Notable," + COMPANY,
    "odd": "OU=Odd\\, Names," + COMPANY,
    "mail": "OU=Mail," + COMPANY,
    "computers": "OU=Computers," + COMPANY,
    "policies": "CN=Policies,CN=System," + DOMAIN,
    "passwordSettings": "CN=Password Settings Container,CN=System," + DOMAIN,
    "sites": "CN=Sites," + CONFIGURATION,
    "store": "CN=Mailbox Store (1),CN=Mail,CN=Services," + CONFIGURATION,
    "never": str(-(2**63)),
}

# Values that point at objects which may come later.
LINKS = [
    "member", "manager", "managedBy", "msDS-PSOAppliesTo", "authOrig", "unauthOrig", "dLMemSubmitPerms",
    "dLMemRejectPerms", "altRecipient", "publicDelegates",
]  # fmt: skip

# The states of accounts that a controller would only set itself.
AS_GIVEN = ["relax:0", f"local_oid:{dsdb.DSDB_CONTROL_BYPASS_PASSWORD_HASH_OID}:0"]
TRUST = [f"local_oid:{dsdb.DSDB_CONTROL_PERMIT_INTERDOMAIN_TRUST_UAC_OID}:0"]

# Without an undo point for each single operation, which costs more the more objects there are.
BULK = ["batch_mode:1", "transaction_index_cache_size:200000"]

INTERVALS_A_SECOND = 10_000_000
CHANGE_PASSWORD = "ab721a53-1e2f-11d0-9819-00aa0040529b"


def filetime(date):
    since = datetime.datetime.fromisoformat(date) - datetime.datetime(1601, 1, 1)
    return int(since.total_seconds()) * INTERVALS_A_SECOND


class Seed:
    def __init__(self, secrets, users):
        self.secrets = secrets
        self.users = users
        self.settings = LoadParm()
        self.settings.load_default()
        self.settings.set("dsdb:schema update allowed", "yes")
        self.company = Company(TOKENS, filetime, users)
        self.links = []
        self.connect()

    def connect(self, options=()):
        self.directory = SamDB(DATABASE, session_info=system_session(), lp=self.settings, options=list(options))

    def run(self):
        self.extend_schema()
        self.in_transaction(self.add_units)
        self.in_transaction(self.add_objects)
        self.in_transaction(self.add_links)
        self.in_transaction(self.finish_accounts)
        self.in_transaction(self.add_doomed)
        self.in_transaction(self.delete_doomed)
        self.make_policy_folders()
        self.backdate()

    def in_transaction(self, work):
        self.directory.transaction_start()
        try:
            work()
        except BaseException:
            self.directory.transaction_cancel()
            raise
        self.directory.transaction_commit()

    # --- schema

    def extend_schema(self):
        """Attributes first, then the classes that name them; a connection knows the schema it began with."""
        text = (HERE / "mail_schema.ldif").read_text()

        def wanted(step, change, message):
            if "attributeID" in message:
                return step == "attributes"
            return step == ("existing class" if change == ldb.CHANGETYPE_MODIFY else "new class")

        for step in ("attributes", "existing class", "new class"):
            self.connect()

            def add():
                for change, message in self.directory.parse_ldif(text):
                    if wanted(step, change, message):
                        apply = self.directory.modify if change == ldb.CHANGETYPE_MODIFY else self.directory.add
                        apply(message)

            self.in_transaction(add)
        self.connect(BULK)

    # --- objects

    def add(self, dn, values, controls=None):
        """Adds an object from a dictionary; absent values are left out and links are kept for later."""
        message = ldb.Message(ldb.Dn(self.directory, dn))
        for name, value in values.items():
            if value is None or value == []:
                continue
            texts = [str(v) for v in value] if isinstance(value, list) else [str(value)]
            if name in LINKS:
                self.links.append((dn, name, texts))
            else:
                message[name] = ldb.MessageElement(texts, ldb.FLAG_MOD_ADD, name)
        self.directory.add(message, controls or AS_GIVEN)

    def add_units(self):
        for dn, object_class in self.company.units():
            self.add(dn, {"objectClass": object_class})

    def add_objects(self):
        self.add_file("objects.ldif")
        self.add_file("people.ldif")
        self.add_file("mail.ldif")
        for i in range(1, self.users + 1):
            self.add(*self.company.user(i))
        for i in range(1, CONTACTS + 1):
            self.add(*self.company.contact(i))
        for i in range(1, COMPUTERS + 1):
            self.add(*self.company.computer(i))
        for dn, values in self.company.groups():
            self.add(dn, values)
        self.add_trust()

    def add_file(self, name):
        text = re.sub(r"\{([a-zA-Z][^{}\n]*|\d{4}-\d\d-\d\d|\d+ days)\}", self.fill_in, (HERE / name).read_text())
        for _, message in self.directory.parse_ldif(text):
            dn = str(message.dn)
            values = {name: [bytes(v) for v in message[name]] for name in message.keys() if name != "dn"}
            self.add_parsed(message, dn, values)

    def fill_in(self, match):
        token = match[1]
        if token in TOKENS:
            return TOKENS[token]
        if token.startswith("rid of "):
            return self.rid(token[len("rid of ") :])
        if token.endswith(" days"):
            return str(-int(token.split()[0]) * 86400 * INTERVALS_A_SECOND)
        if token[0].isdigit():
            return str(filetime(token))
        return match[0]

    def add_parsed(self, message, dn, values):
        object_class = values.get("objectClass", [b"user"])[0].decode()
        if object_class == "user":
            name = values["sAMAccountName"][0].decode()
            usual = {
                "objectClass": "user",
                "userAccountControl": "512",
                "userPrincipalName": name + "@zorvan.test",
                "pwdLastSet": str(filetime("2024-06-01")),
            }
            if name in terminal_services.USERS:
                usual["userParameters"] = terminal_services.USERS[name]
        elif object_class == "groupPolicyContainer":
            policy = message.dn.get_rdn_value()
            usual = {
                "gPCFunctionalityVersion": "2",
                "gPCFileSysPath": f"\\\\zorvan.test\\sysvol\\zorvan.test\\Policies\\{policy}",
            }
        else:
            usual = {}
        for attribute, value in usual.items():
            if attribute not in values:
                message[attribute] = ldb.MessageElement(value, ldb.FLAG_MOD_ADD, attribute)
        for attribute in LINKS:
            if attribute in values:
                self.links.append((dn, attribute, [v.decode() for v in values[attribute]]))
                del message[attribute]
        self.directory.add(message, AS_GIVEN)

    def add_trust(self):
        """The account of a trusting domain, which most user reports leave out by its sAMAccountType."""
        self.add(
            "CN=PARTNER$,CN=Users," + DOMAIN,
            {"objectClass": "user", "sAMAccountName": "PARTNER$", "userAccountControl": 0x820},
            TRUST,
        )

    def add_links(self):
        for dn, name, values in self.links:
            message = ldb.Message(ldb.Dn(self.directory, dn))
            message[name] = ldb.MessageElement(values, ldb.FLAG_MOD_ADD, name)
            self.directory.modify(message)
        self.modify(DOMAIN, gPLink=self.domain_links())

    def domain_links(self):
        def link(number, state):
            return f"[LDAP://cn={{00000000-0000-4000-8000-{number:012}}},cn=policies,cn=system,{DOMAIN};{state}]"

        [domain] = self.directory.search(DOMAIN, scope=ldb.SCOPE_BASE, attrs=["gPLink"])
        return str(domain["gPLink"]) + link(2, 2) + link(4, 0)

    # --- accounts

    def search(self, name, attributes):
        [entry] = self.directory.search(DOMAIN, expression=f"(sAMAccountName={name})", attrs=attributes)
        return entry

    def rid(self, name):
        sid = self.directory.schema_format_value("objectSid", self.search(name, ["objectSid"])["objectSid"][0])
        return sid.decode().rsplit("-", 1)[1]

    def modify(self, dn, **values):
        message = ldb.Message(dn if isinstance(dn, ldb.Dn) else ldb.Dn(self.directory, dn))
        for name, value in values.items():
            message[name] = ldb.MessageElement(str(value), ldb.FLAG_MOD_REPLACE, name)
        self.directory.modify(message, AS_GIVEN)

    def secret(self, name):
        return (self.secrets / name).read_text()

    def finish_accounts(self):
        minute = 60 * INTERVALS_A_SECOND
        self.modify(DOMAIN, lockoutThreshold=10, lockoutDuration=-30 * minute, lockOutObservationWindow=-30 * minute)

        self.directory.setpassword("(sAMAccountName=Administrator)", self.secret("administrator"))
        self.directory.newuser("reader", self.secret("reader"))
        self.directory.newuser("barred", self.secret("disabled"))
        for name in ("Administrator", "reader"):
            self.modify(self.search(name, ["dn"]).dn, userAccountControl=0x200 | PASSWORD_NEVER_EXPIRES)
        self.modify(self.search("barred", ["dn"]).dn, userAccountControl=0x202 | PASSWORD_NEVER_EXPIRES)

        # Setting a password touches the very states that these accounts are there for.
        kept = ["pwdLastSet", "lockoutTime", "badPwdCount"]
        for user in self.directory.search(TOKENS["notable"], expression="(sAMAccountName=n.refused.*)", attrs=kept):
            self.directory.setpassword(f"(distinguishedName={user.dn})", self.secret("reader"))
            self.modify(user.dn, **{name: str(user[name]) for name in kept if name in user})

        fixed = self.search("n.pw.fixed", ["dn"]).dn
        for trustee in ("WD", "PS"):
            SDUtils(self.directory).dacl_add_ace(fixed, f"(OD;;CR;{CHANGE_PASSWORD};;{trustee})")

    # --- deleted objects

    def add_doomed(self):
        for name in ("gone.one", "gone.two", "gone.three"):
            self.add(
                f"CN={name},{TOKENS['notable']}",
                {"objectClass": "user", "sAMAccountName": name, "userAccountControl": 512, "description": "deleted"},
            )
        self.add(f"CN=Gone\\, Group,{TOKENS['notable']}", {"objectClass": "group", "sAMAccountName": "gone.group"})
        self.add(f"CN=GONE-PC,{TOKENS['computers']}", {
            "objectClass": "computer", "sAMAccountName": "GONE-PC$", "userAccountControl": 4096,
        })  # fmt: skip
        self.add(f"CN=Gone Contact,{TOKENS['notable']}", {"objectClass": "contact"})
        self.add(f"OU=Gone Unit,{TOKENS['notable']}", {"objectClass": "organizationalUnit"})

    def delete_doomed(self):
        for entry in self.directory.search(
            COMPANY, expression="(|(name=gone.*)(name=Gone, *)(name=GONE-*)(name=Gone *))", attrs=["name"]
        ):
            self.directory.delete(entry.dn)

    # --- beside and below the directory

    def make_policy_folders(self):
        """The files of each policy, with the permissions of an existing one; no tool of Samba does this offline."""
        model = POLICY_FOLDERS / "{31B2F340-016D-11D2-945F-00C04FB984F9}"
        for entry in self.directory.search(
            TOKENS["policies"], expression="(cn={00000000-*)", attrs=["cn", "versionNumber"]
        ):
            folder = POLICY_FOLDERS / str(entry["cn"])
            subprocess.run(["cp", "-a", model, folder], check=True)
            (folder / "GPT.INI").write_text(f"[General]\r\nVersion={entry['versionNumber']}\r\n")
            for part in ("Machine", "User"):
                self.add(f"CN={part},{entry.dn}", {"objectClass": "container"})

    def backdate(self):
        """whenCreated and whenChanged are the controller's own, so they are changed below it."""
        del self.directory
        partition = samba.Ldb(PARTITION, lp=self.settings, options=["modules:"])
        partition.transaction_start()
        for i in range(1, self.users + 1):
            self.backdate_one(partition, self.company.user_dn(i), i)
        for i in range(1, COMPUTERS + 1):
            self.backdate_one(partition, self.company.computer(i)[0], i)
        for i, (dn, _) in enumerate(self.company.groups(), 1):
            self.backdate_one(partition, dn, i)
        for i, (dn, _) in enumerate(self.company.units()):
            self.backdate_one(partition, dn, i)
        partition.transaction_commit()

    def backdate_one(self, partition, dn, i):
        times = self.company.created(i)
        if times is None:
            return
        message = ldb.Message(ldb.Dn(partition, dn))
        for name, time in zip(("whenCreated", "whenChanged"), times):
            message[name] = ldb.MessageElement(time, ldb.FLAG_MOD_REPLACE, name)
        partition.modify(message)


def main():
    arguments = argparse.ArgumentParser()
    arguments.add_argument("--users", type=int, required=True)
    arguments.add_argument("--secrets", type=pathlib.Path, required=True)
    options = arguments.parse_args()
    Seed(options.secrets, options.users).run()


if __name__ == "__main__":
    main()
