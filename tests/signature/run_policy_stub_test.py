"""The stub built with an installer policy, under Wine, for an "epic" title
(whose installer runs elevated on every start): an installer signed by the
pinned signer runs and the launch goes on; one that is unsigned, signed by a
second certificate with the same subject name, changed after signing, reached
through a folder link, or missing, never starts: the player sees message 205
and stub.log names the installer and the reason. While the accepted installer
runs, no other process can rename it; with the development stub (no policy)
the same rename works, which shows the attempt is a real one."""
import argparse
import json
import os
import shutil
import subprocess
import sys
import time

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "..", "support"))
import wine_stub  # noqa: E402

HERE = os.path.dirname(os.path.abspath(__file__))
INSTALLER = os.path.join("Redistributables", "Tavrin-Games-Epic.exe")
# A complete "epic" title, shared with the DLL-planting test.
TITLE = os.path.join(HERE, "epic-title.json")
check = wine_stub.Checks()


def windows_path(path):
    return "Z:" + os.path.abspath(path).replace("/", "\\")


def read_record(path):
    if not os.path.exists(path):
        return []
    with open(path, encoding="utf-8", errors="replace") as f:
        return [line[len("program="):] for line in f.read().splitlines() if line.startswith("program=")]


class Game:
    """A game folder with the stub, the title, a launcher and one installer."""

    def __init__(self, root, stub, recorder, installer_source, layout="plain"):
        self.folder, self.stub = wine_stub.game_folder(root, stub)
        shutil.copyfile(TITLE, os.path.join(self.folder, "title.kvo"))
        launcher_folder = os.path.join(self.folder, "LauncherHome")
        os.makedirs(launcher_folder)
        self.launcher = os.path.join(launcher_folder, "Launcher.exe")
        shutil.copy2(recorder, self.launcher)
        redist = os.path.join(self.folder, "Redistributables")
        if layout == "linked-folder":
            # Redistributables is a link to another folder, as a junction
            # would be; Wine reports such a folder as a reparse point.
            real = os.path.join(self.folder, "RealRedist")
            os.makedirs(real)
            os.symlink("RealRedist", redist)
        else:
            os.makedirs(redist)
        self.installer = os.path.join(self.folder, INSTALLER)
        if installer_source:
            shutil.copy2(installer_source, self.installer)
        self.record = os.path.join(root, "record.txt")
        if os.path.exists(self.record):
            os.remove(self.record)

    def env(self, **extra):
        return wine_stub.wine_env(KVO_E2E_RECORD=windows_path(self.record), **extra)

    def args(self):
        return ["-stub_log", "-forceLauncherPath", windows_path(self.launcher)]

    def run(self):
        wine_stub.clear_stub_log()
        wine_stub.run(os.path.basename(self.stub), self.args(), cwd=self.folder, env=self.env())
        return read_record(self.record), (wine_stub.read_stub_log() or b"").decode("utf-8", "replace")


def probe(args, action, target, cwd, env):
    shutil.copy2(args.probe, os.path.join(args.work, "probe.exe"))
    return subprocess.run(["wine", windows_path(os.path.join(args.work, "probe.exe")), action, target], cwd=cwd,
                          env=env, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                          timeout=120)


def check_paths_never_searched(args, files, message_205):
    """In every build: an installer that is not where the title says is not
    looked for elsewhere, and a network location is not even looked up."""
    # Only a folder on the search path holds Redistributables\Tavrin-Games-Epic.exe.
    elsewhere = os.path.join(args.work, "on-path")
    os.makedirs(os.path.join(elsewhere, "Redistributables"), exist_ok=True)
    shutil.copy2(os.path.join(files, "unsigned.exe"), os.path.join(elsewhere, INSTALLER))
    for stub, kind in ((args.dev_stub, "development stub"), (args.policy_stub, "policy stub")):
        game = Game(os.path.join(args.work, "game"), stub, args.recorder, None)
        os.rmdir(os.path.dirname(game.installer))
        env = game.env(WINEPATH=windows_path(elsewhere))
        if kind == "development stub":
            # Control: the relative name handed to the shell as it is finds the file on the path.
            probe(args, "elevate", INSTALLER, game.folder, env)
            check(any(r.endswith("Tavrin-Games-Epic.exe") for r in read_record(game.record)),
                  "control: the shell given the relative name starts the copy on the search path")
            os.remove(game.record)
        wine_stub.clear_stub_log()
        wine_stub.run(os.path.basename(game.stub), game.args(), cwd=game.folder, env=env)
        runs, log = read_record(game.record), (wine_stub.read_stub_log() or b"").decode("utf-8", "replace")
        check(not runs and message_205 in log,
              "%s: the installer on the search path is not started, message 205 (ran %s)" % (kind, runs))

    # A network share on a host name that cannot resolve: Wine's file trace
    # shows every path opened, so the share's name must not appear in it.
    share = "\\\\nohost-kvo.invalid\\share"
    with open(TITLE, encoding="utf-8") as f:
        title = json.load(f)
    for key in ("epicSdkVersion", "epicProductId"):
        title.pop(key)
    title.update(gamePlatform="steam", steamInstallerPath=share)
    for stub, kind in ((args.dev_stub, "development stub"), (args.policy_stub, "policy stub")):
        game = Game(os.path.join(args.work, "game"), stub, args.recorder, None)
        with open(os.path.join(game.folder, "title.kvo"), "w", encoding="utf-8") as f:
            json.dump(title, f)
        env = game.env(WINEDEBUG="trace+file")
        if kind == "development stub":
            traced = probe(args, "elevate", share + "\\Tavrin-Games-Launcher.exe", game.folder, env)
            check(b"nohost-kvo" in traced.stderr, "control: the file trace shows a start from the share")
        wine_stub.clear_stub_log()
        # No launcher given: a Steam title runs its installer only while the launcher is not installed.
        done = wine_stub.run(os.path.basename(game.stub), ["-stub_log"], cwd=game.folder, env=env)
        log = (wine_stub.read_stub_log() or b"").decode("utf-8", "replace")
        check(b"nohost-kvo" not in done.stderr, "%s: the share is never opened" % kind)
        refused = [l for l in log.splitlines() if l.endswith(": names a network or device location")]
        check(len(refused) == 1 and share + "\\Tavrin-Games-Launcher.exe" in refused[0] and message_205 in log,
              "%s: refused as a network location, message 205" % kind)


