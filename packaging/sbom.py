"""What the packages are made of, as CycloneDX and SPDX documents, each checked against its schema.

    sbom.py PACKAGES OUTPUT

PACKAGES is the directory of the Debian packages and their .buildinfo. A document names every package with its checksum
and license, what each needs at run time in the version that it was built with, and the libraries of headers that are
compiled into the tool. Both documents follow from the packages alone: the time in them is that of the changelog.
"""

import hashlib
import re
import subprocess
import sys
import uuid
from datetime import datetime, timezone
from pathlib import Path

from cyclonedx.model import HashAlgorithm, HashType
from cyclonedx.model.bom import Bom, BomMetaData
from cyclonedx.model.component import Component, ComponentType
from cyclonedx.model.contact import OrganizationalEntity
from cyclonedx.model.license import LicenseExpression
from cyclonedx.output.json import JsonV1Dot6
from cyclonedx.schema import SchemaVersion
from cyclonedx.validation.json import JsonStrictValidator
from packageurl import PackageURL
from spdx_tools.common.spdx_licensing import spdx_licensing
from spdx_tools.spdx.model import (
    Actor,
    ActorType,
    Checksum,
    ChecksumAlgorithm,
    CreationInfo,
    Document,
    ExternalPackageRef,
    ExternalPackageRefCategory,
    Package,
    Relationship,
    RelationshipType,
    SpdxNoAssertion,
)
from spdx_tools.spdx.parser.parse_anything import parse_file
from spdx_tools.spdx.validation.document_validator import validate_full_spdx_document
from spdx_tools.spdx.writer.write_anything import write_file

LICENSE = "Apache-2.0"
SUPPLIER = "Zelk Maintainers"
# Libraries of headers leave no trace in what a package depends on.
COMPILED_IN = {"zelk": ["libcli11-dev", "nlohmann-json3-dev"]}


def field(package, name):
    return subprocess.run(["dpkg-deb", "-f", package, name], check=True, capture_output=True, text=True).stdout.strip()


def built_with(build_info):
    """The version of each package that was there at the build."""
    return dict(re.findall(r"^ (\S+) \(= (\S+?)\)", build_info.read_text(encoding="utf-8"), re.MULTILINE))


def read_packages(directory):
    build_info = next(directory.glob("*.buildinfo"))
    versions = built_with(build_info)
    date = re.search(r"^ SOURCE_DATE_EPOCH=\"(\d+)\"", build_info.read_text(encoding="utf-8"), re.MULTILINE)
    packages = []
    for path in sorted(directory.glob("*.deb")):
        name = field(path, "Package")
        if name.endswith("-dbgsym"):
            continue
        depends = [re.split(r"[ (]", entry.strip())[0] for entry in field(path, "Depends").split(",") if entry.strip()]
        packages.append(
            {
                "name": name,
                "file": path.name,
                "version": field(path, "Version"),
                "architecture": field(path, "Architecture"),
                "sha256": hashlib.sha256(path.read_bytes()).hexdigest(),
                "depends": depends,
                "holds": COMPILED_IN.get(name, []),
            }
        )
    own = {package["name"] for package in packages}
    others = sorted({need for package in packages for need in package["depends"] + package["holds"]} - own)
    missing = [name for name in others if name not in versions]
    if missing:
        sys.exit(f"sbom: {build_info.name} does not say the version of {', '.join(missing)}")
    created = datetime.fromtimestamp(int(date.group(1)), timezone.utc)
    return packages, {name: versions[name] for name in others}, created


