"""The JSON schema of table sets and the reader say the same of what a set may hold: of names, types, ranges and of
what must be there. Beyond that, of sizes and of fields that depend on one another, the reader alone decides."""

import copy
import json
import os
import re
import subprocess
import unittest
from pathlib import Path

import jsonschema

ROOT = Path(os.environ["SOURCE"])
PROGRAM, VERDICTS = os.environ["SERVICEMUX"], os.environ["VERDICTS"]
CAPTURES = Path(os.environ.get("SERVICEMUX_CAPTURES", ROOT.parent / "shared" / "captures"))
SCHEMA = json.loads((ROOT / "docs" / "table-set.schema.json").read_text())
VALIDATOR = jsonschema.Draft7Validator(SCHEMA)

# Errors of the reader that no schema tells.
BEYOND = re.compile(
    r"is not within|in a 3-hour segment|are more than the|is in none of the PID lists|is not a multiple of|is no character set"
    r"|are no whole|has no time zone|no time zone|the same table as|selects no character table|cannot be written with"
    r"|bytes are more than|text takes|has other characters|has \d+ UTF-16|stands there twice|holds a control"
    r"|/events/0/start_time: missing field|is not a day|is not a time|is not a character|U\+0000|is not the PID|no such|is not a duration"
)

# Names that an object has or has not, as its other fields have it.
CONDITIONAL = {
    "lines", "reserved", "crid", "crid_ref", "caption_service_number", "line21_field", "text", "segments", "ecm",
    "ecms", "ecm_pids", "emm_pids", "FormatSpecifier", "pid", "table",
}


def verdicts(documents):
    """The errors of the reader for each document."""
    lines = "".join(json.dumps(document) + "\n" for document in documents)
    done = subprocess.run([VERDICTS], input=lines, capture_output=True, text=True, check=True)
    return [json.loads(line) for line in done.stdout.splitlines()]


def examples_of_descriptors():
    """One line of the guide for each readable descriptor."""
    chapter = (ROOT / "docs" / "json.md").read_text().split("## Descriptors")[1].split("\n## ")[0]
    return [json.loads(line) for line in chapter.splitlines() if line.startswith("{")]


def base_documents():
    base = json.loads((ROOT / "tests" / "programs" / "schema" / "base.json").read_text())
    return base + [{"cat": {"version_number": 1, "descriptors": [one]}} for one in examples_of_descriptors()]


def places(value, way=()):
    """The way to every value of a document."""
    yield way
    if isinstance(value, dict):
        for name in value:
            yield from places(value[name], way + (name,))
    elif isinstance(value, list):
        for index in range(len(value)):
            yield from places(value[index], way + (index,))


def at(document, way):
    for step in way:
        document = document[step]
    return document


def changed(document, way, value):
    if not way:
        return value
    copied = copy.deepcopy(document)
    at(copied, way[:-1])[way[-1]] = value
    return copied


def without(document, way):
    copied = copy.deepcopy(document)
    del at(copied, way[:-1])[way[-1]]
    return copied


def branches(schema):
    """A schema and those that it is put together from."""
    if "$ref" in schema:
        target = SCHEMA
        for step in schema["$ref"].lstrip("#/").split("/"):
            target = target[step]
        yield from branches(target)
        return
    yield schema
    for key in ("anyOf", "oneOf", "allOf"):
        for part in schema.get(key, []):
            yield from branches(part)
    for key in ("then", "else"):
        if key in schema:
            yield from branches(schema[key])


def schemas_at(way):
    found = list(branches(SCHEMA))
    for step in way:
        below = []
        for schema in found:
            if isinstance(step, int) and "items" in schema:
                below += branches(schema["items"])
            elif isinstance(step, str) and step in schema.get("properties", {}):
                below += branches(schema["properties"][step])
        found = below
    return found


def probes(way):
    """Values to put at a place: of every type, and around each limit that the schema has there."""
    values = [None, True, 1, 1.5, "x", "", [], {}, -1]
    for schema in schemas_at(way):
        for limit in (schema.get("minimum"), schema.get("maximum")):
            if limit is not None:
                values += [limit - 1, limit, limit + 1]
    return values


