"""The package against the built library; wdltctl, which reads by the same tables in C++, says what is stored."""
import ctypes
import json
import os
import subprocess
import sys
import tempfile
import threading
import unittest
from pathlib import Path

_home = tempfile.TemporaryDirectory()
os.environ["WARDLET_HOME"] = _home.name

import wdltcfg  # noqa: E402: the home must be named before
from wdltcfg import Error, interface, lists  # noqa: E402

WDLTCTL = Path(os.environ["WDLTCFG_LIBRARY"]) / "wdltctl"


def setUpModule():
    wdltctl("init", "--install", f"{_home.name}/wardlet")


def tearDownModule():
    _home.cleanup()


def wdltctl(*words):
    return subprocess.run([WDLTCTL, *words], check=True, capture_output=True).stdout


def stored(*words):
    return json.loads(wdltctl(*words, "--json", "--secrets"))


def in_python(code, **environment):
    return subprocess.Popen([sys.executable, "-W", "error", "-c", f"import wdltcfg\n{code}"], stdout=subprocess.PIPE,
                            env={**os.environ, **environment})


def another(field, value):
    """A value that the field takes, and that isn't `value`."""
    if isinstance(value, bool):
        return not value
    if isinstance(value, int):
        low = max(field.least, 1)
        return low if value != low else low + 1 if low < field.most else field.least
    if isinstance(value, tuple):
        return ("é", "b")
    return "é\\" if field.name.endswith("path") else "é"


class Interface(unittest.TestCase):
    def test_is_that_of_the_library(self):
        kept = (Path(__file__).parents[2] / "tests/gates/abi.txt").read_text().splitlines()
        exports = {line.split()[1].split("@")[0] for line in kept if line.startswith("export")}
        self.assertEqual(exports, set(interface.PROTOTYPES))
        sizes = dict(line.split()[1:] for line in kept if line.startswith("record"))
        self.assertEqual(sizes, {name: str(ctypes.sizeof(getattr(interface, name))) for name in sizes})


class Module(unittest.TestCase):
    def test_tells_what_is_for_callers(self):
        self.assertRegex(wdltcfg.__version__, r"^1\.\d+\.\d+$")
        for module in (wdltcfg, lists):
            self.assertEqual(set(module.__all__) - {"__version__"}, set(dir(module)) - {"__version__"})


