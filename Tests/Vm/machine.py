"""A virtual machine for tests of what only real devices show.

    with Machine(devices=["-drive", ...], programs=["nvme"], modules=["xfs"]) as machine:
        result = machine.run("ondrel nvme smart /dev/nvme0")

The machine boots Debian's kernel for virtual machines with an image of busybox, the built command
with its libraries, and what a test names besides. It runs by emulation alone.
"""

import base64
import contextlib
import dataclasses
import json
import os
import pathlib
import re
import shlex
import shutil
import socket
import subprocess
import tempfile
import threading
import time
import unittest

from initramfs import INIT, Initramfs, kernel_modules

SOURCE_FOLDER = pathlib.Path(__file__).resolve().parents[2]
BUILD_FOLDER = pathlib.Path(os.environ.get("ONDREL_BUILD", SOURCE_FOLDER / "build" / "linux"))
# Seconds of a boot, and of a wait for what has to come. They end what hangs: a host may be several times
# slower than at other times, and what is emulated on it with it.
DEFAULT_TIME_LIMIT = 1200
PATIENCE = 300

_KERNEL_ARGUMENTS = (
    "console=ttyS0", "panic=-1", "quiet", "loglevel=5", "tsc=unstable", "random.trust_cpu=on",
    # Without this a busy host makes the kernel give up at its start.
    "no_timer_check",
    # What the emulator has translated of a program or a library serves the next start only where this
    # is loaded at the same address again.
    "norandmaps",
    # A third of a boot: the kernel's tests of itself, and what protects or traces it.
    "init_on_alloc=0", "cryptomgr.notests",
    "initcall_blacklist=crypto_kdf108_init,init_kprobe_trace",
)
_STEERING = re.compile(r"\x1b(?:\[[0-?]*[ -/]*[@-~]|[^\[])|[^\t\n -~]")
_PASSWD = b"root:x:0:0:root:/root:/bin/sh\nnobody:x:65534:65534:nobody:/:/bin/sh\n"
_GROUP = b"root:x:0:\nnogroup:x:65534:\n"


class MachineError(Exception):
    """The machine did not do what every machine does; the text ends with its console."""


@dataclasses.dataclass(frozen=True)
class Result:
    """What a command in the machine came to."""

    command: str
    exit_status: int
    output: bytes
    error: bytes

    @property
    def stdout(self):
        return self.output.decode(errors="replace")

    @property
    def stderr(self):
        return self.error.decode(errors="replace")

    def json(self):
        return json.loads(self.output)

    def __str__(self):
        return (f"{self.command}\nexit status {self.exit_status}\n"
                f"standard output:\n{self.stdout}\nstandard error:\n{self.stderr}")


class _Stream:
    """Lines from a socket, each within what is left of the machine's time."""

    def __init__(self, connection, deadline):
        self._connection = connection
        self._deadline = deadline
        self._pending = b""

    def send(self, data):
        self._connection.settimeout(self._left())
        self._connection.sendall(data)

    def line(self):
        while b"\n" not in self._pending:
            self._connection.settimeout(self._left())
            data = self._connection.recv(1 << 16)
            if not data:
                raise ConnectionError("the machine has ended")
            self._pending += data
        line, _, self._pending = self._pending.partition(b"\n")
        return line

    def close(self):
        self._connection.close()

    def _left(self):
        left = self._deadline - time.monotonic()
        if left <= 0:
            raise TimeoutError("the machine's time is over")
        return left


