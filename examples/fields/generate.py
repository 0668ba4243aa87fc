#!/usr/bin/env python3
"""Labelled form fields for the Veltra example: dates, amounts, postcodes, person names and
identifiers, judged by eight character-level tests.

    generate.py                 rewrite network.txt, train.txt and eval.txt beside this script
    generate.py --out DIR       write them into DIR instead
    generate.py --results [FIELD...]
                                print the test results of each FIELD (or of each line of
                                standard input), ready for `veltra classify`

The output is the same on every run: the random generators have fixed seeds. Standard library
only.
"""

import random
import re
import sys
from pathlib import Path

TRAIN_SAMPLES = 2000
EVAL_SAMPLES = 500
LABEL_NOISE = 0.015  # share of training fields labelled wrongly, as hand-labelled data is

STATES = [("d", "date"), ("a", "amount"), ("p", "postcode"), ("n", "person name"), ("i", "identifier")]

# Tag, description, values; the order of this list is the order of the results.
TESTS = [
    ("Digits", "Share of digits: none, few, many, all", "n,f,m,a"),
    ("Separator", "First of / - . , or blank: none, slash, hyphen, dot, comma, blank", "n,s,h,d,c,b"),
    ("Length", "Length: up to 4, 5 or 6, 7 or 8, 9 or 10, 11 or more", "s,m,e,l,x"),
    ("First", "First character: upper case, lower case, digit, other", "u,l,d,o"),
    ("Case", "Letters: all upper, all lower, title case words, mixed; no result without letters", "u,l,t,m"),
    ("Groups", "Runs of digits: none, one, two, three or more", "0,1,2,3"),
    ("Run", "Digits in the first run of digits: none, 1 or 2, 3, 4, 5 or more", "n,2,3,4,5"),
    ("Cents", "Last run of digits is two digits after a dot or comma: yes, no", "y,n"),
]


def is_digit(c):
    return "0" <= c <= "9"


def share_of_digits(field):
    digits = sum(is_digit(c) for c in field)
    if digits == 0:
        return "n"
    if digits == len(field):
        return "a"
    return "m" if 2 * digits >= len(field) else "f"


def first_separator(field):
    for c in field:
        if c in "/-., ":
            return {"/": "s", "-": "h", ".": "d", ",": "c", " ": "b"}[c]
    return "n"


def length_class(field):
    n = len(field)
    return "s" if n <= 4 else "m" if n <= 6 else "e" if n <= 8 else "l" if n <= 10 else "x"


def first_character(c):
    if c.isascii() and c.isupper():
        return "u"
    if c.isascii() and c.islower():
        return "l"
    return "d" if is_digit(c) else "o"


def letter_case(field):
    words = "".join(c if c.isascii() and c.isalpha() else " " for c in field).split()
    if not words:
        return "-"
    if all(w.isupper() for w in words):
        return "u"
    if all(w.islower() for w in words):
        return "l"
    if all(w[0].isupper() and (len(w) == 1 or w[1:].islower()) for w in words):
        return "t"
    return "m"


def digit_runs(field):
    return str(min(len(re.findall(r"[0-9]+", field)), 3))


def first_run(field):
    run = re.search(r"[0-9]+", field)
    return "n" if not run else str(min(max(len(run.group()), 2), 5))


def cents(field):
    runs = list(re.finditer(r"[0-9]+", field))
    if not runs or len(runs[-1].group()) != 2 or runs[-1].start() == 0:
        return "n"
    return "y" if field[runs[-1].start() - 1] in ".," else "n"


def test_results(field):
    """One result character per test, in the order of TESTS."""
    return "".join([
        share_of_digits(field),
        first_separator(field),
        length_class(field),
        first_character(field[0]),
        letter_case(field),
        digit_runs(field),
        first_run(field),
        cents(field),
    ])


MONTHS = ["January", "February", "March", "April", "May", "June", "July", "August", "September",
          "October", "November", "December"]
FIRST_NAMES = ["Maria", "James", "Anne", "Li", "Ahmed", "Sofia", "Lukas", "Emma", "Olu", "Priya",
               "Sean", "Chloe", "Mateo", "Hannah", "Yuki", "Fatima", "Jan", "Noah", "Ines", "Kai",
               "Marie", "Tomasz", "Aisha", "Erik", "Zoe", "Diego", "Nina", "Omar", "Ruth", "Ivan"]
