#!/usr/bin/env python3
"""Compares starts from archives of classes, as `kvf cds` makes them, with those of plain `java`.

Usage: archives.py BUILD_DIRECTORY [--java HOME]... [--pairs N] [--only NAME] [--jars FOLDER] [--turn FILE]
                   [--json FILE] [--page]
       archives.py BUILD_DIRECTORY --from FILE... [--page]

An application that is not installed is left out: Clojure, Groovy, Jython and JRuby as Debian packs them
evaluate an expression, and Tomcat 11 and Jetty 9 answer their first request. Starts run in interleaved
rounds, in changing order. A cell shows the median of the ratios of each round to plain `java`, with their
quartiles; what slows the machine down does not count. With --page the tables go into docs/performance.md
and its template.
"""

import argparse
import contextlib
import datetime
import fcntl
import json
import os
import pathlib
import re
import shutil
import signal
import statistics
import subprocess
import sys
import tempfile
import time
import urllib.error
import urllib.request
from dataclasses import asdict, dataclass, field

parser = argparse.ArgumentParser()
parser.add_argument("build", type=pathlib.Path)
parser.add_argument("--java", action="append", default=[], help="home of a JDK; several may be given")
parser.add_argument("--pairs", type=int, default=7)
parser.add_argument("--only", default="", help="applications whose name holds this text")
parser.add_argument("--jars", type=pathlib.Path, help="jars that are taken instead of those in /usr/share/java")
parser.add_argument("--turn", type=pathlib.Path, help="a file to lock while one application is measured")
parser.add_argument("--page", action="store_true", help="write the tables into the documentation")
parser.add_argument("--from", dest="former", type=pathlib.Path, action="append", default=[],
                    help="show the samples of a former run instead of a new one")
parser.add_argument("--json", type=pathlib.Path, help="the samples")
options = parser.parse_args()

build = options.build.resolve()
here = pathlib.Path(__file__).resolve().parent
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
    first_release: int = 8  # the oldest Java that runs it

    def installed(self):
        return bool(self.class_path) and all(path.exists() for path in self.class_path)

    def plain(self, home):
        return [f"{home}/bin/java", *(f"-D{key}={value}" for key, value in self.properties.items()), "-cp",
                ":".join(map(str, self.class_path)), self.start, *self.arguments]


# Of a start with the archive that kvf cds takes by itself, and with --short, for Java 17 and 21, and 25.
scripts, servers = {17: 0.60, 21: 0.60, 25: 0.55}, {17: 0.65, 21: 0.65, 25: 0.60}
goals = {"Clojure": {17: 0.50, 21: 0.50, 25: 0.33}, "Groovy": {17: 0.60, 21: 0.60, 25: 0.58},
         "Jython": scripts, "JRuby": scripts, "Tomcat": servers, "Jetty": servers}
short_goals = {"Clojure": {25: 0.27}, "Groovy": {25: 0.43}}
columns = ["no archive", "dynamic", "static", "aot", "--short"]
titles = {"no archive": "no archive", "dynamic": "dynamic archive", "static": "static archive", "aot": "AOT cache",
          "--short": "the best with `--short`"}


def jar(name):
    own = options.jars / name if options.jars else None
    return own if own and own.exists() else pathlib.Path("/usr/share/java") / name


def applications():
    yield Application("Clojure", "clojure.main", [jar("clojure.jar")], ["-e", "(println(+,1,2))"])
    yield Application("Groovy", "groovy.ui.GroovyMain", [jar("groovy-all.jar")], ["-e", "println(1+2)"])
    yield Application("Jython", "org.python.util.jython", [jar("jython.jar")], ["-c", "print(1+2)"])
    ruby = pathlib.Path("/usr/share/jruby")
    yield Application("JRuby", "org.jruby.main.Main", [jar("jruby-core.jar")], ["-e", "puts(1+2)"],
                      {"jruby.home": ruby, "jruby.lib": ruby / "lib", "jffi.boot.library.path": ruby / "lib/jni"},
                      first_release=21)
    yield tomcat()
    yield jetty()


