#!/usr/bin/env python3
"""What core-bundle makes, what it refuses, and what it says of bundles with a fault.

core_bundle_test.py TOOL

TOOL is the program. The Mach-O files of the tests have headers and no code. Where LLVM's tools are installed, they read these
files too.
"""
import os
import pathlib
import plistlib
import random
import shutil
import struct
import subprocess
import sys
import tempfile
import unittest

sys.dont_write_bytecode = True

import machowriter as mach

TOOL = os.path.abspath(sys.argv.pop(1))
sys.path.append(os.path.dirname(TOOL))

import check
import macho

FRAMEWORKS = "@executable_path/../Frameworks/"
SYSTEM = "/usr/lib/libSystem.B.dylib"
CORE, FILE = FRAMEWORKS + "libcore.1.dylib", FRAMEWORKS + "file.framework/Versions/A/file"


class InAFolder(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="core-bundle-test-")
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def write(self, path, data):
        path = self.folder / path
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(data)
        return path

    def tool(self, *words):
        done = subprocess.run([sys.executable, "-B", TOOL, *words], cwd=self.folder, capture_output=True, text=True, check=False)
        return done.returncode, done.stdout + done.stderr

    def parts(self, processor=mach.PPC):
        """A program, a library, and a framework that loads the library: a circle."""
        self.write("castle", mach.image(mach.PROGRAM, processor, libraries=[CORE, SYSTEM]))
        self.write("lib/libcore.1.dylib", mach.image(mach.LIBRARY, processor, CORE, [FILE, SYSTEM]))
        self.write("lib/file.framework/Versions/A/file", mach.image(mach.LIBRARY, processor, FILE, [CORE, SYSTEM]))
        self.write("lib/file.framework/Versions/A/Headers/file.h", b"")
        (self.folder / "lib/file.framework/Versions/Current").symlink_to("A")
        (self.folder / "lib/file.framework/file").symlink_to("Versions/Current/file")
        self.write("Game/battle.txt", b"rounds = 3\r\n")

    def bundle(self):
        self.parts()
        status, said = self.tool("make", "castle.app", "--program", "castle", "--libraries", "lib", "--resources", "Game",
                                 "--identifier", "com.example.castle")
        self.assertEqual((status, said), (0, ""))
        return self.folder / "castle.app"

    def findings(self):
        """What the check of castle.app says: a line for each finding."""
        return [str(finding) for finding in check.Check(self.folder / "castle.app").run()]

    def info(self, **changes):
        path = self.folder / "castle.app/Contents/Info.plist"
        info = plistlib.loads(path.read_bytes())
        info.update(changes)
        path.write_bytes(plistlib.dumps({key: value for key, value in info.items() if value is not None}))


