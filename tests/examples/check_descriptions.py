#!/usr/bin/env python3
"""Checks examples/applications.schema.json against the simulator's own description loader.

Every description file given is valid by the schema and loads in zarvo_host; every broken
description below is refused by the schema and by zarvo_host, whose message names the file and
the member path of the offending member ("<file>: <path>: <problem>"). There is a broken case for
every rule of the loader, so a schema that is looser than the loader fails the check, and valid
edge cases at every bound, so a schema (or a loader) that is stricter fails it too.

Usage: check_descriptions.py SCHEMA ZARVO_HOST WORK_DIR DESCRIPTION...
"""
import json
import os
import subprocess
import sys

import jsonschema


def app(viewer):
    """A description whose only application, "viewer", is `viewer`."""
    return {"applications": {"viewer": viewer}}


def event(**members):
    """A description whose "viewer" raises one event, of type "t" unless `members` say otherwise."""
    return app({"events": [{"type": "t", **members}]})


class Raw(str):
    """A description given as its text, for numbers that Python cannot write as JSON (1e400) or
    writes otherwise (3e9)."""


def raw(text):
    return Raw(text)


VIEWER = "applications.viewer"
EVENT = "applications.viewer.events[0]"
STATUS_RANGE = "expected an integer from -2147483648 to 2147483647"
INTERVAL_RANGE = "expected an integer from 1 to 86400000"
COUNT_RANGE = "expected an integer from 1 to 9223372036854775807"
TOO_LARGE = "holds a number too large for JSON text"

