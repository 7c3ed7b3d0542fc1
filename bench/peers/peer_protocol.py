"""How scripts/performance talks to the programs that it compares: see protocol.h.

A peer has a function for each workload, which takes the data and returns a Prepared or None.
"""
import sys
import time

import numpy


class Data:
    """The arrays of one folder. Each is read when it is first needed."""

    def __init__(self, folder):
        self.folder = folder
        self.arrays = {}

    def __getitem__(self, name):
        if name not in self.arrays:
            self.arrays[name] = numpy.load(f"{self.folder}/{name}.npy")
        return self.arrays[name]


class Prepared:
    """A workload that is ready to run: its inputs, a function that runs it, and one that returns
    its result."""

    def __init__(self, arrays, run, result):
        self.arrays = arrays
        self.run = run
        self.result = result  # returns an array, or an array and one that says what is present


def both(result):
    answer = result()
    return answer if isinstance(answer, tuple) else (answer, None)


def write(prepared, file):
    values, present = both(prepared.result)
    numpy.save(file + ".npy", numpy.ascontiguousarray(values))
    if present is not None and not present.all():
        numpy.save(file + ".present.npy", present.astype(bool))


def nanoseconds(times, run):
    start = time.perf_counter_ns()
    for _ in range(times):
        run()
    return time.perf_counter_ns() - start


class Server:
    def __init__(self, version, workloads, folder):
        self.version = version
        self.workloads = workloads
        self.data = Data(folder)
        self.ready = {}

    def prepare(self, name):
        make = self.workloads.get(name)
        return make(self.data) if make else None

    def answer(self, words):
        if words == ["version"]:
            return self.version
        workload, command = words[:2]
        if workload not in self.ready:
            self.ready[workload] = self.prepare(workload)
        prepared = self.ready[workload]
        if prepared is None:
            return "none"
        if command == "load":
            prepared.run()
            values, present = both(prepared.result)
            read = sum(self.data[name].nbytes for name in prepared.arrays)
            return read + values.nbytes + (0 if present is None else present.nbytes)
        if command == "check":
            prepared.run()
            write(prepared, words[2])
            return "written"
        times = int(words[2]) if len(words) > 2 else 1
        if command == "time":
            return nanoseconds(times, prepared.run)
        if command == "first":
            return nanoseconds(times, lambda: self.prepare(workload).run())
        return "error: no such command: " + " ".join(words)


def serve(version, workloads):
    """Answers requests until the input ends."""
    server = Server(version, workloads, sys.argv[1])
    for line in sys.stdin:
        try:
            print(server.answer(line.split()), flush=True)
        except Exception as problem:  # reports every error to the caller
            print("error:", " ".join(str(problem).split()) or type(problem).__name__, flush=True)
