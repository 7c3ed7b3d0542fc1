"""Compares random formulas with an evaluator that shares nothing with the compiler: NumPy arrays,
and the rules of docs/formulas.md.

    formula_oracle.py FORMULA_RUN [COUNT [SEED]]
"""
import random
import subprocess
import sys

import numpy as np

ELEMENTS = 48
FORMATS = {'tribool': 0, 'i32': 3, 'i64': 4, 'f16': 5, 'f32': 6, 'f64': 7}
TYPES = {'tribool': np.uint8, 'i32': np.int32, 'i64': np.int64, 'f16': np.float16,
         'f32': np.float32, 'f64': np.float64}
KINDS = {np.dtype(t): k for k, t in TYPES.items()}
FLOATS = ('f16', 'f32', 'f64')
ARITHMETIC = ('i32',) + FLOATS
# How tightly operators bind, as in the table of the page.
OR, AND, NOT, COMPARE, BIT_OR, BIT_AND, SUM, PRODUCT, SIGN, POWER, POSTFIX = range(1, 12)
UNKNOWN = 255


class Value:
    """The text of an expression, and what it is for each element."""

    def __init__(self, text, level, data, present):
        self.text, self.level, self.data = text, level, data
        self.present = np.broadcast_to(present, (ELEMENTS,))
        self.kind = KINDS[data.dtype]
        self.width = data.shape[1]

    def at(self, level):
        if self.level < level or random.random() < 0.1:
            return '(' + self.text + ')'
        return self.text


def column(values, kind):
    return np.asarray(values, dtype=TYPES[kind]).reshape(-1, 1)


def to_integer(data, kind):
    """Truncates floats; what has no integer becomes the lowest one."""
    limit = 2.0 ** (31 if kind == 'i32' else 63)
    whole = np.trunc(data.astype(np.float64))
    fits = (whole >= -limit) & (whole < limit)
    lowest = np.iinfo(TYPES[kind]).min
    return np.where(fits, np.where(fits, whole, 0).astype(TYPES[kind]), TYPES[kind](lowest))


def converted(data, kind):
    source = KINDS[data.dtype]
    if source == kind:
        return data
    if kind in ('i32', 'i64') and source in FLOATS:
        return to_integer(data, kind)
    if kind == 'f16' and source == 'i32':
        data = data.astype(np.float64)  # NumPy itself would round twice
    return data.astype(TYPES[kind])


def common(*kinds):
    return KINDS[np.result_type(*(TYPES[kind] for kind in kinds))]


def settled(value):
    return np.where(value.present[:, None], value.data, np.uint8(UNKNOWN))


def truth_of(mask, present):
    """A comparison: unknown where an operand is missing."""
    return np.where(present[:, None], mask.astype(np.uint8), np.uint8(UNKNOWN))


ALWAYS = np.ones(ELEMENTS, bool)


