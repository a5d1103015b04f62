"""Writes down which lines of the tools in Python run. Python imports this module at the start of each program when this
folder is in PYTHONPATH; `./run coverage` puts it there.

PYLINES_FOLDER names a folder: each process adds a file to it, with a line "path:number" for each line that ran. The tests run
copies of the sources in the build's folder tools. GDB runs a copy of tools/gdb/core.py, whose name ends with "-gdb.py".
"""
import atexit
import os
import sys

_SOURCE = os.path.dirname(os.path.dirname(os.path.dirname(os.path.dirname(os.path.realpath(__file__)))))
_TOOLS = os.path.join(_SOURCE, "tools") + os.sep
_PRINTERS = os.path.join(_TOOLS, "gdb", "core.py")
_ran = set()
_paths = {} # by a code object's file name: the source's path; None for files that do not count


def _path_of(name):
    if name not in _paths:
        _, tools, end = os.path.realpath(name).rpartition("/tools/")
        path = _PRINTERS if name.endswith("-gdb.py") else os.path.join(_TOOLS, end)
        _paths[name] = path if (tools or path == _PRINTERS) and os.path.exists(path) else None
    return _paths[name]


def _trace(frame, event, _):
    path = _path_of(frame.f_code.co_filename)
    if path is None:
        return None
    if event == "line":
        _ran.add((path, frame.f_lineno))
    return _trace


def _write(folder):
    sys.settrace(None)
    if _ran:
        with open(os.path.join(folder, f"{os.getpid()}.lines"), "a", encoding="utf-8") as file:
            file.writelines(f"{path}:{number}\n" for path, number in _ran)


if os.environ.get("PYLINES_FOLDER"):
    atexit.register(_write, os.environ["PYLINES_FOLDER"])
    sys.settrace(_trace)
