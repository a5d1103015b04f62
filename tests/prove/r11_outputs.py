"""R11: the outputs of builds by other compilers, at other levels of optimisation and for other hosts, byte for byte.

A quick run compares the presets release, powerpc and aarch64. A full run also builds the tree with each compiler below
that is installed, at each level.
"""
import hashlib
import os
import re
import shutil
import tempfile

import figure

TITLE = "outputs that are the same with all compilers, levels of optimisation and hosts"
TARGET = "byte for byte: bank-size file, snapshots, exports, INI reads, demo battles"
COMMAND = "./run prove R11"
PRESETS = {"release": [], "powerpc": ["qemu-ppc", "-L", "/usr/powerpc-linux-gnu"],
           "aarch64": ["qemu-aarch64", "-L", "/usr/aarch64-linux-gnu"]}
HOSTS_32 = ["powerpc"]
COMPILERS = ["g++-11", "g++-12", "g++-13", "g++-14", "clang++-14", "clang++-15", "clang++-16", "clang++-17", "clang++-18", "clang++-19"]
LEVELS = ["-O0", "-O1", "-O2", "-O3", "-Os"]
TARGETS = ["prove_outputs", "core_demo"]
FILES = ["snapshot", "sizes", "strings.utf8", "ini", "values"]


def build(place, folder, configure):
    """Builds the two programs; raises NotMeasured when that fails."""
    for words in (["cmake", "-S", place.source, "-DCORE_BENCH=OFF", *configure],
                  ["cmake", "--build", folder, "-j", str(os.cpu_count() or 1), "--target", *TARGETS]):
        result = figure.run(words, cwd=place.source)
        if result.returncode != 0:
            raise figure.NotMeasured(f"{' '.join(words)}: {figure.last_lines(result.stdout)}")


def battles(said):
    """The lines of the demo's report about its battles."""
    kept = r" wins in | undecided after | units left| hits were | levels\."
    return "\n".join(line for line in said.split("\n") if re.search(kept, line))


def whole(said):
    """The demo's report without its times and its folders, which are other ones in each run."""
    said = re.sub(r"in [\d.]+ seconds", "in some seconds", said)
    return re.sub(r"^/.*$", "PATH", said, flags=re.MULTILINE)


def hash_of(content):
    return hashlib.sha256(content).hexdigest()[:16]


def outputs(folder, emulator, is64):
    """Runs the two programs. Returns a hash for each output, by its name. The sizes in the demo's whole report depend on
    the size of a pointer, because the demo and the library keep records with pointers in banks."""
    found = {}
    with tempfile.TemporaryDirectory(prefix="prove-") as work:
        environment = {**os.environ, "MACAPI_LIBRARY": work, "MACAPI_USER_LIBRARY": work, "DISPLAY": "", "LC_ALL": "C"}
        os.mkdir(os.path.join(work, "Application Support"))
        program = os.path.join(folder, "tests", "prove", "prove_outputs")
        result = figure.run([*emulator, program], cwd=work, env=environment)
        if result.returncode != 0:
            raise figure.NotMeasured(f"{program}: {figure.last_lines(result.stdout)}")
        for name in FILES:
            with open(os.path.join(work, name), "rb") as file:
                found[name] = hash_of(file.read())
        for run in ("first", "second"):  # the second run reads the files that the first one has written
            demo = figure.run([*emulator, os.path.join(folder, "demo", "core_demo"), "-logger", "-frames", "60"], cwd=work,
                              env=environment)
            found[f"battles of the {run} run"] = f"{demo.returncode} {hash_of(battles(demo.stdout).encode())}"
            if is64:
                found[f"report of the {run} run, on 64-bit hosts"] = hash_of(whole(demo.stdout).encode())
    return found


def builds(place):
    """Each build: its name, its folder, its emulator, and the words that configure it."""
    for preset, emulator in PRESETS.items():
        yield preset, os.path.join(place.source, "build", preset), emulator, ["--preset", preset]
    for compiler in COMPILERS if place.full else []:
        for level in LEVELS if shutil.which(compiler) else []:
            folder = os.path.join(place.own, "outputs", compiler + level)
            yield f"{compiler} {level}", folder, [], [
                "-B", folder, "-G", "Ninja", f"-DCMAKE_CXX_COMPILER={compiler}", "-DCMAKE_BUILD_TYPE=Debug",
                f"-DCMAKE_CXX_FLAGS_DEBUG={level} -DNDEBUG", "-DCORE_TESTS=ON", "-DCORE_APPKIT=OFF"]


def measure(place):
    expected, faults, names, left_out = None, [], [], []
    for name, folder, emulator, configure in builds(place):
        try:
            build(place, folder, configure)
            found = outputs(folder, emulator, name not in HOSTS_32)
        except figure.NotMeasured as reason:
            print(f"  left out: {reason}", flush=True)
            left_out.append(name)
            continue
        expected = expected or found
        names.append(name)
        faults += [f"{name}: {output} differs from that of {names[0]}" for output in sorted(set(found) & set(expected))
                   if found[output] != expected[output]]
        print(f"  {name}: {len(found)} outputs", flush=True)
    if not names:
        raise figure.NotMeasured("nothing could be built")
    missing = [compiler for compiler in COMPILERS if not shutil.which(compiler)]
    text = f"{len(expected)} outputs of {len(names)} builds ({', '.join(names)}), {len(faults)} differences"
    if left_out:
        text += f"; not built: {', '.join(left_out)}"
    if place.full and missing:
        text += f"; not installed: {', '.join(missing)}"
    return figure.Value(text, faults, reached=place.full and not missing and not left_out)
