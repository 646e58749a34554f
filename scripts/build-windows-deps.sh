#!/usr/bin/env bash
# Makes what the Windows build links and includes in build/windows-deps: libcurl from the distribution's
# source package, and a folder with the header-only libraries. A libcurl that was built once is kept in
# ~/.cache/ondrel-windows-deps for all clones; ONDREL_WINDOWS_DEPS_CACHE names another folder.
# Usage: scripts/build-windows-deps.sh   (after scripts/install-deps.sh windows)
set -euo pipefail
cd "$(dirname "$0")/.."

deps=$PWD/build/windows-deps
log=$deps/build.log

# Only mail is wanted of libcurl. HTTP stays too: without it this version does not link.
curlSettings=(
  -DBUILD_CURL_EXE=OFF -DBUILD_SHARED_LIBS=ON -DBUILD_TESTING=OFF -DPICKY_COMPILER=OFF
  -DCURL_USE_SCHANNEL=ON -DUSE_WIN32_IDN=ON
  -DCURL_ZLIB=OFF -DCURL_BROTLI=OFF -DCURL_ZSTD=OFF -DUSE_LIBIDN2=OFF -DCURL_USE_LIBSSH2=OFF
  -DCURL_USE_LIBPSL=OFF
)
for part in ALTSVC DICT FILE FTP GOPHER HSTS IMAP LDAP LDAPS MQTT POP3 RTSP SMB TELNET TFTP; do
  curlSettings+=("-DCURL_DISABLE_$part=ON")
done

# Brings a header-only library into reach of the cross compiler, by a link.
linkHeaders() {
  [ -d "/usr/include/$1" ] || { echo "$0: /usr/include/$1 is missing" >&2; return 1; }
  ln -sfnr "/usr/include/$1" "$deps/headers/$1"
}

fetchCurl() {
  # apt downloads as a user of its own, who may not reach the tree.
  local fetched
  fetched=$(mktemp -d)
  chmod 755 "$fetched"
  [ "$(id -u)" -ne 0 ] || chown _apt "$fetched"
  (cd "$fetched" && apt-get source -q --download-only --only-source curl)
  rm -rf "$deps/curl-source"
  dpkg-source --no-check -x "$fetched"/curl_*.dsc "$deps/curl-source"
  rm -rf "$fetched"
}

buildCurl() {
  rm -rf "$deps/curl-build" "$deps/curl"
  cmake -S "$deps/curl-source" -B "$deps/curl-build" -G Ninja \
    -DCMAKE_TOOLCHAIN_FILE="$PWD/cmake/mingw-w64.cmake" -DCMAKE_BUILD_TYPE=Release \
    -DCMAKE_C_COMPILER_LAUNCHER=ccache -DCMAKE_INSTALL_PREFIX="$deps/curl" "${curlSettings[@]}"
  cmake --build "$deps/curl-build"
  cmake --install "$deps/curl-build"
}

# Archives have no checksum of what is in them.
isCurlThere() { [ -s "$deps/curl/bin/libcurl.dll" ] && [ -s "$deps/curl/lib/libcurl.dll.a" ]; }

mkdir -p "$deps/headers"
for library in boost CLI fmt nlohmann spdlog; do linkHeaders "$library"; done

# What was built is good for as long as it would be built in the same way from the same source.
stamp="$(apt-cache showsrc --only-source curl | awk '$1 == "Version:" {print $2; exit}')
$(x86_64-w64-mingw32-gcc-posix --version | head -n 1)
${curlSettings[*]}
${CFLAGS-} ${LDFLAGS-}
$(declare -f fetchCurl buildCurl)
$(cat cmake/mingw-w64.cmake)"
if [ "$(cat "$deps/stamp" 2>/dev/null)" != "$stamp" ]; then
  cache=${ONDREL_WINDOWS_DEPS_CACHE:-${XDG_CACHE_HOME:-${HOME-}/.cache}/ondrel-windows-deps}
  kept=$cache/$(sha256sum <<<"$stamp" | cut -c 1-64).tar
  rm -rf "$deps/stamp" "$deps/curl"
  # With the time of now: what was linked with another one is older.
  if [ ! -f "$kept" ] || ! tar -xmf "$kept" -C "$deps" || ! isCurlThere; then
    echo "Building libcurl for Windows"
    # Not as a condition: there the shell would go on behind what fails.
    set +e
    (set -e; fetchCurl; buildCurl; isCurlThere) >"$log" 2>&1
    status=$?
    set -e
    if [ "$status" -ne 0 ]; then
      tail -n 40 "$log"
      echo "$0: libcurl for Windows could not be built (status $status)" >&2
      exit 1
    fi
    # Whole or not there, whoever else builds it at the same time.
    if ! (mkdir -p "$cache" && tar -cf "$kept.$$" -C "$deps" curl && mv "$kept.$$" "$kept"); then
      rm -f "$kept.$$" 2>/dev/null || true
      echo "$0: could not keep libcurl in $cache; the next clone builds it again" >&2
    fi
  fi
  echo "$stamp" >"$deps/stamp"
fi
