#!/usr/bin/env python3
"""Makes a test out of each example in a document, so that what the document shows is what happens.

    documented_examples.py DOCUMENT OUTPUT.cpp

An example is a block of C++ below a heading of the third level. A comment behind an expression is its value, in the
spelling of tests/categories/Told.h; every such comment becomes an expectation.
"""

import re
import sys

EXAMPLE = re.compile(r"^### (\S+)\n+```cpp\n(.*?)^```$", re.MULTILINE | re.DOTALL)
VALUE = re.compile(r"^(\S.*);\s+// (.*)$")


def literal(text):
    return '"' + text.replace("\\", "\\\\").replace('"', '\\"') + '"'


def statement(line):
    shown = VALUE.match(line)
    return f"  EXPECT_EQ(told({shown.group(1)}), {literal(shown.group(2))});" if shown else f"  {line}"


def test(unit, code):
    name = re.sub(r"\W", "", unit)
    return "\n".join([f"TEST_F(ExtensionLibraryExamples, {name}) {{", *map(statement, code.splitlines()), "}", ""])


def main():
    document, output = sys.argv[1:]
    with open(document, encoding="utf-8") as file:
        examples = EXAMPLE.findall(file.read())
    with open(output, "w", encoding="utf-8") as file:
        file.write('#include "tests/categories/ExtensionLibraryExamples.h"\n\n')
        file.write("\n".join(test(unit, code) for unit, code in examples))


if __name__ == "__main__":
    main()
