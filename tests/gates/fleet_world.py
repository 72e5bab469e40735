"""A store and machines that follow it, for fleet.py."""
import base64
import json
import os
import pathlib
import signal
import socket
import subprocess
import time
import urllib.error
import urllib.request

PREFIX = "/wardlet"


def wait_until(what, seconds=20.0, pause=0.01):
    """Returns what `what` returns once that is true."""
    end = time.monotonic() + seconds
    while not (found := what()):
        assert time.monotonic() < end, f"in vain: {what.__doc__ or what.__name__}"
        time.sleep(pause)
    return found


def free_port():
    with socket.socket() as taken:
        taken.bind(("127.0.0.1", 0))
        return taken.getsockname()[1]


def cpu_seconds(pid):
    fields = pathlib.Path(f"/proc/{pid}/stat").read_text().rsplit(")", 1)[1].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


def memory_kib(pid, what="Rss"):
    lines = pathlib.Path(f"/proc/{pid}/smaps_rollup").read_text().splitlines()
    return next(int(line.split()[1]) for line in lines if line.startswith(what + ":"))


class Store:
    def __init__(self, folder):
        self.folder = folder
        self.client, self.peer = (f"127.0.0.1:{free_port()}" for _ in range(2))
        self.address = f"etcd://{self.client}{PREFIX}"
        self.start()

    def start(self):
        peer = f"http://{self.peer}"
        self.process = subprocess.Popen(
            ["etcd", "--data-dir", self.folder / "etcd", "--listen-client-urls", f"http://{self.client}",
             "--advertise-client-urls", f"http://{self.client}", "--listen-peer-urls", peer, "--log-level", "error",
             "--initial-advertise-peer-urls", peer, "--initial-cluster", f"default={peer}", "--logger", "zap"],
            stdout=subprocess.DEVNULL, stderr=(self.folder / "etcd.log").open("a"))
        wait_until(self.answers)

    def answers(self):
        """the store answers"""
        try:
            return "error" not in self.call("maintenance/status", {})
        except (urllib.error.URLError, ConnectionError):
            return False

    def stop(self, how=signal.SIGTERM):
        self.process.send_signal(how)
        self.process.wait()

    def call(self, what, request):
        body = json.dumps(request).encode()
        with urllib.request.urlopen(f"http://{self.client}/v3/{what}", body, 10) as answer:
            return json.load(answer)

    def key(self, name):
        return base64.b64encode(f"{PREFIX}/{name}".encode()).decode()

    def put(self, name, document):
        text = document if isinstance(document, str) else json.dumps(document)
        answer = self.call("kv/put", {"key": self.key(name), "value": base64.b64encode(text.encode()).decode()})
        self.revision = int(answer["header"]["revision"])
        return self.revision

    def get(self, name):
        found = self.call("kv/range", {"key": self.key(name)}).get("kvs")
        return json.loads(base64.b64decode(found[0]["value"])) if found else None

    def compact(self):
        revision = self.call("kv/range", {"key": self.key("base")})["header"]["revision"]
        self.call("kv/compaction", {"revision": revision, "physical": True})


class Machine:
    def __init__(self, build, store, folder, name, *options, lease="5s"):
        self.wdltctl, self.store, self.name = str(build / "bin/wdltctl"), store, name
        self.options = ["--machine", name, "--lease", lease, *options]
        self.home = folder / name
        self.log = folder / f"{name}.log"
        self.environment = {**os.environ, "WARDLET_HOME": str(self.home)}
        self.process = None

    def lay_down(self):
        self.run("init", "--install", str(self.home / "wardlet"))

    def run(self, *words, status=0):
        done = subprocess.run([self.wdltctl, *words], env=self.environment, capture_output=True, text=True, check=False)
        assert done.returncode == status, (words, done.returncode, done.stdout, done.stderr)
        return done.stdout

    def follow(self, *options):
        self.process = subprocess.Popen(
            [self.wdltctl, "follow", self.store.address, *self.options, *options, "--json"], env=self.environment,
            stdout=self.log.open("a"), stderr=subprocess.STDOUT)
        return self

    def end(self, how=signal.SIGTERM):
        self.process.send_signal(how)
        return self.process.wait()

    def report(self):
        return self.store.get(f"status/{self.name}") or {"state": "silent", "applied": 0}

    def is_in(self, state, revision=None):
        def stands():
            told = self.report()
            return told["state"] == state and (revision is None or told["applied"] == revision) and told
        stands.__doc__ = f"{self.name} {state} at {revision}; it is {self.report()}"
        return wait_until(stands)

    def events(self):
        lines = self.log.read_text().splitlines()
        return [json.loads(line)["event"] for line in lines if line.startswith('{"time"')]

    def port(self):
        return int(self.run("get", "system", "proxy-port"))

    def dump(self):
        document = json.loads(self.run("dump"))
        del document["generation"]
        return document


def port_document(port, **lists):
    return {"records": {"system": {"proxy-port": port}}, "lists": lists}