class Records(unittest.TestCase):
    def test_round_trip(self):
        places = {"virus": ("pop3", "smtp", "http", "files"), "handler": ("pop3", "smtp", "http")}
        self.assertEqual(len(wdltcfg.Record.KINDS), 26)
        for name, which in ((name, which) for name in wdltcfg.Record.KINDS for which in places.get(name, [""])):
            with self.subTest(name, which=which):
                old, changed = wdltcfg.read(name, which), wdltcfg.read(name, which)
                for field in changed.FIELDS.values():
                    if not field.read_only and field.name not in ("install_path", "enable", "scan"):
                        setattr(changed, field.name, another(field, getattr(changed, field.name)))
                wdltcfg.write(changed)
                read = wdltcfg.read(name, which)
                self.assertEqual(repr(read), repr(changed))
                shown = stored("get", name, *filter(None, [which]))
                for field in read.FIELDS.values():
                    value = getattr(read, field.name)
                    self.assertEqual(shown[field.member], list(value) if isinstance(value, tuple) else value)
                wdltcfg.write(old)
                if name != "sal":  # whose text stays when an empty one is written
                    self.assertEqual(wdltcfg.read(name, which), old)

    def test_refuses(self):
        proxy = wdltcfg.read("urlf-proxy")
        for name, value in (("proxy_port", 0), ("proxy_port", 65536), ("proxy_port", -1), ("proxy_user", "x" * 128),
                            ("proxy_server", "a\0b"), ("proxy_server", "\udc41é")):
            with self.subTest(name, value=value), self.assertRaises(ValueError):
                setattr(proxy, name, value)
        hosts, urls, mistyped = lists.hosts(), lists.urls("black"), lists.Rule(2**32 + 1, "a.exe", "b", "c")
        for call, words in ((wdltcfg.read, ["pops"]), (wdltcfg.read, ["virus"]), (wdltcfg.read, ["handler", "files"]),
                            (wdltcfg.read, ["pop3", "smtp"]), (wdltcfg.enable, ["pv"]), (lists.urls, ["grey"]),
                            (lists.remove_rule, [0]), (lists.remove_rule, [2**32]), (lists.add_rule, [mistyped]),
                            (hosts.add, ["hex:0"])):
            with self.subTest(words), self.assertRaises(ValueError):
                call(*words)
        for name in ("handler_count", "mod"):
            with self.subTest(name), self.assertRaisesRegex(AttributeError, name):
                setattr(wdltcfg.read("system"), name, 1)
        for record, name, value in (("urlf", "mode", "x"), ("urlf", "mode", 1.0), ("urlf-proxy", "proxy_user", 1),
                                    ("plugin-manager", "enable", "no"), ("plugin-manager", "enable", 2)):
            with self.subTest(name, value=value), self.assertRaisesRegex(TypeError, f"^{name}: .*needed, not"):
                setattr(wdltcfg.read(record), name, value)
        for call, value in ((wdltcfg.read, 3), (wdltcfg.write, "urlf"), (wdltcfg.enable, 3), (lists.urls, 3),
                            (urls.add, 3), (urls.add, ["a"]), (urls.remove, 3), (urls.write, "ab"), (hosts.add, 3),
                            (urls.write, [3]), (lists.add_rule, "r"), (lists.remove_rule, "r")):
            with self.subTest(value=value), self.assertRaisesRegex(TypeError, "is needed, not"):
                call(value)
        with self.assertRaisesRegex(ValueError, "plugin-manager"):
            wdltcfg.enable("nix")
        with self.assertRaisesRegex(ValueError, "^.{0,150}$"):
            urls.add("x" * 3000)
        proxy.proxy_password = "hidden"
        self.assertNotIn("hidden", repr(proxy))

    def test_an_error_has_name_and_words(self):
        with self.assertRaises(Error) as caught:
            wdltcfg.check(wdltcfg.library.WdltReadConfig(77, 77, 0, None, ctypes.byref(ctypes.c_uint64())))
        self.assertEqual((caught.exception.status, caught.exception.name, caught.exception.words),
                         (-1, "WDLT_E_GENERAL", "general failure"))
        with tempfile.TemporaryDirectory() as empty:
            for home, call in ((empty, "read('hfs')"), (f"{empty}/none", "read('hfs')"),
                               (f"{empty}/none", "change().__enter__()")):
                child = in_python(f"try: wdltcfg.{call}\nexcept wdltcfg.Error as error: print(error.name)",
                                  WARDLET_HOME=home)
                self.assertEqual(child.communicate()[0], b"WDLT_E_REGISTRY\n")
            self.assertFalse(Path(empty, "none").exists())


class Features(unittest.TestCase):
    def test_switch(self):
        names = [*wdltcfg.records.FEATURES, "pdp", "drs-white-list", "plugin-manager"]
        self.assertEqual(set(stored("status")["features"]), set(names))
        wdltctl("enable", "drs-white-list", "--option", "7")
        for name in names:
            with self.subTest(name):
                wdltcfg.enable(name)
                self.assertTrue(wdltcfg.is_enabled(name))
                wdltcfg.disable(name)
                self.assertFalse(wdltcfg.is_enabled(name))
        self.assertEqual(stored("dump")["features"]["drs-white-list"]["option"], 7)


