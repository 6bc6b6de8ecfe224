#!/usr/bin/env python3
"""Writes the Windows release zip: both driver DLLs and both setup programs
in x64/ and x86/, the Windows README and SHA-256 sums, under one folder named
for the version in VERSION."""
import argparse
import hashlib
import pathlib
import sys
import zipfile

# Entries get this time so that the same binaries give the same zip.
FIXED_TIME = (2024, 1, 1, 0, 0, 0)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--source", required=True, type=pathlib.Path, help="the project root")
    parser.add_argument("--x64", required=True, type=pathlib.Path, help="folder of the x86_64 DLL and setup")
    parser.add_argument("--x86", required=True, type=pathlib.Path, help="folder of the i686 DLL and setup")
    parser.add_argument("--out", required=True, type=pathlib.Path, help="folder the zip goes to")
    args = parser.parse_args()

    version = (args.source / "VERSION").read_text().split()[0]
    top = f"corvanta-ffdrv-{version}"
    files = {}
    for arch, folder in (("x64", args.x64), ("x86", args.x86)):
        for name in ("svjoyff.dll", "ffdrv-setup.exe"):
            path = folder / name
            if not path.is_file():
                sys.exit(f"make-package: {path} is missing: build the mingw-{arch} preset first")
            files[f"{arch}/{name}"] = path.read_bytes()
    readme = (args.source / "packaging" / "README-windows.txt").read_text().replace("@VERSION@", version)
    files["README.txt"] = readme.replace("\r\n", "\n").replace("\n", "\r\n").encode("utf-8")
    sums = "".join(f"{hashlib.sha256(data).hexdigest()}  {name}\n" for name, data in sorted(files.items()))
    files["SHA256SUMS.txt"] = sums.encode("ascii")

    args.out.mkdir(parents=True, exist_ok=True)
    target = args.out / f"{top}-windows.zip"
    with zipfile.ZipFile(target, "w", zipfile.ZIP_DEFLATED) as archive:
        for name in sorted(files):
            info = zipfile.ZipInfo(f"{top}/{name}", FIXED_TIME)
            info.compress_type = zipfile.ZIP_DEFLATED
            info.external_attr = 0o644 << 16
            archive.writestr(info, files[name])
    print(target)


if __name__ == "__main__":
    main()
