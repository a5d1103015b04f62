"""GDB prints core's records in readable form: blocks with their size and tag, banks, parsers, hash tables.

Printers, which `print` uses by itself:

    (gdb) print *node
    $1 = a block of 128 bytes in use, from game/mesh:12 = {magic = 0xfeedface, size = 128, place = game/mesh:12, ...
    (gdb) print parser
    $2 = the parser after line 3, rest of the line: "= 640"

Commands:

    core banks            every bank: its kind, size, bytes in use, high-water mark and fallback blocks
    core blocks BANK      the blocks in use of a bank, by index (-1: the system bank) or by name
    core block ADDRESS    the block at an address: its size and the file and line that asked for it

GDB loads this file together with libcore. The commands need no debug information. A printer needs the debug
information of its record's type, so compile the game with -g.
"""
import gdb
import gdb.printing

MAGIC_USED = 0xFEEDFACE
MAGIC_FREE = 0xDEADF00D
FALLBACK_BIT = 0x80000000
HEADER_SIZE = 24
FIRST_CHUNK = 1024  # entries; chunk k of a table has FIRST_CHUNK << k of them
LINKS_SIZE = 24  # bytes of an entry of the table of links: two pointers and a number
MOST_ENTRIES = 1_000_000  # a longer list counts as damaged, so printing stops


# ---- The memory of the program


def read(address, size):
    return bytes(gdb.selected_inferior().read_memory(address, size))


def number_at(address, size):
    order = "big" if "big" in gdb.execute("show endian", to_string=True) else "little"
    return int.from_bytes(read(address, size), order)


def pointer_size():
    return gdb.lookup_type("void").pointer().sizeof


def pointer_at(address):
    return number_at(address, pointer_size())


def text_at(address):
    """Returns the text at an address; None for null."""
    return gdb.Value(address).cast(gdb.lookup_type("char").pointer()).string(errors="replace") if address else None


def entry_of(table, number, size):
    """Returns the address of an entry of a link table. 64-bit builds have these tables (core/memorymgr_refs.cpp)."""
    chunks = int(gdb.parse_and_eval(f"(unsigned long)&{table}"))
    chunk = (number + FIRST_CHUNK).bit_length() - FIRST_CHUNK.bit_length()
    first = pointer_at(chunks + chunk * pointer_size())
    return first + (number + FIRST_CHUNK - (FIRST_CHUNK << chunk)) * size


# ---- Links and names


