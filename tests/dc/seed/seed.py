#!/usr/bin/python3
"""Fills the freshly provisioned test domain, offline and in one transaction.

Runs where Samba's own folders are those of the test domain.
"""

import argparse
import pathlib

import ldb
from samba.auth import system_session
from samba.param import LoadParm
from samba.samdb import SamDB

BASE = "DC=zorvan,DC=test"


def main():
    arguments = argparse.ArgumentParser()
    arguments.add_argument("--users", type=int, required=True)
    arguments.add_argument("--secrets", type=pathlib.Path, required=True)
    options = arguments.parse_args()

    settings = LoadParm()
    settings.load_default()
    directory = SamDB("/var/lib/samba/private/sam.ldb", session_info=system_session(), lp=settings)

    def secret(name):
        return (options.secrets / name).read_text()

    directory.transaction_start()
    try:
        directory.setpassword("(sAMAccountName=Administrator)", secret("administrator"))
        directory.newuser("reader", secret("reader"))
        directory.newuser("barred", secret("disabled"))
        directory.disable_account("(sAMAccountName=barred)")
    except BaseException:
        directory.transaction_cancel()
        raise
    directory.transaction_commit()


if __name__ == "__main__":
    main()
