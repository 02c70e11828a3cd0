"""The order of the layers and rooms, as docs/architecture.md tells it and as the compiler holds it."""

import ast
import json
import os
import pathlib
import re
import shlex
import subprocess

import pytest

ROOT = pathlib.Path(__file__).resolve().parents[2]
ARCHITECTURE = (ROOT / "docs/architecture.md").read_text()

# Each layer with the layers that it may include; all that is not listed is above it, or beside it.
LAYERS = {
    "platform/foundation": [],
    "platform/systemconfiguration": ["platform/foundation"],
    "platform/appkit": ["platform/foundation"],
    "platform/cfnetwork": ["platform/foundation"],
    "categories": ["platform/foundation", "platform/appkit"],
    "streams": ["categories", "platform/foundation", "platform/appkit", "platform/cfnetwork",
                "platform/systemconfiguration"],
    "app": ["streams", "categories", "platform/foundation", "platform/appkit", "platform/cfnetwork",
            "platform/systemconfiguration"],
}
# What is written and kept in this repository.
SOURCES = ["app", "bench", "categories", "examples", "owner", "packaging", "platform", "streams", "testing", "tests",
           "tools"]
LONGEST_SOURCE = 450
LONGEST_FUNCTION = 60


def files_below(folder):
    return [path for path in sorted((ROOT / folder).rglob("*"))
            if path.is_file() and not {"__pycache__", "corpus"} & set(path.parts)]


def sources_of(folder):
    return [path for path in files_below(folder) if path.suffix in (".h", ".cpp")]


def includes_of(path):
    return re.findall(r'^\s*#\s*include\s*[<"]([^>"]+)[>"]', path.read_text(errors="replace"), re.MULTILINE)


def name_of(layer):
    return layer.rsplit("/", 1)[-1]


@pytest.mark.parametrize("layer", LAYERS)
def test_a_layer_includes_only_what_is_below_it(layer):
    others = {name_of(other): other for other in LAYERS}
    allowed = {layer, *LAYERS[layer]}
    files = sources_of(layer)
    assert files
    for path in files:
        for include in includes_of(path):
            assert ".." not in include.split("/"), f"{path} includes {include}"
            target = others.get(include.split("/")[0])
            assert target is None or target in allowed, f"{path} includes {include}"


def rooms():
    section = ARCHITECTURE.split("## The rooms of the foundation")[1].split("\n## ")[0]
    return section, re.findall(r"^\| `([a-z]+)` \|", section, re.MULTILINE)


def includes_between_rooms(suffix):
    for path in sources_of("platform/foundation"):
        room = path.parent.name
        if path.suffix == suffix and room != "foundation":
            for include in includes_of(path):
                parts = include.split("/")
                if parts[0] == "foundation" and len(parts) == 3:
                    yield path, room, parts[1]


def test_the_architecture_lists_the_rooms_that_there_are():
    _, order = rooms()
    assert sorted(order) == sorted({path.parent.name for path in sources_of("platform/foundation")} - {"foundation"})


def test_a_header_includes_no_room_that_comes_after_its_own():
    _, order = rooms()
    for path, room, other in includes_between_rooms(".h"):
        assert order.index(other) <= order.index(room), f"{path} includes from {other}"


def test_only_the_listed_sources_include_a_room_that_comes_after_their_own():
    section, order = rooms()
    listed = {name: sorted(re.findall(r"`([a-z]+)`", others))
              for name, others in re.findall(r"^- `([a-z]+/[^`]+\.cpp)`:(.*)$", section, re.MULTILINE)}
    found = {}
    for path, room, other in includes_between_rooms(".cpp"):
        if order.index(other) > order.index(room):
            found.setdefault(f"{room}/{path.name}", set()).add(other)
    assert {name: sorted(others) for name, others in found.items()} == listed


def test_telvo_upload_leaves_to_the_owner_library_what_every_owner_needs():
    lines = {path.name: len(path.read_text().splitlines()) for path in sources_of("tools")}
    assert 0 < sum(lines.values()) < 450, lines


