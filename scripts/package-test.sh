#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 The Lanternfold developers
# SPDX-License-Identifier: GPL-3.0-or-later
# Builds the Debian packages and checks them the way dpkg will treat them on a user's machine:
#
#   1. a Release tree in build-package/ with only what the packages hold (or, with
#      LANTERNFOLD_PACKAGE_FROM=TREE, a tree built already), then `cpack` ->
#      build-package/lanternfold_<version>_amd64.deb (the desktop program, its icons, .desktop file
#      and metainfo) and lanternfold-cli_<version>_amd64.deb (lanternfoldctl, the simulated
#      controller, the user unit, the man page, the bash completion);
#   2. their control data (names, version, section, dependencies: the command line needs no
#      display) and file lists (no tests, libraries or headers, stripped binaries);
#   3. `dpkg --root` of lanternfold-cli alone into a throwaway root with its own empty dpkg
#      database: every file lands, lanternfoldctl answers --help and lists the devices of the
#      simulated controller from that root, the unit passes systemd-analyze verify, the man page
#      and the completion work; then lanternfold beside it, whose .desktop file and metainfo
#      validate where they were installed;
#   4. `dpkg --purge` of both there: nothing of them is left, not even an empty folder.
#
# Needs root (dpkg installs as root, even into another root). Idempotent: the throwaway root is a
# temporary folder, removed at exit whatever happens.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/install-deps.sh

if [ -n "${LANTERNFOLD_PACKAGE_FROM:-}" ]; then
  # A tree that is configured and built already (CI's tested GCC tree): the packages then hold the
  # very binaries the tests passed with, stripped, and no second tree is compiled.
  build=$LANTERNFOLD_PACKAGE_FROM
else
  build=${LANTERNFOLD_PACKAGE_BUILD:-build-package}
  cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DCMAKE_CXX_COMPILER=g++ -DLANTERNFOLD_WERROR=ON \
    -DLANTERNFOLD_TESTS=OFF -DLANTERNFOLD_BENCH=OFF -DLANTERNFOLD_TOOLS=ON >/dev/null
fi
ninja -C "$build" -j2 lanternfold lanternfold-sim lanternfold-icons lanternfoldctl lanternfoldctl-manpage
rm -f "$build"/lanternfold_*.deb "$build"/lanternfold-cli_*.deb
(cd "$build" && cpack -G DEB >/dev/null)

