#!/usr/bin/python3
"""Checks recorded messages between host and service against the schema of the protocol.

    check_messages.py SCHEMA JOURNAL_OR_FOLDER ...

A journal has one JSON object a line with "direction" ("in" to the service, "out" from it) and
"text". Lines with "odd": true hold texts that no proper host sends, and are left out. Of a folder,
all files whose names end in .jsonl are read. Exit status 0 means that there were messages in both
directions and all of them fit.
"""

import json
import os
import sys

import jsonschema

DEFINITIONS = {"in": "inbound", "out": "outbound"}


def journals(paths):
    for path in paths:
        if os.path.isdir(path):
            for name in sorted(os.listdir(path)):
                if name.endswith(".jsonl"):
                    yield os.path.join(path, name)
        else:
            yield path


def validators(schema):
    kind = jsonschema.validators.validator_for(schema)
    kind.check_schema(schema)
    return {
        direction: kind({"$ref": f"#/$defs/{name}", "$defs": schema["$defs"]})
        for direction, name in DEFINITIONS.items()
    }


def faults(validator, text):
    """What is wrong with one message."""
    try:
        message = json.loads(text)
    except ValueError as error:
        return [f"is no JSON text: {error}"]
    return [
        f"{error.json_path}: {error.message}"
        for error in (jsonschema.exceptions.best_match([e]) for e in validator.iter_errors(message))
    ]


def main(schema_path, *paths):
    with open(schema_path, encoding="utf-8") as file:
        by_direction = validators(json.load(file))
    counts = dict.fromkeys(DEFINITIONS, 0)
    failures = 0
    for journal in journals(paths):
        with open(journal, encoding="utf-8") as file:
            for number, line in enumerate(file, 1):
                entry = json.loads(line)
                if entry.get("odd"):
                    continue
                direction, text = entry["direction"], entry["text"]
                counts[direction] += 1
                found = faults(by_direction[direction], text)
                for fault in found:
                    print(f"{journal}:{number}: {DEFINITIONS[direction]} {fault}\n  {text}")
                failures += bool(found)
    if not all(counts.values()):
        print(f"nothing to check: {counts['in']} messages in, {counts['out']} out")
        return 1
    print(f"{sum(counts.values()) - failures} passed, {failures} failed")
    return 1 if failures else 0


if __name__ == "__main__":
    if len(sys.argv) < 3:
        sys.exit(__doc__)
    sys.exit(main(*sys.argv[1:]))
