"""Checks that a bundle has all that the game needs to start on a player's machine."""
import dataclasses
import os
import plistlib
import stat
import subprocess

import macho
import make
import names

LARGEST_PLIST = 1 << 20
NEEDED_KEYS = ("CFBundleExecutable", "CFBundleIdentifier", "CFBundleName", "CFBundlePackageType", "CFBundleVersion")
BIG_ENDIAN = ("ppc", "ppc64")
# Load commands that a system must know, and the first Mac OS X 10.N that knows them.
FIRST_SYSTEM = {0x80000018: 2, 0x8000001C: 5, 0x8000001F: 5, 0x80000022: 6, 0x80000023: 7, 0x80000028: 8}
UNKNOWN_COMMAND = 99


def printable(text):
    """Returns the text with ? for each control character, because a text from a file could have commands for the terminal."""
    return "".join(character if character.isprintable() else "?" for character in text)


@dataclasses.dataclass
class Finding:
    path: str
    is_error: bool    # else a warning
    what: str
    instead: str      # what to do; may be empty
    check: str        # its name

    def __str__(self):
        text = f"{self.path}: {'error' if self.is_error else 'warning'}: {self.what}"
        text += f"; {self.instead}" if self.instead else ""
        return f"{printable(text)} [{self.check}]"