def write_cyclonedx(packages, others, created, path):
    def own(package):
        return Component(
            type=ComponentType.LIBRARY if package["name"].startswith("lib") else ComponentType.APPLICATION,
            name=package["name"],
            version=package["version"],
            bom_ref=package["name"],
            licenses=[LicenseExpression(LICENSE)],
            hashes=[HashType(alg=HashAlgorithm.SHA_256, content=package["sha256"])],
        )

    product = Component(
        type=ComponentType.LIBRARY,
        name="murn-zelk",
        version=packages[0]["version"],
        bom_ref="murn-zelk",
        licenses=[LicenseExpression(LICENSE)],
    )
    bom = Bom(
        serial_number=uuid.uuid5(uuid.NAMESPACE_OID, "".join(package["sha256"] for package in packages)),
        metadata=BomMetaData(timestamp=created, component=product, supplier=OrganizationalEntity(name=SUPPLIER)),
    )
    components = {package["name"]: own(package) for package in packages}
    for name, version in others.items():
        url = PackageURL("deb", "debian", name, version)
        components[name] = Component(
            type=ComponentType.LIBRARY, name=name, version=version, bom_ref=name, purl=url
        )
    for component in components.values():
        bom.components.add(component)
    bom.register_dependency(product, [components[package["name"]] for package in packages])
    for package in packages:
        needed = [components[name] for name in package["depends"] + package["holds"]]
        bom.register_dependency(components[package["name"]], needed)
    text = JsonV1Dot6(bom).output_as_string(indent=2)
    fault = JsonStrictValidator(SchemaVersion.V1_6).validate_str(text)
    if fault:
        sys.exit(f"sbom: CycloneDX: {fault}")
    path.write_text(text + "\n", encoding="utf-8")


def write_spdx(packages, others, created, path):
    def reference(name):
        return "SPDXRef-" + re.sub(r"[^A-Za-z0-9.-]", "-", name)

    whole = hashlib.sha256("".join(package["sha256"] for package in packages).encode()).hexdigest()
    document = Document(
        CreationInfo(
            spdx_version="SPDX-2.3",
            spdx_id="SPDXRef-DOCUMENT",
            name=f"murn-zelk {packages[0]['version']}",
            document_namespace=f"urn:uuid:{uuid.uuid5(uuid.NAMESPACE_OID, whole)}",
            creators=[Actor(ActorType.ORGANIZATION, SUPPLIER)],
            created=created.replace(tzinfo=None),
        )
    )
    for package in packages:
        document.packages.append(
            Package(
                spdx_id=reference(package["name"]),
                name=package["name"],
                version=package["version"],
                file_name=package["file"],
                download_location=SpdxNoAssertion(),
                files_analyzed=False,
                supplier=Actor(ActorType.ORGANIZATION, SUPPLIER),
                checksums=[Checksum(ChecksumAlgorithm.SHA256, package["sha256"])],
                license_concluded=SpdxNoAssertion(),
                license_declared=spdx_licensing.parse(LICENSE),
                copyright_text=SpdxNoAssertion(),
            )
        )
    for name, version in others.items():
        url = PackageURL("deb", "debian", name, version).to_string()
        category = ExternalPackageRefCategory.PACKAGE_MANAGER
        document.packages.append(
            Package(
                spdx_id=reference(name),
                name=name,
                version=version,
                download_location=SpdxNoAssertion(),
                files_analyzed=False,
                external_references=[ExternalPackageRef(category, "purl", url)],
            )
        )

    def relate(one, kind, other):
        document.relationships.append(Relationship(one, kind, other))

    for package in packages:
        relate("SPDXRef-DOCUMENT", RelationshipType.DESCRIBES, reference(package["name"]))
        for name in package["depends"]:
            relate(reference(package["name"]), RelationshipType.DEPENDS_ON, reference(name))
        for name in package["holds"]:
            relate(reference(package["name"]), RelationshipType.STATIC_LINK, reference(name))
    write_file(document, str(path), validate=False)
    faults = validate_full_spdx_document(parse_file(str(path)))
    if faults:
        sys.exit("sbom: SPDX: " + "; ".join(fault.validation_message for fault in faults))


def main():
    directory, output = Path(sys.argv[1]), Path(sys.argv[2])
    packages, others, created = read_packages(directory)
    stem = f"murn-zelk_{packages[0]['version']}"
    write_cyclonedx(packages, others, created, output / f"{stem}.cdx.json")
    write_spdx(packages, others, created, output / f"{stem}.spdx.json")


main()
