#!/usr/bin/env python3
"""Usage: bench/import_proof.py BUILD [NAME...]: runs command lines of real applications (Debian packages, see below) once
by java and once by the file that `kvf import` makes of them, and prints a table of what differs.

Each start script is run with a java that only notes its words, its environment and its directory. Then the words are
run four times: by java and by the launcher, each with the application and with a main that tells all it was given in the
place of the application's own (a class of its name on the boot class path). What differs for every application is in
LISTED, and not counted. It takes three minutes.

Packages: ant maven groovy clojure jython jruby libsaxon-java libsaxonhe-java fop plantuml libh2-java
libclosure-compiler-java bnd tomcat10 zookeeper jetty9
"""

import collections
import os
import re
import shutil
import subprocess
import sys
import tempfile

HOME = os.path.dirname(os.path.dirname(os.path.realpath(shutil.which("java"))))
JAVA = HOME + "/bin/java"
# NAME, the command, what must be there.
COMMANDS = [
    ("ant", "ant -version"),
    ("ant, a build", "ant -q -f build.xml -Dwho='a \"b\" %c%' hello"),
    ("ant, its properties", "ANT_OPTS='-Xmx128m -Dx=y' ant -f build.xml -logger org.apache.tools.ant.NoBannerLogger hello"),
    ("maven", "mvn -v"),
    ("maven, help", "mvn --help"),
    ("groovy", "groovy -e 'println \"a b\" + args.size()' x ''"),
    ("groovyc", "groovyc -version"),
    ("clojure", "clojure -e '(println (str \"a\" *command-line-args*))'"),
    ("clojure, options", "java -server -Xss2m -XX:+UseSerialGC -cp '/usr/share/java/clojure.jar:/usr/share/java/spec.alpha.jar:/usr/share/java/core.specs.alpha.jar' clojure.main -e '(System/exit 3)'"),
    ("jython", "jython -c 'import sys; print(sys.argv)' 'a b' --x"),
    ("jruby", "jruby -e 'puts ARGV.inspect, Dir.pwd' -- 'é' --y"),
    ("saxon", "java -cp /usr/share/java/saxon.jar com.icl.saxon.StyleSheet -?"),
    ("saxon-he", "java -cp /usr/share/java/Saxon-HE.jar net.sf.saxon.Transform -s:in.xml -xsl:in.xsl p=1%"),
    ("saxon-he, query", "java -cp /usr/share/java/Saxon-HE.jar net.sf.saxon.Query '-qs:concat(\"a\", 1 to 3)'"),
    ("fop", "fop -version"),
    ("fop, a page", "fop -q in.fo -txt out.txt"),
    ("plantuml", "plantuml -version"),
    ("plantuml, a pipe", "plantuml -pipe -ttxt < in.puml"),
    ("h2", "java -cp /usr/share/java/h2.jar org.h2.tools.Shell -url jdbc:h2:mem: -sql 'select 1 as \"a b\"'"),
    ("h2, a bad password", "java -Ddb.password=geheim1 -jar /usr/share/java/h2.jar -baseDir . -nothing"),
    ("closure-compiler", "java -jar /usr/share/java/closure-compiler.jar --version"),
    ("closure-compiler, stdin", "java -Xmx256m -jar /usr/share/java/closure-compiler.jar --compilation_level SIMPLE < in.js"),
    ("bnd", "bnd version"),
    ("tomcat", "JAVA_HOME=$JAVA_HOME CATALINA_HOME=/usr/share/tomcat10 /usr/share/tomcat10/bin/version.sh"),
    ("tomcat, configtest", "CATALINA_BASE=$PWD/base CATALINA_HOME=/usr/share/tomcat10 CATALINA_OPTS='-Xms32m -Da=b' /usr/share/tomcat10/bin/catalina.sh configtest"),
    ("zookeeper", "java -cp '/etc/zookeeper/conf:/usr/share/java/*' org.apache.zookeeper.version.VersionInfoMain"),
    ("jetty", "java -jar /usr/share/jetty9/start.jar --version jetty.base=$PWD"),
    ("jetty, modules", "java -Djetty.home=/usr/share/jetty9 -Djetty.base=$PWD -jar /usr/share/jetty9/start.jar --list-config"),
    ("a module", "java -p mods -m com.acme/com.acme.Main 'a b' --x"),
    ("a module, long options", "java --module-path=mods --add-modules=java.sql --add-exports java.base/sun.nio.ch=com.acme --module com.acme/com.acme.Main '\"'"),
    ("argument file", "java @words 'x y'"),
    ("JDK_JAVA_OPTIONS", "JDK_JAVA_OPTIONS='-Dx=\"a b\" -XX:TieredStopAtLevel=1' java -jar /usr/share/java/closure-compiler.jar --version"),
    ("JAVA_TOOL_OPTIONS", "JAVA_TOOL_OPTIONS='-Dq=1 -Xint' java -cp /usr/share/java/Saxon-HE.jar net.sf.saxon.Query -qs:1+1"),
    ("CLASSPATH", "CLASSPATH=/usr/share/java/js.jar:/usr/share/java/Saxon-HE.jar java net.sf.saxon.Query -qs:2+2"),
]
INPUTS = {
    "build.xml": "<project><target name='hello'><echo>hello ${who} ${basedir}</echo></target></project>",
    "in.xml": "<a b='c'/>",
    "in.xsl": "<xsl:stylesheet version='2.0' xmlns:xsl='http://www.w3.org/1999/XSL/Transform'><xsl:param name='p'/>"
              "<xsl:template match='/'><r><xsl:value-of select='$p'/></r></xsl:template></xsl:stylesheet>",
    "in.fo": "<fo:root xmlns:fo='http://www.w3.org/1999/XSL/Format'><fo:layout-master-set><fo:simple-page-master "
             "master-name='p'><fo:region-body/></fo:simple-page-master></fo:layout-master-set><fo:page-sequence "
             "master-reference='p'><fo:flow flow-name='xsl-region-body'><fo:block>text</fo:block></fo:flow>"
             "</fo:page-sequence></fo:root>",
    "in.puml": "@startuml\na -> b : c\n@enduml\n",
    "in.js": "var a = 1 + 2; // no\n",
    "words": "-Dx='a b' # no\n-cp /usr/share/java/Saxon-HE.jar:\"/none\\\n   such\"\nnet.sf.saxon.Query -qs:3+3 \"p=\\tq\"\n",
    "base/conf/server.xml": "<Server port='-1'><Service name='x'/></Server>",
    "base/conf/.x": "", "base/logs/.x": "", "base/temp/.x": "",
}
RECORDER = """#!/bin/sh
cat /proc/$$/environ > "$RECORD/environ"; pwd > "$RECORD/directory"
: > "$RECORD/words"; for a do printf '%s\\0' "$a" >> "$RECORD/words"; done
"""
TELL = """public class NAME {
  static void say(String kind, Object text) { System.out.println("TELL " + kind + " " + text.toString().replace("\\\\", "\\\\\\\\").replace("\\n", "\\\\n")); }
  public static void main(String[] args) throws Exception {
    if (System.getenv("TELLING") == null) { System.out.println(String.join(" | ", args)); return; }
    for (String arg : args) say("argument", arg);
    java.lang.management.ManagementFactory.getRuntimeMXBean().getInputArguments().forEach(o -> say("option", o));
    System.getProperties().forEach((k, v) -> say("property", k + "=" + v));
    System.getenv().forEach((k, v) -> say("variable", k + "=" + v));
    Object flags = java.lang.management.ManagementFactory.getPlatformMBeanServer().invoke(
        new javax.management.ObjectName("com.sun.management:type=DiagnosticCommand"), "vmFlags",
        new Object[] {new String[0]}, new String[] {String[].class.getName()});
    for (String flag : flags.toString().trim().split(" +")) say("flag", flag);
  }
}
"""
# What differs for every application, and is meant to.
LISTED = [
    r"variable (_|PWD|OLDPWD|SHLVL|RECORD|JAVA_TOOL_OPTIONS|JDK_JAVA_OPTIONS|CLASSPATH)=",
    r"property (application\.processid|wrapper\..*|java\.library|sun\.java\.launcher|sun\.java\.command)=",
    r"option -D(application\.processid|wrapper\.[a-z.]*|java\.library|sun\.java\.command)=",
    r"option -Djdk\.module\.main\.class=",
]


