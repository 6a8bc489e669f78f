#!/usr/bin/env python3
"""Generates the emoji catalogue and its two lookup automata.

    tools/emoji/gen_emoji.py [--json PATH/TO/emoji.json]

The case list and its order come from tools/emoji/cases.txt. Names and
codepoint texts of every case come from emoji.json of the npm package
emojione 4.5.0 (only that data file is used): `shortname` and
`shortname_alternates` give the names, `code_points.default_matches` the
texts, in their order. The rows listed in OVERRIDES below win over the data.
Without --json the script runs `npm pack emojione@4.5.0` in a temporary
directory and extracts only package/emoji.json from it.

Writes, relative to the repository root:
  include/tavrel/emoji/emoji_cases.h   the enumeration
  src/emoji/catalogue_data.cpp         names and texts, flat tables per case
  src/emoji/automata_data.cpp          escape trie and shortname hash table

Every count and invariant the catalogue promises is checked before anything
is written; the script fails loudly instead of writing a wrong table.
"""

import argparse
import collections
import json
import os
import re
import subprocess
import sys
import tarfile
import tempfile

ROOT = os.path.abspath(os.path.join(os.path.dirname(__file__), "..", ".."))
CASES = os.path.join(os.path.dirname(os.path.abspath(__file__)), "cases.txt")

# Case name -> the shortname under which the data file holds the row.
DATA_NAME = {
    "fleur_de_lis": "fleur-de-lis",
    "height_ball": "8ball",
    "hundred": "100",
    "e_mail": "e-mail",
    "one_two_three_four": "1234",
    "non_potable_water": "non-potable_water",
    "keycap_asterisk": "asterisk",
    "tavrel": "carrot",
}
for _who in ("woman", "man"):
    for _tone in ("",) + tuple(f"_tone{i}" for i in range(1, 6)):
        DATA_NAME[f"blond_haired_{_who}{_tone}"] = f"blond-haired_{_who}{_tone}"

# Rows whose names we fix ourselves: (shortnames, codepoint texts or None to
# keep the data's texts).
OVERRIDES = {
    "keycap_asterisk": (["keycap_asterisk"], None),
    "tavrel": (["tavrel"], None),
}

