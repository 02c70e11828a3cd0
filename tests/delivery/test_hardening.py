"""packaging/check-hardening sees what is missing."""

import pathlib
import subprocess

import pytest

CHECK = pathlib.Path(__file__).resolve().parents[2] / "packaging" / "check-hardening"
HARDENED = ["-O2", "-D_FORTIFY_SOURCE=2", "-fstack-protector-strong", "-fcf-protection", "-fPIE", "-pie",
            "-Wl,-z,relro,-z,now"]
LACKING = {
    "position independent code": ["-fno-PIE", "-no-pie"],
    "read-only relocations": ["-Wl,-z,lazy"],
    "a stack without code": ["-Wl,-z,execstack"],
    "fortified calls": ["-U_FORTIFY_SOURCE"],
    "the stack protector": ["-fno-stack-protector"],
    "landing pads": ["-fcf-protection=none"],
    "no search path of its own": ["-Wl,-rpath,/opt/lib"],
}


def build(folder, options):
    functions = "".join(f"__attribute__((used)) int function{number}() {{ return {number}; }}\n" for number in range(99))
    (folder / "program.cpp").write_text("#include <cstdio>\n#include <cstring>\n" + functions +
                                        "int main(int count, char** words) {\n  char copy[64];\n"
                                        "  std::strcpy(copy, words[count - 1]);\n  std::puts(copy);\n}\n")
    subprocess.run(["g++", *HARDENED, *options, folder / "program.cpp", "-o", folder / "program"], check=True, timeout=120)
    return subprocess.run([CHECK, folder / "program"], text=True, stdout=subprocess.PIPE, timeout=60)


def test_a_hardened_program_lacks_nothing(tmp_path):
    run = build(tmp_path, [])
    assert (run.returncode, run.stdout) == (0, f"{tmp_path}/program: hardened\n")


@pytest.mark.parametrize("lacking", LACKING)
def test_what_is_missing_is_told(tmp_path, lacking):
    run = build(tmp_path, LACKING[lacking])
    assert (run.returncode, run.stdout) == (1, f"{tmp_path}/program: lacks {lacking}\n")
