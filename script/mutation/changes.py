"""The one-place changes that can be made to the production sources: found in the text by fixed rules, in a fixed order."""

import bisect
import collections
import dataclasses
import pathlib
import re

ROOMS = ["base", "platform", "events", "bridge", "host"]

# Generated, or no code of this project's.
LEFT_OUT = {"base/unicode_tables.h", "base/boost_json.cpp"}

OPPOSITES = {
    "<": "<=", "<=": "<", ">": ">=", ">=": ">", "==": "!=", "!=": "==", "&&": "||", "||": "&&",
    "+": "-", "-": "+", "*": "/", "/": "*", "%": "/", "<<": ">>", ">>": "<<", "&": "|", "|": "&",
    "+=": "-=", "-=": "+=", "++": "--", "--": "++",
}
MODES = {"0600": ["0644", "0400"], "0700": ["0755", "0500"]}
NAMES_WITH_A_DIGIT = re.compile(r"[A-Za-z_]\w*")


@dataclasses.dataclass(frozen=True)
class Change:
    """Pieces of one file's text, each with what takes its place."""
    file: str
    line: int
    rule: str
    pieces: tuple  # of (start, end, new text), in the order of the text
    name: str = ""
    constant: str = ""  # the name of the constant whose value is changed, if it is one
    is_limit: bool = False  # a number that decides something, outside of constants
    is_default: bool = False  # what a record's field holds before it is filled

    def applied_to(self, text):
        for start, end, new in reversed(self.pieces):
            text = text[:start] + new + text[end:]
        return text


def source_files(root):
    """The files that are changed, as paths relative to `root`, in order."""
    root = pathlib.Path(root)
    files = sorted(path for room in ROOMS for path in (root / room).iterdir() if path.suffix in (".cpp", ".h"))
    names = [path.relative_to(root).as_posix() for path in files]
    names.sort(key=lambda name: ROOMS.index(name.split("/")[0]))
    return [name for name in names if name not in LEFT_OUT and "_mac" not in name]


def without_texts(source):
    """The source with comments, literal texts and preprocessor lines blanked out, so that every offset stays."""
    pattern = re.compile(r'//[^\n]*|/\*.*?\*/|"(?:[^"\\\n]|\\.)*"|(?<![0-9A-Fa-f])\'(?:[^\'\\\n]|\\.)+\'|^[ \t]*#[^\n]*',
                         re.DOTALL | re.MULTILINE)
    return pattern.sub(lambda match: re.sub(r"[^\n]", " ", match[0]) if match[0][0] != "'" else
                       "'" + "_" * (len(match[0]) - 2) + "'", source)


def closing(code, start):
    """Where the bracket that opens at `start` is closed."""
    depth = 0
    for place in range(start, len(code)):
        depth += (code[place] in "([{") - (code[place] in ")]}")
        if depth == 0:
            return place
    raise ValueError("unbalanced brackets")


def outermost(code, start, end, wanted):
    """Where `wanted` stands between `start` and `end` outside of all brackets, or -1."""
    place = start
    while place < end:
        if code.startswith(wanted, place):
            return place
        place = closing(code, place) + 1 if code[place] in "([{" else place + 1
    return -1


