"""Servers on loopback that the measured programs talk to."""

import os
import re
import socket
import subprocess
import threading
import time
import urllib.request

# On HTTP/2 an answer that does not wait for the request's body resets the stream, and the client
# takes it for a failure. There the mirror reads the body first.
NGINX_CONFIGURATION = """
daemon off;
worker_processes 1;
pid {folder}/nginx.pid;
error_log {folder}/error.log;
events {{ worker_connections 1024; }}
http {{
  access_log off;
  client_body_temp_path {folder}/body;
  proxy_temp_path {folder}/proxy;
  fastcgi_temp_path {folder}/fastcgi;
  uwsgi_temp_path {folder}/uwsgi;
  scgi_temp_path {folder}/scgi;
  ssl_certificate {folder}/server.pem;
  ssl_certificate_key {folder}/server.key;
  server {{
    listen 127.0.0.1:{http1} ssl;
    location / {{ return 200; }}
  }}
  server {{
    listen 127.0.0.1:{http2} ssl http2;
    root /nonexistent;
    location / {{ mirror /read; error_page 404 =200 @answer; log_not_found off; }}
    location = /read {{ internal; return 200; }}
    location @answer {{ return 200; }}
  }}
  server {{
    listen 127.0.0.1:{status};
    location / {{ stub_status; }}
  }}
}}
"""


def unused_port():
    with socket.socket() as listener:
        listener.bind(("127.0.0.1", 0))
        return listener.getsockname()[1]


def make_certificates(folder):
    """An authority and a certificate for "localhost" that it has issued."""

    def openssl(*arguments):
        subprocess.run(["openssl", *arguments], cwd=folder, check=True, capture_output=True)

    key = ["-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes"]
    openssl("req", "-x509", *key, "-keyout", "ca.key", "-out", "ca.pem", "-days", "2",
            "-subj", "/CN=Bench authority")
    openssl("req", "-x509", *key, "-keyout", "server.key", "-out", "server.pem", "-days", "2",
            "-subj", "/CN=localhost", "-addext", "subjectAltName=DNS:localhost",
            "-addext", "basicConstraints=critical,CA:FALSE", "-CA", "ca.pem", "-CAkey", "ca.key")


class Nginx:
    """Answers every request with 200, on HTTP/1.1 and HTTP/2, and counts them."""

    def __init__(self, folder):
        self.folder = folder
        make_certificates(folder)
        self.authority = os.path.join(folder, "ca.pem")
        self.ports = {name: unused_port() for name in ("http1", "http2", "status")}
        configuration = os.path.join(folder, "nginx.conf")
        with open(configuration, "w", encoding="utf-8") as file:
            file.write(NGINX_CONFIGURATION.format(folder=folder, **self.ports))
        self.log = open(os.path.join(folder, "nginx.out"), "w", encoding="utf-8")
        path = os.environ.get("PATH", "") + ":/usr/sbin"
        self.process = subprocess.Popen(
            ["nginx", "-e", os.path.join(folder, "error.log"), "-p", folder, "-c", configuration],
            stdout=self.log, stderr=self.log, env={**os.environ, "PATH": path})
        self._wait_until_up()

    def _wait_until_up(self):
        deadline = time.monotonic() + 10
        while self.process.poll() is None and time.monotonic() < deadline:
            try:
                self.requests()
                return
            except OSError:
                time.sleep(0.02)
        self.stop()
        with open(self.log.name, encoding="utf-8") as log:
            raise RuntimeError("nginx did not start: " + log.read())

    def host(self, protocol):
        return f"localhost:{self.ports[protocol]}"

    def requests(self):
        """How many requests have come so far, this one not counted."""
        url = f"http://127.0.0.1:{self.ports['status']}/"
        with urllib.request.urlopen(url, timeout=5) as answer:
            numbers = re.search(r"^ \d+ \d+ (\d+) $", answer.read().decode(), re.MULTILINE)
        self.status_requests = getattr(self, "status_requests", 0) + 1
        return int(numbers.group(1)) - self.status_requests

    def stop(self):
        self.process.terminate()
        self.process.wait()
        self.log.close()


class SilentServer:
    """Accepts every connection and never answers."""

    def __init__(self):
        self.listener = socket.create_server(("127.0.0.1", 0))
        self.host = f"localhost:{self.listener.getsockname()[1]}"
        self.connections = []
        threading.Thread(target=self._accept, daemon=True).start()

    def _accept(self):
        while True:
            try:
                self.connections.append(self.listener.accept()[0])
            except OSError:
                return

    def stop(self):
        self.listener.close()
        for connection in self.connections:
            connection.close()
