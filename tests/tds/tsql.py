"""From Transact-SQL to SQLite, as far as the statements of this project and of ODBC drivers go."""
import re

TOKEN = re.compile(r"""
    (?P<blank>\s+|--[^\n]*|/\*.*?\*/)
  | (?P<string>[nN]?'(?:[^']|'')*')
  | (?P<name>\[(?:[^\]]|\]\])*\]|"(?:[^"]|"")*"|[^\W\d]\w*)
  | (?P<parameter>@@?\w+)
  | (?P<number>\d+(?:\.\d+)?)
  | (?P<sign><>|<=|>=|!=|.)""", re.S | re.X)

CI = "Latin1_General_100_CI_AS"  # what a text column has when nothing is said

# What SQLite files call the two collations. Any program can open the files: it then has the names' usual
# meaning, which differs for letters beyond ASCII and for blanks at the end.
STORED_CI, STORED_EXACT = "nocase", "rtrim"
COMPARISONS = {"=", "<>", "<", ">", "<=", ">=", "!="}
INTEGER_TYPES = {"int", "integer", "bigint", "smallint", "tinyint", "bit"}
TEXT_TYPES = {"nvarchar", "varchar", "nchar", "char", "ntext", "text", "sysname"}
UPPER, LOWER = "'ABCDEFGHIJKLMNOPQRSTUVWXYZ'", "'abcdefghijklmnopqrstuvwxyz'"
DATE_STYLES = {"23": "%Y-%m-%d", "108": "%H:%M:%S", "8": "%H:%M:%S", "120": "%Y-%m-%d %H:%M:%S",
               "111": "%Y/%m/%d", "112": "%Y%m%d"}


AGGREGATES = {"count", "max", "min", "sum", "avg"}


class SqlError(Exception):
    """What SQL Server refuses, with the number that it has there."""

    def __init__(self, number, text):
        super().__init__(text)
        self.number, self.text = number, text


class Token:
    __slots__ = ("kind", "text", "low")

    def __init__(self, kind, text):
        self.kind, self.text = kind, text
        self.low = bare(text).lower() if kind == "name" else text

    def __repr__(self):
        return self.text


def bare(name):
    """A name without its brackets or quotes."""
    if name[0] == "[":
        return name[1:-1].replace("]]", "]")
    if name[0] == '"':
        return name[1:-1].replace('""', '"')
    return name


def tokenize(text):
    return [Token(match.lastgroup, match.group()) for match in TOKEN.finditer(text)
            if match.lastgroup != "blank"]


def sql(text):
    """A token of finished SQLite."""
    return Token("finished", text)


def is_word(token, *words):
    return token.kind == "name" and token.low in words and token.text[0] not in '["'


def close_of(tokens, start):
    """The index of the parenthesis that closes the one at `start`."""
    depth = 0
    for i in range(start, len(tokens)):
        if tokens[i].text == "(":
            depth += 1
        elif tokens[i].text == ")":
            depth -= 1
            if depth == 0:
                return i
    return len(tokens)


def split(tokens, sign=","):
    """The parts between the signs that stand in no parentheses."""
    parts, depth = [[]], 0
    for token in tokens:
        depth += (token.text == "(") - (token.text == ")")
        if token.text == sign and depth == 0:
            parts.append([])
        else:
            parts[-1].append(token)
    return parts


def join(tokens):
    return " ".join(token.text for token in tokens)


def statements_of(tokens):
    return [part for part in split(tokens, ";") if part]


def collation(name):
    low = name.lower()
    if low.endswith(("_bin", "_bin2")) or "_cs_" in low:
        return STORED_EXACT  # to the letter, but for blanks at the end
    return STORED_CI