def test_no_folder_holds_more_than_45_files():
    folders = {}
    for folder in [*SOURCES, "Resources", "docs"]:
        for path in files_below(folder):
            folders.setdefault(path.parent, []).append(path)
    assert {str(folder): len(files) for folder, files in folders.items() if len(files) > 45} == {}


def written_sources():
    # What a tool has recorded (packaging/check-abi) is no source.
    return [path for folder in SOURCES for path in files_below(folder) if path.suffix != ".abi"]


def test_no_source_is_too_long():
    lengths = {path.relative_to(ROOT).as_posix(): len(path.read_text(errors="replace").splitlines())
               for path in written_sources()}
    assert len(lengths) > 300
    assert {path: length for path, length in lengths.items() if length > LONGEST_SOURCE} == {}


def functions_of_cpp(text):
    """The line in which each function's body begins, and how long that is."""
    lines = [re.sub(r"""//.*|"(\\.|[^"\\])*"|'(\\.|[^'\\])'""", "", line) for line in text.splitlines()]
    for number, line in enumerate(lines):
        if line.endswith("{") and ")" in line and not re.match(r"\s*(if|for|while|switch|catch|\}|namespace)\b", line):
            depth = 0
            for length, each in enumerate(lines[number:], 1):
                depth += each.count("{") - each.count("}")
                if depth <= 0:
                    break
            yield line.strip(), length


def functions_of_python(text):
    for node in ast.walk(ast.parse(text)):
        if isinstance(node, ast.FunctionDef):
            yield node.name, node.end_lineno - node.lineno + 1


def is_python(path):
    return path.suffix == ".py" or path.read_bytes().startswith((b"#!/usr/bin/python3", b"#!/usr/bin/env python3"))


def test_no_function_is_too_long():
    found = [(f"{path.relative_to(ROOT)}: {name}", length)
             for path in written_sources() if path.suffix in (".h", ".cpp", ".c") or is_python(path)
             for name, length in (functions_of_python if is_python(path) else functions_of_cpp)(path.read_text())]
    assert len(found) > 4000
    assert [(name, length) for name, length in found if length > LONGEST_FUNCTION] == []


def compile_command_of(layer):
    commands = json.loads((pathlib.Path(os.environ["TELVO_BUILD"]) / "compile_commands.json").read_text())
    for command in commands:
        folder = pathlib.Path(command["file"]).relative_to(ROOT).as_posix()
        if folder.startswith(f"{layer}/") and not folder.endswith("main.cpp"):
            words = shlex.split(command["command"])
            # What remains is the compiler with its options: which file is compiled, and into what, is left out.
            for option in ("-o", "-c", "-MF", "-MT"):
                if option in words:
                    at = words.index(option)
                    del words[at:at + 2]
            return [word for word in words if not word.endswith("ccache") and word != "-MD"], command["directory"]
    raise AssertionError(f"nothing of {layer} is compiled")


def compile_including(layer, header, tmp_path):
    words, directory = compile_command_of(layer)
    source = tmp_path / "includes.cpp"
    source.write_text(f'#include "{header}"\n')
    return subprocess.run([*words, "-fsyntax-only", str(source)], cwd=directory, capture_output=True, text=True)


def first_header_of(layer):
    headers = sorted(path for path in sources_of(layer) if path.suffix == ".h")
    return headers[0].relative_to((ROOT / layer).parent).as_posix()


@pytest.mark.parametrize("layer", LAYERS)
@pytest.mark.parametrize("other", LAYERS)
def test_the_compiler_finds_only_headers_of_layers_below(layer, other, tmp_path):
    header = first_header_of(other)
    result = compile_including(layer, header, tmp_path)
    if other == layer or other in LAYERS[layer]:
        assert result.returncode == 0, result.stderr
    else:
        assert result.returncode != 0
        assert f"{header}: No such file" in result.stderr or f"'{header}' file not found" in result.stderr
