#!/usr/bin/env python3
"""Drives `zarvo_host -i` on a pseudo-terminal the way a person would.

Usage: pty_interactive.py HOST APPS WORK_DIR

Types lines with Tab completion (resource, method, keyword, application name), recalls earlier
lines with the up arrow, asks for help, drops a line with Ctrl-C, sees events printed above a
half-typed line, types UTF-8, ends with Ctrl-D, and checks what the host printed. A
second and third session check that --history=FILE keeps the lines across sessions. Exits 1 with
the whole terminal output when an expectation fails. The deadlines only stop a hung host; no
assertion depends on how fast anything is.
"""
import codecs
import os
import pty
import re
import select
import shutil
import sys
import termios
import time

DEADLINE_SECONDS = 60
UP = "\x1b[A"
CTRL_C = "\x03"
CTRL_D = "\x04"


class Terminal:
    def __init__(self, argv, env):
        self.pid, self.fd = pty.fork()
        if self.pid == 0:
            os.execve(argv[0], argv, env)
        self.seen = ""
        # Incremental, so a character split between two reads is still decoded whole.
        self.decoder = codecs.getincrementaldecoder("utf-8")("replace")

    def read_until(self, pattern, what):
        """Reads until `pattern` (a regex) appears after everything matched so far."""
        regex = re.compile(pattern)
        while True:
            match = regex.search(self.seen, self.mark if hasattr(self, "mark") else 0)
            if match:
                self.mark = match.end()
                return match
            ready, _, _ = select.select([self.fd], [], [], DEADLINE_SECONDS)
            if not ready:
                self.fail(f"no {what} within {DEADLINE_SECONDS} s (looking for {pattern!r})")
            try:
                chunk = os.read(self.fd, 4096)
            except OSError:
                chunk = b""
            if not chunk:
                self.fail(f"the host ended before {what} (looking for {pattern!r})")
            self.seen += self.decoder.decode(chunk)

    def type(self, text):
        os.write(self.fd, text.encode("utf-8"))

    def prompt(self):
        """Waits for the prompt and for the line editor to take the terminal out of canonical
        mode: keys typed before that would be line-buffered and echoed by the kernel instead
        (and a Ctrl-D would be taken as the end of a cooked read)."""
        self.read_until(r"zarvo> ", "prompt")
        give_up = time.monotonic() + DEADLINE_SECONDS
        while termios.tcgetattr(self.fd)[3] & termios.ICANON:
            if time.monotonic() > give_up:
                self.fail("the line editor never switched the terminal to raw mode")
            time.sleep(0.005)

    def finish(self):
        """Reads to the end and returns the exit status."""
        while True:
            ready, _, _ = select.select([self.fd], [], [], DEADLINE_SECONDS)
            if not ready:
                self.fail("the host did not end after Ctrl-D")
            try:
                chunk = os.read(self.fd, 4096)
            except OSError:
                break
            if not chunk:
                break
            self.seen += self.decoder.decode(chunk)
        _, status = os.waitpid(self.pid, 0)
        return os.waitstatus_to_exitcode(status)

    def fail(self, message):
        sys.stderr.write(f"FAIL: {message}\n--- terminal output ---\n{self.seen}\n")
        try:
            os.kill(self.pid, 9)
        except OSError:
            pass
        sys.exit(1)


def environment(home):
    env = {k: v for k, v in os.environ.items() if k not in ("XDG_STATE_HOME", "EDITRC")}
    env.update({"TERM": "xterm", "HOME": home, "NO_COLOR": "1", "COLUMNS": "200", "LINES": "50"})
    return env


