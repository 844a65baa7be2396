"""The shipped programs as nodes: what crosses, and what is left when the bus or a node fails."""
import os
import subprocess
import sys
import time
import unittest

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from cluster import Cluster, wait_until  # noqa: E402


class Nodes(unittest.TestCase):
    def setUp(self):
        self.cluster = Cluster(nodes=2, users=3)
        self.addCleanup(self.cluster.close)

    def message(self, sender, target, number):
        sender.send(f".+message|{target}|1|hello {number}|font|M{number}|1|#")

    def assert_crosses(self, sender, receiver, number):
        self.message(sender, 2, number)
        sender.expect(f".+reply|1|2|M{number}|#")
        receiver.expect(f"|hello {number}|font|M{number}|")

    def test_message_presence_and_displacement_cross(self):
        alice = self.cluster.client(0, 1)
        bob = self.cluster.client(1, 2)
        alice.expect(".+new_online|2|")
        self.assert_crosses(alice, bob, 1)
        again = self.cluster.client(0, 2)
        bob.expect(".+busy_force|")
        wait_until(lambda: bob.read(0.05) and bob.closed, "the earlier session has ended")
        self.message(alice, 2, 2)
        again.expect("|hello 2|")

    def test_doctor_and_status_know_the_cluster(self):
        self.assertIn("ok: nodes: node n1 of cluster vnq, the bus answers", self.cluster.ctl(0, "doctor"))
        self.cluster.client(1, 2)
        self.cluster.wait_until_known(0, 2)
        self.assertIn("n1 of cluster vnq, the bus stands; others: n2 (1 tags)", self.cluster.ctl(0, "status"))
        self.cluster.bus.kill()
        self.assertIn("error: ", self.cluster.ctl(0, "doctor"))
        wait_until(lambda: "NO BUS, ALONE" in self.cluster.ctl(0, "status"), "the loss is noticed")

    def test_bus_that_stops_and_comes_back_is_found_again(self):
        alice = self.cluster.client(0, 1)
        bob = self.cluster.client(1, 2)
        self.cluster.bus.kill()
        for node in self.cluster.nodes:
            wait_until(lambda: node.count("no bus, so that it goes on alone") == 1, "the loss is said")
        self.message(alice, 2, 1)
        alice.expect(".+reply|1|2|M1|#")
        time.sleep(1.5)
        self.assertNotIn("M1", bob.read())
        self.cluster.start_bus()
        self.cluster.wait_for_nodes()
        self.cluster.wait_until_known(0, 2)
        self.assert_crosses(alice, bob, 2)
        for node in self.cluster.nodes:
            self.assertEqual(node.count("no bus, so that it goes on alone"), 1)

    def test_bus_that_freezes_is_noticed_and_nobody_waits(self):
        alice = self.cluster.client(0, 1)
        bob = self.cluster.client(1, 2)
        self.cluster.bus.freeze()
        before = time.monotonic()
        self.message(alice, 2, 1)
        alice.expect(".+reply|1|2|M1|#")
        self.assertLess(time.monotonic() - before, 3)
        for node in self.cluster.nodes:
            wait_until(lambda: node.count("no bus, so that it goes on alone") == 1, "the loss is said")
        self.cluster.bus.thaw()
        self.cluster.wait_for_nodes()
        self.cluster.wait_until_known(0, 2)
        self.assert_crosses(alice, bob, 2)

    def test_node_that_is_killed_is_forgotten_and_its_clients_go_on_elsewhere(self):
        alice = self.cluster.client(0, 1)
        self.cluster.client(1, 2)
        self.cluster.wait_until_known(0, 2)
        self.cluster.nodes[1].kill()
        self.message(alice, 2, 1)
        alice.expect(".+reply|1|2|M1|#")
        self.assertEqual(self.cluster.sql("select count(*) from Messeng_Text where Msg_ID='M1' and IsAck3=1"), ["1"])
        wait_until(lambda: self.cluster.nodes[0].count("node n2 has been silent for 5 s") == 1, "it is forgotten")
        bob = self.cluster.client(0, 2)
        self.assert_crosses(alice, bob, 2)
        self.cluster.start(1)
        self.cluster.wait_for_nodes()

    def test_users_of_a_killed_node_are_shown_as_away_and_those_of_a_frozen_one_are_not(self):
        def presences():
            return self.cluster.sql("select UserID,UserIcoLine from Users_ID order by UserID")

        self.cluster.client(0, 1)
        self.cluster.client(1, 2)
        self.cluster.wait_until_known(0, 2)
        self.cluster.nodes[1].freeze()
        wait_until(lambda: self.cluster.nodes[0].count("node n2 has been silent for 5 s") == 1, "it is forgotten")
        time.sleep(7)
        self.assertEqual(presences(), ["1|1", "2|1", "3|0"])
        self.cluster.nodes[1].kill()
        wait_until(lambda: self.cluster.nodes[0].count("node n2 has died; 1 of its 1 users") == 1, "it is dead")
        self.assertEqual(presences(), ["1|1", "2|0", "3|0"])

    def test_users_of_a_node_that_is_killed_and_starts_at_once_are_shown_as_away(self):
        self.cluster.client(0, 1)
        self.cluster.client(1, 2)
        self.cluster.wait_until_known(0, 2)
        self.cluster.nodes[1].kill()
        self.cluster.start(1)
        wait_until(lambda: self.cluster.nodes[0].count("node n2 has died; 1 of its 1 users") == 1, "it is dead")
        self.assertEqual(self.cluster.sql("select UserID from Users_ID where UserIcoLine<>0"), ["1"])

    def test_what_comes_to_two_nodes_at_the_same_moment_is_stored_once(self):
        """The same record on two connections, neither of which waits for the other."""
        records = {
            "select Msg_ID,YouID from Messeng_Text": ".+message|2|1|text|font|M{0}|1|#",
            "select Msg_ID,ClotID from MessengClot_Text": ".+clot_messeng|G|1|text|font|G{0}|1|#",
            "select Msg_ID,YouID from Msg_Acks": ".+clot_messeng|G|1|text|font|H{0}|1|#",
            "select MyID,YouID from Clot_Silence": ".+modify_isSilence|1|S{0}|1|#",
            "select Msg_ID from LeaveFile": ".+upload_files|name|1|1|2|1|path|F{0}|#",
            "select UserID from Users_Pic": ".+modify_personal_pictures|P{0}|5|#",
        }
        self.cluster.sql("insert into Clot_Form(UpperID,UserID,IsAdmin) values('G','1',1),('G','2',0)")
        both = [self.cluster.client(0, 1), self.cluster.client(1, 3)]
        for record in records.values():
            for client in both:
                client.send("".join(record.format(number) for number in range(60)))
            time.sleep(0.3)  # each text is a read of its own
        for select, record in records.items():
            wait_until(lambda: len(set(self.cluster.sql(select))) >= 60, record)
        for client in both:
            client.send(".+y|#")
            client.expect(".+y|#")  # behind all of it
        for select, record in records.items():
            rows = self.cluster.sql(select)
            self.assertEqual(len(rows), len(set(rows)), record)

    def test_account_of_vnqctl_waits_for_one_that_a_node_makes(self):
        other = subprocess.Popen(["psql", "-X", "-h", self.cluster.host, "-p", self.cluster.port, "-U", "vnq", "-d",
                                  self.cluster.database, "-c", "select pg_advisory_lock(6004,1),pg_sleep(1)"],
                                 stdout=subprocess.DEVNULL)
        wait_until(lambda: self.cluster.sql("select 1 from pg_locks where locktype='advisory' and classid=6004"),
                   "the lock is held")
        said = self.cluster.ctl(0, "user", "add", "somebody", "--password", "secret")
        self.assertIsNotNone(other.poll(), said)
        other.wait()
        self.assertEqual(self.cluster.sql("select count(*) from Users_ID where UserName='somebody'"), ["1"], said)

    def test_node_that_stops_in_order_is_forgotten_at_once_and_spares_the_presence_of_others(self):
        self.cluster.client(0, 1)
        self.cluster.client(1, 2)
        self.assertEqual(self.cluster.nodes[1].stop(), 0)
        wait_until(lambda: self.cluster.nodes[0].count("node n2 has stopped") == 1, "it is forgotten", 2)
        self.assertEqual(self.cluster.sql("select UserID,UserIcoLine from Users_ID order by UserID"),
                         ["1|1", "2|0", "3|0"])

    def test_node_that_is_frozen_gives_its_users_up_to_others(self):
        alice = self.cluster.client(0, 1)
        bob = self.cluster.client(1, 2)
        self.cluster.wait_until_known(0, 2)
        self.cluster.nodes[1].freeze()
        again = self.cluster.client(0, 2)
        self.assert_crosses(alice, again, 1)
        wait_until(lambda: self.cluster.nodes[0].count("node n2 has been silent") == 1, "it is forgotten")
        self.cluster.nodes[1].thaw()
        bob.expect(".+busy_force|")
        self.cluster.wait_for_nodes()
        self.assert_crosses(alice, again, 2)
        self.assertEqual(again.text.count("|M1|"), 1)

    def test_two_nodes_of_one_name_are_said(self):
        twin = os.path.join(self.cluster.app_path(1), "platform.ini")
        with open(twin, encoding="utf-8") as ini:
            text = ini.read()
        self.cluster.nodes[1].stop()
        with open(twin, "w", encoding="utf-8") as ini:
            ini.write(text.replace("name=n2", "name=n1"))
        self.cluster.start(1)
        wait_until(lambda: self.cluster.nodes[0].count("another node of cluster vnq is named n1, too") == 1, "it is said")

    def test_embedded_database_refuses_the_setting(self):
        self.cluster.nodes[1].stop()
        ini = os.path.join(self.cluster.app_path(1), "Web/Data/DataBase.ini")
        with open(ini, "w", encoding="utf-8") as settings:
            settings.write("[server_connection]\nDB_TYPE=access\nDataBaseName=\\Web\\Data\\vnq.db\n")
        self.cluster.nodes[1].start()
        self.assertEqual(self.cluster.nodes[1].process.wait(20), 2)
        self.assertIn("names the embedded database, which one server has to itself", self.cluster.nodes[1].said())
        self.assertIn("error: ", self.cluster.ctl(1, "doctor"))


if __name__ == "__main__":
    unittest.main()
