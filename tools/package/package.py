#!/usr/bin/env python3
"""The plug-in as a user downloads it: Orbulon-<version>-win64.zip, written and then checked.

    package.py --aex build/win64/Orbulon.aex --version 1.1.5 --docs docs --out-dir out
    package.py --check out/Orbulon-1.1.5-win64.zip

The archive holds one folder, Orbulon-<version>-win64/, with Orbulon.aex, INSTALL.txt and
controls.md beside the pictures controls.md shows. The check reads the archive as a user gets
it: its file name and entries, the DLL's exports and imports, and its property list, whose
version must be the one in the file name and whose flags must say what the README says of the
hosts (Windows x64 only, effect protocol 13.0, 8/16/32 bits, no Multi-Frame Rendering).
Standard library only. Exit 0 when the archive is sound, 1 with the problems listed otherwise.
"""
import argparse
import os
import pathlib
import re
import struct
import sys
import time
import zipfile

sys.path.insert(0, str(pathlib.Path(__file__).parent))
from pe_image import SYSTEM_DLLS, PEImage, decode_pipl  # noqa: E402

HERE = pathlib.Path(__file__).parent
NAME_PATTERN = re.compile(r"Orbulon-(\d+)\.(\d+)\.(\d+)-win64\.zip")
LOCAL_LINK = re.compile(r"\]\(([^)#:\s]+)\)|<img [^>]*src=\"([^\"#:]+)\"")

# Host flags the README's "What each host supports" rests on.
PF_OUT_FLAG_DEEP_COLOR_AWARE = 1 << 25          # 16 bits per channel
PF_OUT_FLAG2_SUPPORTS_SMART_RENDER = 1 << 10
PF_OUT_FLAG2_FLOAT_COLOR_AWARE = 1 << 12        # 32 bits per channel, with smart render
PF_OUT_FLAG2_SUPPORTS_THREADED_RENDERING = 1 << 27   # Multi-Frame Rendering
# The properties, in order; the one entry point ('8664') is Windows x64's.
PROPERTY_KEYS = ["kind", "name", "catg", "8664", "ePVR", "eSVR", "eVER", "eINF", "eGLO", "eGL2", "eMNA", "aeFL"]
EFFECT_PROTOCOL = (13, 0)      # After Effects CS5 (10.0)
PIPL_LAYOUT = (2, 0)


def local_links(markdown):
    """Relative files a Markdown text links to or shows, in order of appearance."""
    return [a or b for a, b in LOCAL_LINK.findall(markdown)]


def write_package(aex, version, docs, out_dir):
    folder = f"Orbulon-{version}-win64"
    controls = (docs / "controls.md").read_text(encoding="utf-8")
    missing = [link for link in local_links(controls) if not (docs / link).is_file()]
    if missing:
        sys.exit(f"package: controls.md shows {', '.join(missing)}, not in {docs}: run ./dev.sh gallery")
    install = (HERE / "INSTALL.txt").read_text(encoding="utf-8").replace("@VERSION@", version)
    stamp = time.gmtime(int(os.environ.get("SOURCE_DATE_EPOCH", time.time())))[:6]
    out_dir.mkdir(parents=True, exist_ok=True)
    target = out_dir / f"{folder}.zip"
    partial = target.with_suffix(".zip.partial")
    with zipfile.ZipFile(partial, "w", zipfile.ZIP_DEFLATED) as z:
        def add(name, data):
            z.writestr(zipfile.ZipInfo(f"{folder}/{name}", date_time=max(stamp, (1980, 1, 1, 0, 0, 0))), data,
                       compress_type=zipfile.ZIP_DEFLATED)
        add("Orbulon.aex", aex.read_bytes())
        add("INSTALL.txt", install.replace("\n", "\r\n").encode("utf-8"))
        add("controls.md", controls.encode("utf-8"))
        for link in dict.fromkeys(local_links(controls)):
            add(link, (docs / link).read_bytes())
    partial.replace(target)
    return target


