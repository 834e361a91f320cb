#!/usr/bin/env python3
"""The win64 archive's binaries as a Windows integrator receives them.

Unpacks the release .zip and its -symbols.zip and holds every .dll and .exe
of the release to what a Visual C++ release build carries:

  runtime floor   every import on tests/windows/runtime_floor.txt: only the
                  DLLs of the Visual C++ 2015 runtime (no later satellite),
                  from vcruntime140.dll and msvcp140.dll only the names the
                  list gives, from kernel32.dll only functions of the
                  Windows version the list names; a binary that locks a
                  std::mutex or waits on a std::condition_variable
                  initializes it through the runtime (_Mtx_init_in_situ,
                  _Cnd_init_in_situ), as the 2015 msvcp140.dll requires
  hardening       DYNAMIC_BASE, HIGH_ENTROPY_VA and NX_COMPAT; a load
                  configuration whose security cookie lies in the image's
                  writable data; code that reads that cookie (stack
                  protection), counted in the disassembly
  version         a VERSIONINFO resource: file and product version equal to
                  the project's, product name, a description, the file name
  symbols         a CodeView debug entry naming the PDB by file name alone,
                  and that PDB in the symbols archive with the same GUID and
                  age (llvm-pdbutil)
  build paths     no byte string of the build machine's folders (the source
                  and build folders given), in ASCII or UTF-16
and the archive's README.txt: CRLF line ends, no Linux library names, the
plug-in's and the demo's Windows names, the runtime, how to load from
another folder, where the configuration is read, the symbols archive.

Usage: release_binaries_test.py ZIP VERSION FLOOR_LIST LLVM_SUFFIX PATH...
Prints one line per binary and every failure; exits 1 on any failure.
"""
import os
import re
import struct
import subprocess
import sys
import tempfile
import zipfile

DYNAMIC_BASE, HIGH_ENTROPY_VA, NX_COMPAT = 0x40, 0x20, 0x100


