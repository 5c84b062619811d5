#!/usr/bin/env python3
"""Drives the driver's windows in a real terminal: keys are sent, the screen is read.

usage: terminal_test.py HALDEN_HOST
"""
import concurrent.futures
import os
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time

SILENT = "sim:silent,com=5"
MONITOR = '"$H" monitor --device sim:com=5 --registry "$D/monitor.reg"'
PATIENCE = 120  # seconds, on a machine that does other things too
SKIPPED = 77


class Terminal:
    """A terminal of its own, 80 by 24, in which a shell runs."""

    def __init__(self, folder, shell, language="C.UTF-8"):
        self.folder = tempfile.mkdtemp(dir=folder)
        environment = dict(os.environ, LC_ALL=language, TERM="xterm-256color", H=sys.argv[1], D=self.folder)
        environment.pop("TMUX", None)
        self.tmux("new-session", "-d", "-x", "80", "-y", "24", "bash", "--norc", "--noprofile", *shell, env=environment)

    def tmux(self, *arguments, env=None):
        command = ["tmux", "-u", "-S", f"{self.folder}/tmux", "-f", os.devnull, *arguments]
        return subprocess.run(command, env=env, capture_output=True, text=True, check=True).stdout.strip("\n")

    def ask(self, variable):
        return self.tmux("display", "-p", "#{%s}" % variable)

    def press(self, *keys):
        for key in keys:
            self.tmux("send-keys", key)

    def wait_for(self, condition):
        end = time.monotonic() + PATIENCE
        while not (result := condition(screen := self.tmux("capture-pane", "-p"))):
            assert time.monotonic() < end, f"waited in vain at:\n{screen}"
            time.sleep(0.05)
        return result

    def see(self, *texts, gone=None):
        """Waits until all the texts are on the screen, and the one that should be gone is not."""
        self.wait_for(lambda screen: all(text in screen for text in texts) and (gone is None or gone not in screen))

    def see_given_back(self, status):
        self.see(f"ended with {status}", "modes as before")
        assert self.ask("alternate_on") == "0" and self.ask("cursor_flag") == "1"

    def program(self):
        """The process that the shell waits for."""
        shell = self.ask("pane_pid")
        with open(f"/proc/{shell}/task/{shell}/children", encoding="ascii") as children:
            return int(children.read().split()[0])


def run(command):
    """A shell that says how the command ended and whether the terminal's modes are what they were."""
    return ["-c", f'trap : INT QUIT; was=$(stty -g); {command}; echo "ended with $?"; '
                  '[ "$was" = "$(stty -g)" ] && echo "modes as before"; exec cat']


def port_dialog_beside_redirected_output(folder):
    record = f'"$H" record --device {SILENT} --registry "$D/reg" --seconds 0.1 --csv - >"$D/csv"'
    terminal = Terminal(folder, run(record))
    terminal.see("Select COM Port", ">COM5    115200,N,8,1", "N of Channels: [1 ", "Rate (Hz): [1 ", "[   Cancel   ]")
    terminal.press("3", "M-r", "x", "Tab")
    terminal.see('The "Rate" value must be positive number!')
    terminal.press("Escape")
    terminal.see("Rate (Hz): [x ", gone="must be")
    terminal.press("BSpace", "7", ".", "5", "M-p")
    terminal.see("Properties of COM5", "Bits per second: [115200 ")
    terminal.press("Up", "Up", "Tab", "Tab", "e", "Enter")
    terminal.see(">COM5    38400,E,8,1", gone="Bits per second")
    terminal.press("M-c", "F4", "Down", "Down", "Enter", "Enter")
    terminal.see_given_back(0)
    with open(f"{terminal.folder}/csv", encoding="utf-8") as csv:
        assert csv.read() == "Column1,Column2,Column3,Column4,Column5\n"


def port_dialog_in_russian_with_the_presets_of_the_run_before(folder):
    first = ('"$H" record --device sim:silent=6,com=5 --answer port=0,channels=3,rate=12.5 --frames 3 --quiet '
             '--registry "$D/reg"')
    second = f'"$H" watch --device sim:silent,com=9 --device {SILENT} --registry "$D/reg"'
    terminal = Terminal(folder, run(f"{first} && {second}"), "ru_RU.UTF-8")
    terminal.see("Выбор COM-порта", " COM9 ", ">COM5 ", "Каналы: [3 ", "Частота (Гц): [12,5 ", "Отмена")
    terminal.press("M-ч", "1", ".", "5", "M-С")
    terminal.see("must be positive number!")
    terminal.press("Enter", "Home", "Delete", "Delete", "Delete", "7", ",", "5", "M-С")
    terminal.see("Свойства COM5", "Скорость (бит/с): [115200 ", "Чётность: [Нет")
    terminal.press("Escape")
    terminal.see("Частота (Гц): [7,5 ", gone="Скорость")
    terminal.press("Escape")
    terminal.see_given_back(1)


