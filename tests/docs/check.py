#!/usr/bin/env python3
"""Compares what the documents say with the code, the files and the scripts."""

import argparse
import json
import os
import re
import shutil
import subprocess
import sys
import tempfile
import textwrap
from functools import lru_cache
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent.parent
LANGUAGES = {'cmake', 'console', 'cpp', 'diff', 'json', 'mermaid', 'yaml'}
NOT_OURS = {'.cache', '.git', '__pycache__', 'build'}


class Block:
    """A fenced block of a document."""

    def __init__(self, place, language, lines):
        self.place, self.language, self.lines = place, language, lines
        self.text = '\n'.join(lines) + '\n'


class Document:
    """A Markdown file, taken apart into blocks and the lines outside of them."""

    def __init__(self, path):
        self.path = path
        self.blocks, self.prose = [], []  # prose: (line number, line)
        block = None
        for number, line in enumerate((ROOT / path).read_text().splitlines(), 1):
            fence = re.match(r' *```(\S*)', line)
            if fence and block is None:
                block = (f'{path}:{number}', fence[1], [])
            elif fence:
                self.blocks.append(Block(*block))
                block = None
            elif block:
                block[2].append(line)
            else:
                self.prose.append((number, line))

    def inline_code(self):
        """(place, text) of everything between backticks."""
        for number, line in self.prose:
            for code in re.findall(r'`([^`]+)`', line):
                yield f'{self.path}:{number}', code

    @property
    def anchors(self):
        """The names under which GitHub offers the headings."""
        anchors = []
        for _, line in self.prose:
            if heading := re.match(r'#+ (.*)', line):
                anchor = re.sub(r'[^\w\- ]', '', heading[1].lower()).replace(' ', '-')
                again = sum(re.sub(r'-\d+$', '', known) == anchor for known in anchors)
                anchors.append(f'{anchor}-{again}' if again else anchor)
        return anchors


@lru_cache
def files():
    """Every file of the project, by its path from the project's folder."""
    found = []
    for folder, folders, names in os.walk(ROOT):
        folders[:] = sorted(set(folders) - NOT_OURS)
        found += [os.path.relpath(os.path.join(folder, name), ROOT) for name in sorted(names)]
    return found


@lru_cache
def documents():
    return {path: Document(path) for path in files() if path.endswith('.md')}


def blocks(language):
    return [block for document in documents().values() for block in document.blocks
            if block.language == language]


@lru_cache
def sources(*suffixes):
    return {path: (ROOT / path).read_text(errors='replace') for path in files()
            if path.endswith(suffixes)}


# --- Links ---

def check_links():
    """Every link leads to a file of the project, and to a heading that the file has."""
    for document in documents().values():
        for number, line in document.prose:
            for target in re.findall(r'\]\(([^)\s]+)\)', re.sub(r'`[^`]*`', '', line)):
                if re.match(r'https?:|mailto:', target):
                    continue
                name, _, anchor = target.partition('#')
                path = document.path
                if name:
                    path = os.path.normpath(Path(document.path).parent / name)
                place = f'{document.path}:{number}'
                if path not in files() and not any(f.startswith(path + '/') for f in files()):
                    yield f'{place}: {target}: there is no file {path}'
                elif anchor and anchor not in documents()[path].anchors:
                    yield f'{place}: {target}: {path} has no heading #{anchor}'


# --- Names ---

@lru_cache
def words():
    """Everything that is a word in a file other than a document."""
    return {word for text in sources('').items() if not text[0].endswith('.md')
            for word in re.findall(r'\w+', text[1])}


def is_known(name):
    """Whether `name` is a word of the code; with an ellipsis or star, the begin or end of one."""
    if name in words():
        return True
    begin, star, end = re.sub(r'…|\.\.\.', '*', name).partition('*')
    return bool(star and begin + end and
                any(word.startswith(begin) and word.endswith(end) for word in words()))


def check_names():
    """Names in backticks and in diagrams exist in the code; paths in backticks exist."""
    for document in documents().values():
        own = set(re.findall(r'\w+', ' '.join(block.text for block in document.blocks
                                              if block.language == 'diff')))
        for place, code in document.inline_code():
            if re.fullmatch(r'[\w.-]+(/[\w.{},-]+)+/?', code) and '.' not in code.split('/')[0]:
                folder = code.split('/')[0]
                if any(path.startswith(folder + '/') for path in files()):
                    if not (ROOT / code).exists():
                        yield f'{place}: there is no {code}'
            elif re.fullmatch(r'[A-Za-z_][\w:]*(\(\))?[…*]?|…_\w+', code) and \
                    re.search(r'[A-Z_:(]', code):
                for name in re.sub(r'\(\)$', '', code).split('::'):
                    if name not in own and not is_known(name):
                        yield f'{place}: nothing in the code has the name {name}'
    for block in blocks('mermaid'):
        _, _, diagram = block.text.replace('<br/>', ' ').partition('\n')
        for name in re.findall(r'\w+…?', diagram):
            if re.search(r'_|[a-z][A-Z]', name) and not is_known(name):
                yield f'{block.place}: nothing in the code has the name {name}'


