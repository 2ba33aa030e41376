"""Helpers the benchmark scripts share: figures read from /proc and a small
HTTP server on 127.0.0.1. Standard library only."""
import http.server
import threading


def proc_kib(pid, name, *fields):
    """Sum of the named "Field:   N kB" lines of /proc/PID/NAME; 0 once the
    process is gone."""
    prefixes = tuple(f + ":" for f in fields)
    try:
        with open("/proc/%d/%s" % (pid, name)) as f:
            return sum(int(line.split()[1]) for line in f if line.startswith(prefixes))
    except (OSError, ValueError, IndexError):
        return 0


def status_kib(pid, field):
    return proc_kib(pid, "status", field)


def serve(respond):
    """Serves GET requests with respond(path) -> (status, content type, body)
    on a free port of 127.0.0.1 from a daemon thread; never cached."""
    class Handler(http.server.BaseHTTPRequestHandler):
        def do_GET(self):
            status, content_type, body = respond(self.path)
            self.send_response(status)
            self.send_header("Content-Type", content_type)
            self.send_header("Content-Length", str(len(body)))
            self.send_header("Cache-Control", "no-store")
            self.end_headers()
            self.wfile.write(body)

        def log_message(self, *args):
            pass

    server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler)
    server.daemon_threads = True
    threading.Thread(target=server.serve_forever, daemon=True).start()
    return server
