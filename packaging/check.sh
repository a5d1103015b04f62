#!/usr/bin/env bash
# Installs the packages in a bare Debian, builds a game there, and runs the programs of the packages.
#
#   check.sh FOLDER
#
# FOLDER has the packages and the archive, as `./run package` makes them. The bare Debian is made in a temporary
# folder, from the mirror that apt uses on this machine. This needs root; without root the status is 77: skipped.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
source=$(dirname "$here")
packages=$(cd "$1" && pwd)
work=$(mktemp -d)
trap 'rm -rf --one-file-system "$work"' EXIT

fail() {
    echo "FAILED: $*"
    exit 1
}

tools="core-bundle core-config core-doctor core-memory core-prefs core-strings"

say() { echo "packages: $*" >&2; }

# ---- What needs no bare Debian

say "lintian"
lintian --tag-display-limit 0 "$packages"/*.deb >"$work/lintian" 2>"$work/lintian.said" || true
! grep '^E:' "$work/lintian" || fail "lintian found errors"

say "the archive, unpacked in a folder with a blank in its name"
mkdir "$work/any folder"
tar -xzf "$packages"/core-*.tar.gz -C "$work/any folder" --strip-components=1
unset DISPLAY WAYLAND_DISPLAY LD_LIBRARY_PATH
export MACAPI_LIBRARY=$work/library MACAPI_USER_LIBRARY=$work/user
mkdir "$work/library" "$work/user"
for tool in $tools; do
    "$work/any folder/bin/$tool" --help >/dev/null || fail "$tool of the archive"
done
"$work/any folder/bin/core-demo" >"$work/demo" 2>&1 || { cat "$work/demo" && fail "core-demo of the archive"; }

# ---- The bare Debian

[ "$(id -u)" -eq 0 ] || { echo "the test in a bare Debian needs root" && exit 77; }
root=$work/debian
suite=$(. /etc/os-release && echo "$VERSION_CODENAME")
# shellcheck disable=SC2016 # apt replaces these names
mirror=$(apt-get indextargets --format '$(REPO_URI)' 'Created-By: Packages' "Release: $suite" | head -n 1)
say "a bare Debian $suite from $mirror"
debootstrap --variant=minbase "$suite" "$root" "$mirror" >"$work/said" 2>&1 || { tail "$work/said" && fail "debootstrap"; }
mkdir "$root/packages"
cp "$packages"/*.deb "$root/packages"
cp -r "$source/tests/consumer" "$source/tests/tools/core-bundle" "$root"

# inside COMMAND: runs a command in the bare Debian, with /proc in a namespace of its own.
inside() {
    # shellcheck disable=SC2016 # the inner shell replaces these
    unshare --mount --pid --fork env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root DEBIAN_FRONTEND=noninteractive \
        sh -c 'mount -t proc proc "$1/proc" 2>/dev/null || true; chroot "$1" sh -ec "$2"' sh "$root" "$1" \
        >"$work/said" 2>&1 </dev/null || { tail -n 40 "$work/said" && fail "in the bare Debian: $1"; }
}

say "a game, built with the packages of the library alone"
inside 'apt-get install -y --no-install-recommends /packages/libcore1_*.deb /packages/libcore-dev_*.deb \
    g++ cmake ninja-build pkg-config'
inside '! dpkg --list | grep "^ii *libgnustep"'
inside '/consumer/check.sh system "" "" "" "" "17 20 23" g++'
grep -q '^9 games ran' "$work/said" || fail "not all games ran"

say "the programs"
inside 'apt-get install -y --no-install-recommends /packages/*.deb xvfb xauth'
inside "for tool in $tools; do \$tool --help; test -e /usr/share/man/man1/\$tool.1.gz; done"
inside 'core-demo'
inside 'xvfb-run -a core-demo'
inside 'apt-get check; dpkg --audit'

say "the template and the examples of the package, with each program"
doc=/usr/share/doc/libcore-dev
inside "cp -r $doc/game $doc/examples /root"
for folder in game examples; do
    inside "cmake -S /root/$folder -B /root/$folder/build -G Ninja; cmake --build /root/$folder/build"
done
inside 'ctest --test-dir /root/game/build --no-tests=error --output-on-failure'
inside 'core-config check /root/examples/Game/battle.txt /root/examples/Game/game.ini'
inside 'core-strings check /root/examples/Game/locale/de/strings.utf8'
inside 'core-memory run --check -- /root/examples/build/example_find_leak'
grep -q '^blocks in use' "$work/said" || fail "core-memory run did not watch the game"
inside 'core-doctor /root/examples/build/example_preferences --json | grep libcore.so.1'
inside '/root/examples/build/example_preferences; core-prefs -a example_preferences list'
inside 'python3 /core-bundle/core_bundle_test.py /usr/share/core/bundle/core-bundle'

say "all packages removed"
inside 'apt-get purge -y libcore1; test -z "$(find /usr -name "*libcore*" -o -name "core-*")"'
echo "the packages can be installed, used and removed"