class Pe:
    """The parts of a PE32+ image the checks read, from the file's bytes."""

    def __init__(self, path):
        with open(path, "rb") as f:
            self.data = f.read()
        d = self.data
        if d[:2] != b"MZ":
            raise ValueError("not a PE file")
        pe = struct.unpack_from("<I", d, 0x3C)[0]
        if d[pe:pe + 4] != b"PE\0\0":
            raise ValueError("no PE signature")
        sections, optional_size = struct.unpack_from("<H12xH", d, pe + 6)
        opt = pe + 24
        if struct.unpack_from("<H", d, opt)[0] != 0x20B:
            raise ValueError("not PE32+")
        self.image_base = struct.unpack_from("<Q", d, opt + 24)[0]
        self.dll_characteristics = struct.unpack_from("<H", d, opt + 70)[0]
        count = struct.unpack_from("<I", d, opt + 108)[0]
        self.directories = [struct.unpack_from("<II", d, opt + 112 + 8 * i) for i in range(count)]
        self.sections = []
        table = opt + optional_size
        for i in range(sections):
            name, vsize, rva, rawsize, raw, _, _, _, _, flags = struct.unpack_from(
                "<8sIIIIIIHHI", d, table + 40 * i)
            self.sections.append((name.rstrip(b"\0").decode(), rva, max(vsize, rawsize), raw,
                                  rawsize, flags))

    def offset(self, rva):
        for _, start, size, raw, rawsize, _ in self.sections:
            if start <= rva < start + size and rva - start < rawsize:
                return raw + rva - start
        raise ValueError("RVA 0x%x outside the file" % rva)

    def section_of(self, rva):
        for name, start, size, _, _, flags in self.sections:
            if start <= rva < start + size:
                return name, flags
        return None, 0

    def directory(self, index):
        return self.directories[index] if index < len(self.directories) else (0, 0)

    def cstring(self, rva):
        at = self.offset(rva)
        return self.data[at:self.data.index(b"\0", at)].decode("latin-1")

    def imports(self):
        """{dll name (lower case): [function names]}."""
        result = {}
        rva, size = self.directory(1)
        if not rva:
            return result
        at = self.offset(rva)
        while True:
            lookup, _, _, name, thunks = struct.unpack_from("<IIIII", self.data, at)
            if not name:
                break
            names = result.setdefault(self.cstring(name).lower(), [])
            entry = self.offset(lookup or thunks)
            while True:
                value = struct.unpack_from("<Q", self.data, entry)[0]
                if not value:
                    break
                if value & (1 << 63):
                    names.append("#%d" % (value & 0xFFFF))
                else:
                    names.append(self.cstring((value & 0x7FFFFFFF) + 2))
                entry += 8
            at += 20
        return result

    def load_config(self):
        """(size, security cookie VA) or None."""
        rva, size = self.directory(10)
        if not rva:
            return None
        at = self.offset(rva)
        declared = struct.unpack_from("<I", self.data, at)[0]
        cookie = struct.unpack_from("<Q", self.data, at + 0x58)[0] if declared >= 0x60 else 0
        return declared, cookie

    def codeview(self):
        """(GUID bytes, age, PDB name) of the CodeView debug entry, or None."""
        rva, size = self.directory(6)
        for i in range(size // 28 if rva else 0):
            fields = struct.unpack_from("<IIHHIIII", self.data, self.offset(rva) + 28 * i)
            kind, data_size, pointer = fields[4], fields[5], fields[7]
            if kind == 2 and self.data[pointer:pointer + 4] == b"RSDS":
                guid = self.data[pointer + 4:pointer + 20]
                age = struct.unpack_from("<I", self.data, pointer + 20)[0]
                name = self.data[pointer + 24:pointer + data_size].split(b"\0")[0]
                return guid, age, name.decode("utf-8", "replace")
        return None

    def version_resource(self):
        """The VS_VERSIONINFO block's bytes, or None."""
        rva, _ = self.directory(2)
        if not rva:
            return None
        root = self.offset(rva)

        def entries(at):
            named, ids = struct.unpack_from("<HH", self.data, at + 12)
            for i in range(named + ids):
                ident, target = struct.unpack_from("<II", self.data, at + 16 + 8 * i)
                yield ident, target

        for ident, target in entries(root):
            if ident != 16 or not target & 0x80000000:  # RT_VERSION
                continue
            level = root + (target & 0x7FFFFFFF)
            for _, name_target in entries(level):
                language = root + (name_target & 0x7FFFFFFF)
                for _, leaf in entries(language):
                    data_rva, data_size = struct.unpack_from("<II", self.data, root + leaf)
                    at = self.offset(data_rva)
                    return self.data[at:at + data_size]
        return None


def version_strings(block):
    """(fixed file version tuple, product version tuple, {key: value})."""
    strings = {}

    def walk(at, end):
        while at + 6 <= end:
            length, value_length, kind = struct.unpack_from("<HHH", block, at)
            if length == 0:
                break
            key_end = at + 6
            while block[key_end:key_end + 2] != b"\0\0":
                key_end += 2
            key = block[at + 6:key_end].decode("utf-16-le")
            value_at = (key_end + 2 + 3) & ~3
            if key == "VS_VERSION_INFO":
                signature, _, ms, ls, pms, pls = struct.unpack_from("<IIIIII", block, value_at)
                if signature != 0xFEEF04BD:
                    raise ValueError("no VS_FIXEDFILEINFO")
                walk.fixed = (ms >> 16, ms & 0xFFFF, ls >> 16, ls & 0xFFFF)
                walk.product = (pms >> 16, pms & 0xFFFF, pls >> 16, pls & 0xFFFF)
                walk((value_at + value_length + 3) & ~3, at + length)
            elif key in ("StringFileInfo", "VarFileInfo") or (len(key) == 8 and kind == 1
                                                                 and value_length == 0):
                walk(value_at, at + length)
            elif kind == 1:
                text = block[value_at:value_at + 2 * value_length].decode("utf-16-le")
                strings[key] = text.rstrip("\0")
            at = (at + length + 3) & ~3

    walk.fixed = walk.product = None
    walk(0, len(block))
    return walk.fixed, walk.product, strings


def read_floor(path):
    """{dll: set of names or None (any name)}, and the kernel32 floor's name."""
    floor, current, windows = {}, None, None
    for line in open(path, encoding="utf-8"):
        line = line.split("#", 1)[0].strip()
        if not line:
            continue
        match = re.match(r"^\[([^\]]+)\]\s*(.*)$", line)
        if match:
            current = match.group(1).lower()
            if match.group(2) == "any":
                floor[current] = None
            else:
                floor[current] = set()
                if current == "kernel32.dll":
                    windows = match.group(2)
            continue
        floor[current].add(line.split()[0])
    return floor, windows


def pdb_identity(pdbutil, path):
    out = subprocess.run([pdbutil, "dump", "--summary", path], capture_output=True, text=True,
                         check=True).stdout
    guid = re.search(r"GUID: \{([0-9A-F-]+)\}", out)
    age = re.search(r"Age: (\d+)", out)
    if not guid or not age:
        raise ValueError("no GUID and age in the PDB's summary")
    return guid.group(1), int(age.group(1))


def guid_text(raw):
    a, b, c = struct.unpack_from("<IHH", raw)
    rest = raw[8:].hex().upper()
    return "%08X-%04X-%04X-%s-%s" % (a, b, c, rest[:4], rest[4:])


def cookie_reads(objdump, path, cookie_va):
    """How many instructions address the security cookie."""
    out = subprocess.run([objdump, "-d", "--no-show-raw-insn", path], capture_output=True,
                         text=True, check=True).stdout
    return len(re.findall(r"# 0x%x\b" % cookie_va, out))


def main():
    archive, version, floor_path, suffix = sys.argv[1:5]
    build_paths = [p for p in sys.argv[5:] if p]
    version_numbers = tuple(int(x) for x in (version.split(".") + ["0", "0", "0"])[:4])
    floor, windows = read_floor(floor_path)
    symbols_archive = re.sub(r"\.zip$", "-symbols.zip", archive)
    failures = []

    with tempfile.TemporaryDirectory() as work:
        for name, folder in ((archive, "release"), (symbols_archive, "symbols")):
            if not os.path.exists(name):
                print("missing: %s" % name)
                return 1
            zipfile.ZipFile(name).extractall(os.path.join(work, folder))
        pdbs = {}
        for top, _, files in os.walk(os.path.join(work, "symbols")):
            for file in files:
                if file.lower().endswith(".pdb"):
                    path = os.path.join(top, file)
                    pdbs.setdefault(file.lower(), []).append((path, pdb_identity(
                        "llvm-pdbutil" + suffix, path)))
        binaries = []
        for top, _, files in os.walk(os.path.join(work, "release")):
            binaries += [os.path.join(top, f) for f in sorted(files)
                         if f.lower().endswith((".dll", ".exe"))]
        if len(binaries) < 10:
            failures.append("only %d binaries in %s" % (len(binaries), archive))
        needles = []
        for path in build_paths:
            needles += [path.encode(), path.encode("utf-16-le")]

        for path in sorted(binaries):
            shown = os.path.relpath(path, os.path.join(work, "release")).split(os.sep, 1)[1]
            own = []

            def fail(text, own=own):
                own.append(text)

            pe = Pe(path)
            imports = pe.imports()
            for dll, names in sorted(imports.items()):
                if dll not in floor:
                    fail("imports %s, which the Visual C++ 2015 runtime does not have" % dll)
                elif floor[dll] is not None:
                    beyond = sorted(set(names) - floor[dll])
                    if beyond:
                        fail("imports from %s beyond the floor: %s" % (dll, " ".join(beyond)))
            msvcp = set(imports.get("msvcp140.dll", []))
            # Locking or waiting without initializing through the runtime
            # means constexpr-constructed objects (the thread-exit
            # notifications _Cnd_*_at_thread_exit touch no object of it).
            for uses, init in (({"_Mtx_lock", "_Mtx_trylock", "_Mtx_unlock"}, "_Mtx_init_in_situ"),
                               ({"_Cnd_wait", "_Cnd_timedwait", "_Cnd_signal", "_Cnd_broadcast"},
                                "_Cnd_init_in_situ")):
                if msvcp & uses and init not in msvcp:
                    fail("uses %s without %s: its constructors need msvcp140.dll 14.40" %
                         (" ".join(sorted(msvcp & uses)), init))

            flags = pe.dll_characteristics
            for bit, name in ((DYNAMIC_BASE, "DYNAMIC_BASE"), (HIGH_ENTROPY_VA, "HIGH_ENTROPY_VA"),
                              (NX_COMPAT, "NX_COMPAT")):
                if not flags & bit:
                    fail("no %s" % name)
            config = pe.load_config()
            reads = 0
            if config is None:
                fail("no load configuration")
            else:
                size, cookie = config
                section, section_flags = pe.section_of(cookie - pe.image_base) if cookie else (
                    None, 0)
                if not section or not section_flags & 0x80000000:  # IMAGE_SCN_MEM_WRITE
                    fail("load configuration (%d bytes) names no security cookie in writable data"
                         % size)
                else:
                    reads = cookie_reads("llvm-objdump" + suffix, path, cookie)
                    if reads < 2:
                        fail("no code reads the security cookie: no stack protection")

            block = pe.version_resource()
            description = "-"
            if block is None:
                fail("no version resource")
            else:
                fixed, product, strings = version_strings(block)
                description = strings.get("FileDescription", "")
                base = os.path.basename(path)
                expected = {"ProductName": "KSTraderAPIPluginXT",
                            "FileVersion": ".".join(map(str, version_numbers)),
                            "ProductVersion": ".".join(map(str, version_numbers))}
                for key, value in expected.items():
                    if strings.get(key) != value:
                        fail("version resource %s is %r, not %r" % (key, strings.get(key), value))
                if not description:
                    fail("version resource without a FileDescription")
                if strings.get("OriginalFilename", "").lower() not in (
                        base.lower(), base.lower().replace("_real.", ".")):
                    fail("version resource names %r" % strings.get("OriginalFilename"))
                if fixed != version_numbers or product != version_numbers:
                    fail("fixed file/product version %s/%s, not %s" % (fixed, product,
                                                                       version_numbers))

            view = pe.codeview()
            if view is None:
                fail("no CodeView debug entry")
            else:
                guid, age, pdb_name = view
                if "/" in pdb_name or "\\" in pdb_name:
                    fail("debug entry names a path: %s" % pdb_name)
                identity = (guid_text(guid), age)
                candidates = pdbs.get(os.path.basename(pdb_name.replace("\\", "/")).lower(), [])
                if identity not in [found for _, found in candidates]:
                    fail("no PDB %s with GUID %s age %d in the symbols archive (%d of that name)" %
                         (pdb_name, identity[0], age, len(candidates)))

            for needle in needles:
                if needle in pe.data:
                    fail("holds the build machine's path %r" % needle[:60])

            status = "ok" if not own else "FAILED"
            print("%-48s %-6s cookie reads %5d  imports %-60s  %s" % (
                shown, status, reads, " ".join(sorted(imports)), description))
            failures += ["%s: %s" % (shown, text) for text in own]

        # The archive's README: Windows line ends and names, and what an
        # integrator looks for in it.
        readmes = [os.path.join(top, f) for top, _, files in os.walk(os.path.join(work, "release"))
                   for f in files if f == "README.txt"]
        if len(readmes) != 1:
            failures.append("%d README.txt in the archive" % len(readmes))
        else:
            text = open(readmes[0], "rb").read()
            if text.count(b"\n") != text.count(b"\r\n"):
                failures.append("README.txt: line ends other than CRLF")
            if re.search(rb"\.so\b|lib[A-Z][A-Za-z]*\.so", text):
                failures.append("README.txt names Linux libraries")
            for needed in (b"KSTraderAPIPluginXT.dll", b"demo_host.exe", b"2015",
                           b"LOAD_WITH_ALTERED_SEARCH_PATH", b"config\\xt_config",
                           os.path.basename(symbols_archive).encode()):
                if needed not in text:
                    failures.append("README.txt does not say %s" % needed.decode())

    for text in failures:
        print("FAILED: " + text)
    print("%d binaries, %d failures; runtime floor: Visual C++ 2015 runtime DLLs, %s" %
          (len(binaries), len(failures), windows or "?"))
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