SURNAMES = ["Lopez", "Smith", "Dupont", "Wei", "Khan", "Rossi", "Meyer", "Watts", "Adeyemi", "Patel",
            "O'Brien", "Martin", "Garcia", "Fischer", "Tanaka", "Haddad", "Jansen", "Brown", "Silva",
            "Novak", "McDonald", "Kowalski", "Nguyen", "Berg", "Ali", "Moreau", "Kim", "Costa", "Lee",
            "Anderson"]
UK_AREAS = ["SW", "EC", "M", "B", "LS", "G", "CF", "BT", "E", "NW", "OX", "CB", "L", "BS"]


def date(r):
    y, m, d = r.randint(1950, 2030), r.randint(1, 12), r.randint(1, 28)
    mon = MONTHS[m - 1]
    return r.choices([
        f"{y}-{m:02}-{d:02}", f"{d:02}/{m:02}/{y}", f"{m}/{d}/{y}", f"{d}/{m}/{y % 100:02}",
        f"{d:02}.{m:02}.{y}", f"{d} {mon[:3]} {y}", f"{d} {mon} {y}", f"{mon} {d}, {y}",
        f"{mon[:3]} {d} {y}", f"{y}/{m:02}/{d:02}", f"{d:02}-{mon[:3]}-{y % 100:02}", f"{y}{m:02}{d:02}",
        f"{d}.{m}.", f"{d} {mon[:3]}", f"{mon[:3]} {y}", f"{d}-{m}-{y}",
    ], weights=[14, 14, 8, 5, 8, 7, 4, 5, 3, 4, 3, 3, 2, 2, 2, 3])[0]


def amount(r):
    whole = int(10 ** r.uniform(0, 5.5))
    cents = r.randint(0, 99)
    grouped = f"{whole:,}"
    european = grouped.replace(",", ".")
    return r.choices([
        f"{whole}.{cents:02}", f"{grouped}.{cents:02}", f"£{whole}.{cents:02}", f"${grouped}",
        f"€{whole},{cents:02}", f"{european},{cents:02} €", f"-{whole}.{cents:02}", f"EUR {whole}.{cents:02}",
        f"{whole} USD", f"{whole}", f"({whole}.{cents:02})", f"${whole / 1000:.1f}k",
        f"{whole:,}".replace(",", " ") + " kr", f"CHF {whole}.-", f"{whole},{cents:02}",
    ], weights=[14, 8, 8, 6, 5, 4, 3, 3, 2, 4, 2, 2, 2, 1, 5])[0]


def postcode(r):
    def letter():
        return r.choice("ABDEFGHJLNPQRSTUWXYZ")

    area = r.choice(UK_AREAS)
    uk = f"{area}{r.randint(1, 20)}{letter() if r.random() < 0.2 else ''} {r.randint(0, 9)}{letter()}{letter()}"
    return r.choices([
        uk, uk.lower(), uk.replace(" ", ""), f"{r.randint(501, 99950):05}",
        f"{r.randint(501, 99950):05}-{r.randint(0, 9999):04}", f"{r.randint(1000, 9999)} {letter()}{letter()}",
        f"{r.randint(1000, 9999)}{letter()}{letter()}",
        f"{letter()}{r.randint(0, 9)}{letter()} {r.randint(0, 9)}{letter()}{r.randint(0, 9)}",
        f"D{r.randint(1, 24):02} {letter()}{r.randint(100, 999)}", f"{r.randint(1000, 9999)}-{r.randint(0, 999):03}",
        f"{r.randint(100, 999)}-{r.randint(0, 9999):04}", f"{r.randint(0, 99):02}-{r.randint(0, 999):03}",
    ], weights=[24, 4, 4, 16, 2, 6, 2, 5, 3, 2, 1, 1])[0]


