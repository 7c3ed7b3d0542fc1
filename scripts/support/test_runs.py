"""The tests of a build folder, as whole programs to run."""
import dataclasses
import json
import os
import subprocess


@dataclasses.dataclass(frozen=True)
class Run:
    """One run of a test program. `settings` are environment variables."""

    command: tuple
    settings: tuple
    folder: str

    @property
    def program(self):
        return self.command[0]

    @property
    def name(self):
        """The program's name, and the instruction set that it runs."""
        return "@".join([os.path.basename(self.program), *(value for _, value in self.settings)])

    @property
    def sets(self):
        """The instruction set that the run uses, as the only element; empty if it names none."""
        return [value for name, value in self.settings if name == "FENLET_TEST_SET"]

    @property
    def is_googletest(self):
        return any(word.startswith("--gtest") for word in self.command)

    def environment(self, **more):
        return dict(os.environ, **dict(self.settings), **more)


def test_runs(build):
    """The quick tests and the tests of CI, as ctest lists them. Leaves out tests of packages and
    documents.

    All tests of one program in one environment are one run.
    """
    listed = subprocess.run(
        ["ctest", "--test-dir", str(build), "--show-only=json-v1", "-L", "^(quick|ci)$",
         "-E", r"^package\.|^Readme\."],
        capture_output=True, text=True, check=True).stdout
    runs = {}
    for test in json.loads(listed)["tests"]:
        properties = {one["name"]: one["value"] for one in test.get("properties", [])}
        command = tuple(test["command"])
        if any(word.startswith("--gtest_filter") for word in command):
            command = (command[0], "--gtest_brief=1")
        settings = tuple(dict(setting.split("=", 1)
                              for setting in properties.get("ENVIRONMENT", [])).items())
        runs[Run(command, settings, properties.get("WORKING_DIRECTORY", str(build)))] = None
    return list(runs)
