#!/usr/bin/env bash
# Builds the Debian packages and tries them: lintian, how their files are hardened, and in a bare root
# of Debian's the main job, a program of one's own, and removal.
# Usage: scripts/test-package.sh [build|check|interface|root|twice]...
# Without arguments: one after the other. A further step, describe, renews the description of the
# interface, Tests/Exports/*.abi.
#
# Everything stands in build/package: the packages, the bare root as an archive, and what was downloaded
# for it. The root takes rights of root, and sudo is asked for when there are none.
set -euo pipefail
cd "$(dirname "$0")/.."

folder=$PWD/build/package
project=$PWD
version=$(sed -nE 's/^  VERSION ([0-9.]+)$/\1/p' CMakeLists.txt)
source=$folder/ondrel-$version
packages=(libpirsk7 libondrel7 libondrel-dev ondrel)
# What a program is built with.
programPackages=(g++ pkg-config cmake make)
suite=bookworm
asRoot=()
[ "$(id -u)" -eq 0 ] || asRoot=(sudo)

fail() { echo "$0: $1" >&2; exit 1; }

package() { echo "$folder/$1_${version}_amd64.deb"; }

# Lets a build of the packages in a folder use the compiler cache, in which it finds what the preset
# `linux`, whose arguments are the same, has compiled. debhelper gives the build a home of its own.
useCache() {
  CCACHE_DIR=$(ccache -k cache_dir)
  export PATH=/usr/lib/ccache:$PATH CCACHE_DIR CCACHE_BASEDIR=$1 CCACHE_NOHASHDIR=1 CCACHE_SLOPPINESS=locale
  export ONDREL_WARNINGS_AS_ERRORS=ON
  DEB_BUILD_OPTIONS="parallel=$(nproc)"
  export DEB_BUILD_OPTIONS
}

# In a copy of the tree: the packages are built as from a source that was just unpacked.
buildPackages() {
  local said
  said=$(dpkg-parsechangelog -l debian/changelog -S Version)
  [ "$said" = "$version" ] || fail "debian/changelog is of version $said, not $version"
  rm -rf "$source" "$folder"/*.deb "$folder"/*.changes "$folder"/*.buildinfo
  mkdir -p "$source"
  git ls-files -z --cached --others --exclude-standard | xargs -0 cp --parents -t "$source"
  (
    cd "$source"
    useCache "$source"
    dpkg-buildpackage -b -us -uc >"$folder/build.log" 2>&1
  ) || { tail -n 60 "$folder/build.log"; fail "the packages do not build"; }
  rm -rf "$source"
  for name in "${packages[@]}" ondrel-dbgsym libondrel7-dbgsym libpirsk7-dbgsym; do
    [ -f "$(package "$name")" ] || fail "there is no package $name"
  done
  echo "built: $(cd "$folder" && du -h --apparent-size ./*.deb | tr '\n' ' ')"
}

# Fails unless a command's output has a line that fits.
says() {
  local pattern=$1 what=$2
  shift 2
  # All of it first: a command that nobody reads any more fails.
  grep -qE "$pattern" <<<"$("$@" 2>/dev/null)" || fail "$what"
}

checkHardening() {
  local file=$1 name=${1##*/}
  says ' GNU_RELRO ' "$name has no RELRO" readelf -lW "$file"
  says 'BIND_NOW|Flags:.* NOW' "$name binds late" readelf -dW "$file"
  says 'Type: +DYN ' "$name has a fixed address" readelf -hW "$file"
  says ' GNU_STACK .* RW ' "$name has a stack that can be run" readelf -lW "$file"
  # The code has the marks of CET; the file's own note of it is lost, as the distribution's startup
  # files are built without.
  [ "$(objdump -d "$file" | grep -c endbr64)" -gt 100 ] || fail "$name is built without CET"
  says '__stack_chk_fail' "$name has no stack protector" readelf --dyn-syms -W "$file"
  says '_chk@' "$name is not fortified" readelf --dyn-syms -W "$file"
  ! readelf -SW "$file" | grep -E ' \.(debug_info|symtab) ' || fail "$name is not stripped"
  ! readelf -dW "$file" | grep -E 'R(UN)?PATH' || fail "$name has a search path of its own"
  ! strings "$file" | grep -F "$project" || fail "$name names the folder it was built in"
}

# What the linker made of all that went into a library, debug information included.
buildId() {
  # readelf fails at a note of an owner that it does not know.
  { readelf -nW "$1" || true; } 2>/dev/null | sed -nE 's/^.*Build ID: ([0-9a-f]+)$/\1/p'
}

