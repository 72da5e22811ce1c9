#!/usr/bin/env python3
"""Writes the message tables, one resource per language, and the resource
script that embeds them, from the per-language text tables.

A table is RCDATA resource 1 (IDR_MESSAGE_TABLE) in its language, holding
one record per text: the id and the byte length as little-endian 16-bit
numbers, then the text in UTF-8. UTF-8 keeps the 30 languages at about 60 %
of what a UTF-16 string table takes, which keeps the stub under its size
limit; the stub converts the one text it shows.

Each table is named <language id>_<tag>.txt and holds one text per line as
"<id> <text>"; blank lines and lines starting with # are skipped. In a text,
{SUPPORT_URL} stands for the support address (read from support_url.h, so the
address is written in one place only) and \\n for a line feed.

Every table must hold exactly the ids of the English table: a missing or extra
id fails the build instead of silently falling back to another language. Each
text must also keep, as often as its English text does, what the stub and the
player rely on: the support address, the "~TitleName~" placeholder (the stub
replaces the first "~" and the ten characters after it, so no other "~" may
appear), the registered mark of "Windows®" and the line feeds.
"""
import argparse
import os
import re
import struct
import sys

REFERENCE_LANGUAGE = 1033

# What a translation must keep, as written in a table file, and its name in the
# build's refusal.
KEPT_AS_IN_ENGLISH = [
    ("{SUPPORT_URL}/", "the support address {SUPPORT_URL}/"),
    ("~TitleName~", "the placeholder ~TitleName~"),
    ("~", "no ~ other than the placeholder's"),
    ("Windows®", "the ® of Windows®"),
    ("\\n\\n", "the two line feeds \\n\\n"),
    ("\\n", "no line feed other than those"),
]


def read_support_url(header):
    with open(header, encoding="utf-8") as f:
        m = re.search(r'^#define\s+KVO_SUPPORT_URL\s+"([^"\\]+)"\s*$', f.read(), re.M)
    if not m:
        sys.exit(f"{header}: no #define KVO_SUPPORT_URL \"...\" line")
    return m.group(1)


def read_table(path):
    texts = {}
    with open(path, encoding="utf-8") as f:
        for number, line in enumerate(f, 1):
            line = line.rstrip("\r\n")
            if not line.strip() or line.startswith("#"):
                continue
            m = re.fullmatch(r"(\d+) (.+)", line)
            if not m:
                sys.exit(f"{path}:{number}: expected '<id> <text>'")
            sid = int(m.group(1))
            if sid in texts:
                sys.exit(f"{path}:{number}: id {sid} given twice")
            text = m.group(2)
            leftover = re.sub(r"\\n|\{SUPPORT_URL\}", "", text)
            if "\\" in leftover or "{" in leftover or "}" in leftover:
                sys.exit(f"{path}:{number}: only \\n and {{SUPPORT_URL}} may be used as escapes")
            texts[sid] = text
    return texts


def expand(text, support_url):
    return text.replace("{SUPPORT_URL}", support_url).replace("\\n", "\n")


def lost_marks(text, english):
    """What a translated text does not keep as its English text does."""
    return [what for mark, what in KEPT_AS_IN_ENGLISH if text.count(mark) != english.count(mark)]


def table_bytes(texts, support_url):
    """The records of one language's table, in id order."""
    out = bytearray()
    for sid in sorted(texts):
        text = expand(texts[sid], support_url)
        for ch in text:
            if ord(ch) < 0x20 and ch != "\n":
                sys.exit(f"control character U+{ord(ch):04X} in text {sid}")
        data = text.encode("utf-8")
        if sid > 0xFFFF or len(data) > 0xFFFF:
            sys.exit(f"text {sid} is too long or its id too large")
        out += struct.pack("<HH", sid, len(data)) + data
    return bytes(out)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--support-url-header", required=True)
    parser.add_argument("--output", required=True)
    parser.add_argument("tables", nargs="+")
    args = parser.parse_args()

    support_url = read_support_url(args.support_url_header)
    tables = {}
    for path in args.tables:
        m = re.match(r"(\d+)_", os.path.basename(path))
        if not m:
            sys.exit(f"{path}: file name must start with the language id and '_'")
        tables[int(m.group(1))] = (path, read_table(path))
    if REFERENCE_LANGUAGE not in tables:
        sys.exit("the English (1033) table is missing")
    reference_ids = set(tables[REFERENCE_LANGUAGE][1])
    for lang, (path, texts) in tables.items():
        missing = sorted(reference_ids - set(texts))
        extra = sorted(set(texts) - reference_ids)
        if missing or extra:
            sys.exit(f"{path}: missing ids {missing}, extra ids {extra}")
    english = tables[REFERENCE_LANGUAGE][1]
    refusals = []
    for lang, (path, texts) in sorted(tables.items()):
        for sid, text in sorted(texts.items()):
            for what in lost_marks(text, english[sid]):
                refusals.append(f"{path}: id {sid} must keep {what} as the English text does")
    if refusals:
        sys.exit("\n".join(refusals))

    folder = os.path.dirname(os.path.abspath(args.output))
    lines = ["// Generated by gen_string_table.py from strings/*.txt; do not edit.", ""]
    for lang in sorted(tables):
        path, texts = tables[lang]
        table = os.path.join(folder, f"message_table_{lang}.bin")
        with open(table, "wb") as f:
            f.write(table_bytes(texts, support_url))
        lines.append(f"// {os.path.basename(path)}")
        lines.append(f"LANGUAGE 0x{lang & 0x3FF:02X}, 0x{lang >> 10:02X}")
        lines.append(f'1 RCDATA "{table.replace(os.sep, "/")}"')
        lines.append("")
    content = "\n".join(lines)
    with open(args.output, "w", encoding="utf-8", newline="\n") as f:
        f.write(content)


if __name__ == "__main__":
    main()
