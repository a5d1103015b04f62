#!/usr/bin/env bash
# core for Mac OS X, built with a stand-in for the compiler: the toolchain files, the install names, the frameworks, and
# bundles of games that link them. Nothing is compiled. Layout.TheMacsOwnAbi has a compiler's front end read the sources.
#
#   mac_build.sh SOURCE_DIR CORE_BUNDLE
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
source=$1
bundle=$2
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$folder"
tools=$(dirname "$bundle")
export PYTHONPATH=$tools:$here PYTHONDONTWRITEBYTECODE=1 MAC_COMMANDS=$folder/commands
unset SDKROOT MACOSX_DEPLOYMENT_TARGET CMAKE_CXX_COMPILER_LAUNCHER CMAKE_OBJCXX_COMPILER_LAUNCHER

fail() {
    echo "FAILED: $*"
    exit 1
}

step() {
    "$@" >said 2>&1 || { tail -n 40 said && fail "$*"; }
}

# The compiler, the tools of its folder, and an SDK without contents. Object files are empty. Only a link starts Python.
mkdir -p bin MacOSX.sdk
cat >bin/powerpc-apple-darwin8-g++ <<END
#!/bin/sh
last= output= depends= compiles=
for word; do
    case \$last in -o) output=\$word ;; -MF) depends=\$word ;; esac
    [ "\$word" != -c ] || compiles=yes
    last=\$word
done
[ -z "\$compiles" ] || { : >"\$output"; [ -z "\$depends" ] || : >"\$depends"; exit; }
exec python3 -S "$here/mac_compiler.py" "\$@"
END
printf '#!/bin/sh\nexit 0\n' >bin/powerpc-apple-darwin8-install_name_tool
chmod +x bin/*
ln -s powerpc-apple-darwin8-g++ bin/powerpc-apple-darwin9-g++
ln -s powerpc-apple-darwin8-install_name_tool bin/powerpc-apple-darwin9-install_name_tool
export PATH=$folder/bin:$PATH

# configure DARWIN ARGUMENT...: a build of core in the folder darwinN.
configure() {
    cmake -S "$source" -B "darwin$1" -G Ninja --toolchain "$source/cmake/powerpc-apple-darwin$1.cmake" \
        -DCMAKE_BUILD_TYPE=Release -DCORE_DEMO=OFF -DCORE_EXAMPLES=OFF -DCORE_TOOLS=OFF -DCMAKE_CXX_COMPILER_LAUNCHER= \
        -DCMAKE_INSTALL_PREFIX="$folder/installed$1" "${@:2}"
}

# bundled NAME PROGRAM: puts the program's bundle together, which must be without a finding.
bundled() {
    mkdir -p Game
    step "$bundle" make "$1.app" --program "$2" --libraries "$installed" --resources Game --identifier "com.example.$1" --arch ppc
}

# ---- The SDK must exist

! configure 8 >said 2>&1 || fail "a build without an SDK was configured"
grep -q 'it must be the folder of an SDK for Mac OS X 10.4' said || { cat said && fail "no message about the SDK"; }
rm -rf darwin8

# ---- Frameworks, for Mac OS X 10.4

step configure 8 -DCORE_MAC_SDK="$folder/MacOSX.sdk" -DCORE_FRAMEWORK=ON
step cmake --build darwin8
step cmake --install darwin8
installed=$folder/installed8/Frameworks
grep -q -- "-mmacosx-version-min=10.4" commands || fail "the compiler was not told the system"
grep -q 'CMAKE_CXX_SIZEOF_DATA_PTR "4"' darwin8/CMakeFiles/*/CMakeCXXCompiler.cmake || fail "CMake does not know the size of a pointer"
grep -q -- "-isysroot $folder/MacOSX.sdk" commands || fail "the compiler was not told the SDK"
for name in core file logger; do
    framework=$installed/$name.framework
    [ "$(readlink "$framework/Versions/Current")" = A ] || fail "$name: Versions/Current"
    [ "$(readlink "$framework/$name")" = "Versions/Current/$name" ] || fail "$name: the link to the library"
    [ -e "$framework/Headers/$name.h" ] || [ -e "$framework/Headers/memorymgr.h" ] || fail "$name: no headers"
done
[ "$(cd "$source/core" && printf '%s\n' ./*.h | wc -l)" -ge "$(find "$installed/core.framework/Headers/" -name '*.h' | wc -l)" ] ||
    fail "core.framework has headers that are not core's"
[ -e "$installed/core.framework/Headers/platform.h" ] || fail "platform.h is not in core.framework"
python3 - "$installed" <<'END'
import macho, plistlib, sys
for name in ("core", "file", "logger"):
    place = f"{name}.framework/Versions/A/"
    image, = macho.read_images(f"{sys.argv[1]}/{place}{name}")
    assert image.own_name == f"@executable_path/../Frameworks/{place}{name}", image.own_name
    with open(f"{sys.argv[1]}/{place}Resources/Info.plist", "rb") as file:
        info = plistlib.load(file)
    assert (info["CFBundleExecutable"], info["CFBundlePackageType"], info["CFBundleVersion"]) == (name, "FMWK", "1.0.0"), info
END
# The names of the headers lead into the frameworks, where the compiler's front end knows the system.
front_end=(clang++ --target=powerpc-apple-darwin8 -ffreestanding -nostdinc++ -nostdlibinc -std=c++17 -fsyntax-only
    -I"$source/tests/layout/darwin" -I"$source/macapi/include" -F"$installed" -x c++)
if "${front_end[@]}" /dev/null 2>/dev/null; then
    printf '#include "%s"\n' core/memorymgr.h core/platform.h core/stringtable.h file/file.h logger/logger.h >game.cpp
    step "${front_end[@]}" game.cpp
fi
step cmake -S "$source/tests/consumer" -B castle -G Ninja --toolchain "$source/cmake/powerpc-apple-darwin8.cmake" \
    -DCORE_MAC_SDK="$folder/MacOSX.sdk" -DCONSUMER_WAY=find_package -Dcore_DIR="$folder/installed8/lib/cmake/core"
step cmake --build castle --target game
bundled castle castle/game
[ "$(ls castle.app/Contents/Frameworks)" = "$(printf '%s\n' core.framework file.framework logger.framework)" ] ||
    fail "the frameworks in the bundle: $(ls castle.app/Contents/Frameworks)"
[ ! -e castle.app/Contents/Frameworks/core.framework/Versions/A/Headers ] || fail "the player gets the headers"

# ---- Plain libraries, for Mac OS X 10.5

step configure 9 -DCORE_MAC_SDK="$folder/MacOSX.sdk" -DCORE_APPKIT=OFF
step cmake --build darwin9
step cmake --install darwin9
installed=$folder/installed9/lib
powerpc-apple-darwin9-g++ -o game "$installed/libcore.1.dylib"
bundled tower game
[ "$(ls tower.app/Contents/Frameworks)" = "$(printf '%s\n' libcore.1.dylib libfile.1.dylib liblogger.1.dylib)" ] ||
    fail "the libraries in the bundle: $(ls tower.app/Contents/Frameworks)"
! grep -q rpath commands || fail "a library was linked with @rpath"
echo "frameworks and libraries for the Mac are made, and bundles of games with them have no fault"
