"""The wire form of TDS 7.4: packets, tokens and parameters.

Names follow Microsoft's published description of the protocol (MS-TDS). Everything is little-endian
but the packet header. Texts are UTF-16; a lone surrogate passes through as it is.
"""
import struct

SQL_BATCH, RPC, REPLY, ATTENTION, TRANSACTION, LOGIN7, PRELOGIN = 1, 3, 4, 6, 14, 16, 18

SELECT, INSERT, DELETE, UPDATE = 0xC1, 0xC3, 0xC4, 0xC5  # commands in a DONE token
DONE, DONE_PROC, DONE_IN_PROC = 0xFD, 0xFE, 0xFF
DONE_MORE, DONE_ERROR, DONE_COUNT, DONE_ATTENTION = 0x01, 0x02, 0x10, 0x20

COLLATION = bytes([0x09, 0x04, 0xD0, 0x00, 0x34])  # Latin1, without regard to case
LONGEST_BOUNDED = 4000  # 16-bit units of a text that is no (max) one

PROCEDURES = {10: "sp_executesql", 11: "sp_prepare", 12: "sp_execute", 13: "sp_prepexec",
              15: "sp_unprepare"}


def utf16(text):
    return text.encode("utf-16-le", "surrogatepass")


def from_utf16(data):
    return data.decode("utf-16-le", "surrogatepass")