def person_name(r):
    first, last, other = r.choice(FIRST_NAMES), r.choice(SURNAMES), r.choice(SURNAMES)
    return r.choices([
        f"{first} {last}", f"{first[0]}. {last}", f"{last}, {first}", f"{first} {last}".upper(),
        f"{first} {last}".lower(), f"{first} {r.choice(FIRST_NAMES)} {last}", f"Dr. {first} {last}",
        f"Mr {first} {last}", f"{first} {last}-{other}", f"{first} van der {last}", last, f"{first}-{r.choice(FIRST_NAMES)} {last}",
        f"{last.upper()}, {first}", f"{first} {last} Jr.",
    ], weights=[30, 8, 8, 5, 5, 6, 3, 3, 4, 2, 5, 4, 3, 2])[0]


def identifier(r):
    def hexdigits(n):
        return "".join(r.choice("0123456789abcdef") for _ in range(n))

    def letters(n):
        return "".join(r.choice("ABCDEFGHJKLMNPRSTUVWXYZ") for _ in range(n))

    return r.choices([
        f"INV-{r.randint(2015, 2030)}-{r.randint(1, 99999):05}", f"SKU-{r.randint(1000, 99999)}",
        f"ORD/{r.randint(2015, 2030)}/{r.randint(1, 9999)}", f"CUST{r.randint(1, 99999):05}",
        f"{letters(2)}{r.randint(0, 999999):06}{letters(1)}", f"user_{r.randint(1, 9999)}",
        f"{hexdigits(4).upper()}-{hexdigits(4).upper()}", hexdigits(8), f"{letters(1)}{r.randint(1, 99)}",
        f"{r.randint(10000000, 99999999)}", f"978-{r.randint(0, 9)}-{r.randint(100, 999)}-{r.randint(10000, 99999)}-{r.randint(0, 9)}",
        f"TKT-{r.randint(100, 9999)}", f"GB{r.randint(10, 99)}{letters(4)}{r.randint(10**13, 10**14 - 1)}",
        f"id:{r.randint(1, 99999)}", f"#{r.randint(1000, 99999)}", f"{letters(3)}-{r.randint(100, 999)}",
        f"{hexdigits(8)}-{hexdigits(4)}",
    ], weights=[8, 8, 6, 7, 6, 6, 6, 6, 4, 3, 3, 5, 3, 4, 3, 2, 3])[0]


GENERATORS = {"d": date, "a": amount, "p": postcode, "n": person_name, "i": identifier}


def network_text():
    lines = [
        "# Telling form fields apart by the characters they are made of.",
        "# States: " + ", ".join(f"{s} {name}" for s, name in STATES) + ".",
        "# One result character per test, in the order of the test lines; \"-\" for no result.",
        "",
        "H = Field \"" + ",".join(s for s, _ in STATES) + "\"",
        "",
    ]
    width = max(len(tag) for tag, _, _ in TESTS)
    lines += [f"{tag:<{width}} = {description} \"{values}\"" for tag, description, values in TESTS]
    return "\n".join(lines) + "\n"


def samples_text(seed, count, noise, purpose):
    r = random.Random(seed)
    labels = [s for s, _ in STATES]
    lines = [
        f"# {purpose} for network.txt, written by generate.py (seed {seed}): {count} form fields,",
        "# each as a comment followed by its test line: ;TESTS<tab>state<tab>test results.",
    ]
    for _ in range(count):
        state = r.choice(labels)
        field = GENERATORS[state](r)
        if r.random() < noise:
            state = r.choice([s for s in labels if s != state])
        lines += [f"# {field}", f";TESTS\t{state}\t{test_results(field)}"]
    return "\n".join(lines) + "\n"


def main(argv):
    if argv and argv[0] == "--results":
        fields = argv[1:] or [line.rstrip("\r\n") for line in sys.stdin]
        for field in fields:
            if field:
                print(test_results(field))
        return 0
    if argv and argv[0] in ("-h", "--help"):
        print(__doc__.strip())
        return 0
    if argv and not (len(argv) == 2 and argv[0] == "--out"):
        print(__doc__.strip(), file=sys.stderr)
        return 1
    out = Path(argv[1]) if argv else Path(__file__).resolve().parent
    files = {
        "network.txt": network_text(),
        "train.txt": samples_text(11, TRAIN_SAMPLES, LABEL_NOISE, "Training samples"),
        "eval.txt": samples_text(12, EVAL_SAMPLES, 0.0, "Held-out evaluation fields"),
    }
    for name, text in files.items():
        (out / name).write_text(text, encoding="utf-8", newline="\n")
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
