#!/usr/bin/env python3
"""Changes one place of the product at a time, rebuilds the product and runs the tests until one fails.

usage: mutants.py BUILD [COUNT] [SEED]

The share of changes that a test catches measures the quality of the tests. For unchanged sources,
the same seed chooses the same places. A change that does not compile is skipped and does not count.
"""

import pathlib
import random
import re
import shutil
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
PARTS = ["base/include", "client/src", "utils/include", "utils/src", "tools/qxagent-manage/src"]
# Tests that compare builds or take long. Other tests cover the same code.
LEFT_OUT = "Reproducible|packaging|chaos|Valgrind"
LONGEST_RUN = 600  # seconds; a longer run counts as a hang, so the change is caught

STRING = re.compile(r'"(?:\\.|[^"\\])*"|\'(?:\\.|[^\'\\])*\'')
COMMENT = re.compile(r"//.*")


def replacements(code):
    """Yields (start, end, replacement) for each possible change of `code`, a line without its strings and comment."""
    swaps = {"==": "!=", "!=": "==", "<": "<=", "<=": "<", ">": ">=", ">=": ">", "&&": "||", "||": "&&"}
    for match in re.finditer(r" (==|!=|<=|>=|<|>|&&|\|\|) ", code):
        yield match.start(1), match.end(1), swaps[match.group(1)]
    for match in re.finditer(r"\b(true|false)\b", code):
        yield match.start(), match.end(), "false" if match.group() == "true" else "true"
    for match in re.finditer(r"!(?=[A-Za-z_:(])", code):
        yield match.start(), match.end(), ""
    for match in re.finditer(r"(?<![\w.'])(\d+)(?![\w.'])", code):
        yield match.start(), match.end(), str(int(match.group()) + 1)
    statement = re.fullmatch(r"\s+((?:::)?[a-z_][\w:.>-]*\(.*\);|\+\+.*;|--.*;)\s*", code)
    if statement:
        yield statement.start(1), statement.end(1), ";"


def places():
    """Yields (file, line number, new line) for every possible change."""
    for part in PARTS:
        for path in sorted((ROOT / part).rglob("*")):
            if path.suffix not in (".cpp", ".h"):
                continue
            for number, line in enumerate(path.read_text().split("\n")):
                if line.lstrip().startswith(("#", "//", "*", "static_assert")):
                    continue
                code = STRING.sub(lambda text: "_" * len(text.group()), line)
                code = COMMENT.sub("", code)
                for start, end, new in replacements(code):
                    yield path.relative_to(ROOT), number, line[:start] + new + line[end:]


def run(command, **options):
    return subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, **options)


class Copy:
    """A copy of the sources with its own build."""

    def __init__(self, folder):
        self.source = folder / "source"
        self.build = folder / "build"
        shutil.rmtree(folder, ignore_errors=True)
        self.source.mkdir(parents=True)
        files = run(["git", "ls-files"], cwd=ROOT, check=True).stdout.split()
        for name in files:
            (self.source / name).parent.mkdir(parents=True, exist_ok=True)
            shutil.copy2(ROOT / name, self.source / name)
        run(["git", "init", "-q"], cwd=self.source)
        configure = ["cmake", "-G", "Ninja", "-S", self.source, "-B", self.build]
        run(configure, check=True)
        if not self.compiles() or self.failing_test():
            sys.exit("mutants: the tests fail without any change; see " + str(self.build))

    def compiles(self):
        return run(["ninja", "-C", self.build]).returncode == 0

    def failing_test(self):
        """Returns the name of a failing test, or None."""
        tests = ["ctest", "--test-dir", self.build, "-j2", "--stop-on-failure", "-E", LEFT_OUT]
        try:
            result = run(tests, timeout=LONGEST_RUN)
        except subprocess.TimeoutExpired:
            return "a hang"
        failed = re.search(r"^\s*\d+ - (\S+) \(", result.stdout, re.MULTILINE)
        return failed.group(1) if failed else None if result.returncode == 0 else "ctest"

    def change(self, path, number, line):
        lines = (ROOT / path).read_text().split("\n")
        lines[number] = line
        (self.source / path).write_text("\n".join(lines))

    def restore(self, path):
        (self.source / path).write_text((ROOT / path).read_text())


def main():
    build = pathlib.Path(sys.argv[1]).resolve() / "mutants"
    count = int(sys.argv[2]) if len(sys.argv) > 2 else 40
    seed = int(sys.argv[3]) if len(sys.argv) > 3 else 1
    candidates = list(places())
    random.Random(seed).shuffle(candidates)
    copy = Copy(build)
    tried = caught = 0
    for path, number, line in candidates:
        if tried == count:
            break
        copy.change(path, number, line)
        if copy.compiles():
            test = copy.failing_test()
            tried += 1
            caught += test is not None
            print(f"{tried:3} {'caught by ' + test if test else 'SURVIVED'}: {path}:{number + 1}: {line.strip()}",
                  flush=True)
        copy.restore(path)
    print(f"{caught} of {tried} changes caught, chosen from {len(candidates)} with seed {seed}")


main()
