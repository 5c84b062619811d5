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
PATIENCE = 30  # seconds, on a machine that does other things too
SKIPPED = 77


class Terminal:
    """A terminal of its own, 80 by 24, in which a shell runs one script line."""

    def __init__(self, folder, name, script, language="C.UTF-8"):
        self.socket = os.path.join(folder, "tmux")
        self.name = name
        environment = dict(os.environ, LC_ALL=language, TERM="xterm-256color", H=sys.argv[1], D=folder)
        environment.pop("TMUX", None)
        self.tmux("new-session", "-d", "-x", "80", "-y", "24", "-s", name, "bash", "--norc", "--noprofile",
                  *script, environment=environment)

    def tmux(self, *arguments, environment=None):
        done = subprocess.run(["tmux", "-u", "-S", self.socket + self.name, "-f", os.devnull, *arguments],
                              env=environment, capture_output=True, text=True, check=True)
        return done.stdout

    def screen(self):
        return self.tmux("capture-pane", "-p", "-t", self.name)

    def ask(self, variable):
        return self.tmux("display", "-p", "-t", self.name, "#{%s}" % variable).strip()

    def keys(self, *keys):
        for key in keys:
            self.tmux("send-keys", "-t", self.name, key)

    def see(self, *texts, gone=()):
        """Waits until all the texts are on the screen, and none of those that should be gone."""
        end = time.monotonic() + PATIENCE
        while True:
            screen = self.screen()
            if all(text in screen for text in texts) and not any(text in screen for text in gone):
                return screen
            if time.monotonic() > end:
                raise AssertionError(f"{self.name}: no {texts} without {gone} on:\n{screen}")
            time.sleep(0.05)

    def program(self):
        """The process that the shell waits for."""
        shell = self.ask("pane_pid")
        with open(f"/proc/{shell}/task/{shell}/children", encoding="ascii") as children:
            return int(children.read().split()[0])

    def close(self):
        subprocess.run(["tmux", "-S", self.socket + self.name, "kill-server"], check=False, capture_output=True)


def run(command):
    """A script that says how the command ended and whether the terminal's modes are what they were."""
    return ["-c", f'trap : INT QUIT; was=$(stty -g); {command}; echo "ended with $?"; '
                  '[ "$was" = "$(stty -g)" ] && echo "modes as before"; exec cat']


def see_terminal_given_back(terminal, status):
    terminal.see(f"ended with {status}", "modes as before")
    assert terminal.ask("alternate_on") == "0" and terminal.ask("cursor_flag") == "1", terminal.name


def port_dialog_in_english(open_terminal):
    terminal = open_terminal(run(f'"$H" watch --device {SILENT} --registry "$D/en.reg" --seconds 1'))
    terminal.see("Select COM Port", ">COM5    115200,N,8,1", "N of Channels: [1 ", "Rate (Hz): [1 ",
                 "[     Properties COM5...     ]", "[     OK     ]  [   Cancel   ]")
    terminal.keys("3", "M-r", "x", "Tab")
    terminal.see('The "Rate" value must be positive number!')
    terminal.keys("Escape")
    terminal.see("Rate (Hz): [x ", gone=["must be"])
    terminal.keys("M-p", "Enter")
    terminal.see("Rate (Hz): [x ", gone=["must be"])
    terminal.keys("BSpace", "7", ".", "5", "M-p")
    terminal.see("Properties of COM5", "Bits per second: [115200 ")
    terminal.keys("Up", "Up", "Tab", "Tab", "e", "Enter")
    terminal.see(">COM5    38400,E,8,1", gone=["Bits per second"])
    terminal.keys("M-c", "F4", "Down", "Down", "Enter", "Enter")
    terminal.see("5 channels, at most 1200 frames a second")
    see_terminal_given_back(terminal, 0)


def port_dialog_in_russian(open_terminal):
    terminal = open_terminal(run(f'"$H" watch --device {SILENT} --registry "$D/ru.reg"'), "ru_RU.UTF-8")
    terminal.see("Выбор COM-порта", "Каналы: [1 ", "Частота (Гц): [1 ", "Свойства COM5...", "Отмена")
    terminal.keys("M-ч", "1", "2", ".", "5", "Enter")
    terminal.see("must be positive number!")
    terminal.keys("Enter", "Home", "Delete", "Delete", "Delete", "Delete", "1", "2", ",", "5", "M-С")
    terminal.see("Свойства COM5", "Скорость (бит/с): [115200 ", "Чётность: [Нет")
    terminal.keys("Escape")
    terminal.see("Частота (Гц): [12,5 ", gone=["Скорость"])
    terminal.keys("Escape")
    see_terminal_given_back(terminal, 1)


