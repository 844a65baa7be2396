"""A SQLite file that takes Transact-SQL and fails as SQL Server does."""
import functools
import os
import re
import sqlite3
import threading

import tds_catalog
import tds_locks
import tds_wire as wire
import tsql
from tsql import SqlError

COMMANDS = {"insert": wire.INSERT, "update": wire.UPDATE, "delete": wire.DELETE}
TRANSACTION_STEPS = {"begin": "begin immediate", "commit": "commit", "rollback": "rollback",
                     "save": "savepoint vnq"}
SAVEPOINT_STEPS = {"save": "savepoint ", "rollback": "rollback to "}
IGNORED = {"set", "use", "declare", "waitfor", "print", "go"}
LOCK_TIMEOUT_S = 10
EXACT_COLLATION = "Latin1_General_100_BIN2"


def transaction_step(tokens):
    """The step as SQLite takes it; `save` and `rollback` may name a savepoint."""
    verb = tokens[0].low
    if verb in SAVEPOINT_STEPS and len(tokens) > 2 and tokens[2].kind == "name":
        return SAVEPOINT_STEPS[verb] + tokens[2].text
    return TRANSACTION_STEPS[verb]


def fold(text):
    """What the usual collation compares: no case, no blanks at the end. ASCII texts stand in the order of
    SQLite's own nocase."""
    return text.rstrip(" ").casefold()


def compare(a, b):
    a, b = fold(a), fold(b)
    return (a > b) - (a < b)


@functools.lru_cache
def exact_columns(statement):
    """The columns that a `create table` of SQLite gives the collation to the letter."""
    tokens = tsql.tokenize(statement)
    opening = next(i for i, token in enumerate(tokens) if token.text == "(")
    found = set()
    for part in tsql.split(tokens[opening + 1:-1]):
        words = [token.low for token in part]
        if "collate" in words and tsql.STORED_EXACT in words[words.index("collate"):]:
            found.add(words[0])
    return found


class Statement:
    """A translated statement. columns: declared types of what it selects, read at the first run."""
    __slots__ = ("text", "verb", "columns", "markers")

    def __init__(self, text, verb):
        self.text, self.verb, self.columns = text, verb, None
        self.markers = markers_of(text) if isinstance(text, str) else 0


def markers_of(text):
    """How many values SQLite wants for it."""
    return max((int(number) for number in re.findall(r"\?(\d+)", text)), default=0)


class Schema:
    """The tables of a database, and what was translated for them. Databases of one schema share it."""
    known = {}
    lock = threading.Lock()

    def __init__(self, connection, number):
        self.number = number
        self.tables = {}      # name in lower case -> {column in lower case: declared type}
        self.statements = {}
        names = connection.execute("select name from sqlite_master where type in ('table','view')")
        for name, in names.fetchall():
            rows = connection.execute("select name,type from pragma_table_info(?)", (name,))
            self.tables[name.lower()] = {column.lower(): kind.lower() for column, kind in rows}

    @classmethod
    def of(cls, connection):
        key = connection.execute("select group_concat(sql,char(10)) from sqlite_master").fetchone()[0]
        with cls.lock:
            if key not in cls.known:
                cls.known[key] = cls(connection, len(cls.known))
            return cls.known[key]

    def column_kinds(self, words):
        """The integer columns and the text columns of the tables among the words."""
        integers, texts = set(), set()
        for table in words & self.tables.keys():
            for column, kind in self.tables[table].items():
                (integers if "int" in kind or kind == "bit" else texts).add(column)
        return integers - texts, texts - integers


