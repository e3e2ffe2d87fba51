#!/usr/bin/env python3
"""Every header of the modules compiles alone, as standard C++ without extensions.
    CheckHeaders.py COMPILER SCRATCH MODULE...
Most of such a compilation is reading the standard library, so that is compiled once before the others. What a header
includes of it is looked up instead: what it names must be declared by what it includes, itself or by way of the project."""
import functools
import os
import re
import subprocess
import sys
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
INCLUDE = re.compile(r'^#include (?:<([a-z_]+)>|"([^"]+)")', re.MULTILINE)
DECLARED = {  # the names that headers use, by the standard header that declares them
    "algorithm": "min max find_if upper_bound any_of stable_sort is_sorted is_sorted_until inplace_merge replace fill remove",
    "any": "any any_cast", "array": "array to_array", "atomic": "atomic memory_order_acquire memory_order_relaxed",
    "bit": "bit_cast bit_width endian", "bitset": "bitset", "charconv": "from_chars to_chars chars_format",
    "chrono": "chrono", "cmath": "sin cos exp exp2 pow abs", "concepts": "integral same_as convertible_to floating_point",
    "condition_variable": "condition_variable", "cstddef": "size_t byte ptrdiff_t",
    "cstdint": "int8_t int16_t int32_t int64_t uint8_t uint16_t uint32_t uint64_t intptr_t uintmax_t", "cstring": "memcpy",
    "deque": "deque", "exception": "exception exception_ptr", "filesystem": "filesystem", "fstream": "ifstream ofstream",
    "functional": "function hash less invoke identity", "initializer_list": "initializer_list", "limits": "numeric_limits",
    "list": "list", "map": "map", "memory": "shared_ptr unique_ptr weak_ptr make_shared make_unique enable_shared_from_this",
    "mutex": "mutex lock_guard unique_lock recursive_mutex", "numbers": "numbers", "optional": "optional nullopt",
    "random": "mt19937 mt19937_64 random_device", "ranges": "ranges", "set": "set", "span": "span as_bytes",
    "sstream": "ostringstream istringstream", "stdexcept": "runtime_error invalid_argument", "streambuf": "streambuf",
    "string": "string to_string wstring u8string stoll getline", "string_view": "string_view wstring_view",
    "thread": "thread this_thread", "tuple": "tuple", "type_traits": "conditional_t is_same_v remove_cvref_t invoke_result_t",
    "unordered_map": "unordered_map", "unordered_set": "unordered_set", "utility": "move pair exchange forward declval in_range",
    "variant": "variant get_if",
}
WHERE = {name: header for header, names in DECLARED.items() for name in names.split()}
ALSO = {  # what the standard lets another header declare as well, or defines in terms of it
    "cstddef": {"cstring", "cstdlib"}, "iosfwd": {"istream", "ostream", "sstream"}, "utility": {"map", "tuple"},
    "initializer_list": {"vector", "string", "map", "set"}, "exception": {"stdexcept"}, "algorithm": {"ranges"},
    "ranges": {"algorithm", "span"}, "functional": {"string", "string_view", "memory", "algorithm"}, "cmath": {"cstdlib"},
}


@functools.cache
def included(header):
    """What the standard library declares for it."""
    found = set()
    for standard, own in INCLUDE.findall((ROOT / header).read_text()):
        found |= {standard} if standard else included(own) if (ROOT / own).exists() else set()
    return found


def lacks(header):
    code = re.sub(r"//.*", "", (ROOT / header).read_text())
    wanted = {WHERE[name] for name in re.findall(r"\bstd::([a-z_0-9]+)", code) if name in WHERE}
    return [f"{header} uses what <{name}> declares without including it"
            for name in sorted(wanted) if not included(header) & ({name} | ALSO.get(name, set()))]


def main():
    compiler, scratch, modules = sys.argv[1], Path(sys.argv[2]), sys.argv[3:]
    headers = sorted(str(h.relative_to(ROOT)) for module in modules for h in (ROOT / module).rglob("*.h"))
    assert len(headers) > 100
    assert lacks("Platform/SHA256.h") == [] and "memory" in included("Song/Song.h")
    flags = ["-std=c++20", "-Wall", "-Wextra", "-Wpedantic", "-Werror", "-I", ROOT, "-x"]
    library = scratch / "library.h"
    scratch.mkdir(parents=True, exist_ok=True)
    names = set(DECLARED).union(*map(included, headers))
    library.write_text("".join(f"#include <{name}>\n" for name in sorted(names)))
    subprocess.run([compiler, *flags, "c++-header", library, "-o", f"{library}.gch"], check=True)

    def complaint(header):
        return subprocess.run([compiler, *flags, "c++", "-fsyntax-only", "-include", library, "-"],
                              input=f'#include "{header}"\n#include "{header}"\n', capture_output=True, text=True).stderr

    with ThreadPoolExecutor(os.cpu_count()) as pool:
        complaints = [text for text in pool.map(complaint, headers) if text]
    complaints += [text for header in headers for text in lacks(header)]
    print("\n".join(complaints))
    return 1 if complaints else 0


if __name__ == "__main__":
    sys.exit(main())