# Both libraries once more, as the packages build them, in another folder: what the linker makes of them
# is the same. The compiler's cache gives what was compiled in that folder alone.
buildTwice() {
  local library place="$folder/twice/another folder" first second
  rm -rf "$folder/twice" "$folder/files"
  mkdir -p "$place"
  git ls-files -z --cached --others --exclude-standard | xargs -0 cp --parents -t "$place"
  (
    cd "$place"
    useCache "$place"
    export CCACHE_NAMESPACE=twice
    # What the packages set by themselves.
    SOURCE_DATE_EPOCH=$(dpkg-parsechangelog -S Timestamp)
    export SOURCE_DATE_EPOCH
    debian/rules override_dh_auto_configure
    dh_auto_build --buildsystem=cmake+ninja --builddirectory=build/debian -- ondrel
  ) >"$folder/twice.log" 2>&1 || { tail -n 30 "$folder/twice.log"; fail "the second build fails"; }
  for library in pirsk ondrel; do
    dpkg-deb -x "$(package "lib${library}7")" "$folder/files"
    first=$(buildId "$folder/files/usr/lib/x86_64-linux-gnu/lib$library.so.$version")
    second=$(buildId "$(find "$place" -name "lib$library.so.$version")")
    [ -n "$first" ] && [ "$first" = "$second" ] ||
      fail "two builds of lib$library differ: build id $first and, in another folder, $second"
  done
  rm -rf "$folder/twice"
  echo "built twice with the same result: libpirsk7 libondrel7"
}

# Lays the files of the packages into one folder and those for debugging into another.
unpackPackages() {
  local name
  rm -rf "$folder/files" "$folder/debug"
  for name in "${packages[@]}"; do dpkg-deb -x "$(package "$name")" "$folder/files"; done
  for name in libpirsk7 libondrel7 ondrel; do
    dpkg-deb -x "$(package "$name-dbgsym")" "$folder/debug"
  done
}

# The interface of both libraries against its description; arguments go to the comparison.
checkInterface() {
  local library status=0
  unpackPackages
  for library in pirsk ondrel; do
    scripts/check-interface.sh "$@" Tests/Exports/$library.abi \
      "$folder/files/usr/lib/x86_64-linux-gnu/lib$library.so.$version" "$folder/files/usr/include" \
      "$folder/debug/usr/lib/debug" || status=1
  done
  return "$status"
}

# What the installed pages name is installed, and their lines for the list of pages can be read there.
checkPages() {
  local page file names=0
  scripts/check-links.py "$folder/files/usr/share/doc/ondrel" || fail "an installed page links to nothing"
  ! grep -nE '^(scripts/|cmake --preset|cpack )' "$folder/files/usr/share/doc/ondrel/README.md" ||
    fail "the installed README shows commands of the source tree"
  while read -r file; do
    [ -e "$folder/files$file" ] || fail "the manual names $file, which is not installed"
    names=$((names + 1))
  done < <(zcat "$folder"/files/usr/share/man/man[15]/*.gz | sed 's/\\-/-/g' |
    grep -oE '/usr/[A-Za-z0-9._/-]+[A-Za-z0-9]' | grep -vE '^/usr/(local|share/misc)/' | sort -u)
  [ "$names" -ge 4 ] || fail "the manual names $names installed files only"
  for page in "$folder"/files/usr/share/man/man[135]/*.gz; do
    [ -L "$page" ] || lexgrog "$page" >/dev/null || fail "${page##*/} has no line for the list of pages"
  done
}

