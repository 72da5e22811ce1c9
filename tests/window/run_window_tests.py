#!/usr/bin/env python3
"""Real-window test of the stub's message boxes under Wine on a private Xvfb.

In each of the thirteen languages (chosen through LANG, as a player's system
would) the stub, started without title.kvo, must show the error box with that
language's caption and text, and end after OK. For English, German and
Japanese it is driven further: the box carries OK and Help, help opens the
support address through the system's browser with the box staying open; and
beside a valid title.kvo with -forceXpVistaFailure the warning box (OK only)
comes up, after which the flow goes on to the "launcher not found" error.

Every box is saved as a screenshot in the work folder. The test starts its own
X server, Wine prefix and locales, and removes them at the end, whatever the
outcome.
"""
import argparse
import json
import os
import re
import shutil
import signal
import subprocess
import sys
import time

LANGUAGES = [
    # tag, LANG value, Windows language id of the expected texts
    ("en", "en_US.UTF-8", 1033),
    ("de", "de_DE.UTF-8", 1031),
    ("fr", "fr_FR.UTF-8", 1036),
    ("it", "it_IT.UTF-8", 1040),
    ("pl", "pl_PL.UTF-8", 1045),
    ("pt-BR", "pt_BR.UTF-8", 1046),
    ("ru", "ru_RU.UTF-8", 1049),
    ("es-MX", "es_MX.UTF-8", 2058),
    ("es-ES", "es_ES.UTF-8", 3082),
    ("ja", "ja_JP.UTF-8", 1041),
    ("ko", "ko_KR.UTF-8", 1042),
    ("zh-CN", "zh_CN.UTF-8", 2052),
    ("zh-TW", "zh_TW.UTF-8", 1028),
]
# Languages whose boxes are driven through every step; the others are checked
# for the language the system picks: caption and text of the error box.
FULLY_DRIVEN = {1033, 1031, 1041}
EAST_ASIAN = {1028, 1041, 1042, 2052}
IDOK = 1
CJK_FONT = "WenQuanYi Zen Hei"
IDHELP = 9
TITLE_KVO = """{
    "metadataVersion": 1,
    "titleId": "windowtest",
    "friendlyName": "Window Test",
    "principalFileName": "WindowTest.exe",
    "appdataFolderName": "Window Test",
    "installFolderRegKey": "SOFTWARE\\\\Window Test Studio\\\\Window Test",
    "installFolderRegValueName": "InstallFolder",
    "languages": ["en"],
    "gamePlatform": "default"
}
"""


class Failure(Exception):
    pass


failures = []


def check(condition, message):
    if condition:
        print(f"  ok: {message}")
    else:
        print(f"  FAILED: {message}")
        failures.append(message)
    return condition


def read_support_url(header):
    with open(header, encoding="utf-8") as f:
        m = re.search(r'^#define\s+KVO_SUPPORT_URL\s+"([^"]+)"', f.read(), re.M)
    if not m:
        raise Failure(f"no KVO_SUPPORT_URL in {header}")
    return m.group(1)


def read_texts(strings_dir, language, support_url):
    """The texts of one language as the string table holds them."""
    names = [n for n in os.listdir(strings_dir) if n.startswith(f"{language}_") and n.endswith(".txt")]
    if len(names) != 1:
        raise Failure(f"no single text table for language {language} in {strings_dir}")
    texts = {}
    with open(os.path.join(strings_dir, names[0]), encoding="utf-8") as f:
        for line in f:
            line = line.rstrip("\r\n")
            if not line or line.startswith("#"):
                continue
            sid, text = line.split(" ", 1)
            texts[int(sid)] = text.replace("{SUPPORT_URL}", support_url).replace("\\n", "\n")
    return texts


def free_display():
    for n in range(70, 200):
        if not os.path.exists(f"/tmp/.X{n}-lock") and not os.path.exists(f"/tmp/.X11-unix/X{n}"):
            return n
    raise Failure("no free X display number")


