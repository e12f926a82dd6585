"""The one-place changes of a C++ source: its mutants.

Works on tokens, not on a syntax tree: it relies on the repository's clang-format style (a
binary operator has a blank on both sides, a template's angle brackets have none), and
leaves it to the compiler to refuse what makes no sense.
"""

import re
from dataclasses import dataclass

TOKEN = re.compile(
    r'(?P<skip>\s+|//[^\n]*|/\*.*?\*/|^[ \t]*#[^\n]*)'
    r'|(?P<text>"(?:\\.|[^"\\])*")'
    r"|(?P<char>'(?:\\.|[^'\\])+')"
    r"|(?P<number>\d[\w'.]*)"
    r'|(?P<word>[A-Za-z_]\w*)'
    r'|(?P<mark><<=|>>=|\.\.\.|->|::|\+\+|--|<<|>>|<=|>=|==|!=|&&|\|\||[-+*/%&|^]=|.)',
    re.S | re.M)

BINARY = {
    '==': ['!='], '!=': ['=='],
    '<': ['<=', '>='], '<=': ['<', '>'], '>': ['>=', '<='], '>=': ['>', '<'],
    '&&': ['||'], '||': ['&&'],
    '+': ['-'], '-': ['+'], '*': ['+'], '/': ['*'], '%': ['/'],
    '&': ['|'], '|': ['&'], '<<': ['>>'], '>>': ['<<'],
    '+=': ['-='], '|=': ['&=', '='], '=': [],
}

WORDS = {
    'true': ['false'], 'false': ['true'],
    'min': ['max'], 'max': ['min'], 'any_of': ['all_of', 'none_of'], 'floor': ['ceil'],
    'begin': ['end'], 'try_to_lock': ['defer_lock'],
    'succeeded': ['failed'], 'kExtend': ['kHome'], 'kHome': ['kExtend'],
    'Raised': ['Lowered', 'Unknown'], 'Lowered': ['Raised', 'Unknown'], 'Unknown': ['Lowered'],
    'RaiseIncomplete': ['LowerIncomplete'], 'LowerIncomplete': ['RaiseIncomplete'],
    'Continue': ['NewEmergency', 'BudgetExceeded'], 'NewEmergency': ['BudgetExceeded', 'Continue'],
    'BudgetExceeded': ['NewEmergency', 'Continue'],
    'debug_log': ['log_info'], 'log_info': ['log_warn'], 'log_warn': ['debug_log'],
    'light_mutex_': ['actuator_mutex_'], 'actuator_mutex_': ['light_mutex_'],
    'claw_mutex_': ['light_mutex_'],
    'selfclean_board': ['bottom_board'], 'bottom_board': ['selfclean_board'],
    'continue': ['break'], 'steady_clock': ['system_clock'],
}

# Siblings of one type: one is easily written in place of the other.
SIBLINGS = [('clean_', 'dirty_'), ('front_', 'rear_'), ('left_', 'right_'), ('_sub', '_bit'),
            ('_lock_', '_unlock_'), ('action_', 'position_'), ('_cmd', '_duty'), ('_select', '_cmd'),
            ('wheel_power', 'bump_unlock'), ('pumps', 'valves'), ('poll_interval', 'timeout')]

OPEN, CLOSE = '([{', ')]}'


@dataclass(frozen=True)
class Token:
    kind: str
    text: str
    start: int
    end: int


@dataclass(frozen=True)
class Mutant:
    """`source` with the text from `start` to `end` replaced."""
    file: str
    source: str
    start: int
    end: int
    replacement: str
    kind: str
    function: str  # that it is in; empty outside of all

    def mutated(self):
        return self.source[:self.start] + self.replacement + self.source[self.end:]

    def line(self):
        return self.source.count('\n', 0, self.start) + 1

    def lines(self):
        """The lines concerned, before and after, without indentation and empty ones."""
        first = self.source.rfind('\n', 0, self.start) + 1
        last = self.source.find('\n', self.end)
        before = self.source[first:last]
        after = self.source[first:self.start] + self.replacement + self.source[self.end:last]
        return tuple(tuple(line.strip() for line in part.split('\n') if line.strip())
                     for part in (before, after))


