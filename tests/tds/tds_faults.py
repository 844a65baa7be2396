"""Faults on demand, one set per database, so that tests side by side do not disturb each other.

    exec vnq_fault KIND, COUNT [, VALUE [, DATABASE]]

KIND                what happens
'silence'           the COUNTth statement from now on gets no answer, and its connection none for good
'slow'              it never ends, but stops when the client asks for it
'delay'             it is answered after VALUE milliseconds
'drop'              its connection is closed in place of an answer
'answer_lost'       it is run, and then its connection is closed in place of an answer
'error'             it fails with error number VALUE
'refuse_changes'    every insert, update and delete fails with error number VALUE; COUNT is nothing
'hang_up'           every connection to the database is closed at once
'silent_logins'     the next COUNT logins get no answer
'refused_logins'    the next COUNT logins are closed
'none'              nothing any more
"""
import socket
import threading


class Faults:
    def __init__(self):
        self.lock = threading.Lock()
        self.statements = {}  # database -> [kind, statements to go, value]
        self.logins = {}      # database -> [kind, logins to go]
        self.refusals = {}    # database -> number of the error
        self.open = {}        # database -> sockets

    def set(self, database, kind, count=1, value=0):
        with self.lock:
            if kind == "hang_up":
                for connection in self.open.get(database, []):
                    connection.shutdown(socket.SHUT_RDWR)
            elif kind in ("silent_logins", "refused_logins"):
                self.logins[database] = [kind, count]
            elif kind == "none":
                for faults in (self.statements, self.logins, self.refusals):
                    faults.pop(database, None)
            elif kind == "refuse_changes":
                self.refusals[database] = value
            else:
                self.statements[database] = [kind, count, value]

    def opened(self, database, connection):
        with self.lock:
            self.open.setdefault(database, set()).add(connection)

    def closed(self, database, connection):
        with self.lock:
            self.open.get(database, set()).discard(connection)

    def at_login(self, database):
        """The kind of fault that this login meets, or None."""
        if database not in self.logins:
            return None
        with self.lock:
            kind, count = self.logins[database]
            if count <= 1:
                del self.logins[database]
            else:
                self.logins[database][1] -= 1
            return kind

    def at_change(self, database):
        """The number of the error that each change meets now, or None."""
        return self.refusals.get(database)

    def at_statement(self, database):
        """Kind and value of the fault that this statement meets, or None."""
        if database not in self.statements:
            return None
        with self.lock:
            fault = self.statements[database]
            fault[1] -= 1
            if fault[1] > 0:
                return None
            del self.statements[database]
            return fault[0], fault[2]
