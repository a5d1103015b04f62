"""The names by which programs and libraries ask for the libraries in a bundle's Frameworks folder."""
import os

FRAMEWORKS = "@executable_path/../Frameworks/"
SYSTEM_FOLDERS = ("/usr/lib/", "/System/Library/")


def is_system(name):
    """True for a library that each Mac has."""
    return name.startswith(SYSTEM_FOLDERS) and ".." not in name.split("/")


def expanded(name, program_folder, loader_folder):
    """Returns the path for a name with @executable_path or @loader_path; None for any other name."""
    for word, folder in (("@executable_path/", program_folder), ("@loader_path/", loader_folder)):
        if name.startswith(word):
            return os.path.normpath(os.path.join(folder, name[len(word):]))
    return None


def candidates(name, program_folder, loader_folder, run_paths):
    """Returns the paths at which the system looks for a library, in order. run_paths are those of the loader, then those
    of the program. A name that depends on the player's machine has no paths."""
    if not name.startswith("@rpath/"):
        path = expanded(name, program_folder, loader_folder)
        return [path] if path else []
    paths = [expanded(run_path.rstrip("/") + "/", program_folder, loader_folder) for run_path in run_paths]
    return [os.path.normpath(os.path.join(path, name[len("@rpath/"):])) for path in paths if path]