class Session:
    def __init__(self, args):
        self.args = args
        self.work = os.path.abspath(args.work)
        self.prefix = os.path.join(self.work, "wineprefix")
        self.shots = os.path.join(self.work, "screenshots")
        self.browser_log = os.path.join(self.work, "browser-calls.txt")
        self.xvfb = None
        self.display = None
        self.stubs = []

    # --- environment -------------------------------------------------------

    def env(self, lang="en_US.UTF-8"):
        env = dict(os.environ)
        env.update(
            WINEPREFIX=self.prefix,
            WINEARCH="win64",
            WINEDEBUG=os.environ.get("KVO_WINDOW_WINEDEBUG", "-all"),
            WINEDLLOVERRIDES="mscoree,mshtml=",
            DISPLAY=f":{self.display}",
            LOCPATH=os.path.join(self.work, "locales"),
            LANG=lang,
            LC_ALL=lang,
        )
        env.pop("LANGUAGE", None)
        return env

    def run(self, command, lang="en_US.UTF-8", timeout=120, **kwargs):
        return subprocess.run(command, env=self.env(lang), stdin=subprocess.DEVNULL, timeout=timeout, **kwargs)

    def start(self):
        for tool in ("Xvfb", "xdotool", "xdpyinfo", "import", "wine", "wineserver", "wineboot", "localedef"):
            if not shutil.which(tool):
                raise Failure(f"{tool} is missing (scripts/deps.sh installs it)")
        if os.path.exists(self.work):
            shutil.rmtree(self.work)
        os.makedirs(self.shots)

        # Another run may take the same free number at the same moment: the
        # loser's server exits at once, and it tries the next number.
        for _ in range(5):
            self.display = free_display()
            self.xvfb = subprocess.Popen(
                ["Xvfb", f":{self.display}", "-screen", "0", "1280x1024x24", "-nolisten", "tcp"],
                stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
            if self.wait_for_x():
                break
            self.xvfb.kill()
            self.xvfb.wait()
        else:
            raise Failure("cannot start Xvfb on a free display")
        print(f"X server on :{self.display}")

        # Wine takes the player's language from the C library's locale, so
        # the locales must exist; build them privately instead of system-wide.
        locales = os.path.join(self.work, "locales")
        os.makedirs(locales)
        for _, lang, _ in LANGUAGES:
            name = lang.split(".")[0]
            subprocess.run(["localedef", "-i", name, "-f", "UTF-8", os.path.join(locales, lang)],
                           stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
            if not os.path.isdir(os.path.join(locales, lang)):
                raise Failure(f"cannot build the locale {lang}")

        # A private prefix reporting Windows 10, so that the stub passes its
        # version check and the other tests' prefix stays untouched.
        # A persistent server started with detached descriptors: a server that
        # a later wine call started would hold that call's output pipe open.
        os.makedirs(self.prefix)
        self.run(["wineserver", "-p"], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        self.run(["wineboot", "-i"], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, timeout=300)
        self.run(["wine", "winecfg", "-v", "win10"], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        recorder = os.path.join(self.work, "record-browser.sh")
        with open(recorder, "w") as f:
            f.write(f"#!/bin/sh\nprintf '%s\\n' \"$*\" >> '{self.browser_log}'\n")
        os.chmod(recorder, 0o755)
        # winebrowser, which opens web addresses for the shell, runs the first
        # program of this list that it can start.
        self.reg_add(r"HKCU\Software\Wine\WineBrowser", "Browsers", recorder)
        # Without a window manager nobody draws title bars; let Wine draw its
        # own, so that the screenshots show the captions.
        self.reg_add(r"HKCU\Software\Wine\X11 Driver", "Decorated", "N")

    def use_cjk_font(self):
        # Wine shows East Asian text in the fonts Windows has for it, which a
        # Linux system lacks: stand in a CJK font of the system (Debian
        # package fonts-wqy-zenhei), or the screenshots show empty squares.
        # Only for those languages: it also changes the Latin letters.
        for windows_font in ("MS UI Gothic", "SimSun", "PMingLiU", "Gulim"):
            self.reg_add(r"HKCU\Software\Wine\Fonts\Replacements", windows_font, CJK_FONT)

    def wait_for_x(self):
        for _ in range(100):
            if self.xvfb.poll() is not None:
                return False
            if subprocess.run(["xdpyinfo", "-display", f":{self.display}"], stdout=subprocess.DEVNULL,
                              stderr=subprocess.DEVNULL).returncode == 0:
                # The answer may have come from another run's server.
                time.sleep(0.5)
                return self.xvfb.poll() is None
            time.sleep(0.1)
        return False

    def reg_add(self, key, name, value):
        self.run(["wine", "reg", "add", key, "/v", name, "/t", "REG_SZ", "/d", value, "/f"],
                 stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)

    def stop(self):
        for stub in self.stubs:
            if stub.poll() is None:
                stub.kill()
        if self.display is not None and os.path.isdir(self.prefix):
            try:
                self.run(["wineserver", "-k"], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, timeout=60)
            except subprocess.TimeoutExpired:
                pass
        if self.xvfb and self.xvfb.poll() is None:
            self.xvfb.send_signal(signal.SIGTERM)
            try:
                self.xvfb.wait(10)
            except subprocess.TimeoutExpired:
                self.xvfb.kill()
        shutil.rmtree(self.prefix, ignore_errors=True)
        shutil.rmtree(os.path.join(self.work, "locales"), ignore_errors=True)

    # --- the stub and its boxes -------------------------------------------

    def start_stub(self, folder, lang, *arguments):
        stub = subprocess.Popen(["wine", os.path.join(folder, os.path.basename(self.args.stub)), *arguments],
                                cwd=folder, env=self.env(lang), stdin=subprocess.DEVNULL,
                                stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        self.stubs.append(stub)
        return stub

    def dialogs(self):
        out = self.run(["wine", self.args.probe], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, timeout=60)
        return [json.loads(line) for line in out.stdout.decode("utf-8").splitlines() if line.strip()]

    def wait_for_box(self, caption, timeout=60):
        deadline = time.time() + timeout
        while time.time() < deadline:
            boxes = [d for d in self.dialogs() if d["caption"] == caption]
            if boxes:
                time.sleep(0.5)  # let it finish painting before screenshots
                return boxes[0]
            time.sleep(0.5)
        return None

    def screenshot(self, box, name):
        path = os.path.join(self.shots, name + ".png")
        geometry = f"{box['width']}x{box['height']}+{box['left']}+{box['top']}"
        subprocess.run(["import", "-display", f":{self.display}", "-window", "root", "-crop", geometry, path],
                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        check(os.path.getsize(path) > 0 if os.path.exists(path) else False, f"screenshot {name}.png saved")

    def xdotool(self, *arguments):
        subprocess.run(["xdotool", *arguments], env=self.env(), stdout=subprocess.DEVNULL,
                       stderr=subprocess.DEVNULL, timeout=30)

    def click(self, button):
        self.xdotool("mousemove", "--sync", str(button["x"]), str(button["y"]), "click", "1")

    def press_key_in(self, box, key):
        # The box's X window carries its caption as its name; give it the
        # keyboard focus, then type.
        found = subprocess.run(["xdotool", "search", "--onlyvisible", "--name", "^" + re.escape(box["caption"]) + "$"],
                               env=self.env(), stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, timeout=30)
        windows = found.stdout.decode().split()
        if not check(len(windows) >= 1, f"X window of the box '{box['caption']}' found"):
            return
        self.xdotool("windowfocus", "--sync", windows[0])
        self.xdotool("key", key)

    def browser_calls(self, count=0, timeout=30):
        """The addresses the browser was handed, once there are count of them or the time is up."""
        deadline = time.time() + timeout
        while True:
            calls = []
            if os.path.exists(self.browser_log):
                with open(self.browser_log, encoding="utf-8") as f:
                    calls = [line.rstrip("\n") for line in f]
            if len(calls) >= count or time.time() >= deadline:
                return calls
            time.sleep(0.3)


def buttons(box):
    return {c["id"]: c for c in box["children"] if c["kind"] == "button"}


def box_text(box):
    texts = [c["text"] for c in box["children"] if c["kind"] == "text"]
    return texts[0] if len(texts) == 1 else None


def wait_exit(stub, timeout=30):
    try:
        return stub.wait(timeout)
    except subprocess.TimeoutExpired:
        return None


def expect_box(session, tag, texts, caption_id, text_id, what, shot):
    """Waits for the box with the caption, checks its text and saves its screenshot."""
    box = session.wait_for_box(texts[caption_id])
    if check(box is not None, f"{what} with caption {texts[caption_id]!r} appears"):
        check(box_text(box) == texts[text_id], f"{what} shows text {text_id} in {tag}: {box_text(box)!r}")
        session.screenshot(box, f"{tag}-{shot}")
    return box


def click_ok(session, box):
    ok = buttons(box).get(IDOK)
    if ok:
        session.click(ok)


def error_box_case(session, tag, lang, texts, support_url, folder, full):
    print(f"[{tag}] error box: no title.kvo beside the stub" + ("" if full else ", in the player's language"))
    stub = session.start_stub(folder, lang)
    box = expect_box(session, tag, texts, 300, 299, "error box", "error")
    if box is not None and full:
        found = buttons(box)
        check(sorted(found) == [IDOK, IDHELP], f"error box has OK and Help buttons (ids {sorted(found)})")
        check(box["topmost"], "error box is topmost")

        # Wine 8's message box ignores clicks on its Help button (it only logs a
        # FIXME) but runs the help callback on WM_HELP, which F1 sends: the same
        # callback the button runs on Windows.
        # Wine's shell hands the browser the address in canonical form, with the
        # slash that closes an empty path; either form is the support address.
        def opened(calls):
            return [call.rstrip("/") for call in calls]

        before = len(session.browser_calls())
        session.press_key_in(box, "F1")
        calls = session.browser_calls(before + 1)
        check(opened(calls[before:]) == [support_url.rstrip("/")],
              f"help opened {support_url} through the system's browser ({calls[before:]})")
        time.sleep(1)
        still = session.wait_for_box(texts[300], timeout=5)
        check(still is not None and still["pid"] == box["pid"], "error box stays open after help")
        check(stub.poll() is None, "stub still waits on the box after help")
        session.press_key_in(box, "F1")
        calls = session.browser_calls(before + 2)
        check(opened(calls[before:]) == [support_url.rstrip("/")] * 2, "a second help request opens the page again")
    if box is not None:
        click_ok(session, box)
    code = wait_exit(stub)
    check(code == 0, f"stub ends with exit code 0 after OK (got {code})")
    if full:
        check(session.wait_for_box(texts[300], timeout=2) is None, "no box left open")


def warning_box_case(session, tag, lang, texts, folder):
    print(f"[{tag}] warning box: -forceXpVistaFailure, then the flow goes on")
    stub = session.start_stub(folder, lang, "-forceXpVistaFailure")
    box = expect_box(session, tag, texts, 301, 207, "warning box", "warning")
    if box is None:
        return
    found = buttons(box)
    check(sorted(found) == [IDOK], f"warning box has only an OK button (ids {sorted(found)})")
    click_ok(session, box)
    # After OK the flow continues: with no launcher installed its next stop
    # is the "launcher not found" error (text 202).
    after = expect_box(session, tag, texts, 300, 202, "the next box after OK", "warning-then-error")
    if after is not None:
        click_ok(session, after)
    code = wait_exit(stub)
    check(code == 0, f"stub ends with exit code 0 (got {code})")


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--stub", required=True)
    parser.add_argument("--probe", required=True)
    parser.add_argument("--strings", required=True)
    parser.add_argument("--support-url-header", required=True)
    parser.add_argument("--work", required=True)
    args = parser.parse_args()

    support_url = read_support_url(args.support_url_header)
    session = Session(args)
    # ctest ends a test that runs too long with SIGTERM: clean up then too.
    signal.signal(signal.SIGTERM, lambda *_: sys.exit("terminated"))
    try:
        session.start()
        bare = os.path.join(session.work, "game-without-metadata")
        game = os.path.join(session.work, "game")
        for folder in (bare, game):
            os.makedirs(folder)
            shutil.copy(args.stub, folder)
        with open(os.path.join(game, "title.kvo"), "w", encoding="utf-8") as f:
            f.write(TITLE_KVO)

        # East Asian languages last: their font stand-in stays in the prefix.
        for tag, lang, language in sorted(LANGUAGES, key=lambda entry: entry[2] in EAST_ASIAN):
            texts = read_texts(args.strings, language, support_url)
            if language in EAST_ASIAN:
                session.use_cjk_font()
            error_box_case(session, tag, lang, texts, support_url, bare, language in FULLY_DRIVEN)
            if language in FULLY_DRIVEN:
                warning_box_case(session, tag, lang, texts, game)
    except Failure as e:
        failures.append(str(e))
        print(f"FAILED: {e}")
    finally:
        session.stop()
    print(f"screenshots in {session.shots}")
    if failures:
        print(f"{len(failures)} check(s) failed")
        return 1
    print("all checks passed")
    return 0


if __name__ == "__main__":
    sys.exit(main())
