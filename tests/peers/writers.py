"""Mails that others write and hand to the server, each with what velorin-mail has to read."""

import email.charset
import email.header
import email.headerregistry
import email.message
import email.mime.application
import email.mime.multipart
import email.mime.text
import email.policy
import email.utils
import smtplib
import subprocess

import mails
import readers

PYTHON_MAILS = 60
# Header texts as they are typed: encoded words, raw UTF-8, ASCII; and what they say.
SWAKS_MAILS = [
    ("Plain ASCII", "Plain ASCII"),
    ("=?utf-8?B?5pel5pys6Kqe44Gu5Lu25ZCN?=", "日本語の件名"),
    ("=?iso-2022-jp?B?GyRCRnxLXDhsJE43b0w+GyhC?= (1)", "日本語の件名 (1)"),
    ("=?utf-8?Q?=E6=97=A5_=E6=9C=AC?= =?utf-8?Q?_x?=", "日 本 x"),
    ("=?Shift_JIS?B?k/qWew==?=", "日本"),
    ("日本語の件名", "日本語の件名"),
    ("=?utf-8?B?5pel5pys", "=?utf-8?B?5pel5pys"),
]


def with_charset(charset):
    """Python's own choice of encoded words, from a class for every set: base64 for ISO-2022-JP, too."""
    return email.charset.Charset(charset)


def old_style(mail, charset):
    """With email.mime and Header, as programs of many years write."""
    message = email.mime.multipart.MIMEMultipart()
    message["Subject"] = email.header.Header(mail.subject, with_charset(charset), header_name="Subject")
    message["From"] = str(email.header.Header(mail.from_name, with_charset(charset)).encode()) + f" <{mail.sender}>"
    message["To"] = ",\r\n ".join(
        email.header.Header(name, with_charset(charset)).encode() + f" <{address}>"
        for name, address in zip(mail.to_names, mail.recipients()))
    message["Message-Id"] = mail.marker
    message["Date"] = email.utils.formatdate()
    message.attach(email.mime.text.MIMEText(mail.text, "plain", charset))
    file = email.mime.application.MIMEApplication(mail.marker.encode())
    file.add_header("Content-Disposition", "attachment", filename=(charset, "", mail.file_name))
    message.attach(file)
    return message.as_bytes()


def new_style(mail):
    """With EmailMessage: UTF-8 everywhere, file names by RFC 2231."""
    message = email.message.EmailMessage(policy=email.policy.SMTP)
    message["Subject"] = mail.subject
    message["From"] = email.utils.formataddr((None, mail.sender))
    message.replace_header("From", email.headerregistry.Address(mail.from_name, addr_spec=mail.sender))
    message["To"] = [email.headerregistry.Address(name, addr_spec=address)
                     for name, address in zip(mail.to_names, mail.recipients())]
    message["Message-Id"] = mail.marker
    message.set_content(mail.text)
    message.add_attachment(mail.marker.encode(), maintype="application", subtype="octet-stream", filename=mail.file_name)
    return message.as_bytes()


def python_mails(port):
    written = {}
    for mail in mails.make_mails(PYTHON_MAILS):
        mail.number += 10000
        if mail.charset == "iso-2022-jp":
            octets = old_style(mail, "iso-2022-jp")
        elif mail.number % 2:
            octets = old_style(mail, "utf-8")
        else:
            octets = new_style(mail)
        with smtplib.SMTP("127.0.0.1", port) as server:
            server.sendmail(mail.sender, mail.recipients(), octets)
        written[mail.marker] = ("Python", readers.expected_of(mail))
    return written


def swaks_mails(port, scratch):
    written = {}
    file = scratch / "swaks.bin"
    file.write_bytes(b"\0swaks\xff")
    for number, (typed, subject) in enumerate(SWAKS_MAILS):
        marker = f"<{number}@swaks.test>"
        command = ["swaks", "--server", "127.0.0.1", "--port", str(port), "--helo", "client.test", "--from", "s@example.jp",
                   "--to", "t@example.jp", "--header", f"Subject: {typed}", "--header", f"Message-Id: {marker}",
                   "--header", f"From: {typed} <s@example.jp>", "--header", "To: t@example.jp", "--body", "本文です。\n",
                   "--attach-type", "application/octet-stream", "--attach-name", f"{typed}.bin", "--attach", f"@{file}",
                   "--silent", "2"]
        subprocess.run(command, check=True, timeout=60, stdin=subprocess.DEVNULL)
        written[marker] = ("swaks", {"subject": subject, "from": [(subject, "s@example.jp")], "to": [("", "t@example.jp")],
                                     "file name": f"{subject}.bin", "attachment": b"\0swaks\xff"})
    return written


def write_all(port, scratch):
    return {**python_mails(port), **swaks_mails(port, scratch)}
