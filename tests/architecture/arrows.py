#!/usr/bin/env python3
"""arrows.py [ROOT]: compares the #include lines of all folders with the table of folders in ARCHITECTURE.md.

A folder may include its own headers and those of the folders in its row's last column; a folder without a row belongs
to the one around it. Every library has a row, and the table has no circle. Without ROOT, tests itself on copies of this
tree with faults in them."""
import graphlib
import pathlib
import re
import shutil
import sys
import tempfile

THIS_TREE = pathlib.Path(__file__).resolve().parents[2]


def allowed_arrows(root):
    """From folder to the folders that it may use, as ARCHITECTURE.md has them."""
    arrows, unlimited = {}, []
    is_table = False
    for line in (root / "ARCHITECTURE.md").read_text().splitlines():
        if line == "| folder | holds | may use |":
            is_table = True
        elif not line.startswith("|"):
            is_table = False
        elif is_table and (folder := re.match(r"\| `([\w/]+)/` \|", line)):
            column = line.rstrip("| ").rpartition("| ")[2]
            arrows[folder[1]] = re.findall(r"`([\w/]+)`", column)
            if column == "everything":
                unlimited.append(folder[1])
    return arrows | {folder: [other for other in arrows if other != folder] for folder in unlimited}


def files(root, *patterns):
    """Paths below `root`, those of builds and the like left out."""
    for top in sorted(root.iterdir()):
        if top.is_dir() and top.name not in ("build", "app") and not top.name.startswith("."):
            for pattern in patterns:
                yield from (path.relative_to(root) for path in sorted(top.rglob(pattern)))


def row_of(path, arrows):
    return next((str(folder) for folder in path.parents if str(folder) in arrows), None)


def faults(root):
    arrows = allowed_arrows(root)
    for folder, targets in arrows.items():
        yield from (f"ARCHITECTURE.md: {folder} may use {target}, which has no row" for target in targets
                    if target not in arrows)
    try:
        graphlib.TopologicalSorter(arrows).prepare()
    except graphlib.CycleError as error:
        yield "ARCHITECTURE.md: a circle: " + " <- ".join(error.args[1])
    for path in files(root, "CMakeLists.txt"):
        if "norvane_library(" in (root / path).read_text() and str(path.parent) not in arrows:
            yield f"ARCHITECTURE.md: no row for {path.parent}, which is a library"
    for path in files(root, "*.h", "*.cpp"):
        own = row_of(path, arrows)
        if own is None:
            yield f"{path}: no row in ARCHITECTURE.md for its folder"
            continue
        for number, line in enumerate((root / path).read_text().splitlines(), 1):
            include = re.match(r'#include "(.+/.+)"', line)
            if include and (target := row_of(pathlib.Path(include[1]), arrows)) != own and target not in arrows[own]:
                yield f"{path}:{number}: {own} may not use {include[1]}"


def plant(root, path, pattern, text):
    """Replaces what the pattern matches first."""
    changed, count = re.subn(pattern, text, (root / path).read_text(), count=1, flags=re.MULTILINE)
    assert count == 1, f"{pattern} is not in {path}"
    (root / path).write_text(changed)


def test_itself():
    plants = [
        ("platform/Paths.cpp", r"^", '#include "link/Wire.h"\n', "platform may not use link/Wire.h"),
        ("platform/Paths.cpp", r"^", '#include "nowhere/Wire.h"\n', "platform may not use nowhere/Wire.h"),
        ("ARCHITECTURE.md", r"^(\| `platform/` .*)\|$", r"\1 `link` |", "a circle: "),
        ("ARCHITECTURE.md", r"^\| `settings/` .*\n", "", "no row for settings"),
    ]
    for path, pattern, text, fault in plants:
        with tempfile.TemporaryDirectory() as folder:
            copy = pathlib.Path(folder)
            for name in [*files(THIS_TREE, "*.h", "*.cpp", "CMakeLists.txt"), "ARCHITECTURE.md"]:
                (copy / name).parent.mkdir(parents=True, exist_ok=True)
                shutil.copy(THIS_TREE / name, copy / name)
            assert not list(faults(copy)), "faults before any was planted"
            plant(copy, path, pattern, text)
            found = list(faults(copy))
            assert any(fault in one for one in found), f"not found in {path}: {fault}; but: {found}"


if len(sys.argv) > 1:
    all_faults = list(faults(pathlib.Path(sys.argv[1])))
    print(*all_faults, sep="\n")
    sys.exit(1 if all_faults else 0)
test_itself()
