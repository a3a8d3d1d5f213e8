#!/usr/bin/env python3
"""Writes the hand-written seeds of the bridge fuzz targets (fuzz_entry_points/, fuzz_answers/).

The input layouts are described at the top of fuzz_entry_points.cpp and fuzz_answers.cpp.
Run from anywhere: python3 fuzz/bridge/seeds/make_seeds.py
"""
import os
import struct

HERE = os.path.dirname(os.path.abspath(__file__))

GET, POST, PUT, DELETE = 1 << 5, 2 << 5, 3 << 5, 4 << 5
APP, BRIDGE, EVENT, CUSTOM, TEARDOWN, RAISE, LOST, POSTEV = range(8)
PRECONNECT, NULLCTX = 8, 16


def b(text):
    return text if isinstance(text, bytes) else text.encode("utf-8")


def program(p0=0, p1=0, status=200, answer="null", ctype="done", canswer="null"):
    return bytes([p0, p1]) + struct.pack("<h", status) + b(answer) + b"\0" + b(ctype) + b"\0" + \
        b(canswer) + b"\0"


def record(selector, *texts):
    texts = list(texts) + [""] * (4 - len(texts))
    return bytes([selector]) + b"\0".join(b(t) for t in texts) + b"\0"


V = '{"name":"viewer"}'


def session(extra_records=()):
    return [
        record(POST | APP, "", V, "{}", ""),
        record(POST | BRIDGE, "", V, "{}",
               '{"uri":"/document/open","requestData":{"a":[1,2.5,"x"]},"settings":null,'
               '"target":"t"}'),
        record(POST | CUSTOM, "", V, "{}", '{"type":"render","data":{"pages":3}}'),
        record(POST | EVENT, "", '{"name":"viewer","type":"progress"}', "{}", '{"target":"doc"}'),
        record(RAISE, "progress", '{"percent": 50}', "viewer"),
        record(POSTEV, "progress", "[1,2,]", "viewer"),
        record(RAISE | NULLCTX, "progress", "{}", "viewer"),
        record(LOST, "viewer"),
        *extra_records,
        record(DELETE | EVENT, "", '{"name":"viewer","type":"progress"}', "{}", ""),
        record(DELETE | APP, "", V, "{}", ""),
        record(TEARDOWN),
    ]


def write(target, name, data):
    folder = os.path.join(HERE, target)
    os.makedirs(folder, exist_ok=True)
    with open(os.path.join(folder, name), "wb") as f:
        f.write(data)


def entry_points():
    t = "fuzz_entry_points"
    write(t, "session", program(answer='{"ok":true}', ctype="done", canswer="[1,2]") +
          b"".join(session()))
    # Library failures: connect refused; register/unregister/bridge/custom return 0.
    write(t, "connect_fails", program(p0=1) + b"".join(session()))
    write(t, "library_zero", program(p0=0, p1=0) + b"".join(session()))
    # Results -1 everywhere, no callbacks, negative status, four event threads.
    write(t, "negative_no_callback", program(p0=0b11111110 & ~0, p1=0b00011110, status=-1) +
          b"".join(session()))
    write(t, "results_seven", program(p0=0b01111110, p1=0b00011011, status=507,
                                      answer='\ufeff{"error":"disk full"}  x') +
          b"".join(session()))
    # Text forms of the method, raw options and bodies, byte-order marks.
    raw = [
        record(APP, '{"method":"POST"}', '{"name":7}', "", ""),
        record(APP, '{"method":"Post"}', '\ufeff{"name":"bom"}', "x", ""),
        record(BRIDGE, '{"method":"post"}', '{"name":"7"}', "{}", "null"),
        record(BRIDGE, '{"method":"post"}', '{"name":"7"}', "{}", "not json"),
        record(BRIDGE, '{"method":"patch"}', '{"name":"7"}', "{}", "{}"),
        record(BRIDGE, '{"method":true}', '{"name":"7"}', "{}", "{}"),
        record(BRIDGE, "[]", "{}", "{}", "{}"),
        record(CUSTOM, '{"method":"post"}', '{"name":"7"}', "", '{"type":true}'),
        record(CUSTOM, '{"method":"post"}', '{"name":"7"}', "", '{"data":[1]}'),
        record(CUSTOM, '{"method":"post"}', '{"name":"nobody"}', "", ""),
        record(EVENT, '{"method":"post"}', '{"name":"7","type":3}', "", '{"target":{}}'),
        record(EVENT, '{"method":"delete"}', '{"type":"x"}', "", ""),
        record(EVENT, '{"method":"put"}', "{}", "", ""),
        record(APP, '{"method":"delete"}', '{"name":"never"}', "", ""),
        record(APP, '{"method":"delete"}', '{"name":7}', "", ""),
        record(APP, '{"method":"get"}', '{"name":"x"}', "", ""),
        record(POST | APP, "", '{"name":"a"}', "", ""),
        record(POST | APP, "", '{"name":"a"}', "", ""),
        record(POST | APP, "", '{"name":"b"}', "", ""),
        record(POST | EVENT, "", '{"name":"b","type":"t"}', "", ""),
        record(POST | EVENT, "", '{"name":"a","type":"t"}', "", ""),
        record(RAISE, "t", '{"a":1} trailing', "a"),
        record(RAISE, "t", "\ufeff[]", "b"),
        record(TEARDOWN),
    ]
    write(t, "text_forms", program(answer="{}  x", ctype="", canswer='"\\uD83D\\uDE00"') +
          b"".join(raw))
    write(t, "preconnect", program(answer="[1,2]") + b"".join([
        record(POST | BRIDGE | PRECONNECT, "", '{"name":"pre"}', "", '{"uri":"/u"}'),
        record(POST | CUSTOM, "", '{"name":"pre"}', "", '{"type":"t","data":null}'),
        record(GET | BRIDGE, "", '{"name":"pre"}', "", ""),
    ]))
    write(t, "non_finite_answer", program(answer="[1,1e999,2]", canswer="{\"a\":-1e999}") +
          b"".join(session()))
    deep = "[" * 3000 + "]" * 3000
    write(t, "deep", program(answer="[" * 3000, canswer=deep) + b"".join(session([
        record(POST | BRIDGE, "", V, "", '{"uri":"/d","requestData":' + deep + "}"),
        record(RAISE, "progress", "{" + '"a":[' * 1000, "viewer"),
    ])))


def answers():
    t = "fuzz_answers"
    texts = [
        '{"percent": 50}', "[1,2,]", "\ufeff[1]", "{}  x", '"\\uD83D\\uDE00"', "1e999",
        "[1,2,1e999]", '{"a":"\\u0000b"}', "-9223372036854775808", "9223372036854775807",
        "12e0", "-0", "1.5e0", '{"a":1,"a":2}', '{x "a":1}', "[1,", "{", '"\\uDE00"', "",
        "   ", "null x", "tru", '"\x01\x7f\\/"', "[" * 2000, "[" * 500 + "]" * 500,
        '{"k\\"ey":"\u00e9"}', "0.1", "1e-400", "[1.7976931348623157e308]",
    ]
    for i, text in enumerate(texts):
        write(t, "answer_%02d" % i, bytes([3]) + struct.pack("<h", 200) + b(text))
    write(t, "posted_null_context", bytes([3 | 4 | 8]) + struct.pack("<h", -1) +
          b('{"a":[1,2]}') + b"\0" + b("") + b"\0" + b("t\"ype\x01"))
    write(t, "custom_type", bytes([1]) + struct.pack("<h", 0) + b("[]") + b"\0" + b("d\u00e9"))


if __name__ == "__main__":
    entry_points()
    answers()