class Machine:
    """One boot. Entering the context starts the machine and waits until it takes commands.

    devices     further arguments of QEMU; "{folder}" in them is the machine's own folder on the host
    disks       sparse files made in that folder before the start: name to size in bytes, or to bytes
    programs    names or paths of programs of this host that go into the image with their libraries
    modules     names of kernel modules that are loaded at the start, with those that they need
    files       further files of the image: path in the machine to bytes or to a path on this host
    chipset     "q35" (PCI Express) or "pc"
    kernel      flavour of the kernel: "cloud-amd64", or "amd64", which has more drivers
    """

    def __init__(self, devices=(), disks=None, programs=(), modules=(), files=None, chipset="q35",
                 kernel="cloud-amd64", memory="384M", time_limit=DEFAULT_TIME_LIMIT):
        self._devices = list(devices)
        self._disks = dict(disks or {})
        self._programs = list(programs)
        self._modules = list(modules)
        self._files = dict(files or {})
        self._chipset = chipset
        self._kernel = kernel
        self._memory = memory
        self._time_limit = time_limit
        self._resources = contextlib.ExitStack()
        self._events = []

    def __enter__(self):
        with contextlib.ExitStack() as resources:
            self.folder = pathlib.Path(resources.enter_context(
                tempfile.TemporaryDirectory(prefix="ondrel-vm-")))
            self._console = self.folder / "console.log"
            try:
                self._start(resources)
                ready = self._frame()
            except OSError as error:
                raise self._trouble(f"the machine did not start: {error}") from error
            if ready != {"ready": True}:
                raise self._trouble(f"the machine said {ready} at its start")
            self._resources = resources.pop_all()
        return self

    def __exit__(self, *_):
        self._resources.close()

    def run(self, command):
        """Runs a command line (text for the shell, or a list of arguments) and yields its result."""
        text = command if isinstance(command, str) else shlex.join(map(str, command))
        try:
            self._frames.send(base64.b64encode(text.encode()) + b"\n")
            answer = self._frame()
        except OSError as error:
            raise self._trouble(f"no answer to: {text}\n{error}") from error
        return Result(text, answer["exitStatus"], base64.b64decode(answer["stdout"]),
                      base64.b64decode(answer["stderr"]))

    def check(self, command):
        """Runs a command that has to succeed; yields its standard output as text."""
        result = self.run(command)
        if result.exit_status != 0:
            raise self._trouble(str(result))
        return result.stdout

    def wait_for(self, condition):
        """Waits until a shell condition holds, such as "[ -e /dev/nvme0 ]"."""
        self.check(f"until {condition}; do usleep 100000; done")

    def read(self, path):
        """The bytes of a file in the machine."""
        result = self.run(["cat", path])
        if result.exit_status != 0:
            raise self._trouble(str(result))
        return result.output

    def write(self, path, content):
        """Writes a small file in the machine; large ones belong into `files`."""
        text = base64.b64encode(content).decode()
        self.check(f"echo {text} | base64 -d >{shlex.quote(str(path))}")

    def monitor(self, command, **arguments):
        """Gives QEMU a command of its machine protocol and yields what it returns."""
        self._monitor.send(json.dumps({"execute": command, "arguments": arguments}).encode() + b"\n")
        while True:
            answer = self._monitor_message()
            if "event" in answer:
                self._events.append(answer)
            elif "error" in answer:
                raise self._trouble(f"{command}: {answer['error']['desc']}")
            else:
                return answer["return"]

    def wait_for_event(self, name, **data):
        """Waits until QEMU reports an event with this data, and yields it."""
        while True:
            for event in self._events:
                if event["event"] == name and data.items() <= event.get("data", {}).items():
                    self._events.remove(event)
                    return event
            answer = self._monitor_message()
            if "event" in answer:
                self._events.append(answer)

    def remove_device(self, identifier):
        """Takes a device out of the running machine; comes back when it is gone."""
        self.monitor("device_del", id=identifier)
        self.wait_for_event("DEVICE_DELETED", device=identifier)

    def console(self):
        """What the machine's console shows, without what steers a terminal."""
        texts = [file.read_text(errors="replace")
                 for file in (self._console, self.folder / "qemu.log") if file.exists()]
        return _STEERING.sub("", "".join(texts))

    def _start(self, resources):
        deadline = time.monotonic() + self._time_limit
        image = self.folder / "initramfs"
        kernel = _kernel(self._kernel)
        image.write_bytes(self._image(kernel))
        for name, content in self._disks.items():
            with open(self.folder / name, "wb") as disk:
                if isinstance(content, int):
                    disk.truncate(content)
                else:
                    disk.write(content)

        listeners = {}
        for name in ("frames", "monitor"):
            listener = resources.enter_context(socket.socket(socket.AF_UNIX))
            listener.bind(str(self.folder / name))
            listener.listen(1)
            listener.settimeout(self._time_limit)
            listeners[name] = listener

        with open(self.folder / "qemu.log", "wb") as log:
            process = subprocess.Popen(self._command(kernel, image), stdin=subprocess.DEVNULL,
                                       stdout=log, stderr=log)
        resources.callback(process.wait)
        resources.callback(process.kill)
        watchdog = threading.Timer(self._time_limit, process.kill)
        watchdog.daemon = True
        watchdog.start()
        resources.callback(watchdog.cancel)

        streams = {}
        for name, listener in listeners.items():
            streams[name] = _Stream(self._accepted(listener, process), deadline)
            resources.callback(streams[name].close)
        self._frames, self._monitor = streams["frames"], streams["monitor"]
        self._monitor.line()
        self.monitor("qmp_capabilities")

    def _accepted(self, listener, process):
        listener.settimeout(0.2)
        while process.poll() is None:
            with contextlib.suppress(TimeoutError):
                return listener.accept()[0]
        raise ConnectionError("QEMU ended at its start")

    def _command(self, kernel, image):
        devices = [device.replace("{folder}", str(self.folder)) for device in self._devices]
        return [_program("qemu-system-x86_64"),
                "-accel", "tcg", "-machine", self._chipset, "-cpu", "max", "-m", self._memory,
                "-nographic", "-no-reboot", "-nodefaults", "-monitor", "none",
                "-kernel", str(kernel), "-initrd", str(image),
                "-append", " ".join(_KERNEL_ARGUMENTS),
                "-serial", f"file:{self._console}",
                "-chardev", f"socket,id=frames,path={self.folder / 'frames'}",
                "-serial", "chardev:frames",
                "-chardev", f"socket,id=monitor,path={self.folder / 'monitor'}",
                "-mon", "chardev=monitor,mode=control",
                *devices]

    def _image(self, kernel):
        image = Initramfs()
        for folder in ("/dev", "/proc", "/sys", "/tmp", "/run", "/root", "/mnt", "/var/lib"):
            image.add_folder(folder)
        image.add_file("/etc/passwd", _PASSWD)
        image.add_file("/etc/group", _GROUP)
        image.add_file("/init", INIT.read_bytes(), 0o755)
        image.add_file("/usr/bin/busybox", pathlib.Path(_program("busybox")).read_bytes(), 0o755)
        image.add_program(_built_command(), "/usr/bin/ondrel")
        for program in self._programs:
            path = pathlib.Path(_program(program))
            # What was built stands where the command does.
            image.add_program(path, f"/usr/bin/{path.name}" if BUILD_FOLDER in path.parents else None)
        self._add_modules(image, kernel)
        for path, content in self._files.items():
            is_path = isinstance(content, (str, pathlib.Path))
            image.add_file(path, pathlib.Path(content).read_bytes() if is_path else content)
        return image.archive()

    def _add_modules(self, image, kernel):
        folder = pathlib.Path("/lib/modules") / kernel.name.removeprefix("vmlinuz-")
        paths = []
        for file in kernel_modules(folder, self._modules):
            paths.append(f"/usr{folder / file}")
            image.add_file(paths[-1], (folder / file).read_bytes())
        image.add_file("/etc/vm-modules", "".join(path + "\n" for path in paths).encode())

    def _frame(self):
        while True:
            line = self._frames.line()
            _, mark, text = line.partition(b"\x1e")
            if mark:
                return json.loads(text)

    def _monitor_message(self):
        try:
            return json.loads(self._monitor.line())
        except OSError as error:
            raise self._trouble(f"no answer of the monitor: {error}") from error

    def _trouble(self, reason):
        return MachineError(f"{reason}\n--- console ---\n{self.console()}")


