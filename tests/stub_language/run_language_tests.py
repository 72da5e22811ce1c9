"""The language of the stub's message boxes for real UI-language settings
under Wine, and the encoding of its log in those languages.

Each row sets LANG/LC_ALL (from locales built privately with localedef) and
runs the real stub in a game folder without title.kvo, so that it shows its
generic error box. Under Wine each process takes its UI language from its own
LANG/LC_ALL, so one wineserver serves every row (a row whose box came out in
another row's language fails its check). Without a display the stub logs the
box's caption and text: the test finds those two lines in stub.log, whole, as
the row's table file has them. Every log must be valid UTF-8, and the system's
own error text (logged with its code) must come through in the row's
language, not in a legacy code page."""
import argparse
import concurrent.futures
import os
import re
import subprocess
import sys

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "..", "support"))
import wine_stub  # noqa: E402

GENERIC_ERROR = 299
CAPTION_ERROR = 300

# (locale, string-table file prefix the player must read, game folder name)
ROWS = [
    # Every table through its language's main locale.
    ("en_US", "1033", "Game"),
    ("ar_SA", "1025", "Game"),
    ("bg_BG", "1026", "Game"),
    ("zh_TW", "1028", "Game"),
    ("cs_CZ", "1029", "Game"),
    ("da_DK", "1030", "Game"),
    ("de_DE", "1031", "Game"),
    ("el_GR", "1032", "Game"),
    ("fi_FI", "1035", "Game"),
    ("fr_FR", "1036", "Game"),
    ("hu_HU", "1038", "Game"),
    ("it_IT", "1040", "Game"),
    ("ja_JP", "1041", "ゲーム \U0001F3AE"),  # a surrogate pair in the folder name
    ("ko_KR", "1042", "Game"),
    ("nl_NL", "1043", "Game"),
    ("nb_NO", "1044", "Game"),
    ("pl_PL", "1045", "Game"),
    ("pt_BR", "1046", "Game"),
    ("ro_RO", "1048", "Game"),
    ("ru_RU", "1049", "Игра"),
    ("sv_SE", "1053", "Game"),
    ("th_TH", "1054", "Game"),
    ("tr_TR", "1055", "Game"),
    ("id_ID", "1057", "Game"),
    ("uk_UA", "1058", "Game"),
    ("vi_VN", "1066", "Game"),
    ("zh_CN", "2052", "Game"),
    ("es_MX", "2058", "Game"),
    ("pt_PT", "2070", "Game"),
    ("es_ES", "3082", "Game"),
    # Places whose language has a table under another place's id.
    ("nn_NO", "1044", "Game"),
    ("ar_EG", "1025", "Game"),
    ("es_AR", "2058", "Game"),
    ("zh_HK", "1028", "Game"),
    ("de_AT", "1031", "Game"),
    ("fr_CA", "1036", "Game"),
    # A language without a table of its own.
    ("is_IS", "1033", "Game"),
]
check = wine_stub.Checks()


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--stub", required=True)
    parser.add_argument("--strings", required=True)
    parser.add_argument("--support-url-header", required=True)
    parser.add_argument("--hold-open", required=True)
    parser.add_argument("--work", required=True)
    parser.add_argument("--only", help="run only this locale")
    args = parser.parse_args()

    support_url = wine_stub.read_support_url(args.support_url_header)
    work = os.path.abspath(args.work)
    os.makedirs(work, exist_ok=True)
    locales = os.path.join(work, "locales")
    wine_prefix = os.path.join(work, "prefix")
    rows = [r for r in ROWS if not args.only or r[0] == args.only]
    os.makedirs(locales, exist_ok=True)

    def build_locale(locale):
        target = os.path.join(locales, locale + ".UTF-8")
        if not os.path.isdir(target):
            # localedef exits 1 for mere warnings: judge by what it built.
            subprocess.run(["localedef", "-i", locale, "-f", "UTF-8", target],
                           stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        return os.path.isdir(target)

    # About a second each: one per core.
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count() or 1) as pool:
        for (locale, _, _), built in zip(rows, pool.map(build_locale, [r[0] for r in rows])):
            if not built:
                raise SystemExit(f"localedef could not build {locale}.UTF-8 (package 'locales')")
    base = wine_stub.wine_env(WINEPREFIX=wine_prefix, WINEDEBUG="-all", WINEDLLOVERRIDES="mscoree,mshtml=")
    subprocess.run(["wine", "wineboot"], env=base, check=False, timeout=300,
                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    subprocess.run(["wine", "winecfg", "-v", "win10"], env=base, check=False, timeout=120,
                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)

    for locale, table, folder_name in rows:
        lang = locale + ".UTF-8"
        env = dict(base, LOCPATH=locales, LANG=lang, LC_ALL=lang)
        env.pop("LANGUAGE", None)
        folder, stub = wine_stub.game_folder(work, args.stub, folder_name)
        wine_stub.clear_stub_log(wine_prefix)
        holder = None
        if folder_name != "Game":
            # A title.kvo that another program holds open: the stub's
            # exclusive open fails with a system error, which it logs with
            # the system's text.
            with open(os.path.join(folder, "title.kvo"), "w") as f:
                f.write("{}")
            holder = subprocess.Popen(["wine", os.path.abspath(args.hold_open), "title.kvo"], cwd=folder, env=env,
                                      stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
            check(holder.stdout.readline().strip() == b"held", f"{locale}: another program holds title.kvo")
        wine_stub.run(os.path.basename(stub), ["-stub_log"], cwd=folder, env=env)
        if holder:
            holder.stdin.close()
            holder.wait(timeout=60)
        raw = wine_stub.read_stub_log(wine_prefix)
        if raw is None:
            check(False, f"{locale}: the stub wrote stub.log")
            continue
        try:
            log = raw.decode("utf-8")
            check(True, f"{locale}: stub.log is valid UTF-8")
        except UnicodeDecodeError as error:
            check(False, f"{locale}: stub.log is valid UTF-8 ({error})")
            log = raw.decode("utf-8", "replace")
        texts = wine_stub.read_texts(args.strings, table, support_url)
        # The box's two log lines, whole: its caption, then its text.
        lines = [re.sub(r"^\[[^\]]*\] ", "", line) for line in log.split("\r\n")]
        expected = [f"Error: {texts[CAPTION_ERROR]}", texts[GENERIC_ERROR]]
        shown = [lines[i:i + 2] for i, line in enumerate(lines) if line.startswith("Error: ")]
        check(shown == [expected], f"{locale}: the error box is in the {table} text: {shown}")
        if folder_name != "Game":
            check(folder_name in log, f"{locale}: the folder name '{folder_name}' is in the log unchanged")
            # The system's error text, in the row's script.
            errors = re.findall(r"Last error: \d+ \(0x[0-9a-f]+\): (.*)", log)
            check(any(any(ord(c) > 0x2FF for c in e) for e in errors),
                  f"{locale}: the system's error text is logged in the player's language: {errors[:1]}")
    wine_stub.stop_server(base)
    return check.finish()


if __name__ == "__main__":
    sys.exit(main())