class Database:
    def __init__(self, folder, name):
        # The name becomes a file's: nothing else of the file system can be meant.
        if not re.fullmatch(r"[\w\- ]{1,100}", name):
            raise SqlError(4060, f"Cannot open database \"{name}\" requested by the login.")
        self.raised = None
        self.name = name
        self.refusal = lambda: None  # the number of the error that a change meets, where there is one
        self.object_ids = {}
        self.connection = sqlite3.connect(os.path.join(folder, name + ".db"), isolation_level=None,
                                          timeout=LOCK_TIMEOUT_S, cached_statements=512)
        self.connection.text_factory = lambda data: data.decode("utf-8", "surrogatepass")
        self.connection.create_collation(tsql.STORED_CI, compare)
        for function, count in ((self.to_int, 1), (self.length, 1), (self.byte_count, 1),
                                (self.translate_letters, 3),
                                (self.collation_of, 2), (self.schema_name, 0), (self.schema_id, 0),
                                (self.quoted_name, 1), (self.object_id, 1)):
            self.connection.create_function(FUNCTIONS[function.__name__], count, function,
                                            deterministic=True)
        self.connection.execute("pragma journal_mode=wal").fetchall()
        self.connection.execute("pragma synchronous=off").fetchall()
        # Joins of the catalog's views come out empty with one of these: its keys have no type there.
        self.connection.execute("pragma automatic_index=off")
        for view in tds_catalog.VIEWS:
            self.connection.execute(view)
        self.schema, self.version = None, None
        self.notice_other_schema()

    def close(self):
        tds_locks.LOCKS.drop(self)
        self.connection.close()

    # --- functions of Transact-SQL ---

    def to_int(self, value):
        if value is None or isinstance(value, int):
            return value
        text = str(value).strip(" ")
        if not re.fullmatch(r"[+-]?\d+|", text):
            return self.refuse(245, f"Conversion failed when converting the nvarchar value '{value}' "
                                    "to data type int.")
        number = int(text or 0)
        if not -2**31 <= number < 2**31:
            return self.refuse(248, f"The conversion of the nvarchar value '{value}' overflowed an "
                                    "int column.")
        return number

    def refuse(self, number, text):
        self.raised = SqlError(number, text)
        raise self.raised

    @staticmethod
    def length(text):
        return None if text is None else len(wire.utf16(str(text).rstrip(" "))) // 2

    @staticmethod
    def byte_count(text):
        return None if text is None else len(wire.utf16(str(text)))

    @staticmethod
    def translate_letters(text, letters, others):
        return None if text is None else text.translate(str.maketrans(letters, others))

    @staticmethod
    def bare_name(name):
        return None if name is None else tsql.bare(name.split(".")[-1])

    @staticmethod
    def collation_of(statement, column):
        """The collation of a column, from the statement that made the table."""
        return EXACT_COLLATION if column.lower() in exact_columns(statement) else tsql.CI

    def object_id(self, name):
        return None if name is None else self.object_ids.get(self.bare_name(name).lower())

    @staticmethod
    def schema_name():
        return "dbo"

    @staticmethod
    def schema_id():
        return 1

    @staticmethod
    def quoted_name(name):
        return None if name is None else "[" + name.replace("]", "]]") + "]"

    # --- statements ---

    def run(self, text, values=()):
        """Runs a batch; yields for each statement a wire.result_set with its row count, or nothing with
        the count of the rows that it changed: (command, count, result or None)."""
        if self.lock_step(text):
            yield 0, None, None
            return
        self.notice_other_schema()
        kinds = tuple(map(type, values))
        for statement in self.translated(text, kinds):
            yield self.step(statement, values)

    def lock_step(self, text):
        """Whether the batch takes a lock by name or gives it back, which is then done."""
        if took := tds_locks.TAKE.fullmatch(text):
            if not tds_locks.LOCKS.take((self.name, took["name"]), self, took["mode"], int(took["wait"])):
                raise SqlError(50000, took["error"])
        elif gave := tds_locks.GIVE_BACK.fullmatch(text):
            if not tds_locks.LOCKS.give_back((self.name, gave["name"]), self):
                raise SqlError(1223, f"Cannot release the application lock because it is not currently held: "
                                     f"'{gave['name']}'.")
        return took or gave

    def notice_other_schema(self):
        """Tables may have been changed, also by another connection."""
        version = self.connection.execute("pragma schema_version").fetchone()[0]
        if version != self.version:
            self.version = version
            self.schema = Schema.of(self.connection)
            names = self.connection.execute("select lower(name),rowid from sqlite_master")
            self.object_ids = dict(names.fetchall())

    def translated(self, text, kinds):
        key = (text, kinds)
        found = self.schema.statements.get(key)
        if found is None:
            named = {f"@p{i + 1}": kind for i, kind in enumerate(kinds)}
            found = [self.translate(part, named) for part in tsql.statements_of(tsql.tokenize(text))]
            self.schema.statements[key] = found
        return found

    def translate(self, tokens, kinds):
        verb = tokens[0].low
        if verb == "set" and len(tokens) > 2 and tsql.is_word(tokens[1], "lock_timeout"):
            return Statement(f"pragma busy_timeout={int(tokens[2].text)}", "lock_timeout")
        if verb in IGNORED:
            return Statement("", verb)
        if verb in TRANSACTION_STEPS:
            return Statement(transaction_step(tokens), verb)
        if verb in ("exec", "execute"):
            return Statement(tokens, "exec")
        if verb == "if":
            return Statement(self.condition(tokens, kinds), "if")
        text = tsql.Translator(tokens, self.schema, kinds).statement(tokens)
        # Python keeps what it prepared by its text, with the columns of that time.
        return Statement(f"{text} --{self.schema.number}" if verb == "select" else text, verb)

    def condition(self, tokens, kinds):
        """if [not] exists (...), if object_id(...) is [not] null: a select of it, and what follows."""
        depth, end = 0, len(tokens)
        for i, token in enumerate(tokens):
            depth += (token.text == "(") - (token.text == ")")
            starts = tsql.is_word(token, "create", "drop", "alter", "insert", "update", "delete",
                                  "select", "exec", "begin")
            if depth == 0 and i > 0 and starts:
                end = i
                break
        test = tsql.Translator(tokens, self.schema, kinds).translate(tokens[1:end])
        return "select " + tsql.join(test), self.translate(tokens[end:], kinds)

    def step(self, statement, values):
        if statement.verb in IGNORED:
            return 0, None, None
        if statement.verb == "if":
            test, then = statement.text
            holds = self.execute(test, values[:markers_of(test)]).fetchone()[0]
            return self.step(then, values) if holds else (0, None, None)
        if statement.verb == "exec":
            return tds_catalog.procedure(self, statement.text)
        if statement.verb in TRANSACTION_STEPS:
            self.transaction(statement.verb, statement.text)
            return 0, None, None
        if statement.verb == "lock_timeout":
            self.connection.execute(statement.text).fetchall()
            return 0, None, None
        if statement.verb in COMMANDS and self.refusal() is not None:
            raise SqlError(self.refusal(), "Refused on demand.")
        cursor = self.execute(statement.text, values[:statement.markers])
        if cursor.description is not None:
            return self.result(statement, cursor)
        if statement.verb in COMMANDS:
            return COMMANDS[statement.verb], max(cursor.rowcount, 0), None
        self.notice_other_schema()
        return 0, None, None

    def transaction(self, verb, text):
        if verb != "begin" and not self.connection.in_transaction:
            number = 3902 if verb == "commit" else 3903
            raise SqlError(number, f"The {verb.upper()} TRANSACTION request has no corresponding "
                                   "BEGIN TRANSACTION.")
        if verb != "begin" or not self.connection.in_transaction:
            self.execute(text, ())

    def execute(self, text, values):
        self.raised = None
        try:
            return self.connection.execute(text, values)
        except UnicodeEncodeError:
            return self.execute_with_lone_surrogates(text, values)
        except sqlite3.Error as error:
            raise self.raised or as_sql_error(error) from error

    def execute_with_lone_surrogates(self, text, values):
        """SQLite's own interface takes none: they go in as bytes that are called a text."""
        values = [value.encode("utf-8", "surrogatepass") if isinstance(value, str) else value
                  for value in values]
        return self.execute(re.sub(r"\?(\d+)", r"cast(?\1 as text)", text), values)

    # --- results ---

    def result(self, statement, cursor):
        rows = self.fetch(cursor)
        names = [column[0] for column in cursor.description]
        if statement.columns is None:
            statement.columns = self.declared_types(statement.text, len(names))
        columns = [column_type(declared, [row[i] for row in rows])
                   for i, declared in enumerate(statement.columns)]
        names = ["" if not declared and not name.isidentifier() else name
                 for name, declared in zip(names, statement.columns)]
        return wire.SELECT, len(rows), wire.result_set(names, columns, rows)

    def fetch(self, cursor):
        try:
            return cursor.fetchall()
        except sqlite3.Error as error:
            raise self.raised or as_sql_error(error) from error

    def declared_types(self, select, count):
        """SQLite tells the types of a view's columns, so the select becomes one for a moment."""
        try:
            text = re.sub(r"\?\d+", "null", select)
            self.connection.execute("create temp view vnq_types as " + text)
            rows = self.connection.execute("select type from pragma_table_info('vnq_types')").fetchall()
            self.connection.execute("drop view vnq_types")
        except sqlite3.Error:
            return [""] * count
        return [row[0].lower() for row in rows] if len(rows) == count else [""] * count


