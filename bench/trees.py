"""What is sent in a measurement: the same bytes in each run."""

import os
import random


def small_files(folder, count, folders=4, size=2000):
    source = folder / "Small"
    generator = random.Random(1)
    for number in range(count):
        path = source / f"folder{number % folders}" / f"file{number:04}.txt"
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(generator.randbytes(size))
    return source


def web_site(folder, count=2000):
    """Pages, style sheets, scripts, pictures and a few large downloads: sizes that fall off like a real site's."""
    source = folder / "Site"
    generator = random.Random(2)
    for number in range(count):
        size = min(int(generator.lognormvariate(9.2, 1.6)), 4_000_000)
        path = source / f"section{number % 20:02}" / f"item{number:04}"
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(generator.randbytes(size))
    return source


def one_file(folder, megabytes):
    path = folder / f"{megabytes}MB.bin"
    block = os.urandom(1 << 20)
    with open(path, "wb") as file:
        for _ in range(megabytes):
            file.write(block)
    return path
