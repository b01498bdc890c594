"""Builds the package by CMake. A wheel carries the library beside the extension modules."""
import os
import re
import shutil
import subprocess
import sys
from pathlib import Path

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

SOURCE = Path(__file__).resolve().parents[2]
VERSION = re.search(r"project\(kelvane VERSION ([\d.]+)", (SOURCE / "CMakeLists.txt").read_text())[1]


class CMakeBuild(build_ext):
    def run(self):
        build, stage = Path(self.build_temp, "cmake").resolve(), Path(self.build_temp, "stage")
        stage = stage.resolve()
        options = ["-DCMAKE_BUILD_TYPE=Release", "-DKELVANE_BUILD_PYTHON=ON",
                   "-DKELVANE_BUILD_TESTS=OFF", "-DKELVANE_BUILD_BENCH=OFF",
                   "-DCMAKE_INSTALL_LIBDIR=lib", f"-DPython_EXECUTABLE={sys.executable}"]
        self.cmake("-S", SOURCE, "-B", build, *options)
        self.cmake("--build", build, "-j", os.cpu_count() or 1, "--target", "kelvane-python")
        for component in ("python", "library"):
            self.cmake("--install", build, "--prefix", stage, "--component", component, "--strip")
        target = Path(self.build_lib, "kelvane")
        shutil.copytree(stage / "lib/python3/dist-packages/kelvane", target, dirs_exist_ok=True)
        library = next((stage / "lib").glob("libkelvane.so.[0-9]"))
        shutil.copy(library, target)  # the file that the link leads to

    @staticmethod
    def cmake(*arguments):
        subprocess.check_call(["cmake", *map(str, arguments)])


setup(version=VERSION, packages=["kelvane_archive"], cmdclass={"build_ext": CMakeBuild},
      ext_modules=[Extension("kelvane._core", []), Extension("kelvane._media", [])])