# (name, description, expected "<path>: <problem>" of the loader's message). Every rule of the
# loader has a case here, so a schema that lets one of them pass fails the check.
BROKEN = [
    # the top level
    ("top_array", [], "expected an object at the top level"),
    ("top_string", "applications", "expected an object at the top level"),
    ("unknown_top_member", {"applications": {}, "version": 1}, "version: unknown member"),
    ("schema_number", {"$schema": 1, "applications": {}}, "$schema: expected a string"),
    ("schema_null", {"$schema": None, "applications": {}}, "$schema: expected a string"),
    ("no_applications", {}, "applications: required member missing"),
    ("only_schema", {"$schema": "s.json"}, "applications: required member missing"),
    ("applications_array", {"applications": []}, "applications: expected an object"),
    ("empty_application_name", {"applications": {"viewer": {}, "": {}}},
     "applications: expected a non-empty application name"),
    # an application
    ("application_number", app(3), f"{VIEWER}: expected an object"),
    ("unknown_application_member", app({"request": {}}), f"{VIEWER}.request: unknown member"),
    ("schema_in_application", app({"$schema": "s.json"}), f"{VIEWER}.$schema: unknown member"),
    ("requests_array", app({"requests": []}), f"{VIEWER}.requests: expected an object"),
    ("empty_uri", app({"requests": {"": {}}}), f"{VIEWER}.requests: expected a non-empty uri"),
    ("tasks_string", app({"tasks": "x"}), f"{VIEWER}.tasks: expected an object"),
    ("empty_task_type", app({"tasks": {"": {}}}),
     f"{VIEWER}.tasks: expected a non-empty task type"),
    ("events_object", app({"events": {}}), f"{VIEWER}.events: expected an array"),
    # a request
    ("request_array", app({"requests": {"/a": []}}), f"{VIEWER}.requests./a: expected an object"),
    ("default_request_true", app({"defaultRequest": True}),
     f"{VIEWER}.defaultRequest: expected an object"),
    ("unknown_request_member", app({"requests": {"/a": {"answr": 1}}}),
     f"{VIEWER}.requests./a.answr: unknown member"),
    ("status_text", app({"requests": {"/open": {"status": "200"}}}),
     f"{VIEWER}.requests./open.status: expected an integer"),
    ("status_null", app({"defaultRequest": {"status": None}}),
     f"{VIEWER}.defaultRequest.status: expected an integer"),
    ("status_fraction", app({"defaultRequest": {"status": 200.5}}),
     f"{VIEWER}.defaultRequest.status: expected an integer"),
    ("status_infinite", raw('{"applications":{"viewer":{"defaultRequest":{"status":1e400}}}}'),
     f"{VIEWER}.defaultRequest.status: expected an integer"),
    ("status_too_large", app({"requests": {"/a": {"status": 2147483648}}}),
     f"{VIEWER}.requests./a.status: {STATUS_RANGE}"),
    ("status_too_small", app({"requests": {"/a": {"status": -2147483649}}}),
     f"{VIEWER}.requests./a.status: {STATUS_RANGE}"),
    ("status_real_too_large", app({"requests": {"/a": {"status": 2147483648.0}}}),
     f"{VIEWER}.requests./a.status: {STATUS_RANGE}"),
    ("status_exponent_too_large", raw('{"applications":{"viewer":{"defaultRequest":'
                                      '{"status":3e9}}}}'),
     f"{VIEWER}.defaultRequest.status: {STATUS_RANGE}"),
    ("answer_and_text", app({"defaultRequest": {"answer": 1, "answerText": "1"}}),
     f"{VIEWER}.defaultRequest: give either answer or answerText, not both"),
    ("request_answer_text_number", app({"requests": {"/a": {"answerText": 1}}}),
     f"{VIEWER}.requests./a.answerText: expected a string"),
    ("answer_infinite", raw('{"applications":{"viewer":{"requests":{"/a":'
                            '{"answer":{"x":[1,-1e400]}}}}}}'),
     f"{VIEWER}.requests./a.answer: {TOO_LARGE}"),
    ("answer_long_integer", app({"defaultRequest": {"answer": [10 ** 400]}}),
     f"{VIEWER}.defaultRequest.answer: {TOO_LARGE}"),
    # a task
    ("task_null", app({"tasks": {"render": None}}), f"{VIEWER}.tasks.render: expected an object"),
    ("unknown_task_member", app({"tasks": {"render": {"status": 200}}}),
     f"{VIEWER}.tasks.render.status: unknown member"),
    ("task_type_number", app({"tasks": {"render": {"type": 3}}}),
     f"{VIEWER}.tasks.render.type: expected a string"),
    ("task_answer_and_text", app({"tasks": {"render": {"answer": 1, "answerText": ""}}}),
     f"{VIEWER}.tasks.render: give either answer or answerText, not both"),
    ("answer_text_not_string", app({"tasks": {"render": {"answerText": 1}}}),
     f"{VIEWER}.tasks.render.answerText: expected a string"),
    ("task_answer_infinite", raw('{"applications":{"viewer":{"tasks":{"t":{"answer":1e400}}}}}'),
     f"{VIEWER}.tasks.t.answer: {TOO_LARGE}"),
    # an event
    ("event_number", app({"events": [1]}), f"{EVENT}: expected an object"),
    ("unknown_event_member", event(typo=1), f"{EVENT}.typo: unknown member"),
    ("event_without_type", app({"events": [{"payload": 1}]}),
     f"{EVENT}.type: required member missing"),
    ("event_empty_type", event(type=""), f"{EVENT}.type: expected a non-empty string"),
    ("event_type_number", event(type=5), f"{EVENT}.type: expected a non-empty string"),
    ("payload_and_payloads", app({"events": [{"type": "a"},
                                             {"type": "b", "payload": 1, "payloads": [1]}]}),
     "applications.viewer.events[1]: give either payload or payloads, not both"),
    ("payloads_empty", event(payloads=[]), f"{EVENT}.payloads: expected a non-empty array"),
    ("payloads_object", event(payloads={}), f"{EVENT}.payloads: expected a non-empty array"),
    ("payload_infinite", raw('{"applications":{"viewer":{"events":'
                             '[{"type":"t","payload":1e400}]}}}'),
     f"{EVENT}.payload: {TOO_LARGE}"),
    ("payloads_infinite", raw('{"applications":{"viewer":{"events":'
                              '[{"type":"t","payloads":[1,[-1e400]]}]}}}'),
     f"{EVENT}.payloads[1]: {TOO_LARGE}"),
    ("interval_text", event(intervalMs="5"), f"{EVENT}.intervalMs: expected an integer"),
    ("interval_fraction", event(intervalMs=2.5), f"{EVENT}.intervalMs: expected an integer"),
    ("interval_zero", event(intervalMs=0), f"{EVENT}.intervalMs: {INTERVAL_RANGE}"),
    ("interval_over_a_day", event(intervalMs=86400001), f"{EVENT}.intervalMs: {INTERVAL_RANGE}"),
    ("interval_real_over_a_day", event(intervalMs=86400001.0),
     f"{EVENT}.intervalMs: {INTERVAL_RANGE}"),
    ("count_fraction", event(count=1.5), f"{EVENT}.count: expected an integer"),
    ("count_zero", event(count=0), f"{EVENT}.count: {COUNT_RANGE}"),
    ("count_real_zero", event(count=0.0), f"{EVENT}.count: {COUNT_RANGE}"),
    ("count_over_64_bits", event(count=9223372036854775808), f"{EVENT}.count: {COUNT_RANGE}"),
    ("count_real_over_64_bits", event(count=1e19), f"{EVENT}.count: {COUNT_RANGE}"),
    # 2**64 + 1: an integer literal that the JSON library alone would read as 1
    ("count_wrapping", event(count=18446744073709551617), f"{EVENT}.count: {COUNT_RANGE}"),
]

