"""The reference and the manual pages: they can be made without a warning, and tell what there is."""

import os
import pathlib
import re
import subprocess

import pytest

ROOT = pathlib.Path(__file__).resolve().parents[2]
FILTER = ROOT / "docs" / "reference" / "doxygen-comments"
LIBRARY_PAGE = (ROOT / "docs" / "extension-library.md").read_text()
MANUAL_PAGES = sorted((ROOT / "docs" / "man").iterdir())


@pytest.fixture(scope="module")
def reference(build, tmp_path_factory):
    """What the target of that name makes, in a folder of its own; and what was said on the way."""
    folder = tmp_path_factory.mktemp("reference")
    settings = (build / "docs" / "Doxyfile.reference").read_text() + f'\nOUTPUT_DIRECTORY = "{folder}"\n'
    run = subprocess.run(["doxygen", "-"], input=settings, cwd=ROOT, text=True, timeout=300, stdout=subprocess.PIPE,
                         stderr=subprocess.STDOUT)
    return folder / "html", run


def test_the_reference_is_made_without_a_warning(reference):
    folder, run = reference
    assert (run.returncode, run.stdout) == (0, "")
    assert "The extension library" in (folder / "index.html").read_text()


def test_the_reference_has_every_extension_and_what_its_header_says_of_it(reference):
    folder, _ = reference
    page = (folder / "NSArray_09Telvo_8h.html").read_text()
    for name in set(re.findall(r"\btelvo_\w+(?=\()", (ROOT / "categories" / "NSArray+Telvo.h").read_text())):
        assert name in page
    assert "The last element but one; nil when there are fewer than two." in page


def test_the_reference_has_the_owner_library(reference):
    folder, _ = reference
    assert "Asks the helper to stop" in (folder / "classtelvo_1_1Owner.html").read_text()
    assert not (folder / "Bus_8h.html").exists()


def filtered(tmp_path, header):
    path = tmp_path / "header.h"
    path.write_text(header)
    return subprocess.check_output([FILTER, path], text=True, timeout=60)


def test_a_comment_tells_about_all_functions_up_to_the_next_blank_line(tmp_path):
    text = filtered(tmp_path, "// Both.\nint one();\nint two(int x,\n        int y);\n\nint three();\n")
    functions = re.findall(r"^(?:/\*\* (\w+)\.\n\*/\n)?int (\w+)", text, re.MULTILINE)
    assert functions == [("Both", "one"), ("Both", "two"), ("", "three")]


def test_nothing_in_a_comment_is_a_command(tmp_path):
    text = filtered(tmp_path, '// A \\n, an <APP>, an @count and `a*b`.\nint one();  // 50% & more\n')
    assert "/** A \\\\n, an \\<APP\\>, an \\@count and `a*b`.\n" in text
    assert "int one();  ///< 50\\% \\& more" in text


def test_every_unit_has_an_example_with_values():
    table = LIBRARY_PAGE.split("## The units")[1].split("\n## ")[0]
    units = re.findall(r"^\| `(\S+)` \|", table, re.MULTILINE)
    headers = sorted(path.stem for path in (ROOT / "categories").glob("*+Telvo.h"))
    assert sorted(units) == headers
    examples = dict(re.findall(r"^### (\S+)\n+```cpp\n(.*?)^```$", LIBRARY_PAGE, re.MULTILINE | re.DOTALL))
    assert list(examples) == units
    for unit, example in examples.items():
        assert re.search(r"^\S.*;\s+// ", example, re.MULTILINE), unit


@pytest.mark.parametrize("page", MANUAL_PAGES, ids=lambda path: path.name)
def test_a_manual_page_is_set_without_a_warning(page):
    run = subprocess.run(["man", "--warnings", "-E", "UTF-8", "-l", "-Tutf8", "-Z", page], timeout=60, text=True,
                         stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, env=os.environ | {"LC_ALL": "C.UTF-8"})
    assert (run.returncode, run.stderr) == (0, "")


def test_the_manual_page_of_the_extensions_lists_every_header():
    page = (ROOT / "docs" / "man" / "telvo-extensions.7").read_text()
    listed = re.findall(r"^\.B (\S+\+Telvo\.h)$", page, re.MULTILINE)
    assert sorted(listed) == sorted(path.name for path in (ROOT / "categories").glob("*+Telvo.h"))


def test_the_owner_librarys_manual_page_names_every_header():
    page = (ROOT / "docs" / "man" / "libtelvo-owner.3").read_text()
    headers = {path.name for path in (ROOT / "owner").glob("*.h")}
    internal = {"Bus.h", "GLibObjects.h", "Message.h"}
    # What the others include.
    included = {"Namespace.h", "Upload.h"}
    assert set(re.findall(r"\b(\w+\.h)\b", page)) == headers - internal - included


def test_the_tools_manual_page_has_every_option(tool_path):
    page = (ROOT / "docs" / "man" / "telvo-upload.1").read_text().replace("\\-", "-")
    options = re.findall(r"(?<![\w-])--[a-z][-a-z]*", subprocess.check_output([tool_path, "--help"], text=True))
    assert options
    for option in set(options):
        assert re.search(rf"^\.B.*{option}\b", page, re.MULTILINE), option


def test_the_owners_guide_has_no_example_but_those_that_are_run():
    """By end_to_end.owner_examples (what is tried by hand) and end_to_end.cache_file (the file)."""
    guide = (ROOT / "docs" / "owners-guide.md").read_text()
    by_hand = guide.index("## Trying it by hand")
    examples = [(match.group(1), match.start() > by_hand) for match in re.finditer(r"^```(\w+)$", guide, re.MULTILINE)]
    assert sorted(examples) == [("sh", True)] * 3 + [("xml", False)]
