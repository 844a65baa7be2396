"""Tests of the translation and of what the databases refuse."""
import tempfile
import unittest

import tds_wire as wire
from tds_database import Database
from tsql import SqlError

TABLES = """
create table Users (UserID nvarchar(255) collate Latin1_General_100_CI_AS null, Age int null default 0,
 Since nvarchar(255) null default convert(nvarchar(10),getdate(),23), Note nvarchar(max) null,
 Secret nvarchar(20) collate Latin1_General_100_BIN2 null, Id int identity(1,1) primary key)"""


class TsqlTest(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.database = Database(self.folder.name, "test")
        self.run_all(TABLES)

    def tearDown(self):
        self.database.close()
        self.folder.cleanup()

    def run_all(self, text, *values):
        return list(self.database.run(text, values))

    def rows(self, text, *values):
        """The rows of a select, seen before they go to the wire."""
        (translated,) = self.database.translated(text, tuple(map(type, values)))
        cursor = self.database.execute(translated.text, values[:translated.markers])
        return self.database.fetch(cursor)

    def refused(self, text, *values):
        with self.assertRaises(SqlError) as caught:
            self.run_all(text, *values)
        return caught.exception.number

    def add(self, *users):
        for user in users:
            self.run_all("insert into Users(UserID,Secret) values(@P1,@P1)", user)

    def test_defaults_and_identity_are_filled(self):
        self.run_all("insert into [dbo].[Users] default values")
        (row,) = self.rows("select Age,Id,len(Since) from dbo.Users")
        self.assertEqual(row, (0, 1, 10))

    def test_top_is_a_limit_of_its_own_select(self):
        self.add("a", "b", "c")
        self.assertEqual(self.rows("select top 2 UserID from Users order by UserID desc"),
                         [("c",), ("b",)])
        self.assertEqual(self.rows("select top (1) UserID from Users where Id in "
                                   "(select top 2 Id from Users order by Id)"), [("a",)])
        self.assertEqual(self.rows("select top 0 * from Users"), [])

    def test_changes_of_the_top_rows_meet_no_others(self):
        self.add("a", "a", "a")
        ((_, count, _),) = self.run_all("update top (1) [Users] set Age=@P1 where UserID=@P2", 5, "a")
        self.assertEqual(count, 1)
        self.run_all("delete top (1) [Users] where Age=@P1", 0)
        self.assertEqual(self.rows("select Age from Users order by Age"), [(0,), (5,)])

    def test_the_usual_collation_ignores_case_and_blanks_at_the_end(self):
        self.add("é ")
        self.assertEqual(len(self.rows("select * from Users where UserID=@P1", "É")), 1)
        self.assertEqual(len(self.rows("select * from Users where UserID in (@P1)", "É")), 1)
        self.assertEqual(len(self.rows("select * from Users where UserID=N'e'")), 0)

    def test_a_binary_collation_ignores_blanks_at_the_end_only(self):
        self.add("a ")
        self.assertEqual(len(self.rows("select * from Users where Secret=@P1", "a")), 1)
        self.assertEqual(len(self.rows("select * from Users where Secret=@P1", "A")), 0)
        exact = "select * from Users where UserID collate Latin1_General_BIN2+N'.'=@P1+N'.'"
        self.assertEqual(len(self.rows(exact, "a ")), 1)
        self.assertEqual(len(self.rows(exact, "a")), 0)
        self.assertEqual(len(self.rows(exact, "A ")), 0)

    def test_translate_folds_ascii_letters(self):
        self.add("aÉ")
        folded = ("translate({} collate Latin1_General_BIN2,'ABCDEFGHIJKLMNOPQRSTUVWXYZ',"
                  "'abcdefghijklmnopqrstuvwxyz')+N'.'")
        select = f"select * from Users where {folded.format('UserID')}={folded.format('@P1')}"
        self.assertEqual(len(self.rows(select, "AÉ")), 1)
        self.assertEqual(len(self.rows(select, "Aé")), 0)

    def test_plus_between_numbers_stays_a_sum(self):
        self.add("a")
        self.run_all("update Users set Age=Age+1")
        self.assertEqual(self.rows("select Age from Users"), [(1,)])

    def test_a_text_beside_a_number_is_converted_or_refused(self):
        self.add("5")
        self.assertEqual(len(self.rows("select * from Users where Age=@P1", "0")), 1)
        self.assertEqual(len(self.rows("select * from Users where UserID=@P1", 5)), 1)
        self.assertEqual(self.refused("select * from Users where Age=@P1", "x"), 245)
        self.assertEqual(self.refused("insert into Users(Age) values(@P1)", "x"), 245)
        self.assertEqual(self.refused("insert into Users(Age) values(@P1)", "2147483648"), 248)
        self.assertEqual(self.refused("update Users set Age='x'"), 245)
        self.add("x")
        self.assertEqual(self.refused("select * from Users where UserID=@P1", 5), 245)

    def test_the_empty_text_is_zero_as_a_number(self):
        self.run_all("insert into Users(Age) values(@P1)", "")
        self.assertEqual(self.rows("select Age,convert(int,' 7 ') from Users"), [(0, 7)])

    def test_refusals_have_their_numbers(self):
        self.assertEqual(self.refused("select * from Nowhere"), 208)
        self.assertEqual(self.refused("select Nope from Users"), 207)
        self.assertEqual(self.refused("insert into Users(Nope) values(1)"), 207)
        self.assertEqual(self.refused("insert into Users(Secret) values(@P1)", "x" * 21), 8152)
        self.assertEqual(self.refused("insert into Users(Id) values(1),(1)"), 2627)
        self.assertEqual(self.refused(TABLES), 2714)
        self.assertEqual(self.refused("selec"), 102)
        self.assertEqual(self.refused("exec sp_nothing"), 2812)
        self.assertEqual(self.refused("select count(*),UserID from Users"), 8120)
        self.assertEqual(self.refused("select max(Id) as c, Id from Users where Age=0"), 8120)
        self.assertEqual(self.refused("commit"), 3902)

    def test_sums_may_stand_beside_what_is_grouped(self):
        self.add("a", "a")
        self.assertEqual(self.rows("select UserID,count(*) from Users group by UserID"), [("a", 2)])
        self.assertEqual(self.rows("select isnull(max(len(UserID)),0)+1 from Users"), [(2,)])

    def test_conditions_decide_on_the_statement_behind(self):
        self.run_all("if object_id(N'dbo.Users',N'U') is null create table Users(a int)")
        self.run_all("if not exists (select * from Users) insert into Users(UserID) values('a')")
        self.run_all("if not exists (select * from Users) insert into Users(UserID) values('b')")
        self.assertEqual(self.rows("select UserID from Users"), [("a",)])

    def test_statements_of_a_batch_run_in_turn(self):
        outcome = self.run_all("insert into Users(UserID) values('a;b'); select UserID from Users;")
        self.assertEqual([(command, count) for command, count, _ in outcome],
                         [(wire.INSERT, 1), (wire.SELECT, 1)])

    def test_transactions_can_be_taken_back(self):
        self.run_all("begin transaction")
        self.add("a")
        self.run_all("rollback")
        self.assertEqual(self.rows("select count(*) from Users"), [(0,)])

    def test_the_catalogue_tells_types_and_keys(self):
        select = ("select COLUMN_NAME,DATA_TYPE,CHARACTER_MAXIMUM_LENGTH from "
                  "INFORMATION_SCHEMA.COLUMNS where TABLE_NAME=@P1 order by ORDINAL_POSITION")
        rows = self.rows(select, "users")
        self.assertEqual(rows[0], ("UserID", "nvarchar", 255))
        self.assertEqual(rows[1], ("Age", "int", None))
        self.assertEqual(rows[3], ("Note", "nvarchar", -1))
        self.run_all("create index idx_Users_UserID on Users(UserID)")
        self.assertEqual(self.rows("select name from sys.indexes where object_id=object_id('Users')"),
                         [("idx_Users_UserID",)])

    def test_lone_surrogates_and_nul_come_back(self):
        self.add("a\ud83db\0c")
        self.assertEqual(self.rows("select UserID from Users"), [("a\ud83db\0c",)])

    def test_another_connections_new_column_is_seen(self):
        self.assertEqual(len(self.rows("select * from Users")), 0)
        other = Database(self.folder.name, "test")
        list(other.run("alter table Users add Size int default 3"))
        other.close()
        self.add("a")
        ((_, count, result),) = self.run_all("select * from Users")
        self.assertEqual(count, 1)
        self.assertIn(wire.utf16("Size"), result)

    def test_a_row_that_is_there_is_not_added_again(self):
        insert = ("insert into [Users]([UserID],[Age]) select @P1,@P2 where not exists"
                  "(select 1 from [Users] with(updlock,holdlock) where [UserID]=@P3)")
        counts = [self.run_all(insert, name, 1, name)[0][1] for name in ("a", "a", "b")]
        self.assertEqual(counts, [1, 0, 1])

    def test_locks_by_name_keep_other_sessions_out_until_given_back_or_ended(self):
        def take(database, mode="Exclusive"):
            return list(database.run(
                f"declare @answer int exec @answer=sp_getapplock @Resource='vnq 1.2',@LockMode='{mode}',"
                "@LockOwner='Session',@LockTimeout=0 if @answer<0 raiserror('the lock is taken',16,1)"))

        other = Database(self.folder.name, "test")
        take(self.database)
        take(self.database)  # as often as it likes
        self.assertRaises(SqlError, take, other)
        give_back = "exec sp_releaseapplock @Resource='vnq 1.2',@LockOwner='Session'"
        self.run_all(give_back)
        self.assertRaises(SqlError, take, other)
        self.run_all(give_back)
        self.assertEqual(self.refused(give_back), 1223)
        take(other, "Shared")
        take(self.database, "Shared")
        self.run_all(give_back)
        self.assertRaises(SqlError, take, self.database)
        other.close()
        take(self.database)


if __name__ == "__main__":
    unittest.main()
