"""What Doxygen reads of a header: a group for each family. What a family says at its head stage.py takes.

    filter.py HEADER

A family begins at a line of the form `/* ===== Name ===== */` and ends at the next one, or where the C interface ends.
"""

import re
import sys

from families import HEADING, head, slug


def main():
    with open(sys.argv[1], encoding="utf-8") as file:
        text = file.read()
    # Doxygen looks for entities of HTML inside code, too.
    text = re.sub(r"`[^`\n]+`", lambda code: code.group(0).replace("&", "&amp;"), text)
    text = re.sub(r"(?m)^#(?:define|undef) ZELK_INT_ENUM.*$| ZELK_INT_ENUM\b", "", text)
    # A type and its name of one word are one thing; so are two parameters that share their words.
    text = re.sub(r"(?m)^typedef (struct|enum) (\w+)(.*\{)$", r"\1 \2\3", text)
    text = re.sub(r"(?m)^\} \w+;$", "};", text)
    shared = r"@param (\w+),(\w+) ((?:.|\n)*?)(?=\n \* @|\n \*/)"
    text = re.sub(shared, r"@param \1 \3\n * @param \2 \3", text)
    parts = re.split(HEADING, text)
    out = [parts[0]]
    for name, body in zip(parts[1::2], parts[2::2]):
        rest = body[head(body)[1] :]
        end = rest.find("\n#ifdef __cplusplus\n} /* extern")
        tail = ""
        if end >= 0:
            rest, tail = rest[:end], rest[end:]
        out.append(f"/**\n * @addtogroup {slug(sys.argv[1], name)} {name}\n * @{{\n */\n{rest}\n/** @}} */\n{tail}")
    sys.stdout.write("".join(out))


main()
