"""Real nodes, a real NATS server and a PostgreSQL database, for tests of what happens when one of them fails.

Everything runs on loopback addresses of its own. The PostgreSQL server is the one of scripts/with_postgres.sh, whose
address stands in VNQ_TEST_POSTGRES."""
import base64
import contextlib
import glob
import os
import random
import shutil
import signal
import socket
import subprocess
import tempfile
import time

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
BUILD = os.path.abspath(os.environ.get("VNQ_BUILD", os.path.join(ROOT, "build/release")))
PATIENCE_S = 20
CLIENT_PORT = 6004


def wait_until(condition, what, seconds=PATIENCE_S):
    deadline = time.monotonic() + seconds
    while time.monotonic() < deadline:
        if condition():
            return
        time.sleep(0.02)
    raise AssertionError(f"{what}: not within {seconds} s")


class Program:
    """A program in the background, with what it says in a file."""

    def __init__(self, folder, name, command):
        self.log = os.path.join(folder, name + ".log")
        self.command = command
        self.process = None

    def start(self):
        with open(self.log, "ab") as log:
            self.process = subprocess.Popen(self.command, stdin=subprocess.DEVNULL, stdout=log, stderr=log)

    def said(self):
        with open(self.log, encoding="utf-8", errors="replace") as log:
            return log.read()

    def count(self, words):
        return self.said().count(words)

    def freeze(self):
        self.process.send_signal(signal.SIGSTOP)

    def thaw(self):
        self.process.send_signal(signal.SIGCONT)

    def kill(self):
        if self.process is not None and self.process.poll() is None:
            self.process.kill()
        if self.process is not None:
            self.process.wait()

    def stop(self):
        self.process.terminate()
        return self.process.wait(PATIENCE_S)


class Postgres(Program):
    """A database server of a test's own, which it may stop."""

    PORT = "5432"

    def __init__(self, folder, address):
        programs = sorted(glob.glob("/usr/lib/postgresql/*/bin"))[-1]
        data = os.path.join(folder, "postgres")
        os.makedirs(data)
        as_user = []
        if os.geteuid() == 0:  # which the server refuses to be
            os.chmod(folder, 0o755)
            shutil.chown(data, "postgres", "postgres")
            as_user = ["setpriv", "--reuid=postgres", "--regid=postgres", "--init-groups"]
        subprocess.run([*as_user, f"{programs}/initdb", "-D", f"{data}/db", "-U", "vnq", "-A", "trust", "-E", "UTF8",
                        "--locale=C.UTF-8", "--no-sync"], check=True, stdout=subprocess.DEVNULL, cwd=data)
        super().__init__(folder, "database", [
            *as_user, f"{programs}/postgres", "-D", f"{data}/db", "-h", address, "-p", self.PORT, "-k", data,
            "-c", "fsync=off", "-c", "max_connections=200", "-c", "shared_buffers=64MB"])
        self.address = address
        self.ready = [f"{programs}/pg_isready", "-q", "-h", address, "-p", self.PORT]

    def start(self):
        super().start()
        wait_until(lambda: subprocess.run(self.ready, check=False).returncode == 0, "the database answers")

    def end(self, number):
        """SIGINT ends all sessions in order, SIGQUIT as a crash does."""
        self.process.send_signal(number)
        self.process.wait(PATIENCE_S)


class Client:
    """A client's connection to the main port of a node."""

    def __init__(self, address):
        self.socket = socket.create_connection((address, CLIENT_PORT), PATIENCE_S)
        self.wire, self.text = b"", ""
        self.closed = False
        self.expect(".+SuccessfulConnection|#")

    def send(self, record):
        self.socket.sendall(base64.b64encode(record.encode("ascii")))

    def read(self, seconds=0.0):
        """All that has come since the connection began, behind a wait for more of so many seconds."""
        self.socket.settimeout(max(seconds, 0.001))
        with contextlib.suppress(TimeoutError, ConnectionError):
            piece = self.socket.recv(1 << 16)
            self.closed = self.closed or not piece
            self.wire += piece
        whole = len(self.wire) // 4 * 4
        for i in range(0, whole, 4):
            self.text += base64.b64decode(self.wire[i:i + 4]).decode("latin-1")
        self.wire = self.wire[whole:]
        return self.text

    def expect(self, words, seconds=PATIENCE_S):
        deadline = time.monotonic() + seconds
        while words not in self.read(0.05) and not self.closed and time.monotonic() < deadline:
            pass
        if words not in self.text:
            raise AssertionError(f"{words} has not come; what has: {self.text[-500:]}")

    def log_in(self, user):
        self.send(f".+landing|name{user}|pw{user}|10.0.0.1|mac|maker|0|#")
        self.expect(".+landing_successful|")
        self.send(f".+successful_online|{user}|1|#")
        self.expect(".+SynchronousSuccessfully|#")
        return self

    def close(self):
        self.socket.close()


