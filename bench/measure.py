#!/usr/bin/env python3
"""Compares the launcher with its peers and writes docs/performance.md with its chart.

Usage: measure.py BUILD_DIRECTORY [--pairs N] [--only WORK]

Whole processes run in interleaved pairs, ours and the peer's, in changing order. A row shows the
median of the pairs' ratios with their quartiles, so what slows both down does not count. Instructions
are counted by callgrind and hardly vary.
"""

import argparse
import datetime
import json
import os
import pathlib
import re
import shutil
import statistics
import subprocess
import sys
import tempfile
import time
from dataclasses import dataclass

import chart

here = pathlib.Path(__file__).resolve().parent
parser = argparse.ArgumentParser()
parser.add_argument("build", type=pathlib.Path)
parser.add_argument("--pairs", type=int, default=40, help="pairs with a JVM; short processes ten times")
parser.add_argument("--realtime", action="store_true",
                    help="whole processes run before all else that the machine does (needs root)")
parser.add_argument("--only", default="", help="rows whose work holds this text; writes no report")
options = parser.parse_args()

bin_directory = options.build.resolve() / "bin"
wrapper = str(options.build.resolve() / "wrapper")
java = os.path.realpath(shutil.which("java"))
java_home = pathlib.Path(java).parent.parent
libjvm = str(java_home / "lib/server/libjvm.so")
jar = str(bin_directory / "bench.jar")
scratch = pathlib.Path(tempfile.mkdtemp(prefix="velox-bench."))


@dataclass
class Row:
    work: str
    peer: str
    ratio: float
    low: float
    high: float
    goal: float | None
    ours: str
    theirs: str

    def cells(self):
        met = "" if self.goal is None else (" met" if self.ratio <= self.goal + 0.0005 else " **missed**")
        spread = f"{self.ratio:.3f}" + (f" ({self.low:.3f} to {self.high:.3f})" if self.high else "")
        goal = "" if self.goal is None else f"{self.goal:.2f}{met}"
        return f"| {self.work} | {self.peer} | {self.ours} | {self.theirs} | {spread} | {goal} |"


@dataclass
class Sample:
    seconds: float
    processor: float
    peak: int  # KiB


rows: list[Row] = []


def wanted(work):
    return options.only in work


def kvf(name, *lines):
    path = scratch / f"{name}.kvf"
    path.write_text("".join(line + "\n" for line in lines))
    return str(path)


def launch(name, *lines, library=libjvm, start="bench.Hello"):
    settings = [f"java.library={library}", f"java.start.class={start}", f"java.class.path={jar}"]
    return [wrapper, "--propFile", kvf(name, *settings, *lines), "--run"]


