"""Makes the installers that the signature tests read: a small program signed
by a throw-away signer, unsigned, signed by a second certificate with the
same subject name and another key, signed and then changed in one byte, and
that changed file signed again. The certificates are made here, with
openssl, and signed with osslsigncode; no private key is kept in the tree.

The signer's key (SHA-256 of its DER SubjectPublicKeyInfo) is computed with
the openssl command, apart from the code under test, and written beside the
files, with the signer's name: the tests compare what they read with these.

  make_signed_files.py OUT [--base PROGRAM] [--signer DIR]
  make_signed_files.py --new-signer DIR   (makes DIR/signer.* once, prints its key)

--base signs a copy of an existing program (one that runs); without it a
minimal program is written. --signer takes signer.key/signer.pem from DIR
(the signer a stub was built for) instead of making one."""
import argparse
import hashlib
import os
import shutil
import struct
import subprocess
import sys

SUBJECT = "/CN=Throwaway Signer (Pr\u00fcfung)/O=Kvo Tests"
NAME = "Throwaway Signer (Pr\u00fcfung)"


def run(*args):
    subprocess.run(args, check=True, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)


def make_signer(folder):
    """A self-signed code-signing certificate with SUBJECT and a new key."""
    os.makedirs(folder, exist_ok=True)
    key, cert = os.path.join(folder, "signer.key"), os.path.join(folder, "signer.pem")
    run("openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-utf8", "-subj", SUBJECT,
        "-days", "30", "-keyout", key, "-out", cert, "-addext", "extendedKeyUsage=codeSigning")
    return key, cert


def key_sha256(cert):
    """SHA-256 of the certificate's DER SubjectPublicKeyInfo, by the openssl command."""
    pem = subprocess.run(["openssl", "x509", "-in", cert, "-noout", "-pubkey"], check=True,
                         capture_output=True).stdout
    der = subprocess.run(["openssl", "pkey", "-pubin", "-outform", "DER"], input=pem, check=True,
                         capture_output=True).stdout
    return hashlib.sha256(der).hexdigest()


def minimal_program():
    """A PE32+ console program of one section whose entry returns 0."""
    dos = bytearray(0x40)
    dos[0:2] = b"MZ"
    struct.pack_into("<I", dos, 0x3C, 0x40)
    coff = struct.pack("<4sHHIIIHH", b"PE\0\0", 0x8664, 1, 0, 0, 0, 240, 0x0022)
    optional = struct.pack("<HBBIIIIIQIIHHHHHHIIIIHHQQQQII", 0x20B, 14, 0, 0x200, 0, 0, 0x1000, 0x1000,
                           0x140000000, 0x1000, 0x200, 6, 0, 0, 0, 6, 0, 0, 0x2000, 0x200, 0, 3, 0x8160,
                           0x100000, 0x1000, 0x100000, 0x1000, 0, 16) + bytes(16 * 8)
    section = struct.pack("<8sIIIIIIHHI", b".text", 0x10, 0x1000, 0x200, 0x200, 0, 0, 0, 0, 0x60000020)
    headers = bytes(dos) + coff + optional + section
    code = b"\x31\xc0\xc3"  # xor eax, eax; ret
    return headers.ljust(0x200, b"\0") + code.ljust(0x200, b"\xcc")


def sign(key, cert, source, target):
    if os.path.exists(target):
        os.remove(target)
    run("osslsigncode", "sign", "-certs", cert, "-key", key, "-h", "sha256", "-in", source, "-out", target)


def change_one_byte(source, target):
    """Flips one byte of the program's code, well inside the signed range."""
    data = bytearray(open(source, "rb").read())
    data[0x200 + 0x100] ^= 0x01
    open(target, "wb").write(data)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("out", nargs="?")
    parser.add_argument("--base")
    parser.add_argument("--signer")
    parser.add_argument("--new-signer")
    args = parser.parse_args()
    if args.new_signer:
        # Kept across runs, so that the stub built for it is not rebuilt.
        cert = os.path.join(args.new_signer, "signer.pem")
        if not os.path.exists(cert):
            make_signer(args.new_signer)
        print(key_sha256(cert))
        return 0
    out = args.out
    shutil.rmtree(out, ignore_errors=True)
    os.makedirs(out)

    unsigned = os.path.join(out, "unsigned.exe")
    if args.base:
        shutil.copyfile(args.base, unsigned)
    else:
        open(unsigned, "wb").write(minimal_program())
    if args.signer:
        key, cert = os.path.join(args.signer, "signer.key"), os.path.join(args.signer, "signer.pem")
    else:
        key, cert = make_signer(os.path.join(out, "signer"))
    impostor_key, impostor_cert = make_signer(os.path.join(out, "impostor"))

    sign(key, cert, unsigned, os.path.join(out, "signed.exe"))
    sign(impostor_key, impostor_cert, unsigned, os.path.join(out, "impostor.exe"))
    change_one_byte(os.path.join(out, "signed.exe"), os.path.join(out, "tampered.exe"))
    # osslsigncode replaces the signature of a signed input.
    sign(key, cert, os.path.join(out, "tampered.exe"), os.path.join(out, "resigned.exe"))
    open(os.path.join(out, "not-a-program.exe"), "wb").write(b"echo this is no program\r\n")

    # A folder reached through a symbolic link (Wine reports such a folder as
    # a reparse point).
    os.makedirs(os.path.join(out, "real-folder"))
    shutil.copyfile(os.path.join(out, "signed.exe"), os.path.join(out, "real-folder", "signed.exe"))
    os.symlink("real-folder", os.path.join(out, "linked-folder"))
    run("openssl", "x509", "-in", cert, "-outform", "DER", "-out", os.path.join(out, "signer.der"))
    shutil.copyfile(cert, os.path.join(out, "signer.pem"))
    with open(os.path.join(out, "expected.txt"), "w", encoding="utf-8", newline="\n") as f:
        f.write("signer %s\n" % key_sha256(cert))
        f.write("impostor %s\n" % key_sha256(impostor_cert))
        f.write("name %s\n" % NAME)
    return 0


if __name__ == "__main__":
    sys.exit(main())
