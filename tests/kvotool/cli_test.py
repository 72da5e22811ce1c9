#!/usr/bin/env python3
"""Drives the kvotool program: each command, each class of problem check
reports, pack/unpack round trips and refused writes, doctor on game folders
made here, the JSON and SARIF reports and pipes (--runner wine: Windows build)."""
import argparse
import hashlib
import json
import re
import os
import shutil
import struct
import subprocess
import sys
import tempfile
import unittest

try:
    import jsonschema
except ImportError:  # the SARIF test says so and is skipped
    jsonschema = None

ARGS = None
KEY = "0f1e2d3c4b5a69788796a5b4c3d2e1f00112233445566778899aabbccddeeff0"  # a caller's key

TEMPLATE = {
    "metadataVersion": 1,
    "titleId": "mygame",
    "friendlyName": "My Game",
    "principalFileName": "MyGame.exe",
    "appdataFolderName": "My Game",
    "installFolderRegKey": "SOFTWARE\\My Studio\\My Game",
    "installFolderRegValueName": "InstallFolder",
    "languages": ["en"],
    "gamePlatform": "default",
}


def doc(**changes):
    """The template with members changed; a value of None removes the member."""
    d = dict(TEMPLATE, **changes)
    return json.dumps({k: v for k, v in d.items() if v is not None}, indent=1)


def prereq(**extra):
    """The template with one custom prerequisite: a complete one plus `extra`."""
    return doc(customPrerequisites=[dict({"prerequisiteId": "a", "friendlyName": "b", "version": "1",
                                          "executableName": "c"}, **extra)])


class Base(unittest.TestCase):
    def setUp(self):
        self.dir = tempfile.mkdtemp(prefix="kvotool-cli-")
        self.addCleanup(shutil.rmtree, self.dir, ignore_errors=True)

    def kvo(self, *args, stdin=None, key_env=None):
        cmd = ([ARGS.runner] if ARGS.runner else []) + [ARGS.kvotool]
        env = {k: v for k, v in os.environ.items() if k != "KVOTOOL_KEY"}
        if key_env is not None:
            env["KVOTOOL_KEY"] = key_env
        p = subprocess.run(cmd + list(args), cwd=self.dir, input=stdin, capture_output=True, timeout=120, env=env)
        return p.returncode, p.stdout, p.stderr.decode("utf-8", "replace")

    def put(self, name, content):
        data = content.encode("utf-8") if isinstance(content, str) else content
        with open(os.path.join(self.dir, name), "wb") as f:
            f.write(data)
        return name

    def get(self, name):
        with open(os.path.join(self.dir, name), "rb") as f:
            return f.read()

    def exists(self, name):
        return os.path.exists(os.path.join(self.dir, name))

    def pack_with_key(self, key, name="own.kvo"):
        """Packs the template under `key` into `name`."""
        self.put("in.json", doc())
        self.assertEqual(self.kvo("pack", "--key", key, "in.json", "-o", name)[0], 0)

    def leftovers(self):
        return [n for n in os.listdir(self.dir) if ".kvotool-" in n]


# check: one row per class of problem. (name, document text, extra args,
# expected exit status, texts that must occur in standard error)
CHECK_CASES = [
    ("template is clean", doc(), [], 0, ["plain JSON, no problems; the launch stub loads it"]),
    ("required field missing", doc(titleId=None), [], 1,
     ["error: required field 'titleId' is missing",
      "the launch stub does not load this file: status 5 (RequiredFieldMissing)"]),
    ("required field invalid", doc(languages=["x" * 260]), [], 1,
     [":10:", "element 0 of 'languages' is 260 bytes long", "status 1 (FieldInvalid)"]),
    ("trailing comma warns where it is", doc()[:-2] + ",\n}", [], 0,
     ["t.json:12:27: warning: a comma after the last element", "0 errors, 1 warning; the launch stub loads it"]),
    ("a comment is one error, not a cascade", doc().replace('\n "titleId"', '\n // the id\n "titleId"'), [], 1,
     ["t.json:3:2: error: a comment: JSON has none", "2 errors, 0 warnings; the launch stub refuses it"]),
    ("not strict JSON", doc()[:-2] + "\n}}", [], 1, ["error: JSON Validation Error"]),
    ("integer that does not parse", doc(crashpadSamplingPercent="many"), [], 1,
     ["error: 'crashpadSamplingPercent' must be an integer; got the text \"many\""]),
    ("keyword with wrong case", doc(gamePlatform="Steam"), [], 1,
     ["'Steam' is not a keyword of 'gamePlatform'; did you mean 'steam'?"]),
    ("keyword far from any", doc(cloudSaveRoot="cloud"), [], 1,
     ["'cloud' is not a keyword of 'cloudSaveRoot' (valid: qn, docs, app, docs_qn, app_qn)"]),
    ("unknown platform feature", doc(platforms={"default": {"Cloud": True}}), [], 1,
     ["unknown feature 'Cloud' of platform 'default'; did you mean 'cloud'?"]),
    ("empty feature object", doc(platforms={"epic": {}}), [], 1, ["the feature object of platform 'epic' is empty"]),
    ("misspelt root key", doc(gamePlatfrom="steam"), [], 1,
     ["unknown key 'gamePlatfrom'; did you mean 'gamePlatform'?"]),
    ("escaped key name is not found", doc(titleId=None)[:-2] + ',\n "title\\u0049d": "x"\n}', [], 1,
     ["the name 'titleId' is written with escapes", "required field 'titleId' is missing"]),
    ("editor hint keys are left alone", doc(**{"$schema": "x.json", "_note": "hi"}), [], 0, ["no problems"]),
    ("prerequisite without version",
     doc(customPrerequisites=[{"prerequisiteId": "a", "friendlyName": "b", "executableName": "c"}]), [], 1,
     ["customPrerequisites element 0 lacks 'version'"]),
    ("misspelt prerequisite key", prereq(comandline="/q"), [], 1,
     ["customPrerequisites element 0: unknown key 'comandline'; did you mean 'commandline'?",
      "the launch stub loads it"]),
    ("every prerequisite key is known", prereq(commandline="/q", locKey="K", ignoreExitCodes=[3010]), [], 0,
     ["no problems"]),
    ("steam without app ids is an error", doc(gamePlatform="steam"), [], 1,
     ["error: 'gamePlatform' is \"steam\" but 'steamAppIds' is missing",
      "the launch stub loads it, but not as meant: fix the errors"]),
    ("steam app ids as a text is an error", doc(gamePlatform="steam", steamAppIds="1234560"), [], 1,
     ["'steamAppIds' should be an array", "error: 'gamePlatform' is \"steam\" but 'steamAppIds' is empty"]),
    ("warnings fail under --strict", doc(languages="en"), ["--strict"], 1, ["1 warning"]),
    ("a number written as a text warns", doc(metadataVersion="1"), [], 0,
     ["'metadataVersion' is a number written as a text (\"1\"); the stub reads 1; the schema wants a number"]),
    ("Latin-1 byte is an error at its offset", doc(friendlyName="Caf\u00e9").replace("\\u00e9", "\u00e9").encode(
        "latin-1"), [], 1, ["t.json:4:22: error: byte 0xE9 at offset 68 is not UTF-8"]),
    ("title id with a blank adds an argument", doc(titleId="my game"), [], 1,
     ["'titleId' holds a blank: the launcher gets -minmodeApp=my and \"game\" as an argument of its own"]),
    ("title id with a quote", doc(gamePlatform="epic", titleId='a"b'), [], 1,
     ["'titleId' holds a double quote: the launcher gets -epicAppId=a and the quote"]),
    ("title id with a tab", doc(titleId="a\tb\u0001"), [], 1, ["'titleId' holds a blank"]),
    ("title id with a control character", doc(titleId="ab\u0001"), [], 1,
     ["'titleId' holds the control character U+0001: the launcher gets -minmodeApp=ab"]),
    ("title id of a steam title is not on the command line", doc(gamePlatform="steam", steamAppIds=[1],
                                                                 titleId="my game"), [], 0, ["no problems"]),
    ("octal-looking integer warns", doc(noxTitleId="010"), [], 0, ["'noxTitleId' is written as '010' but reads as 8"]),
    ("languages as a text warns", doc(languages="en"), [], 0,
     ["'languages' should be an array of texts; the stub reads the text \"en\" as an empty list"]),
    ("duplicate key warns", doc()[:-2] + ',\n "titleId": "other"\n}', [], 0,
     ["'titleId' appears a second time; the stub reads only the first one (line 3)"]),
    ("negative metadataVersion skips the stub's checks", doc(metadataVersion=-1, titleId=None), [], 1,
     ["required field 'titleId' is missing", "the launch stub loads it"]),
    ("byte-order mark", "\ufeff" + doc(), [], 1, ["UTF-8 byte-order mark", "(BadFormat)"]),
    ("empty file", "", [], 1, ["the file is empty"]),
    ("root is an array", "[{\"titleId\": \"x\"}]", [], 1, ["not an object"]),
    ("missing comma hides later members", '{"titleId":"a" "friendlyName":"b"}', ["--equals"], 1,
     ["t.json:1:16: error: unexpected '\"' where a comma or the end of the object belongs",
      "required field 'friendlyName' is missing"]),
]

