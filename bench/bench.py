#!/usr/bin/python3
# SPDX-FileCopyrightText: 2026 The Lanternfold developers
# SPDX-License-Identifier: GPL-3.0-or-later
"""Measures Lanternfold's performance figures, each beside a baseline taken in the same run, and
writes them as a table into README.md (between <!-- bench:begin --> and <!-- bench:end -->).

Run by scripts/bench.sh inside a private session bus with a keyring (tests/support/run-session-bus.sh
--keyring) and temporary HOME and XDG folders (tests/support/run-isolated.sh). The machine may be
busy with other work, so no figure is an absolute time: each is a ratio to a baseline measured side
by side, the two programs' repetitions interleaved, and medians of several repetitions.

  bench.py BUILD_DIR SOURCE_DIR STAT_DEVICE_JSON CAMERAS_JSON [README]

The large-site figures need the example objects (LANTERNFOLD_EXAMPLES, default ../shared/examples)
to write answers of thousands of devices with bench/make_stat_device.py and bench/make_cameras.py.
"""
import ctypes
import json
import os
import re
import select
import shutil
import signal
import statistics
import subprocess
import sys
import tempfile
import time
import uuid

BUILD, SOURCE, DEVICES, CAMERAS = (sys.argv[1:5] + [""] * 4)[:4]
README = sys.argv[5] if len(sys.argv) > 5 else None
LANTERNFOLD = os.path.join(BUILD, "src", "lanternfold")
MINIMAL = os.path.join(BUILD, "bench", "minimal-window")
MEMORY_FLOOR = os.path.join(BUILD, "bench", "memory-floor")
SIM = os.path.join(BUILD, "tools", "controller-sim", "lanternfold-sim")
HARNESS = os.path.join(BUILD, "bench", "bench_connect")
FLOOR = os.path.join(BUILD, "bench", "connect-floor")
INVENTORY = os.path.join(BUILD, "bench", "bench_inventory")
LARGE = os.path.join(BUILD, "bench", "bench_largesite")
EXAMPLES = os.environ.get("LANTERNFOLD_EXAMPLES", os.path.join(SOURCE, "..", "shared", "examples"))
USER, PASSWORD = "demo", "lanternfold-demo"
START_ROUNDS = int(os.environ.get("LANTERNFOLD_BENCH_START_ROUNDS", "21"))
DECODE_BLOCKS = int(os.environ.get("LANTERNFOLD_BENCH_DECODE_BLOCKS", "7"))
CONNECT_ROUNDS = int(os.environ.get("LANTERNFOLD_BENCH_CONNECT_ROUNDS", "8"))  # of 3 connects each
IDLE_SECONDS = int(os.environ.get("LANTERNFOLD_BENCH_IDLE_SECONDS", "60"))
LARGE_ROUNDS = int(os.environ.get("LANTERNFOLD_BENCH_LARGE_ROUNDS", "5"))
# Sites for the memory of the rows: (access points, cameras).
LARGE_SIZES = [(0, 0), (2500, 125), (5000, 250), (7500, 375), (10000, 500)]
TMP = os.environ.get("LANTERNFOLD_TEST_TMP") or tempfile.mkdtemp()
# A login session's runtime folder (/run/user/UID) is a tmpfs; so is this one where the machine has
# one, so that the single-instance lock and socket cost what they cost on a desktop, not a disk's
# file creation and sync.
RUNTIME_TMP = tempfile.mkdtemp(prefix="lanternfold-bench.", dir="/dev/shm") if os.path.isdir("/dev/shm") else TMP
children = []


def log(text):
    print(text, flush=True)


# The X server, watched from outside the programs: every window mapped at the top level is seen
# as a MapNotify event the moment the server maps it, with no polling.

class XMapEvent(ctypes.Structure):
    _fields_ = [("type", ctypes.c_int), ("serial", ctypes.c_ulong), ("send_event", ctypes.c_int),
                ("display", ctypes.c_void_p), ("event", ctypes.c_ulong), ("window", ctypes.c_ulong),
                ("override_redirect", ctypes.c_int)]


class XClientMessageEvent(ctypes.Structure):
    _fields_ = [("type", ctypes.c_int), ("serial", ctypes.c_ulong), ("send_event", ctypes.c_int),
                ("display", ctypes.c_void_p), ("window", ctypes.c_ulong), ("message_type", ctypes.c_ulong),
                ("format", ctypes.c_int), ("data", ctypes.c_long * 5)]