def timed(commands):
    """Runs each command once, one after the other, through hyperfine."""
    report = scratch / "hyperfine.json"
    ahead = ["chrt", "--rr", "1"] if options.realtime else []
    subprocess.run([*ahead, "hyperfine", "--shell=none", "--runs=1", "--style=none", f"--export-json={report}",
                    *(" ".join(command) for command in commands)],
                   check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    return [Sample(result["mean"], result["user"] + result["system"], 0)
            for result in json.loads(report.read_text())["results"]]


def peaks(commands):
    samples = []
    for command in commands:
        pid = os.posix_spawn(command[0], command, os.environ,
                             file_actions=[(os.POSIX_SPAWN_OPEN, 1, os.devnull, os.O_WRONLY, 0)])
        samples.append(Sample(0, 0, os.wait4(pid, 0)[2].ru_maxrss))
    return samples


def paired(commands, pairs, run=timed):
    """The samples of each command, interleaved and in changing order."""
    samples = [[] for _ in commands]
    for pair in range(pairs + 1):
        order = list(range(len(commands)))
        if pair % 2:
            order.reverse()
        for index, sample in zip(order, run([commands[i] for i in order])):
            if pair > 0:  # the first only warms the caches
                samples[index].append(sample)
    return samples


def add(work, peer, ours, theirs, goal, unit):
    """A row from paired numbers, smaller is better."""
    ratios = [a / b for a, b in zip(ours, theirs)]
    low, _, high = statistics.quantiles(ratios, n=4) if len(ratios) > 1 else (0, 0, 0)
    shown = [unit(statistics.median(numbers)) for numbers in (ours, theirs)]
    rows.append(Row(work, peer, statistics.median(ratios), low, high, goal, *shown))
    print(rows[-1].cells(), flush=True)


def milliseconds(value):
    return f"{value * 1e3:.2f} ms" if value < 0.02 else f"{value * 1e3:.0f} ms"


def instructions(value):
    return f"{value / 1e6:.1f} M" if value >= 1e6 else f"{value / 1e3:.0f} k" if value >= 1e4 else f"{value:.0f}"


def start_of_hello():
    default = launch("hello")
    plain = [java, "-cp", jar, "bench.Hello"]
    bare = [str(bin_directory / "bare_launcher"), libjvm, jar, "bench/Hello"]
    environment = launch("environment", "velox.env.BENCH=1")
    commands = [default, plain, bare, environment]
    names = ["`--run` hello", "`java`", "bare launcher", "`--run` hello with `velox.env.`"]
    for name, command in others():
        commands.append(command)
        names.append(name)
    measured = paired(commands, options.pairs)
    samples = [[sample.seconds for sample in each] for each in measured]
    processor = [[sample.processor for sample in each] for each in measured]
    add(names[0], names[2], samples[0], samples[2], 1.01, milliseconds)
    add(names[0], names[1], samples[0], samples[1], 0.99, milliseconds)
    add(names[3], names[1], samples[3], samples[1], 1.01, milliseconds)
    for ours, peer, goal in ((0, 2, 1.02), (0, 1, None), (3, 1, 1.03)):
        add(f"{names[ours]}, processor time", names[peer], processor[ours], processor[peer], goal, milliseconds)
    for name, seconds in zip(names, samples):
        if name in ("bare launcher", "jsvc", "jpackage launcher"):
            add(f"{name}, hello", "`java`", seconds, samples[1], None, milliseconds)


def others():
    """Launchers that are installed here and start the same class."""
    daemon = pathlib.Path("/usr/share/java/commons-daemon.jar")
    if shutil.which("jsvc") and daemon.exists():
        yield "jsvc", [shutil.which("jsvc"), "-nodetach", "-java-home", str(java_home), "-pidfile",
                       str(scratch / "jsvc.pid"), "-cp", f"{jar}:{daemon}", "bench.Hello"]
    jpackage = shutil.which("jpackage")
    if jpackage is None:
        return
    folder = scratch / "jpackage-input"
    folder.mkdir()
    shutil.copy(jar, folder)
    made = subprocess.run([jpackage, "--type", "app-image", "--input", str(folder), "--main-jar", "bench.jar",
                           "--main-class", "bench.Hello", "--name", "hello", "--dest", str(scratch)],
                          capture_output=True)
    if made.returncode == 0:
        yield "jpackage launcher", [str(scratch / "hello/bin/hello")]


def without_jvm():
    ours = launch("fake", library=str(bin_directory / "libfake_jvm.so"))
    empty = [str(bin_directory / "empty")]
    samples = paired([ours, empty, empty], 10 * options.pairs)
    processor = [[sample.processor for sample in each] for each in samples]
    add("everything but the JVM, processor time", "empty C program", processor[0], processor[1], 3.0,
        milliseconds)
    add("noise: empty C program, processor time", "itself", processor[1], processor[2], None, milliseconds)


def counted(command, loader=True):
    """Instructions of a command with its children, with or without the dynamic loader's."""
    for old in scratch.glob("callgrind.*"):
        old.unlink()
    subprocess.run(["valgrind", "--tool=callgrind", "--trace-children=yes",
                    f"--callgrind-out-file={scratch}/callgrind.%p", *command],
                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    return sum(instructions_in(path, loader) for path in scratch.glob("callgrind.*"))


def instructions_in(path, loader):
    names, current, total, called = {}, "", 0, False
    for line in path.read_text(errors="replace").splitlines():
        if found := re.match(r"(c?)ob=(\(\d+\))(?: (.*))?$", line):
            if found[3]:
                names[found[2]] = found[3]
            if not found[1]:
                current = names[found[2]]
        elif line.startswith("calls="):
            called = True  # the next line repeats what the called function has used
        elif found := re.match(r"[+\-*\d]\S* (\d+)$", line):
            if not called and (loader or "/ld-linux" not in current):
                total += int(found[1])
            called = False
    return total


def default_flow():
    ours = counted(launch("fake", library=str(bin_directory / "libfake_jvm.so")), loader=False)
    add("instructions of the default flow outside the dynamic loader", "commit bd15da0",
        [ours], [351_800], 0.50, instructions)


def entries(count):
    """Lines of a properties file; every tenth refers to the one before."""
    for i in range(count):
        value = f"%part{(i - 1) % 97}.setting{i - 1}%" if i % 10 == 5 else f"v{i}"
        yield f"part{i % 97}.setting{i}={value}"


def properties_files():
    def ours(count):
        return counted([wrapper, "--version", "--propFile", kvf(f"entries{count}", *entries(count))])

    nothing, few, many = ours(0), ours(500), ours(20000)
    peer = str(bin_directory / "gkeyfile")
    if os.path.exists(peer):
        theirs = counted([peer, kvf("group", "[bench]", *entries(20000))]) - counted([peer, kvf("empty", "[bench]")])
        add("properties file with 20,000 entries, 2,000 variables (550 KB), instructions", "GLib's GKeyFile",
            [many - nothing], [theirs], 1.0, instructions)
    add("instructions for an entry, of 20,000", "of 500", [(many - nothing) / 20000],
        [(few - nothing) / 500], 1.2, instructions)


def class_path_walk():
    tree, empty = scratch / "tree", scratch / "none"
    empty.mkdir()
    for a, b, c in ((a, b, c) for a in range(8) for b in range(8) for c in range(8)):
        folder = tree / f"d{a}/d{b}/d{c}"
        folder.mkdir(parents=True)
        for i in range(8):
            (folder / f"library-{a}{b}{c}{i}.jar").touch()
    fake = str(bin_directory / "libfake_jvm.so")
    commands = [launch("walk", f"velox.class.path.extended={tree}/**", library=fake),
                launch("nowalk", f"velox.class.path.extended={empty}/**", library=fake),
                ["find", str(tree), "-name", "*.jar"], ["find", str(empty), "-name", "*.jar"]]
    samples = [[sample.processor for sample in each] for each in paired(commands, 5 * options.pairs)]
    beyond = [[a - b for a, b in zip(samples[i], samples[i + 1])] for i in (0, 2)]
    add("`**` over 4,096 archives in four levels, beyond an empty start, processor time", "`find`",
        *beyond, 0.8, milliseconds)


def peak_memory():
    commands = [launch("hello"), [java, "-cp", jar, "bench.Hello"]]
    samples = [[sample.peak for sample in each] for each in paired(commands, options.pairs, peaks)]
    add("peak memory of `--run` hello", "`java`", *samples, 1.0, lambda value: f"{value / 1024:.1f} MiB")


def processor_bound():
    def spin(commands):
        return [Sample(float(subprocess.run(command, check=True, capture_output=True).stdout.split()[-1]) / 1e3, 0, 0)
                for command in commands]

    commands = [launch("spin", start="bench.Spin"), [java, "-cp", jar, "bench.Spin"]]
    samples = [[sample.seconds for sample in each] for each in paired(commands, max(4, options.pairs // 4), spin)]
    add("processor-bound program, a round in the steady state", "`java`", *samples, None, milliseconds)


def tomcat():
    home = pathlib.Path("/usr/share/tomcat10")
    if not (home / "bin/bootstrap.jar").exists() or not shutil.which("wrk"):
        return
    base = scratch / "tomcat"
    for folder in ("conf", "logs", "temp", "work", "webapps/ROOT"):
        (base / folder).mkdir(parents=True)
    port = 18080
    (base / "conf/server.xml").write_text(
        f'<Server port="-1"><Service name="Catalina"><Connector port="{port}"/><Engine name="Catalina" '
        'defaultHost="localhost"><Host name="localhost" appBase="webapps"/></Engine></Service></Server>')
    shutil.copy(home / "etc/web.xml", base / "conf/web.xml")
    (base / "webapps/ROOT/index.jsp").write_text("<% for (int i = 0; i < 100; i++) { %>line <%= i %>\n<% } %>")
    class_path = f"{home}/bin/bootstrap.jar:{home}/bin/tomcat-juli.jar"
    properties = {"catalina.home": home, "catalina.base": base, "java.io.tmpdir": base / "temp"}
    start = "org.apache.catalina.startup.Bootstrap"
    ours = [wrapper, "--propFile",
            kvf("tomcat", f"java.library={libjvm}", f"java.start.class={start}", f"java.class.path={class_path}",
                "application.args=start", *(f"java.property.{key}={value}" for key, value in properties.items())),
            "--run"]
    plain = [java, *(f"-D{key}={value}" for key, value in properties.items()), "-cp", class_path, start, "start"]
    samples = paired([ours, plain], max(2, options.pairs // 15), lambda commands: [load(c, port) for c in commands])
    add("Tomcat under load, time for a request in the steady state", "`java`",
        *[[sample.seconds for sample in each] for each in samples], None, lambda value: f"{value * 1e6:.0f} µs")


def load(command, port):
    def requests(seconds):
        output = subprocess.run(["wrk", "-t1", "-c8", f"-d{seconds}s", f"http://localhost:{port}/"],
                                capture_output=True, text=True).stdout
        if "Non-2xx" in output:
            sys.exit("Tomcat does not serve the page:\n" + output)
        rate = re.search(r"Requests/sec:\s+([\d.]+)", output)  # nothing while it does not listen yet
        return float(rate[1]) if rate else 0.0

    with subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL) as server:
        while requests(1) == 0:
            time.sleep(0.2)
        requests(8)  # until the JIT compilers have come to rest
        rate = requests(5)
        server.terminate()
    return Sample(1 / rate, 0, 0)


def duration(nanoseconds):
    return f"{nanoseconds / 1e3:.0f} µs" if nanoseconds >= 1e4 else f"{nanoseconds:.0f} ns"


def parts():
    """Google Benchmark's numbers of the parts, as a table."""
    lines = []
    for program in sorted(bin_directory.glob("bench_*")):
        if program.suffix == ".jar" or not os.access(program, os.X_OK):
            continue
        output = subprocess.run([program, "--benchmark_format=json", "--benchmark_repetitions=5",
                                 "--benchmark_min_time=0.05"], check=True, capture_output=True, text=True).stdout
        for entry in json.loads(output)["benchmarks"]:
            if entry.get("aggregate_name") != "median":
                continue
            rate = entry.get("items_per_second")
            each = f"{1e9 / rate:.0f} ns" if rate else ""
            lines.append(f"| `{entry['run_name']}` | {duration(entry['cpu_time'])} | {each} |")
    return "\n".join(lines)


def machine():
    cpu = re.search(r"model name\s*: (.*)", pathlib.Path("/proc/cpuinfo").read_text())
    version = subprocess.run([java, "-version"], capture_output=True, text=True).stderr.splitlines()[0]
    return f"{os.cpu_count()} × {cpu[1] if cpu else 'processor'}, Linux {os.uname().release}, {version}"


def report(load_before):
    noise = next(row for row in rows if row.work.startswith("noise"))
    shown = [row for row in rows if row is not noise]
    text = (here / "performance.md.in").read_text()
    for name, value in {
        "date": f"{datetime.date.today():%Y-%m-%d}",
        "machine": machine(),
        "command": " ".join(["scripts/bench", *sys.argv[2:]]),
        "noise": "The load average was "
                 f"{load_before:.1f} before the run and {os.getloadavg()[0]:.1f} after it; the "
                 f"processor time of an empty program against itself came out at {noise.ratio:.2f}, half of the pairs "
                 f"between {noise.low:.2f} and {noise.high:.2f}."
                 + (" Whole processes ran with real-time priority." if options.realtime else ""),
        "table": "\n".join(row.cells() for row in shown),
        "parts": parts(),
    }.items():
        text = text.replace("{" + name + "}", value)
    docs = here.parent / "docs"
    (docs / "performance.md").write_text(text)
    (docs / "performance.svg").write_text(chart.svg(shown))


def main():
    load_before = os.getloadavg()[0]
    works = {"hello": start_of_hello, "without the JVM": without_jvm, "default flow": default_flow,
             "properties": properties_files, "walk": class_path_walk, "memory": peak_memory,
             "steady": processor_bound, "tomcat": tomcat}
    try:
        for name, measure in works.items():
            if wanted(name):
                measure()
        if not options.only:
            report(load_before)
    finally:
        shutil.rmtree(scratch, ignore_errors=True)


if __name__ == "__main__":
    main()
