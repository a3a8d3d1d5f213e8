#!/usr/bin/env python3
"""Runs zarvo_view headless for one test and checks what it did.

The view gets a temporary HOME and XDG_RUNTIME_DIR (which must both be empty again at the end:
the view writes no profile), the offscreen platform and no GPU. The checks: the exit status,
stdout exactly equal to an expected file, lines that stderr must hold, lines that the simulated
application library's exit log (ZRV_SIM_EXIT_LOG) must hold or that it must lack, and a PNG that
must exist with more than one colour. Usage: see --help; everything after "--" is passed to
zarvo_view, with {pages} replaced by a temporary copy of the pages folder.
"""
import argparse
import functools
import http.server
import json
import os
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import threading
import urllib.request
import zlib


def png_rows(path):
    """The rows of an 8-bit RGB or RGBA PNG (not interlaced) as bytearrays, and its bytes per
    pixel."""
    with open(path, 'rb') as f:
        data = f.read()
    if data[:8] != b'\x89PNG\r\n\x1a\n':
        raise ValueError('not a PNG file')
    pos, idat, width, height, kind = 8, b'', 0, 0, 0
    while pos < len(data):
        length = int.from_bytes(data[pos:pos + 4], 'big')
        tag, body = data[pos + 4:pos + 8], data[pos + 8:pos + 8 + length]
        pos += 12 + length
        if tag == b'IHDR':
            width, height = int.from_bytes(body[0:4], 'big'), int.from_bytes(body[4:8], 'big')
            if body[8] != 8 or body[9] not in (2, 6) or body[12] != 0:
                raise ValueError('only 8-bit RGB/RGBA, not interlaced, is checked')
            kind = body[9]
        elif tag == b'IDAT':
            idat += body
    bpp = 3 if kind == 2 else 4
    raw, stride = zlib.decompress(idat), width * bpp
    previous, rows, at = bytearray(stride), [], 0
    for _ in range(height):
        kind_of_filter, row = raw[at], bytearray(raw[at + 1:at + 1 + stride])
        at += 1 + stride
        for i in range(stride):
            a = row[i - bpp] if i >= bpp else 0
            b, c = previous[i], previous[i - bpp] if i >= bpp else 0
            if kind_of_filter == 1:
                row[i] = (row[i] + a) & 255
            elif kind_of_filter == 2:
                row[i] = (row[i] + b) & 255
            elif kind_of_filter == 3:
                row[i] = (row[i] + (a + b) // 2) & 255
            elif kind_of_filter == 4:
                p = a + b - c
                pa, pb, pc = abs(p - a), abs(p - b), abs(p - c)
                pred = a if pa <= pb and pa <= pc else (b if pb <= pc else c)
                row[i] = (row[i] + pred) & 255
        rows.append(row)
        previous = row
    return rows, bpp


def png_colours(path):
    """The number of distinct pixels of the PNG (at most 3 are counted)."""
    rows, bpp = png_rows(path)
    seen = set()
    for row in rows:
        for x in range(0, len(row), bpp):
            seen.add(bytes(row[x:x + bpp]))
            if len(seen) >= 3:
                return len(seen)
    return len(seen)


def png_pixel(path, x, y):
    """The colour at (x, y) as RRGGBB."""
    rows, bpp = png_rows(path)
    return rows[y][x * bpp:x * bpp + 3].hex()


def environment(home, runtime):
    """Only what a headless machine needs: the view sets up Chromium itself (no GPU, no
    background networking, no sandbox as root), so nothing of that is given here."""
    env = dict(os.environ)
    env.update(HOME=home, XDG_RUNTIME_DIR=runtime, QT_QPA_PLATFORM='offscreen')
    for name in ('QTWEBENGINE_CHROMIUM_FLAGS', 'QTWEBENGINE_DISABLE_SANDBOX',
                 'QTWEBENGINE_REMOTE_DEBUGGING', 'QT_QUICK_BACKEND'):
        env.pop(name, None)
    return env


def copy_pages(source, work):
    """The pages in a fresh folder, with a file beside it and a link inside pointing at it."""
    pages = os.path.join(work, 'pages')
    shutil.copytree(source, pages)
    with open(os.path.join(work, 'secret.txt'), 'w') as f:
        f.write('outside the page folder\n')
    os.symlink('../secret.txt', os.path.join(pages, 'link.txt'))
    return pages


def serve_elsewhere(pages):
    """Serves the pages over HTTP on a free loopback port: another origin for the navigation
    test, named in pages/target.json. Returns the server and the URL of elsewhere.html."""
    class Quiet(http.server.SimpleHTTPRequestHandler):
        def log_message(self, *args):
            pass

    handler = functools.partial(Quiet, directory=pages)
    server = http.server.ThreadingHTTPServer(('127.0.0.1', 0), handler)
    threading.Thread(target=server.serve_forever, daemon=True).start()
    url = f'http://127.0.0.1:{server.server_address[1]}/elsewhere.html'
    with open(os.path.join(pages, 'target.json'), 'w') as f:
        json.dump({'elsewhere': url}, f)
    return server, url


def free_port():
    """A loopback port that was free a moment ago (the view's debugging port must be given)."""
    with socket.socket() as probe:
        probe.bind(('127.0.0.1', 0))
        return probe.getsockname()[1]


def devtools_browser(port):
    """The "Browser" of the remote-debugging endpoint's /json/version, or the error."""
    try:
        with urllib.request.urlopen(f'http://127.0.0.1:{port}/json/version', timeout=10) as answer:
            return json.load(answer).get('Browser', 'no Browser member')
    except (OSError, ValueError) as error:
        return f'error: {error}'


def peak_memory(pid):
    """The process's peak resident memory (VmHWM) in MiB, or None when it cannot be read."""
    try:
        with open(f'/proc/{pid}/status', encoding='ascii') as f:
            for line in f:
                if line.startswith('VmHWM:'):
                    return int(line.split()[1]) / 1024
    except OSError:
        pass
    return None


def install_layout(prefix, view, args):
    """An installed layout around a copy of the view: <prefix>/bin/zarvo_view, the plug-in in
    <prefix>/<libdir>, the description and web folder in <prefix>/share/zarvo_bridging. Returns
    the copy's path."""
    data = os.path.join(prefix, 'share', 'zarvo_bridging')
    for folder in ('bin', args.installed_libdir, data):
        os.makedirs(os.path.join(prefix, folder), exist_ok=True)
    copy = os.path.join(prefix, 'bin', 'zarvo_view')
    shutil.copy2(view, copy)
    shutil.copy2(args.installed_plugin,
                 os.path.join(prefix, args.installed_libdir, 'libzarvo_bridging.so.2'))
    shutil.copy2(args.installed_apps, os.path.join(data, 'applications.json'))
    shutil.copytree(args.installed_web, os.path.join(data, 'web'))
    return copy


def install_build(build, prefix, cmake):
    """`cmake --install` of the build into prefix, the plain install and the stand-ins, as the
    install guide does. Returns the installed view."""
    for extra in ([], ['--component', 'stand_ins']):
        subprocess.run([cmake, '--install', build, '--prefix', prefix] + extra, check=True,
                       stdout=subprocess.DEVNULL)
    return os.path.join(prefix, 'bin', 'zarvo_view')


def mapped_files(pid):
    """The files mapped into the process."""
    with open(f'/proc/{pid}/maps', encoding='utf-8', errors='replace') as f:
        return {line.split(None, 5)[5].strip() for line in f if len(line.split(None, 5)) == 6}


def run_view(command, env, signal_after, on_signal_line=None, signal_number=signal.SIGTERM):
    """Runs the view; once a stdout line equals `signal_after`, calls `on_signal_line` and sends
    the signal."""
    process = subprocess.Popen(command, env=env, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
    lines = []

    def read_stdout():
        for raw in process.stdout:
            line = raw.decode('utf-8', 'replace').rstrip('\n')
            lines.append(line)
            if signal_after is not None and line == signal_after:
                if on_signal_line is not None:
                    on_signal_line(process.pid)
                process.send_signal(signal_number)

    reader = threading.Thread(target=read_stdout)
    reader.start()
    stderr = process.stderr.read().decode('utf-8', 'replace')
    process.wait()
    reader.join()
    return process.returncode, lines, stderr.splitlines()


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument('--pages', help='folder copied to a temporary {pages}')
    parser.add_argument('--serve-elsewhere', action='store_true',
                        help='serve {pages} over HTTP as another origin ({elsewhere})')
    parser.add_argument('--exit', type=int, default=0, help='expected exit status')
    parser.add_argument('--stdout', help='file whose lines stdout must equal exactly')
    parser.add_argument('--stderr-line', action='append', default=[], help='a line stderr holds')
    parser.add_argument('--log-line', action='append', default=[], help='a line the exit log holds')
    parser.add_argument('--log-lacks', action='append', default=[],
                        help='text that no exit-log line contains')
    parser.add_argument('--signal-after', help='send a signal once stdout shows this line')
    parser.add_argument('--signal', choices=['TERM', 'INT'], default='TERM', help='which signal')
    parser.add_argument('--devtools', metavar='BROWSER',
                        help='{port} is a free port; at --signal-after, its /json/version must '
                             'name this browser')
    parser.add_argument('--max-peak-mib', type=float,
                        help='at --signal-after, the view\'s peak resident memory (VmHWM) must be '
                             'at most this many MiB; the figure is printed')
    parser.add_argument('--installed-plugin', help='run a copy of the view from an installed '
                        'layout in {prefix} with this plug-in (see install_layout)')
    parser.add_argument('--installed-apps', help='the description of the installed layout')
    parser.add_argument('--installed-web', help='the web folder of the installed layout')
    parser.add_argument('--installed-libdir', default='lib', help='libdir of the installed layout')
    parser.add_argument('--install-build', metavar='BUILD_DIR',
                        help='install this build into {prefix} (cmake --install, also the '
                             'stand_ins component) and run the installed view instead')
    parser.add_argument('--cmake', default='cmake', help='cmake for --install-build')
    parser.add_argument('--mapped', action='append', default=[],
                        help='at --signal-after, the view must have this file mapped')
    parser.add_argument('--png', help='PNG the run must write, with more than one colour')
    parser.add_argument('--png-pixel', action='append', default=[], metavar='X,Y,RRGGBB',
                        help='the --png must have this colour at this pixel')
    parser.add_argument('view', nargs=argparse.REMAINDER)
    args = parser.parse_args()
    view = args.view[1:] if args.view[:1] == ['--'] else args.view

    failures = []
    with tempfile.TemporaryDirectory(prefix='zarvo_view_test.') as work:
        home, runtime = os.path.join(work, 'home'), os.path.join(work, 'runtime')
        os.mkdir(home)
        os.mkdir(runtime, 0o700)
        pages = copy_pages(args.pages, work) if args.pages else ''
        server, elsewhere = serve_elsewhere(pages) if args.serve_elsewhere else (None, '')
        exit_log = os.path.join(work, 'exit.log')
        env = environment(home, runtime)
        env['ZRV_SIM_EXIT_LOG'] = exit_log
        if args.png and os.path.exists(args.png):
            os.remove(args.png)
        port = str(free_port()) if args.devtools else ''
        prefix = os.path.join(work, 'prefix')
        if args.installed_plugin:
            view = [install_layout(prefix, view[0], args)] + view[1:]
        elif args.install_build:
            view = [install_build(args.install_build, prefix, args.cmake)] + view[1:]
        command = [part.replace('{pages}', pages).replace('{port}', port) for part in view]
        browser, peaks, maps = [], [], []

        def at_signal_line(pid):
            if args.mapped:
                maps.append(mapped_files(pid))
            if args.devtools:
                browser.append(devtools_browser(port))
            if args.max_peak_mib is not None:
                peaks.append(peak_memory(pid))

        code, out, err = run_view(command, env, args.signal_after, at_signal_line,
                                  getattr(signal, 'SIG' + args.signal))
        if args.devtools and browser != [args.devtools]:
            failures.append(f'remote debugging on port {port}: {browser}, expected {args.devtools}')
        for file in (text.replace('{prefix}', prefix) for text in args.mapped):
            if not maps or file not in maps[0]:
                failures.append(f'the view had not mapped {file}')
        if args.max_peak_mib is not None:
            if not peaks or peaks[0] is None:
                failures.append('the peak memory could not be read')
            else:
                print(f'peak resident memory of the view: {peaks[0]:.0f} MiB')
                if peaks[0] > args.max_peak_mib:
                    failures.append(f'peak memory {peaks[0]:.0f} MiB, at most {args.max_peak_mib}')
        if server is not None:
            server.shutdown()
            server.server_close()

        if code != args.exit:
            failures.append(f'exit status {code}, expected {args.exit}')
        if args.stdout:
            with open(args.stdout, encoding='utf-8') as f:
                expected = f.read().splitlines()
            if out != expected:
                failures.append('stdout differs from ' + args.stdout)
                for i in range(max(len(out), len(expected))):
                    got = out[i] if i < len(out) else '<missing>'
                    want = expected[i] if i < len(expected) else '<none>'
                    if got != want:
                        failures.append(f'  line {i + 1}: got  {got}\n  line {i + 1}: want {want}')
        for line in (text.replace('{elsewhere}', elsewhere).replace('{port}', port)
                     .replace('{pages}', pages) for text in args.stderr_line):
            if line not in err:
                failures.append(f'stderr lacks the line: {line}')
        log = open(exit_log, encoding='utf-8').read().splitlines() if os.path.exists(exit_log) else None
        if (args.log_line or args.log_lacks) and log is None:
            failures.append('no exit log was written')
        for line in args.log_line:
            if log is not None and line not in log:
                failures.append(f'exit log lacks the line: {line}')
        for text in args.log_lacks:
            if log is not None and any(text in line for line in log):
                failures.append(f'exit log has a line with: {text}')
        if args.png:
            try:
                colours = png_colours(args.png)
                if colours < 2:
                    failures.append(f'{args.png} is blank (one colour)')
                for check in args.png_pixel:
                    x, y, colour = check.split(',')
                    seen = png_pixel(args.png, int(x), int(y))
                    if seen != colour.lower():
                        failures.append(f'{args.png}: pixel {x},{y} is {seen}, expected {colour}')
            except (OSError, ValueError) as error:
                failures.append(f'{args.png}: {error}')
        for folder in (home, runtime):
            if os.listdir(folder):
                failures.append(f'the view wrote into {os.path.basename(folder)}: {os.listdir(folder)}')

    if failures:
        print('stdout:\n  ' + '\n  '.join(out))
        print('stderr:\n  ' + '\n  '.join(err))
        print('exit log:\n  ' + '\n  '.join(log or []))
        print('FAILED:\n' + '\n'.join(failures))
        return 1
    print(f'ok: exit {code}, {len(out)} stdout lines')
    return 0


if __name__ == '__main__':
    sys.exit(main())