checkPackages() {
  local file id licence=debian/copyright
  # The first packages of a project close no request for packaging, and the maintainer's address is the
  # owner's to give, as the licence is.
  lintian --fail-on error,warning --suppress-tags \
    initial-upload-closes-no-bugs,bogus-mail-host,bogus-mail-host-in-debian-changelog \
    "$folder"/ondrel_"$version"_amd64.changes || fail "lintian objects"
  unpackPackages
  for file in "$folder"/files/usr/bin/ondrel \
    "$folder"/files/usr/lib/x86_64-linux-gnu/lib{ondrel,pirsk}.so."$version"; do
    checkHardening "$file"
    id=$(buildId "$file")
    [ -f "$folder/debug/usr/lib/debug/.build-id/${id:0:2}/${id:2}.debug" ] ||
      fail "${file##*/} has no separate debug file"
  done
  # Opened on demand, so that nothing but this line asks for it.
  says '^ Depends:.* libcurl4\b' "libondrel7 does not ask for libcurl4" \
    dpkg-deb -I "$(package libondrel7)"
  for file in lib/systemd/system/ondrel-watch.service usr/lib/systemd/catalog/ondrel.catalog \
    usr/share/ondrel/{watch.conf,ondrel-alerts.yml} usr/share/man/man1/ondrel-log-report.1.gz \
    usr/share/man/man5/watch.conf.5.gz usr/share/doc/ondrel/{README.md,copyright} \
    usr/share/doc/libondrel-dev/examples/{RoadOfOneEvent,Embed,ReadError}.cpp \
    usr/share/man/man3/Ondrel_Smtp.h.3.gz usr/share/man/man3/Ondrel::CSmtp.3.gz \
    usr/share/bash-completion/completions/ondrel usr/share/zsh/vendor-completions/_ondrel \
    usr/share/fish/vendor_completions.d/ondrel.fish usr/share/doc/ondrel/command.md.gz; do
    [ -e "$folder/files/$file" ] || [ -e "$folder/files/${file%.gz}" ] || fail "there is no /$file"
  done
  checkPages
  [ -z "$(find "$folder/files" -xtype l)" ] ||
    fail "links to nothing: $(find "$folder/files" -xtype l -printf '%f ')"
  # A service that was enabled runs on after an upgrade, and not after a removal.
  says 'deb-systemd-invoke .*ondrel-watch\.service' "an upgrade does not start the service again" \
    dpkg-deb -I "$(package ondrel)" postinst
  says 'deb-systemd-invoke stop .*ondrel-watch\.service' "a removal does not stop the service" \
    dpkg-deb -I "$(package ondrel)" prerm
  # One place waits for the owner of the project, and says so; README names it.
  [ "$(grep -c 'PLACE OF THE LICENCE' $licence)" -eq 1 ] && grep -q "$licence" README.md ||
    fail "the place of the licence is not marked"
  echo "lintian and hardening: nothing to object to"
}

# A bare root, downloaded once.
makeBase() {
  local mirror
  [ ! -f "$folder/base.tar" ] || return 0
  # Where apt itself gets the packages of this system.
  mirror=$(apt-get indextargets --format '$(REPO_URI)' 'Created-By: Packages' "Codename: $suite" 2>/dev/null |
    sort -u | sed -n 1p)
  "${asRoot[@]}" rm -rf "$folder/base"
  "${asRoot[@]}" debootstrap --variant=minbase "$suite" "$folder/base" \
    "${mirror:-http://deb.debian.org/debian}" >"$folder/base.log" 2>&1 ||
    { tail -n 20 "$folder/base.log"; fail "there is no bare root"; }
  "${asRoot[@]}" tar -C "$folder/base" -cf "$folder/base.part" .
  mv "$folder/base.part" "$folder/base.tar"
  "${asRoot[@]}" rm -rf "$folder/base"
}

root=$folder/root
inRoot() {
  "${asRoot[@]}" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C.UTF-8 DEBIAN_FRONTEND=noninteractive \
    ${http_proxy:+http_proxy="$http_proxy"} chroot "$root" "$@"
}

installInRoot() {
  inRoot apt-get install -y -q --no-install-recommends "$@" >"$folder/apt.log" 2>&1 ||
    { tail -n 30 "$folder/apt.log"; fail "apt does not install $*"; }
}

# All files but what apt and dpkg keep for themselves.
filesOfRoot() {
  "${asRoot[@]}" find "$root" -xdev \( -path "$root/var/cache" -o -path "$root/var/lib/apt" \
    -o -path "$root/var/lib/dpkg" -o -path "$root/var/log" -o -path "$root/tmp" -o -path "$root/dev" \
    -o -path "$root/packages" -o -name ld.so.cache \) -prune -o -printf '%P\n' | sort
}

