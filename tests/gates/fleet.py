#!/usr/bin/env python3
"""Machines that follow a store: fleet.py BUILD [--machines N]

Starts Debian's etcd on loopback, and lets homes follow it as machines do; then the commands of docs/fleet.md. With
--machines alone: so many homes converge on one change, and time, load of the store and memory are printed. Says so where
etcd isn't installed.
"""
import argparse
import base64
import contextlib
import json
import os
import pathlib
import random
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import urllib.request

from fleet_world import Machine, Store, cpu_seconds, memory_kib, port_document, wait_until

HERE = pathlib.Path(__file__).resolve().parent


def layers_and_changes(store, first, second):
    """Base, group, machine: the later ones win; null is what is fresh; a change arrives within a second."""
    store.put("base", {"records": {"system": {"proxy-port": 8000}, "urlf": None}, "features": {"urlf": True},
                       "lists": {"urls": {"black": ["*base.example/*"]}, "hosts": ["base.example"]}})
    store.put("group/branch", {"records": {"system": {"proxy-port": 8001}, "urlf": {"mode": 2}},
                               "lists": {"urls": {"black": ["*branch.example/*"]}}})
    revision = store.put("machine/first", port_document(8002))
    first.follow("--group", "branch")
    second.follow()
    told = first.is_in("ok", revision)
    second.is_in("ok", revision - 2)
    assert told["groups"] == ["branch"] and told["generation"] and told["failures"] == 0, told
    assert (first.port(), second.port()) == (8002, 8000)
    assert first.run("list", "urls", "black") == "*branch.example/*\n"
    assert second.run("list", "urls", "black") == "*base.example/*\n"
    assert first.run("list", "hosts") == second.run("list", "hosts") == "base.example\n"
    assert [each.run("get", "urlf", "mode") for each in (first, second)] == ["2\n", "0\n"]
    assert '"enabled": true' in first.run("status", "--json")

    begin = time.monotonic()
    store.put("base", port_document(8100))
    wait_until(lambda: second.port() == 8100)
    took = time.monotonic() - begin
    assert first.port() == 8002
    print(f"fleet: a change was there after {1000 * took:.0f} ms")


def bad_documents(store, machine):
    """Each is refused as a whole; the state before stays, and the reason is written back."""
    before = machine.dump()
    for document, words in [
        ("{", "machine/first: not JSON"),
        ({"records": {"system": {"proxy-prot": 1}}}, "proxy-prot"),
        ({"records": {"system": {"proxy-port": 70000}}, "lists": {"hosts": []}}, "system.proxy-port"),
        ({"lists": {"hosts": ["x" * 400]}}, "lists.hosts"),
        ({"format": 2}, "format"),
        ("[" * 50, "not JSON"),
    ]:
        store.put("machine/first", document)
        wait_until(lambda words=words: words in machine.report().get("reason", ""))
        told = machine.is_in("refused")
        assert told["failures"] > 0 and machine.dump() == before, (document, told)
    machine.is_in("ok", store.put("machine/first", port_document(8002)))


def drift(store, machine, build, folder):
    """Put back at once; or left and told, also after a restart and while a new document makes it asked for."""
    machine.run("set", "system", "proxy-port=1")
    wait_until(lambda: machine.port() == 8100)
    wait_until(lambda: machine.report()["put-back"] == 1)
    assert machine.report()["drift"] == ["system.proxy-port"]

    other = Machine(build, store, folder, "other", "--on-drift", "report")
    other.lay_down()
    revision = store.put("machine/other", port_document(8200))
    other.follow().is_in("ok", revision)
    for start in (False, True):
        if start:
            other.end()
            other.follow()
        other.run("set", "system", "proxy-port=2")
        wait_until(lambda: other.report().get("drift") == ["system.proxy-port"])
        other.is_in("drift")
        assert other.port() == 2
    other.is_in("ok", store.put("machine/other", port_document(8201)))
    assert other.port() == 8201
    other.end()