class Lists(unittest.TestCase):
    def test_add_and_remove(self):
        many = [f"entry{i}" for i in range(100)]  # more than is asked for at first
        for words, entries in ((("urls", "white"), many), (("urls", "black"), ["*.example.com/*", "ü"]),
                               (("hosts",), ["a", "hex:00ff", "hex:00", "hex:" + "61" * 306]), (("spyware",), many),
                               (("spam", "white"), ["é", "b"]), (("spam", "black"), many), (("exclusions",), many)):
            with self.subTest(words):
                a_list = getattr(lists, words[0])(*words[1:])
                self.assertEqual(list(a_list), [])
                self.assertEqual((a_list.add(*entries), a_list.add(entries[0])), (entries, []))
                self.assertEqual((list(a_list), stored("list", *words)), (entries, entries))
                self.assertEqual((len(a_list), repr(a_list)), (len(entries), f"<list {' '.join(words)}>"))
                self.assertEqual(a_list.remove(entries[0], "none"), entries[:1])
                self.assertEqual(stored("list", *words), entries[1:])
                with self.assertRaises(ValueError):
                    a_list.add("x" * 2084)
        self.assertTrue(lists.has_url("entry7", "white"))
        self.assertFalse(lists.has_url("entry7", "black"))

    def test_bytes_that_are_no_text_stay(self):
        urls = lists.urls("black")
        urls.write(["caf\udce9"])
        self.assertEqual(urls.add("b"), ["b"])
        self.assertEqual(list(urls), ["caf\udce9", "b"])

    def test_texts_are_in_the_code_page(self):
        child = in_python("print(wdltcfg.encode('\u20ac'), ascii(wdltcfg.decode(b'\\x80')))\n"
                          "try: wdltcfg.encode('\u0436')\nexcept ValueError: print('none')", WARDLET_ACP="1252")
        self.assertEqual(child.communicate()[0], b"b'\\x80' '\\u20ac'\nnone\n")

    def test_a_list_that_cannot_be_read_is_not_replaced(self):
        for a_list, name in ((lists.spyware(), "SpyAList.dat"), (lists.spam("white"), "SpamWhite.txt")):
            file = Path(_home.name, "wardlet", name)
            file.unlink(missing_ok=True)
            file.mkdir()
            for call in (a_list.read, lambda: a_list.add("x")):
                with self.subTest(name), self.assertRaises(Error):
                    call()
            file.rmdir()

    def test_an_exclusion_has_a_number_of_its_own(self):
        for texts in (["a", "b"], ["b"], ["c", "b"]):
            lists.exclusions().write(texts)
        kept = lists._records(wdltcfg.library.WdltPdpReadExItemList, interface.PrivacyExclusionItem, "")
        self.assertEqual(len({item.dwExclusionId for item in kept}), 2)
        lists.exclusions().write([])

    def test_rules(self):
        rule = lists.Rule(3, "a.exe", "ü", "example.com")
        lists.add_rule(rule)
        self.assertEqual(lists.rules(), [rule])
        lists.remove_rule(3)
        self.assertEqual(lists.rules(), [])


class Change(unittest.TestCase):
    def test_between_processes(self):
        child = in_python("with wdltcfg.change(): print('mine', flush=True); import time; time.sleep(60)")
        child.stdout.readline()
        with self.assertRaises(TimeoutError), wdltcfg.change(timeout=0.2):
            pass
        mutex = wdltcfg._library.layer.CreateMutexA(None, 0, wdltcfg.change.NAME)  # else it dies with its last process
        child.kill()
        child.communicate()
        with wdltcfg.change() as held, wdltcfg.change() as again:
            self.assertEqual((held.abandoned, again.abandoned), (True, False))
            child = in_python("try:\n with wdltcfg.change(0): print('mine')\nexcept TimeoutError: print('waits')")
            self.assertEqual(child.communicate()[0], b"waits\n")
        wdltcfg._library.layer.CloseHandle(mutex)
        with wdltcfg.change(timeout=0) as held:
            self.assertFalse(held.abandoned)

    def test_between_threads(self):
        def add():
            for i in range(10):
                white.add(f"{threading.get_ident()} {i}")
                with wdltcfg.change():
                    smtp = wdltcfg.read(wdltcfg.records.Smtp)
                    smtp.max_session_count += 1
                    wdltcfg.write(smtp)

        white = lists.urls("white")
        before = wdltcfg.read("smtp").max_session_count
        threads = [threading.Thread(target=add) for _ in range(4)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        self.assertEqual((wdltcfg.read("smtp").max_session_count, len(white)), (before + 40, 40))
        white.write([])


if __name__ == "__main__":
    unittest.main()
