#!/usr/bin/env bash
# Installs a build into a folder of its own, moves that folder, and uses what lies there as a stranger
# would: with no environment variable set, from a path with a space, with both compilers and both
# languages of the interface, by CMake, by pkg-config and by hand.
# Usage: scripts/test-installed.sh [BUILD]      (build/linux unless another build is given)
set -euo pipefail
cd "$(dirname "$0")/.."

build=${1:-build/linux}
folder=$PWD/build/installed
place="$folder/moved here"
warnings=(-Wall -Wextra -Wpedantic -Werror)

# Runs a command without the environment of this shell.
bare() { env -i PATH=/usr/bin:/bin "$@"; }

fail() { echo "$0: $1" >&2; exit 1; }

rm -rf "$folder"
mkdir -p "$folder"
cmake --install "$build" --prefix "$folder/first" >"$folder/install.log"
mv "$folder/first" "$place"
libraries=$(dirname "$(find "$place" -name libondrel.so)")

# What was laid down names no folder of the build, nor the prefix of the configuration.
! grep -rlE "$PWD|/usr/local" "$libraries/pkgconfig" "$libraries/cmake" ||
  fail "these files name a folder of the machine that built them"
for file in "$libraries"/lib{ondrel,pirsk}.so.7 "$place/bin/ondrel"; do
  case $(readelf -d "$file" | awk -F'[][]' '/R(UN)?PATH/ {print $2}') in
    '$ORIGIN' | '$ORIGIN/'*) ;;
    *) fail "$file does not look for its libraries beside itself" ;;
  esac
done

bare "$place/bin/ondrel" --version
ln -s "$place/bin/ondrel" "$folder/linked-command"
bare "$folder/linked-command" status pd OPERATIONAL FAILED >/dev/null

# A project that finds the package.
for compiler in g++ clang++; do
  for standard in 17 20; do
    project="$folder/project with $compiler $standard"
    bare cmake -S Tests/Consumer -B "$project" -G Ninja -DCMAKE_CXX_COMPILER="$compiler" \
      -DCMAKE_CXX_STANDARD="$standard" -DCMAKE_PREFIX_PATH="$place" \
      -DONDREL_INCLUDE_FOLDER="$place/include" >"$folder/configure.log" 2>&1 ||
      { cat "$folder/configure.log"; exit 1; }
    bare cmake --build "$project" >"$folder/build.log" 2>&1 ||
      { cat "$folder/build.log"; fail "the project does not build with $compiler, C++$standard"; }
    bare "$project/consumer" "$project/events.db" >"$folder/run.log" ||
      { cat "$folder/run.log"; fail "the project's program fails"; }
    bare "$project/direct" >/dev/null || fail "a program without the base library fails"
    echo "ok: CMake, $compiler, C++$standard"
  done
done

# pkg-config: the words are quoted for a shell.
for compiler in g++ clang++; do
  for standard in 17 20; do
    flags=$(bare PKG_CONFIG_PATH="$libraries/pkgconfig" pkg-config --cflags --libs ondrel)
    words=()
    eval "words=($flags)"
    for program in Consumer Direct; do
      built="$folder/$program $compiler $standard"
      bare "$compiler" -std=c++$standard "${warnings[@]}" "Tests/Consumer/$program.cpp" -o "$built" \
        "${words[@]}" "-Wl,-rpath,$libraries"
    done
    bare "$folder/Consumer $compiler $standard" "$folder/pkg-config-$compiler-$standard.db" \
      >"$folder/run.log" || { cat "$folder/run.log"; fail "the program of pkg-config fails"; }
    bare "$folder/Direct $compiler $standard" >/dev/null
    echo "ok: pkg-config, $compiler, C++$standard"
  done
done

# By hand, with the one library that the program calls named.
for compiler in g++ clang++; do
  bare "$compiler" -std=c++17 "${warnings[@]}" -I"$place/include" Tests/Consumer/Direct.cpp \
    -o "$folder/by hand" -L"$libraries" -londrel "-Wl,-rpath,$libraries"
  bare "$folder/by hand" >/dev/null
  echo "ok: by hand, $compiler"
done

# Loaded by path, through a link too, by a program that knows nothing of it.
bare gcc "${warnings[@]}" Tests/Consumer/LoadByPath.c -o "$folder/load" -ldl
bare "$folder/load" "$libraries/libondrel.so.7"
mkdir "$folder/links"
ln -s "$libraries/libpirsk.so.7" "$folder/links/"
ln -s "$libraries/libondrel.so.7" "$folder/links/storage.so"
bare "$folder/load" "$folder/links/storage.so"
echo "ok: loaded by path"

# A project that takes the sources in gets the libraries, and nothing else.
cat >"$folder/CMakeLists.txt" <<PROJECT
cmake_minimum_required(VERSION 3.25)
project(takes-in LANGUAGES CXX)
add_subdirectory("$PWD" ondrel)
add_executable(direct "$PWD/Tests/Consumer/Direct.cpp")
target_link_libraries(direct PRIVATE Ondrel::ondrel)
PROJECT
cmake -S "$folder" -B "$folder/taken in" -G Ninja -DCMAKE_CXX_COMPILER_LAUNCHER=ccache \
  >"$folder/configure.log" 2>&1 || { cat "$folder/configure.log"; exit 1; }
ninja -C "$folder/taken in" -t targets all >"$folder/targets.log"
! grep -E 'ondrel_tool|^ondrel/(Tool|Tests)/|gtest' "$folder/targets.log" ||
  fail "a project that takes the sources in would build more than the libraries"
echo "ok: taken in as a folder of another project"

# A static build is refused in words.
! cmake -S . -B "$folder/static" -G Ninja -DBUILD_SHARED_LIBS=OFF >"$folder/configure.log" 2>&1 &&
  grep -q 'BUILD_SHARED_LIBS=OFF: ondrel and pirsk are shared libraries only' "$folder/configure.log" ||
  { cat "$folder/configure.log"; fail "a static build is not refused"; }
echo "ok: a static build is refused"

# The components, one by one.
for component in runtime development command documents; do
  cmake --install "$build" --prefix "$folder/$component" --component $component >>"$folder/install.log"
done
[ -e "$folder/runtime/${libraries#"$place"/}/libondrel.so.7" ] || fail "no library in runtime"
[ ! -e "$folder/runtime/include" ] || fail "headers in runtime"
[ -L "$folder/development/${libraries#"$place"/}/libondrel.so" ] || fail "no link in development"
[ -e "$folder/development/include/Ondrel/Ondrel.h" ] || fail "no headers in development"
[ -e "$folder/development/share/man/man3/Ondrel::CSmtp.3" ] || fail "no pages of the headers in development"
[ -x "$folder/command/bin/ondrel" ] || fail "no command in command"
for file in man/man1/ondrel-log-report.1 man/man5/watch.conf.5 bash-completion/completions/ondrel \
  zsh/site-functions/_ondrel fish/vendor_completions.d/ondrel.fish; do
  [ -e "$folder/command/share/$file" ] || fail "no $file in command"
done
[ "$(find "$folder/documents" -name command.md)" ] || fail "no pages in documents"
scripts/check-links.py "$folder/documents" || fail "an installed page links to nothing"
! grep -rnE '^(scripts/|cmake --preset|cpack )' "$folder/documents" --include=README.md ||
  fail "the installed README shows commands of the source tree"
echo "ok: four components"
