"""The states of a disk that a crash can leave, made from a log of the calls of its writers.

A log has the calls on files of one or more processes, in their order, as strace reports them. A Disk repeats the
calls of a log in memory. After each call it can make two kinds of states:

- The state after the processes were killed has all that they have written.
- In a state after a loss of power, a change may be missing if no fsync has brought it to the disk. The rules:

  | Change | On the disk after |
  |---|---|
  | a block of 512 bytes of a write, a size, permissions | fsync of the file |
  | a name | fsync of the folder |

  Until then each of these changes is on the disk or not, independently of the others; so the two names of a rename
  change separately. A name stands for any of the files that it stood for since the last fsync of its folder. A block
  that is not on the disk has zeros, or bytes of an earlier file. Real file systems keep more of the order. If there
  are too many states, the caller's dice choose some of them.
"""
import itertools
import os
import re
import stat
import subprocess

BLOCK = 512
ON_OPEN = ("write", "writev", "pwrite64", "pwritev", "ftruncate", "fallocate", "fsync", "fdatasync", "fchmod")
ON_PATHS = ("openat", "open", "creat", "mkdir", "mkdirat", "rmdir", "truncate", "rename", "renameat", "renameat2",
            "link", "linkat", "symlink", "symlinkat", "unlink", "unlinkat", "chmod", "fchmodat")
CALLS = ",".join(("execve", "close", *ON_OPEN, *ON_PATHS))
LINE = re.compile(r"(\d+) +(\w+)\((.*)\) += (-?\d+)")
# A descriptor with its path, a text, or another word. strace writes the bytes of paths and texts as hexadecimal
# digits.
WORD = re.compile(r'(AT_FDCWD|\d+)<((?:\\x..)*)>(?:\(deleted\))?|"((?:\\x..)*)"|([^,\s"<>]+)')


def unhex(digits):
    return bytes.fromhex(digits.replace("\\x", ""))


def log_of(words, base, inject=(), **options):
    """Runs a program and returns its log: a list of (process, call, arguments, result). Among the arguments, a
    descriptor is (number, path) and a text is bytes. Writes a temporary file to the folder base."""
    path = os.path.join(base, "strace.log")
    subprocess.run(["strace", "-f", "-y", "-xx", "-s", "33554432", "-o", path, "-e", f"trace={CALLS}", *inject,
                    *words], check=False, **options)
    with open(path, encoding="ascii", errors="replace") as file:
        lines = file.read().split("\n")
    os.remove(path)
    return list(parsed(lines))


def parsed(lines):
    begun = {}  # by process: the start of a call during which another process made calls
    for line in lines:
        process = line.split(" ", 1)[0]
        if line.endswith("<unfinished ...>"):
            begun[process] = line[:-len("<unfinished ...>")]
            continue
        resumed = re.match(r"\d+ +<\.\.\. \w+ resumed>(.*)", line)
        found = LINE.match(begun.pop(process) + resumed[1] if resumed else line)
        if found and int(found[4]) >= 0:
            words = [(number, unhex(path)) if number else word if word else unhex(text)
                     for number, path, text, word in WORD.findall(found[3])]
            yield int(found[1]), found[2], words, int(found[4])


