#!/usr/bin/env python3
"""Measures nodes that share a database: what a message costs and which process is busy with it, how many a second one,
two and three nodes carry, and what the directory of who is where takes.

    bench/nodes.py [--build FOLDER] [--seconds N] [--clients N] [messages|directory]...

PostgreSQL, NATS and the nodes run on loopback addresses of this machine, beside the load itself. The database does not
sync (fsync=off), so that the disk is not what is measured."""
import argparse
import json
import os
import resource
import subprocess
import sys
import time

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
sys.path.insert(0, os.path.join(ROOT, "tests/nodes"))
import cluster as nodes  # noqa: E402


def bench(*words):
    run = subprocess.run([f"{nodes.BUILD}/bin/vnq_bench", *map(str, words)], stdout=subprocess.PIPE, text=True,
                         check=False)
    if not run.stdout.startswith("{"):
        raise SystemExit(f"vnq_bench {' '.join(map(str, words))}: {run.stdout}")
    return json.loads(run.stdout)


def made(count, users):
    cluster = nodes.Cluster(nodes=count, users=0, has_own_database=True)
    subprocess.run([f"{nodes.BUILD}/bin/vnq_bench", "prepare", "--app-path", cluster.app_path(0), "--users", str(users),
                    "--groups", "100"], check=True, stdout=subprocess.DEVNULL)
    return cluster


def where(cluster, count):
    return ["--servers", ",".join(cluster.addresses[:count]),
            "--pid", ",".join(str(node.process.pid) for node in cluster.nodes[:count]),
            "--used-by", f"bus={cluster.bus.process.pid}",
            "--used-by", f"database={cluster.database_server.process.pid}", "--quiet", "--json"]


def row(title, result):
    each = result["operations"]
    server, used = result["server"]["cpu_us"], result["used_by"]
    total = (server + sum(used.values()) + result["own_cpu_us"]) / result["settled_seconds"] / 1e4
    delivery = result["latencies"][1]
    print(f"| {title} | {each / result['seconds']:.0f} | {server / each:.0f} | {used['bus'] / each:.0f} | "
          f"{used['database'] / each:.0f} | {result['own_cpu_us'] / each:.0f} | {total:.0f} % | "
          f"{delivery['p50_ms']:.1f} / {delivery['p99_ms']:.1f} | {'passed' if result['passed'] else 'FAILED'} |",
          flush=True)


def messages(options):
    print("| | messages a second | nodes, us CPU each | bus | database | load | of one core, all | delivery without the "
          "tick, p50 / p99, ms | checks |\n|---|--:|--:|--:|--:|--:|--:|--:|---|")
    for count in (1, 2, 3):
        cluster = made(count, 400)
        try:
            peer = ["peer", "--pairs", 60, "--seconds", options.seconds, *where(cluster, count)]
            ways = [("each pair on one", [])] + ([("each pair on two", ["--across"])] if count > 1 else [])
            for name, words in ways:
                title = f"{count} node{'s' if count > 1 else ''}, {name}"
                row(f"{title}, 200 a second asked for", bench(*peer, *words, "--rate", 200))
                row(f"{title}, as many as go", bench(*peer, *words, "--window", 100))
        finally:
            cluster.close()


def resident_kb(process):
    with open(f"/proc/{process.pid}/status", encoding="ascii") as status:
        return next(int(line.split()[1]) for line in status if line.startswith("VmRSS:"))


def directory(options):
    cluster = made(3, options.clients)
    try:
        before = [resident_kb(node.process) for node in cluster.nodes]
        each = options.clients // 3
        begin = time.monotonic()
        loads = [subprocess.Popen([f"{nodes.BUILD}/bin/vnq_bench", "idle", "--online", "--clients", str(each),
                                   "--first-account", str(1 + number * each), "--servers", address, "--seconds",
                                   "80000", "--quiet"], stdout=subprocess.DEVNULL)
                 for number, address in enumerate(cluster.addresses)]
        nodes.wait_until(lambda: cluster.others_of(0).count(f"({each} tags)") == 2, "all are online", 1800)
        print(f"{options.clients} log-ins on three nodes: {time.monotonic() - begin:.1f} s")
        full = [resident_kb(node.process) for node in cluster.nodes]
        print("memory of the nodes, KB, before and with them:",
              ", ".join(f"{a} {b}" for a, b in zip(before, full)))
        cluster.nodes[2].kill()
        begin = time.monotonic()
        cluster.start(2)
        ready = time.monotonic() - begin
        nodes.wait_until(lambda: cluster.others_of(2).count(f"({each} tags)") == 2, "the directory is there", 60)
        print(f"a node that joins: ready after {ready * 1000:.0f} ms, with {2 * each} tags of the others after "
              f"{(time.monotonic() - begin) * 1000:.0f} ms")
        joined = resident_kb(cluster.nodes[2].process)
        print(f"memory of a node that has no connection, and the tags of the others: {joined} KB")
        for load in loads:
            load.kill()
            load.wait()
    finally:
        cluster.close()


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--build", default="", help="folder of the build; as VNQ_BUILD")
    parser.add_argument("--seconds", type=float, default=10, help="of each measurement of messages")
    parser.add_argument("--clients", type=int, default=30000, help="connections for the directory")
    parser.add_argument("what", nargs="*", default=["messages", "directory"])
    options = parser.parse_args()
    if options.build:
        nodes.BUILD = os.path.abspath(options.build)
    hard = resource.getrlimit(resource.RLIMIT_NOFILE)[1]
    resource.setrlimit(resource.RLIMIT_NOFILE, (hard, hard))
    for what in options.what:
        {"messages": messages, "directory": directory}[what](options)


if __name__ == "__main__":
    main()
