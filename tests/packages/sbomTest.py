#!/usr/bin/env python3
"""Checks the bills of materials of an unpacked package against the rules of their formats: sbomTest.py ROOT NAME [PACKAGE...]

Prints the packages that both list, one a line. Ends with an error where a rule is broken, where the two disagree, where a
checksum is not the file's, or where one of PACKAGE is not listed.
"""
# SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
import hashlib
import json
import pathlib
import sys

import jsonschema

NAME = {"type": "string", "minLength": 1}
REFERENCE = {"type": "string", "pattern": r"^SPDXRef-[A-Za-z0-9.-]+$"}
TIME = {"type": "string", "pattern": r"^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ$"}
UNIQUE = {"type": "string", "pattern": r"^urn:uuid:[0-9a-f]{8}(-[0-9a-f]{4}){3}-[0-9a-f]{12}$"}
DEBIAN = {"type": "string", "pattern": r"^pkg:deb/debian/[a-z0-9.+-]+@[A-Za-z0-9.~%+-]+\?arch=[a-z0-9]+$"}


def record(required, **optional):
    """A JSON object with exactly these members."""
    return {"type": "object", "required": list(required), "properties": {**required, **optional},
            "additionalProperties": False}


def array(items, least=1):
    return {"type": "array", "items": items, "minItems": least}


def only(*values):
    return {"enum": list(values)}


SPDX = record({
    "spdxVersion": only("SPDX-2.3"), "dataLicense": only("CC0-1.0"), "SPDXID": only("SPDXRef-DOCUMENT"), "name": NAME,
    "documentNamespace": UNIQUE,
    "creationInfo": record({"created": TIME, "creators": array({"type": "string", "pattern": "^Tool: .+-[0-9.]+$"})}),
    "packages": array(record(
        {"SPDXID": REFERENCE, "name": NAME, "versionInfo": NAME, "downloadLocation": only("NOASSERTION"),
         "filesAnalyzed": only(False), "licenseConcluded": only("NOASSERTION"), "licenseDeclared": only("NOASSERTION"),
         "copyrightText": only("NOASSERTION")},
        supplier={"type": "string", "pattern": "^Organization: .+"}, sourceInfo=NAME,
        externalRefs=array(record({"referenceCategory": only("PACKAGE-MANAGER"), "referenceType": only("purl"),
                                   "referenceLocator": DEBIAN})))),
    "files": array(record(
        {"SPDXID": REFERENCE, "fileName": {"type": "string", "pattern": r"^\./"},
         "checksums": {**array(record({"algorithm": only("SHA1", "SHA256"),
                                       "checksumValue": {"type": "string", "pattern": "^[0-9a-f]{40,64}$"}})),
                       "contains": {"properties": {"algorithm": only("SHA1")}}},
         "fileTypes": array(only("BINARY")), "licenseConcluded": only("NOASSERTION"),
         "licenseInfoInFiles": array(only("NOASSERTION")), "copyrightText": only("NOASSERTION")})),
    "relationships": array(record({
        "spdxElementId": REFERENCE, "relatedSpdxElement": REFERENCE,
        "relationshipType": only("DESCRIBES", "CONTAINS", "DYNAMIC_LINK", "STATIC_LINK", "GENERATED_FROM")})),
})

COMPONENT = record({"type": only("application", "library", "file"), "bom-ref": NAME, "name": NAME}, version=NAME, purl=DEBIAN,
                   hashes=array(record({"alg": only("SHA-256"),
                                        "content": {"type": "string", "pattern": "^[0-9a-f]{64}$"}})))
CYCLONEDX = record({
    "bomFormat": only("CycloneDX"), "specVersion": only("1.5"), "serialNumber": UNIQUE, "version": only(1),
    "metadata": record({"timestamp": TIME, "component": COMPONENT}), "components": array(COMPONENT),
    "dependencies": array(record({"ref": NAME, "dependsOn": array(NAME, 0)})),
})


def read(root, name, kind, schema):
    document = json.loads(pathlib.Path(root, "usr/share/doc", name, f"sbom.{kind}.json").read_text(encoding="utf-8"))
    jsonschema.validate(document, schema)
    return document


def expect(isTrue, message):
    if not isTrue:
        sys.exit(f"sbomTest: {message}")


def check_references(known, used, document):
    expect(len(known) == len(set(known)), f"{document} names something twice")
    expect(set(used) <= set(known), f"{document} refers to {set(used) - set(known)}, which it does not describe")
    expect(set(known) <= set(used), f"nothing in {document} refers to {set(known) - set(used)}")


def packages_of_spdx(root, name):
    document = read(root, name, "spdx", SPDX)
    described = document["packages"] + document["files"]
    used = [one[key] for one in document["relationships"] for key in ("spdxElementId", "relatedSpdxElement")]
    check_references([document["SPDXID"], *(one["SPDXID"] for one in described)], used, "SPDX")
    for file in document["files"]:
        content = pathlib.Path(root, file["fileName"]).read_bytes()
        for sum_ in file["checksums"]:
            expect(hashlib.new(sum_["algorithm"], content).hexdigest() == sum_["checksumValue"], f"{file['fileName']}: checksum")
    return {one["externalRefs"][0]["referenceLocator"] for one in document["packages"] if "externalRefs" in one}


def packages_of_cyclonedx(root, name):
    document = read(root, name, "cdx", CYCLONEDX)
    known = [document["metadata"]["component"]["bom-ref"], *(one["bom-ref"] for one in document["components"])]
    used = [reference for one in document["dependencies"] for reference in (one["ref"], *one["dependsOn"])]
    check_references(known, used, "CycloneDX")
    for file in (one for one in document["components"] if one["type"] == "file"):
        content = pathlib.Path(root + file["name"]).read_bytes()
        expect(hashlib.sha256(content).hexdigest() == file["hashes"][0]["content"], f"{file['name']}: checksum")
    return {one["purl"] for one in document["components"] if "purl" in one}


def main(root, name, *wanted):
    listed = packages_of_spdx(root, name)
    expect(listed == packages_of_cyclonedx(root, name), "the two formats list different packages")
    names = sorted(purl.split("/")[2].split("@")[0] for purl in listed)
    expect(set(wanted) <= set(names), f"{set(wanted) - set(names)} is not listed")
    print("\n".join(names))


if __name__ == "__main__":
    main(*sys.argv[1:])
