"""Finds the conditions of decisions in C++ source as clang-format leaves it, and makes each one that can be turned.

A decision is what stands in if, while, for, before ? and behind return or in a bool, if it compares or combines; its
conditions are what && and || combine. A switch is none, and what is known when compiling is not looked at.
"""
import re

DECISION = re.compile(r"\b(if|while)( constexpr)? \(|\bfor \(|\breturn (?=[^;]*(==|!=|<=|>=| < | > |&&|\|\||!))"
                      r"|(?<= )\?(?= )"
                      r"|\bbool \w+ = |\bb(LockedByFork|Blocked)_ = ")
IN_AN_IF = re.compile(r"(?:const )?auto (\w+) = ")
COMPARES = re.compile(r"==|!=|<=|>=| < | > |&&|\|\||^!")
STARTS = set("(,{;[=")


def mask(text):
    """The text with comments, literals and preprocessor lines blanked, so that offsets stay."""
    def blank(match):
        return re.sub(r"[^\n]", "_" if match.group(0)[0] in "\"'" else " ", match.group(0))
    pattern = r'//[^\n]*|/\*.*?\*/|"(?:\\.|[^"\\\n])*"|(?<![\w])\'(?:\\.|[^\'\\])\'|^[ \t]*#(?:[^\n\\]|\\.|\\\n)*'
    text = re.sub(pattern, blank, text, flags=re.S | re.M)
    return re.sub(r"static_assert\([^;]*;", blank, text)


def closing(text, opened):
    """The place of the bracket that closes the one at opened."""
    depth = 0
    for at in range(opened, len(text)):
        depth += text[at] in "([{"
        depth -= text[at] in ")]}"
        if depth == 0:
            return at
    raise ValueError("no closing bracket")


def split_top(text, first, beyond, separators):
    """Ranges between separators that stand in no bracket."""
    ranges, start, at = [], first, first
    while at < beyond:
        if text[at] in "([{":
            at = closing(text, at)
        for separator in separators:
            if text.startswith(separator, at) and at < beyond:
                ranges.append((start, at))
                start = at + len(separator)
        at += 1
    return ranges + [(start, beyond)]


def leaves(text, first, beyond):
    """The conditions in a decision, brackets around several followed inside."""
    found = []
    for start, end in split_top(text, first, beyond, ["&&", "||"]):
        while start < end and text[start].isspace():
            start += 1
        while end > start and text[end - 1].isspace():
            end -= 1
        inner = text[start:end]
        if inner.startswith("(") and closing(text, start) == end - 1 and re.search(r"&&|\|\|", inner):
            found += leaves(text, start + 1, end - 1)
        elif inner.startswith("!(") and closing(text, start + 1) == end - 1 and re.search(r"&&|\|\|", inner):
            found += leaves(text, start + 2, end - 1)
        elif inner:
            found.append((start, end))
    return found


def before_question(text, question):
    """Where the condition of a ?: begins."""
    at, depth = question - 1, 0
    while at >= 0:
        char = text[at]
        if char in ")]}":
            depth += 1
        elif char in "([{":
            if depth == 0:
                return at + 1
            depth -= 1
        elif depth == 0:
            if char in ",;" or (char == ":" and text[at - 1] == " ") or (char == "?" and text[at - 1] == " "):
                return at + 1
            if char == "=" and text[at - 1] not in "=!<>" and text[at + 1] != "=":
                return at + 1
            if text.startswith("return ", at):
                return at + len("return ")
        at -= 1
    return 0


def decisions(text):
    """Ranges of whole decisions, but for that of a variable that is set in an if."""
    for match in DECISION.finditer(text):
        word = match.group(0)
        if word.startswith(("if constexpr",)):
            continue
        if word.startswith(("if", "while", "for")):
            first, beyond = match.end(), closing(text, match.end() - 1)
            parts = split_top(text, first, beyond, [";"])
            if word.startswith("for"):
                if len(parts) != 3 or not text[slice(*parts[1])].strip():
                    continue
                yield parts[1]
            elif not IN_AN_IF.match(text, first) or len(parts) > 1:
                yield parts[-1]
        elif word == "?":
            yield before_question(text, match.start()), match.start()
        else:
            end = split_top(text, match.end(), len(text), [";"])[0][1]
            if word.startswith("b") and text[match.end():end] in ("true", "false"):
                continue
            if " ? " in text[match.end():end] or not COMPARES.search(flat(text[match.end():end])):
                continue
            yield match.end(), end


def flat(text):
    """Without what stands in brackets."""
    while True:
        shorter = re.sub(r"\([^()]*\)|\[[^\[\]]*\]|\{[^{}]*\}|(?<=\w)<[\w:, *]+>(?=\()", "", text)
        if shorter == text:
            return text.strip()
        text = shorter


def conditions(source):
    """Ranges of all conditions of a file, in order, none within another."""
    text = mask(source)
    found = sorted({leaf for first, beyond in decisions(text) for leaf in leaves(text, first, beyond)})
    outer = []
    for first, beyond in found:
        if not any(a <= first and beyond <= b and (a, b) != (first, beyond)
                   for a, b in found if b - a < beyond - first):
            outer.append((first, beyond))
    # of two of which one lies in the other the smaller one is kept: lambdas in arguments hold decisions of their own
    return [r for r in outer if not any(r != o and r[0] <= o[0] and o[1] <= r[1] for o in outer)]


def name_ifs(source):
    """if (const auto x = ...) with the condition said: if (const auto x = ...; x)"""
    text, parts, last = mask(source), [], 0
    for match in re.finditer(r"\bif \(", text):
        variable, beyond = IN_AN_IF.match(text, match.end()), closing(text, match.end() - 1)
        if variable and ";" not in text[match.end():beyond]:
            parts += [source[last:beyond], f"; {variable.group(1)}"]
            last = beyond
    return "".join(parts) + source[last:]


def instrument(source, number_from):
    """(source in which each condition can be turned, [(line, condition)])"""
    source = name_ifs(source)
    names, parts, last = [], [], 0
    for first, beyond in conditions(source):
        condition = source[first:beyond]
        names.append((source.count("\n", 0, first) + 1, re.sub(r"\s+", " ", condition)))
        parts.append(source[last:first])
        parts.append(f"(ZtkMutant({number_from + len(names) - 1}) != !!({condition}))")  # in C as well
        last = beyond
    return "".join(parts) + source[last:], names
