"""Certificates of the test servers, made anew for every start."""

import os

from server_parts import openssl


class Certificates:
    """Two authorities (the tests trust one of them) and the servers' certificates."""

    def __init__(self, folder):
        self.folder = folder
        os.mkdir(folder)
        for authority in ("ca", "other_ca"):
            self._openssl("req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes",
                          "-keyout", f"{authority}.key", "-out", f"{authority}.pem", "-days", "2",
                          "-subj", f"/CN=Test authority {authority}")
        self._issue("server", "DNS:localhost,IP:127.0.0.1")
        self._issue("other_name", "DNS:mail.example.org")
        self._issue("expired", "DNS:localhost,IP:127.0.0.1", "20200101000000Z", "20200201000000Z")

    def _openssl(self, *arguments):
        openssl(*arguments, cwd=self.folder)

    def _issue(self, name, alternative_names, start=None, end=None):
        self._openssl("req", "-new", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes",
                      "-keyout", f"{name}.key", "-out", f"{name}.csr", "-subj", f"/CN={name}")
        # The "ca" command, because it alone takes a beginning and an end that lie in the past.
        with open(f"{self.folder}/{name}.cnf", "w", encoding="ascii") as config:
            config.write("[ca]\ndefault_ca=d\n[d]\nnew_certs_dir=.\ndatabase=index.txt\nrand_serial=yes\n"
                         "default_md=sha256\npolicy=p\nx509_extensions=x\ndefault_days=2\n[p]\ncommonName=supplied\n"
                         f"[x]\nbasicConstraints=CA:FALSE\nsubjectAltName={alternative_names}\n")
        with open(f"{self.folder}/index.txt", "w", encoding="ascii"):
            pass
        dates = ("-startdate", start, "-enddate", end) if start else ()
        self._openssl("ca", "-batch", "-notext", "-config", f"{name}.cnf", "-cert", "ca.pem", "-keyfile", "ca.key",
                      "-in", f"{name}.csr", "-out", f"{name}.pem", *dates)