# --- Texts: docs/messages.md has exactly those of compat/ ---

LITERAL = r'"((?:[^"\\]|\\.)*)"'
# The argument that is a text, by the function that is called with it.
TEXT_ARGUMENT = {'failed': ('reply', 0), 'debug_log': ('debug', 0), 'log_info': ('info', 0),
                 'log_warn': ('warn', 0), 'unsupported': ('reason', 1),
                 'operate_gateway': ('label', 4), 'write_valves': ('label', 2),
                 'operate_motor': ('label', 3)}
CALL = rf'\b({"|".join(TEXT_ARGUMENT)})\('


def arguments(text, begin):
    """The arguments of a call, `begin` standing behind its bracket."""
    found, depth, at, start = [], 0, begin, begin
    while depth >= 0:
        if text[at] == '"':
            at += len(re.compile(LITERAL).match(text, at)[0])
            continue
        depth += (text[at] in '([{') - (text[at] in ')]}')
        if depth < 0 or (depth == 0 and text[at] == ','):
            found.append(text[start:at].strip())
            start = at + 1
        at += 1
    return found


def template(expression):
    """A text of the code with a star for each part that varies; None if it is not built here."""
    if expression.startswith('text('):
        parts = arguments(expression, len('text('))
    elif re.fullmatch(rf'({LITERAL}\s*)+', expression):
        parts = [expression]
    else:
        return None
    return re.sub(r'\*+', '*', ''.join(''.join(re.findall(LITERAL, part))
                                       if re.fullmatch(rf'({LITERAL}\s*)+', part) else '*'
                                       for part in parts))


def built_into(variable, source):
    """The texts that are written into a variable: `x = text(...)` and `rewrite(x, ...)`."""
    return [f'text({", ".join(arguments(source, built.end()))})' for built in
            re.finditer(rf'\b(?:{variable} = text\(|rewrite\({variable}, )', source)]


def literals_of(source):
    """What `source` has in quotes, but for includes and what only the compiler says."""
    return re.findall(LITERAL, re.sub(r'^#.*|static_assert\([^;]*;', '', source, flags=re.M))


def sentences_elsewhere(source):
    """Literals with a blank in them that are not given to one of those functions."""
    given = ' '.join(argument for call in re.finditer(CALL, source)
                     for argument in arguments(source, call.end()))
    given += ' '.join(built_into('line', source))
    return {text for text in literals_of(source) if ' ' in text} - set(re.findall(LITERAL, given))


def texts_of_code():
    """(channel, template) of every text that compat/ builds, and what could not be read."""
    header = sources('.hpp')['compat/bottom_compat_orchestrator.hpp']
    constants = dict(re.findall(rf'const std::string (\w+) = {LITERAL};', header))
    explained = ''.join((ROOT / path).read_text() for path in
                        ('docs/messages.md', 'docs/embedding.md'))
    texts, unread = set(), []
    for path, source in sources('.cpp', '.hpp').items():
        if not path.startswith('compat/'):
            continue
        source = re.sub(r'//.*', '', source)
        if path.endswith('.hpp'):
            unread += [f'{path}: {text} belongs into a source, where it is read'
                       for text in literals_of(source)
                       if ' ' in text and text not in constants.values()]
            continue
        for sentence in sentences_elsewhere(source):
            unread.append(f'{path}: who says {sentence}?')
        unread += [f'{path}: {word} stands in neither docs/messages.md nor docs/embedding.md'
                   for word in literals_of(source) if ' ' not in word and word not in explained]
        for call in re.finditer(CALL, source):
            channel, position = TEXT_ARGUMENT[call[1]]
            given = arguments(source, call.end())
            if source[:call.start()].endswith('::'):
                continue  # the function itself
            text = constants.get(given[position], template(given[position]))
            if text is not None:
                texts.add((channel, text))
            elif given[position] == 'line':
                texts.update((channel, template(line)) for line in built_into('line', source))
            elif given[position] != 'label':  # handed on as it was given
                unread.append(f'{path}: {call[1]}: what text is {given[position]}?')
    # What `unsupported` makes of its reason is one reply for each reason.
    texts.remove(('reply', 'cmd * *'))
    for channel, text in sorted(texts):
        if channel == 'reason':
            texts.remove((channel, text))
            texts.add(('reply', 'cmd * ' + text))
    return texts, unread