def tomcat():
    home, base = pathlib.Path("/usr/share/tomcat11"), scratch / "tomcat"
    for folder in ("conf", "logs", "temp", "work", "webapps/ROOT"):
        (base / folder).mkdir(parents=True)
    (base / "conf/server.xml").write_text(
        f'<Server port="-1"><Service name="Catalina"><Connector port="{port}"/><Engine name="Catalina" '
        'defaultHost="localhost"><Host name="localhost" appBase="webapps"/></Engine></Service></Server>')
    # As it is installed, which says what jars need no scan, but for the loader: the class path has it all.
    usual = home / "etc/catalina.properties"
    lines = usual.read_text() if usual.exists() else ""
    (base / "conf/catalina.properties").write_text(lines + "\ncommon.loader=\n")
    if (home / "etc/web.xml").exists():
        shutil.copy(home / "etc/web.xml", base / "conf/web.xml")
    (base / "webapps/ROOT/index.html").write_text("started\n")
    return Application("Tomcat", "org.apache.catalina.startup.Bootstrap",
                       [*sorted(home.glob("bin/*.jar")), *sorted(home.glob("lib/*.jar"))], ["start"],
                       {"catalina.home": home, "catalina.base": base, "java.io.tmpdir": base / "temp"},
                       "Server startup in")


def jetty():
    base = scratch / "jetty"
    base.mkdir()
    (base / "index.html").write_text("started\n")
    (base / "jetty.xml").write_text(
        '<!DOCTYPE Configure PUBLIC "-//Jetty//Configure//EN" "http://www.eclipse.org/jetty/configure_9_3.dtd">'
        '<Configure id="Server" class="org.eclipse.jetty.server.Server"><Call name="addConnector"><Arg>'
        '<New class="org.eclipse.jetty.server.ServerConnector"><Arg><Ref refid="Server"/></Arg>'
        f'<Set name="port">{port}</Set></New></Arg></Call><Set name="handler">'
        '<New class="org.eclipse.jetty.webapp.WebAppContext"><Set name="contextPath">/</Set>'
        f'<Set name="resourceBase">{base}</Set></New></Set></Configure>')
    parts = ("xml", "server", "servlet", "webapp", "security", "http", "io", "util")
    return Application("Jetty", "org.eclipse.jetty.xml.XmlConfiguration",
                       [*(jar(f"jetty9-{part}.jar") for part in parts), jar("servlet-api.jar")],
                       [str(base / "jetty.xml")], started="Started @")


class NotMeasured(Exception):
    """A start that failed."""


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
        raise NotMeasured(f"{command} ended with {status}")
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
                raise NotMeasured(f"{command} ended")
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
    made = subprocess.run([str(build / "kvf"), "cds", f"--kind={kind}", "--pairs=0", "--jar", *until, "--write", str(file)],
                          capture_output=True, text=True)
    if made.returncode != 0:
        print(f"{application.name}, {kind}: {made.stderr}{made.stdout}", file=sys.stderr)
        return None
    archive = next(path for path in file.parent.iterdir() if path.suffix in (".aot", ".jsa"))
    return [str(build / "wrapper"), "--propFile", str(file), "--run"], archive


def release_of(home):
    lines = (pathlib.Path(home) / "release").read_text().splitlines()
    return next(line.split('"')[1] for line in lines if line.startswith("JAVA_VERSION="))


@contextlib.contextmanager
def turn():
    """Other measurements on the machine that lock the same file wait meanwhile."""
    if options.turn is None:
        yield
        return
    with options.turn.open("a") as file:
        fcntl.flock(file, fcntl.LOCK_EX)
        yield


def shown(ratios):
    low, median, high = statistics.quantiles(ratios, n=4)
    return f"{median:.2f} ({low:.2f} to {high:.2f})"


def judged(goal, ratios):
    if goal is None:
        return ""
    return f" {goal:.2f} " + ("met" if statistics.median(ratios) <= goal else "**missed**")


