"""Builds the extension module by CMake: the sources and flags are those of every other build."""

import re
import subprocess
import sys
from pathlib import Path

import pybind11
from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

ROOT = Path(__file__).resolve().parent


class BuildByCMake(build_ext):
    def build_extension(self, ext):
        build = Path(self.build_temp).resolve()
        target = Path(self.get_ext_fullpath(ext.name)).resolve()
        configure = ["cmake", "-S", ROOT, "-B", build, "-DCMAKE_BUILD_TYPE=Release",
                     "-DMERLO64F_BUILD_PYTHON=ON", "-DMERLO64F_PYTHON_STATIC=ON",
                     f"-DPython_EXECUTABLE={sys.executable}",
                     f"-Dpybind11_DIR={pybind11.get_cmake_dir()}"]
        subprocess.run(configure, check=True)
        subprocess.run(["cmake", "--build", build, "--target", "merlo64f_python", "--parallel"],
                       check=True)
        target.parent.mkdir(parents=True, exist_ok=True)
        self.copy_file(str(build / "python" / "merlo64f" / target.name), str(target))


version = re.search(r"VERSION (\S+)", (ROOT / "CMakeLists.txt").read_text().split("project(")[1])[1]
setup(version=version, ext_modules=[Extension("merlo64f._filters", [])],
      cmdclass={"build_ext": BuildByCMake})