FUNCTIONS = {"to_int": "vnq_int", "length": "vnq_len", "byte_count": "vnq_bytes",
             "translate_letters": "vnq_translate",
             "collation_of": "vnq_collation", "object_id": "vnq_object_id",
             "schema_name": "schema_name", "schema_id": "schema_id", "quoted_name": "quotename"}
INTEGER_SIZES = {"bigint": 8, "smallint": 2, "tinyint": 1}


def column_type(declared, values):
    """The wire's column for a declared type and the values that are to be sent."""
    values = [value for value in values if value is not None]
    size = re.search(r"char\s*\(\s*(\d+)\s*\)", declared)
    if size and int(size.group(1)) <= wire.LONGEST_BOUNDED:
        return wire.TextColumn(int(size.group(1)))
    if declared == "bit":
        return wire.BitColumn()
    if all(isinstance(value, int) for value in values) and ("int" in declared or values):
        wide = any(not -2**31 <= value < 2**31 for value in values)
        return wire.IntColumn(8 if wide else INTEGER_SIZES.get(declared, 4))
    if values and all(isinstance(value, float) for value in values):
        return wire.FloatColumn()
    longest = max((len(wire.utf16(str(value))) // 2 for value in values), default=0)
    if "(max)" in declared.replace(" ", "") or longest > wire.LONGEST_BOUNDED:
        return wire.LongTextColumn()
    return wire.TextColumn(wire.LONGEST_BOUNDED)


def as_sql_error(error):
    text = str(error)
    constraint = re.search(r"CHECK constraint failed: vnq_(\d+)_(\w*)", text)
    if constraint:
        said = {"245": "Conversion failed when converting the nvarchar value to data type int",
                "8152": "String or binary data would be truncated"}[constraint.group(1)]
        return SqlError(int(constraint.group(1)), f"{said}, column '{constraint.group(2)}'.")
    for pattern, number, said in ERRORS:
        found = re.search(pattern, text)
        if found:
            return SqlError(number, said.format(*found.groups()))
    return SqlError(102, f"Incorrect syntax: {text}")


ERRORS = [
    (r"no such table: (.*)", 208, "Invalid object name '{0}'."),
    (r"no such column: (.*)", 207, "Invalid column name '{0}'."),
    (r"has no column named (.*)", 207, "Invalid column name '{0}'."),
    (r"no such function: (.*)", 195, "'{0}' is not a recognized built-in function name."),
    (r"UNIQUE constraint failed: (.*)", 2627, "Violation of UNIQUE KEY constraint: {0}."),
    (r"NOT NULL constraint failed: (.*)", 515, "Cannot insert the value NULL into column '{0}'."),
    (r"cannot store \w+ value in INTEGER column (.*)", 245,
     "Conversion failed when converting the nvarchar value to data type int, column '{0}'."),
    (r"(\w+) already exists", 2714, "There is already an object named '{0}' in the database."),
    (r"database is locked|busy", 1222, "Lock request time out period exceeded."),
]
