"""Finds the small breaks that can be made in a C++ source."""
import collections
import dataclasses
import re


@dataclasses.dataclass(frozen=True)
class Mutant:
    """One break of one file: `text` replaces the characters from `start` to `end`."""

    file: str
    start: int
    end: int
    text: str
    line: int
    function: str  # the first line of the function or other declaration around it
    before: str  # the changed lines, with single spaces
    after: str  # the same lines with the break

    @property
    def key(self):
        """Identifies the break even if lines move."""
        return (self.file, self.function, self.before, self.after)

    def applied(self, source):
        return source[: self.start] + self.text + source[self.end :]


BLANKED = re.compile(
    r"//[^\n]*|/\*.*?\*/"  # comments
    r'|"(?:\\.|[^"\\\n])*"'  # string literals
    r"|^[ \t]*\#(?:[^\n]*\\\n)*[^\n]*"  # preprocessor lines
    r"|\bstatic_assert\b[^;]*;|\b__asm__\b[^;]*;"
    r"|\btemplate <[^\n]*>|\busing [^;]*;|\bnamespace [^\n{]*\{",
    re.DOTALL | re.MULTILINE,
)

OTHER_OPERATORS = {
    "<": ("<=", ">="), "<=": ("<", ">"), ">": (">=", "<="), ">=": (">", "<"),
    "==": ("!=",), "!=": ("==",), "&&": ("||",), "||": ("&&",),
    "+": ("-",), "-": ("+",), "*": ("/",), "/": ("*",), "%": ("/",),
    "<<": (">>",), ">>": ("<<",), "&": ("|",), "|": ("&",), "^": ("|",),
    "+=": ("-=",), "-=": ("+=",), "*=": ("/=",), "|=": ("&=",), "&=": ("|=",),
}
OPERATOR = re.compile(r"(?<=\s)(<<|>>|<=|>=|==|!=|&&|\|\||[-+*|&]=|[-<>+*/%&|^])(?=\s)")
INTEGER = re.compile(r"(?<![\w.'])(0[xX][0-9A-Fa-f]+|\d+)([uUlL]*)(?![\w.'])")
FLOAT = re.compile(r"(?<![\w.])(\d+)(\.\d+f?)(?!\w)")
POWER = re.compile(r"(?<=0x1p)-?\d+")
WORDS = (
    (re.compile(r"\btrue\b"), "false"),
    (re.compile(r"\bfalse\b"), "true"),
    (re.compile(r"\bFaults::(?!none\b)\w+"), "Faults::none"),
    (re.compile(r"\bExecRefusal::(?!None\b)\w+"), "ExecRefusal::None"),
    (re.compile(r"\bCpuElementKind::(?!Float64\b)\w+"), "CpuElementKind::Float64"),
    (re.compile(r"(?<![\w+])\+\+(?=[\w])"), "--"),
    (re.compile(r"(?<![\w-])--(?=[\w])"), "++"),
    (re.compile(r"!(?=[\w(])"), ""),
    (re.compile(r"(?<=[\s(,{])-(?=[\w(])"), ""),
    (re.compile(r"~(?=[\w(])(?!\w+\(\))"), ""),
    (re.compile(r"\bcase [\w:]+:"), ""),
)
STATEMENT = re.compile(
    r"(?<=[;{}):])\s*\n +"
    r"((?:\+\+|--)\w|break;|continue;"
    r"|(?!(?:return|if|for|while|switch|case|do|else|sizeof|throw|goto|alignas)\b)"
    r"[\w:.<>\[\]*]+(?:->[\w.]+)*(?:\(|(?: [-+*|&]?= )))"
)
CALL = re.compile(r"(?<=[\w>])[({]|(?<=[\s(,{])\{")
DECLARATION = re.compile(r"(?:[\w:<>, ]+[&*]*) (?:const )?\w+(?: = .*)?|void|class \w+")
CLOSING = {"(": ")", "{": "}", "[": "]"}


def blanked(source):
    """The source, with spaces instead of the parts in which no break may be made."""
    return BLANKED.sub(lambda found: re.sub(r"[^\n]", " ", found.group()), source)


def closing(code, opening):
    """The position of the bracket that closes the one at `opening`; None if there is none."""
    depth = 0
    for place in range(opening, len(code)):
        if code[place] in "({[":
            depth += 1
        elif code[place] in ")}]":
            depth -= 1
            if depth == 0:
                return place
    return None


