"""Installs a copy of the checkout's built fxhost.exe (and fxhost32.exe, if
built) with the package, so that an installed package needs no path.
FXHOST_BUILD names the build folder when it is not ../build."""
import os
import shutil

from setuptools import setup
from setuptools.command.build_py import build_py


class BuildWithProgram(build_py):
    def run(self):
        super().run()
        here = os.path.dirname(os.path.abspath(__file__))
        build = os.environ.get("FXHOST_BUILD") or os.path.join(here, "..", "build")
        target = os.path.join(self.build_lib, "fxhost", "bin")
        for name in ("fxhost.exe", "fxhost32.exe"):
            source = os.path.join(build, "bin", name)
            if os.path.isfile(source):
                os.makedirs(target, exist_ok=True)
                shutil.copy2(source, os.path.join(target, name))


setup(cmdclass={"build_py": BuildWithProgram})
