"""The shipped programs as nodes: what crosses, and what is left when the bus or a node fails."""
import os
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
