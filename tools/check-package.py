#!/usr/bin/env python3
"""Checks the Windows release zip as a user receives it: the files, the
sums, the README's sections, the bitness of each binary, and that each DLL
exports exactly the four COM server functions."""
import hashlib
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import zipfile

EXPORTS = {"DllCanUnloadNow", "DllGetClassObject", "DllRegisterServer", "DllUnregisterServer"}
FORMATS = {"x64": "pei-x86-64", "x86": "pei-i386"}
BINARIES = ["x64/ffdrv-setup.exe", "x64/svjoyff.dll", "x86/ffdrv-setup.exe", "x86/svjoyff.dll"]


def objdump():
    for tool in ("x86_64-w64-mingw32-objdump", "objdump"):
        if shutil.which(tool):
            return tool
    sys.exit("check-package: no objdump that reads PE files")


def dll_exports(tool, path):
    text = subprocess.run([tool, "-p", str(path)], check=True, capture_output=True, text=True).stdout
    table = text.split("[Ordinal/Name Pointer] Table", 1)
    if len(table) < 2:
        return set()
    names = set()
    for line in table[1].splitlines()[1:]:
        match = re.match(r"\s*\[\s*\d+\]\s+(\S+)\s*$", line)
        if not match:
            break
        names.add(match.group(1))
    return names


def file_format(tool, path):
    text = subprocess.run([tool, "-f", str(path)], check=True, capture_output=True, text=True).stdout
    match = re.search(r"file format (\S+)", text)
    return match.group(1) if match else "?"


def main():
    if len(sys.argv) != 3:
        sys.exit("usage: check-package.py ZIP VERSION-FILE")
    zip_path = pathlib.Path(sys.argv[1])
    version = pathlib.Path(sys.argv[2]).read_text().split()[0]
    top = f"corvanta-ffdrv-{version}/"
    failures = []
    tool = objdump()
    with zipfile.ZipFile(zip_path) as archive:
        names = sorted(archive.namelist())
        expected = sorted(top + n for n in BINARIES + ["README.txt", "SHA256SUMS.txt"])
        if names != expected:
            failures.append(f"contents {names} instead of {expected}")
        sums = {}
        if top + "SHA256SUMS.txt" in names:
            for line in archive.read(top + "SHA256SUMS.txt").decode("ascii").splitlines():
                digest, name = line.split("  ", 1)
                sums[name] = digest
        for name in BINARIES + ["README.txt"]:
            if top + name not in names:
                continue
            digest = hashlib.sha256(archive.read(top + name)).hexdigest()
            if sums.get(name) != digest:
                failures.append(f"{name}: SHA-256 {digest} not as listed ({sums.get(name)})")
        if top + "README.txt" in names:
            readme = archive.read(top + "README.txt").decode("utf-8")
            for needed in ("ffdrv-setup.exe install", "ffdrv-setup.exe uninstall", "ffdrv-setup.exe status",
                           "ffplay", "Run as administrator", version):
                if needed not in readme:
                    failures.append(f"README.txt says nothing of {needed!r}")
        with tempfile.TemporaryDirectory() as scratch:
            for name in BINARIES:
                if top + name not in names:
                    continue
                path = pathlib.Path(scratch) / name.replace("/", "_")
                path.write_bytes(archive.read(top + name))
                arch = name.split("/")[0]
                fmt = file_format(tool, path)
                if fmt != FORMATS[arch]:
                    failures.append(f"{name}: {fmt}, not {FORMATS[arch]}")
                if name.endswith(".dll"):
                    exports = dll_exports(tool, path)
                    if exports != EXPORTS:
                        failures.append(f"{name}: exports {sorted(exports)}, not {sorted(EXPORTS)}")
    if failures:
        for failure in failures:
            print(f"check-package: {zip_path}: {failure}", file=sys.stderr)
        sys.exit(1)
    print(f"check-package: {zip_path}: {len(names)} files, sums match, both DLLs export exactly the four functions")


if __name__ == "__main__":
    main()