# Rows whose values are fixed: index, case, shortnames, codepoint texts
# (each text a list of scalars). The generator refuses data that disagrees.
TELLING = [
    (0, "pound_symbol", ["pound_symbol"], [[0x23], [0x23, 0xFE0F]]),
    (1, "hash", ["hash"], [[0x23, 0xFE0F, 0x20E3], [0x23, 0x20E3]]),
    (2, "keycap_asterisk", ["keycap_asterisk"], [[0x2A, 0xFE0F, 0x20E3], [0x2A, 0x20E3]]),
    (3, "digit_zero", ["digit_zero"], [[0x30], [0x30, 0xFE0F]]),
    (4, "zero", ["zero"], [[0x30, 0xFE0F, 0x20E3], [0x30, 0x20E3]]),
    (23, "copyright", ["copyright"], [[0xA9, 0xFE0F]]),
    (29, "left_right_arrow", ["left_right_arrow"], [[0x2194, 0xFE0F]]),
    (111, "infinity", ["infinity"], [[0x267E, 0xFE0F], [0x267E]]),
    (228, "star", ["star"], [[0x2B50], [0x2B50, 0xFE0F]]),
    (74, "point_up", ["point_up"], [[0x261D], [0x261D, 0xFE0F]]),
    (75, "point_up_tone1", ["point_up_tone1"], [[0x261D, 0x1F3FB], [0x261D, 0xFE0F, 0x1F3FB]]),
    (998, "thumbsup", ["thumbsup", "+1", "thumbup"], [[0x1F44D], [0x1F44D, 0xFE0F]]),
    (1001, "thumbsup_tone3", ["thumbsup_tone3", "+1_tone3", "thumbup_tone3"], [[0x1F44D, 0x1F3FD]]),
    (1584, "poop", ["poop", "shit", "hankey", "poo"], [[0x1F4A9]]),
    (870, "tone1", ["tone1"], [[0x1F3FB]]),
    (491, "flag_us", ["flag_us", "us"], [[0x1F1FA, 0x1F1F8]]),
    (449, "flag_sa", ["flag_sa", "saudiarabia", "saudi"], [[0x1F1F8, 0x1F1E6]]),
    (862, "england", ["england"],
     [[0x1F3F4, 0xE0067, 0xE0062, 0xE0065, 0xE006E, 0xE0067, 0xE007F]]),
    (1068, "man_tone1", ["man_tone1"], [[0x1F468, 0x1F3FB]]),
    (1334, "woman_red_haired", ["woman_red_haired"], [[0x1F469, 0x200D, 0x1F9B0], [0x1F469, 0x1F9B0]]),
    (1179, "family_mmbb", ["family_mmbb"],
     [[0x1F468, 0x200D, 0x1F468, 0x200D, 0x1F466, 0x200D, 0x1F466],
      [0x1F468, 0x1F468, 0x1F466, 0x1F466]]),
    (1060, "kiss_mm", ["kiss_mm", "couplekiss_mm"],
     [[0x1F468, 0x200D, 0x2764, 0xFE0F, 0x200D, 0x1F48B, 0x200D, 0x1F468],
      [0x1F468, 0x200D, 0x2764, 0x200D, 0x1F48B, 0x200D, 0x1F468],
      [0x1F468, 0x2764, 0xFE0F, 0x1F48B, 0x1F468]]),
    (149, "woman_bouncing_ball", ["woman_bouncing_ball"],
     [[0x26F9, 0xFE0F, 0x200D, 0x2640, 0xFE0F], [0x26F9, 0x200D, 0x2640],
      [0x26F9, 0xFE0F, 0x2640, 0xFE0F], [0x26F9, 0x200D, 0x2640, 0xFE0F],
      [0x26F9, 0xFE0F, 0x200D, 0x2640]]),
    (1298, "woman_health_worker_tone5", ["woman_health_worker_tone5", "woman_health_worker_dark_skin_tone"],
     [[0x1F469, 0x1F3FF, 0x200D, 0x2695, 0xFE0F], [0x1F469, 0x1F3FF, 0x200D, 0x2695],
      [0x1F469, 0x1F3FF, 0x2695, 0xFE0F]]),
    (859, "rainbow_flag", ["rainbow_flag", "gay_pride_flag"],
     [[0x1F3F3, 0xFE0F, 0x200D, 0x1F308], [0x1F3F3, 0x200D, 0x1F308], [0x1F3F3, 0xFE0F, 0x1F308]]),
    (1706, "keycap_ten", ["keycap_ten"], [[0x1F51F]]),
    (1595, "hundred", ["100"], [[0x1F4AF]]),
]

# Shortname hash: must match hashName() in src/emoji/conversion.cpp.
HASH_SEED = 0x9E3779B97F4A7C15
HASH_MUL = 0xFF51AFD7ED558CCD
HASH_BITS = 14
HASH_SLOTS = 1 << HASH_BITS
MASK64 = (1 << 64) - 1


def hash_name(name: bytes) -> int:
    h = (HASH_SEED ^ len(name)) & MASK64
    for i in range(0, len(name), 8):
        word = int.from_bytes(name[i:i + 8].ljust(8, b"\0"), "little")
        h = ((h ^ word) * HASH_MUL) & MASK64
        h ^= h >> 32
    return ((h * HASH_MUL) & MASK64) >> (64 - HASH_BITS)


def fail(message):
    sys.exit(f"gen_emoji: {message}")


def fetch_data_file(tmp):
    subprocess.run(["npm", "pack", "--silent", "emojione@4.5.0"], cwd=tmp, check=True,
                   stdout=subprocess.DEVNULL)
    with tarfile.open(os.path.join(tmp, "emojione-4.5.0.tgz")) as archive:
        member = archive.getmember("package/emoji.json")
        return json.load(archive.extractfile(member))


def text_of(hex_sequence):
    return "".join(chr(int(part, 16)) for part in hex_sequence.split("-"))


