#!/usr/bin/env python3
"""Shows a mail as a person likes to read it and compares it with what was sent.

usage: show_mail.py MAIL TEXT_FILE ATTACHMENT

Reads the mail with Python's own e-mail package, which shares no code with the sender. Exit status 1 when the text or the
attachment differs.
"""
import email
import email.header
import email.policy
import sys


def readable(value):
    parts = email.header.decode_header(str(value).replace("\r", "").replace("\n", ""))
    return str(email.header.make_header(parts))


def describe(part):
    words = [part.get_content_type()]
    if part.get_content_charset():
        words.append(part.get_content_charset())
    if part.get("Content-Transfer-Encoding"):
        words.append(part["Content-Transfer-Encoding"])
    if part.get_filename():
        words.append('"%s"' % readable(part.get_filename()))
    if not part.is_multipart():
        words.append("%d octets" % len(part.get_payload(decode=True)))
    return ", ".join(words)


def print_tree(part, indent):
    print("  " + indent + describe(part))
    if part.is_multipart():
        children = part.get_payload()
        for number, child in enumerate(children, 1):
            print_tree(child, indent.replace("`-- ", "    ").replace("|-- ", "|   ")
                       + ("`-- " if number == len(children) else "|-- "))


def first_difference(sent, arrived):
    for offset, (left, right) in enumerate(zip(sent, arrived)):
        if left != right:
            return offset
    return min(len(sent), len(arrived))


def compare(what, sent, arrived):
    if sent == arrived:
        print("  %-11s %d octets, every one as sent" % (what, len(sent)))
        return True
    print("  %-11s DIFFERS at octet %d (sent %d, arrived %d octets)"
          % (what, first_difference(sent, arrived), len(sent), len(arrived)))
    return False


def main():
    if len(sys.argv) != 4:
        sys.exit("usage: show_mail.py MAIL TEXT_FILE ATTACHMENT")
    with open(sys.argv[1], "rb") as file:
        raw = file.read()
    mail = email.message_from_bytes(raw, policy=email.policy.compat32)

    print("\nHeader fields")
    for name, value in mail.items():
        print("  %-27s %s" % (name + ":", readable(value)))
    print("\nParts (%d octets in all)" % len(raw))
    print_tree(mail, "")

    leaves = [part for part in mail.walk() if not part.is_multipart()]
    text = next(part for part in leaves if part.get_content_type() == "text/plain")
    content = text.get_payload(decode=True).decode(text.get_content_charset())
    print("\nText")
    for line in content.splitlines():
        print("  | " + line)
    attachment = next(part for part in leaves if part.get_filename()).get_payload(decode=True)

    print("\nOn the server, compared with what was sent")
    with open(sys.argv[2], encoding="utf-8", newline="") as file:
        sent_text = file.read()
    with open(sys.argv[3], "rb") as file:
        sent_attachment = file.read()
    # A mail's lines end in CR LF, and its last line has an end.
    arrived_text = content.replace("\r\n", "\n").rstrip("\n").encode("utf-8")
    same = compare("text", sent_text.rstrip("\n").encode("utf-8"), arrived_text)
    same = compare("attachment", sent_attachment, attachment) and same
    sys.exit(0 if same else 1)


if __name__ == "__main__":
    main()
