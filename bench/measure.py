"""What is measured, and how. Every function gives a section of figures."""

import json
import os
import re
import shutil
import subprocess
import tempfile

from figures import Figure, Section
from sink import SilentServer, unused_port


class Bench:
    """The programs to measure, a folder on the disk for their files, and how much to measure."""

    def __init__(self, build, folder, nginx, quick):
        self.bin = os.path.join(os.path.abspath(build), "bin")
        self.library = os.path.join(build, "lib", "libQuarnelTvOsLib.so")
        self.folder = folder
        self.nginx = nginx
        self.repetitions = 1 if quick else 5
        self.events = 200 if quick else 10_000
        self.calls = 200 if quick else 2_000
        self.quick = quick
        self.closed_host = f"localhost:{unused_port()}"

    def run(self, program, *arguments, prefix=()):
        command = [*prefix, os.path.join(self.bin, program), *map(str, arguments)]
        done = subprocess.run(command, capture_output=True, text=True, timeout=600)
        if done.returncode != 0:
            raise RuntimeError(f"{' '.join(command)}: {done.stderr}")
        pairs = [line.split() for line in done.stdout.splitlines()]
        return {name: float(number) for name, number in pairs}

    def drive(self, mode, host, count, prefix=(), more=()):
        """Runs the driver with an installation of its own."""
        state = tempfile.mkdtemp(dir=self.folder)
        try:
            return self.run("bench-driver", mode, state, host, self.nginx.authority, count, *more,
                            prefix=prefix)
        finally:
            shutil.rmtree(state)

    def deliver(self, protocol):
        before = self.nginx.requests()
        result = self.drive("deliver", self.nginx.host(protocol), self.events)
        self.check_arrival(before)
        return result

    def send_bare(self, protocol):
        before = self.nginx.requests()
        record = self.recorded_request(self.nginx.host(protocol))
        result = self.run("bare-sender", "send", record, self.nginx.authority, self.events)
        self.check_arrival(before)
        return result

    def check_arrival(self, before):
        """More may arrive: of what is under way when nginx closes a connection, which it does after
        a thousand requests, some is sent again."""
        arrived = self.nginx.requests() - before
        if not self.events <= arrived < self.events * 1.01:
            raise RuntimeError(f"{arrived} of {self.events} events arrived")

    def recorded_request(self, host):
        """A report as the offline cache keeps it, addressed to `host`."""
        path = os.path.join(self.folder, "record")
        if not os.path.exists(path):
            state = tempfile.mkdtemp(dir=self.folder)
            self.run("bench-driver", "memory", state, self.closed_host, self.nginx.authority, 1)
            cache = os.path.join(state, "Caches", "QuarnelCache")
            shutil.copy(os.path.join(cache, os.listdir(cache)[0]), path)
            shutil.rmtree(state)
        with open(path, encoding="utf-8") as file:
            lines = file.read().split("\n")
        lines[1] = re.sub(r"//localhost:\d+", f"//{host}", lines[1])
        addressed = path + "-addressed"
        with open(addressed, "w", encoding="utf-8") as file:
            file.write("\n".join(lines))
        return addressed

    def repeat(self, measure):
        return [measure() for _ in range(self.repetitions)]


def column(results, name):
    return [result[name] for result in results]


def calls(bench):
    bare = "a map of five properties into a bare queue"
    figures = []
    for state, mode, count in (("idle", "idle-calls", bench.calls),
                               ("busy", "busy-calls", bench.events)):
        for line, host in (("online", bench.nginx.host("http1")), ("offline", bench.closed_host)):
            results = bench.repeat(lambda: bench.drive(mode, host, count))
            for name in ("median", "p99"):
                figures.append(Figure(f"a call, library {state}, {line}: {name}", "s",
                                      column(results, f"call-{name}"), bare,
                                      column(results, f"bare-{name}")))
    figures.append(Figure("reading the clock twice, included in each", "s",
                          column(results, "timer-median")))
    figures.append(instructions(bench))
    return Section("A call on the application's thread, an event of five properties", figures)


def instructions(bench):
    """Counted by valgrind, as few virtual machines let programs use the processor's counters."""
    if not shutil.which("valgrind"):
        raise RuntimeError("valgrind is missing; scripts/bootstrap --bench installs it")
    count = 20 if bench.quick else 200

    def count_in(function):
        out = os.path.join(bench.folder, "callgrind.out")
        prefix = ["valgrind", "--tool=callgrind", "--collect-atstart=no",
                  f"--toggle-collect={function}", f"--callgrind-out-file={out}"]
        bench.drive("counted-calls", bench.closed_host, count, prefix=prefix)
        with open(out, encoding="utf-8") as file:
            total = re.search(r"^(?:summary|totals): (\d+)", file.read(), re.MULTILINE)
        if not int(total.group(1)):
            raise RuntimeError(f"nothing was counted in {function}")
        return int(total.group(1)) / count

    return Figure("instructions in user mode a call (callgrind)", "", [count_in("libraryCall")],
                  "the bare queue", [count_in("bareCall")])


def delivery(bench):
    figures = []
    for protocol, name in (("http1", "HTTP/1.1"), ("http2", "HTTP/2")):
        pairs = bench.repeat(lambda: (bench.deliver(protocol), bench.send_bare(protocol)))
        library, bare = [pair[0] for pair in pairs], [pair[1] for pair in pairs]
        figures.append(Figure(
            f"{bench.events:,} events by {name} until drained", "/s",
            [bench.events / seconds for seconds in column(library, "seconds")],
            "bare libcurl, the same body",
            [bench.events / seconds for seconds in column(bare, "seconds")]))
        figures.append(Figure(
            f"processor time a delivered event, {name}", "s",
            [seconds / bench.events for seconds in column(library, "processor-seconds")],
            "bare libcurl",
            [seconds / bench.events for seconds in column(bare, "processor-seconds")]))
    return Section("Delivery over HTTPS on loopback, four connections", figures)


