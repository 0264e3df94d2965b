"""Appends the record that DuckDB wants at the end of an extension: append_record.py FILE VERSION [PLATFORM]

Eight fields of 32 bytes, the last first: a mark, the platform, the version of the C interface, that of the extension,
and the kind of interface; then room for a signature, which stays empty. Before them is the head of a section of
WebAssembly, as extensions of all platforms have it.
"""

import platform
import sys

SECTION = b"\x00\x93\x04\x10duckdb_signature\x80\x04"
MACHINES = {"x86_64": "linux_amd64", "aarch64": "linux_arm64"}


def main() -> None:
    name, version = sys.argv[1:3]
    machine = sys.argv[3] if len(sys.argv) > 3 else MACHINES[platform.machine()]
    fields = ["", "", "", "C_STRUCT", version, "v1.2.0", machine, "4"]
    with open(name, "ab") as file:
        file.write(SECTION + b"".join(field.encode().ljust(32, b"\0") for field in fields) + bytes(256))


main()