def build_rows(data, cases):
    by_name = {}
    for entry in data.values():
        by_name[entry["shortname"].strip(":")] = entry
    rows = []
    for case in cases:
        entry = by_name.get(DATA_NAME.get(case, case))
        if entry is None:
            fail(f"no data row for case {case}")
        names = [entry["shortname"].strip(":")] + [a.strip(":") for a in entry["shortname_alternates"]]
        texts = [text_of(cp) for cp in entry["code_points"]["default_matches"]]
        if case in OVERRIDES:
            fixed_names, fixed_texts = OVERRIDES[case]
            names = fixed_names
            texts = fixed_texts if fixed_texts is not None else texts
        rows.append((case, names, texts))
    for index, case, names, scalars in TELLING:
        texts = ["".join(map(chr, s)) for s in scalars]
        if rows[index][0] != case:
            fail(f"case {case} is not at index {index}")
        if rows[index][1] != names or rows[index][2] != texts:
            fail(f"row {case} differs from its fixed values: {rows[index][1]} {rows[index][2]!r}")
    return rows


def expect(what, got, want):
    if got != want:
        fail(f"{what}: {got} instead of {want}")


def check(rows):
    expect("cases", len(rows), 2800)
    names = [n for _, ns, _ in rows for n in ns]
    texts = [t for _, _, ts in rows for t in ts]
    expect("shortnames", len(names), 4250)
    expect("codepoint texts", len(texts), 4533)
    expect("distinct shortnames", len(set(names)), 4250)
    expect("distinct codepoint texts", len(set(texts)), 4533)
    expect("shortnames per case", sorted(collections.Counter(len(r[1]) for r in rows).items()),
           [(1, 1403), (2, 1345), (3, 51), (4, 1)])
    expect("texts per case", sorted(collections.Counter(len(r[2]) for r in rows).items()),
           [(1, 1670), (2, 585), (3, 496), (4, 40), (5, 9)])
    renamed = [case for case, ns, _ in rows if case != ns[0]]
    expect("cases named unlike their first shortname", len(renamed), 18)
    for case in renamed:
        if DATA_NAME.get(case) != rows[[r[0] for r in rows].index(case)][1][0]:
            fail(f"unexpected name for {case}")
    for case, ns, _ in rows:
        if not re.fullmatch(r"[a-z_][a-z0-9_]*", case):
            fail(f"case name {case} is no identifier")
        for n in ns:
            if not re.fullmatch(r"[a-z0-9_+\-]+", n):
                fail(f"bad shortname {n!r}")
    ascii_rows = [case for case, _, ts in rows if any(len(t) == 1 and ord(t) < 0x80 for t in ts)]
    expect("rows with a bare ASCII text", ascii_rows,
           ["pound_symbol"] + [f"digit_{d}" for d in
                               "zero one two three four five six seven eight nine".split()])
    tones = [r for r in rows if any(0x1F3FB <= ord(c) <= 0x1F3FF for c in r[2][0])]
    expect("rows with a skin tone", len(tones), 1145)
    aliases = [n for r in rows for n in r[1][1:]
               if re.search(r"_(light|medium_light|medium|medium_dark|dark)_skin_tone$", n)]
    expect("skin tone aliases", len(aliases), 730)
    flags = [r for r in rows
             if len(r[2][0]) == 2 and all(0x1F1E6 <= ord(c) <= 0x1F1FF for c in r[2][0])]
    expect("flags", len(flags), 258)
    for case, ns, _ in flags:
        if case != "united_nations" and (not case.startswith("flag_") or len(ns) < 2):
            fail(f"flag {case} is named unlike the others")
    expect("joined sequences", sum(1 for r in rows if any("\u200d" in t for t in r[2])), 774)
    only_fe0f = [r for r in rows if len(r[2]) == 1 and len(r[2][0]) == 2 and r[2][0][1] == "\ufe0f"]
    expect("rows only with U+FE0F", len(only_fe0f), 53)


def c_string(data: bytes) -> str:
    if all(0x20 <= b < 0x7F and b not in b'"\\?' for b in data):
        return '"' + data.decode() + '"'
    return '"' + "".join(f"\\x{b:02X}" for b in data) + '"'


def view(data: bytes) -> str:
    # With the length spelled out, the compiler need not measure 8,783 literals.
    return f"{{{c_string(data)}, {len(data)}}}"


HEADER = "// Generated by tools/emoji/gen_emoji.py from emojione 4.5.0 data. Do not edit.\n"