def run(words, environment, directory, given):
    with open(given, "rb") as stdin:
        try:
            done = subprocess.run(words, env=environment, cwd=directory, stdin=stdin, capture_output=True, timeout=120)
        except subprocess.TimeoutExpired:
            return ("timeout", b"", b"")
    return (done.returncode, done.stdout, done.stderr)


def told(output):
    lines = collections.Counter()
    for line in output.decode("utf-8", "replace").splitlines():
        if line.startswith("TELL "):
            lines[line[5:]] += 1
    return lines


def steady(text):
    """Without what two runs of one program differ in: times, process numbers, memory."""
    text = re.sub(rb"(NOTE: )?Picked up [A-Z_]+:.*\n|WRAPPER - start method threw an exception\n", b"", text)
    return re.sub(rb"[0-9]+([.,:][0-9]+)*", b"N", text)


def main():
    build = os.path.abspath(sys.argv[1])
    wanted = sys.argv[2:]
    place = tempfile.mkdtemp(prefix="import-proof-")
    fake = place + "/jdk"
    os.makedirs(fake + "/bin")
    for name in os.listdir(HOME):
        if name != "bin":
            os.symlink(HOME + "/" + name, fake + "/" + name)
    for name in os.listdir(HOME + "/bin"):
        if name != "java":
            os.symlink(HOME + "/bin/" + name, fake + "/bin/" + name)
    with open(fake + "/bin/java", "w") as file:
        file.write(RECORDER)
    os.chmod(fake + "/bin/java", 0o755)
    print("| command line | what differs |\n|---|---|")
    failures = 0
    for name, command in COMMANDS:
        if not wanted or name in wanted:
            failures += prove(name, command, place, fake, build)
    shutil.rmtree(place)
    return failures