class Make(InAFolder):
    def test_a_bundle_has_program_libraries_data_and_texts_about_it(self):
        contents = self.bundle() / "Contents"
        files = sorted(str(path.relative_to(contents)) for path in contents.rglob("*") if not path.is_dir() or path.is_symlink())
        self.assertEqual(files, ["Frameworks/file.framework/Versions/A/file", "Frameworks/file.framework/Versions/Current",
                                 "Frameworks/file.framework/file", "Frameworks/libcore.1.dylib", "Info.plist",
                                 "MacOS/castle", "PkgInfo", "Resources/Game/battle.txt"])
        self.assertEqual((contents / "PkgInfo").read_bytes(), b"APPL????")
        self.assertTrue(os.access(contents / "MacOS/castle", os.X_OK))
        info = plistlib.loads((contents / "Info.plist").read_bytes())
        self.assertEqual((info["CFBundleExecutable"], info["CFBundleName"], info["CFBundleVersion"], info["LSMinimumSystemVersion"]),
                         ("castle", "castle", "1.0", "10.4"))

    def test_a_plist_of_the_game_replaces_the_made_one(self):
        self.parts()
        self.write("own.plist", plistlib.dumps({
            "CFBundleExecutable": "Castle", "CFBundleIdentifier": "com.example.castle", "CFBundleName": "Castle of Ü",
            "CFBundlePackageType": "APPL", "CFBundleSignature": "CaSt", "CFBundleVersion": "2",
            "LSMinimumSystemVersion": "10.5.2"}))
        status, said = self.tool("make", "castle.app", "--program", "castle", "--libraries", "lib", "--resources", "Game",
                                 "--plist", "own.plist")
        self.assertEqual((status, said), (0, ""))
        self.assertEqual((self.folder / "castle.app/Contents/PkgInfo").read_bytes(), b"APPLCaSt")
        self.assertTrue((self.folder / "castle.app/Contents/MacOS/Castle").is_file())

    def test_a_library_that_no_folder_has_stops_it_and_leaves_nothing(self):
        self.parts()
        os.remove(self.folder / "lib/libcore.1.dylib")
        before = sorted(os.listdir(self.folder))
        status, said = self.tool("make", "castle.app", "--program", "castle", "--libraries", "lib", "--identifier", "a.b")
        self.assertEqual(status, 2)
        self.assertIn("libcore.1.dylib is in none of the folders with libraries", said)
        self.assertEqual(sorted(os.listdir(self.folder)), before)

    def test_a_bundle_that_exists_is_replaced_on_request_only(self):
        words = ["make", "castle.app", "--program", "castle", "--libraries", "lib", "--resources", "Game", "--identifier", "a.b"]
        self.bundle()
        self.assertEqual(self.tool(*words), (2, "core-bundle: castle.app exists; --replace replaces a bundle\n"))
        self.assertEqual(self.tool(*words, "--replace"), (0, ""))
        self.write("notes/my.txt", b"")
        words[1] = "notes"
        self.assertEqual(self.tool(*words, "--replace"), (2, "core-bundle: notes exists; it is no bundle\n"))
        self.assertTrue((self.folder / "notes/my.txt").exists())

    def test_a_name_that_leads_out_of_the_frameworks_folder_is_refused(self):
        self.write("castle", mach.image(libraries=[FRAMEWORKS + "../../../../etc/passwd"]))
        status, said = self.tool("make", "castle.app", "--program", "castle", "--libraries", "/", "--identifier", "a.b")
        self.assertEqual(status, 2)
        self.assertIn("is no name for a library in the Frameworks folder", said)

    def test_a_file_that_is_missing_has_another_status_than_a_wrong_command(self):
        self.assertEqual(self.tool("make", "a.app", "--program", "none", "--identifier", "a.b")[0], 3)
        self.assertEqual(self.tool("check", "none.app")[0], 3)
        self.assertEqual(self.tool("make", "a.app")[0], 2)
        self.parts()
        self.assertEqual(self.tool("make", "a.app", "--program", "castle"), (2, "core-bundle: --identifier or --plist is missing\n"))


