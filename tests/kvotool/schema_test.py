#!/usr/bin/env python3
"""The JSON Schema of the metadata document agrees with what 'kvotool check' accepts."""
import argparse
import json
import os
import subprocess
import sys
import tempfile
import unittest

try:
    import jsonschema
except ImportError:  # reported as a failure: the schema cannot be checked without it
    jsonschema = None

ARGS = None


class Schema(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        if jsonschema is None:
            raise unittest.SkipTest("python3-jsonschema is not installed (scripts/deps.sh installs it)")
        with open(ARGS.schema, encoding="utf-8") as f:
            cls.schema = json.load(f)
        jsonschema.Draft7Validator.check_schema(cls.schema)
        cls.validator = jsonschema.Draft7Validator(cls.schema)
        cls.dir = tempfile.mkdtemp(prefix="kvotool-schema-")

    def kvotool(self, *args):
        return subprocess.run([ARGS.kvotool, *args], cwd=self.dir, capture_output=True, timeout=60)

    def errors(self, document):
        return [e.message for e in self.validator.iter_errors(document)]

    def test_template_conforms(self):
        path = os.path.join(self.dir, "new.json")
        self.assertEqual(self.kvotool("new", "--force", "-o", path).returncode, 0)
        with open(path, encoding="utf-8") as f:
            self.assertEqual(self.errors(json.load(f)), [])

    def test_documents_conform_and_pass_check(self):
        for path in ARGS.documents:
            with self.subTest(os.path.basename(path)):
                with open(path, encoding="utf-8") as f:
                    self.assertEqual(self.errors(json.load(f)), [])
                self.assertEqual(self.kvotool("check", os.path.abspath(path)).returncode, 0)

    def test_every_schema_key_is_a_key_the_stub_reads(self):
        # A document naming every key of the schema draws no "unknown key" from check.
        keys = self.schema["properties"].keys()
        path = os.path.join(self.dir, "keys.json")
        with open(path, "w", encoding="utf-8") as f:
            json.dump({k: None for k in keys}, f)
        err = self.kvotool("check", path).stderr.decode()
        self.assertNotIn("unknown key", err)
        # The document was read: the null values draw their own complaints.
        self.assertIn("'metadataVersion' must be an integer; got null", err)

    def test_schema_rejects_what_check_rejects(self):
        with open(ARGS.documents[0], encoding="utf-8") as f:
            base = json.load(f)
        mistakes = {
            "wrong case keyword": {"gamePlatform": "Steam"},
            "misspelt key": {"titleID": "x"},
            "unknown feature": {"platforms": {"default": {"Cloud": True}}},
            "empty feature object": {"platforms": {"epic": {}}},
            "boolean as number": {"modScan": 1},
            "prerequisite without version": {"customPrerequisites": [{"prerequisiteId": "a", "friendlyName": "b",
                                                                      "executableName": "c"}]},
        }
        for name, change in mistakes.items():
            with self.subTest(name):
                doc = dict(base, **change)
                self.assertNotEqual(self.errors(doc), [])
                path = os.path.join(self.dir, "bad.json")
                with open(path, "w", encoding="utf-8") as f:
                    json.dump(doc, f)
                self.assertEqual(self.kvotool("check", path).returncode, 1)
        doc = dict(base)
        del doc["titleId"]
        self.assertIn("'titleId' is a required property", self.errors(doc))


def main():
    global ARGS
    parser = argparse.ArgumentParser()
    parser.add_argument("--kvotool", required=True)
    parser.add_argument("--schema", required=True)
    parser.add_argument("documents", nargs="+")
    ARGS = parser.parse_args()
    ARGS.kvotool = os.path.abspath(ARGS.kvotool)
    suite = unittest.TestLoader().loadTestsFromTestCase(Schema)
    result = unittest.TextTestRunner(verbosity=2).run(suite)
    sys.exit(0 if result.wasSuccessful() and not result.skipped else 1)


if __name__ == "__main__":
    main()
