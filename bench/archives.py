#!/usr/bin/env python3
"""Compares starts from archives of classes, as `kvf cds` makes them, with those of plain `java`.

Usage: archives.py BUILD_DIRECTORY [--java HOME]... [--pairs N] [--only NAME] [--json FILE]

An application that is not installed is left out: Clojure, Groovy and Jython as Debian packs them
evaluate an expression, and Tomcat 11 answers its first request. Starts run in interleaved rounds, in
changing order. A row shows the medians of the ratios of each round, with their quartiles, by wall-clock
time and by processor time; what slows the machine down does not count.
"""

import argparse
import json
import os
import pathlib
import shutil
import signal
import statistics
import subprocess
import sys
import tempfile
import time
import urllib.error
import urllib.request
from dataclasses import dataclass, field

parser = argparse.ArgumentParser()
parser.add_argument("build", type=pathlib.Path)
parser.add_argument("--java", action="append", default=[], help="home of a JDK; several may be given")
parser.add_argument("--pairs", type=int, default=7)
parser.add_argument("--only", default="", help="applications whose name holds this text")
parser.add_argument("--json", type=pathlib.Path, help="the samples")
options = parser.parse_args()

build = options.build.resolve()
jars = pathlib.Path("/usr/share/java")
port = 18081
short_options = ["-XX:+UseSerialGC", "-XX:TieredStopAtLevel=1"]
scratch = pathlib.Path(tempfile.mkdtemp(prefix="velox-archives."))


@dataclass
class Application:
    name: str
    start: str
    class_path: list[pathlib.Path]
    arguments: list[str]
    properties: dict[str, str] = field(default_factory=dict)
    started: str = ""  # what a server prints then

    def installed(self):
        return bool(self.class_path) and all(path.exists() for path in self.class_path)

    def plain(self, home):
        return [f"{home}/bin/java", *(f"-D{key}={value}" for key, value in self.properties.items()), "-cp",
                ":".join(map(str, self.class_path)), self.start, *self.arguments]


def applications():
    yield Application("Clojure", "clojure.main",
                      [jars / name for name in ("clojure.jar", "spec.alpha.jar", "core.specs.alpha.jar")],
                      ["-e", "(println(+,1,2))"])
    yield Application("Groovy", "groovy.ui.GroovyMain", [jars / "groovy-all.jar"], ["-e", "println(1+2)"])
    yield Application("Jython", "org.python.util.jython", [jars / "jython.jar"], ["-c", "print(1+2)"])
    yield tomcat()


def tomcat():
    home, base = pathlib.Path("/usr/share/tomcat11"), scratch / "tomcat"
    for folder in ("conf", "logs", "temp", "work", "webapps/ROOT"):
        (base / folder).mkdir(parents=True)
    (base / "conf/server.xml").write_text(
        f'<Server port="-1"><Service name="Catalina"><Connector port="{port}"/><Engine name="Catalina" '
        'defaultHost="localhost"><Host name="localhost" appBase="webapps"/></Engine></Service></Server>')
    (base / "conf/catalina.properties").write_text("common.loader=\n")  # the class path has it all
    if (home / "etc/web.xml").exists():
        shutil.copy(home / "etc/web.xml", base / "conf/web.xml")
    (base / "webapps/ROOT/index.html").write_text("started\n")
    return Application("Tomcat", "org.apache.catalina.startup.Bootstrap",
                       [*sorted(home.glob("bin/*.jar")), *sorted(home.glob("lib/*.jar"))], ["start"],
                       {"catalina.home": home, "catalina.base": base, "java.io.tmpdir": base / "temp"},
                       "Server startup in")


@dataclass
class Sample:
    seconds: float
    processor: float


def run(command):
    """One start: of a server to its first answer, of another program to its end."""
    begin = time.monotonic()
    process = subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, stdin=subprocess.DEVNULL)
    _, status, used = os.wait4(process.pid, 0)
    if status != 0:
        sys.exit(f"{command} ended with {status}")
    return Sample(time.monotonic() - begin, used.ru_utime + used.ru_stime)


