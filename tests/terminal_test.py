#!/usr/bin/env python3
"""Tests the driver's windows in a terminal of tmux: sends keys and reads the screen.

usage: terminal_test.py HALDEN_HOST
"""
import os
import pathlib
import re
import signal
import subprocess
import sys
import tempfile
import time
import unittest

HOST = sys.argv.pop(1)
MONITOR = '"$H" monitor --device sim:com=5 --registry "$D/monitor.reg"'
PATIENCE = 120  # seconds; long enough for a busy machine
PLAIN, BOLD, DIM, UNDERLINE, REVERSE = ("\x1b[%dm" % style for style in (0, 1, 2, 4, 7))
GREEN_ON_BLACK = "\x1b[92m\x1b[40m"

# nohup and a script's background job start a program with these signals ignored. The shells below would inherit that,
# but the tests need the signals' default actions.
for number in (signal.SIGHUP, signal.SIGINT, signal.SIGQUIT):
    signal.signal(number, signal.SIG_DFL)


class Terminal:
    """A terminal of 80 by 24 cells, provided by tmux, in which a shell runs."""

    def __init__(self, test, shell, language="C.UTF-8"):
        self.folder = test.enterContext(tempfile.TemporaryDirectory())
        environment = dict(os.environ, LC_ALL=language, TERM="xterm-256color", H=HOST, D=self.folder)
        environment.pop("TMUX", None)
        self.tmux("new-session", "-d", "-x", "80", "-y", "24", "bash", "--norc", "--noprofile", *shell, env=environment)
        test.addCleanup(self.tmux, "kill-server")

    def tmux(self, *arguments, env=None):
        command = ["tmux", "-u", "-S", f"{self.folder}/tmux", "-f", os.devnull, *arguments]
        return subprocess.run(command, env=env, capture_output=True, text=True, check=True).stdout.strip("\n")

    def ask(self, variable):
        """Returns a tmux variable of the terminal, for example "alternate_on"."""
        return self.tmux("display", "-p", "#{%s}" % variable)

    def press(self, *keys):
        """Sends texts and keys by tmux's names: "M-c" is Alt-c, "BTab" is Shift-Tab."""
        self.tmux("send-keys", *keys)

    def see(self, *texts, gone=None):
        """Waits until the screen shows all the texts, with or without their styles, and `gone` no longer.

        Returns the screen twice in one string: without styles, then with them.
        """
        end = time.monotonic() + PATIENCE
        while True:
            screen = self.tmux("capture-pane", "-p", ";", "capture-pane", "-e", "-p")
            if all(text in screen for text in texts) and (gone is None or gone not in screen):
                return screen
            assert time.monotonic() < end, f"waited in vain for {texts} at:\n{screen}"
            time.sleep(0.05)

    def see_given_back(self, status):
        """Waits for the end of a command of run() and checks that the terminal is as it was before."""
        self.see(f"ended with {status}", "modes as before")
        assert self.ask("alternate_on") == "0" and self.ask("cursor_flag") == "1"

    def program(self):
        """The process id of the command that the shell waits for."""
        shell = self.ask("pane_pid")
        return int(pathlib.Path(f"/proc/{shell}/task/{shell}/children").read_text().split()[0])


def run(command):
    """Arguments of a shell that prints how the command ended and whether the terminal's modes are as before."""
    return ["-c", f'trap : INT QUIT; was=$(stty -g); {command}; echo "ended with $?"; '
                  '[ "$was" = "$(stty -g)" ] && echo "modes as before"; exec cat']


class TerminalTest(unittest.TestCase):
    def test_port_dialog_works_in_russian_beside_redirected_output(self):
        devices = "--device sim:silent,com=5 --device sim:busy --device sim:silent,com=32767 --device sim:busy"
        record = f'"$H" record {devices} --registry "$D/reg" --seconds 0.1 --csv - >"$D/csv"'
        terminal = Terminal(self, run(record), "ru_RU.UTF-8")
        terminal.see("Выбор COM-порта", ">COM5      115200,N,8,1", "Каналы: [1 ", "Частота (Гц): [1 ", "[   Отмена   ]")
        terminal.press("M-ч", "x", "y", "z", "Enter")
        terminal.see('(!) The "Rate" value must be  ││', "positive number!   ")
        terminal.press("Escape")
        terminal.see(f"[x{REVERSE}yz{PLAIN}", gone="must be")
        terminal.press("BSpace", "BSpace", "7", ",", "5", "M-С")
        terminal.see("Свойства COM5 ", "Скорость (бит/с): [115200 ", "Чётность: [Нет")
        terminal.press("Home", "-", "Enter")
        terminal.see("до 12000000")
        terminal.press("Escape")
        terminal.see(f"{REVERSE}-115200{PLAIN}", gone="до 12000000")
        terminal.press("38400", "Tab", "Tab", "ч", "Enter")
        terminal.see(">COM5      38400,E,8,1", " Свойства COM5...  ", gone="Скорость")
        terminal.tmux("resize-window", "-x", "36", "-y", "17")
        terminal.press("Tab", "End", "M-к", "F4", "NPage")
        terminal.see("│ 6             ▴ │", f"│{REVERSE}>9   ", "│ 12            ▾ │", "│ COM32767  11│",
                     "[7,5           ▾]", f"{DIM}[   ", f"{UNDERLINE}К", f"{BOLD}[     OK     ]")
        terminal.press("Enter", "BTab", "Up", "Enter")
        terminal.see_given_back(1)  # a silent device sends no frame
        assert pathlib.Path(terminal.folder, "csv").read_text().count("Column") == 9

    def test_stopped_monitor_gives_the_terminal_back_until_it_continues(self):
        terminal = Terminal(self, ["-i"])
        terminal.press("LC_ALL=ru_RU.UTF-8 " + MONITOR, "Enter")
        screen = terminal.see("─ Настройки Halden-Text (v3.2.2) ─", f"│{'Port: COM5':^76}│", "FT232R  SIM", " Закрыть ",
                              GREEN_ON_BLACK)
        terminal.see("FT232R", gone=re.search(r"│  -?\d.*?  ", screen)[0])
        terminal.press("C-z")
        terminal.see("Stopped", gone="Port: COM5")
        assert terminal.ask("alternate_on") == "0"
        terminal.press("fg", "Enter")
        terminal.see("Port: COM5", gone="Stopped")
        terminal.press("Escape")
        terminal.see("$", gone="Port: COM5")
        terminal.press("echo code $?", "Enter")
        terminal.see("code 0")

    def test_ending_signal_gives_the_terminal_back(self):
        for number in [signal.SIGINT, signal.SIGTERM, signal.SIGHUP, signal.SIGQUIT, signal.SIGSEGV, signal.SIGRTMIN]:
            with self.subTest(number):
                terminal = Terminal(self, run(MONITOR))
                terminal.see("─ Halden-Text Setup (v3.2.2) ─", " Close ")
                os.kill(terminal.program(), number)
                terminal.see_given_back(128 + number)

    def test_live_values_and_progress_stay_on_their_lines(self):
        host = '"$H" {} --device sim:com=5,columns=2 --registry "$D/reg" --seconds 1.5'
        terminal = Terminal(self, run(host.format("watch") + " && " + host.format("record")))
        terminal.see_given_back(0)
        screen = terminal.tmux("capture-pane", "-p")
        for once in ["^Column1 .*\\d", "lines a second", " frames, ", "frames in"]:
            assert len(re.findall(once, screen, re.MULTILINE)) == 1, screen


unittest.main(verbosity=0)
