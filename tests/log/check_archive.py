#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
# check_archive.py event|system TGZ DATABASE: whether a page, a text and a spreadsheet hold the rows of a copy of the log
# database, read by programs that are not ours. Prints what differs; exits 1 then.
import html
import io
import itertools
import json
import os
import re
import sqlite3
import sys
import tarfile
import time
from html.parser import HTMLParser

LEVELS = {1: "Information", 2: "Warning", 3: "Error"}
CATEGORIES = {0: "System", 1: "Camera", 2: "Recording", 3: "I/O module"}
NOT_TEXT = re.compile("[\x80-\x9f\ufdd0-\ufdef]|[\ufffe\uffff]|[%s]" % "".join(
    chr(plane << 16 | low) for plane in range(1, 17) for low in (0xFFFE, 0xFFFF)))


def shown(raw):
    """What a page shows for these bytes."""
    text = NOT_TEXT.sub("\ufffd", raw.decode("utf-8", "replace"))
    return "".join("\u2421" if c == "\x7f" else c if c in "\t\n" or ord(c) >= 32 else chr(0x2400 + ord(c)) for c in text)


def unescape(line):
    """The bytes that a line of the text stands for."""
    known = {b"n": b"\n", b"t": b"\t", b"\\": b"\\"}
    return re.sub(rb"\\(x[0-9A-F]{2}|.)",
                  lambda m: bytes([int(m[1][1:], 16)]) if m[1][:1] == b"x" else known[m[1]], line)


class Cells(HTMLParser):
    """The rows of the only table."""

    def __init__(self):
        super().__init__()
        self.rows, self.cell = [], None

    def handle_starttag(self, tag, attrs):
        if tag == "tr":
            self.rows.append([])
        self.cell = [] if tag in ("td", "th") else self.cell

    def handle_endtag(self, tag):
        if tag in ("td", "th"):
            self.rows[-1].append("".join(self.cell))
            self.cell = None

    def handle_data(self, data):
        if self.cell is not None:
            self.cell.append(data)


def cells_of(page, strict):
    """The rows of the page, titles first. The parser takes minutes for a million rows; then they are cut out."""
    if strict:
        parser = Cells()
        parser.feed(page)
        yield from parser.rows
    else:
        for row in re.finditer("<tr>\n<t[hd]>(.*?)</t[hd]>\n</tr>", page, re.DOTALL):
            yield html.unescape(row[1]).replace("</th>", "</td>").replace("<th>", "<td>").split("</td>\n<td>")


def expected(kind, path):
    """For each row its cells as bytes, and the columns of the text."""
    db = sqlite3.connect(path)
    db.text_factory = bytes
    when = lambda t: time.strftime("%Y/%m/%d %H:%M:%S", time.localtime(t)).encode()
    if kind == "event":
        for category, name, stamp, server, text in db.execute(
                "SELECT category,name,timestamp,server_id,description FROM log_event ORDER BY timestamp,id"):
            kind_text = CATEGORIES.get(category, str(category)).encode()
            server_text = b"Local host" if server == 0 else b"Annexe" if server == 1 else str(server).encode()
            yield ([kind_text, name, when(stamp), server_text, text],
                   [when(stamp), kind_text, server_text, name + b": " + text])
    else:
        for level, stamp, user, args in db.execute("SELECT level,timestamp,user,args FROM log ORDER BY timestamp,id"):
            level_text = LEVELS.get(level, f"level_{level}").encode()
            text = json.loads(args)[0].encode()
            yield [level_text, when(stamp), user, text], [when(stamp), level_text, user, text]


def main(kind, tgz, database, strict=True):
    files = {}
    with tarfile.open(tgz) as tar:
        for member in tar:
            files[os.path.splitext(member.name)[1]] = tar.extractfile(member).read()
    problems = []

    def compare(what, got, want):
        if got != want:
            problems.append(f"{what}:\n  got  {str(got)[:300]}\n  want {str(want)[:300]}")

    page = files[".html"].decode("utf-8")
    titles = ["Category", "Name", "Time", "Server", "Description"] if kind == "event" else ["Level", "Time", "User", "Event"]
    files[".txt"].decode("utf-8")
    shown_rows = cells_of(page, strict)
    compare("page titles", next(shown_rows), titles)
    lines = files[".txt"].split(b"\n")
    compare("end of the text", lines.pop(), b"")
    count = 0
    for row, got, line in itertools.zip_longest(expected(kind, database), shown_rows, lines):
        if row is None or got is None or line is None:
            compare("rows of table, page and text", (row, got, line), "as many")
            break
        count += 1
        compare("page row", got, [shown(cell) for cell in row[0]])
        columns, want = line.split(b"\t"), row[1]
        compare("text columns", len(columns), 4)
        compare("text row", [unescape(c).rstrip(b" ") if i in (1, 2) else unescape(c) for i, c in enumerate(columns)],
                [c.rstrip(b" ") if i in (1, 2) else c for i, c in enumerate(want)])
        compare("widths", [len(c) >= 13 for c in columns[1:3]], [True, True])
    if strict:
        import html5lib
        html5lib.HTMLParser(strict=True).parse(re.sub("<td>[^<]{5000,}", "<td>", page))  # it is slow

    compare("spreadsheet", ".xlsx" in files, kind == "system")
    if kind == "system":
        import openpyxl
        book = openpyxl.load_workbook(io.BytesIO(files[".xlsx"]), read_only=True)
        sheet = [[cell or "" for cell in row] for s in book.worksheets for row in s.iter_rows(values_only=True)]
        compare("sheet titles", sheet[0], titles)
        compare("rows of the sheet", len(sheet) - 1, count)
        for got, (want, _) in zip(sheet[1:], expected(kind, database)):
            full = [shown(cell) for cell in want]
            compare("sheet row", got, [c if len(c) <= 32767 else c[:32764] + "..." for c in full])
    print("\n".join(problems[:10]) or f"{count} rows are the same")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1], sys.argv[2], sys.argv[3], "--fast" not in sys.argv))
