#!/usr/bin/env python3
"""Cliphaven beside a peer clipboard manager (CopyQ) on one private X server.

    bench/side-by-side.sh [BUILD]      installs copyq from Debian, then runs this script
    side_by_side.py --cliphaven BUILD/cliphaven [--rounds N] [--keep]

Each round starts each program in turn with a fresh home and does the same things to both:
start until it answers its command line, sit idle, open and close its window by command and
by global shortcut, time single text and 2 MB PNG copies, fill the history to 200 entries
(160 texts, 40 screenshots), sit idle again. Programs alternate within a round, and rounds
repeat, so load from elsewhere on the machine falls on both. Every figure is printed as the
median over all samples (with the smallest and largest) and the ratio Cliphaven / peer; for
every figure lower is better.

How each figure is taken:
  start -> ready     process start until a command of its command line has returned an answer
                     from the running instance (`cliphaven resume`, `copyq count`), probed
                     every 10 ms (CopyQ's client itself waits for a server that is starting)
  command -> mapped  `cliphaven --toggle` / `copyq show` until the window's MapNotify;
  command -> hidden  `cliphaven --toggle` / `copyq hide` until its UnmapNotify
  command returns    the toggle command's own process, start to exit
  shortcut -> mapped `xdotool key shift+super+v` (CopyQ is given the same global shortcut)
  text / PNG capture xclip started until the program has the entry: Cliphaven's
                     cliphaven.capture log line, CopyQ's count() watched from its own script
                     engine every 5 ms (half a period, 2.5 ms, is subtracted)
  idle memory        PSS of the program's processes 5 s after ready, and 5 s after the fill
  idle CPU           CPU time of those processes over 10 s with 200 entries, % of one core
"""

import argparse
import ctypes
import ctypes.util
import os
import queue
import random
import select
import shutil
import signal
import statistics
import struct
import subprocess
import sys
import tempfile
import threading
import time
import zlib

SHORTCUT = "shift+super+v"
COPYQ_SCRIPT_POLL_MS = 5


# --------------------------------------------------------------------------- processes

class Processes:
    """Everything this benchmark starts, ended by its own handle (never by name)."""

    def __init__(self):
        self.started = []

    def start(self, args, **kw):
        kw.setdefault("stdin", subprocess.DEVNULL)
        kw.setdefault("stdout", subprocess.DEVNULL)
        kw.setdefault("stderr", subprocess.DEVNULL)
        proc = subprocess.Popen(args, **kw)
        self.started.append(proc)
        return proc

    @staticmethod
    def end(proc, grace=5.0):
        if proc.poll() is not None:
            return
        proc.terminate()
        try:
            proc.wait(grace)
        except subprocess.TimeoutExpired:
            proc.kill()
            proc.wait()

    def end_all(self):
        for proc in reversed(self.started):
            self.end(proc, 3)
        self.started.clear()


def tree(pid):
    """pid and its descendants."""
    children = {}
    for entry in os.listdir("/proc"):
        if not entry.isdigit():
            continue
        try:
            with open(f"/proc/{entry}/stat") as f:
                fields = f.read().rsplit(")", 1)[1].split()
        except OSError:
            continue
        children.setdefault(int(fields[1]), []).append(int(entry))
    found, todo = [], [pid]
    while todo:
        p = todo.pop()
        found.append(p)
        todo.extend(children.get(p, []))
    return found


def pss_mib(pid):
    total = 0
    for p in tree(pid):
        try:
            with open(f"/proc/{p}/smaps_rollup") as f:
                for line in f:
                    if line.startswith("Pss:"):
                        total += int(line.split()[1])
        except OSError:
            pass
    return total / 1024


def cpu_seconds(pid):
    ticks = 0
    for p in tree(pid):
        try:
            with open(f"/proc/{p}/stat") as f:
                fields = f.read().rsplit(")", 1)[1].split()
            ticks += int(fields[11]) + int(fields[12])
        except OSError:
            pass
    return ticks / os.sysconf("SC_CLK_TCK")


# --------------------------------------------------------------------------- X11 through Xlib

