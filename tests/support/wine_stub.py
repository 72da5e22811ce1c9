"""Runs the built stub (and other Windows programs) under Wine for the Python
tests: a game folder, the stub's log in the prefix, and locale settings."""
import glob
import os
import re
import shutil
import subprocess

LOG_SUBFOLDER = os.path.join("AppData", "Local", "Tavrin Games", "Launcher")


def prefix():
    path = os.environ.get("WINEPREFIX")
    if not path:
        raise SystemExit("WINEPREFIX is not set: run under scripts/wine-env.sh (kvo_wine_start)")
    return path


def log_folder(wine_prefix=None, make=True):
    """The stub writes its log only into an existing folder: make it."""
    users = os.path.join(wine_prefix or prefix(), "drive_c", "users")
    names = [n for n in os.listdir(users) if n not in ("Public",)] if os.path.isdir(users) else []
    user = os.environ.get("USER") or (names[0] if names else "root")
    folder = os.path.join(users, user, LOG_SUBFOLDER)
    if make:
        os.makedirs(folder, exist_ok=True)
    return folder


class LogFolderMade:
    """Makes the log folder in a shared prefix for the time of a test and
    removes what it made, so that the tests after it find the prefix as it
    was (some of them check the stub without its log folder)."""

    def __enter__(self):
        folder = log_folder(make=False)
        self.made = []
        while not os.path.isdir(folder):
            self.made.append(folder)
            folder = os.path.dirname(folder)
        log_folder()
        return self

    def __exit__(self, *exc):
        if self.made:
            shutil.rmtree(self.made[-1], ignore_errors=True)


def read_stub_log(wine_prefix=None):
    """The log's bytes, or None when the stub wrote none."""
    path = os.path.join(log_folder(wine_prefix), "stub.log")
    if not os.path.exists(path):
        return None
    with open(path, "rb") as f:
        return f.read()


def clear_stub_log(wine_prefix=None):
    path = os.path.join(log_folder(wine_prefix), "stub.log")
    if os.path.exists(path):
        os.remove(path)


def wine_env(**extra):
    env = dict(os.environ)
    env.pop("DISPLAY", None)  # no window: the stub logs its message boxes instead
    env.update(extra)
    return env


def run(program, args=(), cwd=None, env=None, timeout=120):
    """Runs a Windows program under Wine and returns the completed process."""
    return subprocess.run(["wine", program, *args], cwd=cwd, env=env or wine_env(), timeout=timeout,
                          stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE)


def game_folder(root, stub, name="Game"):
    """A fresh game folder holding a copy of the stub; returns (folder, stub path)."""
    folder = os.path.join(root, name)
    shutil.rmtree(folder, ignore_errors=True)
    os.makedirs(folder)
    target = os.path.join(folder, os.path.basename(stub))
    shutil.copy2(stub, target)
    return folder, target


def stop_server(env=None):
    subprocess.run(["wineserver", "-k"], env=env or wine_env(), timeout=60,
                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    subprocess.run(["wineserver", "-w"], env=env or wine_env(), timeout=60,
                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)


def glob_one(pattern):
    found = glob.glob(pattern)
    return found[0] if found else None


class Checks:
    """Collects named checks; the script's exit status is whether any failed."""

    def __init__(self):
        self.failures = []

    def __call__(self, condition, message):
        print(("ok   " if condition else "FAIL ") + message)
        if not condition:
            self.failures.append(message)
        return condition

    def finish(self):
        print("%d check(s) failed" % len(self.failures) if self.failures else "all checks passed")
        return 1 if self.failures else 0


def read_support_url(header):
    with open(header, encoding="utf-8") as f:
        return re.search(r'^#define\s+KVO_SUPPORT_URL\s+"([^"]+)"', f.read(), re.M).group(1)


def read_texts(strings_dir, language, support_url):
    """The texts of one language (its LANGID, as the file name begins) as the
    string table holds them."""
    [name] = [n for n in os.listdir(strings_dir) if n.startswith(f"{language}_") and n.endswith(".txt")]
    texts = {}
    with open(os.path.join(strings_dir, name), encoding="utf-8") as f:
        for line in f.read().splitlines():
            if line and not line.startswith("#"):
                sid, text = line.split(" ", 1)
                texts[int(sid)] = text.replace("{SUPPORT_URL}", support_url).replace("\\n", "\n")
    return texts
