"""Three nodes under load while one of them, the bus or the database fails again and again.

Nothing that was acknowledged may be missing from the table or be there twice, nothing may come twice to one session
unless it was sent twice, and clients that connect anew go on. VNQ_NODE_ROUNDS sets how often each fails."""
import os
import re
import signal
import sys
import threading
import time
import unittest

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from cluster import Client, Cluster, wait_until  # noqa: E402

ROUNDS = int(os.environ.get("VNQ_NODE_ROUNDS", "3"))
USERS = 6
BETWEEN_MESSAGES_S = 0.05


def number_of(message):
    return int(message.partition("N")[2])


class Talker(threading.Thread):
    """A person who writes to the next one all the time, and connects to another node when the connection ends. What
    was not acknowledged is then sent again, as clients do."""

    def __init__(self, cluster, user, ended):
        super().__init__(daemon=True)
        self.cluster, self.user, self.ended = cluster, user, ended
        self.peer = user % USERS + 1
        self.node, self.sent = user, 0
        self.acknowledged, self.unanswered, self.again = set(), [], set()
        self.twice, self.received, self.sessions = [], 0, 0

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
            for message in self.unanswered:
                self.again.add(message)
                self.send(client, message)
            self.talk(client)
        finally:
            self.note(client.text)
            client.close()

    def send(self, client, message):
        client.send(f".+message|{self.peer}|{self.user}|text|font|{message}|1|#")

    def talk(self, client):
        last = time.monotonic()
        while not self.ended.is_set():
            self.sent += 1
            message = f"U{self.user}N{self.sent}"
            self.unanswered.append(message)
            self.send(client, message)
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
        self.unanswered = [message for message in self.unanswered if message not in self.acknowledged]
        delivered = re.findall(r"\.\+message\|\d+\|[^|]*\|[^|]*\|text\|font\|(\w+)\|11\|", text)
        self.received += len(delivered)
        self.twice += [each for each in set(delivered) if delivered.count(each) > 1]


class Failures(unittest.TestCase):
    def setUp(self):
        self.cluster = Cluster(nodes=3, users=USERS, has_own_database="database" in self.id())
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
        behind_all = [talker.sent for talker in talkers]
        time.sleep(5)
        ended.set()
        for talker in talkers:
            talker.join(30)
        self.check(talkers, behind_all)

    def check(self, talkers, behind_all):
        stored = set(self.cluster.sql("select Msg_ID from Messeng_Text"))
        copies = self.cluster.sql("select Msg_ID from Messeng_Text group by Msg_ID having count(*)>1")
        acknowledged = set().union(*(talker.acknowledged for talker in talkers))
        again = set().union(*(talker.again for talker in talkers))
        twice = [message for talker in talkers for message in talker.twice if message not in again]
        print(f"\n{self.id().rpartition('.')[2]}: {ROUNDS} rounds, {sum(talker.sent for talker in talkers)} sent, "
              f"{len(again)} of them again, {len(acknowledged)} acknowledged, {len(acknowledged - stored)} of them "
              f"lost, {len(copies)} stored twice, {sum(talker.received for talker in talkers)} delivered at once, "
              f"{len(twice)} of them twice, {sum(talker.sessions for talker in talkers)} sessions", file=sys.stderr)
        self.assertEqual(acknowledged - stored, set())
        self.assertEqual(copies, [])
        self.assertEqual(twice, [])
        for talker, before in zip(talkers, behind_all):
            self.assertGreater(max(map(number_of, talker.acknowledged)), before, f"user {talker.user} goes on")
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
            node = self.cluster.nodes[number % 3]
            node.freeze()
            time.sleep(20)
            node.thaw()
            name, other = f"n{number % 3 + 1} (", (number + 1) % 3
            wait_until(lambda: name in self.cluster.others_of(other), "the node is there again")
        self.under_load(fail)

    def test_database_restarted_in_order_and_after_a_crash(self):
        def fail(number):
            self.cluster.database_server.end((signal.SIGINT, signal.SIGQUIT)[number % 2])
            time.sleep(1)
            self.cluster.database_server.start()
        self.under_load(fail)


if __name__ == "__main__":
    unittest.main()