def store_away(store, machine):
    """What it asked for last holds; behind a compaction too it hears of what it has missed."""
    seen = len(machine.events())
    store.stop(signal.SIGKILL)
    wait_until(lambda: "store away" in machine.events()[seen:])
    machine.run("set", "system", "proxy-port=3")
    wait_until(lambda: machine.port() == 8100)
    store.start()
    for port in range(8300, 8310):
        revision = store.put("base", port_document(port))
    store.compact()
    machine.is_in("ok", revision)
    assert machine.port() == 8309

    machine.end()
    revision = store.put("base", port_document(8310))
    store.compact()
    machine.follow().is_in("ok", revision)
    assert machine.port() == 8310


def unconfirmed(store, machine):
    """What the store hears nothing of is undone, and not tried again at once."""
    machine.end()
    machine.follow("--confirm-within", "2s")
    machine.is_in("ok")
    journal = machine.home / "load.json"
    for port in range(8400, 8420):
        before, seen = machine.dump(), len(machine.events())
        store.put("base", port_document(port))
        wait_until(journal.exists, pause=0)
        store.stop(signal.SIGKILL)
        wait_until(lambda: {"confirmed", "undone"} & set(machine.events()[seen:]))
        if "undone" in machine.events()[seen:]:
            break
        store.start()  # it was quicker
        machine.is_in("ok")
    assert machine.dump() == before and not journal.exists()
    store.start()
    told = machine.is_in("undone")
    assert "couldn't be told" in told["reason"], told
    machine.is_in("ok", store.put("base", port_document(8420)))
    assert machine.port() == 8420


def ended_unconfirmed(store, machine):
    """Ended before the store has heard of a change, it leaves somebody behind who undoes it."""
    machine.end()
    machine.follow("--confirm-within", "3s")
    machine.is_in("ok", store.revision)
    journal = machine.home / "load.json"
    for port in range(8430, 8450):
        before, seen = machine.dump(), len(machine.events())
        store.put("base", port_document(port))
        wait_until(journal.exists, pause=0)
        store.stop(signal.SIGKILL)
        wait_until(lambda: {"applied", "store away"} & set(machine.events()[seen:]))
        assert machine.end() == 0
        if journal.exists():
            break
        store.start()  # it was quicker
        machine.follow("--confirm-within", "3s").is_in("ok", store.revision)
    wait_until(lambda: not journal.exists())
    assert machine.dump() == before
    store.start()
    machine.follow().is_in("ok", store.revision)


def others_load(store, machine, folder):
    """A load of what nobody asks for is neither confirmed nor hindered."""
    document = folder / "other.json"
    document.write_text(json.dumps({"lists": {"spyware": ["Else"]}}))
    machine.run("load", str(document), "--confirm-within", "2s")
    assert machine.run("list", "spyware") == "Else\n"
    store.put("base", port_document(machine.port()))
    wait_until(lambda: not (machine.home / "load.json").exists())
    assert machine.run("list", "spyware") == ""
    machine.is_in("ok", store.revision)


def replaced_store(build, folder):
    """One that was laid down anew, and counts from 1 again, is another one."""
    (folder / "new").mkdir()
    store = Store(folder / "new")
    machine = Machine(build, store, folder, "third")
    machine.lay_down()
    machine.follow().is_in("ok", store.put("base", port_document(9100)))
    store.stop(signal.SIGKILL)
    shutil.rmtree(folder / "new" / "etcd")
    store.start()
    revision = store.put("base", port_document(9101))
    wait_until(lambda: machine.port() == 9101)
    machine.is_in("ok", revision)
    store.call("kv/deleterange", {"key": store.key("base")})
    machine.is_in("nothing asked", 0)
    assert "third" in machine.run("fleet", "status", store.address)
    assert machine.port() == 9101 and machine.end() == 0
    store.stop(signal.SIGKILL)