# The demonstration, with the command of the packages.
runDemo() {
  mkdir -p "$folder/commands"
  cat >"$folder/commands/ondrel" <<COMMAND
#!/bin/sh
case \$PWD in "$root"/*) folder=\${PWD#"$root"} ;; *) folder=/ ;; esac
exec ${asRoot[*]} chroot "$root" env -C "\$folder" LC_ALL=C.UTF-8 ondrel "\$@"
COMMAND
  chmod +x "$folder/commands/ondrel"
  PATH=$folder/commands:$PATH TMPDIR=$root/tmp scripts/demo.sh --installed >"$folder/demo.log" 2>&1 ||
    { cat "$folder/demo.log"; fail "the demonstration does not work with the packages"; }
}

# What README shows of the command, word for word.
runReadme() {
  mkdir "$root/tmp/ondrel-docs"
  PATH=$folder/commands:$PATH scripts/check-readme.py "$root/tmp/ondrel-docs" ||
    fail "the packages do not do what README shows"
  rm -rf "$root/tmp/ondrel-docs"
}

# README's program, built in both ways that README names, against the packages alone.
buildProgram() {
  local server port status=0
  installInRoot "${programPackages[@]}" "/packages/$(basename "$(package libondrel-dev)")"
  {
    printf 'cmake_minimum_required(VERSION 3.25)\nproject(service LANGUAGES CXX)\n'
    printf 'add_executable(service program.cpp)\n'
    grep -E '^(find_package|target_link_libraries)\(' README.md
  } >"$root/tmp/CMakeLists.txt"
  rm -rf "$folder/mails"
  mkdir "$folder/mails"
  mkfifo "$folder/mails/port"
  /usr/bin/python3 scripts/demo-mail-server.py "$folder/mails" >"$folder/mails/port" &
  server=$!
  read -r port <"$folder/mails/port" || true
  inRoot sh -ec 'cd /tmp
    cp /usr/share/doc/libondrel-dev/examples/RoadOfOneEvent.cpp program.cpp
    g++ -std=c++17 -Wall -Wextra -Werror program.cpp -o program $(pkg-config --cflags --libs ondrel)
    ./program "$1"
    rm -f events.db*
    cmake -S . -B built && cmake --build built
    built/service "$1"' program "$port" >"$folder/program.log" 2>&1 || status=$?
  kill "$server" && wait "$server" || true
  [ "$status" -eq 0 ] || { cat "$folder/program.log"; fail "README's program does not build or run"; }
  [ "$(grep -c 'status changed from OPERATIONAL to FAILED' "$folder/program.log")" -eq 2 ] ||
    { cat "$folder/program.log"; fail "README's program does not read its event back"; }
}

tryInRoot() {
  local left
  makeBase
  "${asRoot[@]}" rm -rf "$root"
  mkdir -p "$root" "$folder/archives"
  "${asRoot[@]}" tar -C "$root" -xf "$folder/base.tar"
  "${asRoot[@]}" cp /etc/resolv.conf "$root/etc/resolv.conf"
  # Downloads are kept for the next run.
  "${asRoot[@]}" mkdir -p "$root/packages" "$root/var/cache/apt/archives/partial"
  "${asRoot[@]}" cp -n "$folder"/archives/*.deb "$root/var/cache/apt/archives/" 2>/dev/null || true
  for name in "${packages[@]}"; do "${asRoot[@]}" cp "$(package "$name")" "$root/packages/"; done
  "${asRoot[@]}" rm -f "$root/etc/apt/apt.conf.d/docker-clean"
  filesOfRoot >"$folder/files.before"

  installInRoot "/packages/"{libpirsk7,libondrel7,ondrel}"_${version}_amd64.deb"
  [ "$(inRoot ondrel --version | cut -d' ' -f 2)" = "$version" ] || fail "the command is of another version"
  # Nothing is missing before the first report makes the store.
  says '^store +ok +the first report makes /var/lib/ondrel/events.db' "the doctor misses the event store" \
    inRoot ondrel doctor store eventLog
  inRoot ondrel log report Test 10000 information text >/dev/null
  says ' Test 1 information 10000 .*text' "the command does not keep an event" inRoot ondrel log show Test
  inRoot ondrel doctor >"$folder/doctor.log" || true
  runDemo
  runReadme
  buildProgram
  "${asRoot[@]}" cp -n "$root"/var/cache/apt/archives/*.deb "$folder/archives/" 2>/dev/null || true

  inRoot apt-get remove -y -q "${packages[@]}" >"$folder/apt.log" 2>&1 ||
    { cat "$folder/apt.log"; fail "apt does not remove the packages"; }
  # The service manager's helper forgets a unit at the purge.
  left=$(filesOfRoot | grep -E 'ondrel|pirsk' | grep -v '^var/lib/systemd/deb-systemd-helper-' || true)
  [ "$left" = $'var/lib/ondrel\nvar/lib/ondrel/events.db' ] ||
    fail "apt remove leaves more, or less, than the events: $left"
  # The others have left nothing that could be purged, and apt knows them no more.
  inRoot apt-get purge -y -q libondrel7 ondrel >"$folder/apt.log" 2>&1 ||
    { cat "$folder/apt.log"; fail "apt does not purge the packages"; }
  inRoot apt-get autoremove --purge -y -q "${programPackages[@]}" >>"$folder/apt.log" 2>&1 ||
    { cat "$folder/apt.log"; fail "apt does not remove what the program was built with"; }
  left=$(filesOfRoot | comm -13 "$folder/files.before" - || true)
  [ -z "$left" ] || fail "apt purge leaves: $left"
  "${asRoot[@]}" rm -rf "$root"
  echo "installed in a bare root: the demonstration, README's commands and program, removal"
}

steps=("$@")
[ ${#steps[@]} -gt 0 ] || steps=(build check interface root twice)
for step in "${steps[@]}"; do
  case $step in
    build) buildPackages ;;
    check) checkPackages ;;
    interface) checkInterface ;;
    describe) checkInterface --renew ;;
    root) tryInRoot ;;
    twice) buildTwice ;;
    *) echo "usage: $0 [build|check|interface|describe|root|twice]..." >&2; exit 2 ;;
  esac
done
