#!/usr/bin/env python3
"""What the delivered library promises by its file alone.

  check_library.py sc3xxmon.dll VERSION FORBIDDEN-PATH...

Prints what is wrong and exits 1, or prints one line. It then spoils copies of the file, one promise at a time, and fails as
well if one of them passes: a check that can't fail is none.
"""
import struct
import sys

SYSTEM_LIBRARIES = {
    "advapi32.dll", "kernel32.dll", "msvcrt.dll", "shlwapi.dll", "user32.dll", "winspool.drv", "ws2_32.dll",
}
EXPORTS = ["InitializePrintMonitor2"]
LANGUAGES = {1033, 1041, 1049, 1055, 1031, 1034, 1036, 1040, 1043, 1046, 2070, 3084, 9226}
TEXT_IDS = range(7, 19)
LARGEST = 1024 * 1024

HIGH_ENTROPY_VA, DYNAMIC_BASE, NX_COMPAT = 0x20, 0x40, 0x100
EXECUTE, WRITE = 0x20000000, 0x80000000
STRING_TABLE, VERSION_INFO = 6, 16


class Image:
    """The parts of a PE32+ file, by their distance from the start of the image."""

    def __init__(self, data):
        self.data = data
        self.head = self.number("<I", 0x3C)
        if data[:2] != b"MZ" or data[self.head:self.head + 4] != b"PE\0\0":
            raise ValueError("not a Windows program")
        self.machine, self.section_count, _, self.symbols, _, optional_size, self.flags = struct.unpack_from(
            "<HHIIIHH", data, self.head + 4)
        self.optional = self.head + 24
        if self.number("<H", self.optional) != 0x20B:
            raise ValueError("not a 64-bit file")
        self.characteristics_at = self.optional + 70
        self.characteristics = self.number("<H", self.characteristics_at)
        first = self.optional + optional_size
        self.sections = [struct.unpack_from("<8sIIIIIIHHI", data, first + 40 * i) for i in range(self.section_count)]

    def number(self, form, offset):
        return struct.unpack_from(form, self.data, offset)[0]

    def directory(self, index):
        return struct.unpack_from("<II", self.data, self.optional + 112 + 8 * index)

    def offset(self, address):
        for _, size, start, raw_size, raw, *_ in self.sections:
            if start <= address < start + max(size, raw_size):
                return raw + address - start
        raise ValueError(f"address {address:#x} is in no section")

    def text(self, offset):
        return self.data[offset:self.data.index(b"\0", offset)].decode("ascii")

    def import_names_at(self):
        """Where the names of the imported libraries stand."""
        at = self.offset(self.directory(1)[0])
        while True:
            name = self.number("<I", at + 12)
            if name == 0:
                return
            yield self.offset(name)
            at += 20

    def export_names_at(self):
        at = self.offset(self.directory(0)[0])
        functions, count = self.number("<I", at + 20), self.number("<I", at + 24)
        if functions != count:
            raise ValueError("there are exports without a name")
        names = self.offset(self.number("<I", at + 32))
        return [self.offset(self.number("<I", names + 4 * i)) for i in range(count)]

    def resources(self):
        """(type, id, language) to bytes."""
        root = self.offset(self.directory(2)[0])

        def entries(at):
            named, numbered = struct.unpack_from("<HH", self.data, at + 12)
            return [struct.unpack_from("<II", self.data, at + 16 + 8 * i) for i in range(named + numbered)]

        found = {}
        for kind, names in entries(root):
            for name, languages in entries(root + (names & 0x7FFFFFFF)):
                for language, leaf in entries(root + (languages & 0x7FFFFFFF)):
                    address, size = struct.unpack_from("<II", self.data, root + leaf)
                    start = self.offset(address)
                    found[kind, name, language] = self.data[start:start + size]
        return found


def texts_of(resources, language):
    """The string table's texts of one language, by number. Sixteen make a block, each with its length before it."""
    texts = {}
    for (kind, block, found), data in resources.items():
        if kind != STRING_TABLE or found != language:
            continue
        at = 0
        for i in range(16):
            length = struct.unpack_from("<H", data, at)[0]
            text = data[at + 2:at + 2 + 2 * length].decode("utf-16-le")
            at += 2 + 2 * length
            if text:
                texts[(block - 1) * 16 + i] = text
    return texts


