#!/usr/bin/env python3
"""Checks of the string-table generator: tables that must stop the build, and
texts with characters that need escaping, compiled by the resource compiler
and read back.

Usage: gen_string_table_test.py GENERATOR WINDRES
"""
import os
import re
import struct
import subprocess
import sys
import tempfile
import unittest

GENERATOR = None
WINDRES = None
URL = "https://help.example.test"


class Tables:
    """A folder with a support_url.h and text tables, for one generator run."""

    def __init__(self, folder):
        self.folder = folder
        with open(os.path.join(folder, "support_url.h"), "w", encoding="utf-8") as f:
            f.write(f'#pragma once\n#define KVO_SUPPORT_URL "{URL}"\n')
        self.paths = []

    def add(self, name, lines):
        path = os.path.join(self.folder, name)
        with open(path, "w", encoding="utf-8") as f:
            f.write("\n".join(lines) + "\n")
        self.paths.append(path)

    def generate(self):
        out = os.path.join(self.folder, "out.rc")
        result = subprocess.run(
            [sys.executable, GENERATOR, "--support-url-header", os.path.join(self.folder, "support_url.h"),
             "--output", out, *self.paths], capture_output=True, text=True)
        return result, out


def read_string_blocks(res_path):
    """The texts of a compiled .res file: {(language, id): text}."""
    with open(res_path, "rb") as f:
        data = f.read()
    texts = {}
    offset = 0
    while offset + 8 <= len(data):
        data_size, header_size = struct.unpack_from("<II", data, offset)
        header = data[offset + 8: offset + header_size]
        pos = 0

        def name_or_id():
            nonlocal pos
            if header[pos:pos + 2] == b"\xff\xff":
                value = struct.unpack_from("<H", header, pos + 2)[0]
                pos += 4
                return value
            end = pos
            while header[end:end + 2] != b"\0\0":
                end += 2
            value = header[pos:end].decode("utf-16-le")
            pos = end + 2
            return value

        rtype = name_or_id()
        name = name_or_id()
        pos = (pos + 3) & ~3
        language = struct.unpack_from("<IHH", header, pos)[2]
        body = data[offset + header_size: offset + header_size + data_size]
        if rtype == 6:
            at = 0
            for index in range(16):
                (length,) = struct.unpack_from("<H", body, at)
                at += 2
                if length:
                    texts[(language, (name - 1) * 16 + index)] = body[at:at + 2 * length].decode("utf-16-le")
                at += 2 * length
        offset += (header_size + data_size + 3) & ~3
    return texts


class RefusedTables(unittest.TestCase):
    # what, English lines (None: no English table), German lines, the message's part
    CASES = [
        ("a language without an id of the English table", ["1 One", "2 Two"], ["1 Eins"], "missing ids [2]"),
        ("a language with an id the English table lacks", ["1 One"], ["1 Eins", "7 Sieben"], "extra ids [7]"),
        ("an id given twice", ["1 One"], ["1 Eins", "1 Noch eins"], "given twice"),
        ("an escape other than \\n", ["1 One"], ["1 Ei\\tns"], "escapes"),
        ("a line without an id", ["1 One"], ["Eins"], "expected '<id> <text>'"),
        ("no English table", None, ["1 Eins"], "1033"),
    ]

    def test_each_case_stops_the_build(self):
        for what, english, german, message in self.CASES:
            with self.subTest(what), tempfile.TemporaryDirectory() as folder:
                tables = Tables(folder)
                if english is not None:
                    tables.add("1033_en-US.txt", english)
                tables.add("1031_de-DE.txt", german)
                result, _ = tables.generate()
                self.assertNotEqual(result.returncode, 0)
                self.assertIn(message, result.stderr)


class CompiledTexts(unittest.TestCase):
    def test_texts_survive_the_resource_compiler(self):
        english = [
            "# comment lines and blank lines are skipped",
            "",
            '1 Say "hi" to Play',
            "2 Visit {SUPPORT_URL}/ now.\\n\\nBye",
            "3 Windows® 7 – naïve ✓",
        ]
        japanese = [
            '1 「こんにちは」と "言う"',
            "2 サポート {SUPPORT_URL}/ をご覧ください。\\n\\n以上",
            "3 Windows® 7 エラー",
        ]
        expected = {
            (1033, 1): 'Say "hi" to Play',
            (1033, 2): f"Visit {URL}/ now.\n\nBye",
            (1033, 3): "Windows\u00ae 7 \u2013 na\u00efve \u2713",
            (1041, 1): '「こんにちは」と "言う"',
            (1041, 2): f"サポート {URL}/ をご覧ください。\n\n以上",
            (1041, 3): "Windows\u00ae 7 エラー",
        }
        with tempfile.TemporaryDirectory() as folder:
            tables = Tables(folder)
            tables.add("1033_en-US.txt", english)
            tables.add("1041_ja-JP.txt", japanese)
            result, rc = tables.generate()
            self.assertEqual(result.returncode, 0, result.stderr)
            res = os.path.join(folder, "out.res")
            compiled = subprocess.run([WINDRES, "-J", "rc", "-O", "res", rc, res], capture_output=True, text=True)
            self.assertEqual(compiled.returncode, 0, compiled.stderr)
            self.assertEqual(read_string_blocks(res), expected)


if __name__ == "__main__":
    GENERATOR, WINDRES = sys.argv[1], sys.argv[2]
    unittest.main(argv=[sys.argv[0], "-v"])
