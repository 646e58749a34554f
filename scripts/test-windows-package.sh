#!/usr/bin/env bash
# Packs the Windows build and tries the archive, unpacked and moved to a path with a space: the command
# runs there with nothing else on the path, and a project of its own finds the package, builds with it in
# both languages of the interface and runs; the library is also loaded by its path alone.
# Usage: scripts/test-windows-package.sh   (after a build of the preset windows)
set -euo pipefail
cd "$(dirname "$0")/.."

folder=$PWD/build/windows-package
name=ondrel-$(sed -nE 's/^  VERSION ([0-9.]+)$/\1/p' CMakeLists.txt)-windows-x86_64
rm -rf "$folder"
mkdir -p "$folder"
cpack --config build/windows/CPackConfig.cmake -B "$folder" >"$folder/cpack.log" ||
  { cat "$folder/cpack.log"; exit 1; }
unzip -q "$folder/$name.zip" -d "$folder/unpacked"
package="$folder/moved here"
mv "$folder/unpacked/$name" "$package"

for file in bin/{ondrel,pirsk,libcurl,libstdc++-6,libgcc_s_seh-1,libwinpthread-1}.dll \
  bin/ondrel.exe lib/lib{ondrel,pirsk}.dll.a include/{Ondrel/Ondrel,Pirsk/Exceptions}.h \
  lib/cmake/ondrel/ondrelConfig.cmake; do
  [ -f "$package/$file" ] || { echo "the archive lacks $file" >&2; exit 1; }
done

scripts/check-links.py "$package" || { echo "a page of the archive links to nothing" >&2; exit 1; }

# What MinGW-w64 hardens: addresses of 64 bits at random, data that cannot be run. Debug information
# stays with the build.
for file in "$package"/bin/{ondrel,pirsk}.dll "$package/bin/ondrel.exe"; do
  flags=$(x86_64-w64-mingw32-objdump -p "$file")
  for flag in HIGH_ENTROPY_VA DYNAMIC_BASE NX_COMPAT; do
    [[ $flags == *$flag* ]] || { echo "${file##*/} lacks $flag" >&2; exit 1; }
  done
  sections=$(x86_64-w64-mingw32-objdump -h "$file")
  [[ $sections != *.debug_info* ]] || { echo "${file##*/} is not stripped" >&2; exit 1; }
  x86_64-w64-mingw32-objdump -h "build/windows/bin/${file##*/}.debug" | grep '\.debug_info' >/dev/null ||
    { echo "the build has no debug information of ${file##*/}" >&2; exit 1; }
  ! strings -a "$file" | grep -F "$PWD" ||
    { echo "${file##*/} names the folder it was built in" >&2; exit 1; }
done

runPacked() { (cd / && WINEPATH='' "$OLDPWD/scripts/run-wine.sh" "$package/bin/$1" "${@:2}"); }

answer=$(runPacked ondrel.exe --json status pd OPERATIONAL FAILED | tr -d '\r')
expected='{"jsonVersion":1,"kind":"pd","old":40093,"oldName":"OPERATIONAL","new":40095,"newName":"FAILED",'
expected+='"event":10471,"eventName":"PD_STATE_CHANGE_OP_TO_FAIL","severity":4}'
[ "$answer" = "$expected" ] || { echo "the packed command answers: $answer" >&2; exit 1; }

! grep -rlE "$PWD|/usr/local" "$package/lib/cmake" ||
  { echo "these files name a folder of the machine that built them" >&2; exit 1; }

for standard in 17 20; do
  project="$folder/project $standard"
  {
    cmake -S Tests/Consumer -B "$project" -G Ninja -DCMAKE_CXX_STANDARD=$standard \
      -DCMAKE_TOOLCHAIN_FILE="$PWD/cmake/mingw-w64.cmake" \
      -Dondrel_DIR="$package/lib/cmake/ondrel" -DONDREL_INCLUDE_FOLDER="$package/include"
    # One language is enough for the headers by themselves.
    if [ $standard -eq 17 ]; then cmake --build "$project"; else cmake --build "$project" --target consumer direct; fi
  } >"$folder/consumer.log" || { cat "$folder/consumer.log"; exit 1; }
  # A program finds the DLLs beside itself.
  cp "$project/direct.exe" "$package/bin/"
  [[ $(runPacked direct.exe) == "event 10471, severity 4"* ]] ||
    { echo "the project's program does not run, C++$standard" >&2; exit 1; }
  rm "$package/bin/direct.exe"
done

x86_64-w64-mingw32-gcc -Wall -Wextra -Werror Tests/Consumer/LoadByPathWindows.c -o "$folder/load.exe"
(cd / && WINEPATH='' "$OLDPWD/scripts/run-wine.sh" "$folder/load.exe" "Z:${package//\//\\}\\bin\\ondrel.dll") ||
  { echo "the library does not load by its path" >&2; exit 1; }
echo "$name.zip: $(du -h "$folder/$name.zip" | cut -f 1), runs unpacked, builds a project, is loaded by its path"
