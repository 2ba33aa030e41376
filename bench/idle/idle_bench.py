#!/usr/bin/env python3
"""What an app left open costs when nothing changes (run through
idle_bench.sh, which starts a private headless desktop and says what each
case is). Standard library only; it reuses the app, sampling and process
helpers of ../tabs/tabs_bench.py."""
import argparse
import json
import os
import shutil
import signal
import subprocess
import sys
import tempfile
import threading
import time
import urllib.parse

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "tabs"))
import tabs_bench as tb  # noqa: E402
from benchlib import serve  # noqa: E402  (bench/ is on the path through tabs_bench)

sb, log, xdotool, wait_for = tb.sb, tb.log, tb.xdotool, tb.wait_for
MAIL_HOST = "mail.google.com"  # a watched service's host, reached through the server as proxy
UNREAD = 3
# Seconds after the pointer last moved over a page that scrolls: the
# engine's overlay scrollbar draws some 60 frames a second for about ten.
QUIET = 15


def inbox_page(rows=150):
    """A mail service's inbox as its watcher reads it: a label list, a
    toolbar and a message list whose unread rows carry "zA zE" and a sender
    in "afn"; some 5 000 nodes in all, none of them changing."""
    labels = "".join("<li class='lb'><a href='#l%d'><span class='ic'></span><span>Label %d</span>"
                     "<span class='n'>%d</span></a></li>" % (i, i, i * 3) for i in range(40))
    row = ("<tr class='%s' id='r%d'><td class='c'><input type='checkbox'></td><td class='st'><span>&#9734;</span></td>"
           "<td class='s'><div><span class='afn'>%sSender %d, message %d, %s</span><span class='ct'>%d</span></div>"
           "</td><td class='sb'><div><span class='t'>Subject of message %d</span><span class='sn'> - the first "
           "words of the message as a preview, <b>cut</b> at the edge</span></div></td><td class='a'>"
           "<span class='att'></span></td><td class='d'><span title='Mon %d Nov'>%d Nov</span></td></tr>")
    body = "".join(row % ("zA zE" if i < UNREAD else "zA yO", i, "unread," if i < UNREAD else "", i, i,
                          "a line of its text", i % 4 + 1, i, i % 28 + 1, i % 28 + 1) for i in range(rows))
    return ("<!doctype html><html><head><meta charset='utf-8'><title>Inbox (%d) - bench@example.com - Mail</title>"
            "<style>body{margin:0;font:14px sans-serif;display:grid;grid-template-columns:220px 1fr}"
            "nav ul{list-style:none;margin:0;padding:8px}.lb a{display:flex;gap:6px;padding:3px;color:#222}"
            ".ic{width:14px;height:14px;background:#c33;border-radius:3px}.n{margin-left:auto;color:#777}"
            "header{grid-column:1/3;height:56px;background:#f1f3f4;display:flex;align-items:center;padding:0 16px}"
            "table{border-collapse:collapse;width:100%%}tr{border-bottom:1px solid #eee}td{padding:4px 6px;"
            "white-space:nowrap;overflow:hidden;text-overflow:ellipsis;max-width:420px}.zE{font-weight:bold;"
            "background:#fff}.yO{background:#f5f7f7}.sn{color:#666}</style></head><body>"
            "<header><input placeholder='Search mail' size='60'><button>Settings</button></header>"
            "<nav><ul>%s</ul></nav><main><table><tbody>%s</tbody></table></main></body></html>"
            % (UNREAD, labels, body)).encode()


class Server:
    """The inbox at any address, directly or as a proxy for any host name."""

    def __init__(self):
        page = inbox_page()
        self.hosts = set()

        def respond(path):
            # A proxied request names the whole address; favicons and the
            # like get a plain 404.
            u = urllib.parse.urlparse(path)
            self.hosts.add(u.hostname or "127.0.0.1")
            if u.path.endswith(".ico"):
                return 404, "text/plain", b""
            return 200, "text/html; charset=utf-8", page

        self.httpd = serve(respond)
        self.base = "http://127.0.0.1:%d" % self.httpd.server_address[1]