@dataclass
class Row:
    application: str
    java: str
    samples: dict[str, list[Sample]]

    @property
    def release(self):
        return int(self.java.split(".")[0])

    def best(self, what, kinds=("aot", "static")):
        """The kind that kvf cds takes, as it measures them."""
        return min((kind for kind in kinds if kind in self.samples),
                   key=lambda kind: statistics.median(self.ratios(kind, what)), default=None)

    def best_short(self, what):
        return self.best(what, tuple(f"{kind} --short" for kind in ("aot", "static")))

    def ratios(self, name, what):
        return [getattr(a, what) / getattr(b, what) for a, b in zip(self.samples[name], self.samples["java"])]

    def cell(self, name, what):
        name = self.best_short(what) if name == "--short" else name
        return shown(self.ratios(name, what)) if name in self.samples else ""

    def goal(self, what):
        best = self.best(what)
        if best is None:
            return ""
        text = judged(goals.get(self.application, {}).get(self.release), self.ratios(best, what))
        if best := self.best_short(what):
            short = judged(short_goals.get(self.application, {}).get(self.release), self.ratios(best, what))
            text += f"; `--short`{short}" if short else ""
        return text

    def line(self, what):
        plain = statistics.median(getattr(sample, what) for sample in self.samples["java"])
        cells = " | ".join(self.cell(name, what) for name in columns)
        return f"| {self.application} | {self.java} | {plain * 1e3:.0f} ms | {cells} |{self.goal(what)} |"


def measure(application, home):
    commands = {"java": application.plain(home),
                "no archive": [str(build / "wrapper"), "--propFile", str(file_of(application, home, "plain")), "--run"]}
    release = int(release_of(home).split(".")[0])
    for kind in ("dynamic", "static", "aot"):
        if kind == "aot" and release < 24:
            continue
        if made := archived(application, home, kind):
            commands[kind] = made[0]
        if kind != "dynamic" and not application.started and (made := archived(application, home, kind, short_options)):
            commands[f"{kind} --short"] = made[0]
    start = run_server if application.started else run
    taken = {name: [] for name in commands}
    for round_number in range(options.pairs + 1):
        order = list(commands)
        if round_number % 2:
            order.reverse()
        for name in order:
            sample = start(commands[name])
            if round_number > 0:  # the first only warms the caches
                taken[name].append(sample)
    return Row(application.name, release_of(home), taken)


def table(rows, what):
    head = ["Application", "Java", "`java`", *(titles[name] for name in columns), "Goal"]
    lines = ["| " + " | ".join(head) + " |", "|---" * len(head) + "|", *(row.line(what) for row in rows)]
    return "\n".join(lines) + "\n"


def text_of(rows, load):
    machine = next(line.split(":")[1].strip() for line in open("/proc/cpuinfo") if line.startswith("model name"))
    pairs = len(rows[0].samples["java"])
    return (f"`bench/archives.py --pairs {pairs}`, {datetime.date.today()}, {os.cpu_count()} × {machine}. The load average "
            f"was {load:.1f} before the run and {os.getloadavg()[0]:.1f} after it.\n\n"
            f"Wall-clock time:\n\n{table(rows, 'seconds')}\n"
            f"Processor time, which other programs disturb less:\n\n{table(rows, 'processor')}")


def write_page(text):
    """Between the two marks, in the page and in what scripts/bench makes it of."""
    for file in (here / "performance.md.in", here.parent / "docs/performance.md"):
        page = file.read_text()
        marks = re.compile("(<!-- archives -->\n).*?(<!-- end of archives -->)", re.S)
        file.write_text(marks.sub(lambda match: match[1] + text + match[2], page))


def read(files):
    for file in files:
        for row in json.loads(file.read_text()):
            samples = {name: [Sample(**sample) for sample in all_of] for name, all_of in row.pop("samples").items()}
            yield Row(samples=samples, **row)


def finish(rows, load):
    if not rows:
        sys.exit("nothing was measured")
    text = text_of(rows, load)
    print(text, end="")
    if options.page:
        write_page(text)


def main():
    load = os.getloadavg()[0]
    if options.former:
        finish(list(read(options.former)), load)
        return
    rows = []
    homes = options.java or [os.path.realpath(shutil.which("java")).removesuffix("/bin/java")]
    try:
        for application in applications():
            if options.only not in application.name or not application.installed():
                continue
            for home in homes:
                if int(release_of(home).split(".")[0]) < application.first_release:
                    continue
                try:
                    with turn():
                        rows.append(measure(application, home))
                except NotMeasured as failure:
                    print(f"{application.name}, {home}: {failure}", file=sys.stderr)
                    continue
                if options.json:
                    options.json.write_text(json.dumps([asdict(row) for row in rows], indent=1) + "\n")
                print(rows[-1].line("seconds"), rows[-1].line("processor"), sep="\n", file=sys.stderr, flush=True)
    finally:
        shutil.rmtree(scratch, ignore_errors=True)
    finish(rows, load)


if __name__ == "__main__":
    main()
