"""mutants.py [--check] [PATTERN]: plants the faults of mutants.toml one by one in a copy of the tree, in build/mutants, and tells
which ones no test notices. PATTERN, a regular expression, chooses by file and title. Fails if more than one in ten stays
unnoticed. With --check it only sees to it that each can be planted.

An entry names its `file`, the exact text `old` there, which occurs once, and `new` in its place; `tests` are folders of
tests/ that are built and run first. What they let pass meets all other tests too."""
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tomllib

TREE = pathlib.Path(__file__).resolve().parents[2]
COPY = TREE / "build/mutants"
BUILD = COPY / "build/dev"
ENVIRONMENT = os.environ | {"CCACHE_BASEDIR": str(COPY), "CCACHE_NOHASHDIR": "1", "LC_ALL": "C.UTF-8",
                            "QT_QPA_PLATFORM": "offscreen"}


class DoesNotCompile(Exception):
    pass


def run(*command, check=True):
    """What the command says, and whether it succeeded; without a success that has to be, the end."""
    done = subprocess.run(command, cwd=COPY, env=ENVIRONMENT, text=True, errors="replace", stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT)
    if check and done.returncode != 0:
        sys.exit(done.stdout + "mutants: failed: " + " ".join(map(str, command)))
    return done.stdout, done.returncode == 0


def update_copy():
    """Files that are the same keep their times, and so their objects."""
    names = subprocess.run(["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard"], cwd=TREE, check=True,
                           capture_output=True, text=True).stdout.split("\0")
    wanted = {name for name in names if (TREE / name).is_file()}
    for old in [path for path in COPY.rglob("*") if path.is_file() and BUILD not in path.parents]:
        if str(old.relative_to(COPY)) not in wanted:
            old.unlink()
    for name in wanted:
        copy = COPY / name
        if not copy.exists() or copy.read_bytes() != (TREE / name).read_bytes():
            copy.parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(TREE / name, copy)


def build(*targets, check=True):
    return run("cmake", "--build", BUILD, "--target", *targets, check=check)


def failing_test(folder):
    """The first test to fail, twice, of those below this folder of the build."""
    told, passed = run("ctest", "--test-dir", BUILD / folder, f"-j{os.cpu_count()}", "--stop-on-failure",
                       "--no-tests=error", "--timeout", "60", "--repeat", "until-pass:2", check=False)
    return None if passed else (re.findall(r"^\s*\d+ - (\S+)", told, re.MULTILINE) or [told])[0]


def notice(mutant):
    """The test that notices the fault."""
    for folder in mutant["tests"]:
        told, compiles = build(f"tests/{folder}/all", check=False)
        if not compiles:
            raise DoesNotCompile(told)
        if test := failing_test(f"tests/{folder}"):
            return test
    build("all")
    return failing_test(".")


def plant(mutant):
    path = COPY / mutant["file"]
    text = path.read_text()
    path.write_text(text.replace(mutant["old"], mutant["new"]))
    try:
        return notice(mutant)
    finally:
        path.write_text(text)


def main(*arguments):
    only_check = arguments[:1] == ("--check",)
    pattern = next(iter(arguments[only_check:]), "")
    mutants = tomllib.loads((TREE / "tests/mutants/mutants.toml").read_text())["mutant"]
    chosen = [mutant for mutant in mutants if re.search(pattern, f"{mutant['file']}: {mutant['title']}")]
    stale = [f"{mutant['file']}: {mutant['title']}" for mutant in chosen
             if not (TREE / mutant["file"]).exists() or (TREE / mutant["file"]).read_text().count(mutant["old"]) != 1]
    if stale:
        sys.exit("\n".join(["mutants: the old text is not there exactly once:", *stale]))
    if only_check:
        return

    COPY.mkdir(parents=True, exist_ok=True)
    update_copy()
    if not (BUILD / "build.ninja").exists():
        run("cmake", "--preset", "dev")
    build("all")
    if test := failing_test("."):
        sys.exit(f"mutants: {test} fails before anything is planted")
    unnoticed, broken = [], []
    for number, mutant in enumerate(chosen, 1):
        title = f"{mutant['file']}: {mutant['title']}"
        print(f"{number}/{len(chosen)} {title}", flush=True)
        try:
            test = plant(mutant)
            print(f"    noticed by {test}" if test else "    UNNOTICED", flush=True)
            unnoticed += [] if test else [title]
        except DoesNotCompile as failure:
            print(failure, flush=True)
            broken.append(title)
    print(f"{len(chosen) - len(unnoticed) - len(broken)} of {len(chosen)} noticed; not:", *unnoticed, sep="\n    ")
    if broken:
        print("do not compile:", *broken, sep="\n    ")
    sys.exit(1 if broken or len(unnoticed) * 10 > len(chosen) else 0)


main(*sys.argv[1:])
