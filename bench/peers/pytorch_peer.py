"""PyTorch: pytorch_peer.py FOLDER

Each step is one call of PyTorch, on one thread. Where possible, results go to tensors that are made
once.
"""
import torch
from peer_protocol import Prepared, serve

SCALE = 1.5
CHAIN = 20


def tensors(data, *names):
    return [torch.from_numpy(data[name]) for name in names]


def prepared(arrays, run, *results):
    answer = lambda: results[0].numpy() if len(results) == 1 else tuple(
        one.numpy() for one in results)
    return Prepared(list(arrays), run, answer)


def vector_times_uniform(data):
    (vector,) = tensors(data, "vector")
    scaled, result = torch.empty_like(vector), torch.empty(len(vector))
    is_positive = torch.empty(len(vector), dtype=torch.bool)
    one = torch.tensor(1.0)

    def run():
        torch.mul(vector, SCALE, out=scaled)
        first = scaled[:, 0]
        torch.gt(first, 0, out=is_positive)
        torch.where(is_positive, first, one, out=result)

    return prepared(["vector"], run, result)


def single_arithmetic(data):
    a, b, c, d, e = tensors(data, *"abcde")
    result = torch.empty_like(a)

    def run():
        torch.mul(a, b, out=result)
        torch.add(result, c, out=result)
        torch.div(result, d, out=result)
        torch.sub(result, e, out=result)

    return prepared("abcde", run, result)


def mixed_kinds(data):
    names = ["whole", "a", "wide"]
    whole, a, wide = tensors(data, *names)
    total, result = torch.empty_like(wide), torch.empty_like(a)

    def run():
        # PyTorch would add an Int32 and a Float32 in Float32.
        total.copy_(whole)
        torch.add(total, a, out=total)
        torch.mul(total, wide, out=total)
        result.copy_(total)

    return prepared(names, run, result)


def three_valued(data):
    names = ["p", "q", "r", "p_present", "q_present", "r_present"]
    p, q, r, has_p, has_q, has_r = tensors(data, *names)
    result, other = torch.empty_like(has_p), torch.empty_like(has_p)

    def run():
        torch.lt(p, q, out=result)
        torch.gt(r, 0.5, out=other)
        torch.bitwise_and(result, other, out=result)
        torch.bitwise_and(result, has_q, out=result)
        torch.ne(p, r, out=other)
        torch.bitwise_or(result, other, out=result)
        torch.bitwise_and(result, has_p, out=result)
        torch.bitwise_and(result, has_r, out=result)

    return prepared(names, run, result)


def normalised(data):
    (vector,) = tensors(data, "vector")
    squares, result = torch.empty_like(vector), torch.empty_like(vector)
    length = torch.empty(len(vector), 1)

    def run():
        torch.mul(vector, vector, out=squares)
        torch.add(squares[:, 0:1], squares[:, 1:2], out=length)
        torch.add(length, squares[:, 2:3], out=length)
        torch.sqrt(length, out=length)
        torch.div(vector, length, out=result)

    return prepared(["vector"], run, result)


def half_arithmetic(data):
    names = ["half_a", "half_b", "half_c"]
    a, b, c = tensors(data, *names)
    result = torch.empty_like(a)

    def run():
        torch.mul(a, b, out=result)
        torch.add(result, c, out=result)

    return prepared(names, run, result)


def chosen(condition):
    def prepare(data):
        truth, a, b = tensors(data, condition, "a", "b")
        result = torch.empty_like(a)

        def run():
            torch.where(truth, a, b, out=result)

        return prepared([condition, "a", "b"], run, result)

    return prepare


def integer_division(data):
    dividend, divisor = tensors(data, "whole", "divisor")
    result, safe = torch.empty_like(dividend), torch.empty_like(divisor)
    present = torch.empty(len(divisor), dtype=torch.bool)

    def run():
        # PyTorch throws if a divisor is zero.
        torch.ne(divisor, 0, out=present)
        torch.clamp(divisor, min=1, out=safe)
        torch.div(dividend, safe, rounding_mode="trunc", out=result)

    return prepared(["whole", "divisor"], run, result, present)


def gathered(data):
    place, table = tensors(data, "place", "table")
    result = torch.empty(len(place))

    def run():
        torch.index_select(table, 0, place, out=result)

    return prepared(["place", "table"], run, result)


def chain(data):
    (a,) = tensors(data, "a")
    result = None

    def run():
        nonlocal result
        result = a
        for _ in range(CHAIN - 2):
            result = result + a

    return Prepared(["a"], run, lambda: result.numpy())


if __name__ == "__main__":
    torch.set_num_threads(1)
    with torch.no_grad():
        serve(
            "PyTorch " + torch.__version__,
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