def killed(store, machine):
    """SIGKILL at any step of an application: the state is the old one or the new one, and the next start makes it the new."""
    long_list = [f"*{i}.example/*" for i in range(400)]
    journal = machine.home / "load.json"
    steps = {}
    for i in range(100):
        machine.end()
        old = machine.dump()
        revision = store.put("base", port_document(8500 + i, urls={"black": long_list[: 300 + i % 2]},
                                                   hosts=[f"{i}.example"]))
        machine.follow()
        wait_until(journal.exists, pause=0)
        time.sleep(random.uniform(0, 0.05 * (1 + i / 10)))  # longer each time: it may be a slow machine
        machine.end(signal.SIGKILL)
        step = "confirmed"
        with contextlib.suppress(FileNotFoundError):
            step = "unconfirmed" if json.loads(journal.read_text())["due"] else "half way"
        steps[step] = steps.get(step, 0) + 1
        found = machine.dump()  # undoes what was cut off
        assert found == old if step == "half way" else found["records"]["system"]["proxy-port"] == 8500 + i, (step, i)
        machine.follow().is_in("ok", revision)
        wait_until(lambda: not journal.exists())
        if len(steps) == 3 and i >= 8:
            break
    assert len(steps) == 3, f"not killed at each step: {steps}"
    print(f"fleet: killed {sum(steps.values())} times: {steps}")
    machine.is_in("ok", store.put("base", port_document(8600, urls={"black": [], "white": []}, hosts=[])))


def table(store, first, second):
    """fleet status: each machine's row, also of one that is silent."""
    wait_until(lambda: store.get("status/other") is None)
    for each in (first, second):
        each.is_in("ok", store.revision)
    rows = {row["machine"]: row for row in json.loads(second.run("fleet", "status", store.address, "--json", status=1))}
    assert (rows["first"]["state"], rows["second"]["state"], rows["other"]["state"]) == ("ok", "ok", "silent"), rows
    assert rows["first"]["revision"] == rows["first"]["asked"] > 0 and rows["first"]["age"] >= 0, rows
    store.call("kv/deleterange", {"key": store.key("machine/other")})
    assert "first" in second.run("fleet", "status", store.address)
    second.run("follow", store.address, *second.options, status=3)  # one runs in a home
    second.end(signal.SIGKILL)
    wait_until(lambda: store.get("status/second") is None)
    second.follow()
    second.is_in("ok")
    moved = second.home.rename(second.home.with_name("moved"))
    second.home.mkdir()
    second.run("init", "--install", str(second.home / "wardlet"))
    assert second.process.wait(20) == 3
    shutil.rmtree(second.home)
    moved.rename(second.home)
    port = second.port()
    second.run("set", "system", f"proxy-port={port + 1}")
    second.follow()
    wait_until(lambda: second.port() == port)
    for each in (first, second):
        assert memory_kib(each.process.pid) < 20 * 1024, memory_kib(each.process.pid)
    print(f"fleet: a follower has {memory_kib(first.process.pid) / 1024:.1f} MiB,"
          f" {memory_kib(first.process.pid, 'Pss') / 1024:.1f} of its own share")


def documents_commands(build, store, folder):
    store.call("kv/deleterange", {"key": store.key(""), "range_end": store.key("~")})
    environment = {**os.environ, "ETCDCTL_API": "3", "ETCDCTL_ENDPOINTS": f"http://{store.client}", "STORE": store.address,
                   "TMPDIR": str(folder)}
    subprocess.run([HERE / "operating.sh", build, "docs/fleet.md", "10"], env=environment, check=True)