class Check(InAFolder):
    def setUp(self):
        super().setUp()
        self.contents = self.bundle() / "Contents"
        self.assertEqual(self.findings(), [])

    def replace(self, name, data):
        (self.contents / name).write_bytes(data)

    def expect(self, *lines):
        self.assertEqual(self.findings(), list(lines))

    def test_a_library_for_another_processor(self):
        self.replace("Frameworks/libcore.1.dylib", mach.image(mach.LIBRARY, mach.I386, CORE))
        self.expect("Contents/Frameworks/libcore.1.dylib: error: the file has no image for ppc, only for i386; "
                    "build it for ppc too [architecture]")

    def test_a_fat_program_needs_fat_libraries(self):
        both = mach.fat((mach.PPC, mach.image(libraries=[CORE])), (mach.I386, mach.image(mach.PROGRAM, mach.I386, libraries=[CORE])))
        self.replace("MacOS/castle", both)
        self.assertEqual([line.split(";")[0] for line in self.findings()], [
            "Contents/Frameworks/file.framework/Versions/A/file: error: the file has no image for i386, only for ppc",
            "Contents/Frameworks/libcore.1.dylib: error: the file has no image for i386, only for ppc"])

    def test_a_library_that_is_not_in_the_bundle(self):
        os.remove(self.contents / "Frameworks/libcore.1.dylib")
        self.expect("Contents/MacOS/castle: error: the file loads @executable_path/../Frameworks/libcore.1.dylib, which is not in "
                    "the bundle; the library belongs to Contents/Frameworks/libcore.1.dylib [missing-library]")

    def test_a_library_of_the_developers_machine(self):
        self.replace("MacOS/castle", mach.image(libraries=["/opt/local/lib/libz.1.dylib", "libcore.1.dylib", CORE]))
        self.assertEqual([line.split(":")[2] for line in self.findings()], [
            " the file loads /opt/local/lib/libz.1.dylib, which is not in the bundle; the install name should begin with "
            "@executable_path/../Frameworks/ [missing-library]",
            " the file loads libcore.1.dylib, which is not in the bundle; the install name should begin with "
            "@executable_path/../Frameworks/ [missing-library]"])

    def test_a_name_that_leads_out_of_the_bundle_or_of_the_systems_folder(self):
        self.write("libcore.1.dylib", mach.image(mach.LIBRARY, own=CORE)) # beside the bundle
        self.replace("MacOS/castle", mach.image(libraries=["@executable_path/../../../libcore.1.dylib", "/usr/lib/../lib2/libz.dylib"]))
        self.assertEqual([line.rsplit(" ", 1)[1] for line in self.findings()], ["[missing-library]"] * 2)

    def test_a_weak_library_may_be_missing(self):
        self.replace("MacOS/castle", mach.image(libraries=[CORE], weak=[FRAMEWORKS + "libsound.dylib"]))
        self.expect()

    def test_a_run_path_needs_a_later_system_than_10_4(self):
        self.replace("MacOS/castle", mach.image(libraries=["@rpath/libcore.1.dylib"], run_paths=["@loader_path/../Frameworks"]))
        self.expect("Contents/MacOS/castle: error: the file needs Mac OS X 10.5, and Info.plist says that 10.4 is enough; "
                    "link for the older system [too-new]")
        self.info(LSMinimumSystemVersion="10.5")
        self.expect()

    def test_a_file_of_the_wrong_kind_or_byte_order(self):
        self.replace("MacOS/castle", mach.image(mach.LIBRARY, order="<", libraries=[CORE]))
        self.expect("Contents/MacOS/castle: error: the file is of the kind library, not of the kind program [kind]",
                    "Contents/MacOS/castle: error: the image for ppc is little-endian [byte-order]")

    def test_an_install_name_by_which_no_program_finds_the_library(self):
        self.replace("Frameworks/libcore.1.dylib", mach.image(mach.LIBRARY, mach.PPC, "/usr/local/lib/libcore.1.dylib", [FILE]))
        self.expect("Contents/Frameworks/libcore.1.dylib: warning: the install name is /usr/local/lib/libcore.1.dylib; link with "
                    "-install_name @executable_path/../Frameworks/libcore.1.dylib [install-name]")

    def test_links_that_lead_out_of_the_bundle_or_nowhere(self):
        (self.contents / "Resources/Game/de").symlink_to("/etc")
        (self.contents / "Resources/Game/fr").symlink_to("nowhere")
        (self.contents / "Resources/Game/ring").symlink_to("ring")
        self.assertEqual([line.rsplit(" ", 1)[1] for line in self.findings()], ["[link]"] * 3)

    def test_names_that_the_macs_file_system_does_not_tell_apart(self):
        (self.contents / "Resources/Game/Battle.txt").write_bytes(b"")
        self.expect("Contents/Resources/Game/battle.txt: error: the name differs from Battle.txt only in case; rename one of the "
                    "two [same-name]")

    def test_each_fault_of_the_texts_about_the_game(self):
        self.info(CFBundleIdentifier=None, CFBundlePackageType="FMWK", CFBundleIconFile="castle", LSMinimumSystemVersion=None)
        (self.contents / "MacOS/castle").chmod(0o644)
        shutil.rmtree(self.contents / "Resources/Game")
        self.assertEqual([line.rsplit(" ", 1)[1] for line in self.findings()],
                         ["[plist-key]", "[plist-key]", "[icon]", "[system]", "[not-executable]", "[pkginfo]", "[no-game-folder]"])
        self.info(CFBundleExecutable="tower")
        self.assertIn("[no-program]", " ".join(self.findings()))

    def test_texts_that_are_damaged(self):
        for data in (b"", b"no list", b"<plist><dict><key>a</key>", plistlib.dumps(["a"]), b"bplist00" + b"\xff" * 40,
                     b"x" * 2000000):
            self.replace("Info.plist", data)
            self.assertEqual(len(self.findings()), 1)
        os.remove(self.contents / "Info.plist")
        os.mkfifo(self.contents / "Info.plist")
        self.assertEqual(len(self.findings()), 1)

    def test_control_characters_of_a_name_do_not_reach_the_terminal(self):
        self.replace("MacOS/castle", mach.image(libraries=["\x1b[2Jevil"]))
        self.assertIn("loads ?[2Jevil,", self.findings()[0])
        self.write("castle", mach.image(libraries=[FRAMEWORKS + "\x1b[2Jevil"]))
        self.assertIn("core-bundle: ?[2Jevil is in none", self.tool("make", "a.app", "--program", "castle", "--identifier", "a.b")[1])

    def test_a_bundle_that_is_reached_through_a_link_has_the_same_findings(self):
        self.replace("Frameworks/libcore.1.dylib", mach.image(count=7))
        before = self.findings()
        os.rename(self.folder / "castle.app", self.folder / "real.app")
        (self.folder / "castle.app").symlink_to("real.app")
        self.assertEqual(self.findings(), before)

    def test_the_program_prints_the_findings_and_its_status_says_that_there_are_some(self):
        self.assertEqual(self.tool("check", "castle.app", "--arch", "ppc"), (0, ""))
        status, said = self.tool("check", "castle.app", "--arch", "i386")
        self.assertEqual((status, said.count("[architecture]")), (1, 3))

    def test_otool_must_read_the_same_names(self):
        otool = self.write("otool", b"#!/bin/sh\nprintf 'file:\\n\\t/usr/lib/other.dylib (compatibility version 1.0.0)\\n'\n")
        otool.chmod(0o755)
        status, said = self.tool("check", "castle.app", "--otool", str(otool))
        self.assertEqual(status, 1)
        self.assertIn("otool reads other names of libraries: /usr/lib/libSystem.B.dylib, /usr/lib/other.dylib, @exec", said)

    def test_llvms_otool_reads_the_same_names(self):
        otool = shutil.which("llvm-otool") or shutil.which("llvm-otool-14")
        if not otool:
            self.skipTest("LLVM's otool is not installed")
        self.assertEqual(self.tool("check", "castle.app", "--otool", otool), (0, ""))