class App(tb.Quilt):
    """The app with its pages reached through the server as proxy."""

    def __init__(self, opt, name, server, behavior=None, **kw):
        super().__init__(opt, name, env={"http_proxy": server.base, "no_proxy": ""}, **kw)
        if behavior:
            with open(os.path.join(self.data, "behavior.json"), "w") as f:
                json.dump(dict({"openLinksKey": 1}, **behavior), f)

    def windows(self):
        return xdotool("search", "--onlyvisible", "--class", self.window_class).split()

    def action(self, name):
        """Runs one of the app's menu commands over the session bus."""
        path = "/" + self.window_class.replace(".", "/")
        subprocess.run(["gdbus", "call", "--session", "--dest", self.window_class, "--object-path", path,
                        "--method", "org.gtk.Actions.Activate", name, "[]", "{}"], capture_output=True, timeout=10)


CASES = ("shown", "pointer_over_page", "minimised", "hidden", "watcher_shown", "watcher_hidden", "dock_monitor",
         "tray_watcher", "refresh_30s")


def sample(opt, out, key, app):
    if key not in opt.only:
        return
    r = out[key] = tb.idle_sample(app.proc.pid, opt.idle_seconds)
    log("idle %-22s app %6.3f %% %6.1f wake-ups/s | tree %6.3f %% %6.1f wake-ups/s" % (
        key, r["app_cpu_pct"], r["app_wakeups_s"], r["tree_cpu_pct"], r["tree_wakeups_s"]))


def pointer_away():
    """Rests the pointer in the screen's corner, off the window: after the
    pointer moves over a page that scrolls, the engine draws for a while
    (pointer_over_page)."""
    w, h = xdotool("getdisplaygeometry").split()
    xdotool("mousemove", "--sync", str(int(w) - 1), str(int(h) - 1))


def started(opt, app, url):
    pointer_away()
    app.start(url)
    ok = wait_for(lambda: app.windows(), 60)
    time.sleep(opt.settle)
    return ok


def start_dock_monitor(app):
    """Draws a square over the page, as a person does after choosing Start
    Dock Monitor, and closes the overlay with a click outside it."""
    wid = app.windows()[-1]
    app.action("toggle-dock-monitor")
    time.sleep(1)
    geo = dict(l.strip().split(": ", 1) for l in xdotool("getwindowgeometry", wid).splitlines()[1:])
    x, y = (int(v) for v in geo["Position"].split(" ")[0].split(","))
    xdotool("mousemove", "--sync", str(x + 300), str(y + 200))
    xdotool("mousedown", "1")
    for step in range(1, 11):
        xdotool("mousemove", "--sync", str(x + 300 + 10 * step), str(y + 200 + 10 * step))
    xdotool("mouseup", "1")
    time.sleep(0.5)
    xdotool("mousemove", "--sync", str(x + 700), str(y + 600))
    xdotool("click", "1")
    pointer_away()


def run(opt, server):
    out = {}
    plain = server.base + "/inbox"  # not a watched host: no watcher pass
    watched = "http://%s/mail/u/0/#inbox" % MAIL_HOST

    if opt.only & {"shown", "minimised", "hidden"}:
        plain_cases(opt, server, out, plain)
    if opt.only & {"watcher_shown", "watcher_hidden"}:
        watcher_cases(opt, server, out, watched)
    if "dock_monitor" in opt.only:
        dock_case(opt, server, out, plain)
    if "tray_watcher" in opt.only:
        tray_case(opt, server, out, watched)
    if "refresh_30s" in opt.only:
        refresh_case(opt, server, out, plain)
    return out


