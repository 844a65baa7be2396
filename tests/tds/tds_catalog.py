"""What SQL Server tells of its tables: the catalog's views and procedures."""
import tds_wire as wire
import tsql

COLUMNS = """
    from sqlite_master t, pragma_table_info(t.name) c
    where t.type='table' and t.name not like 'sqlite_%'"""
BASE_TYPE = "case when instr(c.type,'(')>0 then substr(c.type,1,instr(c.type,'(')-1) else c.type end"
COLLATION = """case when lower(c.type) like '%char%' then vnq_collation(t.sql,c.name) end"""
LENGTH = """case when c.type like '%(max)' then -1 when instr(c.type,'(')>0
    then cast(substr(c.type,instr(c.type,'(')+1) as integer) end"""

VIEWS = [
    f"""create temp view vnq_information_schema_columns as select 'vnq' TABLE_CATALOG,
    'dbo' TABLE_SCHEMA, t.name collate nocase TABLE_NAME, c.name collate nocase COLUMN_NAME,
    c.cid+1 ORDINAL_POSITION,
    c.dflt_value COLUMN_DEFAULT, case c."notnull" when 0 then 'YES' else 'NO' end IS_NULLABLE,
    replace(lower({BASE_TYPE}),'integer','int') DATA_TYPE, {LENGTH} CHARACTER_MAXIMUM_LENGTH,
    {COLLATION} COLLATION_NAME {COLUMNS}""",
    """create temp view vnq_information_schema_tables as select 'vnq' TABLE_CATALOG,
    'dbo' TABLE_SCHEMA, name collate nocase TABLE_NAME,
    case type when 'table' then 'BASE TABLE' else 'VIEW' end TABLE_TYPE
    from sqlite_master where type in ('table','view') and name not like 'sqlite_%'""",
    """create temp view vnq_sys_tables as select name collate nocase name, rowid object_id, 'U' type,
    1 schema_id
    from sqlite_master where type='table' and name not like 'sqlite_%'""",
    """create temp view vnq_sys_objects as select * from vnq_sys_tables""",
    f"""create temp view vnq_sys_columns as select t.rowid object_id, c.name name, c.cid+1 column_id
    {COLUMNS}""",
    """create temp view vnq_sys_indexes as select t.rowid object_id, i.name name, i.seq+1 index_id,
    i."unique" is_unique, i.origin='pk' is_primary_key, 'NONCLUSTERED' type_desc,
    i.partial has_filter, 0 is_disabled
    from sqlite_master t, pragma_index_list(t.name) i where t.type='table'""",
    """create temp view vnq_sys_index_columns as select t.rowid object_id, i.seq+1 index_id,
    k.seqno+1 key_ordinal, k.cid+1 column_id, 0 is_included_column
    from sqlite_master t, pragma_index_list(t.name) i, pragma_index_info(i.name) k
    where t.type='table'""",
]

INT, NAME = wire.IntColumn(), wire.TextColumn(128)
SMALL = wire.IntColumn(2)

SQL_TYPES = {"int": (4, 10), "integer": (4, 10), "bigint": (-5, 19), "smallint": (5, 5),
             "tinyint": (-6, 3), "bit": (-7, 1)}


def call_arguments(tokens):
    """Name and arguments of `exec name @a=1, 'b'`: named ones by their name, others by position."""
    rest = tokens[1:]
    while len(rest) > 1 and rest[1].text == ".":
        rest = rest[2:]
    while len(rest) > 1 and rest[0].text == ".":
        rest = rest[1:]
    arguments = {}
    for position, part in enumerate(part for part in tsql.split(rest[1:]) if part):
        name = position
        if len(part) > 2 and part[0].kind == "parameter" and part[1].text == "=":
            name, part = part[0].text.lower().lstrip("@"), part[2:]
        arguments[name] = literal(part)
    return rest[0].low, arguments


def literal(tokens):
    token = tokens[-1]
    if token.kind == "string":
        return token.text.lstrip("nN")[1:-1].replace("''", "'")
    if token.kind == "number":
        return int(token.text) * (-1 if tokens[0].text == "-" else 1)
    return None if token.low == "null" else tsql.bare(token.text)


def procedure(database, tokens):
    name, arguments = call_arguments(tokens)
    return call(database, name, arguments)