class Display:
    """The few Xlib calls needed to see one window being mapped or unmapped."""

    STRUCTURE_NOTIFY = 1 << 17
    UNMAP_NOTIFY, MAP_NOTIFY = 18, 19

    def __init__(self):
        self.lib = ctypes.CDLL(ctypes.util.find_library("X11"))
        lib = self.lib
        lib.XOpenDisplay.restype = ctypes.c_void_p
        lib.XOpenDisplay.argtypes = [ctypes.c_char_p]
        lib.XSelectInput.argtypes = [ctypes.c_void_p, ctypes.c_ulong, ctypes.c_long]
        lib.XPending.argtypes = [ctypes.c_void_p]
        lib.XNextEvent.argtypes = [ctypes.c_void_p, ctypes.c_void_p]
        lib.XConnectionNumber.argtypes = [ctypes.c_void_p]
        lib.XSync.argtypes = [ctypes.c_void_p, ctypes.c_int]
        self.handle = lib.XOpenDisplay(None)
        if not self.handle:
            sys.exit("side_by_side: cannot open the display")
        self.fd = lib.XConnectionNumber(self.handle)
        self.event = (ctypes.c_long * 24)()

    def watch(self, window):
        self.lib.XSelectInput(self.handle, window, self.STRUCTURE_NOTIFY)
        self.lib.XSync(self.handle, 0)
        self.drain()

    def drain(self):
        types = []
        while self.lib.XPending(self.handle):
            self.lib.XNextEvent(self.handle, ctypes.byref(self.event))
            types.append(self.event[0] & 0x7F)
        return types

    def wait_for(self, event_type, timeout):
        """Seconds since the call's start at which event_type arrived, or None."""
        end = time.monotonic() + timeout
        while time.monotonic() < end:
            if event_type in self.drain():
                return time.monotonic()
            select.select([self.fd], [], [], 0.05)
        return None


# --------------------------------------------------------------------------- test content

def png(width, height, rows):
    """A PNG from a row function: rows(y) -> bytes of width*3."""
    raw = b"".join(b"\0" + rows(y) for y in range(height))

    def chunk(kind, data):
        return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))

    return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 8, 2, 0, 0, 0))
            + chunk(b"IDAT", zlib.compress(raw, 6)) + chunk(b"IEND", b""))


def noise_png(seed, size_bytes):
    """Incompressible pixels: about size_bytes of PNG."""
    rng = random.Random(seed)
    side = int((size_bytes / 3) ** 0.5)
    return png(side, side, lambda y: rng.randbytes(side * 3))


