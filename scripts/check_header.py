#!/usr/bin/env python3
"""Compiles the header in every standard of C and C++, with each compiler that is there, and lets a
C99 program look up every export by the name that the header gives to it.

usage: check_header.py REPOSITORY LIBRARY
"""
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

STANDARDS = {"c": ("c99", "c11", "c17"), "c++": ("c++11", "c++14", "c++17", "c++20", "c++2b")}
COMPILERS = {"c": ("gcc", "clang"), "c++": ("g++", "clang++")}
STRICT = ["-Wall", "-Wextra", "-Wpedantic", "-Werror"]

PROGRAM = """#include "kelvane/kelvane.h"

#include <dlfcn.h>
#include <stdio.h>
#include <string.h>

typedef void (*function)(void);
static const struct {
    const char* exported;
    function named;
} table[] = {
%s};

int main(void) {
    int wrong = 0;
    size_t i;
    for (i = 0; i < sizeof table / sizeof *table; ++i) {
        void* const found = dlsym(RTLD_DEFAULT, table[i].exported);
        if (found == NULL || memcmp(&found, &table[i].named, sizeof found) != 0) {
            printf("%%s is another function in C\\n", table[i].exported);
            ++wrong;
        }
    }
    return wrong != 0;
}
"""


def exports(repository):
    """The exported names, each with the name that people write."""
    text = (repository / "src/exports.map").read_text()
    for name in re.findall(r"^ +(\w+);", text, re.M):
        encoded = re.match(r"_Z(\d+)(\w+)", name)
        yield name, encoded[2][:int(encoded[1])] if encoded else name


def check_program(compiler, repository, library, scratch):
    rows = "".join(f'    {{"{exported}", (function){plain}}},\n'
                   for exported, plain in exports(repository))
    source, program = scratch / "names.c", scratch / "names"
    source.write_text(PROGRAM % rows)
    subprocess.run([compiler, "-std=c99", "-D_GNU_SOURCE", *STRICT, f"-I{repository}/include", source,
                    "-o", program, library, f"-Wl,-rpath,{library.parent}", "-ldl"], check=True)
    subprocess.run([program], check=True)


def main():
    repository, library = map(pathlib.Path, sys.argv[1:])
    checked = 0
    with tempfile.TemporaryDirectory() as folder:
        for language, standards in STANDARDS.items():
            for compiler in filter(shutil.which, COMPILERS[language]):
                for standard in standards:
                    subprocess.run([compiler, f"-std={standard}", *STRICT, f"-I{repository}/include",
                                    "-fsyntax-only", "-x", language, "-"], check=True, text=True,
                                   input='#include "kelvane/kelvane.h"\n')
                if language == "c":
                    check_program(compiler, repository, library, pathlib.Path(folder))
                checked += 1
    return 0 if checked >= 2 else "no compiler was found"


if __name__ == "__main__":
    sys.exit(main())
