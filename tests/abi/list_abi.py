#!/usr/bin/env python3
"""list_abi.py LIBRARY HEADERS: prints what a program that was built against the library depends on.

One line for each exported function with its types, each exported table with its size, and each record, enumeration and
class of the headers with its layout. It is abidw's (libabigail) reading of the debug information, without the types of
the standard library. tests/abi/abi.txt holds the list of this major version.
"""
import subprocess
import sys
import xml.etree.ElementTree as ElementTree

RECORDS = ("class-decl", "enum-decl")


def read_abi(library: str, headers: str) -> ElementTree.Element:
    command = ["abidw", "--headers-dir", headers, "--drop-undefined-syms", "--no-parameter-names", "--no-show-locs", library]
    return ElementTree.fromstring(subprocess.run(command, check=True, capture_output=True, text=True).stdout)


class Abi:
    def __init__(self, corpus: ElementTree.Element) -> None:
        self.types: dict[str, tuple[str, ElementTree.Element]] = {}
        self.functions: dict[str, str] = {}
        self.tables = {symbol.get("name"): symbol.get("size") for symbol in corpus.iter("elf-symbol") if symbol.get("type") == "object-type"}
        declarations: list[tuple[str, ElementTree.Element]] = []
        for unit in corpus.iter("abi-instr"):
            self.collect(unit, "", declarations)
        for scope, function in declarations:
            symbol = function.get("elf-symbol-id").split("@")[0]
            self.functions[symbol] = self.signature(scope, function)

    def collect(self, parent: ElementTree.Element, scope: str, declarations: list) -> None:
        for node in parent:
            if "id" in node.attrib and not (node.get("is-declaration-only") == "yes" and node.get("id") in self.types):
                self.types[node.get("id")] = (scope, node)
            if node.tag == "function-decl" and node.get("elf-symbol-id"):
                declarations.append((scope, node))
            inner = f"{scope}{node.get('name')}::" if node.tag in ("namespace-decl", "class-decl") else scope
            self.collect(node, inner, declarations)

    def type_name(self, identity: str) -> str:
        scope, node = self.types[identity]
        target = node.get("type-id")
        if node.tag == "pointer-type-def":
            name = self.type_name(target)
            return name.replace("()", "(*)", 1) if "()" in name else name + (" *" if name[-1] != "*" else "*")
        if node.tag == "reference-type-def":
            return self.type_name(target) + " &"
        if node.tag == "qualified-type-def":
            return ("const " if node.get("const") else "") + self.type_name(target)
        if node.tag == "array-type-def":
            return f"{self.type_name(target)}[{node.find('subrange').get('length').replace('infinite', '')}]"
        if node.tag == "function-type":
            return f"{self.result(node)} ()({self.parameters(node)})"
        if node.get("name").startswith("basic_string<"):
            return "std::string"
        return scope + node.get("name")

    def parameters(self, node: ElementTree.Element) -> str:
        return ", ".join("..." if parameter.get("is-variadic") else self.type_name(parameter.get("type-id"))
                         for parameter in node.findall("parameter") if not parameter.get("is-artificial"))

    def result(self, node: ElementTree.Element) -> str:
        result = node.find("return")
        return self.type_name(result.get("type-id")) if result is not None else "void"

    def signature(self, scope: str, function: ElementTree.Element) -> str:
        return f"{self.result(function)} {scope}{function.get('name')}({self.parameters(function)})"

    def records(self) -> list[str]:
        lines = set()
        for scope, node in self.types.values():
            own = scope in ("", "zelk::") and node.tag in RECORDS and node.get("is-declaration-only") != "yes"
            if own and not node.get("is-anonymous") and not node.get("name").startswith("__"):
                lines.add(self.layout(scope, node))
            elif node.tag == "typedef-decl" and node.get("name").startswith("zelk"):
                lines.add(f"type {node.get('name')} = {self.type_name(node.get('type-id'))}")
        return sorted(lines)

    def layout(self, scope: str, node: ElementTree.Element) -> str:
        if node.tag == "enum-decl":
            values = ", ".join(f"{value.get('name')} = {value.get('value')}" for value in node.findall("enumerator"))
            return f"enum {scope}{node.get('name')} {{ {values} }}"
        members = "".join(f" {int(member.get('layout-offset-in-bits')) // 8}: {self.type_name(member[0].get('type-id'))} {member[0].get('name')};"
                          for member in node.findall("data-member") if member.get("layout-offset-in-bits"))
        bases = "".join(f" : {self.type_name(base.get('type-id'))}" for base in node.findall("base-class"))
        return f"record {scope}{node.get('name')}{bases}, {int(node.get('size-in-bits') or 0) // 8} bytes {{{members} }}"


def main() -> None:
    abi = Abi(read_abi(sys.argv[1], sys.argv[2]))
    for line in abi.records():
        print(line)
    for symbol in sorted(abi.functions):
        print(f"{symbol}: {abi.functions[symbol]}")
    for name, size in sorted(abi.tables.items()):
        print(f"{name}: {size} bytes")


if __name__ == "__main__":
    main()
