"""NumPy writes arrays, `fenlet run` copies them, and NumPy reads the copies."""

import pathlib
import subprocess
import sys
import tempfile
import unittest

import numpy as np

FENLET = None

# The six kinds: NumPy's types and their words in program text.
KINDS = {
    "?": "tribool",
    "<i4": "i32",
    "<i8": "i64",
    "<f2": "f16",
    "<f4": "f32",
    "<f8": "f64",
}

# Other NumPy types that `fenlet run` can read, and the kind that each becomes.
WIDENED = {
    "i1": "i32", "u1": "i32", "<i2": "i32", "<u2": "i32", "<u4": "i64",
    ">i2": "i32", ">u2": "i32", ">i4": "i32", ">u4": "i64", ">i8": "i64",
    ">f2": "f16", ">f4": "f32", ">f8": "f64",
}


def entries(kind, count):
    """Entries with random bits, including all sorts of NaN; truth values are False and True."""
    if np.dtype(kind) == np.bool_:
        return np.random.default_rng(1).integers(0, 2, count).astype(np.bool_)
    raw = np.random.default_rng(1).integers(0, 256, count * np.dtype(kind).itemsize, np.uint8)
    values = raw.view(kind).copy()
    if values.dtype.kind == "f":
        values[:4] = [np.inf, -np.inf, -0.0, np.nan]
    return values


class RoundTrip(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def copied(self, word, components):
        """The copy of `in.npy`, as NumPy reads it."""
        kind = word if components == 1 else f"{word}x{components}"
        program = self.folder / "copy"
        program.write_text(f"i : i64 = ElementIndex\ncopy : {kind} = LoadField data[i]\n")
        subprocess.run([FENLET, "run", program, "--field", f"data={self.folder / 'in.npy'}",
                        "--out", f"copy={self.folder / 'out.npy'}"], check=True)
        return np.load(self.folder / "out.npy", allow_pickle=False)

    def expect_same(self, array, expected):
        self.assertEqual(array.dtype, expected.dtype)
        self.assertEqual(array.shape, expected.shape)
        self.assertEqual(array.tobytes(), expected.tobytes())
        self.assertTrue(array.flags.c_contiguous)

    def test_all_kinds_in_all_shapes_come_back_the_same(self):
        for kind, word in KINDS.items():
            for shape in (5000,), (5000, 3), (4, 64), (1,), (0,), (0, 3):
                with self.subTest(kind=kind, shape=shape):
                    count = int(np.prod(shape))
                    array = entries(kind, max(count, 4))[:count].reshape(shape)
                    np.save(self.folder / "in.npy", array)
                    self.expect_same(self.copied(word, shape[1] if len(shape) == 2 else 1), array)

    def test_one_component_loses_only_its_dimension(self):
        array = np.arange(7, dtype="<i4").reshape(7, 1)
        np.save(self.folder / "in.npy", array)
        self.expect_same(self.copied("i32", 1), array.reshape(7))

    def test_other_types_become_the_kind_that_holds_them(self):
        kinds = {word: kind for kind, word in KINDS.items()}
        for kind, word in WIDENED.items():
            with self.subTest(kind=kind):
                array = entries(kind, 1000)
                np.save(self.folder / "in.npy", array)
                self.expect_same(self.copied(word, 1), array.astype(kinds[word]))

    def test_all_versions_of_the_header_are_read(self):
        for kind, word in KINDS.items():
            for version in (1, 0), (2, 0), (3, 0):
                with self.subTest(kind=kind, version=version):
                    array = entries(kind, 300).reshape(100, 3)
                    with open(self.folder / "in.npy", "wb") as file:
                        np.lib.format.write_array(file, array, version=version)
                    self.expect_same(self.copied(word, 3), array)

    def test_numpy_maps_what_is_written(self):
        array = entries("<f8", 3000).reshape(1000, 3)
        np.save(self.folder / "in.npy", array)
        self.copied("f64", 3)
        mapped = np.load(self.folder / "out.npy", mmap_mode="r")
        self.expect_same(mapped, array)
        with open(self.folder / "out.npy", "rb") as file:
            self.assertEqual(np.lib.format.read_magic(file), (1, 0))
            self.assertEqual(np.lib.format.read_array_header_1_0(file),
                             ((1000, 3), False, np.dtype("<f8")))
            self.assertEqual(file.tell() % 64, 0)


if __name__ == "__main__":
    FENLET = sys.argv.pop(1)
    unittest.main()