def wrap(items, indent="    ", width=100):
    lines, line = [], indent
    for item in items:
        piece = item + ", "
        if len(line) + len(piece) > width and line.strip():
            lines.append(line.rstrip())
            line = indent
        line += piece
    if line.strip():
        lines.append(line.rstrip())
    return "\n".join(lines)


def write(path, text):
    full = os.path.join(ROOT, path)
    with open(full, "w", encoding="utf-8") as out:
        out.write(text)
    print(f"wrote {path}")


def emit_enum(rows):
    names = [case + ("_" if case == "new" else "") for case, _, _ in rows]
    write("include/tavrel/emoji/emoji_cases.h", HEADER + f"""\
#pragma once
// The cases of the emoji catalogue, in declaration order: a case's value is
// its position in allCases<Emoji>(). The case `new` is spelled `new_`.

#include <cstddef>
#include <cstdint>

namespace tavrel {{

// One emoji the library knows; see shortnames() and codepoints().
enum class Emoji : std::uint16_t {{
{wrap(names, "  ")}
}};

// Number of cases of Emoji.
inline constexpr std::size_t kEmojiCount = {len(rows)};

}}  // namespace tavrel
""")


def emit_catalogue(rows):
    names, texts, name_start, text_start = [], [], [0], [0]
    for _, ns, ts in rows:
        names += ns
        texts += ts
        name_start.append(len(names))
        text_start.append(len(texts))
    write("src/emoji/catalogue_data.cpp", HEADER + f"""\
#include "emoji/tables.h"

namespace tavrel::emoji_data {{

constexpr std::string_view kShortnames[{len(names)}] = {{
{wrap([view(n.encode()) for n in names])}
}};

constexpr std::string_view kCodepoints[{len(texts)}] = {{
{wrap([view(t.encode()) for t in texts])}
}};

constexpr std::uint16_t kShortnameStart[kEmojiCount + 1] = {{
{wrap(map(str, name_start))}
}};

constexpr std::uint16_t kCodepointStart[kEmojiCount + 1] = {{
{wrap(map(str, text_start))}
}};

}}  // namespace tavrel::emoji_data
""")
    return names


def build_trie(rows):
    """A byte trie over every codepoint text; node 0 is the root."""
    children, accept = [{}], [None]
    for index, (_, _, ts) in enumerate(rows):
        for t in ts:
            node = 0
            for b in t.encode():
                if b not in children[node]:
                    children.append({})
                    accept.append(None)
                    children[node][b] = len(children) - 1
                node = children[node][b]
            accept[node] = index
    # Renumber breadth first so that hot nodes near the root sit together.
    order, seen = [0], {0}
    for node in order:
        for b in sorted(children[node]):
            child = children[node][b]
            if child not in seen:
                seen.add(child)
                order.append(child)
    number = {old: new for new, old in enumerate(order)}
    nodes, edges = [], []
    for old in order:
        kids = children[old]
        acc = 0xFFFF if accept[old] is None else accept[old]
        if not kids:
            nodes.append((0, 0, 0, acc))
            continue
        lo, hi = min(kids), max(kids)
        base = len(edges)
        edges += [number[kids[b]] if b in kids else 0 for b in range(lo, hi + 1)]
        nodes.append((base, lo, hi - lo + 1, acc))
    if len(nodes) >= 0xFFFF or any(n[2] > 255 for n in nodes):
        fail("trie too large for its node type")

    # Conversion takes a shortcut for "#", "*" and digits that U+FE0F (EF ..)
    # or U+20E3 (E2 ..) does not follow; nothing else may continue them.
    for b, child in children[0].items():
        if b < 0x80 and not set(children[child]) <= {0xE2, 0xEF}:
            fail(f"a text continues {chr(b)!r} with something new")

    def walk(data):
        node = 0
        for b in data:
            node = children[node].get(b)
            if node is None:
                return 0
        return number[node]

    # The state after a whole first scalar U+2xxx (E2 x y) or U+1Fxxx
    # (F0 9F x y), by its low twelve bits: one load instead of three or four
    # steps. Texts are whole scalars, so no shorter prefix of these accepts.
    continuation = range(0x80, 0xC0)
    jumps = {}
    for prefix in (b"\xE2", b"\xF0\x9F"):
        states = [walk(prefix + bytes([x, y])) for x in continuation for y in continuation]
        jumps[prefix] = [state | nodes[state][3] << 16 if state else 0 for state in states]
    return nodes, edges, sorted(children[0]), jumps


