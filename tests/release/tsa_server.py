"""A time-stamp authority on 127.0.0.1 for the release test: makes a
throw-away TSA certificate (and its CA) in a work folder, answers RFC 3161
requests posted over HTTP with `openssl ts -reply`, and prints its address
once it listens. Usage: tsa_server.py WORK_FOLDER (stops on SIGTERM)."""
import http.server
import os
import subprocess
import sys
import tempfile

CONFIG = """[ tsa ]
default_tsa = local
[ local ]
dir = {work}
serial = $dir/serial
crypto_device = builtin
signer_cert = $dir/tsa.pem
certs = $dir/tsa-ca.pem
signer_key = $dir/tsa.key
signer_digest = sha256
default_policy = 1.3.6.1.4.1.55555.1
digests = sha1, sha256, sha384, sha512
accuracy = secs:1
ordering = yes
tsa_name = yes
ess_cert_id_chain = no
ess_cert_id_alg = sha256
"""


def openssl(*args):
    subprocess.run(["openssl", *args], check=True, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)


def make_authority(work):
    path = lambda name: os.path.join(work, name)  # noqa: E731
    openssl("req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "3650", "-subj", "/CN=Test TSA root",
            "-keyout", path("tsa-ca.key"), "-out", path("tsa-ca.pem"))
    openssl("req", "-newkey", "rsa:2048", "-nodes", "-subj", "/CN=Test time stamps", "-keyout", path("tsa.key"),
            "-out", path("tsa.csr"))
    with open(path("tsa.ext"), "w") as f:
        f.write("extendedKeyUsage=critical,timeStamping\nkeyUsage=critical,digitalSignature\n")
    openssl("x509", "-req", "-in", path("tsa.csr"), "-CA", path("tsa-ca.pem"), "-CAkey", path("tsa-ca.key"),
            "-CAcreateserial", "-days", "3650", "-extfile", path("tsa.ext"), "-out", path("tsa.pem"))
    with open(path("serial"), "w") as f:
        f.write("01\n")
    with open(path("tsa.cnf"), "w") as f:
        f.write(CONFIG.format(work=work))


class Handler(http.server.BaseHTTPRequestHandler):
    work = None

    def do_POST(self):
        query = self.rfile.read(int(self.headers.get("Content-Length", "0")))
        with tempfile.TemporaryDirectory(dir=self.work) as tmp:
            with open(os.path.join(tmp, "q.tsq"), "wb") as f:
                f.write(query)
            done = subprocess.run(["openssl", "ts", "-reply", "-config", os.path.join(self.work, "tsa.cnf"),
                                   "-queryfile", os.path.join(tmp, "q.tsq"), "-chain",
                                   os.path.join(self.work, "tsa-ca.pem"), "-out", os.path.join(tmp, "r.tsr")],
                                  capture_output=True)
            if done.returncode != 0:
                self.send_error(500, done.stderr.decode(errors="replace")[-200:])
                return
            with open(os.path.join(tmp, "r.tsr"), "rb") as f:
                reply = f.read()
        self.send_response(200)
        self.send_header("Content-Type", "application/timestamp-reply")
        self.send_header("Content-Length", str(len(reply)))
        self.end_headers()
        self.wfile.write(reply)

    def log_message(self, *args):
        pass


def main():
    work = os.path.abspath(sys.argv[1])
    os.makedirs(work, exist_ok=True)
    make_authority(work)
    Handler.work = work
    server = http.server.HTTPServer(("127.0.0.1", 0), Handler)
    print(f"http://127.0.0.1:{server.server_port}/", flush=True)
    server.serve_forever()


if __name__ == "__main__":
    main()