class Check:
    """One check of one bundle. architectures are those that each file needs; empty for the program's own."""

    def __init__(self, bundle, architectures=(), otool=None):
        self.bundle = os.path.realpath(bundle) # the findings name paths relative to it
        self.contents = os.path.join(self.bundle, "Contents")
        self.program_folder = os.path.join(self.contents, "MacOS")
        self.architectures = list(architectures)
        self.otool = otool
        self.findings = []
        self.system = 4      # the oldest system on which the game must start: N of Mac OS X 10.N
        self.images = {}     # of each file that was read: path without links, list of images

    def run(self):
        """Returns the findings, in the order of the paths."""
        self._links_and_names()
        info = self._info()
        if info is not None:
            self._package_info(info)
            self._keys(info)
            self._program(info)
        if not os.path.isdir(os.path.join(self.contents, "Resources", "Game")):
            self._warn("Contents/Resources/Game", "the folder is missing; core looks for the game's files there",
                       "core-bundle make --resources Game copies it", "no-game-folder")
        return sorted(self.findings, key=lambda finding: finding.path)

    # ---- Findings

    def _error(self, path, what, instead, check):
        self.findings.append(Finding(path, True, what, instead, check))

    def _warn(self, path, what, instead, check):
        self.findings.append(Finding(path, False, what, instead, check))

    def _relative(self, path):
        return os.path.relpath(path, self.bundle)

    def _is_inside(self, path):
        return os.path.realpath(path).startswith(self.bundle + os.sep)

    # ---- Folders

    def _links_and_names(self):
        """No link leads out of the bundle or nowhere; no two names differ only in case, because the Mac's file system does
        not tell them apart."""
        for folder, folders, files in os.walk(self.bundle):
            seen = {}
            for name in sorted(folders + files):
                path = os.path.join(folder, name)
                if name.lower() in seen:
                    self._error(self._relative(path), f"the name differs from {seen[name.lower()]} only in case",
                                "rename one of the two", "same-name")
                seen[name.lower()] = name
                if os.path.islink(path) and not (self._is_inside(path) and os.path.exists(path)):
                    self._error(self._relative(path), f"the link leads to {os.readlink(path)}, which is not in the bundle",
                                "copy the file", "link")

    def _small_file(self, name):
        """Returns the bytes of a regular file in Contents; None, with a finding, if it can't be read."""
        path = os.path.join(self.contents, name)
        try:
            if not stat.S_ISREG(os.stat(path).st_mode):
                raise OSError("it is no file")
            with open(path, "rb") as file:
                data = file.read(LARGEST_PLIST + 1)
        except OSError as error:
            self._error(f"Contents/{name}", f"the file can't be read: {error.strerror or error}", "", "not-readable")
            return None
        if len(data) > LARGEST_PLIST:
            self._error(f"Contents/{name}", f"the file has more than {LARGEST_PLIST} bytes", "", "not-readable")
            return None
        return data

    # ---- Info.plist and PkgInfo

    def _info(self):
        data = self._small_file("Info.plist")
        if data is None:
            return None
        try:
            info = plistlib.loads(data)
        except Exception as error: # for damaged files the reader raises errors of many kinds
            self._error("Contents/Info.plist", f"the file is no property list: {error or type(error).__name__}", "", "plist")
            return None
        if not isinstance(info, dict):
            self._error("Contents/Info.plist", "the property list is no dictionary", "", "plist")
            return None
        return info

    def _package_info(self, info):
        data = self._small_file("PkgInfo")
        wanted = make.package_info(info)
        if data is not None and data != wanted.encode("ascii", "replace"):
            self._warn("Contents/PkgInfo", "the file says something else than Info.plist", f"write {wanted}", "pkginfo")

    def _keys(self, info):
        for key in NEEDED_KEYS:
            if not isinstance(info.get(key), str) or not info[key]:
                self._error("Contents/Info.plist", f"there is no text for {key}", "", "plist-key")
        if isinstance(info.get("CFBundlePackageType"), str) and info["CFBundlePackageType"] != "APPL":
            self._error("Contents/Info.plist", "CFBundlePackageType is not APPL, so the system starts no program", "write APPL",
                        "plist-key")
        icon = info.get("CFBundleIconFile")
        if icon and not any(os.path.isfile(os.path.join(self.contents, "Resources", f"{icon}{end}")) for end in ("", ".icns")):
            self._warn("Contents/Info.plist", f"the icon {icon} is not in Resources", "", "icon")

    # ---- The program and its libraries

    def _program(self, info):
        name = info.get("CFBundleExecutable")
        if not isinstance(name, str) or not name:
            return # _keys has said so
        path = os.path.join(self.program_folder, name)
        if "/" in name or not os.path.isfile(path):
            self._error("Contents/Info.plist", f"CFBundleExecutable is {name}, and there is no such program in MacOS", "",
                        "no-program")
            return
        if not os.stat(path).st_mode & stat.S_IXUSR:
            self._error(self._relative(path), "the program is not marked as executable", "chmod +x", "not-executable")
        images = self._read(path)
        if images and not self.architectures:
            self.architectures = [image.architecture for image in images]
        self._system(info)
        run_paths = {image.architecture: image.run_paths for image in images}
        self._file(path, "program")
        waiting = [path]
        while waiting:
            loader = waiting.pop()
            for image in self._read(loader):
                waiting += self._libraries(loader, image, run_paths.get(image.architecture, []))
        for folder, _, files in os.walk(os.path.join(self.contents, "Frameworks")):
            for library in files:
                self._own_name(os.path.join(folder, library))

    def _system(self, info):
        """Reads the oldest system on which the game must start."""
        text = info.get("LSMinimumSystemVersion")
        parts = text.split(".") if isinstance(text, str) else []
        if len(parts) >= 2 and all(part.isascii() and part.isdigit() and len(part) < 4 for part in parts):
            self.system = int(parts[1]) if int(parts[0]) == 10 else UNKNOWN_COMMAND
        else:
            self._warn("Contents/Info.plist", "LSMinimumSystemVersion names no system; the check assumes 10.4", "", "system")

    def _read(self, path):
        """Returns the images of a file; none, with a finding, if it is damaged."""
        path = os.path.realpath(path)
        if path not in self.images:
            self.images[path] = []
            try:
                if not stat.S_ISREG(os.stat(path).st_mode):
                    raise macho.MachoError("this is no file")
                self.images[path] = macho.read_images(path)
            except (macho.MachoError, OSError) as error:
                self._error(self._relative(path), f"the headers can't be read: {error}", "", "damaged")
            else:
                self._compare_with_otool(path)
        return self.images[path]

    def _file(self, path, kind):
        """Checks what each image of a program or library has to be."""
        images = self._read(path)
        name = self._relative(path)
        if not images:
            return
        there = [image.architecture for image in images]
        for architecture in self.architectures:
            if architecture not in there:
                self._error(name, f"the file has no image for {architecture}, only for {', '.join(there)}",
                            f"build it for {architecture} too", "architecture")
        for image in images:
            if image.kind != kind:
                self._error(name, f"the file is of the kind {image.kind}, not of the kind {kind}", "", "kind")
            if (image.byte_order == "big") != (image.architecture in BIG_ENDIAN):
                self._error(name, f"the image for {image.architecture} is {image.byte_order}-endian", "", "byte-order")
            newest = max((FIRST_SYSTEM.get(number, UNKNOWN_COMMAND) for number in image.commands
                          if number & macho.NEEDED_TO_LOAD), default=0)
            if newest > self.system:
                system = "a newer system" if newest == UNKNOWN_COMMAND else f"Mac OS X 10.{newest}"
                self._error(name, f"the file needs {system}, and Info.plist says that 10.{self.system} is enough",
                            "link for the older system", "too-new")

    def _libraries(self, loader, image, program_run_paths):
        """Checks the libraries that an image loads. Returns those of the bundle that were not checked before."""
        new = []
        for name in image.libraries:
            if names.is_system(name):
                continue
            path = self._library_path(loader, image, name, program_run_paths)
            if path and path not in self.images:
                self._file(path, "library")
                new.append(path)
        return new

    def _library_path(self, loader, image, name, program_run_paths):
        """Returns the path of a library that the loader asks for; None, with a finding, if the bundle does not have it."""
        paths = names.candidates(name, self.program_folder, os.path.dirname(os.path.realpath(loader)),
                                 image.run_paths + program_run_paths)
        for path in paths:
            if os.path.isfile(path) and self._is_inside(path):
                return os.path.realpath(path)
        if name in image.weak:
            return None # the program starts without it
        instead = f"the install name should begin with {names.FRAMEWORKS}"
        if paths:
            instead = f"the library belongs to {self._relative(paths[0])}"
        self._error(self._relative(loader), f"the file loads {name}, which is not in the bundle", instead, "missing-library")
        return None

    def _own_name(self, path):
        """A library in Frameworks has the install name by which other programs find it there."""
        if os.path.islink(path) or not os.path.isfile(path) or not macho.is_macho(path):
            return
        for image in self._read(path):
            place = os.path.relpath(os.path.realpath(path), os.path.join(self.contents, "Frameworks"))
            if image.kind == "library" and image.own_name not in (names.FRAMEWORKS + place, "@rpath/" + place):
                self._warn(self._relative(path), f"the install name is {image.own_name or 'empty'}",
                           f"link with -install_name {names.FRAMEWORKS}{place}", "install-name")

    def _compare_with_otool(self, path):
        """otool, where there is one, must read the same names of libraries."""
        if not self.otool:
            return
        done = subprocess.run([self.otool, "-L", path], stdin=subprocess.DEVNULL, capture_output=True, check=False)
        lines = done.stdout.decode("utf-8", "replace").splitlines()
        theirs = {line.strip().rsplit(" (compatibility version", 1)[0] for line in lines if line.startswith("\t")}
        ours = {name for image in self.images[path] for name in image.libraries + [image.own_name] if name}
        if done.returncode == 0 and theirs != ours:
            self._error(self._relative(path), f"{os.path.basename(self.otool)} reads other names of libraries: "
                        f"{', '.join(sorted(theirs ^ ours))}", "", "otool")
