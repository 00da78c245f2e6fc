# SPDX-License-Identifier: MIT
"""./dev lab measure: what a large mesh takes, and how soon a page knows what happens in it."""

import argparse
import http.client
import json
import os
import pathlib
import socket
import statistics
import sys
import threading
import time
import urllib.parse

import browser as browsers
import lab_case
from rig.waiting import wait_for

_EVENTS, _SECONDS = 10_000, 60
_SLOW_PAGES = 8
_KINDS = {
    "otad": "nodes", "ota-desk-host": "nodes", "nginx": "servers", "mosquitto": "servers",
    "dbus-daemon": "buses", "otactl": "watches",
}  # fmt: skip


def _say(what: str, text: str) -> None:
    print(f"{what:34} {text}", flush=True)


def _pss(pid: int) -> float:
    """MB, its share of what it shares with others included."""
    with open(f"/proc/{pid}/smaps_rollup", encoding="ascii") as file:
        return next(int(line.split()[1]) for line in file if line.startswith("Pss:")) / 1000


def _below(pid: int) -> list[int]:
    found = [pid]
    for task in pathlib.Path(f"/proc/{pid}/task").iterdir():
        for child in (task / "children").read_text().split():
            found += _below(int(child))
    return found


def memory(pid: int) -> dict[str, float]:
    """MB of the lab and of what it started, by kind."""
    sums = {"lab": 0.0}
    for one in _below(pid):
        try:
            name = pathlib.Path(f"/proc/{one}/comm").read_text(encoding="ascii").strip()
            kind = "lab" if one == pid else _KINDS.get(name, "other")
            sums[kind] = sums.get(kind, 0.0) + _pss(one)
        except OSError:
            continue
    return sums


class Reader:
    """Of the stream of events, as a page reads it; or one that reads nothing at all."""

    def __init__(self, url: str, reads: bool = True) -> None:
        parts = urllib.parse.urlsplit(url)
        self.numbers: list[int] = []
        self.bytes = 0
        self._socket = socket.create_connection((parts.hostname, parts.port))
        if not reads:
            self._socket.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 2048)
        head = f"GET {parts.path}api/events HTTP/1.1\r\nHost: {parts.netloc}\r\n\r\n"
        self._socket.sendall(head.encode())
        self._thread = threading.Thread(target=self._read, daemon=True)
        if reads:
            self._thread.start()

    def _read(self) -> None:
        with self._socket.makefile("rb") as file:
            for line in file:
                self.bytes += len(line)
                if line.startswith(b"data: "):
                    self._take(json.loads(line[6:]))

    def _take(self, step: dict) -> None:
        newest = self.numbers[-1] if self.numbers else 0
        self.numbers += [mark["number"] for mark in step["marks"] if mark["number"] > newest]

    def close(self) -> None:
        self._socket.close()