class XEvent(ctypes.Union):
    _fields_ = [("type", ctypes.c_int), ("xmap", XMapEvent), ("xclient", XClientMessageEvent),
                ("pad", ctypes.c_long * 24)]


MAP_NOTIFY, CLIENT_MESSAGE, SUBSTRUCTURE_NOTIFY_MASK = 19, 33, 1 << 19


class Display:
    def __init__(self, name):
        x = self.x = ctypes.CDLL("libX11.so.6")
        x.XOpenDisplay.restype = ctypes.c_void_p
        x.XOpenDisplay.argtypes = [ctypes.c_char_p]
        x.XDefaultRootWindow.restype = ctypes.c_ulong
        x.XDefaultRootWindow.argtypes = [ctypes.c_void_p]
        x.XSelectInput.argtypes = [ctypes.c_void_p, ctypes.c_ulong, ctypes.c_long]
        x.XNextEvent.argtypes = [ctypes.c_void_p, ctypes.POINTER(XEvent)]
        x.XPending.argtypes = [ctypes.c_void_p]
        x.XFlush.argtypes = [ctypes.c_void_p]
        x.XConnectionNumber.argtypes = [ctypes.c_void_p]
        x.XInternAtom.restype = ctypes.c_ulong
        x.XInternAtom.argtypes = [ctypes.c_void_p, ctypes.c_char_p, ctypes.c_int]
        x.XSendEvent.argtypes = [ctypes.c_void_p, ctypes.c_ulong, ctypes.c_int, ctypes.c_long, ctypes.POINTER(XEvent)]
        x.XGetGeometry.argtypes = [ctypes.c_void_p, ctypes.c_ulong] + [ctypes.POINTER(ctypes.c_ulong)] + \
            [ctypes.POINTER(ctypes.c_int)] * 2 + [ctypes.POINTER(ctypes.c_uint)] * 4
        # A window may be gone before it is looked at: such errors are not fatal here.
        self._ignore = ctypes.CFUNCTYPE(ctypes.c_int, ctypes.c_void_p, ctypes.c_void_p)(lambda d, e: 0)
        x.XSetErrorHandler(self._ignore)
        self.dpy = x.XOpenDisplay(name.encode())
        if not self.dpy:
            raise SystemExit(f"cannot open display {name}")
        self.root = x.XDefaultRootWindow(self.dpy)
        x.XSelectInput(self.dpy, self.root, SUBSTRUCTURE_NOTIFY_MASK)
        x.XFlush(self.dpy)
        self.fd = x.XConnectionNumber(self.dpy)

    def width(self, window):
        root, x, y = ctypes.c_ulong(), ctypes.c_int(), ctypes.c_int()
        w, h, border, depth = ctypes.c_uint(), ctypes.c_uint(), ctypes.c_uint(), ctypes.c_uint()
        if not self.x.XGetGeometry(self.dpy, window, ctypes.byref(root), ctypes.byref(x), ctypes.byref(y),
                                   ctypes.byref(w), ctypes.byref(h), ctypes.byref(border), ctypes.byref(depth)):
            return 0
        return w.value

    def drain(self):
        event = XEvent()
        while self.x.XPending(self.dpy):
            self.x.XNextEvent(self.dpy, ctypes.byref(event))

    def wait_for_window(self, timeout, min_width=200):
        """The first top-level window at least min_width wide mapped from now on: (when, window)."""
        deadline = time.monotonic() + timeout
        event = XEvent()
        while True:
            while self.x.XPending(self.dpy):
                self.x.XNextEvent(self.dpy, ctypes.byref(event))
                if event.type == MAP_NOTIFY and not event.xmap.override_redirect:
                    when = time.monotonic()
                    if self.width(event.xmap.window) >= min_width:
                        return when, event.xmap.window
            left = deadline - time.monotonic()
            if left <= 0:
                raise SystemExit("no window was shown in time")
            select.select([self.fd], [], [], left)

    def close(self, window):
        """Asks the window to close, as a window manager's close button does."""
        event = XEvent()
        event.xclient.type = CLIENT_MESSAGE
        event.xclient.window = window
        event.xclient.message_type = self.x.XInternAtom(self.dpy, b"WM_PROTOCOLS", 0)
        event.xclient.format = 32
        event.xclient.data[0] = self.x.XInternAtom(self.dpy, b"WM_DELETE_WINDOW", 0)
        event.xclient.data[1] = 0  # CurrentTime
        self.x.XSendEvent(self.dpy, window, 0, 0, ctypes.byref(event))
        self.x.XFlush(self.dpy)


