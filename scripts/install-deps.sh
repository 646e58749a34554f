#!/usr/bin/env bash
# Installs what is missing for one purpose: build, demo, test, bench, windows, vm or package. test and
# bench include what stands before them; windows is what the Windows build and its tests take besides
# test, vm what the tests in the virtual machine do, package what the Debian packages do.
# Usage: scripts/install-deps.sh [build|demo|test|bench|windows|vm|package]
#
# What changes the machine by more than packages that lie there is named, and done after a yes: that of
# whoever sits in front, or of ONDREL_INSTALL=yes or CI=true. Without it, and with ONDREL_INSTALL=no,
# nothing is installed, and the exit status is 3.
set -euo pipefail

buildPackages=(
  cmake ninja-build g++ ccache pkg-config
  libboost-dev libcurl4-openssl-dev libsqlite3-dev libsystemd-dev libelf-dev
  libblkid-dev libdevmapper-dev libmount-dev libkmod-dev
  libspdlog-dev libfmt-dev libcli11-dev nlohmann-json3-dev
  python3 python3-aiosmtpd openssl pci.ids
)
# The virtual machine that the demonstration boots.
demoPackages=(
  qemu-system-x86 linux-image-cloud-amd64 busybox-static kmod mdadm
)
testPackages=(
  googletest libgtest-dev libgmock-dev
  clang clang-tidy clang-format cppcheck libclang-rt-14-dev llvm
  binutils elfutils sqlite3 git graphviz
  postfix systemd systemd-journal-remote tzdata pciutils libfaketime
  libpcre2-dev perl
  groff-base zsh fish tmux doxygen abigail-tools
)
benchPackages=(
  libbenchmark-dev valgrind gnuplot-nox
  libboost-regex-dev libpcre2-dev libre2-dev
)
windowsPackages=(
  g++-mingw-w64-x86-64-posix
  wine64 wine libgnutls30
  dpkg-dev icoutils unzip zip
)
packagePackages=(
  dpkg-dev debhelper fakeroot lintian debootstrap abigail-tools doxygen python3-aiosmtpd man-db
)
vmPackages=(
  qemu-system-x86 linux-image-cloud-amd64 linux-image-amd64 busybox-static
  nvme-cli smartmontools pciutils util-linux sqlite3
  fdisk dosfstools e2fsprogs xfsprogs btrfs-progs lvm2 mdadm cryptsetup-bin dmsetup
  bcache-tools udev strace
)

purpose=${1:-build}
case "$purpose" in
  build) wanted=("${buildPackages[@]}") ;;
  demo) wanted=("${buildPackages[@]}" "${demoPackages[@]}") ;;
  test) wanted=("${buildPackages[@]}" "${testPackages[@]}") ;;
  bench) wanted=("${buildPackages[@]}" "${testPackages[@]}" "${benchPackages[@]}") ;;
  windows) wanted=("${buildPackages[@]}" "${testPackages[@]}" "${windowsPackages[@]}") ;;
  vm) wanted=("${buildPackages[@]}" "${testPackages[@]}" "${vmPackages[@]}") ;;
  package) wanted=("${buildPackages[@]}" "${packagePackages[@]}") ;;
  *) echo "usage: $0 [build|demo|test|bench|windows|vm|package]" >&2; exit 2 ;;
esac

isInstalled() { [ "$(dpkg-query -W -f '${db:Status-Status}' "$1" 2>/dev/null)" = installed ]; }

asRoot=()
requireRoot() {
  [ "$(id -u)" -ne 0 ] || return 0
  command -v sudo >/dev/null || {
    echo "$0: needs root or sudo to $1" >&2
    exit 1
  }
  asRoot=(sudo)
}

# A source entry beside each binary entry of the machine, in files of our own. The Windows build
# compiles the distribution's curl from its source package.
knowsCurlSource() { apt-cache showsrc --only-source curl >/dev/null 2>&1; }

writeSourceEntries() {
  local lists=/etc/apt/sources.list.d own=ondrel-deb-src file entries
  entries=$(
    for file in "$lists"/*.sources; do
      [ -f "$file" ] && [ "${file##*/}" != "$own.sources" ] || continue
      sed 's/^Types:.*/Types: deb-src/' "$file"
      echo
    done
  )
  [ -z "$entries" ] || echo "$entries" | "${asRoot[@]}" tee "$lists/$own.sources" >/dev/null
  entries=$(
    for file in /etc/apt/sources.list "$lists"/*.list; do
      [ -f "$file" ] && [ "${file##*/}" != "$own.list" ] || continue
      sed -n 's/^deb[[:space:]]/deb-src /p' "$file"
    done
  )
  [ -z "$entries" ] || echo "$entries" | "${asRoot[@]}" tee "$lists/$own.list" >/dev/null
}