def main():
    parser = argparse.ArgumentParser()
    for name in ("policy-stub", "dev-stub", "signer", "recorder", "probe", "strings", "support-url", "work"):
        parser.add_argument("--" + name, required=True)
    args = parser.parse_args()
    shutil.rmtree(args.work, ignore_errors=True)
    os.makedirs(args.work)
    files = os.path.join(args.work, "files")
    subprocess.run([sys.executable, os.path.join(HERE, "make_signed_files.py"), files, "--base", args.recorder,
                    "--signer", args.signer], check=True)
    name = open(os.path.join(files, "expected.txt"), encoding="utf-8").read().split("name ", 1)[1].strip()
    texts = wine_stub.read_texts(args.strings, 1033, wine_stub.read_support_url(args.support_url))
    message_205 = texts[205]

    cases = [
        ("signed by the pinned signer", "signed.exe", "plain", None),
        ("unsigned", "unsigned.exe", "plain", "not signed"),
        ("impostor with the same subject", "impostor.exe", "plain", "signed by an unexpected key (%s)" % name),
        ("changed after signing", "tampered.exe", "plain", "changed after signing"),
        ("through a folder link", "signed.exe", "linked-folder", "is a link"),
        ("missing", None, "plain", "could not be opened"),
    ]
    for label, source, layout, reason in cases:
        game = Game(os.path.join(args.work, "game"), args.policy_stub, args.recorder,
                    source and os.path.join(files, source), layout)
        runs, log = game.run()
        installer_ran = any(r.endswith("Tavrin-Games-Epic.exe") for r in runs)
        launcher_ran = any(r.endswith("Launcher.exe") for r in runs)
        if reason is None:
            check(installer_ran and launcher_ran, "%s: the installer runs, then the launcher" % label)
            check(message_205 not in log and "Launch finished." in log, "%s: no message, the launch ends" % label)
            continue
        check(not installer_ran, "%s: the installer never started" % label)
        check(not launcher_ran, "%s: the launch stops" % label)
        check(message_205 in log, "%s: message 205 shown" % label)
        lines = [l for l in log.splitlines() if l.endswith(": " + reason) and "Tavrin-Games-Epic.exe" in l]
        check(len(lines) == 1, "%s: stub.log names the installer and the reason \"%s\"" % (label, reason))
        for line in lines:
            print("     logged: " + line.split("] ", 1)[-1])

    check_paths_never_searched(args, files, message_205)

    # While the accepted installer runs, another process tries to rename it.
    for stub, held in ((args.policy_stub, True), (args.dev_stub, False)):
        game = Game(os.path.join(args.work, "game"), stub, args.recorder, os.path.join(files, "signed.exe"))
        shutil.copy2(args.probe, os.path.join(args.work, "probe.exe"))
        hold = os.path.join(args.work, "hold")
        open(hold, "w").close()
        wine_stub.clear_stub_log()
        running = subprocess.Popen(["wine", os.path.basename(game.stub), *game.args()], cwd=game.folder,
                                   env=game.env(KVO_E2E_HOLD=windows_path(hold)), stdin=subprocess.DEVNULL,
                                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        for _ in range(600):
            if any(r.endswith("Tavrin-Games-Epic.exe") for r in read_record(game.record)):
                break
            time.sleep(0.1)
        renamed = wine_stub.run(os.path.join(args.work, "probe.exe"),
                                ["rename", windows_path(game.installer), windows_path(game.installer + ".moved")],
                                cwd=args.work)
        os.remove(hold)
        running.wait(timeout=120)
        if held:
            check(renamed.returncode == 32, "policy stub: the running installer cannot be renamed (error %d)"
                  % renamed.returncode)
        else:
            check(renamed.returncode == 0, "control, development stub: the running installer can be renamed "
                  "(error %d)" % renamed.returncode)
    return check.finish()


if __name__ == "__main__":
    with wine_stub.LogFolderMade():
        status = main()
    sys.exit(status)