class HostileFiles(InAFolder):
    """Each damaged file gets a sentence."""

    def read(self, data):
        return macho.read_images(self.write("file", data))

    def refused(self, data, sentence):
        with self.assertRaisesRegex(macho.MachoError, sentence):
            self.read(data)

    def test_all_headers_of_a_good_file(self):
        images = self.read(mach.fat((mach.PPC, mach.image(mach.LIBRARY, mach.PPC, CORE, [FILE])),
                                    (mach.X86_64, mach.image(mach.PROGRAM, mach.X86_64, libraries=[CORE], run_paths=["/a"]))))
        self.assertEqual([(image.architecture, image.byte_order, image.bits, image.kind, image.own_name, image.libraries,
                           image.run_paths) for image in images],
                         [("ppc", "big", 32, "library", CORE, [FILE], []), ("x86_64", "little", 64, "program", "", [CORE], ["/a"])])

    def test_a_file_that_ends_early_anywhere(self):
        for whole in (mach.image(libraries=[CORE]), mach.fat((mach.PPC, mach.image(libraries=[CORE])))):
            for size in range(len(whole)):
                with self.assertRaises(macho.MachoError):
                    self.read(whole[:size])

    def test_numbers_that_are_too_large(self):
        self.refused(mach.image(libraries=[CORE], count=0xFFFFFFFF), "says 4294967295 load commands; there is room for 1")
        self.refused(struct.pack(">7I", 0xFEEDFACE, 18, 0, 2, 1, 0xFFFFFFFF, 0), "says 4294967295 bytes of load commands")
        self.refused(struct.pack(">2I", 0xCAFEBABE, 0xFFFFFFFF), "says 4294967295 architectures")
        self.refused(mach.image(more=[struct.pack(">2I", 12, 0xFFFFFFF8)]), "impossible size of 4294967288 bytes")
        self.refused(struct.pack(">7I", 0xCAFEBABE, 1, 18, 0, 0xFFFFFFF0, 0xFFFFFFF0, 0), "lies outside of the file")

    def test_a_command_of_no_size_does_not_repeat_for_ever(self):
        self.refused(mach.image(more=[struct.pack(">2I", 12, 0)], count=1000000), "impossible size of 0 bytes")

    def test_a_fat_file_in_itself(self):
        self.refused(struct.pack(">7I", 0xCAFEBABE, 1, 18, 0, 0, 28, 0), "image 1 lies outside of the file")
        self.refused(mach.fat((18, mach.fat((18, b"")))), "is a fat file itself")
        twice = mach.image()
        self.refused(mach.fat((18, twice), (18, twice)), "two images are for ppc")

    def test_names_that_lie_outside_of_their_command(self):
        for offset in (0, 8, 24, 25, 0xFFFFFFFF):
            self.refused(mach.image(more=[struct.pack(">6I", 12, 24, offset, 0, 0, 0)]), "lies outside of the command")
        self.refused(mach.image(more=[struct.pack(">2I", 12, 8)]), "lies outside of the command")
        self.refused(mach.image(more=[struct.pack(">3I", 12, 16, 12) + b"abcd"]), "has no end")

    def test_random_changes_of_a_good_file_give_a_sentence_or_a_result(self):
        numbers = random.Random(4)
        whole = mach.fat((mach.PPC, mach.image(libraries=[CORE])), (mach.X86_64, mach.image(mach.LIBRARY, mach.X86_64, CORE, [FILE])))
        for _ in range(2000):
            data = bytearray(whole)
            for _ in range(numbers.randint(1, 4)):
                data[numbers.randrange(len(data))] = numbers.choice((0, 1, 0x7F, 0x80, 0xFF, numbers.randrange(256)))
            try:
                self.read(bytes(data))
            except macho.MachoError:
                pass

    def test_a_damaged_library_is_a_finding(self):
        contents = self.bundle() / "Contents"
        (contents / "Frameworks/libcore.1.dylib").write_bytes(mach.image(count=7))
        self.assertIn("Contents/Frameworks/libcore.1.dylib: error: the headers can't be read: the header says 7 load commands; "
                      "there is room for 0 [damaged]", self.findings())