# Processes.

def spawn(command, env=None, **kwargs):
    process = subprocess.Popen(command, env=env, **kwargs)
    children.append(process)
    return process


def stop(process):
    if process.poll() is None:
        process.send_signal(signal.SIGTERM)
        try:
            process.wait(20)
        except subprocess.TimeoutExpired:
            process.kill()
            process.wait()
    if process in children:
        children.remove(process)


def fresh_home(name):
    """A new user's HOME and XDG folders, as the first start of a program sees them."""
    root = tempfile.mkdtemp(prefix=name + ".", dir=TMP)
    env = dict(os.environ)
    for var, sub in [("HOME", "home"), ("XDG_CONFIG_HOME", "config"), ("XDG_DATA_HOME", "data"),
                     ("XDG_CACHE_HOME", "cache"), ("XDG_STATE_HOME", "state"), ("XDG_RUNTIME_DIR", "runtime")]:
        folder = os.path.join(root, sub)
        if var == "XDG_RUNTIME_DIR":
            folder = tempfile.mkdtemp(prefix=name + ".runtime.", dir=RUNTIME_TMP)
        else:
            os.makedirs(folder, mode=0o700)
        env[var] = folder
    return env


def start_sim(*extra, devices=None, cameras=None):
    out = os.path.join(TMP, "sim-%d.out" % len(children))
    logfile = out.replace(".out", ".log")
    sim = spawn([SIM, "--port", "0", "--no-stdin", "--devices", devices or DEVICES, "--cameras", cameras or CAMERAS,
                 "--log", logfile, *extra], stdout=open(out, "w"))
    for _ in range(200):
        text = open(out).read()
        match = re.search(r"^LISTENING (\S+) (\d+) (\S+)$", text, re.M)
        if match:
            return sim, match.group(1), int(match.group(2)), match.group(3), logfile
        time.sleep(0.05)
    raise SystemExit("the simulated controller did not start")


def requests(logfile):
    entries = []
    for line in open(logfile):
        entry = json.loads(line)
        if entry.get("event") == "request":
            entries.append(entry)
    return entries


# Figures.

def start_once(display, env_base, name):
    """One start of a program with a new user's HOME: exec to its main window's MapNotify, in ms."""
    env = fresh_home(name)
    env.update(env_base)
    display.drain()
    started = time.monotonic()
    process = spawn([LANTERNFOLD if name == "lanternfold" else MINIMAL], env=env)
    shown, _ = display.wait_for_window(30)
    time.sleep(0.3)
    stop(process)
    return (shown - started) * 1e3


def measure_start(display, env_base):
    """Exec to the main window's MapNotify, for both programs, interleaved."""
    times = {"lanternfold": [], "minimal": []}
    # One start of each first, not counted: the first start after a build or other work reads its
    # libraries from disk, which says more about the machine's page cache than about the program.
    for name in times:
        start_once(display, env_base, name)
    for round_ in range(START_ROUNDS):
        order = ["lanternfold", "minimal"] if round_ % 2 == 0 else ["minimal", "lanternfold"]
        for name in order:
            times[name].append(start_once(display, env_base, name))
    return statistics.median(times["lanternfold"]), statistics.median(times["minimal"]), times


def secret_store(env, host):
    subprocess.run(["secret-tool", "store", "--label=com.lanternfold.controller", "xdg:schema", "org.qt.keychain",
                    "user", f"{host}:{USER}", "server", "com.lanternfold.controller", "type", "plaintext"],
                   input=PASSWORD.encode(), env=env, check=True)


def logged_in_home(host, port, fingerprint, env_base):
    """A user who connected before: the saved controller, its pinned key, the remembered password,
    and a job that was due while the program was not running (it has no devices: it only makes the
    scheduler reconnect at start, as it does for a job due at login)."""
    env = fresh_home("lanternfold-idle")
    env.update(env_base)
    subprocess.run([HARNESS, "prefill", host, str(port), USER, fingerprint], env=env, check=True)
    secret_store(env, host)
    folder = os.path.join(env["XDG_DATA_HOME"], "Lanternfold")
    os.makedirs(folder)
    job = {"id": str(uuid.uuid4()).upper(), "name": "Reconnect", "targets": [],
           "rule": {"type": "once", "date": "2020-01-01T00:00:00Z"}, "staggerSeconds": 0, "isEnabled": True,
           "nextRunAt": "2020-01-01T00:00:00Z"}
    json.dump([job], open(os.path.join(folder, "schedules.json"), "w"))
    return env


