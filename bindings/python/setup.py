"""The wheel carries the native host-interface library, so it is a wheel of one platform: the one
whose library lies in veltra/ when it is built (scripts/package.sh puts it there). The library is
called through ctypes, not the interpreter's C API: any Python 3 of that platform loads it."""

import os

from setuptools import setup
from setuptools.dist import Distribution
from wheel.bdist_wheel import bdist_wheel

HERE = os.path.dirname(os.path.abspath(__file__))


class BinaryDistribution(Distribution):
    """A distribution with a native library: installed where platform files go."""

    def has_ext_modules(self):
        return True


class PlatformWheel(bdist_wheel):
    def get_tag(self):
        _, _, platform = super().get_tag()
        if os.path.exists(os.path.join(HERE, "veltra", "VeltraHost.dll")):
            platform = "win_amd64"
        return "py3", "none", platform


setup(distclass=BinaryDistribution, cmdclass={"bdist_wheel": PlatformWheel})
