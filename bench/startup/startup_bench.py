#!/usr/bin/env python3
"""Start-up benchmark of DefaultApp (run through startup_bench.sh).

Each run makes an app bundle from the build's template for a local page with
a known solid colour, starts the app, polls the screen until the page is
painted, waits --settle seconds and sums the PSS (/proc/PID/smaps_rollup) of
the app's whole process tree: the app and the WebKit web and network
processes it starts. The first --warmup runs are discarded; medians of the
rest are printed, then one "RESULT {json}" line.

With --peer-tool PATH (a startup_bench.sh taking presets, such as the one the
project's performance notes describe) the peers are measured as well, and
the ratios of this app's medians to theirs are printed.

Standard library only; the X server is read through ctypes (libX11).
"""
import argparse
import ctypes
import ctypes.util
import json
import os
import plistlib
import shutil
import signal
import statistics
import subprocess
import sys
import tempfile
import time

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), ".."))
from benchlib import proc_kib, serve as serve_http  # noqa: E402

COLOUR = (0x12, 0xAA, 0x5D)  # the page colour, R G B
PAGE = ("<!doctype html><html><head><meta charset='utf-8'><title>Start-up page</title>"
        "<style>html,body{margin:0;height:100%%;overflow:hidden;background:#%02x%02x%02x;"
        "color:#fff;font:20px sans-serif}div{padding:24px}</style></head>"
        "<body><div><h1>Start-up benchmark</h1><p>A local page of one colour.</p></div>"
        "</body></html>" % COLOUR).encode()
PR_SET_CHILD_SUBREAPER = 36
LIBC = ctypes.CDLL(None, use_errno=True)


def log(text):
    print(text, flush=True)


# ------------------------------------------------------------------ screen

class _XImage(ctypes.Structure):
    _fields_ = [(n, ctypes.c_int) for n in ("width", "height", "xoffset", "format")] + \
        [("data", ctypes.c_void_p)] + \
        [(n, ctypes.c_int) for n in ("byte_order", "bitmap_unit", "bitmap_bit_order",
                                     "bitmap_pad", "depth", "bytes_per_line",
                                     "bits_per_pixel")]


