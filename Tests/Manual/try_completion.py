#!/usr/bin/python3
"""Types lines into a shell in a terminal of its own, with a tabulator at the end of each, and waits
for what the shell makes of them.

Usage: try_completion.py bash|zsh|fish COMMAND FOLDER      (FOLDER holds the completions)
"""

import os
import pathlib
import shlex
import subprocess
import sys
import tempfile
import time

SECONDS = 60

# What is typed, and what has to stand in its place after the tabulator.
LINES = [
    ("ondrel part", "ondrel partitions "),
    ("ondrel --json nvme sm", "ondrel --json nvme smart "),
    ("ondrel nvme check --temperature-w", "ondrel nvme check --temperature-warning "),
    ("ondrel nvme check --state eve", "ondrel nvme check --state events.db "),
    ("ondrel log rep", "ondrel log report "),
    ("ondrel --store events.db log sh", "ondrel --store events.db log show "),
    ("ondrel mail --prot", "ondrel mail --protocol "),
    ("ondrel mail --priority hi", "ondrel mail --priority high "),
    ("ondrel --store-cap", "ondrel --store-capacity "),
    ("ondrel status p", "ondrel status pd "),
    ("ondrel status pd FAI", "ondrel status pd FAILED"),
    ("ondrel status pd OPERATIONAL_", "ondrel status pd OPERATIONAL_SMART "),
    ("ondrel status --json ld FAILED PARTIALLY_D", "ondrel status --json ld FAILED PARTIALLY_DEGRADED "),
    ("ondrel code event PD_STATE_CHANGE_OP_TO_FA", "ondrel code event PD_STATE_CHANGE_OP_TO_FAIL "),
    ("ondrel codes oper", "ondrel codes operation "),
    ("ondrel log show Demo --event PD_STATE_CHANGE_HS_TO_RB",
     "ondrel log show Demo --event PD_STATE_CHANGE_HS_TO_RBLD "),
    ("ondrel log follow Demo --type inf", "ondrel log follow Demo --type information "),
    # Logs are those of the store that the line names.
    ("ondrel --store events.db log show De", "ondrel --store events.db log show Demo "),
    ("ondrel --store events.db log show Two", r"ondrel --store events.db log show Two\ words "),
    ("ondrel --store other.db log show De", "ondrel --store other.db log show De"),
    ("ondrel --store eve", "ondrel --store events.db "),
    ("ondrel nvme smart --raw eve", "ondrel nvme smart --raw events.db "),
    ("ondrel log report Demo 1047", "ondrel log report Demo 1047"),
    ("ondrel help log fol", "ondrel help log follow "),
    ("ondrel help wat", "ondrel help watch "),
    # Nothing is known of a number, and a wrong subcommand has nothing to complete.
    ("ondrel uptime ev", "ondrel uptime ev"),
]

START = {
    "bash": ["bash", "--noprofile", "--norc", "-i"],
    "zsh": ["zsh", "-f", "-i"],
    "fish": ["fish", "--no-config", "-i"],
}
SETTINGS = {
    "bash": ["bind 'set completion-ignore-case off'", "bind 'set bell-style none'",
             "source {folder}/ondrel"],
    "zsh": ["fpath=({folder} $fpath)", "autoload -Uz compinit", "compinit -u -d {place}/dump",
            "unsetopt beep"],
    "fish": ["set -g fish_greeting", "set -g fish_autosuggestion_enabled 0",
             "source {folder}/ondrel.fish"],
}
PROMPT = {"bash": "PS1='ready> '", "zsh": "PROMPT='ready> '",
          "fish": "function fish_prompt; printf 'ready> '; end"}


class Terminal:
    def __init__(self, place, shell, path):
        self.tmux = ["tmux", "-f", "/dev/null", "-S", str(place / "terminal")]
        environment = {"PATH": f"{path}:/usr/bin:/bin", "HOME": str(place), "LANG": "C.UTF-8",
                       "TERM": "xterm", "XDG_CONFIG_HOME": str(place), "XDG_DATA_HOME": str(place),
                       "ZDOTDIR": str(place)}
        subprocess.run([*self.tmux, "new-session", "-d", "-x", "200", "-y", "50", "-c", str(place),
                        shlex.join(START[shell])], check=True, env=environment)

    def type(self, text):
        subprocess.run([*self.tmux, "send-keys", "-l", text], check=True)

    def press(self, *keys):
        subprocess.run([*self.tmux, "send-keys", *keys], check=True)

    def lines(self):
        shown = subprocess.run([*self.tmux, "capture-pane", "-p", "-N"], check=True,
                               stdout=subprocess.PIPE, text=True).stdout
        return [line for line in shown.splitlines() if line.strip()]

    def wait_for(self, is_there, what):
        end = time.monotonic() + SECONDS
        while time.monotonic() < end:
            if is_there(self.lines()):
                return
            time.sleep(0.05)
        sys.exit(f"nothing came of: {what}\n" + "\n".join(self.lines()))

    def close(self):
        """Waits for the shell too, which may write files of its own at its end."""
        shown = subprocess.run([*self.tmux, "display-message", "-p", "#{pane_pid}"], check=True,
                               stdout=subprocess.PIPE, text=True).stdout
        shell = pathlib.Path("/proc") / shown.strip()
        subprocess.run([*self.tmux, "kill-server"], check=False)
        end = time.monotonic() + SECONDS
        while shell.exists() and time.monotonic() < end:
            time.sleep(0.02)


def try_line(terminal, typed, expected, mark):
    """After the tabulator a mark is typed, so that a line which does not change has been answered
    too."""
    terminal.press("C-u")
    terminal.press("C-l")
    terminal.wait_for(lambda lines: lines[-1:] and lines[-1].strip() == "ready>", "an empty line")
    terminal.type(typed)
    terminal.wait_for(lambda lines: any(f"ready> {typed}" in line for line in lines), typed)
    terminal.press("Tab")
    terminal.type(mark)
    terminal.wait_for(lambda lines: any(mark in line for line in lines), f"{typed}, tabulator")
    found = [line for line in terminal.lines() if mark in line][0]
    found = found.replace("ready> ", "", 1).split(mark)[0]
    return found


def main(shell, command, folder):
    # What a shell started to complete a word may still be writing there.
    with tempfile.TemporaryDirectory(ignore_cleanup_errors=True) as name:
        place = pathlib.Path(name)
        for log in ("Demo", "Two words"):
            subprocess.run([command, "--store", place / "events.db", "log", "report", log, "10000",
                            "information", "text"], check=True, stdout=subprocess.DEVNULL)
        terminal = Terminal(place, shell, os.path.dirname(command))
        try:
            for line in SETTINGS[shell] + [PROMPT[shell]]:
                terminal.type(line.format(folder=folder, place=place))
                terminal.press("Enter")
            wrong = []
            for number, (typed, expected) in enumerate(LINES):
                found = try_line(terminal, typed, expected, f"@{number}@")
                if found != expected:
                    wrong.append(f"{typed!r} became {found!r}, not {expected!r}")
            if wrong:
                sys.exit("\n".join(wrong))
            print(f"{len(LINES)} lines in {shell}")
        finally:
            terminal.close()


main(*sys.argv[1:])
