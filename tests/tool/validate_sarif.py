#!/usr/bin/env python3
"""validate_sarif.py SCHEMA ZELK: documents that `zelk lint --sarif` writes, against the schema of SARIF 2.1.0.

One document has no fault, one has strings that break every rule of docs/lint.md, one a stream.
"""
import json
import pathlib
import re
import shlex
import subprocess
import sys

import jsonschema

ROOT = pathlib.Path(__file__).parents[2]


def document(zelk: str, *arguments: str) -> dict:
    result = subprocess.run([zelk, "lint", "--sarif", *arguments], stdout=subprocess.PIPE, check=False)
    return json.loads(result.stdout)


def main(schema: str, zelk: str) -> int:
    rules = re.findall(r"^\| `([a-z0-9-]+)` .*\| `(.+)` \|$", (ROOT / "docs/lint.md").read_text(), re.M)
    documents = {"none": document(zelk, "41"), "stream": document(zelk, "--stream", str(ROOT / "samples/multiplex.ts"))}
    documents |= {rule: document(zelk, *shlex.split(arguments)) for rule, arguments in rules}
    validator = jsonschema.Draft7Validator(json.loads(pathlib.Path(schema).read_text()))
    for name, content in documents.items():
        validator.validate(content)
        if name in dict(rules) and name not in [result["ruleId"] for result in content["runs"][0]["results"]]:
            raise SystemExit(f"{name}: not among the results")
    print(f"{len(documents)} SARIF documents are valid")
    return 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