def texts_of_document():
    """(place, channel, text) of every text that docs/messages.md lists."""
    channel = None
    for number, line in documents()['docs/messages.md'].prose:
        if line.startswith('## '):
            channel = {'Replies': 'reply', "Lines for the robot's user": 'user',
                       'Lines for engineers': 'debug', 'Labels': 'label'}.get(line[3:])
        place = f'docs/messages.md:{number}'
        if row := re.match(r'\| (info|warn) \| `([^`]+)`', line):
            yield place, row[1], row[2]
        elif row := re.match(r'\| `([^`]+)`', line):
            yield place, channel, row[1]


def check_texts():
    """docs/messages.md has every text of compat/, and no other."""
    code, unread = texts_of_code()
    yield from unread
    documented = set()
    for place, channel, text in texts_of_document():
        same = [(known, pattern) for known, pattern in code if known == channel and
                re.fullmatch(re.escape(pattern).replace(r'\*', r'(\[[^]]*\]|\S+)'), text)]
        # The closest alone: "tools_claw query_state" is not also an example of "tools_claw *".
        documented.update(sorted(same, key=lambda known: len(known[1]))[-1:])
        if not same:
            yield f'{place}: no {channel} text of compat/ is {text}'
    for channel, text in sorted(code - documented):
        yield f'docs/messages.md: the {channel} text {text} of compat/ is missing'


# --- Fields ---

def fields_of(path):
    return set(re.findall(r'^  [\w:<>]+ (\w+)(?: = \w+)?;', sources('.hpp')[path], re.M))


def check_fields():
    """docs/configuration.md has every field of the configuration, docs/commands.md of a request."""
    rows = {row[1] for _, line in documents()['docs/configuration.md'].prose
            if (row := re.match(r'\| `(\w+)` \|', line))}
    for name in sorted(rows ^ fields_of('compat/bottom_compat_config.hpp')):
        yield f'docs/configuration.md: {name} is missing, here or in the code'
    named = {code for _, code in documents()['docs/commands.md'].inline_code()}
    for name in sorted(fields_of('messages/vantrel_protocol/srv/bottom_interact_srv.hpp') - named):
        yield f'docs/commands.md: {name} is missing'


# --- Blocks ---

def check_languages():
    """Every block says what it is, so that it is known who checks it."""
    for document in documents().values():
        for block in document.blocks:
            if block.language not in LANGUAGES:
                yield f'{block.place}: what is a block of {block.language}?'


def is_excerpt(wanted, lines):
    """Whether `wanted` stands in `lines`, one below the other, however far indented."""
    for at in range(len(lines) - len(wanted) + 1):
        if lines[at].strip() == wanted[0].strip():
            piece = textwrap.dedent('\n'.join(lines[at:at + len(wanted)]))
            if piece.splitlines() == wanted:
                return True
    return False


def check_cpp():
    """Every block of C++ is a piece of a file that is built."""
    for block in blocks('cpp'):
        wanted = textwrap.dedent(block.text).splitlines()
        if not any(is_excerpt(wanted, text.splitlines())
                   for text in sources('.cpp', '.hpp').values()):
            yield f'{block.place}: no file has these lines; see examples/'


def run(command, **options):
    return subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                          **options)


def check_cmake(options):
    """The commands that build and install do so, and every block of CMake configures a project."""
    with tempfile.TemporaryDirectory() as folder:
        prefix = Path(folder) / 'prefix'
        (Path(folder) / 'vantrel_can_bridge').symlink_to(ROOT)
        environment = {**os.environ, 'CXX': options.compiler, 'CMAKE_GENERATOR': 'Ninja'}
        for block in blocks('console'):
            for line in block.lines if block.lines[0].startswith('$ cmake -S ') else []:
                command = line[2:].replace('/opt/bridge', str(prefix)).split()
                done = run(command, cwd=folder, env=environment)
                if done.returncode != 0:
                    yield f'{block.place}: {line[2:]}: fails:\n{done.stdout}'
        for number, block in enumerate(blocks('cmake')):
            project = Path(folder) / str(number)
            project.mkdir()
            (project / 'vantrel_can_bridge').symlink_to(ROOT)
            (project / 'CMakeLists.txt').write_text(
                'cmake_minimum_required(VERSION 3.21)\nproject(somebody_elses LANGUAGES CXX)\n'
                'add_executable(my_service vantrel_can_bridge/examples/minimal_service.cpp)\n'
                + block.text)
            configured = run(['cmake', '-S', project, '-B', project / 'build', '-G', 'Ninja',
                              f'-DCMAKE_CXX_COMPILER={options.compiler}',
                              f'-DCMAKE_PREFIX_PATH={prefix}'])
            if configured.returncode != 0:
                yield f'{block.place}: does not configure:\n{configured.stdout}'


