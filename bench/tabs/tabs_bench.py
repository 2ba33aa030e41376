#!/usr/bin/env python3
"""Tabs and long-session benchmark of DefaultApp (run through tabs_bench.sh,
which starts a private headless desktop and says what each phase measures).
Standard library only; it shares the screen, process-tree and bundle helpers
of ../startup/startup_bench.py, and its idle sampling serves ../idle."""
import argparse
import json
import os
import shutil
import signal
import statistics
import subprocess
import sys
import tempfile
import threading
import time
import urllib.parse

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "startup"))
import startup_bench as sb  # noqa: E402
from benchlib import serve, status_kib  # noqa: E402  (startup_bench puts bench/ on the path)

log = sb.log


def colour(n):
    """A distinct, saturated colour per tab, so the screen tells which is shown."""
    return ((37 * n + 40) % 200 + 30, (91 * n + 120) % 200 + 30, (53 * n + 200) % 200 + 30)


def tab_page(n):
    """A page of one colour with the weight of a light real page: text, a list
    built by script, a little style."""
    r, g, b = colour(n)
    para = ("<p>Paragraph %d of tab %d: a few sentences of ordinary text, as a message list or "
            "a document view would show, with <a href='#p%d'>a link</a> and <b>bold</b> words.</p>")
    body = "".join(para % (i, n, i) for i in range(120))
    return ("<!doctype html><html><head><meta charset='utf-8'><title>Tab %d</title><style>"
            "html,body{margin:0;background:rgb(%d,%d,%d);color:rgb(%d,%d,%d);font:15px sans-serif}"
            "main{padding:20px;max-width:60em}li{margin:2px 0}</style></head><body><main><h1>Tab %d</h1>"
            "%s<ul id='l'></ul></main><script>const l=document.getElementById('l');"
            "for(let i=0;i<400;i++){const e=document.createElement('li');e.textContent='Item '+i+' of tab %d';"
            "l.appendChild(e);}</script></body></html>" % (n, r, g, b, r, g, b, n, body, n)).encode()


def nav_page(n, end):
    nxt = "" if n >= end else (
        "<script>addEventListener('load',()=>setTimeout(()=>{location.href='/nav?n=%d&end=%d'},20))</script>"
        % (n + 1, end))
    return ("<!doctype html><title>Page %d</title><body style='background:#345'><h1>Page %d</h1>"
            "<p>%s</p>%s</body>" % (n, n, "Text of a page in a long session. " * 40, nxt)).encode()


class Server:
    def __init__(self):
        self.hits = {}
        self.lock = threading.Lock()

        def respond(path):
            u = urllib.parse.urlparse(path)
            q = dict(urllib.parse.parse_qsl(u.query))
            if u.path == "/tab":
                body = tab_page(int(q.get("n", 0)))
            elif u.path == "/nav":
                body = nav_page(int(q.get("n", 0)), int(q.get("end", 0)))
            elif u.path == "/hold":
                body = ("<!doctype html><title>Waiting</title><body><script>setTimeout(()=>"
                        "{location.href='/nav?n=1&end=%s'},%s)</script>" % (q["end"], q["ms"])).encode()
            else:
                return 404, "text/plain", b""
            with self.lock:
                key = u.path + ("?n=" + q["n"] if "n" in q else "")
                self.hits[key] = self.hits.get(key, 0) + 1
            return 200, "text/html; charset=utf-8", body

        self.httpd = serve(respond)
        self.base = "http://127.0.0.1:%d" % self.httpd.server_address[1]

    def hit(self, key):
        with self.lock:
            return self.hits.get(key, 0)

    def tab_url(self, n, tag=""):
        return "%s/tab?n=%d%s" % (self.base, n, tag)


def wait_for(cond, timeout, step=0.1):
    end = time.monotonic() + timeout
    while time.monotonic() < end:
        if cond():
            return True
        time.sleep(step)
    return cond()


# ------------------------------------------------------------ measuring

def pss_of(pids):
    return sum(sb.pss_kib(p) for p in pids) / 1024.0


def uss_of(pids):
    """Private memory (MiB): unlike PSS, not lowered by other programs that
    map the same libraries."""
    total = 0
    for p in pids:
        try:
            with open("/proc/%d/smaps_rollup" % p) as f:
                total += sum(int(l.split()[1]) for l in f if l.startswith(("Private_Clean:", "Private_Dirty:")))
        except OSError:
            pass
    return total / 1024.0


