"""The ordinary people, machines and groups of the company: as many as asked for, the same ones every time.

Each state has a divisor of its own, so that states meet in every combination as the numbers grow.
"""

FIRST_NAMES = ["Anna", "Björn", "Chloé", "Dmitri", "Eşref", "Fatima", "Göran", "Hana", "Íris", "João", "花子", "Łukasz"]
LAST_NAMES = ["Müller", "O'Brien", "García", "van der Berg", "Smith", "Øster", "Novák", "Иванова", "佐藤", "Weiß", "Lee"]
SITES = ["Berlin", "München", "São Paulo", "東京", "Sales\\, EMEA"]
DEPARTMENTS = ["Engineering", "Finance", "Sales", "Support"]
TEAMS = ["Team A", "Team B"]
SYSTEMS = [
    ("Windows 10 Enterprise", "10.0 (19045)", None),
    ("Windows 7 Professional", "6.1 (7601)", "Service Pack 1"),
    ("Windows 7 Professional", "6.1 (7600)", None),
    ("Windows XP Professional", "5.1 (2600)", "Service Pack 2"),
    ("Windows XP Professional", "5.1 (2600)", "Service Pack 3"),
    ("Windows Server 2008 R2 Standard", "6.1 (7601)", "Service Pack 1"),
    ("Windows Server 2022 Datacenter", "10.0 (20348)", None),
    (None, None, None),
]
BIG_GROUP_MEMBERS = 2500
CONTACTS = 1100
COMPUTERS = 120
TEAM_GROUPS = 80

ACCOUNT_DISABLED = 0x2
PASSWORD_NOT_REQUIRED = 0x20
NORMAL_ACCOUNT = 0x200
WORKSTATION = 0x1000
PASSWORD_NEVER_EXPIRES = 0x10000
SMART_CARD = 0x40000
NEVER = 0x7FFFFFFFFFFFFFFF