def b_varchar(text):
    data = utf16(text)
    return bytes([len(data) // 2]) + data


def us_varchar(text):
    data = utf16(text)
    return struct.pack("<H", len(data) // 2) + data


# --- packets ---

def read_exactly(connection, count):
    data = bytearray()
    while len(data) < count:
        piece = connection.recv(count - len(data))
        if not piece:
            raise EOFError
        data += piece
    return bytes(data)


def read_message(connection):
    """The type and the content of the next message, of any number of packets."""
    content = b""
    while True:
        kind, status, length = struct.unpack(">BBH4x", read_exactly(connection, 8))
        content += read_exactly(connection, length - 8)
        if status & 1:
            return kind, content


def packets(content, packet_size):
    """A reply cut into packets."""
    room = packet_size - 8
    out = bytearray()
    number = 1
    for start in range(0, max(len(content), 1), room):
        piece = content[start:start + room]
        last = 1 if start + room >= len(content) else 0
        out += struct.pack(">BBHHBB", REPLY, last, len(piece) + 8, 51, number & 255, 0) + piece
        number += 1
    return bytes(out)


# --- tokens ---

def done(token=DONE, status=0, command=0, count=None):
    if count is not None:
        status |= DONE_COUNT
    return struct.pack("<BHHQ", token, status, command, count or 0)


def message(number, text, severity=16, token=0xAA):
    """An error, or with token 0xAB an information."""
    body = (struct.pack("<iBB", number, 1, severity) + us_varchar(text) + b_varchar("test")
            + b_varchar("") + struct.pack("<I", 1))
    return struct.pack("<BH", token, len(body)) + body


def environment_change(kind, new, old=b"\0"):
    body = bytes([kind]) + new + old
    return struct.pack("<BH", 0xE3, len(body)) + body


def login_reply(database, packet_size):
    version = 0x74000004
    program = b_varchar("Microsoft SQL Server") + bytes([15, 0, 7, 208])
    acknowledgement = b"\1" + struct.pack(">I", version) + program
    return (environment_change(1, b_varchar(database), b_varchar("master"))
            + message(5701, f"Changed database context to '{database}'.", 0, 0xAB)
            + environment_change(7, bytes([5]) + COLLATION)
            + struct.pack("<BH", 0xAD, len(acknowledgement)) + acknowledgement
            + environment_change(4, b_varchar(str(packet_size)), b_varchar("4096")) + done())


def prelogin_reply():
    options = [(0, struct.pack(">BBHH", 15, 0, 2000, 0)),  # version
               (1, b"\2"),                                 # encryption: not supported
               (2, b"\0"), (3, b""), (4, b"\0")]
    offset = 5 * len(options) + 1
    head = data = b""
    for kind, value in options:
        head += struct.pack(">BHH", kind, offset + len(data), len(value))
        data += value
    return head + b"\xff" + data


def return_status(value=0):
    return struct.pack("<Bi", 0x79, value)


def return_value(value):
    """An output parameter of type int."""
    return (b"\xac" + struct.pack("<H", 0) + b_varchar("") + b"\1" + struct.pack("<IH", 0, 0)
            + b"\x26\4\4" + struct.pack("<i", value))


# --- columns and rows ---

class IntColumn:
    """int and its kin; NULL is a value of no bytes."""

    def __init__(self, size=4):
        self.size = size

    def type_info(self):
        return bytes([0x26, self.size])

    def cell(self, value):
        if value is None:
            return b"\0"
        signed = self.size > 1
        return bytes([self.size]) + int(value).to_bytes(self.size, "little", signed=signed)


class BitColumn(IntColumn):
    def __init__(self):
        super().__init__(1)

    def type_info(self):
        return b"\x68\1"


class FloatColumn:
    def type_info(self):
        return b"\x6d\x08"

    def cell(self, value):
        return b"\0" if value is None else b"\x08" + struct.pack("<d", value)


class TextColumn:
    """nvarchar(length)"""

    def __init__(self, length):
        self.length = length

    def type_info(self):
        return b"\xe7" + struct.pack("<H", self.length * 2) + COLLATION

    def cell(self, value):
        if value is None:
            return b"\xff\xff"
        data = utf16(value if isinstance(value, str) else str(value))[:self.length * 2]
        return struct.pack("<H", len(data)) + data


class LongTextColumn:
    """nvarchar(max): sent in pieces, which need not end with a character."""
    PIECE = 5001

    def type_info(self):
        return b"\xe7\xff\xff" + COLLATION

    def cell(self, value):
        if value is None:
            return b"\xff" * 8
        data = utf16(value if isinstance(value, str) else str(value))
        out = struct.pack("<Q", len(data))
        for start in range(0, len(data), self.PIECE):
            piece = data[start:start + self.PIECE]
            out += struct.pack("<I", len(piece)) + piece
        return out + struct.pack("<I", 0)


def result_set(names, columns, rows):
    out = bytearray(struct.pack("<BH", 0x81, len(columns)))
    for name, column in zip(names, columns):
        out += struct.pack("<IH", 0, 0x09) + column.type_info() + b_varchar(name[:128])
    writers = [column.cell for column in columns]
    for row in rows:
        out += b"\xd1"
        for write, value in zip(writers, row):
            out += write(value)
    return bytes(out)


# --- requests ---

def login_fields(content):
    """User, password and database of a LOGIN7 message, and the packet size that it asks for."""
    def text(at):
        offset, count = struct.unpack_from("<HH", content, at)
        return content[offset:offset + 2 * count]
    packet_size, = struct.unpack_from("<I", content, 8)
    scrambled = (byte ^ 0xA5 for byte in text(44))
    password = bytes((byte << 4 | byte >> 4) & 255 for byte in scrambled)
    return from_utf16(text(40)), from_utf16(password), from_utf16(text(68)), packet_size


def after_headers(content):
    """Where a request's own content begins."""
    return struct.unpack_from("<I", content, 0)[0]


class Parameter:
    def __init__(self, name, is_output, value):
        self.name, self.is_output, self.value = name, is_output, value


class RequestReader:
    """Reads a remote procedure call: its name and parameters."""

    def __init__(self, content):
        self.content = content
        self.at = after_headers(content)

    def take(self, form):
        values = struct.unpack_from(form, self.content, self.at)
        self.at += struct.calcsize(form)
        return values[0]

    def bytes(self, count):
        self.at += count
        return self.content[self.at - count:self.at]

    def procedure(self):
        length = self.take("<H")
        if length == 0xFFFF:
            number = self.take("<H")
            name = PROCEDURES.get(number, f"procedure {number}")
        else:
            name = from_utf16(self.bytes(2 * length))
        self.take("<H")  # options
        return name

    def parameters(self):
        found = []
        while self.at < len(self.content) and self.content[self.at] not in (0x80, 0xFF):
            name = from_utf16(self.bytes(2 * self.take("<B")))
            is_output = bool(self.take("<B") & 1)
            found.append(Parameter(name, is_output, self.value(self.take("<B"))))
        return found

    def value(self, kind):
        if kind in (0x26, 0x68, 0x6D):
            self.take("<B")
            data = self.bytes(self.take("<B"))
            if not data:
                return None
            if kind == 0x6D:
                return struct.unpack("<d" if len(data) == 8 else "<f", data)[0]
            return int.from_bytes(data, "little", signed=len(data) > 1)
        if kind in (0x30, 0x32, 0x34, 0x38, 0x7F):  # of a fixed size, never NULL
            form = {0x30: "<B", 0x32: "<B", 0x34: "<h", 0x38: "<i", 0x7F: "<q"}[kind]
            return self.take(form)
        if kind in (0xE7, 0xEF, 0xA7, 0xAF):
            return self.text("utf-16-le" if kind in (0xE7, 0xEF) else "cp1252")
        if kind in (0x63, 0x23):  # ntext, text
            self.bytes(4 + 5)
            length = self.take("<i")
            encoding = "utf-16-le" if kind == 0x63 else "cp1252"
            return None if length < 0 else self.bytes(length).decode(encoding, "surrogatepass")
        raise ValueError(f"parameter type {kind:#x}")

    def text(self, encoding):
        longest = self.take("<H")
        self.bytes(5)  # collation
        if longest != 0xFFFF:
            length = self.take("<H")
            data = None if length == 0xFFFF else self.bytes(length)
        else:
            data = self.pieces()
        if data is None:
            return None
        return from_utf16(data) if encoding == "utf-16-le" else data.decode(encoding, "replace")

    def pieces(self):
        if self.take("<Q") == 2**64 - 1:
            return None
        data = b""
        while length := self.take("<I"):
            data += self.bytes(length)
        return data