class Cluster:
    """`nodes` servers on one database, and their bus; users 1 to `users`. With a database server of its own, or on
    the run's."""

    def __init__(self, nodes, users, has_own_database=False):
        self.folder = tempfile.mkdtemp(prefix="vnq_nodes_")
        self.stack = contextlib.ExitStack()
        self.stack.callback(shutil.rmtree, self.folder, True)
        self.database_server = None
        try:
            self.make(nodes, users, has_own_database)
        except BaseException:
            self.close()
            raise

    def make(self, nodes, users, has_own_database):
        net = f"127.{random.randint(10, 250)}.{random.randint(1, 250)}."
        if has_own_database:
            self.database_server = Postgres(self.folder, net + "251")
            self.stack.callback(self.database_server.kill)
            self.database_server.start()
            self.host, self.port = net + "251", Postgres.PORT
        else:
            self.host, self.port = os.environ["VNQ_TEST_POSTGRES"].split(":")
        self.database = f"nodes_{os.getpid()}_{random.randint(0, 10 ** 6)}"
        self.sql(f"create database {self.database}", "postgres")
        if not has_own_database:
            self.stack.callback(self.sql, f"drop database {self.database} with (force)", "postgres")
        self.bus_url = f"nats://{net}250:4222"
        self.bus = Program(self.folder, "bus", ["nats-server", "-a", net + "250", "-p", "4222"])
        self.addresses = [f"{net}{number + 1}" for number in range(nodes)]
        self.nodes = [Program(self.folder, f"node{number + 1}", [
            f"{BUILD}/bin/vnq_main_service", "--app-path", self.app_path(number), "--bind", address])
            for number, address in enumerate(self.addresses)]
        for number in range(nodes):
            self.make_folder(number)
        for user in range(1, users + 1):
            self.sql("insert into Users_ID(UserID,UserName,UserPaws,FcName,UserState,IsVerify,UserIcoLine) "
                     f"values('{user}','name{user}','pw{user}','Name {user}',1,0,0)")
        self.start_bus()
        for number in range(nodes):
            self.start(number)
        self.wait_for_nodes()

    def app_path(self, number):
        return os.path.join(self.folder, f"n{number + 1}")

    def make_folder(self, number):
        path = self.app_path(number)
        os.makedirs(os.path.join(path, "Web/Data"))
        with open(os.path.join(path, "platform.ini"), "w", encoding="utf-8") as ini:
            ini.write("[locale]\nlanguage_id=1033\ncode_page=936\n[database]\ndriver=postgresql\n"
                      f"[nodes]\nbus={self.bus_url}\nname=n{number + 1}\n")
        with open(os.path.join(path, "Web/Data/DataBase.ini"), "w", encoding="utf-8") as ini:
            ini.write(f"[server_connection]\nDB_TYPE=postgresql\nDB_SERVER={self.host}\nDB_PORT={self.port}\n"
                      f"DB_NAME={self.database}\nDB_USER=vnq\nDB_PWD=\n[message_push]\ninterval_time=0\n")
        self.ctl(number, "init")

    def ctl(self, number, *words):
        """What vnqctl says of a node's folder."""
        run = subprocess.run([f"{BUILD}/bin/vnqctl", *words, "--app-path", self.app_path(number)], text=True,
                             stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=60)
        return run.stdout

    def sql(self, statement, database=None):
        """The rows of a statement, columns joined by '|'."""
        run = subprocess.run(["psql", "-X", "-h", self.host, "-p", self.port, "-U", "vnq", "-d",
                              database or self.database, "-At", "-c", statement], text=True, check=True,
                             stdout=subprocess.PIPE)
        return run.stdout.splitlines()

    def start_bus(self):
        self.bus.start()
        self.stack.callback(self.bus.kill)

    def start(self, number):
        node = self.nodes[number]
        ready = node.count("ready on") if os.path.exists(node.log) else 0
        node.start()
        self.stack.callback(node.kill)
        wait_until(lambda: node.count("ready on") > ready, f"node {number + 1} is ready")

    def others_of(self, number):
        """The nodes that a node knows of, by its status."""
        lines = [line for line in self.ctl(number, "status").splitlines() if line.startswith("node ")]
        return lines[0].split("others: ")[1] if lines else "none"

    def wait_for_nodes(self):
        for number in range(len(self.nodes)):
            wait_until(lambda: self.others_of(number).count(" tags)") == len(self.nodes) - 1, "all nodes are known")

    def wait_until_known(self, number, user):
        """Until node `number` knows that the user is connected elsewhere."""
        wait_until(lambda: any(line.split()[1] == str(user) and " node " in line
                               for line in self.ctl(number, "who").splitlines()), f"user {user} is known")

    def client(self, number, user):
        """A client that is connected to a node until the cluster ends."""
        client = Client(self.addresses[number])
        self.stack.callback(client.close)
        return client.log_in(user)

    def close(self):
        self.stack.close()
