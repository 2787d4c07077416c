#!/usr/bin/env python3
"""Writes the seed corpora fuzz/corpus/<target>/ from the examples.

Property names and values are taken from the example profiles (<name>/<value> pairs of
examples/*.xml) and from the string pairs handed to the add/assert calls of examples/*.c, so the
fuzzers start from inputs shaped like real configurations. Deterministic: rerunning gives the
same files. Usage: fuzz/make-seeds.py [repo root]
"""
import hashlib
import pathlib
import re
import sys

root = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else pathlib.Path(__file__).resolve().parent.parent)
examples = root / "examples"
corpus = root / "fuzz" / "corpus"


def example_properties():
    """(name, value) pairs of every example, in file order."""
    pairs = []
    for xml in sorted(examples.glob("**/*.xml")):
        text = xml.read_text(errors="replace")
        for element in re.findall(r"<element>(.*?)</element>", text, re.S):
            name = re.search(r"<name>\s*(.*?)\s*</name>", element, re.S)
            value = re.search(r"<value>\s*(.*?)\s*</value>", element, re.S)
            if name:
                pairs.append((name.group(1), value.group(1) if value else ""))
    for source in sorted(examples.glob("**/*.c")):
        text = source.read_text(errors="replace")
        for name, value in re.findall(r'_property\(\s*&?\w+,\s*"([^"]*)",\s*"([^"]*)"', text):
            pairs.append((name, value))
    return pairs


def groups(pairs, size):
    """The pairs in consecutive groups of `size`, so each seed is a small policy."""
    return [pairs[i:i + size] for i in range(0, len(pairs), size)] or [[]]


def lines(group):
    return "".join(f"{name}={value}\n" for name, value in group)


def fdp_string(text):
    """A string as FuzzedDataProvider.ConsumeRandomLengthString reads it back."""
    return text.replace("\\", "\\\\") + "\\x"


def write(target, data):
    directory = corpus / target
    directory.mkdir(parents=True, exist_ok=True)
    blob = data.encode()
    (directory / hashlib.sha1(blob).hexdigest()[:16]).write_bytes(blob)


def main():
    pairs = example_properties()
    prefixes = sorted({name.rsplit(".", 1)[0] for name, _ in pairs if "." in name})

    # parsers: every value (and the first byte picks a list delimiter).
    for _, value in pairs:
        write("parsers", value)
        write("parsers", "," + value)
    for text in ["5", "0.25 ms", ".5s", "INFINITE", "DURATION_INFINITE", "7.2.0", "6.1.2.3",
                 "0x7fffffff", "-2147483648", "4294967295", " 12 ", "yes", "FALSE",
                 ",udp, shmem,,tcp1"]:
        write("parsers", text)

    # extraction: prefix, name, the policy's lines, and a flags byte at the end.
    for i, group in enumerate(groups(pairs, 8)):
        for prefix in prefixes[:: max(1, len(prefixes) // 6)]:
            name = group[0][0].split(".")[-1] if group else "x"
            write("extraction", fdp_string(prefix) + fdp_string(name) + lines(group) + chr(i % 4))

    # validation: kind and flags (taken from the end), a prefix and a changed value, the lines.
    for i, group in enumerate(groups(pairs, 16)):
        for kind in (1, 5, 6):
            prefix = prefixes[i % len(prefixes)] if prefixes else "dds.transport.UDPv4.builtin"
            write("validation", fdp_string(prefix) + fdp_string("changed") + lines(group) +
                  chr(i % 4) + chr(kind))
    # profile_check: the example profiles themselves.
    for xml in sorted(examples.glob("**/*.xml")):
        write("profile_check", xml.read_text(errors="replace"))


main()
