"""Builds the wheel. HALDEN_TEXT_LIBRARY is the shared library that it carries."""

import os
import pathlib
import re
import shutil

from setuptools import Distribution, setup
from setuptools.command.build_py import build_py
from wheel.bdist_wheel import bdist_wheel

HERE = pathlib.Path(__file__).resolve().parent


class WithLibrary(build_py):
    """Copies the library beside the modules, under the name by which they look for it."""

    def run(self):
        super().run()
        library = pathlib.Path(os.environ["HALDEN_TEXT_LIBRARY"])
        name = library.name if library.suffix == ".dll" else "libhalden-text.so.3"
        shutil.copyfile(library, pathlib.Path(self.build_lib) / "halden_text" / name)


class Binary(Distribution):
    def has_ext_modules(self):
        return True


class ForThisSystem(bdist_wheel):
    """The modules run in any Python 3, and the library on this system only."""

    def get_tag(self):
        return ("py3", "none", super().get_tag()[2])


setup(
    name="halden-text",
    version=re.search(r"project\(halden-text VERSION ([\d.]+)", (HERE.parent / "CMakeLists.txt").read_text())[1],
    description="A serial device that sends lines of numbers, as an analog-to-digital converter, with numpy arrays",
    packages=["halden_text"],
    package_data={"halden_text": ["py.typed"]},
    python_requires=">=3.9",
    install_requires=["numpy"],
    distclass=Binary,
    cmdclass={"build_py": WithLibrary, "bdist_wheel": ForThisSystem},
)
