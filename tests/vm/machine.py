"""A virtual machine with a real kernel, and the emulated FTDI chips that are plugged into it."""
import lzma
import os
import re
import shutil
import socket
import subprocess
import time

PATIENCE = 60  # seconds, on a machine that does other things too


def wait_until(condition, what):
    end = time.monotonic() + PATIENCE
    while not (result := condition()):
        assert time.monotonic() < end, f"{what} did not happen"
        time.sleep(0.02)
    return result


def unpack_kernel(packed, unpacked):
    """The emulator starts an unpacked kernel several times faster."""
    with open(packed, "rb") as file:
        image = file.read()
    start = image.find(b"\xfd7zXZ\0")
    with open(unpacked, "wb") as file:
        file.write(image if start < 0 else lzma.LZMADecompressor().decompress(image[start:]))


def make_initrd(folder, programs, path):
    root = f"{folder}/root"
    shutil.rmtree(root, ignore_errors=True)
    shutil.copytree(f"{folder}/modules", f"{root}/modules")
    os.mkdir(f"{root}/bin")
    shutil.copy("/bin/busybox", f"{root}/bin")
    shutil.copy(f"{os.path.dirname(__file__)}/init", root)
    for program in programs:
        subprocess.run(["strip", "-o", f"{root}/bin/{os.path.basename(program)}", program], check=True)
    subprocess.run(f"find . | /bin/busybox cpio -o -H newc >{os.path.abspath(path)} 2>/dev/null", shell=True, cwd=root,
                   check=True)


class Machine:
    def __init__(self, folder, programs, chips):
        """`programs` are statically linked and go to its /bin; `chips` are the serial numbers of the chips that can be
        plugged in."""
        self.folder, self.trace_path = folder, f"{folder}/trace"
        if not os.path.exists(f"{folder}/vmlinux"):
            unpack_kernel(f"{folder}/vmlinuz", f"{folder}/vmlinux")
        make_initrd(folder, programs, f"{folder}/initrd")
        for name in ["console", "trace", *chips]:
            if os.path.exists(f"{folder}/{name}"):
                os.remove(f"{folder}/{name}")
        listening = f"path={folder}/%s,server=on,wait=off"
        command = ["qemu-system-x86_64", "-accel", "tcg", "-m", "512", "-smp", "2", "-nodefaults", "-no-user-config",
                   "-display", "none", "-no-reboot", "-kernel", f"{folder}/vmlinux", "-initrd", f"{folder}/initrd",
                   "-append", "console=ttyS0 quiet loglevel=4 panic=-1", "-serial", f"file:{folder}/kernel.log",
                   "-chardev", "socket,id=console," + listening % "console", "-serial", "chardev:console",
                   "-device", "qemu-xhci", "-trace", "usb_serial_*", "-D", self.trace_path]
        for serial in chips:
            command += ["-chardev", f"socket,id={serial}," + listening % serial,
                        "-device", f"usb-serial,chardev={serial},serial={serial}"]
        self.emulator = subprocess.Popen(command, stdin=subprocess.DEVNULL)
        console = self.connect("console")
        console.settimeout(2 * PATIENCE)
        self.console = console.makefile("rwb")
        while "ready" not in self.hear():
            pass

    def connect(self, name):
        connection = socket.socket(socket.AF_UNIX)
        wait_until(lambda: connection.connect_ex(f"{self.folder}/{name}") == 0, f"opening {name}")
        return connection

    def hear(self):
        line = self.console.readline()
        assert line, "the virtual machine has ended"
        return line.decode(errors="replace").replace("\r", "")

    def try_to(self, command):
        """What the command prints, without white space around it, and its exit code."""
        self.console.write(command.encode() + b"\n")
        self.console.flush()
        text = ""
        while not (found := re.match(r"\[done (\d+)\]", line := self.hear())):
            text += line
        return text.strip(), int(found[1])

    def run(self, command):
        text, code = self.try_to(command)
        assert code == 0, f"{command} gives {code}: {text}"
        return text

    def end(self):
        self.emulator.kill()
        self.emulator.wait()