def memory(pid):
    rss = anon = pss = 0
    for line in open(f"/proc/{pid}/status"):
        if line.startswith("VmRSS:"):
            rss = int(line.split()[1])
        elif line.startswith("RssAnon:"):
            anon = int(line.split()[1])
    for line in open(f"/proc/{pid}/smaps_rollup"):
        if line.startswith("Pss:"):
            pss = int(line.split()[1])
    return rss / 1024, pss / 1024, anon / 1024


def cpu(pid):
    """utime+stime in ms from /proc/PID/stat, and per thread: (on-CPU ns from schedstat, context switches)."""
    fields = open(f"/proc/{pid}/stat").read().rsplit(")", 1)[1].split()
    ticks = int(fields[11]) + int(fields[12])
    threads = {}
    for task in os.listdir(f"/proc/{pid}/task"):
        try:
            on_cpu = int(open(f"/proc/{pid}/task/{task}/schedstat").read().split()[0])
            switches = 0
            for line in open(f"/proc/{pid}/task/{task}/status"):
                if line.startswith(("voluntary_ctxt_switches", "nonvoluntary_ctxt_switches")):
                    switches += int(line.split()[1])
            threads[task] = (on_cpu, switches)
        except FileNotFoundError:
            pass
    return ticks * 1000 / os.sysconf("SC_CLK_TCK"), threads


def woken_threads(pid, before, after):
    """Each thread's name and context switches between two readings, for those that woke."""
    woken = []
    for task, (_, count) in sorted(after[1].items()):
        count -= before[1].get(task, (0, 0))[1]
        if count:
            try:
                name = open(f"/proc/{pid}/task/{task}/comm").read().strip()
            except FileNotFoundError:
                name = task
            woken.append(f"{name} {count}")
    return ", ".join(woken) or "none"


def cpu_used(before, after):
    """(utime+stime ms, on-CPU ms, wake-ups) between two readings; a thread that ended meanwhile
    counts nothing, one that started counts whole."""
    on_cpu = switches = 0
    for task, (ns, count) in after[1].items():
        ns0, count0 = before[1].get(task, (0, 0))
        on_cpu += ns - ns0
        switches += count - count0
    return after[0] - before[0], on_cpu / 1e6, switches


def measure_idle(display, env_base, host, port, fingerprint, logfile):
    """Memory after connecting and idling with the window shown; CPU over an idle with it closed."""
    env = logged_in_home(host, port, fingerprint, env_base)
    display.drain()
    lanternfold = spawn([LANTERNFOLD], env=env)
    _, lanternfold_window = display.wait_for_window(30)
    minimal_env = fresh_home("minimal-idle")
    minimal_env.update(env_base)
    minimal = spawn([MINIMAL], env=minimal_env)
    _, minimal_window = display.wait_for_window(30)
    # Beside them, the floor: what any program that makes an HTTPS request, reads the keyring and
    # formats a date loads, in the minimal window (bench/memory-floor.cpp).
    floor_env = fresh_home("floor-idle")
    floor_env.update(env_base)
    secret_store(floor_env, host)
    floor_out = os.path.join(TMP, "memory-floor.out")
    floor = spawn([MEMORY_FLOOR, f"https://{host}:{port}/status", f"{host}:{USER}"], env=floor_env,
                  stdout=open(floor_out, "w"))
    display.wait_for_window(30)
    deadline = time.monotonic() + 60
    while time.monotonic() < deadline:
        paths = [r["path"] for r in requests(logfile) if r.get("status") == 200]
        if any(p.endswith("/stat/device") for p in paths) and "/proxy/protect/api/cameras" in paths:
            break
        time.sleep(0.2)
    else:
        raise SystemExit("Lanternfold did not fetch the devices")
    log(f"  logged in, devices fetched; idling {IDLE_SECONDS} s with the windows shown")
    time.sleep(IDLE_SECONDS)
    mem = {"lanternfold": memory(lanternfold.pid), "minimal": memory(minimal.pid), "floor": memory(floor.pid)}
    if "ready" not in open(floor_out).read():
        raise SystemExit("the memory floor did not finish its request, password read and date")
    stop(floor)
    display.close(lanternfold_window)
    display.close(minimal_window)
    time.sleep(5)  # the close settles
    before = {"lanternfold": cpu(lanternfold.pid), "minimal": cpu(minimal.pid)}
    log(f"  windows closed; idling {IDLE_SECONDS} s")
    time.sleep(IDLE_SECONDS)
    after = {"lanternfold": cpu(lanternfold.pid), "minimal": cpu(minimal.pid)}
    used = {name: cpu_used(before[name], after[name]) for name in after}
    pids = {"lanternfold": lanternfold.pid, "minimal": minimal.pid}
    for name in after:
        log(f"  {name} wake-ups by thread: {woken_threads(pids[name], before[name], after[name])}")
    fetches = sum(1 for r in requests(logfile) if r["path"].endswith("/stat/device"))
    stop(lanternfold)
    stop(minimal)
    return mem, used, fetches