def editing_session(host, apps, env):
    t = Terminal([host, "--apps", apps, "-i"], env)
    t.read_until(r"help lists them, Tab completes", "banner")
    t.prompt()
    # Tab after a unique prefix completes the resource, then the method. The terminal shows
    # libedit's redrawing, so what the completion produced is checked in the transcript line.
    t.type('ZarvoApplicationE\tpo\t{"name":"viewer","type":"jam"}\r')
    t.read_until(r'<stdin>:1  ZarvoApplicationEvent post  \{"name":"viewer","type":"jam"\}\r?\n'
                 r'  -> promise 1  400  \{"error":\{"message":"Application instance is not existed\."',
                 "subscribe answer")
    t.prompt()
    # The common prefix of the four resource names, then the rest typed.
    t.type('ZarvoApp\t post {"name":"viewer"}\r')
    t.read_until(r'<stdin>:2  ZarvoApplication post  \{"name":"viewer"\}\r?\n'
                 r'  -> promise 2  200  \{"error":null,"value":null\}', "connect answer")
    t.prompt()
    # Two lines up is the subscription, which now finds the connection: state persists.
    t.type(UP + UP + "\r")
    t.read_until(r'<stdin>:3  ZarvoApplicationEvent post  \{"name":"viewer","type":"jam"\}\r?\n'
                 r'  -> promise 3  200  \{"error":null,"value":null\}', "subscription answer")
    t.prompt()
    # Keyword and application name by Tab; the event arrives from the library's thread.
    t.type('rai\tvie\tjam {"n":1}\r')
    t.read_until(r'<stdin>:4  raise jam  viewer  \{"n":1\}\r?\n'
                 r'  event 1 zarvoEvent \{"app":"viewer","data":\{"n":1\},"type":"jam"\}\r?\n'
                 r'  -> 1 delivered', "raised event")
    t.prompt()
    t.type("lostConnection viewer\r")
    t.read_until(r"-> did-disconnect notice delivered", "lost connection")
    t.prompt()
    # The connect line, four lines up (each line typed is recalled, also a repeated one): the name is still connected, so it is refused.
    t.type(UP * 4 + "\r")
    t.read_until(r'<stdin>:6  ZarvoApplication post  \{"name":"viewer"\}\r?\n'
                 r'  -> promise 4  500  \{"error":\{"message":"Failed to connect application\."',
                 "refused connect")
    t.prompt()
    t.type("help\r")
    t.read_until(r"The application's side:", "help")
    t.read_until(r"Tab completes resource names, methods and keywords", "help end")
    t.prompt()
    # Ctrl-C drops the line being typed; the session goes on and the line is not counted.
    t.type("ZarvoApplication delete")
    t.read_until(r"delete", "typed line")
    t.type(CTRL_C)
    t.read_until(r"\^C\r?\n", "interrupt")
    t.prompt()
    t.type("frobnicate\r")
    t.read_until(r'<stdin>:8: unknown word "frobnicate"', "bad word")
    t.prompt()
    # Events that arrive while a line is being typed are printed on a cleared line above it, and
    # the line is redrawn; typed UTF-8 arrives unchanged.
    t.type('ZarvoApplicationEvent post {"name":"viewer","type":"progress"}\r')
    t.read_until(r'<stdin>:9  ZarvoApplicationEvent post[^\n]*\n  -> promise 5  200', "subscribe")
    t.prompt()
    t.type("note h")
    t.read_until(r'\r\x1b\[K  event 4 zarvoEvent \{"app":"viewer","data":\{"percent":100\}',
                 "events above the edited line")
    t.type("\u00e9llo \u20ac\r")
    t.read_until("# h\u00e9llo \u20ac\r?\n", "UTF-8 note")
    t.prompt()
    t.type(CTRL_D)
    t.read_until(r"5 calls, 4 events, 0 expectations: 0 held, 0 failed, 1 bad input line  FAIL",
                 "summary")
    status = t.finish()
    if status != 2:
        t.fail(f"exit status {status}, expected 2 (one bad line)")


def history_sessions(host, apps, env, work):
    history = os.path.join(work, "state", "history")
    first = Terminal([host, "--apps", apps, f"--history={history}", "-i"], env)
    first.prompt()
    first.type('note kept across sessions\r')
    first.read_until(r"# kept across sessions", "note")
    first.prompt()
    first.type(CTRL_D)
    if first.finish() != 0:
        first.fail("first history session did not exit 0")
    with open(history, encoding="utf-8", errors="replace") as f:
        # libedit's file format writes blanks as octal escapes.
        if "kept across sessions" not in f.read().replace("\\040", " "):
            first.fail(f"{history} does not hold the typed line")

    second = Terminal([host, "--apps", apps, f"--history={history}", "-i"], env)
    second.prompt()
    second.type(UP + "\r")
    second.read_until(r"<stdin>:1\s*\r?\n?# kept across sessions|# kept across sessions",
                      "recalled note from the history file")
    second.prompt()
    second.type(CTRL_D)
    if second.finish() != 0:
        second.fail("second history session did not exit 0")

    # Plain --history: the file under $XDG_STATE_HOME, its directories created on the way.
    state_env = dict(env, XDG_STATE_HOME=os.path.join(work, "xdg"))
    third = Terminal([host, "--apps", apps, "--history", "-i"], state_env)
    third.prompt()
    third.type("note in the state directory\r")
    third.read_until(r"# in the state directory", "note")
    third.prompt()
    third.type(CTRL_D)
    if third.finish() != 0:
        third.fail("third history session did not exit 0")
    default_file = os.path.join(work, "xdg", "zarvo_host", "history")
    if not os.path.exists(default_file):
        third.fail(f"--history wrote no {default_file}")


def main():
    host, apps, work = sys.argv[1:4]
    shutil.rmtree(work, ignore_errors=True)
    home = os.path.join(work, "home")
    os.makedirs(home)
    env = environment(home)
    editing_session(host, apps, env)
    history_sessions(host, apps, env, work)
    # Nothing is written under HOME unless asked for.
    leftovers = [os.path.join(d, f) for d, _, files in os.walk(home) for f in files]
    if leftovers:
        sys.stderr.write(f"FAIL: files written under HOME: {leftovers}\n")
        sys.exit(1)
    print("pty session: completion, history, help and lost connection as expected")


if __name__ == "__main__":
    main()