version=$(sed -n 's/^project(Lanternfold VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
deb="$build/lanternfold_${version}_amd64.deb"
cli="$build/lanternfold-cli_${version}_amd64.deb"
work=$(mktemp -d "${TMPDIR:-/tmp}/lanternfold-package.XXXXXX")
sim_pid=
cleanup() {
  [ -z "$sim_pid" ] || kill "$sim_pid" 2>/dev/null || true
  rm -rf "$work"
}
trap cleanup EXIT

fail() {
  echo "package-test: $*" >&2
  exit 1
}
checked() { echo "  ok: $*"; }

# control_fields DEB NAME: the fields every package has.
control_fields() {
  local package=$1 name=$2
  field() { dpkg-deb --field "$package" "$1"; }
  [ "$(field Package)" = "$name" ] || fail "Package is '$(field Package)', not $name"
  [ "$(field Version)" = "$version" ] || fail "Version is '$(field Version)', the project's is $version"
  [ "$(field Architecture)" = amd64 ] || fail "Architecture is '$(field Architecture)'"
  [ "$(field Section)" = net ] || fail "$name: Section is '$(field Section)'"
  for f in Maintainer Homepage Description; do
    [ -n "$(field "$f")" ] || fail "$name: no $f"
  done
  checked "$name control fields: $version amd64, section net, maintainer, homepage, description"
}

# depends_names DEB: the package names of its Depends, one per line.
depends_names() { dpkg-deb --field "$1" Depends | tr ',|' '\n' | awk '{print $1}'; }

# file_list DEB OUT: the paths it holds (without the leading ".", folders ending in "/").
file_list() { dpkg-deb --fsys-tarfile "$1" | tar -t | sed 's|^\./|/|' | grep -v '^/$' >"$2"; }

# same_files NAME LIST EXPECTED
same_files() {
  local files
  files=$(grep -v '/$' "$2")
  if [ "$(sort <<<"$files")" != "$(sort <<<"$3")" ]; then
    diff <(sort <<<"$3") <(sort <<<"$files") >&2 || true
    fail "$1 holds other files than expected (- missing, + extra)"
  fi
  if dpkg-deb --fsys-tarfile "$4" | tar -tv | awk '{print $2}' | grep -v '^root/root$' >/dev/null; then
    fail "files not owned by root in $1"
  fi
  checked "$1 files: exactly $(wc -l <<<"$files"), every one owned by root/root"
}

for package in "$deb" "$cli"; do [ -f "$package" ] || fail "cpack did not make $package"; done
echo "--- the packages: $deb $cli"
control_fields "$deb" lanternfold
control_fields "$cli" lanternfold-cli

# What dpkg-shlibdeps found, and what is loaded at run time and so named by hand.
names=$(depends_names "$deb")
for p in lanternfold-cli libc6 libstdc++6 libqt6core6 libqt6gui6 libqt6widgets6 libqt6network6 libqt6dbus6 \
  libqt6keychain1 libicu72 libsecret-1-0 libqt6svg6; do
  grep -qxF "$p" <<<"$names" || fail "lanternfold Depends lacks $p: $(dpkg-deb --field "$deb" Depends)"
done
grep -q "lanternfold-cli (= $version)" <<<"$(dpkg-deb --field "$deb" Depends)" ||
  fail "lanternfold does not depend on lanternfold-cli of its own version"
checked "lanternfold Depends: $(dpkg-deb --field "$deb" Depends)"
grep -q gnome-keyring <<<"$(dpkg-deb --field "$deb" Recommends)" || fail "lanternfold Recommends lacks a Secret Service"
grep -q qt6-wayland <<<"$(dpkg-deb --field "$deb" Recommends)" || fail "lanternfold Recommends lacks qt6-wayland"
cli_names=$(depends_names "$cli")
for p in libc6 libstdc++6 libqt6core6 libqt6network6 libqt6keychain1 libicu72 libssl3 libsecret-1-0; do
  grep -qxF "$p" <<<"$cli_names" || fail "lanternfold-cli Depends lacks $p: $(dpkg-deb --field "$cli" Depends)"
done
# A machine without a display needs none of the desktop's libraries.
for p in libqt6gui6 libqt6widgets6 libqt6svg6 libx11-6 libxcb1 libgl1 libegl1 libfontconfig1 lanternfold; do
  if grep -qxF "$p" <<<"$cli_names"; then fail "lanternfold-cli depends on $p: $(dpkg-deb --field "$cli" Depends)"; fi
done
checked "lanternfold-cli Depends, no display library: $(dpkg-deb --field "$cli" Depends)"
for p in $names $cli_names; do
  [ "$p" = lanternfold-cli ] && continue
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' ||
    fail "Depends names $p, which is not installed here"
done
checked "every library named is the one installed here"

file_list "$deb" "$work/contents"
file_list "$cli" "$work/cli-contents"
expected_files="/usr/bin/lanternfold
/usr/share/applications/lanternfold.desktop
/usr/share/metainfo/com.lanternfold.Lanternfold.metainfo.xml
/usr/share/doc/lanternfold/copyright
/usr/share/icons/hicolor/scalable/apps/lanternfold.svg
/usr/share/icons/hicolor/symbolic/apps/lanternfold-symbolic.svg
/usr/share/lanternfold/translations/lanternfold_de.qm
/usr/share/lanternfold/translations/lanternfold_es.qm
/usr/share/lanternfold/translations/lanternfold_fr.qm"
for size in 16 22 24 32 48 64 128 256 512; do
  expected_files+=$'\n'"/usr/share/icons/hicolor/${size}x${size}/apps/lanternfold.png"
done
same_files lanternfold "$work/contents" "$expected_files" "$deb"
same_files lanternfold-cli "$work/cli-contents" "/usr/bin/lanternfoldctl
/usr/bin/lanternfold-sim
/usr/share/man/man1/lanternfoldctl.1.gz
/usr/lib/systemd/user/lanternfold.service
/usr/share/doc/lanternfold-cli/examples/lanternfold-system.service.example
/usr/share/bash-completion/completions/lanternfoldctl
/usr/share/doc/lanternfold-cli/copyright" "$cli"

# The copyright file is machine-readable (the header and a Files paragraph) and names the licence
# of every library the programs link.
for deb_file in "$deb" "$cli"; do
  dpkg-deb --fsys-tarfile "$deb_file" | tar -xO --wildcards './usr/share/doc/*/copyright' >"$work/copyright"
  grep -qx 'Format: https://www.debian.org/doc/packaging-manuals/copyright-format/1.0/' "$work/copyright" ||
    fail "$(basename "$deb_file"): the copyright file is not in the machine-readable format"
  grep -qx 'License: GPL-3.0-or-later' "$work/copyright" || fail "$(basename "$deb_file"): no GPL-3.0-or-later"
  for library in 'Qt 6' QtKeychain QCoro simdjson ICU; do
    grep -q "$library" "$work/copyright" || fail "$(basename "$deb_file"): the copyright file does not name $library"
  done
done
checked "copyright files: machine-readable, GPL-3.0-or-later, the linked libraries' licences named"

root="$work/root"
admin="$root/var/lib/dpkg"
mkdir -p "$admin/info" "$admin/updates" "$admin/triggers"
touch "$admin/status" "$admin/available"
# An empty database knows none of the libraries, so dependencies are not checked here (the
# programs run against this machine's libraries below). The log goes beside the root, not inside.
dpkg_root() { dpkg --root="$root" --log="$work/dpkg.log" --force-depends "$@"; }
installed() {
  local status
  status=$(dpkg-query --admindir="$admin" -W -f='${Status} ${Version}' "$1")
  [ "$status" = "install ok installed $version" ] || fail "dpkg says '$status' of $1"
}
present() {
  while read -r path; do
    if [[ $path == */ ]]; then
      [ -d "$root$path" ] || fail "folder $path missing after install"
    else
      [ -f "$root$path" ] || fail "file $path missing after install"
    fi
  done <"$1"
}
runs() {
  file "$root/usr/bin/$1" | grep -q ', stripped' || fail "$1 is not stripped"
  if ldd "$root/usr/bin/$1" | grep -q 'not found'; then
    ldd "$root/usr/bin/$1" >&2
    fail "$1 needs a library this machine lacks"
  fi
}

echo "--- lanternfold-cli alone into a throwaway root: $root"
dpkg_root --install "$cli" >"$work/install.log" 2>&1 || {
  cat "$work/install.log" >&2
  fail "dpkg --install lanternfold-cli failed"
}
installed lanternfold-cli
present "$work/cli-contents"
checked "dpkg --install: lanternfold-cli $version, all $(wc -l <"$work/cli-contents") paths present"
runs lanternfoldctl
runs lanternfold-sim
if ldd "$root/usr/bin/lanternfoldctl" | grep -Eq 'libQt6(Gui|Widgets)'; then fail "lanternfoldctl links Qt GUI"; fi
checked "lanternfoldctl and lanternfold-sim stripped, their libraries found, no Qt GUI"
ctl="$root/usr/bin/lanternfoldctl"
out=$(env -u DISPLAY -u WAYLAND_DISPLAY "$ctl" --help) || fail "lanternfoldctl --help failed"
grep -q '^Usage: lanternfoldctl COMMAND' <<<"$out" || fail "lanternfoldctl --help says: $out"
grep -q '5  another process runs the schedules' <<<"$out" || fail "lanternfoldctl --help lacks the exit codes"
checked "lanternfoldctl --help, with the exit codes"
out=$("$ctl" --version) || fail "lanternfoldctl --version failed"
[ "$out" = "lanternfoldctl $version" ] || fail "lanternfoldctl --version says '$out'"
checked "lanternfoldctl --version: $out"
man=$(zcat "$root/usr/share/man/man1/lanternfoldctl.1.gz")
for text in '^\.TH LANTERNFOLDCTL "1"' 'JSON OUTPUT' 'CREDENTIALS_DIRECTORY' 'another process runs the schedules'; do
  grep -q -- "$text" <<<"$man" || fail "the man page lacks $text"
done
MANWIDTH=80 man -l "$root/usr/share/man/man1/lanternfoldctl.1.gz" 2>&1 >/dev/null | grep -q . &&
  fail "man reports problems with lanternfoldctl.1"
checked "lanternfoldctl(1): name, commands, exit codes, JSON fields, environment; man reads it cleanly"
unit="$root/usr/lib/systemd/user/lanternfold.service"
for line in 'ExecStart=/usr/bin/lanternfoldctl service' 'Restart=on-failure' 'NoNewPrivileges=yes' \
  'ProtectSystem=strict' 'PrivateTmp=yes' 'LockPersonality=yes' 'RestrictAddressFamilies=AF_INET AF_INET6 AF_UNIX'; do
  grep -qxF "$line" "$unit" || fail "the user unit lacks $line"
done
# Checked as installed, but for where the program lies: in the throwaway root, not in /usr/bin. The
# Documentation= line is looked up in the root's man pages.
verify_unit() {
  sed "s|^ExecStart=/usr/bin/|ExecStart=$root/usr/bin/|" "$1" >"$work/$2"
  verified=$(MANPATH="$root/usr/share/man" systemd-analyze verify "$work/$2" 2>&1) ||
    fail "systemd-analyze verify $2: $verified"
  [ -z "$verified" ] || fail "systemd-analyze verify $2: $verified"
}
verify_unit "$unit" lanternfold.service
verify_unit "$root/usr/share/doc/lanternfold-cli/examples/lanternfold-system.service.example" lanternfold-system.service
checked "systemd-analyze verify: the user unit and the system unit example"
completion=$(bash -c "source '$root/usr/share/bash-completion/completions/lanternfoldctl'
  COMP_WORDS=(lanternfoldctl re); COMP_CWORD=1; _lanternfoldctl; echo \"\${COMPREPLY[*]}\"
  COMP_WORDS=(lanternfoldctl restart --w); COMP_CWORD=2; _lanternfoldctl; echo \"\${COMPREPLY[*]}\"")
[ "$completion" = $'restart\n--wait --wait-minutes' ] || fail "the bash completion offers: $completion"
checked "bash completion: commands and each command's options"

# The command line against the simulated controller from the same root, in a HOME of its own.
home="$work/home"
mkdir -p "$home"
"$root/usr/bin/lanternfold-sim" --port 0 --offline-seconds 5 >"$work/sim.out" 2>&1 &
sim_pid=$!
for _ in $(seq 100); do grep -q '^LISTENING' "$work/sim.out" 2>/dev/null && break; sleep 0.1; done
read -r _ host port fingerprint < <(grep '^LISTENING' "$work/sim.out")
in_home() { env -u DISPLAY -u WAYLAND_DISPLAY -u DBUS_SESSION_BUS_ADDRESS HOME="$home" XDG_CONFIG_HOME="$home/.config" \
  XDG_DATA_HOME="$home/.local/share" "$@"; }
in_home "$ctl" trust --host "$host" --port "$port" --fingerprint "$fingerprint" >/dev/null ||
  fail "lanternfoldctl trust failed"
echo lanternfold-demo | in_home "$ctl" connect --host "$host" --port "$port" --user demo --password-stdin >/dev/null ||
  fail "lanternfoldctl connect failed"
install -m 600 /dev/null "$work/password"
echo lanternfold-demo >"$work/password"
out=$(in_home "$ctl" devices --password-file "$work/password") || fail "lanternfoldctl devices failed: $out"
grep -q '^  Lobby  78:45:58:a1:10:20' <<<"$out" || fail "lanternfoldctl devices says: $out"
checked "lanternfoldctl trust, connect and devices against lanternfold-sim, all from the root"
kill "$sim_pid" 2>/dev/null || true
wait "$sim_pid" 2>/dev/null || true
sim_pid=

echo "--- lanternfold beside it"
dpkg_root --install "$deb" >"$work/install.log" 2>&1 || {
  cat "$work/install.log" >&2
  fail "dpkg --install lanternfold failed"
}
installed lanternfold
present "$work/contents"
checked "dpkg --install: lanternfold $version, all $(wc -l <"$work/contents") paths present"
runs lanternfold
checked "lanternfold stripped, every library it links found"
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
grep -q '<project_license>GPL-3.0-or-later</project_license>' "$metainfo" || fail "metainfo: project_license is not GPL-3.0-or-later"
# The metainfo and the .desktop file as a pair, where a software centre finds them.
validation=$(appstreamcli validate-tree --no-net --no-color "$root/usr" 2>&1) || fail "appstreamcli validate-tree: $validation"
if grep -Eq '^[EW]:' <<<"$validation"; then fail "appstreamcli validate-tree: $validation"; fi
checked "appstreamcli validate-tree --no-net (metainfo and its launchable .desktop file)"

echo "--- purge both from the throwaway root"
dpkg_root --purge lanternfold lanternfold-cli >"$work/purge.log" 2>&1 || {
  cat "$work/purge.log" >&2
  fail "dpkg --purge failed"
}
for name in lanternfold lanternfold-cli; do
  status=$(dpkg-query --admindir="$admin" -W -f='${Status}' "$name" 2>/dev/null || true)
  [ -z "$status" ] || [ "$status" = "unknown ok not-installed" ] || fail "after purge dpkg says '$status' of $name"
done
checked "dpkg --purge: both packages are gone from the database"
cat "$work/contents" "$work/cli-contents" | while read -r path; do
  [ ! -e "$root$path" ] || fail "$path is left after purge"
done
checked "none of the packages' paths is left"
# Everything in the root now is the database made above; anything else was left by a package.
left=$(cd "$root" && find . -mindepth 1 -not -path './var' -not -path './var/lib' -not -path './var/lib/dpkg' \
  -not -path './var/lib/dpkg/*')
[ -z "$left" ] || fail "left in the root after purge: $left"
checked "nothing else left in the root"
echo "package-test: $deb and $cli passed"