def check_diffs(options):
    """The changes of a document apply, and what is below compat/ compiles with them."""
    for document in documents().values():
        changes = [block for block in document.blocks if block.language == 'diff']
        if not changes:
            continue
        with tempfile.TemporaryDirectory() as folder:
            shutil.copytree(ROOT, folder, dirs_exist_ok=True,
                            ignore=lambda _, names: NOT_OURS.intersection(names))
            for change in changes:
                applied = run(['patch', '--strip=1', '--no-backup-if-mismatch', '--fuzz=0'],
                              cwd=folder, input=change.text)
                if applied.returncode != 0:
                    yield f'{change.place}: does not apply:\n{applied.stdout}'
            changed = {line[6:] for change in changes for line in change.lines
                       if re.match(r'\+\+\+ b/.*\.cpp$', line)}
            for path in sorted(changed):
                compiled = run([options.compiler, '-std=c++17', '-fsyntax-only', '-Wall', '-Wextra',
                                '-Werror', '-I.', '-Imessages', path], cwd=folder)
                if compiled.returncode != 0:
                    yield f'{document.path}: {path} does not compile:\n{compiled.stdout}'


# --- Scripts ---

@lru_cache
def help_of(script):
    shown = run([ROOT / script, '--help'])
    return shown.stdout if shown.returncode == 0 else None


def presets(kind):
    return {preset['name'] for preset in json.loads(sources('.json')['CMakePresets.json'])[kind]}


def wrong_words(command):
    """What the program of a command line does not know of it."""
    program, *given = re.sub(r'\s# .*', '', command).split()
    if program in ('cmake', 'ctest'):
        kind = {'cmake': 'configurePresets', 'ctest': 'testPresets'}[program]
        if '--build' in given:
            kind = 'buildPresets'
        known = presets(kind)
        return [word for option, word in zip(given, given[1:])
                if option == '--preset' and word not in known]
    if program not in files():
        return [program]
    known = {'--help', *re.findall(r'[\w-]+', help_of(program) or '')}
    given = given[:given.index('--')] if '--' in given else given
    return [word for word in given if not word.isdigit() and word not in known]


def check_commands():
    """Every script explains itself, and every command that is shown exists with its words."""
    for script in files():
        if script.startswith('scripts/') and 'usage: ' not in (help_of(script) or '').lower():
            yield f'{script} --help: fails, or says nothing of its usage'
    shown = [(block.place, line[2:]) for block in blocks('console') for line in block.lines
             if line.startswith('$ ')]
    shown += [(place, code) for document in documents().values()
              for place, code in document.inline_code()
              if re.match(r'(scripts/\w|cmake |ctest )', code) and '…' not in code]
    for place, command in shown:
        for part in command.split(' && '):
            # These are run: tests/docs/examples_test.cpp.
            if part.startswith(('bottom-workbench ', 'jq ')) or part == 'echo $?':
                continue
            for word in wrong_words(part):
                yield f'{place}: {part}: what is {word}?'


QUICK = {'links': check_links, 'names': check_names, 'texts': check_texts, 'fields': check_fields,
         'languages': check_languages, 'cpp': check_cpp, 'commands': check_commands}
BUILDING = {'cmake': check_cmake, 'diffs': check_diffs}


def main():
    checks = {**QUICK, **BUILDING}
    parser = argparse.ArgumentParser(
        description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter,
        epilog='\n'.join(f'  {name:10}{check.__doc__}' for name, check in checks.items()))
    parser.add_argument('checks', nargs='*', metavar='CHECK',
                        help='see below; all if left out')
    parser.add_argument('--compiler', default='c++', help='C++ compiler (default c++)')
    options = parser.parse_args()
    for name in options.checks:
        if name not in checks:
            parser.error(f'no check "{name}"; there are: {" ".join(checks)}')

    found = False
    for name in options.checks or checks:
        problems = checks[name]() if name in QUICK else checks[name](options)
        for problem in problems:
            found = True
            print(f'{name}: {problem}')
    return found


if __name__ == '__main__':
    sys.exit(main())
