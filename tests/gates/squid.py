#!/usr/bin/env python3
"""The helper as a proxy's users meet it: squid.py BUILD [--bench]

Starts Squid on loopback with the example's configuration, in a scratch folder, and an origin server of its own; says so
and passes where Squid or curl isn't installed. --bench prints how fast requests are, beside lists of Squid's own.
"""
import http.client
import http.server
import os
import random
import re
import shutil
import signal
import statistics
import string
import subprocess
import sys
import tempfile
import threading
import time
from pathlib import Path

SOURCE = Path(__file__).resolve().parents[2]
EXAMPLE = SOURCE / "examples/squid/squid.conf"
SITE = "site.example"  # answered by the origin, through which every request goes
TO_ORIGIN = "cache_peer 127.0.0.1 parent {} 0 no-query originserver name=origin\nnever_direct allow all\n"


class Origin(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"

    def do_GET(self):
        self.send_response(200)
        self.send_header("Content-Length", "2")
        self.send_header("Cache-Control", "max-age=3600" if "/kept/" in self.path else "no-store")
        self.end_headers()
        self.wfile.write(b"ok")

    def log_message(self, *_):
        pass


def free_port():
    with http.server.socketserver.TCPServer(("127.0.0.1", 0), None) as server:
        return server.server_address[1]


def eventually(what, seconds=15):
    end = time.monotonic() + seconds
    while not (result := what()):
        assert time.monotonic() < end, "it didn't come to be"
        time.sleep(0.02)
    return result


class Squid:
    """A Squid with the example's configuration, in which `changes` (pattern, text) are made."""

    def __init__(self, scratch, origin, *changes):
        self.port = free_port()
        text = EXAMPLE.read_text()
        for pattern, new in (("127.0.0.1:3128", f"127.0.0.1:{self.port}"), ("/usr/bin/", f"{scratch}/bin/"),
                             ("$", "\n" + TO_ORIGIN.format(origin)), *changes):
            text, count = re.subn(pattern, lambda _, new=new: new, text, count=1)
            assert count, pattern
        file = scratch / f"squid-{self.port}.conf"
        file.write_text(text)
        self.output = open(scratch / f"squid-{self.port}.log", "w+")
        self.process = subprocess.Popen(["squid", "-N", "-d", "1", "-f", file], stdout=self.output, stderr=self.output)
        eventually(lambda: self.status(f"http://{SITE}/") or self.process.poll() is not None)
        assert self.process.poll() is None, self.log()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.terminate()
        self.process.wait()
        self.output.close()

    def log(self):
        self.output.seek(0)
        return self.output.read()

    def curl(self, *words, **options):
        return subprocess.run(["curl", "-s", "-x", f"127.0.0.1:{self.port}", *words], capture_output=True, text=True,
                              **options)

    def status(self, url):
        return int(self.curl("-m", "10", "-o", os.devnull, "-w", "%{http_code}", url).stdout)

    def helper(self):
        """The process of its helper; 0: there is none."""
        for stat in Path("/proc").glob("[0-9]*/stat"):
            try:
                found = re.fullmatch(r"(\d+) \((.*)\) \S (\d+) .*\n?", stat.read_text())
            except OSError:
                continue
            if found[2] == "wardlet-acl" and int(found[3]) == self.process.pid:
                return int(found[1])
        return 0


class Asking(threading.Thread):
    """Asks for one page again and again, over connections that are kept."""

    def __init__(self, squid, url):
        super().__init__(daemon=True)
        self.squid, self.url, self.answers, self.ended = squid, url, [], False
        self.start()

    def run(self):
        connection = http.client.HTTPConnection("127.0.0.1", self.squid.port)
        while not self.ended:
            begun = time.monotonic()
            connection.request("GET", self.url)
            response = connection.getresponse()
            response.read()
            self.answers.append((begun, response.status))

    def end(self):
        self.ended = True
        self.join()
        return self.answers


def tool(*words, **options):
    subprocess.run(["wdltctl", *words], check=True, stdout=subprocess.DEVNULL, **options)


def check_changes(squid):
    url = f"http://{SITE}/changing"
    asking = [Asking(squid, url) for _ in range(4)]
    spans = []  # in which each page begun has to have the status
    for line, status in [(f"add urls black *{SITE}/changing", 403), (f"add urls white *{SITE}/*", 200),
                         (f"remove urls white *{SITE}/*", 403), ("disable urlf", 200), ("enable urlf", 403),
                         (f"remove urls black *{SITE}/changing", 200)] * 2:
        tool(*line.split())
        ended = time.monotonic()
        time.sleep(0.3)
        spans.append((ended + 0.1, time.monotonic() - 0.05, status))
    answers = [answer for each in asking for answer in each.end()]
    assert {status for _, status in answers} == {200, 403}
    for begin, end, expected in spans:
        found = [status for begun, status in answers if begin < begun < end]
        assert set(found) == {expected}, (expected, found)
    print(f"changes: {len(answers)} answers, none by an old list")


def check_restart(squid):
    tool("add", "urls", "black", f"*{SITE}/bad")
    for _ in range(3):
        old = eventually(squid.helper)
        os.kill(old, signal.SIGKILL)
        eventually(lambda: squid.status(f"http://{SITE}/bad") == 403 and squid.status(f"http://{SITE}/") == 200)
        assert eventually(squid.helper) != old
    tool("remove", "urls", "black", f"*{SITE}/bad")
    assert squid.status(f"http://{SITE}/bad") == 200
    print("restart: killed three times, and started again")


def check_undecided(squid, open_squid, black):
    tool("add", "urls", "black", f"*{SITE}/bad")
    whole = black.read_bytes()
    black.write_bytes(whole[:-1])
    for page, *statuses in (("", 403, 200), ("bad", 403, 200)):
        assert [each.status(f"http://{SITE}/{page}") for each in (squid, open_squid)] == statuses
    black.write_bytes(whole)
    for page, status in (("", 200), ("bad", 403)):
        assert {each.status(f"http://{SITE}/{page}") for each in (squid, open_squid)} == {status}
    tool("remove", "urls", "black", f"*{SITE}/bad")
    print("a list that can't be read: closed or open, as configured")


def bench(scratch, origin):
    random.seed(7)
    names = ["".join(random.choices(string.ascii_lowercase, k=random.randint(8, 20))) + ".example" for _ in range(500)]
    tool("import", "urls", "black", "-", "--force", input="".join(f"*{name}/*\n" for name in names), text=True)
    rules = {"wardlet-acl": [], "url_regex": [re.escape(name) + "/" for name in names],
             "dstdomain": ["." + name for name in names]}
    cache = ("\nhttp_access allow localhost", "\ncache_mem 64 MB\nhttp_access allow localhost")
    squids = {}
    for kind, entries in rules.items():
        changes = [cache]
        if entries:
            (scratch / kind).write_text("\n".join(entries))
            changes += [("external_acl_type.*\n", ""), ("external wardlet blocked", f'{kind} "{scratch / kind}"')]
        squids[kind] = Squid(scratch, origin, *changes)
    chunk, rounds = 500, 20  # in small turns, since other programs may be at work
    pages = {"kept": lambda i: f"http://{SITE}/kept/{i % 200}",
             "blocked": lambda i: f"http://www.{names[i % 500]}/{i}"}
    for page, url in pages.items():
        took = {kind: [] for kind in squids}
        for part in range(-1, rounds):  # the first isn't counted
            numbers = range((part + 1) * chunk, (part + 2) * chunk)
            lines = "".join(f'url="{url(i)}"\noutput="{os.devnull}"\n' for i in numbers)
            for kind, squid in random.sample(list(squids.items()), len(squids)):
                begun = time.monotonic()
                squid.curl("-Z", "--parallel-max", "50", "-K", "-", input=lines, check=True)
                took[kind].append(time.monotonic() - begun)
        own = took["wardlet-acl"][1:]
        for kind, times in took.items():
            ratio = statistics.median(other / mine for other, mine in zip(times[1:], own))
            print(f"{page}: {chunk / statistics.median(times[1:]):.0f} requests/s with {kind}; wardlet-acl has {ratio:.2f} of it")
    for squid in squids.values():
        squid.__exit__()
    for what, count in (("URLs that are new", 300_000), ("the same 1000 URLs", 1000)):
        lines = "".join(f"{i % 1000} http://host{i % count}.test/path/{i % count} blocked\n" for i in range(300_000))
        begun = time.monotonic()
        subprocess.run(["wardlet-acl", "--no-listen"], input=lines.encode(), stdout=subprocess.DEVNULL, check=True)
        print(f"alone, {what}: {300_000 / (time.monotonic() - begun):.0f} questions/s")


def main():
    if not shutil.which("squid") or not shutil.which("curl"):
        print("squid.py: skipped, Squid or curl isn't installed")
        return
    with tempfile.TemporaryDirectory() as folder:
        scratch = Path(folder)
        scratch.chmod(0o755)
        # Squid's own account may not reach the build.
        shutil.copytree(Path(sys.argv[1]) / "bin", scratch / "bin", symlinks=True,
                        ignore=lambda _, names: [n for n in names if not re.match("wdltctl|wardlet-acl|libW|charset", n)])
        home = scratch / "home"
        home.mkdir()
        if os.geteuid() == 0:
            shutil.chown(home, group="proxy")
        home.chmod(0o2770)
        os.environ.update(WARDLET_HOME=str(home), PATH=f"{scratch}/bin:{os.environ['PATH']}:/usr/sbin")
        for name in ("WARDLET_ACP", "WARDLET_DURABILITY", "WARDLET_TIME_SCALE", "http_proxy", "no_proxy"):
            os.environ.pop(name, None)
        tool("init", "--install", str(home / "wardlet"))
        tool("enable", "urlf")
        server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Origin)
        server.daemon_threads = True
        threading.Thread(target=server.serve_forever, daemon=True).start()
        origin = server.server_address[1]
        if "--bench" in sys.argv:
            bench(scratch, origin)
            return
        with Squid(scratch, origin) as squid:
            check_changes(squid)
            check_restart(squid)
            with Squid(scratch, origin, ("(?<=bin/)wardlet-acl", "wardlet-acl --undecided err")) as open_squid:
                check_undecided(squid, open_squid, home / "wardlet/UrlBlack.dat")
    subprocess.run([SOURCE / "tests/gates/operating.sh", sys.argv[1], "docs/squid.md", "8"], check=True)


if __name__ == "__main__":
    main()