# Valid edge cases: both must accept them, so that neither side is stricter than the other.
VALID = [
    ("empty", {"applications": {}}),
    ("schema", {"$schema": "applications.schema.json", "applications": {}}),
    ("schema_empty", {"applications": {}, "$schema": ""}),
    ("edges", {"applications": {"v": {
        "requests": {"/a": {"status": -2147483648, "answerText": "not json"},
                     "/b": {"status": 2147483647, "answer": None},
                     "/": {"answerText": ""}},
        "defaultRequest": {},
        "tasks": {"t": {}, "u": {"type": "", "answer": [1, {"x": "y"}]}},
        "events": [{"type": "a"}, {"type": "a", "payload": None, "count": 9223372036854775807},
                   {"type": "b", "payloads": [None, 1.5], "intervalMs": 86400000},
                   {"type": "c", "payloads": [[]], "intervalMs": 1, "count": 1}]},
        "w": {"requests": {}, "tasks": {}, "events": []}}}),
    ("names", {"applications": {"x": {"requests": {"$schema": {}, " ": {}},
                                      "tasks": {"$schema": {}, "a.b": {}}},
                                "$schema": {}, "\u00e9": {}}}),
    ("whole_real_numbers", app({
        "requests": {"/a": {"status": 200.0}, "/b": {"status": -2147483648.0},
                     "/c": {"status": 2147483647.0}, "/d": {"status": -0.0}},
        "events": [{"type": "a", "intervalMs": 1.0, "count": 1.0},
                   {"type": "b", "intervalMs": 86400000.0, "count": 9.2e18}]})),
    ("exponents", raw('{"applications":{"viewer":{"requests":{"/a":{"status":2e2},'
                      '"/b":{"status":2147483647e0},"/c":{"status":0.5e1}},'
                      '"events":[{"type":"a","intervalMs":8.64e7,"count":1E0}]}}}')),
    ("large_numbers", app({
        "requests": {"/a": {"answer": [1.7976931348623157e308, -1.7976931348623157e308,
                                       18446744073709551617, -(10 ** 300), 5e-324]}},
        "tasks": {"t": {"answer": {"n": 10 ** 308}}},
        "events": [{"type": "a", "payload": 9223372036854775808},
                   {"type": "b", "payloads": [1e308, {"x": [-1e308]}]}]})),
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
        """Writes the description (a text as it is); returns its path and its parsed value."""
        path = os.path.join(work_dir, name + ".json")
        text = document if isinstance(document, Raw) else json.dumps(document)
        with open(path, "w", encoding="utf-8") as f:
            f.write(text)
        return path, json.loads(text)

    valid = [(path, None) for path in descriptions]
    valid += [write("valid_" + name, document) for name, document in VALID]
    for path, document in valid:
        if document is None:
            with open(path, encoding="utf-8") as f:
                document = json.load(f)
        errors = [e.message for e in validator.iter_errors(document)]
        if errors:
            failures.append(f"{path}: refused by the schema: {errors}")
        status, output = host_loads(host, path)
        if status != 0:
            failures.append(f"{path}: refused by zarvo_host ({status}):\n{output}")
        checked += 1

    for name, description, expected in BROKEN:
        path, document = write("broken_" + name, description)
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
