"""kvotool doctor on a game folder whose store-front installer is signed by
the pinned signer, unsigned, signed by an impostor with the same subject
name, changed after signing, or changed and signed again: it names the
signer and its key, and with a signer policy (--installer-signer CERT or
--installer-keys HEX) reports exactly the installers that a stub built with
that policy refuses, with the stub's own reason. The same table holds for
kvotool natively (OpenSSL) and kvotool.exe under Wine (the system's trust
provider), so the two back ends agree. Without a policy nothing is refused,
which shows that the refusals come from the policy."""
import argparse
import json
import os
import shutil
import subprocess
import sys

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "..", "support"))
import wine_stub  # noqa: E402

UNEXPECTED = "signed by an unexpected key ({name})"
# installer file, what the signature note says, the reason a policy stub gives (None: runs it)
CASES = [
    ("signed.exe", "is signed by {name} (key SHA-256 {signer})", None),
    ("unsigned.exe", "is not signed", "not signed"),
    ("impostor.exe", "is signed by {name} (key SHA-256 {impostor})", UNEXPECTED),
    ("tampered.exe", "was changed after signing", "changed after signing"),
    ("resigned.exe", "is signed by {name} (key SHA-256 {signer})", None),
]
check = wine_stub.Checks()


def windows_path(path):
    return "Z:" + os.path.abspath(path).replace("/", "\\")


def doctor(args, folder, policy):
    command = ["doctor", "--format", "json", *policy, folder]
    if args.runner == "wine":
        command = [windows_path(a) if "/" in a and os.path.exists(a) else a for a in command]
        done = wine_stub.run(args.kvotool, command, timeout=120)
    else:
        done = subprocess.run([args.kvotool, *command], capture_output=True, timeout=120)
    try:
        report = json.loads(done.stdout.decode("utf-8"))["reports"][0]
    except (ValueError, KeyError, IndexError):
        check(False, f"doctor {' '.join(policy)} printed a JSON report (stderr {done.stderr[-300:]!r})")
        return None, []
    return report, report["findings"]


def by_rule(findings, rule):
    return [f["message"] for f in findings if f.get("rule") == rule]


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--kvotool", required=True)
    parser.add_argument("--files", required=True, help="the folder of make_signed_files.py")
    parser.add_argument("--runner", choices=["native", "wine"], default="native")
    parser.add_argument("--title", required=True)
    parser.add_argument("--work", required=True)
    args = parser.parse_args()

    expected = dict(line.rstrip("\n").split(" ", 1) for line in open(os.path.join(args.files, "expected.txt"),
                                                                      encoding="utf-8"))
    words = {"name": expected["name"], "signer": expected["signer"], "impostor": expected["impostor"]}
    with open(args.title, encoding="utf-8") as f:
        title = json.load(f)
    title["gamePlatform"] = "epic"  # runs its installer elevated at every start

    policies = [
        ("--installer-signer PEM", ["--installer-signer", os.path.join(args.files, "signer.pem")]),
        ("--installer-signer DER", ["--installer-signer", os.path.join(args.files, "signer.der")]),
        ("--installer-keys", ["--installer-keys", f"{'0' * 64};{expected['signer']}"]),
    ]
    for installer, note, reason in CASES:
        folder = os.path.join(args.work, installer.replace(".exe", ""))
        shutil.rmtree(folder, ignore_errors=True)
        os.makedirs(os.path.join(folder, "Redistributables"))
        with open(os.path.join(folder, "title.kvo"), "w", encoding="utf-8") as f:
            json.dump(title, f)
        shutil.copyfile(os.path.join(args.files, installer), os.path.join(folder, "PlayGame.exe"))
        shutil.copyfile(os.path.join(args.files, installer),
                        os.path.join(folder, "Redistributables", "Tavrin-Games-Epic.exe"))

        report, findings = doctor(args, folder, [])
        if report is None:
            continue
        check(by_rule(findings, "installer-signature") == ["the installer " + note.format(**words)],
              f"{installer}: doctor says the installer {note.format(**words)} "
              f"(got {by_rule(findings, 'installer-signature')})")
        check(not by_rule(findings, "installer-refused"), f"{installer}: without a policy nothing is refused")

        for label, policy in policies:
            report, findings = doctor(args, folder, policy)
            if report is None:
                continue
            refused = by_rule(findings, "installer-refused")
            if reason is None:
                check(not refused and by_rule(findings, "installer-policy"),
                      f"{installer}, {label}: a stub with the policy runs it (got {refused})")
                check("runs Redistributables\\Tavrin-Games-Epic.exe elevated" in report["verdict"]["text"],
                      f"{installer}, {label}: the verdict runs the installer")
            else:
                want = f"({reason.format(**words)})"
                error = [f for f in findings if f.get("rule") == "installer-refused"]
                check(len(refused) == 1 and want in refused[0] and error[0]["severity"] == "error",
                      f"{installer}, {label}: refused as {want} (got {refused})")
                check(report["verdict"]["text"].startswith("the stub shows message 3"),
                      f"{installer}, {label}: the verdict is message 3 (got {report['verdict']['text']!r})")
    return check.finish()


if __name__ == "__main__":
    sys.exit(main())