class LlvmsFiles(InAFolder):
    """A library and a program that LLVM's linker has made, for a processor that the linker knows."""

    def test_their_headers_are_read(self):
        clang, linker = shutil.which("clang"), shutil.which("ld64.lld") or shutil.which("ld64.lld-14")
        if not clang or not linker:
            self.skipTest("clang or LLVM's linker for Macs is not installed")
        self.write("libSystem.tbd", b"--- !tapi-tbd\ntbd-version: 4\ntargets: [ x86_64-macos ]\n"
                   b"install-name: '/usr/lib/libSystem.B.dylib'\nexports:\n  - targets: [ x86_64-macos ]\n"
                   b"    symbols: [ dyld_stub_binder ]\n...\n")
        self.write("library.c", b"int answer(void) { return 42; }\n")
        self.write("game.c", b"int answer(void);\nint main(void) { return answer(); }\n")
        link = [linker, "-arch", "x86_64", "-platform_version", "macos", "10.6", "10.6", "libSystem.tbd"]
        for command in ([clang, "--target=x86_64-apple-macosx10.6", "-ffreestanding", "-c", "library.c", "game.c"],
                        [*link, "-dylib", "-install_name", CORE, "library.o", "-o", "libcore.1.dylib"],
                        [*link, "game.o", "libcore.1.dylib", "-o", "castle"]):
            subprocess.run(command, cwd=self.folder, check=True, capture_output=True)
        os.mkdir(self.folder / "Game")
        status, said = self.tool("make", "castle.app", "--program", "castle", "--libraries", ".", "--resources", "Game",
                                 "--identifier", "com.example.castle", "--system", "10.8")
        self.assertEqual((status, said), (0, ""))
        library, = macho.read_images(self.folder / "castle.app/Contents/Frameworks/libcore.1.dylib")
        self.assertEqual((library.architecture, library.kind, library.own_name), ("x86_64", "library", CORE))


if __name__ == "__main__":
    unittest.main()
