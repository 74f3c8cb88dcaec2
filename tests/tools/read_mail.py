#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""read_mail.py MAIL: what a mail program makes of it, as JSON. Fails on defects and on lines that no mail may have."""
import email
import email.policy
import json
import re
import sys

raw = open(sys.argv[1], "rb").read()
mail = email.message_from_bytes(raw, policy=email.policy.default)
problems = [str(d) for part in mail.walk() for d in part.defects]
problems += ["bare line feed"] * (re.search(rb"(?<!\r)\n|\r(?!\n)", raw) is not None)
problems += ["line above 78"] * any(len(line) > 78 for line in raw.split(b"\r\n"))
problems += ["8-bit byte"] * any(byte > 127 for byte in raw)
problems += [f"no {field}" for field in ("Date", "From", "To", "Subject", "Message-ID", "MIME-Version") if field not in mail]
html = mail.get_body(("html",)).get_content().replace("\r\n", "\n")
cids = re.findall(r'src="cid:([^"]+)"', html)
media = {part["Content-ID"].strip("<>"): part for part in mail.walk() if part["Content-ID"]}
print(json.dumps({
    "problems": problems,
    "tree": [part.get_content_type() for part in mail.walk()],
    "subject": mail["Subject"],
    "to": [[a.display_name, a.addr_spec] for a in mail["To"].addresses],
    "from": mail["From"].addresses[0].display_name,
    "date": mail["Date"].datetime.timestamp(),
    "text": mail.get_body(("plain",)).get_content().replace("\r\n", "\n"),
    "html": html,
    "cids": cids,
    "unresolved": [cid for cid in cids if cid not in media],
    "inline": [media[cid].get_content_disposition() for cid in cids if cid in media],
    "bytes": [media[cid].get_content().hex() for cid in cids if cid in media],
}))
