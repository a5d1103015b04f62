"""Writes Mach-O files that have headers and no code, for tests of core-bundle and of the build for the Mac."""
import struct

PPC, I386, X86_64, PPC64 = 18, 7, 0x01000007, 0x01000012
OBJECT, PROGRAM, LIBRARY = 1, 2, 6
LOAD, OWN, WEAK, RUN_PATH, REEXPORT = 0x0C, 0x0D, 0x80000018, 0x8000001C, 0x8000001F
MAGIC = {32: 0xFEEDFACE, 64: 0xFEEDFACF}


def text_command(number, text, order=">", words=3):
    """A load command with a text. words is the count of numbers between the offset of the text and the text."""
    data = text.encode() + b"\0"
    offset = 12 + 4 * words
    size = (offset + len(data) + 7) // 8 * 8
    return struct.pack(f"{order}3I{words}I", number, size, offset, *[0x10000] * words) + data.ljust(size - offset, b"\0")


def image(kind=PROGRAM, processor=PPC, own="", libraries=(), weak=(), run_paths=(), order=None, more=(), count=None):
    """An image. more is a list of whole load commands; count is the number that the header says, None for the right one."""
    bits = 64 if processor & 0x01000000 else 32
    order = order or (">" if processor in (PPC, PPC64) else "<")
    commands = [text_command(OWN, own, order)] if own else []
    commands += [text_command(LOAD, name, order) for name in libraries]
    commands += [text_command(WEAK, name, order) for name in weak]
    commands += [text_command(RUN_PATH, path, order, 0) for path in run_paths]
    commands += more
    body = b"".join(commands)
    header = struct.pack(order + "7I", MAGIC[bits], processor, 0, kind, len(commands) if count is None else count, len(body), 0)
    return header + (b"\0" * 4 if bits == 64 else b"") + body


def fat(*images):
    """A fat file of (processor, image) pairs."""
    place = 8 + 20 * len(images)
    table, body = struct.pack(">2I", 0xCAFEBABE, len(images)), b""
    for processor, data in images:
        table += struct.pack(">5I", processor, 0, place + len(body), len(data), 0)
        body += data
    return table + body