class Translator:
    """One statement. `schema` knows the tables; kinds["@P1"] is the type of a parameter's value."""

    def __init__(self, tokens, schema, kinds):
        self.schema, self.kinds = schema, kinds
        self.integers, self.texts = schema.column_kinds(
            {token.low for token in tokens if token.kind == "name"})
        self.columns = self.integers | self.texts
        self.in_set = False

    # --- expressions and selects ---

    def translate(self, tokens):
        if tokens and is_word(tokens[0], "select"):
            self.refuse_mixed_sums(tokens)
        out, limit, i = [], None, 0
        while i < len(tokens):
            token = tokens[i]
            following = tokens[i + 1] if i + 1 < len(tokens) else None
            if is_word(token, "top") and i > 0 and is_word(tokens[i - 1], "select", "distinct"):
                limit, i = self.top(tokens, i)
            elif is_word(token, "union") and limit:
                out += [sql("limit " + limit), token]
                limit, i = None, i + 1
            elif is_word(token, "with") and following and following.text == "(":
                i = close_of(tokens, i + 1) + 1  # a statement that writes keeps all others from writing anyway
            elif (wrapped := self.comparison(tokens, i)):
                out += wrapped[0]
                i = wrapped[1]
            elif token.kind == "name" and following and following.text == "(":
                end = close_of(tokens, i + 1)
                out += self.call(token, tokens[i + 2:end])
                i = end + 1
            elif token.text == "(":
                end = close_of(tokens, i)
                out += [token] + self.translate(tokens[i + 1:end]) + [sql(")")]
                i = end + 1
            else:
                i = self.single(tokens, i, out)
        if limit:
            out.append(sql("limit " + limit))
        return out

    def refuse_mixed_sums(self, tokens):
        """Sums beside a column that is not grouped by: SQLite would take any row's."""
        if any(is_word(token, "group", "over") for token in tokens):
            return
        end = next((i for i, token in enumerate(tokens) if is_word(token, "from")), len(tokens))
        plain, i = [], 1
        has_sums = False
        while i < end:
            if tokens[i].low in AGGREGATES and tokens[i + 1].text == "(":
                has_sums, i = True, close_of(tokens, i + 1)
            elif tokens[i].low in self.columns and not is_word(tokens[i - 1], "as"):
                plain.append(tokens[i].text)
            i += 1
        if has_sums and plain:
            raise SqlError(8120, f"Column '{plain[0]}' is invalid in the select list because it is not "
                                 "contained in either an aggregate function or the GROUP BY clause.")

    def top(self, tokens, i):
        if tokens[i + 1].text == "(":
            end = close_of(tokens, i + 1)
            return join(self.translate(tokens[i + 2:end])), end + 1
        return tokens[i + 1].text, i + 2

    def single(self, tokens, i, out):
        """Writes the token at i, which begins nothing that takes care, and returns what follows."""
        token = tokens[i]
        if is_word(token, "set"):
            self.in_set = True
        elif is_word(token, "where", "from"):
            self.in_set = False
        if is_word(token, "collate"):
            out += [token, sql(collation(tokens[i + 1].text))]
            return i + 2
        if token.low == "dbo" and tokens[i + 1:i + 2] and tokens[i + 1].text == ".":
            return i + 2
        if is_word(token, "information_schema", "sys") and tokens[i + 1].text == ".":
            out.append(sql(f"vnq_{token.low}_{tokens[i + 2].low}"))
            return i + 3
        out.append(self.simple(token, tokens, i))
        return i + 1

    def simple(self, token, tokens, i):
        if token.kind == "string":
            return sql(token.text.lstrip("nN"))
        if token.kind == "parameter":
            return sql(self.parameter(token.text))
        if token.text == "+" and any(neighbour.kind == "string" for neighbour in tokens[i - 1:i + 2]):
            return sql("||")
        return token

    @staticmethod
    def parameter(name):
        low = name.lower()
        if low in ("@@identity", "@@rowcount"):
            return "last_insert_rowid()" if low == "@@identity" else "changes()"
        if low == "@@version":
            return "'Microsoft SQL Server (test server)'"
        if re.fullmatch(r"@p\d+", low):
            return "?" + low[2:]
        return "0" if low.startswith("@@") else ":" + name[1:]

    # --- implicit conversions: a text beside an integer becomes one, or the statement fails ---

    def value_kind(self, token):
        if token.kind == "parameter":
            return self.kinds.get(token.text.lower())
        return {"string": str, "number": int}.get(token.kind)

    def comparison(self, tokens, i):
        """`column = value` where one of the two must be converted; tokens and what follows."""
        start = i
        if i + 2 < len(tokens) and tokens[i + 1].text == ".":
            i += 2
        if i + 2 >= len(tokens) or tokens[i].kind != "name" or tokens[i + 1].text not in COMPARISONS:
            return None
        if i + 3 < len(tokens) and tokens[i + 3].text in ("+", "."):
            return None
        column, value = tokens[i], tokens[i + 2]
        kind = self.value_kind(value)
        left, right = tokens[start:i + 1], self.simple(value, tokens, i + 2).text
        if kind is str and column.low in self.integers:
            return left + [tokens[i + 1], sql(f"vnq_int({right})")], i + 3
        if kind is int and column.low in self.texts and not self.in_set:
            return [sql(f"vnq_int({''.join(t.text for t in left)})"), tokens[i + 1], sql(right)], i + 3
        return None

    # --- functions ---

    def call(self, name, arguments):
        low, parts = name.low, split(arguments)
        if low in ("convert", "try_convert") and len(parts) > 1:
            return self.convert(parts[0], parts[1], join(parts[2]) if len(parts) > 2 else "")
        if low == "cast":
            at = max(i for i, token in enumerate(arguments) if is_word(token, "as"))
            return self.convert(arguments[at + 1:], arguments[:at], "")
        if low == "getdate":
            return [sql("strftime('%Y-%m-%d %H:%M:%f','now','localtime')")]
        if low == "translate" and [join(part).lstrip("nN") for part in parts[1:]] == [UPPER, LOWER]:
            return [sql("lower("), *self.translate(parts[0]), sql(")")]
        if low == "object_id":
            return [sql("vnq_object_id("), *self.translate(parts[0]), sql(")")]
        if low == "columnproperty" and join(parts[2]).lstrip("nN").lower() == "'isidentity'":
            table, column = join(self.translate(parts[0])), join(self.translate(parts[1]))
            return [sql("(select t.sql like '%autoincrement%' and c.pk>0 from sqlite_master t,"
                        f" pragma_table_info(t.name) c where t.rowid={table} and c.name={column})")]
        renamed = {"isnull": "ifnull", "len": "vnq_len", "scope_identity": "last_insert_rowid",
                   "translate": "vnq_translate", "datalength": "vnq_bytes"}.get(low)
        return [sql((renamed or name.text) + "("), *self.translate(arguments), sql(")")]

    def convert(self, kind, value, style):
        if kind[0].low in INTEGER_TYPES:
            return [sql("vnq_int("), *self.translate(value), sql(")")]
        if value and is_word(value[0], "getdate"):
            form = DATE_STYLES.get(style, "%Y-%m-%d %H:%M:%S")
            return [sql(f"strftime('{form}','now','localtime')")]
        return [sql("cast("), *self.translate(value), sql("as text)")]

    # --- whole statements ---

    def statement(self, tokens):
        if is_word(tokens[0], "update", "delete"):
            return join(self.change(tokens))
        if is_word(tokens[0], "insert"):
            return join(self.insert(tokens))
        if len(tokens) > 2 and is_word(tokens[0], "create") and is_word(tokens[1], "table"):
            return self.create_table(tokens)
        if is_word(tokens[0], "create", "drop", "alter"):
            return self.definition(tokens)
        return join(self.translate(tokens))

    def change(self, tokens):
        """update or delete, where `top (n)` picks the rows by a select of its own."""
        verb, rest = tokens[0], tokens[1:]
        limit = None
        if rest and is_word(rest[0], "top"):
            limit, after = self.top(tokens, 1)
            rest = tokens[after:]
        if is_word(verb, "delete") and not is_word(rest[0], "from"):
            rest = [Token("name", "from")] + rest
        if limit is None:
            return self.translate([verb] + rest)
        where = next((i for i, token in enumerate(rest) if is_word(token, "where")), len(rest))
        before = self.translate([verb] + rest[:where])
        self.in_set = False
        names = rest[:where] if is_word(verb, "delete") else self.until_set(rest)
        table = [token for token in names if not is_word(token, "from")]
        picked = self.translate([Token("name", "from")] + table + rest[where:])
        return before + [sql("where rowid in (select rowid"), *picked, sql(f"limit {limit})")]

    @staticmethod
    def until_set(tokens):
        return tokens[:next(i for i, token in enumerate(tokens) if is_word(token, "set"))]

    def insert(self, tokens):
        opening = next((i for i, token in enumerate(tokens) if token.text == "("), None)
        values = next((i for i, token in enumerate(tokens) if is_word(token, "values")), None)
        if opening is None or values is None or opening > values:
            return self.translate(tokens)
        columns = split(tokens[opening + 1:close_of(tokens, opening)])
        out = tokens[:opening] + [sql("(" + ",".join(join(column) for column in columns) + ")")]
        out = [token for token in out if token.low not in ("dbo", ".")]
        out.append(tokens[values])
        for row in split(tokens[values + 1:]):
            cells = [self.cell(column, cell) for column, cell in zip(columns, split(row[1:-1]))]
            out += [sql("(" + ",".join(cells) + ")"), sql(",")]
        return out[:-1]

    def cell(self, column, tokens):
        text = join(self.translate(tokens))
        converted = column[-1].low in self.integers and len(tokens) == 1 and \
            self.value_kind(tokens[0]) is str
        return f"vnq_int({text})" if converted else text

    # --- tables ---

    def create_table(self, tokens):
        opening = next(i for i, token in enumerate(tokens) if token.text == "(")
        parts = split(tokens[opening + 1:close_of(tokens, opening)])
        head = join(self.translate(tokens[:opening]))
        return head + "(" + ", ".join(self.column(part) for part in parts if part) + ")"

    def column(self, tokens):
        rest = [token for token in tokens if not is_word(token, "clustered", "nonclustered", "asc")]
        if is_word(tokens[0], "constraint", "primary", "unique", "foreign", "check"):
            return join(self.translate(rest))
        name, kind, rest = rest[0].text, rest[1].low, rest[2:]
        size = ""
        if rest and rest[0].text == "(":
            size = rest[1].text
            rest = rest[close_of(rest, 0) + 1:]
        identity = next((i for i, token in enumerate(rest) if is_word(token, "identity")), None)
        if identity is not None:
            return f"{name} integer primary key autoincrement"
        declared = f"{name} {kind}"
        if size:  # a size that is no number must be quoted
            declared = f"{name} {kind}({size})" if size.isdigit() else f'{name} "{kind}({size})"'
        return f"{declared} {self.rules(rest)}{self.checks(name, kind, size, rest)}"

    def rules(self, tokens):
        """What stands behind the type: a default is put in parentheses."""
        start = next((i for i, token in enumerate(tokens) if is_word(token, "default")), None)
        if start is None:
            return join(self.translate(tokens))
        end = start + 2
        if tokens[end - 1].text == "(":
            end = close_of(tokens, end - 1) + 1
        elif end < len(tokens) and tokens[end].text == "(":
            end = close_of(tokens, end) + 1
        value = join(self.translate(tokens[start + 1:end]))
        before, after = self.translate(tokens[:start]), self.translate(tokens[end:])
        return f"{join(before)} default ({value}) {join(after)}"

    @staticmethod
    def checks(name, kind, size, rest):
        """What the type refuses; the constraint's name has the error's number."""
        column = bare(name)
        if kind in INTEGER_TYPES:
            return f' constraint "vnq_245_{column}" check (typeof({name}) in (\'integer\',\'null\'))'
        if kind not in TEXT_TYPES:
            return ""
        given = any(is_word(token, "collate") for token in rest)
        text = "" if given else f" collate {STORED_CI}"
        if size.isdigit():
            text += f' constraint "vnq_8152_{column}" check (length({name})<={size})'
        return text

    def definition(self, tokens):
        tokens = [token for token in tokens if not is_word(token, "clustered", "nonclustered")]
        low = [token.low for token in tokens]
        if low[:2] == ["drop", "index"] and "on" in low:
            tokens = tokens[:low.index("on")]
        if low[:2] == ["alter", "table"] and "add" in low and "constraint" not in low:
            at = low.index("add") + 1
            return join(self.translate(tokens[:at])) + " column " + self.column(tokens[at:])
        return join(self.translate(tokens))
