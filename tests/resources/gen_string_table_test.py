#!/usr/bin/env python3
"""String-table generator checks. Usage: gen_string_table_test.py GENERATOR WINDRES"""
import os
import struct
import subprocess
import sys
import tempfile
import unittest

GENERATOR = WINDRES = None
URL = "https://help.example.test"


def generate(folder, tables):
    header = os.path.join(folder, "support_url.h")
    with open(header, "w", encoding="utf-8") as f:
        f.write(f'#pragma once\n#define KVO_SUPPORT_URL "{URL}"\n')
    paths = []
    for name, lines in tables.items():
        paths.append(os.path.join(folder, name))
        with open(paths[-1], "w", encoding="utf-8") as f:
            f.write("\n".join(lines) + "\n")
    out = os.path.join(folder, "out.rc")
    result = subprocess.run([sys.executable, GENERATOR, "--support-url-header", header, "--output", out, *paths],
                            capture_output=True, text=True)
    return result, out


def read_string_blocks(res_path):
    """The texts of a compiled .res file with numeric types and names: {(language, id): text}."""
    with open(res_path, "rb") as f:
        data = f.read()
    texts = {}
    offset = 0
    while offset + 8 <= len(data):
        data_size, header_size = struct.unpack_from("<II", data, offset)
        body = data[offset + header_size: offset + header_size + data_size]
        if data_size:  # the empty leading entry has no numeric type and name
            marker1, rtype, marker2, name, _, _, language = struct.unpack_from("<HHHHIHH", data, offset + 8)
            assert marker1 == marker2 == 0xFFFF, "named resource"
            if rtype == 10 and name == 1:  # RT_RCDATA 1: the language's message table
                at = 0
                while at + 4 <= len(body):
                    sid, length = struct.unpack_from("<HH", body, at)
                    texts[(language, sid)] = body[at + 4:at + 4 + length].decode("utf-8")
                    at += 4 + length
        offset += (header_size + data_size + 3) & ~3
    return texts


class Generator(unittest.TestCase):
    def test_a_language_missing_an_english_id_stops_the_build(self):
        with tempfile.TemporaryDirectory() as folder:
            result, _ = generate(folder, {"1033_en-US.txt": ["1 One", "2 Two"], "1031_de-DE.txt": ["1 Eins"]})
            self.assertNotEqual(result.returncode, 0)
            self.assertIn("missing ids [2]", result.stderr)

    def test_a_translation_that_loses_what_the_stub_relies_on_stops_the_build(self):
        # One table per rule, each breaking only that rule in otherwise faithful texts.
        english = ["106 Are you sure you want to uninstall ~TitleName~?",
                   "118 Support for Windows® 7 and Windows® 8 has ended. Visit {SUPPORT_URL}/ for more.",
                   "210 Not found. \\n\\nPlease visit {SUPPORT_URL}/ for more information."]
        kept = ["106 Möchten Sie ~TitleName~ wirklich deinstallieren?",
                "118 Windows® 7 und Windows® 8 werden nicht mehr unterstützt. Siehe {SUPPORT_URL}/.",
                "210 Nicht gefunden.\\n\\nWeitere Informationen unter {SUPPORT_URL}/."]
        cases = [
            ("address written out", 118, "Siehe {SUPPORT_URL}/.", "Siehe https://help.example.test/.",
             "id 118 must keep the support address {SUPPORT_URL}/"),
            ("address without its closing slash", 210, "unter {SUPPORT_URL}/.", "unter {SUPPORT_URL}.",
             "id 210 must keep the support address {SUPPORT_URL}/"),
            ("placeholder translated", 106, "~TitleName~", "~Titelname~",
             "id 106 must keep the placeholder ~TitleName~"),
            ("placeholder dropped", 106, "~TitleName~ ", "das Spiel ",
             "id 106 must keep the placeholder ~TitleName~"),
            ("a stray ~ besides the placeholder", 106, "wirklich", "~wirklich",
             "id 106 must keep no ~ other than the placeholder's"),
            ("registered mark dropped", 118, "Windows® 8", "Windows 8", "id 118 must keep the ® of Windows®"),
            ("registered mark moved", 118, "Windows® 7", "Windows 7®", "id 118 must keep the ® of Windows®"),
            ("one line feed lost", 210, "\\n\\n", "\\n", "id 210 must keep the two line feeds \\n\\n"),
            ("line feeds lost", 210, "\\n\\n", " ", "id 210 must keep the two line feeds \\n\\n"),
            ("a line feed added", 106, "wirklich ", "wirklich\\n", "id 106 must keep no line feed other than those"),
        ]
        with tempfile.TemporaryDirectory() as folder:
            result, _ = generate(folder, {"1033_en-US.txt": english, "1031_de-DE.txt": kept})
            self.assertEqual(result.returncode, 0, "the faithful table is accepted: " + result.stderr)
        for what, sid, old, new, refusal in cases:
            with self.subTest(what), tempfile.TemporaryDirectory() as folder:
                broken = [line.replace(old, new, 1) if line.startswith(f"{sid} ") else line for line in kept]
                self.assertNotEqual(broken, kept)
                result, _ = generate(folder, {"1033_en-US.txt": english, "1031_de-DE.txt": broken})
                self.assertNotEqual(result.returncode, 0)
                self.assertIn(f"1031_de-DE.txt: {refusal} as the English text does", result.stderr)

    def test_texts_survive_the_resource_compiler(self):
        english = ["# comment lines and blank lines are skipped", "", '1 Say "hi" to Play',
                   "2 Visit {SUPPORT_URL}/ now.\\n\\nBye", "3 Windows® 7 – naïve ✓"]
        japanese = ['1 「こんにちは」と "言う"', "2 サポート {SUPPORT_URL}/ をご覧ください。\\n\\n以上", "3 Windows® 7 エラー"]
        expected = {(1033, 1): 'Say "hi" to Play', (1033, 2): f"Visit {URL}/ now.\n\nBye",
                    (1033, 3): "Windows\u00ae 7 \u2013 na\u00efve \u2713", (1041, 1): '「こんにちは」と "言う"',
                    (1041, 2): f"サポート {URL}/ をご覧ください。\n\n以上", (1041, 3): "Windows\u00ae 7 エラー"}
        with tempfile.TemporaryDirectory() as folder:
            result, rc = generate(folder, {"1033_en-US.txt": english, "1041_ja-JP.txt": japanese})
            self.assertEqual(result.returncode, 0, result.stderr)
            res = os.path.join(folder, "out.res")
            compiled = subprocess.run([WINDRES, "-J", "rc", "-O", "res", rc, res], capture_output=True, text=True)
            self.assertEqual(compiled.returncode, 0, compiled.stderr)
            self.assertEqual(read_string_blocks(res), expected)


if __name__ == "__main__":
    GENERATOR, WINDRES = sys.argv[1], sys.argv[2]
    unittest.main(argv=[sys.argv[0], "-v"])
