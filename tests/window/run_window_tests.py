#!/usr/bin/env python3
"""The stub's message boxes in several languages (through LANG) under Wine on a
private Xvfb: in English, German and Japanese the error box, its Help, OK, the
warning box, then the flow going on; the error box in Arabic, Thai, Greek and
Vietnamese (and the warning box in Arabic, which reads right to left). Every
box is saved as a screenshot in the work folder.

Wine's boxes do not show the right-to-left style bits in their window styles,
so a message hook that the probe sets records the style each box was asked
for, and how many characters of its text its font has no glyph for."""
import argparse
import json
import os
import re
import shutil
import signal
import subprocess
import sys
import time

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "..", "support"))
from wine_stub import read_support_url, read_texts  # noqa: E402

# (tag, locale, table, boxes to drive: "all" = error box with Help, warning box;
# "error" = the error box alone; "error+warning" = both without Help)
LANGUAGES = [
    ("en", "en_US.UTF-8", 1033, "all"),
    ("de", "de_DE.UTF-8", 1031, "all"),
    ("ar", "ar_SA.UTF-8", 1025, "error+warning"),
    ("th", "th_TH.UTF-8", 1054, "error"),
    ("el", "el_GR.UTF-8", 1032, "error"),
    ("vi", "vi_VN.UTF-8", 1066, "error"),
    ("ja", "ja_JP.UTF-8", 1041, "all"),  # last: its font stand-in stays in the prefix
]
IDOK, IDHELP = 1, 9
# MB_OK | MB_ICONEXCLAMATION | MB_SYSTEMMODAL | MB_HELP | MB_TOPMOST; the warning box is a plain MB_OK.
ERROR_STYLE, WARNING_STYLE = 0x45030, 0x0
RIGHT_TO_LEFT = 0x100000 | 0x80000  # MB_RTLREADING | MB_RIGHT
ARABIC = 1025
TITLE_KVO = {"metadataVersion": 1, "titleId": "windowtest", "friendlyName": "Window Test",
             "principalFileName": "WindowTest.exe", "appdataFolderName": "Window Test",
             "installFolderRegKey": "SOFTWARE\\Window Test Studio\\Window Test",
             "installFolderRegValueName": "InstallFolder", "languages": ["en"], "gamePlatform": "default"}
failures = []