def build_hash(names):
    slots = [0xFFFF] * HASH_SLOTS
    longest = 0
    for sid, name in enumerate(names):
        at, probes = hash_name(name.encode()), 1
        while slots[at] != 0xFFFF:
            at, probes = (at + 1) & (HASH_SLOTS - 1), probes + 1
        slots[at] = sid
        longest = max(longest, probes)
    return slots, longest


def emit_automata(rows, names):
    nodes, edges, first_bytes, jumps = build_trie(rows)
    escaped = "".join(f":{ns[0]}:" for _, ns, _ in rows)
    escaped_start = [0]
    for _, ns, _ in rows:
        escaped_start.append(escaped_start[-1] + len(ns[0]) + 2)
    if len(escaped) >= 65536:
        fail("the escaped names no longer fit one string literal")
    firsts = b"".join(ts[0].encode() for _, _, ts in rows)
    firsts_start = [0]
    for _, _, ts in rows:
        firsts_start.append(firsts_start[-1] + len(ts[0].encode()))
    firsts_literal = "\n".join("    " + c_string(firsts[i:i + 24]) for i in range(0, len(firsts), 24))
    escaped_literal = "\n".join("    " + c_string(escaped[i:i + 90].encode())
                                 for i in range(0, len(escaped), 90))
    after_e2 = wrap(map(str, jumps[b"\xE2"]))
    after_f09f = wrap(map(str, jumps[b"\xF0\x9F"]))
    slots, longest = build_hash(names)
    owner = [i for i, (_, ns, _) in enumerate(rows) for _ in ns]
    write("src/emoji/automata_data.cpp", HEADER + f"""\
// Escape trie: {len(nodes)} nodes, {len(edges)} edges; texts start with the bytes
// {", ".join(f"0x{b:02X}" for b in first_bytes)}.
// Shortname table: {len(names)} names in {HASH_SLOTS} slots, at most {longest} probes.
#include "emoji/tables.h"

namespace tavrel::emoji_data {{

constexpr TrieNode kTrieNodes[{len(nodes)}] = {{
{wrap([f"{{{b}, {lo}, {n}, {a}}}" for b, lo, n, a in nodes])}
}};

constexpr std::uint16_t kTrieEdges[{len(edges)}] = {{
{wrap(map(str, edges))}
}};

constexpr std::uint32_t kTrieAfterE2[4096] = {{
{after_e2}
}};

constexpr std::uint32_t kTrieAfterF09F[4096] = {{
{after_f09f}
}};

// ":" + first shortname + ":" of every case, back to back.
constexpr char kEscapedNames[kEscapedNamesSize + kCopySlack] =
{escaped_literal};

constexpr std::uint16_t kEscapedStart[kEmojiCount + 1] = {{
{wrap(map(str, escaped_start))}
}};
static_assert(kEscapedStart[kEmojiCount] == kEscapedNamesSize);

// The first codepoint text of every case, back to back.
constexpr char kFirstTexts[kFirstTextsSize + kCopySlack] =
{firsts_literal};

constexpr std::uint16_t kFirstTextStart[kEmojiCount + 1] = {{
{wrap(map(str, firsts_start))}
}};
static_assert(kFirstTextStart[kEmojiCount] == kFirstTextsSize);

constexpr std::uint16_t kShortnameSlots[kShortnameSlotCount] = {{
{wrap(map(str, slots))}
}};

constexpr std::uint16_t kShortnameOwner[{len(names)}] = {{
{wrap(map(str, owner))}
}};

}}  // namespace tavrel::emoji_data
""")


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--json", help="emoji.json of emojione 4.5.0 (fetched with npm if absent)")
    args = parser.parse_args()
    if args.json:
        with open(args.json, encoding="utf-8") as f:
            data = json.load(f)
    else:
        with tempfile.TemporaryDirectory() as tmp:
            data = fetch_data_file(tmp)
    with open(CASES, encoding="utf-8") as f:
        cases = f.read().split()
    rows = build_rows(data, cases)
    check(rows)
    emit_enum(rows)
    names = emit_catalogue(rows)
    emit_automata(rows, names)


if __name__ == "__main__":
    main()