def thread_counts(pid):
    """{thread: (CPU seconds, context switches)} of one process. CPU time is
    the scheduler's nanosecond count: the 10 ms ticks of /proc/PID/stat are
    too coarse for threads that wake for a millisecond now and then."""
    out = {}
    try:
        tasks = os.listdir("/proc/%d/task" % pid)
    except OSError:
        return out
    for task in tasks:
        try:
            with open("/proc/%d/task/%s/schedstat" % (pid, task)) as f:
                cpu = int(f.read().split()[0]) / 1e9
            with open("/proc/%d/task/%s/status" % (pid, task)) as f:
                out[task] = (cpu, sum(int(line.split()[1]) for line in f if "ctxt_switches" in line))
        except (OSError, ValueError, IndexError):
            pass
    return out


def idle_sample(root, seconds):
    """CPU % of one core and wake-ups (context switches) per second of the
    app and of its tree, summed over threads; a thread that starts meanwhile
    counts whole, one that ends is left out."""
    before = {p: thread_counts(p) for p in sb.tree(root)}
    time.sleep(seconds)
    app = tree = (0.0, 0.0)
    for p in sb.tree(root):
        b = before.get(p, {})
        d = [(c - b.get(t, (0, 0))[0], n - b.get(t, (0, 0))[1]) for t, (c, n) in thread_counts(p).items()]
        cpu, sw = sum(x[0] for x in d), sum(x[1] for x in d)
        tree = (tree[0] + cpu, tree[1] + sw)
        if p == root:
            app = (cpu, sw)
    return {"app_cpu_pct": round(100.0 * app[0] / seconds, 3), "app_wakeups_s": round(app[1] / seconds, 1),
            "tree_cpu_pct": round(100.0 * tree[0] / seconds, 3), "tree_wakeups_s": round(tree[1] / seconds, 1)}


# ------------------------------------------------------------ screen

