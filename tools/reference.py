#!/usr/bin/env python3
"""Writes man pages and shell completions from what `halden-host --help` prints and from the C header's comments.

usage: reference.py HALDEN_HOST HEADER VERSION FOLDER

Writes halden-host.1.gz, halden_text.3.gz, halden-host.bash and _halden-host (for zsh) into FOLDER.
"""
import gzip
import os
import re
import subprocess
import sys


class Help:
    """The parts of a help text: `about`, the list of `options` and of `commands`, and the paragraphs behind them.

    Options and commands are pairs of what is typed, such as "--seconds S", and what it does.
    """

    def __init__(self, host, *command):
        text = subprocess.run([host, *command, "--help"], check=True, capture_output=True, encoding="utf-8").stdout
        lists = {"Positionals:": [], "Options:": [], "Commands:": []}
        entries, before, behind = None, [], []
        for line in text.splitlines():
            if line in lists:
                entries = lists[line]
            elif entries is not None and line.startswith("  ") and not behind:
                typed, _, does = line.strip().partition("  ") if line[2] != " " else ("", "", line)
                if typed:
                    entries.append((typed, does.strip()))
                else:  # goes on with the entry of the line before
                    entries[-1] = (entries[-1][0], f"{entries[-1][1]} {does.strip()}".strip())
            elif entries is None:
                before.append(line)
            elif line or behind:
                behind.append(line)
        self.about = before[0]
        self.options = lists["Positionals:"] + lists["Options:"]
        self.commands = lists["Commands:"]
        self.notes = behind


def names(typed):
    """The names of an option: "-h,--help" has two."""
    return [name for name in typed.split()[0].split(",") if name.startswith("-")]


def takes_file(typed):
    return "FILE" in typed or typed.startswith("INPUT")


# Man pages ---------------------------------------------------------------------------------------------------


def roff(text):
    text = text.replace("\\", "\\e").replace("-", "\\-")
    return "\\&" + text if text[:1] in ".'" else text


def entries(pairs):
    return [line for typed, does in pairs for line in (".TP", ".B " + roff(typed), roff(does))]


def paragraphs(lines):
    """Text as paragraphs; lines with an indent stay as they are."""
    result, fixed = [], False
    for line in lines:
        if line.startswith("  ") != fixed:
            fixed = not fixed
            result.append(".EX" if fixed else ".EE")
        result.append(roff(line) if line or fixed else ".PP")
    return result + [".EE"] * fixed


def host_page(main, commands, version):
    common = {typed for typed, _ in main.options} | {"-h,--help"}
    page = [
        f'.TH HALDEN\\-HOST 1 "" "halden\\-text {version}"',
        ".SH NAME",
        "halden\\-host \\- find a device that sends lines of numbers, and show or record its values",
        ".SH SYNOPSIS",
        ".B halden\\-host",
        ".I COMMAND",
        "[\\fIOPTIONS\\fR]",
        ".SH DESCRIPTION",
        roff(main.about),
        ".SH COMMANDS",
    ]
    for name, command in commands.items():
        page += [f".SS {name}", roff(command.about)]
        page += entries(option for option in command.options if option[0] not in common)
        page += [".PP", *paragraphs(command.notes)]
    page += [".SH OPTIONS", "Those of all commands:", *entries(main.options), ".SH NOTES", *paragraphs(main.notes)]
    return page + [".SH SEE ALSO", ".BR halden_text (3)"]


