"""libmurn-zelk and libzelk-insight for Conan 2: `conan create packaging/conan`, from the root of the source tree."""

import os
import re

from conan import ConanFile
from conan.tools.build import check_min_cppstd, stdcpp_library
from conan.tools.cmake import CMake, CMakeDeps, CMakeToolchain, cmake_layout
from conan.tools.files import copy, load, rmdir

required_conan_version = ">=2.0"


class MurnZelk(ConanFile):
    name = "murn-zelk"
    description = "Character-set conversion and text utilities for digital-television receivers"
    license = "Apache-2.0"
    topics = ("dvb", "unicode", "charset", "si", "epg")
    package_type = "library"
    settings = "os", "arch", "compiler", "build_type"
    options = {"shared": [True, False], "kernels": ["auto", "portable", "sse41", "avx2", "avx512", "neon"]}
    default_options = {"shared": True, "kernels": "auto"}

    @property
    def _tree(self):
        return os.path.join(self.recipe_folder, "..", "..")

    def set_version(self):
        header = load(self, os.path.join(self._tree, "include", "zelk.h"))
        self.version = ".".join(re.findall(r"(?m)^#define ZELK_VERSION_(?:MAJOR|MINOR|PATCH) (\d+)$", header))

    def export_sources(self):
        for part in ("CMakeLists.txt", "LICENSE", "arrow/*", "cmake/*", "include/*", "insight/*", "src/*", "murn-debug/*"):
            copy(self, part, self._tree, self.export_sources_folder)

    def validate(self):
        check_min_cppstd(self, 20)

    def layout(self):
        cmake_layout(self)

    def generate(self):
        toolchain = CMakeToolchain(self)
        toolchain.cache_variables.update(
            {
                "BUILD_TESTING": False,
                "ZELK_BUILD_TOOLS": False,
                "ZELK_KERNELS": str(self.options.kernels),
                "ZELK_WERROR": False,
            }
        )
        toolchain.generate()
        CMakeDeps(self).generate()

    def build(self):
        cmake = CMake(self)
        cmake.configure()
        cmake.build()

    def package(self):
        CMake(self).install()
        copy(self, "LICENSE", self.source_folder, os.path.join(self.package_folder, "licenses"))
        # Conan writes files of its own for CMake and pkg-config, from what follows.
        rmdir(self, os.path.join(self.package_folder, "lib", "cmake"))
        rmdir(self, os.path.join(self.package_folder, "lib", "pkgconfig"))
        rmdir(self, os.path.join(self.package_folder, "share"))

    def package_info(self):
        self.cpp_info.set_property("cmake_file_name", "murn-zelk")
        libraries = {"murn-zelk": [], "zelk-insight": ["murn-zelk"], "zelk-arrow": ["zelk-insight"]}
        for library, requires in libraries.items():
            component = self.cpp_info.components[library]
            component.set_property("cmake_target_name", f"zelk::{library}")
            component.set_property("pkg_config_name", library)
            component.libs = [library]
            component.requires = requires
            if not self.options.shared:
                component.system_libs = [stdcpp_library(self), "m"]
