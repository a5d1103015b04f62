"""Reads the headers of Mach-O files, the programs and libraries of Mac OS X.

    for image in macho.read_images("game.app/Contents/MacOS/game"):
        print(image.architecture, image.kind, image.libraries)

A file has one image, or one for each architecture; the second form is called a fat file. The reader believes no number of the
file before it has compared the number with the sizes that it knows.
"""
import dataclasses
import os
import struct

ARCHITECTURES = {7: "i386", 18: "ppc", 0x01000007: "x86_64", 0x0100000C: "arm64", 0x01000012: "ppc64"}
KINDS = {1: "object", 2: "program", 6: "library", 8: "module"}

FAT = b"\xca\xfe\xba\xbe"
FORMS = {  # the magic number in the order of the file's bytes: byte order, bits
    b"\xfe\xed\xfa\xce": (">", 32),
    b"\xce\xfa\xed\xfe": ("<", 32),
    b"\xfe\xed\xfa\xcf": (">", 64),
    b"\xcf\xfa\xed\xfe": ("<", 64),
}
MOST_ARCHITECTURES = 16          # a larger count is no fat file: files of Java begin with the same four bytes
MOST_COMMAND_BYTES = 1 << 20     # the load commands of one image

NEEDED_TO_LOAD = 0x80000000      # in a load command: a system that does not know the command must not load the file
LOAD_LIBRARY = {0x0C: "needed", 0x80000018: "weak", 0x8000001F: "needed", 0x20: "needed", 0x80000023: "needed"}
OWN_NAME = 0x0D
RUN_PATH = 0x8000001C


class MachoError(Exception):
    """The file is damaged. The text says what is wrong in it."""


@dataclasses.dataclass
class Image:
    architecture: str    # such as "ppc"; "processor N" for one that has no name here
    byte_order: str      # "big" or "little"
    bits: int            # 32 or 64
    kind: str            # a value of KINDS, or "type N"
    own_name: str = ""   # the install name of a library; empty for other files
    libraries: list = dataclasses.field(default_factory=list)  # the names of the needed libraries, in order
    weak: set = dataclasses.field(default_factory=set)         # the libraries that may be missing
    run_paths: list = dataclasses.field(default_factory=list)
    commands: list = dataclasses.field(default_factory=list)   # the numbers of all load commands


def is_macho(path):
    """True if the file begins like a Mach-O file. Of its contents, the function reads four bytes."""
    with open(path, "rb") as file:
        start = file.read(4)
    return start == FAT or start in FORMS


def read_images(path):
    """Returns the images of a file. Raises MachoError if the file is damaged or is no Mach-O file."""
    with open(path, "rb") as file:
        size = file.seek(0, os.SEEK_END)
        images = [_image(file, begin, end) for begin, end in _slices(file, size)]
    names = [image.architecture for image in images]
    for name in names:
        if names.count(name) > 1:
            raise MachoError(f"two images are for {name}")
    return images


def _bytes(file, begin, count, end, what):
    if begin + count > end:
        raise MachoError(f"the file ends inside {what}")
    file.seek(begin)
    return file.read(count)


def _slices(file, size):
    """Returns a list of (begin, end), with one element for each image of the file."""
    if _bytes(file, 0, 4, size, "the magic number") != FAT:
        return [(0, size)]
    count, = struct.unpack(">I", _bytes(file, 4, 4, size, "the header"))
    if not 1 <= count <= MOST_ARCHITECTURES:
        raise MachoError(f"the header says {count} architectures; 1 to {MOST_ARCHITECTURES} are possible")
    slices = []
    for i in range(count):
        entry = _bytes(file, 8 + 20 * i, 20, size, "the table of architectures")
        _, _, offset, length, _ = struct.unpack(">5I", entry)
        if offset < 8 + 20 * count or offset + length > size:
            raise MachoError(f"image {i + 1} lies outside of the file")
        slices.append((offset, offset + length))
    return slices


def _image(file, begin, end):
    magic = _bytes(file, begin, 4, end, "the magic number")
    if magic == FAT:
        raise MachoError("an image of a fat file is a fat file itself")
    if magic not in FORMS:
        raise MachoError("the file is no Mach-O file")
    order, bits = FORMS[magic]
    header = _bytes(file, begin, 28 if bits == 32 else 32, end, "the header")
    processor, _, kind, count, length, _ = struct.unpack_from(order + "6I", header, 4)
    image = Image(ARCHITECTURES.get(processor, f"processor {processor}"), "big" if order == ">" else "little", bits,
                  KINDS.get(kind, f"type {kind}"))
    if length > MOST_COMMAND_BYTES:
        raise MachoError(f"the header says {length} bytes of load commands; at most {MOST_COMMAND_BYTES} are possible")
    commands = _bytes(file, begin + len(header), length, end, "the load commands")
    for number, command in _commands(commands, count, order):
        _read_command(image, number, command, order)
    return image


def _commands(data, count, order):
    """Yields (number, bytes) for each load command."""
    place = 0
    for i in range(count):
        if place + 8 > len(data):
            raise MachoError(f"the header says {count} load commands; there is room for {i}")
        number, size = struct.unpack_from(order + "2I", data, place)
        if size < 8 or place + size > len(data):
            raise MachoError(f"load command {i + 1} has an impossible size of {size} bytes")
        yield number, data[place:place + size]
        place += size


def _read_command(image, number, command, order):
    image.commands.append(number)
    if number in LOAD_LIBRARY:
        name = _text(command, order)
        image.libraries.append(name)
        if LOAD_LIBRARY[number] == "weak":
            image.weak.add(name)
    elif number == OWN_NAME:
        image.own_name = _text(command, order)
    elif number == RUN_PATH:
        image.run_paths.append(_text(command, order))


def _text(command, order):
    """Returns the text of a command that has one. The offset of the text is the command's third number."""
    offset = struct.unpack_from(order + "I", command, 8)[0] if len(command) >= 12 else 0
    if not 12 <= offset < len(command):
        raise MachoError("the name in a load command lies outside of the command")
    end = command.find(b"\0", offset)
    if end < 0:
        raise MachoError("the name in a load command has no end")
    return command[offset:end].decode("utf-8", "backslashreplace")