def pointer(way):
    return "".join(f"/{step}" for step in way)


class OfTheSchema(unittest.TestCase):
    def test_it_is_one(self):
        jsonschema.Draft7Validator.check_schema(SCHEMA)

    def test_the_base_of_these_tests_is_good(self):
        documents = base_documents()
        for document, errors in zip(documents, verdicts(documents)):
            self.assertEqual(errors, [], document)
            self.assertEqual([error.message for error in VALIDATOR.iter_errors(document)], [], document)

    def test_it_takes_every_example(self):
        for path in sorted((ROOT / "examples").glob("*.json")):
            with self.subTest(path.name):
                VALIDATOR.validate(json.loads(path.read_text()))

    def test_it_takes_what_is_imported_of_every_capture(self):
        found = [p for d in (ROOT / "tests" / "captures", CAPTURES) if d.is_dir() for p in sorted(d.iterdir())]
        captures = [path for path in found if path.suffix in (".ts", ".bin")]
        self.assertGreaterEqual(len(captures), 3)
        for path in captures:
            with self.subTest(path.name):
                done = subprocess.run([PROGRAM, "import", path], capture_output=True, text=True, check=True)
                VALIDATOR.validate(json.loads(done.stdout))

    def compare(self, documents):
        """Both accept or refuse each document."""
        for document, errors in zip(documents, verdicts(documents)):
            accepts = VALIDATOR.is_valid(document)
            if accepts and errors:
                told = [e for e in errors if not BEYOND.search(e)]
                self.assertEqual(told, [], f"the schema takes {json.dumps(document)}")
            elif not accepts and not errors:
                error = next(VALIDATOR.iter_errors(document))
                self.fail(f"only the schema refuses {json.dumps(document)}: {error.message}")

    def test_what_must_be_there_must_be_there_in_both(self):
        self.compare([
            without(document, way)
            for document in base_documents()
            for way in places(document)
            if way and isinstance(way[-1], str)
        ])

    def test_types_and_ranges_are_the_same(self):
        self.compare([
            changed(document, way, value)
            for document in base_documents()
            for way in places(document)
            if way
            for value in probes(way)
        ])

    def test_names_are_the_same(self):
        """Every name that the reader's source or the schema has, in every object."""
        sources = [*(ROOT / "programs" / "tables").rglob("*.cpp"), *(ROOT / "programs" / "tables").rglob("*.h"),
                   ROOT / "servicemux" / "output" / "periodFields.cpp"]
        names = {name for path in sources for name in re.findall(r'"([$A-Za-z][\w-]*)"', path.read_text())}
        names |= {name for _, object_schema in objects(SCHEMA) for name in object_schema["properties"]}
        documents, told = [], []
        for document in base_documents():
            for way in places(document):
                if not isinstance(at(document, way), dict):
                    continue
                if way[-2:-1] == ("descriptors",) and "tag" not in at(document, way):
                    continue  # one name excludes the others
                own = {name for schema in schemas_at(way) for name in schema.get("properties", {})}
                for name in names - set(at(document, way)):
                    documents.append(changed(document, way + (name,), None))
                    told.append((pointer(way), name, name in own))
        for (place, name, is_in_schema), errors in zip(told, verdicts(documents)):
            is_read = f"{place}/{name}: unknown field" not in errors
            if is_in_schema and not is_read and name in CONDITIONAL:
                continue
            self.assertEqual(is_read, is_in_schema, f"{place}/{name}: known to the reader, and to the schema")


def objects(schema, way=()):
    """Every schema of an object, wherever it stands."""
    if isinstance(schema, dict):
        if isinstance(schema.get("properties"), dict) and schema.get("type") == "object":
            yield way, schema
        for key, value in schema.items():
            yield from objects(value, way + (key,))
    elif isinstance(schema, list):
        for index, value in enumerate(schema):
            yield from objects(value, way + (index,))


if __name__ == "__main__":
    unittest.main()
