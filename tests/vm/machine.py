"""A virtual machine with a real kernel, and the emulated FTDI chips that are plugged into it."""
import os
import re
import socket
import subprocess
import time

PATIENCE = 60  # seconds, on a machine that does other things too

# Makes the archive that the machine boots from, with its first program and the programs that are tested.
PACK = """rm -rf root && mkdir -p root/bin && cp -r modules "$0" root && cp /bin/busybox root/bin
for program; do strip -o "root/bin/${program##*/}" "$program"; done
cd root && find . | /bin/busybox cpio -o -H newc >../initrd 2>/dev/null"""


def wait_until(condition, what):
    end = time.monotonic() + PATIENCE
    while not (result := condition()):
        assert time.monotonic() < end, f"{what} did not happen"
        time.sleep(0.02)
    return result


class Machine:
    def __init__(self, folder, programs, chips):
        """`programs` are statically linked and go to its /bin; `chips` are the serial numbers of the chips that can be
        plugged in."""
        self.folder, self.trace_path = folder, f"{folder}/trace"
        programs = [os.path.abspath(program) for program in programs]
        subprocess.run(["bash", "-ec", PACK, f"{os.path.dirname(__file__)}/init", *programs], cwd=folder, check=True)
        subprocess.run(["rm", "-f", "console", "trace", *chips], cwd=folder, check=True)
        command = ("qemu-system-x86_64 -accel tcg -m 512 -smp 2 -nodefaults -no-user-config -display none -no-reboot "
                   "-kernel vmlinux -initrd initrd -serial file:kernel.log -serial chardev:console -device qemu-xhci "
                   "-chardev socket,id=console,path=console,server=on,wait=off -trace usb_serial_* -D trace").split()
        for chip in chips:
            command += ["-chardev", f"socket,id={chip},path={chip},server=on,wait=off",
                        "-device", f"usb-serial,chardev={chip},serial={chip}"]
        command += ["-append", "console=ttyS0 quiet loglevel=4 panic=-1"]
        self.emulator = subprocess.Popen(command, cwd=folder, stdin=subprocess.DEVNULL)
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

    def run(self, command):
        """What the command prints, without white space around it."""
        self.console.write(command.encode() + b"\n")
        self.console.flush()
        text = ""
        while not (code := re.match(r"\[done (\d+)\]", line := self.hear())):
            text += line
        assert code[1] == "0", f"{command} gives {code[1]}: {text}"
        return text.strip()

    def run_until_it_prints(self, command):
        return wait_until(lambda: self.run(f"({command}) 2>/dev/null; true"), command)

    def end(self):
        self.emulator.kill()
        self.emulator.wait()
