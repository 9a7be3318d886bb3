"""userParameters as terminal services write it (MS-TSTS 2.3.1 to 2.3.3).

48 UTF-16 units of other users of the attribute, the letter P, the number of properties, and the properties: lengths of
name and value in bytes, the type 1, the name in UTF-16, and each byte of the value as two hexadecimal digits in ASCII.
"""

import struct

SPACES = " " * 48
# What dial-in settings look like in front of the terminal-services ones.
DIAL_IN = "m:" + " " * 20 + "d\x01" + " " * 24

ALLOW_LOGON_NOT = 0x00010000
INHERIT_INITIAL_PROGRAM = 0x10000000
END_BROKEN_CONNECTION = 0x00040000
RECONNECT_SAME_CLIENT = 0x00020000
CLIENT_DRIVES = 0x00008000
CLIENT_PRINTERS = 0x00004000
CLIENT_DEFAULT_PRINTER = 0x00002000
MAP_HOME_DIRECTORY = 0x00000800
# As a new account has it.
USUAL = INHERIT_INITIAL_PROGRAM | CLIENT_DRIVES | CLIENT_PRINTERS | CLIENT_DEFAULT_PRINTER

MINUTE = 60 * 1000


def encode(properties, reserved=SPACES):
    """The attribute's text; a property is a number, a text or bytes."""
    body = struct.pack("<HH", ord("P"), len(properties) + 1)
    for name, value in {"CtxCfgPresent": 0xB00B1E55, **properties}.items():
        if isinstance(value, int):
            value = struct.pack("<I", value)
        elif isinstance(value, str):
            value = value.encode("cp1252") + b"\0"
        name = name.encode("utf-16-le")
        digits = value.hex().encode("ascii")
        body += struct.pack("<HHH", len(name), len(digits), 1) + name + digits
    return (reserved.encode("utf-16-le") + body).decode("utf-16-le")


# By logon name; people.ldif makes the accounts.
USERS = {
    "n.ts.full": encode(
        {
            "CtxCfgFlags1": END_BROKEN_CONNECTION | RECONNECT_SAME_CLIENT | CLIENT_DRIVES | MAP_HOME_DIRECTORY,
            "CtxShadow": 2,
            "CtxMaxConnectionTime": 30 * MINUTE,
            "CtxMaxDisconnectionTime": 5 * MINUTE,
            "CtxMaxIdleTime": 15 * MINUTE,
            "CtxCallback": 2,
            "CtxCallbackNumber": "+49 30 1234",
            "CtxInitialProgram": "C:\\Tools\\start.exe",
            "CtxWorkDirectory": "C:\\Tools",
            "CtxWFProfilePath": "\\\\files\\profiles\\full",
            "CtxWFHomeDir": "\\\\files\\home\\full",
            "CtxWFHomeDirDrive": "H:",
        }
    ),
    "n.ts.usual": encode({"CtxCfgFlags1": USUAL, "CtxShadow": 1, "CtxMinEncryptionLevel": 1}),
    "n.ts.barred": encode({"CtxCfgFlags1": USUAL | ALLOW_LOGON_NOT, "CtxShadow": 0}),
    # Umlauts in a path, a property that nobody knows, and dial-in settings of another program in front.
    "n.ts.odd": encode(
        {"CtxCfgFlags1": USUAL, "CtxWFProfilePath": "\\\\dc1\\Büro\\Müller", "CtxUnheardOf": b"\x00\xff\x10"}, DIAL_IN
    ),
    # Dial-in settings only: no terminal-services part at all.
    "n.ts.dialin": DIAL_IN,
    # The last property claims more than there is.
    "n.ts.cut": encode({"CtxCfgFlags1": USUAL, "CtxWFHomeDir": "\\\\files\\home\\cut"})[:-8],
}
