#!/usr/bin/python3
"""Writes the benchmark's directory as LDIF: people like those of an Active Directory domain, always the same ones.

    make_entries.py PEOPLE PASSWORD_FILE >LDIF

A tenth of the people lies below each of the units ou=part0 to ou=part9. Everybody has the attributes that the
benchmark asks for, three groups of 200 and, from the second person of a team of 25 on, a manager.
"""
import base64
import random
import sys
import uuid

SUFFIX = "dc=bench,dc=test"
GROUPS = 200
GROUPS_PER_PERSON = 3
TEAM = 25
GIVEN_NAMES = (
    "Anna Bruno Chloé Dmitri Elif Fatima Grete Hiroshi Ingrid João Karl Leïla Marta Nils Olga Pablo Quentin Rosa "
    "Søren Tamara Uwe Vera Wiktor Xenia Yusuf Zoë"
).split()
SURNAMES = (
    "Almeida Brückner Castillo Dąbrowski Eriksson Fontaine Grünwald Horvath Ivanova Jensen Kowalski Lindqvist Moreau "
    "Novák Okafor Petrov Quispe Rossi Schäfer Takahashi Ünal Vasquez Weber Xu Yılmaz Zimmermann"
).split()
TITLES = "Accountant,Controller,Developer,Head of Department,Installer,Nurse,Purchaser,Secretary,Trainee,Welder".split(",")
DEPARTMENTS = "Accounting,Construction,Distribution,Human Resources,Maintenance,Quality,Research,Sales".split(",")
FILETIME_OF_2020 = 132223104000000000
FILETIME_OF_A_DAY = 864000000000


def line(name, value):
    if isinstance(value, str) and value.isascii():
        return f"{name}: {value}\n"
    octets = value.encode() if isinstance(value, str) else value
    return f"{name}:: {base64.b64encode(octets).decode()}\n"


def entry(dn, attributes):
    return line("dn", dn) + "".join(line(name, value) for name, value in attributes) + "\n"


def guid(chance):
    return uuid.UUID(int=chance.getrandbits(128), version=4).bytes_le


def sid(relative_id):
    numbers = (21, 1004336348, 1177238915, 682003330, relative_id)
    return bytes([1, len(numbers)]) + (5).to_bytes(6, "big") + b"".join(n.to_bytes(4, "little") for n in numbers)


def group_dn(number):
    return f"cn=Group {number:03},ou=groups,{SUFFIX}"


def common_name(number):
    given = GIVEN_NAMES[number % len(GIVEN_NAMES)]
    surname = SURNAMES[number // len(GIVEN_NAMES) % len(SURNAMES)]
    return given, surname, f"{given} {surname} {number:06}"


def person_dn(number, people):
    return f"cn={common_name(number)[2]},ou=part{number * 10 // people},{SUFFIX}"


def person(number, people, chance):
    given, surname, name = common_name(number)
    account = f"user{number:06}"
    dn = person_dn(number, people)
    day = chance.randrange(2000)
    attributes = [
        ("objectClass", "user"),
        ("distinguishedName", dn),
        ("cn", name),
        ("sn", surname),
        ("givenName", given),
        ("displayName", f"{surname}, {given}"),
        ("sAMAccountName", account),
        ("userPrincipalName", f"{account}@bench.test"),
        ("mail", f"{account}@bench.test"),
        ("telephoneNumber", f"+49 30 {chance.randrange(10**7):07}"),
        ("title", chance.choice(TITLES)),
        ("department", chance.choice(DEPARTMENTS)),
        ("objectGUID", guid(chance)),
        ("objectSid", sid(10000 + number)),
        ("userAccountControl", chance.choice(("512", "512", "514", "66048"))),
        ("whenCreated", f"{2015 + day % 10}{1 + day % 12:02}{1 + day % 28:02}{day % 24:02}{day % 60:02}17.0Z"),
        ("pwdLastSet", str(FILETIME_OF_2020 + day * FILETIME_OF_A_DAY)),
    ]
    attributes += [("memberOf", group_dn(g)) for g in chance.sample(range(GROUPS), GROUPS_PER_PERSON)]
    if number % TEAM:
        attributes.append(("manager", person_dn(number - number % TEAM, people)))
    return entry(dn, attributes)


def main():
    people, password_file = int(sys.argv[1]), sys.argv[2]
    with open(password_file, encoding="ascii") as file:
        password = file.read()
    chance = random.Random(20)
    write = sys.stdout.write
    write(entry(SUFFIX, [("objectClass", "domain"), ("dc", "bench")]))
    write(entry(f"cn=bench,{SUFFIX}", [("objectClass", "person"), ("cn", "bench"), ("sn", "bench"), ("userPassword", password)]))
    for unit in ["groups"] + [f"part{i}" for i in range(10)]:
        write(entry(f"ou={unit},{SUFFIX}", [("objectClass", "organizationalUnit"), ("ou", unit)]))
    for number in range(GROUPS):
        name = f"Group {number:03}"
        attributes = [("objectClass", "group"), ("cn", name), ("distinguishedName", group_dn(number))]
        write(entry(group_dn(number), attributes + [("sAMAccountName", name), ("objectGUID", guid(chance))]))
    for number in range(people):
        write(person(number, people, chance))


main()