class Maker:
    def __init__(self, fields):
        self.fields = fields

    # Leaves

    def field(self, kind, width=1):
        names = [n for n, v in self.fields.items() if v.kind == kind and v.width == width]
        name = random.choice(names)
        value = self.fields[name]
        if width == 1 and kind in ARITHMETIC and random.random() < 0.15:
            return self.element(name) if random.random() < 0.5 else self.shifted(name)
        return Value(name, POSTFIX, value.data, value.present)

    def element(self, name):
        field = self.fields[name]
        number = self.number(random.choice(ARITHMETIC + ('i64',)), 1)
        at = to_integer(number.data, 'i64') if number.kind in FLOATS else number.data
        at = at[:, 0].astype(np.int64)
        inside = (at >= 0) & (at < ELEMENTS) & number.present
        at = np.where(inside, at, 0)
        return Value(f'{name}[{number.text}]', POSTFIX, field.data[at], field.present[at] & inside)

    def shifted(self, name):
        field = self.fields[name]
        by = random.randint(-3, 3)
        at = np.arange(ELEMENTS) + by
        inside = (at >= 0) & (at < ELEMENTS)
        at = np.where(inside, at, 0)
        sign = '+' if by > 0 and random.random() < 0.5 else ''
        return Value(f'shift({name}, {sign}{by})', POSTFIX, field.data[at],
                     field.present[at] & inside)

    def literal(self, kind):
        texts = ['0', '1', '2', '7', '-1', '-3', '0x10']
        if kind in FLOATS:
            texts += ['0.5', '-0.5', '1e-3', '-0.0', 'inf', '.25', '3.', '-2.5', '1/4', 'nan']
        if kind == 'i32':
            texts += ['-2147483648', '2147483647']
        text = random.choice(texts)
        number = 16 if text == '0x10' else eval(text, {'inf': np.inf, 'nan': np.nan})
        level = PRODUCT if '/' in text else SIGN if text[0] == '-' else POSTFIX
        with np.errstate(all='ignore'):
            data = np.full((ELEMENTS, 1), number).astype(TYPES[kind])
        return Value(text, level, data, ALWAYS)

    # Numbers

    def number(self, kind, depth, width=1):
        """An expression of a kind and of so many components."""
        if kind == 'i64':
            return self.long(depth)
        if depth <= 0:
            return self.leaf(kind, width)
        choices = [self.arithmetic, self.arithmetic, self.arithmetic, self.function, self.choice,
                   self.cast, self.named]
        if width == 1:
            choices += [self.component, self.power]
        elif kind in FLOATS:
            choices += [self.vector, self.vector]
        return random.choice(choices)(kind, depth, width)

    def leaf(self, kind, width):
        if width == 1:
            if kind == 'f64' and random.random() < 0.1:
                return Value('index', POSTFIX, column(np.arange(ELEMENTS), 'f64'), ALWAYS)
            return self.field(kind)
        if kind == 'f32' and width == 3 and random.random() < 0.7:
            return self.field('f32', 3)
        return self.vector(kind, 0, width)

    def long(self, depth):
        if depth <= 0:
            return self.field('i64')
        way = random.randrange(4)
        if way == 0:
            a = self.number(random.choice(ARITHMETIC), depth - 1)
            return Value(f'i64({a.text})', POSTFIX, converted(a.data, 'i64'), a.present)
        a, b = self.long(depth - 1), self.field(random.choice(['i32', 'i64']))
        x, y = converted(a.data, 'i64'), converted(b.data, 'i64')
        if way == 1:
            return Value(f'min({a.text}, {b.text})', POSTFIX, np.minimum(x, y),
                         a.present & b.present)
        if way == 2:
            return self.where(self.truth(depth - 1), a, b, 'i64')
        return Value(f'sign({a.text})', POSTFIX, np.sign(x), a.present)

    def pair(self, kind, depth, width):
        """Two numbers that meet in `kind`, one of them perhaps a literal."""
        narrower = {'f64': ARITHMETIC, 'f32': ('f16', 'f32'), 'f16': ('f16',), 'i32': ('i32',)}
        wide = random.choice([1, width])
        a = self.number(kind, depth - 1, width)
        if random.random() < 0.25:
            b = self.literal(kind)
        elif width > 1 and wide > 1:
            b = self.number(kind, depth - 1, width)
        else:
            b = self.number(random.choice(narrower[kind]), depth - 1)
        return (a, b) if random.random() < 0.5 else (b, a)

    def arithmetic(self, kind, depth, width):
        op = random.choice('+-*/' if kind != 'i32' else '+-*')
        a, b = self.pair(kind, depth, width)
        if kind == 'f64' and op == '/' and width == 1 and random.random() < 0.3:
            a, b = self.number('i32', depth - 1), self.number('i32', depth - 1)
        x, y = converted(a.data, kind), converted(b.data, kind)
        with np.errstate(all='ignore'):
            data = {'+': np.add, '-': np.subtract, '*': np.multiply,
                    '/': np.divide}[op](x, y)
        level = SUM if op in '+-' else PRODUCT
        return Value(f'{a.at(level)} {op} {b.at(level + 1)}', level, data, a.present & b.present)

    def power(self, kind, depth, width):
        a = self.number(kind, depth - 1, width)
        n = random.randrange(17)
        data = np.ones_like(a.data)
        with np.errstate(all='ignore'):
            if n > 0:
                data = a.data
                for digit in bin(n)[3:]:
                    data = data * data
                    if digit == '1':
                        data = data * a.data
        return Value(f'{a.at(POSTFIX)}**{n}', POWER, data, a.present)

    def function(self, kind, depth, width):
        ones = {'abs': lambda x: np.where(x <= 0, 0 * np.ones_like(x) - x, x),
                'sign': lambda x: np.where(x > 0, x.dtype.type(1),
                                           np.where(x < 0, x.dtype.type(-1), x)),
                '-': np.negative, '+': lambda x: x}
        if kind in FLOATS:
            ones.update(floor=np.floor, ceil=np.ceil, trunc=np.trunc, round=np.rint)
        name = random.choice(list(ones) + ['min', 'max', 'clamp', 'coalesce', 'quotient'])
        if name == 'quotient' and (kind != 'i32' or width > 1):
            name = 'min'
        if name in ones:
            a = self.number(kind, depth - 1, width)
            with np.errstate(all='ignore'):
                data = ones[name](a.data)
            if name in '+-':
                return Value(f'{name}{a.at(SIGN)}', SIGN, data, a.present)
            return Value(f'{name}({a.text})', POSTFIX, data, a.present)
        a, b = self.pair(kind, depth, width)
        x, y = np.broadcast_arrays(converted(a.data, kind), converted(b.data, kind))
        both = a.present & b.present
        if name == 'quotient':
            return self.integer_division(a, b, x, y, both)
        if name == 'coalesce':
            data = np.where(a.present[:, None], x, y)
            return Value(f'coalesce({a.text}, {b.text})', POSTFIX, data, a.present | b.present)
        if name == 'clamp':
            c = self.number(kind, depth - 1, width)
            data = np.where(c.data < x, x, np.where(c.data > y, y, c.data))
            return Value(f'clamp({c.text}, {a.text}, {b.text})', POSTFIX, data, both & c.present)
        takes = (x <= y if name == 'min' else x >= y) | (y != y)
        return Value(f'{name}({a.text}, {b.text})', POSTFIX, np.where(takes, x, y), both)

    def integer_division(self, a, b, x, y, both):
        safe = np.where(y == 0, 1, y).astype(np.int64)
        wide = np.where(y == 0, 0, x.astype(np.int64))
        quotient = (np.abs(wide) // np.abs(safe)) * np.sign(wide) * np.sign(safe)
        present = both & (y != 0).all(axis=1)
        if random.random() < 0.5:
            return Value(f'quotient({a.text}, {b.text})', POSTFIX, quotient.astype(np.int32),
                         present)
        rest = wide - quotient * safe
        return Value(f'remainder({a.text}, {b.text})', POSTFIX, rest.astype(np.int32), present)

    def where(self, condition, a, b, kind):
        test = settled(condition)
        x, y, test = np.broadcast_arrays(converted(a.data, kind), converted(b.data, kind), test)
        data = np.where(test == 1, x, y)
        drawn = np.where(test == 1, a.present[:, None], b.present[:, None])
        present = (drawn & (test != UNKNOWN)).all(axis=1)
        return Value(f'where({condition.text}, {a.text}, {b.text})', POSTFIX, data, present)

    def choice(self, kind, depth, width):
        if random.random() < 0.2:
            a = self.number(kind, depth - 1, width)
            nothing = Value('missing', POSTFIX, np.zeros_like(a.data), ~ALWAYS)
            a, b = (a, nothing) if random.random() < 0.5 else (nothing, a)
        else:
            a, b = self.pair(kind, depth, width)
        wide = width if random.random() < 0.5 else 1
        return self.where(self.truth(depth - 1, wide), a, b, kind)

    def cast(self, kind, depth, width):
        sources = ARITHMETIC if width > 1 or kind == 'f16' else ARITHMETIC + ('i64',)
        a = self.number(random.choice(sources), depth - 1, width)
        with np.errstate(all='ignore'):
            data = converted(a.data, kind)
        return Value(f'{kind}({a.text})', POSTFIX, data, a.present)

    def named(self, kind, depth, width):
        a = self.number(kind, depth - 1, width)
        name = f't{len(self.lines)}'
        self.lines.append(f'{name} = {a.text}')
        return Value(name, POSTFIX, a.data, a.present)

    # Vectors

    def vector(self, kind, depth, width):
        if depth > 0 and kind in FLOATS and random.random() < 0.3:
            a = self.number(kind, depth - 1, width)
            with np.errstate(all='ignore'):
                data = a.data / self.norm(a.data)
            return Value(f'normalize({a.text})', POSTFIX, data, a.present)
        parts = [self.number(kind, depth - 1) for _ in range(width)]
        if random.random() < 0.4:
            parts[random.randrange(width - 1)] = self.literal(kind)
        present = np.logical_and.reduce([part.present for part in parts])
        data = np.concatenate([part.data for part in parts], axis=1)
        return Value('vec(' + ', '.join(part.text for part in parts) + ')', POSTFIX, data, present)

    def norm(self, data):
        total = np.zeros((ELEMENTS, 1), data.dtype)
        for number in range(data.shape[1]):
            one = data[:, number:number + 1]
            if data.dtype == np.float16:
                one = one.astype(np.float32)
                total = (total.astype(np.float32) + one * one).astype(np.float16)
            else:
                total = total + one * one
        if data.dtype == np.float16:
            return np.sqrt(total.astype(np.float32)).astype(np.float16)
        return np.sqrt(total)

    def component(self, kind, depth, width):
        way = random.randrange(3)
        count = random.choice([2, 3])
        a = self.number(kind, depth - 1, count)
        if way == 0:
            number = random.randrange(count)
            suffix = random.choice(['.' + 'xyz'[number], f'.[{number}]'])
            return Value(a.at(POSTFIX) + suffix, POSTFIX, a.data[:, number:number + 1], a.present)
        with np.errstate(all='ignore'):
            if way == 1 and kind in FLOATS:
                return Value(f'length({a.text})', POSTFIX, self.norm(a.data), a.present)
            b = self.number(kind, depth - 1, count)
            products = a.data * b.data
            total = products[:, :1]
            for number in range(1, count):
                total = total + products[:, number:number + 1]
        return Value(f'dot({a.text}, {b.text})', POSTFIX, total, a.present & b.present)

    # Truth values

    def truth(self, depth, width=1):
        if depth <= 0 and width == 1:
            if random.random() < 0.2:
                word = random.choice(['true', 'false', 'unknown'])
                byte = {'true': 1, 'false': 0, 'unknown': UNKNOWN}[word]
                return Value(word, POSTFIX, np.full((ELEMENTS, 1), byte, np.uint8), ALWAYS)
            return self.field('tribool')
        ways = [self.comparison, self.comparison, self.logic, self.inverse, self.question]
        if width == 1:
            ways += [self.presence, self.chosen_truth]
        return random.choice(ways)(max(depth, 1), width)

    def comparison(self, depth, width):
        op = random.choice(['<', '<=', '>', '>=', '==', '!='])
        if width == 1 and random.random() < 0.2:
            kinds = ('i64', random.choice(['i32', 'i64']))
        else:
            kinds = (random.choice(ARITHMETIC), random.choice(ARITHMETIC))
        a = self.number(kinds[0], depth - 1, width)
        if random.random() < 0.3:
            b = self.literal(kinds[0])
            while b.text == 'nan':
                b = self.literal(kinds[0])
        else:
            b = self.number(kinds[1], depth - 1, random.choice([1, width]))
        kind = common(a.kind, b.kind)
        x, y = np.broadcast_arrays(converted(a.data, kind), converted(b.data, kind))
        if random.random() < 0.5:
            a, b, x, y = b, a, y, x
        mask = {'<': np.less, '<=': np.less_equal, '>': np.greater, '>=': np.greater_equal,
                '==': np.equal, '!=': np.not_equal}[op](x, y)
        return Value(f'{a.at(BIT_OR)} {op} {b.at(BIT_OR)}', COMPARE,
                     truth_of(mask, a.present & b.present), ALWAYS)

    def logic(self, depth, width):
        a, b = self.truth(depth - 1, width), self.truth(depth - 1, width)
        x, y = settled(a), settled(b)
        word, level = random.choice([('and', AND), ('or', OR), ('&', BIT_AND), ('|', BIT_OR)])
        decides = 0 if word in ('and', '&') else 1
        data = np.where((x == decides) | (y == decides), decides,
                        np.where((x == UNKNOWN) | (y == UNKNOWN), UNKNOWN, 1 - decides))
        return Value(f'{a.at(level)} {word} {b.at(level + 1)}', level, data.astype(np.uint8),
                     ALWAYS)

    def inverse(self, depth, width):
        a = self.truth(depth - 1, width)
        x = settled(a)
        data = np.where(x == UNKNOWN, UNKNOWN, x == 0).astype(np.uint8)
        if random.random() < 0.5:
            return Value('~' + a.at(SIGN), SIGN, data, ALWAYS)
        return Value('not ' + a.at(NOT), NOT, data, ALWAYS)

    def question(self, depth, width):
        a = self.number(random.choice(ARITHMETIC), depth - 1, width)
        name, test = random.choice([('isnan', np.isnan), ('isinf', np.isinf),
                                    ('isfinite', np.isfinite)])
        return Value(f'{name}({a.text})', POSTFIX, truth_of(test(a.data), a.present), ALWAYS)

    def presence(self, depth, width):
        if random.random() < 0.3:
            a = self.truth(depth - 1)
            if random.random() < 0.5:
                data = (a.present[:, None] & (a.data == 1)).astype(np.uint8)
                return Value(f'istrue({a.text})', POSTFIX, data, ALWAYS)
        else:
            a = self.number(random.choice(ARITHMETIC + ('i64',)), depth - 1)
        data = a.present[:, None].astype(np.uint8)
        return Value(f'present({a.text})', POSTFIX, data, ALWAYS)

    def chosen_truth(self, depth, width):
        a, b = self.truth(depth - 1), self.truth(depth - 1)
        if random.random() < 0.5:
            return self.where(self.truth(depth - 1), a, b, 'tribool')
        data = np.where(a.present[:, None], a.data, b.data)
        return Value(f'coalesce({a.text}, {b.text})', POSTFIX, data, a.present | b.present)

    def formula(self):
        self.lines = []
        if random.random() < 0.3:
            value = self.truth(random.randint(1, 4))
        else:
            kind = random.choice(ARITHMETIC + ('f32', 'i64'))
            width = 1 if kind == 'i64' else random.choice([1, 1, 1, 2, 3])
            value = self.number(kind, random.randint(1, 4), width)
        last = random.choice(['', 'x = ', 'output x = '])
        return '\\n'.join(self.lines + [last + value.text]), value


def random_lanes(kind, width):
    size = (ELEMENTS, width)
    if kind == 'tribool':
        return np.random.choice(np.array([0, 1, UNKNOWN], np.uint8), size)
    if kind in ('i32', 'i64'):
        info = np.iinfo(TYPES[kind])
        few = [0, 1, -1, 2, -2, 7, -7, 5, 40, 16777217, info.min, info.max, info.max - 1]
        return np.random.choice(np.array(few, TYPES[kind]), size)
    info = np.finfo(TYPES[kind])
    few = [0, -0.0, 1, -1, 0.5, -0.5, 1.5, 2.5, -2.5, 0.1, 3, -7, 20.75, 1000.5, np.inf, -np.inf,
           np.nan, info.max, -info.max, info.tiny, 2.0 ** (info.nmant - 1) + 0.5, 2.0 ** 15]
    with np.errstate(all='ignore'):
        return np.random.choice(np.array(few).astype(TYPES[kind]), size)


def make_fields():
    fields = {}
    for name, kind, width in [('a', 'f32', 1), ('b', 'f32', 1), ('d', 'f64', 1), ('e', 'f64', 1),
                              ('h', 'f16', 1), ('g', 'f16', 1), ('i', 'i32', 1), ('k', 'i32', 1),
                              ('l', 'i64', 1), ('m', 'i64', 1), ('c', 'tribool', 1),
                              ('p', 'tribool', 1), ('v', 'f32', 3), ('w', 'f32', 3)]:
        fields[name] = Value(name, POSTFIX, random_lanes(kind, width),
                             np.random.random(ELEMENTS) < 0.8)
    return fields


def header(fields):
    lines = []
    for name, value in fields.items():
        lines.append(f'{name} {FORMATS[value.kind]} {value.width}')
        lines.append(np.ascontiguousarray(value.data).tobytes().hex())
        lines.append(''.join('1' if one else '0' for one in value.present))
    return '\n'.join(lines) + '\nend\n'


def difference(answer, value):
    """What differs between an answer and the expected value; empty if nothing does."""
    if answer.startswith('error'):
        return answer
    format_number, width, lanes, presence = answer.split(' ')
    if int(format_number) != FORMATS[value.kind] or int(width) != value.width:
        return f'format {format_number}x{width} instead of {value.kind}x{value.width}'
    present = np.frombuffer(presence.encode(), np.uint8) == ord('1')
    if (present != value.present).any():
        element = np.argmax(present != value.present)
        return f'presence of element {element}: {present[element]}'
    data = np.frombuffer(bytes.fromhex(lanes), TYPES[value.kind]).reshape(ELEMENTS, -1)
    bits = np.dtype(f'u{data.dtype.itemsize}')
    expected = np.ascontiguousarray(value.data)
    same = (data.view(bits) == expected.view(bits)) | ((data != data) & (expected != expected))
    same |= ~present[:, None]
    if same.all():
        return ''
    element = np.argmax(~same.all(axis=1))
    return f'element {element}: {data[element]} instead of {expected[element]}'


def main():
    program = sys.argv[1]
    count = int(sys.argv[2]) if len(sys.argv) > 2 else 3000
    seed = int(sys.argv[3]) if len(sys.argv) > 3 else 1
    failures = 0
    batch = 1000
    for number in range(0, count, batch):
        random.seed(seed + number)
        np.random.seed(seed + number)
        fields = make_fields()
        maker = Maker(fields)
        cases = [maker.formula() for _ in range(min(batch, count - number))]
        text = header(fields) + ''.join(formula + '\n' for formula, _ in cases)
        run = subprocess.run([program], input=text, capture_output=True, text=True, check=False)
        answers = run.stdout.splitlines()
        if run.returncode != 0 or len(answers) != len(cases):
            print(run.stdout[-2000:], run.stderr[-2000:])
            print(f'seed {seed + number}: {len(answers)} answers, status {run.returncode}')
            return 1
        for (formula, value), answer in zip(cases, answers):
            words = difference(answer, value)
            if words and failures < 10:
                print(f'{formula}\n    {words}')
            failures += bool(words)
    print(f'{count} formulas, {failures} differ')
    return failures > 0


sys.exit(main())