class Source:
    """A file, its tokens, and for each token what it stands in."""

    def __init__(self, file, source):
        self.file = file
        self.source = source
        self.tokens = [Token(m.lastgroup, m.group(), m.start(), m.end())
                       for m in TOKEN.finditer(source) if m.lastgroup != 'skip']
        self.partner = self._match_brackets()
        self.scope, self.function = self._find_scopes()
        self.fixed = self._find_fixed()

    def text(self, i):
        return self.tokens[i].text if 0 <= i < len(self.tokens) else ''

    def spaced(self, i):
        """Whether there is a blank or a line's end on both sides of a token."""
        token = self.tokens[i]
        return self.source[token.start - 1].isspace() and self.source[token.end].isspace()

    def span(self, first, last):
        return self.source[self.tokens[first].start:self.tokens[last].end]

    def _match_brackets(self):
        partner, stack = {}, []
        for i, token in enumerate(self.tokens):
            if token.kind == 'mark' and token.text in OPEN:
                stack.append(i)
            elif token.kind == 'mark' and token.text in CLOSE:
                partner[i] = stack.pop()
                partner[partner[i]] = i
        return partner

    def _find_scopes(self):
        """For each token: 'outside' (a namespace or class), 'list' (braces around values,
        enumerators) or 'code' (a function's body); and the name of the function."""
        scopes, functions, head = [], [], []
        stack = [('outside', '')]
        for token in self.tokens:
            if token.text == '{':
                scope = self._scope_of(head, stack[-1][0])
                function = stack[-1][1]
                if scope == 'code' and not function:
                    function = head[head.index('(') - 1]
                stack.append((scope, function))
            scopes.append(stack[-1][0])
            functions.append(stack[-1][1])
            if token.text == '}':
                stack.pop()
            if token.text in '{};':
                head = []
            else:
                head.append(token.text)
        return scopes, functions

    @staticmethod
    def _scope_of(head, outer):
        if 'enum' in head:
            return 'list'
        if ('class' in head or 'struct' in head or 'namespace' in head) and '(' not in head:
            return 'outside'
        if outer in ('code', 'list'):
            value = not head or head[-1] not in (')', ':', 'else', 'const', 'noexcept')
            return 'list' if outer == 'list' or (head and value) else 'code'
        return 'code' if '(' in head else 'list'

    def _find_fixed(self):
        """Tokens that are no behaviour: template heads, static assertions, enumerators."""
        fixed = set()
        for i, token in enumerate(self.tokens):
            if token.text == 'enum':
                body = next(j for j in range(i, len(self.tokens)) if self.text(j) in '{;')
                if self.text(body) == '{':
                    names = range(body, self.partner[body])
                    fixed.update(j for j in names if self.tokens[j].kind != 'number')
            if token.text == 'static_assert':
                fixed.update(range(i, self.partner[i + 1] + 1))
            if token.text == 'template':
                end = i
                while self.tokens[end].start < self.source.find('\n', token.start):
                    end += 1
                fixed.update(range(i, end))
        return fixed

    # --- Mutants ---

    def mutants(self):
        found = {}
        for i in range(len(self.tokens)):
            if i in self.fixed:
                continue
            for first, last, replacement, kind in self._changes_at(i):
                start, end = self.tokens[first].start, self.tokens[last].end
                if self.source[start:end] != replacement:
                    mutant = Mutant(self.file, self.source, start, end, replacement, kind,
                                    self.function[first])
                    found.setdefault((start, end, replacement), mutant)
        return list(found.values())

    def _changes_at(self, i):
        token = self.tokens[i]
        if token.kind == 'number':
            yield from self._number(i)
        elif token.kind == 'text':
            yield from self._literal(i)
        elif token.kind == 'char':
            yield i, i, "'?'", 'constant'
        elif token.kind == 'word':
            yield from self._word(i)
        if self.scope[i] == 'code':
            yield from self._operator(i)
            yield from self._condition(i)
            yield from self._statement(i)
        is_list = token.text == '{' and self.scope[i] == 'list'
        if (token.text == '(' and self.scope[i] == 'code') or is_list:
            yield from self._swaps(i)

    def _number(self, i):
        digits, suffix = re.fullmatch(r"((?:0[xX][0-9a-fA-F']+)|[\d']+)(\D*)", self.text(i)).groups()
        value = int(digits.replace("'", ''), 0)
        yield i, i, f'{value + 1}{suffix}', 'constant'
        if value > 0:
            yield i, i, f'{value - 1}{suffix}', 'constant'

    def _literal(self, i):
        inner = self.text(i)[1:-1]
        yield i, i, f'"{inner}!"', 'text'
        if inner:
            yield i, i, f'"{inner[1:]}"', 'text'

    def _word(self, i):
        word = self.text(i)
        for other in WORDS.get(word, []):
            if word == 'succeeded':
                yield i, i + 2, 'failed("")', 'value'
            elif word != 'failed':
                yield i, i, other, 'value'
        if self.scope[i] != 'code':
            return
        for a, b in SIBLINGS:
            for one, other in ((a, b), (b, a)):
                if one in word and (one != 'clean_' or 'selfclean' not in word):
                    yield i, i, word.replace(one, other), 'sibling'

    def _operator(self, i):
        mark = self.text(i)
        if mark in BINARY and self.tokens[i].kind == 'mark' and self.spaced(i):
            for other in BINARY[mark]:
                yield i, i, other, 'operator'
            if mark in ('&&', '||'):
                left, right = self._operand(i, -1), self._operand(i, 1)
                yield left, i, '', 'operand'
                yield i, right, '', 'operand'
        elif mark == '++':
            yield i, i, '--', 'operator'
        elif mark == '!' or (mark == '-' and not self.spaced(i)):
            yield i, i, '', 'operator'
        elif mark == '?':
            yield from self._choice(i)

    def _operand(self, i, step):
        """The last token of the operand on that side of the operator at `i`."""
        last = i
        while True:
            j = last + step
            if self.text(j) in (CLOSE if step < 0 else OPEN):
                j = self.partner[j]
            elif (self.text(j) in ('&&', '||', ',', ';', '?', ':', 'return', '=') or
                  self.text(j) in OPEN + CLOSE):
                return last
            last = j

    def _choice(self, i):
        """The two values of a `?:`, swapped."""
        colon, end = None, i + 1
        while not (self.text(end) in (',', ';') or self.text(end) in CLOSE):
            if self.text(end) == ':':
                colon = end
            end = self.partner[end] + 1 if self.text(end) in OPEN else end + 1
        yes, no = self.span(i + 1, colon - 1), self.span(colon + 1, end - 1)
        yield i + 1, end - 1, f'{no} : {yes}', 'choice'

    def _condition(self, i):
        if self.text(i) not in ('if', 'while') or self.text(i + 1) != '(':
            return
        last = self.partner[i + 1] - 1
        first = max([i + 1] + [j for j in range(i + 1, last) if self.text(j) == ';']) + 1
        yield first, last, f'!({self.span(first, last)})', 'condition'

    def _statement(self, i):
        """Each whole statement, dropped; a declaration only if it holds a lock."""
        if not self._starts_statement(i):
            return
        last = i
        while self.text(last) != ';':
            if self.text(last) in CLOSE:
                return
            last = self.partner[last] + 1 if self.text(last) in OPEN else last + 1
        statement = self.span(i, last)
        if re.match(r'const std::lock_guard\b', statement):
            yield i, last, '', 'lock'
            return
        if re.match(r'(if|for|while|switch|do|else|case|default|using|struct|static|constexpr|const'
                    r'|auto)\b', statement):
            return
        is_return = statement.startswith(('return', 'break', 'continue'))
        if not is_return and re.match(r'[\w:]+(<[^;=]*>)?[&*]? \w+( =|\(|\{|;|\[)', statement):
            return
        ends_function = self.text(last + 1) == '}' and self.text(self.partner[last + 1] - 1) in (
            ')', 'const', 'noexcept') and self._is_function(self.partner[last + 1])
        if not (is_return and ends_function):
            yield i, last, ';', 'statement'

    def _starts_statement(self, i):
        if self.text(i - 1) == ':':  # of a label, or of a `?:`
            line = self.source[:self.tokens[i - 1].start].rsplit('\n', 1)[-1]
            return line.strip().startswith(('case', 'default'))
        return self.text(i - 1) in ('{', '}', ';') and self.text(i) not in CLOSE

    def _is_function(self, brace):
        before = brace - 1
        while self.text(before) in ('const', 'noexcept'):
            before -= 1
        return self.text(self.partner[before] - 1) not in ('if', 'for', 'while', 'switch')

    def _swaps(self, i):
        """Each two neighbouring arguments, swapped, where their order can matter."""
        if self.text(i - 1) in ('min', 'max') or self.span(i - 1, i - 1) == '>' and re.search(
                r'std::(min|max)<[\w:]+>$', self.source[:self.tokens[i].start]):
            return
        bounds, j = [i], i + 1
        while j < self.partner[i]:
            if self.text(j) == ';':
                return
            if self.text(j) == ',':
                bounds.append(j)
            j = self.partner[j] + 1 if self.text(j) in OPEN else j + 1
        bounds.append(self.partner[i])
        for a, b, c in zip(bounds, bounds[1:], bounds[2:]):
            if a + 1 < b and b + 1 < c:
                left, right = self.span(a + 1, b - 1), self.span(b + 1, c - 1)
                yield a + 1, c - 1, f'{right}, {left}', 'swap'
        return
