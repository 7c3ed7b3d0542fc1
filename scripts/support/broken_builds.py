"""Builds test programs in which one file of src/ is broken.

The build folder does not change: broken objects are compiled elsewhere, and linked instead of the
objects in the build folder.
"""
import json
import os
import pathlib
import re
import shlex
import subprocess

SETS = {"baseline": "Baseline", "avx2": "Avx2", "avx512": "Avx512"}
OF_A_SET = re.compile(r"fenletexec_kernels_(baseline|avx2|avx512)\.dir")
OF_OTHER_SETS = re.compile(r"_avx2\.dir|_avx512\.dir|_tiles\d+\.dir")

# The tests that run only one family of kernels, with this family.
FAMILIES = {
    **{f"{family}_test": family for family in ("arithmetic", "boolean", "comparisons", "component",
                                               "elements", "select", "unary")},
    "wide_half_test": "component",
}


class DoesNotBuild(Exception):
    """The compiler or the linker failed while it built `source`."""

    def __init__(self, source):
        super().__init__(source)
        self.source = source


class Pristine:
    """A tree and its build folder, without a break."""

    def __init__(self, tree, build):
        self.tree = pathlib.Path(tree)
        self.build = pathlib.Path(build)
        self.compile = {}
        for entry in json.loads((self.build / "compile_commands.json").read_text()):
            words = shlex.split(entry["command"])
            self.compile[words[words.index("-o") + 1]] = (words, entry["file"])
        self.users = self._users()
        # All objects compiled from files of src/, including objects of tests that include its
        # headers.
        of_src = str(self.tree / "src") + "/"
        self.of_src = {name for path, names in self.users.items() if path.startswith(of_src)
                       for name in names}
        self._links = {}

    def _ninja(self, *words):
        return subprocess.run(["ninja", "-C", str(self.build), "-t", *words], check=True,
                              capture_output=True, text=True).stdout

    def _users(self):
        """The objects that are compiled from each file."""
        users, name = {}, None
        for line in self._ninja("deps").splitlines():
            if line.startswith("    "):
                path = os.path.normpath(self.build / line.strip())
                users.setdefault(path, []).append(name)
            else:
                name = line.split(":")[0]
        return users

    def objects_of(self, file):
        """The objects that are compiled from the file."""
        return [name for name in self.users.get(str(self.tree / file), [])
                if name in self.compile]

    def link(self, program):
        """The command that links a test program, as words."""
        if program not in self._links:
            name = os.path.relpath(program, self.build)
            last = self._ninja("commands", name).strip().splitlines()[-1]
            words = shlex.split(last)
            parts, part = [], []
            for word in [*words, "&&"]:
                if word == "&&":
                    parts.append(part)
                    part = []
                else:
                    part.append(word)
            self._links[program] = next(part for part in parts if "-o" in part)
        return self._links[program]


class Broken:
    """The programs of a pristine build with one file broken. Files go to `folder`. If `optimised`,
    kernels are optimised as in the library, otherwise only a little."""

    def __init__(self, pristine, file, source, folder, optimised=False):
        self.pristine = pristine
        self.optimised = optimised
        self.folder = pathlib.Path(folder)
        self.file = file
        self.affected = pristine.objects_of(file)
        self.fresh = {}
        place = self.folder / file
        place.parent.mkdir(parents=True, exist_ok=True)
        place.write_text(source)

    def _compiled(self, name):
        """Compiles the broken object of this name, and returns its path."""
        if name in self.fresh:
            return self.fresh[name]
        words, source = self.pristine.compile[name]
        out = self.folder / name
        out.parent.mkdir(parents=True, exist_ok=True)
        command, skip = [], 0
        for place, word in enumerate(words):
            if skip:
                skip -= 1
            elif word in ("-MT", "-MF"):
                skip = 1
            elif word == "-MD":
                continue
            elif word == "-O1" and self.optimised and name.endswith("_kernels.cpp.o"):
                command.append("-O3")
            elif words[place - 1] == "-o":
                command.append(str(out))
            elif word == str(self.pristine.tree / self.file):
                command.append(str(self.folder / self.file))
            else:
                command.append(word)
        first = next(place for place, word in enumerate(command) if word.startswith("-I"))
        command.insert(first, f"-I{self.folder / 'src'}")
        done = subprocess.run(command, cwd=self.pristine.build, capture_output=True, check=False)
        if done.returncode != 0:
            raise DoesNotBuild(source)
        self.fresh[name] = out
        return out

    def _linked_in(self, program):
        """The affected objects that the program links, directly or from a library."""
        words = self.pristine.link(program)
        has_library = any(word.endswith("libfenletexec.a") for word in words)
        return [name for name in self.affected
                if name in words or (has_library and "/fenletexec_" in name
                                     and "CMakeFiles" in name and name.startswith("src/"))]

    def concerns(self, program):
        return bool(self._linked_in(program))

    def changed_sets(self):
        """The instruction sets in which an object of the library changed. An object for no
        particular set counts for all of them."""
        changed = set()
        for name in self.affected:
            if name.startswith("src/") and (self._compiled(name).read_bytes() !=
                                            (self.pristine.build / name).read_bytes()):
                own = OF_A_SET.search(name)
                changed.update([SETS[own.group(1)]] if own else SETS.values())
        return changed

    def program(self, program, everything):
        """Builds the program. Kernel families that its tests never run are not broken. Without
        `everything`, only the objects nearest to the test are broken: the library's objects of the
        test's family in the baseline set."""
        family = FAMILIES.get(os.path.basename(program))
        names = [name for name in self._linked_in(program)
                 if not family or not name.endswith("_kernels.cpp.o")
                 or name.endswith(f"/{family}_kernels.cpp.o")]
        if not everything:
            near = [name for name in names
                    if name.startswith("src/") and not OF_OTHER_SETS.search(name)]
            own = [name for name in near if name.endswith("_kernels.cpp.o")]
            names = (own if family else None) or near or names
        fresh = [str(self._compiled(name)) for name in names]
        out = self.folder / os.path.basename(program)
        words = [word for word in self.pristine.link(program) if word not in names]
        words[words.index("-o") + 1] = str(out)
        first = next(place for place, word in enumerate(words) if word.endswith((".o", ".a")))
        words[first:first] = fresh
        done = subprocess.run(words, cwd=self.pristine.build, capture_output=True, check=False)
        if done.returncode != 0:
            raise DoesNotBuild(program)
        return out
