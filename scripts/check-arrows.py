#!/usr/bin/env python3
"""Prints which room of the house leans on which, read from the includes, and fails on an arrow that runs back up.
With --write PAGE it puts what it prints into that page too, between the page's marks.

A room is a folder without the folders in it. It may include itself and the rooms of the floors below it; rooms of
one floor do not know one another. What stands above the surface sees of what stands below it only the surface.
"""

import argparse
import os
import pathlib
import re
import sys
import textwrap

# The floors from the roof down, the rooms of one floor in one line.
ABOVE = """
programs/servicemux
programs/monitor  programs/tables/review
programs/tables/sets
programs/tables/kinds
programs/tables/sections  programs/inputs
programs/tables/descriptors
programs/tables/values
programs/tables/json  programs/outputs
"""
BELOW = """
servicemux/front
servicemux/intake
servicemux/registries
servicemux/time  servicemux/access
servicemux/output
servicemux/streams
servicemux/muxer
servicemux/packetize  servicemux/sections
servicemux
interface/converters  interface/host_default
interface/checks
interface
interface/psi  interface/idl
"""

# What programs may know of the library.
SURFACE = """
servicemux/front/serviceMux.h
servicemux/muxer/DatagramSink.h
servicemux/muxer/MuxerStatistics.h
servicemux/muxer/TimingProfile.h
servicemux/packetize/packetize.h
servicemux/output/InsertionPeriods.h
servicemux/output/TableOnAir.h
servicemux/output/deviceInterface.h
servicemux/output/periodFields.h
interface/*.h
interface/psi/*.h
interface/checks/Refusal.h
interface/checks/conditionalAccess.h
interface/checks/dumpDirectory.h
interface/checks/localTimeOffsets.h
interface/checks/outputAddress.h
interface/checks/programMapPid.h
interface/checks/sectionCrc.h
interface/converters/owned.h
interface/converters/t2d*.h
interface/host_default/log.h
"""

# Whole trees that may look everywhere and that nobody may lean on.
SCAFFOLD = "bench tests"

# Single includes that are let through, each a file and a header.
EXCEPTIONS = """
programs/tables/kinds/masterGuide.cpp  servicemux/sections/sections.h
programs/tables/kinds/nitForm.cpp  servicemux/sections/sections.h
"""

SOURCE = re.compile(r".*\.(h|hpp|c|cc|cpp|thrift)")
INCLUDE = re.compile(r'\s*(?:#\s*)?include\s*(?:"([^"]+)"|<([^>]+)>)')
GENERATED = re.compile(r"(\w+)_types\.h")  # from the IDL
IDL = "interface/idl"
WIDTH = 100
PLACE = re.compile(r"(?<=<!-- made by scripts/check-arrows.py -->\n```\n).*?(?=```\n<!-- end -->)", re.DOTALL)


