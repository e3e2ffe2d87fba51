#!/usr/bin/env python3
"""Checks the sources of the modules, given as NAME=DEPENDENCY,... each. The folder of a module has its name.

What a module includes it names as a dependency, and what it names it includes. Only Platform knows of compilers and
systems. Shared libraries show what headers declare."""
import re
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
INCLUDE = re.compile(r'^\s*#\s*include\s+"(\w+)/')
SYSTEM_INCLUDE = re.compile(r"^\s*#\s*include\s+<(?!\w+>)")
OF_COMPILERS_AND_SYSTEMS = re.compile(
    r"__builtin|__attribute__|__declspec|__int128|\[\[gnu::|\[\[clang::|#\s*pragma\s+(?!once)"
    r"|\b(_WIN32|_MSC_VER|__linux__|__APPLE__|__unix__|__GNUC__|__clang__|__MINGW\w+__)\b")
# What lies deeper than its module: musical values know no document.
GRID = re.compile(r'^\s*#\s*include\s+"(?!TarnFoundation/Grid/|Platform/(CheckedArithmetic|Range|FatalError|Export)\.h")')
# Those that use more than the standard library.
USING_LIBRARIES = {"Platform", "AnalysisEngine", "Interchange", "PracticePage"}
HIDDEN = re.compile(r"^namespace tarn\b")


def sources(folder):
    return sorted(f for f in (ROOT / folder).rglob("*") if f.suffix in (".h", ".cpp"))


def main():
    faults = []
    modules = dict(argument.split("=", 1) for argument in sys.argv[1:])
    for module, listed in modules.items():
        allowed = {name for name in listed.split(",") if name in modules}
        included = set()
        for file in sources(module):
            for number, line in enumerate(file.read_text().splitlines(), 1):
                place = f"{file.relative_to(ROOT)}:{number}"
                if found := INCLUDE.match(line):
                    included.add(found[1])
                    if found[1] not in allowed | {module}:
                        faults.append(f"{place}: {module} does not depend on {found[1]}")
                if file.parent == ROOT / "TarnFoundation/Grid" and GRID.match(line):
                    faults.append(f"{place}: musical values know Platform's arithmetic and ranges, and nothing else")
                if module != "Platform" and OF_COMPILERS_AND_SYSTEMS.search(line):
                    faults.append(f"{place}: this belongs into Platform/")
                if file.suffix == ".h" and "Platform" in allowed | {module} and HIDDEN.match(line):
                    faults.append(f"{place}: shared libraries hide this; write namespace TARN_PUBLIC tarn {{")
                if module not in USING_LIBRARIES and SYSTEM_INCLUDE.match(line):
                    faults.append(f"{place}: not of the standard library")
        faults += [f"{module} depends on {name} and includes nothing of it" for name in sorted(allowed - included)]
    assert len(modules) > 1
    print("\n".join(faults))
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