def check(condition, message):
    if condition:
        print(f"  ok: {message}")
    else:
        print(f"  FAILED: {message}")
        failures.append(message)
    return condition


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
        self.hook = None

    def env(self, lang="en_US.UTF-8"):
        env = dict(os.environ, WINEPREFIX=self.prefix, WINEARCH="win64", WINEDLLOVERRIDES="mscoree,mshtml=",
                   WINEDEBUG=os.environ.get("KVO_WINDOW_WINEDEBUG", "-all"), DISPLAY=f":{self.display}",
                   LOCPATH=os.path.join(self.work, "locales"), LANG=lang, LC_ALL=lang)
        env.pop("LANGUAGE", None)
        return env

    def run(self, command, timeout=120, stdout=subprocess.DEVNULL):
        return subprocess.run(command, env=self.env(), stdin=subprocess.DEVNULL, stdout=stdout,
                              stderr=subprocess.DEVNULL, timeout=timeout)

    def start(self):
        shutil.rmtree(self.work, ignore_errors=True)
        os.makedirs(self.shots)

        # Xvfb picks a free display and writes its number once it is ready.
        read_end, write_end = os.pipe()
        self.xvfb = subprocess.Popen(
            ["Xvfb", "-displayfd", str(write_end), "-screen", "0", "1280x1024x24", "-nolisten", "tcp"],
            pass_fds=(write_end,), stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        os.close(write_end)
        with os.fdopen(read_end) as f:
            self.display = int(f.readline())

        # Wine takes the player's language from the C library's locale: build those privately.
        locales = os.path.join(self.work, "locales")
        os.makedirs(locales)
        for _, lang, _, _ in LANGUAGES:
            self.run(["localedef", "-i", lang.split(".")[0], "-f", "UTF-8", os.path.join(locales, lang)])

        # A private prefix reporting Windows 10. A persistent server with detached
        # descriptors: one that a later wine call started would hold its pipe open.
        os.makedirs(self.prefix)
        self.run(["wineserver", "-p"])
        self.run(["wine", "wineboot"], timeout=300)  # "-i" would start a second service manager
        self.run(["wine", "winecfg", "-v", "win10"])
        recorder = os.path.join(self.work, "record-browser.sh")
        with open(recorder, "w") as f:
            f.write(f"#!/bin/sh\nprintf '%s\\n' \"$*\" >> '{self.browser_log}'\n")
        os.chmod(recorder, 0o755)
        # winebrowser, which opens web addresses for the shell, runs the first program of this list.
        self.reg_add(r"HKCU\Software\Wine\WineBrowser", "Browsers", recorder)
        # Without a window manager, Wine draws the title bars so that screenshots show captions.
        self.reg_add(r"HKCU\Software\Wine\X11 Driver", "Decorated", "N")
        # The hook that records each box's requested style, held for the whole session.
        self.hook = subprocess.Popen(["wine", self.args.probe, "--hold-hook"], env=self.env(), stdin=subprocess.PIPE,
                                     stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
        if not check(self.hook.stdout.readline().strip() == b"hooked", "message-box hook set"):
            raise SystemExit("the probe could not set its hook")

    def use_cjk_font(self):
        # Wine's Japanese font is missing on Linux: stand in one of the system
        # (fonts-wqy-zenhei), or the screenshots show empty squares.
        for windows_font in ("MS UI Gothic", "SimSun", "PMingLiU", "Gulim"):
            self.reg_add(r"HKCU\Software\Wine\Fonts\Replacements", windows_font, "WenQuanYi Zen Hei")

    def reg_add(self, key, name, value):
        self.run(["wine", "reg", "add", key, "/v", name, "/t", "REG_SZ", "/d", value, "/f"])

    def stop(self):
        for stub in self.stubs:
            stub.kill()
        if self.hook:
            self.hook.stdin.close()
            try:
                self.hook.wait(30)
            except subprocess.TimeoutExpired:
                self.hook.kill()
        if self.display is not None:
            self.run(["wineserver", "-k"], timeout=60)
        if self.xvfb:
            self.xvfb.kill()
            self.xvfb.wait()
        shutil.rmtree(self.prefix, ignore_errors=True)

    def start_stub(self, folder, lang, *arguments):
        stub = subprocess.Popen(["wine", os.path.join(folder, os.path.basename(self.args.stub)), *arguments],
                                cwd=folder, env=self.env(lang), stdin=subprocess.DEVNULL,
                                stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        self.stubs.append(stub)
        return stub

    def dialogs(self):
        out = self.run(["wine", self.args.probe], timeout=60, stdout=subprocess.PIPE)
        return [json.loads(line) for line in out.stdout.decode("utf-8").splitlines() if line.strip()]

    def wait_for_box(self, caption, timeout=60):
        deadline = time.time() + timeout
        while time.time() < deadline:
            boxes = [d for d in self.dialogs() if d["caption"] == caption]
            time.sleep(0.5)  # a box found is let finish painting before screenshots
            if boxes:
                return boxes[0]
        return None

    def screenshot(self, box, name):
        path = os.path.join(self.shots, name + ".png")
        geometry = f"{box['width']}x{box['height']}+{box['left']}+{box['top']}"
        self.run(["import", "-window", "root", "-crop", geometry, path])
        check(os.path.exists(path) and os.path.getsize(path) > 0, f"screenshot {name}.png saved")

    def click(self, button):
        self.run(["xdotool", "mousemove", "--sync", str(button["x"]), str(button["y"]), "click", "1"], timeout=30)

    def press_key_in(self, box, key):
        # The box's X window carries its caption as its name.
        found = self.run(["xdotool", "search", "--onlyvisible", "--name", "^" + re.escape(box["caption"]) + "$"],
                         timeout=30, stdout=subprocess.PIPE)
        windows = found.stdout.decode().split()
        if check(len(windows) >= 1, f"X window of the box '{box['caption']}' found"):
            self.run(["xdotool", "windowfocus", "--sync", windows[0]], timeout=30)
            self.run(["xdotool", "key", key], timeout=30)

    def browser_calls(self, count=0, timeout=30):
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


def wait_exit(stub):
    try:
        return stub.wait(30)
    except subprocess.TimeoutExpired:
        return None


def expect_box(session, tag, texts, caption_id, text_id, what, shot, style):
    box = session.wait_for_box(texts[caption_id])
    if check(box is not None, f"{what} with caption {texts[caption_id]!r} appears"):
        check(box_text(box) == texts[text_id], f"{what} shows text {text_id} in {tag}: {box_text(box)!r}")
        check(box["boxStyle"] == style, f"{what} in {tag} has style {style:#x} (got {box['boxStyle']:#x})")
        check(box["missingGlyphs"] == 0,
              f"{what} in {tag}: its font has a glyph for every character ({box['missingGlyphs']} missing)")
        session.screenshot(box, f"{tag}-{shot}")
    return box


def box_styles(language):
    """The error and the warning box's styles for a table language."""
    extra = RIGHT_TO_LEFT if language == ARABIC else 0
    return ERROR_STYLE | extra, WARNING_STYLE | extra


def click_ok(session, box):
    if IDOK in buttons(box):
        session.click(buttons(box)[IDOK])


def error_box_case(session, tag, lang, language, texts, support_url, folder, help_too):
    print(f"[{tag}] error box: no title.kvo beside the stub")
    stub = session.start_stub(folder, lang)
    box = expect_box(session, tag, texts, 300, 299, "error box", "error", box_styles(language)[0])
    if box is not None:
        found = buttons(box)
        check(sorted(found) == [IDOK, IDHELP], f"error box has OK and Help buttons (ids {sorted(found)})")
        check(box["topmost"], "error box is topmost")
    if box is not None and help_too:
        # Wine 8's box ignores clicks on Help but runs the help callback on F1
        # (WM_HELP), as the button does on Windows. Wine's shell may add the
        # slash that closes an empty path.
        before = len(session.browser_calls())
        session.press_key_in(box, "F1")
        calls = session.browser_calls(before + 1)
        check([call.rstrip("/") for call in calls[before:]] == [support_url.rstrip("/")],
              f"help opened {support_url} through the system's browser ({calls[before:]})")
        time.sleep(1)
        still = session.wait_for_box(texts[300], timeout=5)
        check(still is not None and still["pid"] == box["pid"], "error box stays open after help")
        check(stub.poll() is None, "stub still waits on the box after help")
    if box is not None:
        click_ok(session, box)
    code = wait_exit(stub)
    check(code == 0, f"stub ends with exit code 0 after OK (got {code})")
    check(session.wait_for_box(texts[300], timeout=2) is None, "no box left open")


def warning_box_case(session, tag, lang, language, texts, folder):
    print(f"[{tag}] warning box: -forceXpVistaFailure, then the flow goes on")
    error_style, warning_style = box_styles(language)
    stub = session.start_stub(folder, lang, "-forceXpVistaFailure")
    box = expect_box(session, tag, texts, 301, 207, "warning box", "warning", warning_style)
    if box is None:
        return
    found = buttons(box)
    check(sorted(found) == [IDOK], f"warning box has only an OK button (ids {sorted(found)})")
    click_ok(session, box)
    # With no launcher installed the flow's next stop is text 202.
    after = expect_box(session, tag, texts, 300, 202, "the next box after OK", "warning-then-error", error_style)
    if after is not None:
        click_ok(session, after)
    code = wait_exit(stub)
    check(code == 0, f"stub ends with exit code 0 (got {code})")


def main():
    parser = argparse.ArgumentParser()
    for option in ("--stub", "--probe", "--strings", "--support-url-header", "--work"):
        parser.add_argument(option, required=True)
    args = parser.parse_args()

    support_url = read_support_url(args.support_url_header)
    session = Session(args)
    signal.signal(signal.SIGTERM, lambda *_: sys.exit("terminated"))
    try:
        session.start()
        bare = os.path.join(session.work, "game-without-metadata")
        game = os.path.join(session.work, "game")
        for folder in (bare, game):
            os.makedirs(folder)
            shutil.copy(args.stub, folder)
        with open(os.path.join(game, "title.kvo"), "w", encoding="utf-8") as f:
            json.dump(TITLE_KVO, f)

        for tag, lang, language, boxes in LANGUAGES:
            texts = read_texts(args.strings, language, support_url)
            if language == 1041:
                session.use_cjk_font()
            error_box_case(session, tag, lang, language, texts, support_url, bare, help_too=boxes == "all")
            if boxes != "error":
                warning_box_case(session, tag, lang, language, texts, game)
    finally:
        session.stop()
    print(f"screenshots in {session.shots}")
    print(f"{len(failures)} check(s) failed" if failures else "all checks passed")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
