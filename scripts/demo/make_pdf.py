#!/usr/bin/env python3
"""Writes a small but valid PDF: make_pdf.py FILE [SIZE_IN_KIB]

Text pages and one picture of noise that does not compress, so that the file has the asked size. The same arguments give
the same octets.
"""
import random
import sys
import zlib


def build(size):
    objects = []

    def add(body):
        objects.append(body)
        return len(objects)

    side = max(64, int((max(size - 4096, 0) / 3) ** 0.5))
    noise = random.Random(1).randbytes(side * side * 3)
    picture = zlib.compress(noise, 1)
    catalog = add(b"")
    pages = add(b"")
    font = add(b"<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica >>")
    image = add(
        b"<< /Type /XObject /Subtype /Image /Width %d /Height %d /ColorSpace /DeviceRGB /BitsPerComponent 8"
        b" /Filter /FlateDecode /Length %d >>\nstream\n" % (side, side, len(picture))
        + picture + b"\nendstream")
    kids = []
    for number in range(1, 4):
        text = b"BT /F1 24 Tf 72 720 Td (Page %d of a test document) Tj ET" % number
        drawing = b"" if number > 1 else b" q 400 0 0 400 98 200 cm /Im1 Do Q"
        content = text + drawing
        stream = add(b"<< /Length %d >>\nstream\n" % len(content) + content + b"\nendstream")
        kids.append(add(
            b"<< /Type /Page /Parent %d 0 R /MediaBox [0 0 595 842] /Contents %d 0 R"
            b" /Resources << /Font << /F1 %d 0 R >> /XObject << /Im1 %d 0 R >> >> >>"
            % (pages, stream, font, image)))
    objects[catalog - 1] = b"<< /Type /Catalog /Pages %d 0 R >>" % pages
    objects[pages - 1] = b"<< /Type /Pages /Count %d /Kids [%s] >>" % (
        len(kids), b" ".join(b"%d 0 R" % kid for kid in kids))

    out = bytearray(b"%PDF-1.4\n%\xe2\xe3\xcf\xd3\n")
    offsets = []
    for number, body in enumerate(objects, 1):
        offsets.append(len(out))
        out += b"%d 0 obj\n" % number + body + b"\nendobj\n"
    table = len(out)
    out += b"xref\n0 %d\n0000000000 65535 f \n" % (len(objects) + 1)
    for offset in offsets:
        out += b"%010d 00000 n \n" % offset
    out += b"trailer\n<< /Size %d /Root %d 0 R >>\nstartxref\n%d\n%%%%EOF\n" % (len(objects) + 1, catalog, table)
    return bytes(out)


def main():
    if len(sys.argv) not in (2, 3):
        sys.exit("usage: make_pdf.py FILE [SIZE_IN_KIB]")
    size = int(sys.argv[2]) if len(sys.argv) == 3 else 300
    with open(sys.argv[1], "wb") as file:
        file.write(build(size * 1024))


if __name__ == "__main__":
    main()