class CheckCommand(Base):
    def test_each_problem_class(self):
        for name, text, extra, status, texts in CHECK_CASES:
            with self.subTest(name):
                self.put("t.json", text)
                rc, _, err = self.kvo("check", *extra, "t.json")
                self.assertEqual(rc, status, err)
                for t in texts:
                    self.assertIn(t, err)

    def test_every_problem_is_reported_at_once(self):
        self.put("t.json", doc(titleId=None, gamePlatform="Steam", modScan="maybe", titleID="x",
                               platforms={"default": {"clowd": True}}))
        rc, _, err = self.kvo("check", "t.json")
        self.assertEqual(rc, 1)
        for t in ["required field 'titleId'", "'Steam'", "'modScan'", "unknown key 'titleID'", "'clowd'"]:
            self.assertIn(t, err)
        self.assertIn("6 errors", err)

    def test_verbose_shows_what_the_stub_logs(self):
        self.put("t.json", doc(modScan="maybe"))
        rc, _, err = self.kvo("check", "-v", "t.json")
        self.assertEqual(rc, 1)
        self.assertIn("t.json: stub log: [Error  ] : Could not read field 'modScan', field was not found in metadata.",
                      err)
        self.assertIn("the launch stub loads it", err)  # an optional field does not stop the load

    def test_too_large_and_standard_input(self):
        self.put("big.json", doc()[:-2] + ',\n "_pad": "' + "x" * (8 * 1024 * 1024) + '"\n}')
        rc, _, err = self.kvo("check", "big.json")
        self.assertEqual(rc, 1)
        self.assertIn("the stub reads at most 8,388,608 bytes (TooLarge)", err)
        rc, _, err = self.kvo("check", "-", stdin=doc().encode())
        self.assertEqual(rc, 0, err)
        self.assertIn("<stdin>: plain JSON, no problems", err)

    def test_several_files_worst_status_wins(self):
        self.put("good.json", doc())
        self.put("bad.json", doc(titleId=None))
        self.assertEqual(self.kvo("check", "good.json", "bad.json")[0], 1)
        rc, _, err = self.kvo("check", "good.json", "missing.json")
        self.assertEqual(rc, 2)
        self.assertIn("cannot open 'missing.json'", err)


