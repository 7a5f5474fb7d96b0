#!/usr/bin/env bash
# Builds the Debian package and checks it the way dpkg will treat it on a user's machine:
#
#   1. a Release tree in build-package/ with only what the package holds (the program, the
#      simulated controller, the icons), then `cpack` -> build-package/lanternfold_<version>_amd64.deb;
#   2. its control data (name, version, section, dependencies) and file list (only /usr/bin and the
#      desktop's share folders, no tests, libraries or headers, stripped binaries);
#   3. `dpkg --root` into a throwaway root with its own empty dpkg database: every file lands, both
#      programs run, the .desktop file and the AppStream metainfo validate where they were installed;
#   4. `dpkg --purge` there: nothing of the package is left, not even an empty folder.
#
# Needs root (dpkg installs as root, even into another root). Idempotent: the throwaway root is a
# temporary folder, removed at exit whatever happens.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/install-deps.sh

build=${LANTERNFOLD_PACKAGE_BUILD:-build-package}
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DCMAKE_CXX_COMPILER=g++ -DLANTERNFOLD_WERROR=ON \
  -DLANTERNFOLD_TESTS=OFF -DLANTERNFOLD_BENCH=OFF -DLANTERNFOLD_TOOLS=ON >/dev/null
ninja -C "$build" -j2 lanternfold lanternfold-sim lanternfold-icons
rm -f "$build"/lanternfold_*.deb
(cd "$build" && cpack -G DEB >/dev/null)