def up_to(code, start, stops):
    """The position of the first of `stops` outside brackets, or of the bracket that ends them."""
    depth = 0
    for place in range(start, len(code)):
        here = code[place]
        if depth == 0 and here in stops:
            return place
        if here in "({[":
            depth += 1
        elif here in ")}]":
            if depth == 0:
                return place
            depth -= 1
    return len(code)


def arguments(code, opening, end):
    """The ranges of the arguments between two brackets. Commas of templates do not separate
    arguments."""
    ranges, depth, start = [], 0, opening + 1
    for place in range(opening + 1, end):
        here = code[place]
        opens = here in "({[" or (here == "<" and code[place + 1] not in " <=")
        closes = here in ")}]" or (here == ">" and code[place - 1] not in " -")
        depth += opens - closes
        if here == "," and depth == 0:
            ranges.append((start, place))
            start = place + 1
    ranges.append((start, end))
    trimmed = []
    for first, last in ranges:
        text = code[first:last]
        trimmed.append((first + len(text) - len(text.lstrip()), first + len(text.rstrip())))
    return trimmed


def of_operators(code):
    for found in OPERATOR.finditer(code):
        for other in OTHER_OPERATORS[found.group()]:
            yield found.start(), found.end(), other


def of_constants(code):
    for found in INTEGER.finditer(code):
        number = int(found.group(1), 0)
        write = hex if found.group(1)[:2].lower() == "0x" else str
        for other in (number + 1, number - 1):
            if other >= 0:
                yield found.start(), found.end(), write(other) + found.group(2)
    for found in FLOAT.finditer(code):
        yield found.start(), found.end(), str(int(found.group(1)) + 1) + found.group(2)
    for found in POWER.finditer(code):
        for other in (1, -1):
            yield found.start(), found.end(), str(int(found.group()) + other)


def of_words(code):
    for pattern, other in WORDS:
        for found in pattern.finditer(code):
            yield found.start(), found.end(), other


def of_conditions(code):
    for found in re.finditer(r"\b(?:if|if constexpr|while) \(", code):
        opening = found.end() - 1
        end = closing(code, opening)
        inside = code[opening + 1 : end]
        declared = re.match(r"const \w+ (\w+) = ", inside)
        if declared:
            yield end, end, f"; !{declared.group(1)}"
        else:
            yield opening, end + 1, f"(!({inside}))"
    for found in re.finditer(r"(?<=\s)\?(?=\s)", code):
        middle = up_to(code, found.end(), ":")
        while code[middle : middle + 2] == "::" or code[middle - 1 : middle + 1] == "::":
            middle = up_to(code, middle + 1, ":")
        end = up_to(code, middle + 1, ",;")
        if middle < len(code) and code[middle] == ":":
            yes, no = code[found.end() : middle].strip(), code[middle + 1 : end].strip()
            yield found.start(), end, f"? {no} : {yes}"


def of_statements(code):
    for found in STATEMENT.finditer(code):
        start = found.start(1)
        end = up_to(code, start, ";")
        if end < len(code) and code[end] == ";":
            yield start, end + 1, ";"


def of_arguments(code):
    for found in CALL.finditer(code):
        end = closing(code, found.start())
        if end is None or ";" in code[found.start() : end]:
            continue
        parts = arguments(code, found.start(), end)
        texts = [code[first:last] for first, last in parts]
        if any(not text or DECLARATION.fullmatch(text) for text in texts):
            continue
        for (first, middle), (second, last) in zip(parts, parts[1:]):
            left, right = code[first:middle], code[second:last]
            if left != right:
                yield first, last, right + code[middle:second] + left


def function_at(source, place):
    """The last line before `place` that begins a declaration at the left margin."""
    name = ""
    for line in source[:place].splitlines():
        if re.match(r"[A-Za-z_\[]", line) and not line.startswith(("template", "namespace")):
            name = " ".join(line.split())
    return name


def mutants_of(file, source):
    """Every break of one file, in source order."""
    code = blanked(source)
    found = set()
    for kind in (of_operators, of_constants, of_words, of_conditions, of_statements, of_arguments):
        found.update(kind(code))
    like = collections.Counter()
    for start, end, text in sorted(found):
        first = source.rfind("\n", 0, start) + 1
        last = source.find("\n", max(start, end - 1))
        before = " ".join(source[first:last].split())
        after = " ".join((source[first:start] + text + source[end:last]).split())
        if before == after:
            continue
        function = function_at(source, start)
        like[function, before, after] += 1
        number = like[function, before, after]
        yield Mutant(file, start, end, text, source.count("\n", 0, start) + 1,
                     function if number == 1 else f"{function} ({number})", before, after)
