"""numexpr: numexpr_peer.py FOLDER

Expressions are compiled once. numexpr's interpreter evaluates them on one thread, into arrays that
are made once. A result in a wider type than the array's is cast when it is stored. A quotient of
integers, for example, is a double in numexpr and is truncated.
"""
import numexpr
import numpy as np
from peer_protocol import Prepared, serve

# numexpr's names for the types. In numexpr, float has 32 bits.
SINGLE, DOUBLE, WHOLE = float, np.double, np.int32
SCALE = np.float32(1.5)
CHAIN = 20


def compile_expression(expression, **kinds):
    """Compiles an expression. Its arguments have the order of `kinds`."""
    compiled = numexpr.NumExpr(expression, list(kinds.items()))

    def run(*values, out):
        compiled(*values, out=out, casting="unsafe", ex_uses_vml=False)

    return run


def evaluated(arrays, kinds, expression, result_kind, *constants):
    """A workload that is one expression over whole arrays, followed by constants."""

    def prepare(data):
        values = [*(data[name] for name in arrays), *constants]
        result = np.empty(len(values[0]), result_kind)
        compiled = compile_expression(expression, **kinds)
        return Prepared(arrays, lambda: compiled(*values, out=result), lambda: result)

    return prepare


def vector_times_uniform(data):
    """Computes the product in one expression. A second one selects, over a view of component 0."""
    vector = data["vector"]
    scaled = np.empty_like(vector)
    result = np.empty(len(vector), np.float32)
    product = compile_expression("v * s", v=SINGLE, s=SINGLE)
    choice = compile_expression("where(x > zero, x, one)", x=SINGLE, zero=SINGLE, one=SINGLE)
    zero, one = np.float32(0), np.float32(1)

    def run():
        product(vector, SCALE, out=scaled)
        choice(scaled[:, 0], zero, one, out=result)

    return Prepared(["vector"], run, lambda: result)


def normalised(data):
    vector = data["vector"]
    x, y, z = (vector[:, i] for i in range(3))
    length = np.empty(len(vector), np.float32)
    column = length[:, np.newaxis]
    result = np.empty_like(vector)
    lengths = compile_expression("sqrt(x*x + y*y + z*z)", x=SINGLE, y=SINGLE, z=SINGLE)
    quotient = compile_expression("v / n", v=SINGLE, n=SINGLE)

    def run():
        lengths(x, y, z, out=length)
        quotient(vector, column, out=result)

    return Prepared(["vector"], run, lambda: result)


def integer_division(data):
    dividend, divisor = data["whole"], data["divisor"]
    result, present = np.empty_like(dividend), np.empty(dividend.shape, bool)
    quotient = compile_expression("i / j", i=WHOLE, j=WHOLE)
    divides = compile_expression("j != 0", j=WHOLE)

    def run():
        quotient(dividend, divisor, out=result)
        divides(divisor, out=present)

    return Prepared(["whole", "divisor"], run, lambda: (result, present))


def chain():
    expression = "a"
    for _ in range(CHAIN - 2):
        expression = f"({expression} + a)"
    return evaluated(["a"], {"a": SINGLE}, expression, np.float32)


def chosen(condition):
    kinds = {"t": bool, "a": SINGLE, "b": SINGLE}
    return evaluated([condition, "a", "b"], kinds, "where(t, a, b)", np.float32)


def three_valued():
    """Passes the constant as an argument: in the text it would be a double, and the whole expression
    would be computed in doubles."""
    arrays = ["p", "q", "r", "p_present", "q_present", "r_present"]
    kinds = {**dict.fromkeys("pqr", SINGLE), "hp": bool, "hq": bool, "hr": bool, "half": SINGLE}
    expression = "(((p < q) & (r > half) & hq) | (p != r)) & hp & hr"
    return evaluated(arrays, kinds, expression, bool, np.float32(0.5))


if __name__ == "__main__":
    numexpr.set_num_threads(1)
    serve(
        "numexpr " + numexpr.__version__,
        {
            "W1": vector_times_uniform,
            "W2": evaluated(list("abcde"), dict.fromkeys("abcde", SINGLE), "(a*b + c)/d - e",
                            np.float32),
            "W3": evaluated(["whole", "a", "wide"], {"i": WHOLE, "a": SINGLE, "d": DOUBLE},
                            "(i + 0.0 + a)*d", np.float32),
            "W4": three_valued(),
            "W5": normalised,
            "W7-random": chosen("random"),
            "W7-runs": chosen("runs"),
            "W8": integer_division,
            "chain": chain(),
        },
    )