def screenshot_png(seed):
    """A 1920x1080 picture with flat areas and some detail, like a screenshot."""
    rng = random.Random(seed)
    bands = [bytes([rng.randrange(256) for _ in range(3)]) * 1920 for _ in range(12)]
    detail = rng.randbytes(1920 * 3)
    return png(1920, 1080, lambda y: detail if y % 97 == seed % 97 else bands[(y * 12) // 1080])


# --------------------------------------------------------------------------- the programs

class Program:
    name = ""

    def __init__(self, bench, home):
        self.bench = bench
        self.home = home
        for sub in ("config", "data", "cache", "run"):
            os.makedirs(os.path.join(home, sub), mode=0o700, exist_ok=True)
        self.env = dict(os.environ, HOME=home, XDG_CONFIG_HOME=f"{home}/config",
                        XDG_DATA_HOME=f"{home}/data", XDG_CACHE_HOME=f"{home}/cache",
                        XDG_RUNTIME_DIR=f"{home}/run")
        self.proc = None

    def run(self, args, timeout=20, stdin=None):
        return subprocess.run(args, env=self.env, input=stdin, stdout=subprocess.DEVNULL,
                              stderr=subprocess.DEVNULL, timeout=timeout).returncode == 0

    def start(self):
        """Starts the program; returns start -> ready in ms."""
        t0 = time.monotonic()
        self.launch()
        deadline = t0 + 60
        while time.monotonic() < deadline:
            if self.run(self.ready_command, timeout=10):
                return (time.monotonic() - t0) * 1000
            time.sleep(0.01)
        raise SystemExit(f"side_by_side: {self.name} did not become ready")

    def stop(self):
        self.stop_watching()
        if self.proc:
            Processes.end(self.proc, 10)

    def window(self):
        """The program's window, once shown: found through its process id."""
        out = subprocess.run(["xdotool", "search", "--sync", "--onlyvisible", "--pid",
                              str(self.proc.pid)], capture_output=True, text=True, timeout=20)
        return int(out.stdout.split()[0])


class Cliphaven(Program):
    name = "Cliphaven"

    def __init__(self, bench, home, executable):
        super().__init__(bench, home)
        self.executable = executable
        self.ready_command = [executable, "resume"]
        self.show_command = self.hide_command = [executable, "--toggle"]
        self.captures = queue.Queue()

    def launch(self):
        env = dict(self.env, QT_LOGGING_RULES="cliphaven.capture.debug=true",
                   QT_FORCE_STDERR_LOGGING="1")
        self.proc = self.bench.processes.start([self.executable], env=env,
                                               stderr=subprocess.PIPE)
        threading.Thread(target=self.read_log, daemon=True).start()

    def read_log(self):
        for line in self.proc.stderr:
            if b"cliphaven.capture" in line:
                self.captures.put(time.monotonic())

    def setup(self):
        pass

    def expect_capture(self):
        while not self.captures.empty():
            self.captures.get_nowait()

    def captured_at(self, timeout):
        try:
            return self.captures.get(timeout=timeout)
        except queue.Empty:
            return None

    def stop_watching(self):
        pass


class CopyQ(Program):
    name = "CopyQ"
    ready_command = ["copyq", "count"]
    show_command = ["copyq", "show"]
    hide_command = ["copyq", "hide"]
    # Prints the wall-clock time of each change of the item count, from inside CopyQ. (CopyQ
    # turns a backslash-n in a command-line argument into a real line break, so none is used.)
    watch_script = """
var newline = String.fromCharCode(10);
var seen = count();
print("ready" + newline);
while (true) {
    var now = count();
    if (now != seen) { seen = now; print(Date.now() + newline); }
    sleep(%d);
}
""" % COPYQ_SCRIPT_POLL_MS

    def launch(self):
        # Room for more than 200 entries, so the count keeps moving during the fill.
        os.makedirs(f"{self.home}/config/copyq", exist_ok=True)
        with open(f"{self.home}/config/copyq/copyq.conf", "w") as conf:
            conf.write("[Options]\nmaxitems=1000\n")
        self.proc = self.bench.processes.start(["copyq"], env=self.env)
        self.watcher = None

    def setup(self):
        # The same global shortcut as Cliphaven's, showing the window.
        self.run(["copyq", "eval", "setCommands(commands().concat([{name: 'bench show', "
                  "cmd: 'copyq: show()', isGlobalShortcut: true, globalShortcuts: ['%s']}]))"
                  % SHORTCUT.replace("super", "meta")])
        self.watcher = self.bench.processes.start(["copyq", "eval", self.watch_script],
                                                  env=self.env, stdout=subprocess.PIPE)
        if self.watcher.stdout.readline().strip() != b"ready":
            raise SystemExit("side_by_side: CopyQ's watcher did not start")
        self.changes = queue.Queue()
        threading.Thread(target=self.read_watcher, daemon=True).start()

    def read_watcher(self):
        for line in self.watcher.stdout:
            try:
                wall = int(line) / 1000 - COPYQ_SCRIPT_POLL_MS / 2000
            except ValueError:
                continue
            self.changes.put(time.monotonic() - (time.time() - wall))

    def expect_capture(self):
        while not self.changes.empty():
            self.changes.get_nowait()

    def captured_at(self, timeout):
        try:
            return self.changes.get(timeout=timeout)
        except queue.Empty:
            return None

    def stop_watching(self):
        if getattr(self, "watcher", None):
            Processes.end(self.watcher, 1)
            self.watcher = None


# --------------------------------------------------------------------------- the bench

class Bench:
    def __init__(self, args):
        self.args = args
        self.processes = Processes()
        self.work = tempfile.mkdtemp(prefix="side-by-side.")
        self.samples = {}  # (figure, program) -> [values]
        self.text_counter = 0

    def record(self, figure, program, value):
        if value is not None:
            self.samples.setdefault((figure, program.name), []).append(value)

    def start_desktop(self):
        read, write = os.pipe()
        self.xvfb = self.processes.start(["Xvfb", "-displayfd", str(write), "-screen", "0",
                                          "1920x1080x24", "-nolisten", "tcp"], pass_fds=[write])
        os.close(write)
        number = b""
        while not number.endswith(b"\n"):
            chunk = os.read(read, 16)
            if not chunk:
                raise SystemExit("side_by_side: Xvfb did not start")
            number += chunk
        os.close(read)
        os.environ["DISPLAY"] = ":" + number.decode().strip()
        os.environ.pop("WAYLAND_DISPLAY", None)
        wm_home = os.path.join(self.work, "wm")
        os.makedirs(wm_home)
        self.processes.start(["openbox", "--sm-disable"], env=dict(os.environ, HOME=wm_home))
        for _ in range(500):
            if subprocess.run(["xprop", "-root", "_NET_SUPPORTING_WM_CHECK"], capture_output=True,
                              text=True).stdout.find("window id") >= 0:
                break
            time.sleep(0.02)
        self.display = Display()

    def copy(self, data, mime):
        """Puts data on the clipboard with xclip, which stays until the next copy."""
        if getattr(self, "owner", None):
            Processes.end(self.owner, 2)
        self.owner = self.processes.start(["xclip", "-selection", "clipboard", "-t", mime, "-i"],
                                          stdin=subprocess.PIPE)
        self.owner.stdin.write(data)
        self.owner.stdin.close()

    def next_text(self):
        self.text_counter += 1
        return (f"clip {self.text_counter}: " + "the quick brown fox jumps over the lazy dog " * 3).encode()

    def timed_capture(self, program, data, mime):
        program.expect_capture()
        t0 = time.monotonic()
        self.copy(data, mime)
        captured = program.captured_at(15)
        return None if captured is None else (captured - t0) * 1000

    def toggle_timing(self, program, window, command, event_type):
        t0 = time.monotonic()
        proc = subprocess.Popen(command, env=program.env, stdout=subprocess.DEVNULL,
                                stderr=subprocess.DEVNULL)
        returned = []
        waiter = threading.Thread(target=lambda: (proc.wait(20), returned.append(time.monotonic())))
        waiter.start()
        seen = self.display.wait_for(event_type, 10)
        waiter.join()
        return (None if seen is None else (seen - t0) * 1000), (returned[0] - t0) * 1000

    def round(self, program):
        self.record("start -> ready (ms)", program, program.start())
        program.setup()
        time.sleep(5)
        self.record("idle PSS, empty (MiB)", program, pss_mib(program.proc.pid))

        # The window: shown once to find it, then by command and by shortcut.
        subprocess.run(program.show_command, env=program.env, timeout=20)
        window = program.window()
        self.display.watch(window)
        subprocess.run(program.hide_command, env=program.env, timeout=20)
        self.display.wait_for(Display.UNMAP_NOTIFY, 5)
        for _ in range(self.args.shows):
            time.sleep(0.4)
            shown, returned = self.toggle_timing(program, window, program.show_command,
                                                 Display.MAP_NOTIFY)
            self.record("command -> mapped (ms)", program, shown)
            self.record("show command returns (ms)", program, returned)
            time.sleep(0.4)
            hidden, returned = self.toggle_timing(program, window, program.hide_command,
                                                  Display.UNMAP_NOTIFY)
            self.record("command -> hidden (ms)", program, hidden)
            self.record("hide command returns (ms)", program, returned)
            time.sleep(0.4)
            shown, _ = self.toggle_timing(program, window, ["xdotool", "key", SHORTCUT],
                                          Display.MAP_NOTIFY)
            self.record("shortcut -> mapped (ms)", program, shown)
            time.sleep(0.4)
            subprocess.run(program.hide_command, env=program.env, timeout=20)
            self.display.wait_for(Display.UNMAP_NOTIFY, 5)

        # The history: 160 texts and 40 screenshots, then single timed copies on top.
        for i in range(self.args.fill):
            if i % 5 == 4:
                self.timed_capture(program, self.screenshots[i // 5], "image/png")
            else:
                self.timed_capture(program, self.next_text(), "text/plain")
        for i in range(self.args.captures):
            time.sleep(0.2)
            self.record("text capture (ms)", program,
                        self.timed_capture(program, self.next_text(), "text/plain"))
        for i in range(max(1, self.args.captures // 3)):
            time.sleep(0.3)
            self.record("2 MB PNG capture (ms)", program,
                        self.timed_capture(program, self.big_pngs[i % len(self.big_pngs)],
                                           "image/png"))
        time.sleep(5)
        self.record(f"idle PSS, {self.args.fill} entries (MiB)", program, pss_mib(program.proc.pid))
        before, t0 = cpu_seconds(program.proc.pid), time.monotonic()
        time.sleep(self.args.idle_seconds)
        self.record(f"idle CPU, {self.args.fill} entries (%)", program,
                    100 * (cpu_seconds(program.proc.pid) - before) / (time.monotonic() - t0))
        program.stop()
        if getattr(self, "owner", None):
            Processes.end(self.owner, 2)
            self.owner = None

    def run(self):
        print("making test images...", file=sys.stderr)
        self.screenshots = [screenshot_png(i) for i in range(40)]
        self.big_pngs = [noise_png(1000 + i, 2 * 1024 * 1024) for i in range(3)]
        self.start_desktop()
        for r in range(self.args.rounds):
            order = [Cliphaven, CopyQ] if r % 2 == 0 else [CopyQ, Cliphaven]
            for kind in order:
                home = os.path.join(self.work, f"{kind.name}-{r}")
                program = (Cliphaven(self, home, self.args.cliphaven) if kind is Cliphaven
                           else CopyQ(self, home))
                print(f"round {r + 1}: {program.name}", file=sys.stderr)
                try:
                    self.round(program)
                finally:
                    program.stop()
        self.report()

    def report(self):
        figures = []
        for figure, _ in self.samples:
            if figure not in figures:
                figures.append(figure)
        print(f"{'figure':30} {'Cliphaven median [min-max]':>28} {'CopyQ median [min-max]':>28}"
              f" {'ratio':>6}")
        for figure in figures:
            ours = self.samples.get((figure, "Cliphaven"), [])
            peer = self.samples.get((figure, "CopyQ"), [])

            def cell(values):
                if not values:
                    return "-"
                return (f"{statistics.median(values):.1f} [{min(values):.1f}-{max(values):.1f}]"
                        f" n={len(values)}")
            ratio = "-"
            if ours and peer and statistics.median(peer) > 0:
                ratio = f"{statistics.median(ours) / statistics.median(peer):.2f}"
            print(f"{figure:30} {cell(ours):>28} {cell(peer):>28} {ratio:>6}")

    def close(self):
        self.processes.end_all()
        if not self.args.keep:
            shutil.rmtree(self.work, ignore_errors=True)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--cliphaven", required=True, help="the cliphaven command of a build")
    parser.add_argument("--rounds", type=int, default=2)
    parser.add_argument("--shows", type=int, default=5, help="show/hide cycles per round")
    parser.add_argument("--captures", type=int, default=15, help="timed text copies per round")
    parser.add_argument("--idle-seconds", type=float, default=10)
    parser.add_argument("--fill", type=int, default=200,
                        help="entries copied before the idle figures (one in five a screenshot)")
    parser.add_argument("--keep", action="store_true", help="keep the work folder")
    args = parser.parse_args()
    if not shutil.which("copyq"):
        sys.exit("side_by_side: copyq is not installed (bench/side-by-side.sh installs it)")
    bench = Bench(args)
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))
    try:
        bench.run()
    finally:
        bench.close()


if __name__ == "__main__":
    main()