class MachineTestCase(unittest.TestCase):
    """Tests that share one boot. A subclass names its machine by the arguments of `Machine`; a test
    that fails shows at once why, and the machine's console.

        class SmartTest(MachineTestCase):
            machine_arguments = {"programs": ["nvme"], "disks": {"disk": 64 << 20}, "devices": [...]}
    """

    machine_arguments = {}
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        cls.machine = cls.enterClassContext(Machine(**cls.machine_arguments))

    def run(self, result=None):
        result = result if result is not None else self.defaultTestResult()
        failures, errors = len(result.failures), len(result.errors)
        super().run(result)
        troubles = result.failures[failures:] + result.errors[errors:]
        for _, trouble in troubles:
            print(trouble, flush=True)
        if troubles:
            print(f"--- console of {self.id()} ---\n{self.machine.console()}", flush=True)
        return result


def _kernel(flavour):
    # vmlinuz-6.1.0-56-cloud-amd64: the flavour follows the number of the interface.
    kernels = sorted(path for path in pathlib.Path("/boot").glob(f"vmlinuz-*-{flavour}")
                     if path.name.removesuffix(f"-{flavour}")[-1].isdigit())
    if not kernels:
        raise MachineError(f"no kernel {flavour}: run scripts/install-deps.sh vm")
    return kernels[-1]


def _built_command():
    command = BUILD_FOLDER / "Tool" / "ondrel"
    if not command.exists():
        raise MachineError(f"{command} is not built")
    return command


def _program(name):
    # Without a folder that ordinary users' paths leave out, most storage tools would not be found.
    path = shutil.which(name, path=os.environ.get("PATH", "") + ":/usr/sbin:/sbin")
    if path is None:
        raise MachineError(f"{name} is not installed: run scripts/install-deps.sh vm")
    return os.path.realpath(path) if pathlib.Path(path).is_symlink() else path