class Node:
    """A file or a folder. In the lists of modes and of names, the first element is on the disk; the others came
    later, and no fsync has brought them to the disk."""

    def __init__(self, mode, names=None, content=b""):
        self.modes = [mode]
        self.names = names      # folders: by name, the nodes that it stood for; None: no file had the name
        self.content = content  # files: what is on the disk
        self.changes = []       # files: writes (offset, bytes) and sizes (size, None) that are not on the disk
        self.known = None       # the last result of contents()

    def is_folder(self):
        return self.names is not None

    def change(self, offset, data):
        self.changes.append((offset, data))
        self.known = None

    def written(self):
        """The content that a process reads at this moment."""
        return self.applied(self.changes)

    def applied(self, changes):
        content = bytearray(self.content)
        for offset, data in changes:
            if data is None:
                content = content[:offset].ljust(offset, b"\0")
            else:
                content[len(content):] = bytes(max(0, offset - len(content)))
                content[offset:offset + len(data)] = data
        return bytes(content)

    def sync(self):
        if self.is_folder():
            self.names = {name: stood[-1:] for name, stood in self.names.items() if stood[-1]}
        else:
            self.content, self.changes, self.known = self.written(), [], None
        self.modes = self.modes[-1:]

    def contents(self, most, stale, dice):
        """The contents that the file may have after a loss of power: the oldest first, the newest last."""
        if self.known is None:
            self.known = self.find_contents(most, stale, dice) if self.changes else [self.content]
        return self.known

    def find_contents(self, most, stale, dice):
        blocks = [(offset + at, data[at:at + BLOCK]) if data is not None else (offset, None)
                  for offset, data in self.changes for at in range(0, len(data or b"-"), BLOCK)]
        newest = self.written()
        found = [self.content]
        lengths = range(1, len(blocks))
        for count in lengths if len(blocks) <= most else sorted(dice.sample(lengths, most)):
            found.append(self.applied(blocks[:count]))
        if len(blocks) <= 5:
            subsets = [set(subset) for size in range(len(blocks))
                       for subset in itertools.combinations(range(len(blocks)), size)]
        else:
            subsets = [{at for at in range(len(blocks)) if dice.random() < share}
                       for share in (0.1, 0.5, 0.9) * (most // 3)]
        for present in subsets:
            kept = [block for at, block in enumerate(blocks) if at in present]
            content = self.applied(kept).ljust(len(newest), b"\0")
            found.append(content)
            lost = [(offset, stale[offset:offset + len(data)]) for at, (offset, data) in enumerate(blocks)
                    if at not in present and data is not None]
            found.append(self.applied([(0, content), *lost]))
        return list(dict.fromkeys(found)) + ([newest] if found[-1] != newest else [])


class Disk:
    """A folder, its files, and what its processes do to it."""

    def __init__(self, folder):
        self.root = self.read(folder)
        self.open = {}  # by process and descriptor: the node and the offset of the next write

    def read(self, path):
        mode = stat.S_IMODE(os.stat(path).st_mode)
        if os.path.isdir(path):
            return Node(mode, {name: [self.read(os.path.join(path, name))] for name in os.listdir(path)})
        with open(path, "rb") as file:
            return Node(mode, content=file.read())

    def at(self, parts):
        node = self.root
        for part in parts:
            stood = node.names.get(part) if node and node.is_folder() else None
            node = stood[-1] if stood else None
        return node

    def play(self, base, call):
        """Repeats one call of a log. The processes of the log saw this disk in the folder base. Returns true if the
        call changed a file or a folder, or brought a change to the disk."""
        process, name, words, result = call
        if name in ON_OPEN:
            return (process, words[0][0]) in self.open and self.play_on_open(process, name, words, result)
        if name == "close":
            self.open.pop((process, words[0][0]), None)
        paths = list(self.paths(os.fsencode(base), words)) if name in ON_PATHS else []
        if not paths:
            return False
        if name in ("openat", "open", "creat"):
            return self.play_open(process, paths[0], words, result)
        return self.play_names(name, paths, words)

    @staticmethod
    def paths(base, words):
        """The arguments that are paths in the folder base, as lists of names."""
        folder = base
        for word in words:
            if isinstance(word, tuple):
                folder = word[1]
            elif isinstance(word, bytes):
                path = os.path.normpath(os.path.join(folder, word))
                if path == base or path.startswith(base + b"/"):
                    yield [os.fsdecode(part) for part in path[len(base) + 1:].split(b"/") if part]

    def play_open(self, process, parts, words, result):
        flags = next(word for word in words if isinstance(word, str) and word.startswith("O_"))
        folder, node = self.at(parts[:-1]), self.at(parts)
        changed = node is None
        if changed:
            node = Node(int(words[-1], 8) & ~0o022)
            folder.names.setdefault(parts[-1], [None]).append(node)
        elif "O_TRUNC" in flags:
            node.change(0, None)
            changed = True
        self.open[process, str(result)] = [node, 0]
        return changed

    def play_on_open(self, process, name, words, result):
        entry = self.open[process, words[0][0]]
        node, offset = entry
        if name in ("fsync", "fdatasync"):
            node.sync()
        elif name == "write":
            node.change(offset, words[1][:result])
            entry[1] += result
        elif name == "ftruncate":
            node.change(int(words[1]), None)
        elif name == "fchmod":
            node.modes.append(int(words[1], 8))
        else:
            raise NotImplementedError(name)
        return True

    def play_names(self, name, paths, words):
        *above, last = paths[0]
        old = self.at(above).names
        node = old[last][-1] if last in old else None
        if name.startswith("mkdir"):
            old.setdefault(last, [None]).append(Node(int(words[-1], 8) & ~0o022, {}))
        elif name.startswith("unlink"):
            old[last].append(None)
        elif len(paths) != 2:
            raise NotImplementedError(name)
        else:
            *above, target = paths[1]
            self.at(above).names.setdefault(target, [None]).append(node)
            if name.startswith("rename"):
                old[last].append(None)
        return True

    # ---- States: {path: (mode, content, node)}; the content of a folder is None

    def killed(self):
        """The state that the next process sees if the writers are killed."""
        return self.state(lambda options: options[-1], lambda node: node.written())

    def state(self, choose, content):
        found = {}

        def visit(node, path):
            found[path] = (choose(node.modes), None if node.is_folder() else content(node), id(node))
            for name in sorted(node.names or ()):
                child = choose(node.names[name])
                if child is not None:
                    visit(child, f"{path}/{name}")

        visit(self.root, "")
        return found

    def after_power_loss(self, most, most_contents, stale, dice):
        """Yields different states, at most two more than most."""
        seen = set()
        for digits in self.numbers(most, most_contents, stale, dice):
            state = self.state(lambda options: options[digits.get(id(options), 0)],
                               lambda node: node.contents(most_contents, stale, dice)[digits.get(id(node), 0)])
            key = tuple((path, mode, hash(content)) for path, (mode, content, _) in state.items())
            if key not in seen:
                seen.add(key)
                yield state

    def numbers(self, most, most_contents, stale, dice):
        """Yields the number of the option of each choice, by the choice. Not all combinations if they are more than
        most, but always the one with all oldest options and the one with all newest."""
        choices = {}
        for node in self.nodes():
            choices[id(node.modes)] = len(node.modes)
            if node.is_folder():
                choices.update((id(stood), len(stood)) for stood in node.names.values())
            else:
                choices[id(node)] = len(node.contents(most_contents, stale, dice))
        choices = {key: count for key, count in choices.items() if count > 1}
        total = 1
        for count in choices.values():
            total *= count
        chosen = range(total) if total <= most else [0, total - 1] + [dice.randrange(total) for _ in range(most)]
        for number in chosen:
            digits = {}
            for key, count in choices.items():
                number, digits[key] = divmod(number, count)
            yield digits

    def nodes(self):
        waiting, seen = [self.root], {}
        while waiting:
            node = waiting.pop()
            if id(node) not in seen:
                seen[id(node)] = node
                waiting += [child for stood in (node.names or {}).values() for child in stood if child is not None]
        return seen.values()


def make(state, folder):
    """Makes a state in a folder that does not exist."""
    placed = {}
    for path, (mode, content, node) in state.items():
        place = folder + path
        if content is None:
            os.mkdir(place)
        elif node in placed:
            os.link(placed[node], place)
        else:
            file = os.open(place, os.O_WRONLY | os.O_CREAT | os.O_EXCL, 0o600)
            os.write(file, content)
            os.fchmod(file, mode)
            os.close(file)
            placed[node] = place
