"""What the shells complete of telvo-upload's command line: as a person sees it on a terminal, and all of its options."""

import os
import pathlib
import re
import subprocess

import pytest

import processes
import terminal as terminals

COMPLETIONS = pathlib.Path(__file__).resolve().parents[2] / "tools" / "completions"
BASH = f"source /usr/share/bash-completion/bash_completion; source {COMPLETIONS}/telvo-upload.bash"
ZSH = f"fpath=({COMPLETIONS} $fpath); autoload -Uz compinit; compinit -D -u"
SHELLS = {"bash": ("bash --norc --noprofile", BASH), "zsh": ("zsh -f", ZSH)}


@pytest.fixture
def home(tmp_path):
    (tmp_path / "tree folder").mkdir()
    netrc = tmp_path / ".netrc"
    netrc.write_text("machine ftp.example.com login anna password secret\n")
    return tmp_path


def environment(home):
    return {"HOME": str(home), "PATH": os.environ["PATH"], "TERM": "xterm", "PS1": "ready> "}


@pytest.fixture(params=SHELLS)
def shell(request, home):
    command, preparation = SHELLS[request.param]
    with terminals.Terminal(200, environment(home)) as terminal:
        terminal.type(f"cd '{home}' && exec {command}")
        terminal.press("Enter")
        terminal.type(f"PS1='{request.param}> '; {preparation}")
        terminal.press("Enter")
        processes.wait_until(lambda: last_row(terminal) == f"{request.param}>", what="the shell's prompt")
        yield request.param, terminal


def last_row(terminal):
    return (terminal.rows() or [""])[-1].rstrip()


def test_a_tab_completes_options_files_and_servers(shell):
    name, terminal = shell
    for typed, completed in (("--dr", "--dry-run"),
                             ("--allow", "--allow-empty-source"),
                             ("tr", "tree\\ folder/"),
                             ("--cache tr", "--cache tree\\ folder/"),
                             ("--exclude x --user y tr", "--exclude x --user y tree\\ folder/"),
                             ("-n site ft", "-n site ftp.example.com"),
                             ("--retries=9 site anna@ft", "--retries=9 site anna@ftp.example.com")):
        terminal.type(f"telvo-upload {typed}")
        terminal.press("Tab")
        # One of them puts the slash behind a server's name that begins a folder there.
        line = re.compile(re.escape(f"{name}> telvo-upload {completed}") + "/?")
        processes.wait_until(lambda: line.fullmatch(last_row(terminal)), what=completed)
        terminal.press("C-u")
        processes.wait_until(lambda: last_row(terminal) == f"{name}>", what="an empty line")


def options_of(tool_path):
    """Each name of each option, and whether it takes a value."""
    text = subprocess.check_output([tool_path, "--help"], text=True)
    options = {}
    for names, value in re.findall(r"^  (-[-\w,]+)((?: [A-Z]+)?)(?: |$)", text, re.MULTILINE):
        options |= dict.fromkeys(names.split(","), bool(value))
    assert options["--user"] and options["-n"] is False
    return options


def completed_by_bash(home, *words):
    """Through what `complete` names for telvo-upload."""
    script = f"""{BASH}
        set -- telvo-upload "$@"
        COMP_WORDS=("$@") COMP_CWORD=$(($# - 1)) COMP_LINE="$*"
        COMP_POINT=${{#COMP_LINE}}
        [[ $(complete -p telvo-upload) =~ -F\\ ([^ ]+) ]] && ${{BASH_REMATCH[1]}} telvo-upload "${{@: -1}}"
        printf '%s\\n' "${{COMPREPLY[@]}}" """
    output = subprocess.check_output(["bash", "--norc", "-c", script, "bash", *words], cwd=home, text=True,
                                     env=environment(home), stderr=subprocess.DEVNULL, timeout=60)
    return output.split("\n")[:-1]


def test_bash_offers_every_option_and_no_other(home, tool_path):
    assert sorted(completed_by_bash(home, "-")) == sorted(options_of(tool_path))


def test_bash_tells_values_of_options_from_the_source(home, tool_path):
    for option, takes_value in options_of(tool_path).items():
        words = [option, "value"] if takes_value else [option]
        assert completed_by_bash(home, *words, "tr") == ["tree folder"], option
        assert completed_by_bash(home, *words, "site", "ft") == ["ftp.example.com"], option


def test_zsh_knows_every_option_and_no_other(tool_path):
    text = (COMPLETIONS / "_telvo-upload").read_text()
    subprocess.run(["zsh", "-n", COMPLETIONS / "_telvo-upload"], check=True, timeout=60)
    options = {}
    for names, value in re.findall(r"^  '(?:\([^)]*\))?(?:\*)?(--[-\w]+|'\{-\w,--[-\w]+\}')(=?)\[", text, re.MULTILINE):
        options |= dict.fromkeys(re.findall(r"-[-\w]+", names), bool(value))
    assert options == options_of(tool_path)