def check_aex(data, version, problems):
    pe = PEImage(data, "Orbulon.aex")
    if not pe.is_pe32_plus_dll:
        problems.append("Orbulon.aex is not a 64-bit Windows DLL (PE32+, x64)")
    if pe.exports() != ["EntryPointFunc"]:
        problems.append(f"Orbulon.aex exports {pe.exports()}, not just EntryPointFunc")
    foreign = [d for d in pe.imported_dlls() if d.lower() not in SYSTEM_DLLS]
    if foreign:
        problems.append(f"Orbulon.aex imports DLLs a Windows installation does not have: {foreign}")
    blob = pe.resource("PiPL", 16000, 1033)
    if blob is None:
        problems.append("Orbulon.aex carries no property list (resource PiPL 16000, language 1033)")
        return
    decoded = decode_pipl(blob)
    props = dict(decoded)
    if [key for key, _ in decoded] != PROPERTY_KEYS:
        problems.append(f"property list holds {[key for key, _ in decoded]}, not {PROPERTY_KEYS}")

    def u32(key):
        return struct.unpack("<I", props[key])[0] if len(props.get(key, b"")) == 4 else None

    def pair(key):
        value = u32(key)
        return None if value is None else (value & 0xFFFF, value >> 16)

    if props.get("kind", b"")[::-1] != b"eFKT" or props.get("8664", b"").split(b"\0")[0] != b"EntryPointFunc":
        problems.append("property list: not an effect whose Windows x64 entry point is EntryPointFunc")
    if pair("ePVR") != PIPL_LAYOUT or pair("eSVR") != EFFECT_PROTOCOL:
        problems.append(f"property list asks for layout {pair('ePVR')} and effect protocol {pair('eSVR')}; "
                        f"the README names {PIPL_LAYOUT} and {EFFECT_PROTOCOL} (After Effects CS5): update both")
    ever = u32("eVER")
    if ever is not None:
        major = ((ever >> 19) & 7) | (((ever >> 26) & 0xF) << 3)
        effect_version = f"{major}.{(ever >> 15) & 0xF}.{(ever >> 11) & 0xF}"
        if effect_version != version:
            problems.append(f"the file name says {version}, the effect's version (eVER) is {effect_version}")
    else:
        problems.append("property list: no effect version (eVER)")
    flags, flags2 = u32("eGLO") or 0, u32("eGL2") or 0
    if not flags & PF_OUT_FLAG_DEEP_COLOR_AWARE:
        problems.append("property list: not deep-colour aware, yet the README promises 16 bits per channel")
    wanted2 = PF_OUT_FLAG2_SUPPORTS_SMART_RENDER | PF_OUT_FLAG2_FLOAT_COLOR_AWARE
    if flags2 & wanted2 != wanted2:
        problems.append("property list: no smart render with float colour, yet the README promises 32 bits per channel")
    if flags2 & PF_OUT_FLAG2_SUPPORTS_THREADED_RENDERING:
        problems.append("property list: the Multi-Frame Rendering flag is set; the README says it is not")


def check_package(path):
    problems = []
    match = NAME_PATTERN.fullmatch(path.name)
    if not match:
        return [f"{path.name}: not named Orbulon-<major>.<minor>.<fix>-win64.zip"]
    version = ".".join(match.groups())
    folder = f"Orbulon-{version}-win64/"
    try:
        archive = zipfile.ZipFile(path)
    except (OSError, zipfile.BadZipFile) as e:
        return [f"{path}: {e}"]
    with archive:
        names = archive.namelist()
        outside = [n for n in names if not n.startswith(folder)]
        if outside:
            problems.append(f"entries outside {folder}: {outside}")
        files = {n[len(folder):]: n for n in names if n.startswith(folder)}
        for required in ("Orbulon.aex", "INSTALL.txt", "controls.md"):
            if required not in files:
                problems.append(f"{folder}{required} is missing")
        if "controls.md" in files:
            links = set(local_links(archive.read(files["controls.md"]).decode("utf-8")))
            problems += [f"controls.md shows {link}, which is not in the package" for link in sorted(links - set(files))]
            extra = set(files) - links - {"Orbulon.aex", "INSTALL.txt", "controls.md"}
            problems += [f"{folder}{name} is in the package but nothing refers to it" for name in sorted(extra)]
        if "INSTALL.txt" in files and version not in archive.read(files["INSTALL.txt"]).decode("utf-8"):
            problems.append(f"INSTALL.txt does not name version {version}")
        if "Orbulon.aex" in files:
            try:
                check_aex(archive.read(files["Orbulon.aex"]), version, problems)
            except (ValueError, struct.error, IndexError) as e:   # a damaged DLL's tables
                problems.append(f"Orbulon.aex is damaged: {e}")
    return problems


def main():
    p = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    p.add_argument("--aex", type=pathlib.Path, help="the built Orbulon.aex")
    p.add_argument("--version", help="the version the file name gives, MAJOR.MINOR.FIX")
    p.add_argument("--docs", type=pathlib.Path, default=HERE.parents[1] / "docs", help="folder of controls.md")
    p.add_argument("--out-dir", type=pathlib.Path, default=pathlib.Path("out"))
    p.add_argument("--check", type=pathlib.Path, metavar="ZIP", help="only check this package")
    args = p.parse_args()
    if args.check:
        target = args.check
    else:
        if not args.aex or not args.version:
            p.error("give --aex and --version to write a package, or --check ZIP")
        target = write_package(args.aex, args.version, args.docs, args.out_dir)
    problems = check_package(target)
    for problem in problems:
        print(f"package: {target}: {problem}", file=sys.stderr)
    if problems:
        return 1
    version = ".".join(NAME_PATTERN.fullmatch(target.name).groups())
    print(f"{target}: checked: one export, system imports only, property list of version {version}: "
          "Windows x64, effect protocol 13.0, 8/16/32 bits per channel, no Multi-Frame Rendering")
    return 0


if __name__ == "__main__":
    sys.exit(main())