def measure_connect(env_base, host, port, fingerprint):
    """Lanternfold's connect until the rows are painted, beside the floor of its round trips."""
    env = dict(os.environ)
    env.update(env_base)
    lantern, floor = [], []
    for round_ in range(CONNECT_ROUNDS):
        order = ["floor", "lanternfold"] if round_ % 2 == 0 else ["lanternfold", "floor"]
        for name in order:
            if name == "floor":
                out = subprocess.run([FLOOR, host, str(port), USER, PASSWORD, "default", "3"], env=env,
                                     capture_output=True, text=True, check=True).stdout
                floor += [float(x) for x in re.findall(r"^floor-ms (\S+)$", out, re.M)]
            else:
                out = subprocess.run([HARNESS, "connect", host, str(port), USER, PASSWORD, fingerprint, "3"],
                                     env=env, capture_output=True, text=True, check=True).stdout
                lantern += [float(x) for x in re.findall(r"^connect-ms (\S+)$", out, re.M)]
    return statistics.median(lantern), statistics.median(floor), lantern, floor


def measure_decoding():
    """Python's json.loads of the same bytes and bench_inventory, taken in turns: DECODE_BLOCKS blocks
    of 10 rounds of each, so that a stretch where the shared machine runs slower weighs on both
    sides alike. CPU time of the decoding thread is the figure: on a shared machine elapsed time
    measures the scheduler as much as the code. The figures are the medians of the blocks' medians;
    the ratio is that of the two."""
    raw = open(DEVICES, "rb").read()
    python_blocks, our_blocks, out = [], [], ""
    for _ in range(DECODE_BLOCKS):
        cpu = []
        for _ in range(10):
            started_cpu = time.thread_time()
            json.loads(raw)
            cpu.append((time.thread_time() - started_cpu) * 1e3)
        python_blocks.append(statistics.median(cpu))
        out = subprocess.run([INVENTORY, DEVICES, "10"],
                             capture_output=True, text=True, check=True).stdout
        our_blocks.append(float(re.search(r"CPU time median ([\d.]+) ms", out).group(1)))
    ratios = sorted(p / o for p, o in zip(python_blocks, our_blocks))
    return statistics.median(our_blocks), statistics.median(python_blocks), ratios, out


def site_files(access_points, cameras):
    """The stat/device and camera answers of a site of that many devices, written once."""
    devices_file = os.path.join(TMP, "stat-device-%d.json" % access_points)
    cameras_file = os.path.join(TMP, "cameras-%d.json" % cameras)
    if not os.path.exists(devices_file):
        if access_points:
            subprocess.run(["/usr/bin/python3", os.path.join(SOURCE, "bench", "make_stat_device.py"), EXAMPLES,
                            devices_file, str(access_points)], check=True)
        else:
            json.dump({"meta": {"rc": "ok"}, "data": []}, open(devices_file, "w"))
    if not os.path.exists(cameras_file):
        subprocess.run(["/usr/bin/python3", os.path.join(SOURCE, "bench", "make_cameras.py"), EXAMPLES,
                        cameras_file, str(cameras)], check=True)
    return devices_file, cameras_file


def measure_stall(env_base, devices_file, cameras_file):
    """The longest the event loop stood still while a refresh brought the site's rows into the
    window, over LARGE_ROUNDS refreshes, and the refreshes' median duration."""
    sim, host, port, fingerprint, _ = start_sim(devices=devices_file, cameras=cameras_file)
    env = dict(os.environ)
    env.update(env_base)
    out = subprocess.run([LARGE, "refresh", host, str(port), USER, PASSWORD, fingerprint, str(LARGE_ROUNDS)],
                         env=env, capture_output=True, text=True, check=True).stdout
    stop(sim)
    gaps = [float(x) for x in re.findall(r"^longest-gap-ms (\S+)", out, re.M)]
    durations = [float(x) for x in re.findall(r"refresh-ms (\S+)$", out, re.M)]
    return max(gaps), gaps, statistics.median(durations)