def prove(name, command, place, fake, build):
    work = place + "/work"

    def fresh():
        shutil.rmtree(work, ignore_errors=True)
        for file, text in INPUTS.items():
            os.makedirs(os.path.dirname(work + "/" + file), exist_ok=True)
            with open(work + "/" + file, "w") as out:
                out.write(text)

    fresh()
    shown = command.replace("|", "\\|")
    shown = shown if len(shown) < 90 else shown[:86] + " ..."
    if command.startswith("java -p") or "--module-path" in command:
        os.makedirs(place + "/com", exist_ok=True)
        for file, text in (("module-info", "module com.acme { requires java.management; }"),
                           ("Main", "package com.acme;\n" + TELL.replace("NAME", "Main"))):
            with open(f"{place}/com/{file}.java", "w") as out:
                out.write(text)
        subprocess.run([HOME + "/bin/javac", "-d", place + "/mods", f"{place}/com/module-info.java",
                        f"{place}/com/Main.java"], check=True)
        command = command.replace("mods", place + "/mods")
    given = "/dev/null"
    if " < " in command:
        command, source = command.split(" < ")
        given = place + "/given"
        shutil.copy(work + "/" + source, given)
    environment = {"PATH": fake + "/bin:/usr/bin:/bin", "JAVA_HOME": fake, "RECORD": place, "HOME": place, "LC_ALL": "C.UTF-8",
                   "USER": "x", "TERM": "dumb"}
    if os.path.exists(place + "/words"):
        os.remove(place + "/words")
    subprocess.run(["bash", "-c", command], env=environment, cwd=work, stdin=subprocess.DEVNULL, capture_output=True)
    if not os.path.exists(place + "/words"):
        print(f"| {name} | not there |")
        return 0
    words = open(place + "/words", "rb").read().split(b"\0")[:-1]
    directory = open(place + "/directory").read().rstrip("\n")
    environment = dict(entry.split(b"=", 1) for entry in open(place + "/environ", "rb").read().split(b"\0") if b"=" in entry)
    environment[b"JAVA_HOME"] = HOME.encode()
    environment[b"PATH"] = (HOME + "/bin:/usr/bin:/bin").encode()
    fresh()
    file = place + "/app.kvf"
    if os.path.exists(file):
        os.remove(file)
    imported = subprocess.run([build + "/kvf", "import", "--write", file, "--", JAVA, *words], env=environment,
                              cwd=directory, capture_output=True)
    said = imported.stderr.decode().replace("\n", "; ").strip("; ")
    if imported.returncode == 2:
        print(f"| {name} | {said} |")
        return 1
    launch = [build + "/wrapper", "--propFile", file]
    java = run([JAVA, *words], environment, directory, given)
    fresh()
    wrapper = run(launch, environment, directory, given)
    ends = []
    if java[0] != wrapper[0]:
        ends.append(f"status {java[0]}, {wrapper[0]}")
    for which, a, b in (("output", java[1], wrapper[1]), ("errors", java[2], wrapper[2])):
        if steady(a) != steady(b):
            ends.append(which)
            if os.environ.get("VERBOSE"):
                print(a[-1500:], b[-1500:], sep="\n----\n", file=sys.stderr)
    start_class = re.search(r"^java\.start\.class=(.*)$", open(file).read(), re.M).group(1)
    isModule = "jdk.module.main=" in open(file).read()

    boot = place + "/boot"
    shutil.rmtree(boot, ignore_errors=True)
    os.makedirs(boot)
    package, _, simple = start_class.rpartition(".")
    with open(f"{boot}/{simple}.java", "w") as out:
        out.write((f"package {package};\n" if package else "") + TELL.replace("NAME", simple))
    telling = dict(environment)
    telling[b"TELLING"] = b"1"
    if not isModule:
        subprocess.run([HOME + "/bin/javac", "-d", boot, f"{boot}/{simple}.java"], check=True)
    extra = f"-Xbootclasspath/a:{boot}"
    own = environment.get(b"JAVA_TOOL_OPTIONS", b"").decode()
    telling[b"JAVA_TOOL_OPTIONS"] = f"{own} {extra}".strip().encode()
    text = open(file).read()
    with open(file, "w") as out:  # so that the launcher has the variable of this run
        changed = re.sub(r"(?m)^velox\.env\.JAVA_TOOL_OPTIONS=.*\n", "", text)
        # The last option puts its archives in front.
        out.write(re.sub(r"(?<=[ =])(-Xbootclasspath/a:)", rf"\g<1>{boot}:", changed))
    tellingWords = [word.replace(b"-Xbootclasspath/a:", f"-Xbootclasspath/a:{boot}:".encode()) for word in words]
    one = told(run([JAVA, *tellingWords], telling, directory, "/dev/null")[1])
    two = told(run(launch, telling, directory, "/dev/null")[1])
    with open(file, "w") as out:
        out.write(text)
    if not one or not two:
        ends.append("only output and status were compared, as its main cannot be replaced")
        print(f"| {name}: `{shown}` | {', '.join(ends)} |", flush=True)
        return int(len(ends) > 1)

    def listed(line):
        return any(re.match(pattern, line) for pattern in LISTED)

    def differing(kind, prefix=""):
        lines = []
        for mark, left, right in (("-", one, two), ("+", two, one)):
            for line in left:
                if line.startswith(kind + " " + prefix) and left[line] != right[line] and not listed(line):
                    lines.append(mark + line.split(" ", 1)[1])
        return lines

    order = lambda lines: [line for line in lines if line.startswith("argument ")]
    arguments = [] if order(one) == order(two) else ["-" + str(order(one)), "+" + str(order(two))]
    differences = arguments + ends
    for kind in ("option", "flag", "property", "variable"):
        differences += [f"{kind} `{line}`" for line in sorted(differing(kind))]
    if said:
        differences.append(said)
    print(f"| {name}: `{shown}` | {', '.join(differences) or 'nothing'} |", flush=True)
    return int(bool(differences))


sys.exit(main())
