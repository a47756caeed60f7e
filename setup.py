"""Builds relief._relief with the project's CMake (pyproject.toml has the metadata).

The module is linked with a static, position-independent relief library so
that the installed package needs nothing outside itself. CMAKE_ARGS in the
environment are passed on (e.g. CMAKE_ARGS="-DCMAKE_BUILD_TYPE=Debug").
"""

import os
import shlex
import subprocess
import sys
from pathlib import Path

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

ROOT = Path(__file__).resolve().parent


class CMakeExtension(Extension):
    def __init__(self, name):
        super().__init__(name, sources=[])


class CMakeBuild(build_ext):
    def build_extension(self, ext):
        target = Path(self.get_ext_fullpath(ext.name)).resolve()
        build = Path(self.build_temp).resolve() / "cmake"
        build.mkdir(parents=True, exist_ok=True)
        generator = ["-G", "Ninja"] if _has("ninja") else []
        configure = [
            "cmake", "-S", str(ROOT), "-B", str(build), *generator,
            "-DCMAKE_BUILD_TYPE=Release",
            "-DRELIEF_BUILD_PYTHON=ON",
            "-DRELIEF_BUILD_TOOLS=ON",
            "-DRELIEF_BUILD_TESTS=OFF",
            "-DRELIEF_BUILD_BENCHMARKS=OFF",
            "-DRELIEF_BUILD_STATIC=ON",
            "-DCMAKE_POSITION_INDEPENDENT_CODE=ON",
            f"-DPython_EXECUTABLE={sys.executable}",
            *shlex.split(os.environ.get("CMAKE_ARGS", "")),
        ]
        subprocess.run(configure, check=True)
        jobs = os.environ.get("CMAKE_BUILD_PARALLEL_LEVEL", "2")
        subprocess.run(["cmake", "--build", str(build), "--target", "relief_python", "-j", jobs], check=True)
        built = next((build / "python" / "relief").glob("_relief*.so"))
        target.parent.mkdir(parents=True, exist_ok=True)
        self.copy_file(str(built), str(target))


def _has(program):
    return any((Path(d) / program).exists() for d in os.environ.get("PATH", "").split(os.pathsep))


setup(ext_modules=[CMakeExtension("relief._relief")], cmdclass={"build_ext": CMakeBuild})