missing=()
for package in "${wanted[@]}"; do
  isInstalled "$package" || missing+=("$package")
done

isMissing() { [[ " ${missing[*]} " == *" $1 "* ]]; }

# The checker of metrics and alert rules.
isPromtoolMissing() { [[ " ${wanted[*]} " == *" googletest "* ]] && ! command -v promtool >/dev/null; }

# What a package does to the machine besides lying there.
declare -A effectOf=(
  [bcache-tools]="bcache-tools puts the caches of disks together that it finds on this machine."
  [lvm2]="lvm2 starts a service (lvm2-monitor), and uses the logical volumes that it finds on this machine."
  [mdadm]="mdadm puts the arrays together that it finds on this machine, and watches them."
  [nvme-cli]="nvme-cli connects to the remote drives that its configuration names, when the machine starts."
  [postfix]="postfix is a mail server. It gets no configuration, so that none runs, and a user and groups."
  [smartmontools]="smartmontools starts a service that watches this machine's drives (smartmontools)."
  [systemd-journal-remote]="systemd-journal-remote adds a user. Its services are not started."
  [udev]="udev starts a service that names devices (systemd-udevd)."
)
effects=()
for package in "${missing[@]}"; do
  case $package in
    linux-image-*)
      effects+=("$package is a kernel, for virtual machines. A boot loader of this machine may offer it.")
      ;;
    *) [ -z "${effectOf[$package]-}" ] || effects+=("${effectOf[$package]}") ;;
  esac
done
! isPromtoolMissing ||
  effects+=("/usr/local/bin/promtool is added, from the package prometheus, which is not installed.")
[ "$purpose" != windows ] || knowsCurlSource ||
  effects+=("Entries for source packages are added in /etc/apt/sources.list.d/ondrel-deb-src.*")

askBeforeEffects() {
  local answer
  [ ${#effects[@]} -gt 0 ] || return 0
  printf 'This changes more than packages on this machine:\n'
  printf '  %s\n' "${effects[@]}"
  case "${ONDREL_INSTALL:-}" in
    yes) return 0 ;;
    no)
      echo "$0: nothing was installed: ONDREL_INSTALL is no" >&2 || true
      exit 3
      ;;
  esac
  [ "${CI:-}" != true ] || return 0
  if [ ! -t 0 ]; then
    echo "$0: nothing was installed: nobody can be asked here. ONDREL_INSTALL=yes agrees to it; the" \
      "Dockerfile keeps all of it in a container." >&2
    exit 3
  fi
  # The end of the input is no answer.
  read -r -p "Go on? The Dockerfile keeps all of it in a container. [y/N] " answer || answer=''
  [[ $answer == [yY]* ]] || { echo "$0: nothing was installed" >&2; exit 3; }
}
[ ${#missing[@]} -eq 0 ] || echo "To install with apt, and what they take: ${missing[*]}"
askBeforeEffects

if [ ${#missing[@]} -gt 0 ]; then
  requireRoot "install ${missing[*]}"
  # Tests start mail servers of their own.
  ! isMissing postfix || echo "postfix postfix/main_mailer_type select No configuration" |
    "${asRoot[@]}" debconf-set-selections
  "${asRoot[@]}" apt-get update -q
  "${asRoot[@]}" env DEBIAN_FRONTEND=noninteractive \
    apt-get install -y -q --no-install-recommends "${missing[@]}"
fi

# Out of a package whose service is not wanted.
if isPromtoolMissing; then
  requireRoot "install promtool"
  echo "Installing: promtool"
  folder=$(mktemp -d)
  trap 'rm -rf "$folder"' EXIT
  chmod 755 "$folder"
  (cd "$folder" && { apt-get download -q prometheus || { "${asRoot[@]}" apt-get update -q &&
    apt-get download -q prometheus; }; })
  dpkg-deb --fsys-tarfile "$folder"/prometheus_*.deb | tar -xO ./usr/bin/promtool \
    >"$folder/promtool"
  "${asRoot[@]}" install -m 755 "$folder/promtool" /usr/local/bin/promtool
fi

if [ "$purpose" = windows ] && ! knowsCurlSource; then
  requireRoot "add the entries for source packages"
  echo "Adding entries for source packages"
  writeSourceEntries
  "${asRoot[@]}" apt-get update -q
  knowsCurlSource || { echo "$0: no source package of curl is to be had" >&2; exit 1; }
fi