def problems(data, version, forbidden):
    image = Image(data)
    if image.machine != 0x8664 or not image.flags & 0x2000:
        yield "it is no 64-bit library"
    for flag, name in ((HIGH_ENTROPY_VA, "high-entropy ASLR"), (DYNAMIC_BASE, "ASLR"), (NX_COMPAT, "DEP")):
        if not image.characteristics & flag:
            yield f"it lacks {name}"
    if image.directory(5)[1] == 0:
        yield "it has no relocations, so that it can't move"
    for name, *_, flags in image.sections:
        if flags & EXECUTE and flags & WRITE:
            yield f"section {name} is both writable and executable"
    if image.symbols != 0 or image.directory(6)[1] != 0:
        yield "it carries debug information"
    if len(data) >= LARGEST:
        yield f"it has {len(data)} bytes"
    for at in image.import_names_at():
        if image.text(at).lower() not in SYSTEM_LIBRARIES:
            yield f"it needs {image.text(at)}"
    exports = [image.text(at) for at in image.export_names_at()]
    if exports != EXPORTS:
        yield f"it exports {exports}"
    for path in forbidden:
        if path.encode() in data or path.encode("utf-16-le") in data:
            yield f"it names the building machine's {path}"
    yield from resource_problems(image.resources(), version)


def resource_problems(resources, version):
    languages = {language for kind, _, language in resources if kind == STRING_TABLE}
    if languages != LANGUAGES:
        yield f"its texts are in the languages {sorted(languages)}"
    for language in languages:
        if set(texts_of(resources, language)) != set(TEXT_IDS):
            yield f"language {language} has the texts {sorted(texts_of(resources, language))}"
    info = [data for (kind, _, _), data in resources.items() if kind == VERSION_INFO]
    if len(info) != 1:
        yield "it has no version"
        return
    fields = [int(field) for field in version.split(".")]
    fixed = info[0].find(struct.pack("<I", 0xFEEF04BD))
    packed = struct.pack("<II", fields[0] << 16 | fields[1], fields[2] << 16 | fields[3])
    if info[0][fixed + 8:fixed + 16] != packed or info[0][fixed + 16:fixed + 24] != packed:
        yield f"its version isn't {version}"
    for word in ("CompanyName", "KOVA", "FileDescription", version):
        if word.encode("utf-16-le") not in info[0]:
            yield f"its version says nothing of {word}"


def spoiled(data, version, forbidden):
    """Copies with one promise broken in each."""
    image = Image(data)

    def with_bytes(at, new):
        return data[:at] + new + data[at + len(new):]

    for flag in (HIGH_ENTROPY_VA, DYNAMIC_BASE, NX_COMPAT):
        yield f"flag {flag:#x}", with_bytes(image.characteristics_at, struct.pack("<H", image.characteristics & ~flag))
    yield "an import", with_bytes(next(image.import_names_at()), b"libgcc")
    yield "an export", with_bytes(image.export_names_at()[0], b"Other")
    yield "the version", data.replace(version.encode("utf-16-le"), "9.9.9.999".encode("utf-16-le")[:2 * len(version)])
    yield "a text", data.replace(struct.pack("<H", 8) + "Bay Open".encode("utf-16-le"), bytes(18))
    yield "a path", data + forbidden[0].encode()
    yield "its size", data + bytes(LARGEST)


def main():
    path, version, *forbidden = sys.argv[1:]
    with open(path, "rb") as file:
        data = file.read()
    wrong = list(problems(data, version, forbidden))
    for problem in wrong:
        print(f"{path}: {problem}")
    if wrong:
        return 1
    for what, copy in spoiled(data, version, forbidden):
        try:
            passes = not list(problems(copy, version, forbidden))
        except (ValueError, struct.error):
            passes = False
        if passes:
            print(f"check_library.py: {what} was spoiled and nobody noticed")
            return 1
    print(f"{path}: {len(data)} bytes, as promised")
    return 0


sys.exit(main())
