"""Puts a bundle together:

    GAME.app/Contents/Info.plist      the name, the version, the identifier
    GAME.app/Contents/PkgInfo         eight characters: the kind of the bundle and its signature
    GAME.app/Contents/MacOS/          the program
    GAME.app/Contents/Frameworks/     the libraries that come with the game
    GAME.app/Contents/Resources/      the data; core looks for the folder Game there
"""
import os
import plistlib
import shutil
import tempfile

import macho
import names


class MakeError(Exception):
    """The bundle can't be made. The text says why."""


def make(bundle, program, libraries, resources, info, icon=None, replace=False):
    """Makes the folder bundle. libraries are folders that contain the libraries; info is the dictionary of Info.plist. The
    folder appears as a whole or not at all."""
    if os.path.lexists(bundle) and not (replace and os.path.isfile(os.path.join(bundle, "Contents", "Info.plist"))):
        raise MakeError(f"{bundle} exists; " + ("it is no bundle" if replace else "--replace replaces a bundle"))
    parent = os.path.dirname(os.path.abspath(bundle))
    with tempfile.TemporaryDirectory(prefix=".core-bundle-", dir=parent) as folder:
        os.chmod(folder, 0o755)
        contents = os.path.join(folder, "new", "Contents")
        _fill(contents, program, libraries, resources, info, icon)
        _put(os.path.join(folder, "new"), bundle, os.path.join(folder, "old"))


def default_info(program, identifier, name, version, system):
    """Returns the dictionary of Info.plist for a game."""
    executable = os.path.basename(program)
    return {
        "CFBundleDevelopmentRegion": "English",
        "CFBundleExecutable": executable,
        "CFBundleIdentifier": identifier,
        "CFBundleInfoDictionaryVersion": "6.0",
        "CFBundleName": name or executable,
        "CFBundlePackageType": "APPL",
        "CFBundleShortVersionString": version,
        "CFBundleSignature": "????",
        "CFBundleVersion": version,
        "LSMinimumSystemVersion": system,
        "NSPrincipalClass": "NSApplication",
    }


def package_info(info):
    """Returns the contents of PkgInfo."""
    words = (info.get("CFBundlePackageType", "APPL"), info.get("CFBundleSignature", "????"))
    return "".join(str(word)[:4].ljust(4, "?") for word in words)


def _put(new, bundle, old):
    """Gives the folder new the name bundle. A bundle of this name becomes old; when that fails later, it gets its name back."""
    is_replaced = os.path.lexists(bundle)
    if is_replaced:
        os.rename(bundle, old)
    try:
        os.rename(new, bundle)
    except OSError:
        if is_replaced:
            os.rename(old, bundle)
        raise


def _fill(contents, program, libraries, resources, info, icon):
    for name in ("MacOS", "Frameworks", "Resources"):
        os.makedirs(os.path.join(contents, name))
    executable = os.path.join(contents, "MacOS", os.path.basename(str(info.get("CFBundleExecutable", program))))
    shutil.copyfile(program, executable)
    os.chmod(executable, 0o755)
    _copy_libraries(executable, libraries, os.path.join(contents, "Frameworks"))
    if icon:
        shutil.copyfile(icon, os.path.join(contents, "Resources", os.path.basename(icon)))
        info = dict(info, CFBundleIconFile=os.path.basename(icon))
    for resource in resources:
        _copy(resource, os.path.join(contents, "Resources", os.path.basename(os.path.normpath(resource))))
    with open(os.path.join(contents, "Info.plist"), "wb") as file:
        plistlib.dump(info, file)
    with open(os.path.join(contents, "PkgInfo"), "w", encoding="ascii", errors="replace") as file:
        file.write(package_info(info))


def _copy(source, target, leave_out=()):
    """Copies a file or a folder. Links inside of the folder stay links."""
    if os.path.lexists(target):
        raise MakeError(f"two files are to become {os.path.basename(target)}")
    if os.path.isdir(source):
        shutil.copytree(source, target, symlinks=True, ignore=shutil.ignore_patterns(*leave_out))
    else:
        shutil.copy2(source, target)


def _copy_libraries(executable, folders, target):
    """Copies each library that the program asks for in the Frameworks folder, then each that these libraries ask for."""
    waiting, seen = [executable], set()
    while waiting:
        path = waiting.pop()
        for image in _images(path):
            for name in image.libraries:
                if name.startswith(names.FRAMEWORKS) and name not in seen:
                    seen.add(name)
                    found = _copy_library(name[len(names.FRAMEWORKS):], folders, target, name in image.weak)
                    waiting += [found] if found else []


def _images(path):
    try:
        return macho.read_images(path)
    except macho.MachoError as error:
        raise MakeError(f"{path}: {error}") from None


def _copy_library(name, folders, target, may_be_missing):
    """Copies the library, or the framework whose library this is. Returns the path of the copy; None for a weak library that
    is in no folder. name is a path below the Frameworks folder, such as libcore.1.dylib or core.framework/Versions/A/core."""
    first = name.split("/")[0]
    if first in ("", ".", "..") or ".." in name.split("/"):
        raise MakeError(f"{names.FRAMEWORKS}{name} is no name for a library in the Frameworks folder")
    for folder in folders:
        if os.path.isfile(os.path.join(folder, name)):
            copy = os.path.join(target, first)
            if not os.path.lexists(copy):
                _copy(os.path.join(folder, first), copy, ("Headers", "PrivateHeaders")) # a player needs no headers
            return os.path.join(target, name)
    if may_be_missing:
        return None
    raise MakeError(f"{name} is in none of the folders with libraries; --libraries FOLDER names one")
