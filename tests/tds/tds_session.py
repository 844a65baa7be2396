"""One connection of a client, from its login to its end."""
import struct
import sys
import time

import tds_catalog
import tds_wire as wire
import tsql
from tds_database import Database
from tsql import SqlError

PASSWORDS = {"strict": "s{e;c}r=e t"}  # of these users; any other is let in with any password


class Gone(Exception):
    """The connection is to be closed without a word."""


class Session:
    def __init__(self, connection, folder, faults, log):
        self.connection, self.folder, self.faults, self.log = connection, folder, faults, log
        self.packet_size = 4096
        self.database = None
        self.name = ""
        self.prepared = {}   # handle -> text
        self.handles = 0

    def serve(self):
        handlers = {wire.PRELOGIN: lambda content: self.send(wire.prelogin_reply()),
                    wire.LOGIN7: self.login, wire.SQL_BATCH: self.batch, wire.RPC: self.call,
                    wire.TRANSACTION: self.transaction,
                    wire.ATTENTION: lambda content: self.acknowledge_attention()}
        try:
            while True:
                kind, content = wire.read_message(self.connection)
                handlers[kind](content)
        except (EOFError, OSError, Gone):
            pass
        finally:
            self.faults.closed(self.name, self.connection)
            if self.database:
                self.database.close()

    def send(self, content):
        self.connection.sendall(wire.packets(content, self.packet_size))

    def note(self, *what):
        if self.log:
            print(self.name, *what, file=sys.stderr, flush=True)

    # --- login ---

    def login(self, content):
        user, password, self.name, packet_size = wire.login_fields(content)
        self.name = self.name or "master"
        self.meet_login_fault()
        if password != PASSWORDS.get(user, password):
            text = f"Login failed for user '{user}'."
            self.send(wire.message(18456, text, 14) + wire.done(status=wire.DONE_ERROR))
            raise Gone
        try:
            self.database = Database(self.folder, self.name)
        except SqlError as error:
            self.send(wire.message(error.number, error.text, 11) + wire.done(status=wire.DONE_ERROR))
            raise Gone from error
        self.database.refusal = lambda: self.faults.at_change(self.name)
        self.faults.opened(self.name, self.connection)
        size = min(max(packet_size, 512), 32767) if packet_size else 4096
        self.send(wire.login_reply(self.name, size))
        self.packet_size = size

    def meet_login_fault(self):
        fault = self.faults.at_login(self.name)
        if fault == "silent_logins":
            self.keep_silent()
        if fault == "refused_logins":
            raise Gone

    # --- faults ---

    def keep_silent(self):
        """Reads on and answers nothing, until the client goes."""
        while self.connection.recv(4096):
            pass
        raise Gone

    def meet_fault(self):
        """What is to happen before the statement; "answer_lost" is left to the caller."""
        fault = self.faults.at_statement(self.name)
        if fault is None:
            return False
        kind, value = fault
        self.note("FAULT", kind, value)
        if kind == "silence":
            self.keep_silent()
        if kind == "drop":
            raise Gone
        if kind == "slow":
            self.wait_for_attention()
        if kind == "delay":
            time.sleep(value / 1000)
        if kind == "error":
            raise SqlError(value, "An error on demand.")
        return kind == "answer_lost"

    def wait_for_attention(self):
        while wire.read_message(self.connection)[0] != wire.ATTENTION:
            pass
        raise Attention

    def acknowledge_attention(self):
        self.send(wire.done(status=wire.DONE_ATTENTION))

    # --- requests ---

    def guarded(self, work, last):
        """Sends what `work` gives, or the error that it met; `last` is the token at the end."""
        try:
            answer_lost = self.meet_fault()
            answer = work()
        except Attention:
            return self.acknowledge_attention()
        except SqlError as error:
            self.note("ERROR", error.number, error.text)
            answer_lost = False
            answer = wire.message(error.number, error.text) + wire.done(last, wire.DONE_ERROR)
        if answer_lost:
            raise Gone
        self.send(answer)

    def batch(self, content):
        text = wire.from_utf16(content[wire.after_headers(content):])
        self.note("BATCH", text)
        if text.lower().lstrip().startswith("exec vnq_fault"):
            return self.set_fault(text)
        self.guarded(lambda: self.last_is_final(self.run(text, (), wire.DONE)), wire.DONE)

    def set_fault(self, text):
        _, arguments = tds_catalog.call_arguments(tsql.tokenize(text))
        kind, count, value, database = (arguments.get(i) for i in range(4))
        if kind == "hang_up":  # it ends this connection too, so its answer leaves before
            self.send(wire.done())
        self.faults.set(database or self.name, kind, count or 1, value or 0)
        if kind != "hang_up":
            self.send(wire.done())

    def run(self, text, values, token):
        """The answers of all statements of a text, each with the mark that more follows."""
        out = b""
        for command, count, result in self.database.run(text, values):
            out += (result or b"") + wire.done(token, wire.DONE_MORE, command, count)
        return out

    @staticmethod
    def last_is_final(answer):
        if not answer:
            return wire.done()
        at = len(answer) - 12  # the status of the last token
        status, = struct.unpack_from("<H", answer, at)
        return answer[:at] + struct.pack("<H", status & ~wire.DONE_MORE) + answer[at + 2:]

    def transaction(self, content):
        at = wire.after_headers(content)
        kind, = struct.unpack_from("<H", content, at)
        steps = {5: "begin transaction", 7: "commit", 8: "rollback"}
        changes = {5: 8, 7: 9, 8: 10}
        descriptor = b"\x08" + b"\1" * 8
        pair = (descriptor, b"\0") if kind == 5 else (b"\0", descriptor)

        def work():
            # A client in manual-commit mode also ends a transaction that it never began.
            if kind == 5 or self.database.connection.in_transaction:
                self.run(steps[kind], (), wire.DONE)
            return wire.environment_change(changes[kind], *pair) + wire.done()
        self.guarded(work, wire.DONE)

    # --- remote procedures ---

    def call(self, content):
        reader = wire.RequestReader(content)
        name = reader.procedure()
        parameters = reader.parameters()
        self.note("CALL", name, [(p.name, p.value) for p in parameters])
        known = {"sp_executesql": self.execute_sql, "sp_prepexec": self.prepare_and_execute,
                 "sp_prepare": self.prepare, "sp_execute": self.execute,
                 "sp_unprepare": self.unprepare}
        work = known.get(name.lower())
        if name.lower() == "sp_unprepare":
            return self.send(self.unprepare(parameters))
        if work is None:
            return self.guarded(lambda: self.catalog(name, parameters), wire.DONE_PROC)
        self.guarded(lambda: work(parameters), wire.DONE_PROC)

    def finished(self, answer, output=b""):
        return answer + wire.return_status() + output + wire.done(wire.DONE_PROC)

    def values(self, parameters):
        return tuple(parameter.value for parameter in parameters)

    def execute_sql(self, parameters):
        values = self.values(parameters[2:])
        return self.finished(self.run(parameters[0].value, values, wire.DONE_IN_PROC))

    def remember(self, text):
        self.handles += 1
        self.prepared[self.handles] = text
        return wire.return_value(self.handles)

    def prepare_and_execute(self, parameters):
        text = parameters[2].value
        answer = self.run(text, self.values(parameters[3:]), wire.DONE_IN_PROC)
        return self.finished(answer, self.remember(text))

    def prepare(self, parameters):
        return self.finished(b"", self.remember(parameters[2].value))

    def execute(self, parameters):
        text = self.prepared.get(parameters[0].value)
        if text is None:
            raise SqlError(8179, "Could not find prepared statement with that handle.")
        return self.finished(self.run(text, self.values(parameters[1:]), wire.DONE_IN_PROC))

    def unprepare(self, parameters):
        self.prepared.pop(parameters[0].value, None)
        return self.finished(b"")

    def catalog(self, name, parameters):
        named = {p.name.lower().lstrip("@") or i: p.value for i, p in enumerate(parameters)}
        command, count, result = tds_catalog.call(self.database, name.split(".")[-1], named)
        return self.finished(result + wire.done(wire.DONE_IN_PROC, wire.DONE_MORE, command, count))


class Attention(Exception):
    """The client has asked to stop the statement."""