class Company:
    def __init__(self, tokens, filetime, users):
        self.base = tokens["company"]
        self.computers_base = tokens["computers"]
        self.filetime = filetime
        self.users = users

    def units(self):
        """Organizational units, parents first."""
        yield self.base, "organizationalUnit"
        yield self.computers_base, "organizationalUnit"
        yield "OU=Groups," + self.base, "organizationalUnit"
        yield "OU=Contacts," + self.base, "organizationalUnit"
        for site in SITES:
            yield f"OU={site},{self.base}", "organizationalUnit"
            for department in DEPARTMENTS:
                yield f"OU={department},OU={site},{self.base}", "organizationalUnit"
                for team in TEAMS:
                    yield f"OU={team},OU={department},OU={site},{self.base}", "organizationalUnit"

    def user_dn(self, i):
        site = SITES[i % len(SITES)]
        department = DEPARTMENTS[i // 5 % len(DEPARTMENTS)]
        inside = f"OU={department},OU={site}"
        if i % 3:
            inside = f"OU={TEAMS[i % 2]}," + inside
        return f"CN={FIRST_NAMES[i % 12]} {LAST_NAMES[i % 11]} {i:05},{inside},{self.base}"

    def contact_dn(self, i):
        return f"CN=Contact {i:04},OU=Contacts,{self.base}"

    def date(self, i, *dates):
        """One of the dates by number, as a large integer; absent where the date is."""
        value = dates[i % len(dates)]
        return self.filetime(value) if isinstance(value, str) else value

    def user(self, i):
        first, last = FIRST_NAMES[i % 12], LAST_NAMES[i % 11]
        control = NORMAL_ACCOUNT
        for divisor, rest, bit in (
            (17, 3, ACCOUNT_DISABLED),
            (13, 5, PASSWORD_NEVER_EXPIRES),
            (29, 7, PASSWORD_NOT_REQUIRED),
            (31, 9, SMART_CARD),
        ):
            if i % divisor == rest:
                control |= bit
        logon = self.date(i // 2, None, "2012-03-04", "2019-07-01", "2024-01-15", "2025-10-10", 0)
        values = {
            "objectClass": "user",
            "sAMAccountName": f"user{i:05}",
            "userPrincipalName": f"user{i:05}@zorvan.test",
            "userAccountControl": control,
            "givenName": first,
            "sn": last,
            "displayName": f"{last}, {first}",
            "mail": f"user{i:05}@zorvan.test",
            "title": ["Clerk", "Manager", "Engineer"][i % 3],
            "department": DEPARTMENTS[i // 5 % len(DEPARTMENTS)],
            "telephoneNumber": f"+49 30 {i:05}",
            "description": f"employee number {i}",
            "employeeID": i,
            "pwdLastSet": self.date(i, "2010-01-01", "2018-05-05", "2024-06-01", "2025-06-01", "2025-11-11"),
            "lastLogon": logon,
            "lastLogonTimestamp": self.date(i // 2, None, "2012-03-01", "2019-07-01", None, "2025-10-05", None),
        }
        if i % 23 == 11:
            values["pwdLastSet"] = 0
        if i % 9 == 4:
            values["badPasswordTime"] = self.date(i, "2013-01-01", "2024-04-01", "2025-09-09")
            values["badPwdCount"] = i % 4
        if i % 37 == 5:
            values["lockoutTime"] = self.date(i, "2020-02-29", "2024-02-29", 0)
        if i % 7 == 1:
            values["scriptPath"] = "logon.cmd"
        if i % 11 in (2, 6):
            values["msNPAllowDialin"] = "TRUE" if i % 11 == 2 else "FALSE"
        if i % 19 in (1, 4, 8, 12, 16):
            values["accountExpires"] = self.date(i % 19 // 4, NEVER, "2015-06-30", "2024-01-15", "2099-01-31", 0)
        if i % 43 == 6:
            values["userWorkstations"] = f"PC{i % 50},PC{i % 90}"
        if i % 3 == 2:
            values["mailNickname"] = f"user{i:05}"
            values["proxyAddresses"] = [f"SMTP:user{i:05}@zorvan.test", f"smtp:u{i}@old.zorvan.test"]
            values["msExchHomeServerName"] = "/o=Zorvan/cn=Servers/cn=MAIL1"
        # Every tenth manages the nine after it; the tenths of a hundred report to its first.
        if i % 10:
            values["manager"] = self.user_dn(max(i - i % 10, 1)) if i > 1 else None
        elif i % 100:
            values["manager"] = self.user_dn(max(i - i % 100, 1))
        return self.user_dn(i), values

    def created(self, i):
        """When the object was made and last changed, as the seed pretends; absent for today."""
        years = (2011, 2016, 2021, 2024, None)
        year = years[i % len(years)]
        if year is None:
            return None
        return f"{year}0401080000.0Z", f"{year + i // 5 % 2}1001120000.0Z"

    def contact(self, i):
        return self.contact_dn(i), {
            "objectClass": "contact",
            "displayName": f"Contact {i}",
            "mail": f"contact{i}@example.org",
        }

    def computer(self, i):
        system, version, service_pack = SYSTEMS[i % len(SYSTEMS)]
        disabled = ACCOUNT_DISABLED if i % 12 == 7 else 0
        return f"CN=WS{i:03},{self.computers_base}", {
            "objectClass": "computer",
            "sAMAccountName": f"WS{i:03}$",
            "userAccountControl": WORKSTATION | disabled,
            "operatingSystem": system,
            "operatingSystemVersion": version,
            "operatingSystemServicePack": service_pack,
            "managedBy": self.user_dn(i) if i % 4 == 1 and i <= self.users else None,
            "pwdLastSet": self.date(i, "2010-01-01", "2024-06-01", "2025-11-11"),
            "lastLogon": self.date(i // 3, None, "2012-03-04", "2025-10-10"),
            "lastLogonTimestamp": self.date(i // 3, None, "2012-03-01", "2025-10-05"),
        }

    def groups(self):
        """Team groups of users that are in few others, and the one that is too big for one answer."""
        for i in range(1, TEAM_GROUPS + 1):
            members = [self.user_dn(u) for u in range(i, self.users + 1, TEAM_GROUPS) if u % 4 == 1]
            yield f"CN=Team {i:03},OU=Groups,{self.base}", {
                "objectClass": "group",
                "sAMAccountName": f"team{i:03}",
                "groupType": [-2147483646, -2147483640, 2, 8][i // 4 % 4],
                "member": members,
                "managedBy": self.user_dn(i) if i % 3 == 0 and i <= self.users else None,
            }
        contacts = [self.contact_dn(i) for i in range(1, CONTACTS + 1)]
        users = [self.user_dn(u) for u in range(1, self.users + 1) if u % 10 < 7]
        yield f"CN=Big Group,OU=Groups,{self.base}", {
            "objectClass": "group",
            "sAMAccountName": "biggroup",
            "groupType": -2147483640,
            "member": contacts + users[: BIG_GROUP_MEMBERS - len(contacts)],
        }
