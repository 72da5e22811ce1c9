#!/usr/bin/env python3
"""Drives the kvotool program: each command, each class of problem check
reports, pack/unpack round trips and refused writes (--runner wine: Windows build)."""
import argparse
import json
import os
import shutil
import subprocess
import sys
import tempfile
import unittest

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

    def kvo(self, *args, stdin=None):
        cmd = ([ARGS.runner] if ARGS.runner else []) + [ARGS.kvotool]
        p = subprocess.run(cmd + list(args), cwd=self.dir, input=stdin, capture_output=True, timeout=120)
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
    ("not strict JSON", doc()[:-2] + ",\n}", [], 1,
     ["t.json:13:2: error: JSON Validation Error: line 13 char 2, expected '\"' and got '}'",
      "the launch stub loads it"]),
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
    ("steam without app ids warns", doc(gamePlatform="steam"), [], 0,
     ["warning: 'gamePlatform' is \"steam\" but 'steamAppIds' is missing", "1 warning"]),
    ("warnings fail under --strict", doc(gamePlatform="steam"), ["--strict"], 1, ["1 warning"]),
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
        # --force writes, and still says the input has problems.
        rc, _, err = self.kvo("pack", "--force", "bad.json", "-o", "title.kvo")
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


class Usage(Base):
    def test_help_and_usage_errors(self):
        for cmd in ["check", "pack", "unpack", "show", "fmt", "new"]:
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


WINDOWS_SUBSET = [
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
]


def main():
    global ARGS
    parser = argparse.ArgumentParser()
    parser.add_argument("--kvotool", required=True)
    parser.add_argument("--runner", default="")
    parser.add_argument("--data", default=os.path.join(os.path.dirname(os.path.abspath(__file__)), "data"))
    parser.add_argument("--fixture-key-matches", action="store_true")
    parser.add_argument("--windows-subset", action="store_true")
    ARGS, rest = parser.parse_known_args()
    ARGS.kvotool = os.path.abspath(ARGS.kvotool)
    module, loader = sys.modules[__name__], unittest.TestLoader()
    suite = loader.loadTestsFromNames(WINDOWS_SUBSET, module) if ARGS.windows_subset else loader.loadTestsFromModule(module)
    result = unittest.TextTestRunner(verbosity=2).run(suite)
    sys.exit(0 if result.wasSuccessful() else 1)


if __name__ == "__main__":
    main()