def run_server(command):
    begin = time.monotonic()
    process = subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, stdin=subprocess.DEVNULL)
    while True:
        try:
            with urllib.request.urlopen(f"http://127.0.0.1:{port}/") as answer:
                answer.read()
            break
        except (urllib.error.URLError, OSError):
            if process.poll() is not None:
                sys.exit(f"{command} ended")
            time.sleep(0.002)
    seconds = time.monotonic() - begin
    fields = pathlib.Path(f"/proc/{process.pid}/stat").read_text().rsplit(")", 1)[1].split()
    processor = (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")
    process.send_signal(signal.SIGTERM)
    process.wait()
    return Sample(seconds, processor)


def file_of(application, home, name, further=()):
    """A properties file in a folder of its own."""
    folder = scratch / f"{application.name}-{release_of(home)}-{name}"
    folder.mkdir()
    file = folder / "app.kvf"
    lines = [f"java.library={home}/lib/server/libjvm.so", f"java.start.class={application.start}",
             "java.class.path=" + ":".join(map(str, application.class_path)),
             "application.args=" + " ".join(application.arguments),
             *(f"java.property.{key}={value}" for key, value in application.properties.items())]
    if further:
        lines.append("java.extended.properties=" + " ".join(further))
    file.write_text("".join(line + "\n" for line in lines))
    return file


def archived(application, home, kind, further=()):
    """The command that starts from an archive of this kind and the archive; None: there can be none."""
    file = file_of(application, home, kind + ("-short" if further else ""), further)
    until = [f"--until={application.started}"] if application.started else []
    made = subprocess.run([str(build / "kvf"), "cds", f"--kind={kind}", "--pairs=0", *until, "--write", str(file)],
                          capture_output=True, text=True)
    if made.returncode != 0:
        print(f"{application.name}, {kind}: {made.stderr}{made.stdout}", file=sys.stderr)
        return None
    archive = next(path for path in file.parent.iterdir() if path.suffix in (".aot", ".jsa"))
    return [str(build / "wrapper"), "--propFile", str(file), "--run"], archive


def release_of(home):
    lines = (pathlib.Path(home) / "release").read_text().splitlines()
    return next(line.split('"')[1] for line in lines if line.startswith("JAVA_VERSION="))


def shown(ratios):
    low, median, high = statistics.quantiles(ratios, n=4)
    return f"{median:.2f} ({low:.2f} to {high:.2f})"


def measure(application, home, samples):
    commands = {"`java`": (application.plain(home), None),
                "no archive": ([str(build / "wrapper"), "--propFile", str(file_of(application, home, "plain")), "--run"],
                               None)}
    release = int(release_of(home).split(".")[0])
    for kind in ("aot", "static", "dynamic"):
        if kind == "aot" and release < 24:
            continue
        made = archived(application, home, kind)
        if made:
            commands[kind] = made
    best = "aot" if "aot" in commands else "static"
    if not application.started and (made := archived(application, home, best, short_options)):
        commands[f"{best}, --short"] = made
    start = run_server if application.started else run
    taken = {name: [] for name in commands}
    for turn in range(options.pairs + 1):
        order = list(commands)
        if turn % 2:
            order.reverse()
        for name in order:
            sample = start(commands[name][0])
            if turn > 0:  # the first only warms the caches
                taken[name].append(sample)
    samples.append({"application": application.name, "java": release_of(home),
                    "samples": {name: [vars(sample) for sample in all_of] for name, all_of in taken.items()}})
    plain = taken["`java`"]
    for name, all_of in taken.items():
        if name == "`java`":
            continue
        wall = [a.seconds / b.seconds for a, b in zip(all_of, plain)]
        processor = [a.processor / b.processor for a, b in zip(all_of, plain)]
        archive = commands[name][1]
        size = f"{archive.stat().st_size / 2**20:.0f} MiB" if archive else ""
        print(f"| {application.name} | {release_of(home)} | {name} | "
              f"{statistics.median(sample.seconds for sample in plain) * 1e3:.0f} ms | "
              f"{statistics.median(sample.seconds for sample in all_of) * 1e3:.0f} ms | {shown(wall)} | "
              f"{shown(processor)} | {size} |", flush=True)


def main():
    samples = []
    homes = options.java or [os.path.realpath(shutil.which("java")).removesuffix("/bin/java")]
    print("| Application | Java | Archive | `java` | with it | Ratio | Ratio of processor time | Size |\n"
          "|---|---|---|---|---|---|---|---|", flush=True)
    try:
        for application in applications():
            if options.only not in application.name or not application.installed():
                continue
            for home in homes:
                measure(application, home, samples)
    finally:
        shutil.rmtree(scratch, ignore_errors=True)
        if options.json:
            options.json.write_text(json.dumps(samples, indent=1) + "\n")


if __name__ == "__main__":
    main()
