"""The contenders: how to install each, to start it and to communicate with it."""
import dataclasses
import os
import pathlib
import platform
import shutil
import subprocess

PEERS = pathlib.Path(__file__).resolve().parent
ROOT = PEERS.parent.parent
DEBIAN_PYTHON = "/usr/bin/python3"  # this Python finds Debian's modules
POLARS, DUCKDB = "0.26.1", "1.5.6-r.1"  # the versions of their npm packages
ARCH = {"x86_64": "x64", "aarch64": "arm64"}.get(platform.machine(), platform.machine())
OURS = "fenletexec"
IN_PLACE = "arrays"
THREADS = "threads"
FRAME = "frame"
FUSED = "fused"
BLOCKS = "blocks"
HAND_THREADS = "hand-threads"


class Problem(Exception):
    """A problem that the user must solve, in one line."""


@dataclasses.dataclass
class Contender:
    name: str
    title: str
    kind: str  # "ours", "bound", "compiled", or "peer" if interpreted or eager
    command: list
    debian: tuple = ()
    npm: tuple = ()
    target: str = ""  # the target to build
    tolerance: dict = dataclasses.field(default_factory=dict)  # by workload; "" for all others
    version: str = ""
    absent: str = ""  # why the contender is left out

    def allowed(self, workload):
        return self.tolerance.get(workload, self.tolerance.get("", 0))


def contenders(build, block):
    """All contenders. `build` is the folder with the programs. Ours runs in blocks of `block`
    elements, or of the advised size if `block` is None."""
    programs = pathlib.Path(build) / "bench/peers"
    native = str(programs / "native_peer")
    python = lambda name: [DEBIAN_PYTHON, str(PEERS / f"{name}_peer.py"), "DATA"]
    node = lambda name: ["node", str(PEERS / f"{name}_peer.js"), "DATA"]
    ours = lambda mode: [str(programs / "fenletexec_peer"), "DATA", mode,
                         *([str(block)] if block else [])]
    return [
        Contender(OURS, "fenletexec, interpreter", "ours", ours("interpreter"),
                  target="fenletexec_peer"),
        Contender(IN_PLACE, "fenletexec, in place", "ours", ours("arrays"),
                  target="fenletexec_peer"),
        Contender(THREADS, "fenletexec, in place, every core", "ours", ours("threads"),
                  target="fenletexec_peer"),
        Contender(FUSED, "by hand, fused", "bound", [native, "DATA", "fused"],
                  target="native_peer"),
        Contender(BLOCKS, "by hand, blocks", "bound", [native, "DATA", "blocks"],
                  target="native_peer"),
        Contender(HAND_THREADS, "by hand, blocks, every core", "bound",
                  [native, "DATA", "threads"], target="native_peer"),
        Contender(FRAME, "by hand, whole frame", "bound", [native, "DATA", "frame"],
                  target="native_peer"),
        Contender("portable", "whole frame, portable", "bound",
                  [str(programs / "portable_peer"), "DATA", "frame"], target="portable_peer"),
        # Eigen's norm adds the squares in another order.
        Contender("eigen", "Eigen", "compiled", [str(programs / "eigen_peer"), "DATA"],
                  debian=("libeigen3-dev",), target="eigen_peer", tolerance={"W5": 1e-6}),
        Contender("numpy", "NumPy", "peer", python("numpy"), debian=("python3-numpy",)),
        Contender("numexpr", "numexpr", "peer", python("numexpr"),
                  debian=("python3-numpy", "python3-numexpr")),
        Contender("pytorch", "PyTorch", "peer", python("pytorch"),
                  debian=("python3-numpy", "python3-torch")),
        # polars computes a root as a power of 0.5.
        Contender("polars", "polars", "peer", node("polars"), tolerance={"W5": 1e-6},
                  npm=(f"nodejs-polars@{POLARS}", f"nodejs-polars-linux-{ARCH}-gnu@{POLARS}")),
        Contender("duckdb", "DuckDB", "peer", node("duckdb"),
                  npm=(f"@duckdb/node-api@{DUCKDB}",)),
        # muParser computes in doubles.
        Contender("muparser", "muParser", "peer", [str(programs / "muparser_peer"), "DATA"],
                  debian=("libmuparser-dev",), target="muparser_peer", tolerance={"": 1e-6}),
    ]


def environment(modules):
    """Environment variables that give each contender one thread, and large pages for all arrays.
    NumPy requests large pages anyway."""
    return dict(
        os.environ,
        GLIBC_TUNABLES="glibc.malloc.hugetlb=1",
        OMP_NUM_THREADS="1",
        OPENBLAS_NUM_THREADS="1",
        MKL_NUM_THREADS="1",
        NUMEXPR_NUM_THREADS="1",
        NUMEXPR_MAX_THREADS="1",
        POLARS_MAX_THREADS="1",
        PYTHONDONTWRITEBYTECODE="1",
        NODE_PATH=str(pathlib.Path(modules) / "node_modules"),
        npm_config_update_notifier="false",
    )


def last_line(text):
    lines = [line.strip() for line in text.splitlines() if line.strip()]
    return lines[-1] if lines else "no word why"


def install(contender, modules):
    """Installs what the contender needs. Sets `absent` if the installation fails."""
    if contender.debian:
        done = subprocess.run([ROOT / "scripts/install-packages", *contender.debian],
                              capture_output=True, text=True, check=False)
        if done.returncode != 0:
            contender.absent = f"no Debian package {', '.join(contender.debian)}"
            return
    if contender.npm:
        if shutil.which("npm") is None:
            subprocess.run([ROOT / "scripts/install-packages", "nodejs", "npm"], check=False)
        done = subprocess.run(
            ["npm", "install", "--no-audit", "--no-fund", "--prefix", str(modules),
             *contender.npm],
            capture_output=True, text=True, check=False)
        if done.returncode != 0:
            contender.absent = f"no npm package {', '.join(contender.npm)}"


class Running:
    """A running contender."""

    def __init__(self, contender, data, modules):
        self.contender = contender
        self.words = [str(data) if word == "DATA" else word for word in contender.command]
        try:
            self.process = subprocess.Popen(
                self.words, stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True,
                stderr=subprocess.PIPE, env=environment(modules))
        except OSError as problem:
            raise Problem(f"{contender.title} cannot be started: {problem.strerror}") from problem

    def ask(self, *words):
        """Sends a request. Returns the answer, or None if the contender cannot express the workload."""
        try:
            self.process.stdin.write(" ".join(str(word) for word in words) + "\n")
            self.process.stdin.flush()
            answer = self.process.stdout.readline().strip()
        except BrokenPipeError:
            answer = ""
        if not answer:
            raise Problem(f"{self.contender.title} ended at {' '.join(map(str, words))}: "
                          + last_line(self.process.stderr.read()))
        if answer.startswith("error"):
            raise Problem(f"{self.contender.title}, {' '.join(map(str, words))}: {answer}")
        return None if answer == "none" else answer

    def memory(self, key):
        """The bytes that the system reports as `key` for the process."""
        for line in pathlib.Path(f"/proc/{self.process.pid}/status").read_text().splitlines():
            if line.startswith(key + ":"):
                return int(line.split()[1]) * 1024
        return 0

    def forget_peak(self):
        """Resets the largest resident memory (VmHWM)."""
        pathlib.Path(f"/proc/{self.process.pid}/clear_refs").write_text("5")

    def stop(self):
        self.process.stdin.close()
        self.process.stdout.close()
        self.process.stderr.close()
        self.process.wait()
