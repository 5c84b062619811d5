"""A virtual machine with a real kernel, and the emulated FTDI chips that are plugged into it."""
import lzma
import os
import re
import shutil
import socket
import subprocess
import threading
import time

MODULES = ["usb-common", "usbcore", "xhci-hcd", "xhci-pci", "usbserial", "ftdi_sio"]


def unpack_kernel(packed, unpacked):
    """The emulator starts an unpacked kernel several times faster."""
    with open(packed, "rb") as file:
        image = file.read()
    start = image.find(b"\xfd7zXZ\0")
    if start < 0:
        shutil.copy(packed, unpacked)
        return
    with open(unpacked, "wb") as file:
        file.write(lzma.LZMADecompressor().decompress(image[start:]))


def make_initrd(folder, programs, path):
    root = os.path.join(folder, "root")
    shutil.rmtree(root, ignore_errors=True)
    os.makedirs(os.path.join(root, "bin"))
    shutil.copytree(os.path.join(folder, "modules"), os.path.join(root, "modules"))
    shutil.copy("/bin/busybox", os.path.join(root, "bin"))
    for program in programs:
        subprocess.run(["strip", "-o", os.path.join(root, "bin", os.path.basename(program)), program], check=True)
    shutil.copy(os.path.join(os.path.dirname(__file__), "init"), root)
    names = subprocess.run(["find", "."], cwd=root, capture_output=True, check=True).stdout
    with open(path, "wb") as file:
        subprocess.run(["/bin/busybox", "cpio", "-o", "-H", "newc"], cwd=root, input=names, stdout=file,
                       stderr=subprocess.DEVNULL, check=True)


def wait_until(condition, what, seconds=20):
    end = time.monotonic() + seconds
    while not (result := condition()):
        assert time.monotonic() < end, f"{what} did not happen within {seconds} s"
        time.sleep(0.02)
    return result


class Machine:
    def __init__(self, folder, programs, chips):
        """`programs` are statically linked and go to its /bin; `chips` are the serial numbers of the chips that can be plugged in."""
        self.folder = folder
        kernel, initrd = os.path.join(folder, "vmlinux"), os.path.join(folder, "initrd")
        if not os.path.exists(kernel):
            unpack_kernel(os.path.join(folder, "vmlinuz"), kernel)
        make_initrd(folder, programs, initrd)
        self.trace_path = os.path.join(folder, "trace")
        command = ["qemu-system-x86_64", "-accel", "tcg", "-m", "512", "-smp", "2", "-nodefaults", "-no-user-config",
                   "-display", "none", "-no-reboot", "-kernel", kernel, "-initrd", initrd,
                   "-append", "console=ttyS0 quiet loglevel=4 panic=-1",
                   "-serial", f"file:{folder}/kernel.log", "-serial", self.listening("console"),
                   "-device", "qemu-xhci", "-trace", "usb_serial_*", "-D", self.trace_path]
        for serial in chips:
            command += ["-chardev", f"socket,id={serial},path={folder}/{serial},server=on,wait=off",
                        "-device", f"usb-serial,chardev={serial},serial={serial}"]
        for name in ["console", "trace", *chips]:
            if os.path.exists(os.path.join(folder, name)):
                os.remove(os.path.join(folder, name))
        self.emulator = subprocess.Popen(command, stdin=subprocess.DEVNULL)
        self.console = self.connect("console")
        self.heard = b""
        self.hear_until(rb"ready\r?\n", 60)

    def listening(self, name):
        return f"unix:{self.folder}/{name},server=on,wait=off"

    def connect(self, name):
        connection = socket.socket(socket.AF_UNIX)
        path = os.path.join(self.folder, name)
        wait_until(lambda: self.emulator.poll() is not None or connection.connect_ex(path) == 0, f"opening {name}")
        assert self.emulator.poll() is None, "the emulator has ended"
        return connection

    def hear_until(self, pattern, seconds):
        end = time.monotonic() + seconds
        while not (found := re.search(pattern, self.heard)):
            self.console.settimeout(max(end - time.monotonic(), 0.001))
            try:
                part = self.console.recv(65536)
            except TimeoutError:
                part = b""
            assert part, f"no {pattern} within {seconds} s, but {self.heard!r}"
            self.heard += part
        text, self.heard = self.heard[:found.start()], self.heard[found.end():]
        return text.decode(errors="replace"), found

    def run(self, command, seconds=20):
        """What the command prints, and its exit code."""
        self.console.sendall(command.encode() + b"\n")
        text, found = self.hear_until(rb"\[done (\d+)\]\r?\n", seconds + 5)
        return text.replace("\r", ""), int(found[1])

    def trace(self):
        with open(self.trace_path, errors="replace") as file:
            return file.read()

    def end(self):
        self.emulator.kill()
        self.emulator.wait()
