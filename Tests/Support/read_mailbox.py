"""Prints the one mail of a mailbox file as JSON: its fields and body as Python's email package reads
them.

Usage: read_mailbox.py FILE
"""

import email
import email.policy
import json
import mailbox
import sys


def parse(file):
    return email.message_from_binary_file(file, policy=email.policy.default)


mails = list(mailbox.mbox(sys.argv[1], factory=parse, create=False))
fields = {name: [str(value) for value in mail.get_all(name)] for mail in mails for name in mail}
addresses = {
    name: [[address.display_name, address.addr_spec] for address in mail[name].addresses]
    for mail in mails for name in ("From", "To", "Cc") if name in mail
}
defects = [str(defect) for mail in mails for defect in mail.defects]
print(json.dumps({
    "count": len(mails), "fields": fields, "addresses": addresses, "defects": defects,
    "body": mails[0].get_content(), "type": mails[0].get_content_type(),
    "charset": mails[0].get_content_charset(),
}))