def plain_cases(opt, server, out, plain):
    app = App(opt, "IdlePlain", server)
    try:
        started(opt, app, plain)
        sample(opt, out, "shown", app)
        if "pointer_over_page" in opt.only:
            wid = app.windows()[-1]
            xdotool("mousemove", "--window", wid, "--sync", "400", "300")
            xdotool("mousemove", "--window", wid, "--sync", "420", "320")
            sample(opt, out, "pointer_over_page", app)
            pointer_away()
            time.sleep(QUIET)
        for wid in app.windows():
            xdotool("windowminimize", "--sync", wid)
        time.sleep(3)
        sample(opt, out, "minimised", app)
        xdotool("windowactivate", "--sync", app.windows()[-1] if app.windows() else "")
        app.action("close-window")  # the last window hides, the app runs on
        wait_for(lambda: not app.windows(), 10)
        time.sleep(3)
        sample(opt, out, "hidden", app)
    finally:
        app.stop()


def watcher_cases(opt, server, out, watched):
    app = App(opt, "IdleWatched", server)
    try:
        started(opt, app, watched)
        if MAIL_HOST not in server.hosts:
            log("# the watched page was not reached through the proxy: %s" % sorted(server.hosts))
        sample(opt, out, "watcher_shown", app)
        app.action("close-window")
        wait_for(lambda: not app.windows(), 10)
        time.sleep(3)
        sample(opt, out, "watcher_hidden", app)
    finally:
        app.stop()


def dock_case(opt, server, out, plain):
    app = App(opt, "IdleDock", server)
    try:
        started(opt, app, plain)
        start_dock_monitor(app)
        time.sleep(QUIET)
        sample(opt, out, "dock_monitor", app)
    finally:
        app.stop()


def tray_case(opt, server, out, watched):
    """Menu-bar mode with its popup never opened, the watched inbox in it."""
    if not opt.tray_host:
        log("idle tray_watcher: no tray_host built, not measured")
        return
    host = subprocess.Popen([opt.tray_host], stdout=subprocess.PIPE, text=True)
    app = App(opt, "IdleTray", server, behavior={"statusBarKey": True})
    try:
        if host.stdout.readline().strip() != "ready":
            log("idle tray_watcher: the tray did not start, not measured")
            return
        app.start(watched)
        line = []
        reader = threading.Thread(target=lambda: line.append(host.stdout.readline()), daemon=True)
        reader.start()
        reader.join(60)
        if not line or not line[0].startswith("item "):
            log("idle tray_watcher: the app put no item in the tray, not measured")
            return
        time.sleep(opt.settle)
        sample(opt, out, "tray_watcher", app)
    finally:
        app.stop()
        host.terminate()
        host.wait()


def refresh_case(opt, server, out, plain):
    app = App(opt, "IdleRefresh", server, settings={"refreshTimeInterval": 30})
    try:
        started(opt, app, plain)
        sample(opt, out, "refresh_30s", app)
    finally:
        app.stop()


def main(argv):
    ap = argparse.ArgumentParser(prog="idle_bench.sh")
    ap.add_argument("--template", required=True)
    ap.add_argument("--idle-seconds", type=float, default=60)
    ap.add_argument("--settle", type=float, default=20)
    ap.add_argument("--tray-host", help="the built bench/idle/tray_host, for menu-bar mode "
                    "(default: the one in the template's build tree)")
    ap.add_argument("--only", default=",".join(CASES), help="cases to measure, comma separated")
    opt = ap.parse_args(argv)
    opt.only = set(opt.only.split(","))
    if not opt.tray_host:
        built = os.path.join(os.path.dirname(os.path.abspath(opt.template)), "bench", "idle", "tray_host")
        opt.tray_host = built if os.access(built, os.X_OK) else None
    if sb.LIBC.prctl(sb.PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0) != 0:
        log("# warning: cannot become a subreaper; orphaned web processes are not counted")
    signal.signal(signal.SIGTERM, lambda *a: sys.exit(143))
    opt.work = tempfile.mkdtemp(prefix="quilt-idle-")
    server = Server()
    try:
        result = run(opt, server)
    finally:
        server.httpd.shutdown()
        shutil.rmtree(opt.work, ignore_errors=True)
    log("RESULT " + json.dumps(result, sort_keys=True))
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
