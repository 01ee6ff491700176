"""What each reader makes of a mail: subject, names with addresses, file name, text, attachment."""

import base64
import email
import email.header
import email.policy
import email.utils
import json
import re

import gi

gi.require_version("GMime", "3.0")
from gi.repository import GMime  # noqa: E402

GMime.init()


def expected_of(mail):
    return {"subject": mail.subject, "from": [(mail.from_name, mail.sender)],
            "to": list(zip(mail.to_names, mail.recipients())), "file name": mail.file_name, "text": mail.text,
            "attachment": mail.marker.encode()}


def marker_of(octets):
    return email.message_from_bytes(octets)["Message-Id"].strip()


def line_problems(octets):
    """RFC 2047, section 2: a word has 75 characters at most, a line that holds one 76."""
    header = octets.partition(b"\r\n\r\n")[0]
    for line in header.split(b"\r\n"):
        words = [word for word in line.split() if word.startswith(b"=?")]
        if words and len(line) > 76:
            yield f"a line of {len(line)} characters: {line}"
        if any(len(word.partition(b"<")[0]) > 75 + 1 for word in words):  # a comma may stand behind it
            yield f"a word that is too long: {line}"


def lines_of(text):
    return text.replace("\r\n", "\n").rstrip("\n") + "\n"


def of_python(octets):
    mail = email.message_from_bytes(octets, policy=email.policy.default)
    raw = email.message_from_bytes(octets)
    parts = [part for part in mail.walk() if not part.is_multipart()]
    texts = [part for part in parts if part.get_filename() is None]
    files = [part for part in parts if part.get_filename() is not None]
    read = {"subject": mail["subject"]}
    for field in ("from", "to"):
        # Not by the new policy: in Python 3.11 it leaves a blank between the encoded words of a name.
        read[field] = [(str(email.header.make_header(email.header.decode_header(name))), address)
                       for name, address in email.utils.getaddresses([raw[field]])]
    read["text"] = lines_of(texts[0].get_payload(decode=True).decode(texts[0].get_content_charset()))
    read["file name"] = files[0].get_filename()
    read["attachment"] = files[0].get_payload(decode=True)
    return read


def joined_words(octets):
    """The header with neighbouring words made one, where an inner one ends in padding: GMime 3.2 joins the base64 of
    neighbours before it decodes it, and stops at the padding. RFC 2047 has each word decoded by itself."""
    def join(run):
        words = re.findall(rb"=\?([^?]+)\?B\?([^?]*)\?=", run.group())
        if not any(text.endswith(b"=") for _, text in words[:-1]):
            return run.group()
        text = base64.b64encode(b"".join(base64.b64decode(text, validate=True) for _, text in words))
        return b"=?" + words[0][0] + b"?B?" + text + b"?="
    word = rb"=\?[^?]+\?B\?[^?]*\?="
    return re.sub(word + rb"(\r\n\t" + word + rb")+", join, octets)


def entries_of_gmime(addresses):
    entries = [addresses.get_address(index) for index in range(addresses.length())]
    return [(entry.get_name(), entry.get_addr()) for entry in entries]


def of_gmime(octets):
    mail = GMime.Parser.new_with_stream(GMime.StreamMem.new_with_buffer(joined_words(octets))).construct_message(None)
    body = mail.get_mime_part()
    text, file = body.get_part(0), body.get_part(1)
    stream = GMime.StreamMem.new()
    file.get_content().write_to_stream(stream)
    return {"subject": mail.get_subject(),
            "from": entries_of_gmime(mail.get_addresses(GMime.AddressType.FROM)),
            "to": entries_of_gmime(mail.get_addresses(GMime.AddressType.TO)),
            "text": lines_of(text.get_text()), "file name": file.get_filename(),
            "attachment": bytes(stream.get_byte_array())}


def entries_of_list(text):
    """The entries of an address field in UTF-8, its quotes taken away."""
    entries, name, quoted, at = [], "", False, 0
    while at < len(text):
        octet = text[at]
        if quoted and octet == "\\":
            at += 1
            name += text[at]
        elif octet == '"':
            quoted = not quoted
        elif octet == "<" and not quoted:
            end = text.index(">", at)
            entries.append((name.strip(" \t"), text[at + 1:end]))
            name, at = "", end
        elif octet == "," and not quoted and not name.strip():
            name = ""
        else:
            name += octet
        at += 1
    if name.strip():
        entries.append(("", name.strip()))
    return entries


def of_velorin_mail(folder):
    facts = json.loads((folder / "mail.json").read_text())
    headers = facts["headers"]
    read = {"subject": headers.get("subject", "")}
    for field in ("from", "to"):
        read[field] = entries_of_list(headers.get(field, ""))
    for part in facts["parts"]:
        if "file" not in part:
            continue
        octets = (folder / part["file"]).read_bytes()
        if "file_name" in part:
            read["file name"], read["attachment"] = part["file_name"], octets
        else:
            read["text"] = lines_of(octets.decode())
    return read