class House:
    def __init__(self, root, above=ABOVE, below=BELOW, surface=SURFACE, scaffold=SCAFFOLD, exceptions=EXCEPTIONS):
        self.root = pathlib.Path(root)
        floors = [line.split() for line in f"{above}\n{below}".splitlines() if line.strip()]
        self.floor_of = {room: number for number, floor in enumerate(floors) for room in floor}
        self.above = above.split()
        self.surface = surface.split()
        self.scaffold = scaffold.split()
        self.exceptions = {tuple(line.split()) for line in exceptions.splitlines() if line.strip()}
        self.arrows = {}  # room -> the rooms that it leans on
        self.problems = []
        self.used_exceptions = set()
        self._read()

    def picture(self):
        """One entry a room, from the roof down. An arrow that only an exception allows has a star."""
        lines = []
        for room in self.floor_of:
            lines += self._entry(room)
            if self.above and room == self.above[-1]:
                lines.append(" the public surface ".center(WIDTH, "-"))
        lines += [f"* {file} -> {header}" for file, header in sorted(self.used_exceptions)]
        return "\n".join(lines)

    def _entry(self, room):
        column = max(map(len, self.floor_of)) + 1
        starred = {self._room_of(header) for file, header in self.used_exceptions if self._room_of(file) == room}
        leans_on = self.arrows.get(room, set())
        names = [other + ("" if other in leans_on else "*")
                 for other in self.floor_of if other in leans_on or other in starred]
        if not names:
            return [room]
        return textwrap.wrap("  ".join(names), WIDTH, break_on_hyphens=False,
                             initial_indent=f"{room:{column}}-> ", subsequent_indent=" " * (column + 3))

    def _read(self):
        rooms = set()
        for file in self._sources():
            room = self._room_of(file)
            if room is None:
                self.problems.append(f"{file}: stands in no declared room")
                continue
            rooms.add(room)
            for number, header in self._includes(file):
                problem = self._judge(file, room, header)
                if problem:
                    self.problems.append(f"{file}:{number}: {problem}")
        self.problems += [f"{room}: is declared and has no file" for room in self.floor_of if room not in rooms]
        self.problems += [f"{file} -> {header}: is excepted for nothing"
                          for file, header in sorted(self.exceptions - self.used_exceptions)]

    def _sources(self):
        for folder, folders, files in os.walk(self.root):
            folders[:] = sorted(name for name in folders if not name.startswith((".", "build")))
            for name in sorted(files):
                if SOURCE.fullmatch(name):
                    yield (pathlib.Path(folder) / name).relative_to(self.root).as_posix()

    def _includes(self, file):
        """Line number and path of what stands in the tree, and of what stands in quotes and is not to be found."""
        text = (self.root / file).read_text(encoding="utf-8")
        for number, line in enumerate(text.splitlines(), 1):
            found = INCLUDE.match(line)
            if not found:
                continue
            quoted, angled = found.groups()
            path = self._find(file, quoted or angled)
            if path or quoted:
                yield number, path or quoted

    def _find(self, file, header):
        generated = GENERATED.fullmatch(header)
        candidates = [header, os.path.normpath(os.path.join(os.path.dirname(file), header))]
        if generated:
            candidates.append(f"{IDL}/{generated[1]}.thrift")
        return next((path for path in candidates if (self.root / path).is_file()), None)

    def _room_of(self, path):
        if path.split("/")[0] in self.scaffold:
            return path.split("/")[0]
        room = os.path.dirname(path)
        return room if room in self.floor_of else None

    def _judge(self, file, room, header):
        """What is wrong with the arrow; None for nothing."""
        other = self._room_of(header)
        if other is None:
            return f'{room} -> ?: "{header}" stands in no declared room'
        if room in self.scaffold:
            return None
        problem = self._wrong_way(room, other, header)
        if problem and (file, header) in self.exceptions:
            self.used_exceptions.add((file, header))
            return None
        if not problem and other != room:
            self.arrows.setdefault(room, set()).add(other)
        return problem

    def _wrong_way(self, room, other, header):
        arrow = f'{room} -> {other} ("{header}")'
        if other in self.scaffold:
            return f"{arrow} leans on the scaffold"
        if room != other and self.floor_of[room] == self.floor_of[other]:
            return f"{arrow} runs sideways"
        if self.floor_of[room] > self.floor_of[other]:
            return f"{arrow} runs back up"
        is_public = any(pathlib.PurePosixPath(header).match(pattern) for pattern in self.surface)
        if room in self.above and other not in self.above and not is_public:
            return f"{arrow} reaches below the public surface"
        return None


def with_picture(page, picture):
    """The text of a page, with the picture in the place that its marks keep for it."""
    text, places = PLACE.subn(lambda _: picture + "\n", page)
    if places != 1:
        raise ValueError(f"the page has {places} places for the picture")
    return text


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--write", metavar="PAGE", type=pathlib.Path)
    page = parser.parse_args().write
    house = House(pathlib.Path(__file__).resolve().parent.parent)
    print(house.picture())
    if page:
        page.write_text(with_picture(page.read_text(encoding="utf-8"), house.picture()), encoding="utf-8")
    for problem in house.problems:
        print(f"check-arrows: {problem}", file=sys.stderr)
    return 1 if house.problems else 0


if __name__ == "__main__":
    sys.exit(main())
