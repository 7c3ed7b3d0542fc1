"""Describes this machine."""
import os
import pathlib
import platform
import re
import subprocess
import tempfile


def first(pattern, text, otherwise="unknown"):
    found = re.search(pattern, text, re.MULTILINE)
    return found.group(1).strip() if found else otherwise


def told(*command):
    try:
        return subprocess.run(command, capture_output=True, text=True, check=False,
                              env=dict(os.environ, LC_ALL="C")).stdout
    except OSError:
        return ""


def caches():
    """Sizes of the first processor's data caches, as the system names them."""
    sizes = []
    for index in sorted(pathlib.Path("/sys/devices/system/cpu/cpu0/cache").glob("index*")):
        if (index / "type").read_text().strip() != "Instruction":
            level = (index / "level").read_text().strip()
            sizes.append(f"L{level} {(index / 'size').read_text().strip()}")
    return ", ".join(sizes) or "unknown"


def last_level_bytes():
    """The size of the largest cache; 0 if the system does not say."""
    units = {"K": 2**10, "M": 2**20}
    sizes = [path.read_text().strip() for path in
             pathlib.Path("/sys/devices/system/cpu/cpu0/cache").glob("index*/size")]
    return max((int(size[:-1]) * units.get(size[-1], 1) for size in sizes), default=0)


def library_sizes(build):
    """Sizes of the shared libraries without debugging symbols, in megabytes."""
    sizes = []
    with tempfile.TemporaryDirectory() as folder:
        stripped = pathlib.Path(folder) / "stripped"
        for name in ("fenletexec", "fenletir", "fenlethosts", "fenletarrays", "fenletparallel"):
            for library in pathlib.Path(build).glob(f"*/lib{name}.so"):
                told("strip", "-o", stripped, library)
                if stripped.exists():
                    sizes.append(f"{name} {stripped.stat().st_size / 1e6:.2f} MB")
                    stripped.unlink()
    return ", ".join(sizes) or "static"


def describe(build, clean_build):
    """Pairs of a property and its value. `clean_build` is the seconds that a clean build of the
    libraries took, or None."""
    processor = told("lscpu")
    cache = (pathlib.Path(build) / "CMakeCache.txt").read_text()
    compiler = first(r"^CMAKE_CXX_COMPILER:\w+=(.*)", cache)
    memory = first(r"^MemTotal:\s*(\d+)", pathlib.Path("/proc/meminfo").read_text(), "0")
    return [
        ("processor", first(r"^Model name:(.*)", processor)
         + f", family {first(r'^CPU family:(.*)', processor)}"
         + f" model {first(r'^Model:(.*)', processor)}"),
        ("cores", f"{os.cpu_count()}"),
        ("hypervisor", first(r"^Hypervisor vendor:(.*)", processor, "none")),
        ("caches", caches()),
        ("memory", f"{int(memory) / 2**20:.0f} GiB"),
        ("system", f"{platform.system()} {platform.release()}, {platform.machine()}"),
        ("compiler", told(compiler, "--version").splitlines()[0] if told(compiler, "--version")
         else compiler),
        ("libraries, stripped", library_sizes(build)),
        *([("clean build of the libraries", f"{clean_build:.0f} s")] if clean_build else []),
        ("load when it ended", f"{os.getloadavg()[0]:.1f}"),
    ]
