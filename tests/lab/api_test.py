# SPDX-License-Identifier: MIT
"""A gateway and two extenders in the lab, through its interface: told, broken, mended, attacked."""

import contextlib
import json
import os
import socket
import subprocess
import sys
import time
import unittest
import urllib.parse

import lab_case
from rig.waiting import wait_for


# Those that are ended from the other end are readable, with nothing or an error to read.
_SILENT = """import select, socket, time
held = [socket.create_connection(("127.0.0.1", int(sys.argv[1]))) for _ in range(100)]
before = None
while True:
    ended = len(select.select(held, [], [], 0)[0])
    if ended == before:
        break
    before = ended
    time.sleep(1)
print(len(held) - ended)
"""


class Api(lab_case.Case):
    """Names decide the order: what a test leaves is idle nodes."""

    def setUp(self):
        self.lab.tell("file-server", state="good", rate=0)
        self.lab.wait_for_nodes(
            "every node is idle", self.names(), lambda node: node["stage"] == "idle"
        )

    def names(self):
        return ["gateway", "ext-1", "ext-2"]

    def test_1_an_upgrade_of_all(self):
        answer = self.offer(["all"], "4QZ2.0.0")
        self.assertEqual(list(answer), self.names())
        nodes = self.wait_for_commit(self.names(), "4QZ2.0.0")
        for name in self.names():
            self.assertEqual(nodes[name]["status_sentence"].split()[0], "after")
            banks = {bank["bank"]: bank for bank in nodes[name]["banks"]}
            self.assertEqual(banks["b"]["version"], "4QZ2.0.0")
            self.assertTrue(banks["b"]["running"])
            words = [mark["text"] for mark in self.lab.marks(node=name, kind="word")]
            self.assertEqual(words, ["OTA_SW_ACTIVATION_COMPLETE", lab_case.COMMITTED])
        self.lab.wait_for_nodes("measured", self.names(), lambda node: node["memory"] > 0)
        at_root = wait_for(
            "four words at the root",
            lambda: len(found := self.lab.marks(node="gateway", kind="root")) >= 4 and found,
        )
        macs = {mark["text"].split(": ")[0] for mark in at_root}
        self.assertEqual(macs, {"02:00:5E:00:54:02", "02:00:5E:00:54:03"})

    def test_4_processes_that_die_or_stand_still(self):
        for process, told in (
            ("host", "host-crashed"),
            ("daemon", "the daemon ended with signal 9"),
        ):
            before = self.lab.ask("status")["nodes"]["ext-2"]["boots"]
            self.lab.tell("kill", nodes=["ext-2"], process=process)
            wait_for(told, lambda told=told: self.lab.marks(node="ext-2", text=told))
            self.lab.wait_for_nodes(
                "it is back", ["ext-2"], lambda node: node["stage"] == "idle" and node["service"]
            )
            self.assertEqual(self.lab.ask("status")["nodes"]["ext-2"]["boots"], before)
        self.lab.tell("freeze", nodes=["ext-2"], process="host")
        self.assertEqual(self.lab.ask("status")["nodes"]["ext-2"]["frozen"], ["host"])
        self.lab.tell("thaw", nodes=["ext-2"], process="host")
        self.assertEqual(self.lab.ask("status")["nodes"]["ext-2"]["frozen"], [])

    def test_5_the_power_at_a_change_of_the_storage(self):
        self.lab.tell("cut-power-at", nodes=["ext-1"], change=60, mode="tear")
        self.lab.wait_for_nodes(
            "it is back under its power supply", ["ext-1"],
            lambda node: node["service"] and node["stage"] == "idle" and node["root_connected"],
        )  # fmt: skip
        self.offer(["ext-1"], "4QZ6.0.0")
        self.lab.wait_for_nodes("its power is gone", ["ext-1"], lambda node: node["power"] == "off")
        lost = self.lab.marks(node="ext-1", kind="fault", text="power lost")[-1]
        self.assertIn("the power supply went at: ", lost["detail"])
        self.lab.tell("plug", nodes=["ext-1"])
        self.wait_for_commit(["ext-1"], "4QZ6.0.0")

    def test_7_verbs_of_the_command_line(self):
        def run(*words):
            return subprocess.run(
                lab_case.command(self.build, *words, "--folder", self.lab.folder),
                capture_output=True, text=True, check=False,
            )  # fmt: skip

        answer = run("offer", "ext-1", "--version", "4QZ0.1.0", "--json")
        self.assertEqual(answer.returncode, 36, answer)
        self.assertEqual(json.loads(answer.stdout)["nodes"]["ext-1"]["code"], 36)
        self.assertEqual(len(run("status").stdout.splitlines()), 3)
        wrong = run("unplug", "nobody")
        self.assertEqual((wrong.returncode, wrong.stdout), (1, ""))
        self.assertIn("there is no nobody", wrong.stderr)

    def test_7_a_series_of_downloads_in_minutes_of_the_node(self):
        """Seven failures, the first wait 120 s on an extender; the node's time passes at once."""
        self.lab.tell("file-server", state="missing", rate=0)
        self.offer(["ext-1"], "4QZ7.0.0")
        began = time.monotonic()
        for attempt in range(1, 7):
            nodes = self.lab.wait_for_nodes(
                f"it waits after attempt {attempt}", ["ext-1"],
                lambda node, attempt=attempt: node["timers"]
                and f"attempt {attempt} of 7" in node["wait_reason"],
            )  # fmt: skip
            self.assertEqual(nodes["ext-1"]["timers"][0]["name"], "downloadRetryTimer")
            answer = self.lab.tell("advance", nodes=["ext-1"], by="next-timer")
            self.assertEqual(answer["nodes"]["ext-1"]["code"], 0)
        self.lab.wait_for_nodes(
            "it gives up", ["ext-1"], lambda node: node["last_end"]["code"] == 54
        )
        self.assertLess(time.monotonic() - began, 6 * 120)
        ahead = self.lab.ask("status")["nodes"]["ext-1"]["clock"]["ahead"]
        self.assertGreater(ahead, 6 * 100)
        # Its history has the node's time, and the other nodes' time did not pass.
        times = [line["time"] for line in self.history("ext-1")]
        real = time.strftime("%Y-%m-%dT%H:%M:%SZ", time.gmtime(time.time() + 60))
        self.assertGreater(times[-1], real)
        self.assertLess(self.history("gateway")[-1]["time"], real)

    def history(self, name):
        """Without the line that a power cut has torn."""
        path = self.lab.folder / "nodes" / name / "configs/otad/history.jsonl"
        lines = []
        for line in path.read_text(errors="replace").splitlines():
            with contextlib.suppress(ValueError):
                lines.append(json.loads(line))
        return lines

    # Who may not.

    def test_8_strangers_are_refused(self):
        lab = self.lab
        port = urllib.parse.urlsplit(lab.url).port
        good = {"Content-Type": "application/json"}
        self.assertEqual(lab.request("GET", "/api/status")[0], 200)
        own = {"Origin": f"http://127.0.0.1:{port}"}
        self.assertEqual(lab.request("GET", "/api/status", headers=own)[0], 200)
        for headers in (
            {"Origin": "http://evil.example"},
            {"Origin": "null"},
            {"Origin": f"http://localhost:{port}"},
            {"Host": "evil.example"},
            {"Host": f"evil.example:{port}"},
            {"Host": "127.0.0.1"},
            {"Sec-Fetch-Site": "cross-site"},
        ):
            for method, path in (("GET", "/api/status"), ("GET", "/"), ("POST", "/api/unplug")):
                status, _ = lab.request(method, path, "{}", {**good, **headers})
                self.assertEqual(status, 403, (headers, path))
        for token in ("", "x", "x" * 200, urllib.parse.urlsplit(lab.url).path.strip("/")[:-1]):
            self.assertEqual(lab.request("GET", "/api/status", token=token)[0], 403, token)
        # A form of another page cannot say this type.
        body = json.dumps({"nodes": ["all"]})
        status, _ = lab.request("POST", "/api/unplug", body, {"Content-Type": "text/plain"})
        self.assertEqual(status, 400)
        self.assertEqual(self.lab.ask("status")["nodes"]["ext-1"]["power"], "on")

    def test_8_no_path_leaves_the_page(self):
        for path in (
            "/../lab.json", "/..%2flab.json", "/%2e%2e/%2e%2e/lab.json", "/../../rig/node.py",
            "//etc/passwd", "/main.py", "/.ota-desk-run", "/index.html/../../__main__.py",
            "/style.css%00.html", "/api/../../lab.json",
        ):  # fmt: skip
            status, text = self.lab.request("GET", path)
            self.assertIn(status, (403, 404), path)
            self.assertNotIn("root:", text)
        for path, kind in (("/", "<!DOCTYPE html>"), ("/main.js", "SPDX"), ("/style.css", "SPDX")):
            status, text = self.lab.request("GET", path)
            self.assertEqual((status, kind in text), (200, True), path)

    @unittest.skipIf(os.geteuid() != 0, "needs another user to be")
    def test_8_another_user_of_the_machine(self):
        """He may not look into the folder; his connections take nothing from the nodes."""
        self.lab.place.chmod(0o755)
        self.addCleanup(self.lab.place.chmod, 0o700)
        for path in ("", "lab.json", "timeline.jsonl", "nodes/ext-1.log", "nodes/ext-1/bus"):
            said = self.as_nobody("open(sys.argv[1]); print('open')", self.lab.folder / path)
            self.assertNotIn("open", said, path)
            self.assertIn("Permission denied", said)
        lab_port = urllib.parse.urlsplit(self.lab.url).port
        ports = json.loads((self.lab.folder / "lab.json").read_text())["ports"]
        for port, most in [(lab_port, 32)] + [
            (ports[name], 0) for name in ("ext-1", "file-server")
        ]:
            self.assertLessEqual(self.held_of_nobody(port), most)
        self.assertEqual(self.lab.ask("status")["nodes"]["ext-1"]["power"], "on")

    def held_of_nobody(self, port) -> int:
        """How many of a hundred silent connections stay open."""
        return int(self.as_nobody(_SILENT, port).split()[-1])

    @staticmethod
    def as_nobody(text, *words) -> str:
        return subprocess.run(
            ["/usr/bin/python3", "-I", "-c", f"import sys; {text}", *map(str, words)],
            user=65534, group=65534, extra_groups=[], cwd="/", text=True, check=False,
            stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
        ).stdout  # fmt: skip

    def test_8_it_listens_on_loopback_alone(self):
        port = urllib.parse.urlsplit(self.lab.url).port
        with socket.create_server(("127.0.0.2", port)):
            pass  # nobody has this port on every address

    def test_9_wrong_calls(self):
        for name, body in (
            ("offer", {}),
            ("offer", {"nodes": ["ext-1"]}),
            ("offer", {"nodes": "ext-1", "version": "4QZ2"}),
            ("offer", {"nodes": ["ext-1"], "version": "../../x"}),
            ("offer", {"nodes": ["ext-1"], "version": "4QZ2", "policy": 4}),
            ("offer", {"nodes": ["ext-1"], "version": "4QZ2", "policy": True}),
            ("offer", {"nodes": ["ext-1"], "version": "4QZ2", "more": 1}),
            ("unplug", {"nodes": ["ext-99"]}),
            ("unplug", []),
            ("activation-time", {"nodes": ["ext-1"], "at": "--help"}),
            ("file-server", {"state": "gone"}),
            ("file-server", {"rate": -1}),
        ):
            status, text = self.lab.request(
                "POST", f"/api/{name}", json.dumps(body), {"Content-Type": "application/json"}
            )
            self.assertEqual(status, 400, (name, body, text))
            self.assertTrue(json.loads(text)["reason"])
        for query in ("?node=../../x", "?node=ext-1&node=ext-1", "?node=ext-1&offset=x", ""):
            self.assertEqual(self.lab.request("GET", f"/api/log{query}")[0], 400, query)
        deep = self.lab.request(
            "POST", "/api/unplug", "[" * 60_000, {"Content-Type": "application/json"}
        )
        self.assertEqual(deep[0], 400)
        long = self.lab.request(
            "POST", "/api/unplug", "x" * 200_000, {"Content-Type": "application/json"}
        )
        self.assertIn(long[0], (400, 413))

    def test_9_the_description_is_the_servers(self):
        described = (lab_case.TREE / "docs/lab-api.json").read_text()
        printed = subprocess.run(
            lab_case.command(self.build, "api"), capture_output=True, text=True, check=True
        ).stdout
        self.assertEqual(printed, described, "write it anew: ./dev lab api > docs/lab-api.json")
        for path, methods in json.loads(described)["paths"].items():
            for method in ("GET", "POST"):
                if path == "/api/events" and method == "GET":
                    continue
                status, _ = self.lab.request(method, path, "x")
                known = method.lower() in methods
                self.assertEqual(status in (404, 405), not known, (method, path, status))

    def test_9_a_page_that_reads_nothing_holds_nobody_up(self):
        parts = urllib.parse.urlsplit(self.lab.url)
        slow = [socket.create_connection((parts.hostname, parts.port)) for _ in range(3)]
        try:
            for one in slow:
                one.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 2048)
                head = f"GET {parts.path}api/events HTTP/1.1\r\nHost: {parts.netloc}\r\n\r\n"
                one.sendall(head.encode())
            before = self.lab.ask("timeline")["marks"][-1]["number"]
            for _ in range(40):
                self.lab.tell("file-server", rate=0)
                self.lab.tell("commit", nodes=["all"])
            marks = self.lab.ask("timeline", after=before)["marks"]
            # Every one is there once, in its order.
            numbers = [mark["number"] for mark in marks]
            self.assertEqual(numbers, list(range(before + 1, before + 1 + len(numbers))))
            self.assertEqual(len([mark for mark in marks if mark["text"] == "commit"]), 120)
        finally:
            for one in slow:
                one.close()

    def test_z_it_ends_and_goes_on(self):
        before = self.lab.ask("status")["nodes"]
        url = self.lab.url
        said = self.lab.stop()
        self.assertIn("closed", said)
        self.assertEqual(self.lab.processes(), [])
        self.lab.start().wait_until_up()
        self.assertEqual(self.lab.url, url)
        after = self.lab.ask("status")["nodes"]
        for name in self.names():
            self.assertEqual(after[name]["running_version"], before[name]["running_version"])
            self.assertEqual(after[name]["boots"], before[name]["boots"] + 1)
        self.lab.process.kill()
        self.lab.process.wait()
        wait_for("what it had started ends with it", lambda: not self.lab.processes())
        self.lab.process = None
        self.a_node_that_cannot_boot_stops_nobody()

    def a_node_that_cannot_boot_stops_nobody(self):
        for bank in "ab":
            with open(self.lab.folder / f"nodes/ext-2/banks/{bank}", "r+b") as file:
                file.write(bytes(4096))
        self.lab.start().line_with("Ctrl-C")
        nodes = self.lab.wait_for_nodes(
            "the others are up", ["gateway", "ext-1"], lambda node: node["stage"] == "idle"
        )
        self.assertEqual(nodes["ext-2"]["power"], "off")
        self.assertTrue(self.lab.marks(node="ext-2", kind="failure", text="does not come up"))
        self.assertEqual(self.lab.tell("plug", nodes=["ext-2"])["nodes"]["ext-2"]["code"], 1)


if __name__ == "__main__":
    sys.exit(lab_case.run(Api))
