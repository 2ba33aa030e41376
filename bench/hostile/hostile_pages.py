#!/usr/bin/env python3
"""Hostile-page benchmark of DefaultApp (run inside tests/desktop-session).

For each page below, starts the app on it, samples the resident memory of
the app's own process for --seconds, counts the app's visible windows, then
types Control+Q and measures how long the app takes to end. Prints one line
per page and a final "RESULT {json}" line.

  messages  posts malformed messages on both page channels in a loop
  windows   calls window.open in a loop (scripts allowed to open windows)
  alerts    loops alert()
  mailto    keeps following mailto: links

Usage: hostile_pages.py [--build DIR] [--seconds S] [PAGE ...]
"""
import argparse
import json
import os
import shutil
import subprocess
import sys
import tempfile
import time

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "startup"))
import startup_bench as sb  # noqa: E402  (process tree, bundle copy, stop)
from benchlib import serve as serve_http, status_kib  # noqa: E402  (startup_bench puts bench/ on the path)

PAGES = {
    "messages": "<script>setInterval(() => { for (let i = 0; i < 5000; ++i) {"
                " webkit.messageHandlers.notifications.postMessage({junk: 'x'.repeat(2000), n: i});"
                " webkit.messageHandlers.autoFill.postMessage('{{{' + i); } }, 0);</script>",
    "windows": "<script>setInterval(() => { for (let i = 0; i < 20; ++i)"
               " window.open('/blank?' + Math.random()); }, 20);</script>",
    "alerts": "<script>for (;;) alert('again');</script>",
    "mailto": "<a id=m href='mailto:someone@example.org'>mail</a><script>"
              "setInterval(() => document.getElementById('m').click(), 5);</script>",
}


def serve():
    def respond(path):
        name = path.strip("/").split("?")[0]
        return 200, "text/html; charset=utf-8", \
            ("<!doctype html><title>%s</title>%s" % (name, PAGES.get(name, ""))).encode()
    return serve_http(respond)


def rss_mib(pid):
    return status_kib(pid, "VmRSS") / 1024.0


def windows_of(wm_class):
    out = subprocess.run(["xdotool", "search", "--onlyvisible", "--class", "^%s$" % wm_class.replace(".", "\\.")],
                         capture_output=True, text=True).stdout
    return [w for w in out.split() if w]


def one_page(opt, bundle, uid, wm_class, url, name):
    home = tempfile.mkdtemp(prefix="home-", dir=opt.work)
    env = dict(os.environ, HOME=home, XDG_DATA_HOME=home + "/.local/share",
               XDG_CONFIG_HOME=home + "/.config", XDG_CACHE_HOME=home + "/.cache")
    env.pop("QUILT_BUNDLE", None)
    data = os.path.join(env["XDG_DATA_HOME"], "Quilt", uid)
    os.makedirs(data, exist_ok=True)
    with open(os.path.join(data, "settings.json"), "w") as f:
        # The setting that lets scripts open windows is on: the worst case.
        json.dump({"main_url": url + "/" + name, "enableJavaScript": True, "blockPopupWindoww": True}, f)
    exe = os.path.join(bundle, "Contents", "MacOS", "DefaultApp")
    logf = open(os.path.join(opt.work, "%s.log" % name), "wb")
    proc = subprocess.Popen([exe], env=env, stdin=subprocess.DEVNULL, stdout=logf, stderr=subprocess.STDOUT)
    res = {"page": name}
    try:
        peak, end = 0.0, time.monotonic() + opt.seconds
        while time.monotonic() < end and proc.poll() is None:
            peak = max(peak, rss_mib(proc.pid))
            time.sleep(0.1)
        res["peak_rss_mib"] = round(peak, 1)
        wins = windows_of(wm_class)
        res["windows"] = len(wins)
        t0 = time.monotonic()
        for w in reversed(wins[-3:]):
            subprocess.run(["xdotool", "windowactivate", "--sync", w], capture_output=True, timeout=5)
            subprocess.run(["xdotool", "key", "--clearmodifiers", "ctrl+q"], capture_output=True, timeout=5)
            try:
                proc.wait(timeout=5)
                break
            except subprocess.TimeoutExpired:
                pass
        res["ctrl_q_quits"] = proc.poll() is not None
        res["quit_s"] = round(time.monotonic() - t0, 2) if res["ctrl_q_quits"] else None
    finally:
        if proc.poll() is None:
            sb.stop(proc.pid)
        proc.wait()
        logf.close()
        shutil.rmtree(home, ignore_errors=True)
    return res


def main(argv):
    ap = argparse.ArgumentParser()
    ap.add_argument("--build", default=os.environ.get("QUILT_BUILD_DIR", "build"))
    ap.add_argument("--seconds", type=float, default=10.0)
    ap.add_argument("pages", nargs="*", default=list(PAGES))
    opt = ap.parse_args(argv)
    opt.work = tempfile.mkdtemp(prefix="quilt-hostile-")
    server = serve()
    url = "http://127.0.0.1:%d" % server.server_address[1]
    results = []
    try:
        for name in opt.pages:
            app_name = "Hostile" + name.capitalize()
            bundle, uid = sb.make_bundle(os.path.join(opt.build, "DefaultApp.app"), opt.work, app_name)
            r = one_page(opt, bundle, uid, "org.quilt.bench." + app_name, url, name)
            print("%-9s peak RSS %7.1f MiB  windows %3d  Control+Q %s" % (
                name, r["peak_rss_mib"], r["windows"],
                ("quits in %.2f s" % r["quit_s"]) if r["ctrl_q_quits"] else "DOES NOT QUIT"), flush=True)
            results.append(r)
    finally:
        server.shutdown()
        shutil.rmtree(opt.work, ignore_errors=True)
    print("RESULT " + json.dumps(results))


if __name__ == "__main__":
    main(sys.argv[1:])
