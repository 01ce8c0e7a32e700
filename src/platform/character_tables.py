#!/usr/bin/env python3
"""Writes character_tables.inc, the bit sets behind IsLetter and IsAlphanumeric.

    character_tables.py > character_tables.inc     make the file anew
    character_tables.py --check FILE               fail when FILE is not what would be written;
                                                   77 when this Python knows another Unicode

A set has one bit for each 16-bit unit, in words of 64. Most words are all zeros or all ones, so the
different ones are stored once, and each set is 1024 byte-sized indexes into them.
"""

import sys
import unicodedata

UNICODE = "14.0.0"  # the version of Debian 12's Python


def is_letter(category):
    return category.startswith("L")


def is_alphanumeric(category):
    return is_letter(category) or category == "Nd"


def words_of(contains):
    def word(first):
        return sum(1 << i for i in range(64) if contains(unicodedata.category(chr(first + i))))

    return [word(first) for first in range(0, 0x10000, 64)]


def table(declaration, items, per_line):
    lines = (items[i : i + per_line] for i in range(0, len(items), per_line))
    return "\n".join([declaration + " = {"] + ["    " + ", ".join(l) + "," for l in lines] + ["};\n"])


def text():
    sets = {"LETTERS": words_of(is_letter), "ALPHANUMERICS": words_of(is_alphanumeric)}
    words = sorted(set().union(*sets.values()))
    assert len(words) <= 256
    parts = [f"// Made by character_tables.py from Unicode {UNICODE}. Do not edit.\n"]
    hexadecimal = [f"0x{word:016X}" for word in words]
    parts.append(table("constexpr std::uint64_t WORDS[]", hexadecimal, 4))
    for name, members in sets.items():
        indexes = [str(words.index(word)) for word in members]
        parts.append(table(f"constexpr std::uint8_t {name}[1024]", indexes, 16))
    return "\n".join(parts)


def main(arguments):
    if unicodedata.unidata_version != UNICODE:
        print(f"Unicode {unicodedata.unidata_version} here, {UNICODE} needed", file=sys.stderr)
        return 77
    if arguments[:1] == ["--check"]:
        with open(arguments[1], encoding="ascii") as file:
            return 0 if file.read() == text() else 1
    sys.stdout.write(text())
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
