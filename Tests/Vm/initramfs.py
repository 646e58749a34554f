"""Builds the initial file system of the tests' virtual machine: a newc archive, written directly, so
that neither root nor a folder of copies is needed."""

import functools
import os
import pathlib
import re
import stat
import subprocess

LIBRARY_FOLDER = "/usr/lib/x86_64-linux-gnu"
MERGED_FOLDERS = ("bin", "sbin", "lib", "lib64")
INIT = pathlib.Path(__file__).with_name("init.sh")


class Initramfs:
    """The files of the archive by their path in the machine."""

    def __init__(self):
        self._entries = {}
        # The system's folders are one with those below /usr, as on the host.
        for folder in MERGED_FOLDERS:
            self.add_folder(f"/usr/{folder}")
            self._entries[f"/{folder}"] = (stat.S_IFLNK | 0o777, f"usr/{folder}".encode())

    def add_folder(self, path):
        path = pathlib.PurePosixPath(path)
        for folder in [*reversed(path.parents), path]:
            self._entries.setdefault(str(folder), (stat.S_IFDIR | 0o755, b""))

    def add_file(self, path, content, mode=0o644):
        """Adds a file, and the folders on its way."""
        path = pathlib.PurePosixPath(path)
        if path.parts[1] in MERGED_FOLDERS:
            path = pathlib.PurePosixPath("/usr", *path.parts[1:])
        self.add_folder(path.parent)
        self._entries[str(path)] = (stat.S_IFREG | mode, content)

    def add_program(self, source, path=None):
        """Adds a program, and the shared libraries that it loads."""
        source = pathlib.Path(source)
        self.add_file(path or str(source), _without_debug_information(source), 0o755)
        for library in _libraries_of(source):
            self.add_library(library)

    def add_library(self, source):
        """Adds a shared library: where it is in the system, or with the system's libraries."""
        source = pathlib.Path(source)
        is_of_system = re.match(r"(/usr)?/lib(64)?/", str(source)) is not None
        path = str(source) if is_of_system else f"{LIBRARY_FOLDER}/{source.name}"
        self.add_file(path, _without_debug_information(source), 0o755)

    def archive(self):
        """The bytes of the archive."""
        parts = []
        for number, (path, (mode, content)) in enumerate(sorted(self._entries.items()), start=1):
            if path != "/":
                parts += _entry(number, path.lstrip("/"), mode, content)
        parts += _entry(0, "TRAILER!!!", 0, b"")
        return b"".join(parts)


def _entry(number, path, mode, content):
    name = path.encode() + b"\0"
    fields = [number, mode, 0, 0, 1, 0, len(content), 0, 0, 0, 0, len(name), 0]
    head = b"070701" + b"".join(b"%08X" % field for field in fields) + name
    return [head, b"\0" * (-len(head) % 4), content, b"\0" * (-len(content) % 4)]


@functools.cache
def _without_debug_information(source):
    content = source.read_bytes()
    if b".debug_info" not in content:
        return content
    descriptor = os.memfd_create("stripped")
    try:
        target = f"/proc/{os.getpid()}/fd/{descriptor}"
        subprocess.run(["objcopy", "--strip-debug", str(source), target], check=True,
                       capture_output=True)
        return pathlib.Path(target).read_bytes()
    finally:
        os.close(descriptor)


@functools.cache
def _libraries_of(program):
    """The files of the libraries of a program: those it is linked with, those that these load on
    demand, and so on."""
    found = {}
    waiting = [str(program)]
    while waiting:
        for file in _linked_libraries_of(waiting.pop()):
            if file in found:
                continue
            on_demand = [f"{LIBRARY_FOLDER}/{name}" for name in _loaded_on_demand_by(file)]
            found.update(dict.fromkeys([file, *on_demand]))
            waiting += on_demand
    return list(found)


def _linked_libraries_of(file):
    listing = subprocess.run(["ldd", str(file)], capture_output=True, text=True)
    if "not found" in listing.stdout:
        raise RuntimeError(f"{file} needs libraries that are not there:\n{listing.stdout}")
    # A static program lists none.
    return re.findall(r"(?:=> |^\s+)(/\S+) \(0x", listing.stdout, re.MULTILINE)


def _loaded_on_demand_by(file):
    content = pathlib.Path(file).read_bytes()
    return [name.decode() for name in re.findall(rb'"soname":\["([^"]+)"\]', content)]


def kernel_modules(folder, names):
    """The files of the modules `names` below `folder` (/lib/modules/VERSION), each after those that
    it needs, relative to `folder`. A module that is part of the kernel needs no file."""
    needs = {}
    for line in (folder / "modules.dep").read_text().splitlines():
        file, _, others = line.partition(":")
        needs[file] = others.split()
    files = {_module_name(file): file for file in needs}
    in_kernel = {_module_name(file) for file in
                 (folder / "modules.builtin").read_text().splitlines()}

    ordered = []
    for name in names:
        name = name.replace("-", "_")
        if name in in_kernel:
            continue
        if name not in files:
            raise RuntimeError(f"{folder} has no module {name}")
        # The index lists what is to be loaded last first.
        for file in [*reversed(needs[files[name]]), files[name]]:
            if file not in ordered:
                ordered.append(file)
    return ordered


def _module_name(file):
    return pathlib.PurePosixPath(file).name.split(".ko")[0].replace("-", "_")