version=$(sed -n 's/^project(Lanternfold VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
deb="$build/lanternfold_${version}_amd64.deb"
work=$(mktemp -d "${TMPDIR:-/tmp}/lanternfold-package.XXXXXX")
trap 'rm -rf "$work"' EXIT

fail() {
  echo "package-test: $*" >&2
  exit 1
}
checked() { echo "  ok: $*"; }

echo "--- the package: $deb"
[ -f "$deb" ] || fail "cpack did not make $deb"
field() { dpkg-deb --field "$deb" "$1"; }
[ "$(field Package)" = lanternfold ] || fail "Package is '$(field Package)'"
[ "$(field Version)" = "$version" ] || fail "Version is '$(field Version)', the project's is $version"
[ "$(field Architecture)" = amd64 ] || fail "Architecture is '$(field Architecture)'"
[ "$(field Section)" = net ] || fail "Section is '$(field Section)'"
for f in Maintainer Homepage Description; do
  [ -n "$(field "$f")" ] || fail "no $f"
done
checked "control fields: lanternfold $version amd64, section net, maintainer, homepage, description"

# What dpkg-shlibdeps found, and what is loaded at run time and so named by hand.
depends=$(field Depends)
depends_names=$(tr ',|' '\n' <<<"$depends" | awk '{print $1}')
for p in libc6 libstdc++6 libqt6core6 libqt6gui6 libqt6widgets6 libqt6network6 libqt6dbus6 \
  libqt6keychain1 libicu72 libssl3 libsecret-1-0 libqt6svg6; do
  grep -qxF "$p" <<<"$depends_names" || fail "Depends lacks $p: $depends"
done
# Each is a real package: the one this machine has installed, and so the one the programs run
# against below.
for p in $depends_names; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' ||
    fail "Depends names $p, which is not installed here"
done
checked "Depends: $depends"
grep -q gnome-keyring <<<"$(field Recommends)" || fail "Recommends lacks a Secret Service: $(field Recommends)"
checked "Recommends: $(field Recommends)"

# The file list: paths without the leading ".", folders ending in "/".
dpkg-deb --fsys-tarfile "$deb" | tar -t | sed 's|^\./|/|' | grep -v '^/$' >"$work/contents"
files=$(grep -v '/$' "$work/contents")
expected_files="/usr/bin/lanternfold
/usr/bin/lanternfold-sim
/usr/share/applications/lanternfold.desktop
/usr/share/metainfo/com.lanternfold.Lanternfold.metainfo.xml"
for size in 16 22 24 32 48 64 128 256 512; do
  expected_files+=$'\n'"/usr/share/icons/hicolor/${size}x${size}/apps/lanternfold.png"
done
if [ "$(sort <<<"$files")" != "$(sort <<<"$expected_files")" ]; then
  diff <(sort <<<"$expected_files") <(sort <<<"$files") >&2 || true
  fail "the package holds other files than expected (- missing, + extra)"
fi
checked "files: exactly $(wc -l <<<"$files") (two programs, the .desktop file, the metainfo, 9 icons)"
if dpkg-deb --fsys-tarfile "$deb" | tar -tv | awk '{print $2}' | grep -v '^root/root$' >/dev/null; then
  fail "files not owned by root in the package"
fi
checked "every file owned by root/root"

root="$work/root"
admin="$root/var/lib/dpkg"
mkdir -p "$admin/info" "$admin/updates" "$admin/triggers"
touch "$admin/status" "$admin/available"
# An empty database knows none of the libraries, so dependencies are not checked here (the
# programs run against this machine's libraries below). The log goes beside the root, not inside.
dpkg_root() { dpkg --root="$root" --log="$work/dpkg.log" --force-depends "$@"; }

echo "--- install into a throwaway root: $root"
dpkg_root --install "$deb" >"$work/install.log" 2>&1 || {
  cat "$work/install.log" >&2
  fail "dpkg --install failed"
}
status=$(dpkg-query --admindir="$admin" -W -f='${Status} ${Version}' lanternfold)
[ "$status" = "install ok installed $version" ] || fail "dpkg says '$status'"
checked "dpkg --install: $status"
while read -r path; do
  if [[ $path == */ ]]; then
    [ -d "$root$path" ] || fail "folder $path missing after install"
  else
    [ -f "$root$path" ] || fail "file $path missing after install"
  fi
done <"$work/contents"
checked "all $(wc -l <"$work/contents") paths of the package present"
listed=$(dpkg-query --admindir="$admin" -L lanternfold | grep -c .)
checked "dpkg -L lists $listed paths"

for program in lanternfold lanternfold-sim; do
  file "$root/usr/bin/$program" | grep -q ', stripped' || fail "$program is not stripped"
  if ldd "$root/usr/bin/$program" | grep -q 'not found'; then
    ldd "$root/usr/bin/$program" >&2
    fail "$program needs a library this machine lacks"
  fi
done
checked "both programs stripped, every library they link found"
# Neither needs a display for these; a display left in the environment must not matter either.
out=$(env -u DISPLAY -u WAYLAND_DISPLAY "$root/usr/bin/lanternfold" --version) || fail "lanternfold --version failed"
[ "$out" = "lanternfold $version" ] || fail "lanternfold --version says '$out'"
checked "lanternfold --version: $out"
out=$(env -u DISPLAY -u WAYLAND_DISPLAY "$root/usr/bin/lanternfold" --help) || fail "lanternfold --help failed"
grep -q '^Usage: lanternfold' <<<"$out" || fail "lanternfold --help says: $out"
checked "lanternfold --help"
out=$("$root/usr/bin/lanternfold-sim" --help) || fail "lanternfold-sim --help failed"
grep -q -- '--port <port>' <<<"$out" || fail "lanternfold-sim --help says: $out"
checked "lanternfold-sim --help"

desktop="$root/usr/share/applications/lanternfold.desktop"
validation=$(desktop-file-validate "$desktop" 2>&1) || fail "desktop-file-validate: $validation"
if grep -Eq 'error:|warning:' <<<"$validation"; then fail "desktop-file-validate: $validation"; fi
grep -qx 'Exec=lanternfold' "$desktop" || fail "the .desktop file does not start lanternfold by name"
grep -qx 'Icon=lanternfold' "$desktop" || fail "the .desktop file does not name the icon lanternfold"
checked "desktop-file-validate (no error or warning); Exec=lanternfold, Icon=lanternfold"
metainfo="$root/usr/share/metainfo/com.lanternfold.Lanternfold.metainfo.xml"
validation=$(appstreamcli validate --no-net --no-color "$metainfo" 2>&1) || fail "appstreamcli validate: $validation"
if grep -Eq '^[EW]:' <<<"$validation"; then fail "appstreamcli validate: $validation"; fi
checked "appstreamcli validate --no-net (no error or warning)"
# The metainfo and the .desktop file as a pair, where a software centre finds them.
validation=$(appstreamcli validate-tree --no-net --no-color "$root/usr" 2>&1) || fail "appstreamcli validate-tree: $validation"
if grep -Eq '^[EW]:' <<<"$validation"; then fail "appstreamcli validate-tree: $validation"; fi
checked "appstreamcli validate-tree --no-net (metainfo and its launchable .desktop file)"

echo "--- purge from the throwaway root"
dpkg_root --purge lanternfold >"$work/purge.log" 2>&1 || {
  cat "$work/purge.log" >&2
  fail "dpkg --purge failed"
}
status=$(dpkg-query --admindir="$admin" -W -f='${Status}' lanternfold 2>/dev/null || true)
[ -z "$status" ] || [ "$status" = "unknown ok not-installed" ] || fail "after purge dpkg says '$status'"
checked "dpkg --purge: the package is gone from the database"
while read -r path; do
  [ ! -e "$root$path" ] || fail "$path is left after purge"
done <"$work/contents"
checked "none of the package's $(wc -l <"$work/contents") paths is left"
# Everything in the root now is the database made above; anything else was left by the package.
left=$(cd "$root" && find . -mindepth 1 -not -path './var' -not -path './var/lib' -not -path './var/lib/dpkg' \
  -not -path './var/lib/dpkg/*')
[ -z "$left" ] || fail "left in the root after purge: $left"
checked "nothing else left in the root"
echo "package-test: $deb passed"
