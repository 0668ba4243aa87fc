"""The wheel carries the native host-interface library, so it is a wheel of one platform: the one
whose library lies in veltra/ when it is built (scripts/package.sh puts it there)."""

import os

from setuptools import setup
from wheel.bdist_wheel import bdist_wheel

HERE = os.path.dirname(os.path.abspath(__file__))


class PlatformWheel(bdist_wheel):
    def finalize_options(self):
        super().finalize_options()
        self.root_is_pure = False

    def get_tag(self):
        _, _, platform = super().get_tag()
        if os.path.exists(os.path.join(HERE, "veltra", "VeltraHost.dll")):
            platform = "win_amd64"
        return "py3", "none", platform


setup(cmdclass={"bdist_wheel": PlatformWheel})
