#!/usr/bin/env python3
"""Packs an installation into an archive, the same bytes for the same files, and writes two files beside it.

    make_archive.py --tree DIR --output NAME.tar.gz|NAME.zip --epoch SECONDS [--part NAME VERSION FROM]...

NAME.sha256 has the archive's checksum, as `sha256sum --check` takes it, NAME.spdx.json what the archive holds:
each file with its checksum, and each part that the program was made with. Entries are sorted, belong to root and bear
the time that --epoch gives.
"""

import argparse
import datetime
import gzip
import hashlib
import io
import json
import pathlib
import tarfile
import zipfile

LICENSES = {"SQLite": "blessing", "C compiler": "GPL-3.0-or-later", "C library": "LGPL-2.1-or-later",
            "C++ library": "GPL-3.0-or-later WITH GCC-exception-3.1", "CLI11": "BSD-3-Clause", "fmt": "MIT",
            "JSON for Modern C++": "MIT", "Capstone": "BSD-3-Clause", "bzip2": "bzip2-1.0.6", "zlib": "Zlib",
            "elfutils": "GPL-2.0-or-later OR LGPL-3.0-or-later"}


def sha256(content):
    return hashlib.sha256(content).hexdigest()


def is_program(name, content):
    return "/bin/" in name or (content.startswith(b"#!") and "/fleet/" in name)


def tar_of(files, epoch):
    packed = io.BytesIO()
    with tarfile.open(fileobj=packed, mode="w", format=tarfile.PAX_FORMAT) as archive:
        for name, content in files.items():
            entry = tarfile.TarInfo(name)
            entry.size, entry.mtime = len(content), epoch
            entry.mode = 0o755 if is_program(name, content) else 0o644
            entry.uname = entry.gname = "root"
            archive.addfile(entry, io.BytesIO(content))
    return gzip.compress(packed.getvalue(), 9, mtime=0)


def zip_of(files, epoch):
    packed = io.BytesIO()
    date = datetime.datetime.fromtimestamp(epoch, datetime.timezone.utc).timetuple()[:6]
    with zipfile.ZipFile(packed, "w") as archive:
        for name, content in files.items():
            entry = zipfile.ZipInfo(name, date)
            entry.compress_type, entry.create_system = zipfile.ZIP_DEFLATED, 3
            entry.external_attr = (0o100755 if is_program(name, content) else 0o100644) << 16
            archive.writestr(entry, content, compresslevel=9)
    return packed.getvalue()


def package(identity, name, version, where, license_name):
    return {"SPDXID": identity, "name": name, "versionInfo": version, "downloadLocation": where,
            "filesAnalyzed": False, "licenseConcluded": license_name, "licenseDeclared": license_name,
            "copyrightText": "NOASSERTION"}


def parts_list(top, files, parts, epoch, content_hash):
    """The list of all that is in an archive, in the words of SPDX 2.3."""
    name, version = top.split("-")[:2]
    packages = [package("SPDXRef-Package", name, version, "NOASSERTION", "LicenseRef-all-rights-reserved")]
    relations = [("SPDXRef-DOCUMENT", "DESCRIBES", "SPDXRef-Package")]
    for k, (part, part_version, where) in enumerate(parts):
        packages.append(package("SPDXRef-Part-%d" % k, part, part_version, where,
                                LICENSES.get(part, "NOASSERTION")))
        if part.endswith("compiler"):
            relations.append(("SPDXRef-Part-%d" % k, "BUILD_TOOL_OF", "SPDXRef-Package"))
        else:
            relations.append(("SPDXRef-Package", "STATIC_LINK", "SPDXRef-Part-%d" % k))
    entries = []
    for k, (path, content) in enumerate(files.items()):
        entries.append({"SPDXID": "SPDXRef-File-%d" % k, "fileName": "./" + path,
                        "checksums": [{"algorithm": "SHA1", "checksumValue": hashlib.sha1(content).hexdigest()},
                                      {"algorithm": "SHA256", "checksumValue": sha256(content)}],
                        "licenseConcluded": "LicenseRef-all-rights-reserved", "copyrightText": "NOASSERTION"})
        relations.append(("SPDXRef-Package", "CONTAINS", "SPDXRef-File-%d" % k))
    created = datetime.datetime.fromtimestamp(epoch, datetime.timezone.utc).strftime("%Y-%m-%dT%H:%M:%SZ")
    return {"spdxVersion": "SPDX-2.3", "dataLicense": "CC0-1.0", "SPDXID": "SPDXRef-DOCUMENT", "name": top,
            "documentNamespace": "https://edgefold.example/spdx/%s-%s" % (top, content_hash),
            "creationInfo": {"created": created, "creators": ["Organization: Velmora"]},
            "hasExtractedLicensingInfos": [{"licenseId": "LicenseRef-all-rights-reserved",
                                            "extractedText": "All rights reserved."}],
            "packages": packages, "files": entries,
            "relationships": [{"spdxElementId": a, "relationshipType": kind, "relatedSpdxElement": b}
                              for a, kind, b in relations]}


def main():
    parser = argparse.ArgumentParser(usage=__doc__)
    parser.add_argument("--tree", required=True, type=pathlib.Path)
    parser.add_argument("--output", required=True, type=pathlib.Path)
    parser.add_argument("--epoch", required=True, type=int)
    parser.add_argument("--part", nargs=3, action="append", default=[])
    options = parser.parse_args()
    for part, _, where in options.part:
        if not where.startswith("https://"):
            parser.error("no address of the source of %s: %s" % (part, where))
    top = options.output.name.removesuffix(".tar.gz").removesuffix(".zip")
    paths = sorted(path for path in options.tree.rglob("*") if path.is_file())
    files = {"%s/%s" % (top, path.relative_to(options.tree).as_posix()): path.read_bytes() for path in paths}
    pack = zip_of if options.output.suffix == ".zip" else tar_of
    packed = pack(files, options.epoch)
    options.output.parent.mkdir(parents=True, exist_ok=True)
    options.output.write_bytes(packed)
    beside = str(options.output)
    pathlib.Path(beside + ".sha256").write_text("%s  %s\n" % (sha256(packed), options.output.name), encoding="ascii")
    listed = parts_list(top, files, options.part, options.epoch, sha256(packed))
    pathlib.Path(beside + ".spdx.json").write_text(json.dumps(listed, indent=1) + "\n", encoding="ascii")


if __name__ == "__main__":
    main()