class Screen:
    """Samples every `step`-th row of the root window: one small XGetImage
    per row, a few milliseconds per poll for a 1280 x 1024 screen."""

    def __init__(self, display, step=16):
        x = self.x = ctypes.CDLL(ctypes.util.find_library("X11"))
        vp, ul, i = ctypes.c_void_p, ctypes.c_ulong, ctypes.c_int
        x.XOpenDisplay.restype, x.XOpenDisplay.argtypes = vp, [ctypes.c_char_p]
        x.XDefaultRootWindow.restype, x.XDefaultRootWindow.argtypes = ul, [vp]
        x.XDefaultScreen.argtypes = [vp]
        x.XDisplayWidth.argtypes = x.XDisplayHeight.argtypes = [vp, i]
        x.XGetImage.restype = ctypes.POINTER(_XImage)
        x.XGetImage.argtypes = [vp, ul, i, i, ctypes.c_uint, ctypes.c_uint, ul, i]
        x.XFree.argtypes = [vp]
        self.dpy = x.XOpenDisplay(display.encode())
        if not self.dpy:
            raise RuntimeError("cannot open display %s" % display)
        scr = x.XDefaultScreen(self.dpy)
        self.root = x.XDefaultRootWindow(self.dpy)
        self.w, self.h = x.XDisplayWidth(self.dpy, scr), x.XDisplayHeight(self.dpy, scr)
        self.step = step
        self.pattern = bytes((COLOUR[2], COLOUR[1], COLOUR[0]))  # BGRX in memory

    def painted_pixels(self):
        """Estimated number of screen pixels showing the page colour."""
        found = 0
        for y in range(self.step // 2, self.h, self.step):
            im = self.x.XGetImage(self.dpy, self.root, 0, y, self.w, 1, 0xFFFFFFFF, 2)
            if not im:
                continue
            img = im.contents
            if img.bits_per_pixel != 32:
                raise RuntimeError("need a 24-bit screen (Xvfb -screen 0 WxHx24)")
            row = ctypes.string_at(img.data, img.bytes_per_line)
            found += row.count(self.pattern)
            self.x.XFree(img.data)
            self.x.XFree(im)
        return found * self.step


# ------------------------------------------------------------- processes

def proc_table():
    table = {}
    for name in os.listdir("/proc"):
        if name.isdigit():
            try:
                with open("/proc/%s/stat" % name) as f:
                    rest = f.read().rsplit(")", 1)[1].split()
                table[int(name)] = (int(rest[1]), rest[0])
            except (OSError, IndexError):
                pass
    return table


def tree(root):
    """The live processes below (and including) root; orphans land on this
    subreaper, so they are looked for among our children too."""
    table = proc_table()
    kids = {}
    for pid, (ppid, _) in table.items():
        kids.setdefault(ppid, []).append(pid)
    roots = [root] + [p for p in kids.get(os.getpid(), []) if p != root]
    found, todo = set(), [r for r in roots if r in table]
    while todo:
        pid = todo.pop()
        if pid not in found:
            found.add(pid)
            todo.extend(kids.get(pid, []))
    return {p for p in found if table[p][1] != "Z"}


def pss_kib(pid):
    return proc_kib(pid, "smaps_rollup", "Pss")


def name_of(pid):
    try:
        with open("/proc/%d/comm" % pid) as f:
            return f.read().strip()
    except OSError:
        return "?"


def reap():
    while True:
        try:
            pid, _ = os.waitpid(-1, os.WNOHANG)
        except ChildProcessError:
            return
        if pid == 0:
            return


def stop(root, grace=5.0):
    """SIGTERM the app (it quits as on logout), then SIGKILL what is left."""
    try:
        os.kill(root, signal.SIGTERM)
    except ProcessLookupError:
        pass
    end = time.monotonic() + grace
    while time.monotonic() < end:
        reap()
        if not tree(root):
            return
        time.sleep(0.05)
    for pid in tree(root):
        try:
            os.kill(pid, signal.SIGKILL)
        except ProcessLookupError:
            pass
    time.sleep(0.2)
    reap()


# ------------------------------------------------------------------ app

def serve():
    def respond(path):
        if path.split("?")[0] == "/page.html":
            return 200, "text/html; charset=utf-8", PAGE
        return 404, "text/plain", b"not found"
    return serve_http(respond)


def make_bundle(template, folder, name):
    """A copy of the template bundle with its own id, as the creation tool makes."""
    path = os.path.join(folder, name + ".app")
    shutil.copytree(template, path, symlinks=True)
    info = os.path.join(path, "Contents", "Info.plist")
    with open(info, "rb") as f:
        plist = plistlib.load(f)
    plist["CFBundleName"] = name
    plist["CFBundleIdentifier"] = "org.quilt.bench." + name
    with open(info, "wb") as f:
        plistlib.dump(plist, f)
    uid = "BENCH-%d-%d" % (os.getpid(), int(time.time() * 1000) % 100000000)
    try:
        os.setxattr(path, "user.QuiltUniqueID", uid.encode())
    except OSError:
        with open(os.path.join(path, "Contents", "Resources", ".QuiltUniqueID"), "w") as f:
            f.write(uid)
    return path, uid


def one_run(opt, screen, url, label):
    home = opt.home if opt.reuse_home else tempfile.mkdtemp(prefix="home-", dir=opt.work)
    env = dict(os.environ, HOME=home, XDG_DATA_HOME=home + "/.local/share",
               XDG_CONFIG_HOME=home + "/.config", XDG_CACHE_HOME=home + "/.cache")
    env.pop("QUILT_BUNDLE", None)
    data = os.path.join(env["XDG_DATA_HOME"], "Quilt", opt.uid)
    os.makedirs(data, exist_ok=True)
    with open(os.path.join(data, "settings.json"), "w") as f:
        json.dump({"main_url": url + "?run=" + label, "enableJavaScript": True}, f)
    res = {"label": label}
    end = time.monotonic() + 10
    while screen.painted_pixels() >= opt.min_pixels:
        if time.monotonic() > end:
            raise RuntimeError("the page colour is on screen before the run started")
        time.sleep(0.1)
    exe = os.path.join(opt.bundle, "Contents", "MacOS", "DefaultApp")
    logf = open(os.path.join(opt.work, "run-%s.log" % label), "wb")
    t0 = time.monotonic()
    proc = subprocess.Popen([exe], env=env, stdin=subprocess.DEVNULL, stdout=logf,
                            stderr=subprocess.STDOUT)
    polls = 0
    try:
        while True:
            if screen.painted_pixels() >= opt.min_pixels:
                res["visible_ms"] = (time.monotonic() - t0) * 1000
                break
            polls += 1
            if proc.poll() is not None:
                res["error"] = "the app exited (status %s) before the page showed" % proc.returncode
                break
            if time.monotonic() - t0 > opt.timeout:
                res["error"] = "no page after %s s" % opt.timeout
                break
            time.sleep(opt.poll_ms / 1000.0)
        res["poll_ms"] = ((time.monotonic() - t0) * 1000 / max(polls, 1)) if "visible_ms" in res else 0
        if "error" not in res:
            time.sleep(opt.settle)
            pids = tree(proc.pid)
            pss = {p: pss_kib(p) for p in pids}
            res["pss_mib"] = sum(pss.values()) / 1024.0
            res["procs"] = len(pids)
            res["detail"] = ["%7d %8.1f MiB %s" % (p, k / 1024.0, name_of(p)) for p, k in sorted(pss.items())]
    finally:
        stop(proc.pid)
        proc.wait()
        logf.close()
        if not opt.reuse_home:
            shutil.rmtree(home, ignore_errors=True)
    return res


def median(runs, key):
    vals = [r[key] for r in runs if key in r]
    return statistics.median(vals) if vals else None


# ----------------------------------------------------------------- peers

def run_peer(tool, preset, runs, warmup):
    log("# peer %s: %s %s" % (preset, tool, preset))
    out = subprocess.run(["bash", tool, "-n", str(runs), "--warmup", str(warmup), preset],
                         capture_output=True, text=True)
    for line in out.stdout.splitlines():
        if line.startswith("run ") or line.startswith("visible_ms") or line.startswith("pss_mib"):
            log("#   " + line)
        if line.startswith("RESULT "):
            return json.loads(line[len("RESULT "):])
    log("#   no result (status %d): %s" % (out.returncode, out.stderr.strip()[-300:]))
    return None


def main(argv):
    ap = argparse.ArgumentParser(prog="startup_bench.sh")
    ap.add_argument("--template", required=True)
    ap.add_argument("-n", "--runs", type=int, default=5)
    ap.add_argument("--warmup", type=int, default=1)
    ap.add_argument("--settle", type=float, default=3.0)
    ap.add_argument("--timeout", type=float, default=60.0)
    ap.add_argument("--poll-ms", type=float, default=5.0)
    ap.add_argument("--min-pixels", type=int, default=40000)
    ap.add_argument("--reuse-home", action="store_true")
    ap.add_argument("--peer-tool", default="")
    ap.add_argument("--peers", default="epiphany,chromium-app")
    ap.add_argument("-v", "--verbose", action="store_true")
    ap.add_argument("--env", action="append", default=[])
    opt = ap.parse_args(argv)
    for kv in opt.env:
        k, v = kv.split("=", 1)
        os.environ[k] = v

    if LIBC.prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0) != 0:
        log("# warning: cannot become a subreaper; orphaned web processes are not counted")
    signal.signal(signal.SIGTERM, lambda *a: sys.exit(143))
    opt.work = tempfile.mkdtemp(prefix="quilt-startup-")
    opt.home = os.path.join(opt.work, "home")
    opt.bundle, opt.uid = make_bundle(opt.template, opt.work, "StartupBench")
    server = serve()
    url = "http://127.0.0.1:%d/page.html" % server.server_address[1]
    screen = Screen(os.environ["DISPLAY"])
    log("# DefaultApp start-up: runs=%d warmup=%d settle=%ss screen=%dx%d home=%s" % (
        opt.runs, opt.warmup, opt.settle, screen.w, screen.h,
        "reused" if opt.reuse_home else "fresh-per-run"))
    runs = []
    try:
        labels = ["w%d" % i for i in range(1, opt.warmup + 1)] + [str(i) for i in range(1, opt.runs + 1)]
        for label in labels:
            r = one_run(opt, screen, url, label)
            figs = " ".join("%s=%.1f" % (k, r[k]) for k in ("visible_ms", "pss_mib", "poll_ms") if k in r)
            log("run %-3s %s procs=%s%s" % (label, figs, r.get("procs", "-"),
                                          (" ERROR: " + r["error"]) if "error" in r else ""))
            if opt.verbose:
                for line in r.get("detail", []):
                    log("    " + line)
            if not label.startswith("w"):
                runs.append(r)
    finally:
        server.shutdown()
    good = [r for r in runs if "error" not in r]
    result = {"name": "DefaultApp", "runs": len(runs), "failures": len(runs) - len(good)}
    for key in ("visible_ms", "pss_mib", "procs"):
        m = median(good, key)
        if m is not None:
            vals = [r[key] for r in good]
            result[key] = {"median": round(m, 1), "min": round(min(vals), 1), "max": round(max(vals), 1)}
            log("%-11s median=%.1f min=%.1f max=%.1f" % (key, m, min(vals), max(vals)))

    if opt.peer_tool:
        peers = {}
        for preset in [p for p in opt.peers.split(",") if p]:
            peers[preset] = run_peer(opt.peer_tool, preset, opt.runs, opt.warmup)
        result["peers"] = {}
        for preset, res in peers.items():
            if not res:
                continue
            row = {}
            for key in ("visible_ms", "pss_mib"):
                if key in result and key in res:
                    row[key] = round(result[key]["median"] / res[key]["median"], 2)
                    log("ratio %-13s %-10s DefaultApp %.1f / %s %.1f = %.2f" % (
                        preset, key, result[key]["median"], preset, res[key]["median"], row[key]))
            result["peers"][preset] = {"visible_ms": res.get("visible_ms", {}).get("median"),
                                       "pss_mib": res.get("pss_mib", {}).get("median"),
                                       "procs": res.get("procs", {}).get("median"), "ratio": row}
    shutil.rmtree(opt.work, ignore_errors=True)
    log("RESULT " + json.dumps(result, sort_keys=True))
    return 0 if good and len(good) == len(runs) else 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
