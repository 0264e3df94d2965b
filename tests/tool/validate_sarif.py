#!/usr/bin/env python3
"""validate_sarif.py SCHEMA ZELK: documents that `zelk lint --sarif` writes, against the schema of SARIF 2.1.0.

One document has no fault, one for each rule of docs/lint.md a string that breaks it, one a stream, one an override.
"""
import json
import pathlib
import re
import shlex
import subprocess
import sys
import tempfile

import jsonschema

ROOT = pathlib.Path(__file__).parents[2]
OVERRIDE = """version = 1
[[override]]
country = "FR"
default-code = "iso8859-1"
source = "a capture"
date = 2026-11-01
"""


def document(zelk: str, *arguments: str) -> dict:
    result = subprocess.run([zelk, "lint", "--sarif", *arguments], stdout=subprocess.PIPE, check=False)
    return json.loads(result.stdout)


def main(schema: str, zelk: str) -> int:
    rules = re.findall(r"^\| `([a-z0-9-]+)` .*\| `(.+)` \|$", (ROOT / "docs/lint.md").read_text(), re.M)
    documents = {"none": document(zelk, "41"), "stream": document(zelk, "--stream", str(ROOT / "samples/multiplex.ts"))}
    documents |= {rule: document(zelk, *shlex.split(arguments)) for rule, arguments in rules}
    with tempfile.NamedTemporaryFile("w", suffix=".toml") as file:
        file.write(OVERRIDE)
        file.flush()
        documents["override"] = document(zelk, "--overrides", file.name, "--country", "FR", "E9 8A")
    if "override" not in documents["override"]["runs"][0]["results"][0]["properties"]:
        raise SystemExit("override: not in the properties")
    validator = jsonschema.Draft7Validator(json.loads(pathlib.Path(schema).read_text()))
    for name, content in documents.items():
        validator.validate(content)
        if name in dict(rules) and name not in [result["ruleId"] for result in content["runs"][0]["results"]]:
            raise SystemExit(f"{name}: not among the results")
    print(f"{len(documents)} SARIF documents are valid")
    return 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
