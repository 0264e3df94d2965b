"""Builds the outside project of tests/package against the package and runs its programs."""

import os

from conan import ConanFile
from conan.tools.build import can_run
from conan.tools.cmake import CMake, cmake_layout


class Outside(ConanFile):
    settings = "os", "arch", "compiler", "build_type"
    generators = "CMakeToolchain", "CMakeDeps", "VirtualRunEnv"

    def requirements(self):
        self.requires(self.tested_reference_str)

    def layout(self):
        cmake_layout(self)

    def build(self):
        cmake = CMake(self)
        cmake.configure(build_script_folder=os.path.join(self.recipe_folder, "..", "..", "..", "tests", "package"))
        cmake.build()

    def test(self):
        if can_run(self):
            for program in ("outside-c", "outside-cpp", "outside-insight"):
                self.run(os.path.join(self.cpp.build.bindir, program), env="conanrun")