def measure_row_memory(env_base):
    """Memory of the program's window logged in to sites of growing size: the heap its live objects
    hold (mallinfo2, which the allocator's retained pages do not blur) beside RSS. The growth per
    1,000 devices is fitted by least squares over the sites with devices; the first and the last
    step say whether it grows faster than linearly."""
    points = []
    for access_points, cameras in LARGE_SIZES:
        devices_file, cameras_file = site_files(access_points, cameras)
        sim, host, port, fingerprint, _ = start_sim(devices=devices_file, cameras=cameras_file)
        env = dict(os.environ)
        env.update(env_base)
        out = subprocess.run([LARGE, "memory", host, str(port), USER, PASSWORD, fingerprint],
                             env=env, capture_output=True, text=True, check=True).stdout
        stop(sim)
        rss, _, heap, rows = (int(x) for x in re.search(r"rss-kib (\d+) anon-kib (\d+) heap-kib (\d+) rows (\d+)",
                                                          out).groups())
        points.append((rows, rss / 1024, heap / 1024))
    fitted = [(rows, heap) for rows, _, heap in points if rows]
    n = len(fitted)
    mean_x = sum(x for x, _ in fitted) / n
    mean_y = sum(y for _, y in fitted) / n
    sxx = sum((x - mean_x) ** 2 for x, _ in fitted)
    sxy = sum((x - mean_x) * (y - mean_y) for x, y in fitted)
    slope = sxy / sxx
    residual = sum((y - mean_y - slope * (x - mean_x)) ** 2 for x, y in fitted)
    total = sum((y - mean_y) ** 2 for _, y in fitted)
    r_squared = 1 - residual / total if total else 1.0
    steps = [(b[1] - a[1]) * 1000 / (b[0] - a[0]) for a, b in zip(fitted, fitted[1:])]
    return slope * 1000, r_squared, steps, points


# The table.

def verdict(ok):
    return "ok" if ok else "**MISS**"


def write_readme(rows, notes):
    lines = ["| Figure | Lanternfold | Baseline | Ratio | Budget | Verdict |", "|---|---|---|---|---|---|"]
    lines += ["| " + " | ".join(row) + " |" for row in rows]
    table = "\n".join(lines) + "\n\n" + "\n".join(f"- {note}" for note in notes) + "\n"
    log("\n" + table)
    if not README:
        return
    text = open(README).read()
    begin, end = "<!-- bench:begin -->", "<!-- bench:end -->"
    if begin not in text or end not in text:
        raise SystemExit(f"{README} has no {begin} … {end} markers")
    head, rest = text.split(begin, 1)
    _, tail = rest.split(end, 1)
    open(README, "w").write(head + begin + "\n" + table + end + tail)
    log(f"written to {README}")