def header_page(header, version):
    with open(header, encoding="utf-8") as file:
        text = file.read()
    page = [
        f'.TH HALDEN_TEXT 3 "" "halden\\-text {version}"',
        ".SH NAME",
        "halden_text \\- a serial device that sends lines of numbers, as an analog\\-to\\-digital converter",
        ".SH SYNOPSIS",
        ".B #include <halden_text.h>",
        ".PP",
        ".B cc program.c $(pkg\\-config \\-\\-cflags \\-\\-libs halden\\-text)",
        ".SH DESCRIPTION",
    ]
    # The title of a section; or a comment, and the declaration behind it up to an empty line or the next comment; or a
    # structure without a comment.
    pattern = re.compile(
        r"^/\* (?P<title>[^-]+?) -+ \*/$"
        r"|^/\*\*?(?P<comment>.*?)\*/\n(?P<code>.*?)(?=\n\n|\n/\*)"
        r"|^(?P<structure>typedef struct \w+ \{.*?\n\} \w+;)",
        re.M | re.S,
    )
    for found in pattern.finditer(text):
        if found["title"]:
            page.append(".SH " + roff(found["title"]).upper())
            continue
        comment = [re.sub(r"^ ?\*? ?", "", line).rstrip() for line in (found["comment"] or "").splitlines()]
        code = (found["structure"] or found["code"]).replace("HALDEN_API ", "").strip().splitlines()
        if code and not code[0].startswith("#include"):
            page += [".PP", ".EX", *(f"\\fB{roff(line)}\\fR" if line else "" for line in code), ".EE"]
        page.append(".PP")
        while comment and not comment[0]:
            del comment[0]
        page += paragraphs(line if line.startswith("    ") else line.strip() for line in comment)
    return page + [".SH SEE ALSO", ".BR halden\\-host (1)"]


# Completions -------------------------------------------------------------------------------------------------


def bash(main, commands):
    def words(help_text):
        return " ".join(name for typed, _ in help_text.options for name in names(typed))

    every = [option for help_text in (main, *commands.values()) for option in help_text.options]
    files = sorted({name for typed, _ in every if takes_file(typed) for name in names(typed)})
    values = sorted({name for typed, _ in every if " " in typed for name in names(typed)} - set(files))
    cases = [f'      {name}) words="{words(command)}" ;;' for name, command in commands.items()]
    return f"""\
# bash completion for halden-host
_halden_host() {{
  local word=${{COMP_WORDS[COMP_CWORD]}} before=${{COMP_WORDS[COMP_CWORD - 1]}} words="{' '.join(commands)} {words(main)}" i
  case $before in
    {'|'.join(files)}) mapfile -t COMPREPLY < <(compgen -f -- "$word"); return ;;
    {'|'.join(values)}) COMPREPLY=(); return ;;
  esac
  for ((i = 1; i < COMP_CWORD; ++i)); do
    case ${{COMP_WORDS[i]}} in
{chr(10).join(cases)}
    esac
  done
  if [[ ${{COMP_WORDS[*]}} == *" convert "* && $word != -* ]]; then
    mapfile -t COMPREPLY < <(compgen -f -- "$word")
  else
    mapfile -t COMPREPLY < <(compgen -W "$words" -- "$word")
  fi
}}
complete -o filenames -F _halden_host halden-host
"""


def zsh(main, commands):
    def quoted(text):
        return text.replace("'", "'\\''").replace("[", "\\[").replace("]", "\\]").replace(":", "\\:")

    def spec(typed, does):
        if not names(typed):
            return f"'1:{quoted(typed)}:_files'"
        value = typed.split(" ", 1)[1:]
        action = [f":{quoted(v)}:{'_files' if takes_file(typed) else ' '}" for v in value]
        return " ".join(f"'{name}[{quoted(does)}]{''.join(action)}'" for name in names(typed))

    def arguments(help_text):
        return " ".join(spec(*option) for option in help_text.options)

    names_of = " ".join(f"'{name}:{quoted(does)}'" for name, does in main.commands)
    cases = "\n".join(f"    {name}) _arguments {arguments(command)} ;;" for name, command in commands.items())
    return f"""\
#compdef halden-host
_arguments -C {arguments(main)} '1: :->command' '*:: :->options'
case $state in
  command) local -a commands=({names_of}); _describe command commands ;;
  options)
    case $words[1] in
{cases}
    esac ;;
esac
"""


def main():
    host, header, version, folder = sys.argv[1:]
    top = Help(host)
    commands = {name: Help(host, name) for name, _ in top.commands}
    os.makedirs(folder, exist_ok=True)
    for name, page in (("halden-host.1", host_page(top, commands, version)), ("halden_text.3", header_page(header, version))):
        # No file name and time in the file: the same sources give the same bytes.
        with open(f"{folder}/{name}.gz", "wb") as file, gzip.GzipFile("", "wb", 9, file, mtime=0) as packed:
            packed.write(("\n".join(page) + "\n").encode())
    for name, text in (("halden-host.bash", bash(top, commands)), ("_halden-host", zsh(top, commands))):
        with open(f"{folder}/{name}", "w", encoding="utf-8") as file:
            file.write(text)


if __name__ == "__main__":
    main()
