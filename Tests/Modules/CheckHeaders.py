#!/usr/bin/env python3
"""Compiles every header of the modules alone, as standard C++ without extensions.
    CheckHeaders.py COMPILER MODULE..."""
import os
import subprocess
import sys
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]


def main():
    compiler, modules = sys.argv[1], sys.argv[2:]
    headers = sorted(h.relative_to(ROOT) for module in modules for h in (ROOT / module).rglob("*.h"))
    assert len(headers) > 100

    def complaint(header):
        return subprocess.run(
            [compiler, "-std=c++20", "-fsyntax-only", "-Wall", "-Wextra", "-Wpedantic", "-Werror", "-I", ROOT, "-x",
             "c++", "-"], input=f'#include "{header}"\n#include "{header}"\n', capture_output=True, text=True).stderr

    with ThreadPoolExecutor(os.cpu_count()) as pool:
        complaints = [text for text in pool.map(complaint, headers) if text]
    print("\n".join(complaints))
    return 1 if complaints else 0


if __name__ == "__main__":
    sys.exit(main())