class Measurement:
    """Of one lab."""

    def __init__(self, lab: lab_case.Lab) -> None:
        self.lab = lab
        self.names = ["gateway", *(f"ext-{number + 1}" for number in range(lab.extenders))]
        self.version = 1

    def start(self, browser) -> None:
        began = time.monotonic()
        self.lab.start()
        _say("the lab is open after", f"{time.monotonic() - began:.1f} s")
        browser.get(self.lab.url)
        wait_for("a card for each node", lambda: len(browsers.cards(browser)) == len(self.names))
        _say("the page shows every node after", f"{time.monotonic() - began:.1f} s")
        self.lab.wait_until_up()
        _say("every node is up after", f"{time.monotonic() - began:.1f} s")
        self.lab.tell("file-server", rate=0)

    def upgrade(self) -> float:
        """Seconds from the offer to the last commit."""
        self.version += 1
        version = f"4QZ{self.version}.0.0"
        # The image is made when it is wanted first.
        self.lab.tell("offer", nodes=[self.names[0]], version=version)
        self._wait(self.names[:1], version)
        began = time.monotonic()
        answer = self.lab.tell("offer", nodes=self.names[1:], version=version)["nodes"]
        bad = {name: one for name, one in answer.items() if one["code"]}
        assert not bad, bad
        self._wait(self.names[1:], version)
        return time.monotonic() - began

    def _wait(self, names: list[str], version: str) -> None:
        self.lab.wait_for_nodes(
            "every node runs it", names,
            lambda node: node["running_version"] == version and node["stage"] == "idle"
            and node["status_word"] == lab_case.COMMITTED,
        )  # fmt: skip

    def watched_upgrade(self, browser) -> None:
        browsers.watch_delays(browser)
        seconds = self.upgrade()
        _say(f"{len(self.names) - 1} nodes upgraded at once", f"{seconds:.1f} s")
        waits = browsers.delays(browser)
        slow = statistics.quantiles(waits, n=20)[-1]
        _say("an event is on the page after",
             f"{statistics.median(waits) * 1000:.0f} ms (median of {len(waits)}), "
             f"{slow * 1000:.0f} ms (19 of 20)")  # fmt: skip

    def slow_pages(self) -> None:
        slow = [Reader(self.lab.url, reads=False) for _ in range(_SLOW_PAGES)]
        try:
            _say(f"the same beside {_SLOW_PAGES} that read nothing", f"{self.upgrade():.1f} s")
        finally:
            for one in slow:
                one.close()

    def flood(self) -> None:
        """Events at the rate of 10,000 a minute, beside a page that reads nothing."""
        slow, reader = Reader(self.lab.url, reads=False), Reader(self.lab.url)
        wait_for("the snapshot", lambda: reader.numbers)
        first = reader.numbers[-1]
        assert self.lab.process
        pid = self.lab.process.pid
        held = []
        parts = urllib.parse.urlsplit(self.lab.url)
        connection = http.client.HTTPConnection(parts.hostname, parts.port)
        began = time.monotonic()
        for number in range(_EVENTS):
            connection.request("POST", f"{parts.path}api/file-server",
                               json.dumps({"rate": number % 2}),
                               {"Content-Type": "application/json"})  # fmt: skip
            connection.getresponse().read()
            if number in (_EVENTS // 2, _EVENTS - 1):
                held.append(_pss(pid))
            time.sleep(max(0.0, began + number * _SECONDS / _EVENTS - time.monotonic()))
        seconds = time.monotonic() - began
        last = self.lab.ask("timeline", after=first)["marks"][-1]["number"]
        wait_for("the last of them", lambda: reader.numbers[-1] >= last)
        seen = [number for number in reader.numbers if first < number <= last]
        lost = last - first - len(seen)
        _say(f"{last - first} events in {seconds:.0f} s",
             f"{lost} lost, in order: {seen == sorted(set(seen))}; the lab holds "
             f"{held[0]:.0f} MB in the middle, {held[1]:.0f} MB at the end")  # fmt: skip
        connection.close()
        slow.close()
        reader.close()
        self.lab.tell("file-server", rate=0)

    def memory(self) -> None:
        assert self.lab.process
        sums = memory(self.lab.process.pid)
        rig = sum(size for kind, size in sums.items() if kind != "nodes")
        parts = ", ".join(f"{kind} {size:.0f}" for kind, size in sorted(sums.items()))
        _say("memory (PSS) of the rig", f"{rig:.0f} MB beside the nodes ({parts})")


def main() -> int:
    parser = argparse.ArgumentParser(prog="./dev lab measure", description=__doc__)
    parser.add_argument("--extenders", type=int, default=30)
    parser.add_argument("--build-dir", type=pathlib.Path, default=pathlib.Path("build/release"))
    options = parser.parse_args()
    lab = lab_case.Lab(options.build_dir.absolute(), options.extenders)
    print(f"{options.extenders + 1} nodes on {len(os.sched_getaffinity(0))} cores", flush=True)
    browser = browsers.open_browser()
    try:
        measurement = Measurement(lab)
        measurement.start(browser)
        measurement.watched_upgrade(browser)
        measurement.memory()
        measurement.slow_pages()
        measurement.flood()
        measurement.memory()
    finally:
        browser.quit()
        lab.close()
    return 0


if __name__ == "__main__":
    sys.exit(main())