def converge(build, store, folder, count):
    machines = [Machine(build, store, folder, f"m{i}", lease="6s") for i in range(count)]
    for each in machines:
        each.lay_down()
    black = [f"*site{i}.example/*" for i in range(500)]
    revision = store.put("base", port_document(9000, urls={"black": black}))
    for each in machines:
        each.follow()

    def requests():
        with urllib.request.urlopen(f"http://{store.client}/metrics") as answer:
            lines = answer.read().decode().splitlines()
        return sum(float(line.split()[-1]) for line in lines if line.startswith("grpc_server_started_total"))

    def told(revision):
        assert all(each.process.poll() is None for each in machines), "a follower has ended"
        found = store.call("kv/range", {"key": store.key("status/"), "range_end": store.key("status0")}).get("kvs", [])
        reports = [json.loads(base64.b64decode(each["value"])) for each in found]
        return [each for each in reports if each["state"] == "ok" and each["applied"] == revision]

    wait_until(lambda: len(told(revision)) == count, 600, 0.2)
    pid = store.process.pid
    time.sleep(1)
    asked, worked = requests(), cpu_seconds(pid)
    time.sleep(min(count / 20, 8))
    renewals, worked = requests() - asked, cpu_seconds(pid) - worked
    if renewals:
        print(f"fleet: {count} homes at rest: {renewals:.0f} renewals of leases, {1000 * worked / renewals:.2f} ms each")
    asked, worked = requests(), cpu_seconds(pid)
    work_before = sum(cpu_seconds(each.process.pid) for each in machines)
    begin = time.monotonic()
    revision = store.put("base", port_document(9001, urls={"black": black[1:]}))
    wait_until(lambda: told(revision), 60, 0.005)
    first = time.monotonic() - begin
    wait_until(lambda: len(told(revision)) == count, 600, 0.05)
    took = time.monotonic() - begin
    time.sleep(0.5)
    asked, worked = requests() - asked, cpu_seconds(pid) - worked
    work = sum(cpu_seconds(each.process.pid) for each in machines) - work_before
    memory = sorted(memory_kib(each.process.pid) for each in machines)
    share = sum(memory_kib(each.process.pid, "Pss") for each in machines)
    print(f"fleet: {count} homes on one machine: the first after {1000 * first:.0f} ms, all after {took:.2f} s;"
          f" a follower worked {1000 * work / count:.0f} ms and has {memory[-1] / 1024:.1f} MiB at most,"
          f" {share / count / 1024:.1f} of its own share;"
          f" the store got {asked / count:.1f} requests a machine, worked {1000 * worked / count:.1f} ms for each,"
          f" and has {memory_kib(pid) / 1024:.0f} MiB")
    for each in machines:
        assert each.end() == 0


def main():
    arguments = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    arguments.add_argument("build", type=pathlib.Path)
    arguments.add_argument("--machines", type=int)
    given = arguments.parse_args()
    if not shutil.which("etcd") or not shutil.which("etcdctl"):
        print("fleet: skipped, etcd isn't installed: setup.sh all")
        return
    build = given.build.resolve()
    random.seed(int(os.environ.get("WDLT_SEED", "1")))
    with tempfile.TemporaryDirectory() as name, contextlib.ExitStack() as ends:
        folder = pathlib.Path(name)
        store = Store(folder)
        ends.callback(lambda: store.process.poll() is None and store.stop(signal.SIGKILL))
        machines = []
        follow = Machine.follow

        def followed(machine, *options):
            machines.append(machine)
            return follow(machine, *options)
        Machine.follow = followed
        ends.callback(lambda: [each.process.kill() for each in machines if each.process.poll() is None])
        try:
            if given.machines:
                return converge(build, store, folder, given.machines)
            first, second = (Machine(build, store, folder, each) for each in ("first", "second"))
            for each in (first, second):
                each.lay_down()
            layers_and_changes(store, first, second)
            bad_documents(store, first)
            drift(store, second, build, folder)
            store_away(store, second)
            unconfirmed(store, second)
            ended_unconfirmed(store, second)
            others_load(store, second, folder)
            replaced_store(build, folder)
            killed(store, second)
            table(store, first, second)
            ended = [each.end() for each in (first, second)]
            assert ended == [0, 0], ended
            documents_commands(build, store, folder)
            converge(build, store, folder, 8)
        except BaseException:
            for log in folder.glob("*.log"):
                print(f"--- {log.name}\n{log.read_text()[-3000:]}", file=sys.stderr)
            raise


if __name__ == "__main__":
    main()