def presets_of_the_run_before(open_terminal):
    first = (f'"$H" record --device sim:silent=6,com=5 --answer port=0,channels=3,rate=12.5 --frames 3 --quiet '
             '--registry "$D/two.reg"')
    second = f'"$H" watch --device sim:silent,com=9 --device {SILENT} --registry "$D/two.reg"'
    terminal = open_terminal(run(f"{first} && {second}"), "ru_RU.UTF-8")
    terminal.see(" COM9 ", ">COM5 ", "Каналы: [3 ", "Частота (Гц): [12,5 ")
    terminal.keys("Escape")
    see_terminal_given_back(terminal, 1)


def dialog_beside_redirected_output(open_terminal):
    terminal = open_terminal(
        run(f'"$H" record --device {SILENT} --registry "$D/csv.reg" --seconds 0.1 --csv - >"$D/out.csv"'))
    terminal.see("Select COM Port")
    terminal.keys("4", "Enter")
    see_terminal_given_back(terminal, 0)
    with open(os.path.join(os.path.dirname(terminal.socket), "out.csv"), encoding="utf-8") as csv:
        assert csv.read() == "Column1,Column2,Column3,Column4\n"


def monitor(open_terminal, language, caption, close):
    terminal = open_terminal(run('"$H" monitor --device sim:com=5 --registry "$D/mon.reg"'), language)
    screen = terminal.see(caption, "Port: COM5", "FT232R  SIM", f" {close} ")
    line = re.search(r"FT232R.*?\n.*?\n.*?(│  \S.*?  )", screen).group(1)
    terminal.see("FT232R", gone=[line])
    terminal.tmux("resize-window", "-t", terminal.name, "-x", "77", "-y", "30")
    terminal.see("78 x 10", gone=["Port:"])
    terminal.tmux("resize-window", "-t", terminal.name, "-x", "90", "-y", "12")
    terminal.see(caption, gone=["78 x 10"])
    terminal.keys("Escape")
    see_terminal_given_back(terminal, 0)


def monitor_in_english(open_terminal):
    monitor(open_terminal, "C.UTF-8", "─ Halden-Text Setup (v3.2.2) ─", "Close")


def monitor_in_russian(open_terminal):
    monitor(open_terminal, "ru_RU.UTF-8", "─ Настройки Halden-Text (v3.2.2) ─", "Закрыть")


def signal_while_shown(open_terminal, number):
    terminal = open_terminal(run('"$H" monitor --device sim:com=5 --registry "$D/sig.reg"'))
    terminal.see("Port: COM5")
    os.kill(terminal.program(), number)
    see_terminal_given_back(terminal, 128 + number)


def stopped_and_continued(open_terminal):
    terminal = open_terminal(["-i"])
    terminal.keys('"$H" monitor --device sim:com=5 --registry "$D/stop.reg"', "Enter")
    terminal.see("Port: COM5")
    terminal.keys("C-z")
    terminal.see("Stopped", gone=["Port: COM5"])
    assert terminal.ask("alternate_on") == "0"
    terminal.keys("fg", "Enter")
    terminal.see("Port: COM5", " Close ")
    os.kill(terminal.program(), signal.SIGSTOP)
    terminal.see("[1]+  Stopped")
    terminal.keys("fg", "Enter")
    terminal.see("Port: COM5", " Close ", gone=["Stopped"])
    terminal.keys("Enter")
    terminal.see("$", gone=["Port: COM5"])
    assert terminal.ask("alternate_on") == "0"


def no_terminal(_):
    command = [sys.argv[1], "watch", "--device", SILENT, "--quiet"]
    done = subprocess.run(command, start_new_session=True, stdin=subprocess.DEVNULL, capture_output=True,
                          timeout=PATIENCE, check=False)
    assert done.returncode == 1 and b"\x1b" not in done.stdout + done.stderr, done


CASES = [port_dialog_in_english, port_dialog_in_russian, presets_of_the_run_before,
         dialog_beside_redirected_output, monitor_in_english, monitor_in_russian, stopped_and_continued,
         no_terminal]
CASES += [lambda t, n=n: signal_while_shown(t, n)
          for n in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP, signal.SIGQUIT, signal.SIGSEGV)]


def run_case(case, name, folder):
    terminals = []

    def open_terminal(script, language="C.UTF-8"):
        terminals.append(Terminal(folder, name, script, language))
        return terminals[-1]

    try:
        case(open_terminal)
    finally:
        for terminal in terminals:
            terminal.close()


def main():
    if not shutil.which("tmux"):
        print("no tmux")
        return SKIPPED
    failures = 0
    with tempfile.TemporaryDirectory() as folder, concurrent.futures.ThreadPoolExecutor(len(CASES)) as pool:
        running = [pool.submit(run_case, case, f"t{i}", folder) for i, case in enumerate(CASES)]
        for case in running:
            if case.exception():
                failures += 1
                print(repr(case.exception()).replace("\\n", "\n"), file=sys.stderr)
    print(f"{len(CASES) - failures} of {len(CASES)} passed")
    return 1 if failures else 0


sys.exit(main())