def node_of_link(address):
    """Returns the node that the link at this address refers to; 0 for null."""
    if pointer_size() == 4:
        return number_at(address, 4)
    word = number_at(address, 4)
    if word & 1:  # the link of a fallback block: an index of the table s_links
        try:
            return pointer_at(entry_of("s_links", word // 4, LINKS_SIZE) + (8 if word & 2 else 0))
        except gdb.error:
            return 0  # libcore is stripped, or the header is damaged
    distance = word - (1 << 32) if word & 0x80000000 else word
    return address + distance if distance else 0


def name_of(address):
    """Returns the source name that the word at this address refers to; None for 0."""
    number = number_at(address, 4)
    try:
        return text_at(pointer_at(entry_of("s_names", number - 1, 8)) if pointer_size() == 8 and number else number)
    except gdb.error:
        return "(unknown: libcore is stripped, or the header is damaged)"


# ---- Nodes and banks: read at their fixed offsets, so core's debug information is not needed


class Node:
    def __init__(self, address):
        self.address = address
        self.magic = number_at(address, 4)
        size = number_at(address + 4, 4)
        self.size = size & ~FALLBACK_BIT
        self.fallback = bool(size & FALLBACK_BIT)
        self.used = self.magic == MAGIC_USED
        self.place = f"{name_of(address + 8)}:{number_at(address + 12, 4)}" if self.used else None
        self.next = node_of_link(address + 16)
        self.prev = node_of_link(address + 20)

    def __str__(self):
        if self.used:
            kind = "a fallback block" if self.fallback else "a block"
            return f"{kind} of {self.size} bytes in use, from {self.place}"
        if self.magic == MAGIC_FREE:
            return f"a free node of {self.size} bytes"
        return f"not a header: its magic is {self.magic:#x}"


def nodes_of(address):
    """Yields the nodes of a list. address is the list's first node."""
    count = 0
    while address and count < MOST_ENTRIES:
        node = Node(address)
        yield node
        if node.magic not in (MAGIC_USED, MAGIC_FREE):
            return
        address, count = node.next, count + 1


KINDS = {0: "heap", 1: "linear"}


class Bank:
    WORDS = ("size", "allocCount", "freeCount", "usedNodeCount", "freeNodeCount", "extNodeCount", "bytesInUse", "peakBytes")
    POINTERS = ("base", "cursor", "freeList", "usedList", "extList")

    def __init__(self, address):
        self.kind = KINDS.get(number_at(address + 4, 4), "other")
        self.name = read(address + 8, 32).split(b"\0")[0].decode(errors="replace")
        self.fields = {name: number_at(address + 40 + 4 * place, 4) for place, name in enumerate(self.WORDS)}
        for place, name in enumerate(self.POINTERS):
            self.fields[name] = pointer_at(address + 72 + pointer_size() * place)

    @staticmethod
    def bytes():
        return 72 + 5 * pointer_size()

    def __getitem__(self, name):
        return self.fields[name]

    def __str__(self):
        return (
            f'{self.kind} bank "{self.name}": {self["bytesInUse"]} of {self["size"]} bytes in use, '
            f'at most {self["peakBytes"]}'
        )


def banks():
    """Returns all banks by bank index; the system bank has -1."""
    manager = pointer_at(int(gdb.parse_and_eval("(unsigned long)&g_MemoryPtr")))
    if not manager:
        raise gdb.GdbError("There is no memory manager yet.")
    first = manager + pointer_size() + 8
    found = {index: Bank(first + index * Bank.bytes()) for index in range(number_at(manager + pointer_size() + 4, 4))}
    found[-1] = Bank(first + 32 * Bank.bytes())
    return found


def find_bank(argument):
    for index, bank in banks().items():
        if argument in (str(index), bank.name):
            return bank
    raise gdb.GdbError(f'There is no bank "{argument}". `core banks` lists them.')


# ---- Printers


class LinkPrinter:
    def __init__(self, value):
        self.value = value

    def to_string(self):
        return f"{node_of_link(int(self.value.address)):#x}"


class NamePrinter:
    def __init__(self, value):
        self.value = value

    def to_string(self):
        return name_of(int(self.value.address))

    def display_hint(self):
        return "string"


class NodePrinter:
    def __init__(self, value):
        self.node = Node(int(value.address))

    def to_string(self):
        return str(self.node)

    def children(self):
        yield "magic", f"{self.node.magic:#x}"
        yield "size", self.node.size
        if self.node.used:
            yield "place", self.node.place
        yield "next", f"{self.node.next:#x}"
        yield "prev", f"{self.node.prev:#x}"


class BankPrinter:
    def __init__(self, value):
        self.bank = Bank(int(value.address))

    def to_string(self):
        return str(self.bank)

    def children(self):
        for name, value in self.bank.fields.items():
            yield name, value if name in Bank.WORDS else f"{value:#x}"


class ParserPrinter:
    def __init__(self, value):
        self.position = pointer_at(int(value.address) + 3 * pointer_size())
        self.line = number_at(int(value.address) + 4 * pointer_size(), 4)

    def to_string(self):
        if not self.position:
            return f"the parser after line {self.line}, nothing left of it"
        return f'the parser after line {self.line}, rest of the line: "{text_at(self.position)}"'


class HashTablePrinter:
    def __init__(self, value):
        self.value = value

    def entries(self):
        for bucket in range(int(self.value["m_bucketCount"]) if int(self.value["m_buckets"]) else 0):
            node, count = self.value["m_buckets"][bucket], 0
            while int(node) and count < MOST_ENTRIES:
                yield node.dereference()
                node, count = node["m_next"], count + 1

    def to_string(self):
        return f'a hash table of {sum(1 for _ in self.entries())} entries in {int(self.value["m_bucketCount"])} buckets'

    def children(self):
        for count, node in enumerate(self.entries()):
            yield f"key {count}", node["m_key"].string(errors="replace")
            yield f"record {count}", node["m_data"].dereference()

    def display_hint(self):
        return "map"


def printers():
    collection = gdb.printing.RegexpCollectionPrettyPrinter("core")
    for name, printer in {
        "^MemoryNodeRef$": LinkPrinter,
        "^MemoryNameRef$": NamePrinter,
        "^MemoryHeapNode_s$": NodePrinter,
        "^MemoryBank_s$": BankPrinter,
        "^Parser$": ParserPrinter,
        "^HashTable<.*>$": HashTablePrinter,
    }.items():
        collection.add_printer(name, name, printer)
    return collection


# ---- Commands


class BanksCommand(gdb.Command):
    """core banks: every bank, its size, bytes in use, high-water mark and fallback blocks."""

    def __init__(self):
        super().__init__("core banks", gdb.COMMAND_DATA)

    def invoke(self, argument, from_tty):
        print(f'{"":3} {"name":20} {"kind":6} {"size":>12} {"in use":>12} {"peak":>12} {"blocks":>8} {"fallback":>8}')
        for index, bank in banks().items():
            fallbacks = sum(1 for _ in nodes_of(bank["extList"]))
            print(
                f'{index:3} {bank.name or "(system)":20} {bank.kind:6} {bank["size"]:12} {bank["bytesInUse"]:12} '
                f'{bank["peakBytes"]:12} {bank["usedNodeCount"]:8} {fallbacks:8}'
            )


class BlocksCommand(gdb.Command):
    """core blocks BANK: the blocks in use of a bank, newest first. BANK is an index or a name."""

    def __init__(self):
        super().__init__("core blocks", gdb.COMMAND_DATA)

    def invoke(self, argument, from_tty):
        bank = find_bank(argument.strip())
        count = 0
        for head in ("usedList", "extList"):
            for node in nodes_of(bank[head]):
                print(f"{node.address + HEADER_SIZE:#x}: {node}")
                count += 1
        print(f"{count} blocks in the {bank}")


class BlockCommand(gdb.Command):
    """core block ADDRESS: the block at an address: its size and the file and line that asked for it."""

    def __init__(self):
        super().__init__("core block", gdb.COMMAND_DATA)

    def invoke(self, argument, from_tty):
        if not argument.strip():
            raise gdb.GdbError("core block needs an address, as alloc returned it.")
        print(Node(int(gdb.parse_and_eval(f"(unsigned long)({argument})")) - HEADER_SIZE))


class Prefix(gdb.Command):
    """Look into core's memory: core banks, core blocks BANK, core block ADDRESS."""

    def __init__(self):
        super().__init__("core", gdb.COMMAND_DATA, gdb.COMPLETE_NONE, True)


gdb.printing.register_pretty_printer(gdb.current_objfile(), printers(), replace=True)
Prefix()
BanksCommand()
BlocksCommand()
BlockCommand()
