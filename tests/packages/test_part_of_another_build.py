"""The libraries inside another project's build (add_subdirectory). Compiling all of them once more would tell nothing new:
the objects are the same that our own build makes."""

import re

from conftest import CMAKE, CONSUMERS, SOURCES, run


def test_there_is_nothing_but_the_libraries(compiler, tmp_path):
    # What only our own programs and tests need is not looked for.
    run(CMAKE, "-S", CONSUMERS / "subdirectory", "-B", tmp_path, "-G", "Ninja", f"-DCMAKE_CXX_COMPILER={compiler}",
        f"-DTELVO_SOURCES={SOURCES}", "-DCMAKE_DISABLE_FIND_PACKAGE_GTest=ON", "-DCMAKE_DISABLE_FIND_PACKAGE_CLI11=ON")
    targets = run("ninja", "-C", tmp_path, "-t", "targets", "all")
    assert re.search(r"libtelvo\.a: ", targets)
    assert not re.search(r"TelvoFTPHelper|telvo-upload|_tests|gtest", targets)
    # What is needed to link the program has a rule, down to the sources.
    steps = run("ninja", "-C", tmp_path, "-t", "commands", "names")
    assert all(re.search(rf"-c {SOURCES}/{source}", steps) for source in (
        "platform/foundation/runtime/NSObject.cpp", "categories/NSString\\+Telvo.cpp", "streams/TelvoFTPData.cpp"))
    # Nothing but the program itself is installed with it.
    installs = "".join(path.read_text() for path in tmp_path.rglob("cmake_install.cmake"))
    assert re.findall(r"file\(INSTALL .*?FILES ([^)]*)\)", installs, re.DOTALL) == [f'"{tmp_path}/names"']
    # The program's own sources find the headers, before anything of the library is compiled.
    run(CMAKE, "--build", tmp_path, "--target", "object")
    assert not list(tmp_path.rglob("NSObject.cpp.o"))