class PackUnpack(Base):
    def test_round_trip_plain_and_container(self):
        text = doc(gamePlatform="epic", epicSdkVersion=3)
        self.put("in.json", text)
        rc, _, err = self.kvo("pack", "in.json", "-o", "title.kvo")
        self.assertEqual(rc, 0, err)
        data = self.get("title.kvo")
        self.assertEqual(data[:4], b"KVOM")
        self.assertEqual(len(data), 96 + (len(text.encode()) // 16 + 1) * 16)
        rc, _, err = self.kvo("check", "title.kvo")
        self.assertEqual(rc, 0, err)
        self.assertIn("container, no problems", err)
        self.assertEqual(self.kvo("unpack", "title.kvo", "-o", "out.json")[0], 0)
        self.assertEqual(self.get("out.json"), text.encode())
        rc, out, _ = self.kvo("unpack", "title.kvo")
        self.assertEqual(out, text.encode())
        self.assertEqual(self.leftovers(), [])

    def test_refused_pack_leaves_old_file_untouched(self):
        self.put("bad.json", doc(titleId=None))
        self.put("title.kvo", b"old contents")
        rc, _, err = self.kvo("pack", "bad.json", "-o", "title.kvo")
        self.assertEqual(rc, 1)
        self.assertIn("not written because of the problems above", err)
        self.assertEqual(self.get("title.kvo"), b"old contents")
        self.kvo("pack", "bad.json", "-o", "new.kvo")
        self.assertFalse(self.exists("new.kvo"))
        # --force (which once meant --allow-errors) replaces the file, but only what --allow-errors lets through.
        rc, _, err = self.kvo("pack", "--force", "bad.json", "-o", "title.kvo")
        self.assertEqual(rc, 1)
        self.assertIn("(--allow-errors writes anyway; --force only replaces an existing file)", err)
        self.assertEqual(self.get("title.kvo"), b"old contents")
        # --allow-errors writes, and still says the input has problems.
        rc, _, err = self.kvo("pack", "--allow-errors", "--force", "bad.json", "-o", "title.kvo")
        self.assertEqual(rc, 1)
        self.assertEqual(self.get("title.kvo")[:4], b"KVOM")
        self.assertEqual(self.leftovers(), [])

    def test_names_outside_ascii(self):
        name = "t\u00eftle \u30bf\u30a4\u30c8\u30eb.json"
        self.put(name, doc())
        rc, _, err = self.kvo("pack", name, "-o", name + ".kvo")
        self.assertEqual(rc, 0, err)
        rc, _, err = self.kvo("check", name + ".kvo")
        self.assertEqual(rc, 0, err)
        self.assertIn(name + ".kvo: container, no problems", err)

    def test_own_key_container_is_plain_aes_cbc(self):
        # pack --key writes AES-256-CBC with the text's SHA-256 prefix as IV, as openssl does.
        if not shutil.which("openssl"):
            self.skipTest("openssl command not found")
        import hashlib

        def container(key, iv, text):
            cipher = subprocess.run(["openssl", "enc", "-aes-256-cbc", "-K", key, "-iv", iv.hex()], input=text,
                                    capture_output=True, check=True).stdout
            return b"KVOM" + (1).to_bytes(4, "little") + (16 + len(cipher)).to_bytes(4, "little") + bytes(68) + iv + cipher

        key = "5a" * 32
        text = doc(gamePlatform="viveport").encode()
        self.put("other.kvo", container(key, bytes([0x0F] * 16), text))
        rc, _, err = self.kvo("check", "other.kvo")
        self.assertEqual(rc, 1)
        self.assertIn("does not decrypt with kvotool's built-in key (try --key)", err)
        rc, _, err = self.kvo("check", "--key", key, "other.kvo")
        self.assertEqual(rc, 0, err)
        self.assertIn("container, no problems; the launch stub loads it", err)
        rc, out, _ = self.kvo("unpack", "--key", key, "other.kvo")
        self.assertEqual((rc, out), (0, text))
        rc, out, _ = self.kvo("show", "--key", key, "other.kvo")
        self.assertEqual(rc, 0)
        self.assertIn("2 (\"viveport\")", out.decode())

        key = "5a" * 16 + "c3" * 16
        text = doc(gamePlatform="epic", epicSdkVersion=2).encode()
        self.put("in.json", text)
        rc, _, err = self.kvo("pack", "--key", key, "in.json", "-o", "own.kvo")
        self.assertEqual(rc, 0, err)
        self.assertEqual(self.get("own.kvo"), container(key, hashlib.sha256(text).digest()[:16], text))

    def test_pack_with_own_key_round_trip(self):
        text = doc(gamePlatform="viveport")
        self.put("in.json", text)
        rc, _, err = self.kvo("pack", "--key", KEY, "in.json", "-o", "own.kvo")
        self.assertEqual(rc, 0, err)
        self.assertIn("with the given key", err)
        own = self.get("own.kvo")
        self.assertEqual(self.kvo("pack", "--key", KEY.upper(), "in.json", "-o", "again.kvo")[0], 0)
        self.assertEqual(self.get("again.kvo"), own)
        # A container as pack's input is opened with the same key.
        rc, _, err = self.kvo("pack", "--key", KEY, "own.kvo", "-o", "repacked.kvo")
        self.assertEqual(rc, 0, err)
        self.assertEqual(self.get("repacked.kvo"), own)

    def test_wrong_key_or_damaged_container_is_refused(self):
        self.pack_with_key(KEY)
        self.put("cut.kvo", self.get("own.kvo")[:-1])
        self.put("out.json", b"keep me")
        builtin = "does not decrypt with kvotool's built-in key (try --key): wrong key or damaged data"
        given = "does not decrypt with the given key: wrong key or damaged data"
        rows = [
            (["check", "own.kvo"], builtin),
            (["check", "--key", "1" + KEY[1:], "own.kvo"], given),
            (["show", "--key", "00" * 32, "own.kvo"], given),
            (["pack", "--key", "ff" * 32, "own.kvo", "-o", "out.json"], given),
            (["unpack", "--key", KEY, "cut.kvo", "-o", "out.json"], "length field"),
        ]
        for args, message in rows:
            with self.subTest(args=args):
                rc, out, err = self.kvo(*args)
                self.assertEqual(rc, 1, err)
                self.assertIn(message, err)
                self.assertEqual(out, b"")
                self.assertEqual(self.get("out.json"), b"keep me")
        self.assertEqual(self.leftovers(), [])
        rc, _, err = self.kvo("pack", "--key", "12" * 31, "in.json", "-o", "x.kvo")
        self.assertEqual(rc, 2)
        self.assertIn("--key needs 64 hexadecimal digits", err)
        self.assertFalse(self.exists("x.kvo"))

    def test_unwritable_output_is_an_io_error(self):
        self.put("in.json", doc())
        rc, _, err = self.kvo("pack", "in.json", "-o", os.path.join("no", "such", "dir.kvo"))
        self.assertEqual(rc, 2)
        self.assertIn("cannot create a file beside", err)

    def test_fixture_container_is_reproduced(self):
        if not ARGS.fixture_key_matches:
            self.skipTest("built with another container key")
        src = os.path.join(ARGS.data, "title-full.json")
        shutil.copy(src, os.path.join(self.dir, "full.json"))
        rc, _, err = self.kvo("pack", "full.json", "-o", "full.kvo")
        self.assertEqual(rc, 0, err)
        with open(os.path.join(ARGS.data, "title-full.kvo"), "rb") as f:
            self.assertEqual(self.get("full.kvo"), f.read())
        self.assertEqual(self.kvo("unpack", os.path.join(ARGS.data, "title-full.kvo"))[1],
                         open(src, "rb").read())


class ShowFmtNew(Base):
    def test_show_lists_getters_with_status_and_features(self):
        self.put("t.json", doc(gamePlatform="steam", steamAppIds=[480],
                               platforms={"default": {"cloud": True, "crashpadEnabled": True},
                                          "steam": {"cloud": False}}))
        rc, out, err = self.kvo("show", "t.json")
        self.assertEqual(rc, 0, err)
        lines = [" ".join(line.split()) for line in out.decode().splitlines()]
        for line in ["load: 0 Ok", "gamePlatform 0 Ok 1 (\"steam\")", "steamAppIds 0 Ok [480]",
                     "noxTitleId 4 OptionalFieldMissing -1", "checkExitCodes 4 OptionalFieldMissing true",
                     "default 0x00000041 0 Ok cloud, crashpadEnabled", "steam 0x00000040 0 Ok crashpadEnabled",
                     "viveport 0x00000041 0 Ok cloud, crashpadEnabled"]:
            self.assertIn(line, lines)
        # A key read in two forms shows each form under its own name.
        names = [line.split("  ")[0] for line in out.decode().splitlines()]
        for name in ["installshieldGuid (list)", "installshieldGuid (text)", "environment", "environment (text)",
                     "cloudSaveRoot (name)", "HasSteamAppIds", "HasEpicConfig"]:
            self.assertEqual(names.count(name), 1, name)

    def test_fmt_round_trip_keeps_every_field(self):
        self.put("t.json", open(os.path.join(ARGS.data, "title-full.json"), encoding="utf-8").read())
        _, before, _ = self.kvo("show", "t.json")
        self.assertEqual(self.kvo("fmt", "t.json", "--equals", "--pretty", "-o", "t.txt")[0], 0)
        self.assertNotIn(b'"titleId"', self.get("t.txt"))
        self.assertEqual(self.kvo("check", "--equals", "t.txt")[0], 0)
        self.assertEqual(self.kvo("fmt", "t.txt", "-o", "back.json")[0], 0)
        rc, _, err = self.kvo("check", "back.json")
        self.assertEqual(rc, 0, err)
        _, after, _ = self.kvo("show", "back.json")
        strip = lambda out: out.decode().split("\n", 1)[1]  # the first line names the file
        self.assertEqual(strip(before), strip(after))

    def test_fmt_refuses_what_the_equals_syntax_cannot_carry(self):
        self.put("t.json", doc(**{"odd name": 1, "titleId": 'say"hi'}))
        rc, out, err = self.kvo("fmt", "--equals", "t.json", "-o", "t.txt")
        self.assertEqual(rc, 1)
        self.assertIn("the name 'odd name' holds a separator, a blank or a quote", err)
        self.assertIn("the text 'say\"hi' holds a quote but no blank or separator", err)
        self.assertFalse(self.exists("t.txt"))

    def test_new_writes_template_and_keeps_existing_file(self):
        rc, _, err = self.kvo("new", "-o", "title.json")
        self.assertEqual(rc, 0, err)
        self.assertEqual(self.kvo("check", "--strict", "title.json")[0], 0)
        self.put("title.json", b"mine")
        rc, _, err = self.kvo("new", "-o", "title.json")
        self.assertEqual(rc, 2)
        self.assertIn("not replaced", err)
        self.assertEqual(self.get("title.json"), b"mine")
        self.assertEqual(self.kvo("new", "--force", "-o", "title.json")[0], 0)
        self.assertEqual(json.loads(self.get("title.json"))["titleId"], "mygame")


class Writers(Base):
    def test_every_writer_refuses_an_existing_file_unless_forced(self):
        self.put("in.json", doc())
        self.assertEqual(self.kvo("pack", "in.json", "-o", "in.kvo")[0], 0)
        for args in (["new"], ["pack", "in.json"], ["unpack", "in.kvo"], ["fmt", "in.json"]):
            with self.subTest(args[0]):
                self.put("out", b"keep me")
                rc, out, err = self.kvo(*args, "-o", "out")
                self.assertEqual((rc, out), (2, b""), err)
                self.assertIn("kvotool %s: 'out' exists; not replaced (use --force)" % args[0], err)
                self.assertEqual(self.get("out"), b"keep me")
                rc, _, err = self.kvo(*args, "-o", "out", "--force")
                self.assertEqual(rc, 0, err)
                self.assertNotEqual(self.get("out"), b"keep me")
                # A new file and standard output need no --force.
                os.remove(os.path.join(self.dir, "out"))
                self.assertEqual(self.kvo(*args, "-o", "out")[0], 0)
                self.assertEqual(self.kvo(*args, "-o", "-")[0], 0)
        self.assertEqual(self.leftovers(), [])


class Keys(Base):
    def test_key_from_file_environment_or_command_line(self):
        self.pack_with_key(KEY)
        self.put("good.key", "  " + KEY[:32] + "\r\n" + KEY[32:] + "\n")
        self.put("other.key", "ab" * 32 + "\n")
        self.put("short.key", KEY[:-1] + "\n")
        self.put("word.key", "key=" + KEY[4:])
        warning = "warning: --key on the command line shows in the process list and shell history"
        # (arguments before the file, KVOTOOL_KEY, exit status, text in stderr or None, text not in stderr)
        rows = [
            (["--key-file", "good.key"], None, 0, "container, no problems", warning),
            ([], KEY, 0, "container, no problems", warning),
            ([], " %s\n" % KEY.upper(), 0, "container, no problems", warning),
            (["--key", KEY], None, 0, warning, None),
            (["--key-file", "good.key"], KEY, 0, "container, no problems", None),
            ([], None, 1, "does not decrypt with kvotool's built-in key", None),
            (["--key-file", "other.key"], None, 1, "does not decrypt with the given key", None),
            (["--key-file", "short.key"], None, 2,
             "--key-file short.key: the key must be 64 hexadecimal digits; got 63 characters", KEY[:-1]),
            (["--key-file", "word.key"], None, 2, "the key must be 64 hexadecimal digits; it holds other", KEY[4:]),
            (["--key-file", "missing.key"], None, 2, "--key-file: cannot open 'missing.key'", None),
            ([], KEY[:40], 2, "KVOTOOL_KEY: the key must be 64 hexadecimal digits; got 40", KEY[:40]),
            (["--key", KEY, "--key-file", "good.key"], None, 2, "give either --key or --key-file, not both", None),
            (["--key-file", "other.key"], KEY, 2, "KVOTOOL_KEY and --key-file give different keys", None),
            (["--key", "ab" * 32], KEY, 2, "KVOTOOL_KEY and --key give different keys", None),
        ]
        for before, env, status, text, absent in rows:
            with self.subTest(args=before, env=env):
                rc, _, err = self.kvo("check", *before, "own.kvo", key_env=env)
                self.assertEqual(rc, status, err)
                self.assertIn(text, err)
                if absent:
                    self.assertNotIn(absent, err)
        # Every command that takes --key takes the other two sources.
        for args in (["show", "own.kvo"], ["unpack", "own.kvo"], ["fmt", "own.kvo"],
                     ["pack", "own.kvo", "-o", "-"]):
            with self.subTest(args[0]):
                self.assertEqual(self.kvo(*args, "--key-file", "good.key")[0], 0)
                self.assertEqual(self.kvo(*args, key_env=KEY)[0], 0)
                self.assertEqual(self.kvo(*args)[0], 1)


class Usage(Base):
    def test_help_and_usage_errors(self):
        for cmd in ["check", "doctor", "pack", "unpack", "show", "fmt", "new"]:
            with self.subTest(cmd):
                rc, out, _ = self.kvo(cmd, "--help")
                self.assertEqual(rc, 0)
                self.assertTrue(out.decode().startswith("usage: kvotool " + cmd))
        rows = [
            ([], 2, "usage: kvotool COMMAND"),
            (["chek"], 2, "unknown command 'chek'; did you mean 'check'?"),
            (["pack", "a.json"], 2, "-o FILE"),
            (["show", "a", "b"], 2, "exactly one file"),
        ]
        for args, status, text in rows:
            with self.subTest(args=args):
                rc, _, err = self.kvo(*args)
                self.assertEqual(rc, status)
                self.assertIn(text, err)
        rc, out, _ = self.kvo("--help")
        self.assertEqual(rc, 0)
        self.assertIn(b"commands:", out)

    def test_help_lists_exactly_the_options_the_command_takes(self):
        rc, overview, _ = self.kvo("help")
        commands = re.findall(r"^  ([a-z]+) ", overview.decode().split("commands:")[1].split("options:")[0], re.M)
        self.assertEqual(commands, ["check", "doctor", "pack", "unpack", "show", "fmt", "new", "help"])
        for cmd in commands:
            with self.subTest(cmd):
                rc, text, _ = self.kvo(cmd, "--help")
                self.assertEqual((rc, self.kvo("help", cmd)[1]), (0, text))
                text = text.decode()
                self.assertTrue(all(len(line) <= 79 for line in text.splitlines()))
                options = re.findall(r"^  (?:-\w, )?--([a-z-]+)( [A-Z.;]+)?", text.split("\noptions:\n")[1], re.M)
                self.assertIn(("help", ""), options)
                # Each option listed parses: given with --help, the help wins.
                for name, value in options:
                    arg = "--%s=x" % name if value else "--" + name
                    rc, again, err = self.kvo(cmd, arg, "--help")
                    self.assertEqual((rc, again.decode()), (0, text), err)
                rc, _, err = self.kvo(cmd, "--no-such-option")
                self.assertEqual(rc, 2)
                self.assertIn("unknown option '--no-such-option'", err)


def pe_with_version(version=(1, 0, 0, 0), product="Tavrin Games Launch Stub", company="Tavrin Games",
                    original="PlayGame.exe", fingerprint=None):
    """A minimal 64-bit PE whose only section holds a version resource, laid
    out as resource compilers do (key, value and children aligned to 4)."""
    def pad4(b):
        return b + bytes(-len(b) % 4)

    def block(key, value=b"", children=b"", text=False):
        head = pad4(bytes(6) + (key + "\0").encode("utf-16-le"))
        body = pad4(head + value) + children
        return struct.pack("<HHH", len(body), len(value) // 2 if text else len(value), int(text)) + body[6:]

    ms, ls = version[0] << 16 | version[1], version[2] << 16 | version[3]
    fixed = struct.pack("<13I", 0xFEEF04BD, 0x10000, ms, ls, ms, ls, 0x3F, 0, 0x40004, 1, 0, 0, 0)
    strings = b"".join(pad4(block(k, (v + "\0").encode("utf-16-le"), text=True)) for k, v in
                       [("CompanyName", company), ("FileVersion", "%d.%d.%d.%d" % version),
                        ("OriginalFilename", original), ("ProductName", product)]
                       + ([("KeyFingerprint", fingerprint)] if fingerprint else []))
    info = block("VS_VERSION_INFO", fixed, pad4(block("StringFileInfo", children=pad4(block("040904B0", children=strings)))))
    rva = 0x1000
    directory = lambda entry_id, target: struct.pack("<IIHHHH", 0, 0, 0, 0, 0, 1) + struct.pack("<II", entry_id, target)
    rsrc = (directory(16, 0x80000018) + directory(1, 0x80000030) + directory(0x409, 0x48)
            + struct.pack("<IIII", rva + 0x58, len(info), 0, 0) + info)
    optional = struct.pack("<HBB", 0x20B, 0, 0) + bytes(104) + struct.pack("<I", 16)
    optional += bytes(16) + struct.pack("<II", rva, len(rsrc)) + bytes(13 * 8)
    section = b".rsrc\0\0\0" + struct.pack("<IIII", len(rsrc), rva, len(rsrc), 0x200) + bytes(16)
    headers = b"MZ" + bytes(58) + struct.pack("<I", 64) + b"PE\0\0"
    headers += struct.pack("<HHIIIHH", 0x8664, 1, 0, 0, 0, len(optional), 0x22) + optional + section
    return headers + bytes(0x200 - len(headers)) + rsrc


STEAM = dict(gamePlatform="steam", steamAppIds=[480])
LAUNCHER_SETUP = "Redistributables/Tavrin-Games-Launcher.exe"

# doctor: (name, game folder's files, title (a document to pack, a tuple
# (document, key) to pack with that key, or None), where title.kvo goes,
# extra arguments, exit status, texts in the text report, error rules, and
# the outcomes with the launcher installed / not installed). The game folder
# is a/b/game; "../" climbs out of it. Every folder has MyGame.exe and the
# stub unless the row says otherwise.
DOCTOR_CASES = [
    ("stub named like the game", [], doc(principalFileName="playgame.EXE"), "title.kvo", [], 1,
     ["error: 'principalFileName' 'playgame.EXE' is the stub's own name: a launcher starting the game starts "
      "the stub"], ["game-executable"], "starts-launcher", "shows-message 0"),
    ("steam with the launcher installer", [LAUNCHER_SETUP], doc(**STEAM), "title.kvo", [], 0,
     ["note: store front \"steam\": the stub runs Redistributables\\Tavrin-Games-Launcher.exe /s /t elevated "
      "when the launcher is not installed", "stub: version 1.0.0.0, product \"Tavrin Games Launch Stub\", "
      "company \"Tavrin Games\"", "the stub finds this title.kvo beside itself"],
     [], "starts-launcher", "runs-installer"),
    ("steam without the launcher installer", [], doc(**STEAM), "title.kvo", [], 1,
     ["error: store front \"steam\": neither Redistributables\\Tavrin-Games-Launcher.exe nor "
      "\\Tavrin-Games-Launcher.exe (the root of the drive: 'steamInstallerPath' is empty) exists",
      "shows message 3: \"Unable to install prerequisites, please try reinstalling the game.\""],
     ["installer"], "starts-launcher", "shows-message 3"),
    ("steam installer through steamInstallerPath, any letter case", ["tools/INST/tavrin-games-launcher.exe"],
     doc(steamInstallerPath="Tools\\Inst", **STEAM), "title.kvo", [], 0,
     ["the stub runs Tools\\Inst\\Tavrin-Games-Launcher.exe /s /t ('steamInstallerPath') elevated"],
     [], "starts-launcher", "runs-installer"),
    ("epic runs its installer at every start", ["Redistributables/Tavrin-Games-Epic.exe"],
     doc(gamePlatform="epic", epicSdkVersion=1), "title.kvo", [], 0,
     ["runs Redistributables\\Tavrin-Games-Epic.exe elevated at every start while the launcher is not running",
      "the launcher must be version 1.0.3.0 or later"], [], "runs-installer", "runs-installer"),
    ("viveport with a missing installer", [], doc(gamePlatform="viveport"), "title.kvo", [], 1,
     ["error: store front \"viveport\": Installers\\Tavrin-Games-Vive.exe is missing"],
     ["installer"], "shows-message 3", "shows-message 3"),
    ("title.kvo two folders above the stub, names in another letter case", ["Bin/X/PlayGame.exe", "Bin/X/MyGame.exe", "-PlayGame.exe",
     "-MyGame.exe"], doc(), "title.kvo", ["--stub", "bin\\x\\PlayGame.exe"], 0,
     ["the stub finds this title.kvo 2 folders above its own", "the launcher needs to be installed first"],
     [], "starts-launcher", "shows-message 0"),
    ("title.kvo found two folders up, outside the game folder", [], doc(), "../../title.kvo", [], 1,
     ["error: the stub loads title.kvo from outside the game folder"], ["metadata-search"],
     "starts-launcher", "shows-message 0"),
    ("no title.kvo anywhere", [], None, None, [], 1,
     ["error: the stub finds no title.kvo; it searched ", "shows message 10: \"Unable to launch game."],
     ["metadata-search"], "shows-message 10", "shows-message 10"),
    ("container packed with another key", [], (doc(), KEY), "title.kvo", [], 1,
     ["a stub built with the same key refuses it", "(--key HEX tells whether another key opens it)"],
     ["container-key"], "shows-message 10", "shows-message 10"),
    ("container packed with another key, --key opens it", [], (doc(), KEY), "title.kvo", ["--key", KEY], 1,
     ["it opens with the given key", "with the given key: container, no problems"],
     ["container-key"], "shows-message 10", "shows-message 10"),
    ("missing principalFileName executable", ["-MyGame.exe"], doc(), "title.kvo", [], 1,
     ["error: the game's executable 'MyGame.exe' ('principalFileName') is not beside the stub",
      "shows message 8: \"Unable to locate game executable."], ["game-executable"],
     "starts-launcher", "shows-message 0"),
    ("missing stub", ["-PlayGame.exe", "Other.exe"], doc(), "title.kvo", [], 1,
     ["error: the stub 'PlayGame.exe' is not in the game folder", "executables in the game folder: "],
     ["stub"], "starts-launcher", "shows-message 0"),
    ("check findings of a plain title.kvo keep their lines", [], doc(gamePlatfrom="steam"), "plain", [], 1,
     ["title.kvo:13:2: error: unknown key 'gamePlatfrom'; did you mean 'gamePlatform'?"], ["root-member"],
     "starts-launcher", "shows-message 0"),
]


class Doctor(Base):
    def make_game(self, files, title, title_place):
        """Builds a/b/game under the test folder; gives its path."""
        game = os.path.join(self.dir, "a", "b", "game")
        os.makedirs(game)
        wanted = ["PlayGame.exe", "MyGame.exe"] + [f for f in files if not f.startswith("-")]
        for name in wanted:
            if "-" + name in files:
                continue
            path = os.path.join(game, name)
            os.makedirs(os.path.dirname(path), exist_ok=True)
            with open(path, "wb") as f:
                f.write(pe_with_version() if name.endswith("PlayGame.exe") else b"MZ")
        if title is not None:
            text, key = title if isinstance(title, tuple) else (title, None)
            self.put("in.json", text)
            place = os.path.normpath(os.path.join(game, "title.kvo" if title_place == "plain" else title_place))
            if title_place == "plain":
                shutil.copy(os.path.join(self.dir, "in.json"), place)
            else:
                rc, _, err = self.kvo("pack", *(["--key", key] if key else []), "in.json", "-o", place)
                self.assertEqual(rc, 0, err)
        return game

    def doctor(self, game, *args):
        return self.kvo("doctor", os.path.relpath(game, self.dir), *args)

    def test_game_folders(self):
        for name, files, title, place, extra, status, texts, rules, installed, not_installed in DOCTOR_CASES:
            with self.subTest(name):
                shutil.rmtree(os.path.join(self.dir, "a"), ignore_errors=True)
                game = self.make_game(files, title, place)
                rc, out, err = self.doctor(game, *extra)
                self.assertEqual(rc, status, err)
                self.assertEqual(out, b"")
                for t in texts:
                    self.assertIn(t, err)
                rc, out, _ = self.doctor(game, *extra, "--format", "json")
                self.assertEqual(rc, status)
                report = json.loads(out)["reports"][0]
                self.assertEqual(sorted({f["rule"] for f in report["findings"] if f["severity"] == "error"}), rules)
                outcome = lambda o: o["outcome"] + (" %d" % o["message"] if "message" in o else "")
                self.assertEqual(outcome(report["verdict"]["launcherInstalled"]), installed)
                self.assertEqual(outcome(report["verdict"]["launcherNotInstalled"]), not_installed)
                # The text report is the same findings, then the verdict.
                lines = [line for line in err.splitlines() if "warning: --key on the command line" not in line]
                self.assertEqual(len(lines), len(report["findings"]) + 1)
                for line, finding in zip(lines, report["findings"]):
                    self.assertTrue(line.endswith(finding["severity"] + ": " + finding["message"]), line)
                self.assertTrue(lines[-1].endswith("verdict: " + report["verdict"]["text"]))

    def test_search_places_stop_after_three_folders_above(self):
        game = self.make_game([], None, None)
        rc, out, _ = self.doctor(game, "--format", "json")
        self.assertEqual(rc, 1)
        [missing] = [f["message"] for f in json.loads(out)["reports"][0]["findings"] if f["rule"] == "metadata-search"]
        folders = [game]
        for _ in range(3):  # the stub's folder and three above it, no more
            folders.append(os.path.dirname(folders[-1]))
        places = ", ".join(os.path.join(d, "title.kvo") for d in folders)
        self.assertIn("it searched " + places + ", and shows", missing)

    def test_container_under_another_key_than_the_stub_s(self):
        fingerprint = lambda key: hashlib.sha256(b"KVOM key fingerprint " + key.lower().encode()).hexdigest()[:16]
        self.put("in.json", doc())
        self.assertEqual(self.kvo("pack", "--key", KEY, "in.json", "-o", "own.kvo")[0], 0)
        rc, out, _ = self.kvo("show", "--key", KEY, "own.kvo")
        self.assertIn(("key fingerprint: " + fingerprint(KEY)).encode(), out)
        self.assertEqual(self.kvo("pack", "in.json", "-o", "built-in.kvo")[0], 0)
        built_in = self.kvo("show", "built-in.kvo")[1].decode().split("key fingerprint: ")[1][:16]
        for stub_key, title, key_args, status, text in [
                (KEY, (doc(), None), [], 1, "the stub was built with the container key of fingerprint %s, but "
                 "this container opens with the key of fingerprint %s (kvotool's built-in key): the stub "
                 "refuses it" % (fingerprint(KEY), built_in)),
                (None, (doc(), KEY), ["--key", KEY], 1, "opens with the key of fingerprint %s (the given key)"
                 % fingerprint(KEY)),
                (KEY, (doc(), KEY), ["--key", KEY], 1, "note: the stub's container key (fingerprint %s) opens"
                 % fingerprint(KEY))]:
            with self.subTest(stub_key=stub_key, key_args=key_args):
                shutil.rmtree(os.path.join(self.dir, "a"), ignore_errors=True)
                game = self.make_game([], title, "title.kvo")
                with open(os.path.join(game, "PlayGame.exe"), "wb") as f:
                    f.write(pe_with_version(fingerprint=fingerprint(stub_key) if stub_key else built_in))
                rc, _, err = self.doctor(game, *key_args)
                self.assertEqual(rc, status, err)
                self.assertIn(text, err)
                # Never "loads it" beside "refuses it" for the same file.
                self.assertFalse("the stub refuses it" in err and "the launch stub loads it" in err, err)

    def test_renamed_stub_warns_and_strict_fails(self):
        game = self.make_game([], doc(), "title.kvo")
        with open(os.path.join(game, "PlayGame.exe"), "wb") as f:
            f.write(pe_with_version((2, 5, 0, 7), "Star Harbor", "Nordlicht Spiele GmbH", "StarHarbor.exe"))
        rc, _, err = self.doctor(game)
        self.assertEqual(rc, 0, err)
        self.assertIn("stub: version 2.5.0.7, product \"Star Harbor\", company \"Nordlicht Spiele GmbH\"", err)
        self.assertIn("warning: the stub was built as 'StarHarbor.exe' and renamed to 'PlayGame.exe'", err)
        self.assertEqual(self.doctor(game, "--strict")[0], 1)
        with open(os.path.join(game, "PlayGame.exe"), "wb") as f:
            f.write(b"MZ not really")
        rc, _, err = self.doctor(game)
        self.assertEqual(rc, 1)
        self.assertIn("error: the stub is not a Windows executable", err)

    def test_usage_and_unreadable_folder(self):
        self.put("file.txt", "x")
        for args, text in [(["doctor"], "no game folder"), (["doctor", "nowhere"], "it does not exist"),
                           (["doctor", "file.txt"], "it is not a folder"),
                           (["doctor", ".", "--format", "xml"], "--format takes text, json or sarif")]:
            with self.subTest(args=args):
                rc, _, err = self.kvo(*args)
                self.assertEqual(rc, 2)
                self.assertIn(text, err)

    def test_real_stub_and_backslash_paths(self):
        """With the Windows build: the folder named with backslashes, and the real stub's version resource."""
        game = self.make_game(["bin/x/MyGame.exe", "-MyGame.exe"], doc(), "title.kvo")
        if ARGS.real_stub:
            os.makedirs(os.path.join(game, "bin", "x"), exist_ok=True)
            shutil.copy(ARGS.real_stub, os.path.join(game, "bin", "x", "PlayGame.exe"))
        else:
            os.rename(os.path.join(game, "PlayGame.exe"), os.path.join(game, "bin", "x", "PlayGame.exe"))
        windows = ARGS.runner == "wine"
        shown = ("Z:" + game.replace("/", "\\")) if windows else game
        sep = "\\" if windows else "/"
        rc, _, err = self.kvo("doctor", shown + sep, "--stub", "bin\\x\\PlayGame.exe")
        self.assertEqual(rc, 0, err)
        self.assertIn(shown + sep + "title.kvo: note: the stub finds this title.kvo 2 folders above its own", err)
        self.assertIn(shown + sep + "bin" + sep + "x" + sep + "MyGame.exe: note: the game's executable", err)
        if ARGS.real_stub:
            self.assertIn("stub: version %s, product \"%s\", company \"%s\"" % (
                ARGS.real_stub_version, ARGS.real_stub_product, ARGS.real_stub_company), err)
            # The build's fingerprint of its key is the one kvotool computes for the same key.
            self.put("in.json", doc())
            self.assertEqual(self.kvo("pack", "in.json", "-o", os.path.join(game, "title.kvo"), "--force")[0], 0)
            rc, _, err = self.kvo("doctor", shown + sep, "--stub", "bin\\x\\PlayGame.exe")
            self.assertEqual(rc, 0, err)
            self.assertRegex(err, r"note: the stub's container key \(fingerprint [0-9a-f]{16}\) opens this container")
        os.remove(os.path.join(game, "title.kvo"))
        rc, _, err = self.kvo("doctor", shown, "--stub", "bin\\x\\PlayGame.exe")
        self.assertEqual(rc, 1)
        places = [sep.join([shown, "bin", "x", "title.kvo"]), sep.join([shown, "bin", "title.kvo"]),
                  sep.join([shown, "title.kvo"]), sep.join([shown[:shown.rfind(sep)], "title.kvo"])]
        self.assertIn("it searched " + ", ".join(places) + ", and shows", err)


class Reports(Base):
    def test_json_of_check(self):
        self.put("t.json", doc(gamePlatfrom="steam", languages="en"))
        self.put("good.json", doc())
        rc, out, err = self.kvo("check", "--format", "json", "t.json", "good.json")
        self.assertEqual((rc, err), (1, ""))
        report = json.loads(out)
        self.assertEqual((report["command"], report["errors"], report["warnings"], report["exitStatus"]),
                         ("check", 1, 1, 1))
        bad, good = report["reports"]
        self.assertEqual([(f["severity"], f["line"], f["column"], f["suggestion"]) for f in bad["findings"]],
                         [("warning", 9, 15, '["en"]'), ("error", 11, 2, "gamePlatform")])
        self.assertEqual(bad["verdict"], {"text": "the launch stub loads it, but not as meant: fix the errors",
                                          "stubLoads": True, "status": 0,
                                          "statusName": "Ok"})
        self.assertEqual((good["file"], good["findings"]), ("good.json", []))
        self.put("bad.json", doc(titleId=None))
        rc, out, _ = self.kvo("check", "--format", "json", "bad.json")
        self.assertEqual(json.loads(out)["reports"][0]["verdict"]["statusName"], "RequiredFieldMissing")

    def test_sarif_validates_against_the_oasis_schema(self):
        if jsonschema is None:
            self.skipTest("python3-jsonschema is not installed (scripts/deps.sh installs it)")
        path = os.path.join(ARGS.data, "sarif-schema-2.1.0.json")
        with open(path, "rb") as f:
            raw = f.read()
        # The copy is the published file, byte for byte.
        self.assertEqual(hashlib.sha256(raw).hexdigest(),
                         "c48e185e36ff726d75b2c4ca6fad14cf2c5cf0c36acfb3c6967cec2bb5077fb7")
        schema = json.loads(raw)
        jsonschema.Draft4Validator.check_schema(schema)
        validator = jsonschema.Draft4Validator(schema)
        self.put("my title.json", doc(gamePlatfrom="steam", noxTitleId="010"))
        rc, check, _ = self.kvo("check", "--format", "sarif", "my title.json")
        self.assertEqual(rc, 1)
        game = Doctor.make_game(self, [], doc(gamePlatform="viveport"), "title.kvo")
        rc, doctor, _ = self.kvo("doctor", game, "--format", "sarif", "-o", "doctor.sarif")
        self.assertEqual((rc, doctor), (1, b""))
        doctor = self.get("doctor.sarif")
        for name, text in [("check", check), ("doctor", doctor)]:
            with self.subTest(name):
                sarif = json.loads(text)
                self.assertEqual([e.message for e in validator.iter_errors(sarif)], [])
                # A control: the validator does reject a broken result.
                broken = json.loads(text)
                broken["runs"][0]["results"][0]["level"] = "fatal"
                self.assertNotEqual(list(validator.iter_errors(broken)), [])
        results = json.loads(check)["runs"][0]["results"]
        self.assertEqual([(r["level"], r["locations"][0]["physicalLocation"]["artifactLocation"]["uri"],
                           r["locations"][0]["physicalLocation"]["region"]) for r in results],
                         [("error", "my%20title.json", {"startLine": 13, "startColumn": 2}),
                          ("warning", "my%20title.json", {"startLine": 14, "startColumn": 16})])
        results = json.loads(doctor)["runs"][0]["results"]
        [installer] = [r for r in results if r["level"] == "error"]
        self.assertEqual(installer["ruleId"], "installer")
        uri = installer["locations"][0]["physicalLocation"]["artifactLocation"]["uri"]
        self.assertTrue(uri.startswith("file:///") and uri.endswith("/game/Installers/Tavrin-Games-Vive.exe"), uri)
        verdict = json.loads(doctor)["runs"][0]["invocations"][0]["properties"]["verdicts"][0]["verdict"]
        self.assertEqual(verdict["launcherNotInstalled"]["message"], 3)


# check: (document, the rules of its findings in the order reported).
RULE_CASES = [
    (doc(titleId=None, titleID="x"), ["root-member", "field-value", "stub-load"]),
    (doc(languages="en"), ["field-value"]),
    (doc(gamePlatform="steam"), ["field-combination"]),
    (doc()[:-2] + ",\n}", ["trailing-comma"]),
    (doc()[:-2] + " // note\n}", ["comment"]),
    (doc(friendlyName="x").replace('"x"', '"\xe9"').encode("latin-1"), ["invalid-utf8"]),
    ('[{"titleId": "x"}]', ["root-member", "document-structure"] + ["field-value"] * 7 + ["stub-load"]),
    (doc()[:60], ["json-syntax", "document-structure", "stub-load"]),
    (b"\xff\xfe{", ["file-format"]),
    (b"KVOM" + bytes(90), ["container"]),
]


class Rules(Base):
    def test_each_finding_has_its_own_listed_rule(self):
        seen = set()
        for i, (text, expected) in enumerate(RULE_CASES):
            with self.subTest(i=i, expected=expected):
                name = self.put("t%d.json" % i, text)
                _, out, _ = self.kvo("check", "--format", "json", name)
                rules = [f["rule"] for f in json.loads(out)["reports"][0]["findings"] if f["severity"] != "note"]
                # Sorted by position: compare as multisets, the order is the report's business.
                self.assertEqual(sorted(rules), sorted(expected))
                _, out, _ = self.kvo("check", "--format", "sarif", name)
                run = json.loads(out)["runs"][0]
                ids = [r["id"] for r in run["tool"]["driver"]["rules"]]
                self.assertEqual(len(ids), len(set(ids)))
                for result in run["results"]:
                    self.assertEqual(ids[result["ruleIndex"]], result["ruleId"])
                    self.assertRegex(result["ruleId"], r"^[a-z0-9]+(-[a-z0-9]+)*$")
                    self.assertNotEqual(result["locations"][0]["physicalLocation"].get("region", {}).get("startLine"), 0)
                    seen.add(result["ruleId"])
        self.assertGreaterEqual(len(seen), 10)

    def test_cut_files_give_messages_of_one_line(self):
        self.put("t.json", doc())
        self.assertEqual(self.kvo("pack", "t.json", "-o", "t.kvo")[0], 0)
        self.assertEqual(self.kvo("fmt", "--equals", "t.json", "-o", "t.txt")[0], 0)
        for name in ("t.json", "t.txt", "t.kvo"):
            whole = self.get(name)
            for cut in sorted({1, 2, 17, 40, 81, 97, len(whole) // 2, len(whole) - 1}):
                with self.subTest(name=name, cut=cut):
                    self.put("cut", whole[:cut])
                    for extra in ([], ["--equals"]):
                        _, out, _ = self.kvo("check", "-v", "--format", "json", *extra, "cut")
                        for f in json.loads(out)["reports"][0]["findings"]:
                            self.assertFalse(any(ord(c) < 32 for c in f["message"]), f["message"])
                    rc, _, err = self.kvo("check", "cut")
                    self.assertNotIn("\n\n", err)
                    self.assertTrue(err.endswith("\n") and not err.endswith("\r\n") or os.name == "nt")


class Pipes(Base):
    def test_standard_input_and_output_through_every_command(self):
        text = doc(gamePlatform="epic", epicSdkVersion=3).encode()
        rc, container, err = self.kvo("pack", "-", "-o", "-", stdin=text)
        self.assertEqual((rc, container[:4]), (0, b"KVOM"), err)
        rows = [
            (["unpack", "-", "-o", "-"], container, lambda out: self.assertEqual(out, text)),
            (["fmt", "-", "-o", "-", "--equals"], container, lambda out: self.assertIn(b"epicSdkVersion=3", out)),
            (["show", "-", "-o", "-"], container, lambda out: self.assertIn(b"file: <stdin> (container)", out)),
            (["check", "-", "--format", "json", "-o", "-"], container,
             lambda out: self.assertEqual(json.loads(out)["reports"][0]["file"], "<stdin>")),
            (["check", "-", "-o", "-"], text, lambda out: self.assertIn(b"<stdin>: plain JSON, no problems", out)),
        ]
        for args, stdin, check in rows:
            with self.subTest(args=args):
                rc, out, err = self.kvo(*args, stdin=stdin)
                self.assertEqual(rc, 0, err)
                check(out)
        rc, out, _ = self.kvo("show", "-", "-o", "shown.txt", stdin=text)
        self.assertEqual((rc, out), (0, b""))
        self.assertIn(b"load: 0 Ok", self.get("shown.txt"))


class MakerMistakes(Base):
    """What a build engineer's pipeline relies on: quiet success, no file the
    stub cannot read, and container errors in the user's terms."""

    def test_quiet_check_of_a_clean_file_is_silent_success(self):
        self.put("t.json", doc())
        for fmt in ([], ["--format", "text"]):
            self.assertEqual(self.kvo("check", "-q", *fmt, "t.json"), (0, b"", ""))

    def test_no_writer_writes_more_than_the_stub_reads(self):
        limit = 8 * 1024 * 1024
        # Just under the limit as text: the container adds its header and padding.
        text = doc(_pad="")[:-2] + ',\n "_pad2": "' + "x" * (limit - len(doc()) - 40) + '"\n}'
        self.assertLessEqual(len(text), limit)
        self.put("big.json", text)
        for args, what in [(["pack", "big.json", "-o", "out.kvo"], "out.kvo"),
                           (["fmt", "big.json", "--equals", "-o", "out.txt"], "out.txt")]:
            with self.subTest(args[0]):
                rc, _, err = self.kvo(*args)
                if args[0] == "fmt" and rc == 0:
                    self.assertLessEqual(os.path.getsize(os.path.join(self.dir, what)), limit)
                    continue
                self.assertEqual(rc, 1, err)
                self.assertIn("'%s' not written: it would be" % what, err)
                self.assertIn("the stub reads at most 8,388,608 bytes (TooLarge)", err)
                self.assertFalse(self.exists(what))

    def test_help_version_and_positions(self):
        root = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..")
        with open(os.path.join(root, "CMakeLists.txt"), encoding="utf-8") as f:
            version = re.search(r"project\(\w+ VERSION ([0-9.]+)", f.read()).group(1)
        rc, out, _ = self.kvo("--version")
        self.assertEqual(rc, 0)
        self.assertRegex(out.decode(), r"^kvotool %s( \(commit [0-9a-f]{12}\))?\r?\n$" % re.escape(version))
        for args in (["help", "--help"], ["--help"]):
            rc, out, _ = self.kvo(*args)
            self.assertEqual(rc, 0)
            self.assertIn(b"kvotool --version", out)
        # A finding about the whole file carries no line 0, column 0.
        self.put("t.json", doc(titleId=None))
        report = json.loads(self.kvo("check", "--format", "json", "t.json")[1])
        findings = report["reports"][0]["findings"]
        self.assertEqual(report["version"], version)
        self.assertTrue(any("line" not in f for f in findings))
        self.assertTrue(all(f.get("line", 1) > 0 and f.get("column", 1) > 0 for f in findings))

    def test_container_errors_name_the_container_not_the_crypto_library(self):
        self.pack_with_key(KEY)
        data = bytearray(self.get("own.kvo"))
        data[len(data) // 2] ^= 0x01
        self.put("damaged.kvo", bytes(data))
        for name, args in [("own.kvo", []), ("damaged.kvo", ["--key", KEY])]:
            with self.subTest(name):
                rc, _, err = self.kvo("check", *args, name)
                self.assertEqual(rc, 1, err)
                self.assertRegex(err, "damaged or was packed with another key|does not decrypt with")
                self.assertNotIn("rror:1C8", err)
                self.assertNotIn("Crypto library", err)
                self.assertNotIn("transform", err)
                self.assertNotRegex(err, r"\.kvo:\d+:\d+:")  # no position in text nobody wrote


    def test_readable_by_default_and_no_binary_onto_a_terminal(self):
        if ARGS.runner:
            self.skipTest("a pseudo-terminal is a Linux matter here")
        self.put("t.json", doc())
        rc, out, _ = self.kvo("fmt", "t.json")
        self.assertEqual(rc, 0)
        self.assertIn(b"\n\t\"titleId\"", out)
        rc, compact, _ = self.kvo("fmt", "--compact", "t.json")
        self.assertEqual((rc, compact.count(b"\n")), (0, 1))
        self.assertEqual(json.loads(out), json.loads(compact))
        # Onto a terminal the container would be noise; into a pipe it is wanted.
        import pty
        master, slave = pty.openpty()
        try:
            p = subprocess.run([ARGS.kvotool, "pack", "--key", KEY, "t.json", "-o", "-"], cwd=self.dir,
                               stdout=slave, stderr=subprocess.PIPE, timeout=60)
        finally:
            os.close(slave)
            os.close(master)
        self.assertEqual(p.returncode, 2, p.stderr)
        self.assertIn(b"standard output is a terminal", p.stderr)
        rc, piped, _ = self.kvo("pack", "--key", KEY, "t.json", "-o", "-")
        self.assertEqual(rc, 0)
        self.assertGreater(len(piped), 16)

WINDOWS_SUBSET = [
    "MakerMistakes.test_quiet_check_of_a_clean_file_is_silent_success",
    "MakerMistakes.test_help_version_and_positions",
    "Writers.test_every_writer_refuses_an_existing_file_unless_forced",
    "Keys.test_key_from_file_environment_or_command_line",
    "Rules.test_each_finding_has_its_own_listed_rule",
    "MakerMistakes.test_container_errors_name_the_container_not_the_crypto_library",
    "CheckCommand.test_each_problem_class",
    "PackUnpack.test_round_trip_plain_and_container",
    "PackUnpack.test_refused_pack_leaves_old_file_untouched",
    "PackUnpack.test_names_outside_ascii",
    "PackUnpack.test_pack_with_own_key_round_trip",
    "PackUnpack.test_wrong_key_or_damaged_container_is_refused",
    "PackUnpack.test_own_key_container_is_plain_aes_cbc",
    "PackUnpack.test_fixture_container_is_reproduced",
    "ShowFmtNew.test_new_writes_template_and_keeps_existing_file",
    "ShowFmtNew.test_show_lists_getters_with_status_and_features",
    "ShowFmtNew.test_fmt_round_trip_keeps_every_field",
    "Doctor.test_real_stub_and_backslash_paths",
    "Pipes.test_standard_input_and_output_through_every_command",
]


def main():
    global ARGS
    parser = argparse.ArgumentParser()
    parser.add_argument("--kvotool", required=True)
    parser.add_argument("--runner", default="")
    parser.add_argument("--data", default=os.path.join(os.path.dirname(os.path.abspath(__file__)), "data"))
    parser.add_argument("--fixture-key-matches", action="store_true")
    parser.add_argument("--windows-subset", action="store_true")
    parser.add_argument("--real-stub", default="", help="the built stub, for doctor's version reading")
    parser.add_argument("--real-stub-version", default="")
    parser.add_argument("--real-stub-product", default="")
    parser.add_argument("--real-stub-company", default="")
    ARGS, rest = parser.parse_known_args()
    ARGS.kvotool = os.path.abspath(ARGS.kvotool)
    module, loader = sys.modules[__name__], unittest.TestLoader()
    suite = loader.loadTestsFromNames(WINDOWS_SUBSET, module) if ARGS.windows_subset else loader.loadTestsFromModule(module)
    result = unittest.TextTestRunner(verbosity=2).run(suite)
    sys.exit(0 if result.wasSuccessful() else 1)


if __name__ == "__main__":
    main()
