"""NumPy: numpy_peer.py FOLDER

Results and intermediate results go to arrays that are made once. An array of booleans says which
values are missing: NumPy has no other fast way.
"""
import numpy as np
from peer_protocol import Prepared, serve

SCALE = np.float32(1.5)
CHAIN = 20


def vector_times_uniform(data):
    vector = data["vector"]
    scaled = np.empty_like(vector)
    result = None

    def run():
        nonlocal result
        np.multiply(vector, SCALE, out=scaled)
        first = scaled[:, 0]
        result = np.where(first > 0, first, np.float32(1))

    return Prepared(["vector"], run, lambda: result)


def single_arithmetic(data):
    a, b, c, d, e = (data[name] for name in "abcde")
    result = np.empty_like(a)

    def run():
        np.multiply(a, b, out=result)
        np.add(result, c, out=result)
        np.divide(result, d, out=result)
        np.subtract(result, e, out=result)

    return Prepared(list("abcde"), run, lambda: result)


def mixed_kinds(data):
    whole, a, wide = data["whole"], data["a"], data["wide"]
    total = np.empty_like(wide)
    result = np.empty_like(a)

    def run():
        np.add(whole, a, out=total)
        np.multiply(total, wide, out=result, casting="same_kind")

    return Prepared(["whole", "a", "wide"], run, lambda: result)


def three_valued(data):
    names = ["p", "q", "r", "p_present", "q_present", "r_present"]
    p, q, r, has_p, has_q, has_r = (data[name] for name in names)
    result, other = np.empty_like(has_p), np.empty_like(has_p)

    def run():
        np.less(p, q, out=result)
        np.greater(r, np.float32(0.5), out=other)
        np.logical_and(result, other, out=result)
        np.logical_and(result, has_q, out=result)
        np.not_equal(p, r, out=other)
        np.logical_or(result, other, out=result)
        np.logical_and(result, has_p, out=result)
        np.logical_and(result, has_r, out=result)

    return Prepared(names, run, lambda: result)


def normalised(data):
    vector = data["vector"]
    squares, result = np.empty_like(vector), np.empty_like(vector)
    length = np.empty((len(vector), 1), np.float32)

    def run():
        np.multiply(vector, vector, out=squares)
        np.add(squares[:, 0:1], squares[:, 1:2], out=length)
        np.add(length, squares[:, 2:3], out=length)
        np.sqrt(length, out=length)
        np.divide(vector, length, out=result)

    return Prepared(["vector"], run, lambda: result)


def half_arithmetic(data):
    a, b, c = data["half_a"], data["half_b"], data["half_c"]
    result = np.empty_like(a)

    def run():
        np.multiply(a, b, out=result)
        np.add(result, c, out=result)

    return Prepared(["half_a", "half_b", "half_c"], run, lambda: result)


def chosen(condition):
    def prepare(data):
        truth, a, b = data[condition], data["a"], data["b"]
        result = None

        def run():
            nonlocal result
            result = np.where(truth, a, b)

        return Prepared([condition, "a", "b"], run, lambda: result)

    return prepare


def integer_division(data):
    dividend, divisor = data["whole"], data["divisor"]
    result, present = np.empty_like(dividend), np.empty(dividend.shape, bool)

    def run():
        with np.errstate(divide="ignore"):
            np.floor_divide(dividend, divisor, out=result)
        np.not_equal(divisor, 0, out=present)

    return Prepared(["whole", "divisor"], run, lambda: (result, present))


def gathered(data):
    place, table = data["place"], data["table"]
    result = np.empty(place.shape, np.float32)

    def run():
        # "clip" avoids a copy: the other modes read into a buffer first. No index is outside the
        # table.
        np.take(table, place, out=result, mode="clip")

    return Prepared(["place", "table"], run, lambda: result)


def chain(data):
    a = data["a"]
    result = None

    def run():
        nonlocal result
        result = a
        for _ in range(CHAIN - 2):
            result = result + a

    return Prepared(["a"], run, lambda: result)


if __name__ == "__main__":
    serve(
        "NumPy " + np.__version__,
        {
            "W1": vector_times_uniform,
            "W2": single_arithmetic,
            "W3": mixed_kinds,
            "W4": three_valued,
            "W5": normalised,
            "W6": half_arithmetic,
            "W7-random": chosen("random"),
            "W7-runs": chosen("runs"),
            "W8": integer_division,
            "W9": gathered,
            "chain": chain,
        },
    )