def monitor(folder, language, caption, close):
    terminal = Terminal(folder, run(MONITOR), language)
    terminal.see(caption, "Port: COM5", "FT232R  SIM", f" {close} ")
    line = terminal.wait_for(lambda screen: re.search(r"│  -?\d.*?  ", screen))
    terminal.see("FT232R", gone=line[0])
    terminal.tmux("resize-window", "-x", "77", "-y", "30")
    terminal.see("78 x 10", gone="Port:")
    terminal.tmux("resize-window", "-x", "90", "-y", "12")
    terminal.see(caption, gone="78 x 10")
    terminal.press("Escape")
    terminal.see_given_back(0)


def signal_while_shown(folder, number):
    terminal = Terminal(folder, run(MONITOR))
    terminal.see("Port: COM5")
    os.kill(terminal.program(), number)
    terminal.see_given_back(128 + number)


def stopped_and_continued(folder):
    terminal = Terminal(folder, ["-i"])
    terminal.press(MONITOR, "Enter")
    terminal.see("Port: COM5")
    terminal.press("C-z")
    terminal.see("Stopped", gone="Port: COM5")
    assert terminal.ask("alternate_on") == "0"
    terminal.press("fg", "Enter")
    terminal.see("Port: COM5", " Close ")
    os.kill(terminal.program(), signal.SIGSTOP)
    terminal.see("[1]+  Stopped")
    terminal.press("fg", "Enter")
    terminal.see("Port: COM5", " Close ", gone="Stopped")
    terminal.press("Enter")
    terminal.see("$", gone="Port: COM5")
    assert terminal.ask("alternate_on") == "0"


def live_values_and_progress_stay_in_their_lines(folder):
    host = '"$H" {} --device sim:com=5,columns=2 --registry "$D/reg" --seconds 1.5'
    terminal = Terminal(folder, run(host.format("watch") + " && " + host.format("record")))
    terminal.see_given_back(0)
    screen = terminal.tmux("capture-pane", "-p")
    counts = [len(re.findall(pattern, screen)) for pattern in ["Column1 .*\\d", "lines a second", " frames, ", "frames in"]]
    assert counts == [1, 1, 1, 1], screen


def no_terminal(_):
    command = [sys.argv[1], "watch", "--device", SILENT, "--quiet"]
    done = subprocess.run(command, start_new_session=True, stdin=subprocess.DEVNULL, capture_output=True, check=False)
    assert done.returncode == 1 and b"\x1b" not in done.stdout + done.stderr, done


CASES = [(port_dialog_beside_redirected_output,), (port_dialog_in_russian_with_the_presets_of_the_run_before,),
         (monitor, "C.UTF-8", "─ Halden-Text Setup (v3.2.2) ─", "Close"),
         (monitor, "ru_RU.UTF-8", "─ Настройки Halden-Text (v3.2.2) ─", "Закрыть"),
         (stopped_and_continued,), (no_terminal,),
         (live_values_and_progress_stay_in_their_lines,)]
CASES += [(signal_while_shown, getattr(signal, "SIG" + name)) for name in ["INT", "TERM", "HUP", "QUIT", "SEGV"]]


def main():
    failures = 0
    with tempfile.TemporaryDirectory() as folder, concurrent.futures.ThreadPoolExecutor(len(CASES)) as pool:
        running = [pool.submit(case, folder, *arguments) for case, *arguments in CASES]
        for case, run_of_it in zip(CASES, running):
            if failure := run_of_it.exception():
                failures += 1
                print(f"{case[0].__name__} {case[1:]}: {failure}", file=sys.stderr)
        for socket in [f"{folder}/{name}/tmux" for name in os.listdir(folder)]:
            subprocess.run(["tmux", "-S", socket, "kill-server"], check=False, capture_output=True)
    print(f"{len(CASES) - failures} of {len(CASES)} passed")
    return failures > 0


sys.exit(main() if shutil.which("tmux") else SKIPPED)
