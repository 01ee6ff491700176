#!/usr/bin/env python3
"""Makes the mails that a receiving benchmark fetches: files 1, 2, 3 and so on, with lines that end in CR LF.

usage: make_mails.py FOLDER COUNT       so many mails of about 2 KiB: plain, quoted-printable, with an attachment
       make_mails.py FOLDER large MIB   one mail with an attachment of so many MiB
       make_mails.py --check MAILS WRITTEN
                                        whether what is in these mails was written, decoded, to the files of a
                                        folder, part behind part
"""
import base64
import email
import os
import random
import sys

LINE = "A line of a small mail, as long as lines of text often are, and then some more.\r\n"
QUOTED = "Gr=C3=BC=C3=9Fe aus K=C3=B6ln, und eine Zeile, die =\r\nweiter geht als sie darf.\r\n"
BOUNDARY = "----=_boundary_of_this_mail"


def header(number, fields):
    return (f"Return-Path: <sender@example.com>\r\n"
            f"Received: from sender.example.com by mail.example.org; Thu, 01 Jan 2026 12:00:01 +0000\r\n"
            f"From: A Sender <sender@example.com>\r\nTo: A Reader <reader@example.org>\r\n"
            f"Subject: =?UTF-8?B?R3LDvMOfZQ==?= number {number}\r\n"
            f"Date: Thu, 01 Jan 2026 12:00:00 +0000\r\nMessage-ID: <{number}@example.com>\r\n"
            f"MIME-Version: 1.0\r\n{fields}\r\n")


def text_part(number):
    if number % 3 == 1:
        return "Content-Type: text/plain; charset=us-ascii\r\n", LINE * 20
    return ("Content-Type: text/plain; charset=UTF-8\r\nContent-Transfer-Encoding: quoted-printable\r\n",
            QUOTED * 20)


def with_attachment(number, write, pieces):
    write(header(number, f'Content-Type: multipart/mixed;\r\n boundary="{BOUNDARY}"\r\n').encode())
    write((f"--{BOUNDARY}\r\nContent-Type: text/plain; charset=us-ascii\r\n\r\nA file is attached.\r\n"
           f"--{BOUNDARY}\r\nContent-Type: application/octet-stream; name=data.bin\r\n"
           "Content-Disposition: attachment; filename=data.bin\r\n"
           "Content-Transfer-Encoding: base64\r\n\r\n").encode())
    for piece in pieces:
        write(base64.encodebytes(piece).replace(b"\n", b"\r\n"))
    write(f"--{BOUNDARY}--\r\n".encode())


def small_mail(number, write, octets):
    if number % 3 == 0:
        return with_attachment(number, write, [octets.randbytes(960)])
    fields, text = text_part(number)
    write((header(number, fields) + text).encode())


def check(mails, folder):
    for name in os.listdir(mails):
        with open(f"{mails}/{name}", "rb") as file:
            mail = email.message_from_bytes(file.read())  # from a file it would change line ends
        leaves = mail.get_payload() if mail.is_multipart() else [mail]
        expected = b"".join(leaf.get_payload(decode=True) for leaf in leaves)
        with open(f"{folder}/{name}", "rb") as file:
            written = file.read()
        if leaves[-1].get_content_maintype() == "text":  # whose last line end is a matter of taste
            written, expected = written.rstrip(b"\r\n"), expected.rstrip(b"\r\n")
        if written != expected:
            sys.exit(f"{folder}/{name} is not what is in the mail")


def main():
    if sys.argv[1] == "--check":
        return check(*sys.argv[2:])
    folder, what = sys.argv[1:3]
    os.makedirs(folder)
    octets = random.Random(1)
    if what == "large":
        # Whole lines of base64 a piece, so that the lines join.
        step = 57 << 14
        total = int(sys.argv[3]) << 20
        sizes = [min(step, total - at) for at in range(0, total, step)]
        with open(f"{folder}/1", "wb") as file:
            with_attachment(1, file.write, (octets.randbytes(size) for size in sizes))
        return
    for number in range(1, int(what) + 1):
        with open(f"{folder}/{number}", "wb") as file:
            small_mail(number, file.write, octets)


main()
