"""Reads the help texts of a program by itself, to hold against them what is made of them."""

import re
import subprocess


def text(program, *path):
    return subprocess.run([program, *path, "--help"], capture_output=True, text=True, check=True).stdout


def _entries(help_text, *headings):
    found, inside = [], False
    for line in help_text.splitlines():
        if line and not line.startswith(" "):
            inside = line.rstrip(":") in headings
        elif inside and re.match(r"  \S", line):
            found.append(line.split()[0])
    return found


def subcommands(help_text):
    return _entries(help_text, "Subcommands")


def options(help_text):
    return [name for entry in _entries(help_text, "Options") for name in entry.split(",")]


def pages(program, *path):
    """The help text of a program and of every subcommand, as {path: text}."""
    own = text(program, *path)
    found = {path: own}
    for name in subcommands(own):
        found |= pages(program, *path, name)
    return found
