#!/usr/bin/env python3
"""The update test's web server: Python's own http.server on 127.0.0.1, serving one folder, with
paths under /stall/ accepted and never answered (the server that hangs).

  test_server.py start FOLDER STATEFILE   starts it in the background; STATEFILE gets "PORT PID"
  test_server.py stop STATEFILE           ends the server STATEFILE names
"""
import functools, http.server, os, signal, sys, threading, time


class Handler(http.server.SimpleHTTPRequestHandler):
    def do_GET(self):
        if self.path.startswith("/stall/"):
            time.sleep(120)
            return
        super().do_GET()

    def log_message(self, *args):
        pass


def start(folder, state):
    os.makedirs(folder, exist_ok=True)
    server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), functools.partial(Handler, directory=folder))
    server.daemon_threads = True
    if os.fork():
        return
    os.setsid()
    with open(state + ".new", "w") as f:
        f.write("%d %d\n" % (server.server_address[1], os.getpid()))
    os.replace(state + ".new", state)
    for fd in (0, 1, 2):
        os.close(fd)
    # Never outlives a forgotten cleanup by much.
    threading.Timer(900, lambda: os._exit(0)).start()
    server.serve_forever()


def stop(state):
    try:
        pid = int(open(state).read().split()[1])
        os.kill(pid, signal.SIGTERM)
    except (OSError, ValueError, IndexError):
        pass
    try:
        os.remove(state)
    except OSError:
        pass


if __name__ == "__main__":
    if sys.argv[1:2] == ["start"] and len(sys.argv) == 4:
        start(sys.argv[2], sys.argv[3])
    elif sys.argv[1:2] == ["stop"] and len(sys.argv) == 3:
        stop(sys.argv[2])
    else:
        sys.exit(__doc__)
