"""Who is compared, how each is got and started, and how scripts/performance talks to it."""
import dataclasses
import os
import pathlib
import shutil
import subprocess

PEERS = pathlib.Path(__file__).resolve().parent
ROOT = PEERS.parent.parent
DEBIAN_PYTHON = "/usr/bin/python3"  # the one that sees Debian's modules
OURS = "fenletexec"
FRAME = "frame"
FUSED = "fused"


class Problem(Exception):
    """What is wrong, in one line."""


@dataclasses.dataclass
class Contender:
    name: str
    title: str
    kind: str  # "ours", "bound", "compiled" or "peer": interpreted or eager, so that bars hold
    command: list
    debian: tuple = ()
    npm: tuple = ()
    target: str = ""  # what is built for it
    tolerance: dict = dataclasses.field(default_factory=dict)  # by workload; "" for all others
    version: str = ""
    absent: str = ""  # why it is left out

    def allowed(self, workload):
        return self.tolerance.get(workload, self.tolerance.get("", 0))


def contenders(build, modules, block):
    """All of them. `build` has the programs, `modules` the npm modules."""
    programs = pathlib.Path(build) / "bench/peers"
    native = str(programs / "native_peer")
    python = lambda name: [DEBIAN_PYTHON, str(PEERS / f"{name}_peer.py"), "DATA"]
    return [
        Contender(OURS, "fenletexec", "ours", [str(programs / "fenletexec_peer"), "DATA", str(block)],
                  target="fenletexec_peer"),
        Contender(FUSED, "by hand, fused", "bound", [native, "DATA", "fused"],
                  target="native_peer"),
        Contender("blocks", "by hand, blocks", "bound", [native, "DATA", "blocks"],
                  target="native_peer"),
        Contender(FRAME, "by hand, whole frame", "bound", [native, "DATA", "frame"],
                  target="native_peer"),
        Contender("numpy", "NumPy", "peer", python("numpy"), debian=("python3-numpy",)),
    ]


def environment(modules):
    """One thread each, and large pages for everybody's arrays: NumPy asks for them by itself."""
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
    """Gets what the contender needs; sets `absent` where that cannot be had."""
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
    """A contender that has been started, on one processor."""

    def __init__(self, contender, data, modules):
        self.contender = contender
        self.words = [str(data) if word == "DATA" else word for word in contender.command]
        processor = max(os.sched_getaffinity(0))
        try:
            self.process = subprocess.Popen(
                self.words, stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True,
                stderr=subprocess.PIPE, env=environment(modules),
                preexec_fn=lambda: os.sched_setaffinity(0, {processor}))
        except OSError as problem:
            raise Problem(f"{contender.title} cannot be started: {problem.strerror}") from problem

    def ask(self, *words):
        """The answer, or None where the workload cannot be expressed."""
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
        """Bytes that stand for `key` in the system's account of the process."""
        for line in pathlib.Path(f"/proc/{self.process.pid}/status").read_text().splitlines():
            if line.startswith(key + ":"):
                return int(line.split()[1]) * 1024
        return 0

    def forget_peak(self):
        """Starts the count of the largest resident memory (VmHWM) anew."""
        pathlib.Path(f"/proc/{self.process.pid}/clear_refs").write_text("5")

    def stop(self):
        self.process.stdin.close()
        self.process.stdout.close()
        self.process.stderr.close()
        self.process.wait()
