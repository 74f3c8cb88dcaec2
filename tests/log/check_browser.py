#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
# check_browser.py event|system BROWSER TGZ DATABASE: whether a browser opens a page and has every row of a copy of the
# log database on it, and comes to see rows all over it. It is driven over a pipe, so nothing of the page is changed.
# Prints what differs, or how long it took; exits 1 when the page is not as it should be or does not open in time.
import itertools
import json
import os
import signal
import subprocess
import sys
import tarfile
import tempfile
import time

from check_archive import expected, shown

BLOCK = 20000
TEXT_OF_ROWS = """window.rows ??= Array.from(document.querySelectorAll("tr"));
rows.slice(%d, %d).map(row => Array.from(row.cells, cell => cell.textContent).join("\\x01")).join("\\x02")"""
SEE_ROW = """(async () => {
    const rows = document.querySelectorAll("tr"), row = rows[Math.floor((rows.length - 1) * %s)];
    const isThere = () => {
        const box = row.getBoundingClientRect();
        return row.contains(document.elementFromPoint(box.left + 5, box.top + 5)) && row.checkVisibility();
    };
    for (let frame = 0; frame < 100; ++frame) { // what is laid out on the way moves it again
        row.scrollIntoView({block: "start", behavior: "instant"});
        await new Promise(requestAnimationFrame);
        await new Promise(requestAnimationFrame);
        if (isThere())
            return true;
    }
    return false;
})()"""


class Browser:
    """A browser with one page, driven by its debugging protocol."""

    def __init__(self, program, folder):
        to_read, self.to = os.pipe()
        self.back, to_write = os.pipe()
        self.rest, self.number, self.seen = b"", 0, []

        def place():  # what it reads is to be 3, what it writes 4
            high = [os.dup2(to_read, 60), os.dup2(to_write, 61)]
            os.dup2(high[0], 3)
            os.dup2(high[1], 4)
            os.setsid()

        self.process = subprocess.Popen(
            [program, "--headless", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage", "--window-size=1200,800",
             f"--user-data-dir={folder}", "--remote-debugging-pipe", "about:blank"],
            preexec_fn=place, close_fds=False, stdin=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        os.close(to_read)
        os.close(to_write)
        self.session = None
        target = self.call("Target.createTarget", url="about:blank")["targetId"]
        self.session = self.call("Target.attachToTarget", targetId=target, flatten=True)["sessionId"]
        self.call("Page.enable")

    def end(self):
        try:
            os.killpg(self.process.pid, signal.SIGKILL)
        except ProcessLookupError:
            pass
        self.process.wait()

    def receive(self):
        while b"\0" not in self.rest:
            got = os.read(self.back, 1 << 20)
            if not got:
                raise SystemExit("the browser has ended")
            self.rest += got
        message, self.rest = self.rest.split(b"\0", 1)
        return json.loads(message)

    def call(self, method, **params):
        self.number += 1
        message = {"id": self.number, "method": method, "params": params}
        if self.session:
            message["sessionId"] = self.session
        os.write(self.to, json.dumps(message).encode() + b"\0")
        while (answer := self.receive()).get("id") != self.number:
            self.seen.append(answer["method"])
        if "error" in answer or "exceptionDetails" in answer["result"]:
            raise SystemExit(f"{method}: {answer}")
        return answer["result"]

    def open(self, path):
        self.call("Page.navigate", url=f"file://{path}")
        while "Page.loadEventFired" not in self.seen:
            self.seen.append(self.receive()["method"])

    def evaluate(self, expression):
        return self.call("Runtime.evaluate", expression=expression, returnByValue=True, awaitPromise=True)["result"]["value"]

    def rows(self):
        """The rows of the page, each a list of its cells' texts."""
        for start in itertools.count(0, BLOCK):
            block = self.evaluate(TEXT_OF_ROWS % (start, start + BLOCK))
            if not block:
                return
            for row in block.split("\x02"):
                yield row.split("\x01")


def check(browser, kind, page, database):
    start = time.monotonic()
    browser.open(page)
    opened = time.monotonic() - start
    rows = browser.rows()
    next(rows)  # titles
    count = 0
    for got, want in itertools.zip_longest(rows, expected(kind, database)):
        if want is None or got != [shown(cell) for cell in want[0]]:
            return f"row {count}: the page shows {str(got)[:300]}, the log has {str(want)[:300]}"
        count += 1
    for place in (1, 0.5, 0.001, 0):
        if not browser.evaluate(SEE_ROW % place):
            return f"the row at {place} of {count} does not come into view"
    print(f"page opened in {opened:.1f} s, its {count} rows seen in {time.monotonic() - start:.1f} s")
    return None


def main(kind, program, tgz, database, seconds):
    with tempfile.TemporaryDirectory(ignore_cleanup_errors=True) as folder:
        with tarfile.open(tgz) as tar:
            page = next(member for member in tar if member.name.endswith(".html"))
            tar.extract(page, folder)
        browser = None

        def late(*_):
            if browser is not None:
                browser.end()
            raise SystemExit(f"the page is not open after {seconds} s")

        signal.signal(signal.SIGALRM, late)
        signal.alarm(seconds)
        try:
            browser = Browser(program, folder + "/browser")
            problem = check(browser, kind, f"{folder}/{page.name}", database)
        finally:
            if browser is not None:
                browser.end()
    if problem:
        raise SystemExit(problem)


main(*sys.argv[1:5], int(sys.argv[5]))