# Hands the moment just before exec to the program as its last argument.
TIMED_EXEC = ["bash", "-c", 'exec "$0" "$@" "$EPOCHREALTIME"']


def start(bench):
    results = bench.repeat(lambda: bench.drive("start", bench.closed_host, 0, prefix=TIMED_EXEC))
    bare = bench.repeat(lambda: bench.run("bare-sender", "start", prefix=TIMED_EXEC))
    figures = [Figure("main to sharedTracker returned", "s", column(results, "main-to-started"),
                      "main to libcurl initialised", column(bare, "main-to-started"))]

    def whole(each):
        return [result["exec-to-main"] + result["main-to-started"] for result in each]

    figures.append(Figure("exec to sharedTracker returned", "s", whole(results),
                          "exec to libcurl initialised", whole(bare)))
    return Section("Start", figures)


def memory(bench):
    figures = []
    silent = SilentServer()
    bare_start = bench.repeat(lambda: bench.run("bare-sender", "start", prefix=TIMED_EXEC))
    bare_peak = bench.repeat(lambda: bench.send_bare("http1"))
    for what, mode, host, bare, bare_name in (
            ("after start", "start", bench.closed_host, bare_start, "libcurl initialised"),
            ("peak, online", "memory", bench.nginx.host("http1"), bare_peak, "bare libcurl"),
            ("peak, offline", "memory", bench.closed_host, bare_peak, "bare libcurl, online"),
            ("peak, no answer ever", "memory", silent.host, bare_peak, "bare libcurl, online")):
        prefix = TIMED_EXEC if mode == "start" else ()
        results = bench.repeat(lambda: bench.drive(mode, host, bench.events, prefix=prefix))
        for kind, name in (("resident", "resident-kb"), ("private dirty", "private-dirty-kb")):
            figures.append(Figure(f"{what}: {kind}", "kB", column(results, name), bare_name,
                                  column(bare, name)))
    silent.stop()
    return Section(f"Memory, {bench.events:,} events at once", figures)


def size(bench):
    def stripped_size(path):
        copy = os.path.join(bench.folder, "stripped")
        subprocess.run(["strip", "-o", copy, path], check=True)
        return os.path.getsize(copy) / 1000

    figures = [Figure("the library, stripped", "kB", [stripped_size(bench.library)])]
    listing = subprocess.run(["ldd", bench.library], check=True, capture_output=True, text=True)
    others = re.findall(r"=> (/\S+)", listing.stdout)
    figures.append(Figure(f"the {len(others)} libraries that it pulls in", "kB",
                          [sum(os.path.getsize(os.path.realpath(path)) for path in others) / 1000]))
    for path in sorted(others, key=lambda each: -os.path.getsize(os.path.realpath(each)))[:4]:
        figures.append(Figure(f"of these {os.path.basename(path)}", "kB",
                              [os.path.getsize(os.path.realpath(path)) / 1000]))
    return Section("Size", figures)


# A part of the library, its benchmark, and the bare one to compare it with.
PARTS = [
    ("device, application and network facts", "report/deviceFacts", "getifaddrs()",
     "report/bareInterfaces"),
    ("JSON of a report", "report/json", "RapidJSON's writer alone", "report/bareJson"),
    ("encoding of a body, 1,500 bytes", "encode/body/1500", "memcpy", "encode/memcpy/1500"),
    ("encoding of a body, 1 MiB", "encode/body/1048576", "memcpy", "encode/memcpy/1048576"),
    ("a stored counter, synchronised", "counter/setAndSynchronize", "an SQLite commit",
     "counter/bareSqliteCommit"),
    ("handing off to the HTTP session", "report/handOff", "memcpy", "encode/memcpy/1500"),
    ("all of a report, stores and network simulated", "report/buildAndEncode",
     "RapidJSON's writer alone", "report/bareJson"),
    ("a record for the offline cache, durable", "cacheWrite/writeNewFile",
     "write, rename, both fsync", "cacheWrite/bareWriteAndRename/fsync:1"),
    ("replay of a cached report", "replay/offlineCache", "libcurl, one connection",
     "replay/bareCurlLoop"),
]


def report(bench):
    options = ["--benchmark_format=json", f"--benchmark_repetitions={bench.repetitions}"]
    if bench.quick:
        options.append("--benchmark_min_time=0.001")
    done = subprocess.run([os.path.join(bench.bin, "quarnel_bench"), *options], cwd=bench.folder,
                          check=True, capture_output=True, text=True)
    seconds = {}
    for run in json.loads(done.stdout)["benchmarks"]:
        if run.get("run_type") != "iteration":
            continue
        name = re.sub(r"/(iterations|repeats|manual_time)(:\d+)?", "", run["run_name"])
        # One replay is of several records.
        each = (1 / run["items_per_second"] if name.startswith("replay/")
                else run["real_time"] * {"ns": 1e-9, "us": 1e-6, "ms": 1e-3}[run["time_unit"]])
        seconds.setdefault(name, []).append(each)
    return Section("The parts of a report", [
        Figure(what, "s", seconds[name], bare, seconds[bare_name])
        for what, name, bare, bare_name in PARTS])


SECTIONS = [calls, report, delivery, start, memory, size]
