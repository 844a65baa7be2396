"""Three nodes under load while one of them, the bus or the database fails again and again.

Nothing that was acknowledged may be missing from the table, nothing may come twice to one session, and clients that
connect anew go on. VNQ_NODE_ROUNDS sets how often each fails."""
import os
import re
import sys
import threading
import time
import unittest

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from cluster import Client, Cluster, wait_until  # noqa: E402

ROUNDS = int(os.environ.get("VNQ_NODE_ROUNDS", "3"))
USERS = 6
BETWEEN_MESSAGES_S = 0.05


class Talker(threading.Thread):
    """A person who writes to the next one all the time, and connects to another node when the connection ends."""

    def __init__(self, cluster, user, ended):
        super().__init__(daemon=True)
        self.cluster, self.user, self.ended = cluster, user, ended
        self.peer = user % USERS + 1
        self.node, self.sent = user, 0
        self.acknowledged, self.twice, self.received, self.sessions = set(), [], 0, 0

    def run(self):
        while not self.ended.is_set():
            try:
                self.session()
            except (OSError, AssertionError):
                self.node += 1
                time.sleep(0.2)

    def session(self):
        address = self.cluster.addresses[self.node % len(self.cluster.addresses)]
        client = Client(address)
        try:
            client.log_in(self.user)
            self.sessions += 1
            self.talk(client)
        finally:
            self.note(client.text)
            client.close()

    def talk(self, client):
        last = time.monotonic()
        while not self.ended.is_set():
            self.sent += 1
            client.send(f".+message|{self.peer}|{self.user}|text|font|U{self.user}N{self.sent}|1|#")
            before = len(client.text)
            client.read(BETWEEN_MESSAGES_S)
            if len(client.text) > before:
                last = time.monotonic()
            if client.closed or time.monotonic() - last > 4:
                raise OSError("the node has gone")
        time.sleep(2.5)  # over two ticks of receipts
        client.read(0.5)

    def note(self, text):
        self.acknowledged.update(re.findall(r"\.\+reply\|1\|\d+\|(\w+)\|#", text))
        delivered = re.findall(r"\.\+message\|\d+\|[^|]*\|[^|]*\|text\|font\|(\w+)\|11\|", text)
        self.received += len(delivered)
        self.twice += [each for each in set(delivered) if delivered.count(each) > 1]


class Failures(unittest.TestCase):
    def setUp(self):
        self.cluster = Cluster(nodes=3, users=USERS)
        self.addCleanup(self.cluster.close)

    def under_load(self, fail):
        ended = threading.Event()
        talkers = [Talker(self.cluster, user, ended) for user in range(1, USERS + 1)]
        for talker in talkers:
            talker.start()
        time.sleep(2)
        for each in range(ROUNDS):
            fail(each)
            time.sleep(2)
        ended.set()
        for talker in talkers:
            talker.join(30)
        self.check(talkers)

    def check(self, talkers):
        stored = set(self.cluster.sql("select Msg_ID from Messeng_Text"))
        copies = self.cluster.sql("select Msg_ID from Messeng_Text group by Msg_ID having count(*)>1")
        acknowledged = set().union(*(talker.acknowledged for talker in talkers))
        sent = sum(talker.sent for talker in talkers)
        print(f"\n{self.id().rpartition('.')[2]}: {ROUNDS} rounds, {sent} sent, {len(acknowledged)} acknowledged, "
              f"{sum(talker.received for talker in talkers)} delivered at once, "
              f"{sum(talker.sessions for talker in talkers)} sessions", file=sys.stderr)
        self.assertEqual(acknowledged - stored, set())
        self.assertEqual(copies, [])
        self.assertEqual([talker.twice for talker in talkers], [[]] * USERS)
        for talker in talkers:
            self.assertGreater(len(talker.acknowledged), 20)
        self.assertGreater(sum(talker.received for talker in talkers), 100)

    def test_node_killed_again_and_again(self):
        def fail(number):
            node = number % 3
            self.cluster.nodes[node].kill()
            time.sleep(1)
            self.cluster.start(node)
        self.under_load(fail)

    def test_bus_stopped_and_frozen(self):
        def fail(number):
            if number % 2 == 0:
                self.cluster.bus.kill()
                time.sleep(2)
                self.cluster.start_bus()
            else:
                self.cluster.bus.freeze()
                time.sleep(5)
                self.cluster.bus.thaw()
        self.under_load(fail)
        self.cluster.wait_for_nodes()

    def test_node_frozen_for_twenty_seconds(self):
        def fail(number):
            if number > 0:
                return
            self.cluster.nodes[1].freeze()
            time.sleep(20)
            self.cluster.nodes[1].thaw()
            wait_until(lambda: "n2 (" in self.cluster.others_of(0), "the node is there again")
        self.under_load(fail)


if __name__ == "__main__":
    unittest.main()
