"""Servers that a case plants on loopback. Each keeps whatever it was sent, so that a case can say what must never arrive."""

import os
import pathlib
import socket
import threading

from ldap_messages import receive_exactly

CONTROLLER = "127.0.0.10"


def end(connection):
    try:
        connection.shutdown(socket.SHUT_RDWR)
    except OSError:
        pass
    connection.close()


class Listener:
    """Accepts on a port of the case's address and serves each connection in a thread of its own."""

    def __init__(self, port, tls=None):
        self.port, self.tls = port, tls
        self.lock = threading.Lock()
        self.received = b""
        self.connections = 0
        self.open = []

    def start(self, address):
        self.address = address
        self.socket = socket.create_server((address, self.port), backlog=50)
        threading.Thread(target=self.accept, daemon=True).start()

    def accept(self):
        while True:
            try:
                connection, _ = self.socket.accept()
            except OSError:
                return
            self.connections += 1
            self.open.append(connection)
            threading.Thread(target=self.serve, args=(connection,), daemon=True).start()

    def serve(self, connection):
        try:
            if self.tls:
                connection = self.tls.wrap_socket(connection, server_side=True)
            self.talk(Recorded(self, connection))
        except OSError:
            pass  # the client has gone, or refused the certificate
        finally:
            # A thread that still reads would keep a merely closed socket alive.
            end(connection)

    def talk(self, connection):
        """What a server without a word does: it reads until the client goes."""
        while connection.recv(65536):
            pass

    def stop(self):
        for each in [self.socket, *self.open]:
            end(each)


class Recorded:
    """A connection whose input is kept by its listener."""

    def __init__(self, listener, connection):
        self.listener, self.connection = listener, connection
        self.sendall = connection.sendall

    def recv(self, size):
        data = self.connection.recv(size)
        with self.listener.lock:
            self.listener.received += data
        return data


class Talking(Listener):
    """Serves by a function of the connection."""

    def __init__(self, port, talk, tls=None):
        super().__init__(port, tls)
        self.talk = talk


class Relay(Listener):
    """Passes on to the genuine controller, and its answers back through what `alter` makes for each connection: a function from
    a chunk of the answer to the bytes to pass on. It may raise ConnectionError to cut."""

    def __init__(self, port, alter=None):
        super().__init__(port)
        self.alter = alter
        self.answered = 0

    def talk(self, connection):
        beyond = socket.create_connection((CONTROLLER, self.port))
        self.open.append(beyond)
        threading.Thread(target=self.pass_requests, args=(connection, beyond), daemon=True).start()
        alter = self.alter() if self.alter else lambda chunk: chunk
        while chunk := beyond.recv(65536):
            self.answered += len(chunk)
            connection.sendall(alter(chunk))
        connection.connection.shutdown(socket.SHUT_RDWR)

    @staticmethod
    def pass_requests(connection, beyond):
        try:
            while chunk := connection.recv(65536):
                beyond.sendall(chunk)
            beyond.shutdown(socket.SHUT_WR)
        except OSError:
            pass


class Kdc(Listener):
    """A key distribution centre: `answer` makes the reply to a request, or None to pass it to the genuine one."""

    def __init__(self, answer):
        super().__init__(88)
        self.answer = answer

    def talk(self, connection):
        while True:
            size = receive_exactly(connection, 4)
            request = receive_exactly(connection, int.from_bytes(size, "big"))
            reply = self.answer(request)
            if reply is None:
                with socket.create_connection((CONTROLLER, 88)) as genuine:
                    genuine.sendall(size + request)
                    reply = receive_exactly(genuine, int.from_bytes(receive_exactly(genuine, 4), "big"))
            connection.sendall(len(reply).to_bytes(4, "big") + reply)


class SilentDatagrams:
    """A name server that takes every question and answers none."""

    received, connections = b"", 0

    def __init__(self, port):
        self.port = port

    def start(self, address):
        self.socket = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.socket.bind((address, self.port))
        threading.Thread(target=self.count, daemon=True).start()

    def count(self):
        try:
            while self.socket.recv(65536):
                self.connections += 1
        except OSError:
            pass

    def stop(self):
        self.socket.close()


class SilentPipe:
    """A winbind that accepts and never answers, in a folder to be shown in the place of Samba's."""

    received, connections = b"", 0

    def __init__(self, folder):
        self.folder = pathlib.Path(folder)

    def start(self, _):
        self.folder.mkdir(mode=0o755, exist_ok=True)
        pipe = self.folder / "pipe"
        pipe.unlink(missing_ok=True)
        self.socket = socket.socket(socket.AF_UNIX)
        self.socket.bind(str(pipe))
        os.chmod(pipe, 0o777)
        self.socket.listen(50)
        threading.Thread(target=self.hold, daemon=True).start()

    def hold(self):
        held = []
        try:
            while True:
                held.append(self.socket.accept())
                self.connections += 1
        except OSError:
            pass

    def stop(self):
        self.socket.close()