def main():
    xvfb_out = os.path.join(TMP, "display")
    xvfb = spawn(["Xvfb", "-displayfd", "1", "-screen", "0", "1280x800x24", "-nolisten", "tcp"],
                 stdout=open(xvfb_out, "w"), stderr=subprocess.DEVNULL)
    for _ in range(100):
        if open(xvfb_out).read().strip():
            break
        time.sleep(0.1)
    display_name = ":" + open(xvfb_out).read().split()[0]
    env_base = {"DISPLAY": display_name, "QT_QPA_PLATFORM": "xcb"}
    os.environ.update(env_base)
    display = Display(display_name)
    # A desktop with a tray, as the program meets it: an XEmbed panel in the lower right corner.
    spawn(["trayer", "--edge", "bottom", "--align", "right", "--widthtype", "pixel", "--width", "28",
           "--heighttype", "pixel", "--height", "28", "--transparent", "false"],
          stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    time.sleep(1)
    display.drain()

    log(f"1. start to main window shown: {START_ROUNDS} starts of each program, interleaved")
    start_ours, start_base, start_all = measure_start(display, env_base)
    log("   lanternfold %s\n   minimal     %s" % ([round(t, 1) for t in start_all["lanternfold"]],
                                                  [round(t, 1) for t in start_all["minimal"]]))

    log("2./3. memory and idle CPU, logged in to 600 devices and 20 cameras, beside the minimal window")
    sim, host, port, fingerprint, simlog = start_sim()
    mem, used, fetches = measure_idle(display, env_base, host, port, fingerprint, simlog)
    stop(sim)
    log(f"   memory {mem}\n   cpu (stat ms, on-cpu ms, context switches) {used}; stat/device fetches {fetches}")

    log(f"4. connect to devices shown with 50 ms added to every answer: {CONNECT_ROUNDS} rounds of 3 each")
    sim, host, port, fingerprint, simlog = start_sim("--latency", "50:/")
    connect_ours, connect_floor, connect_all, floor_all = measure_connect(env_base, host, port, fingerprint)
    stop(sim)
    log("   lanternfold %s\n   floor       %s" % ([round(t, 1) for t in connect_all], [round(t, 1) for t in floor_all]))

    log("5. decoding the 600-device answer")
    decode_ours, decode_python, decode_ratios, inventory_out = measure_decoding()
    log(inventory_out.rstrip())
    log("   json.loads / decodeAccessPoints by block: %s" % [round(r, 1) for r in decode_ratios])

    log(f"6. a large site: the event loop during {LARGE_ROUNDS} refreshes, and memory by site size")
    stall_600, stall_600_all, refresh_600 = measure_stall(env_base, DEVICES, CAMERAS)
    large_devices, large_cameras = site_files(*LARGE_SIZES[-1])
    stall_large, stall_large_all, refresh_large = measure_stall(env_base, large_devices, large_cameras)
    per_thousand, r_squared, memory_steps, memory_points = measure_row_memory(env_base)
    log("   longest stalls, 600 devices %s; 10,500 devices %s" % (stall_600_all, stall_large_all))
    log("   memory by rows (rows, RSS MB, anonymous MB) %s" % [(r, round(m, 1), round(a, 1)) for r, m, a in memory_points])

    rows = []
    ratio = start_ours / start_base
    rows.append(["Start to main window shown (exec → MapNotify, median of %d)" % START_ROUNDS,
                 "%.0f ms" % start_ours, "%.0f ms (minimal Qt Widgets window)" % start_base,
                 "%.2fx" % ratio, "≤ 1.5x", verdict(ratio <= 1.5)])
    (rss, pss, anon), (base_rss, base_pss, base_anon) = mem["lanternfold"], mem["minimal"]
    floor_rss, floor_pss, floor_anon = mem["floor"]
    ratio = rss / floor_rss
    rows.append(["Resident memory, logged in, 600 devices + 20 cameras shown, after %d s idle" % IDLE_SECONDS,
                 "%.1f MB (Pss %.1f MB, anonymous %.1f MB)" % (rss, pss, anon),
                 "%.1f MB (Pss %.1f MB, anonymous %.1f MB) (floor: the minimal window after one HTTPS request, one "
                 "keyring read and one ICU date)" % (floor_rss, floor_pss, floor_anon),
                 "%.2fx (Pss %.2fx)" % (ratio, pss / floor_pss), "≤ 1.3x", verdict(ratio <= 1.3)])
    (ticks, on_cpu, switches), (base_ticks, base_on_cpu, base_switches) = used["lanternfold"], used["minimal"]
    ratio = on_cpu / base_on_cpu if base_on_cpu else float("inf")
    rows.append(["CPU time over %d s idle, logged in, window closed" % IDLE_SECONDS,
                 "%.1f ms on CPU (utime+stime %.0f ms), %d wake-ups" % (on_cpu, ticks, switches),
                 "%.1f ms on CPU (utime+stime %.0f ms), %d wake-ups (minimal window, one 20 s timer)"
                 % (base_on_cpu, base_ticks, base_switches),
                 "%.2fx" % ratio, "≤ 1.5x", verdict(ratio <= 1.5)])
    ratio = connect_ours / connect_floor
    rows.append(["Connect to device rows shown, 50 ms added to every answer (median of %d)" % len(connect_all),
                 "%.0f ms" % connect_ours, "%.0f ms (floor: TLS, login, both fetches at once)" % connect_floor,
                 "%.2fx" % ratio, "≤ 1.2x", verdict(ratio <= 1.2)])
    speedup = decode_python / decode_ours
    rows.append(["Decoding the 600-device answer (%.1f MB), CPU time, %d blocks of 10 in turns with json.loads"
                 % (os.path.getsize(DEVICES) / 1e6, DECODE_BLOCKS),
                 "%.1f ms" % decode_ours, "%.1f ms (Python json.loads)" % decode_python,
                 "%.2fx (%.1fx faster; blocks %.1f–%.1fx)" % (decode_ours / decode_python, speedup, decode_ratios[0],
                                                              decode_ratios[-1]), "≥ 10x faster",
                 verdict(speedup >= 10)])
    rows.append(["Longest stall of the event loop while a refresh shows the rows (2 ms timer probe, worst of %d), "
                 "600 devices + 20 cameras" % LARGE_ROUNDS,
                 "%.0f ms (refresh %.0f ms)" % (stall_600, refresh_600), "—", "—", "≤ 50 ms", verdict(stall_600 <= 50)])
    rows.append(["Longest stall of the event loop while a refresh shows the rows (2 ms timer probe, worst of %d), "
                 "10,000 access points + 500 cameras (%.0f MB answer)" % (LARGE_ROUNDS,
                                                                          os.path.getsize(large_devices) / 1e6),
                 "%.0f ms (refresh %.0f ms)" % (stall_large, refresh_large), "—", "—", "≤ 50 ms",
                 verdict(stall_large <= 50)])
    linear = r_squared >= 0.95 and memory_steps[-1] <= 1.5 * memory_steps[0]
    rows.append(["Memory for the rows, per 1,000 devices (heap in use by the window logged in to %s devices)"
                 % ", ".join("{:,}".format(r) for r, _, _ in memory_points),
                 "%.2f MB per 1,000 (R² %.3f; steps %s MB per 1,000)" % (per_thousand, r_squared,
                                                                       ", ".join("%.2f" % x for x in memory_steps)),
                 "—", "—", "grows linearly", verdict(linear)])
    notes = [
        "Measured %s on %d cores (load average %.1f at the end), Release build, Xvfb with an XEmbed tray "
        "(trayer); every program started with a new user's HOME and XDG folders."
        % (time.strftime("%Y-%m-%d"), os.cpu_count(), os.getloadavg()[0]),
        "Memory: VmRSS and RssAnon (heap and other anonymous memory) from /proc/PID/status, Pss from "
        "/proc/PID/smaps_rollup. CPU: the on-CPU time of all "
        "threads from /proc/PID/task/*/schedstat (utime+stime from /proc/PID/stat counts in 10 ms ticks); "
        "wake-ups are the threads' context switches over the same %d s." % IDLE_SECONDS,
        "Memory floor: the minimal window that also makes one HTTPS request to the simulated controller, "
        "reads one password from the Secret Service through QtKeychain and formats one date with ICU "
        "(bench/memory-floor.cpp), measured beside Lanternfold; the bare minimal window took %.1f MB (Pss %.1f MB, "
        "anonymous %.1f MB): the floor is %.2fx that, Lanternfold %.2fx." % (base_rss, base_pss, base_anon,
                                                                            floor_rss / base_rss, rss / base_rss),
        "Large site: bench/bench_largesite.cpp, the program's own window against the simulated controller; a "
        "2 ms timer records the longest time between two of its turns from the refresh's start until the "
        "list has painted the new rows. The 10,000 access points are the example access point with one radio, "
        "one SSID and one port (bench/make_stat_device.py). Memory by site size: the same window logged in, "
        "three and a half seconds after the rows were shown (the answers' heap goes back after two), the heap "
        "in use as mallinfo2 counts it; linear means a straight line fits (R² ≥ 0.95) and the last step grows "
        "no faster than 1.5 times the first; (rows, RSS MB, heap MB): %s." % ", ".join("(%d, %.1f, %.1f)" % p
                                                                                      for p in memory_points),
        "Lanternfold logs in the way it does at login: the saved controller and the remembered password, "
        "reconnected by the scheduler for a job that fell due; it fetched the device list %d time(s)." % fetches,
        "Connect: from AppState::connect, as the login form calls it, until the device list has painted its "
        "rows (bench/bench_connect.cpp, the program's own window); the floor is bench/connect-floor.cpp, "
        "a fresh QNetworkAccessManager per round against the same simulated controller.",
    ]
    write_readme(rows, notes)


def stop_all():
    for child in reversed(children):
        if child.poll() is None:
            child.terminate()
            try:
                child.wait(10)
            except subprocess.TimeoutExpired:
                child.kill()


if __name__ == "__main__":
    try:
        main()
    finally:
        stop_all()
        if RUNTIME_TMP != TMP:
            shutil.rmtree(RUNTIME_TMP, ignore_errors=True)