def call(database, name, arguments):
    known = {"sp_pkeys": primary_keys, "sp_special_columns": row_identity, "sp_columns": columns,
             "sp_tables": tables}.get(name.lower().removesuffix("_100").removesuffix("_90"))
    if known is None:
        raise tsql.SqlError(2812, f"Could not find stored procedure '{name}'.")
    table = arguments.get("table_name", arguments.get("name", arguments.get(0)))
    names, kinds, rows = known(database.connection, (table or "").replace("\\", ""))
    return wire.SELECT, len(rows), wire.result_set(names, kinds, rows)


def table_name(connection, table):
    row = connection.execute("select name from sqlite_master where name=? collate nocase",
                             (table,)).fetchone()
    return row[0] if row else table


def primary_keys(connection, table):
    found = connection.execute("select name,pk from pragma_table_info(?) where pk>0 order by pk",
                               (table,)).fetchall()
    rows = [(None, "dbo", table_name(connection, table), name, number, f"PK_{table}")
            for name, number in found]
    return (["TABLE_QUALIFIER", "TABLE_OWNER", "TABLE_NAME", "COLUMN_NAME", "KEY_SEQ", "PK_NAME"],
            [NAME, NAME, NAME, NAME, SMALL, NAME], rows)


def row_identity(connection, table):
    """The columns of the primary key, or else of a unique index without NULL."""
    names = [row[3] for row in primary_keys(connection, table)[2]]
    indexes = connection.execute('select name from pragma_index_list(?) where "unique"=1', (table,))
    for index, in indexes.fetchall():
        held = [row[0] for row in connection.execute("select name from pragma_index_info(?)", (index,))]
        never_null = {row[0] for row in connection.execute(
            'select name from pragma_table_info(?) where "notnull"=1', (table,))}
        if not names and set(held) <= never_null:
            names = held
    rows = [(1, name, *described(connection, table, name), 1) for name in names]
    return (["SCOPE", "COLUMN_NAME", "DATA_TYPE", "TYPE_NAME", "PRECISION", "LENGTH", "SCALE",
             "PSEUDO_COLUMN"], [SMALL, NAME, SMALL, NAME, INT, INT, SMALL, SMALL], rows)


def described(connection, table, column):
    kind = connection.execute("select lower(type) from pragma_table_info(?) where name=?",
                              (table, column)).fetchone()[0]
    return described_type(kind)


def described_type(kind):
    """ODBC's number of the type, its name, precision, length in bytes and scale."""
    base, _, size = kind.rstrip(") ").partition("(")
    if base in SQL_TYPES:
        number, precision = SQL_TYPES[base]
        return number, "int" if base == "integer" else base, precision, 4, 0
    length = int(size) if size.isdigit() else 0
    return -9, "nvarchar", length, 2 * length, None


def columns(connection, table):
    rows = []
    name = table_name(connection, table)
    found = connection.execute('select cid,name,lower(type),"notnull",dflt_value '
                               "from pragma_table_info(?)", (table,))
    for number, column, kind, not_null, default in found.fetchall():
        sql_type, type_name, precision, length, scale = described_type(kind)
        rows.append((None, "dbo", name, column, sql_type, type_name, precision, length, scale, 10,
                     0 if not_null else 1, None, default, sql_type, None, None, number + 1,
                     "NO" if not_null else "YES", 0))
    names = ["TABLE_QUALIFIER", "TABLE_OWNER", "TABLE_NAME", "COLUMN_NAME", "DATA_TYPE", "TYPE_NAME",
             "PRECISION", "LENGTH", "SCALE", "RADIX", "NULLABLE", "REMARKS", "COLUMN_DEF",
             "SQL_DATA_TYPE", "SQL_DATETIME_SUB", "CHAR_OCTET_LENGTH", "ORDINAL_POSITION",
             "IS_NULLABLE", "SS_DATA_TYPE"]
    kinds = [NAME, NAME, NAME, NAME, SMALL, NAME, INT, INT, SMALL, SMALL, SMALL, NAME,
             wire.TextColumn(4000), SMALL, SMALL, INT, INT, NAME, SMALL]
    return names, kinds, rows


def tables(connection, table):
    found = connection.execute("select name from sqlite_master where type='table' "
                               "and name not like 'sqlite_%' and (?1='' or name like ?1)", (table,))
    rows = [(None, "dbo", row[0], "TABLE", None) for row in found.fetchall()]
    return (["TABLE_QUALIFIER", "TABLE_OWNER", "TABLE_NAME", "TABLE_TYPE", "REMARKS"], [NAME] * 5,
            rows)
