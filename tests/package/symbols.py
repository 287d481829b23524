#!/usr/bin/env python3
"""Compares what an installed library exports with what its headers declare as exported.

symbols.py --library FILE --headers FOLDER --macro NAME [--private-headers FOLDER --private-macro NAME]
    [--soname NAME] [--runpath PATH]

Fails, with the list, for every symbol that belongs to no exported class, function or variable (an instantiated
template of Qt, OpenCV or the standard library, a helper, a resource), and for every exported function that no source
defines. Hidden symbols are the reason why two libraries with the same helper can live in one process.
"""
import argparse
import pathlib
import re
import subprocess
import sys

# What the compiler makes for a class or function, in front of its name.
OWNED = re.compile(r"^(?:vtable|VTT|typeinfo|typeinfo name|guard variable) for |^(?:non-virtual|virtual) thunk to ")
COMMENTS = re.compile(r"//[^\n]*|/\*.*?\*/|\"(?:\\.|[^\"\\])*\"|'(?:\\.|[^'\\])*'", re.S)
DIRECTIVES = re.compile(r"^[ \t]*#(?:[^\n]*\\\n)*[^\n]*", re.M)


def declared(text, macro):
    """Yields (kind, qualified name) for what a header's text marks with the macro."""
    text = DIRECTIVES.sub("", COMMENTS.sub("", text))
    marked = re.compile(r"\b%s\b" % macro)
    scopes = []
    for chunk, end in re.findall(r"([^;{}]*)([;{}])", text):
        namespace = re.search(r"\bnamespace\s+([\w:]+)\s*$", chunk)
        record = re.search(r"\b(?:class|struct)\s+(?:\w+_EXPORT\s+)?(\w+)\s*(?:final\s*)?(?::[^:].*)?$", chunk, re.S)
        name = namespace or record
        name = name.group(1) if name else ""
        mark = marked.search(chunk)
        if mark:
            if not name:
                rest = chunk[mark.end():]
                function = re.search(r"(operator\s*[^\s\w(]+|\w+)\s*\(", rest)
                variable = re.search(r"(\w+)\s*(?:=.*)?$", rest, re.S)
                name = (function or variable).group(1)
            qualified = plain_operators("::".join([scope for scope in scopes if scope] + [name]))
            yield ("class" if record else "function" if "(" in chunk else "variable"), qualified
        if end == "{":
            scopes.append(name if namespace or record else "")
        elif end == "}" and scopes:
            scopes.pop()


def plain_operators(name):
    """The name with no angle bracket and no blank in the names of operators, which would pass for something else."""
    bare = re.sub(r"operator\s*[<>=-]+", lambda match: re.sub(r"\W", "_", match.group()), name)
    return bare.replace("operator ", "operator_")


def owner(symbol):
    """The qualified name that a demangled symbol begins with, without result type, arguments and template arguments."""
    name = OWNED.sub("", symbol)
    name = re.sub(r"\[abi:\w+\]", "", name)
    name = plain_operators(name)
    while True:
        shorter = re.sub(r"<[^<>]*>", "", name)
        if shorter == name:
            break
        name = shorter
    return name.split("(")[0].strip().split(" ")[-1]


def run(*command):
    return subprocess.run(command, check=True, stdout=subprocess.PIPE, text=True).stdout


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--skip", help="say this and skip")
    parser.add_argument("--library", type=pathlib.Path)
    parser.add_argument("--headers", type=pathlib.Path)
    parser.add_argument("--macro")
    parser.add_argument("--private-headers", type=pathlib.Path, help="of classes that a build with tests exports too")
    parser.add_argument("--private-macro")
    parser.add_argument("--soname")
    parser.add_argument("--runpath", default="")
    arguments = parser.parse_args()
    if arguments.skip:
        print("SKIP:", arguments.skip)
        return 77

    marked = [(header, arguments.macro) for header in arguments.headers.rglob("*.h")
              if not header.name.endswith("_export.h")]
    if arguments.private_headers:
        marked += [(header, arguments.private_macro) for header in arguments.private_headers.rglob("*_p.h")]
    names = {name: kind for header, macro in marked for kind, name in declared(header.read_text(), macro)}
    faults = [] if names else ["no exported name found in any header"]

    symbols = [line.split(" ", 2)[2] for line in run("nm", "-DC", "--defined-only", arguments.library).splitlines()]
    owners = set()
    for symbol in symbols:
        parts = owner(symbol).split("::")
        prefixes = {"::".join(parts[:length]) for length in range(1, len(parts) + 1)}
        owned = {prefix for prefix in prefixes if prefix in names}
        owners |= owned
        if not owned:
            faults.append("exported, but not part of the interface: " + symbol)
    for name, kind in sorted(names.items()):
        if kind != "class" and name not in owners:
            faults.append("declared as exported, but not defined: " + name)

    dynamic = run("readelf", "-dW", arguments.library)
    for tag, wanted in (("SONAME", arguments.soname), ("RUNPATH", arguments.runpath)):
        found = re.search(r"\(%s\).*\[(.*)\]" % tag, dynamic)
        found = found.group(1) if found else ""
        if found != wanted:
            faults.append("%s is '%s', wanted '%s'" % (tag, found, wanted))

    print("%d symbols of %d declared names in %s" % (len(symbols), len(names), arguments.library.name))
    print("\n".join(faults))
    return 1 if faults else 0


sys.exit(main())
