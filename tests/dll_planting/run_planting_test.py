"""A bcrypt.dll planted beside the stub and beside kvotool.exe must never be
loaded, for a plain-JSON title or a container; nor a wintrust.dll beside a
stub that checks the installer it elevates. Wine prefers its own DLLs, so
the test asks it to take a native copy from the program's folder first, as
Windows does for DLLs outside the known-DLL list; a control program that
imports each DLL the ordinary way proves that the planting is real."""
import argparse
import os
import shutil
import subprocess
import sys

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "..", "support"))
import wine_stub  # noqa: E402

MARKER = "planted-dll-loaded.txt"
check = wine_stub.Checks()


def marker_text(folder):
    path = os.path.join(folder, MARKER)
    if not os.path.exists(path):
        return None
    with open(path, "rb") as f:
        text = f.read().decode("utf-16-le", "replace")
    os.remove(path)
    return text


def main():
    parser = argparse.ArgumentParser()
    for name in ("stub", "kvotool", "dll", "control", "wintrust-control", "policy-stub", "signer", "installer",
                 "title", "work"):
        parser.add_argument("--" + name, required=True)
    args = parser.parse_args()

    os.makedirs(args.work, exist_ok=True)
    folder, stub = wine_stub.game_folder(args.work, args.stub)
    for program in (args.kvotool, args.control, args.wintrust_control):
        shutil.copy2(program, folder)
    for dll in ("bcrypt.dll", "wintrust.dll"):
        shutil.copy2(args.dll, os.path.join(folder, dll))
    shutil.copy2(args.title, os.path.join(folder, "title.json"))
    env = wine_stub.wine_env(WINEDLLOVERRIDES="mscoree,mshtml=;bcrypt,wintrust=n,b")

    # Controls: the ordinary import takes the planted copy.
    for control, dll in ((args.control, "bcrypt.dll"), (args.wintrust_control, "wintrust.dll")):
        wine_stub.run(os.path.basename(control), cwd=folder, env=env)
        loaded = marker_text(folder)
        check(loaded is not None and os.path.basename(control) in loaded,
              "control: a program importing %s loads the planted copy" % dll)
        if loaded is None:
            print("planting is not effective here: the stub's result would mean nothing")
            return 1

    kvotool = os.path.basename(args.kvotool)
    shutil.copy2(os.path.join(folder, "title.json"), os.path.join(folder, "title.kvo"))
    for title in ("plain JSON", "container"):
        if title == "container":
            os.remove(os.path.join(folder, "title.kvo"))
            packed = wine_stub.run(kvotool, ["pack", "title.json", "-o", "title.kvo"], cwd=folder, env=env)
            check(packed.returncode == 0 and os.path.exists(os.path.join(folder, "title.kvo")),
                  "kvotool.exe packs the container (encrypts with the system's bcrypt)")
            check(marker_text(folder) is None, "kvotool.exe pack: the planted bcrypt.dll is not loaded")
            shown = wine_stub.run(kvotool, ["show", "title.kvo"], cwd=folder, env=env)
            check(shown.returncode == 0 and b"load: 0 Ok" in shown.stdout,
                  "kvotool.exe show decrypts the container")
            check(marker_text(folder) is None, "kvotool.exe show: the planted bcrypt.dll is not loaded")
        wine_stub.clear_stub_log()
        wine_stub.run(os.path.basename(stub), ["-stub_log"], cwd=folder, env=env)
        log = wine_stub.read_stub_log() or b""
        # The stub went past loading the metadata: for a container that means
        # it decrypted it with the system's bcrypt.
        check(b"Running " in log and b"Problem loading metadata" not in log,
              "stub, %s title: the metadata loads" % title)
        check(marker_text(folder) is None, "stub, %s title: the planted bcrypt.dll is not loaded" % title)

    check_policy_stub(args, env)
    return check.finish()


def check_policy_stub(args, env):
    """The stub with a policy checks an "epic" title's installer through
    wintrust.dll: the system's copy, never the planted one. The planted copy
    would call every file trusted; the unsigned installer's refusal as "not
    signed" shows that the system's verdict was read."""
    files = os.path.join(args.work, "signed-files")
    subprocess.run([sys.executable, os.path.join(os.path.dirname(__file__), "..", "signature",
                                                 "make_signed_files.py"), files, "--base", args.installer,
                    "--signer", args.signer], check=True)
    folder, stub = wine_stub.game_folder(args.work, args.policy_stub, name="PolicyGame")
    for dll in ("bcrypt.dll", "wintrust.dll"):
        shutil.copy2(args.dll, os.path.join(folder, dll))
    shutil.copyfile(os.path.join(os.path.dirname(__file__), "..", "signature", "epic-title.json"),
                    os.path.join(folder, "title.kvo"))
    os.makedirs(os.path.join(folder, "Redistributables"))
    installer = os.path.join(folder, "Redistributables", "Tavrin-Games-Epic.exe")
    for source, refused in (("signed.exe", False), ("unsigned.exe", True)):
        shutil.copy2(os.path.join(files, source), installer)
        wine_stub.clear_stub_log()
        wine_stub.run(os.path.basename(stub), ["-stub_log"], cwd=folder, env=env)
        log = (wine_stub.read_stub_log() or b"").decode("utf-8", "replace")
        refusal = [l for l in log.splitlines() if "Tavrin-Games-Epic.exe: " in l]
        if refused:
            check(any(l.endswith(": not signed") for l in refusal),
                  "policy stub, %s installer: refused as not signed" % source)
        else:
            check(not refusal and "Launch succeeded" in log, "policy stub, %s installer: accepted" % source)
        check(marker_text(folder) is None, "policy stub, %s installer: the planted wintrust.dll is not loaded"
              % source)


if __name__ == "__main__":
    with wine_stub.LogFolderMade():
        status = main()
    sys.exit(status)