def shown_colour(screen, candidates):
    """Which of the candidate colours (index) fills most of the screen now."""
    x = screen.x
    pats = [bytes((c[2], c[1], c[0])) for c in candidates]
    counts = [0] * len(pats)
    for y in range(screen.step // 2, screen.h, screen.step * 2):
        im = x.XGetImage(screen.dpy, screen.root, 0, y, screen.w, 1, 0xFFFFFFFF, 2)
        if not im:
            continue
        row = sb.ctypes.string_at(im.contents.data, im.contents.bytes_per_line)
        for i, p in enumerate(pats):
            counts[i] += row.count(p)
        x.XFree(im.contents.data)
        x.XFree(im)
    best = max(range(len(pats)), key=lambda i: counts[i])
    return best if counts[best] * screen.step * 2 > 20000 else None


def xdotool(*args):
    return subprocess.run(["xdotool"] + list(args), capture_output=True, text=True).stdout.strip()


class Keys:
    """Key presses sent through XTest on the benchmark's own display
    connection: starting xdotool for each press would add its start-up (tens
    of milliseconds on a loaded machine) to every switch measured."""

    def __init__(self, screen):
        self.x, self.dpy = screen.x, screen.dpy
        self.xtst = sb.ctypes.CDLL(sb.ctypes.util.find_library("Xtst"))
        self.xtst.XTestFakeKeyEvent.argtypes = [sb.ctypes.c_void_p, sb.ctypes.c_uint, sb.ctypes.c_int,
                                                sb.ctypes.c_ulong]
        self.x.XStringToKeysym.restype = sb.ctypes.c_ulong
        self.x.XStringToKeysym.argtypes = [sb.ctypes.c_char_p]
        self.x.XKeysymToKeycode.restype = sb.ctypes.c_ubyte
        self.x.XKeysymToKeycode.argtypes = [sb.ctypes.c_void_p, sb.ctypes.c_ulong]
        self.x.XFlush.argtypes = [sb.ctypes.c_void_p]

    def press(self, combo):
        codes = [self.x.XKeysymToKeycode(self.dpy, self.x.XStringToKeysym(
            {"ctrl": "Control_L", "shift": "Shift_L"}.get(k, k).encode())) for k in combo.split("+")]
        for c in codes:
            self.xtst.XTestFakeKeyEvent(self.dpy, c, 1, 0)
        for c in reversed(codes):
            self.xtst.XTestFakeKeyEvent(self.dpy, c, 0, 0)
        self.x.XFlush(self.dpy)


def measure_switches(screen, window_class, count, key="ctrl+Next"):
    """Milliseconds from the next-tab key to the next tab's colour on screen."""
    cols = [colour(n) for n in range(10)]
    ids = xdotool("search", "--onlyvisible", "--class", window_class).split()
    if not ids:
        return []
    xdotool("windowactivate", "--sync", ids[-1])
    keys = Keys(screen)
    times = []
    for _ in range(count):
        cur = shown_colour(screen, cols)
        t0 = time.monotonic()
        keys.press(key)
        ok = wait_for(lambda: shown_colour(screen, cols) not in (cur, None), 5, step=0.002)
        if ok:
            times.append((time.monotonic() - t0) * 1000)
        time.sleep(0.3)
    return times


# ------------------------------------------------------------ programs

class Program:
    """One browser under test: started with one URL, given more as tabs."""

    def __init__(self, opt, name):
        self.opt, self.name, self.proc, self.extra = opt, name, None, []
        self.home = tempfile.mkdtemp(prefix="home-%s-" % name, dir=opt.work)
        self.env = dict(os.environ, HOME=self.home, XDG_DATA_HOME=self.home + "/.local/share",
                        XDG_CONFIG_HOME=self.home + "/.config", XDG_CACHE_HOME=self.home + "/.cache")
        self.env.pop("QUILT_BUNDLE", None)
        self.log = open(os.path.join(opt.work, name + ".log"), "ab")

    def command(self, urls):
        raise NotImplementedError

    def start(self, url):
        self.proc = subprocess.Popen(self.command([url]), env=self.env, stdin=subprocess.DEVNULL,
                                     stdout=self.log, stderr=subprocess.STDOUT)

    def open_tabs(self, urls):
        # A second instance hands the URLs over and exits, or (a private
        # GNOME Web profile) keeps running; either way it is ours and counted.
        p = subprocess.Popen(self.command(urls), env=self.env, stdin=subprocess.DEVNULL, stdout=self.log,
                             stderr=subprocess.STDOUT)
        try:
            p.wait(timeout=20)
        except subprocess.TimeoutExpired:
            self.extra.append(p)

    def pids(self):
        return sb.tree(self.proc.pid) if self.proc else set()

    def stop(self):
        for p in self.extra:
            sb.stop(p.pid)
            p.wait()
        self.extra = []
        if self.proc:
            sb.stop(self.proc.pid)
            self.proc.wait()
            self.proc = None


class Quilt(Program):
    def __init__(self, opt, name, settings=None, env=None):
        super().__init__(opt, name)
        self.bundle, uid = sb.make_bundle(opt.template, opt.work, name)
        self.window_class = "org.quilt.bench." + name
        self.env.update(env or {})
        data = os.path.join(self.env["XDG_DATA_HOME"], "Quilt", uid)
        os.makedirs(data, exist_ok=True)
        self.settings = dict({"enableJavaScript": True}, **(settings or {}))
        with open(os.path.join(data, "behavior.json"), "w") as f:
            json.dump({"openLinksKey": 1}, f)  # links from outside open as tabs
        self.data = data

    def command(self, urls):
        return [os.path.join(self.bundle, "Contents", "MacOS", "DefaultApp")] + urls

    def start(self, url):
        with open(os.path.join(self.data, "settings.json"), "w") as f:
            json.dump(dict(self.settings, main_url=url), f)
        self.proc = subprocess.Popen(self.command([]), env=self.env, stdin=subprocess.DEVNULL,
                                     stdout=self.log, stderr=subprocess.STDOUT)


class Bare(Program):
    """Ten WebKitWebViews in a notebook and nothing else (the engine's floor),
    or, plain, ten coloured GTK pages (the benchmark's own share)."""

    def __init__(self, opt, name, plain=False):
        super().__init__(opt, name)
        self.plain = plain
        self.window_class = "tabs-bare-gtk" if plain else "tabs-bare-webkit"

    def command(self, urls):
        return [opt_bare(self.opt)] + (["--gtk"] if self.plain else []) + urls


def opt_bare(opt):
    return os.path.join(os.path.dirname(opt.template), "bench", "tabs", "tabs-bare-webkit")


class Epiphany(Program):
    window_class = "epiphany"

    def command(self, urls):
        return ["epiphany", "--profile=" + os.path.join(self.home, "profile")] + urls


class Chromium(Program):
    window_class = "chromium"

    def command(self, urls):
        return ["chromium", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
                "--disable-background-networking", "--disable-component-update", "--disable-sync",
                "--user-data-dir=" + os.path.join(self.home, "profile")] + urls


# ------------------------------------------------------------ phases

def tabs_phase(opt, server, screen, prog, tag):
    """PSS and processes with one tab and with ten; switching times."""
    res = {"name": prog.name}
    try:
        first = server.tab_url(0, tag)
        prog.start(first)
        if not wait_for(lambda: server.hit("/tab?n=0") >= 1 and shown_colour(screen, [colour(0)]) == 0, 60):
            res["error"] = "the first tab never showed"
            return res
        time.sleep(opt.settle)
        pids = prog.pids()
        res["one_tab_mib"], res["one_tab_procs"] = round(pss_of(pids), 1), len(pids)
        res["one_tab_uss_mib"] = round(uss_of(pids), 1)
        before = {n: server.hit("/tab?n=%d" % n) for n in range(1, 10)}
        prog.open_tabs([server.tab_url(n, tag) for n in range(1, 10)])
        wait_for(lambda: all(server.hit("/tab?n=%d" % n) > before[n] for n in range(1, 10)), 60)
        time.sleep(opt.settle + 2)
        pids = prog.pids()
        res["ten_tabs_mib"], res["ten_tabs_procs"] = round(pss_of(pids), 1), len(pids)
        res["ten_tabs_uss_mib"] = round(uss_of(pids), 1)
        res["ratio"] = round(res["ten_tabs_mib"] / res["one_tab_mib"], 2)
        res["uss_ratio"] = round(res["ten_tabs_uss_mib"] / res["one_tab_uss_mib"], 2)
        sw = measure_switches(screen, prog.window_class, 20)
        if sw:
            res["switch_ms_median"] = round(statistics.median(sw), 1)
            res["switch_ms_max"] = round(max(sw), 1)
        if opt.verbose:
            for p in sorted(pids):
                log("#     %7d %8.1f MiB %s" % (p, sb.pss_kib(p) / 1024.0, sb.name_of(p)))
    finally:
        prog.stop()
    return res


def app_memory(pid):
    return {"rss_mib": round(status_kib(pid, "VmRSS") / 1024.0, 1), "pss_mib": round(sb.pss_kib(pid) / 1024.0, 1)}


def long_phase(opt, server):
    out = {}
    app = Quilt(opt, "LongBench")
    try:
        app.start(server.tab_url(0, "&long"))
        wait_for(lambda: server.hit("/tab?n=0") >= 1, 60)
        time.sleep(opt.settle)
        out["start"] = app_memory(app.proc.pid)
        wid = (xdotool("search", "--onlyvisible", "--class", app.window_class).split() or [""])[-1]
        opened = 0
        for rnd in range(opt.long_tabs // 10):
            n0 = {n: server.hit("/tab?n=%d" % n) for n in range(1, 10)}
            app.open_tabs([server.tab_url(n, "&r%d" % rnd) for n in range(1, 10)] + [server.tab_url(0, "&x")])
            wait_for(lambda: all(server.hit("/tab?n=%d" % n) > n0[n] for n in range(1, 10)), 30)
            time.sleep(0.5)
            xdotool("windowactivate", "--sync", wid)
            for _ in range(10):
                subprocess.run(["xdotool", "key", "--clearmodifiers", "ctrl+w"])
                time.sleep(0.15)
            opened += 10
        time.sleep(opt.settle)
        out["after_tabs"] = app_memory(app.proc.pid)
        out["tabs_opened_closed"] = opened
        out["procs_after_tabs"] = len(app.pids())
    finally:
        app.stop()
    app = Quilt(opt, "NavBench")
    try:
        hold_ms = int((opt.settle + 4) * 1000)
        app.start("%s/hold?end=%d&ms=%d" % (server.base, opt.long_pages, hold_ms))
        time.sleep(opt.settle + 1)
        out["nav_start"] = app_memory(app.proc.pid)
        ok = wait_for(lambda: server.hit("/nav?n=%d" % opt.long_pages) >= 1, 600, step=0.5)
        out["pages_navigated"] = opt.long_pages if ok else max(
            [int(k.split("=")[1]) for k in server.hits if k.startswith("/nav?n=")] or [0])
        time.sleep(opt.settle)
        out["after_pages"] = app_memory(app.proc.pid)
    finally:
        app.stop()
    out["tabs_rss_ratio"] = round(out["after_tabs"]["rss_mib"] / out["start"]["rss_mib"], 3)
    out["pages_rss_ratio"] = round(out["after_pages"]["rss_mib"] / out["nav_start"]["rss_mib"], 3)
    return out


def main(argv):
    ap = argparse.ArgumentParser(prog="tabs_bench.sh")
    ap.add_argument("--template", required=True)
    ap.add_argument("--only", default="tabs,long")
    ap.add_argument("--settle", type=float, default=6)
    ap.add_argument("--peers", default="epiphany,chromium")
    ap.add_argument("--long-tabs", type=int, default=200)
    ap.add_argument("--long-pages", type=int, default=500)
    ap.add_argument("-v", "--verbose", action="store_true")
    opt = ap.parse_args(argv)
    phases = set(opt.only.split(","))
    if sb.LIBC.prctl(sb.PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0) != 0:
        log("# warning: cannot become a subreaper; orphaned web processes are not counted")
    signal.signal(signal.SIGTERM, lambda *a: sys.exit(143))
    opt.work = tempfile.mkdtemp(prefix="quilt-tabs-")
    server = Server()
    screen = sb.Screen(os.environ["DISPLAY"])
    result = {}
    try:
        if "tabs" in phases:
            rows = []
            progs = [("DefaultApp", lambda: Quilt(opt, "TabsBench")),
                     ("DefaultApp-process-per-tab",
                      lambda: Quilt(opt, "TabsBenchOwn", env={"QUILT_TABS_PER_PROCESS": "1"}))]
            if os.access(opt_bare(opt), os.X_OK):
                progs += [("bare WebKitGTK", lambda: Bare(opt, "bare-webkit")),
                          ("bare GTK, no engine", lambda: Bare(opt, "bare-gtk", plain=True))]
            else:
                log("# %s: not built (target tabs-bare-webkit), the floor not measured" % opt_bare(opt))
            for peer in [p for p in opt.peers.split(",") if p]:
                cls = {"epiphany": Epiphany, "chromium": Chromium}.get(peer)
                if cls and shutil.which(cls.window_class):
                    progs.append((peer, lambda c=cls, p=peer: c(opt, p)))
                else:
                    log("# %s: not installed, not measured" % peer)
            for i, (name, make) in enumerate(progs):
                r = tabs_phase(opt, server, screen, make(), "&p=%d" % i)
                r["name"] = name
                rows.append(r)
                log("tabs %-27s PSS one=%s ten=%s MiB ten/one=%s | private one=%s ten=%s MiB ten/one=%s | procs %s/%s"
                " | switch median=%s max=%s ms%s"
                % (name, r.get("one_tab_mib"), r.get("ten_tabs_mib"), r.get("ratio"), r.get("one_tab_uss_mib"),
                   r.get("ten_tabs_uss_mib"), r.get("uss_ratio"), r.get("one_tab_procs"), r.get("ten_tabs_procs"),
                   r.get("switch_ms_median"), r.get("switch_ms_max"),
                       ("  ERROR " + r["error"]) if "error" in r else ""))
            base = rows[0]
            for r in rows[1:]:
                if "ten_tabs_mib" in r and "ten_tabs_mib" in base:
                    log("ratio ten tabs DefaultApp / %-27s %.1f / %.1f = %.2f" % (
                        r["name"], base["ten_tabs_mib"], r["ten_tabs_mib"], base["ten_tabs_mib"] / r["ten_tabs_mib"]))
            result["tabs"] = rows
        if "long" in phases:
            result["long"] = r = long_phase(opt, server)
            log("long tabs   start rss=%(rss_mib)s MiB" % r["start"] + "  after %d tabs rss=%s MiB  ratio=%s" % (
                r["tabs_opened_closed"], r["after_tabs"]["rss_mib"], r["tabs_rss_ratio"]))
            log("long pages  start rss=%(rss_mib)s MiB" % r["nav_start"] + "  after %d pages rss=%s MiB  ratio=%s" % (
                r["pages_navigated"], r["after_pages"]["rss_mib"], r["pages_rss_ratio"]))
    finally:
        server.httpd.shutdown()
        shutil.rmtree(opt.work, ignore_errors=True)
    log("RESULT " + json.dumps(result, sort_keys=True))
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