class Finder:
    """Finds the changes of one file."""

    def __init__(self, file, source, enumerations):
        self.file = file
        self.source = source
        self.code = without_texts(source)
        self.enumerations = enumerations
        self.line_starts = [0] + [match.end() for match in re.finditer("\n", source)]
        self.found = []

    def line_of(self, place):
        return bisect.bisect_right(self.line_starts, place)

    def line_text(self, place):
        line = self.line_of(place)
        end = self.line_starts[line] if line < len(self.line_starts) else len(self.code)
        return self.code[self.line_starts[line - 1]:end]

    def add(self, rule, *pieces, constant="", is_limit=False):
        line = self.line_text(pieces[0][0])
        is_default = self.file.endswith(".h") and re.match(r"\s+[\w:<>]+ \w+ = [\w:]+;", line) is not None
        self.found.append(Change(self.file, self.line_of(pieces[0][0]), rule, pieces, constant=constant, is_limit=is_limit,
                                 is_default=is_default))

    def is_left_out(self, place):
        # Assertions are no part of what is shipped, and declarations of templates and operators compute nothing.
        text = self.line_text(place).lstrip()
        return text.startswith(("assert(", "static_assert(", "template ", "friend ", "using ")) or "operator" in text

    def all_changes(self):
        for rule in (self.numbers, self.operators, self.negations, self.conditions, self.choices, self.booleans,
                     self.enumerators, self.error_numbers, self.flags, self.statements):
            rule()
        self.found.sort(key=lambda change: (change.pieces[0][0], change.rule, change.pieces))
        seen = collections.Counter()
        for change in self.found:
            name = f"{change.file}:{change.line}:{change.rule}"
            seen[name] += 1
            yield dataclasses.replace(change, name=name if seen[name] == 1 else f"{name}.{seen[name]}")

    # Numbers: every limit, width and code by one, permissions by what would matter.
    def numbers(self):
        for match in re.finditer(r"(?<![\w.'])(0[xX][0-9A-Fa-f]+|\d+(?:\.\d+)?(?:e\d+)?)([uUlL]*)(?![\w.'])", self.code):
            if self.is_left_out(match.start()) or self.is_template_argument(match.end()) or self.is_pure(match):
                continue
            operator = re.search(r" (<|<=|>|>=) $", self.code[max(0, match.start() - 4):match.start()])
            declared = re.search(r"constexpr [\w:]+(?: [\w:]+)* (\w+) = $", self.code[:match.start()])
            constant = declared[1] if declared else ""
            for rule, new in self.number_changes(match[1]):
                # "< 8" with 9 is "<= 8", which the comparisons have already.
                same = {"<": "number+1", ">=": "number+1"}.get(operator[1], "number-1") if operator else ""
                if rule == same and "." not in match[1]:
                    continue
                is_limit = match[1] not in ("0", "1") and (operator is not None or self.stands_among_limits(match.start()))
                self.add(rule, (match.start(1), match.end(1), new), constant=constant, is_limit=is_limit)

    def number_changes(self, text):
        if text in MODES:
            return [(f"permissions {mode}", mode) for mode in MODES[text]]
        if "e" in text and not text.startswith("0x"):
            return [("number+1", f"({text} + 1)"), ("number-1", f"({text} - 1)")]
        if "." in text:
            whole, fraction = text.split(".")
            return [("number+1", f"{int(whole) + 1}.{fraction}"), ("number-1", f"({int(whole) - 1}.{fraction})")]
        value = int(text, 16) if text[:2].lower() == "0x" else int(text)
        form = f"0x{{:0{len(text) - 2}X}}" if text[:2].lower() == "0x" else "{}"
        # Below zero there is no limit, and most of the zeros would leave the range of their type.
        return [("number+1", form.format(value + 1))] + ([("number-1", form.format(value - 1))] if value > 0 else [])

    # Low in the program most numbers are widths, shifts and digits of codes; higher up they are limits. The parts of a date
    # come with theirs as arguments.
    def stands_among_limits(self, place):
        return not self.file.startswith("base/") or "number(" in self.line_text(place)

    def is_pure(self, match):
        return match[0] == "0" and re.search(r"\)(?: const)?\s*= $", self.code[:match.start()]) is not None

    def is_template_argument(self, end):
        before, after = self.line_text(end)[:end - self.line_starts[self.line_of(end) - 1]], self.code[end:end + 1]
        return after == ">" and re.search(r"<[^()<]*$", before) is not None

    # Operators of two operands stand between blanks here; those of templates and references do not.
    def operators(self):
        for match in re.finditer(r"(?<=\s)(<=|>=|==|!=|&&|\|\||<<|>>|<|>|\+|-|\*|/|%|&|\||\+=|-=)(?= )", self.code):
            if self.is_left_out(match.start()) or self.line_text(match.start()).rstrip().endswith("= delete;"):
                continue
            if match[1] == "|" and re.search(r"\bO_\w+|flags", self.line_text(match.start())):
                continue  # flags are dropped one by one
            self.add(f"{match[1]} to {OPPOSITES[match[1]]}", (match.start(), match.end(), OPPOSITES[match[1]]))
        for match in re.finditer(r"\+\+|--", self.code):
            if "for (" not in self.line_text(match.start()):
                self.add(f"{match[0]} to {OPPOSITES[match[0]]}", (match.start(), match.end(), OPPOSITES[match[0]]))

    # A "!" within a larger condition; whole conditions are negated below.
    def negations(self):
        for match in re.finditer(r"(?<![\w)])!(?![=\s])", self.code):
            if not self.is_left_out(match.start()) and not re.search(r"(if|while) \($", self.code[:match.start()]):
                self.add("! dropped", (match.start(), match.end(), ""))

    # Conditions of if and while: negated, and what hangs on them never done; a check that ends in a refusal is then no more.
    def conditions(self):
        for match in re.finditer(r"\b(if|while) \(", self.code):
            opening = match.end() - 1
            end = closing(self.code, opening)
            semicolon = outermost(self.code, opening + 1, end, ";")
            start = opening + 1 if semicolon < 0 else semicolon + 1
            condition = self.source[start:end].strip()
            declaration = re.match(r"(?:const )?(?:auto|[\w:<>]+)[ &*]+(\w+) = ", condition) if semicolon < 0 else None
            subject = declaration[1] if declaration else f"({condition})"
            prefix = f"{condition}; " if declaration else " " if semicolon >= 0 else ""
            if not self.is_one_comparison(start, end):
                self.add("condition negated", (start, end, f"{prefix}!{subject}"))
            if match[1] == "if":
                follows = self.code[end + 1:].lstrip()
                body = follows if follows[0] != "{" else follows[1:closing(follows, 0)]
                is_check = re.match(r"\s*(?:return|continue|break)\b", body) or (follows[0] == "{" and "return " in body)
                rule = "check dropped" if is_check else "branch dropped"
                self.add(rule, (start, end, f"{prefix}{subject} && false"))

    def is_one_comparison(self, start, end):
        condition = self.code[start:end]
        return not re.search(r"&&|\|\|", condition) and re.search(r" (==|!=) ", condition) is not None

    # The two outcomes of "?:" exchanged.
    def choices(self):
        for match in re.finditer(r"\s\? ", self.code):
            colon = outermost(self.code, match.end(), len(self.code), ": ")
            end = colon + 2
            while self.code[end] not in ";,)]}":
                end = closing(self.code, end) + 1 if self.code[end] in "([{" else end + 1
            first, second = self.source[match.end():colon].strip(), self.source[colon + 2:end].strip()
            self.add("choices exchanged", (match.end(), end, f"{second} : {first}"))

    def booleans(self):
        for match in re.finditer(r"\b(true|false)\b", self.code):
            new = "false" if match[1] == "true" else "true"
            self.add(f"{match[1]} to {new}", (match.start(), match.end(), new))

    # A kind of error, or any other value of an enumeration, replaced by the next one.
    def enumerators(self):
        for match in re.finditer(r"\b(\w+)::(\w+)\b(?!::|\()", self.code):
            values = self.enumerations.get(match[1], [])
            if match[2] in values and not self.line_text(match.start()).lstrip().startswith(("case ", "using ")):
                new = values[(values.index(match[2]) + 1) % len(values)]
                self.add("next enumerator", (match.start(2), match.end(2), new))

    def error_numbers(self):
        for match in re.finditer(r"\bE[A-Z]{2,}\b", self.code):
            self.add("other error number", (match.start(), match.end(), "EDOM"))

    def flags(self):
        for match in re.finditer(r"\bO_[A-Z]+\b", self.code):
            before, after = self.code[match.start() - 3:match.start()] == " | ", self.code[match.end():match.end() + 3] == " | "
            if match[0] != "O_RDONLY" and (before or after):
                self.add(f"{match[0]} dropped", (match.start() - 3 * (not after), match.end() + 3 * after, ""))
        for match in re.finditer(r"F_DUPFD_CLOEXEC", self.code):
            self.add("close-on-exec dropped", (match.start(), match.end(), "F_DUPFD"))

    # Statements that do something without naming a result of their own.
    def statements(self):
        target = r"\*?[A-Za-z_:][\w:]*(?:(?:\.|->)\w+|\[[^\]\n]*\])*"
        for match in re.finditer(rf"^([ \t]+)({target})(?:\(| (?:=|\+=|-=) )", self.code, re.MULTILINE):
            if match[2] in ("return", "if", "for", "while", "switch", "assert", "static_assert", "do", "alignas"):
                continue
            before = self.code[:match.start()].rstrip()
            if not before or (before[-1] not in ";{}):" and not before.endswith(("else", "do"))):
                continue  # the line goes on with what an earlier one began
            end = outermost(self.code, match.start(2), len(self.code), ";")
            body_of_function = self.code.find("{", match.start(2), end)
            if body_of_function >= 0 and self.code[match.start(2):body_of_function].rstrip().endswith((")", "const")):
                continue  # a function's definition
            if before[-1] == ":" and re.search(r"(public|private):$", before):
                continue
            dropped = " ".join(self.source[match.start(2):end].split())
            self.add("statement dropped", (match.start(2), end, f"(void)0 /* {dropped} */"))


def enumerations_of(sources):
    """The values of every enumeration, by its name."""
    result = {}
    for source in sources.values():
        for match in re.finditer(r"enum class (\w+)[^{;]*\{([^}]*)\}", without_texts(source)):
            result[match[1]] = NAMES_WITH_A_DIGIT.findall(match[2])
    return result


def all_changes(root):
    """Every change, in the order of the files and of their lines."""
    sources = {name: (pathlib.Path(root) / name).read_text(encoding="utf-8") for name in source_files(root)}
    enumerations = enumerations_of(sources)
    return [change for name, source in sources.items() for change in Finder(name, source, enumerations).all_changes()]
