#!/usr/bin/env python3
"""Checks examples/applications.schema.json against the simulator's own description loader.

Every description file given is valid by the schema and loads in zarvo_host; every broken
description below is refused by the schema and by zarvo_host, whose message names the file and
the member path of the offending member ("<file>: <path>: <problem>"). A few valid edge cases
must pass both as well, so the schema is not stricter than the loader.

Usage: check_descriptions.py SCHEMA ZARVO_HOST WORK_DIR DESCRIPTION...
"""
import json
import os
import subprocess
import sys

import jsonschema

# (name, description, expected "<path>: <problem>" of the loader's message)
BROKEN = [
    ("status_text", {"applications": {"viewer": {"requests": {"/open": {"status": "200"}}}}},
     "applications.viewer.requests./open.status: expected an integer"),
    ("status_too_large", {"applications": {"viewer": {"requests": {"/a": {"status": 2147483648}}}}},
     "applications.viewer.requests./a.status: expected an integer from -2147483648 to 2147483647"),
    ("answer_and_text", {"applications": {"viewer": {"defaultRequest":
                                                     {"answer": 1, "answerText": "1"}}}},
     "applications.viewer.defaultRequest: give either answer or answerText, not both"),
    ("answer_text_not_string", {"applications": {"viewer": {"tasks": {"render":
                                                                      {"answerText": 1}}}}},
     "applications.viewer.tasks.render.answerText: expected a string"),
    ("task_type_number", {"applications": {"viewer": {"tasks": {"render": {"type": 3}}}}},
     "applications.viewer.tasks.render.type: expected a string"),
    ("unknown_request_member", {"applications": {"viewer": {"requests": {"/a": {"answr": 1}}}}},
     "applications.viewer.requests./a.answr: unknown member"),
    ("unknown_application_member", {"applications": {"viewer": {"request": {}}}},
     "applications.viewer.request: unknown member"),
    ("unknown_top_member", {"applications": {}, "version": 1},
     "version: unknown member"),
    ("no_applications", {},
     "applications: required member missing"),
    ("applications_array", {"applications": []},
     "applications: expected an object"),
    ("events_object", {"applications": {"viewer": {"events": {}}}},
     "applications.viewer.events: expected an array"),
    ("event_without_type", {"applications": {"viewer": {"events": [{"payload": 1}]}}},
     "applications.viewer.events[0].type: required member missing"),
    ("event_empty_type", {"applications": {"viewer": {"events": [{"type": ""}]}}},
     "applications.viewer.events[0].type: expected a non-empty string"),
    ("payload_and_payloads", {"applications": {"viewer": {"events": [
        {"type": "a"}, {"type": "b", "payload": 1, "payloads": [1]}]}}},
     "applications.viewer.events[1]: give either payload or payloads, not both"),
    ("payloads_empty", {"applications": {"viewer": {"events": [{"type": "a", "payloads": []}]}}},
     "applications.viewer.events[0].payloads: expected a non-empty array"),
    ("interval_zero", {"applications": {"viewer": {"events": [{"type": "a", "intervalMs": 0}]}}},
     "applications.viewer.events[0].intervalMs: expected an integer from 1 to 86400000"),
    ("interval_over_a_day", {"applications": {"viewer": {"events": [
        {"type": "a", "intervalMs": 86400001}]}}},
     "applications.viewer.events[0].intervalMs: expected an integer from 1 to 86400000"),
    ("count_zero", {"applications": {"viewer": {"events": [{"type": "a", "count": 0}]}}},
     "applications.viewer.events[0].count: expected an integer from 1 to 9223372036854775807"),
]

# Valid edge cases: both must accept them.
VALID = [
    ("empty", {"applications": {}}),
    ("edges", {"applications": {"": {}, "viewer": {
        "requests": {"/a": {"status": -2147483648, "answerText": "not json"},
                     "/b": {"status": 2147483647, "answer": None}},
        "defaultRequest": {},
        "tasks": {"t": {}, "u": {"type": "", "answer": [1, {"x": "y"}]}},
        "events": [{"type": "a"}, {"type": "a", "payload": None, "count": 9223372036854775807},
                   {"type": "b", "payloads": [None, 1.5], "intervalMs": 86400000}]}}}),
]


def host_loads(host, path):
    """Runs zarvo_host with the description and a session of one note; (exit status, output)."""
    run = subprocess.run([host, "--apps", path, "-e", '{"note":"load"}'],
                         stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=60)
    return run.returncode, run.stdout.decode("utf-8", "replace")


def main(argv):
    if len(argv) < 5:
        print(__doc__, file=sys.stderr)
        return 2
    schema_path, host, work_dir, descriptions = argv[1], argv[2], argv[3], argv[4:]
    with open(schema_path, encoding="utf-8") as f:
        schema = json.load(f)
    jsonschema.Draft202012Validator.check_schema(schema)
    validator = jsonschema.Draft202012Validator(schema)
    os.makedirs(work_dir, exist_ok=True)
    failures = []
    checked = 0

    def write(name, document):
        path = os.path.join(work_dir, name + ".json")
        with open(path, "w", encoding="utf-8") as f:
            json.dump(document, f)
        return path

    valid_files = list(descriptions) + [write("valid_" + n, d) for n, d in VALID]
    for path in valid_files:
        with open(path, encoding="utf-8") as f:
            document = json.load(f)
        errors = [e.message for e in validator.iter_errors(document)]
        if errors:
            failures.append(f"{path}: refused by the schema: {errors}")
        status, output = host_loads(host, path)
        if status != 0:
            failures.append(f"{path}: refused by zarvo_host ({status}):\n{output}")
        checked += 1

    for name, document, expected in BROKEN:
        path = write("broken_" + name, document)
        if validator.is_valid(document):
            failures.append(f"{name}: accepted by the schema")
        status, output = host_loads(host, path)
        if status != 2 or f"{path}: {expected}" not in output:
            failures.append(f"{name}: zarvo_host exited {status}, expected 2 and the message\n"
                            f"  {path}: {expected}\ngot:\n{output}")
        checked += 1

    for failure in failures:
        print("FAIL " + failure)
    print(f"{checked} descriptions checked against the schema and the loader, "
          f"{len(failures)} failures")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
